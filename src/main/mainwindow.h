#pragma once

#include "jobrow.h"
#include "mainseams.h"

#include <QMainWindow>
#include <QTimer>

#include <optional>

class JobListPanel;
class MaillistPanel;
class MessagePane;
class PreviewWidget;
class QuietOperator;
class RunScreen;
class SendRun;
class Windows;

namespace Ui
{
class Main;
}

/// The main window: the job list above, the selected job below, and every command of the program.
/// It owns the panels, the mail component and the run; what a panel shows is the panel's own work.
class Main final : public QMainWindow
{
    Q_OBJECT

public:
    explicit Main(const MainSeams &seams);
    ~Main() override;

    /// Shows the splash, fills the window and shows it.
    void load();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void addPanels();
    void addToolbar();
    void connectCommands();
    void connectPanels();
    void recoverRuns();

    void newJob();
    void editJob();
    void startRun(bool failedOnly);
    enum class Repeat { Failed, All, Nobody };
    Repeat askToRepeat(const JobRow &job);
    void pauseRun();
    void enableCommands(bool enabled);
    void enableJobCommands(bool enabled);
    void openPage(const QUrl &address);

    void showJob(const std::optional<JobRow> &job);
    void showTab();
    void browseList();
    void exportRecipients();
    void editMessage();
    void showPreview();
    void showReport();
    void withSelectedJob(const std::function<void(const JobRow &)> &action);

    MainSeams m_seams;
    std::unique_ptr<Ui::Main> m_ui;
    std::unique_ptr<RunScreen> m_screen;
    std::unique_ptr<QuietOperator> m_quiet; ///< for the panels, which live on during a run
    JobListPanel *m_jobs = nullptr;
    std::unique_ptr<MessagePane> m_message;
    MaillistPanel *m_maillist = nullptr;
    PreviewWidget *m_preview = nullptr;
    std::unique_ptr<Windows> m_windows;
    std::unique_ptr<SendMail> poSendMail;
    std::unique_ptr<SendRun> m_run;
    QTimer Timer2; ///< leads a first start straight into making a job
    bool m_closeAfterRun = false;
};

#pragma once

#include "jobrow.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class Operator;
class ProgramFolder;
class QShortcut;

namespace Ui
{
class JobListPanel;
}

/// The job list with its search bar: lists, finds and deletes jobs. Its rows are the working copies
/// of the job records while a run changes them.
///
/// One job is the selected one, or none, whichever way it came about: what the rest of the window
/// shows and what the commands act on.
class JobListPanel final : public QWidget
{
    Q_OBJECT

public:
    /// The search modes, by their place in the drop-down; after the first one, as in JobField.
    enum SearchMode {
        ShowAll,
        JobNameContains,
        MaillistNameContains,
        EmailSubjectContains,
        MaillistIdEquals,
        EmailIdEquals
    };

    JobListPanel(const ProgramFolder &folder, Operator &op, QWidget *parent = nullptr);
    ~JobListPanel() override;

    /// False while no refresh has succeeded: that no job is listed then says nothing.
    bool isFilled() const { return m_isFilled; }
    /// The number of jobs listed.
    int count() const;
    /// `row` from 0 to count() - 1, as shown.
    JobRow jobAt(int row) const;
    /// -1 when no row is selected.
    int selectedRow() const;
    std::optional<JobRow> selectedJob() const;
    /// One that is not there changes nothing.
    void selectRow(int row);
    /// Runs a command that may make a job, and selects the job where it says that it made one.
    void selectNew(const std::function<bool()> &create);
    /// The commands of the list's context menu.
    void addCommands(const QList<QAction *> &commands);

    /// Shows the job's cells in its row, where it is listed; the list is not sorted again.
    void updateRow(const JobRow &job);
    /// While a run goes on, the Del key deletes nothing.
    void setRunning(bool isRunning);

    /// Searches as if the person had chosen the mode and typed the text.
    void search(SearchMode mode, const QString &text);

    /// The widths of the list's columns, for restoreColumns() of a later run.
    QByteArray saveColumns() const;
    void restoreColumns(const QByteArray &state);

public slots:
    /// Lists the jobs that the search bar asks for. A failure is told and leaves the list as it
    /// was.
    void list_refresh();
    /// Deletes the selected job after asking. What the job has sent stays recorded in its list.
    void deleteJob();
    /// Forgets what the selected job has sent, after asking where it has sent anything.
    void resetJob();

signals:
    /// Another job is selected, or none, or the selected one was read again.
    void jobSelected(const std::optional<JobRow> &job);

private:
    const ProgramFolder &m_folder;
    Operator &m_operator;
    std::unique_ptr<Ui::JobListPanel> m_ui;
    QShortcut *m_deleteKey;
    bool m_isFilled = false;
};

#pragma once

#include "dialogs.h"
#include "report.h"

#include <QBasicTimer>

#include <array>
#include <memory>
#include <optional>

class Operator;
class PeopleModel;
class ProgramFolder;
class QAbstractButton;
class Yield;

namespace Ui
{
class frmReport;
}

/// The report of a job: its runs above, and what became of everybody in the selected one below. The
/// first entry stands for all runs since the job last began. It is made once and hidden between
/// uses.
class frmReport final : public WorkDialog
{
    Q_OBJECT

public:
    /// What the person wants when the window closes.
    enum class Command {
        None,
        Resend,  ///< to those who failed, and in doubt where wanted
        SendRest ///< to those whom no run has reached
    };
    struct Job {
        qint64 id = 0;
        QString name;
        qint64 listId = 0;
        bool startSendsRest = false; ///< a start goes on with whom no run has reached
    };

    /// All of them must outlive the window.
    frmReport(const ProgramFolder &folder, Operator &op, Yield &yield, QWidget *parent = nullptr);
    ~frmReport() override;

    /// Shows the report until it is left.
    Command showJob(const Job &job);

protected:
    void hideEvent(QHideEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void abortWork() override { m_isAborted = true; }

private:
    void setUpGrid();
    void fillRuns();
    void showPeople();
    void beginCount();
    void count();
    QStringList wholeCells() const;
    void showSums();
    void showCounts();
    void enableResend();
    void resend();
    void exportPeople();
    void setEnabledParts(bool isEnabled);
    /// Nothing where everybody is shown.
    std::optional<ReportedResult> shownResult() const;
    std::vector<ReportedResult> only() const;
    qint64 countOf(ReportedResult result) const { return m_counts[size_t(result)]; }

    const ProgramFolder &m_folder;
    Operator &m_op;
    Yield &m_yield;
    std::unique_ptr<Ui::frmReport> m_ui;
    PeopleModel *m_people;
    std::vector<QAbstractButton *> m_filters; ///< everybody, then by ReportedResult
    Job m_job;
    QString m_listConnectionString;
    std::vector<ReportedRun> m_runs;
    ReportScope m_scope;
    bool m_isOpen = false; ///< the newest series goes on with the job's next run
    Command m_command = Command::None;
    bool m_isAborted = false;

    // The people of the selected run are counted bit by bit.
    std::unique_ptr<ReportCount> m_uncounted;
    ReportCount::Counts m_counts{};
    QBasicTimer m_countTimer;
};

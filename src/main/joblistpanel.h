#pragma once

#include "jobrow.h"

#include <QWidget>

#include <memory>
#include <optional>

class Connection;
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
/// Moving the selection with the keyboard only selects; a click (or Return) is what shows a job.
class JobListPanel final : public QWidget
{
    Q_OBJECT

public:
    /// The search modes, by their place in the drop-down.
    enum SearchMode {
        ShowAll,
        JobNameContains,
        MaillistNameContains,
        EmailSubjectContains,
        MaillistIdEquals,
        EmailIdEquals
    };

    /// `shared` is opened on the system database by each operation, whatever it was open on.
    JobListPanel(const ProgramFolder &folder, Connection &shared, Operator &op,
                 QWidget *parent = nullptr);
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
    /// Selects a row without handling it as clicked; one that is not there changes nothing.
    void selectRow(int row);

    /// Shows the job's cells in its row, where it is listed; the list is not sorted again.
    void updateRow(const JobRow &job);
    /// Marks the job's row as the one at work, and no other.
    void highlight(const JobRow &job);
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
    /// Handles the selected row as if it had been clicked, where a row is selected.
    void clickSelectedRow();

signals:
    /// The row is highlighted when this is emitted.
    void rowClicked(const JobRow &job);
    void rowDoubleClicked(const JobRow &job);

private:
    /// The search as the query's condition; none when the text is not what its mode needs.
    std::optional<QString> condition(const QString &text) const;

    const ProgramFolder &m_folder;
    Connection &m_shared;
    Operator &m_operator;
    std::unique_ptr<Ui::JobListPanel> m_ui;
    QShortcut *m_deleteKey;
    bool m_isFilled = false;
};

#pragma once

#include "connection.h"
#include "recordset.h"

#include <array>
#include <vector>

/// A run as a report lists it. Its job may be gone.
struct ReportedRun {
    qint64 number = 0;
    qint64 series = 0;
    qint64 jobId = 0;
    QString jobName;
    QString kind;    ///< "start", "resume", "rerun", "rerun 2" ..., "resend"
    QString started; ///< "yyyy/mm/dd hh:mm:ss"; empty for what was taken over
    QString ended;
    QString how;     ///< the state word that it ended with, or empty while it goes on
    QString subject; ///< of what it sent
    qint64 sent = 0;
    qint64 failed = 0; ///< for good or for now
    qint64 inDoubt = 0;
};

/// The runs of a job, or with 0 of all jobs that sent to the list, newest first. A run that was
/// never counted is counted. Throws StorageError.
std::vector<ReportedRun> reportedRuns(Connection &list, qint64 jobId);

/// Whether the job's next run goes on with the series. Throws StorageError.
bool isSeriesOpen(Connection &list, qint64 series);

/// What became of somebody, in the words of a report.
enum class ReportedResult { Sent, Failed, InDoubt, Unsent, Removed };
/// "sent", "failed", "doubt", "unsent", "removed".
QString wordOf(ReportedResult result);
/// The result that is stored as this letter; "U" stands for unsent.
ReportedResult reportedResult(const QString &letter);

/// Whose results: of a run, or of a series, each person by the last outcome and those without one
/// as unsent.
struct ReportScope {
    qint64 series = 0; ///< 0 for nobody's
    qint64 run = 0;    ///< 0 for the whole series

    /// The people for a Keyset of these `columns` (its rows have the columns of columns()), those
    /// with one of the results only, or with an empty list all of them. Outcomes come in the order
    /// of their runs, the unsent last. Throws StorageError.
    QString from(Connection &list, const std::vector<ReportedResult> &only) const;
    /// run, address, name, result (a letter), reason, reply, at (seconds since 1970), messageid.
    static QString columns();
};

/// Counts the people of a report by their results, bit by bit, so that a window lives meanwhile.
/// The list's database is open as long as it is there. Throws StorageError.
class ReportCount
{
public:
    using Counts = std::array<qint64, 5>; ///< by ReportedResult

    ReportCount(const QString &listConnectionString, const ReportScope &scope);

    /// Counts one more; false when everybody is counted.
    bool step();
    bool atEnd() const { return m_people.atEnd(); }
    const Counts &counts() const { return m_counts; }

private:
    Connection m_list;
    Recordset m_people;
    Counts m_counts{};
};

#pragma once

#include "recipientexport.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

class ProgramFolder;

/// The program's exit statuses.
enum ExitStatus {
    Complete = 0,
    CompleteWithFailures = 1,
    WrongUsage = 2,
    Paused = 3, ///< or ended by a signal
    Refused = 4,
    StorageFailure = 5,
};

/// What the commands throw where they do nothing.
struct Refusal {
    QString why;
};

struct StartOptions {
    bool failedOnly = false;
    int reruns = 0;            ///< further reruns over failures when there is no terminal to ask on
    int batchPauseMs = 1000;   ///< how long the run waits after every batch of recipients
    int rerunWaitMinutes = -1; ///< before failures are sent to again; -1: what the settings say
    int patienceSeconds = -1;  ///< with a server that takes nothing; -1: the program's own
    bool resendInDoubt = false; ///< send again to those whose message may have arrived
    bool changed = false;       ///< go on with a message that was changed since the first part
    bool noCatch = false;       ///< go on however many recipients the server refuses
};

struct ReportOptions {
    qint64 run = 0;  ///< 0: the job's newest series
    QString outcome; ///< "sent", "failed", "doubt" or "unsent" only; empty for everybody
    QString csvFile; ///< where to write; empty for standard output
    bool json = false;
};

// Jobs, lists and messages are given by their number or by an exact, unique name; a message's is
// its subject. All of them throw Refusal and StorageError.

ExitStatus listJobs(const ProgramFolder &folder, bool json);
ExitStatus startJob(const ProgramFolder &folder, const QString &job, const StartOptions &options);
ExitStatus resetJob(const ProgramFolder &folder, const QString &job);

/// The runs of the job, or with an empty name of all. A deleted job's are known by its number or
/// name too.
ExitStatus listRuns(const ProgramFolder &folder, const QString &job, bool json);
/// What became of everybody.
ExitStatus reportJob(const ProgramFolder &folder, const QString &job, const ReportOptions &options);
/// Prints what does not agree in the list, or with an empty name in all.
ExitStatus verifyLists(const ProgramFolder &folder, const QString &list);
/// Blanks addresses, reasons and replies of the runs that began before the day ("2026-11-25").
ExitStatus forgetRuns(const ProgramFolder &folder, const QString &before, const QString &list);

ExitStatus listMailLists(const ProgramFolder &folder, bool json);
ExitStatus listRecipients(const ProgramFolder &folder, const QString &list, ExportFilter filter,
                          bool json);
/// `separator`: an entry of the separator box.
ExitStatus importList(const ProgramFolder &folder, const QString &list, const QString &file,
                      const QString &separator);
/// A file named .xlsx becomes a workbook, others text.
ExitStatus exportList(const ProgramFolder &folder, const QString &list, const QString &file,
                      ExportFilter filter);

ExitStatus listMessages(const ProgramFolder &folder, bool json);
/// Sends the message unpersonalised to `address`.
ExitStatus testSend(const ProgramFolder &folder, const QString &message, const QString &address);

/// The one of `all` that `wanted` is the number or the name of; `kind` is what they are. Throws
/// Refusal where there is none, with `whyNone`, or more than one.
template <typename Row, typename Number, typename Name>
const Row &oneNamed(const std::vector<Row> &all, const QString &kind, const QString &wanted,
                    Number number, Name name, const QString &whyNone)
{
    const Row *found = nullptr;
    int count = 0;
    for (const Row &row : all) {
        if (QString::number(std::invoke(number, row)) == wanted)
            return row;
        if (std::invoke(name, row) == wanted) {
            found = &row;
            ++count;
        }
    }
    if (count > 1)
        throw Refusal{QStringLiteral("There are %1 %2s named \"%3\"; give the %2's number.")
                          .arg(QString::number(count), kind, wanted)};
    if (!found)
        throw Refusal{whyNone};
    return *found;
}

#pragma once

#include "jobrow.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <chrono>

/// How far a run is, in numbers: a view makes its own texts of them.
struct RunProgress {
    enum class Phase {
        Connecting,       ///< to the server, before a pass's first recipient
        Sending,          ///< to `address`
        Waiting,          ///< between two batches, without a session
        WaitingForList,   ///< the outcome of `address` cannot be written yet; it is tried again
        WaitingForServer, ///< for `until`, when a session is tried again; `trouble` says why
        WaitingForLimit,  ///< for `until`, when the limits let another message go
        WaitingToRerun,   ///< for `until`, when the failures are tried again
        Ended,            ///< the pass is over; another one may follow
    };
    enum class Outcome { None, Success, Failed, InDoubt };
    struct Count {
        /// All that were handled.
        qint64 sent() const { return succeeded + failed + inDoubt; }
        qint64 succeeded = 0;
        qint64 failed = 0;
        qint64 inDoubt = 0; ///< whose message may have arrived
    };

    /// How much of the selection was handled, from 0 to 100.
    double percent() const
    {
        return selected == 0 ? 0 : std::min(100.0, 100.0 * double(pass.sent()) / double(selected));
    }

    JobRow row; ///< the job's cells, as they are at this moment
    Phase phase = Phase::Connecting;
    /// 0 for what a command began, 1 for the rerun over its failures, 2, ... for further ones.
    int rerun = 0;
    bool failedOnly = false;
    qint64 place = 0;    ///< the last recipient that a normal run has handled
    QString server;      ///< without user name and password
    QString address;     ///< the recipient at work, or the last one
    qint64 selected = 0; ///< the whole list or its failures; more than `toHandle` after a pause
    qint64 toHandle = 0; ///< the recipients of this pass
    Count pass;
    /// Of all passes since the start: who failed and was sent to by a rerun has succeeded.
    Count whole;
    Outcome last = Outcome::None; ///< of the last recipient handled
    QString reason;               ///< why `address` failed; empty until it did
    QString trouble; ///< what keeps the server from taking anything; empty where nothing does
    QDateTime until; ///< of a waiting phase
    /// When the pass will be over, by the rate so far, the pauses and the limits; null while it is
    /// too early to tell.
    QDateTime expectedEnd;
    /// Since the pass began to send, on a clock that does not jump.
    std::chrono::milliseconds elapsed{0};
};

/// "14:20", or "Thursday 14:20" where that is not today, or with the date beyond a week.
inline QString pointInTime(const QDateTime &time)
{
    const qint64 days = QDate::currentDate().daysTo(time.date());
    const QLocale locale;
    const QString hour = locale.toString(time.time(), QStringLiteral("HH:mm"));
    if (days == 0)
        return hour;
    return (days < 7 ? locale.toString(time.date(), QStringLiteral("dddd"))
                     : locale.toString(time.date(), QLocale::ShortFormat)) +
           QLatin1Char(' ') + hour;
}

/// What a run shows while it goes: the main window, or the console's terminal.
class RunView
{
public:
    virtual ~RunView() = default;

    /// A pass over the job's recipients begins: the row is the one at work, and every command but
    /// "Pause" is disabled until endPass().
    virtual void beginPass(const JobRow &row) = 0;
    /// At once when something changes, but at most every RunPace::show; the last state of a pass
    /// is always shown.
    virtual void showProgress(const RunProgress &progress) = 0;
    /// A recipient failed. Called for each of them.
    virtual void noteFailure(const QString &address, const QString &reason) = 0;
    /// The job is as in `row`; where it was stored so, its details are shown again.
    virtual void endPass(const JobRow &row, bool isStored) = 0;

    /// The job is not, or no more, what its row shows.
    virtual void showRow(const JobRow &row) = 0;
    /// Lets the operator enter what a run lacks, the server above all.
    virtual void openOptions() = 0;
};

#pragma once

#include "statement.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

/// What became of one recipient in one run, as the letter that is stored.
enum class Fate : char {
    Sent = 'S',
    Failed = 'F',    ///< for good
    Temporary = 'T', ///< tried again by the next pass
    InDoubt = 'D',   ///< the message may have arrived: nobody knows
    Removed = 'R',   ///< taken from the list before the series came to them
};

/// What begins the reason of a recipient in doubt, in the ledger and in the list.
extern const QString inDoubtPrefix;

struct LedgerEntry {
    qint64 mid = 0;
    QString address; ///< as it was sent to
    Fate fate = Fate::Sent;
    QString reason;
    QString reply; ///< the server's, whole; empty where there was none
    QString messageId;
};

/// What a run sends. It is stored once, however many runs send it.
struct SentContent {
    QString subject;
    QString senderName;
    QString senderAddress;
    QString format;
    QString body;        ///< before it is personalised
    QString attachments; ///< a line each: a file's SHA-256 and its name

    /// The SHA-256 of all of it, in hexadecimal.
    QByteArray digest() const;
};

/// A normal run from the first recipient, with all that resumes it and tries its failures again.
/// It is open until the job's next one begins or the job is reset.
struct Series {
    qint64 number = 0;
    QString id; ///< random; the key of its Message-IDs
    qint64 jobId = 0;
    qint64 selected = 0;
    qint64 lastMid = 0; ///< of the recipients selected by their place in the list
};

enum class RunKind {
    Start,  ///< from the first recipient
    Resume, ///< the rest of a series
    Rerun,  ///< over the temporary failures of a series
    Resend, ///< over every failed recipient of the list
    Reset,  ///< no run, but the order to forget what was sent
};

/// One pass over recipients, from a beginning to an end. A later one has a greater number.
struct LedgerRun {
    qint64 number = 0;
    qint64 jobId = 0;
    QString jobName;
    qint64 series = 0; ///< 0 for a reset
    qint64 content = 0;
    RunKind kind = RunKind::Start;
    int rerun = 0;           ///< which rerun, from 1; 0 for others
    qint64 pass = 0;         ///< the run that this one resumes, or its own number
    bool withDoubts = false; ///< those in doubt are sent to again
    QString started;         ///< "yyyy/mm/dd hh:mm:ss"
    QString ended;
    QString how;      ///< the job's state word when it ended, "Cut off", or empty while it goes on
    qint64 place = 0; ///< after which recipient a normal run goes on
};

QString wordOf(RunKind kind);

/// The account of what was sent, in the list's own database.
///
/// It has its own tables beside the recipients: `series`, `run`, `content`, `outcome` (a recipient
/// in a run) and `edit` (a state set by hand). Nothing in it asks a clock what came first: runs are
/// numbered, and an edit knows after which run it was made.
///
/// No function begins a transaction: what belongs together is committed by whoever calls. All of
/// them throw StorageError.
class Ledger
{
public:
    /// Whether the list has one, or what one is made of: its first run makes it. Changes nothing.
    static bool isIn(Connection &list);
    /// Makes the tables where they are missing. A list that was sent to by a version without them
    /// has its last run taken over from table `sending`.
    explicit Ledger(Connection &list);

    /// The job's open series.
    std::optional<Series> seriesOf(qint64 jobId) const;
    /// Closes the job's open series and begins one over `selected` recipients up to `lastMid`.
    Series beginSeries(qint64 jobId, qint64 selected, qint64 lastMid);
    /// A series in which everybody up to `place` was handled before there was a ledger.
    Series takeOverSeries(qint64 jobId, qint64 place);
    /// Failed recipients of the list that don't belong to the series, now do, as such.
    void takeOverFailures(Series &series);
    /// Recipients that were added to the list since, belong to the series.
    void extendToEnd(Series &series);
    /// Counts and keeps who was never reached.
    void close(qint64 jobId);

    /// The number of the content, which is stored where it is new.
    qint64 keep(const SentContent &content);
    /// How many of the series were sent anything but the content with this digest.
    qint64 haveOther(const Series &series, const QByteArray &digest) const;

    /// Begins the run; its number, and its pass where that is 0.
    void begin(LedgerRun &run);
    /// Ends it, with its counts.
    void end(const LedgerRun &run);
    /// The job record says what the job's last run says.
    void markStored(qint64 jobId);
    /// The newest run or reset of the job.
    std::optional<LedgerRun> lastRun(qint64 jobId) const;
    /// Whether the job record says so too.
    bool isStored(qint64 jobId) const;
    /// The runs that have not ended: of a program that is at work, or was cut off.
    std::vector<LedgerRun> openRuns() const;
    /// Whom such a run has left in doubt.
    std::optional<LedgerEntry> openDoubt(qint64 run) const;
    /// The last recipient that a run handled; 0 for none.
    qint64 lastHandled(qint64 run) const;

    /// Whom a run selects, as a condition on table `email`: everybody without an outcome in the
    /// series, ...
    QString withoutOutcome(const Series &series) const;
    /// ... or its temporary failures, and on request those in doubt, ...
    QString temporaryFailures(const Series &series, bool withDoubts) const;
    /// ... or those in doubt, ...
    QString inDoubt(const Series &series) const;
    /// ... less those that a pass has handled already ("and ...").
    QString notHandledSince(const Series &series, qint64 pass) const;
    /// Those of a list who failed, with or without those in doubt.
    static QString failed(bool withDoubts);
    /// Those of a list who are in doubt.
    static QString inDoubt();

    // Events beside the runs.

    /// Every recipient is unsent again, by order of the job, whose series is closed. Nothing of the
    /// ledger is forgotten.
    void noteReset(qint64 jobId);
    /// The recipient's status is `status` by hand; null for unsent.
    static void noteEdit(Connection &list, qint64 mid, const QString &status);
    /// To be called before the recipients that `condition` ("where ...", or empty) selects are
    /// deleted. `forget`: their addresses and replies go too.
    static void noteRemoval(Connection &list, const QString &condition, bool forget);
    /// Whether it has addresses of those whom `condition` ("where ...") selects.
    static bool knows(Connection &list, const QString &condition);
    /// How many runs it accounts for.
    static qint64 runCount(Connection &list);
    /// Blanks addresses and replies of the runs that began before `day` ("yyyy/mm/dd"). Returns how
    /// many were blanked.
    static qint64 forgetBefore(Connection &list, const QString &day);
    /// A copy of a list begins without what its original has done.
    static void clear(Connection &list);

private:
    void takeOver();
    void takeOverOutcomes(Series &series, qint64 place, const QString &recipients, qint64 added);
    QString runsOf(qint64 series) const;

    Connection &m_list;
};

/// Writes the outcomes of a run. Its connection must outlive it; all functions throw StorageError.
class LedgerWriter
{
public:
    LedgerWriter(Connection &list, qint64 run);

    /// `at`: seconds since 1970. A recipient's later entry takes the place of the former.
    void put(const LedgerEntry &entry, qint64 at);
    /// The recipient is as if the run had never come to them.
    void take(qint64 mid);

private:
    qint64 m_run;
    Statement m_put;
    Statement m_take;
};

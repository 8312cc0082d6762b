#pragma once

#include "passplan.h"
#include "recipientqueue.h"
#include "refusalwatch.h"
#include "runview.h"
#include "sendallowance.h"
#include "sendlog.h"

#include "mergefields.h"
#include "pace.h"
#include "settings.h"

#include <QElapsedTimer>
#include <QTimer>

#include <exception>
#include <functional>
#include <optional>

class Operator;
class UnsubscribeList;
struct JobMessage;

/// How a run treats the server, and what its operator has decided beforehand.
struct RunOptions {
    /// After so many recipients the run disconnects, waits and connects again.
    int batchSize = 50;
    std::chrono::milliseconds batchPause{1000};
    /// What it shows changes at most so often.
    std::chrono::milliseconds show{100};
    /// How long it waits in all for a server that takes nothing: 2, 10, 30 and 60 s in turn.
    std::chrono::seconds patience{102};
    /// Before a rerun over failures; not set: as the settings say.
    std::optional<std::chrono::minutes> rerunWait = {};
    enum class Doubts { Ask, Skip, Send };
    Doubts doubts = Doubts::Ask; ///< whether those in doubt are sent to again
    bool sendChanged = false;    ///< also where the message was changed since the job was paused
    bool anyList = false;        ///< also where the server refuses nearly everybody
};

/// Whether the run is to end after the recipient at work.
struct RunControl {
    bool isStopRequested = false;
};

/// Shows a run's progress, at most every RunOptions::show and at last.
class RunDisplay
{
public:
    RunDisplay(RunView &view, std::chrono::milliseconds interval);

    void show(RunProgress::Phase phase);
    /// At once, or as soon as what was shown last is no longer fresh.
    void show();
    /// The time of the pass begins.
    void start() { m_elapsed.start(); }

    RunProgress progress;
    /// Asked when it is shown.
    std::function<QDateTime()> expectedEnd;

private:
    RunView &m_view;
    const std::chrono::milliseconds m_interval;
    QElapsedTimer m_elapsed;
    QTimer m_timer; ///< runs while what was shown last is still fresh
    bool m_isShown = false;
};

/// What a run reaches the world through.
struct RunSeams {
    const ProgramFolder &folder;
    SendMail &mail;
    Operator &op;
    RunView &view;
    Clock &clock;
    Yield &yield;
    const RunOptions &options;
    RunDisplay &display;
    const RunControl &control;
};

/// One pass over its recipients: the loop that everything else in the program prepares or shows.
///
/// What becomes of a recipient is committed before a byte of the next message leaves, in the same
/// commit as the name of who is in doubt next. What the server says to everybody is no recipient's
/// failure: the pass waits for it, and at last ends with the recipient untouched.
class SendPass
{
public:
    /// All of them must outlive the pass; `list` is open on the list's database.
    SendPass(const RunSeams &seams, Connection &list, const BegunPass &pass,
             const JobMessage &message, const Settings &settings,
             const UnsubscribeList &unsubscribed);
    ~SendPass();
    Q_DISABLE_COPY(SendPass)

    /// Throws StorageError where what became of somebody cannot be written; then unrecorded() says
    /// who that is.
    void run();

    /// Whether it ended before the last recipient without being asked to.
    bool isCutShort() const { return m_isOver; }
    /// Why the server took nothing any more, where that cut it short.
    const QString &trouble() const { return m_trouble; }
    const QString &unrecorded() const { return m_unrecorded; }

private:
    /// Whom the loop has looked at beyond the recipient at work.
    struct Ahead {
        std::vector<LedgerEntry> passed; ///< not to be sent to, before `next`
        std::optional<Turn> next;
    };
    enum class Delivery {
        Done,    ///< the entry says how
        Again,   ///< the recipient is untouched, and comes again
        Stopped, ///< the recipient is untouched, and the pass ends
    };

    QDateTime end();
    void sendAll();
    void withdrawDoubt();
    void openLog();
    void connectTransport();
    void connect();
    void reconnect();
    qint64 room() const;
    Ahead lookAhead(qint64 room);
    void sendTo(const Turn &turn, Ahead &ahead);
    void putBack(Ahead &ahead, std::vector<qint64> mids);
    Delivery deliver(const Turn &turn, const std::optional<Turn> &next, LedgerEntry &entry);
    bool send(const Turn &turn, const Turn *next, LedgerEntry &entry);
    bool isMessageAllowed();
    LedgerEntry entryOf(const Turn &turn, Fate fate, const QString &reason) const;
    QString messageIdOf(qint64 mid) const;
    void judge(LedgerEntry &entry);
    void giveBack(const Turn &turn);
    void commit(std::span<const LedgerEntry> entries, const LedgerEntry *next,
                const QString &address);
    void retry(const std::function<void()> &write, const QString &address);
    void note(std::span<const LedgerEntry> entries, bool wasInDoubt);
    void count(Fate fate, bool wasInDoubt);
    bool waitForServer();
    void waitUntilAllowed();
    void wait(RunProgress::Phase phase, std::chrono::milliseconds time);
    std::chrono::milliseconds rerunWait() const;
    bool isBadListWanted();

    const RunSeams &m_seams;
    SendMail &m_mail;
    RunProgress &m_progress;
    const RunControl &m_control;
    const BegunPass &m_pass;
    const JobMessage &m_message;
    const Settings &m_settings;
    const UnsubscribeList &m_unsubscribed;

    RecipientQueue m_queue;
    OutcomeWriter m_outcomes;
    const MergeFields m_fields;
    QDate m_today;
    std::array<QString, 8> m_values; ///< of the fields; the first is m_today
    const QByteArray m_key;          ///< of the Message-IDs
    const QByteArray m_digest;       ///< of what is sent
    const QByteArray m_messageDomain;
    SendAllowance m_allowance;
    SendLog m_log;
    Pace m_yielding;
    RefusalWatch m_watch;
    bool m_isAnyListWanted;

    const Turn *m_turn = nullptr;    ///< at work
    std::vector<qint64> m_givenBack; ///< whose turn comes again
    std::exception_ptr m_error;      ///< thrown while the mail component was at work
    bool m_isOver = false;
    bool m_isOnItsWay = false;   ///< the message of who is in doubt
    bool m_hasDelivered = false; ///< since the server last gave trouble
    size_t m_waits = 0;          ///< since the last delivery
    std::chrono::seconds m_waited{0};
    std::chrono::milliseconds m_waitedInAll{0}; ///< of the time that the pass took
    QString m_trouble;
    QString m_unrecorded;
};

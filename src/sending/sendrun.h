#pragma once

#include "runview.h"

#include "messagestore.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class Clock;
class LiveSettings;
class MergeFields;
class Operator;
class OutcomeWriter;
class ProgramFolder;
class Record;
class SendMail;
class StorageError;
class UnsubscribeList;
class Yield;
struct Settings;

/// How a run treats the server: after every `batchSize` recipients it disconnects, waits
/// `batchPause` and connects again. What it shows changes at most every `show`.
struct RunPace {
    int batchSize = 50;
    std::chrono::milliseconds batchPause{1000};
    std::chrono::milliseconds show{100};
};

/// Sends a job's message to its recipients, one after the other, and records every outcome before
/// it touches the next recipient.
class SendRun final : public QObject
{
public:
    enum class Result {
        Complete,
        Paused,
        NoServer,          ///< refused: the settings name no server
        MissingAttachment, ///< refused
        ListInUse,         ///< refused: another program sends to the list
        NoUnsubscribeList, ///< refused: the file exists and cannot be read
        Declined,          ///< by the operator: the job is not what its row showed
        StorageFailed,     ///< stopped by a database; what was sent before is recorded
    };

    /// All of them must outlive the run.
    SendRun(const ProgramFolder &folder, SendMail &mail, const LiveSettings &settings, Operator &op,
            RunView &view, Clock &clock, Yield &yield, RunPace pace = {});

    /// Runs the job, then over its failures: once by itself, and as often as the operator wants.
    /// `failedOnly`: begin with the failures. Returns when all is over; tells the operator how it
    /// ended, and of every refusal and error.
    Result start(const JobRow &row, const JobMessage &message, bool failedOnly);

    /// The run ends after the current recipient. For calls during start().
    void requestPause() { m_stopRequested = true; }
    /// The same because the program ends: no rerun follows, and nobody is told or asked anything.
    void requestEnd() { m_ending = m_stopRequested = true; }
    bool isRunning() const { return m_running; }

    /// Of the run that goes on, or the last one.
    const RunProgress &progress() const { return m_progress; }

private:
    bool isAsShown(const JobRow &shown, const JobRow &stored);
    Result runPass(const JobMessage &message);
    void send(const JobMessage &message, const Settings &settings,
              const UnsubscribeList &unsubscribed);
    void record(OutcomeWriter &outcomes, qint64 mid, bool success);
    void finish();
    void endPass(bool isStored);
    void connectTransport(const JobMessage &message, const Settings &settings);
    void reconnect();
    bool sendToOne(const Record &recipient, const MergeFields &fields,
                   const UnsubscribeList &unsubscribed, const QString &subject);
    void count(bool success);
    void show(RunProgress::Phase phase);
    void show();
    void stopOnError(const JobRow &before, const StorageError &error);
    bool isRerunWanted();

    const ProgramFolder &m_folder;
    SendMail &m_mail;
    const LiveSettings &m_settings;
    Operator &m_operator;
    RunView &m_view;
    Clock &m_clock;
    Yield &m_yield;
    const RunPace m_pace;

    bool m_running = false;
    bool m_stopRequested = false;
    bool m_ending = false;
    bool m_sendFailed = false;
    QString m_unrecorded; ///< what became of the recipient whose outcome is not in the list
    RunProgress m_progress;
    QElapsedTimer m_elapsed;
    QTimer m_showTimer; ///< runs while what was shown last is still fresh
    bool m_isShown = false;
};

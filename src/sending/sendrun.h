#pragma once

#include "account.h"
#include "passplan.h"
#include "sendpass.h"

#include "messagestore.h"
#include "unsubscribelist.h"

class LiveSettings;
class StorageError;

/// Sends a job's message to its recipients, one after the other, and records every outcome before
/// a byte of the next message leaves.
class SendRun final
{
public:
    enum class Result {
        Complete,
        Paused,
        NoServer,          ///< refused: the settings name no server
        MissingAttachment, ///< refused
        ListInUse,         ///< refused: another program sends to the list
        NoUnsubscribeList, ///< refused: the file exists and cannot be read
        Declined,          ///< by the operator: the job or its message is not what it was
        StorageFailed,     ///< stopped by a database; what was sent before is recorded
    };

    /// All of them must outlive the run.
    SendRun(const ProgramFolder &folder, SendMail &mail, const LiveSettings &settings, Operator &op,
            RunView &view, Clock &clock, Yield &yield, const RunOptions &options = {});

    /// Runs the job, then over its temporary failures: once by itself, and as often as the operator
    /// wants. `failedOnly`: begin with all who failed. Returns when all is over; tells the operator
    /// how it ended, and of every refusal and error.
    Result start(const JobRow &row, const JobMessage &message, bool failedOnly);

    /// The run ends after the current recipient, or before them while their message has not left.
    /// For calls during start().
    void requestPause() { m_control.isStopRequested = true; }
    /// The same because the program ends: no rerun follows, and nobody is told or asked anything.
    void requestEnd() { m_ending = m_control.isStopRequested = true; }
    bool isRunning() const { return m_running; }

    /// Of the run that goes on, or the last one.
    const RunProgress &progress() const { return m_display.progress; }
    /// Of the job's series when the last pass was complete.
    const Account &account() const { return m_account; }

private:
    bool isAsShown(const JobRow &shown, const JobRow &stored);
    std::optional<Result> obstacle(const JobMessage &message, const Settings &settings);
    bool isPlanWanted(Connection &list, const SentContent &content);
    bool areDoubtsWanted(qint64 inDoubt);
    Result runPass(const JobMessage &message);
    void finish(LedgerRun &run, bool isCutShort);
    void stopOnError(const JobRow &before, const StorageError &error);
    bool isRerunWanted();

    const LiveSettings &m_settings;
    RunView &m_view;
    const RunOptions m_options;
    RunDisplay m_display;
    RunControl m_control;
    RunSeams m_seams;

    bool m_running = false;
    bool m_ending = false;
    PassPlan m_plan;
    bool m_isAsked = false; ///< whether the plan is wanted
    std::optional<UnsubscribeList> m_unsubscribed;
    Account m_account;
    QString m_unrecorded; ///< of whom it could not be written what became of them
};

#pragma once

#include "jobrow.h"
#include "ledger.h"

struct JobMessage;

/// Over whom a pass goes.
struct PassPlan {
    RunKind kind = RunKind::Start;
    int rerun = 0;           ///< of a Rerun: which one, from 1
    qint64 pass = 0;         ///< the run in which the pass that is resumed began; 0 for a new one
    bool withDoubts = false; ///< of a Rerun or Resend

    /// Failures alone, not the list from its beginning.
    bool isOverFailures() const { return kind == RunKind::Rerun || kind == RunKind::Resend; }
};

/// A pass that has begun.
struct BegunPass {
    Series series;
    LedgerRun run;
    QByteArray digest; ///< of what it sends
    QString condition; ///< whom it selects, on table `email`
};

// All functions throw StorageError.

/// What "Start" does with the job: a paused pass goes on, whichever it is, and a complete job
/// begins with a new series.
PassPlan planOfStart(Connection &list, const JobRow &job);

/// What the message would be in the ledger. Its attachments are read.
SentContent contentOf(const JobMessage &message);

/// Where the message is not what the job's series has sent so far.
struct ChangedContent {
    qint64 haveOld = 0; ///< 0: nobody has anything else
    qint64 left = 0;    ///< whom the plan would send the new one
};
ChangedContent changedContent(Connection &list, const JobRow &job, const PassPlan &plan,
                              const SentContent &content);

/// Notes in the ledger that the pass begins.
BegunPass beginPass(Connection &list, const JobRow &job, const PassPlan &plan,
                    const SentContent &content);

#pragma once

#include "jobrow.h"

#include <functional>

class ProgramFolder;

/// The program's exit statuses.
enum ExitStatus {
    Complete = 0,
    CompleteWithFailures = 1,
    WrongUsage = 2,
    Paused = 3,
    Refused = 4,
    StorageFailure = 5,
};

struct StartOptions {
    bool failedOnly = false;
    int reruns = 0;          ///< further reruns over failures when there is no terminal to ask on
    int batchPauseMs = 1000; ///< how long the run waits after every batch of recipients
};

/// Runs `action`; reports the storage error that it throws.
ExitStatus withStorage(const std::function<ExitStatus()> &action);

ExitStatus listJobs(const ProgramFolder &folder, bool json);
/// `job` is a number or an exact, unique name.
ExitStatus startJob(const ProgramFolder &folder, const QString &job, const StartOptions &options);
ExitStatus resetJob(const ProgramFolder &folder, const QString &job);

#pragma once

#include "exitstatus.h"

#include "jobrow.h"

class ProgramFolder;

struct StartOptions {
    bool failedOnly = false;
    int reruns = 0;          ///< further reruns over failures when there is no terminal to ask on
    int batchPauseMs = 1000; ///< how long the run waits after every batch of recipients
};

ExitStatus listJobs(const ProgramFolder &folder, bool json);
/// `job` is a number or an exact, unique name.
ExitStatus startJob(const ProgramFolder &folder, const QString &job, const StartOptions &options);
ExitStatus resetJob(const ProgramFolder &folder, const QString &job);

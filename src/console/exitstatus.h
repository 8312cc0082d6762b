#pragma once

#include <functional>

/// The program's exit statuses.
enum ExitStatus {
    Complete = 0,
    CompleteWithFailures = 1,
    WrongUsage = 2,
    Paused = 3, ///< or ended by a signal
    Refused = 4,
    StorageFailure = 5,
};

/// Runs `action`; a StorageError that it throws is printed.
ExitStatus withStorage(const std::function<ExitStatus()> &action);

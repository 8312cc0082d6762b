#include "exitstatus.h"

#include "terminal.h"

#include "storageerror.h"

ExitStatus withStorage(const std::function<ExitStatus()> &action)
{
    try {
        return action();
    } catch (const StorageError &e) {
        printMessage(e.report());
        return StorageFailure;
    }
}

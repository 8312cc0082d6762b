#pragma once

#include "storageerror.h"

#include <QLockFile>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class Connection;
class ProgramFolder;
class Statement;

/// Thrown where another run works on the list. Its description says which program that is.
class ListInUse final : public StorageError
{
public:
    using StorageError::StorageError;
};

/// While it lives, no other run or reset of any Quillbright on this folder works on the list: two
/// of them would send to the same people. The lock is a file beside the list database that names
/// its process; one left by a process that is gone does not count.
class ListLock
{
public:
    /// Throws ListInUse when another one holds it.
    ListLock(const ProgramFolder &folder, qint64 listId);

private:
    QLockFile m_file;
};

/// How far a normal run has come, kept in table `sending` of the list database and changed in the
/// same commit as the recipient's outcome. The job record learns it only when the run ends, so what
/// is found here of a run that its job does not know was left by a crash. All functions throw
/// StorageError.
struct RunMarker {
    /// Begins a run of `jobId` that starts after recipient `lastMid`.
    static void begin(Connection &list, qint64 jobId, const QString &startTime, qint64 lastMid);
    /// The statement that moves it on: run(last recipient, job).
    static std::unique_ptr<Statement> advanceStatement(Connection &list);
    static void clear(Connection &list, qint64 jobId);

    /// What is known of a run of the job that never got stored; nothing when the job's last run
    /// (`storedStart` is the start its record holds) was.
    static std::optional<RunMarker> ofInterrupted(Connection &list, qint64 jobId,
                                                  const QString &storedStart);

    QString startTime;
    qint64 lastMid = 0;
};

/// Finds the jobs whose run was cut off by a crash and stores them as "Paused" after the last
/// recipient handled, so that "Start" goes on there and mails nobody twice. For the start of the
/// program. Throws nothing: a list that cannot be read has its error told when it is used.
/// Returns the jobs' names.
QStringList recoverInterruptedRuns(const ProgramFolder &folder);

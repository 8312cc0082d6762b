#pragma once

#include "jobrow.h"
#include "statement.h"
#include "storageerror.h"

#include <QFile>
#include <QStringList>

class ProgramFolder;

/// Thrown where another run works on the list. Its description says which program that is.
class ListInUse final : public StorageError
{
public:
    using StorageError::StorageError;
};

/// While it lives, no other run or reset of any Quillbright on this folder works on the list: two
/// of them would send to the same people. The lock is the system's on a file beside the list
/// database, so that it goes with its process, however that ends; the file names the process.
class ListLock
{
public:
    /// Throws ListInUse when another one holds it.
    ListLock(const ProgramFolder &folder, qint64 listId);
    ~ListLock();

    ListLock(const ListLock &) = delete;
    ListLock &operator=(const ListLock &) = delete;

private:
    QFile m_file;
};

/// What became of a run, kept in table `sending` of the list database until the job record knows
/// it, which it does when the marker is gone. While the run goes on the marker says how far it is,
/// changed in the same commit as the recipient's outcome; when the run ends it says what the job
/// is to be, before that is stored. So a marker that is found is of a run that was cut off, or
/// whose end is still to be stored, and no clock is asked which. All functions throw StorageError.
namespace RunMarker
{
/// A run of `jobId` begins after recipient `lastMid`.
void begin(Connection &list, qint64 jobId, const QString &startTime, qint64 lastMid);
/// The run is over, or the job reset: `ended` is what is to be stored.
void end(Connection &list, const JobRow &ended);
void clear(Connection &list, qint64 jobId);
} // namespace RunMarker

/// Commits the outcome of one recipient after the other, and with it how far the run has come.
///
/// It keeps a little room on the disk beside the list database, for the outcome that the database
/// does not take: that is written there, and into the database by adoptRun() when it can be.
class OutcomeWriter
{
public:
    /// `advances`: the marker of the job's run moves along, as it does in a normal run.
    OutcomeWriter(const ProgramFolder &folder, Connection &list, const JobRow &job, bool advances);
    /// The room is given back, unless an outcome is still in it.
    ~OutcomeWriter();

    /// `status`: "S" or "F"; `reason` is empty for a success. Throws StorageError, with nothing of
    /// the outcome stored.
    void write(qint64 mid, const QString &status, const QString &reason);
    /// Keeps an outcome that write() could not store, until it can. False where there is no room.
    bool keep(qint64 mid, const QString &status, const QString &reason);

private:
    qint64 m_jobId; // 0: no marker moves
    QFile m_room;
    bool m_isKept = false;
    Statement m_begin;
    Statement m_update;
    Statement m_advance;
    Statement m_commit;
    Statement m_rollback;
};

/// Stores what the last run of `row`'s job left in the list and not in the job, if anything: the
/// job is as its run ended, or "Paused" after the last recipient handled where it was cut off.
/// For the holder of the list's lock. True where it was cut off. Throws StorageError.
bool adoptRun(const ProgramFolder &folder, JobRow &row);
/// What a run kept beside the list is not wanted any more.
void forgetKept(const ProgramFolder &folder, qint64 listId);

/// adoptRun() for every job whose list no living run works on, so that "Start" goes on where a run
/// was cut off and mails nobody twice. For the start of the program. Throws nothing: a database
/// that cannot be read has its error told when it is used. Returns the names of the jobs that were
/// cut off.
QStringList recoverInterruptedRuns(const ProgramFolder &folder);

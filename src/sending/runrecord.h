#pragma once

#include "jobrow.h"
#include "ledger.h"
#include "storageerror.h"

#include <QFile>

#include <span>
#include <vector>

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

/// Commits what becomes of the recipients of a run, in the ledger and in the list at once. Its
/// connection must outlive it. All functions throw StorageError, with nothing of the call stored.
class OutcomeWriter
{
public:
    OutcomeWriter(Connection &list, qint64 run);

    /// Stores the outcomes, and that `next` is in doubt from now on; null for nobody.
    void commit(std::span<const LedgerEntry> outcomes, const LedgerEntry *next, qint64 at);
    /// Whom the last commit left in doubt; 0 for nobody.
    qint64 inDoubt() const { return m_inDoubt; }
    /// Nobody is in doubt: their message has not left.
    void clearDoubt();

    struct Former {
        qint64 mid;
        QString status;
        QString remark;
    };
    /// These are what they were before, as if the run had not come to them.
    void giveBack(std::span<const Former> recipients);

private:
    template <typename Work>
    void inTransaction(Work work);

    Statement m_begin;
    Statement m_update;
    LedgerWriter m_ledger;
    Statement m_commit;
    Statement m_rollback;
    qint64 m_inDoubt = 0;
};

/// A run that was cut off: its job is paused after the last recipient handled.
struct CutOffRun {
    qint64 jobId;
    QString jobName;
    QString inDoubt; ///< the address of who may have got the message; empty for nobody
};

/// Ends the runs that a list's ledger finds cut off; whoever they left in doubt counts as failed
/// with that reason. For the holder of the list's lock. Throws StorageError.
std::vector<CutOffRun> settleRuns(Connection &list);
/// Stores what the last run or reset of `row`'s job left in the ledger and not in the job, if
/// anything. For the holder of the list's lock, after settleRuns(). Throws StorageError.
void adoptRun(const ProgramFolder &folder, Connection &list, JobRow &row);

/// Both for every list on which no living run works, so that "Start" goes on where a run was cut
/// off and mails nobody twice. For the start of the program. Throws nothing: a database that cannot
/// be read has its error told when it is used.
std::vector<CutOffRun> recoverInterruptedRuns(const ProgramFolder &folder);

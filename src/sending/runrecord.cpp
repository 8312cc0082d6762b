#include "runrecord.h"

#include "jobstore.h"

#include "connection.h"
#include "programfolder.h"
#include "recipientrecords.h"

#include <QCoreApplication>
#include <QSysInfo>

#include <cerrno>
#include <map>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

/// Whether there may be something for settleRuns() or adoptRun().
bool isLeftOver(Connection &list)
{
    if (!Ledger::isIn(list))
        return false;
    return list.number(u"select count(*) from sqlite_master where name='sending'"_s) > 0 ||
           list.number(u"select count(*) from run where stored=0"_s) > 0;
}

} // namespace

ListLock::ListLock(const ProgramFolder &folder, qint64 listId)
    : m_file(folder.file(u"data\\m%1.lock"_s.arg(listId)))
{
    const QByteArray path = QFile::encodeName(m_file.fileName());
    struct stat named = {};
    struct stat opened = {};
    do {
        m_file.close();
        // A folder that takes no lock takes no outcome either; the database will say so.
        if (!m_file.open(QIODevice::ReadWrite, ownerOnly))
            return;
        if (::flock(m_file.handle(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            throw ListInUse(0, u"Quillbright"_s,
                            u"Another Quillbright is sending to this maillist (process %1)."_s.arg(
                                QString::fromUtf8(m_file.readLine()).trimmed()));
        // Its holder may have removed the file after it was opened here.
    } while (::stat(path, &named) != 0 || ::fstat(m_file.handle(), &opened) != 0 ||
             named.st_ino != opened.st_ino);
    m_file.resize(0);
    m_file.write(u"%1 on %2\n"_s.arg(QCoreApplication::applicationPid())
                     .arg(QSysInfo::machineHostName())
                     .toUtf8());
    m_file.flush();
}

ListLock::~ListLock()
{
    // Before it is closed: then it could be another one's.
    if (m_file.isOpen())
        ::unlink(QFile::encodeName(m_file.fileName()));
}

OutcomeWriter::OutcomeWriter(Connection &list, qint64 run)
    : m_begin(list, u"begin immediate"_s)
    , m_update(outcomeStatement(list))
    , m_ledger(list, run)
    , m_commit(list, u"commit"_s)
    , m_rollback(list, u"rollback"_s)
{
}

template <typename Work>
void OutcomeWriter::inTransaction(Work work)
{
    m_begin.run();
    try {
        work();
        m_commit.run();
    } catch (const StorageError &) {
        try {
            m_rollback.run();
        } catch (const StorageError &) {
            // The engine has undone it by itself.
        }
        throw;
    }
}

void OutcomeWriter::commit(std::span<const LedgerEntry> outcomes, const LedgerEntry *next,
                           qint64 at)
{
    inTransaction([&] {
        for (const LedgerEntry &entry : outcomes) {
            m_ledger.put(entry, at);
            const bool isSent = entry.fate == Fate::Sent;
            m_update.run(QString(isSent ? u'S' : u'F'), entry.reason, entry.mid);
        }
        if (next)
            m_ledger.put(*next, at);
    });
    m_inDoubt = next ? next->mid : 0;
}

void OutcomeWriter::clearDoubt()
{
    if (m_inDoubt != 0)
        inTransaction([&] { m_ledger.take(m_inDoubt); });
    m_inDoubt = 0;
}

void OutcomeWriter::giveBack(std::span<const Former> recipients)
{
    inTransaction([&] {
        for (const Former &former : recipients) {
            m_ledger.take(former.mid);
            m_update.run(former.status, former.remark, former.mid);
        }
    });
}

std::vector<CutOffRun> settleRuns(Connection &list)
{
    std::vector<CutOffRun> found;
    Ledger ledger(list);
    for (LedgerRun &run : ledger.openRuns()) {
        CutOffRun cutOff{run.jobId, run.jobName, {}};
        Transaction transaction(list);
        if (const auto doubt = ledger.openDoubt(run.number)) {
            cutOff.inDoubt = doubt->address;
            outcomeStatement(list).run(u"F"_s, doubt->reason, doubt->mid);
        }
        if (run.kind == RunKind::Start || run.kind == RunKind::Resume)
            run.place = std::max(run.place, ledger.lastHandled(run.number));
        run.how = u"Cut off"_s;
        ledger.end(run);
        transaction.commit();
        found.push_back(cutOff);
    }
    return found;
}

void adoptRun(const ProgramFolder &folder, Connection &list, JobRow &row)
{
    Ledger ledger(list);
    const qint64 job = row.number(JobCell::Id);
    const auto run = ledger.lastRun(job);
    if (!run || ledger.isStored(job))
        return;
    const bool isReset = run->kind == RunKind::Reset;
    row[JobCell::Start] = run->started;
    row[JobCell::End] = run->ended;
    row[JobCell::Progress] = isReset || run->how == "Complete"_L1 ? run->how : u"Paused"_s;
    row.setNumber(JobCell::LastSentId, isReset ? 0 : run->place);
    recountRecipients(list, row);
    storeJobRow(folder, row);
    ledger.markStored(job);
}

std::vector<CutOffRun> recoverInterruptedRuns(const ProgramFolder &folder)
{
    std::vector<CutOffRun> found;
    try {
        std::map<qint64, std::vector<JobRow>> jobsOfLists;
        Connection system(folder.systemConnectionString());
        for (const JobRow &row : loadJobs(system))
            jobsOfLists[row.number(JobCell::MaillistId)].push_back(row);
        system.close();
        for (auto &[listId, jobs] : jobsOfLists) {
            try {
                Connection list(folder.listConnectionString(listId));
                if (!isLeftOver(list))
                    continue;
                const ListLock lock(folder, listId);
                std::vector<CutOffRun> runs = settleRuns(list);
                for (JobRow &row : jobs) {
                    adoptRun(folder, list, row);
                    for (CutOffRun &run : runs) {
                        if (run.jobId == row.number(JobCell::Id))
                            run.jobName = row[JobCell::Name];
                    }
                }
                found.insert(found.end(), runs.begin(), runs.end());
            } catch (const StorageError &) {
                // Its run is alive, or whoever uses this list is told.
            }
        }
    } catch (const StorageError &) {
        // Whoever looks at the jobs is told.
    }
    return found;
}

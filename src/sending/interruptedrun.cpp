#include "interruptedrun.h"

#include "jobstore.h"

#include "connection.h"
#include "programfolder.h"
#include "recordset.h"
#include "sqltext.h"

#include <QDateTime>
#include <QFileInfo>

#include <map>

#include <unistd.h>

namespace
{

QString besideList(const ProgramFolder &folder, qint64 listId, const char *ending)
{
    return folder.file(QStringLiteral("data\\m%1.").arg(listId) + QLatin1String(ending));
}

QString lockFile(const ProgramFolder &folder, qint64 listId)
{
    return besideList(folder, listId, "lock");
}

QString roomFile(const ProgramFolder &folder, qint64 listId)
{
    return besideList(folder, listId, "outcome");
}

/// Enough for a reason and the numbers, and one block of the disk.
constexpr qint64 roomSize = 4096;

/// Takes the lock unless a living process holds it.
bool take(QLockFile &lock)
{
    lock.setStaleLockTime(0); // a run may last for days
    if (lock.tryLock())
        return true;
    // A power cut can leave the file without its process number, and such a file is nobody's; one
    // that was made this moment may still get its number.
    const QFileInfo file(lock.fileName());
    if (file.size() > 0 || file.lastModified().secsTo(QDateTime::currentDateTime()) < 2)
        return false;
    return QFile::remove(lock.fileName()) && lock.tryLock();
}

bool hasTable(Connection &list, const QString &name)
{
    return list.number(QStringLiteral("select count(*) from sqlite_master where name = ") +
                       quoted(name)) > 0;
}

/// Made by the first run of a list: an empty list, and one from elsewhere, has only its recipients.
void ensureTable(Connection &list)
{
    requireList(list);
    list.execute(QStringLiteral("create table if not exists sending (jobid integer primary key, "
                                "start_time text not null, last_mid integer not null, "
                                "progress text, end_time text)"));
    // Former runs wrote only how far they were.
    if (list.number(QStringLiteral("select count(*) from pragma_table_info('sending')")) == 3) {
        list.execute(QStringLiteral("alter table sending add column progress text"));
        list.execute(QStringLiteral("alter table sending add column end_time text"));
    }
}

/// Writes the outcome that did not fit into the list when it came about.
void recordKept(const ProgramFolder &folder, Connection &list, qint64 listId)
{
    QFile file(roomFile(folder, listId));
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QStringList outcome = QString::fromUtf8(file.readAll().constData()).split(u'\n');
    if (outcome.size() == 4) {
        const QString &job = outcome[0];
        const QString &mid = outcome[1];
        Transaction transaction(list);
        ensureTable(list);
        list.execute(QStringLiteral("update email set status=%1, remark=%2 where mid=%3")
                         .arg(quoted(outcome[2]), quoted(outcome[3]), mid));
        list.execute(QStringLiteral("update sending set last_mid=%1 where jobid=%2").arg(mid, job));
        transaction.commit();
    }
    file.remove();
}

/// Whether there may be something for adoptRun().
bool isLeftOver(const ProgramFolder &folder, qint64 listId)
{
    Connection list(folder.listConnectionString(listId));
    return QFile::exists(roomFile(folder, listId)) ||
           (hasTable(list, QStringLiteral("sending")) &&
            list.number(QStringLiteral("select count(*) from sending")) > 0);
}

} // namespace

ListLock::ListLock(const ProgramFolder &folder, qint64 listId)
    : m_file(lockFile(folder, listId))
{
    // A folder that takes no lock takes no outcome either; the database will say so.
    if (take(m_file) || m_file.error() != QLockFile::LockFailedError)
        return;
    qint64 process = 0;
    QString host;
    QString program;
    m_file.getLockInfo(&process, &host, &program);
    throw ListInUse(
        0, QStringLiteral("Quillbright"),
        QStringLiteral("Another Quillbright is sending to this maillist (process %1 on %2). If "
                       "that is no longer so, delete the file %3 and start again.")
            .arg(QString::number(process), host.isEmpty() ? QStringLiteral("this machine") : host,
                 lockFile(folder, listId)));
}

void RunMarker::begin(Connection &list, qint64 jobId, const QString &startTime, qint64 lastMid)
{
    ensureTable(list);
    list.execute(QStringLiteral("insert or replace into sending (jobid, start_time, last_mid) "
                                "values (%1, %2, %3)")
                     .arg(QString::number(jobId), quoted(startTime), QString::number(lastMid)));
}

void RunMarker::end(Connection &list, const JobRow &ended)
{
    ensureTable(list);
    list.execute(QStringLiteral("insert or replace into sending "
                                "(jobid, start_time, last_mid, progress, end_time) "
                                "values (%1, %2, %3, %4, %5)")
                     .arg(ended[JobCell::Id], quoted(ended[JobCell::Start]),
                          ended[JobCell::LastSentId], quoted(ended[JobCell::Progress]),
                          quoted(ended[JobCell::End])));
}

void RunMarker::clear(Connection &list, qint64 jobId)
{
    list.execute(QStringLiteral("delete from sending where jobid = %1").arg(jobId));
}

void requireList(Connection &list)
{
    if (!hasTable(list, QStringLiteral("email")))
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("The file %1 is not a maillist.").arg(list.path()));
}

OutcomeWriter::OutcomeWriter(const ProgramFolder &folder, Connection &list, const JobRow &job,
                             bool advances)
    : m_jobId(advances ? job.number(JobCell::Id) : 0)
    , m_room(roomFile(folder, job.number(JobCell::MaillistId)))
    , m_begin(list, QStringLiteral("begin immediate"))
    , m_update(list, QStringLiteral("update email set status=?, remark=? where mid=?"))
    , m_advance(list, QStringLiteral("update sending set last_mid = ? where jobid = ?"))
    , m_commit(list, QStringLiteral("commit"))
    , m_rollback(list, QStringLiteral("rollback"))
{
    if (m_room.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered,
                    QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        m_room.write(QByteArray(roomSize, '\0'));
}

OutcomeWriter::~OutcomeWriter()
{
    if (!m_isKept)
        m_room.remove();
}

void OutcomeWriter::write(qint64 mid, const QString &status, const QString &reason)
{
    m_begin.run();
    try {
        m_update.run(status, reason, mid);
        m_advance.run(mid, m_jobId);
        m_commit.run();
    } catch (const StorageError &) {
        try {
            m_rollback.run();
        } catch (const StorageError &) {
            // The engine has undone it by itself.
        }
        throw;
    }
    // Were it found again later, the run would be set back to this recipient.
    if (std::exchange(m_isKept, false)) {
        m_room.seek(0);
        m_room.write("\0", 1);
    }
}

bool OutcomeWriter::keep(qint64 mid, const QString &status, const QString &reason)
{
    const QString text = QStringLiteral("%1\n%2\n%3\n%4").arg(m_jobId).arg(mid).arg(status, reason);
    QByteArray outcome = text.toUtf8().leftJustified(roomSize, '\0', true);
    outcome.back() = '\0';
    m_isKept = m_room.size() == roomSize && m_room.seek(0) && m_room.write(outcome) == roomSize &&
               ::fsync(m_room.handle()) == 0;
    return m_isKept;
}

bool adoptRun(const ProgramFolder &folder, JobRow &row)
{
    const qint64 listId = row.number(JobCell::MaillistId);
    if (!isLeftOver(folder, listId))
        return false;
    Connection list(folder.listConnectionString(listId));
    recordKept(folder, list, listId);
    ensureTable(list);
    bool isCutOff = false;
    {
        const Recordset rows(list, QStringLiteral("select * from sending where jobid = ") +
                                       row[JobCell::Id]);
        if (rows.atEnd())
            return false;
        const Record &marker = rows.current();
        isCutOff = marker.isNull(QStringLiteral("progress"));
        row[JobCell::Start] = marker.text(QStringLiteral("start_time"));
        row[JobCell::End] = marker.text(QStringLiteral("end_time"));
        row[JobCell::Progress] =
            isCutOff ? QStringLiteral("Paused") : marker.text(QStringLiteral("progress"));
        row[JobCell::LastSentId] = marker.text(QStringLiteral("last_mid"));
    }
    recountRecipients(list, row);
    storeJobRow(folder, row);
    RunMarker::clear(list, row.number(JobCell::Id));
    return isCutOff;
}

void forgetKept(const ProgramFolder &folder, qint64 listId)
{
    QFile::remove(roomFile(folder, listId));
}

QStringList recoverInterruptedRuns(const ProgramFolder &folder)
{
    QStringList names;
    try {
        std::map<qint64, std::vector<JobRow>> jobsOfLists;
        Connection system(folder.systemConnectionString());
        for (const JobRow &row : loadJobs(system))
            jobsOfLists[row.number(JobCell::MaillistId)].push_back(row);
        system.close();
        for (auto &[listId, jobs] : jobsOfLists) {
            try {
                QLockFile lock(lockFile(folder, listId));
                if (!isLeftOver(folder, listId) || !take(lock))
                    continue; // most often nothing, otherwise its run is alive
                for (JobRow &row : jobs) {
                    if (adoptRun(folder, row))
                        names += row[JobCell::Name];
                }
            } catch (const StorageError &) {
                // Whoever uses this list is told; the other lists, and their jobs, are not held up.
            }
        }
    } catch (const StorageError &) {
        // Whoever looks at the jobs is told.
    }
    return names;
}

#include "interruptedrun.h"

#include "jobstore.h"

#include "connection.h"
#include "programfolder.h"
#include "recipientrecords.h"
#include "recordset.h"
#include "sqltext.h"

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

QString besideList(const ProgramFolder &folder, qint64 listId, const char *ending)
{
    return folder.file(u"data\\m%1."_s.arg(listId) + QLatin1String(ending));
}

QString roomFile(const ProgramFolder &folder, qint64 listId)
{
    return besideList(folder, listId, "outcome");
}

constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

/// Enough for a reason and the numbers, and one block of the disk.
constexpr qint64 roomSize = 4096;

/// Made by the first run of a list: an empty list, and one from elsewhere, has only its recipients.
void ensureTable(Connection &list)
{
    list.execute(u"create table if not exists sending (jobid integer primary key, "
                 "start_time text not null, last_mid integer not null, "
                 "progress text, end_time text)"_s);
    // Former runs wrote only how far they were.
    if (list.number(u"select count(*) from pragma_table_info('sending')"_s) == 3) {
        list.execute(u"alter table sending add column progress text"_s);
        list.execute(u"alter table sending add column end_time text"_s);
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
        outcomeStatement(list).run(outcome[2], outcome[3], mid.toLongLong());
        list.execute(u"update sending set last_mid=%1 where jobid=%2"_s.arg(mid, job));
        transaction.commit();
    }
    file.remove();
}

/// Whether there may be something for adoptRun().
bool isLeftOver(const ProgramFolder &folder, qint64 listId)
{
    Connection list(folder.listConnectionString(listId));
    return QFile::exists(roomFile(folder, listId)) ||
           (list.number(u"select count(*) from sqlite_master where name = 'sending'"_s) > 0 &&
            list.number(u"select count(*) from sending"_s) > 0);
}

} // namespace

ListLock::ListLock(const ProgramFolder &folder, qint64 listId)
    : m_file(besideList(folder, listId, "lock"))
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

void RunMarker::begin(Connection &list, qint64 jobId, const QString &startTime, qint64 lastMid)
{
    ensureTable(list);
    list.execute(u"insert or replace into sending (jobid, start_time, last_mid) "
                 "values (%1, %2, %3)"_s.arg(QString::number(jobId), quoted(startTime),
                                             QString::number(lastMid)));
}

void RunMarker::end(Connection &list, const JobRow &ended)
{
    ensureTable(list);
    list.execute(u"insert or replace into sending "
                 "(jobid, start_time, last_mid, progress, end_time) "
                 "values (%1, %2, %3, %4, %5)"_s.arg(
                     ended[JobCell::Id], quoted(ended[JobCell::Start]), ended[JobCell::LastSentId],
                     quoted(ended[JobCell::Progress]), quoted(ended[JobCell::End])));
}

void RunMarker::clear(Connection &list, qint64 jobId)
{
    list.execute(u"delete from sending where jobid = %1"_s.arg(jobId));
}

OutcomeWriter::OutcomeWriter(const ProgramFolder &folder, Connection &list, const JobRow &job,
                             bool advances)
    : m_jobId(advances ? job.number(JobCell::Id) : 0)
    , m_room(roomFile(folder, job.number(JobCell::MaillistId)))
    , m_begin(list, u"begin immediate"_s)
    , m_update(outcomeStatement(list))
    , m_advance(list, u"update sending set last_mid = ? where jobid = ?"_s)
    , m_commit(list, u"commit"_s)
    , m_rollback(list, u"rollback"_s)
{
    if (m_room.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered, ownerOnly))
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
    const QString text = u"%1\n%2\n%3\n%4"_s.arg(m_jobId).arg(mid).arg(status, reason);
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
        const Recordset rows(list, u"select * from sending where jobid = "_s + row[JobCell::Id]);
        if (rows.atEnd())
            return false;
        const Record &marker = rows.current();
        isCutOff = marker.isNull(u"progress"_s);
        row[JobCell::Start] = marker.text(u"start_time"_s);
        row[JobCell::End] = marker.text(u"end_time"_s);
        row[JobCell::Progress] = isCutOff ? u"Paused"_s : marker.text(u"progress"_s);
        row[JobCell::LastSentId] = marker.text(u"last_mid"_s);
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
                if (!isLeftOver(folder, listId))
                    continue;
                const ListLock lock(folder, listId);
                for (JobRow &row : jobs) {
                    if (adoptRun(folder, row))
                        names += row[JobCell::Name];
                }
            } catch (const StorageError &) {
                // Its run is alive, or whoever uses this list is told.
            }
        }
    } catch (const StorageError &) {
        // Whoever looks at the jobs is told.
    }
    return names;
}

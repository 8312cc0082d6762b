#include "interruptedrun.h"

#include "jobstore.h"

#include "connection.h"
#include "programfolder.h"
#include "recordset.h"
#include "sqltext.h"
#include "statement.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace
{

QString lockFile(const ProgramFolder &folder, qint64 listId)
{
    return folder.file(QStringLiteral("data\\m%1.lock").arg(listId));
}

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

/// Made by the first run of a list: an empty list, and one from elsewhere, has only its recipients.
void ensureTable(Connection &list)
{
    // Not into a file that is no list database.
    if (list.number(QStringLiteral("select count(*) from sqlite_master where name = 'email'")) == 0)
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("The file %1 is not a maillist.").arg(list.path()));
    list.execute(QStringLiteral("create table if not exists sending (jobid integer primary key, "
                                "start_time text not null, last_mid integer not null)"));
}

/// Stores the jobs that table `sending` of list `listId` knows as interrupted.
QStringList recoverList(const ProgramFolder &folder, Connection &system, qint64 listId)
{
    QStringList names;
    Connection list(folder.listConnectionString(listId));
    ensureTable(list);
    for (JobRow &row : loadJobs(system, QStringLiteral(" where mjob.listid = %1 ").arg(listId))) {
        const qint64 jobId = row.number(JobCell::Id);
        if (const auto marker = RunMarker::ofInterrupted(list, jobId, row[JobCell::Start])) {
            row[JobCell::Start] = marker->startTime;
            row[JobCell::End].clear();
            row.setNumber(JobCell::LastSentId, marker->lastMid);
            row[JobCell::Progress] = QStringLiteral("Paused");
            recountRecipients(list, row);
            storeJobRow(folder, row);
            names += row[JobCell::Name];
        }
        RunMarker::clear(list, jobId);
    }
    return names;
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
    list.execute(QStringLiteral("insert or replace into sending values (%1, %2, %3)")
                     .arg(QString::number(jobId), quoted(startTime), QString::number(lastMid)));
}

std::unique_ptr<Statement> RunMarker::advanceStatement(Connection &list)
{
    return std::make_unique<Statement>(
        list, QStringLiteral("update sending set last_mid = ? where jobid = ?"));
}

void RunMarker::clear(Connection &list, qint64 jobId)
{
    ensureTable(list);
    list.execute(QStringLiteral("delete from sending where jobid = %1").arg(jobId));
}

std::optional<RunMarker> RunMarker::ofInterrupted(Connection &list, qint64 jobId,
                                                  const QString &storedStart)
{
    ensureTable(list);
    const Recordset rows(
        list,
        QStringLiteral("select start_time, last_mid from sending where jobid = %1").arg(jobId));
    if (rows.atEnd())
        return {};
    const RunMarker marker{rows.current().text(QStringLiteral("start_time")),
                           rows.current().number(QStringLiteral("last_mid"))};
    if (marker.startTime == storedStart)
        return {};
    return marker;
}

QStringList recoverInterruptedRuns(const ProgramFolder &folder)
{
    const QStringList locks = QDir(folder.file(QStringLiteral("data")))
                                  .entryList({QStringLiteral("m*.lock")}, QDir::Files);
    QStringList names;
    for (const QString &name : locks) {
        const qint64 listId = name.mid(1).section(QLatin1Char('.'), 0, 0).toLongLong();
        QLockFile lock(lockFile(folder, listId));
        if (!take(lock))
            continue; // its run is alive
        try {
            Connection system(folder.systemConnectionString());
            names += recoverList(folder, system, listId);
        } catch (const StorageError &) {
            // Whoever uses this list is told; the other lists, and their jobs, are not held up.
        }
    }
    return names;
}

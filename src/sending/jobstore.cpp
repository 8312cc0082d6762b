#include "jobstore.h"

#include "interruptedrun.h"

#include "connection.h"
#include "programfolder.h"
#include "recordset.h"
#include "sqltext.h"

namespace
{

QString timeCell(const QString &stored)
{
    return stored.trimmed().isEmpty() ? QStringLiteral("0000/00/00 00:00:00") : stored;
}

JobRow jobRow(const Record &record)
{
    JobRow row;
    row[JobCell::Name] = record.text(QStringLiteral("jobname"));
    row[JobCell::Id] = record.text(QStringLiteral("jobid"));
    row[JobCell::Progress] = record.text(QStringLiteral("progress"));
    row[JobCell::Total] = record.text(QStringLiteral("total"));
    row[JobCell::Unsent] = record.text(QStringLiteral("unsent"));
    row[JobCell::Success] = record.text(QStringLiteral("success"));
    row[JobCell::Failed] = record.text(QStringLiteral("failure"));
    row[JobCell::Start] = timeCell(record.text(QStringLiteral("start_time")));
    row[JobCell::End] = timeCell(record.text(QStringLiteral("end_time")));
    row[JobCell::Maillist] = record.text(QStringLiteral("listname"));
    row[JobCell::MaillistId] = record.text(QStringLiteral("listid"));
    row[JobCell::Subject] = record.text(QStringLiteral("subject"));
    row[JobCell::EmailId] = record.text(QStringLiteral("msgid"));
    row[JobCell::LastSentId] = record.text(QStringLiteral("last_mid"));
    return row;
}

/// `select` gives the number and the name.
std::vector<JobChoice> choices(const ProgramFolder &folder, const QString &select)
{
    Connection system(folder.systemConnectionString());
    std::vector<JobChoice> result;
    for (Recordset rows(system, select); !rows.atEnd(); rows.moveNext()) {
        const QString number = rows.current().value(0).value_or(QString());
        result.push_back({number.toLongLong(),
                          number + QLatin1Char('-') + rows.current().value(1).value_or(QString())});
    }
    return result;
}

} // namespace

std::vector<JobChoice> listChoices(const ProgramFolder &folder)
{
    return choices(folder, QStringLiteral("select listid, listname from mlist order by listid"));
}

std::vector<JobChoice> messageChoices(const ProgramFolder &folder)
{
    return choices(folder, QStringLiteral("select msgid, subject from mmsg order by msgid"));
}

QString jobTimeStamp(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyy/MM/dd HH:mm:ss"));
}

std::vector<JobRow> loadJobs(Connection &system, const QString &condition)
{
    const QString query =
        QStringLiteral("SELECT mjob.jobid, mjob.jobname, mjob.listid, mjob.msgid, mjob.progress, "
                       " mjob.success, mjob.failure, mjob.total, mjob.unsent, mjob.start_time, "
                       " mjob.end_time, mjob.last_mid, mlist.listname, mmsg.subject "
                       " FROM mmsg INNER JOIN (mlist INNER JOIN mjob ON mlist.listid = "
                       "mjob.listid) ON  mmsg.msgid = mjob.msgid ") +
        condition + QStringLiteral("  order by mjob.jobid desc ");
    std::vector<JobRow> rows;
    for (Recordset records(system, query); !records.atEnd(); records.moveNext())
        rows.push_back(jobRow(records.current()));
    return rows;
}

JobRow loadJob(Connection &system, qint64 jobId)
{
    const std::vector<JobRow> jobs =
        loadJobs(system, QStringLiteral(" where mjob.jobid = %1 ").arg(jobId));
    if (jobs.empty())
        throw StorageError(0, QStringLiteral("Quillbright"),
                           whyNotListed(system, QString::number(jobId)));
    return jobs.front();
}

QString whyNotListed(Connection &system, const QString &job)
{
    const Recordset rows(
        system,
        QStringLiteral("select jobname, listid, msgid, exists (select * from mlist where "
                       "mlist.listid = mjob.listid) as haslist from mjob where jobid = %1 or "
                       "jobname = %1 order by jobid = %1 desc")
            .arg(quoted(job)));
    if (rows.atEnd())
        return QStringLiteral("There is no job \"%1\".").arg(job);
    const Record &found = rows.current();
    const bool hasList = found.number(QStringLiteral("haslist")) != 0;
    return (hasList ? QStringLiteral("The message of job \"%1\" (Email ID %2) exists no more.")
                    : QStringLiteral("The maillist of job \"%1\" (Maillist ID %2) exists no more."))
        .arg(found.text(QStringLiteral("jobname")),
             found.text(hasList ? QStringLiteral("msgid") : QStringLiteral("listid")));
}

QString jobsWith(JobField field, const QString &text)
{
    static const QStringList columns = {
        QStringLiteral("mjob.jobname"), QStringLiteral("mlist.listname"),
        QStringLiteral("mmsg.subject"), QStringLiteral("mjob.listid"),
        QStringLiteral("mjob.msgid")};
    const bool isNumber = field == JobField::MaillistId || field == JobField::EmailId;
    return QStringLiteral(" where ") + columns[int(field)] +
           (isNumber ? QStringLiteral(" = ") + quoted(text)
                     : QStringLiteral(" like ") + quoted(u'%' + text + u'%')) +
           u' ';
}

void insertJob(const ProgramFolder &folder, const QString &name, qint64 listId, qint64 messageId)
{
    Connection system(folder.systemConnectionString());
    system.execute(QStringLiteral("insert into mjob (jobname,listid,msgid) values (") +
                   quoted(name) + QLatin1Char(',') + QString::number(listId) + QLatin1Char(',') +
                   QString::number(messageId) + QLatin1Char(')'));
}

void renameJob(const ProgramFolder &folder, qint64 jobId, const QString &name)
{
    Connection system(folder.systemConnectionString());
    system.execute(QStringLiteral("update mjob set  jobname =") + quoted(name) +
                   QStringLiteral("  where jobid =") + QString::number(jobId));
}

void deleteJob(const ProgramFolder &folder, qint64 jobId)
{
    Connection system(folder.systemConnectionString());
    system.execute(QStringLiteral("delete from  mjob where jobid=%1").arg(jobId));
}

void storeJobRow(const ProgramFolder &folder, const JobRow &row)
{
    Connection system(folder.systemConnectionString());
    system.execute(QStringLiteral("update mjob set last_mid = ") + row[JobCell::LastSentId] +
                   QStringLiteral(", start_time = ") + quoted(row[JobCell::Start]) +
                   QStringLiteral(", end_time = ") + quoted(row[JobCell::End]) +
                   QStringLiteral(", progress = ") + quoted(row[JobCell::Progress]) +
                   QStringLiteral(", total = ") + row[JobCell::Total] +
                   QStringLiteral(", success = ") + row[JobCell::Success] +
                   QStringLiteral(", failure = ") + row[JobCell::Failed] +
                   QStringLiteral(", unsent = ") + row[JobCell::Unsent] +
                   QStringLiteral(" where jobid = ") + row[JobCell::Id]);
}

void recountRecipients(Connection &list, JobRow &row)
{
    const QString count = QStringLiteral("select count(*) from email ");
    row.setNumber(JobCell::Total, list.number(count));
    row.setNumber(JobCell::Unsent, list.number(count + QStringLiteral("where status is null ")));
    row.setNumber(JobCell::Success, list.number(count + QStringLiteral("where status='S' ")));
    row.setNumber(JobCell::Failed, list.number(count + QStringLiteral("where status='F' ")));
}

void resetJob(const ProgramFolder &folder, JobRow &row)
{
    const qint64 listId = row.number(JobCell::MaillistId);
    const ListLock lock(folder, listId);
    JobRow reset = row;
    Connection list(folder.listConnectionString(listId));
    requireList(list);
    for (const JobCell cell :
         {JobCell::Unsent, JobCell::Success, JobCell::Failed, JobCell::LastSentId})
        reset.setNumber(cell, 0);
    for (const JobCell cell : {JobCell::Progress, JobCell::Start, JobCell::End})
        reset[cell].clear();
    Transaction transaction(list);
    reset.setNumber(JobCell::Total, list.number(QStringLiteral("select count(*) from email ")));
    list.execute(QStringLiteral("update email set status=null"));
    RunMarker::end(list, reset);
    transaction.commit();
    forgetKept(folder, listId);
    storeJobRow(folder, reset);
    RunMarker::clear(list, row.number(JobCell::Id));
    row = reset;
}

std::optional<RepeatCounts> repeatOf(const ProgramFolder &folder, const JobRow &row)
{
    const QString &state = row[JobCell::Progress];
    if (state != QLatin1String("Complete") &&
        (state != QLatin1String("Paused") || row.number(JobCell::LastSentId) != 0))
        return {};
    Connection list(folder.listConnectionString(row.number(JobCell::MaillistId)));
    JobRow now = row;
    recountRecipients(list, now);
    const qint64 had = now.number(JobCell::Success);
    if (had == 0)
        return {};
    return RepeatCounts{had, now.number(JobCell::Total) - had};
}

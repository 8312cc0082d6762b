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

} // namespace

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

void deleteJob(const ProgramFolder &folder, qint64 jobId)
{
    Connection system(folder.systemConnectionString());
    system.execute(QStringLiteral("delete from  mjob where jobid=") + QString::number(jobId));
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
    const ListLock lock(folder, row.number(JobCell::MaillistId));
    JobRow reset = row;
    Connection list(folder.listConnectionString(row.number(JobCell::MaillistId)));
    Transaction transaction(list);
    list.execute(QStringLiteral("update email set status=null"));
    RunMarker::clear(list, row.number(JobCell::Id));
    transaction.commit();
    reset.setNumber(JobCell::Total, list.number(QStringLiteral("select count(*) from email ")));
    for (const JobCell cell :
         {JobCell::Unsent, JobCell::Success, JobCell::Failed, JobCell::LastSentId})
        reset.setNumber(cell, 0);
    for (const JobCell cell : {JobCell::Progress, JobCell::Start, JobCell::End})
        reset[cell].clear();
    storeJobRow(folder, reset);
    row = reset;
}

#include "jobstore.h"

#include "passplan.h"
#include "runrecord.h"

#include "connection.h"
#include "listcatalogue.h"
#include "messagestore.h"
#include "programfolder.h"
#include "recipientrecords.h"
#include "recordset.h"
#include "sqltext.h"

using namespace Qt::StringLiterals;

namespace
{

/// In the order of the cells.
constexpr std::array columns = {"jobname", "jobid",   "progress",   "total",    "unsent",
                                "success", "failure", "start_time", "end_time", "listname",
                                "listid",  "subject", "msgid",      "last_mid"};

JobRow jobRow(const Record &record)
{
    JobRow row;
    for (size_t cell = 0; cell < columns.size(); ++cell)
        row[JobCell(cell)] = record.text(QLatin1String(columns[cell]));
    for (const JobCell cell : {JobCell::Start, JobCell::End}) {
        if (row[cell].trimmed().isEmpty())
            row[cell] = u"0000/00/00 00:00:00"_s;
    }
    return row;
}

} // namespace

std::vector<JobChoice> listChoices(const ProgramFolder &folder)
{
    std::vector<JobChoice> choices;
    for (const MailList &list : ListCatalogue(folder).lists())
        choices.push_back({list.id, QString::number(list.id) + u'-' + list.name});
    return choices;
}

std::vector<JobChoice> messageChoices(const ProgramFolder &folder)
{
    std::vector<JobChoice> choices;
    for (const MessageHead &message : findMessages(folder))
        choices.push_back(
            {message.number, QString::number(message.number) + u'-' + message.subject});
    return choices;
}

QString jobTimeStamp(const QDateTime &time)
{
    return time.toString(u"yyyy/MM/dd HH:mm:ss"_s);
}

std::vector<JobRow> loadJobs(Connection &system, const QString &condition)
{
    const QString query =
        u"SELECT mjob.jobid, mjob.jobname, mjob.listid, mjob.msgid, mjob.progress, "
        " mjob.success, mjob.failure, mjob.total, mjob.unsent, mjob.start_time, "
        " mjob.end_time, mjob.last_mid, mlist.listname, mmsg.subject "
        " FROM mmsg INNER JOIN (mlist INNER JOIN mjob ON mlist.listid = "
        "mjob.listid) ON  mmsg.msgid = mjob.msgid "_s +
        condition + u"  order by mjob.jobid desc "_s;
    std::vector<JobRow> rows;
    for (Recordset records(system, query); !records.atEnd(); records.moveNext())
        rows.push_back(jobRow(records.current()));
    return rows;
}

JobRow loadJob(Connection &system, qint64 jobId)
{
    const std::vector<JobRow> jobs = loadJobs(system, u" where mjob.jobid = %1 "_s.arg(jobId));
    if (jobs.empty())
        throw StorageError(0, u"Quillbright"_s, whyNotListed(system, QString::number(jobId)));
    return jobs.front();
}

QString whyNotListed(Connection &system, const QString &job)
{
    const Recordset rows(system,
                         u"select jobname, listid, msgid, exists (select * from mlist where "
                         "mlist.listid = mjob.listid) as haslist from mjob where jobid = %1 or "
                         "jobname = %1 order by jobid = %1 desc"_s.arg(quoted(job)));
    if (rows.atEnd())
        return u"There is no job \"%1\"."_s.arg(job);
    const Record &found = rows.current();
    const bool hasList = found.number(u"haslist"_s) != 0;
    return (hasList ? u"The message of job \"%1\" (Email ID %2) exists no more."_s
                    : u"The maillist of job \"%1\" (Maillist ID %2) exists no more."_s)
        .arg(found.text(u"jobname"_s), found.text(hasList ? u"msgid"_s : u"listid"_s));
}

QString jobsWith(JobField field, const QString &text)
{
    static const QStringList columns = {u"mjob.jobname"_s, u"mlist.listname"_s, u"mmsg.subject"_s,
                                        u"mjob.listid"_s, u"mjob.msgid"_s};
    const bool isNumber = field == JobField::MaillistId || field == JobField::EmailId;
    return u" where "_s + columns[int(field)] +
           (isNumber ? u" = "_s + quoted(text) : u" like "_s + quoted(u'%' + text + u'%')) + u' ';
}

void insertJob(const ProgramFolder &folder, const QString &name, qint64 listId, qint64 messageId)
{
    Connection system(folder.systemConnectionString());
    system.execute(u"insert into mjob (jobname,listid,msgid) values ("_s + quoted(name) + u',' +
                   QString::number(listId) + u',' + QString::number(messageId) + u')');
}

void renameJob(const ProgramFolder &folder, qint64 jobId, const QString &name)
{
    Connection system(folder.systemConnectionString());
    system.execute(u"update mjob set  jobname ="_s + quoted(name) + u"  where jobid ="_s +
                   QString::number(jobId));
}

void deleteJob(const ProgramFolder &folder, qint64 jobId)
{
    Connection system(folder.systemConnectionString());
    system.execute(u"delete from  mjob where jobid=%1"_s.arg(jobId));
}

bool isListInUse(Connection &system, qint64 listId)
{
    return system.number(u"select count(*) from mjob where listid=%1"_s.arg(listId)) > 0;
}

bool isMessageInUse(Connection &system, qint64 msgid)
{
    return system.number(u"select count(*) from mjob where msgid=%1"_s.arg(msgid)) > 0;
}

void storeJobRow(const ProgramFolder &folder, const JobRow &row)
{
    Connection system(folder.systemConnectionString());
    system.execute(u"update mjob set last_mid = "_s + row[JobCell::LastSentId] +
                   u", start_time = "_s + quoted(row[JobCell::Start]) + u", end_time = "_s +
                   quoted(row[JobCell::End]) + u", progress = "_s + quoted(row[JobCell::Progress]) +
                   u", total = "_s + row[JobCell::Total] + u", success = "_s +
                   row[JobCell::Success] + u", failure = "_s + row[JobCell::Failed] +
                   u", unsent = "_s + row[JobCell::Unsent] + u" where jobid = "_s +
                   row[JobCell::Id]);
}

void recountRecipients(Connection &list, JobRow &row)
{
    JobRow counted = row;
    counted.setNumber(JobCell::Total, countRecipients(list));
    counted.setNumber(JobCell::Unsent, countRecipients(list, u"where status is null "_s));
    counted.setNumber(JobCell::Success, countRecipients(list, u"where status='S' "_s));
    counted.setNumber(JobCell::Failed, countRecipients(list, u"where status='F' "_s));
    row = counted;
}

void resetJob(const ProgramFolder &folder, JobRow &row)
{
    const qint64 listId = row.number(JobCell::MaillistId);
    const ListLock lock(folder, listId);
    JobRow reset = row;
    Connection list(folder.listConnectionString(listId));
    for (const JobCell cell :
         {JobCell::Unsent, JobCell::Success, JobCell::Failed, JobCell::LastSentId})
        reset.setNumber(cell, 0);
    for (const JobCell cell : {JobCell::Progress, JobCell::Start, JobCell::End})
        reset[cell].clear();
    Ledger ledger(list);
    settleRuns(list);
    Transaction transaction(list);
    reset.setNumber(JobCell::Total, countRecipients(list));
    forgetOutcomes(list);
    ledger.noteReset(row.number(JobCell::Id));
    transaction.commit();
    storeJobRow(folder, reset);
    ledger.markStored(row.number(JobCell::Id));
    row = reset;
}

std::optional<RepeatCounts> repeatOf(const ProgramFolder &folder, const JobRow &row)
{
    Connection list(folder.listConnectionString(row.number(JobCell::MaillistId)));
    if (planOfStart(list, row).kind != RunKind::Start || row[JobCell::Progress].isEmpty())
        return {};
    JobRow now = row;
    recountRecipients(list, now);
    const qint64 had = now.number(JobCell::Success);
    if (had == 0)
        return {};
    return RepeatCounts{had, now.number(JobCell::Total) - had};
}

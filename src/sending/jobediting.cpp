#include "jobediting.h"

#include "connection.h"
#include "programfolder.h"
#include "recordset.h"
#include "sqltext.h"

namespace
{

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

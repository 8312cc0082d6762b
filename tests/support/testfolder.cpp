#include "testfolder.h"

#include "connection.h"
#include "recordset.h"
#include "sqltext.h"

#include <QFile>
#include <QSettings>

TestFolder::TestFolder()
    : m_folder(m_directory.path())
{
    for (const QString &name : {QStringLiteral("sys.mdb"), QStringLiteral("mtemplate.mdb")})
        QFile::copy(QStringLiteral(PRISTINE_FOLDER "/") + name, file(name));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, file("config"));
}

qint64 TestFolder::addList(const TestText &name, const QStringList &rows) const
{
    Connection system(m_folder.systemConnectionString());
    system.execute(QStringLiteral("insert into mlist (listname, listtype) values (%1, 'Client')")
                       .arg(quoted(name)));
    const qint64 listId = system.number(QStringLiteral("select max(listid) from mlist"));
    m_folder.createListDatabase(listId);
    Connection list(m_folder.listConnectionString(listId));
    const QStringList columns =
        QStringLiteral("email,fname,lname,title,contact,company,memo").split(QLatin1Char(','));
    Transaction transaction(list);
    for (const QString &row : rows) {
        const bool isSql = row.startsWith(QLatin1Char('\''));
        const qsizetype count = isSql ? row.count(QStringLiteral("','")) + 1 : 1;
        list.execute(
            QStringLiteral("insert into email (%1) values (%2)")
                .arg(columns.first(count).join(QLatin1Char(',')), isSql ? row : quoted(row)));
    }
    transaction.commit();
    return listId;
}

qint64 TestFolder::addList(const TestText &name, std::initializer_list<const char *> rows) const
{
    QStringList texts;
    for (const char *row : rows)
        texts += QString::fromUtf8(row);
    return addList(name, texts);
}

qint64 TestFolder::addMessage(const TestText &subject, const TestText &body,
                              const TestText &format) const
{
    execute(QStringLiteral("insert into mmsg (subject, source, format, sendername, senderemail) "
                           "values (%1, %2, %3, 'The Club', 'club@example.org')")
                .arg(quoted(subject), quoted(body), quoted(format)));
    return row("select max(msgid) from mmsg").toLongLong();
}

qint64 TestFolder::addJob(const TestText &name, qint64 listId, qint64 messageId) const
{
    execute(QStringLiteral("insert into mjob (jobname,listid,msgid) values (%1,%2,%3)")
                .arg(quoted(name), QString::number(listId), QString::number(messageId)));
    return row("select max(jobid) from mjob").toLongLong();
}

QStringList TestFolder::rows(const TestText &select, qint64 listId) const
{
    Connection database(connection(listId));
    QStringList result;
    for (Recordset records(database, select); !records.atEnd(); records.moveNext()) {
        QStringList values;
        for (int i = 0; i < records.current().count(); ++i)
            values += records.current().value(i).value_or(QStringLiteral("null"));
        result += values.join(QLatin1Char('|'));
    }
    return result;
}

QString TestFolder::row(const TestText &select, qint64 listId) const
{
    return rows(select, listId).value(0);
}

void TestFolder::execute(const TestText &sql, qint64 listId) const
{
    Connection(connection(listId)).execute(sql);
}

void TestFolder::refuse(const TestText &event, qint64 listId) const
{
    execute(QStringLiteral("create trigger \"%1\" before %1 begin select raise(abort, 'no room'); "
                           "end")
                .arg(event),
            listId);
}

void TestFolder::allow(const TestText &event, qint64 listId) const
{
    execute(QStringLiteral("drop trigger \"%1\"").arg(event), listId);
}

QString TestFolder::connection(qint64 listId) const
{
    return listId == 0 ? m_folder.systemConnectionString() : m_folder.listConnectionString(listId);
}

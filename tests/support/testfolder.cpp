#include "testfolder.h"

#include "connection.h"
#include "recordset.h"
#include "sqltext.h"

#include <QFile>
#include <QSettings>

using namespace Qt::StringLiterals;

TestFolder::TestFolder()
    : m_folder(m_directory.path())
{
    for (const QString &name : {u"sys.mdb"_s, u"mtemplate.mdb"_s})
        QFile::copy(QLatin1String(PRISTINE_FOLDER "/") + name, file(name));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, file("config"));
    qputenv("XDG_STATE_HOME", file("state").toUtf8());
}

qint64 TestFolder::addList(const TestText &name, const QStringList &rows) const
{
    execute(u"insert into mlist (listname, listtype) values (%1, 'Client')"_s.arg(quoted(name)));
    const qint64 listId = row("select max(listid) from mlist").toLongLong();
    m_folder.createListDatabase(listId);
    Connection list(connection(listId));
    const auto columns = u"email,fname,lname,title,contact,company,memo"_s.split(u',');
    Transaction transaction(list);
    for (const QString &row : rows) {
        const bool isSql = row.startsWith(u'\'');
        const qsizetype count = isSql ? row.count(u"','"_s) + 1 : 1;
        list.execute(u"insert into email (%1) values (%2)"_s.arg(columns.first(count).join(u','),
                                                                 isSql ? row : quoted(row)));
    }
    transaction.commit();
    return listId;
}

qint64 TestFolder::addMessage(const TestText &subject, const TestText &body,
                              const TestText &format) const
{
    execute(u"insert into mmsg (subject, source, format, sendername, senderemail) "
            "values (%1, %2, %3, 'The Club', 'club@example.org')"_s.arg(
                quoted(subject), quoted(body), quoted(format)));
    return row("select max(msgid) from mmsg").toLongLong();
}

qint64 TestFolder::addJob(const TestText &name, qint64 listId, qint64 messageId) const
{
    execute(u"insert into mjob (jobname,listid,msgid) values (%1,%2,%3)"_s.arg(
        quoted(name), QString::number(listId), QString::number(messageId)));
    return row("select max(jobid) from mjob").toLongLong();
}

QStringList TestFolder::rows(const TestText &select, qint64 listId) const
{
    Connection database(connection(listId));
    QStringList result;
    for (Recordset records(database, select); !records.atEnd(); records.moveNext()) {
        QStringList values;
        for (int i = 0; i < records.current().count(); ++i)
            values += records.current().value(i).value_or(u"null"_s);
        result += values.join(u'|');
    }
    return result;
}

void TestFolder::execute(const TestText &sql, qint64 listId) const
{
    Connection(connection(listId)).execute(sql);
}

void TestFolder::refuse(const TestText &event, qint64 listId) const
{
    execute(
        u"create trigger \"%1\" before %1 begin select raise(abort, 'no room'); end"_s.arg(event),
        listId);
}

void TestFolder::allow(const TestText &event, qint64 listId) const
{
    execute(u"drop trigger \"%1\""_s.arg(event), listId);
}

QString TestFolder::connection(qint64 listId) const
{
    return listId == 0 ? m_folder.systemConnectionString() : m_folder.listConnectionString(listId);
}

#include "listcatalogue.h"

#include "recipientrecords.h"

#include "connection.h"
#include "ledger.h"
#include "recordset.h"
#include "sqltext.h"

#include <QDate>
#include <QFile>

namespace
{

QString contains(const QString &column, const QString &text)
{
    return QStringLiteral(" where ucase(") + column + QStringLiteral(") like ") +
           quoted(u'%' + text.toUpper() + u'%');
}

MailList mailList(const Record &record)
{
    const QString created = record.text(QStringLiteral("create_time"));
    const QDate day = QDate::fromString(created.left(10), Qt::ISODate);
    return {record.number(QStringLiteral("listid")), record.text(QStringLiteral("listname")),
            record.text(QStringLiteral("listtype")),
            day.isValid() ? day.toString(QStringLiteral("yyyy/MM/dd")) : created,
            record.text(QStringLiteral("rec_count"))};
}

} // namespace

ListCatalogue::ListCatalogue(const ProgramFolder &folder)
    : m_folder(folder)
{
}

std::vector<MailList> ListCatalogue::search(SearchField field, const QString &text,
                                            const Tell &tell) const
{
    if (text.isEmpty())
        return lists();
    if (field == ListName)
        return select(contains(QStringLiteral("listname"), text));
    if (field == Type)
        return select(contains(QStringLiteral("listtype"), text));

    std::vector<MailList> all = lists();
    if (text.trimmed().isEmpty())
        return all;
    std::erase_if(all, [&](const MailList &list) {
        try {
            return countRecipients(list.id, {RecipientQuery::Email, text}) == 0;
        } catch (const StorageError &e) {
            tell(e.description());
            return true;
        }
    });
    return all;
}

QStringList ListCatalogue::types() const
{
    Connection system(m_folder.systemConnectionString());
    QStringList types;
    for (Recordset rows(system, QStringLiteral("select distinct listtype from mlist order by 1"));
         !rows.atEnd(); rows.moveNext()) {
        if (const auto &type = rows.current().value(0))
            types += *type;
    }
    return types;
}

qint64 ListCatalogue::create(const QString &name, const QString &type) const
{
    return add(name, type, [this](qint64 listId) { m_folder.createListDatabase(listId); });
}

qint64 ListCatalogue::duplicate(const MailList &list) const
{
    return add(QStringLiteral("Copy of ") + list.name, list.type, [&](qint64 listId) {
        m_folder.duplicateListDatabase(list.id, listId);
        Connection copy(m_folder.listConnectionString(listId));
        Ledger::clear(copy);
        copy.close();
        storeRecipientCount(m_folder, listId);
    });
}

void ListCatalogue::rename(qint64 listId, const QString &name, const QString &type) const
{
    Connection(m_folder.systemConnectionString())
        .execute(
            QStringLiteral("update mlist set update_time=date(), listname=%1, listtype=%2  where "
                           "listid =%3")
                .arg(quoted(name), quoted(type), QString::number(listId)));
}

bool ListCatalogue::remove(qint64 listId, const InUse &isInUse) const
{
    Connection system(m_folder.systemConnectionString());
    // One transaction, so that no job begins to use the list between the question and the answer.
    Transaction transaction(system);
    if (isInUse(system, listId))
        return false;
    system.execute(QStringLiteral("delete from mlist where listid =%1").arg(listId));
    transaction.commit();
    if (QFile::exists(m_folder.listDatabaseFile(listId)))
        m_folder.deleteListDatabase(listId);
    return true;
}

std::vector<MailList> ListCatalogue::select(const QString &condition) const
{
    Connection system(m_folder.systemConnectionString());
    std::vector<MailList> lists;
    for (Recordset rows(system, QStringLiteral("select * from mlist ") + condition +
                                    QStringLiteral(" order by listid "));
         !rows.atEnd(); rows.moveNext())
        lists.push_back(mailList(rows.current()));
    return lists;
}

qint64 ListCatalogue::countRecipients(qint64 listId, const RecipientQuery &query) const
{
    Connection list(m_folder.listConnectionString(listId));
    return ::countRecipients(list, query.condition());
}

qint64 ListCatalogue::countRuns(qint64 listId) const
{
    Connection list(m_folder.listConnectionString(listId));
    return Ledger::runCount(list);
}

qint64 ListCatalogue::add(const QString &name, const QString &type,
                          const std::function<void(qint64 listId)> &makeDatabase) const
{
    Connection system(m_folder.systemConnectionString());
    Transaction transaction(system);
    system.execute(QStringLiteral("insert into mlist (listname, listtype) values (%1,%2)")
                       .arg(quoted(name), quoted(type)));
    const qint64 listId = system.number(
        QStringLiteral("select max(listid) from mlist where listname =") + quoted(name));
    // Stored before the file is made: a number, once given, is used for no other list, so a file
    // that a crash leaves behind is never mistaken for another's.
    transaction.commit();
    try {
        makeDatabase(listId);
    } catch (const StorageError &) {
        system.execute(QStringLiteral("delete from mlist where listid =%1").arg(listId));
        throw;
    }
    return listId;
}

qint64 storeRecipientCount(const ProgramFolder &folder, qint64 listId)
{
    const qint64 count = ListCatalogue(folder).countRecipients(listId);
    Connection system(folder.systemConnectionString());
    system.execute(
        QStringLiteral("update mlist set update_time=date(), rec_count=%1 where listid =%2")
            .arg(count)
            .arg(listId));
    return count;
}

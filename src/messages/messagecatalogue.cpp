#include "messagecatalogue.h"

#include "connection.h"
#include "programfolder.h"
#include "recordset.h"
#include "sqltext.h"

namespace
{

/// `condition` and order of a select. A body can be very long, so rows are read without it.
std::vector<MessageHead> heads(const ProgramFolder &folder, const QString &condition)
{
    Connection system(folder.systemConnectionString());
    std::vector<MessageHead> result;
    const QString columns =
        QStringLiteral("select msgid, subject, sendername, senderemail, format");
    for (Recordset rows(system, columns + QStringLiteral(" from mmsg ") + condition); !rows.atEnd();
         rows.moveNext()) {
        const Record &row = rows.current();
        result.push_back({row.number(QStringLiteral("msgid")), row.text(QStringLiteral("subject")),
                          row.text(QStringLiteral("sendername")),
                          row.text(QStringLiteral("senderemail")),
                          row.text(QStringLiteral("format"))});
    }
    return result;
}

} // namespace

std::vector<MessageHead> findMessages(const ProgramFolder &folder, MessageField field,
                                      const QString &text)
{
    if (text.isEmpty())
        return heads(folder, QStringLiteral("order by msgid "));
    const QString column =
        field == MessageField::Subject ? QStringLiteral("subject") : QStringLiteral("sendername");
    return heads(folder, QStringLiteral("where ") + column + QStringLiteral(" like ") +
                             quoted(QLatin1Char('%') + text + QLatin1Char('%')) +
                             QStringLiteral("  order by msgid "));
}

MessageHead messageHead(const ProgramFolder &folder, qint64 number)
{
    const std::vector<MessageHead> found =
        heads(folder, QStringLiteral("where msgid=%1").arg(number));
    if (found.empty())
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("There is no message %1.").arg(number));
    return found.front();
}

void duplicateMessage(const ProgramFolder &folder, qint64 number)
{
    Connection system(folder.systemConnectionString());
    system.execute(
        QStringLiteral("insert into mmsg (sendername, senderemail, format, replyemail, encode, "
                       "priority, subject, attach01, attach02, attach03, source) "
                       " SELECT sendername, senderemail, format, replyemail, encode, priority, "
                       "'Copy of ' || coalesce(subject, ''), attach01, attach02, attach03, source "
                       " FROM mmsg where msgid=%1")
            .arg(number));
}

bool deleteMessage(const ProgramFolder &folder, qint64 number)
{
    Connection system(folder.systemConnectionString());
    // No job may take the message between the look and the deletion.
    Transaction transaction(system);
    if (system.number(QStringLiteral("select count(*) from mjob where msgid=%1").arg(number)) > 0)
        return false;
    system.execute(QStringLiteral("delete from mmsg where msgid =%1").arg(number));
    transaction.commit();
    return true;
}

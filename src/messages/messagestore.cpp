#include "messagestore.h"

#include "connection.h"
#include "programfolder.h"
#include "recordset.h"
#include "sqltext.h"

#include <QFileInfo>

namespace
{

void update(Connection &system, qint64 msgid, const JobMessage &message)
{
    const QString format =
        message.format == QLatin1String("TEXT") ? message.format : QStringLiteral("HTML");
    system.execute(QStringLiteral("update mmsg set  sendername =") + quoted(message.senderName) +
                   QStringLiteral(",  senderemail=") + quoted(message.senderAddress) +
                   QStringLiteral(",  subject=") + quoted(message.subject) +
                   QStringLiteral(",  replyemail=") + quoted(message.replyAddress) +
                   QStringLiteral(",  format=") + quoted(format) + QStringLiteral(",  attach01=") +
                   quoted(message.attachments[0]) + QStringLiteral(",  attach02=") +
                   quoted(message.attachments[1]) + QStringLiteral(",  attach03=") +
                   quoted(message.attachments[2]) + QStringLiteral(",  source=") +
                   quoted(message.body) + QStringLiteral("  where msgid =") +
                   QString::number(msgid));
    if (system.number(QStringLiteral("select changes()")) == 0)
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("There is no message %1 any more.").arg(msgid));
}

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

QStringList JobMessage::attachmentPaths() const
{
    QStringList paths;
    for (const QString &path : attachments) {
        if (!path.isEmpty())
            paths += path;
    }
    return paths;
}

QString JobMessage::missingAttachment() const
{
    for (const QString &path : attachmentPaths()) {
        if (!QFileInfo(path).isFile())
            return path;
    }
    return {};
}

JobMessage loadMessage(Connection &system, qint64 msgid)
{
    const Recordset rows(system, QStringLiteral("select * from mmsg where msgid=%1").arg(msgid));
    if (rows.atEnd())
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("There is no message %1.").arg(msgid));
    const Record &row = rows.current();
    return {.subject = row.text(QStringLiteral("subject")),
            .senderName = row.text(QStringLiteral("sendername")),
            .senderAddress = row.text(QStringLiteral("senderemail")),
            .replyAddress = row.text(QStringLiteral("replyemail")),
            .format = row.text(QStringLiteral("format")),
            .attachments = {row.text(QStringLiteral("attach01")),
                            row.text(QStringLiteral("attach02")),
                            row.text(QStringLiteral("attach03"))},
            .body = row.text(QStringLiteral("source"))};
}

qint64 insertMessage(const ProgramFolder &folder, const JobMessage &message)
{
    Connection system(folder.systemConnectionString());
    Transaction transaction(system);
    system.execute(QStringLiteral("insert into mmsg (subject) values (") + quoted(message.subject) +
                   QLatin1Char(')'));
    const qint64 msgid = system.number(
        QStringLiteral("select max(msgid) from mmsg where subject =") + quoted(message.subject));
    update(system, msgid, message);
    transaction.commit();
    return msgid;
}

void updateMessage(const ProgramFolder &folder, qint64 msgid, const JobMessage &message)
{
    Connection system(folder.systemConnectionString());
    update(system, msgid, message);
}

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

bool deleteMessage(const ProgramFolder &folder, qint64 number, const MessageInUse &isInUse)
{
    Connection system(folder.systemConnectionString());
    // No job may take the message between the look and the deletion.
    Transaction transaction(system);
    if (isInUse(system, number))
        return false;
    system.execute(QStringLiteral("delete from mmsg where msgid =%1").arg(number));
    transaction.commit();
    return true;
}

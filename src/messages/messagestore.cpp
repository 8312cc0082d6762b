#include "messagestore.h"

#include "connection.h"
#include "programfolder.h"
#include "sqltext.h"

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

} // namespace

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

#include "jobmessage.h"

#include "connection.h"
#include "recordset.h"

#include <QFileInfo>

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

#pragma once

#include <QString>
#include <QStringList>

#include <array>

class Connection;

/// A message as it is sent: a row of `mmsg`, null columns as empty text.
struct JobMessage {
    QString subject;
    QString senderName;
    QString senderAddress;
    QString replyAddress;               ///< shown, not sent
    QString format;                     ///< "TEXT" or "HTML"
    std::array<QString, 3> attachments; ///< full paths; empty where there is none
    QString body;                       ///< the template, with its merge fields

    bool operator==(const JobMessage &) const = default;

    /// The paths that are set, in order.
    QStringList attachmentPaths() const;
    /// The first attachment that is no file; empty when all are there.
    QString missingAttachment() const;
};

/// Message `msgid` of the system database. Throws StorageError, also when there is no such row.
JobMessage loadMessage(Connection &system, qint64 msgid);

#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <vector>

class Connection;
class ProgramFolder;

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

/// Adds a message to the system database; its number. Any format but "TEXT" is stored as "HTML".
/// Throws StorageError, and then nothing was stored.
qint64 insertMessage(const ProgramFolder &folder, const JobMessage &message);

/// Replaces what is stored of message `msgid`. Throws StorageError, also when the message is gone.
void updateMessage(const ProgramFolder &folder, qint64 msgid, const JobMessage &message);

/// A stored message, as the catalogue lists it.
struct MessageHead {
    qint64 number; ///< `msgid`
    QString subject;
    QString senderName; ///< empty for null, like every text here
    QString senderAddress;
    QString format;
};

enum class MessageField { Subject, SenderName };

/// The messages whose field contains `text`, by increasing number; every message for an empty text.
/// "%" in it stands for any text, "_" for any character. Throws StorageError.
std::vector<MessageHead> findMessages(const ProgramFolder &folder,
                                      MessageField field = MessageField::Subject,
                                      const QString &text = {});

/// The message of the number; throws StorageError, also when there is none.
MessageHead messageHead(const ProgramFolder &folder, qint64 number);

/// Adds a copy of the whole message with "Copy of " before its subject. Throws StorageError.
void duplicateMessage(const ProgramFolder &folder, qint64 number);

/// Whether a job sends the message; asked on the connection that deletes it.
using MessageInUse = std::function<bool(Connection &system, qint64 number)>;
/// Deletes the message, unless it is in use: then returns false. Throws StorageError.
bool deleteMessage(const ProgramFolder &folder, qint64 number, const MessageInUse &isInUse);

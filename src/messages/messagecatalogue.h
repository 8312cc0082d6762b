#pragma once

#include <QString>

#include <vector>

class ProgramFolder;

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
/// "%" and "_" in it stand for any characters and any one. Throws StorageError.
std::vector<MessageHead> findMessages(const ProgramFolder &folder,
                                      MessageField field = MessageField::Subject,
                                      const QString &text = {});

/// The message of the number; throws StorageError, also when there is none.
MessageHead messageHead(const ProgramFolder &folder, qint64 number);

/// Adds a copy of the whole message with "Copy of " before its subject. Throws StorageError.
void duplicateMessage(const ProgramFolder &folder, qint64 number);

/// Deletes the message, unless a job sends it: then returns false. Throws StorageError.
bool deleteMessage(const ProgramFolder &folder, qint64 number);

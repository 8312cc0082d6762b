#pragma once

#include <QMap>
#include <QString>

/// New texts of a recipient's fields, by the field's number from 1 as in RecipientQuery. An empty
/// status is stored as "not sent yet", and an address of blanks is refused as none.
using RecipientChanges = QMap<int, QString>;

/// These write to a list's database, each in a connection of its own, and throw StorageError.
/// Returns the new recipient's number. Fields that are not among `fields` stay null.
qint64 insertRecipient(const QString &listConnectionString, const RecipientChanges &fields);
/// An error also when the recipient is gone.
void updateRecipient(const QString &listConnectionString, qint64 number,
                     const RecipientChanges &changes);
void deleteRecipient(const QString &listConnectionString, qint64 number);
void deleteAllRecipients(const QString &listConnectionString);

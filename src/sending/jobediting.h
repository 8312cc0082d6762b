#pragma once

#include <QString>

#include <vector>

class ProgramFolder;

/// A list or a message that a job can name.
struct JobChoice {
    qint64 number; ///< `listid` or `msgid`
    QString text;  ///< the number, "-" and the list's name or the message's subject
};

/// Every list, by increasing number. Throws StorageError.
std::vector<JobChoice> listChoices(const ProgramFolder &folder);
/// Every message, by increasing number. Throws StorageError.
std::vector<JobChoice> messageChoices(const ProgramFolder &folder);

/// Adds a job that has never run. Throws StorageError.
void insertJob(const ProgramFolder &folder, const QString &name, qint64 listId, qint64 messageId);
/// Throws StorageError.
void renameJob(const ProgramFolder &folder, qint64 jobId, const QString &name);

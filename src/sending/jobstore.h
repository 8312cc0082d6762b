#pragma once

#include "jobrow.h"

#include <QDateTime>

#include <optional>
#include <vector>

class Connection;
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

/// The form of a job's start and end: "yyyy/mm/dd hh:mm:ss".
QString jobTimeStamp(const QDateTime &time);

/// The jobs whose list and message exist, newest first; `condition` is of jobsWith(), or empty.
/// Throws StorageError.
std::vector<JobRow> loadJobs(Connection &system, const QString &condition = {});
/// One of them. Throws StorageError, also when it is not among them.
JobRow loadJob(Connection &system, qint64 jobId);
/// Why the job with this number or name is not among them, as a sentence. Throws StorageError.
QString whyNotListed(Connection &system, const QString &job);

/// What jobs are searched by.
enum class JobField { Name, Maillist, Subject, MaillistId, EmailId };
/// The condition of the jobs in whose `field` the text stands, or which have that number.
QString jobsWith(JobField field, const QString &text);

/// Adds a job that has never run. Throws StorageError.
void insertJob(const ProgramFolder &folder, const QString &name, qint64 listId, qint64 messageId);
/// Throws StorageError.
void renameJob(const ProgramFolder &folder, qint64 jobId, const QString &name);
/// Deletes the job. What it has sent stays recorded in its list. Throws StorageError.
void deleteJob(const ProgramFolder &folder, qint64 jobId);

/// Whether a job names the list, or the message. Throws StorageError.
bool isListInUse(Connection &system, qint64 listId);
bool isMessageInUse(Connection &system, qint64 msgid);

/// Writes the row's state, times, counters and resume point to `mjob`. Throws StorageError.
void storeJobRow(const ProgramFolder &folder, const JobRow &row);

/// Puts the list's present counts into the row's Total, Unsent, Success and Failed. Throws
/// StorageError.
void recountRecipients(Connection &list, JobRow &row);

/// Forgets what was sent: every recipient of the job's list is unsent again, the job begins at the
/// first, and both are stored. Throws StorageError, and ListInUse while the list is being sent to,
/// with `row` and the stored job as they were.
void resetJob(const ProgramFolder &folder, JobRow &row);

struct RepeatCounts {
    qint64 had;     ///< recipients that have had the job's message
    qint64 haveNot; ///< the others
};
/// A normal run of the job would mail those again who have had its message, since it begins at the
/// first recipient: how many, and how many not. Nothing where it would not. Throws StorageError.
std::optional<RepeatCounts> repeatOf(const ProgramFolder &folder, const JobRow &row);

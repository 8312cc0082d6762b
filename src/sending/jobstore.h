#pragma once

#include "jobrow.h"

#include <QDateTime>

#include <vector>

class Connection;
class ProgramFolder;

/// The form of a job's start and end: "yyyy/mm/dd hh:mm:ss".
QString jobTimeStamp(const QDateTime &time);

/// The jobs whose list and message exist, newest first; `condition` is " where ..." or empty.
/// Throws StorageError.
std::vector<JobRow> loadJobs(Connection &system, const QString &condition = {});

/// Writes the row's state, times, counters and resume point to `mjob`. Throws StorageError.
void storeJobRow(const ProgramFolder &folder, const JobRow &row);

/// Deletes the job. What it has sent stays recorded in its list. Throws StorageError.
void deleteJob(const ProgramFolder &folder, qint64 jobId);

/// Puts the list's present counts into the row's Total, Unsent, Success and Failed. Throws
/// StorageError.
void recountRecipients(Connection &list, JobRow &row);

/// Forgets what was sent: every recipient of the job's list is unsent again, the job begins at the
/// first, and both are stored. Throws StorageError, and ListInUse while the list is being sent to,
/// with `row` and the stored job as they were.
void resetJob(const ProgramFolder &folder, JobRow &row);

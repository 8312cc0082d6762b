#pragma once

#include <QStringList>

#include <functional>

class Keyset;
class ProgramFolder;
class Record;

/// The names of what a report tells of a person, as they stand in files.
QStringList reportColumns();
/// The cells under them; `person`: of a Keyset with ReportScope::columns(). The time is ISO's.
QStringList reportCells(const Record &person);

/// Writes a report as comma-separated values, in UTF-8 and quoted as RFC 4180 has it. `goOn` is
/// told how many people are written, now and then; false ends it, and then the file is not there.
/// Returns how many were written. Throws StorageError.
qint64 writeReport(const ProgramFolder &folder, Keyset &people, const QString &path,
                   const std::function<bool(qint64 written)> &goOn);

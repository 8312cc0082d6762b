#pragma once

#include "pace.h"

#include <QString>
#include <QStringList>

#include <memory>

class Connection;
class Operator;
class ProgramFolder;
class RecipientSource;
class Spreadsheet;
class Yield;

struct ImportCounts {
    qint64 successes = 0;
    qint64 failures = 0;
    qint64 damaged = 0; ///< lines with characters that cannot be read, added or not

    qint64 total() const { return successes + failures; }
    /// The status bar's three panels.
    QStringList panels() const;
    /// What is told at the end.
    QString summary() const;
};

/// What an import shows while it goes on.
class ImportView
{
public:
    virtual ~ImportView() = default;

    /// `progress`: how much of the file is read, from 0 to 1.
    virtual void showCounts(const ImportCounts &counts, double progress) = 0;
    /// Adds to the error log; `text` is one line or many, each ended by CR LF.
    virtual void appendLog(const QString &text) = 0;
};

/// Adds the recipients of a file to a list. What the list refuses is counted and logged; what was
/// counted when the import is aborted stays in the list.
class RecipientImport
{
public:
    enum class Result {
        Complete,
        Aborted,
        NoFile,     ///< no path was given
        BadFile,    ///< the file cannot be read, or not to its end
        ListFailed, ///< the list's database cannot be read or written
    };

    /// `paintEvery`: how often the view is shown something and events run; zero is after each line.
    RecipientImport(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                    ImportView &view, Yield &yield,
                    std::chrono::milliseconds paintEvery = Interval::frame);

    /// Whether the file of this name is read as a workbook.
    static bool isWorkbook(const QString &path);

    /// Imports into list `listId` and stores the list's new count. `separator` is an entry of the
    /// separator box; a workbook has no use for it. Failures are told, not thrown.
    Result run(qint64 listId, const QString &path, bool asWorkbook, const QString &separator);
    /// Ends a run after the line it is on.
    void abort() { m_abort = true; }

    const ImportCounts &counts() const { return m_counts; }
    /// How many recipients the list had after the last run.
    qint64 recordCount() const { return m_recordCount; }

private:
    Result import(qint64 listId, const QString &path, bool asWorkbook, const QString &separator);
    void copy(RecipientSource &source, Connection &list);
    void show(double progress);
    void tellFailure(const QString &description);

    const ProgramFolder &m_folder;
    Spreadsheet &m_spreadsheet;
    Operator &m_operator;
    ImportView &m_view;
    Yield &m_yield;
    const std::chrono::milliseconds m_paintEvery;
    ImportCounts m_counts;
    QString m_log; // what the view was not shown yet
    qint64 m_recordCount = 0;
    bool m_abort = false;
};

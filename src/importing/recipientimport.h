#pragma once

#include "recipienttransfer.h"

#include <QString>
#include <QStringList>

#include <memory>

class Connection;
class RecipientSource;

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
class RecipientImport final : public RecipientTransfer<ImportView>
{
public:
    enum class Result {
        Complete,
        Aborted,
        NoFile,     ///< no path was given
        BadFile,    ///< the file cannot be read, or not to its end
        ListFailed, ///< the list's database cannot be read or written
    };

    using RecipientTransfer::RecipientTransfer;

    /// Whether the file of this name is read as a workbook.
    static bool isWorkbook(const QString &path);

    /// Imports into list `listId` and stores the list's new count. `separator` is an entry of the
    /// separator box; a workbook has no use for it. Failures are told, not thrown.
    Result run(qint64 listId, const QString &path, bool asWorkbook, const QString &separator);

    const ImportCounts &counts() const { return m_counts; }

private:
    Result import(qint64 listId, const QString &path, bool asWorkbook, const QString &separator);
    void copy(RecipientSource &source, Connection &list);
    void show(double progress);
    void tellFailure(const QString &description);

    ImportCounts m_counts;
    QString m_log; // what the view was not shown yet
};

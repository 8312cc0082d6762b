#pragma once

#include "recipienttransfer.h"
#include "recordtarget.h"

#include <QStringList>

#include <functional>
#include <memory>

class Keyset;

/// Which recipients of a list are exported.
enum class ExportFilter { All, Success, Fail };

/// Where an export goes.
struct ExportDestination {
    enum Kind { TextFile, Workbook, Clipboard };

    Kind kind = TextFile;
    /// Of the file. A workbook without one becomes a new document of the person's, and is shown.
    QString path;
    /// An entry of the separator box; a workbook has no use for it.
    QString separator;
    /// What a new document is named after.
    QString name;
};

/// What an export shows while it goes on.
class ExportView
{
public:
    virtual ~ExportView() = default;

    /// `count` of `total` records are written.
    virtual void showStatus(const QString &text, qint64 count, qint64 total) = 0;
    virtual void setClipboard(const QString &text) = 0;
};

/// Writes recipients to a file, a workbook or the clipboard. An aborted export leaves what was
/// written until then; a failed one leaves no file, or the one that was there.
class RecipientExport final : public RecipientTransfer<ExportView>
{
public:
    enum class Result {
        Complete,
        Aborted,
        NoFile,       ///< no path was given
        TargetFailed, ///< the target cannot be written
        ListFailed,   ///< the list's database cannot be read
    };

    using RecipientTransfer::RecipientTransfer;

    /// The seven fields of every recipient that the filter selects. Failures are told.
    Result exportList(qint64 listId, ExportFilter filter, const ExportDestination &destination);
    /// The rows that a grid shows, without their last two columns. `columns` names all of them; the
    /// names come first in a text where `withNames` is set. Failures are told.
    Result exportRecords(Keyset &rows, const QStringList &columns, bool withNames,
                         const ExportDestination &destination);

    /// How many records were written.
    qint64 count() const { return m_count; }

private:
    /// What is shown and told when all is written.
    struct Ending {
        QString status;
        QString message;
    };

    Result run(ExportDestination destination,
               const std::function<Ending(RecordTarget &target)> &work);
    std::unique_ptr<RecordTarget> target(const ExportDestination &destination);
    /// `next` puts the next record into `fields`; false at the end.
    void copy(RecordTarget &target, std::span<const std::string> fields, qint64 total,
              const QString &status, const std::function<bool()> &next);
    /// Packs a workbook, which takes seconds when it is a large one, while events run.
    void save(RecordTarget &workbook);
    void show(const QString &status, qint64 total);

    qint64 m_count = 0;
};

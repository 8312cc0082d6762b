#include "recipientexport.h"

#include "delimitedsource.h"
#include "delimitedtarget.h"
#include "desktopspreadsheet.h"

#include "connection.h"
#include "keyset.h"
#include "operator.h"
#include "programfolder.h"
#include "recipientrecords.h"
#include "yield.h"

#include <future>

namespace
{

/// Of a record set: the state of sending, which belongs to this list alone.
constexpr qsizetype columnsLeftOut = 2;

class ClipboardTarget final : public DelimitedTarget
{
public:
    ClipboardTarget(const QString &separator, ExportView &view)
        : DelimitedTarget(separator)
        , m_view(view)
    {
    }
    void finish() override { m_view.setClipboard(QString::fromStdString(m_text)); }

private:
    ExportView &m_view;
};

QString condition(ExportFilter filter)
{
    switch (filter) {
    case ExportFilter::Success:
        return QStringLiteral(" where status <> 'F' or status is null");
    case ExportFilter::Fail:
        return QStringLiteral(" where status = 'F'");
    case ExportFilter::All:
        break;
    }
    return {};
}

std::vector<std::string> utf8(const QStringList &texts)
{
    std::vector<std::string> result;
    for (const QString &text : texts)
        result.push_back(text.toStdString());
    return result;
}

QString outOf(qint64 count, qint64 total)
{
    return QStringLiteral("%1/%2").arg(count).arg(total);
}

} // namespace

RecipientExport::Result RecipientExport::exportList(qint64 listId, ExportFilter filter,
                                                    const ExportDestination &destination)
{
    return run(destination, [&](RecordTarget &target) -> Ending {
        Connection list(m_folder.listConnectionString(listId));
        const qint64 total = countRecipients(list, condition(filter));
        RecipientReader reader(list, condition(filter));
        RecipientRecord record;
        copy(target, record, total, QStringLiteral("Exporting record : "),
             [&] { return reader.next(record); });
        return {{}, QStringLiteral("Records exported: %1").arg(m_count)};
    });
}

RecipientExport::Result RecipientExport::exportRecords(Keyset &rows, const QStringList &columns,
                                                       bool withNames,
                                                       const ExportDestination &destination)
{
    return run(destination, [&](RecordTarget &target) -> Ending {
        show(QStringLiteral("Exporting Records ..."), rows.size());
        const QStringList exported = columns.first(columns.size() - columnsLeftOut);
        if (withNames && destination.kind != ExportDestination::Workbook)
            target.write(utf8(exported));
        rows.readKeys(Keyset::all);
        std::vector<std::string> fields(size_t(exported.size()));
        qsizetype index = 0;
        copy(target, fields, rows.size(), QStringLiteral("Exporting Row: "), [&] {
            const Record *row = nullptr;
            while (!row && index < rows.size()) // passing over what was deleted since
                row = rows.row(index++);
            for (size_t i = 0; row && i < fields.size(); ++i)
                fields[i] = row->text(exported[qsizetype(i)]).toStdString();
            return row != nullptr;
        });
        const QString reached = outOf(m_count, rows.size());
        return {
            QStringLiteral("Exported Row: ") + reached,
            (m_abort ? QStringLiteral("Export Abort, ") : QStringLiteral("Export Completed, ")) +
                reached + QStringLiteral(" rows exported.")};
    });
}

RecipientExport::Result
RecipientExport::run(ExportDestination destination,
                     const std::function<Ending(RecordTarget &target)> &work)
{
    m_abort = false;
    m_count = 0;
    if (destination.kind == ExportDestination::TextFile && destination.path.isEmpty()) {
        m_operator.tell(QStringLiteral("Please enter the export file name !"));
        return Result::NoFile;
    }
    const bool isDocument =
        destination.kind == ExportDestination::Workbook && destination.path.isEmpty();
    if (isDocument)
        destination.path = newWorkbookPath(destination.name);
    Ending ending;
    bool isAborted = false;
    QString remark;
    try {
        const auto written = target(destination);
        ending = work(*written);
        isAborted = m_abort; // what comes now is done to the end
        if (destination.kind == ExportDestination::Workbook)
            save(*written);
        else
            written->finish();
        remark = written->remark();
    } catch (const StorageError &e) {
        m_view.showStatus({}, 0, 0);
        m_operator.tell(e.report(), QStringLiteral("Error"));
        return e.isOfFile() ? Result::TargetFailed : Result::ListFailed;
    }
    const bool isShown = isDocument && m_spreadsheet.show(destination.path);
    m_view.showStatus(ending.status, m_count, m_count);
    m_operator.tell(ending.message);
    if (!remark.isEmpty())
        m_operator.tell(remark);
    if (isDocument && !isShown)
        m_operator.tell(QStringLiteral("The workbook was saved as %1.").arg(destination.path));
    return isAborted ? Result::Aborted : Result::Complete;
}

std::unique_ptr<RecordTarget> RecipientExport::target(const ExportDestination &destination)
{
    if (destination.kind != ExportDestination::Clipboard)
        m_folder.refuseOwnFile(destination.path);
    const QString separator = separatorText(destination.separator);
    switch (destination.kind) {
    case ExportDestination::Workbook:
        return m_spreadsheet.create(destination.path,
                                    {QStringLiteral("Email"), QStringLiteral("Firstname"),
                                     QStringLiteral("Lastname"), QStringLiteral("Title"),
                                     QStringLiteral("Contact"), QStringLiteral("Company"),
                                     QStringLiteral("Memo")});
    case ExportDestination::Clipboard:
        return std::make_unique<ClipboardTarget>(separator, m_view);
    case ExportDestination::TextFile:
        break;
    }
    return std::make_unique<DelimitedFileTarget>(destination.path, separator);
}

void RecipientExport::copy(RecordTarget &target, std::span<const std::string> fields, qint64 total,
                           const QString &status, const std::function<bool()> &next)
{
    target.expect(total);
    Interval painting(m_paintEvery);
    while (!m_abort && next()) {
        target.write(fields);
        ++m_count;
        if (painting.isDue())
            show(status + outOf(m_count, total), total);
    }
}

void RecipientExport::save(RecordTarget &workbook)
{
    show(QStringLiteral("Saving the workbook ..."), m_count);
    auto saved = std::async(std::launch::async, [&workbook] { workbook.finish(); });
    while (saved.wait_for(Interval::frame) != std::future_status::ready)
        m_yield.yield();
    saved.get();
}

void RecipientExport::show(const QString &status, qint64 total)
{
    m_view.showStatus(status, m_count, total);
    m_yield.yield();
}

#include "commands.h"
#include "listing.h"
#include "terminal.h"

#include "desktopspreadsheet.h"
#include "keyset.h"
#include "listcatalogue.h"
#include "programfolder.h"
#include "recipientimport.h"
#include "recipientquery.h"

namespace
{

const QString stopping =
    QStringLiteral("Stopping after the current record; once more to quit at once");

MailList findList(const ProgramFolder &folder, const QString &list)
{
    return oneNamed(ListCatalogue(folder).lists(), QStringLiteral("list"), list, &MailList::id,
                    &MailList::name, QStringLiteral("There is no list \"%1\".").arg(list));
}

/// What an import or an export shows: a bar, and above it the log.
class TransferView final : public ImportView, public ExportView
{
public:
    explicit TransferView(ProgressBar &bar)
        : m_bar(bar)
    {
    }

    void showCounts(const ImportCounts &counts, double progress) override
    {
        m_bar.show(
            progress, counts.total(),
            QStringLiteral("%1 imported, %2 failed").arg(counts.successes).arg(counts.failures));
    }

    void appendLog(const QString &text) override
    {
        // The heading is of interest only when something stands below it.
        if (m_heading.isNull()) {
            m_heading = text;
            return;
        }
        m_bar.clear();
        printMessage((m_heading + text).chopped(2));
        m_heading = QStringLiteral("");
    }

    void showStatus(const QString &, qint64 count, qint64 total) override
    {
        if (total > 0)
            m_bar.show(double(count) / double(total), count,
                       QStringLiteral("%1 exported").arg(count));
    }
    /// Nothing in the console exports to it.
    void setClipboard(const QString &) override {}

private:
    ProgressBar &m_bar;
    QString m_heading;
};

ExitStatus exitStatus(RecipientImport::Result result, qint64 failures)
{
    using Result = RecipientImport::Result;
    if (result == Result::Complete)
        return failures > 0 ? CompleteWithFailures : Complete;
    if (result == Result::Aborted)
        return Paused;
    return result == Result::ListFailed ? StorageFailure : Refused;
}

ExitStatus exitStatus(RecipientExport::Result result)
{
    using Result = RecipientExport::Result;
    return result == Result::Complete  ? Complete
           : result == Result::Aborted ? Paused
           : result == Result::NoFile  ? Refused
                                       : StorageFailure;
}

} // namespace

ExitStatus listMailLists(const ProgramFolder &folder, bool json)
{
    const std::vector<MailList> lists = ListCatalogue(folder).lists();
    const auto rows = [&](const PrintRow &print) {
        for (const MailList &list : lists)
            print({QString::number(list.id), list.name, list.type, list.created, list.count});
    };
    printListing({{"listid", "List", true},
                  {"listname", "Name"},
                  {"listtype", "Type"},
                  {"create_time", "Created"},
                  {"rec_count", "Count", true}},
                 rows, json);
    return Complete;
}

ExitStatus listRecipients(const ProgramFolder &folder, const QString &list, ExportFilter filter,
                          bool json)
{
    Keyset recipients(folder.listConnectionString(findList(folder, list).id),
                      QStringLiteral("email"), RecipientQuery::columns());
    const auto rows = [&](const PrintRow &print) {
        for (qsizetype i = 0; i < recipients.size(); ++i) {
            const Record *recipient = recipients.row(i);
            if (!recipient)
                continue; // deleted meanwhile
            const bool failed = recipient->text(QStringLiteral("Status")) == QLatin1String("F");
            if (filter != ExportFilter::All && failed != (filter == ExportFilter::Fail))
                continue;
            QStringList cells; // the number first
            for (int field = 0; field < recipient->count(); ++field)
                cells += recipient->value(field).value_or(QString());
            print(cells);
        }
    };
    printListing({{"mid", "Number", true},
                  {"email", "Email"},
                  {"fname", "Firstname"},
                  {"lname", "Lastname"},
                  {"title", nullptr},
                  {"contact", nullptr},
                  {"company", nullptr},
                  {"memo", nullptr},
                  {"status", "Status"},
                  {"remark", "Fail Reason"}},
                 rows, json);
    return Complete;
}

ExitStatus importList(const ProgramFolder &folder, const QString &list, const QString &file,
                      const QString &separator)
{
    const qint64 id = findList(folder, list).id;
    ProgressBar bar;
    SignalYield yield(bar);
    ConsoleOperator op(0, bar);
    TransferView view(bar);
    DesktopSpreadsheet spreadsheet;
    RecipientImport import(folder, spreadsheet, op, view, yield);
    yield.onSignal(stopping, [&import] { import.abort(); });
    const auto result = import.run(id, file, RecipientImport::isWorkbook(file), separator);
    return exitStatus(result, import.counts().failures);
}

ExitStatus exportList(const ProgramFolder &folder, const QString &list, const QString &file,
                      ExportFilter filter)
{
    const qint64 id = findList(folder, list).id;
    ProgressBar bar;
    SignalYield yield(bar);
    ConsoleOperator op(0, bar);
    TransferView view(bar);
    DesktopSpreadsheet spreadsheet;
    RecipientExport exporter(folder, spreadsheet, op, view, yield);
    yield.onSignal(stopping, [&exporter] { exporter.abort(); });
    ExportDestination destination;
    destination.path = file;
    destination.separator = QStringLiteral(",");
    if (file.endsWith(QLatin1String(".xlsx"), Qt::CaseInsensitive))
        destination.kind = ExportDestination::Workbook;
    return exitStatus(exporter.exportList(id, filter, destination));
}

#include "consolelists.h"

#include "table.h"
#include "terminal.h"

#include "desktopspreadsheet.h"
#include "listcatalogue.h"
#include "recipientexport.h"
#include "recipientimport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>

namespace
{

/// The one list of the number or name; tells why there is none.
std::optional<MailList> findList(const ProgramFolder &folder, const QString &list)
{
    std::vector<MailList> named;
    for (const MailList &each : ListCatalogue(folder).lists()) {
        if (QString::number(each.id) == list)
            return each;
        if (each.name == list)
            named.push_back(each);
    }
    if (named.size() == 1)
        return named.front();
    printMessage(named.empty()
                     ? QStringLiteral("There is no list \"%1\".").arg(list)
                     : QStringLiteral("There are %1 lists named \"%2\"; give the list's number.")
                           .arg(named.size())
                           .arg(list));
    return {};
}

class ConsoleImportView final : public ImportView
{
public:
    explicit ConsoleImportView(ProgressBar &bar)
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

private:
    ProgressBar &m_bar;
    QString m_heading;
};

class ConsoleExportView final : public ExportView
{
public:
    explicit ConsoleExportView(ProgressBar &bar)
        : m_bar(bar)
    {
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
};

ExitStatus exitStatus(RecipientImport::Result result, qint64 failures)
{
    switch (result) {
    case RecipientImport::Result::Complete:
        return failures > 0 ? CompleteWithFailures : Complete;
    case RecipientImport::Result::Aborted:
        return Paused;
    case RecipientImport::Result::NoFile:
    case RecipientImport::Result::BadFile:
        return Refused;
    case RecipientImport::Result::ListFailed:
        break;
    }
    return StorageFailure;
}

ExitStatus exitStatus(RecipientExport::Result result)
{
    switch (result) {
    case RecipientExport::Result::Complete:
        return Complete;
    case RecipientExport::Result::Aborted:
        return Paused;
    case RecipientExport::Result::NoFile:
        return Refused;
    case RecipientExport::Result::TargetFailed:
    case RecipientExport::Result::ListFailed:
        break;
    }
    return StorageFailure;
}

QString json(const std::vector<MailList> &lists)
{
    QJsonArray array;
    for (const MailList &list : lists)
        array.append(QJsonObject{{QStringLiteral("listid"), list.id},
                                 {QStringLiteral("listname"), list.name},
                                 {QStringLiteral("listtype"), list.type},
                                 {QStringLiteral("create_time"), list.created},
                                 {QStringLiteral("rec_count"), list.count.toLongLong()}});
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented)).trimmed();
}

} // namespace

ExitStatus listMailLists(const ProgramFolder &folder, bool asJson)
{
    return withStorage([&] {
        const std::vector<MailList> lists = ListCatalogue(folder).lists();
        std::vector<QStringList> rows;
        for (const MailList &list : lists)
            rows.push_back(
                {QString::number(list.id), list.name, list.type, list.created, list.count});
        printResult(asJson ? json(lists)
                           : table({{QStringLiteral("List"), true},
                                    {QStringLiteral("Name")},
                                    {QStringLiteral("Type")},
                                    {QStringLiteral("Created")},
                                    {QStringLiteral("Count"), true}},
                                   rows));
        return Complete;
    });
}

ExitStatus importList(const ProgramFolder &folder, const QString &list, const QString &file,
                      const QString &separator)
{
    return withStorage([&]() -> ExitStatus {
        const auto found = findList(folder, list);
        if (!found)
            return Refused;
        SignalYield yield;
        ProgressBar bar;
        ConsoleOperator op(0, bar);
        ConsoleImportView view(bar);
        DesktopSpreadsheet spreadsheet;
        RecipientImport import(folder, spreadsheet, op, view, yield);
        yield.onSignal([&import] { import.abort(); });
        const auto result =
            import.run(found->id, file, RecipientImport::isWorkbook(file), separator);
        return exitStatus(result, import.counts().failures);
    });
}

ExitStatus exportList(const ProgramFolder &folder, const QString &list, const QString &file,
                      ExportFilter filter)
{
    return withStorage([&]() -> ExitStatus {
        const auto found = findList(folder, list);
        if (!found)
            return Refused;
        SignalYield yield;
        ProgressBar bar;
        ConsoleOperator op(0, bar);
        ConsoleExportView view(bar);
        DesktopSpreadsheet spreadsheet;
        RecipientExport exporter(folder, spreadsheet, op, view, yield);
        yield.onSignal([&exporter] { exporter.abort(); });
        ExportDestination destination;
        destination.path = file;
        destination.separator = QStringLiteral(",");
        if (file.endsWith(QLatin1String(".xlsx"), Qt::CaseInsensitive))
            destination.kind = ExportDestination::Workbook;
        return exitStatus(exporter.exportList(found->id, filter, destination));
    });
}

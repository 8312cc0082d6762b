#include "listing.h"

#include "terminal.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>

namespace
{

QString json(const std::vector<ListingColumn> &columns, const QStringList &cells)
{
    QJsonObject object;
    for (size_t i = 0; i < columns.size(); ++i) {
        const QString &cell = cells[qsizetype(i)];
        object.insert(QLatin1String(columns[i].name),
                      columns[i].isNumber ? QJsonValue(cell.toLongLong()) : QJsonValue(cell));
    }
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void printTable(const std::vector<ListingColumn> &columns,
                const std::function<void(const PrintRow &)> &rows)
{
    QStringList headings;
    for (const ListingColumn &column : columns)
        headings += QLatin1String(column.heading);
    std::vector<qsizetype> widths(columns.size());
    const auto forEachCell = [&](const QStringList &cells, const auto &use) {
        for (size_t i = 0; i < columns.size(); ++i) {
            if (columns[i].heading)
                use(withoutControls(cells[qsizetype(i)]), i);
        }
    };
    const PrintRow measure = [&](const QStringList &cells) {
        forEachCell(cells, [&](const QString &cell, size_t i) {
            widths[i] = std::max(widths[i], cell.size());
        });
    };
    const PrintRow printLine = [&](const QStringList &cells) {
        QStringList line;
        forEachCell(cells, [&](const QString &cell, size_t i) {
            line += columns[i].isNumber ? cell.rightJustified(widths[i])
                                        : cell.leftJustified(widths[i]);
        });
        QString text = line.join(QStringLiteral("  "));
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        printResult(text);
    };
    for (const PrintRow &use : {measure, printLine}) {
        use(headings);
        rows(use);
    }
}

} // namespace

void printListing(const std::vector<ListingColumn> &columns,
                  const std::function<void(const PrintRow &)> &rows, bool asJson)
{
    if (!asJson) {
        printTable(columns, rows);
        return;
    }
    QString before = QStringLiteral("[");
    rows([&](const QStringList &cells) {
        print(stdout, before + QStringLiteral("\n  ") + json(columns, cells));
        before = QStringLiteral(",");
    });
    printResult(before == QLatin1String("[") ? QStringLiteral("[]") : QStringLiteral("\n]"));
}

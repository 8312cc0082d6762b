#include "table.h"

#include "terminal.h"

#include <algorithm>

QString table(const std::vector<TableColumn> &columns, const std::vector<QStringList> &rows)
{
    QStringList headings;
    for (const TableColumn &column : columns)
        headings += column.heading;
    std::vector<QStringList> lines{headings};
    for (const QStringList &row : rows) {
        QStringList &line = lines.emplace_back();
        for (const QString &cell : row)
            line += withoutControls(cell);
    }

    std::vector<qsizetype> widths(columns.size());
    for (const QStringList &line : lines) {
        for (size_t i = 0; i < columns.size(); ++i)
            widths[i] = std::max(widths[i], line[qsizetype(i)].size());
    }
    QStringList text;
    for (QStringList line : lines) {
        for (size_t i = 0; i < columns.size(); ++i) {
            QString &cell = line[qsizetype(i)];
            cell = columns[i].isNumber ? cell.rightJustified(widths[i])
                                       : cell.leftJustified(widths[i]);
        }
        text += line.join(QStringLiteral("  "));
        while (text.last().endsWith(QLatin1Char(' ')))
            text.last().chop(1);
    }
    return text.join(QLatin1Char('\n'));
}

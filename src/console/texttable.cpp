#include "texttable.h"

#include <algorithm>

QString textTable(const std::vector<TextColumn> &columns, const std::vector<QStringList> &rows)
{
    QStringList lines;
    std::vector<QStringList> all;
    all.emplace_back();
    for (const TextColumn &column : columns)
        all.front() += column.heading;
    all.insert(all.end(), rows.begin(), rows.end());

    std::vector<qsizetype> widths(columns.size(), 0);
    for (const QStringList &row : all) {
        for (size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], row[qsizetype(i)].size());
    }
    for (const QStringList &row : all) {
        QString line;
        for (size_t i = 0; i < widths.size(); ++i) {
            const QString &cell = row[qsizetype(i)];
            line += columns[i].isNumber ? cell.rightJustified(widths[i])
                                        : cell.leftJustified(widths[i]);
            line += QStringLiteral("  ");
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        lines += line;
    }
    return lines.join(QLatin1Char('\n'));
}

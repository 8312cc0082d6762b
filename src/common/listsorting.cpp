#include "listsorting.h"

#include <QCollator>
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace
{

/// Year-first dates, the form that the database and the job rows have.
QDateTime yearFirstDate(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(
        R"(^\s*(\d{4})[-/.](\d{1,2})[-/.](\d{1,2})(?:[ T]+(\d{1,2}):(\d{2})(?::(\d{2}))?)?\s*$)"));
    const QRegularExpressionMatch match = form.match(text);
    const auto part = [&match](int group) { return match.capturedView(group).toInt(); };
    const QDate date(part(1), part(2), part(3));
    const QTime time(part(4), part(5), part(6));
    return date.isValid() && time.isValid() ? QDateTime(date, time, Qt::UTC) : QDateTime();
}

QDateTime dateValue(const QString &text)
{
    QDateTime value = yearFirstDate(text);
    if (!value.isValid())
        value = QLocale().toDateTime(text.trimmed(), QLocale::ShortFormat);
    if (!value.isValid())
        value = QLocale().toDate(text.trimmed(), QLocale::ShortFormat).startOfDay(Qt::UTC);
    return value;
}

/// Sorts by keys that were made once per cell: making one costs far more than comparing two.
template <typename Key, typename MakeKey>
std::vector<int> orderByKey(const QStringList &cells, bool ascending, MakeKey makeKey)
{
    std::vector<Key> keys;
    keys.reserve(size_t(cells.size()));
    for (const QString &cell : cells)
        keys.push_back(makeKey(cell));
    std::vector<int> order(keys.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&keys, ascending](int left, int right) {
        return ascending ? keys[size_t(left)] < keys[size_t(right)]
                         : keys[size_t(right)] < keys[size_t(left)];
    });
    return order;
}

} // namespace

std::optional<double> numericValue(const QString &text)
{
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    return isNumber && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

QString numberSortKey(const QString &cell)
{
    constexpr int integerDigits = 10;
    constexpr int fractionDigits = 20;
    const std::optional<double> value = numericValue(cell);
    if (!value)
        return {};
    QString key = QString::number(std::abs(*value), 'f', fractionDigits)
                      .rightJustified(integerDigits + 1 + fractionDigits, QLatin1Char('0'));
    if (*value >= 0)
        return key;
    // With each digit's complement the larger magnitude comes first, and "&" is before any digit.
    for (QChar &character : key) {
        if (character.isDigit())
            character = QChar(u'0' + u'9' - character.unicode());
    }
    return QLatin1Char('&') + key;
}

QString dateSortKey(const QString &cell)
{
    const QDateTime value = dateValue(cell);
    return value.isValid() ? value.toString(QStringLiteral("yyyyMMddHHmmss")) : cell;
}

std::vector<int> sortedOrder(const QStringList &cells, SortKind kind, bool ascending)
{
    switch (kind) {
    case SortKind::Number:
        return orderByKey<QString>(cells, ascending, numberSortKey);
    case SortKind::Date:
        return orderByKey<QString>(cells, ascending, dateSortKey);
    case SortKind::Text:
        break;
    }
    // Folded here, because the collator of the plain "C" locale knows no letter case.
    return orderByKey<QCollatorSortKey>(cells, ascending,
                                        [collator = QCollator()](const QString &cell) {
                                            return collator.sortKey(cell.toCaseFolded());
                                        });
}

void SortState::click(int column)
{
    m_column = column;
    m_ascending.at(size_t(column)) = !m_ascending.at(size_t(column));
}

void SortState::sortDescending(int column)
{
    m_column = column;
    m_ascending.at(size_t(column)) = false;
}

#include "keyset.h"

#include "connection.h"
#include "recordset.h"

#include <algorithm>

Keyset::Keyset(Connection &connection, const QString &columns, const QString &condition,
               const QString &order)
    : m_connection(connection)
    , m_columns(columns)
{
    const QString orderBy = order.isEmpty() ? QStringLiteral(" order by mid") : order;
    m_keys = connection.numbers(QStringLiteral("select mid from email ") + condition + orderBy);
}

const Record *Keyset::row(qsizetype index)
{
    if (m_windowStart < 0 || index < m_windowStart ||
        index >= m_windowStart + qsizetype(m_window.size()))
        fetch(index - index % windowSize);
    const auto &record = m_window[size_t(index - m_windowStart)];
    return record ? &*record : nullptr;
}

void Keyset::fetch(qsizetype first)
{
    m_windowStart = -1;
    const qsizetype last = std::min(first + windowSize, size());
    QHash<qint64, qsizetype> place;
    QString numbers;
    for (qsizetype i = first; i < last; ++i) {
        place.insert(key(i), i - first);
        if (i > first)
            numbers += QLatin1Char(',');
        numbers += QString::number(key(i));
    }
    m_window.assign(size_t(last - first), {});
    Recordset rows(m_connection, QStringLiteral("select mid as keyset_mid, ") + m_columns +
                                     QStringLiteral(" from email where mid in (") + numbers +
                                     QLatin1Char(')'));
    for (; !rows.atEnd(); rows.moveNext())
        m_window[size_t(place.value(rows.current().number(QStringLiteral("keyset_mid"))))] =
            rows.current();
    m_windowStart = first;
}

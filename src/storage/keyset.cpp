#include "keyset.h"

#include <QScopeGuard>

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

#include <algorithm>

Keyset::Keyset(const QString &listConnectionString, const QString &from, const QString &columns,
               const QString &condition, const QString &order, qsizetype atFirst)
    : m_connectionString(listConnectionString)
    , m_connection(listConnectionString)
    , m_from(from)
    , m_columns(columns)
    , m_unread(m_connection.prepare(QStringLiteral("select mid from ") + from + condition + order))
{
    readKeys(atFirst);
}

Keyset::~Keyset() = default;

void Keyset::readKeys(qsizetype count)
{
    const auto close = qScopeGuard([this] { closeWhenComplete(); });
    try {
        for (; m_unread && count > 0; --count) {
            if (m_unread->executeStep())
                m_keys.push_back(m_unread->getColumn(0).getInt64());
            else
                m_unread.reset();
        }
    } catch (const SQLite::Exception &e) {
        m_unread.reset();
        m_connection.raise(e);
    }
}

bool Keyset::holds(qsizetype index) const
{
    return m_windowStart >= 0 && index >= m_windowStart &&
           index < m_windowStart + qsizetype(m_window.size());
}

void Keyset::append(qint64 key)
{
    m_keys.push_back(key);
    forgetRows();
}

void Keyset::remove(qsizetype index)
{
    m_keys.erase(m_keys.begin() + index);
    forgetRows();
}

const Record *Keyset::row(qsizetype index)
{
    if (!holds(index))
        fetch(index - index % windowSize);
    const auto &record = m_window[size_t(index - m_windowStart)];
    return record ? &*record : nullptr;
}

void Keyset::fetch(qsizetype first)
{
    forgetRows();
    const auto close = qScopeGuard([this] { closeWhenComplete(); });
    if (!m_connection.isOpen())
        m_connection.open(m_connectionString);
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
                                     QStringLiteral(" from ") + m_from +
                                     QStringLiteral(" where mid in (") + numbers +
                                     QLatin1Char(')'));
    for (; !rows.atEnd(); rows.moveNext())
        m_window[size_t(place.value(rows.current().number(QStringLiteral("keyset_mid"))))] =
            rows.current();
    m_windowStart = first;
}

void Keyset::closeWhenComplete()
{
    if (isComplete())
        m_connection.close();
}

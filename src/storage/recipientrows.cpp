#include "recipientrows.h"

#include <QScopeGuard>

RecipientRows::RecipientRows(const QString &connectionString, const QString &columns,
                             const QString &condition, const QString &order, qsizetype atFirst)
    : m_connectionString(connectionString)
    , m_connection(connectionString)
    , m_keyset(m_connection, columns, condition, order, atFirst)
{
    closeWhenComplete();
}

const Record *RecipientRows::row(qsizetype index)
{
    if (m_keyset.holds(index))
        return m_keyset.row(index);
    const auto close = qScopeGuard([this] { closeWhenComplete(); });
    if (!m_connection.isOpen())
        m_connection.open(m_connectionString);
    return m_keyset.row(index);
}

void RecipientRows::readKeys(qsizetype count)
{
    const auto close = qScopeGuard([this] { closeWhenComplete(); });
    m_keyset.readKeys(count);
}

void RecipientRows::closeWhenComplete()
{
    if (m_keyset.isComplete())
        m_connection.close();
}

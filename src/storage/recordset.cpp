#include "recordset.h"

#include "connection.h"

#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

Recordset::Recordset(Connection &connection, const QString &select)
    : m_connection(connection)
    , m_statement(connection.prepare(select))
    , m_columns(std::make_shared<Columns>(*m_statement))
{
    moveNext();
}

Recordset::~Recordset() = default;

void Recordset::moveNext()
{
    m_current.reset();
    try {
        if (m_statement->executeStep())
            m_current.emplace(m_columns, *m_statement);
    } catch (const SQLite::Exception &e) {
        m_connection.raise(e);
    }
}

#include "statement.h"

#include "connection.h"

#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

Statement::Statement(Connection &connection, const QString &sql)
    : m_connection(connection)
    , m_statement(connection.prepare(sql))
{
}

Statement::~Statement() = default;

void Statement::bind(int index, const QString &value)
{
    m_statement->bind(index, value.toStdString());
}

void Statement::bind(int index, const std::string &value)
{
    // run() binds every value anew and returns when the statement is done with them.
    m_statement->bindNoCopy(index, value);
}

void Statement::bind(int index, qint64 value)
{
    m_statement->bind(index, static_cast<int64_t>(value));
}

void Statement::step()
{
    try {
        m_statement->exec();
        m_statement->reset();
    } catch (const SQLite::Exception &e) {
        m_statement->tryReset();
        m_connection.raise(e);
    }
}

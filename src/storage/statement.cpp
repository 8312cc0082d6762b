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

void Statement::runAll(std::span<const std::string> values)
{
    int index = 0;
    for (const std::string &value : values)
        // The statement is done with the texts when step() returns, so it need not copy them.
        m_statement->bindNoCopy(++index, value);
    step();
}

void Statement::bind(int index, const QString &value)
{
    m_statement->bind(index, value.toStdString());
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

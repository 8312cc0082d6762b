#include "statement.h"

#include "connection.h"

#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

Statement::Statement(Connection &connection, const QString &sql)
    : m_connection(connection)
    , m_statement(connection.prepare(sql))
{
}

Statement::~Statement() = default;

bool Statement::tryAll(std::span<const std::string> values, QString *why)
{
    int index = 0;
    for (const std::string &value : values)
        // The statement is done with the texts when the step returns, so it need not copy them.
        m_statement->bindNoCopy(++index, value);
    const int code = m_statement->tryExecuteStep();
    if ((code & 0xff) == SQLITE_CONSTRAINT) {
        if (why)
            *why = m_connection.lastError().description();
        m_statement->tryReset();
        return false;
    }
    if (code != SQLITE_DONE) {
        const StorageError error = m_connection.lastError();
        m_statement->tryReset();
        throw error;
    }
    m_statement->tryReset();
    return true;
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

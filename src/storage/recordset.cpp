#include "recordset.h"

#include "connection.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

Columns::Columns(const SQLite::Statement &statement)
    : m_count(statement.getColumnCount())
{
    for (int i = 0; i < m_count; ++i)
        // A name that two tables of a join in parentheses share comes as "name:1".
        m_index.insert(
            QString::fromUtf8(statement.getColumnName(i)).toLower().section(QLatin1Char(':'), 0, 0),
            i);
}

int Columns::index(const QString &name) const
{
    auto found = m_index.constFind(name);
    if (found == m_index.constEnd())
        found = m_index.constFind(name.toLower());
    if (found == m_index.constEnd())
        throw StorageError(SQLITE_ERROR, QStringLiteral("SQLite"),
                           QStringLiteral("The record set has no column \"%1\".").arg(name));
    return *found;
}

Record::Record(std::shared_ptr<const Columns> columns, const SQLite::Statement &statement)
    : m_columns(std::move(columns))
{
    m_values.reserve(size_t(m_columns->count()));
    for (int i = 0; i < m_columns->count(); ++i) {
        const SQLite::Column column = statement.getColumn(i);
        if (column.isNull())
            m_values.emplace_back();
        else
            m_values.emplace_back(QString::fromUtf8(column.getText(), column.getBytes()));
    }
}

bool Record::isNull(const QString &column) const
{
    return !value(m_columns->index(column));
}

QString Record::text(const QString &column) const
{
    return value(m_columns->index(column)).value_or(QString());
}

qint64 Record::number(const QString &column) const
{
    return text(column).toLongLong();
}

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

#pragma once

#include "record.h"

#include <optional>

class Connection;

/// The rows of a select statement, one after the other, as the database finds them. Rows come from
/// the file as the loop goes on, so a record set takes the memory of one row; for a set that stays
/// as it was when opened while its table is written to, use Keyset. Its connection must outlive it.
class Recordset
{
public:
    /// Stands on the first row. Throws StorageError.
    Recordset(Connection &connection, const QString &select);
    ~Recordset();

    Recordset(const Recordset &) = delete;
    Recordset &operator=(const Recordset &) = delete;

    bool atEnd() const { return !m_current; }
    /// The row it stands on; not to be called at the end.
    const Record &current() const { return *m_current; }
    /// Throws StorageError.
    void moveNext();

private:
    Connection &m_connection;
    std::unique_ptr<SQLite::Statement> m_statement;
    std::shared_ptr<const Columns> m_columns;
    std::optional<Record> m_current;
};

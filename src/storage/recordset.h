#pragma once

#include <QHash>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

class Connection;

namespace SQLite
{
class Statement;
}

/// The column names of a record set, found without regard to letter case.
class Columns
{
public:
    explicit Columns(const SQLite::Statement &statement);
    int count() const { return m_count; }
    /// Throws StorageError for a name that is not in the record set.
    int index(const QString &name) const;

private:
    QHash<QString, int> m_index; // lower case
    int m_count;
};

/// One row, copied out of the database.
class Record
{
public:
    Record(std::shared_ptr<const Columns> columns, const SQLite::Statement &statement);

    bool isNull(const QString &column) const;
    /// The value as text; null is the empty string.
    QString text(const QString &column) const;
    /// The value as a whole number; null, and what is no number, is 0.
    qint64 number(const QString &column) const;
    int count() const { return int(m_values.size()); }
    /// By position, from 0.
    const std::optional<QString> &value(int index) const { return m_values[size_t(index)]; }

private:
    std::shared_ptr<const Columns> m_columns;
    std::vector<std::optional<QString>> m_values;
};

/// The rows of a select statement, one after the other, as the database finds them. Rows come from
/// the file as the loop goes on, so a record set takes the memory of one row; for a set that stays
/// as it was when opened while its table is written to, use Keyset. Its connection must outlive it.
class Recordset
{
public:
    /// Stands on the first row. Throws StorageError.
    Recordset(Connection &connection, const QString &select);
    ~Recordset();
    Q_DISABLE_COPY(Recordset)

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

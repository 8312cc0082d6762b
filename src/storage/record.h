#pragma once

#include <QHash>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

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

#pragma once

#include "record.h"

#include <limits>
#include <vector>

class Connection;

/// The recipients that a condition selects, fixed when it is made: their numbers are kept in
/// memory in order (8 bytes a row) and the rows are fetched by window, so that a million rows open
/// at once and the table may be written to meanwhile. Its connection must outlive it.
class Keyset
{
public:
    /// How many neighbouring rows one query fetches.
    static constexpr int windowSize = 128;

    /// `columns`: what the rows hold ("*" or a select list of table `email`); `condition` and
    /// `order`: " where ..." and " order by ..." or empty; without an order the rows come by
    /// increasing `mid`. `atFirst`: how many keys to read now, when a screen shows the first rows
    /// while the others are read. Throws StorageError.
    Keyset(Connection &connection, const QString &columns, const QString &condition,
           const QString &order = {}, qsizetype atFirst = all);
    ~Keyset();

    Keyset(const Keyset &) = delete;
    Keyset &operator=(const Keyset &) = delete;

    static constexpr qsizetype all = std::numeric_limits<qsizetype>::max();

    /// Reads up to `count` more keys. Throws StorageError, after which there are no more.
    void readKeys(qsizetype count);
    bool isComplete() const { return !m_unread; }

    qsizetype size() const { return qsizetype(m_keys.size()); }
    /// The recipient number of row `index`.
    qint64 key(qsizetype index) const { return m_keys[size_t(index)]; }
    /// Row `index`, from 0; null when the recipient was deleted since. The pointer holds until the
    /// next call. Throws StorageError.
    const Record *row(qsizetype index);
    /// Whether row() finds it without a query.
    bool holds(qsizetype index) const;

    /// Adds a recipient that the condition did not select, as the last row; to be called when the
    /// keyset is complete.
    void append(qint64 key);
    void remove(qsizetype index);
    /// Reads the rows again when they are next asked for.
    void forgetRows() { m_windowStart = -1; }

private:
    void fetch(qsizetype first);

    Connection &m_connection;
    QString m_columns;
    std::unique_ptr<SQLite::Statement> m_unread; // the keys not read yet
    std::vector<qint64> m_keys;
    qsizetype m_windowStart = -1;
    std::vector<std::optional<Record>> m_window;
};

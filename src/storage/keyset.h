#pragma once

#include "record.h"

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
    /// increasing `mid`. Throws StorageError.
    Keyset(Connection &connection, const QString &columns, const QString &condition,
           const QString &order = {});

    qsizetype size() const { return qsizetype(m_keys.size()); }
    /// The recipient number of row `index`.
    qint64 key(qsizetype index) const { return m_keys[size_t(index)]; }
    /// Row `index`, from 0; null when the recipient was deleted since. The pointer holds until the
    /// next call. Throws StorageError.
    const Record *row(qsizetype index);

private:
    void fetch(qsizetype first);

    Connection &m_connection;
    QString m_columns;
    std::vector<qint64> m_keys;
    qsizetype m_windowStart = -1;
    std::vector<std::optional<Record>> m_window;
};

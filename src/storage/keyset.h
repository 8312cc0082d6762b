#pragma once

#include "connection.h"
#include "recordset.h"

#include <limits>
#include <vector>

/// The recipients that a condition selects in a list's database, fixed when it is made: their
/// numbers are kept in memory in order (8 bytes a row) and the rows are fetched by window, so that
/// a million rows open at once and the tables may be written to meanwhile. The database is open
/// only while something is read from it, so its file can be copied or deleted while its rows are on
/// screen.
class Keyset
{
public:
    /// How many neighbouring rows one query fetches.
    static constexpr int windowSize = 128;
    static constexpr qsizetype all = std::numeric_limits<qsizetype>::max();

    /// `from`: a table, or what stands for one, in which `mid` is in no two rows; `columns`: what
    /// the rows hold ("*" or a select list); `condition` and `order`: " where ..." and
    /// " order by ..." or empty; with an empty order the rows come as the engine finds them.
    /// `atFirst`: how many keys to read now, when a screen shows the first rows while the others
    /// are read. Throws StorageError.
    Keyset(const QString &listConnectionString, const QString &from, const QString &columns,
           const QString &condition = {}, const QString &order = QStringLiteral(" order by mid"),
           qsizetype atFirst = all);
    ~Keyset();
    Q_DISABLE_COPY(Keyset)

    /// Reads up to `count` more keys. Throws StorageError, after which there are no more.
    void readKeys(qsizetype count);
    bool isComplete() const { return !m_unread; }

    qsizetype size() const { return qsizetype(m_keys.size()); }
    /// The recipient number of row `index`.
    qint64 key(qsizetype index) const { return m_keys[size_t(index)]; }
    /// Row `index`, from 0; null when the recipient was deleted since. The pointer holds until the
    /// next call. Throws StorageError.
    const Record *row(qsizetype index);

    /// Adds a recipient that the condition did not select, as the last row; to be called when the
    /// keyset is complete.
    void append(qint64 key);
    void remove(qsizetype index);
    /// Reads the rows again when they are next asked for.
    void forgetRows() { m_windowStart = -1; }

private:
    bool holds(qsizetype index) const;
    void fetch(qsizetype first);
    void closeWhenComplete();

    QString m_connectionString;
    Connection m_connection;
    QString m_from;
    QString m_columns;
    std::unique_ptr<SQLite::Statement> m_unread; // the keys not read yet
    std::vector<qint64> m_keys;
    qsizetype m_windowStart = -1;
    std::vector<std::optional<Record>> m_window;
};

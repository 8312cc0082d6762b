#pragma once

#include "connection.h"
#include "keyset.h"

/// The recipients of a list that a condition selects, for showing. The list's database is open only
/// while something is read from it, so its file can be copied or deleted while its rows are on
/// screen.
class RecipientRows
{
public:
    /// `columns`, `condition`, `order` and `atFirst`: as for Keyset. Throws StorageError.
    RecipientRows(const QString &connectionString, const QString &columns,
                  const QString &condition = {}, const QString &order = {},
                  qsizetype atFirst = Keyset::all);

    qsizetype size() const { return m_keyset.size(); }
    /// Row `index`, from 0; null when the recipient was deleted since. The pointer holds until the
    /// next call. Throws StorageError.
    const Record *row(qsizetype index);
    /// Reads up to `count` more keys. Throws StorageError, after which there are no more.
    void readKeys(qsizetype count);
    bool isComplete() const { return m_keyset.isComplete(); }

    /// The recipient number of row `index`.
    qint64 key(qsizetype index) const { return m_keyset.key(index); }
    /// What was changed in the database, so that the rows show it.
    void append(qint64 key) { m_keyset.append(key); }
    void remove(qsizetype index) { m_keyset.remove(index); }
    void forgetRows() { m_keyset.forgetRows(); }

private:
    void closeWhenComplete();

    QString m_connectionString;
    Connection m_connection;
    Keyset m_keyset;
};

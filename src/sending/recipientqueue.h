#pragma once

#include "keyset.h"
#include "recipientrecords.h"

#include <deque>

/// A recipient whose turn it is.
struct Turn {
    qint64 mid = 0;
    RecipientRow row;
    QString messageId; ///< of who is sent to

    const QString &address() const { return row.fields.front(); }
};

/// Whom a pass sends to, one after the other as they stand in the list. Who is selected is fixed
/// when it is made; a row is read when its turn comes. Throws StorageError.
class RecipientQueue
{
public:
    /// `list` must outlive it; `condition` is on table `email`.
    RecipientQueue(const QString &listConnectionString, Connection &list, const QString &condition)
        : m_keys(listConnectionString, QStringLiteral("email"), QStringLiteral("mid"), condition)
        , m_lookup(list)
    {
    }

    qsizetype size() const { return m_keys.size(); }
    bool atEnd() const { return m_again.empty() && m_next == m_keys.size(); }

    /// The next one that is still in the list; false when nobody is left.
    bool next(Turn &turn)
    {
        while (!atEnd()) {
            if (m_again.empty()) {
                turn.mid = m_keys.key(m_next++);
            } else {
                turn.mid = m_again.front();
                m_again.pop_front();
            }
            if (m_lookup.find(turn.mid, turn.row))
                return true;
        }
        return false;
    }
    /// They come again, before the others and in this order.
    void again(const std::vector<qint64> &mids)
    {
        m_again.insert(m_again.begin(), mids.begin(), mids.end());
    }

private:
    Keyset m_keys;
    RecipientLookup m_lookup;
    qsizetype m_next = 0;
    std::deque<qint64> m_again;
};

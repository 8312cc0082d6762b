#include "recipientinserter.h"

#include <sqlite3.h>

namespace
{

/// A tenth of a second less what the last record and the commit itself take.
constexpr std::chrono::milliseconds commitEvery{80};

/// Whether the error is about the one record; the list takes others.
bool isRefusal(const StorageError &error)
{
    return (error.number() & 0xff) == SQLITE_CONSTRAINT;
}

} // namespace

RecipientInserter::RecipientInserter(Connection &list)
    : m_list(list)
    , m_insert(list, QStringLiteral("insert into email (email, fname, lname, title, contact, "
                                    "company, memo) values (?, ?, ?, ?, ?, ?, ?)"))
{
}

std::optional<QString> RecipientInserter::insert(const RecipientRecord &record)
{
    try {
        if (!m_transaction) {
            m_transaction.emplace(m_list);
            m_begun = Clock::now();
        }
        std::apply([this](const auto &...fields) { m_insert.run(fields...); }, record);
        ++m_added;
        return {};
    } catch (const StorageError &e) {
        // The engine undoes a refused statement alone; the others of the transaction stay.
        if (isRefusal(e))
            return e.description();
        undo(e);
    }
}

void RecipientInserter::commitWhenDue()
{
    if (m_transaction && Clock::now() - m_begun >= commitEvery)
        commit();
}

void RecipientInserter::commit()
{
    if (!m_transaction)
        return;
    try {
        m_transaction->commit();
        m_transaction.reset();
        m_committed = m_added;
    } catch (const StorageError &e) {
        undo(e);
    }
}

void RecipientInserter::undo(const StorageError &error)
{
    m_transaction.reset();
    m_added = m_committed;
    m_hasFailed = true;
    throw error;
}

#pragma once

#include "connection.h"
#include "recipientrecord.h"
#include "statement.h"

#include <chrono>
#include <optional>

/// Adds recipients to a list, many to a commit. No commit waits longer than a tenth of a second,
/// so that this is the most that a crash can lose. What is not committed when it goes is undone.
class RecipientInserter
{
public:
    /// `list` must outlive it. Throws StorageError.
    explicit RecipientInserter(Connection &list);

    /// Adds a recipient, or says why the list refuses this one. Throws StorageError where no
    /// recipient can be added any more (a full disk, a locked list); added then holds what is
    /// left in the list.
    std::optional<QString> insert(const RecipientRecord &record);
    /// To be called often while an operation goes on. Throws as insert() does.
    void commitWhenDue();
    /// Throws as insert() does.
    void commit();

    /// How many were added and not undone.
    qint64 added() const { return m_added; }
    /// Whether the list takes no recipients any more.
    bool hasFailed() const { return m_hasFailed; }

private:
    [[noreturn]] void undo(const StorageError &error);

    using Clock = std::chrono::steady_clock;

    Connection &m_list;
    Statement m_insert;
    std::optional<Transaction> m_transaction;
    Clock::time_point m_begun;
    qint64 m_added = 0;
    qint64 m_committed = 0;
    bool m_hasFailed = false;
};

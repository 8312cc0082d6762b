#pragma once

#include "connection.h"
#include "statement.h"

#include <QSet>

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// The seven fields that a recipient comes and goes with, in files and between lists: address,
/// first name, last name, title, contact, company, memo. Text is UTF-8, as in the database, since
/// a million of them pass through without being looked at.
using RecipientRecord = std::array<std::string, 7>;

/// How many recipients `condition` selects, " where ..." or empty. Throws StorageError.
qint64 countRecipients(Connection &list, const QString &condition = {});

/// Writes what became of a recipient: run("S", "F" or "" for unsent, why it failed, recipient's
/// number).
Statement outcomeStatement(Connection &list);
/// Nobody counts as sent to or failed any more; the reasons stay. Throws StorageError.
void forgetOutcomes(Connection &list);

/// Reads the seven fields of a list's recipients one after the other, by increasing number. Its
/// connection must outlive it. What is added to the list meanwhile through another connection is
/// not read.
class RecipientReader
{
public:
    /// `condition`: " where ..." or empty. Throws StorageError.
    explicit RecipientReader(Connection &list, const QString &condition = {});
    ~RecipientReader();
    Q_DISABLE_COPY(RecipientReader)

    /// False at the end; a null field reads as empty. Throws StorageError.
    bool next(RecipientRecord &record);

private:
    Connection &m_list;
    std::unique_ptr<SQLite::Statement> m_rows;
};

/// A recipient as a run needs them; a null field is empty.
struct RecipientRow {
    std::array<QString, 7> fields;
    QString status;
    QString remark;
};

/// Finds one recipient after the other by their number. Its connection must outlive it.
class RecipientLookup
{
public:
    explicit RecipientLookup(Connection &list);
    ~RecipientLookup();
    Q_DISABLE_COPY(RecipientLookup)

    /// False when there is no such recipient. Throws StorageError.
    bool find(qint64 mid, RecipientRow &recipient);

private:
    Connection &m_list;
    std::unique_ptr<SQLite::Statement> m_select;
};

/// The line that an error log has for a record that a list refused, without its end: `number`, the
/// fields as a statement would hold them, and why, on one line, parted by tabs.
QString refusalLine(qint64 number, std::span<const std::string> fields, const QString &why);

/// Adds recipients to a list, many to a commit. A mailbox that is there in another spelling is
/// refused like one that is there in the same. No commit waits longer than a tenth of a second,
/// so that this is the most that a crash of the program can lose; what was there at finish()
/// survives a power cut too. What is not committed when it goes is undone.
///
/// All functions throw StorageError where no recipient can be added any more (a full disk, a locked
/// list); added() then says what is left in the list.
class RecipientInserter
{
public:
    /// Is told of a record that the list does not take: the number it was added with, its fields,
    /// and why.
    using Refused =
        std::function<void(qint64 number, std::span<const std::string> fields, const QString &why)>;

    /// `list` must outlive it.
    RecipientInserter(Connection &list, Refused refused);
    ~RecipientInserter();
    Q_DISABLE_COPY(RecipientInserter)

    /// Adds a recipient now or with those that follow.
    void add(qint64 number, const RecipientRecord &record);
    /// Adds those that wait, so that what was added and what was refused can be shown.
    void settle();
    /// To be called often while an operation goes on.
    void commitWhenDue();
    /// Settles and commits; to be called once, at the end.
    void finish();

    /// How many were added and not undone.
    qint64 added() const { return m_added; }
    /// Whether the list takes no recipients any more.
    bool hasFailed() const { return m_hasFailed; }

private:
    bool isOtherwiseThere(const std::string &address);
    bool insertBatch();
    void insertOne(qint64 number, std::span<const std::string> fields);
    void commit();
    [[noreturn]] void undo(const StorageError &error);

    using Clock = std::chrono::steady_clock;

    Connection &m_list;
    const Refused m_refused;
    Statement m_insertOne;
    Statement m_insertBatch;
    std::vector<std::string> m_fields; // of a batch, record after record
    std::vector<qint64> m_numbers;     // of its records
    QSet<QString> m_forms;             // of mailboxes in the list that are not spelled plainly
    size_t m_waiting = 0;              // how many of them are to be added
    int m_single = 0;                  // how many of the next batches are added one by one
    std::optional<Transaction> m_transaction;
    Clock::time_point m_begun;
    qint64 m_added = 0;
    qint64 m_committed = 0;
    bool m_hasFailed = false;
    bool m_isFinished = false;
};

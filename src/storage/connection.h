#pragma once

#include "storageerror.h"

#include <QString>

#include <memory>

namespace SQLite
{
class Database;
class Exception;
class Statement;
} // namespace SQLite

/// A connection to one database file. Opening never creates a file; every failure throws
/// StorageError. A commit survives a power cut.
class Connection
{
public:
    Connection();
    /// Opens at once.
    explicit Connection(const QString &connectionString);
    ~Connection();
    Q_DISABLE_COPY(Connection)

    /// `connectionString`: "Driver={...};Dbq=" + path + ";", with "\" between folders. An open
    /// connection is closed first.
    void open(const QString &connectionString);
    /// Folds the engine's log back into the file when no other connection uses it.
    void close();
    bool isOpen() const { return m_database != nullptr; }

    /// Runs one statement without a result. Text after the statement is an error.
    void execute(const QString &sql);
    /// The first column of the first row as a whole number; 0 for null or no row.
    qint64 number(const QString &select);

    /// From here to endBulk() a commit survives a crash of the program but not yet a power cut,
    /// which makes many commits in a row cheap. Neither may be called within a transaction.
    void beginBulk();
    /// What was committed survives a power cut when it returns.
    void endBulk();

    /// For record sets: one prepared statement, and what a failure of it becomes.
    std::unique_ptr<SQLite::Statement> prepare(const QString &sql);
    [[noreturn]] void raise(const SQLite::Exception &error) const;
    /// Why the last call to the engine failed, where no exception says it.
    StorageError lastError() const;

private:
    SQLite::Database &database() const;
    StorageError failure(int code, const char *engineText) const;

    QString m_path;
    std::unique_ptr<SQLite::Database> m_database;
};

/// Groups statements into one commit; what is not committed is undone.
class Transaction
{
public:
    explicit Transaction(Connection &connection);
    ~Transaction();
    Q_DISABLE_COPY(Transaction)

    void commit();

private:
    Connection *m_connection;
};

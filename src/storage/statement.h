#pragma once

#include <QString>

#include <memory>
#include <string>

class Connection;

namespace SQLite
{
class Statement;
}

/// A statement without a result that runs many times: it is compiled once, and its values, "?" in
/// the text, are bound each time. Its connection must outlive it. Every failure throws
/// StorageError.
class Statement
{
public:
    Statement(Connection &connection, const QString &sql);
    ~Statement();

    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    /// Runs it with these values, QString, qint64 or UTF-8 in a std::string, for its first, second, ... "?".
    template <typename... Values>
    void run(const Values &...values)
    {
        int index = 0;
        (bind(++index, values), ...);
        step();
    }

private:
    void bind(int index, const QString &value);
    void bind(int index, const std::string &value);
    void bind(int index, qint64 value);
    void step();

    Connection &m_connection;
    std::unique_ptr<SQLite::Statement> m_statement;
};

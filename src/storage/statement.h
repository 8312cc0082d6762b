#pragma once

#include <QString>

#include <memory>
#include <span>
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
    Q_DISABLE_COPY(Statement)

    /// Runs it with these values, QString or qint64, for its first, second,
    /// ... "?".
    template <typename... Values>
    void run(const Values &...values)
    {
        int index = 0;
        (bind(++index, values), ...);
        step();
    }

    /// The same with a value for every "?", all of them text in UTF-8, where a refusal by the
    /// table's rules is no failure but an answer: false, and why where that is asked for.
    bool tryAll(std::span<const std::string> values, QString *why = nullptr);

private:
    void bind(int index, const QString &value);
    void bind(int index, qint64 value);
    void step();

    Connection &m_connection;
    std::unique_ptr<SQLite::Statement> m_statement;
};

#pragma once

#include "recipientrecord.h"

#include <QString>

#include <memory>

class Connection;

namespace SQLite
{
class Statement;
}

/// Reads the seven fields of a list's recipients one after the other, by increasing number. Its
/// connection must outlive it. What is added to the list meanwhile through another connection is
/// not read.
class RecipientReader
{
public:
    /// `condition`: " where ..." or empty. Throws StorageError.
    explicit RecipientReader(Connection &list, const QString &condition = {});
    ~RecipientReader();

    RecipientReader(const RecipientReader &) = delete;
    RecipientReader &operator=(const RecipientReader &) = delete;

    /// False at the end; a null field reads as empty. Throws StorageError.
    bool next(RecipientRecord &record);

private:
    Connection &m_list;
    std::unique_ptr<SQLite::Statement> m_rows;
};

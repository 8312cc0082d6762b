#pragma once

#include "keyset.h"
#include "mergefields.h"

#include <QDateTime>

#include <array>
#include <optional>

/// A job's message as each recipient of its list will get it, one recipient at a time. Reads the
/// list's database and never writes to it.
class RecipientPreview
{
public:
    /// The recipient's columns in the order of the merge fields after the date: email, fname,
    /// lname, title, contact, company, memo.
    using Fields = std::array<QString, 7>;

    /// Stands on the first recipient; without a list there is none. Throws StorageError, and then
    /// has no recipients.
    void load(const QString &listConnectionString, const QString &body);

    qsizetype count() const { return m_rows ? m_rows->size() : 0; }
    /// From 1; 0 when there are no recipients.
    qsizetype position() const { return m_position; }

    /// The moves leave the position as it was when they throw StorageError. There is no first or
    /// last recipient in an empty list, which is such a failure.
    void first();
    void last();
    /// False when it stood on the last recipient, and still does. In an empty list there is no end
    /// to pass: true.
    bool next();
    bool previous();

    /// The current recipient's values, null as empty; all empty when there is none.
    const Fields &fields() const { return m_fields; }
    /// The message for the current recipient; `now` stands in for "%%SEND_DATE%%".
    QString body(const QDateTime &now) const;

private:
    void moveTo(qsizetype position);

    std::optional<Keyset> m_rows;
    MergeFields m_message = MergeFields({});
    qsizetype m_position = 0;
    Fields m_fields;
};

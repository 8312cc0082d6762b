#pragma once

#include <QString>

#include <array>

/// The cells of a job row, in the order of the job list's columns.
enum class JobCell {
    Name,
    Id,
    Progress, ///< the state word: empty, "Sending", "Paused" or "Complete"
    Total,
    Unsent,
    Success,
    Failed,
    Start, ///< "yyyy/mm/dd hh:mm:ss", zeros for a job that never ran, or empty after a reset
    End,
    Maillist,
    MaillistId,
    Subject,
    EmailId,
    LastSentId, ///< the `mid` after which a normal run begins
    Count
};

/// The working copy of a job record: what the job list shows, and what a run changes before it is
/// stored. Every cell is text; counts and numbers are decimal.
class JobRow
{
public:
    QString &operator[](JobCell cell) { return m_cells[size_t(cell)]; }
    const QString &operator[](JobCell cell) const { return m_cells[size_t(cell)]; }
    void setNumber(JobCell cell, qint64 value) { (*this)[cell] = QString::number(value); }
    qint64 number(JobCell cell) const { return (*this)[cell].toLongLong(); }

    bool operator==(const JobRow &) const = default;

private:
    std::array<QString, size_t(JobCell::Count)> m_cells;
};

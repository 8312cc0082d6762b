#pragma once

#include "pace.h"

#include <QString>

#include <vector>

class Connection;
class Operator;
class ProgramFolder;
class StorageError;
class Yield;

/// What a copy shows while it goes on.
class ListCopyView
{
public:
    virtual ~ListCopyView() = default;

    virtual void clearLog() = 0;
    /// Adds to the log; `text` is one line or many, each ended by CR LF. The first is "Error Log:".
    virtual void appendLog(const QString &text) = 0;
    /// Which source list is being copied; empty at the end.
    virtual void showStatus(const QString &text) = 0;
    /// The running number of the record in its source list; empty at the end.
    virtual void showCount(const QString &text) = 0;
    /// The wait pointer, or the normal one.
    virtual void showWaiting(bool waiting) = 0;
};

/// Copies the recipients of lists into one list: an existing one (append) or a new one (merge).
/// What the target refuses is counted and logged; their sending state is not copied.
class ListCopy
{
public:
    struct Source {
        qint64 listId;
        QString entry; ///< what the window shows for it, "3-Members"
    };

    enum class Result {
        Complete,
        Aborted, ///< the target keeps what was copied, and its stored count
        Refused, ///< something to copy, or a name, was missing
        Failed,  ///< the target cannot be made, opened or written to
    };

    /// `paintEvery`: how often the view is shown something and events run; zero is after each
    /// record.
    ListCopy(const ProgramFolder &folder, Operator &op, ListCopyView &view, Yield &yield,
             std::chrono::milliseconds paintEvery = Interval::frame);

    Result append(const std::vector<Source> &sources, qint64 target);
    /// Makes list `name` of the type first.
    Result merge(const std::vector<Source> &sources, const QString &name, const QString &type);
    /// Ends a copy after the record it is on.
    void abort() { m_abort = true; }

private:
    struct Texts;

    bool hasSources(const std::vector<Source> &sources);
    Result run(const Texts &texts, const std::vector<Source> &sources, qint64 target);
    Result copyAll(const Texts &texts, const std::vector<Source> &sources, qint64 target);
    void copyList(const Texts &texts, const Source &source, Connection &target);
    void show(qint64 number);
    void tellError(const Texts &texts, const StorageError &error);

    const ProgramFolder &m_folder;
    Operator &m_operator;
    ListCopyView &m_view;
    Yield &m_yield;
    const std::chrono::milliseconds m_paintEvery;
    QString m_log; // what the view was not shown yet
    bool m_abort = false;
};

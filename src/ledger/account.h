#pragma once

#include <QStringList>

class Connection;

/// The account of a series: everybody selected is in exactly one of these.
struct Account {
    qint64 selected = 0;
    qint64 sent = 0;
    qint64 failed = 0; ///< for good or for now
    qint64 inDoubt = 0;
    qint64 unsent = 0;
    qint64 removed = 0;

    qint64 sum() const { return sent + failed + inDoubt + unsent + removed; }
};

/// Counts it. Throws StorageError.
Account accountOf(Connection &list, qint64 series);

/// What does not agree in a list, as a sentence each: a series that does not add up, a recipient
/// whose status is not what last became of them by the ledger (someone of whom it knows nothing
/// agrees with anything), more than one in doubt at a time, and what the engine finds in the file.
/// Throws StorageError.
QStringList verifyList(Connection &list);

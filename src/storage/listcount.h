#pragma once

#include <QtGlobal>

class ProgramFolder;

/// Counts a list's recipients anew and stores the count in the catalogue, with the day as the time
/// of the list's last change. Returns the count. Throws StorageError.
qint64 storeRecipientCount(const ProgramFolder &folder, qint64 listId);

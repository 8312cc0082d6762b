#pragma once

#include "jobmessage.h"

class ProgramFolder;

/// Adds a message to the system database; its number. Any format but "TEXT" is stored as "HTML".
/// Throws StorageError, and then nothing was stored.
qint64 insertMessage(const ProgramFolder &folder, const JobMessage &message);

/// Replaces what is stored of message `msgid`. Throws StorageError, also when the message is gone.
void updateMessage(const ProgramFolder &folder, qint64 msgid, const JobMessage &message);

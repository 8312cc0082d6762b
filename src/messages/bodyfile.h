#pragma once

#include <QString>

/// The lines of a text file, each followed by CR LF: what becomes a message's body. Lines end with
/// CR LF, LF or CR. Throws StorageError when it cannot be read or is too large for a message.
QString readBodyFile(const QString &path);

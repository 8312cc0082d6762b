#pragma once

#include <QString>

/// Writes a message body as an HTML file that the embedded browser is to show; what was there is
/// replaced. A byte-order mark makes the browser read it as UTF-8 whatever the body says of its
/// encoding; the body itself stays as it is, and a line end follows. Throws StorageError.
void writeScratchPage(const QString &path, const QString &body);

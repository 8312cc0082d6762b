#pragma once

#include <QByteArray>
#include <QString>

/// The text of a web document. Its encoding is the one that `contentType` names (the header's
/// value, "text/html; charset=..."), else the one the document names or marks itself with, else
/// UTF-8 where it is valid, else Windows-1252.
QString decodeWebText(const QByteArray &body, const QByteArray &contentType);

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringDecoder>

/// Text of unknown origin: UTF-8 where it is valid, otherwise Windows-1252, the usual encoding of
/// older files.
QString decodeText(const QByteArray &bytes);

/// The same for the content of a whole file, whose byte-order mark, if it has one, names its
/// encoding.
QString decodeFile(const QByteArray &content);

/// For text that is not UTF-8: Windows-1252.
QStringDecoder windows1252Decoder();

#pragma once

#include <QByteArray>
#include <QString>

// Header fields and encodings of Internet messages. Fields come folded, each line ended with CRLF,
// in ASCII; no value can end its field.

/// `address` as wireAddress() writes it.
QByteArray fromField(const QString &name, const QByteArray &address);
QByteArray subjectField(const QString &subject);
/// The fields of the part that carries the file `name` in base64.
QByteArray attachmentFields(const QString &name, const QString &mediaType);

/// `lines` and the result have LF line ends.
QByteArray quotedPrintable(const QByteArray &lines);

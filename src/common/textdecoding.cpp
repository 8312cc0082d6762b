#include "textdecoding.h"

#include <QStringDecoder>

QString decodeText(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(bytes);
    if (!utf8.hasError())
        return text;
    QStringDecoder windows1252("windows-1252", QStringDecoder::Flag::Stateless);
    // Without the conversion library Latin 1 is the same but for typographic marks.
    return windows1252.isValid() ? QString(windows1252(bytes)) : QString::fromLatin1(bytes);
}

QString decodeFile(const QByteArray &content)
{
    if (const auto encoding = QStringConverter::encodingForData(content))
        return QStringDecoder(*encoding)(content);
    return decodeText(content);
}

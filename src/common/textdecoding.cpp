#include "textdecoding.h"

QString decodeText(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(bytes);
    return utf8.hasError() ? QString(windows1252Decoder()(bytes)) : text;
}

QStringDecoder windows1252Decoder()
{
    QStringDecoder windows1252("windows-1252");
    // Without the conversion library Latin 1 is the same but for typographic marks.
    return windows1252.isValid() ? std::move(windows1252) : QStringDecoder(QStringDecoder::Latin1);
}

QString decodeFile(const QByteArray &content)
{
    if (const auto encoding = QStringConverter::encodingForData(content))
        return QStringDecoder(*encoding)(content);
    return decodeText(content);
}

#include "webtext.h"

#include "textdecoding.h"

#include <QRegularExpression>
#include <QStringDecoder>

#include <initializer_list>

namespace
{

/// A document names its encoding near its beginning.
constexpr qsizetype declarationSize = 4096;

QByteArray headerCharset(const QByteArray &contentType)
{
    static const QRegularExpression charset(QStringLiteral("charset\\s*=\\s*[\"']?([^\\s;\"']+)"),
                                            QRegularExpression::CaseInsensitiveOption);
    return charset.match(QString::fromLatin1(contentType)).captured(1).toLatin1();
}

QByteArray markedCharset(const QByteArray &body)
{
    const auto mark = QStringConverter::encodingForData(body);
    return mark ? QByteArray(QStringConverter::nameForEncoding(*mark)) : QByteArray();
}

QByteArray documentCharset(const QByteArray &body)
{
    static const QRegularExpression declaration(
        // An attribute of its own, whatever others say; or a part of what replaces a header line.
        QStringLiteral(
            "<meta(?:\\s+[^\\s=>\"'/]+(?:\\s*=\\s*(?:\"[^\"]*\"|'[^']*'|[^\\s>\"']*))?)*?"
            "[\\s/]+charset\\s*=\\s*[\"']?\\s*([^\\s\"'/>;]+)|"
            "<meta\\s(?=[^>]*http-equiv)[^>]*charset\\s*=\\s*([^\\s\"'/>;]+)|"
            "^\\s*<\\?xml\\s[^>]*encoding\\s*=\\s*[\"']([^\"']+)"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression comment(QStringLiteral("<!--.*?-->"),
                                            QRegularExpression::DotMatchesEverythingOption);
    const auto match =
        declaration.match(QString::fromLatin1(body.left(declarationSize)).remove(comment));
    const QByteArray name = (match.captured(1) + match.captured(2) + match.captured(3)).toLatin1();
    // What could be read byte by byte up to here is not in an encoding of two or four bytes.
    return name.toLower().startsWith("utf-16") || name.toLower().startsWith("utf-32")
               ? QByteArray("UTF-8")
               : name;
}

/// Pages that say Latin 1 or ASCII are written in Windows-1252, and read so by every browser.
QByteArray usualName(const QByteArray &charset)
{
    for (const char *name :
         {"iso-8859-1", "iso8859-1", "iso_8859-1", "latin1", "us-ascii", "ascii"}) {
        if (charset.compare(name, Qt::CaseInsensitive) == 0)
            return "windows-1252";
    }
    return charset;
}

} // namespace

QString decodeWebText(const QByteArray &body, const QByteArray &contentType)
{
    for (const QByteArray &charset :
         {headerCharset(contentType), markedCharset(body), documentCharset(body)}) {
        if (charset.isEmpty())
            continue;
        QStringDecoder decoder(usualName(charset).constData(), QStringDecoder::Flag::Stateless);
        if (decoder.isValid())
            return decoder(body);
    }
    return decodeText(body);
}

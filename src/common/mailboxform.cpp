#include "mailboxform.h"

#include <QUrl>

#include <algorithm>

namespace
{

/// Takes up no room on any screen, so that two addresses which differ in it look the same.
bool isUnseen(char32_t c)
{
    switch (QChar::category(c)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Space:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        break;
    }
    // The other characters that Unicode calls "default ignorable": joiner, fillers and selectors.
    return c == 0x034f || c == 0x115f || c == 0x1160 || c == 0x17b4 || c == 0x17b5 ||
           (c >= 0x180b && c <= 0x180f) || c == 0x2065 || c == 0x3164 ||
           (c >= 0xfe00 && c <= 0xfe0f) || c == 0xffa0 || (c >= 0xe0000 && c <= 0xe0fff);
}

QString withoutUnseen(const QString &text)
{
    QString seen;
    for (const char32_t c : text.toUcs4()) {
        if (!isUnseen(c))
            seen += QString::fromUcs4(&c, 1);
    }
    return seen;
}

QString unquoted(QString local)
{
    if (local.size() < 2 || !local.startsWith(u'"') || !local.endsWith(u'"'))
        return local;
    local = local.sliced(1, local.size() - 2);
    for (qsizetype i = local.indexOf(u'\\'); i >= 0; i = local.indexOf(u'\\', i + 1))
        local.remove(i, 1);
    return local;
}

} // namespace

QString asciiDomain(QStringView domain)
{
    if (std::all_of(domain.begin(), domain.end(), [](QChar c) { return c.unicode() < 0x80; }))
        return domain.toString();
    return QString::fromLatin1(QUrl::toAce(domain.toString()));
}

QString mailboxForm(const QString &address)
{
    const bool isPlain = std::all_of(address.begin(), address.end(), [](QChar c) {
        return c > u' ' && c.unicode() < 0x7f && c != u'"';
    });
    const QString seen =
        isPlain ? address : withoutUnseen(address.normalized(QString::NormalizationForm_KC));
    const qsizetype separator = seen.lastIndexOf(u'@');
    QString domain = seen.sliced(separator + 1);
    if (const QString ascii = asciiDomain(domain); !ascii.isEmpty())
        domain = ascii;
    if (domain.endsWith(u'.'))
        domain.chop(1);
    domain = domain.toCaseFolded();
    return separator < 0 ? domain : unquoted(seen.first(separator)).toCaseFolded() + u'@' + domain;
}

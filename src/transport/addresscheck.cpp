#include "addresscheck.h"

#include "mailboxform.h"

#include <QStringList>

#include <arpa/inet.h>

#include <algorithm>

namespace
{

// Far above every real address, and low enough that the line it stands in stays a legal one.
constexpr qsizetype longestWritable = 900;
// RFC 5321, 4.5.3.1, in octets; the limit of the path less its angle brackets.
constexpr qsizetype longestAddress = 254;
constexpr qsizetype longestLocalPart = 64;
constexpr qsizetype longestLabel = 63;

bool isBlank(QChar c)
{
    return c.category() == QChar::Separator_Space;
}

bool isAscii(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
}

/// Whether it is made of what needs no closer look: nearly all addresses are.
bool isPlain(QStringView address)
{
    int separators = 0;
    for (const QChar c : address) {
        if (c == u'@')
            ++separators;
        else if (!((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') ||
                   (c >= u'-' && c <= u'9' && c != u'/') || c == u'_' || c == u'+'))
            return false;
    }
    return separators <= 1 && !address.isEmpty() && address.size() <= longestWritable;
}

QStringView withoutOuterBlanks(QStringView text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

/// The place of the "@" between local part and domain, or -1. A quoted local part may hold others.
qsizetype separatorOf(QStringView address)
{
    return address.lastIndexOf(u'@');
}

QString characterFault(QStringView address)
{
    for (qsizetype i = 0; i < address.size(); ++i) {
        const QChar c = address[i];
        if (c.isHighSurrogate() && i + 1 < address.size() && address[i + 1].isLowSurrogate()) {
            ++i;
            continue;
        }
        switch (c.category()) {
        case QChar::Other_Control:
        case QChar::Other_Surrogate:
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            return QStringLiteral("holds a control character");
        case QChar::Separator_Space:
            return QStringLiteral("holds a blank");
        default:
            if (c == u'<' || c == u'>')
                return QStringLiteral("holds an angle bracket");
        }
    }
    return {};
}

/// Outside quotes these end a mailbox, or begin a list, a group or a comment: with one of them a
/// text may be two mailboxes to one reader and none to another.
QString specialFault(QStringView text)
{
    for (const QChar c : QStringView(u",;:()[]@\\\""))
        if (text.contains(c))
            return QStringLiteral("is not a single address: it holds a %1").arg(c);
    return {};
}

bool isQuotedLocalPart(QStringView local)
{
    if (local.size() < 3 || local.front() != u'"' || local.back() != u'"')
        return false;
    const QStringView inside = local.sliced(1, local.size() - 2);
    for (qsizetype i = 0; i < inside.size(); ++i) {
        if (inside[i] == u'"')
            return false;
        if (inside[i] == u'\\' && ++i == inside.size())
            return false;
    }
    return true;
}

bool isAddressLiteral(QStringView domain)
{
    if (domain.size() < 2 || !domain.startsWith(u'[') || !domain.endsWith(u']'))
        return false;
    QByteArray inside = domain.sliced(1, domain.size() - 2).toUtf8();
    unsigned char parsed[sizeof(in6_addr)];
    if (!inside.toLower().startsWith("ipv6:"))
        return inet_pton(AF_INET, inside.constData(), parsed) == 1;
    inside.remove(0, 5);
    return inet_pton(AF_INET6, inside.constData(), parsed) == 1;
}

bool isLabel(QStringView label)
{
    return !label.isEmpty() && label.size() <= longestLabel && label.front() != u'-' &&
           label.back() != u'-' && std::all_of(label.begin(), label.end(), [](QChar c) {
               return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') ||
                      (c >= u'0' && c <= u'9') || c == u'-';
           });
}

QString shapeFault(QStringView address, qsizetype separator)
{
    if (separator < 0)
        return QStringLiteral("has no @");
    const QStringView local = address.first(separator);
    if (local.isEmpty())
        return QStringLiteral("has nothing before the @");
    if (local.toUtf8().size() > longestLocalPart)
        return QStringLiteral("has more than 64 characters before the @");
    const QString dotted = u'.' + local.toString() + u'.'; // so that outer dots count too
    if (!isQuotedLocalPart(local) && dotted.contains(QLatin1String("..")))
        return QStringLiteral("is malformed before the @");
    const QStringView written = address.sliced(separator + 1);
    if (written.isEmpty())
        return QStringLiteral("has nothing after the @");
    if (wireAddress(address.toString()).size() > longestAddress)
        return QStringLiteral("is longer than 254 characters");
    if (isAddressLiteral(written))
        return {};
    const QString domain = asciiDomain(written);
    const auto labels = QStringView(domain).split(u'.');
    if (!std::all_of(labels.begin(), labels.end(), isLabel))
        return QStringLiteral("is malformed after the @");
    if (labels.size() < 2)
        return QStringLiteral("has no dot in the domain after the @");
    return {};
}

} // namespace

QString addressFault(const QString &address, AddressRules rules)
{
    if (rules == AddressRules::Always && isPlain(address))
        return {};
    const QStringView bare = withoutOuterBlanks(address);
    if (bare.isEmpty())
        return QStringLiteral("is empty");
    if (const QString fault = characterFault(bare); !fault.isEmpty())
        return fault;
    if (bare.size() > longestWritable || bare.toUtf8().size() > longestWritable)
        return QStringLiteral("is too long");
    const qsizetype separator = separatorOf(bare);
    const QStringView domain = bare.sliced(separator + 1);
    if (separator >= 0 && !domain.isEmpty() && asciiDomain(domain).isEmpty())
        return QStringLiteral("has a domain that no mail server can be asked for");
    const QStringView local = bare.first(std::max<qsizetype>(separator, 0));
    QString special;
    if (!isQuotedLocalPart(local))
        special = specialFault(local);
    if (special.isEmpty() && !isAddressLiteral(domain))
        special = specialFault(domain);
    if (!special.isEmpty())
        return special;
    return rules == AddressRules::Shape ? shapeFault(bare, separator) : QString();
}

QByteArray wireAddress(const QString &address)
{
    const QStringView bare = withoutOuterBlanks(address);
    const qsizetype separator = separatorOf(bare);
    if (separator < 0 || isAscii(bare))
        return bare.toUtf8();
    return bare.first(separator + 1).toUtf8() + asciiDomain(bare.sliced(separator + 1)).toUtf8();
}

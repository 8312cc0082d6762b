#include "mailhost.h"

#include <QUrl>

#include <arpa/inet.h>

#include <algorithm>

namespace
{

constexpr quint16 smtpPort = 25;
constexpr quint16 smtpsPort = 465;

bool isHostName(const QByteArray &ascii)
{
    return !ascii.isEmpty() && ascii.size() <= 253 && !ascii.startsWith('.') &&
           !ascii.contains("..") && std::all_of(ascii.begin(), ascii.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '.';
           });
}

bool isIpv6(const QString &text)
{
    in6_addr parsed;
    return inet_pton(AF_INET6, text.toUtf8().constData(), &parsed) == 1;
}

bool isLoopback(const QString &name)
{
    in_addr v4;
    if (inet_pton(AF_INET, name.toUtf8().constData(), &v4) == 1)
        return (ntohl(v4.s_addr) >> 24) == 127;
    in6_addr v6;
    if (inet_pton(AF_INET6, name.toUtf8().constData(), &v6) == 1)
        return IN6_IS_ADDR_LOOPBACK(&v6);
    return name.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0;
}

/// Splits "name:port" or "[v6]:port"; `port` stays null when the text has none.
bool splitPort(const QString &text, QString &name, QString &port)
{
    const bool bracketed = text.startsWith(u'[');
    const qsizetype end = bracketed ? text.indexOf(u']') + 1 : text.indexOf(u':');
    if (bracketed ? end == 0 : end < 0) {
        name = text;
        return !bracketed;
    }
    name = bracketed ? text.mid(1, end - 2) : text.left(end);
    if (end == text.size())
        return true;
    port = text.mid(end + 1);
    return text[end] == u':' && !port.isEmpty() &&
           std::all_of(port.begin(), port.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

} // namespace

QByteArray MailHost::url() const
{
    const QByteArray scheme = implicitTls ? "smtps://" : "smtp://";
    const QByteArray host = name.contains(u':') ? '[' + name.toLatin1() + ']' : name.toLatin1();
    return scheme + host + ':' + QByteArray::number(port);
}

QString shownMailHost(const QString &text)
{
    return text.mid(text.lastIndexOf(u'@') + 1);
}

QString readMailHost(const QString &text, MailHost &host)
{
    QString rest = text.trimmed();
    if (rest.isEmpty())
        return QStringLiteral("No SMTP server is given");
    const QString shown = shownMailHost(rest).simplified().left(60);
    host = {};
    host.port = smtpPort;
    if (rest.startsWith(QLatin1String("smtps://"), Qt::CaseInsensitive)) {
        host.implicitTls = true;
        host.port = smtpsPort;
        rest.remove(0, 8);
    } else if (rest.startsWith(QLatin1String("smtp://"), Qt::CaseInsensitive)) {
        rest.remove(0, 7);
    }
    if (rest.contains(u'@'))
        return QStringLiteral("The SMTP server %1 must be given without user name and password")
            .arg(shown);

    const QString misread =
        QStringLiteral("The SMTP server %1 is not a host name with an optional port").arg(shown);
    if (isIpv6(rest))
        return QStringLiteral("The SMTP server %1 needs brackets around the address: [%1]")
            .arg(shown);
    QString port;
    if (!splitPort(rest, host.name, port))
        return misread;
    if (rest.startsWith(u'[')) {
        if (!isIpv6(host.name))
            return misread;
    } else {
        const QByteArray ascii = QUrl::toAce(host.name);
        if (!isHostName(ascii))
            return misread;
        host.name = QString::fromLatin1(ascii);
    }
    if (!port.isNull()) {
        bool ok = false;
        host.port = port.toUShort(&ok);
        if (!ok || host.port == 0)
            return QStringLiteral("The SMTP server %1 has a port that is not from 1 to 65535")
                .arg(shown);
    }
    host.loopback = isLoopback(host.name);
    return {};
}

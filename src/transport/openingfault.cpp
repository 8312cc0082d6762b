#include "openingfault.h"

#include <cerrno>

namespace
{

// The verdicts of the TLS library on a certificate (X509_V_ERR_...), without asking for its
// headers.
constexpr long verdictFine = 0;
// Where libcurl leaves off when the name does not fit: before it asks for the verdict.
constexpr long verdictNone = 1;
constexpr long verdictNotYetValid = 9;
constexpr long verdictExpired = 10;
constexpr long verdictsUntrusted[] = {2, 18, 19, 20, 21};

QString certificateFault(const QString &name, CURL *easy)
{
    long verdict = verdictNone;
    curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &verdict);
    if (verdict == verdictFine || verdict == verdictNone)
        return QStringLiteral("The certificate of %1 was issued for another name").arg(name);
    if (verdict == verdictExpired)
        return QStringLiteral("The certificate of %1 has expired").arg(name);
    if (verdict == verdictNotYetValid)
        return QStringLiteral("The certificate of %1 is not valid yet").arg(name);
    for (const long untrusted : verdictsUntrusted)
        if (verdict == untrusted)
            return QStringLiteral(
                       "The certificate of %1 is not trusted: its issuer is not known here")
                .arg(name);
    return QStringLiteral("The certificate of %1 is not valid").arg(name);
}

QString connectFault(const MailHost &host, CURL *easy)
{
    long reason = 0;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &reason);
    const QString place = QStringLiteral("%1 on port %2").arg(host.name).arg(host.port);
    if (reason == ECONNREFUSED)
        return QStringLiteral("Nothing answers at %1: the connection was refused").arg(place);
    return QStringLiteral("%1 cannot be reached over the network").arg(place);
}

QString loginFault(const QString &name, const SmtpReply &lastReply)
{
    if (lastReply.isRefusal())
        return QStringLiteral("%1 refused the login: %2").arg(name, lastReply.text());
    return QStringLiteral("%1 offers no way to log in that this program knows").arg(name);
}

QString encryptionFault(const QString &name, const SmtpReply &lastReply)
{
    if (lastReply.isRefusal())
        return QStringLiteral("%1 refused to encrypt the connection, and the password would "
                              "travel unencrypted: %2")
            .arg(name, lastReply.text());
    return QStringLiteral("%1 offers no encryption, and the password would travel unencrypted")
        .arg(name);
}

} // namespace

QString openingFault(const MailHost &host, CURL *easy, CURLcode code, const SmtpReply &lastReply)
{
    const QString &name = host.name;
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return QStringLiteral("The SMTP server %1 was not found: no address is known for this name")
            .arg(name);
    case CURLE_COULDNT_CONNECT:
        return connectFault(host, easy);
    case CURLE_PEER_FAILED_VERIFICATION:
        return certificateFault(name, easy);
    case CURLE_SSL_CACERT_BADFILE:
        return QStringLiteral("The certificates that %1 would be checked with cannot be read")
            .arg(name);
    case CURLE_SSL_CONNECT_ERROR:
        return QStringLiteral("No encrypted connection to %1 could be agreed on").arg(name);
    case CURLE_USE_SSL_FAILED:
        return encryptionFault(name, lastReply);
    case CURLE_LOGIN_DENIED:
        return loginFault(name, lastReply);
    case CURLE_OUT_OF_MEMORY:
        return QStringLiteral("There is not enough memory to connect to %1").arg(name);
    default:
        break;
    }
    if (lastReply.isRefusal())
        return QStringLiteral("%1 refused the session: %2").arg(name, lastReply.text());
    if (code == CURLE_WEIRD_SERVER_REPLY || code == CURLE_WRITE_ERROR)
        return QStringLiteral("%1 does not answer like an SMTP server").arg(name);
    return QStringLiteral("%1 closed the connection before the session was open").arg(name);
}

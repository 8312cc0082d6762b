#include "authexchange.h"

#include <QCryptographicHash>
#include <QList>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>

#include <utility>

AuthExchange::AuthExchange(QByteArray mechanism, QByteArray user, QByteArray password)
    : m_mechanism(std::move(mechanism))
    , m_user(std::move(user))
    , m_password(std::move(password))
    , m_cramChallenge("<" + QByteArray::number(QRandomGenerator::global()->generate64()) +
                      "@localhost>")
{
}

QByteArray AuthExchange::challenge() const
{
    if (m_mechanism == "CRAM-MD5")
        return m_cramChallenge;
    if (m_mechanism == "LOGIN")
        return m_nameGiven ? "Password:" : "Username:";
    return {};
}

bool AuthExchange::takesInitialResponse() const
{
    return m_mechanism != "CRAM-MD5";
}

AuthExchange::Verdict AuthExchange::respond(const QByteArray &response)
{
    bool right = false;
    if (m_mechanism == "PLAIN") {
        // authorization identity (of no use here), user, password
        const QList<QByteArray> parts = response.split('\0');
        right = parts.size() == 3 && parts[1] == m_user && parts[2] == m_password;
    } else if (m_mechanism == "LOGIN") {
        if (!m_nameGiven) {
            m_nameGiven = true;
            m_nameRight = response == m_user;
            return Verdict::Continue;
        }
        right = m_nameRight && response == m_password;
    } else {
        const QByteArray digest =
            QMessageAuthenticationCode::hash(m_cramChallenge, m_password, QCryptographicHash::Md5);
        right = response == m_user + ' ' + digest.toHex();
    }
    return right ? Verdict::Accepted : Verdict::Refused;
}

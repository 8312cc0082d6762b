#pragma once

#include <QByteArray>

/// The server's half of one login (RFC 4616, RFC 2195 and the customary LOGIN). Challenges and
/// responses are plain here; their base64 form belongs to the session.
class AuthExchange
{
public:
    enum class Verdict { Continue, Accepted, Refused };

    /// `mechanism` is PLAIN, LOGIN or CRAM-MD5; `user` and `password` are the login to accept.
    AuthExchange(QByteArray mechanism, QByteArray user, QByteArray password);

    /// What the client is asked next.
    QByteArray challenge() const;
    /// Whether the client may answer the first challenge along with the command.
    bool takesInitialResponse() const;
    Verdict respond(const QByteArray &response);

private:
    QByteArray m_mechanism;
    QByteArray m_user;
    QByteArray m_password;
    QByteArray m_cramChallenge;
    bool m_nameGiven = false; // LOGIN: the user name has come, the password is next
    bool m_nameRight = false;
};

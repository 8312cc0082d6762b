#pragma once

#include "mailhost.h"
#include "pace.h"
#include "smtpreply.h"

#include <QByteArray>
#include <QString>

#include <curl/curl.h>

#include <chrono>

/// How long the program waits for a mail server.
struct SmtpTimeouts {
    std::chrono::milliseconds connect{30'000};
    std::chrono::milliseconds reply{60'000}; ///< also for taking a piece of a message
    std::chrono::milliseconds quit{5'000};   ///< nobody waits for a goodbye
};

struct SmtpLogin {
    bool wanted = false;
    QString user;
    QString password;
};

/// A logged-in session with a mail server, on which commands are sent and replies are read.
///
/// libcurl opens it: names, TLS, and every login method are its work. It does not send the
/// messages: its own SMTP transfer waits for the reply to the final dot inside one call, for as
/// long as the server takes, with the window frozen; and it closes the session after every refused
/// recipient. So the session is opened "connect only", and the four commands of a message go
/// through curl_easy_send and curl_easy_recv, which keep the encryption.
///
/// Every wait yields, and ends with the time limit. After a failure fault() tells the reason and
/// the session is closed.
class SmtpConnection
{
public:
    SmtpConnection(Yield &yield, SmtpTimeouts timeouts);
    ~SmtpConnection();

    SmtpConnection(const SmtpConnection &) = delete;
    SmtpConnection &operator=(const SmtpConnection &) = delete;

    /// Connects, encrypts when the server can (or the login needs it), and logs in when wanted.
    bool open(const MailHost &host, const SmtpLogin &login);
    bool isOpen() const { return m_easy != nullptr; }

    bool offersPipelining() const { return m_offers.pipelining; }
    bool offersUtf8() const { return m_offers.smtpUtf8; }

    bool write(QByteArrayView bytes);
    /// The next reply. It has no code when none came.
    SmtpReply read();

    /// Says goodbye and closes; does not wait long.
    void quit();
    /// Closes at once.
    void close();

    /// Why the last call failed, as a sentence that names the server.
    const QString &fault() const { return m_fault; }
    /// Whether it failed because a time limit had passed.
    bool timedOut() const { return m_timedOut; }
    QString serverName() const { return m_host.name; }
    Pace &pace() { return m_pace; }

private:
    struct Offers {
        bool pipelining = false;
        bool smtpUtf8 = false;
    };
    using Instant = Pace::Clock::time_point;

    void configure(const MailHost &host, const SmtpLogin &login);
    static size_t takeReplyLine(char *data, size_t size, size_t count, void *self);
    bool runOpening();
    bool waitFor(short events, Instant limit);
    bool receive(Instant limit);
    bool fail(const QString &fault);
    bool failLate();
    bool failLost();

    Pace m_pace;
    SmtpTimeouts m_timeouts;
    CURLM *m_multi = nullptr;
    CURL *m_easy = nullptr;
    curl_socket_t m_socket = CURL_SOCKET_BAD;
    MailHost m_host;
    bool m_loginWanted = false;

    // What the server says while the session opens.
    SmtpReply m_openingReply;
    bool m_openingReplyEnded = true;
    bool m_loggedIn = false;
    Offers m_offers;
    Instant m_openingLimit;

    QByteArray m_received;
    qsizetype m_consumed = 0;
    QString m_fault;
    bool m_timedOut = false;
};

#pragma once

#include "mailhost.h"
#include "pace.h"
#include "smtpreply.h"

#include <QByteArrayList>
#include <QString>

#include <curl/curl.h>

#include <array>
#include <chrono>

namespace Smtp
{

/// The steps of a session in their order on the wire.
enum Step {
    Connect, ///< finding the server and being let in
    Greet,   ///< its greeting, and each later reply until the login is done
    Reset,
    Mail,
    Rcpt,
    Data,
    Block, ///< taking a piece of a message
    End,   ///< the reply to the final dot
    Quit,
    StepCount
};

/// How long each step may take.
using Times = std::array<std::chrono::milliseconds, StepCount>;
/// What the table of steps in smtpsession.cpp says.
extern const Times times;

} // namespace Smtp

struct SmtpLogin {
    bool wanted = false;
    QString user;
    QString password;

    bool operator==(const SmtpLogin &) const = default;
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
/// the session is closed; only a failed write leaves it open, for what the server had said before.
class SmtpConnection
{
public:
    SmtpConnection(Yield &yield, const Smtp::Times &times);
    ~SmtpConnection();

    SmtpConnection(const SmtpConnection &) = delete;
    SmtpConnection &operator=(const SmtpConnection &) = delete;

    /// Connects, encrypts when the server can (or the login needs it), and logs in when wanted. The
    /// certificate of this very machine is not verified: a relay here has one that it signed
    /// itself, and nobody is between.
    bool open(const MailHost &host, const SmtpLogin &login);
    bool isOpen() const { return m_easy != nullptr; }

    bool offersPipelining() const { return m_offers.pipelining; }
    bool offersEightBits() const { return m_offers.eightBits; }
    bool offersUtf8() const { return m_offers.smtpUtf8; }
    /// What the server said last while the session opened.
    const SmtpReply &openingReply() const { return m_openingReply; }

    /// Returns how many of the bytes went into the socket: fewer than all when that failed. After
    /// that nothing more is written, and what is read is only what has already come.
    qsizetype write(QByteArrayView bytes, Smtp::Step step = Smtp::Block);
    /// The reply that ends `step`, without the password and its encoded forms, which a server may
    /// repeat. It has no code when none came.
    SmtpReply read(Smtp::Step step);
    /// Whether read() has something to begin with, at the latest after a frame.
    bool isReplyNear(Smtp::Step step);
    /// Whether the server, as far as one can see without waiting, has kept the link and said
    /// nothing that was not read.
    bool isQuiet();

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
        bool eightBits = false;
        bool smtpUtf8 = false;
    };
    using Instant = Pace::Clock::time_point;

    void configure(const MailHost &host, const SmtpLogin &login);
    static size_t takeReplyLine(char *data, size_t size, size_t count, void *self);
    bool runOpening();
    bool waitFor(short events, Smtp::Step step, Instant begin);
    CURLcode receive();
    bool receive(Smtp::Step step, Instant begin);
    bool note(const QString &fault);
    bool noteLate(Smtp::Step step);
    bool noteLost();
    bool fail(const QString &fault);

    Pace m_pace;
    const Smtp::Times m_times;
    CURLM *m_multi = nullptr;
    CURL *m_easy = nullptr;
    curl_socket_t m_socket = CURL_SOCKET_BAD;
    MailHost m_host;
    bool m_loginWanted = false;
    QByteArrayList m_secrets; ///< not to be repeated

    // What the server says while the session opens.
    SmtpReply m_openingReply;
    bool m_openingReplyEnded = true;
    bool m_loggedIn = false;
    Offers m_offers;
    Instant m_openingBegin; ///< of the wait for the reply that is due

    QByteArray m_received;
    qsizetype m_consumed = 0;
    bool m_isBroken = false; ///< nothing more can be written
    QString m_fault;
    bool m_timedOut = false;
};

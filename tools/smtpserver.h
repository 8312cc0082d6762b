#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

/// One message as the server took it.
struct ReceivedMessage {
    QByteArray sender = {};         ///< envelope sender, without angle brackets
    QByteArrayList recipients = {}; ///< envelope recipients, without angle brackets
    QByteArray data = {}; ///< the message with CRLF line ends, dots unstuffed, no final dot
    QByteArray user = {}; ///< who had logged in; empty for nobody
    bool encrypted = false;
    int session = 0; ///< 1 for the first connection the server took, and so on
};

/// What the server does out of the ordinary. A rule meets a command line when the line starts with
/// `command` (without regard to case) and contains `text`. Three commands stand for moments that
/// are no command line: "CONNECT" for the greeting, "DATA-BODY" for the first line of a message's
/// data (`text` is looked for in that line), "DATA-END" for the final dot (`text` is looked for in
/// the whole message). Of the rules that meet a line, the first that is still to be applied wins.
struct ServerRule {
    enum class Action { Reply, Drop, Stall };

    QByteArray command = {};
    QByteArray text = {};
    Action action = Action::Reply;
    /// For Reply: the lines of the answer, sent as they are with CRLF each ("550-5.1.1 No such",
    /// "550 user"). An answer of the classes 2 and 3 only replaces the words: the command does what
    /// it always does. After any other answer the command has done nothing (a recipient, or with
    /// "DATA-END" the message, is not taken), and 421 also closes the connection. With "DATA-BODY"
    /// every answer is followed by hanging up on what still comes.
    QByteArrayList reply = {};
    /// Waited before the action; with Action::Reply and no reply lines, the ordinary answer follows
    /// (a slow server).
    std::chrono::milliseconds delay{0};
    int skip = 0;   ///< leaves this many matching lines alone first, whoever answered those
    int times = -1; ///< how often it is applied; -1: always
};

struct ServerOptions {
    bool startTls = false;        ///< offer STARTTLS; needs certificate and key
    bool implicitTls = false;     ///< TLS from the first byte
    QString certificateFile = {}; ///< PEM
    QString keyFile = {};         ///< PEM, of an elliptic curve
    QByteArrayList auth = {};     ///< offered mechanisms: "PLAIN", "LOGIN"
    QByteArray user = {};         ///< the login that is accepted
    QByteArray password = {};
    QList<ServerRule> rules = {};
    quint16 port = 0; ///< 0: one that is free
    /// Puts a message away, before the final dot is answered; false makes that answer 452. Called
    /// in a thread of the server, one call at a time. A server with it keeps neither messages nor
    /// transcript, so that it can run for long.
    std::function<bool(const ReceivedMessage &)> store = {};
};

/// A small SMTP server (RFC 5321) on the loopback address, in threads of its own: the mail
/// catcher's core, and the scripted partner of the transport's tests. It asks for no more order
/// than tells a right client from a wrong one.
class SmtpServer
{
public:
    explicit SmtpServer(ServerOptions options = {});
    /// Closes every connection and ends the threads.
    ~SmtpServer();
    Q_DISABLE_COPY(SmtpServer)

    /// The port it listens on; 0 when it could not listen.
    quint16 port() const;
    /// All messages taken so far; a message is here before the client reads the answer to it.
    QList<ReceivedMessage> messages() const;
    /// Every line of every session in order, "C: ..." from the client and "S: ..." from the
    /// server, without message data.
    QByteArrayList transcript() const;
    /// The number of connections taken so far.
    int sessions() const;
    /// How often a session had answered all that had come, and waited for more.
    int trips() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

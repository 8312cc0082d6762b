#include "smtpserver.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

/// What the sessions share, each of which is a thread. The mutex guards all but the options.
struct SmtpServer::Private {
    class Session;

    std::optional<ServerRule> ruleFor(const QByteArray &command, const QByteArray &text,
                                      bool isMoment);
    void log(const QByteArray &line);
    bool take(const ReceivedMessage &message);
    /// Waits, but not beyond the server's end. Without a time it waits for that.
    void wait(std::optional<std::chrono::milliseconds> time);
    void accept();

    ServerOptions options; ///< its rules with what is left of their `skip` and `times`
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    int listener = -1;

    std::mutex mutex;
    std::condition_variable stopping;
    bool isStopping = false;
    std::set<int> links; ///< a descriptor of each open one
    std::list<std::thread> threads;
    QList<ReceivedMessage> messages;
    QByteArrayList transcript;
    int sessions = 0;
    std::atomic<int> trips = 0;
};

/// One client's conversation, as straight as it goes over the wire.
class SmtpServer::Private::Session
{
public:
    struct Over {
    };

    Session(int descriptor, int number, Private &server)
        : m_number(number)
        , m_server(server)
    {
        // A server that stops listening is to be noticed by who writes.
        m_socket.setReadBufferSize(1 << 16);
        m_socket.setSslConfiguration(server.tls);
        m_socket.setSocketDescriptor(descriptor);
        m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    }

    /// Ends by throwing Over.
    void run()
    {
        if (m_server.options.implicitTls)
            encrypt();
        if (!isAnswered("CONNECT", {}, true))
            reply({"220 localhost ESMTP ready"});
        for (;;) {
            const QByteArray line = readCommand();
            if (!isAnswered(line, line, false))
                reply(dispatch(line));
        }
    }

private:
    QByteArray readLine()
    {
        while (!m_socket.canReadLine()) {
            m_socket.flush();
            if (m_socket.bytesAvailable() == 0)
                ++m_server.trips;
            if (!m_socket.waitForReadyRead(-1))
                throw Over();
        }
        return m_socket.readLine();
    }

    QByteArray readCommand()
    {
        const QByteArray line = readLine().trimmed();
        m_server.log("C: " + line);
        return line;
    }

    void reply(const QByteArrayList &lines)
    {
        const QByteArrayList words = std::exchange(m_substitute, {});
        for (const QByteArray &line : words.isEmpty() ? lines : words) {
            m_server.log("S: " + line);
            m_socket.write(line + "\r\n");
        }
        if (const QByteArray first = lines.value(0);
            first.startsWith("421") || first.startsWith("221"))
            close();
    }

    /// Follows a rule. Returns whether the command or the moment has its answer with it.
    bool isAnswered(const QByteArray &command, const QByteArray &text, bool isMoment)
    {
        const auto rule = m_server.ruleFor(command, text, isMoment);
        if (!rule)
            return false;
        m_socket.flush();
        m_server.wait(rule->delay);
        if (rule->action == ServerRule::Action::Stall)
            m_server.wait({});
        if (rule->action != ServerRule::Action::Reply)
            throw Over();
        if (rule->reply.isEmpty())
            return false;
        if (command == "DATA-BODY") {
            m_socket.write(rule->reply.join("\r\n") + "\r\n");
            m_socket.flush();
            throw Over();
        }
        if (rule->reply.first().startsWith('2') || rule->reply.first().startsWith('3')) {
            m_substitute = rule->reply;
            return false;
        }
        reply(rule->reply);
        return true;
    }

    QByteArrayList dispatch(const QByteArray &line)
    {
        const QByteArray upper = line.toUpper();
        const auto is = [&upper](const char *verb) { return upper.startsWith(verb); };
        if (is("EHLO ") || is("HELO "))
            return ehlo();
        if (is("MAIL FROM:<"))
            return mail(line);
        if (is("RCPT TO:<"))
            return rcpt(line);
        if (is("DATA"))
            return data();
        if (is("RSET"))
            m_message.reset();
        if (is("RSET") || is("NOOP"))
            return {"250 2.0.0 Ok"};
        if (is("QUIT"))
            return {"221 2.0.0 Goodbye"};
        if (is("STARTTLS") && m_server.options.startTls) {
            reply({"220 2.0.0 Go ahead"});
            encrypt();
            return {};
        }
        if (is("AUTH ") && m_server.options.auth.contains(upper.sliced(5)))
            return logIn(upper.sliced(5));
        return {"500 5.5.1 Not understood"};
    }

    QByteArrayList ehlo()
    {
        m_message.reset();
        QByteArrayList words{"250-localhost", "250-PIPELINING", "250-8BITMIME", "250-SMTPUTF8"};
        if (m_server.options.startTls && !m_socket.isEncrypted())
            words << "250-STARTTLS";
        if (!m_server.options.auth.isEmpty())
            words << "250-AUTH " + m_server.options.auth.join(' ');
        return words << "250 ENHANCEDSTATUSCODES";
    }

    QByteArrayList mail(const QByteArray &line)
    {
        if (m_message)
            return {"503 5.5.1 MAIL was already given"};
        m_utf8 = line.endsWith(" SMTPUTF8");
        const auto address = addressIn(line);
        if (!address)
            return {"553 5.6.7 Not an address, or one that needs SMTPUTF8"};
        m_message = ReceivedMessage{.sender = *address};
        return {"250 2.1.0 Sender ok"};
    }

    QByteArrayList rcpt(const QByteArray &line)
    {
        const auto address = addressIn(line);
        if (!m_message)
            return {"503 5.5.1 MAIL comes first"};
        if (!address || address->isEmpty())
            return {"553 5.6.7 Not an address, or one that needs SMTPUTF8"};
        m_message->recipients.append(*address);
        return {"250 2.1.5 Recipient ok"};
    }

    std::optional<QByteArray> addressIn(const QByteArray &line) const
    {
        const qsizetype begin = line.indexOf('<') + 1;
        const qsizetype end = line.lastIndexOf('>');
        const auto isOfUtf8 = [](char c) { return uchar(c) >= 0x80; };
        if (end < begin || (!m_utf8 && std::any_of(line.begin(), line.end(), isOfUtf8)))
            return std::nullopt;
        return line.sliced(begin, end - begin);
    }

    QByteArrayList data()
    {
        if (!m_message || m_message->recipients.isEmpty())
            return {"503 5.5.1 RCPT comes first"};
        reply({"354 End the message with a dot on a line of its own"});
        ReceivedMessage message = *std::exchange(m_message, std::nullopt);
        for (QByteArray line = readLine(); line != ".\r\n"; line = readLine()) {
            if (line.startsWith('.'))
                line.remove(0, 1);
            if (message.data.isEmpty())
                isAnswered("DATA-BODY", line, true);
            message.data += line;
        }
        message.user = m_user;
        message.encrypted = m_socket.isEncrypted();
        message.session = m_number;
        if (isAnswered("DATA-END", message.data, true))
            return {};
        if (m_server.take(message))
            return {"250 2.0.0 Message taken"};
        return {"452 4.3.1 The message could not be stored"};
    }

    QByteArrayList logIn(const QByteArray &mechanism)
    {
        const auto asked = [this](const QByteArray &what) {
            reply({"334 " + what.toBase64()});
            return QByteArray::fromBase64(readCommand());
        };
        const QByteArray &user = m_server.options.user;
        const QByteArray &password = m_server.options.password;
        bool isRight = mechanism == "PLAIN" ? asked({}) == '\0' + user + '\0' + password
                                            : asked("Username:") == user;
        if (mechanism == "LOGIN")
            isRight = asked("Password:") == password && isRight;
        if (!isRight)
            return {"535 5.7.8 User name or password is wrong"};
        m_user = user;
        return {"235 2.7.0 Welcome"};
    }

    void encrypt()
    {
        m_socket.flush();
        m_socket.startServerEncryption();
        if (!m_socket.waitForEncrypted())
            throw Over();
    }

    /// Ends the link after what has been written. Closing at once while the client still sends
    /// would reset it, and the client would lose the answer that it has not read yet.
    [[noreturn]] void close()
    {
        m_socket.flush();
        if (m_socket.isEncrypted())
            m_socket.disconnectFromHost();
        else
            ::shutdown(int(m_socket.socketDescriptor()), SHUT_WR);
        while (m_socket.waitForReadyRead(-1))
            m_socket.readAll();
        throw Over();
    }

    const int m_number;
    Private &m_server;
    QSslSocket m_socket;
    QByteArrayList m_substitute; // a rule's words for the next reply
    QByteArray m_user;
    std::optional<ReceivedMessage> m_message; // from MAIL to DATA
    bool m_utf8 = false;
};

/// The rule to follow at a command line or a moment, if there is one; `text` is what the rule's
/// text is looked for in.
std::optional<ServerRule> SmtpServer::Private::ruleFor(const QByteArray &command,
                                                       const QByteArray &text, bool isMoment)
{
    const std::lock_guard lock(mutex);
    std::optional<ServerRule> found;
    for (ServerRule &rule : options.rules) {
        if (isMoment ? rule.command != command
                     : !command.toUpper().startsWith(rule.command.toUpper()))
            continue;
        if (!text.contains(rule.text))
            continue;
        if (rule.skip > 0) {
            --rule.skip;
        } else if (!found && rule.times != 0) {
            found = rule;
            --rule.times; // -1 never comes to 0
        }
    }
    return found;
}

void SmtpServer::Private::log(const QByteArray &line)
{
    const std::lock_guard lock(mutex);
    if (!options.store)
        transcript.append(line);
}

bool SmtpServer::Private::take(const ReceivedMessage &message)
{
    const std::lock_guard lock(mutex);
    if (options.store)
        return options.store(message);
    messages.append(message);
    return true;
}

void SmtpServer::Private::wait(std::optional<std::chrono::milliseconds> time)
{
    std::unique_lock lock(mutex);
    if (time)
        stopping.wait_for(lock, *time, [this] { return isStopping; });
    else
        stopping.wait(lock, [this] { return isStopping; });
}

void SmtpServer::Private::accept()
{
    for (;;) {
        const int descriptor = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard lock(mutex);
        if (descriptor < 0 || isStopping)
            return;
        // The session's socket closes its descriptor when it likes; this one is there for the
        // server's end, and stays until the session is over.
        const int link = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        links.insert(link);
        threads.emplace_back([this, descriptor, link, number = ++sessions] {
            try {
                Session(descriptor, number, *this).run();
            } catch (const Session::Over &) {
                // so every session ends
            }
            const std::lock_guard end(mutex);
            links.erase(link);
            ::close(link);
        });
    }
}

SmtpServer::SmtpServer(ServerOptions options)
    : d(std::make_unique<Private>())
{
    d->options = std::move(options);
    d->tls.setPeerVerifyMode(QSslSocket::VerifyNone); // clients have no certificates
    QFile key(d->options.keyFile);
    if (!key.fileName().isEmpty() && key.open(QIODevice::ReadOnly)) {
        d->tls.setLocalCertificateChain(QSslCertificate::fromPath(d->options.certificateFile));
        d->tls.setPrivateKey(QSslKey(&key, QSsl::Ec));
    }
    d->listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(d->listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(d->options.port);
    socklen_t size = sizeof address;
    auto *place = reinterpret_cast<sockaddr *>(&address);
    d->options.port = 0;
    if (::bind(d->listener, place, size) == 0 && ::listen(d->listener, SOMAXCONN) == 0 &&
        ::getsockname(d->listener, place, &size) == 0)
        d->options.port = ntohs(address.sin_port);
    d->threads.emplace_back([this] { d->accept(); });
}

SmtpServer::~SmtpServer()
{
    {
        const std::lock_guard lock(d->mutex);
        d->isStopping = true;
        d->stopping.notify_all();
        ::shutdown(d->listener, SHUT_RDWR);
        for (const int link : d->links)
            ::shutdown(link, SHUT_RDWR);
    }
    // The first is the one that adds others.
    for (std::thread &thread : d->threads)
        thread.join();
    ::close(d->listener);
}

quint16 SmtpServer::port() const
{
    return d->options.port;
}

QList<ReceivedMessage> SmtpServer::messages() const
{
    const std::lock_guard lock(d->mutex);
    return d->messages;
}

QByteArrayList SmtpServer::transcript() const
{
    const std::lock_guard lock(d->mutex);
    return d->transcript;
}

int SmtpServer::trips() const
{
    return d->trips;
}

int SmtpServer::sessions() const
{
    const std::lock_guard lock(d->mutex);
    return d->sessions;
}

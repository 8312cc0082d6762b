#include "smtpsession.h"

#include "serverstate.h"

#include <QSslConfiguration>
#include <QTimer>

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <utility>

namespace
{

// RFC 4954 asks for this much in a login; every other command is far shorter.
constexpr qsizetype longestLine = 12288;
constexpr qsizetype largestMessage = 50 << 20;

bool startsWith(const QByteArray &text, const char *upperPrefix)
{
    return qstrnicmp(text.constData(), upperPrefix, qstrlen(upperPrefix)) == 0;
}

bool isAscii(const QByteArray &text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return uchar(c) < 0x80; });
}

bool hasControl(const QByteArray &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return uchar(c) < 0x20 || uchar(c) == 0x7f; });
}

struct Path {
    QByteArray address;
    QByteArrayList parameters;
};

/// Reads `<address> PARAMETER PARAMETER`. A quoted local part may hold blanks and angle brackets.
std::optional<Path> readPath(const QByteArray &text)
{
    if (!text.startsWith('<'))
        return std::nullopt;
    bool quoted = false;
    for (qsizetype i = 1; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted && c == '\\') {
            ++i;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && c == '>') {
            const QByteArray rest = text.mid(i + 1);
            if (!rest.isEmpty() && !rest.startsWith(' '))
                return std::nullopt;
            const QByteArray words = rest.simplified();
            return Path{text.mid(1, i - 1), words.isEmpty() ? QByteArrayList() : words.split(' ')};
        } else if (!quoted && (c == ' ' || c == '<')) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

SmtpSession::SmtpSession(qintptr descriptor, ServerState &state, const QSslConfiguration &tls,
                         QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_options(state.options())
    , m_number(state.beginSession())
{
    connect(&m_socket, &QSslSocket::readyRead, this, &SmtpSession::receive);
    connect(&m_socket, &QSslSocket::disconnected, this, &SmtpSession::disconnected);
    m_socket.setSslConfiguration(tls);
    m_socket.setSocketDescriptor(descriptor);
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (m_options.implicitTls) {
        connect(&m_socket, &QSslSocket::encrypted, this, &SmtpSession::greet);
        m_socket.startServerEncryption();
    } else {
        greet();
    }
}

SmtpSession::~SmtpSession()
{
    // The socket's own end would call back into a session that is half gone.
    m_socket.disconnect(this);
}

void SmtpSession::greet()
{
    meet(m_state.ruleForMoment("CONNECT", {}), [this] { reply("220 localhost ESMTP ready"); });
    m_socket.flush();
}

void SmtpSession::receive()
{
    if (m_over) {
        m_socket.readAll();
        return;
    }
    m_input.append(m_socket.readAll());
    process();
}

void SmtpSession::process()
{
    while (!m_paused && !m_over) {
        const qsizetype end = m_input.indexOf('\n', m_searched);
        if (end < 0) {
            m_searched = m_input.size();
            break;
        }
        const qsizetype start = std::exchange(m_start, end + 1);
        m_searched = m_start;
        if (m_inData)
            dataLine(QByteArrayView(m_input).sliced(start, end + 1 - start));
        else
            commandLine(m_input.mid(start, end + 1 - start));
    }
    m_input.remove(0, m_start);
    m_searched -= m_start;
    m_start = 0;
    if (!m_inData && !m_paused && m_input.size() > longestLine) {
        m_lineTooLong = true;
        m_input.clear();
        m_searched = 0;
    }
    m_socket.flush();
}

void SmtpSession::commandLine(const QByteArray &line)
{
    if (std::exchange(m_lineTooLong, false) || line.size() > longestLine) {
        m_state.log("C: <line too long>");
        reply("500 5.5.2 Line too long");
        return;
    }
    const QByteArray command = line.chopped(line.endsWith("\r\n") ? 2 : 1);
    m_state.log("C: " + command);
    if (m_auth) {
        authResponse(command);
        return;
    }
    meet(m_state.ruleForLine(command), [this, line, command] {
        if (!line.endsWith("\r\n") || hasControl(command))
            reply("500 5.5.2 A line ends with CRLF and holds no other control character");
        else
            dispatch(command);
    });
}

void SmtpSession::dispatch(const QByteArray &line)
{
    struct Command {
        const char *verb;
        Handler handler;
    };
    static constexpr std::array commands{
        Command{"EHLO", &SmtpSession::ehlo}, Command{"HELO", &SmtpSession::helo},
        Command{"MAIL", &SmtpSession::mail}, Command{"RCPT", &SmtpSession::rcpt},
        Command{"DATA", &SmtpSession::data}, Command{"RSET", &SmtpSession::rset},
        Command{"NOOP", &SmtpSession::noop}, Command{"VRFY", &SmtpSession::vrfy},
        Command{"QUIT", &SmtpSession::quit}, Command{"STARTTLS", &SmtpSession::startTls},
        Command{"AUTH", &SmtpSession::auth},
    };
    const qsizetype blank = line.indexOf(' ');
    const QByteArray verb = (blank < 0 ? line : line.left(blank)).toUpper();
    for (const Command &command : commands) {
        if (verb == command.verb) {
            (this->*command.handler)(blank < 0 ? QByteArray() : line.mid(blank + 1).trimmed());
            return;
        }
    }
    reply("500 5.5.1 Unknown command");
}

void SmtpSession::meet(const ServerRule *rule, const std::function<void()> &ordinary)
{
    if (!rule) {
        ordinary();
    } else if (rule->delay.count() == 0) {
        apply(*rule, ordinary);
    } else {
        m_paused = true;
        QTimer::singleShot(rule->delay, this, [this, rule, ordinary] {
            m_paused = false;
            if (m_over)
                return;
            apply(*rule, ordinary);
            process();
        });
    }
}

void SmtpSession::apply(const ServerRule &rule, const std::function<void()> &ordinary)
{
    if (rule.action == ServerRule::Action::Drop) {
        drop();
    } else if (rule.action == ServerRule::Action::Stall) {
        m_paused = true;
    } else if (rule.reply.isEmpty()) {
        ordinary();
    } else if (const QByteArray &first = rule.reply.first();
               first.startsWith('2') || first.startsWith('3')) {
        m_substitute = rule.reply;
        ordinary();
        if (!m_substitute.isEmpty()) // a moment that has no answer of its own
            reply(QByteArrayList());
    } else {
        reply(rule.reply);
        if (first.startsWith("421")) {
            m_state.log("S: <drop>");
            close();
        }
    }
}

void SmtpSession::ehlo(const QByteArray &arguments)
{
    if (arguments.isEmpty()) {
        reply("501 5.5.4 EHLO needs a name");
        return;
    }
    resetTransaction();
    m_greeted = true;
    QByteArrayList words{"localhost", "PIPELINING", "8BITMIME", "ENHANCEDSTATUSCODES"};
    if (offersStartTls())
        words << "STARTTLS";
    if (offersAuth())
        words << "AUTH " + m_options.auth.join(' ');
    if (m_options.smtpUtf8)
        words << "SMTPUTF8";
    words << "SIZE " + QByteArray::number(largestMessage);
    for (QByteArray &word : words)
        word.prepend(&word == &words.last() ? "250 " : "250-");
    reply(words);
}

void SmtpSession::helo(const QByteArray &arguments)
{
    if (arguments.isEmpty()) {
        reply("501 5.5.4 HELO needs a name");
        return;
    }
    resetTransaction();
    m_greeted = true;
    reply("250 localhost");
}

void SmtpSession::mail(const QByteArray &arguments)
{
    if (!m_greeted || m_mailGiven) {
        reply(m_greeted ? "503 5.5.1 MAIL was already given" : "503 5.5.1 EHLO comes first");
        return;
    }
    const std::optional<Path> path =
        startsWith(arguments, "FROM:") ? readPath(arguments.mid(5)) : std::nullopt;
    if (!path) {
        reply("501 5.5.4 Expected MAIL FROM:<address>");
        return;
    }
    for (const QByteArray &parameter : path->parameters) {
        if (!takeMailParameter(parameter)) {
            resetTransaction();
            return;
        }
    }
    if (!m_utf8 && !isAscii(path->address)) {
        reply("553 5.6.7 This address needs SMTPUTF8");
        return;
    }
    m_mailGiven = true;
    m_message.sender = path->address;
    reply("250 2.1.0 Sender ok");
}

/// Answers and returns false when the parameter cannot be had.
bool SmtpSession::takeMailParameter(const QByteArray &parameter)
{
    const QByteArray upper = parameter.toUpper();
    if (upper.startsWith("SIZE=")) {
        bool isNumber = false;
        const qulonglong size = upper.mid(5).toULongLong(&isNumber);
        if (!isNumber)
            reply("501 5.5.4 SIZE needs a number");
        else if (size > qulonglong(largestMessage))
            reply("552 5.3.4 Message too large");
        else
            return true;
        return false;
    }
    if (upper == "SMTPUTF8" && m_options.smtpUtf8) {
        m_utf8 = true;
        return true;
    }
    if (upper == "BODY=7BIT" || upper == "BODY=8BITMIME" ||
        (upper.startsWith("AUTH=") && offersAuth()))
        return true;
    reply("555 5.5.4 Unknown parameter " + parameter);
    return false;
}

void SmtpSession::rcpt(const QByteArray &arguments)
{
    if (!m_mailGiven) {
        reply("503 5.5.1 MAIL comes first");
        return;
    }
    const std::optional<Path> path =
        startsWith(arguments, "TO:") ? readPath(arguments.mid(3)) : std::nullopt;
    if (!path || path->address.isEmpty()) {
        reply("501 5.5.4 Expected RCPT TO:<address>");
    } else if (!path->parameters.isEmpty()) {
        reply("555 5.5.4 Unknown parameter " + path->parameters.first());
    } else if (!m_utf8 && !isAscii(path->address)) {
        reply("553 5.6.7 This address needs SMTPUTF8");
    } else {
        m_message.recipients.append(path->address);
        reply("250 2.1.5 Recipient ok");
    }
}

void SmtpSession::data(const QByteArray &arguments)
{
    if (!arguments.isEmpty()) {
        reply("501 5.5.4 DATA takes no argument");
    } else if (m_message.recipients.isEmpty()) {
        reply(m_mailGiven ? "503 5.5.1 RCPT comes first" : "503 5.5.1 MAIL comes first");
    } else {
        m_inData = true;
        m_atLineStart = true;
        m_tooLarge = false;
        reply("354 End the message with a dot on a line of its own");
    }
}

void SmtpSession::dataLine(QByteArrayView line)
{
    const bool startsLine = std::exchange(m_atLineStart, line.endsWith("\r\n"));
    if (startsLine && line == ".\r\n") {
        endOfData();
        return;
    }
    const bool first = m_message.data.isEmpty() && !m_tooLarge;
    if (startsLine && line.startsWith('.'))
        line = line.sliced(1);
    if (m_message.data.size() + line.size() > largestMessage) {
        m_tooLarge = true;
        m_message.data.clear();
    }
    if (!m_tooLarge)
        m_message.data.append(line);
    if (first)
        meet(m_state.ruleForMoment("DATA-BODY", line.toByteArray()), [] {});
}

void SmtpSession::endOfData()
{
    ReceivedMessage message = std::exchange(m_message, {});
    resetTransaction();
    message.user = m_user;
    message.encrypted = m_socket.isEncrypted();
    message.session = m_number;
    meet(m_state.ruleForMoment("DATA-END", message.data), [this, message, tooLarge = m_tooLarge] {
        if (tooLarge)
            reply("552 5.3.4 Message too large");
        else if (m_state.take(message))
            reply("250 2.0.0 Message taken");
        else
            reply("452 4.3.1 The message could not be stored");
    });
}

void SmtpSession::rset(const QByteArray &)
{
    resetTransaction();
    reply("250 2.0.0 Ok");
}

void SmtpSession::noop(const QByteArray &)
{
    reply("250 2.0.0 Ok");
}

void SmtpSession::vrfy(const QByteArray &arguments)
{
    reply(arguments.isEmpty() ? "501 5.5.4 VRFY needs an address"
                              : "252 2.1.5 Send a message and see");
}

void SmtpSession::quit(const QByteArray &)
{
    reply("221 2.0.0 Goodbye");
    close();
}

void SmtpSession::startTls(const QByteArray &arguments)
{
    if (!arguments.isEmpty()) {
        reply("501 5.5.4 STARTTLS takes no argument");
    } else if (!offersStartTls()) {
        reply(m_socket.isEncrypted() ? "503 5.5.1 The link is encrypted already"
                                     : "502 5.5.1 STARTTLS is not offered");
    } else {
        reply("220 2.0.0 Go ahead");
        // Nothing that was said in the open counts any more (RFC 3207), nor what came too early.
        resetTransaction();
        m_greeted = false;
        m_user.clear();
        m_input.clear();
        m_start = m_searched = 0;
        m_socket.startServerEncryption();
    }
}

void SmtpSession::auth(const QByteArray &arguments)
{
    const QByteArrayList words = arguments.simplified().split(' ');
    const QByteArray mechanism = words.first().toUpper();
    if (m_options.auth.isEmpty()) {
        reply("502 5.5.1 AUTH is not offered");
    } else if (!offersAuth()) {
        reply("538 5.7.11 AUTH needs an encrypted link");
    } else if (!m_greeted || m_mailGiven || !m_user.isEmpty()) {
        reply("503 5.5.1 Not the time for AUTH");
    } else if (!m_options.auth.contains(mechanism)) {
        reply("504 5.5.4 Unknown mechanism");
    } else {
        m_auth.emplace(mechanism, m_options.user, m_options.password);
        if (words.size() == 1) {
            reply("334 " + m_auth->challenge().toBase64());
        } else if (words.size() > 2 || !m_auth->takesInitialResponse()) {
            m_auth.reset();
            reply("501 5.5.4 No such argument here");
        } else {
            // RFC 4954 writes an empty initial response as "=".
            authResponse(words[1] == "=" ? QByteArray() : words[1]);
        }
    }
}

void SmtpSession::authResponse(const QByteArray &encoded)
{
    const auto decoded =
        QByteArray::fromBase64Encoding(encoded, QByteArray::AbortOnBase64DecodingErrors);
    if (encoded == "*" || !decoded) {
        m_auth.reset();
        reply(encoded == "*" ? "501 5.7.0 Login abandoned" : "501 5.5.2 Not base64");
        return;
    }
    switch (m_auth->respond(*decoded)) {
    case AuthExchange::Verdict::Continue:
        reply("334 " + m_auth->challenge().toBase64());
        return;
    case AuthExchange::Verdict::Accepted:
        m_user = m_options.user;
        reply("235 2.7.0 Welcome");
        break;
    case AuthExchange::Verdict::Refused:
        reply("535 5.7.8 User name or password is wrong");
        break;
    }
    m_auth.reset();
}

bool SmtpSession::offersStartTls() const
{
    return m_options.startTls && !m_socket.isEncrypted();
}

bool SmtpSession::offersAuth() const
{
    return !m_options.auth.isEmpty() && (!m_options.authNeedsTls || m_socket.isEncrypted());
}

void SmtpSession::resetTransaction()
{
    m_message = {};
    m_mailGiven = false;
    m_utf8 = false;
    m_inData = false;
}

void SmtpSession::reply(const QByteArrayList &lines)
{
    const QByteArrayList substitute = std::exchange(m_substitute, {});
    for (const QByteArray &line : substitute.isEmpty() ? lines : substitute) {
        m_state.log("S: " + line);
        m_socket.write(line + "\r\n");
    }
}

/// Ends the connection after what has been written.
void SmtpSession::close()
{
    m_over = true;
    m_socket.flush();
    // Closing at once while the client still sends would reset the connection, and the client would
    // lose the answer it has not read yet; so only this side ends, and the client's end is awaited.
    // On an encrypted link TLS has to say goodbye first, which only a whole close does.
    if (m_socket.isEncrypted())
        m_socket.disconnectFromHost();
    else
        ::shutdown(int(m_socket.socketDescriptor()), SHUT_WR);
}

/// Breaks the connection off.
void SmtpSession::drop()
{
    m_state.log("S: <drop>");
    m_over = true;
    m_socket.flush();
    m_socket.abort();
}

void SmtpSession::disconnected()
{
    if (!std::exchange(m_over, true))
        m_state.log("C: <drop>");
    deleteLater();
}

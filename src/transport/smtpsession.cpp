#include "smtpsession.h"

#include <algorithm>
#include <span>

namespace
{

// Small enough that the progress moves and the window lives on a slow line.
constexpr qsizetype bytesInWrite = 128 * 1024;

constexpr int startOfMessage = 354;

bool isBeyondAscii(const QByteArray &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

/// The message as DATA carries it: a line that starts with a dot gets a second one.
QByteArray dotStuffed(QByteArray message)
{
    if (message.contains("\n."))
        message.replace("\n.", "\n..");
    return message;
}

} // namespace

SmtpSession::SmtpSession(Yield &yield, const Smtp::Times &times)
    : m_connection(yield, times)
{
}

QString SmtpSession::open(const SmtpAccount &account)
{
    if (isOpenFor(account))
        return {};
    m_connection.quit();
    MailHost host;
    if (const QString fault = readMailHost(account.host, host); !fault.isEmpty())
        return fault;
    if (account.login.wanted && account.login.user.isEmpty())
        return QStringLiteral("The login at %1 needs an account name").arg(host.name);
    emit connecting(host.name);
    if (!m_connection.open(host, account.login))
        return m_connection.fault();
    m_account = account;
    m_leftover = false;
    return {};
}

bool SmtpSession::isOpenFor(const SmtpAccount &account) const
{
    return m_connection.isOpen() && account == m_account;
}

QString SmtpSession::deliver(const SmtpAccount &account, const SmtpEnvelope &envelope,
                             const QByteArray &message, const QByteArray &parts)
{
    const QByteArray stuffed = dotStuffed(message);
    for (;;) {
        const bool openBefore = isOpenFor(account);
        if (const QString fault = open(account); !fault.isEmpty())
            return fault;
        QString fault;
        switch (begin(envelope, fault)) {
        case Start::Accepted:
            return sendData(stuffed, parts);
        case Start::Failed:
            return fault;
        case Start::Stale:
            m_connection.close();
            if (!openBefore)
                return fault;
        }
    }
}

/// Sends the commands before the message, all at once when the server allows it: most of the time
/// of a small message is waiting for replies.
SmtpSession::Start SmtpSession::begin(const SmtpEnvelope &envelope, QString &fault)
{
    const bool utf8 = isBeyondAscii(envelope.sender) || isBeyondAscii(envelope.recipient);
    if (utf8 && !m_connection.offersUtf8()) {
        fault = QStringLiteral("%1 does not take addresses with letters beyond ASCII before the @")
                    .arg(m_connection.serverName());
        return Start::Failed;
    }
    using namespace Smtp;
    const std::pair<Step, QByteArray> all[] = {
        {Reset, "RSET\r\n"},
        {Mail, "MAIL FROM:<" + envelope.sender + (utf8 ? "> BODY=8BITMIME SMTPUTF8\r\n" : ">\r\n")},
        {Rcpt, "RCPT TO:<" + envelope.recipient + ">\r\n"},
        {Data, "DATA\r\n"},
    };
    const auto commands = std::span(all).subspan(m_leftover ? 0 : 1);
    const bool together = m_connection.offersPipelining();
    if (together) {
        QByteArray lines;
        for (const auto &[step, line] : commands)
            lines += line;
        m_connection.write(lines);
    }
    for (const auto &[step, line] : commands) {
        if (!together)
            m_connection.write(line);
        const SmtpReply reply = m_connection.read(step);
        if (reply.code() == 0 || reply.code() == SmtpReply::serviceClosing) {
            // A refusal before the end says more than the end itself.
            if (fault.isEmpty())
                fault = reply.code() == 0
                            ? m_connection.fault() + QStringLiteral(" before the message")
                            : reply.text();
            m_connection.close();
            return step <= Mail && !m_connection.timedOut() ? Start::Stale : Start::Failed;
        }
        if (step == Reset && !reply.isPositive())
            return Start::Stale;
        // Such a reply belongs to another command, and so would all that follow.
        if (step == Data ? reply.isPositive() : reply.code() == startOfMessage) {
            fault = QStringLiteral("%1 answers out of step (%2)")
                        .arg(m_connection.serverName(), reply.text());
            m_connection.close();
            return Start::Failed;
        }
        if (step == Mail)
            m_leftover = reply.isPositive();
        if (step == Data && together && !fault.isEmpty() && reply.code() == startOfMessage)
            endUnwantedMessage();
        const bool accepted = step == Data ? reply.code() == startOfMessage : reply.isPositive();
        if (!accepted && fault.isEmpty())
            fault = reply.text();
        if (!together && !fault.isEmpty())
            break;
    }
    return fault.isEmpty() ? Start::Accepted : Start::Failed;
}

/// A server that has refused the recipient may still ask for the message when DATA was sent along.
/// It gets an empty one, which is for nobody.
void SmtpSession::endUnwantedMessage()
{
    m_connection.write(".\r\n");
    m_connection.read(Smtp::End);
}

QString SmtpSession::sendData(const QByteArray &message, const QByteArray &parts)
{
    const QByteArray end = ".\r\n";
    const qsizetype total = message.size() + parts.size() + end.size();
    qsizetype done = 0;
    bool written = true;
    if (parts.isEmpty()) {
        written = writeWithProgress(message + end, done, total);
    } else {
        // The parts can be large and are the same for everybody: they are not copied.
        for (const QByteArray &piece : {message, parts, end})
            written = written && writeWithProgress(piece, done, total);
    }
    if (!written)
        return m_connection.fault() + QStringLiteral(" in the middle of the message");
    const SmtpReply reply = m_connection.read(Smtp::End);
    if (reply.code() == 0)
        return m_connection.fault() +
               QStringLiteral(" after the whole message; it may have been delivered");
    m_leftover = false;
    if (reply.code() == SmtpReply::serviceClosing)
        m_connection.close();
    return reply.isPositive() ? QString() : reply.text();
}

bool SmtpSession::writeWithProgress(QByteArrayView bytes, qsizetype &done, qsizetype total)
{
    for (qsizetype at = 0; at < bytes.size(); at += bytesInWrite) {
        const qsizetype size = std::min(bytesInWrite, bytes.size() - at);
        if (!m_connection.write(bytes.sliced(at, size)))
            return false;
        m_connection.pace().step();
        done += size;
        emit progressed(static_cast<int>(done * 100 / total));
    }
    return true;
}

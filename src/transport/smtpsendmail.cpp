#include "smtpsendmail.h"

#include "addresscheck.h"

#include <QScopedValueRollback>

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

SmtpSendMail::SmtpSendMail(Yield &yield, QObject *parent, const Smtp::Times &times)
    : SendMail(parent)
    , m_connection(yield, times)
{
}

SmtpSendMail::Account SmtpSendMail::currentAccount() const
{
    if (!Authenticate)
        return {Host, false, {}, {}};
    return {Host, true, UserName, Password};
}

bool SmtpSendMail::Connect()
{
    if (m_busy)
        return false;
    const QScopedValueRollback busy(m_busy, true);
    const QString fault = ensureSession();
    emit Status(fault.isEmpty() ? QStringLiteral("Connected") : fault);
    return fault.isEmpty();
}

void SmtpSendMail::Disconnect()
{
    if (m_busy || !m_connection.isOpen())
        return;
    const QScopedValueRollback busy(m_busy, true);
    m_connection.quit();
    emit Status(QStringLiteral("Disconnected"));
}

void SmtpSendMail::Send()
{
    if (m_busy) {
        emit SendFailed(QStringLiteral("Another message is still being sent"));
        return;
    }
    const QScopedValueRollback busy(m_busy, true);
    const QString fault = sendOne();
    if (fault.isEmpty()) {
        emit SendSuccesful();
    } else {
        emit Status(fault);
        emit SendFailed(fault);
    }
}

QString SmtpSendMail::ensureSession()
{
    const Account account = currentAccount();
    if (m_connection.isOpen()) {
        if (account == m_account)
            return {};
        m_connection.quit();
    }
    MailHost host;
    if (const QString fault = readMailHost(Host, host); !fault.isEmpty())
        return fault;
    if (account.authenticate && account.userName.isEmpty())
        return QStringLiteral("The login at %1 needs an account name").arg(host.name);
    emit Status(QStringLiteral("Connecting to %1 ...").arg(host.name));
    if (!m_connection.open(host, {account.authenticate, account.userName, account.password}))
        return m_connection.fault();
    m_account = account;
    m_leftover = false;
    return {};
}

QString SmtpSendMail::sendOne()
{
    const auto rules = AddressCheck == 1 ? AddressRules::Shape : AddressRules::Always;
    if (const QString fault = addressFault(Recipient, rules); !fault.isEmpty())
        return QStringLiteral("The recipient address %1").arg(fault);
    if (const QString fault = addressFault(SenderAddress, AddressRules::Always); !fault.isEmpty())
        return QStringLiteral("The sender address %1").arg(fault);
    if (const QString fault = m_attachments.load(Attachments, m_connection.pace());
        !fault.isEmpty())
        return fault;

    const QByteArray sender = wireAddress(SenderAddress);
    const QByteArray recipient = wireAddress(Recipient);
    const QByteArray message = dotStuffed(m_composer.compose(
        {SenderName, sender, recipient, Subject, HtmlBody, Body}, m_attachments));
    m_connection.pace().step();
    return transmit(sender, recipient, message);
}

QString SmtpSendMail::transmit(const QByteArray &sender, const QByteArray &recipient,
                               const QByteArray &message)
{
    for (;;) {
        const bool openBefore = m_connection.isOpen() && currentAccount() == m_account;
        if (const QString fault = ensureSession(); !fault.isEmpty())
            return fault;
        QString fault;
        switch (begin(sender, recipient, fault)) {
        case Start::Accepted:
            return sendData(message);
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
SmtpSendMail::Start SmtpSendMail::begin(const QByteArray &sender, const QByteArray &recipient,
                                        QString &fault)
{
    const bool utf8 = isBeyondAscii(sender) || isBeyondAscii(recipient);
    if (utf8 && !m_connection.offersUtf8()) {
        fault = QStringLiteral("%1 does not take addresses with letters beyond ASCII before the @")
                    .arg(m_connection.serverName());
        return Start::Failed;
    }
    using namespace Smtp;
    const std::pair<Step, QByteArray> all[] = {
        {Reset, "RSET\r\n"},
        {Mail, "MAIL FROM:<" + sender + (utf8 ? "> BODY=8BITMIME SMTPUTF8\r\n" : ">\r\n")},
        {Rcpt, "RCPT TO:<" + recipient + ">\r\n"},
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
void SmtpSendMail::endUnwantedMessage()
{
    m_connection.write(".\r\n");
    m_connection.read(Smtp::End);
}

QString SmtpSendMail::sendData(const QByteArray &message)
{
    const QByteArray end = ".\r\n";
    const qsizetype total = message.size() + m_attachments.parts().size() + end.size();
    qsizetype done = 0;
    bool written = true;
    if (m_attachments.isEmpty()) {
        written = writeWithProgress(message + end, done, total);
    } else {
        // The parts can be large and are the same for everybody: they are not copied.
        for (const QByteArray &piece : {message, m_attachments.parts(), end})
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

bool SmtpSendMail::writeWithProgress(QByteArrayView bytes, qsizetype &done, qsizetype total)
{
    for (qsizetype at = 0; at < bytes.size(); at += bytesInWrite) {
        const qsizetype size = std::min(bytesInWrite, bytes.size() - at);
        if (!m_connection.write(bytes.sliced(at, size)))
            return false;
        m_connection.pace().step();
        done += size;
        emit Progress(static_cast<int>(done * 100 / total));
    }
    return true;
}

#include "smtpsendmail.h"

#include <QScopedValueRollback>

SmtpSendMail::SmtpSendMail(Yield &yield, QObject *parent, const Smtp::Times &times)
    : SendMail(parent)
    , m_session(yield, times)
{
    connect(&m_session, &SmtpSession::connecting, this, [this](const QString &server) {
        emit Status(QStringLiteral("Connecting to %1 ...").arg(server));
    });
    connect(&m_session, &SmtpSession::progressed, this, &SendMail::Progress);
}

SmtpAccount SmtpSendMail::account() const
{
    return {Host, Authenticate ? SmtpLogin{true, UserName, Password} : SmtpLogin()};
}

bool SmtpSendMail::Connect()
{
    if (m_busy)
        return false;
    const QScopedValueRollback busy(m_busy, true);
    m_sender.clear();
    SendResult fault;
    const bool isOpen = m_session.open(account(), fault);
    if (!isOpen)
        Result = fault;
    emit Status(isOpen ? QStringLiteral("Connected") : fault.explanation);
    return isOpen;
}

void SmtpSendMail::Disconnect()
{
    if (m_busy)
        return;
    const QScopedValueRollback busy(m_busy, true);
    const bool wasOpen = m_session.isOpen();
    m_session.quit(); // which also forgets what a lost session has left
    IsNextDue = false;
    if (wasOpen)
        emit Status(QStringLiteral("Disconnected"));
}

void SmtpSendMail::Send()
{
    if (m_busy) {
        emit SendFailed(QStringLiteral("Another message is still being sent"));
        return;
    }
    const QScopedValueRollback busy(m_busy, true);
    SendResult result = sendOne();
    IsNextDue = m_session.isNextDue();
    Result = std::move(result);
    if (Result.kind == SendResult::Kind::Sent) {
        emit SendSuccesful();
    } else {
        emit Status(Result.explanation);
        emit SendFailed(Result.explanation);
    }
}

/// Why the sender or the attachments, which are everybody's, cannot be used.
QString SmtpSendMail::checkValues()
{
    if (m_session.isOpen() && !m_sender.isEmpty() && SenderAddress == m_checkedSender &&
        Attachments == m_checkedAttachments)
        return {};
    m_sender.clear();
    if (const QString fault = addressFault(SenderAddress, AddressRules::Always); !fault.isEmpty())
        return QStringLiteral("The sender address %1").arg(fault);
    if (const QString fault = m_attachments.load(Attachments, m_session.pace()); !fault.isEmpty())
        return fault;
    m_checkedSender = SenderAddress;
    m_checkedAttachments = Attachments;
    m_sender = wireAddress(SenderAddress);
    return {};
}

SendResult SmtpSendMail::sendOne()
{
    SendResult fault;
    const auto rules = AddressCheck == 1 ? AddressRules::Shape : AddressRules::Always;
    if (const QString text = addressFault(Recipient, rules); !text.isEmpty())
        fault = {SendResult::Kind::Refused, QStringLiteral("The recipient address %1").arg(text)};
    else if (const QString reason = checkValues(); !reason.isEmpty())
        fault = {SendResult::Kind::NoSession, reason};
    if (fault.kind != SendResult::Kind::Sent) {
        m_session.takeBack();
        return fault;
    }

    SmtpMessage message{.envelope = {m_sender, wireAddress(Recipient)}, .isWanted = MessageDue};
    if (!Next.isEmpty() && addressFault(Next, rules).isEmpty())
        message.next = wireAddress(Next);
    message.text = m_composer.compose(
        {SenderName, m_sender, message.envelope.recipient, Subject, HtmlBody, Body, MessageId},
        m_attachments);
    message.parts = m_attachments.parts();
    m_session.pace().step();
    return m_session.deliver(account(), std::move(message));
}

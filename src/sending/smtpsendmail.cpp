#include "smtpsendmail.h"

#include "addresscheck.h"

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
    const QString fault = m_session.open(account());
    emit Status(fault.isEmpty() ? QStringLiteral("Connected") : fault);
    return fault.isEmpty();
}

void SmtpSendMail::Disconnect()
{
    if (m_busy || !m_session.isOpen())
        return;
    const QScopedValueRollback busy(m_busy, true);
    m_session.quit();
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

QString SmtpSendMail::sendOne()
{
    const auto rules = AddressCheck == 1 ? AddressRules::Shape : AddressRules::Always;
    if (const QString fault = addressFault(Recipient, rules); !fault.isEmpty())
        return QStringLiteral("The recipient address %1").arg(fault);
    if (const QString fault = addressFault(SenderAddress, AddressRules::Always); !fault.isEmpty())
        return QStringLiteral("The sender address %1").arg(fault);
    if (const QString fault = m_attachments.load(Attachments, m_session.pace()); !fault.isEmpty())
        return fault;

    const QByteArray sender = wireAddress(SenderAddress);
    const QByteArray recipient = wireAddress(Recipient);
    const QByteArray message =
        m_composer.compose({SenderName, sender, recipient, Subject, HtmlBody, Body}, m_attachments);
    m_session.pace().step();
    return m_session.deliver(account(), {sender, recipient}, message, m_attachments.parts());
}

#include "testsend.h"

#include "messagestore.h"

#include "operator.h"
#include "sendmail.h"
#include "settings.h"

namespace
{

/// What of a failure's explanation is shown.
constexpr qsizetype maxFailure = 255;

} // namespace

TestSend::TestSend(SendMail &mail, const LiveSettings &settings, Operator &op)
    : m_mail(mail)
    , m_settings(settings)
    , m_operator(op)
{
    connect(&m_mail, &SendMail::SendFailed, this, [this](const QString &explanation) {
        m_failures += QString(explanation).remove(QLatin1Char('"')).left(maxFailure);
    });
}

TestSend::Obstacle TestSend::check(const JobMessage &message, const QString &address) const
{
    if (address.isEmpty()) {
        m_operator.tell(QStringLiteral("Please enter email address !"));
        return Obstacle::NoAddress;
    }
    // A domain without a dot is right for a server nearby.
    const qsizetype at = address.lastIndexOf(QLatin1Char('@'));
    if (at < 1 || at == address.size() - 1) {
        m_operator.tell(QStringLiteral("\"%1\" is not an email address. Enter one like "
                                       "name@example.org.")
                            .arg(address));
        return Obstacle::NoAddress;
    }
    if (m_settings.current().smtpServer.isEmpty()) {
        m_operator.tell(QStringLiteral(
            "Please enter the SMTP server address in the Option window and send again !"));
        return Obstacle::NoServer;
    }
    if (const QString path = message.missingAttachment(); !path.isEmpty()) {
        m_operator.tell(QStringLiteral("Attachment not found : %1 !").arg(path));
        return Obstacle::MissingAttachment;
    }
    return Obstacle::None;
}

bool TestSend::send(const JobMessage &message, const QString &address)
{
    m_failures.clear();
    try {
        setValues(message, address);
        m_mail.Send();
        m_mail.Disconnect();
    } catch (const std::exception &e) {
        m_failures += QString::fromUtf8(e.what());
    }
    // Told after the session's end, which would not wait until the message was read.
    for (const QString &failure : m_failures)
        m_operator.tell(failure);
    return m_failures.isEmpty();
}

/// The address check stays as the last run has set it.
void TestSend::setValues(const JobMessage &message, const QString &address)
{
    const Settings settings = m_settings.current();
    m_mail.Host = settings.smtpServer;
    m_mail.SenderAddress = message.senderAddress;
    m_mail.SenderName = message.senderName;
    m_mail.Recipient = address;
    m_mail.Subject = message.subject;
    m_mail.Attachments = message.attachmentPaths().join(QLatin1Char(';'));
    // A message without a format is HTML here, though a run sends it as plain text.
    m_mail.HtmlBody = message.format != QLatin1String("TEXT");
    m_mail.Authenticate = settings.requireLogon;
    if (settings.requireLogon) {
        m_mail.UserName = settings.account;
        m_mail.Password = settings.password;
    }
    m_mail.Body = message.body;
}

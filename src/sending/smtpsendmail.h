#pragma once

#include "addresscheck.h"
#include "attachmentparts.h"
#include "composition.h"
#include "sendmail.h"
#include "smtpsession.h"

/// The mail component on a real SMTP server: makes the letters and has a session deliver them.
class SmtpSendMail final : public SendMail
{
    Q_OBJECT

public:
    /// `times`: how long each step of a session may take. `yield` runs at least every 16 ms while
    /// an operation waits or works. An operation that is called from inside it is turned away.
    explicit SmtpSendMail(Yield &yield, QObject *parent = nullptr,
                          const Smtp::Times &times = Smtp::times);

    bool Connect() override;
    void Send() override;
    void Disconnect() override;

private:
    SmtpAccount account() const;
    QString checkValues();
    SendResult sendOne();

    SmtpSession m_session;
    Composer m_composer;
    AttachmentParts m_attachments;
    QString m_checkedSender;
    QString m_checkedAttachments;
    QByteArray m_sender; ///< as it goes over the wire; empty where the values are to be checked
    bool m_busy = false;
};

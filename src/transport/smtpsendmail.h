#pragma once

#include "attachmentparts.h"
#include "composition.h"
#include "sendmail.h"
#include "smtpconnection.h"

/// The mail component on a real SMTP server.
///
/// One session serves all messages until Disconnect; it is opened anew when the server has dropped
/// it or when the values it was opened with have changed. A message is never sent twice: once its
/// final dot may have reached the server, a lost reply is a failure.
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
    /// The values a session is opened with.
    struct Account {
        QString host;
        bool authenticate = false;
        QString userName;
        QString password;

        bool operator==(const Account &) const = default;
    };

    enum class Start {
        Accepted, ///< the server waits for the message
        Failed,
        Stale ///< the session had ended before the message; a new one can take it
    };

    Account currentAccount() const;
    /// Makes sure that a session with the current values is open. Returns the reason when not.
    QString ensureSession();
    QString sendOne();
    QString transmit(const QByteArray &sender, const QByteArray &recipient,
                     const QByteArray &message);
    Start begin(const QByteArray &sender, const QByteArray &recipient, QString &fault);
    void endUnwantedMessage();
    QString sendData(const QByteArray &message);
    bool writeWithProgress(QByteArrayView bytes, qsizetype &done, qsizetype total);

    SmtpConnection m_connection;
    Account m_account; ///< of the open session
    Composer m_composer;
    AttachmentParts m_attachments;
    bool m_leftover = false; ///< the server may still hold a sender or recipient
    bool m_busy = false;
};

#pragma once

#include "smtpconnection.h"

#include <QObject>

/// The values that a session is opened with; `host` as the operator has typed it.
struct SmtpAccount {
    QString host;
    SmtpLogin login;

    bool operator==(const SmtpAccount &) const = default;
};

/// Both as wireAddress() writes them.
struct SmtpEnvelope {
    QByteArray sender;
    QByteArray recipient;
};

/// Delivers messages to a mail server, one after the other.
///
/// One session serves all of them; it is opened anew when the server has dropped it or when the
/// values it was opened with have changed. A message is never sent twice: once its final dot may
/// have reached the server, a lost reply is a failure.
class SmtpSession final : public QObject
{
    Q_OBJECT

public:
    /// `yield` runs at least every 16 ms while an operation waits.
    explicit SmtpSession(Yield &yield, const Smtp::Times &times = Smtp::times);

    /// Makes sure that a session with these values is open. Returns the reason when not.
    QString open(const SmtpAccount &account);
    bool isOpen() const { return m_connection.isOpen(); }
    /// Says goodbye.
    void quit() { m_connection.quit(); }

    /// Delivers a message, whose lines end in CRLF, with `parts` behind it, none of whose lines
    /// starts with a dot. Opens the session where it is not open. Returns the reason when the
    /// message was not delivered.
    QString deliver(const SmtpAccount &account, const SmtpEnvelope &envelope,
                    const QByteArray &message, const QByteArray &parts);

    Pace &pace() { return m_connection.pace(); }

signals:
    void connecting(const QString &server);
    /// How much of the message was sent, from 0 to 100.
    void progressed(int percent);

private:
    enum class Start {
        Accepted, ///< the server waits for the message
        Failed,
        Stale ///< the session had ended before the message; a new one can take it
    };

    bool isOpenFor(const SmtpAccount &account) const;
    Start begin(const SmtpEnvelope &envelope, QString &fault);
    void endUnwantedMessage();
    QString sendData(const QByteArray &message, const QByteArray &parts);
    bool writeWithProgress(QByteArrayView bytes, qsizetype &done, qsizetype total);

    SmtpConnection m_connection;
    SmtpAccount m_account;   ///< of the open session
    bool m_leftover = false; ///< the server may still hold a sender or recipient
};

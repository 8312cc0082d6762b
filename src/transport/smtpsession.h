#pragma once

#include "sendmail.h"
#include "smtpconnection.h"

#include <QList>

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

    bool operator==(const SmtpEnvelope &) const = default;
};

/// What one delivery takes.
struct SmtpMessage {
    SmtpEnvelope envelope;
    QByteArray next = {};  ///< the recipient of the delivery after this one; empty for not known
    QByteArray text = {};  ///< its lines end in CRLF
    QByteArray parts = {}; ///< what stands behind the text; none of its lines starts with a dot
    /// Asked before the first byte of the text goes out; false: the link is closed instead.
    std::function<bool()> isWanted = {};
};

/// Delivers messages to a mail server, one after the other; smtpsession.cpp says how.
class SmtpSession final : public QObject
{
    Q_OBJECT

public:
    /// `yield` runs at least every 16 ms while an operation waits.
    explicit SmtpSession(Yield &yield, const Smtp::Times &times = Smtp::times);

    /// Makes sure that a session with these values is open. `fault` is why it is not.
    bool open(const SmtpAccount &account, SendResult &fault);
    bool isOpen() const { return m_connection.isOpen(); }
    /// Says goodbye, or nothing where the server waits for a message.
    void quit();

    /// Makes an announced recipient one that was not: nobody gets an empty message.
    void takeBack();

    /// Delivers a message. Opens the session where it is not open.
    SendResult deliver(const SmtpAccount &account, SmtpMessage message);
    /// Whether the server is known to wait for the message to the last one's `next`.
    bool isNextDue() const { return m_ahead.state == Asked::Due; }

    Pace &pace() { return m_connection.pace(); }

signals:
    void connecting(const QString &server);
    /// How much of the message was sent, from 0 to 100.
    void progressed(int percent);

private:
    /// How many commands go out together.
    enum class Grouping { OneTrip, TwoTrips, Plain };

    /// An envelope, and what the server has made of it.
    struct Asked {
        enum State {
            Not,    ///< it knows nothing of it
            Taken,  ///< the recipient is accepted, DATA not answered yet
            Due,    ///< it waits for the message
            Failed, ///< `result` says why
            Stale,  ///< the session had ended before it; a new one can take it
            Again   ///< the replies did not fit; it is to be asked for in another way
        };
        SmtpEnvelope envelope;
        State state = Not;
        SendResult result = {};
    };

    bool isOpenFor(const SmtpAccount &account) const;
    Grouping grouping() const;
    bool needsUtf8(const SmtpEnvelope &envelope) const;

    void say(Smtp::Step step, const SmtpEnvelope &envelope);
    void ask(Asked &asked);
    bool write(SmtpMessage &message);

    bool receive(Asked &asked, bool isPatient = true);
    void accept(Asked &asked, Smtp::Step step);
    void refuse(Asked &asked, Smtp::Step step, const SmtpReply &reply);
    void lose(Asked &asked, Smtp::Step step, const SmtpReply &reply);
    void getOutOfStep(Asked &asked, Smtp::Step step, const SmtpReply &reply);
    SendResult receiveEnd(bool isDotOut);
    SendResult ended(SendResult::Kind kind, const SmtpReply &reply, const char *when) const;

    SendResult sendMessage(SmtpMessage &message);

    SmtpConnection m_connection;
    SmtpAccount m_account; ///< of the open session, or of the last one

    QByteArray m_lines;          ///< to go out together
    QList<Smtp::Step> m_awaited; ///< whose replies are owed
    bool m_isBehindDot = false;  ///< these are for commands sent with the dot
    Asked m_ahead;               ///< what was asked for with the last message

    // What this server has taught.
    Grouping m_grouping = Grouping::OneTrip;
    int m_refusals = 0;      ///< of recipients, in a row
    bool m_leftover = false; ///< it holds the sender of a recipient that it has refused
};

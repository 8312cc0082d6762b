#pragma once

#include "smtpserver.h"

#include <QMutex>

/// What the sessions of one server share: its options, how far its rules are used up, and the
/// record of what happened. The record may be read from any thread, all else belongs to the
/// server's thread.
class ServerState
{
public:
    explicit ServerState(ServerOptions options);

    const ServerOptions &options() const { return m_options; }

    /// The rule to apply to a command line; null when the ordinary answer is due. Every call counts
    /// as one matching line for the rules' `skip` and `times`.
    const ServerRule *ruleForLine(const QByteArray &line);
    /// The same for CONNECT, DATA-BODY and DATA-END; `text` is what a rule's text is looked for in.
    const ServerRule *ruleForMoment(const QByteArray &moment, const QByteArray &text);

    /// Counts a connection and returns its number, from 1.
    int beginSession();
    void log(const QByteArray &line);
    /// Keeps or stores the message; false when it could not be stored.
    bool take(const ReceivedMessage &message);

    QList<ReceivedMessage> messages() const;
    QByteArrayList transcript() const;
    int sessions() const;

private:
    struct Usage {
        int skip;
        int times;
    };

    template <typename Meets>
    const ServerRule *nextRule(Meets meets);

    const ServerOptions m_options;
    QList<Usage> m_usage; // one for each rule

    mutable QMutex m_mutex; // guards the record below
    QList<ReceivedMessage> m_messages;
    QByteArrayList m_transcript;
    int m_sessions = 0;
};

#pragma once

#include "authexchange.h"
#include "smtpserver.h"

#include <QObject>
#include <QSslSocket>

#include <functional>
#include <optional>

class QSslConfiguration;
class ServerState;

/// One client's conversation with the server. Lives in the server's thread and deletes itself when
/// the connection has ended.
class SmtpSession : public QObject
{
public:
    /// Takes over the connection `descriptor`. `tls` is null when the server has no certificate.
    SmtpSession(qintptr descriptor, ServerState &state, const QSslConfiguration &tls,
                QObject *parent);
    ~SmtpSession() override;

private:
    using Handler = void (SmtpSession::*)(const QByteArray &arguments);

    void greet();
    void receive();
    void process();
    void commandLine(const QByteArray &line);
    void dispatch(const QByteArray &line);
    void dataLine(QByteArrayView line);
    void endOfData();

    void meet(const ServerRule *rule, const std::function<void()> &ordinary);
    void apply(const ServerRule &rule, const std::function<void()> &ordinary);

    void ehlo(const QByteArray &arguments);
    void helo(const QByteArray &arguments);
    void mail(const QByteArray &arguments);
    void rcpt(const QByteArray &arguments);
    void data(const QByteArray &arguments);
    void rset(const QByteArray &arguments);
    void noop(const QByteArray &arguments);
    void vrfy(const QByteArray &arguments);
    void quit(const QByteArray &arguments);
    void startTls(const QByteArray &arguments);
    void auth(const QByteArray &arguments);
    void authResponse(const QByteArray &encoded);

    bool offersStartTls() const;
    bool offersAuth() const;
    bool takeMailParameter(const QByteArray &parameter);
    void resetTransaction();

    void reply(const QByteArrayList &lines);
    void reply(const QByteArray &line) { reply(QByteArrayList{line}); }
    void close();
    void drop();
    void disconnected();

    ServerState &m_state;
    const ServerOptions &m_options;
    const int m_number;

    QByteArray m_input;       // what has come and is not yet handled starts at m_start
    qsizetype m_start = 0;    //
    qsizetype m_searched = 0; // up to here there is no line end; saves searching a long line again
    bool m_lineTooLong = false;  // the rest of the present line is thrown away
    bool m_paused = false;       // a rule delays or stalls: what comes waits in m_input
    bool m_over = false;         // the conversation has ended, whatever still comes
    QByteArrayList m_substitute; // a rule's words for the next reply

    bool m_greeted = false;
    std::optional<AuthExchange> m_auth; // while a login is under way
    QByteArray m_user;

    bool m_mailGiven = false;
    bool m_utf8 = false; // this transaction's MAIL asked for SMTPUTF8
    ReceivedMessage m_message;
    bool m_inData = false;
    bool m_atLineStart = true; // in data: the last line ended with CRLF
    bool m_tooLarge = false;

    QSslSocket m_socket;
};

#pragma once

#include <QByteArrayList>
#include <QSslSocket>

/// What a script asked for and what came, both as the server's transcript puts it.
struct Conversation {
    QByteArrayList expected;
    QByteArrayList happened;
};

/// An SMTP client that sends exactly what it is told, right or wrong.
class ScriptedClient
{
public:
    explicit ScriptedClient(quint16 port);

    void write(const QByteArray &bytes);
    /// The server's next line without its CRLF; "<drop>" at the connection's end.
    QByteArray line();
    /// The last line of the server's next answer.
    QByteArray answer();
    /// Sends the command and returns the last line of the answer.
    QByteArray say(const QByteArray &command);
    /// Sends a message whose data is `wire` as it is, and returns the answer to the final dot.
    QByteArray send(const QByteArray &wire);
    /// Turns on TLS; false when the server's certificate for localhost is not what `caFile` signed.
    bool encrypt(const QString &caFile);

    /// Plays a script of lines `command | answer / answer`; a line without a bar is a line of
    /// data, "<drop>" hangs up. Of an answer only as much is looked at as the script writes down.
    Conversation converse(const QByteArray &script);

private:
    QSslSocket m_socket;
};

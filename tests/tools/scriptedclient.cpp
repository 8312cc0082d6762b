#include "scriptedclient.h"

#include <QSslConfiguration>

ScriptedClient::ScriptedClient(quint16 port)
{
    m_socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    m_socket.waitForConnected();
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

void ScriptedClient::write(const QByteArray &bytes)
{
    m_socket.write(bytes);
    m_socket.flush();
}

QByteArray ScriptedClient::line()
{
    while (!m_socket.canReadLine() && m_socket.waitForReadyRead()) {
    }
    if (!m_socket.canReadLine())
        return m_socket.state() == QAbstractSocket::UnconnectedState ? "<drop>" : "<nothing>";
    return m_socket.readLine().chopped(2);
}

QByteArray ScriptedClient::answer()
{
    QByteArray last = line();
    while (last.size() > 3 && last[3] == '-')
        last = line();
    return last;
}

QByteArray ScriptedClient::say(const QByteArray &command)
{
    write(command + "\r\n");
    return answer();
}

QByteArray ScriptedClient::send(const QByteArray &wire)
{
    say("MAIL FROM:<a@x.org>");
    say("RCPT TO:<b@x.org>");
    say("DATA");
    return say(wire + ".");
}

bool ScriptedClient::encrypt(const QString &caFile)
{
    QSslConfiguration tls = m_socket.sslConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(caFile));
    m_socket.setSslConfiguration(tls);
    m_socket.setPeerVerifyName(QStringLiteral("localhost"));
    m_socket.startClientEncryption();
    return m_socket.waitForEncrypted();
}

Conversation ScriptedClient::converse(const QByteArray &script)
{
    Conversation played;
    for (const QByteArray &step : script.trimmed().split('\n')) {
        const QByteArray said = step.left(step.indexOf('|')).trimmed();
        if (!step.contains('|')) {
            write(step.trimmed() + "\r\n");
            continue;
        }
        if (said == "<drop>")
            m_socket.disconnectFromHost();
        else if (!said.isEmpty())
            write(said + "\r\n");
        if (!said.isEmpty() && said != ".") {
            played.expected << "C: " + said;
            played.happened << "C: " + said;
        }
        QByteArray answers = step.mid(step.indexOf('|') + 1).trimmed();
        for (const QByteArray &part : answers.replace(" / ", "\n").split('\n')) {
            if (part.isEmpty())
                continue;
            played.expected << "S: " + part;
            played.happened << "S: " + line().left(part.size());
        }
    }
    return played;
}

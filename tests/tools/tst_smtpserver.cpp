#include "smtpserver.h"
#include "testcertificates.h"

#include <QDir>
#include <QMessageAuthenticationCode>
#include <QProcess>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTest>

#include <memory>

using Action = ServerRule::Action;
using namespace std::chrono_literals;

namespace
{

/// A client that sends exactly what it is told.
class Client
{
public:
    explicit Client(quint16 port)
    {
        m_socket.connectToHost(QStringLiteral("127.0.0.1"), port);
        m_socket.waitForConnected();
        m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    }

    void write(const QByteArray &bytes)
    {
        m_socket.write(bytes);
        m_socket.flush();
    }

    /// The next line without its CRLF; "<drop>" at the connection's end.
    QByteArray line()
    {
        while (!m_socket.canReadLine() && m_socket.waitForReadyRead()) {
        }
        if (!m_socket.canReadLine())
            return m_socket.state() == QAbstractSocket::UnconnectedState ? "<drop>" : "<nothing>";
        return m_socket.readLine().chopped(2);
    }

    /// Sends the command, if there is one, and returns the last line of the answer.
    QByteArray say(const QByteArray &command)
    {
        if (!command.isNull())
            write(command + "\r\n");
        QByteArray last = line();
        while (last.size() > 3 && last[3] == '-')
            last = line();
        return last;
    }

    void hangUp() { m_socket.disconnectFromHost(); }

    bool encrypt(const QString &caFile)
    {
        QSslConfiguration tls = m_socket.sslConfiguration();
        tls.setCaCertificates(QSslCertificate::fromPath(caFile));
        m_socket.setSslConfiguration(tls);
        m_socket.setPeerVerifyName(QStringLiteral("localhost"));
        m_socket.startClientEncryption();
        return m_socket.waitForEncrypted();
    }

    QList<QSslError::SslError> tlsErrors() const
    {
        QList<QSslError::SslError> errors;
        for (const QSslError &error : m_socket.sslHandshakeErrors())
            errors << error.error();
        return errors;
    }

private:
    QSslSocket m_socket;
};

/// Plays a script: "C: " is sent, "S: " is expected, "D: " is a line of data to send.
/// Returns the script with the answers that really came, as far as the script wrote them down.
QByteArrayList converse(Client &client, const QByteArrayList &script)
{
    QByteArrayList happened;
    for (const QByteArray &step : script) {
        if (step.startsWith("S: ")) {
            happened << ("S: " + client.line()).left(step.size());
            continue;
        }
        happened << step;
        if (step == "C: <drop>")
            client.hangUp();
        else
            client.write(step.mid(3) + "\r\n");
    }
    return happened;
}

/// The transcript a script must leave; the server's lines are cut to what the script wrote down.
void compareTranscript(const SmtpServer &server, QByteArrayList script)
{
    script.removeIf([](const QByteArray &step) { return step.startsWith("D: "); });
    if (script.contains("C: QUIT"))
        script.removeOne("S: <drop>"); // a connection that ends as it should
    QTRY_COMPARE(server.transcript().size(), script.size());
    QByteArrayList transcript = server.transcript();
    for (qsizetype i = 0; i < script.size(); ++i) {
        if (script[i].startsWith("S: "))
            transcript[i].truncate(script[i].size());
    }
    QCOMPARE(transcript, script);
}

/// Lets the client send a message whose body is `wire`, and returns the answer to the final dot.
QByteArray sendMessage(Client &client, const QByteArray &recipient, const QByteArray &wire)
{
    client.say("MAIL FROM:<from@example.org>");
    client.say("RCPT TO:<" + recipient + ">");
    client.say("DATA");
    return client.say(wire + ".");
}

ServerOptions withRules(const QList<ServerRule> &rules)
{
    ServerOptions options;
    options.rules = rules;
    return options;
}

} // namespace

class TestSmtpServer : public QObject
{
    Q_OBJECT

private slots:
    void conversation_data();
    void conversation();
    void rules_data();
    void rules();
    void longLines();
    void pipelining();
    void dots_data();
    void dots();
    void largeMessage();
    void login_data();
    void login();
    void certificate_data();
    void certificate();
    void implicitTls();
    void store();
    void openConnectionsEndWithTheServer();
    void catcher();
    void catcherRefusesBadArguments_data();
    void catcherRefusesBadArguments();

private:
    void playRow();
    ServerOptions tlsOptions(const QString &certificateFile) const;

    const TestCertificates m_certificates;
};

/// Plays the present row's script against a server with the row's options.
void TestSmtpServer::playRow()
{
    QFETCH(const ServerOptions, options);
    QFETCH(const QByteArray, script);
    QFETCH(const QByteArrayList, taken);
    const QByteArrayList steps = script.trimmed().split('\n');
    const SmtpServer server(options);
    Client client(server.port());
    QCOMPARE(converse(client, steps), steps);
    compareTranscript(server, steps);

    QByteArrayList messages;
    for (const ReceivedMessage &message : server.messages())
        messages << message.sender + '>' + message.recipients.join(',') + ':' + message.data;
    QCOMPARE(messages, taken);
}

void TestSmtpServer::conversation_data()
{
    QTest::addColumn<ServerOptions>("options");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArrayList>("taken");
    const auto row = [](const char *name, const ServerOptions &options, const char *script,
                        const QByteArrayList &taken = {}) {
        QTest::newRow(name) << options << QByteArray(script) << taken;
    };
    ServerOptions open;
    open.auth = {"PLAIN", "CRAM-MD5"};
    open.smtpUtf8 = true;

    row("two messages", {}, R"(
S: 220 localhost
C: ehlo me
S: 250-localhost
S: 250-PIPELINING
S: 250-8BITMIME
S: 250-ENHANCEDSTATUSCODES
S: 250 SIZE 52428800
C: mail from:<a@x.org> size=100 body=8bitmime
S: 250
C: rcpt to:<b@x.org>
S: 250
C: RCPT TO:<c@x.org>
S: 250
C: DATA
S: 354
D: Hi
D: .
S: 250
C: MAIL FROM:<>
S: 250
C: RCPT TO:<"d e>"@x.org>
S: 250
C: DATA
S: 354
D: .
S: 250
C: QUIT
S: 221
S: <drop>)",
        {"a@x.org>b@x.org,c@x.org:Hi\r\n", ">\"d e>\"@x.org:"});
    row("extensions", open, R"(
S: 220
C: EHLO me
S: 250-localhost
S: 250-PIPELINING
S: 250-8BITMIME
S: 250-ENHANCEDSTATUSCODES
S: 250-AUTH PLAIN CRAM-MD5
S: 250-SMTPUTF8
S: 250 SIZE
C: MAIL FROM:<ä@x.org> SMTPUTF8 AUTH=<>
S: 250
C: RCPT TO:<ö@x.org>
S: 250
C: AUTH PLAIN
S: 503
C: DATA
S: 354
D: .
S: 250
C: MAIL FROM:<a@x.org>
S: 250
C: RCPT TO:<ö@x.org>
S: 553)",
        {"ä@x.org>ö@x.org:"});

    row("out of order", {}, R"(
S: 220
C: MAIL FROM:<a@x.org>
S: 503
C: EHLO
S: 501
C: HELO me
S: 250 localhost
C: RCPT TO:<a@x.org>
S: 503
C: DATA
S: 503
C: MAIL FROM:<a@x.org>
S: 250
C: DATA
S: 503
C: MAIL FROM:<b@x.org>
S: 503
C: RCPT TO:<c@x.org>
S: 250
C: RSET
S: 250
C: DATA
S: 503
C: MAIL FROM:<d@x.org>
S: 250
C: EHLO me
S: 250-localhost
S: 250-PIPELINING
S: 250-8BITMIME
S: 250-ENHANCEDSTATUSCODES
S: 250 SIZE
C: RCPT TO:<e@x.org>
S: 503)");

    row("not understood", {}, R"(
S: 220
C: HELO me
S: 250
C: HELLO
S: 500
C: MAIL FROM: <a@x.org>
S: 501
C: MAIL FROM:<a b@x.org>
S: 501
C: MAIL FROM:<a@x.org>SIZE=1
S: 501
C: MAIL FROM:<a@x.org
S: 501
C: MAIL FROM:<a@x.org> SIZE=60000000
S: 552
C: MAIL FROM:<a@x.org> SMTPUTF8
S: 555
C: MAIL FROM:<ä@x.org>
S: 553
C: MAIL FROM:<a@x.org>
S: 250
C: RCPT TO:<>
S: 501
C: RCPT TO:<ä@x.org>
S: 553
C: RCPT TO:<b@x.org> SIZE=1
S: 555
C: RCPT TO:<b@x.org>
S: 250
C: DATA now
S: 501
C: STARTTLS
S: 502
C: AUTH PLAIN AHUAcA==
S: 502
C: VRFY a
S: 252
C: <drop>)");
}

void TestSmtpServer::conversation()
{
    playRow();
}

void TestSmtpServer::rules_data()
{
    QTest::addColumn<ServerOptions>("options");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArrayList>("taken");
    const auto row = [](const char *name, const QList<ServerRule> &rules, const char *script,
                        const QByteArrayList &taken = {}) {
        QTest::newRow(name) << withRules(rules) << QByteArray(script) << taken;
    };

    row("refused recipients",
        {{.command = "rcpt", .text = "no", .reply = {"550-5.1.1 No", "550 such"}}},
        R"(
S: 220
C: HELO me
S: 250
C: MAIL FROM:<no@x.org>
S: 250
C: RCPT TO:<no@x.org>
S: 550-5.1.1 No
S: 550 such
C: DATA
S: 503
C: RCPT TO:<yes@x.org>
S: 250
C: DATA
S: 354
D: .
S: 250)",
        {"no@x.org>yes@x.org:"});

    row("skip and times",
        {{.command = "NOOP", .reply = {"451 first"}, .times = 1},
         {.command = "NOOP", .reply = {"452 third"}, .skip = 2, .times = 1},
         {.command = "N", .reply = {"453 others"}, .skip = 3}},
        R"(
S: 220
C: NOOP
S: 451 first
C: NOOP
S: 250
C: NOOP
S: 452 third
C: NOOP
S: 453 others
C: NOOP
S: 453 others)");

    row("other words for the same",
        {{.command = "EHLO", .reply = {"250-mine", "250 SIZE 7"}},
         {.command = "RCPT", .reply = {"251 forwarded"}},
         {.command = "DATA", .reply = {"354 go"}},
         {.command = "DATA-END", .reply = {"250 queued as 1"}},
         {.command = "QUIT", .reply = {"221 so long"}}},
        R"(
S: 220
C: EHLO me
S: 250-mine
S: 250 SIZE 7
C: MAIL FROM:<a@x.org>
S: 250
C: RCPT TO:<b@x.org>
S: 251 forwarded
C: DATA
S: 354 go
D: DATA-END
D: .
S: 250 queued as 1
C: QUIT
S: 221 so long
S: <drop>)",
        {"a@x.org>b@x.org:DATA-END\r\n"});

    const char *const message = R"(
S: 220
C: HELO me
S: 250
C: MAIL FROM:<a@x.org>
S: 250
C: RCPT TO:<b@x.org>
S: 250
C: DATA
S: 354
D: one
D: two
D: .
S: )";
    const auto afterMessage = [message](const char *rest) {
        return QByteArray(message).append(rest);
    };
    row("refused message", {{.command = "DATA-END", .text = "two", .reply = {"554 spam"}}},
        afterMessage("554 spam\nC: MAIL FROM:<a@x.org>\nS: 250"));
    row("another message", {{.command = "DATA-END", .text = "three", .reply = {"554 spam"}}},
        afterMessage("250"), {"a@x.org>b@x.org:one\r\ntwo\r\n"});
    row("dropped in the data", {{.command = "DATA-BODY", .text = "one", .action = Action::Drop}},
        afterMessage("<drop>"));
    row("spoken to in the data", {{.command = "DATA-BODY", .reply = {"421 closing"}}},
        afterMessage("421 closing\nS: <drop>"));
    row("data answered twice", {{.command = "DATA-BODY", .reply = {"250 early"}}},
        afterMessage("250 early\nS: 250 2.0.0"), {"a@x.org>b@x.org:one\r\ntwo\r\n"});
    row("dropped after the data", {{.command = "DATA-END", .action = Action::Drop}},
        afterMessage("<drop>"));

    row("refused connection", {{.command = "CONNECT", .reply = {"421 busy"}}}, R"(
S: 421 busy
S: <drop>)");
    row("dropped connection", {{.command = "CONNECT", .action = Action::Drop}}, "S: <drop>");
    row("failing is not closing", {{.command = "NOOP", .reply = {"554 no"}}}, R"(
S: 220
C: NOOP
S: 554 no
C: VRFY a
S: 252)");
    row("slow", {{.command = "NOOP", .delay = 30ms}}, R"(
S: 220
C: NOOP
S: 250 2.0.0 Ok
C: VRFY a
S: 252)");
    row("too slow for the client", {{.command = "NOOP", .delay = 1h}}, R"(
S: 220
C: NOOP
C: <drop>)");
    row("slow, then dropped", {{.command = "NOOP", .action = Action::Drop, .delay = 30ms}}, R"(
S: 220
C: NOOP
S: <drop>)");
    row("stalled", {{.command = "NOOP", .action = Action::Stall}}, R"(
S: 220
C: NOOP
C: <drop>)");
}

void TestSmtpServer::rules()
{
    playRow();
}

void TestSmtpServer::longLines()
{
    const SmtpServer server;
    Client client(server.port());
    QVERIFY(client.say({}).startsWith("220"));
    // Far longer than what the server reads at once, and just too long.
    for (const qsizetype length : {300'000, 13'000})
        QVERIFY(client.say("NOOP " + QByteArray(length, 'x')).startsWith("500"));
    QVERIFY(client.say("NOOP " + QByteArray(10'000, 'x')).startsWith("250"));
    // Only CRLF ends a command.
    QVERIFY(client.say("NOOP\nNOOP").startsWith("500"));
    QVERIFY(client.say({}).startsWith("250"));
    QVERIFY(client.say("NOOP a\rb").startsWith("500"));
}

void TestSmtpServer::pipelining()
{
    // The delay must hold back what was sent along with the delayed command.
    const SmtpServer server(withRules({{.command = "MAIL", .delay = 10ms}}));
    Client client(server.port());
    client.write("EHLO me\r\nMAIL FROM:<a@x.org>\r\nRCPT TO:<b@x.org>\r\nDATA\r\n"
                 "NOOP\r\n.\r\nMAIL FROM:<c@x.org>\r\nNOOP\r\nQUIT\r\n");
    for (const char *code : {"220", "250", "250", "250", "354", "250", "250", "250", "221"})
        QCOMPARE(client.say({}).left(3), QByteArray(code));
    QCOMPARE(server.messages().size(), 1);
    QCOMPARE(server.messages().first().data, QByteArray("NOOP\r\n"));
}

void TestSmtpServer::dots_data()
{
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("stuffed") << QByteArray("..\r\n...a\r\n.b\r\nc.\r\n")
                             << QByteArray(".\r\n..a\r\nb\r\nc.\r\n");
    QTest::newRow("bare line feeds")
        << QByteArray("a\n.\nb\n.\r\n.c\r.\r\n\r\n") << QByteArray("a\n.\nb\n.\r\nc\r.\r\n\r\n");
    QTest::newRow("8 bits") << QByteArray("\0\xff\xc3\r\n", 5) << QByteArray("\0\xff\xc3\r\n", 5);
}

void TestSmtpServer::dots()
{
    QFETCH(const QByteArray, wire);
    QFETCH(const QByteArray, data);
    const SmtpServer server;
    Client client(server.port());
    client.say({});
    client.say("HELO me");
    QCOMPARE(sendMessage(client, "b@x.org", wire).left(3), QByteArray("250"));
    // Byte by byte, so that line ends and dots come apart.
    client.say("MAIL FROM:<a@x.org>");
    client.say("RCPT TO:<b@x.org>");
    client.say("DATA");
    for (const char c : wire + ".\r")
        client.write(QByteArray(1, c));
    client.write("\n");
    QVERIFY(client.say({}).startsWith("250"));
    for (const ReceivedMessage &message : server.messages())
        QCOMPARE(message.data, data);
    QCOMPARE(server.messages().size(), 2);
}

void TestSmtpServer::largeMessage()
{
    // One endless line and very many short ones: time that grows with the square of either would
    // run into the test's time limit.
    const QByteArray body =
        QByteArray(20'000'000, 'x') + "\r\n" + QByteArray("y\r\n").repeated(1'000'000);
    const SmtpServer server;
    Client client(server.port());
    client.say({});
    client.say("HELO me");
    QCOMPARE(sendMessage(client, "b@x.org", body).left(3), QByteArray("250"));
    QVERIFY(server.messages().first().data == body);
    QCOMPARE(sendMessage(client, "b@x.org", body.repeated(3)).left(3), QByteArray("552"));
    QCOMPARE(sendMessage(client, "b@x.org", "small\r\n").left(3), QByteArray("250"));
    QCOMPARE(server.messages().size(), 2);
}

ServerOptions TestSmtpServer::tlsOptions(const QString &certificateFile) const
{
    ServerOptions options;
    options.startTls = true;
    options.certificateFile = certificateFile;
    options.keyFile = m_certificates.serverKey();
    return options;
}

void TestSmtpServer::login_data()
{
    QTest::addColumn<QByteArrayList>("commands");
    QTest::addColumn<QByteArrayList>("answers");
    const auto base64 = [](const QByteArray &text) { return text.toBase64(); };
    const QByteArray plain = base64(QByteArray("\0anna\0s3 cret", 13));
    const QByteArray wrong = base64(QByteArray("\0anna\0secret", 12));
    const QByteArray name = base64("anna");
    const QByteArray password = base64("s3 cret");
    const auto row = [](const char *title, const QByteArrayList &commands,
                        const QByteArrayList &answers) {
        QTest::newRow(title) << commands << answers;
    };
    row("plain at once", {"AUTH PLAIN " + plain}, {"235"});
    row("plain", {"auth plain", plain}, {"334 ", "235"});
    row("plain, wrong", {"AUTH PLAIN " + wrong}, {"535"});
    row("wrong, then right", {"AUTH PLAIN " + wrong, "AUTH PLAIN " + plain}, {"535", "235"});
    row("login", {"AUTH LOGIN", name, password}, {"334 VXNlcm5hbWU6", "334 UGFzc3dvcmQ6", "235"});
    row("login at once", {"AUTH LOGIN " + name, password}, {"334 UGFzc3dvcmQ6", "235"});
    row("login, wrong password", {"AUTH LOGIN", name, name}, {"334", "334", "535"});
    row("login, wrong name", {"AUTH LOGIN", password, password}, {"334", "334", "535"});
    row("cram", {"AUTH CRAM-MD5", "<digest of s3 cret>"}, {"334 ", "235"});
    row("cram, wrong", {"AUTH CRAM-MD5", "<digest of secret>"}, {"334 ", "535"});
    row("cram at once", {"AUTH CRAM-MD5 " + name, "NOOP"}, {"501", "250"});
    row("abandoned", {"AUTH LOGIN", "*", "NOOP"}, {"334", "501", "250"});
    row("not base64", {"AUTH LOGIN", "a?b", "NOOP"}, {"334", "501", "250"});
    row("unknown mechanism", {"AUTH NTLM"}, {"504"});
    row("twice", {"AUTH PLAIN " + plain, "AUTH PLAIN " + plain}, {"235", "503"});
}

void TestSmtpServer::login()
{
    QFETCH(const QByteArrayList, commands);
    QFETCH(const QByteArrayList, answers);
    ServerOptions options = tlsOptions(m_certificates.serverCertificate());
    options.auth = {"PLAIN", "LOGIN", "CRAM-MD5"};
    options.authNeedsTls = true;
    options.user = "anna";
    options.password = "s3 cret";
    const SmtpServer server(options);
    Client client(server.port());
    client.say({});
    client.say("EHLO me");
    QVERIFY(!server.transcript().contains("S: 250-AUTH PLAIN LOGIN CRAM-MD5"));
    QVERIFY(client.say("AUTH PLAIN").startsWith("538"));
    // What is sent in the open along with STARTTLS must not count as sent under encryption.
    QVERIFY(client.say("STARTTLS\r\nNOOP").startsWith("220"));
    QVERIFY(client.encrypt(m_certificates.caFile()));
    QVERIFY(client.say("AUTH PLAIN").startsWith("503"));
    client.say("EHLO me");
    QVERIFY(server.transcript().contains("S: 250-AUTH PLAIN LOGIN CRAM-MD5"));
    QVERIFY(client.say("STARTTLS").startsWith("503"));

    QByteArray challenge;
    for (qsizetype i = 0; i < commands.size(); ++i) {
        QByteArray command = commands[i];
        if (command.startsWith("<digest of ")) {
            const QByteArray key = command.sliced(11).chopped(1);
            command =
                "anna " +
                QMessageAuthenticationCode::hash(challenge, key, QCryptographicHash::Md5).toHex();
            command = command.toBase64();
        }
        const QByteArray answer = client.say(command);
        QCOMPARE(answer.left(answers[i].size()), answers[i]);
        challenge = QByteArray::fromBase64(answer.mid(4));
    }
    sendMessage(client, "b@x.org", "Hi\r\n");
    QCOMPARE(server.messages().size(), 1);
    QCOMPARE(server.messages().first().encrypted, true);
    QCOMPARE(server.messages().first().user, answers.contains("235") ? options.user : QByteArray());
}

void TestSmtpServer::certificate_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("authority");
    QTest::addColumn<QList<QSslError::SslError>>("errors");
    const QString authority = m_certificates.caFile();
    QTest::newRow("right") << m_certificates.serverCertificate() << authority
                           << QList<QSslError::SslError>();
    QTest::newRow("other host") << m_certificates.otherHostCertificate() << authority
                                << QList<QSslError::SslError>{QSslError::HostNameMismatch};
    QTest::newRow("expired") << m_certificates.expiredCertificate() << authority
                             << QList<QSslError::SslError>{QSslError::CertificateExpired};
    QTest::newRow("unknown authority")
        << m_certificates.serverCertificate() << QString()
        << QList<QSslError::SslError>{QSslError::UnableToGetLocalIssuerCertificate,
                                      QSslError::UnableToVerifyFirstCertificate};
}

void TestSmtpServer::certificate()
{
    QFETCH(const QString, file);
    QFETCH(const QString, authority);
    QFETCH(const QList<QSslError::SslError>, errors);
    const SmtpServer server(tlsOptions(file));
    Client client(server.port());
    client.say({});
    client.say("EHLO me");
    client.say("STARTTLS");
    QCOMPARE(client.encrypt(authority), errors.isEmpty());
    QCOMPARE(client.tlsErrors(), errors);
}

void TestSmtpServer::implicitTls()
{
    ServerOptions options = tlsOptions(m_certificates.serverCertificate());
    options.startTls = false;
    options.implicitTls = true;
    const SmtpServer server(options);
    Client client(server.port());
    QVERIFY(client.encrypt(m_certificates.caFile()));
    QVERIFY(client.say({}).startsWith("220"));
    client.say("EHLO me");
    QVERIFY(sendMessage(client, "b@x.org", "Hi\r\n").startsWith("250"));
    QVERIFY(server.messages().first().encrypted);
}

void TestSmtpServer::store()
{
    QByteArrayList stored;
    ServerOptions options;
    options.store = [&stored](const ReceivedMessage &message) {
        if (message.data.contains("full"))
            return false;
        stored << message.data;
        return true;
    };
    {
        const SmtpServer server(options);
        Client client(server.port());
        client.say({});
        client.say("HELO me");
        QVERIFY(sendMessage(client, "b@x.org", "full\r\n").startsWith("452"));
        QVERIFY(sendMessage(client, "b@x.org", "room\r\n").startsWith("250"));
        QVERIFY(server.messages().isEmpty() && server.transcript().isEmpty());
    }
    QCOMPARE(stored, QByteArrayList{"room\r\n"});
}

void TestSmtpServer::openConnectionsEndWithTheServer()
{
    auto server =
        std::make_unique<SmtpServer>(withRules({{.command = "NOOP", .action = Action::Stall}}));
    Client idle(server->port());
    Client stalled(server->port());
    idle.say({});
    stalled.say({});
    stalled.write("NOOP\r\n");
    QTRY_COMPARE(server->transcript().size(), 3);
    QCOMPARE(server->sessions(), 2);
    server.reset();
    QCOMPARE(idle.line(), QByteArray("<drop>"));
    QCOMPARE(stalled.line(), QByteArray("<drop>"));
}

void TestSmtpServer::catcher()
{
    const QTemporaryDir parent;
    QDir folder(parent.filePath(QStringLiteral("new/mail")));
    const QString executable = QStringLiteral(MAILCATCHER);
    const QStringList arguments{QStringLiteral("--out"),    folder.path(),
                                QStringLiteral("--reject"), QStringLiteral("nobody"),
                                QStringLiteral("--reject"), QStringLiteral("gone")};
    // The second run finds what the first has left.
    for (int number = 1; number <= 2; ++number) {
        QProcess process;
        process.start(executable, arguments);
        QTRY_VERIFY(process.canReadLine());
        const QByteArray line = process.readLine();
        QVERIFY(line.startsWith("PORT "));
        Client client(line.mid(5).trimmed().toUShort());
        client.say({});
        client.say("HELO me");
        client.say("MAIL FROM:<a@x.org>");
        QCOMPARE(client.say("RCPT TO:<nobody@x.org>"), QByteArray("550 5.1.1 No such user here"));
        QCOMPARE(client.say("RCPT TO:<b@gone.org>"), QByteArray("550 5.1.1 No such user here"));
        client.say("RCPT TO:<b@x.org>");
        client.say("RCPT TO:<c@x.org>");
        client.say("DATA");
        QVERIFY(client.say("Subject: Hi\r\n\r\n..\r\n.").startsWith("250"));

        QFile file(folder.filePath(QStringLiteral("00000%1.eml").arg(number)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("X-Envelope-From: a@x.org\r\n"
                                            "X-Envelope-To: b@x.org\r\nX-Envelope-To: c@x.org\r\n"
                                            "Subject: Hi\r\n\r\n.\r\n"));
        if (number == 2) {
            folder.removeRecursively();
            QVERIFY(sendMessage(client, "b@x.org", "Hi\r\n").startsWith("452"));
        }
        process.terminate();
        QTRY_COMPARE(process.state(), QProcess::NotRunning);
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardError().contains("000003.eml"), number == 2);
    }
}

void TestSmtpServer::catcherRefusesBadArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("no folder") << QStringList{};
    QTest::newRow("impossible folder")
        << QStringList{QStringLiteral("--out"), QStringLiteral("/dev/null/mail")};
    QTest::newRow("bad port") << QStringList{QStringLiteral("--out"), QStringLiteral("."),
                                             QStringLiteral("--port"), QStringLiteral("70000")};
}

void TestSmtpServer::catcherRefusesBadArguments()
{
    QFETCH(const QStringList, arguments);
    QProcess process;
    process.start(QStringLiteral(MAILCATCHER), arguments);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(process.readAllStandardError().startsWith("quillbright-mailcatcher: "));
}

QTEST_GUILESS_MAIN(TestSmtpServer)
#include "tst_smtpserver.moc"

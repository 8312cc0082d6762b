#include "scriptedclient.h"
#include "smtpserver.h"
#include "testcertificates.h"

#include <QMessageAuthenticationCode>
#include <QTest>

#include <memory>

using Action = ServerRule::Action;
using namespace std::chrono_literals;

class TestSmtpServer : public QObject
{
    Q_OBJECT

private slots:
    void conversation_data();
    void conversation();
    void longLines();
    void pipelining();
    void dots_data();
    void dots();
    void largeMessage();
    void login_data();
    void login();
    void implicitTls();
    void lastWordsReachABusyClient();
    void openConnectionsEndWithTheServer();

private:
    ServerOptions tlsOptions() const;

    const TestCertificates m_certificates;
};

namespace
{

/// A row of the conversation test: the server's options, the script, and the messages it ends with
/// as "sender>recipient,recipient:data".
void row(const char *name, const ServerOptions &options, const QByteArray &script,
         const QByteArrayList &taken = {})
{
    QTest::newRow(name) << options << script << taken;
}

void row(const char *name, const QList<ServerRule> &rules, const QByteArray &script,
         const QByteArrayList &taken = {})
{
    ServerOptions options;
    options.rules = rules;
    row(name, options, script, taken);
}

void ordinaryRows()
{
    ServerOptions extended;
    extended.auth = {"PLAIN", "CRAM-MD5"};
    extended.smtpUtf8 = true;

    row("two messages", ServerOptions(), R"(
        | 220 localhost
        ehlo me | 250-localhost / 250-PIPELINING / 250-8BITMIME / 250-ENHANCED / 250 SIZE 52428800
        mail from:<a@x.org> size=100 body=8bitmime | 250
        rcpt to:<b@x.org> | 250
        RCPT TO:<c@x.org> | 250
        DATA | 354
        Hi
        . | 250
        MAIL FROM:<> | 250
        RCPT TO:<"d e>"@x.org> | 250
        DATA | 354
        . | 250
        QUIT | 221 / <drop>)",
        {"a@x.org>b@x.org,c@x.org:Hi\r\n", ">\"d e>\"@x.org:"});
    row("extensions", extended, R"(
        | 220
        EHLO me | 250- / 250- / 250- / 250- / 250-AUTH PLAIN CRAM-MD5 / 250-SMTPUTF8 / 250 SIZE
        MAIL FROM:<ä@x.org> SMTPUTF8 AUTH=<> | 250
        RCPT TO:<ö@x.org> | 250
        AUTH PLAIN | 503
        DATA | 354
        . | 250
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<ö@x.org> | 553)",
        {"ä@x.org>ö@x.org:"});
    row("out of order", ServerOptions(), R"(
        | 220
        MAIL FROM:<a@x.org> | 503
        EHLO | 501
        HELO me | 250 localhost
        RCPT TO:<a@x.org> | 503
        DATA | 503
        MAIL FROM:<a@x.org> | 250
        DATA | 503
        MAIL FROM:<b@x.org> | 503
        RCPT TO:<c@x.org> | 250
        RSET | 250
        DATA | 503
        MAIL FROM:<d@x.org> | 250
        HELO me | 250
        RCPT TO:<e@x.org> | 503)");
    row("not understood", ServerOptions(), R"(
        | 220
        HELO me | 250
        HELLO | 500
        MAIL FROM: <a@x.org> | 501
        MAIL FROM:<a b@x.org> | 501
        MAIL FROM:<a@x.org>SIZE=1 | 501
        MAIL FROM:<a@x.org | 501
        MAIL FROM:<a@x.org> SIZE=60000000 | 552
        MAIL FROM:<a@x.org> SMTPUTF8 | 555
        MAIL FROM:<ä@x.org> | 553
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<> | 501
        RCPT TO:<ä@x.org> | 553
        RCPT TO:<b@x.org> SIZE=1 | 555
        RCPT TO:<b@x.org> | 250
        DATA now | 501
        STARTTLS | 502
        AUTH PLAIN AHUAcA== | 502
        VRFY a | 252
        <drop> |)");
}

void ruleRows()
{
    row("refused recipients",
        {{.command = "rcpt", .text = "no", .reply = {"550-5.1.1 No", "550 such"}}}, R"(
        | 220
        HELO me | 250
        MAIL FROM:<no@x.org> | 250
        RCPT TO:<no@x.org> | 550-5.1.1 No / 550 such
        DATA | 503
        RCPT TO:<yes@x.org> | 250
        DATA | 354
        . | 250)",
        {"no@x.org>yes@x.org:"});
    row("skip and times",
        {{.command = "NOOP", .reply = {"451 first"}, .times = 1},
         {.command = "NOOP", .reply = {"452 third"}, .skip = 2, .times = 1},
         {.command = "N", .reply = {"453 others"}, .skip = 3}},
        R"(
        | 220
        NOOP | 451 first
        NOOP | 250
        NOOP | 452 third
        NOOP | 453 others
        NOOP | 453 others)");
    row("other words for the same",
        {{.command = "EHLO", .reply = {"250-mine", "250 SIZE 7"}},
         {.command = "RCPT", .reply = {"251 forwarded"}},
         {.command = "DATA", .reply = {"354 go"}},
         {.command = "DATA-BODY", .reply = {"250 early"}},
         {.command = "DATA-END", .reply = {"250 queued as 1"}},
         {.command = "QUIT", .reply = {"221 so long"}}},
        R"(
        | 220
        EHLO me | 250-mine / 250 SIZE 7
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<b@x.org> | 251 forwarded
        DATA | 354 go
        DATA-END
        . | 250 early / 250 queued as 1
        QUIT | 221 so long / <drop>)",
        {"a@x.org>b@x.org:DATA-END\r\n"});
    row("refused connection", {{.command = "CONNECT", .reply = {"421 busy"}}}, R"(
        | 421 busy / <drop>)");
    row("slow",
        {{.command = "NOOP", .action = Action::Drop, .delay = 30ms, .skip = 1},
         {.command = "NOOP", .delay = 30ms}},
        R"(
        | 220
        NOOP | 250 2.0.0 Ok
        NOOP | <drop>)");
    row("too slow for the client", {{.command = "NOOP", .delay = 1h}}, R"(
        | 220
        NOOP |
        <drop> |)");
    row("stalled", {{.command = "NOOP", .action = Action::Stall}}, R"(
        | 220
        NOOP |
        <drop> |)");

    const QByteArray message = R"(
        | 220
        HELO me | 250
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<b@x.org> | 250
        DATA | 354
        one
        two
        . |)";
    row("refused message", {{.command = "DATA-END", .text = "two", .reply = {"554 spam"}}},
        message + "554 spam\n MAIL FROM:<a@x.org> | 250");
    row("another message", {{.command = "DATA-END", .text = "three", .reply = {"554 spam"}}},
        message + "250 2.0.0", {"a@x.org>b@x.org:one\r\ntwo\r\n"});
    row("dropped in the data", {{.command = "DATA-BODY", .text = "one", .action = Action::Drop}},
        message + "<drop>");
    row("closed in the data", {{.command = "DATA-BODY", .reply = {"421 closing"}}},
        message + "421 closing / <drop>");
    row("dropped after the data", {{.command = "DATA-END", .action = Action::Drop}},
        message + "<drop>");
}

} // namespace

void TestSmtpServer::conversation_data()
{
    QTest::addColumn<ServerOptions>("options");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArrayList>("taken");
    ordinaryRows();
    ruleRows();
}

void TestSmtpServer::conversation()
{
    QFETCH(const ServerOptions, options);
    QFETCH(const QByteArray, script);
    QFETCH(const QByteArrayList, taken);
    const SmtpServer server(options);
    ScriptedClient client(server.port());
    Conversation played = client.converse(script);
    QCOMPARE(played.happened, played.expected);

    if (played.expected.contains("C: QUIT"))
        played.expected.removeLast(); // the transcript tells only of an end without QUIT
    QTRY_COMPARE(server.transcript().size(), played.expected.size());
    QByteArrayList transcript = server.transcript();
    for (qsizetype i = 0; i < transcript.size(); ++i) {
        if (transcript[i].startsWith("S: "))
            transcript[i].truncate(played.expected[i].size());
    }
    QCOMPARE(transcript, played.expected);

    QByteArrayList messages;
    for (const ReceivedMessage &message : server.messages())
        messages << message.sender + '>' + message.recipients.join(',') + ':' + message.data;
    QCOMPARE(messages, taken);
}

void TestSmtpServer::longLines()
{
    const SmtpServer server;
    ScriptedClient client(server.port());
    QVERIFY(client.answer().startsWith("220"));
    QVERIFY(client.say("NOOP " + QByteArray(13'000, 'x')).startsWith("500 5.5.2"));
    // The server has to give a line up before it sees its end: two answers to another client later
    // it has read the beginning.
    ScriptedClient other(server.port());
    other.answer();
    client.write(QByteArray(13'000, 'x'));
    other.say("NOOP");
    other.say("NOOP");
    QVERIFY(client.say("x").startsWith("500 5.5.2"));
    QVERIFY(client.say("NOOP " + QByteArray(10'000, 'x')).startsWith("250"));
    // Only CRLF ends a command.
    QVERIFY(client.say("NOOP\nNOOP").startsWith("500"));
    QVERIFY(client.answer().startsWith("250"));
    QVERIFY(client.say("NOOP a\rb").startsWith("500"));
}

void TestSmtpServer::pipelining()
{
    // The delay must hold back what was sent along with the delayed command.
    ServerOptions options;
    options.rules = {{.command = "MAIL", .delay = 10ms}};
    const SmtpServer server(options);
    ScriptedClient client(server.port());
    client.write("EHLO me\r\nMAIL FROM:<a@x.org>\r\nRCPT TO:<b@x.org>\r\nDATA\r\n"
                 "NOOP\r\n.\r\nMAIL FROM:<c@x.org>\r\nNOOP\r\nQUIT\r\n");
    for (const char *code : {"220", "250", "250", "250", "354", "250", "250", "250", "221"})
        QCOMPARE(client.answer().left(3), QByteArray(code));
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
    ScriptedClient client(server.port());
    client.answer();
    client.say("HELO me");
    QVERIFY(client.send(wire).startsWith("250"));
    // Byte by byte, so that line ends and dots come apart.
    client.say("MAIL FROM:<a@x.org>");
    client.say("RCPT TO:<b@x.org>");
    client.say("DATA");
    for (const char c : wire + ".\r\n")
        client.write(QByteArray(1, c));
    QVERIFY(client.answer().startsWith("250"));
    QCOMPARE(server.messages().size(), 2);
    for (const ReceivedMessage &message : server.messages())
        QCOMPARE(message.data, data);
}

void TestSmtpServer::largeMessage()
{
    // One endless line and very many short ones: time that grows with the square of either would
    // run into the test's time limit.
    const QByteArray body =
        QByteArray(20'000'000, 'x') + "\r\n" + QByteArray("y\r\n").repeated(1'000'000);
    const SmtpServer server;
    ScriptedClient client(server.port());
    client.answer();
    client.say("HELO me");
    QVERIFY(client.send(body).startsWith("250"));
    QVERIFY(server.messages().first().data == body);
    QVERIFY(client.send(body.repeated(3)).startsWith("552"));
    QVERIFY(client.send("small\r\n").startsWith("250"));
    QCOMPARE(server.messages().size(), 2);
}

ServerOptions TestSmtpServer::tlsOptions() const
{
    ServerOptions options;
    options.startTls = true;
    options.certificateFile = m_certificates.serverCertificate();
    options.keyFile = m_certificates.serverKey();
    return options;
}

void TestSmtpServer::login_data()
{
    QTest::addColumn<QByteArrayList>("commands");
    QTest::addColumn<QByteArrayList>("answers");
    const auto login = [](const char *name, const QByteArrayList &commands,
                          const QByteArrayList &answers) {
        QTest::newRow(name) << commands << answers;
    };
    const QByteArray plain = QByteArray("\0anna\0s3 cret", 13).toBase64();
    const QByteArray wrong = QByteArray("\0anna\0secret", 12).toBase64();
    const QByteArray name = QByteArray("anna").toBase64();
    const QByteArray password = QByteArray("s3 cret").toBase64();
    login("plain at once", {"AUTH PLAIN " + plain}, {"235"});
    login("plain", {"auth plain", plain}, {"334 ", "235"});
    login("wrong, then right", {"AUTH PLAIN " + wrong, "AUTH PLAIN " + plain}, {"535", "235"});
    login("login", {"AUTH LOGIN", name, password}, {"334 VXNlcm5hbWU6", "334 UGFzc3dvcmQ6", "235"});
    login("login at once", {"AUTH LOGIN " + name, password}, {"334 UGFzc3dvcmQ6", "235"});
    login("login, wrong password", {"AUTH LOGIN", name, name}, {"334", "334", "535"});
    login("login, wrong name", {"AUTH LOGIN", password, password}, {"334", "334", "535"});
    login("cram", {"AUTH CRAM-MD5", "<digest of s3 cret>"}, {"334 ", "235"});
    login("cram, wrong", {"AUTH CRAM-MD5", "<digest of secret>"}, {"334 ", "535"});
    login("cram at once", {"AUTH CRAM-MD5 " + name, "NOOP"}, {"501", "250"});
    login("abandoned", {"AUTH LOGIN", "*", "NOOP"}, {"334", "501", "250"});
    login("not base64", {"AUTH LOGIN", "a?b", "NOOP"}, {"334", "501", "250"});
    login("unknown mechanism", {"AUTH NTLM"}, {"504"});
    login("twice", {"AUTH PLAIN " + plain, "AUTH PLAIN " + plain}, {"235", "503"});
}

void TestSmtpServer::login()
{
    QFETCH(const QByteArrayList, commands);
    QFETCH(const QByteArrayList, answers);
    ServerOptions options = tlsOptions();
    options.auth = {"PLAIN", "LOGIN", "CRAM-MD5"};
    options.authNeedsTls = true;
    options.user = "anna";
    options.password = "s3 cret";
    const SmtpServer server(options);
    ScriptedClient client(server.port());
    client.answer();
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
            const QByteArray digest =
                QMessageAuthenticationCode::hash(challenge, key, QCryptographicHash::Md5);
            command = ("anna " + digest.toHex()).toBase64();
        }
        const QByteArray answer = client.say(command);
        QCOMPARE(answer.left(answers[i].size()), answers[i]);
        challenge = QByteArray::fromBase64(answer.mid(4));
    }
    QVERIFY(client.send("Hi\r\n").startsWith("250"));
    const ReceivedMessage message = server.messages().first();
    QVERIFY(message.encrypted);
    QCOMPARE(message.user, answers.contains("235") ? options.user : QByteArray());
}

void TestSmtpServer::implicitTls()
{
    ServerOptions options = tlsOptions();
    options.implicitTls = true;
    const SmtpServer server(options);
    ScriptedClient client(server.port());
    QVERIFY(client.encrypt(m_certificates.caFile()));
    QVERIFY(client.answer().startsWith("220"));
    QVERIFY(client.say("STARTTLS").startsWith("503"));
}

void TestSmtpServer::lastWordsReachABusyClient()
{
    ServerOptions options;
    options.rules = {{.command = "DATA-BODY", .reply = {"421 closing"}}};
    const SmtpServer server(options);
    ScriptedClient client(server.port());
    const Conversation played = client.converse(R"(
        | 220
        HELO me | 250
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<b@x.org> | 250
        DATA | 354)");
    QCOMPARE(played.happened, played.expected);
    for (int i = 0; i < 200; ++i)
        client.write(QByteArray(10'000, 'x') + "\r\n");
    QCOMPARE(client.answer(), QByteArray("421 closing"));
}

void TestSmtpServer::openConnectionsEndWithTheServer()
{
    ServerOptions options;
    options.rules = {{.command = "NOOP", .action = Action::Stall}};
    auto server = std::make_unique<SmtpServer>(options);
    ScriptedClient idle(server->port());
    ScriptedClient stalled(server->port());
    idle.answer();
    stalled.answer();
    stalled.write("NOOP\r\n");
    QTRY_COMPARE(server->transcript().size(), 3);
    QCOMPARE(server->sessions(), 2);
    server.reset();
    QCOMPARE(idle.line(), QByteArray("<drop>"));
    QCOMPARE(stalled.line(), QByteArray("<drop>"));
}

QTEST_GUILESS_MAIN(TestSmtpServer)
#include "tst_smtpserver.moc"

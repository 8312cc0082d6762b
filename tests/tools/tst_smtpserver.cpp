#include "scriptedclient.h"
#include "smtpserver.h"
#include "testcertificates.h"

#include <QTest>

class TestSmtpServer : public QObject
{
    Q_OBJECT

private slots:
    void conversation_data();
    void conversation();
    void dotsAndSize();
    void login_data();
    void login();

private:
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

ServerOptions withRules(const QList<ServerRule> &rules)
{
    ServerOptions options;
    options.rules = rules;
    return options;
}

} // namespace

void TestSmtpServer::conversation_data()
{
    QTest::addColumn<ServerOptions>("options");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArrayList>("taken");
    ServerOptions extended;
    extended.auth = {"PLAIN", "CRAM-MD5"};
    extended.smtpUtf8 = true;

    row("extensions", extended, R"(
        | 220
        ehlo me | 250- / 250-PIPELINING / 250-8BITM / 250- / 250-AUTH PLAIN CRAM / 250-SMTPUTF8 / 250
        mail from:<ä@x.org> SMTPUTF8 AUTH=<> | 250
        RCPT TO:<ö@x.org> | 250
        RCPT TO:<"d e>"@x.org> | 250
        AUTH PLAIN | 503
        DATA | 354
        Hi
        . | 250
        MAIL FROM:<> size=100 body=8bitmime | 250
        RCPT TO:<ö@x.org> | 553
        RCPT TO:<b@x.org> | 250
        DATA | 354
        . | 250
        QUIT | 221 / <drop>)",
        {"ä@x.org>ö@x.org,\"d e>\"@x.org:Hi\r\n", ">b@x.org:"});
    row("out of order", ServerOptions(), R"(
        | 220
        MAIL FROM:<a@x.org> | 503
        EHLO | 501
        HELO me | 250 localhost
        RCPT TO:<a@x.org> | 503
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
        RCPT TO:<b@x.org> SIZE=1 | 555
        RCPT TO:<b@x.org> | 250
        DATA now | 501
        STARTTLS | 502
        AUTH PLAIN AHUAcA== | 502
        <drop> |)");
    row("refused recipients",
        withRules({{.command = "rcpt", .text = "no", .reply = {"550-5.1.1 No", "550 such"}}}), R"(
        | 220
        HELO me | 250
        MAIL FROM:<no@x.org> | 250
        RCPT TO:<no@x.org> | 550-5.1.1 No / 550 such
        DATA | 503
        RCPT TO:<yes@x.org> | 250
        DATA | 354
        . | 250)",
        {"no@x.org>yes@x.org:"});
    row("refused message",
        withRules({{.command = "DATA-END", .text = "two", .reply = {"554 spam"}}}), R"(
        | 220
        HELO me | 250
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<b@x.org> | 250
        DATA | 354
        one
        two
        . | 554 spam
        MAIL FROM:<a@x.org> | 250
        RCPT TO:<b@x.org> | 250
        DATA | 354
        DATA-END
        . | 250 2.0.0)",
        {"a@x.org>b@x.org:DATA-END\r\n"});
    row("skip and times",
        withRules({{.command = "NOOP", .reply = {"451 first"}, .times = 1},
                   {.command = "NOOP", .reply = {"452 third"}, .skip = 2, .times = 1},
                   {.command = "N", .reply = {"453 others"}, .skip = 3}}),
        R"(
        | 220
        NOOP | 451 first
        NOOP | 250
        NOOP | 452 third
        NOOP | 453 others
        NOOP | 453 others)");
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

void TestSmtpServer::dotsAndSize()
{
    const SmtpServer server;
    ScriptedClient client(server.port());
    client.answer();
    client.say("HELO me");
    const QByteArray wire("..\r\n...a\r\n.b\r\nc\n.\nd\n.\r\n.e\r.\r\n\0\xff\r\n", 33);
    const QByteArray data(".\r\n..a\r\nb\r\nc\n.\nd\n.\r\ne\r.\r\n\0\xff\r\n", 29);
    QVERIFY(client.send(wire).startsWith("250"));
    // Byte by byte, so that line ends and dots come apart.
    client.say("MAIL FROM:<a@x.org>");
    client.say("RCPT TO:<b@x.org>");
    client.say("DATA");
    for (const char c : wire + ".\r\n")
        client.write(QByteArray(1, c));
    QVERIFY(client.answer().startsWith("250"));
    QVERIFY(client.send(QByteArray("y\r\n").repeated(18'000'000)).startsWith("552"));
    QCOMPARE(server.messages().size(), 2);
    for (const ReceivedMessage &message : server.messages())
        QCOMPARE(message.data, data);
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
    login("wrong, then right", {"AUTH PLAIN " + wrong, "AUTH PLAIN " + plain, "AUTH PLAIN"},
          {"535", "235", "503"});
    login("login, wrong password", {"AUTH LOGIN", name, name}, {"334 VXNl", "334 UGFz", "535"});
    login("cram, wrong", {"AUTH CRAM-MD5", ("anna " + QByteArray(32, '0')).toBase64()},
          {"334 ", "535"});
    login("abandoned", {"AUTH LOGIN", "*", "AUTH NTLM"}, {"334", "501", "504"});
}

void TestSmtpServer::login()
{
    QFETCH(const QByteArrayList, commands);
    QFETCH(const QByteArrayList, answers);
    ServerOptions options;
    options.startTls = true;
    options.certificateFile = m_certificates.serverCertificate();
    options.keyFile = m_certificates.serverKey();
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
    for (qsizetype i = 0; i < commands.size(); ++i)
        QCOMPARE(client.say(commands[i]).left(answers[i].size()), answers[i]);
    QVERIFY(client.send("Hi\r\n").startsWith("250"));
    const ReceivedMessage message = server.messages().first();
    QVERIFY(message.encrypted);
    QCOMPARE(message.user, answers.contains("235") ? options.user : QByteArray());
}

QTEST_GUILESS_MAIN(TestSmtpServer)
#include "tst_smtpserver.moc"

#include "sendclient.h"
#include "testcertificates.h"
#include "testfiles.h"

#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using Action = ServerRule::Action;

class TestSmtpSendMail : public QObject
{
    Q_OBJECT

private slots:
    void servesAllFromOneSession();
    void followsChangedAccount();
    void reopensADroppedSession_data();
    void reopensADroppedSession();
    void neverSendsAMessageTwice();
    void keepsTheSessionAfterARefusal_data();
    void keepsTheSessionAfterARefusal();
    void writesAddressesAsTheyAre_data();
    void writesAddressesAsTheyAre();
    void sendsAttachments();
    void encryptsAndLogsIn_data();
    void encryptsAndLogsIn();
    void yieldsWhileAServerIsSlow();
    void turnsAwayCallsFromAYield();
    void doesNotWaitForAGoodbye();
    void deliversToAForeignServer();
};

void TestSmtpSendMail::servesAllFromOneSession()
{
    for (const bool together : {true, false}) {
        Exchange exchange({}, together);
        auto &[server, client] = exchange;
        client.mail.Body = QStringLiteral(".\n..\n.a\nb.\n.");
        QList<int> percents;
        QObject::connect(&client.mail, &SendMail::Progress,
                         [&](int percent) { percents << percent; });
        QVERIFY(client.mail.Connect());
        QCOMPARE(client.statuses, (QStringList{QStringLiteral("Connecting to 127.0.0.1 ..."),
                                               QStringLiteral("Connected")}));
        QByteArrayList expected;
        for (int i = 0; i < 10; ++i) {
            QCOMPARE(client.send(QStringLiteral("b%1@example.net").arg(i)), QStringLiteral("sent"));
            QCOMPARE(percents.last(), 100);
            expected << "C: MAIL FROM:<a@example.org>"
                     << "C: RCPT TO:<b" + QByteArray::number(i) + "@example.net>"
                     << "C: DATA";
            QVERIFY(server.messages().last().data.endsWith("\r\n\r\n.\r\n..\r\n.a\r\nb.\r\n.\r\n"));
        }
        client.mail.Disconnect();
        client.mail.Disconnect();
        QCOMPARE(said(server, "C: ").sliced(1), expected << "C: QUIT");
        QCOMPARE(server.messages().size(), 10);
        QCOMPARE(server.sessions(), 1);
    }
}

void TestSmtpSendMail::followsChangedAccount()
{
    ServerOptions options;
    options.auth = {"PLAIN"};
    options.user = "user";
    options.password = "s3cret";
    SmtpServer first(options);
    SmtpServer second;
    SendClient client(first);
    client.send();
    client.logIn();
    client.send();
    client.send();
    QCOMPARE(first.sessions(), 2);
    QCOMPARE(first.messages().last().user, "user");
    client.mail.Host = QStringLiteral("localhost:%1").arg(second.port());
    client.mail.Authenticate = false;
    client.send();
    QCOMPARE(second.messages().size(), 1);
    QCOMPARE(client.outcomes.count(QStringLiteral("sent")), 4);
    QCOMPARE(said(first, "C: QUIT").size(), 2);
}

void TestSmtpSendMail::reopensADroppedSession_data()
{
    QTest::addColumn<ServerRule>("end");
    QTest::newRow("dropped") << rule("MAIL", Action::Drop, 1, 1);
    QTest::newRow("421") << answer("MAIL", {"421 4.4.2 Idle for too long"}, 1, 1);
}

void TestSmtpSendMail::reopensADroppedSession()
{
    QFETCH(ServerRule, end);
    for (const bool together : {true, false}) {
        Exchange exchange({end}, together);
        auto &[server, client] = exchange;
        QVERIFY(client.mail.Connect());
        for (int i = 0; i < 3; ++i)
            QCOMPARE(client.send(), QStringLiteral("sent"));
        QCOMPARE(server.sessions(), 2);
        QCOMPARE(server.messages().size(), 3);
    }
}

void TestSmtpSendMail::neverSendsAMessageTwice()
{
    Exchange exchange({rule("DATA-END", Action::Drop, 1, 1)});
    auto &[server, client] = exchange;
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(client.send(), QStringLiteral("The connection to 127.0.0.1 was lost after the whole "
                                           "message; it may have been delivered"));
    QCOMPARE(said(server, "C: DATA").size(), 2);
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(server.sessions(), 2);
}

void TestSmtpSendMail::keepsTheSessionAfterARefusal_data()
{
    QTest::addColumn<QList<ServerRule>>("rules");
    QTest::addColumn<int>("surplusDots");
    for (const char *command : {"MAIL", "RCPT", "DATA", "DATA-END"}) {
        const ServerRule refusal = answer(command, {"550 5.7.1 Not now"}, 2);
        QTest::addRow("%s together", command) << QList{refusal} << 0;
        QTest::addRow("%s one by one", command) << QList{refusal, withoutPipelining()} << 0;
    }
    QTest::newRow("RCPT, but the message is asked for")
        << QList{answer("RCPT", {"550 5.7.1 Not now"}, 2), answer("DATA", {"354 Go on"}, 2)} << 2;
}

void TestSmtpSendMail::keepsTheSessionAfterARefusal()
{
    QFETCH(QList<ServerRule>, rules);
    QFETCH(int, surplusDots);
    Exchange exchange(rules);
    auto &[server, client] = exchange;
    for (int i = 0; i < 2; ++i)
        QCOMPARE(client.send(), QStringLiteral("550 5.7.1 Not now"));
    for (int i = 0; i < 2; ++i)
        QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(server.sessions(), 1);
    QCOMPARE(server.messages().size(), 2);
    QCOMPARE(said(server, "S: 503 5.5.1 MAIL was already given").size(), 0);
    QCOMPARE(said(server, "C: .").size(), surplusDots);
}

void TestSmtpSendMail::writesAddressesAsTheyAre_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("quoted") << QStringLiteral("\"x@y\\\\.\"@example.net")
                            << QByteArray("\"x@y\\\\.\"@example.net");
    QTest::newRow("domain beyond ASCII")
        << QStringLiteral(" b@bücher.example ") << QByteArray("b@xn--bcher-kva.example");
    QTest::newRow("local part beyond ASCII")
        << QStringLiteral("jö@example.net") << QByteArray("j\xc3\xb6@example.net");
}

void TestSmtpSendMail::writesAddressesAsTheyAre()
{
    QFETCH(QString, address);
    QFETCH(QByteArray, written);
    ServerOptions options;
    options.smtpUtf8 = true;
    SmtpServer server(options);
    SendClient client(server);
    client.mail.AddressCheck = 1;
    QCOMPARE(client.send(address), QStringLiteral("sent"));
    QVERIFY(server.transcript().contains("C: RCPT TO:<" + written + ">"));
    QCOMPARE(said(server, "BODY=8BITMIME SMTPUTF8").size(), written.contains("\xc3") ? 1 : 0);
    QVERIFY(server.messages().first().data.contains("\r\nTo: " + written + "\r\n"));
}

void TestSmtpSendMail::sendsAttachments()
{
    QTemporaryDir folder;
    SmtpServer server;
    SendClient client(server);
    client.mail.Attachments =
        writeFile(folder.filePath(QStringLiteral("big.bin")), QByteArray(3'000'000, 'x'));
    QList<int> percents;
    QObject::connect(&client.mail, &SendMail::Progress, [&](int percent) { percents << percent; });
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QVERIFY(percents.size() > 10 && percents.last() == 100);
    QVERIFY(std::is_sorted(percents.begin(), percents.end()));
    QCOMPARE(server.messages().first().data.count("eHh4"), 1'000'000);
    QVERIFY(QFile::remove(client.mail.Attachments));
    QVERIFY(client.send().startsWith(QLatin1String("The attachment big.bin cannot be read")));
    client.mail.Attachments.clear();
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(server.messages().size(), 2);
}

void TestSmtpSendMail::encryptsAndLogsIn_data()
{
    QTest::addColumn<QByteArrayList>("methods");
    QTest::addColumn<bool>("startTls");
    QTest::addColumn<bool>("implicitTls");
    const auto row = [](const char *name, const QByteArrayList &methods, bool startTls = false,
                        bool implicitTls = false) {
        QTest::newRow(name) << methods << startTls << implicitTls;
    };
    row("PLAIN", {"PLAIN"});
    row("LOGIN", {"LOGIN"});
    row("CRAM-MD5", {"CRAM-MD5"});
    row("STARTTLS, no login", {}, true);
    row("STARTTLS, PLAIN", {"PLAIN", "LOGIN"}, true);
    row("smtps, LOGIN", {"LOGIN"}, false, true);
}

void TestSmtpSendMail::encryptsAndLogsIn()
{
    QFETCH(QByteArrayList, methods);
    QFETCH(bool, startTls);
    QFETCH(bool, implicitTls);
    const TestCertificates certificates;
    qputenv("SSL_CERT_FILE", certificates.caFile().toUtf8());
    ServerOptions options;
    options.startTls = startTls;
    options.implicitTls = implicitTls;
    options.certificateFile = certificates.serverCertificate();
    options.keyFile = certificates.serverKey();
    options.auth = methods;
    options.authNeedsTls = startTls;
    options.user = "j\xc3\xbcrgen@example.org";
    options.password = "s3cret";
    SmtpServer server(options);
    SendClient client(QStringLiteral("%1localhost:%2")
                          .arg(implicitTls ? QStringLiteral("smtps://") : QString())
                          .arg(server.port()));
    if (!methods.isEmpty())
        client.logIn(QString::fromUtf8(options.user));
    client.mail.Body = QString(500'000, u'ä');
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(client.send(), QStringLiteral("sent"));
    client.mail.Disconnect();
    qunsetenv("SSL_CERT_FILE");
    QCOMPARE(server.sessions(), 1);
    QCOMPARE(server.messages().last().encrypted, startTls || implicitTls);
    QCOMPARE(server.messages().last().user, methods.isEmpty() ? QByteArray() : options.user);
    QCOMPARE(server.messages().last().data.replace("=\r\n", "").count("=C3=A4"), 500'000);
}

void TestSmtpSendMail::yieldsWhileAServerIsSlow()
{
    for (const char *command : {"CONNECT", "MAIL", "DATA-END", "QUIT"}) {
        Exchange exchange({delay(command, std::chrono::milliseconds(480))});
        SendClient &client = exchange.client;
        QCOMPARE(client.send(), QStringLiteral("sent"));
        client.mail.Disconnect();
        // 30 slices pass; a busy machine may lose some.
        QVERIFY2(client.yield.count >= 10 && client.yield.count < 100, command);
    }
}

void TestSmtpSendMail::turnsAwayCallsFromAYield()
{
    Exchange exchange({delay("DATA-END", std::chrono::milliseconds(100))});
    auto &[server, client] = exchange;
    bool connected = true;
    client.yield.action = [&] {
        client.yield.action = nullptr;
        client.mail.Send();
        client.mail.Disconnect();
        connected = client.mail.Connect();
    };
    client.mail.Send();
    QCOMPARE(client.outcomes, (QStringList{QStringLiteral("Another message is still being sent"),
                                           QStringLiteral("sent")}));
    QVERIFY(!connected);
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(server.sessions(), 1);
}

void TestSmtpSendMail::doesNotWaitForAGoodbye()
{
    SmtpServer server(Exchange::options({rule("QUIT", Action::Stall)}));
    SmtpTimeouts timeouts;
    timeouts.quit = std::chrono::milliseconds(100);
    SendClient client(server, timeouts);
    QCOMPARE(client.send(), QStringLiteral("sent"));
    client.mail.Disconnect();
    // The limit of other replies would take thousands of slices.
    QVERIFY(client.yield.count < 100);
    QCOMPARE(client.send(), QStringLiteral("sent"));
    QCOMPARE(server.sessions(), 2);
}

void TestSmtpSendMail::deliversToAForeignServer()
{
    const QString python = QStringLiteral("/usr/bin/python3");
    QTcpServer portFinder;
    QVERIFY(portFinder.listen(QHostAddress::LocalHost));
    const quint16 port = portFinder.serverPort();
    portFinder.close();
    QTemporaryDir folder;
    const QString box = folder.filePath(QStringLiteral("box"));
    QProcess server;
    server.start(python,
                 QStringLiteral("-m aiosmtpd -n -u -l 127.0.0.1:%1 -c aiosmtpd.handlers.Mailbox")
                         .arg(port)
                         .split(u' ')
                     << box);
    QVERIFY(server.waitForStarted());

    SendClient client(QStringLiteral("127.0.0.1:%1").arg(port));
    QTRY_VERIFY_WITH_TIMEOUT(client.mail.Connect(), 60000);
    client.mail.SenderName = QStringLiteral("Jürgen");
    client.mail.Subject = QStringLiteral("Grüße");
    client.mail.Body = QStringLiteral(".\nÄpfel\n");
    client.mail.Attachments = writeFile(folder.filePath(QStringLiteral("ü.txt")), "attached");
    QCOMPARE(client.send(QStringLiteral("ö@bücher.example")), QStringLiteral("sent"));
    QCOMPARE(client.send(), QStringLiteral("sent"));
    client.mail.Disconnect();

    const QString script = QStringLiteral(R"(
import email, mailbox, sys
from email import policy
for m in mailbox.Maildir(sys.argv[1], create=False):
    m = email.message_from_bytes(m.as_bytes(), policy=policy.default)
    p = list(m.iter_attachments())[0]
    print(ascii((m['subject'], m['from'].addresses[0].display_name, m.get_body().get_content(),
                 p.get_filename(), p.get_content(), m.defects))))");
    QProcess reader;
    reader.start(python, {QStringLiteral("-c"), script, box});
    QVERIFY(reader.waitForFinished());
    const QByteArray one =
        R"(('Gr\xfc\xdfe', 'J\xfcrgen', '.\n\xc4pfel', '\xfc.txt', 'attached', []))"
        "\n";
    QCOMPARE(reader.readAllStandardOutput() + reader.readAllStandardError(), one + one);
    server.kill();
    server.waitForFinished();
}

QTEST_GUILESS_MAIN(TestSmtpSendMail)
#include "tst_smtpsendmail.moc"

#include "sendclient.h"
#include "testcertificates.h"

#include <QTcpServer>
#include <QTest>

using Action = ServerRule::Action;

/// Each way in which a message can fail, and what the operator is told then.
class TestSmtpFailures : public QObject
{
    Q_OBJECT

private slots:
    void beforeTheWire_data();
    void beforeTheWire();
    void opening_data();
    void opening();
    void connecting();
    void sending_data();
    void sending();

private:
    const TestCertificates m_certificates;
};

void TestSmtpFailures::beforeTheWire_data()
{
    QTest::addColumn<QString>("sender");
    QTest::addColumn<QString>("recipient");
    QTest::addColumn<int>("check");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QString &recipient, int check, const char *reason,
                        const char *sender = "a@example.org") {
        QTest::newRow(name) << QString::fromLatin1(sender) << recipient << check
                            << QString::fromLatin1(reason);
    };
    row("no recipient", {}, 0, "The recipient address is empty");
    row("a second command", QStringLiteral("b@example.net\r\nRCPT TO:<c@example.net"), 0,
        "The recipient address holds a control character");
    row("a parameter", QStringLiteral("b@example.net> X=Y"), 0,
        "The recipient address holds an angle bracket");
    row("sender", QStringLiteral("b@example.net"), 0, "The sender address holds a blank",
        "a b@example.org");
    row("shape", QStringLiteral("b@localhost"), 1,
        "The recipient address has no dot in the domain after the @");
    row("beyond ASCII", QStringLiteral("ö@example.net"), 1,
        "127.0.0.1 does not take addresses with letters beyond ASCII before the @");
}

void TestSmtpFailures::beforeTheWire()
{
    QFETCH(QString, sender);
    QFETCH(QString, recipient);
    QFETCH(int, check);
    QFETCH(QString, reason);
    Exchange exchange;
    auto &[server, client] = exchange;
    client.mail.SenderAddress = sender;
    client.mail.AddressCheck = check;
    QCOMPARE(client.send(recipient), reason);
    QCOMPARE(client.statuses.last(), reason);
    QVERIFY(said(server, "C: MAIL").isEmpty());
}

void TestSmtpFailures::opening_data()
{
    enum Certificate { None, Good, OtherHost, Expired, Untrusted };
    QTest::addColumn<QString>("host");
    QTest::addColumn<ServerOptions>("options");
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<QString>("reason");
    const auto row = [this](const char *name, const QString &host, Certificate certificate,
                            const QList<ServerRule> &rules, const char *reason) {
        ServerOptions options;
        options.rules = rules;
        options.auth = {"PLAIN"};
        options.user = "user";
        options.password = "other";
        options.startTls = certificate != None;
        options.keyFile = m_certificates.serverKey();
        options.certificateFile = certificate == OtherHost ? m_certificates.otherHostCertificate()
                                  : certificate == Expired ? m_certificates.expiredCertificate()
                                                           : m_certificates.serverCertificate();
        QTest::newRow(name) << host << options << (certificate != Untrusted)
                            << QString::fromLatin1(reason);
    };
    const QString local = QStringLiteral("localhost");
    // The second where the name server itself is out of reach.
    row("unknown name", QStringLiteral("nobody.invalid"), None, {},
        "The SMTP server nobody.invalid was not found: no address is known for this name|"
        "nobody.invalid could not be reached within 30 seconds");
    row("turned away", local, None, {answer("CONNECT", {"554-5.7.1 Not", "554 you"})},
        "localhost refused the session: 554 5.7.1 Not you");
    row("too busy", local, None, {answer("EHLO", {"421 4.3.2 Busy"})},
        "localhost refused the session: 421 4.3.2 Busy");
    row("another service", local, None, {answer("CONNECT", {"HTTP/1.1 400 Bad Request"})},
        "localhost does not answer like an SMTP server");
    row("no greeting", local, None, {rule("CONNECT", Action::Drop)},
        "localhost closed the connection before the session was open");
    row("a silent greeting", local, None, {rule("CONNECT", Action::Stall)},
        "localhost did not answer within 1 seconds");
    row("a silent EHLO", local, None, {rule("EHLO", Action::Stall)},
        "localhost did not answer within 1 seconds");
    row("login refused", local, None, {}, "localhost refused the login: 535 .+");
    row("no login", local, None, {withoutPipelining()}, "localhost offers no login");
    row("no known login", local, None, {answer("EHLO", {"250-localhost", "250 AUTH X-SECRET"})},
        "localhost offers no way to log in that this program knows");
    row("not a TLS server", QStringLiteral("smtps://localhost"), None, {},
        "No encrypted connection to localhost could be agreed on");
    row("unknown issuer", local, Untrusted, {},
        "The certificate of localhost is not trusted: its issuer is not known here");
    row("other name", local, OtherHost, {},
        "The certificate of localhost was issued for another name");
    row("expired", local, Expired, {}, "The certificate of localhost has expired");
    row("no encryption for a password", QStringLiteral("mail.localhost"), None, {},
        "mail.localhost offers no encryption, and the password would travel unencrypted");
    row("encryption refused for a password", QStringLiteral("mail.localhost"), Good,
        {answer("STARTTLS", {"454 4.7.0 Not now"})},
        "mail.localhost refused to encrypt the connection, and the password would travel "
        "unencrypted: 454 4.7.0 Not now");
}

void TestSmtpFailures::opening()
{
    QFETCH(QString, host);
    QFETCH(ServerOptions, options);
    QFETCH(bool, trusted);
    QFETCH(QString, reason);
    if (trusted)
        qputenv("SSL_CERT_FILE", m_certificates.caFile().toUtf8());
    SmtpServer server(options);
    SendClient client(QStringLiteral("%1:%2").arg(host).arg(server.port()),
                      timeoutsFor(options.rules));
    client.logIn();
    QVERIFY(!client.mail.Connect());
    const QString outcome = client.send();
    qunsetenv("SSL_CERT_FILE");
    QVERIFY2(
        QRegularExpression(QRegularExpression::anchoredPattern(reason)).match(outcome).hasMatch(),
        qPrintable(outcome));
    QCOMPARE(client.statuses.count(outcome), 2);
    QVERIFY(server.messages().isEmpty());
    // Over the network a password goes encrypted or not at all.
    if (host == QLatin1String("mail.localhost")) {
        QVERIFY(said(server, "C: AUTH").isEmpty());
        client.mail.Authenticate = false;
        QCOMPARE(client.send(), QStringLiteral("sent"));
    }
}

void TestSmtpFailures::connecting()
{
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost));
    const quint16 port = closed.serverPort();
    closed.close();
    SendClient client(QStringLiteral("127.0.0.1:%1").arg(port));
    QCOMPARE(client.send(),
             QStringLiteral("Nothing answers at 127.0.0.1 on port %1: the connection was refused")
                 .arg(port));

    // A server whose queue is full answers to nobody.
    QTcpServer full;
    full.setListenBacklogSize(0);
    QVERIFY(full.listen(QHostAddress::LocalHost));
    full.pauseAccepting();
    QTcpSocket waiting;
    waiting.connectToHost(QHostAddress::LocalHost, full.serverPort());
    QVERIFY(waiting.waitForConnected());
    SendClient late(QStringLiteral("127.0.0.1:%1").arg(full.serverPort()),
                    {std::chrono::milliseconds(700)});
    QCOMPARE(late.send(), QStringLiteral("127.0.0.1 could not be reached within 1 seconds"));
    QVERIFY(late.yield.count > 10);
}

void TestSmtpFailures::sending_data()
{
    QTest::addColumn<ServerRule>("rule");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const ServerRule &made, const char *reason) {
        QTest::newRow(name) << made << QString::fromLatin1(reason);
    };
    row("sender refused", answer("MAIL", {"553 5.7.1 Not yours"}), "553 5.7.1 Not yours");
    row("recipient refused", answer("RCPT", {"550-5.1.1 No such", "550-user", "550 here"}),
        "550 5.1.1 No such user here");
    row("message not wanted", answer("DATA", {"451 4.3.0 Later"}), "451 4.3.0 Later");
    row("message refused", answer("DATA-END", {"554 5.7.1 Spam"}), "554 5.7.1 Spam");
    row("service closing", answer("RCPT", {"421 4.3.2 Closing"}), "421 4.3.2 Closing");
    row("code alone", answer("RCPT", {"550"}), "550");
    row("controls in the words", answer("RCPT", {"550 a\x1b[1m"}), "550 a [1m");
    row("refused, then dropped", answer("RCPT", {"550 5.1.1 No", "421 4.3.2 Closing"}),
        "550 5.1.1 No");
    row("nonsense", answer("RCPT", {"whatever"}),
        "127.0.0.1 does not answer like an SMTP server before the message");
    row("dropped before", rule("RCPT", Action::Drop),
        "The connection to 127.0.0.1 was lost before the message");
    row("silent before", rule("RCPT", Action::Stall),
        "127.0.0.1 did not answer within 1 seconds before the message");
    row("dropped in the middle", rule("DATA-BODY", Action::Drop),
        "The connection to 127.0.0.1 was lost in the middle of the message");
    row("closed in the middle", answer("DATA-BODY", {"421 4.3.1 Disk is full"}),
        "421 4.3.1 Disk is full");
    row("dropped after", rule("DATA-END", Action::Drop),
        "The connection to 127.0.0.1 was lost after the whole message; it may have been delivered");
    row("silent after", rule("DATA-END", Action::Stall),
        "127.0.0.1 did not answer within 1 seconds after the whole message; it may have been "
        "delivered");
}

void TestSmtpFailures::sending()
{
    QFETCH(ServerRule, rule);
    QFETCH(QString, reason);
    rule.times = 1;
    for (const bool together : {true, false}) {
        Exchange exchange({rule}, together);
        auto &[server, client] = exchange;
        if (rule.command == "DATA-BODY")
            client.mail.Body = QString(5'000'000, u'ä');
        QCOMPARE(client.send(), reason);
        QCOMPARE(server.messages().size(), 0);
        client.mail.Body = QStringLiteral("short");
        QCOMPARE(client.send(), QStringLiteral("sent"));
    }
}

QTEST_GUILESS_MAIN(TestSmtpFailures)
#include "tst_smtpfailures.moc"

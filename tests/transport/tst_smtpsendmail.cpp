#include "sendclient.h"
#include "testcertificates.h"
#include "testfiles.h"

#include <QDir>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using Action = ServerRule::Action;

class TestSmtpSendMail : public QObject
{
    Q_OBJECT

private slots:
    void servesAllFromOneSession()
    {
        for (const bool together : {true, false}) {
            Exchange exchange({}, together);
            auto &[server, client] = exchange;
            client.mail.Body = u".\n..\n.a\nb.\n."_s;
            QVERIFY(client.mail.Connect());
            QCOMPARE(client.statuses,
                     (QStringList{u"Connecting to 127.0.0.1 ..."_s, u"Connected"_s}));
            QByteArrayList expected;
            for (int i = 0; i < 10; ++i) {
                QCOMPARE(client.send(u"b%1@example.net"_s.arg(i)), u"sent"_s);
                QCOMPARE(client.percents.last(), 100);
                expected << "C: MAIL FROM:<a@example.org>"
                         << "C: RCPT TO:<b" + QByteArray::number(i) + "@example.net>"
                         << "C: DATA";
                QVERIFY(
                    server.messages().last().data.endsWith("\r\n\r\n.\r\n..\r\n.a\r\nb.\r\n.\r\n"));
            }
            client.mail.Disconnect();
            client.mail.Disconnect();
            QCOMPARE(said(server, "C: ").sliced(1), expected << "C: QUIT");
            QCOMPARE(server.messages().size(), 10);
        }
    }

    void followsChangedAccount()
    {
        SmtpServer first({.auth = {"PLAIN"}, .user = "user", .password = "s3cret"});
        SmtpServer second;
        SendClient client(u"127.0.0.1:%1"_s.arg(first.port()));
        client.send();
        client.logIn();
        client.sendAll(2);
        QCOMPARE(first.sessions(), 2);
        QCOMPARE(first.messages().last().user, "user");
        client.mail.Host = u"localhost:%1"_s.arg(second.port());
        client.mail.Authenticate = false;
        client.send();
        QCOMPARE(second.messages().size(), 1);
        QCOMPARE(client.outcomes.count(u"sent"_s), 4);
    }

    void reopensADroppedSession()
    {
        for (const auto &end : {rule("MAIL", Action::Drop, 1, 1),
                                answer("MAIL", {"421 4.4.2 Idle for too long"}, 1, 1)}) {
            for (const bool together : {true, false}) {
                Exchange exchange({end}, together);
                QVERIFY(exchange.client.mail.Connect());
                QCOMPARE(exchange.client.sendAll(3), u"sent|sent|sent"_s);
                QCOMPARE(exchange.server.sessions(), 2);
                QCOMPARE(exchange.server.messages().size(), 3);
            }
        }
    }

    void neverSendsAMessageTwice()
    {
        Exchange exchange({rule("DATA-END", Action::Drop, 1, 1)});
        QCOMPARE(exchange.client.sendAll(3),
                 u"sent|The connection to 127.0.0.1 was lost after the whole message; it may have "
                 "been delivered|sent"_s);
        QCOMPARE(said(exchange.server, "C: DATA").size(), 3);
        QCOMPARE(exchange.server.sessions(), 2);
    }

    void keepsTheSessionAfterARefusal()
    {
        // The last is asked for the message in spite of its refusal.
        for (const char *command : {"MAIL", "RCPT", "DATA", "DATA-END", "rcpt"}) {
            const int asked = islower(command[0]) ? 2 : 0;
            for (const bool together : {true, asked > 0}) {
                Exchange exchange(
                    {answer(command, {"550 Not now"}, 2), answer("DATA", {"354 Go on"}, asked)},
                    together);
                auto &[server, client] = exchange;
                QCOMPARE(client.sendAll(4), u"550 Not now|550 Not now|sent|sent"_s);
                QCOMPARE(server.sessions(), 1);
                QCOMPARE(server.messages().size(), 2);
                QVERIFY(said(server, "S: 503 5.5.1 MAIL was already given").isEmpty());
                QCOMPARE(said(server, "C: .").size(), asked);
            }
        }
    }

    void encryptsAndLogsIn()
    {
        // A name under "localhost" is this machine to the library, but it is verified.
        const TestCertificates certificates;
        const struct {
            QString host;
            QByteArrayList methods;
            bool startTls = false;
        } rows[] = {{u"localhost"_s, {"LOGIN"}},
                    {u"mail.localhost"_s, {"PLAIN", "LOGIN"}, true},
                    {u"smtps://mail.localhost"_s, {"LOGIN"}},
                    {u"127.0.0.1"_s, {}, true},
                    {u"localhost"_s, {"PLAIN"}, true},
                    {u"smtps://localhost"_s, {}}};
        for (const auto &[host, methods, startTls] : rows) {
            ServerOptions options{.auth = methods, .user = "j\xc3\xbcrgen", .password = "s3cret"};
            options.startTls = startTls;
            options.implicitTls = host.startsWith(u"smtps"_s);
            const bool verified = host.contains(u"mail."_s);
            options.certificateFile =
                verified ? certificates.serverCertificate() : certificates.selfSignedCertificate();
            options.keyFile = certificates.serverKey();
            qputenv("SSL_CERT_FILE", verified ? certificates.caFile().toUtf8() : QByteArray());
            SmtpServer server(options);
            SendClient client(u"%1:%2"_s.arg(host).arg(server.port()));
            if (!methods.isEmpty())
                client.logIn(u"jürgen"_s);
            client.mail.Body = QString(100'000, u'ä');
            QCOMPARE(client.sendAll(2), u"sent|sent"_s);
            client.mail.Disconnect();
            ReceivedMessage last = server.messages().last();
            QCOMPARE(last.encrypted, startTls || options.implicitTls);
            QCOMPARE(last.user, methods.isEmpty() ? QByteArray() : options.user);
            QCOMPARE(last.data.replace("=\r\n", "").count("=C3=A4"), 100'000);
        }
        qunsetenv("SSL_CERT_FILE");
    }

    void yieldsWhileAServerIsSlow()
    {
        for (const char *command : {"CONNECT", "MAIL", "DATA-END", "QUIT"}) {
            Exchange exchange({{.command = command, .delay = std::chrono::milliseconds(480)}});
            SendClient &client = exchange.client;
            QCOMPARE(client.send(), u"sent"_s);
            client.mail.Disconnect();
            // 30 slices pass; a busy machine may lose some.
            QVERIFY2(client.yield.count >= 10 && client.yield.count < 100, command);
        }
    }

    void turnsAwayCallsFromAYield()
    {
        Exchange exchange({{.command = "DATA-END", .delay = std::chrono::milliseconds(100)}});
        auto &[server, client] = exchange;
        client.yield.action = [&] {
            client.mail.Send();
            client.mail.Disconnect();
            QVERIFY(!client.mail.Connect());
        };
        QCOMPARE(client.send(), u"Another message is still being sent AND sent"_s);
        QCOMPARE(client.send(), u"sent"_s);
        QCOMPARE(server.sessions(), 1);
    }

    void deliversToAForeignServer()
    {
        QTcpServer portFinder;
        portFinder.listen(QHostAddress::LocalHost);
        const QString address = u"127.0.0.1:%1"_s.arg(portFinder.serverPort());
        portFinder.close();
        QTemporaryDir folder;
        QProcess server;
        server.start(u"/usr/bin/python3"_s,
                     u"-m aiosmtpd -n -u -l %1 -c aiosmtpd.handlers.Mailbox %2/box"_s
                         .arg(address, folder.path())
                         .split(u' '));
        QVERIFY(server.waitForStarted());

        SendClient client(address);
        QTRY_VERIFY_WITH_TIMEOUT(client.mail.Connect(), 60000);
        client.mail.SenderName = u"Jürgen"_s;
        client.mail.Subject = u"Grüße"_s;
        client.mail.Body = u".\nÄpfel\n"_s;
        client.mail.Attachments = writeFile(folder.filePath(u"ü.txt"_s), "attached");
        QCOMPARE(client.send(u"ö@bücher.example"_s), u"sent"_s);
        QCOMPARE(client.send(), u"sent"_s);
        client.mail.Disconnect();

        QDir mails(folder.filePath(u"box/new"_s));
        QCOMPARE(mails.entryList(QDir::Files).size(), 2);
        for (const QString &name : mails.entryList(QDir::Files)) {
            const QByteArray mail = readFile(mails.filePath(name));
            for (const char *part :
                 {"\n.\n=C3=84pfel\n", "\nYXR0YWNoZWQ=\n", "\nSubject: =?UTF-8?B?"})
                QVERIFY2(mail.contains(part), mail.constData());
        }
        server.kill();
        server.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(TestSmtpSendMail)
#include "tst_smtpsendmail.moc"

#include "sendclient.h"
#include "testcertificates.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QTest>

using Action = ServerRule::Action;

static bool fits(const QString &text, const QByteArray &pattern)
{
    const QString whole = QRegularExpression::anchoredPattern(QString::fromUtf8(pattern));
    return QRegularExpression(whole).match(text).hasMatch();
}

/// Each way in which a message can fail, and what the operator is told then.
class TestSmtpFailures : public QObject
{
    Q_OBJECT

private slots:
    void beforeTheWire()
    {
        Exchange exchange({}, false);
        auto &[server, client] = exchange;
        const auto told = [&client](const QString &recipient, const char *reason) {
            return fits(client.send(recipient), reason) &&
                   client.statuses.last() == client.outcomes.last();
        };
        QVERIFY(told(u"b@x.net,c@x.net"_s, "The recipient address is not a single address: .*"));
        QVERIFY(told(u"ö@x.net"_s, "127.0.0.1 does not take addresses with letters beyond .*"));
        client.mail.AddressCheck = 1;
        QVERIFY(told(u"b@localhost"_s, "The recipient address has no dot in the domain .*"));
        client.mail.SenderAddress = u"a b@example.org"_s;
        QVERIFY(told(u"b@x.net"_s, "The sender address holds a blank"));
        QVERIFY(said(server, "C: MAIL").isEmpty());
    }

    void opening()
    {
        const QString none, good = m_certificates.serverCertificate();
        const QString self = m_certificates.selfSignedCertificate();
        const QString other = m_certificates.otherHostCertificate();
        const char *const local = "localhost", *const remote = "mail.localhost";
        const struct {
            const char *host;
            QString certificate;
            ServerRule rule;
            const char *reason;
        } rows[] = {
            // The second where the name server itself is out of reach.
            {"nobody.invalid", none, {}, ".*% was not found.*|% could not be .* within 30 seconds"},
            {local, none, answer("CONNECT", {"554-a", "554 b"}), "% refused the session: 554 a b"},
            {local, good, answer("STARTTLS", {"421 Busy"}), "% refused the session: 421 Busy"},
            {local, none, answer("CONNECT", {""}), "% does not answer like an SMTP server"},
            {local, none, rule("CONNECT", Action::Drop), "% closed the connection before .*"},
            {local, none, rule("CONNECT", Action::Stall), "% did not answer within 1 seconds"},
            {local, none, {}, "% refused the login: 535 .+"},
            {local, none, withoutPipelining(), "% offers no login"},
            {local, none, answer("EHLO", {"250-x", "250 AUTH X"}), "% offers no way to log in .*"},
            {"smtps://localhost", none, {}, "No encrypted connection to localhost could be .*"},
            {remote, self, {}, "The certificate of % is not trusted: its issuer is not known here"},
            {remote, other, {}, "The certificate of % was issued for another name"},
            {remote, m_certificates.expiredCertificate(), {}, ".* certificate of % has expired"},
            {remote, none, {}, "% offers no encryption, and the password would travel .*"},
            {remote, good, answer("STARTTLS", {"454 No"}), "% refused to encrypt .*: 454 No"},
        };
        qputenv("SSL_CERT_FILE", m_certificates.caFile().toUtf8());
        for (const auto &row : rows) {
            ServerOptions options{.auth = {"PLAIN"}, .user = "user", .password = "other"};
            options.startTls = !row.certificate.isEmpty();
            options.certificateFile = row.certificate;
            options.keyFile = m_certificates.serverKey();
            if (!row.rule.command.isEmpty())
                options.rules = {row.rule};
            SmtpServer server(options);
            SendClient client(u"%1:%2"_s.arg(QLatin1String(row.host)).arg(server.port()),
                              row.rule.action == Action::Stall ? impatientAt(Smtp::Greet)
                                                               : Smtp::times);
            if (row.host != local || row.certificate.isEmpty()) // else the login would fail
                client.logIn();
            QVERIFY(!client.mail.Connect());
            const QString outcome = client.send();
            QVERIFY2(fits(outcome, QByteArray(row.reason).replace('%', row.host)), row.reason);
            QCOMPARE(client.statuses.count(outcome), 2);
            // Over the network a password goes encrypted or not at all.
            QVERIFY(row.host != remote || said(server, "C: AUTH").isEmpty());
        }
        qunsetenv("SSL_CERT_FILE");
    }

    void connecting()
    {
        SendClient client(u"127.0.0.1:1"_s);
        QCOMPARE(client.send(),
                 u"Nothing answers at 127.0.0.1 on port 1: the connection was refused"_s);
        // A server whose queue is full answers to nobody.
        QTcpServer full;
        full.setListenBacklogSize(0);
        QVERIFY(full.listen(QHostAddress::LocalHost));
        full.pauseAccepting();
        QTcpSocket waiting;
        waiting.connectToHost(QHostAddress::LocalHost, full.serverPort());
        QVERIFY(waiting.waitForConnected());
        SendClient late(u"127.0.0.1:%1"_s.arg(full.serverPort()), impatientAt(Smtp::Connect));
        QCOMPARE(late.send(), u"127.0.0.1 could not be reached within 1 seconds"_s);
        QVERIFY(late.yield.count > 3);
    }

    void sending()
    {
        const struct {
            ServerRule rule;
            const char *reason;
            Smtp::Step impatient = Smtp::Connect;
        } rows[] = {
            {answer("RCPT", {"550-5.1.1 No", "550-user", "550 here"}), "550 5.1.1 No user here"},
            {answer("RCPT", {"550"}), "550"},
            {answer("RCPT", {"550 a\x1b[1m"}), "550 a \\[1m"},
            {answer("RCPT", {"550 5.1.1 No", "421 Closing"}), "550 5.1.1 No"},
            {answer("RCPT", {"whatever"}), ".* does not answer like .* before the message"},
            {rule("RCPT", Action::Drop), "The connection to .* was lost before the message"},
            {rule("DATA-BODY", Action::Drop), ".* was lost in the middle of the message"},
            {answer("DATA-BODY", {"421 Disk is full"}), "421 Disk is full"},
            {rule("MAIL", Action::Stall), ".* 1 seconds before the message", Smtp::Mail},
            {rule("RCPT", Action::Stall), ".* 1 seconds before the message", Smtp::Rcpt},
            {rule("DATA", Action::Stall), ".* 1 seconds before the message", Smtp::Data},
            {rule("DATA-BODY", Action::Stall), ".* 1 seconds in the middle.*", Smtp::Block},
            {rule("DATA-END", Action::Stall), ".* 1 seconds after.*; it may have .*", Smtp::End},
        };
        for (auto row : rows) {
            row.rule.times = 1;
            Smtp::Times times = Smtp::times;
            if (row.rule.action == Action::Stall)
                times = impatientAt(row.impatient);
            for (const bool together : {true, false}) {
                Exchange exchange({row.rule}, together, times);
                auto &[server, client] = exchange;
                if (row.rule.command == "DATA-BODY")
                    client.mail.Body = QString(5'000'000, u'ä');
                QVERIFY2(fits(client.send(), row.reason), qPrintable(client.outcomes.last()));
                QCOMPARE(server.messages().size(), 0);
                client.mail.Body = u"short"_s;
                QCOMPARE(client.send(), u"sent"_s);
            }
        }
    }

    void doesNotWaitForAGoodbye()
    {
        Exchange exchange({rule("QUIT", Action::Stall)}, true, impatientAt(Smtp::Quit));
        QCOMPARE(exchange.client.send(), u"sent"_s);
        exchange.client.mail.Disconnect();
        QCOMPARE(exchange.client.send(), u"sent"_s);
        QCOMPARE(exchange.server.sessions(), 2);
    }

    void repeatsNoPassword()
    {
        const QByteArray echo = "s3cret S3CRET czNjcmV0 AUTH PLAIN AHVzZXIAczNjcmV0";
        const QString masked = u" *** *** *** AUTH PLAIN ***"_s;
        const struct {
            const char *command, *code;
            QString reason;
        } rows[] = {{"AUTH", "535", u"127.0.0.1 refused the login: 535"_s + masked},
                    {"RCPT", "550", u"550"_s + masked},
                    {"DATA-END", "554", u"554"_s + masked}};
        for (const auto &row : rows) {
            SmtpServer server({.auth = {"PLAIN"},
                               .user = "user",
                               .password = "s3cret",
                               .rules = {answer(row.command, {row.code + (' ' + echo)})}});
            SendClient client(u"127.0.0.1:%1"_s.arg(server.port()));
            client.logIn();
            QCOMPARE(client.send(), row.reason);
            QVERIFY(!client.statuses.join(u' ').contains(u"3cret"_s));
        }
    }

private:
    const TestCertificates m_certificates;
};

QTEST_GUILESS_MAIN(TestSmtpFailures)
#include "tst_smtpfailures.moc"

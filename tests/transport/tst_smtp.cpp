// The component that sends, against a server of the tests and a foreign one: what goes over the
// wire, and each way in which a message can fail.

#include "fakes.h"
#include "smtpsendmail.h"
#include "smtpserver.h"
#include "testcertificates.h"
#include "testfiles.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Action = ServerRule::Action;

namespace
{

/// The component as the program holds it, with all that it has told.
struct SendClient {
    explicit SendClient(const QString &host, const Smtp::Times &times = Smtp::times)
        : mail(yield, nullptr, times)
    {
        mail.Host = host;
        mail.SenderAddress = u"a@example.org"_s;
        mail.Subject = u"News"_s;
        mail.Body = u"Hello\n"_s;
        QObject::connect(&mail, &SendMail::SendFailed, [this](auto text) { outcomes << text; });
        QObject::connect(&mail, &SendMail::SendSuccesful, [this] { outcomes << u"sent"_s; });
        QObject::connect(&mail, &SendMail::Status, [this](auto text) { statuses << text; });
        QObject::connect(&mail, &SendMail::Progress, [this](int share) { percents << share; });
    }

    void logIn(const QString &user = u"user"_s)
    {
        mail.Authenticate = true;
        mail.UserName = user;
        mail.Password = u"s3cret"_s;
    }

    /// Sends one message and returns its outcome: "sent", or the reason.
    QString send(const QString &recipient = u"b@example.net"_s, const QString &next = {})
    {
        const auto before = outcomes.size();
        mail.Recipient = recipient;
        mail.Next = next;
        mail.Send();
        return outcomes.mid(before).join(u" AND "_s);
    }

    /// Sends to each of them, with the next one announced, a message too large for any buffer to
    /// one. Returns a letter for each result.
    QString sendTo(const QStringList &recipients, qsizetype large = -1)
    {
        QString results;
        for (qsizetype i = 0; i < recipients.size(); ++i) {
            mail.Body = i == large ? QString(2'500'000, u'ä') : u"Hello"_s;
            send(recipients[i], recipients.value(i + 1));
            const SendResult &result = mail.Result;
            const QChar letter = u"SRD?NL-"[int(result.kind)]; // in the order of SendResult::Kind
            const bool isNamed = result.isLoginRefused || result.maybeForEverybody;
            results += isNamed ? letter.toLower() : letter;
        }
        return results;
    }

    /// The outcomes of `count` messages, parted by "|".
    QString sendAll(int count)
    {
        const auto before = outcomes.size();
        for (int i = 0; i < count; ++i)
            send();
        return outcomes.mid(before).join(u'|');
    }

    CountingYield yield;
    SmtpSendMail mail;
    QStringList outcomes, statuses;
    QList<int> percents;
};

ServerRule rule(const QByteArray &command, ServerRule::Action action, int times = -1, int skip = 0)
{
    return {.command = command, .action = action, .skip = skip, .times = times};
}

ServerRule answer(const QByteArray &command, const QByteArrayList &reply, int times = -1,
                  int skip = 0)
{
    return {.command = command, .reply = reply, .skip = skip, .times = times};
}

/// Makes the server one that wants each command by itself.
ServerRule withoutPipelining()
{
    return answer("EHLO", {"250-localhost", "250 8BITMIME"});
}

/// The program's time limits, but a short one for this step.
Smtp::Times impatientAt(Smtp::Step step)
{
    Smtp::Times times = Smtp::times;
    times[step] = std::chrono::milliseconds(200);
    return times;
}

/// The lines of all sessions that contain `text`.
QByteArrayList said(const SmtpServer &server, const QByteArray &text)
{
    QByteArrayList lines = server.transcript();
    lines.removeIf([&text](const QByteArray &line) { return !line.contains(text); });
    return lines;
}

/// A server that follows these rules, and a client of it. The server takes commands sent together,
/// or wants each by itself.
struct Exchange {
    explicit Exchange(QList<ServerRule> rules = {}, bool together = true,
                      const Smtp::Times &times = Smtp::times)
        : server({.rules = together ? rules : rules << withoutPipelining()})
        , client(u"127.0.0.1:%1"_s.arg(server.port()), times)
    {
    }

    SmtpServer server;
    SendClient client;
};

bool fits(const QString &text, const QByteArray &pattern)
{
    const QString whole = QRegularExpression::anchoredPattern(QString::fromUtf8(pattern));
    return QRegularExpression(whole).match(text).hasMatch();
}

} // namespace

class TestSmtp : public QObject
{
    Q_OBJECT

private slots:
    void servesAllFromOneSession()
    {
        // Trips: of EHLO and QUIT, and of each message.
        for (const auto &[together, announced, trips] :
             {std::tuple(true, true, 13), {true, false, 22}, {false, true, 42}}) {
            Exchange exchange({}, together);
            auto &[server, client] = exchange;
            client.mail.Body = u".\n..\n.a\nb.\n."_s;
            client.mail.MessageId = "an-id";
            QVERIFY(client.mail.Connect());
            QCOMPARE(client.statuses,
                     (QStringList{u"Connecting to 127.0.0.1 ..."_s, u"Connected"_s}));
            QByteArrayList expected;
            for (int i = 0; i < 10; ++i) {
                const auto address = u"b%1@example.net"_s;
                QCOMPARE(
                    client.send(address.arg(i), announced && i < 9 ? address.arg(i + 1) : u""_s),
                    u"sent"_s);
                QCOMPARE(client.percents.last(), 100);
                QCOMPARE(client.mail.Result.reply, u"250 2.0.0 Message taken"_s);
                QCOMPARE(client.mail.IsNextDue, together && announced && i < 9);
                expected << "C: MAIL FROM:<a@example.org> BODY=8BITMIME"
                         << "C: RCPT TO:<" + address.arg(i).toUtf8() + '>' << "C: DATA";
                const QByteArray data = server.messages().last().data;
                QVERIFY(data.endsWith("\r\n\r\n.\r\n..\r\n.a\r\nb.\r\n.\r\n"));
                QVERIFY(data.contains("\r\nMessage-ID: <an-id@example.org>\r\n"));
            }
            client.mail.Disconnect();
            client.mail.Disconnect();
            QCOMPARE(said(server, "C: ").sliced(1), expected << "C: QUIT");
            QCOMPARE(server.messages().size(), 10);
            QCOMPARE(server.trips(), trips);
        }
    }

    /// Every way to fail at every stage: for the one it happens to, and for the others before and
    /// after. The first word of a row is for the first message, which opens the session; the second
    /// is for the second, whose envelope goes out with the first message.
    void failures()
    {
        constexpr int faults = 6;
        const QByteArrayList replies[faults] = {
            {"450 4.2.0 Later"}, {"550 5.7.1 No"}, {"421 Busy"}, {"whatever"}, {}, {}};
        const struct {
            const char *stage;
            Smtp::Step step;
            const char *refusedLater, *refused, *closing, *garbage, *dropped, *stalled;
        } rows[] = {
            {"CONNECT", Smtp::Greet, "NSS", "NSS", "NSS", "NSS", "NSS", "NSS"},
            {"EHLO", Smtp::Greet, "NSS", "NSS", "NSS", "NSS", "NSS", "NSS"},
            {"AUTH", Smtp::Greet, "NSS", "nSS", "NSS", "NSS", "NSS", "NSS"},
            {"MAIL", Smtp::Mail, "NSS SNS", "NSS SNS", "NSS SSS", "NSS SSS", "NSS SSS", "NSS SNS"},
            {"RCPT", Smtp::Rcpt, "DSS SDS", "rSS SrS", "LSS SLS", "LSS SLS", "LSS SLS", "LSS SLS"},
            {"DATA", Smtp::Data, "DSS SDS", "RSS SRS", "LSS SLS", "LSS SLS", "LSS SLS", "LSS SLS"},
            {"DATA-BODY", Smtp::Block, "DSS SDS", "RSS SRS", "LSS SLS", "LSS SLS", "LSS SLS",
             "LSS SLS"},
            {"DATA-END", Smtp::End, "DSS SDS", "RSS SRS", "DSS SDS", "?SS S?S", "?SS S?S",
             "?SS S?S"},
        };
        const QStringList people{u"0@x.net"_s, u"1@x.net"_s, u"2@x.net"_s};
        for (const auto &row : rows) {
            const QByteArray stage = row.stage;
            const char *const expected[faults] = {row.refusedLater, row.refused, row.closing,
                                                  row.garbage,      row.dropped, row.stalled};
            for (int i = 0; i < faults * 2 * 2; ++i) {
                const int fault = i % faults, at = i / faults / 2;
                const QString results = QString::fromLatin1(expected[fault]).split(u' ').value(at);
                ServerOptions options{.auth = {"PLAIN"}, .user = "user", .password = "s3cret"};
                options.rules << answer(stage, replies[fault], 1, at);
                if (replies[fault].isEmpty())
                    options.rules[0].action = fault == 4 ? Action::Drop : Action::Stall;
                else if (stage == "AUTH" && fault == 1)
                    options.rules[0].reply = {"535 5.7.8 Wrong"};
                if (const bool together = i / faults % 2 == 0; !together)
                    options.rules << answer("EHLO", {"250-localhost", "250 AUTH PLAIN"});
                SmtpServer server(options);
                SendClient client(u"127.0.0.1:%1"_s.arg(server.port()),
                                  fault == 5 ? impatientAt(row.step) : Smtp::times);
                client.logIn();
                const bool isLarge = stage == "DATA-BODY";
                const QString became =
                    client.sendTo(people.first(results.size()), isLarge ? at : -1);
                QVERIFY2(became == results,
                         qPrintable(u"%1 %2: %3"_s.arg(QLatin1String(stage)).arg(i).arg(became)));
                QByteArrayList delivered, sent;
                for (const ReceivedMessage &message : server.messages())
                    delivered += message.recipients;
                for (qsizetype person = 0; person < became.size(); ++person)
                    if (became[person] == u'S')
                        sent += people[person].toUtf8();
                QCOMPARE(delivered, sent);
            }
        }
    }

    /// Servers that take commands sent with the dot for an error, lose count, or refuse many.
    void followsServersThatAreOutOfStep()
    {
        const struct {
            ServerRule rule;
            QString results;
            int sessions, trips;
        } rows[] = {
            {answer("MAIL", {"503 5.5.1 Not yet"}, 1, 1), u"SSSS"_s, 1, 10},
            {answer("DATA", {"250 Fine"}, 1, 1), u"SSSS"_s, 2, 12},
            {answer("DATA", {"250 Fine"}, 2, 1), u"SSSS"_s, 3, 21},
            {answer("RCPT", {"354 Fine"}, 2, 1), u"SSSS"_s, 3, 21},
            {answer("DATA", {"250 Fine"}, 3, 1), u"SLSS"_s, 4, 22},
            // After three refusals DATA waits until somebody is accepted.
            {answer("RCPT", {"550 No"}, 5), u"RRRRRSSS"_s, 1, 12},
        };
        for (const auto &row : rows) {
            Exchange exchange({row.rule});
            auto &[server, client] = exchange;
            const QString people =
                u"a@x.net b@x.net c@x.net d@x.net e@x.net f@x.net g@x.net h@x.net"_s;
            QCOMPARE(client.sendTo(people.split(u' ').first(row.results.size())), row.results);
            client.mail.Disconnect();
            QCOMPARE(server.sessions(), row.sessions);
            QCOMPARE(server.messages().size(), row.results.count(u'S'));
            QTRY_COMPARE(server.trips(), row.trips);
        }
    }

    /// However a message that the server waits for comes not to be wanted, nobody gets it.
    void takesBackWhoWasAnnounced()
    {
        const std::function<void(SendClient &)> ways[] = {
            [](SendClient &client) { client.mail.Disconnect(); },
            [](SendClient &client) { client.mail.MessageDue = [] { return false; }; },
            [](SendClient &client) { client.mail.SenderAddress = u"other@example.org"_s; },
            [](SendClient &client) { client.send(u"c@example.net"_s); },
            [](SendClient &client) { client.send(u"not one"_s); },
            [](SendClient &client) { client.logIn(); },
        };
        // A goodbye would be a line of the message, and never be answered.
        Smtp::Times times = Smtp::times;
        times[Smtp::Quit] = std::chrono::hours(1);
        for (size_t i = 0; i < std::size(ways) * 2; ++i) {
            // A server that needs long for the next one does not keep the result of this one.
            const bool isSlow = i % 2 == 1;
            ServerRule rule{.command = "RCPT", .skip = 1, .times = isSlow ? 1 : 0};
            rule.delay = std::chrono::milliseconds(300);
            Exchange exchange({rule}, true, times);
            auto &[server, client] = exchange;
            client.send(u"a@example.net"_s, u"b@example.net"_s);
            QCOMPARE(client.mail.IsNextDue, !isSlow);
            ways[i / 2](client);
            client.send();
            QCOMPARE(client.mail.IsNextDue, false);
            client.mail.MessageDue = nullptr;
            client.mail.Authenticate = false;
            client.send(u"d@example.net"_s);
            client.mail.Disconnect();
            QVERIFY(server.sessions() > 1);
            QCOMPARE(server.messages().size(), client.outcomes.count(u"sent"_s));
            for (const ReceivedMessage &message : server.messages())
                QVERIFY(message.data.contains("\r\n\r\nHello\r\n"));
        }
        // The link goes while the server waits: nothing has left.
        for (const bool announced : {true, false}) {
            auto server = std::make_unique<SmtpServer>();
            SendClient client(u"127.0.0.1:%1"_s.arg(server->port()));
            if (announced)
                client.send(u"a@example.net"_s, u"b@example.net"_s);
            client.mail.MessageDue = [&server] {
                server.reset();
                return true;
            };
            client.send();
            QCOMPARE(client.mail.Result.kind, SendResult::Kind::SessionLost);
        }
    }

    void knowsWordsForEverybody()
    {
        const auto isForAll = [](const char *words) {
            SmtpReply reply;
            reply.add(words);
            return reply.maybeForEverybody();
        };
        for (const char *words : {"530 Log in", "554 5.7.1 <b@x>: Not here", "452 4.3.1 No space",
                                  "550 we do not Relay"})
            QVERIFY2(isForAll(words), words);
        for (const char *words :
             {"550 5.1.1 No user", "451 4.7.1 Greylisted", "550 No 5.7.1", "550"})
            QVERIFY2(!isForAll(words), words);
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
        const std::tuple<QString, QByteArrayList, bool> rows[] = {
            {u"localhost"_s, {"LOGIN"}, false},
            {u"mail.localhost"_s, {"PLAIN", "LOGIN"}, true},
            {u"smtps://mail.localhost"_s, {"LOGIN"}, false},
            {u"127.0.0.1"_s, {}, true},
            {u"localhost"_s, {"PLAIN"}, true},
            {u"smtps://localhost"_s, {}, false}};
        for (const auto &[host, methods, startTls] : rows) {
            ServerOptions options{.auth = methods, .user = "j\xc3\xbcrgen", .password = "s3cret"};
            options.startTls = startTls;
            options.implicitTls = host.startsWith(u"smtps"_s);
            const bool verified = host.contains(u"mail."_s);
            options.certificateFile = verified ? m_certificates.serverCertificate()
                                               : m_certificates.selfSignedCertificate();
            options.keyFile = m_certificates.serverKey();
            qputenv("SSL_CERT_FILE", verified ? m_certificates.caFile().toUtf8() : QByteArray());
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

    /// And what runs meanwhile does not disturb the message at work.
    void yieldsWhileAServerIsSlow()
    {
        for (const char *command : {"CONNECT", "MAIL", "DATA-END", "QUIT"}) {
            Exchange exchange({{.command = command, .delay = std::chrono::milliseconds(480)}});
            auto &[server, client] = exchange;
            client.yield.actAt = 1;
            client.yield.action = [&client = client] {
                client.mail.Send();
                client.mail.Disconnect();
                QVERIFY(!client.mail.Connect());
            };
            client.send();
            client.mail.Disconnect();
            // 30 slices pass; a busy machine may lose some.
            QVERIFY2(client.yield.count >= 10 && client.yield.count < 100, command);
            QCOMPARE(client.outcomes, QStringList(u"Another message is still being sent"_s)
                                          << u"sent"_s);
            QCOMPARE(server.sessions(), 1);
        }
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
        QCOMPARE(client.send(u"ö@bücher.example"_s, u"b@example.net"_s), u"sent"_s);
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
        const std::tuple<const char *, QString, ServerRule, const char *> rows[] = {
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
        for (const auto &[host, certificate, fault, reason] : rows) {
            ServerOptions options{.auth = {"PLAIN"}, .user = "user", .password = "other"};
            options.startTls = !certificate.isEmpty();
            options.certificateFile = certificate;
            options.keyFile = m_certificates.serverKey();
            if (!fault.command.isEmpty())
                options.rules = {fault};
            SmtpServer server(options);
            SendClient client(u"%1:%2"_s.arg(QLatin1String(host)).arg(server.port()),
                              fault.action == Action::Stall ? impatientAt(Smtp::Greet)
                                                            : Smtp::times);
            if (host != local || certificate.isEmpty()) // else the login would fail
                client.logIn();
            QVERIFY(!client.mail.Connect());
            const QString outcome = client.send();
            QVERIFY2(fits(outcome, QByteArray(reason).replace('%', host)), reason);
            QCOMPARE(client.statuses.count(outcome), 2);
            // Over the network a password goes encrypted or not at all.
            QVERIFY(host != remote || said(server, "C: AUTH").isEmpty());
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
            Smtp::Step impatient = Smtp::Quit;
        } rows[] = {
            {answer("RCPT", {"550-5.1.1 No", "550-user", "550 here"}), "550 5.1.1 No user here"},
            {answer("RCPT", {"550"}), "550"},
            {answer("RCPT", {"550 a\x1b[1m"}), "550 a \\[1m"},
            {answer("RCPT", {"550 5.1.1 No", "421 Closing"}), "550 5.1.1 No"},
            {answer("RCPT", {"whatever"}), ".* does not answer like .* before the message"},
            {rule("DATA-BODY", Action::Drop), ".* was lost in the middle of the message"},
            {rule("DATA-END", Action::Stall), ".* 1 seconds after.*; it may have .*", Smtp::End},
        };
        for (const auto &row : rows) {
            Exchange exchange({row.rule}, true, impatientAt(row.impatient));
            if (row.rule.command == "DATA-BODY")
                exchange.client.mail.Body = QString(2'500'000, u'ä');
            QVERIFY2(fits(exchange.client.send(), row.reason),
                     qPrintable(exchange.client.outcomes.last()));
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
        const QByteArray echo = " s3cret S3CRET czNjcmV0 AUTH PLAIN AHVzZXIAczNjcmV0";
        for (const char *command : {"AUTH", "RCPT", "DATA-END"}) {
            SmtpServer server({.auth = {"PLAIN"},
                               .user = "user",
                               .password = "s3cret",
                               .rules = {answer(command, {"535" + echo})}});
            SendClient client(u"127.0.0.1:%1"_s.arg(server.port()));
            client.logIn();
            QVERIFY(client.send().endsWith(u"535 *** *** *** AUTH PLAIN ***"_s));
            QVERIFY(!client.statuses.join(u' ').contains(u"3cret"_s));
        }
    }

private:
    const TestCertificates m_certificates;
};

QTEST_GUILESS_MAIN(TestSmtp)
#include "tst_smtp.moc"

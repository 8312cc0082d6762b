// The console as a person or a script runs it: a process of its own, against a server.

#include "smtpserver.h"
#include "testfolder.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>

namespace
{

struct Finished {
    int status = -1;
    QString output;
    QString messages;
};

QStringList addresses(int count)
{
    QStringList list;
    for (int i = 1; i <= count; ++i)
        list += QStringLiteral("r%1@example.org").arg(i);
    return list;
}

/// A program folder with a job, and settings that name the server.
struct Setup {
    explicit Setup(int recipients, ServerOptions options = {})
        : server(std::move(options))
    {
        listId = folder.addList(QStringLiteral("Members"), addresses(recipients));
        folder.addJob(QStringLiteral("Spring"), listId,
                      folder.addMessage(QStringLiteral("News"), QStringLiteral("Hello")));
        configure(QStringLiteral("127.0.0.1:%1").arg(server.port()));
    }

    void configure(const QString &host) const
    {
        QDir().mkpath(folder.file(QStringLiteral("config/Quillbright")));
        QFile file(folder.file(QStringLiteral("config/Quillbright/Quillbright.conf")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\nSMTP=" + host.toUtf8() + '\n');
    }

    void start(QProcess &process, const QStringList &arguments) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                           folder.file(QStringLiteral("config")));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(CONSOLE),
                      QStringList{QStringLiteral("--folder"), folder.folder().path()} + arguments);
        process.closeWriteChannel();
        QVERIFY(process.waitForStarted());
    }

    Finished run(const QStringList &arguments) const
    {
        QProcess process;
        start(process, arguments);
        process.waitForFinished();
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    QByteArrayList received() const
    {
        QByteArrayList list;
        for (const ReceivedMessage &message : server.messages())
            list += message.recipients;
        return list;
    }

    QString stored() const
    {
        return folder
            .rows(QStringLiteral("select progress, total, unsent, success, failure, "
                                 "last_mid from mjob"))
            .first();
    }

    SmtpServer server;
    TestFolder folder;
    qint64 listId = 0;
};

const QStringList startJob = {QStringLiteral("start"), QStringLiteral("Spring"),
                              QStringLiteral("--batch-pause"), QStringLiteral("0")};

} // namespace

class TestConsole final : public QObject
{
    Q_OBJECT

private slots:
    void wrongUsage_data();
    void wrongUsage();
    void listsJobs();
    void sendsAndRerunsFailures();
    void refuses_data();
    void refuses();
    void reportsStorageErrors();
    void signalPauses_data();
    void signalPauses();
    void killedRunMailsNobodyTwice();
    void secondRunIsRefused();
    void fullDiskStopsTheRun();
    void unreachableServerFailsEveryone();
    void resets();
    void listsMessages();
    void sendsATest_data();
    void sendsATest();
};

void TestConsole::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    for (const char *line :
         {"", "jobs extra", "start", "start 1 --json", "start 1 --rerun x", "start 1 --rerun -1",
          "reset", "dance", "jobs --loud", "jobs --folder=", "messages extra", "messages --rerun 1",
          "test-send 1", "test-send 1 a@b.c --json"})
        QTest::newRow(line) << QString::fromLatin1(line).split(QLatin1Char(' '),
                                                               Qt::SkipEmptyParts);
}

void TestConsole::wrongUsage()
{
    QFETCH(QStringList, arguments);
    const Setup setup(1);
    const Finished done = setup.run(arguments);
    QCOMPARE(done.status, 2);
    QVERIFY(done.output.isEmpty());
    QVERIFY(done.messages.contains(QStringLiteral("usage: quillbright-console")));
}

void TestConsole::listsJobs()
{
    const Setup setup(1);
    const QString name = QStringLiteral("Bob's \"Ünïcode\"");
    setup.folder.addJob(name, setup.listId, 1);
    setup.folder.execute(
        QStringLiteral("update mlist set listname = char(27) || '[2J' || char(13, 10) || 'x'"));
    const Finished table = setup.run({QStringLiteral("jobs")});
    setup.folder.execute(QStringLiteral("update mlist set listname = 'Members'"));
    QCOMPARE(table.status, 0);
    QVERIFY(!table.output.contains(QChar(27))); // a terminal would obey it
    QCOMPARE(table.output.count(QLatin1Char('\n')), 3);
    QVERIFY(table.output.contains(name));
    const QJsonArray jobs =
        QJsonDocument::fromJson(
            setup.run({QStringLiteral("jobs"), QStringLiteral("--json")}).output.toUtf8())
            .array();
    QCOMPARE(jobs.size(), 2);
    QCOMPARE(jobs[0].toObject().value(QStringLiteral("jobname")).toString(), name);
    QCOMPARE(jobs[0].toObject().value(QStringLiteral("jobid")).toInt(), 2);
    QCOMPARE(jobs[0].toObject().value(QStringLiteral("listname")).toString(),
             QStringLiteral("Members"));
}

void TestConsole::sendsAndRerunsFailures()
{
    ServerOptions options;
    // Refused in the run and its automatic rerun, accepted in the one that --rerun allows.
    options.rules = {{.command = "RCPT", .text = "r2@", .reply = {"450 Try later"}, .times = 2}};
    const Setup setup(250, options);
    const Finished done =
        setup.run(startJob + QStringList{QStringLiteral("--rerun"), QStringLiteral("3")});
    QCOMPARE(done.status, 0);
    QCOMPARE(setup.received().size(), 250);
    QCOMPARE(setup.stored(), QStringLiteral("Complete|250|0|250|0|0"));
    QVERIFY(done.messages.contains(QStringLiteral("199 sent, 1 failed")));
    QVERIFY(done.messages.contains(QStringLiteral("There are 1 fail emails.\n"
                                                  "Do you want to resend fail emails ? Yes")));
    QVERIFY(done.messages.contains(QStringLiteral("Job [Spring] completed successfully.")));
    QVERIFY(done.output.contains(QStringLiteral("Complete")));
}

void TestConsole::refuses_data()
{
    QTest::addColumn<QString>("job");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("message");
    QTest::newRow("no such job") << "Autumn"
                                 << ""
                                 << "localhost"
                                 << "There is no job \"Autumn\".";
    QTest::newRow("two of the name")
        << "Spring"
        << "insert into mjob (jobname, listid, msgid) values ('Spring', 1, 1)"
        << "localhost"
        << "There are 2 jobs named \"Spring\"; give the job's number.";
    QTest::newRow("no server") << "1"
                               << ""
                               << ""
                               << "Please enter a SMTP server in the Options Window";
    QTest::newRow("missing attachment") << "1"
                                        << "update mmsg set attach01='/nowhere/a.pdf'"
                                        << "localhost"
                                        << "Attachment not found : /nowhere/a.pdf !";
}

void TestConsole::refuses()
{
    QFETCH(QString, job);
    QFETCH(QString, sql);
    QFETCH(QString, server);
    QFETCH(QString, message);
    const Setup setup(1);
    if (!sql.isEmpty())
        setup.folder.execute(sql);
    setup.configure(server);
    const Finished done = setup.run({QStringLiteral("start"), job});
    QCOMPARE(done.status, 4);
    QVERIFY2(done.messages.contains(message), qPrintable(done.messages));
    QVERIFY(setup.stored().startsWith(QStringLiteral("null|")));
}

void TestConsole::reportsStorageErrors()
{
    const Setup setup(1);
    QVERIFY(QFile::remove(setup.folder.folder().listDatabaseFile(setup.listId)));
    Finished done = setup.run(startJob);
    QCOMPARE(done.status, 5);
    QVERIFY(done.messages.contains(QStringLiteral("does not exist")));
    QVERIFY(QFile::remove(setup.folder.file(QStringLiteral("sys.mdb"))));
    done = setup.run({QStringLiteral("jobs")});
    QCOMPARE(done.status, 5);
    QVERIFY(!QFile::exists(setup.folder.file(QStringLiteral("sys.mdb"))));
}

void TestConsole::signalPauses_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestConsole::signalPauses()
{
    QFETCH(int, number);
    ServerOptions options;
    options.rules = {{.command = "DATA-END", .delay = std::chrono::milliseconds(100)}};
    const Setup setup(100, options);
    QProcess process;
    setup.start(process, startJob);
    QTRY_VERIFY(setup.server.messages().size() >= 2);
    ::kill(pid_t(process.processId()), number);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 3);
    const qsizetype sent = setup.received().size();
    QVERIFY(sent < 100);
    QCOMPARE(setup.stored(), QStringLiteral("Paused|100|%1|%2|0|%2").arg(100 - sent).arg(sent));
}

void TestConsole::killedRunMailsNobodyTwice()
{
    ServerOptions options;
    // Slow enough to be killed in the middle, while the third message waits for its answer.
    options.rules = {{.command = "MAIL", .delay = std::chrono::seconds(60), .skip = 3, .times = 1}};
    const Setup setup(6, options);
    QProcess process;
    setup.start(process, startJob);
    QTRY_COMPARE(setup.server.transcript().count("C: DATA"), 3);
    QTRY_COMPARE(
        setup.folder.rows(QStringLiteral("select mid from email where status='S'"), setup.listId)
            .size(),
        3);
    process.kill();
    QVERIFY(process.waitForFinished());
    QVERIFY(setup.stored().startsWith(QStringLiteral("null|"))); // the job knows nothing of it

    const Finished jobs = setup.run({QStringLiteral("jobs")});
    QVERIFY(jobs.messages.contains(QStringLiteral("Job [Spring] was interrupted")));
    QCOMPARE(setup.stored(), QStringLiteral("Paused|6|3|3|0|3"));
    QCOMPARE(setup.run(startJob).status, 0);
    QByteArrayList expected;
    for (const QString &address : addresses(6))
        expected += address.toUtf8();
    QCOMPARE(setup.received(), expected);
}

void TestConsole::secondRunIsRefused()
{
    ServerOptions options;
    options.rules = {{.command = "DATA-END", .delay = std::chrono::milliseconds(200)}};
    const Setup setup(50, options);
    QProcess first;
    setup.start(first, startJob);
    QTRY_VERIFY(!setup.server.messages().isEmpty());
    const Finished second = setup.run(startJob);
    QCOMPARE(second.status, 4);
    QVERIFY(second.messages.contains(QStringLiteral("Another Quillbright is sending")));
    // A look at the jobs leaves the living run alone.
    QVERIFY(setup.run({QStringLiteral("jobs")}).messages.isEmpty());
    ::kill(pid_t(first.processId()), SIGTERM);
    QVERIFY(first.waitForFinished());
    QCOMPARE(first.exitCode(), 3);
}

void TestConsole::fullDiskStopsTheRun()
{
    const Setup setup(400);
    // A small file system of its own, filled up but for a little: what a run commits soon does not
    // fit.
    const QString data = setup.folder.file(QStringLiteral("data"));
    const QString list = setup.folder.folder().listDatabaseFile(setup.listId);
    QVERIFY(QFile::rename(list, setup.folder.file(QStringLiteral("m1.mdb"))));
    if (QProcess::execute(QStringLiteral("mount"),
                          {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                           QStringLiteral("size=512k"), QStringLiteral("tmpfs"), data}) != 0)
        QSKIP("no right to mount a tmpfs here");
    QVERIFY(QFile::copy(setup.folder.file(QStringLiteral("m1.mdb")), list));
    const Finished full = setup.run(startJob);
    const qsizetype sent = setup.received().size();
    const QStringList recorded =
        setup.folder.rows(QStringLiteral("select email from email where status='S'"), setup.listId);
    QProcess::execute(QStringLiteral("mount"),
                      {QStringLiteral("-o"), QStringLiteral("remount,size=8m"), data});
    const Finished resumed = setup.run(startJob);
    const QByteArrayList received = setup.received();
    QProcess::execute(QStringLiteral("umount"), {data});

    QCOMPARE(full.status, 5);
    QVERIFY2(full.messages.contains(QStringLiteral("is full")), qPrintable(full.messages));
    QVERIFY(sent > 0 && sent < 400);
    QVERIFY(recorded.size() >= sent - 1); // all but the one that did not fit
    QCOMPARE(resumed.status, 0);
    QCOMPARE(received.size(), 400); // everyone, and nobody twice
    QCOMPARE(QSet<QByteArray>(received.begin(), received.end()).size(), 400);
}

void TestConsole::unreachableServerFailsEveryone()
{
    const Setup setup(2);
    setup.configure(QStringLiteral("127.0.0.1:1"));
    const Finished done = setup.run(startJob);
    QCOMPARE(done.status, 1);
    QCOMPARE(setup.stored(), QStringLiteral("Complete|2|0|0|2|0"));
    const QString reason =
        setup.folder.rows(QStringLiteral("select remark from email"), setup.listId).first();
    QVERIFY2(reason.contains(QStringLiteral("127.0.0.1")), qPrintable(reason));
}

void TestConsole::resets()
{
    const Setup setup(2);
    QCOMPARE(setup.run(startJob).status, 0);
    QCOMPARE(setup.run({QStringLiteral("reset"), QStringLiteral("1")}).status, 0);
    QCOMPARE(setup.stored(), QStringLiteral("|2|0|0|0|0"));
}

void TestConsole::listsMessages()
{
    const Setup setup(1);
    setup.folder.execute(QStringLiteral("insert into mmsg (subject) values (null)"));
    const Finished table = setup.run({QStringLiteral("messages")});
    QCOMPARE(table.status, 0);
    QCOMPARE(table.output,
             QStringLiteral("Mail ID  Subject  Sender Name  Sender Email      Format\n"
                            "      1  News     The Club     club@example.org  TEXT\n"
                            "      2\n"));
    const QJsonArray messages =
        QJsonDocument::fromJson(
            setup.run({QStringLiteral("messages"), QStringLiteral("--json")}).output.toUtf8())
            .array();
    QCOMPARE(messages.size(), 2);
    const QJsonObject first = messages[0].toObject();
    QCOMPARE(first.value(QStringLiteral("msgid")).toInt(), 1);
    QCOMPARE(first.value(QStringLiteral("subject")).toString(), QStringLiteral("News"));
    QCOMPARE(first.value(QStringLiteral("sendername")).toString(), QStringLiteral("The Club"));
}

void TestConsole::sendsATest_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("told");
    const QString me = QStringLiteral("me@example.org");
    QTest::newRow("by number") << "1" << me << "" << 0 << "Send success !";
    QTest::newRow("by subject") << "News" << me << "" << 0 << "Send success !";
    QTest::newRow("no such message") << "Olds" << me << "" << 4 << "There is no message \"Olds\".";
    QTest::newRow("two of the subject")
        << "News" << me << "insert into mmsg (subject) values ('News')" << 4
        << "There are 2 messages with the subject \"News\"; give the message's number.";
    QTest::newRow("no address") << "1"
                                << ""
                                << "" << 4 << "Please enter email address !";
    QTest::newRow("missing attachment") << "1" << me << "update mmsg set attach01='/nowhere'" << 4
                                        << "Attachment not found : /nowhere !";
    QTest::newRow("refused") << "1"
                             << "no@example.org"
                             << "" << 1 << "550 No such user";
    QTest::newRow("broken database") << "1" << me << "drop table mmsg" << 5 << "no such table";
}

void TestConsole::sendsATest()
{
    QFETCH(QString, message);
    QFETCH(QString, address);
    QFETCH(QString, sql);
    QFETCH(int, status);
    QFETCH(QString, told);
    ServerOptions options;
    options.rules = {{.command = "RCPT", .text = "no@", .reply = {"550 No such user"}}};
    const Setup setup(1, options);
    if (!sql.isEmpty())
        setup.folder.execute(sql);
    const Finished done = setup.run({QStringLiteral("test-send"), message, address});
    QCOMPARE(done.status, status);
    QVERIFY2(done.messages.contains(told), qPrintable(done.messages));
    QCOMPARE(setup.received(), status == 0 ? QByteArrayList{address.toUtf8()} : QByteArrayList());
}

QTEST_GUILESS_MAIN(TestConsole)
#include "tst_console.moc"

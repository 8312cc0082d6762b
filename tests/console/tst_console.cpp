// Jobs and messages from the command line, against a server.

#include "consoleprocess.h"
#include "smalldisk.h"
#include "smtpserver.h"

#include <QFile>

#include <csignal>

namespace
{

QByteArrayList addresses(int count)
{
    QByteArrayList list;
    for (int i = 1; i <= count; ++i)
        list += "r" + QByteArray::number(i) + "@example.org";
    return list;
}

ServerOptions withRule(ServerRule rule)
{
    ServerOptions options;
    options.rules = {std::move(rule)};
    return options;
}

/// A program folder with a job, and settings that name the server.
struct Setup : ConsoleProcess {
    explicit Setup(int recipients, ServerOptions options = {})
        : server(std::move(options))
    {
        QStringList rows;
        for (const QByteArray &address : addresses(recipients))
            rows += QString::fromLatin1(address);
        listId = folder.addList("Members", rows);
        folder.addJob("Spring", listId, folder.addMessage("News", "Hello"));
        configure(QStringLiteral("127.0.0.1:%1").arg(server.port()));
    }

    void configure(const QString &host) const
    {
        writeFile(folder.file("config/Quillbright/Quillbright.conf"),
                  "[General]\nSMTP=" + host.toUtf8() + '\n');
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
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }

    SmtpServer server;
    qint64 listId = 0;
};

const QString startJob = QStringLiteral("start Spring --batch-pause 0");

} // namespace

class TestConsole final : public QObject
{
    Q_OBJECT

private slots:
    void wrongUsage();
    void listsJobsAndMessages();
    void sendsAndRerunsFailures();
    void exitStatuses_data();
    void exitStatuses();
    void reportsStorageErrors();
    void signalPauses_data();
    void signalPauses();
    void killedRunMailsNobodyTwice();
    void secondRunIsRefused();
    void fullDiskStopsTheRun();
    void unreachableServerFailsEveryone();
};

void TestConsole::wrongUsage()
{
    const Setup setup(1);
    for (const char *line :
         {"", "dance", "jobs extra", "jobs --loud", "jobs --folder=", "start 1 --json",
          "start 1 --rerun -1", "import 1", "import 1 a --filter all", "export 1 a --filter some",
          "test-send 1"}) {
        const Finished done = setup.run(QString::fromLatin1(line));
        QVERIFY2(done.status == 2 && done.output.isEmpty(), line);
        QVERIFY2(done.messages.contains(QStringLiteral("usage: quillbright-console")), line);
    }
}

void TestConsole::listsJobsAndMessages()
{
    const Setup setup(1);
    const QString name = QStringLiteral("Bob's \"Ünïcode\"");
    setup.folder.addJob(name, setup.listId, 1);
    setup.folder.execute(
        QStringLiteral("update mlist set listname = char(27) || '[2J' || char(13, 10) || 'x'"));
    const Finished jobs = setup.run(QStringLiteral("jobs"));
    QCOMPARE(jobs.status, 0);
    QVERIFY(!jobs.output.contains(QChar(27))); // a terminal would obey it
    QCOMPARE(jobs.output.count(QLatin1Char('\n')), 3);
    QVERIFY(jobs.output.contains(name));
    const QJsonObject job = setup.json(QStringLiteral("jobs"))[0].toObject();
    QCOMPARE(job.value(QStringLiteral("jobname")).toString(), name);
    QCOMPARE(job.value(QStringLiteral("jobid")).toInt(), 2);

    setup.folder.execute("insert into mmsg (subject) values (null)");
    QCOMPARE(setup.run(QStringLiteral("messages")).output,
             QStringLiteral("Mail ID  Subject  Sender Name  Sender Email      Format\n"
                            "      1  News     The Club     club@example.org  TEXT\n"
                            "      2\n"));
    QCOMPARE(setup.json(QStringLiteral("messages"))[0].toObject().value(QStringLiteral("subject")),
             QJsonValue(QStringLiteral("News")));
}

void TestConsole::sendsAndRerunsFailures()
{
    // Refused in the run and its automatic rerun, accepted in the one that --rerun allows.
    const Setup setup(
        250, withRule({.command = "RCPT", .text = "r2@", .reply = {"450 Try later"}, .times = 2}));
    const Finished done = setup.run(startJob + QStringLiteral(" --rerun 3"));
    QCOMPARE(done.status, 0);
    QCOMPARE(setup.received().size(), 250);
    QCOMPARE(setup.stored(), QStringLiteral("Complete|250|0|250|0|0"));
    for (const char *text : {"249 sent, 1 failed", "Do you want to resend fail emails ? Yes",
                             "Job [Spring] completed successfully."})
        QVERIFY2(done.messages.contains(QLatin1String(text)), text);
    QVERIFY(done.output.contains(QStringLiteral("Complete")));
    QCOMPARE(setup.run(QStringLiteral("reset 1")).status, 0);
    QCOMPARE(setup.stored(), QStringLiteral("|250|0|0|0|0"));
}

void TestConsole::exitStatuses_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("told");
    const auto row = [](const char *line, int status, const char *told, const char *sql = "") {
        QTest::newRow(line) << QString::fromLatin1(sql) << status << QString::fromLatin1(told);
    };
    row("start Autumn", 4, "There is no job \"Autumn\".");
    row("start Spring", 4, "There are 2 jobs named \"Spring\"; give the job's number.",
        "insert into mjob (jobname, listid, msgid) values ('Spring', 1, 1)");
    row("start 1", 4, "Attachment not found : /gone.pdf !", "update mmsg set attach01='/gone.pdf'");
    row("test-send News me@example.org", 0, "Send success !");
    row("test-send 1 no@example.org", 1, "550 No such user");
    row("test-send Olds me@example.org", 4, "There is no message \"Olds\".");
    row("test-send 1 me@example.org", 5, "no such table", "drop table mmsg");
}

void TestConsole::exitStatuses()
{
    QFETCH(QString, sql);
    QFETCH(int, status);
    QFETCH(QString, told);
    const Setup setup(1,
                      withRule({.command = "RCPT", .text = "no@", .reply = {"550 No such user"}}));
    if (!sql.isEmpty())
        setup.folder.execute(sql);
    const Finished done = setup.run(QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(done.status, status);
    QVERIFY2(done.messages.contains(told), qPrintable(done.messages));
    QCOMPARE(setup.received().size(), status == 0 ? 1 : 0);
}

void TestConsole::reportsStorageErrors()
{
    const Setup setup(1);
    QVERIFY(QFile::remove(setup.folder.folder().listDatabaseFile(setup.listId)));
    const Finished done = setup.run(startJob);
    QCOMPARE(done.status, 5);
    QVERIFY(done.messages.contains(QStringLiteral("does not exist")));
    QVERIFY(QFile::remove(setup.folder.file("sys.mdb")));
    QCOMPARE(setup.run(QStringLiteral("jobs")).status, 5);
    QVERIFY(!QFile::exists(setup.folder.file("sys.mdb")));
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
    const Setup setup(100,
                      withRule({.command = "DATA-END", .delay = std::chrono::milliseconds(100)}));
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
    // Slow enough to be killed in the middle, while the fourth message is on its way.
    const Setup setup(
        6, withRule({.command = "MAIL", .delay = std::chrono::seconds(60), .skip = 3, .times = 1}));
    QProcess process;
    setup.start(process, startJob);
    QTRY_COMPARE(setup.server.transcript().count("C: DATA"), 3);
    QTRY_COMPARE(setup.folder.rows("select mid from email where status='S'", setup.listId).size(),
                 3);
    process.kill();
    QVERIFY(process.waitForFinished());
    QVERIFY(setup.stored().startsWith(QStringLiteral("null|"))); // the job knows nothing of it

    const Finished jobs = setup.run(QStringLiteral("jobs"));
    QVERIFY(jobs.messages.contains(QStringLiteral("Job [Spring] was interrupted")));
    QCOMPARE(setup.stored(), QStringLiteral("Paused|6|3|3|0|3"));
    QCOMPARE(setup.run(startJob).status, 0);
    QCOMPARE(setup.received(), addresses(6));
}

void TestConsole::secondRunIsRefused()
{
    const Setup setup(50,
                      withRule({.command = "DATA-END", .delay = std::chrono::milliseconds(200)}));
    QProcess first;
    setup.start(first, startJob);
    QTRY_VERIFY(!setup.server.messages().isEmpty());
    const Finished second = setup.run(startJob);
    QCOMPARE(second.status, 4);
    QVERIFY(second.messages.contains(QStringLiteral("Another Quillbright is sending")));
    // A look at the jobs leaves the living run alone.
    QVERIFY(setup.run(QStringLiteral("jobs")).messages.isEmpty());
    ::kill(pid_t(first.processId()), SIGTERM);
    QVERIFY(first.waitForFinished());
    QCOMPARE(first.exitCode(), 3);
}

void TestConsole::fullDiskStopsTheRun()
{
    const Setup setup(400);
    // A disk filled up but for a little: what a run commits soon does not fit.
    const QString list = setup.folder.folder().listDatabaseFile(setup.listId);
    const QString aside = setup.folder.file("m1.mdb");
    QVERIFY(QFile::rename(list, aside));
    SmallDisk disk(setup.folder.file("data"), "512k");
    if (!disk.isMounted())
        QSKIP("no right to mount a file system here");
    QVERIFY(QFile::copy(aside, list));
    const Finished full = setup.run(startJob);
    const qsizetype sent = setup.received().size();
    const QStringList recorded =
        setup.folder.rows("select email from email where status='S'", setup.listId);
    QCOMPARE(full.status, 5);
    QVERIFY2(full.messages.contains(QStringLiteral("is full")), qPrintable(full.messages));
    QVERIFY(sent > 0 && sent < 400);
    QVERIFY(recorded.size() >= sent - 1); // all but the one that did not fit

    disk.grow("8m");
    QCOMPARE(setup.run(startJob).status, 0);
    const QByteArrayList received = setup.received();
    QCOMPARE(received.size(), 400); // everyone, and nobody twice
    QCOMPARE(QSet<QByteArray>(received.begin(), received.end()).size(), 400);
}

void TestConsole::unreachableServerFailsEveryone()
{
    const Setup setup(2);
    setup.configure({});
    const Finished none = setup.run(startJob);
    QCOMPARE(none.status, 4);
    QVERIFY(none.messages.contains(QStringLiteral("Please enter a SMTP server in the Options")));
    setup.configure(QStringLiteral("127.0.0.1:1"));
    QCOMPARE(setup.run(startJob).status, 1);
    QCOMPARE(setup.stored(), QStringLiteral("Complete|2|0|0|2|0"));
    const QString reason = setup.folder.row("select remark from email", setup.listId);
    QVERIFY2(reason.contains(QStringLiteral("127.0.0.1")), qPrintable(reason));
}

QTEST_GUILESS_MAIN(TestConsole)
#include "tst_console.moc"

// The console as a person or a script runs it: a process of its own on a program folder, against a
// server.

#include "smalldisk.h"
#include "smtpserver.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <functional>

using namespace std::chrono_literals;

namespace
{

struct Finished {
    int status = -1;
    QString output;
    QString messages;
};

ServerOptions options(const QList<ServerRule> &rules)
{
    ServerOptions options;
    options.rules = rules;
    return options;
}

/// A program folder with the list "Members" of r1@example.org and so on, the message "News", a job
/// "Spring" of the two, and settings that name the server.
struct Setup {
    explicit Setup(int recipients = 1, const QList<ServerRule> &rules = {})
        : server(options(rules))
    {
        QStringList rows;
        for (int i = 1; i <= recipients; ++i)
            rows += QStringLiteral("r%1@example.org").arg(i);
        list = folder.addList("Members", rows);
        folder.addJob("Spring", list, folder.addMessage("News", "Hello"));
        configure("127.0.0.1:" + QByteArray::number(server.port()));
    }

    void configure(const QByteArray &host) const
    {
        writeFile(folder.file("config/Quillbright/Quillbright.conf"),
                  "[General]\nSMTP=" + host + '\n');
    }
    /// A file of so many recipients, "n1@example.org" on.
    void writeImport(int count) const
    {
        QByteArray content;
        for (int i = 1; i <= count; ++i)
            content += "n" + QByteArray::number(i) + "@example.org,First,Last,Dr,0117,Co,memo\n";
        writeFile(folder.file("in.csv"), content);
    }

    /// Blanks part the arguments of a line.
    void start(QProcess &process, const TestText &line) const
    {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        variables.insert(TestText("XDG_CONFIG_HOME"), folder.file("config"));
        if (!temporaryFolder.isEmpty())
            variables.insert(TestText("TMPDIR"), temporaryFolder);
        process.setProcessEnvironment(variables);
        process.setWorkingDirectory(folder.folder().path());
        process.start(TestText(CONSOLE), QStringList{TestText("--folder"), folder.folder().path()} +
                                             line.split(QChar(u' '), Qt::SkipEmptyParts));
        process.closeWriteChannel();
        QVERIFY(process.waitForStarted());
    }
    Finished run(const TestText &line) const
    {
        QProcess process;
        start(process, line);
        process.waitForFinished(-1);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    QJsonArray json(const TestText &line) const
    {
        return QJsonDocument::fromJson(run(line + TestText(" --json")).output.toUtf8()).array();
    }

    QByteArrayList received() const
    {
        QByteArrayList recipients;
        for (const ReceivedMessage &message : server.messages())
            recipients += message.recipients;
        return recipients;
    }
    QString stored() const
    {
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }
    int count() const { return folder.row("select count(*) from email", list).toInt(); }

    TestFolder folder;
    SmtpServer server;
    qint64 list = 0;
    QString temporaryFolder;
};

const TestText startJob = "start Spring --batch-pause 0";

} // namespace

class TestConsole final : public QObject
{
    Q_OBJECT

private slots:
    void answers()
    {
        const auto sql = [](const char *statement) {
            return [statement](const Setup &setup) { setup.folder.execute(statement); };
        };
        const auto file = [](const char *name, const char *content) {
            return [name, content](const Setup &setup) {
                writeFile(setup.folder.file(name), content);
            };
        };
        const auto server = [](const char *name) {
            return [name](const Setup &setup) { setup.configure(name); };
        };
        const struct {
            const char *line;
            int status;
            const char *told;
            std::function<void(const Setup &)> prepare = {};
        } cases[] = {
            {"--version", 0, "Quillbright 1."},
            {"--help", 0, "test-send"},
            {"start --help", 0, "Usage: quillbright-console start "},
            {"", 2, "Usage: quillbright-console [OPTIONS] COMMAND"},
            {"dance", 2, "There is no command dance\n"},
            {"jobs --loud", 2, "Usage: quillbright-console jobs "},
            {"jobs --folder=", 2, "Usage: quillbright-console jobs "},
            {"start", 2, "JOB is required\n"},
            {"start 1 --rerun -1", 2, "Usage: quillbright-console start "},
            {"export 1 a --filter some", 2, "Usage: quillbright-console export "},
            {"start Autumn", 4, "There is no job \"Autumn\"."},
            {"start Spring", 4, "There are 2 jobs named \"Spring\"; give the job's number.",
             sql("insert into mjob (jobname, listid, msgid) values ('Spring', 1, 1)")},
            {"start 1", 4, "Attachment not found : /gone.pdf !",
             sql("update mmsg set attach01='/gone.pdf'")},
            {"start 1", 4, "Please enter a SMTP server in the Options", server("")},
            {"start 1", 1, "Failed: r1@example.org: ", server("127.0.0.1:1")},
            {"start 1", 5, "m1.mdb does not exist",
             [](const Setup &s) { QFile::remove(s.folder.folder().listDatabaseFile(s.list)); }},
            {"jobs", 5, "sys.mdb does not exist",
             [](const Setup &s) { QFile::remove(s.folder.file("sys.mdb")); }},
            {"test-send News r1@example.org", 0, "Send success !"},
            {"test-send 1 no@example.org", 1, "550 No such user"},
            {"test-send 1 r1@example.org", 5, "no such table", sql("drop table mmsg")},
            {"import 1 a.txt --separator ;", 0, "Number of Success : 1",
             file("a.txt", "a@example.org;Ann\n")},
            {"import 1 a.txt", 1, "Error Log:\n1\tR1@example.org\t",
             file("a.txt", "R1@example.org\n")},
            {"import 1 a.xls", 4, "it is not an .xls workbook.", file("a.xls", "a@example.org\n")},
            {"import 1 missing.csv", 4, "No such file"},
            {"export Members out.csv --filter fail", 0, "Records exported: 0"},
            {"export 1 data/m1.mdb", 5, "data/m1.mdb belongs to the program"},
            {"export 1 no/out.xlsx", 5, "Cannot write no/out.xlsx"},
        };
        for (const auto &expected : cases) {
            const Setup setup(1,
                              {{.command = "RCPT", .text = "no@", .reply = {"550 No such user"}}});
            if (expected.prepare)
                expected.prepare(setup);
            const Finished done = setup.run(expected.line);
            const QString said = done.output + done.messages;
            QVERIFY2(said.contains(TestText(expected.told)),
                     qPrintable(TestText(expected.line) + QChar(u'\n') + said));
            QVERIFY2(done.status == expected.status, expected.line);
            QVERIFY2(done.status == 0 || done.status == 1 || setup.received().isEmpty(),
                     expected.line);
            if (done.status == 2) // the usage of no other command
                QVERIFY2(
                    done.output.isEmpty() &&
                        said.contains(TestText("test-send")) ==
                            said.contains(TestText("Usage: quillbright-console [OPTIONS] COMMAND")),
                    expected.line);
        }
    }

    void listsWhatThereIs()
    {
        const Setup setup(3);
        const TestText name = "Bob's \"Ünïcode\"";
        setup.folder.addJob(name, setup.list, 1);
        setup.folder.execute(
            "update mlist set listname = char(27) || '[2J' || char(13, 10) || 'x'");
        const Finished jobs = setup.run("jobs");
        QVERIFY(!jobs.output.contains(QChar(27))); // a terminal would obey it
        QCOMPARE(jobs.output.count(QChar(u'\n')), 3);
        const QJsonObject job = setup.json("jobs")[0].toObject();
        QCOMPARE(job.value(TestText("jobname")).toString(), name);
        QCOMPARE(job.value(TestText("jobid")).toInt(), 2);
        QCOMPARE(setup.run("messages").output,
                 TestText("Mail ID  Subject  Sender Name  Sender Email      Format\n"
                          "      1  News     The Club     club@example.org  TEXT\n"));
        QCOMPARE(setup.json("lists")[0].toObject().value(TestText("listid")).toInt(), 1);

        setup.folder.execute("update email set status='F', remark='550 \"No\"' where mid = 2",
                             setup.list);
        QCOMPARE(setup.run("recipients 1 --filter fail").output,
                 TestText("Number  Email           Firstname  Lastname  Status  Fail Reason\n"
                          "     2  r2@example.org                       F       550 \"No\"\n"));
        QCOMPARE(setup.json("recipients 1 --filter success").size(), 2);
        const QJsonObject failed = setup.json("recipients 1")[1].toObject();
        QCOMPARE(failed.value(TestText("email")).toString(), TestText("r2@example.org"));
        QCOMPARE(failed.value(TestText("remark")).toString(), TestText("550 \"No\""));
    }

    void sendsAndRerunsFailures()
    {
        // Refused in the run and its automatic rerun, accepted in the one that --rerun allows.
        const auto refuse = [](const char *address, const char *reply) {
            return ServerRule{.command = "RCPT", .text = address, .reply = {reply}, .times = 2};
        };
        const Setup setup(250, {refuse("r2@", "450 4.7.1 <r2@example.org> Try later, id 77"),
                                refuse("r3@", "450 4.7.1 <r3@example.org> Try later, id 78"),
                                refuse("r4@", "452 Full")});
        const Finished done = setup.run(startJob + TestText(" --rerun 3"));
        QCOMPARE(done.status, 0);
        QCOMPARE(setup.received().size(), 250);
        QCOMPARE(setup.stored(), TestText("Complete|250|0|250|0|0"));
        for (const char *text : {"Connecting to 127.0.0.1", "Resend fail emails, connecting to ",
                                 "250 of 250, 3 failed", "Do you want to resend fail emails ? Yes",
                                 "Job [Spring] completed successfully."})
            QVERIFY2(done.messages.contains(TestText(text)), qPrintable(done.messages));
        QCOMPARE(done.messages.count(TestText("Try later")), 1); // every kind of reason once
        QCOMPARE(done.messages.count(TestText("Full")), 1);
        QVERIFY(done.output.contains(TestText("Complete")));
        QCOMPARE(setup.run("reset 1").status, 0);
        QCOMPARE(setup.stored(), TestText("|250|0|0|0|0"));
    }

    /// With its terminal gone, what it says ends nothing.
    void signalPauses()
    {
        for (const int number : {SIGTERM, SIGHUP}) {
            const Setup setup(100, {{.command = "DATA-END", .delay = 100ms}});
            QProcess process;
            setup.start(process, startJob);
            QTRY_VERIFY(setup.server.messages().size() >= 2);
            process.closeReadChannel(QProcess::StandardError);
            ::kill(pid_t(process.processId()), number);
            ::kill(pid_t(process.processId()), SIGHUP);
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(process.exitCode(), 3);
            const qsizetype sent = setup.received().size();
            QVERIFY(sent < 100);
            QCOMPARE(setup.stored(), TestText("Paused|100|%1|%2|0|%2").arg(100 - sent).arg(sent));
        }
    }

    void killedRunMailsNobodyTwice()
    {
        // Slow enough for what is done while the fourth message is on its way.
        const Setup setup(6, {{.command = "MAIL", .delay = 60s, .skip = 3, .times = 1}});
        QProcess process;
        setup.start(process, startJob);
        QTRY_COMPARE(setup.server.transcript().count("C: DATA"), 3);
        QTRY_COMPARE(setup.folder.rows("select mid from email where status='S'", setup.list).size(),
                     3);
        const Finished second = setup.run(startJob);
        QCOMPARE(second.status, 4);
        QVERIFY(second.messages.contains(TestText("Another Quillbright is sending")));
        // A look at the jobs leaves the living run alone.
        QVERIFY(setup.run("jobs").messages.isEmpty());

        QByteArray said;
        ::kill(pid_t(process.processId()), SIGINT);
        QTRY_VERIFY((said += process.readAllStandardError()).contains("once more to quit at once"));
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
        QVERIFY(setup.stored().startsWith(TestText("null|"))); // the job knows nothing of it

        const Finished jobs = setup.run("jobs");
        QVERIFY(jobs.messages.contains(TestText("Job [Spring] was interrupted")));
        QCOMPARE(setup.stored(), TestText("Paused|6|3|3|0|3"));
        QCOMPARE(setup.run(startJob).status, 0);
        QByteArrayList received = setup.received();
        QCOMPARE(received.size(), 6);
        QCOMPARE(QSet<QByteArray>(received.begin(), received.end()).size(), 6);
    }

    void fullDiskStopsTheRun()
    {
        const Setup setup(400);
        // A disk filled up but for a little: what a run commits soon does not fit.
        const QString list = setup.folder.folder().listDatabaseFile(setup.list);
        const QString aside = setup.folder.file("m1.mdb");
        QVERIFY(QFile::rename(list, aside));
        SmallDisk disk(setup.folder.file("data"), "512k");
        if (!disk.isMounted())
            QSKIP("no right to mount a file system here");
        QVERIFY(QFile::copy(aside, list));
        const Finished full = setup.run(startJob);
        const qsizetype sent = setup.received().size();
        const QStringList recorded =
            setup.folder.rows("select email from email where status='S'", setup.list);
        QCOMPARE(full.status, 5);
        QVERIFY2(full.messages.contains(TestText("is full")), qPrintable(full.messages));
        QVERIFY(sent > 0 && sent < 400);
        QVERIFY(recorded.size() >= sent - 1); // all but the one that did not fit

        disk.grow("8m");
        QCOMPARE(setup.run(startJob).status, 0);
        const QByteArrayList received = setup.received();
        QCOMPARE(received.size(), 400); // everyone, and nobody twice
        QCOMPARE(QSet<QByteArray>(received.begin(), received.end()).size(), 400);
    }

    void endedImportKeepsWhatItCommitted()
    {
        for (const int number : {SIGKILL, SIGINT}) {
            constexpr int lines = 400'000;
            const Setup setup;
            QProcess process;
            setup.writeImport(lines);
            setup.start(process, "import Members in.csv");
            QTRY_VERIFY(setup.count() > 1000);
            ::kill(pid_t(process.processId()), number);
            QVERIFY(process.waitForFinished());
            const int kept = setup.count();
            QVERIFY(kept < lines);
            // Every recipient up to the last one, and no damage.
            QCOMPARE(setup.folder.row("select mid, email from email order by mid desc", setup.list),
                     TestText("%1|n%2@example.org").arg(kept).arg(kept - 1));
            QCOMPARE(setup.folder.row("pragma integrity_check", setup.list), TestText("ok"));
            if (number == SIGINT) {
                QCOMPARE(process.exitCode(), 3);
                QVERIFY(process.readAllStandardError().contains(
                    "Number of Success : " + QByteArray::number(kept - 1) + '\n'));
                QCOMPARE(setup.folder.row("select rec_count from mlist").toInt(), kept);
            }
        }
    }

    void fullDiskLeavesNoHalfExport()
    {
        Setup setup;
        setup.writeImport(15'000);
        setup.run("import 1 in.csv");
        // Room for the rows before they are packed, but not for the workbook beside them.
        setup.temporaryFolder = setup.folder.file("small");
        QDir().mkpath(setup.temporaryFolder);
        SmallDisk disk(setup.temporaryFolder, "9m");
        if (!disk.isMounted())
            QSKIP("no right to mount a file system here");
        const Finished full = setup.run("export 1 out.xlsx");
        QCOMPARE(full.status, 5);
        QVERIFY2(full.messages.contains(TestText("Cannot write out.xlsx")),
                 qPrintable(full.messages));
        QVERIFY(!QFile::exists(setup.folder.file("out.xlsx")));
        QVERIFY(QDir(setup.temporaryFolder).isEmpty());
        disk.grow("200m");
        QCOMPARE(setup.run("export 1 out.xlsx").status, 0);
    }
};

QTEST_GUILESS_MAIN(TestConsole)
#include "tst_console.moc"

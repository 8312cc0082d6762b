// The console as a person or a script runs it: a process of its own on a program folder, against a
// server.

#include "smalldisk.h"
#include "smtpserver.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <functional>

using namespace std::chrono_literals;

namespace
{

struct Finished {
    int status;
    QString output, messages;
};

/// A program folder with the list "Members" of r1@example.org and so on, the message "News", a job
/// "Spring" of the two, and settings that name the server.
struct Setup {
    explicit Setup(int recipients = 2, const QList<ServerRule> &rules = {})
        : server({.rules = rules})
    {
        qputenv("XDG_CONFIG_HOME", folder.file("config").toUtf8());
        QStringList rows;
        for (int i = 1; i <= recipients; ++i)
            rows += QStringLiteral("r%1@example.org").arg(i);
        list = folder.addList("Members", rows);
        folder.addJob("Spring", list, folder.addMessage("News", "Hello"));
        writeFile(folder.file("config/Quillbright/Quillbright.conf"),
                  "[General]\nSMTP=127.0.0.1:" + QByteArray::number(server.port()) + '\n');
    }

    /// Blanks part the arguments of a line.
    void start(QProcess &process, const TestText &line) const
    {
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
    /// Everyone on the list, and nobody twice.
    bool gotAll(int count) const
    {
        QSet<QByteArray> recipients;
        for (const ReceivedMessage &message : server.messages())
            recipients += message.recipients.front();
        return server.messages().size() == count && recipients.size() == count;
    }
    QString stored() const
    {
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }
    int count() const { return folder.row("select count(*) from email", list).toInt(); }

    TestFolder folder;
    SmtpServer server;
    qint64 list = 0;
};

const TestText startJob = "start Spring --batch-pause 0";

} // namespace

class TestConsole final : public QObject
{
    Q_OBJECT

private slots:
    void answers()
    {
        const auto sql = [](const char *statement, qint64 database = 0) {
            return [=](const Setup &setup) { setup.folder.execute(statement, database); };
        };
        const auto failed = sql("update email set status='F', remark='550 \"No\"' where mid=2", 1);
        const struct {
            const char *line;
            int status;
            const char *told;
            std::function<void(const Setup &)> prepare = {};
        } cases[] = {
            {"--version", 0, "Quillbright 1."},
            {"start --help", 0, "Usage: quillbright-console start "},
            {"", 2, "Usage: quillbright-console [OPTIONS] COMMAND"},
            {"dance", 2, "There is no command dance\nUsage: quillbright-console [OPTIONS] COMMAND"},
            {"jobs --folder=", 2, "Usage: quillbright-console jobs "},
            {"start", 2, "JOB is required\n"},
            {"start 1 --rerun -1", 2, "Usage: quillbright-console start "},
            {"export 1 a --filter some", 2, "Usage: quillbright-console export "},
            {"jobs", 0, "  1  Ü [2J  x        ", // not what a terminal would obey
             sql("update mjob set jobname = 'Ü' || char(27) || '[2J' || char(13, 10) || 'x'")},
            {"jobs --json", 0, "\"jobid\":1,\"jobname\":\"O'Neil \\\"Ü\\\"\"",
             sql("update mjob set jobname = 'O''Neil \"Ü\"'")},
            {"messages", 0,
             "Mail ID  Subject  Sender Name  Sender Email      Format\n"
             "      1  News     The Club     club@example.org  TEXT\n"},
            {"recipients Members", 0, "     2  r2@example.org                       F       550 \"",
             failed},
            {"recipients 1 --json --filter fail", 0,
             "[\n  {\"company\":\"\",\"contact\":\"\",\"email\":\"r2@example.org\"", failed},
            {"reset 1", 0, "  1  Spring             2       0 ",
             sql("update mjob set progress='Paused', unsent=2")},
            {"start Autumn", 4, "There is no job \"Autumn\"."},
            {"start Spring", 4, "There are 2 jobs named \"Spring\"; give the job's number.",
             sql("insert into mjob (jobname, listid, msgid) values ('Spring', 1, 1)")},
            {"start 1", 5, "is not a maillist", sql("drop table email", 1)},
            {"start 1", 4, "Attachment not found", sql("update mmsg set attach01 = '/tmp'")},
            {"reset 1", 5, "is not a maillist", sql("drop table email", 1)},
            {"start 1", 1, "Failed: no@example.org: 550 No user",
             sql("update email set email = 'no@example.org' where mid = 1", 1)},
            {"test-send News r1@example.org", 0, "Send success !"},
            {"test-send 1 no@example.org", 1, "550 No user"},
            {"import 1 a.txt --separator ;", 0, "Number of Success : 1",
             [](const Setup &s) { writeFile(s.folder.file("a.txt"), "a@example.org;Ann\n"); }},
            {"export 1 sys.mdb", 5, "belongs to the program"},
        };
        for (const auto &expected : cases) {
            const Setup setup(2, {{.command = "RCPT", .text = "no@", .reply = {"550 No user"}}});
            if (expected.prepare)
                expected.prepare(setup);
            const Finished done = setup.run(expected.line);
            const QString said = done.output + done.messages;
            // A wrong line gets the usage of its own command.
            QVERIFY2(done.status == expected.status && said.contains(TestText(expected.told)) &&
                         said.contains(TestText("test-send")) ==
                             said.contains(TestText(" COMMAND")) &&
                         (done.status < 2 || setup.server.messages().isEmpty()),
                     qPrintable(TestText(expected.line) + QChar(u'\n') + said));
        }
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
        QVERIFY(setup.gotAll(250));
        QCOMPARE(setup.stored(), TestText("Complete|250|0|250|0|0"));
        for (const char *text : {"Connecting to 127.0.0.1", "Resend fail emails, connecting to ",
                                 "250 of 250, 3 failed", "Do you want to resend fail emails ? Yes",
                                 "Job [Spring] completed successfully."})
            QVERIFY2(done.messages.contains(TestText(text)), qPrintable(done.messages));
        QCOMPARE(done.messages.count(TestText("Try later")), 1); // every kind of reason once
        QCOMPARE(done.messages.count(TestText("Full")), 1);
    }

    void signalPauses()
    {
        for (const int number : {SIGTERM, SIGHUP}) {
            const Setup setup(100, {{.command = "DATA-END", .delay = 100ms}});
            QProcess process;
            setup.start(process, startJob);
            QTRY_VERIFY(setup.server.messages().size() >= 2);
            ::kill(pid_t(process.processId()), number);
            ::kill(pid_t(process.processId()), SIGHUP);
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitCode(), 3);
            const qsizetype sent = setup.server.messages().size();
            QCOMPARE(setup.stored(), TestText("Paused|100|%1|%2|0|%2").arg(100 - sent).arg(sent));
        }
    }

    void killedRunMailsNobodyTwice()
    {
        // Slow enough for what is done while the fourth message is on its way: its outcome is due.
        const Setup setup(6, {{.command = "DATA-END", .delay = 60s, .skip = 3, .times = 1}});
        QProcess process;
        setup.start(process, startJob);
        QTRY_COMPARE(setup.server.transcript().count("C: DATA"), 4);
        QTRY_COMPARE(setup.folder.rows("select mid from email where status='S'", setup.list).size(),
                     3);
        QVERIFY(setup.run(startJob).messages.contains(TestText("Another Quillbright is sending")));
        // A look at the jobs leaves the living run alone.
        QVERIFY(setup.run("jobs").messages.isEmpty());

        QByteArray said;
        ::kill(pid_t(process.processId()), SIGINT);
        QTRY_VERIFY((said += process.readAllStandardError()).contains("once more to quit at once"));
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished());

        const TestText told = setup.run("jobs").messages;
        QVERIFY(told.contains(TestText("Job [Spring] was interrupted")));
        QVERIFY(told.contains(TestText("In doubt: r4@example.org may have got the message")));
        QCOMPARE(setup.stored(), TestText("Paused|6|2|3|1|4"));
        QCOMPARE(setup.run(startJob).status, 1);
        QCOMPARE(setup.stored(), TestText("Complete|6|0|5|1|0"));
        QCOMPARE(setup.run("verify").status, 0);
    }

    void fullDiskIsWaitedFor()
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
        QProcess process;
        setup.start(process, startJob);
        QByteArray said;
        QTRY_VERIFY((said += process.readAllStandardError()).contains("cannot be recorded yet"));
        disk.grow("8m");
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(setup.gotAll(400));
    }

    /// And the next one adds the rest.
    void endedImportKeepsWhatItCommitted()
    {
        for (const int number : {SIGKILL, SIGINT}) {
            constexpr int lines = 400'000;
            const Setup setup;
            QProcess process;
            QByteArray content;
            for (int i = 1; i <= lines; ++i)
                content += "n" + QByteArray::number(i) + "@example.org,First\n";
            writeFile(setup.folder.file("in.csv"), content);
            setup.start(process, "import Members in.csv");
            QTRY_VERIFY(setup.count() > 1000);
            ::kill(pid_t(process.processId()), number);
            QVERIFY(process.waitForFinished());
            const int kept = setup.count();
            QVERIFY(kept < lines);
            // Every recipient up to the last one, and no damage.
            QCOMPARE(setup.folder.row("select mid, email from email order by mid desc", setup.list),
                     TestText("%1|n%2@example.org").arg(kept).arg(kept - 2));
            QCOMPARE(setup.folder.row("pragma integrity_check", setup.list), TestText("ok"));
            if (number == SIGINT) {
                QCOMPARE(process.exitCode(), 3);
                QVERIFY(process.readAllStandardError().contains(
                    "Number of Success : " + QByteArray::number(kept - 2) + '\n'));
            }
            const Finished rest = setup.run("import Members in.csv");
            QCOMPARE(rest.status, 1);
            QVERIFY((rest.output + rest.messages)
                        .contains(TestText("Error Log:\n1\tn1@example.org\t")));
            QCOMPARE(setup.folder.row("select rec_count from mlist").toInt(), lines + 2);
            QCOMPARE(setup.count(), lines + 2);
        }
    }
};

QTEST_GUILESS_MAIN(TestConsole)
#include "tst_console.moc"

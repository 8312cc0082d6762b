#include "connection.h"
#include "fakes.h"
#include "interruptedrun.h"
#include "jobstore.h"
#include "sendrun.h"
#include "statement.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTest>

using namespace Qt::StringLiterals;
using Result = SendRun::Result;

/// A job of one list and one message, and everything a run of it needs.
struct Job {
    explicit Job(const QStringList &recipients, const QString &body = QStringLiteral("Hello"))
    {
        listId = folder.addList("Members", recipients);
        const qint64 message = folder.addMessage("News", body);
        jobId = folder.addJob("Spring", listId, message);
        settings.values.smtpServer = QStringLiteral("mail.example.org");
    }

    JobRow row() const
    {
        Connection system(folder.folder().systemConnectionString());
        return loadJobs(system).at(0);
    }

    Result start(bool failedOnly = false)
    {
        const JobRow row = this->row();
        Connection system(folder.folder().systemConnectionString());
        const JobMessage message = loadMessage(system, row.number(JobCell::EmailId));
        system.close();
        return run.start(row, message, failedOnly);
    }

    void pauseAt(const QString &recipient)
    {
        mail.whileSending = [this, recipient](const QString &current) {
            if (current == recipient)
                run.requestPause();
        };
    }

    QString stored() const
    {
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }
    QStringList outcomes() const
    {
        return folder.rows("select mid, status, remark from email", listId);
    }
    QStringList recipients() const
    {
        QStringList result;
        for (const FakeSendMail::Message &message : mail.sent)
            result += message.recipient;
        return result;
    }

    TestFolder folder;
    qint64 listId = 0;
    qint64 jobId = 0;
    FakeSendMail mail;
    FakeSettings settings;
    ScriptedOperator op;
    RecordingView view;
    FakeClock clock;
    CountingYield yield;
    SendRun run{folder.folder(),
                mail,
                settings,
                op,
                view,
                clock,
                yield,
                {.show = std::chrono::milliseconds(0)}};
};

namespace
{

QStringList addresses(int count)
{
    QStringList list;
    for (int i = 1; i <= count; ++i)
        list += QStringLiteral("r%1@x.org").arg(i);
    return list;
}

} // namespace

class TestSendRun final : public QObject
{
    Q_OBJECT

private slots:
    void sendsToEveryone();
    void handsValuesToTheTransport();
    void refusesToStart_data();
    void refusesToStart();
    void failuresAreRerunOnceThenAsked();
    void reasonsAreStoredOnOneLine();
    void unsubscribedAreNeverMailed();
    void pausesAndResumes();
    void pauseAtTheLastRecipient();
    void pausedRerunKeepsResumePoint();
    void reconnectsAfterEveryBatch();
    void logsTheRun();
    void brokenLogStopsNothing();
    void midnightPasses();
    void storageErrorStopsTheRun();
    void missingListDatabase();
    void unstoredJobIsNotMailedTwice();
    void crashIsRecovered();
    void storedRunIsNotTakenForACrash();
    void rerunIsNotTakenForACrash();
    void resetAfterACrashBeginsAnew();
    void oneRunPerList();
};

void TestSendRun::sendsToEveryone()
{
    Job job({QStringLiteral("'a@x.org','Ann'"), QStringLiteral("'b@x.org','Ben O''Hara'")},
            QStringLiteral("Dear %%FIRSTNAME%%"));
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.mail.sent.size(), 2);
    QCOMPARE(job.mail.sent[0].body, QStringLiteral("Dear Ann"));
    QCOMPARE(job.mail.sent[1].body, QStringLiteral("Dear Ben O'Hara"));
    QCOMPARE(job.mail.calls.join(QLatin1Char(' ')), QStringLiteral("Connect Send Send Disconnect"));
    QCOMPARE(job.outcomes(), QStringList({QStringLiteral("1|S|"), QStringLiteral("2|S|")}));
    QCOMPARE(job.stored(), QStringLiteral("Complete|2|0|2|0|0"));
    QCOMPARE(job.op.told, QStringList{QStringLiteral("|Job [Spring] completed successfully.")});
    QCOMPARE(job.row()[JobCell::Start], QStringLiteral("2026/11/16 14:05:09"));
    QCOMPARE(job.view.shown(), QStringList({QStringLiteral("Connecting  0% 0-0 0-0"),
                                            QStringLiteral("Sending a@x.org 0% 0-0 0-0"),
                                            QStringLiteral("Sending a@x.org 50% 1-0 1-0"),
                                            QStringLiteral("Sending b@x.org 50% 1-0 1-0"),
                                            QStringLiteral("Sending b@x.org 100% 2-0 2-0"),
                                            QStringLiteral("Ended b@x.org 100% 2-0 2-0")}));
    QCOMPARE(job.view.progress[0].server, QStringLiteral("mail.example.org"));
    QCOMPARE(job.view.running, QList<bool>({true, false}));
    QVERIFY(!QFile::exists(job.folder.file("log")));

    // A complete job sends to everyone again, be it nobody.
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.mail.sent.size(), 4);
    job.folder.execute("delete from email", job.listId);
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.stored(), QStringLiteral("Complete|0|0|0|0|0"));
}

void TestSendRun::handsValuesToTheTransport()
{
    Job job({QStringLiteral(" a@x.org ")});
    const QString one = writeFile(job.folder.file("one.txt"));
    job.folder.execute(
        QStringLiteral("update mmsg set format='HTML', attach03='%1', replyemail='r@x.org'")
            .arg(one));
    job.settings.values.validateAddresses = true;
    job.settings.values.account = QStringLiteral("me");
    job.settings.values.password = QStringLiteral("secret");
    job.mail.UserName = QStringLiteral("before");
    job.start();
    QCOMPARE(job.mail.Host, QStringLiteral("mail.example.org"));
    QCOMPARE(job.mail.SenderAddress, QStringLiteral("club@example.org"));
    QCOMPARE(job.mail.SenderName, QStringLiteral("The Club"));
    QVERIFY(job.mail.HtmlBody);
    QCOMPARE(job.mail.AddressCheck, 1);
    QCOMPARE(job.mail.Attachments, one);
    QCOMPARE(job.mail.Recipient, QStringLiteral(" a@x.org "));
    QVERIFY(!job.mail.Authenticate);
    QCOMPARE(job.mail.UserName, QStringLiteral("before"));

    job.settings.values.requireLogon = true;
    job.start();
    QVERIFY(job.mail.Authenticate);
    QCOMPARE(job.mail.UserName, QStringLiteral("me"));
    QCOMPARE(job.mail.Password, QStringLiteral("secret"));
}

void TestSendRun::refusesToStart_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("attachments"); // as SQL assignments
    QTest::addColumn<SendRun::Result>("result");
    QTest::addColumn<QString>("told");
    const auto row = [](const char *name, const char *server, const char *attachments,
                        Result result, const char *told) {
        QTest::newRow(name) << QString::fromLatin1(server) << QString::fromLatin1(attachments)
                            << result << QString::fromLatin1(told);
    };
    row("no server", "", "attach01='/nowhere'", Result::NoServer,
        "|Please enter a SMTP server in the Options Window and send again !");
    row("missing attachment", "mail.example.org", "attach02='/nowhere/b', attach03='/nowhere/c'",
        Result::MissingAttachment, "|Attachment not found : /nowhere/b !");
    row("attachment is a folder", "mail.example.org", "attach01='/tmp'", Result::MissingAttachment,
        "|Attachment not found : /tmp !");
}

void TestSendRun::refusesToStart()
{
    QFETCH(QString, server);
    QFETCH(QString, attachments);
    QFETCH(SendRun::Result, result);
    QFETCH(QString, told);
    Job job(addresses(1));
    job.settings.values.smtpServer = server;
    job.folder.execute(QStringLiteral("update mmsg set ") + attachments);
    QCOMPARE(job.start(), result);
    QCOMPARE(job.op.told, QStringList{told});
    QCOMPARE(job.view.optionsOpened, server.isEmpty() ? 1 : 0);
    QVERIFY(job.mail.calls.isEmpty());
    QCOMPARE(job.stored(), QStringLiteral("null|0|0|0|0|0"));
    QVERIFY(job.view.running.isEmpty());
}

void TestSendRun::failuresAreRerunOnceThenAsked()
{
    Job job(addresses(3));
    job.mail.failures[QStringLiteral("r2@x.org")] = QStringLiteral("550 No");
    job.op.answers.push(true);
    job.op.answers.push(false);
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients().join(QLatin1Char(' ')),
             QStringLiteral("r1@x.org r2@x.org r3@x.org r2@x.org r2@x.org"));
    const QString question = QStringLiteral("Resend fail emails |There are 1 fail emails.\r\n"
                                            "Do you want to resend fail emails ?");
    QCOMPARE(job.op.asked, QStringList({question, question}));
    QVERIFY(job.op.told.isEmpty());
    QCOMPARE(job.stored(), QStringLiteral("Complete|3|0|2|1|0"));
    QCOMPARE(job.view.progress.last().rerun, 2);
    QCOMPARE(job.view.shown().last(), QStringLiteral("Ended r2@x.org 100% 0-1 2-1"));
    QCOMPARE(job.view.failures, QStringList(3, QStringLiteral("r2@x.org|550 No")));

    // Repaired at the server, the automatic rerun ends it.
    job.mail.whileSending = [&](const QString &) {
        if (job.mail.sent.size() == 5 + 4)
            job.mail.failures.clear();
    };
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.stored(), QStringLiteral("Complete|3|0|3|0|0"));
    QCOMPARE(job.op.told.size(), 1);
}

void TestSendRun::reasonsAreStoredOnOneLine()
{
    Job job(addresses(4));
    const QString many(200, QLatin1Char('x'));
    job.mail.failures = {{QStringLiteral("r1@x.org"), QStringLiteral("550 \"bob\" can't")},
                         {QStringLiteral("r2@x.org"), QStringLiteral("550 one\r\ntwo")},
                         {QStringLiteral("r3@x.org"), QStringLiteral("\"\"\"") + many}};
    job.mail.whileSending = [&](const QString &recipient) {
        if (recipient == QLatin1String("r4@x.org")) // the whole text is stored then
            throw std::runtime_error((QStringLiteral("broken\r\n\"pipe\" ") + many).toStdString());
    };
    job.op.answers.push(false);
    job.start();
    QCOMPARE(job.outcomes(),
             QStringList({QStringLiteral("1|F|550 bob can't"), QStringLiteral("2|F|550 one  two"),
                          QStringLiteral("3|F|") + many.first(124),
                          QStringLiteral("4|F|broken  \"pipe\" ") + many}));
    QCOMPARE(job.recipients().size(), 8); // an error is rerun like a refusal
}

void TestSendRun::unsubscribedAreNeverMailed()
{
    // One mailbox in all its disguises.
    const QStringList spellings = {
        u"ann.lee@müller.example"_s,        u" Ann.LEE@Müller.example "_s,
        u"ann.lee@müller.example\u200b"_s,  u"\ufeffann.lee@müller.example"_s,
        u"ann.\u00adlee@müller.example"_s,  u"ann.lee@mül\u2060ler.example"_s,
        u"\u00a0ann.lee@müller.example"_s,  u"ａｎｎ.ｌｅｅ@müller.example"_s,
        u"ann.lee＠müller.example"_s,       u"\"ann.lee\"@müller.example"_s,
        u"ann.lee@xn--mller-kva.example"_s, u"ANN.LEE@XN--MLLER-KVA.EXAMPLE."_s,
        u"ann.lee@müller.example."_s};
    Job job(spellings + QStringList{u"annlee@müller.example"_s});
    for (const QString &line : {spellings[0], u"\"Ann.Lee\"@XN--mller-kva.example \t"_s}) {
        job.settings.values.unsubscribed = line + u"\r\n"_s;
        job.op.answers.push(false);
        job.mail.sent.clear();
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), QStringList{u"annlee@müller.example"_s});
        QCOMPARE(job.stored(), u"Complete|14|0|1|13|0"_s);
    }
    QCOMPARE(job.outcomes()[0], u"1|F|Un-subscribed Email"_s);
}

void TestSendRun::pausesAndResumes()
{
    Job job(addresses(4));
    job.pauseAt(QStringLiteral("r2@x.org"));
    QCOMPARE(job.start(), Result::Paused);
    QCOMPARE(job.stored(), QStringLiteral("Paused|4|2|2|0|2"));
    QVERIFY(job.op.told.isEmpty());

    job.folder.execute("insert into email (email) values ('late@x.org')", job.listId);
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients().join(QLatin1Char(' ')),
             QStringLiteral("r1@x.org r2@x.org r3@x.org r4@x.org late@x.org"));
    // Three of five are left, so the bar ends at three fifths.
    QCOMPARE(job.view.progress.last().percent(), 60.0);
    QCOMPARE(job.stored(), QStringLiteral("Complete|5|0|5|0|0"));
}

void TestSendRun::pauseAtTheLastRecipient()
{
    Job job(addresses(2));
    job.pauseAt(QStringLiteral("r2@x.org"));
    QCOMPARE(job.start(), Result::Complete); // all selected were handled

    job.pauseAt(QStringLiteral("r1@x.org"));
    QCOMPARE(job.start(), Result::Paused);
    job.pauseAt(QStringLiteral("r2@x.org"));
    QCOMPARE(job.start(), Result::Paused); // one of two, as counted
    QCOMPARE(job.stored(), QStringLiteral("Paused|2|0|2|0|2"));
    job.mail.sent.clear();
    QCOMPARE(job.start(), Result::Complete);
    QVERIFY(job.mail.sent.isEmpty());
    QCOMPARE(job.stored(), QStringLiteral("Complete|2|0|2|0|0"));
}

void TestSendRun::pausedRerunKeepsResumePoint()
{
    Job job(addresses(3));
    job.mail.failures[QStringLiteral("r1@x.org")] = QStringLiteral("no");
    job.pauseAt(QStringLiteral("r2@x.org"));
    job.start();
    QCOMPARE(job.stored(), QStringLiteral("Paused|3|1|1|1|2"));
    job.mail.failures.clear();
    // "Send failed" begins without asking, and says so as a first pass does.
    QCOMPARE(job.start(true), Result::Complete);
    QCOMPARE(job.view.progress.last().rerun, 0);
    QCOMPARE(job.recipients().last(), QStringLiteral("r1@x.org"));
    QCOMPARE(job.stored(), QStringLiteral("Complete|3|1|2|0|2"));
}

void TestSendRun::reconnectsAfterEveryBatch()
{
    Job job(addresses(120));
    job.start();
    QCOMPARE(job.mail.calls.count(QStringLiteral("Connect")), 3);
    QCOMPARE(job.mail.calls.indexOf(QStringLiteral("Disconnect")), 51);
    QCOMPARE(job.mail.calls.lastIndexOf(QStringLiteral("Connect")), 104);
    QCOMPARE(job.clock.waits, QList<std::chrono::milliseconds>(2, std::chrono::seconds(1)));
    QVERIFY(job.yield.count >= 120);
}

void TestSendRun::logsTheRun()
{
    Job job(addresses(2));
    job.settings.values.logOutgoing = true;
    job.mail.failures[QStringLiteral("r2@x.org")] = QStringLiteral("550 Nö\tno");
    job.op.answers.push(false);
    job.start();
    const QLocale locale = QLocale::system();
    const QString stamp =
        locale.toString(job.clock.time.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
        locale.toString(job.clock.time.time(), QLocale::LongFormat) + QLatin1Char(' ');
    const QString head = stamp + QStringLiteral("Job : Spring\r\n") + stamp +
                         QStringLiteral("Email Subject : News\r\n");
    const QString failed = stamp + QStringLiteral("r2@x.org\tF\t550 Nö\tno\r\n");
    QCOMPARE(QString::fromUtf8(readFile(job.folder.file("log\\log261116.txt"))),
             QStringLiteral("\r\n\r\n") + head + stamp + QStringLiteral("r1@x.org\tS\t\r\n") +
                 failed + QStringLiteral("\r\n\r\n") + stamp +
                 QStringLiteral("Resend Fail Email\r\n") + head + failed);
}

void TestSendRun::brokenLogStopsNothing()
{
    Job job(addresses(1));
    job.settings.values.logOutgoing = true;
    writeFile(job.folder.file("log")); // in the folder's way
    QCOMPARE(job.start(), Result::Complete);
}

void TestSendRun::midnightPasses()
{
    Job job(addresses(2), QStringLiteral("%%SEND_DATE%%"));
    job.settings.values.logOutgoing = true;
    const QDate day = job.clock.time.date();
    job.mail.whileSending = [&](const QString &) { job.clock.time = job.clock.time.addDays(1); };
    job.start();
    const QLocale locale = QLocale::system();
    QCOMPARE(job.mail.sent[0].body, locale.toString(day, QLocale::ShortFormat));
    QCOMPARE(job.mail.sent[1].body, locale.toString(day.addDays(1), QLocale::ShortFormat));
    // The log keeps its day.
    QCOMPARE(QDir(job.folder.file("log")).entryList(QDir::Files),
             QStringList{QStringLiteral("log261116.txt")});
}

void TestSendRun::storageErrorStopsTheRun()
{
    Job job(addresses(3));
    // The outcome of the second recipient cannot be written.
    const TestText second = "update of status on email when new.mid=2";
    job.folder.refuse(second, job.listId);
    QCOMPARE(job.start(), Result::StorageFailed);
    QCOMPARE(job.recipients().size(), 2);
    QCOMPARE(job.op.told.size(), 1);
    QVERIFY(job.op.told[0].startsWith(QStringLiteral("Error|Error # ")));
    QVERIFY(job.op.told[0].endsWith(QStringLiteral(" was generated by SQLite\rno room")));
    QCOMPARE(job.view.running, QList<bool>({true, false}));
    QCOMPARE(job.mail.calls.last(), QStringLiteral("Disconnect"));
    QCOMPARE(job.outcomes()[0], QStringLiteral("1|S|"));

    // The second was mailed, though it could not be recorded: it is not mailed again.
    job.folder.allow(second, job.listId);
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients(), addresses(3));
}

void TestSendRun::missingListDatabase()
{
    Job job(addresses(1));
    QVERIFY(QFile::remove(job.folder.folder().listDatabaseFile(job.listId)));
    QCOMPARE(job.start(), Result::StorageFailed);
    QVERIFY(job.op.told[0].endsWith(QStringLiteral("does not exist.")));
    QCOMPARE(job.stored(), QStringLiteral("null|0|0|0|0|0"));
    QCOMPARE(job.view.row[JobCell::Progress], QString());
    QVERIFY(job.mail.calls.isEmpty());
}

void TestSendRun::unstoredJobIsNotMailedTwice()
{
    Job job(addresses(3));
    job.folder.refuse("update on mjob");
    job.pauseAt(QStringLiteral("r2@x.org"));
    QCOMPARE(job.start(), Result::StorageFailed);
    QCOMPARE(job.stored(), QStringLiteral("null|0|0|0|0|0"));
    job.folder.allow("update on mjob");
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients(), addresses(3));
}

void TestSendRun::crashIsRecovered()
{
    Job job(addresses(4));
    // What a killed process leaves: outcomes, the marker and the lock file, nothing in the job.
    {
        Connection list(job.folder.folder().listConnectionString(job.listId));
        RunMarker::begin(list, job.jobId, QStringLiteral("2026/11/15 10:00:00"), 0);
        list.execute(QStringLiteral("update email set status='S', remark='' where mid<3"));
        RunMarker::advanceStatement(list)->run(qint64(2), job.jobId);
    }
    writeFile(job.folder.file(QStringLiteral("data\\m%1.lock").arg(job.listId)),
              "999999999\nquillbright\n" + QSysInfo::machineHostName().toUtf8() + '\n' +
                  QSysInfo::machineUniqueId() + '\n' + QSysInfo::bootUniqueId() + '\n');

    QCOMPARE(recoverInterruptedRuns(job.folder.folder()), QStringList{QStringLiteral("Spring")});
    QCOMPARE(job.stored(), QStringLiteral("Paused|4|2|2|0|2"));
    QCOMPARE(job.row()[JobCell::Start], QStringLiteral("2026/11/15 10:00:00"));
    QVERIFY(recoverInterruptedRuns(job.folder.folder()).isEmpty());
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients(), addresses(4).mid(2));
}

void TestSendRun::storedRunIsNotTakenForACrash()
{
    Job job(addresses(2));
    job.start();
    // Killed between storing the job and clearing the marker.
    Connection list(job.folder.folder().listConnectionString(job.listId));
    RunMarker::begin(list, job.jobId, job.row()[JobCell::Start], 2);
    list.close();
    job.start();
    QCOMPARE(job.recipients().size(), 4);
}

void TestSendRun::rerunIsNotTakenForACrash()
{
    Job job(addresses(3));
    job.mail.failures[QStringLiteral("r2@x.org")] = QStringLiteral("no");
    job.op.answers.push(false);
    // Every send takes a while, so that no two passes start in the same second.
    job.mail.whileSending = [&](const QString &) { job.clock.time = job.clock.time.addSecs(2); };
    QCOMPARE(job.start(), Result::Complete);
    job.mail.failures.clear();
    QCOMPARE(job.start(true), Result::Complete);
    job.mail.sent.clear();
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients(), addresses(3));
    QVERIFY(job.folder.rows("select * from sending", job.listId).isEmpty());
}

void TestSendRun::resetAfterACrashBeginsAnew()
{
    Job job(addresses(3));
    {
        Connection list(job.folder.folder().listConnectionString(job.listId));
        RunMarker::begin(list, job.jobId, QStringLiteral("2026/11/15 10:00:00"), 2);
    }
    JobRow row = job.row();
    resetJob(job.folder.folder(), row);
    QCOMPARE(job.start(), Result::Complete);
    QCOMPARE(job.recipients(), addresses(3));
}

void TestSendRun::oneRunPerList()
{
    Job job(addresses(1));
    const ListLock lock(job.folder.folder(), job.listId);
    QCOMPARE(job.start(), Result::ListInUse);
    QVERIFY(job.mail.calls.isEmpty());
    QCOMPARE(job.op.told.size(), 1);
    QVERIFY(job.op.told[0].startsWith(
        QStringLiteral("|Another Quillbright is sending to this maillist (process %1 on ")
            .arg(QCoreApplication::applicationPid())));
    JobRow row = job.row();
    QVERIFY_EXCEPTION_THROWN(resetJob(job.folder.folder(), row), ListInUse);
}

QTEST_GUILESS_MAIN(TestSendRun)
#include "tst_sendrun.moc"

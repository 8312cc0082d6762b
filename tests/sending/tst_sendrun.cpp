#include "runjob.h"

#include <QDir>
#include <QLocale>
#include <QStringEncoder>

#include <sys/syscall.h>
#include <unistd.h>

namespace
{
int syncs = 0;
}

// The engine's way to the disk leads through here.
extern "C" int fdatasync(int file)
{
    ++syncs;
    return int(syscall(SYS_fdatasync, file));
}

class TestSendRun final : public QObject
{
    Q_OBJECT

private slots:
    void sendsToEveryone()
    {
        Job job({u"' a ','Ann'"_s, u"'b','Ben O''Hara'"_s}, "Dear %%FIRSTNAME%%");
        const QString attached = writeFile(job.folder.file("one.txt"));
        job.folder.execute(
            u"update mmsg set format='HTML', attach03='%1', replyemail='r'"_s.arg(attached));
        job.settings.values.validateAddresses = true;
        job.settings.values.account = u"me"_s;
        job.settings.values.password = u"secret"_s;
        job.settings.values.smtpServer = u"smtp://u:pw@mail.example.org"_s;
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), u" a  b"_s);
        QCOMPARE(job.mail.sent[0].body + job.mail.sent[1].body, u"Dear AnnDear Ben O'Hara"_s);
        QCOMPARE(job.mail.calls.join(u' '), u"Connect Send Send Disconnect"_s);
        QCOMPARE(job.outcomes(), QStringList({u"1S"_s, u"2S"_s}));
        QCOMPARE(job.stored(), u"Complete|2|0|2|0|0"_s);
        QCOMPARE(job.op.told, QStringList{u"|Job [Spring] completed successfully."_s});
        QCOMPARE(job.row()[JobCell::Start], u"2026/11/16 14:05:09"_s);
        QCOMPARE(job.view.shown(),
                 QStringList({u"Connecting  0% 0-0 0-0"_s, u"Sending  a  0% 0-0 0-0"_s,
                              u"Sending  a  50% 1-0 1-0"_s, u"Sending b 50% 1-0 1-0"_s,
                              u"Sending b 100% 2-0 2-0"_s, u"Ended b 100% 2-0 2-0"_s}));
        QCOMPARE(job.view.progress[0].server, u"mail.example.org"_s); // no secrets
        QCOMPARE(job.view.running, QList<bool>({true, false}));

        QCOMPARE(job.mail.Host, job.settings.values.smtpServer);
        QCOMPARE(job.mail.SenderName + job.mail.SenderAddress, u"The Clubclub@example.org"_s);
        QVERIFY(job.mail.HtmlBody && job.mail.AddressCheck == 1 && !job.mail.Authenticate);
        QCOMPARE(job.mail.Attachments + job.mail.UserName, attached);
        QVERIFY(!QFile::exists(job.folder.file("log")));

        // A complete job sends to everyone again, be it nobody.
        job.settings.values.requireLogon = true;
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.mail.sent.size(), 2);
        QVERIFY(job.mail.Authenticate);
        QCOMPARE(job.mail.UserName + job.mail.Password, u"mesecret"_s);
        // So it does when the run was cut off after the job was stored.
        job.folder.refuse("update of stored on run", 1);
        QCOMPARE(job.start(), Result::Complete);
        job.folder.allow("update of stored on run", 1);
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.mail.sent.size(), 2);
        job.folder.execute("delete from email", 1);
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.stored(), u"Complete|0|0|0|0|0"_s);
    }

    void refusesToStart()
    {
        const struct {
            const char *told;
            Result result;
            const char *spoil; ///< a statement on the system database
        } cases[] = {
            {"Please enter a SMTP server in the Options Window and send again !", Result::NoServer,
             "update mmsg set attach02='/tmp'"},
            {"Attachment not found : /tmp !", Result::MissingAttachment,
             "update mmsg set attach02='/tmp', attach03='/x'"},
            {"ulist.txt cannot be read: ", Result::NoUnsubscribeList, nullptr},
            {"The maillist of job \"Spring\" (Maillist ID 1) exists no more.",
             Result::StorageFailed, "delete from mlist"},
            {"The message of job \"Spring\" (Email ID 2) exists no more.", Result::StorageFailed,
             "update mjob set msgid=2"},
        };
        for (const auto &[told, result, spoil] : cases) {
            Job job(1);
            const JobRow row = job.row();
            if (result == Result::NoServer)
                job.settings.values.smtpServer.clear();
            if (spoil)
                job.folder.execute(spoil);
            else
                QDir().mkdir(job.folder.file("ulist.txt"));
            QVERIFY2(job.start(row) == result, told);
            QVERIFY2(job.op.told.size() == 1 && job.op.told[0].contains(QLatin1String(told)), told);
            QCOMPARE(job.view.optionsOpened, result == Result::NoServer ? 1 : 0);
            QVERIFY(job.mail.calls.isEmpty() && job.view.running.isEmpty());
        }
        // Not even begun: a file that is no list.
        Job job(1);
        job.folder.execute("drop table email", 1);
        QCOMPARE(job.start(), Result::StorageFailed);
        QVERIFY(job.op.told[0].endsWith(u"is not a maillist."_s));
        QCOMPARE(job.view.running, QList<bool>({true, false}));
        QCOMPARE(job.view.row[JobCell::Progress], QString());
    }

    void reasonsAreStoredOnOneLine()
    {
        Job job(2);
        const QString many(200, u'x');
        job.mail.failures[u"r1"_s] = u"550 \"bob\" can't\r\n"_s + many;
        job.mail.whileSending = [&](const QString &recipient) {
            if (recipient == u"r2"_s) // the whole text is stored then
                throw std::runtime_error((u"broken\r\n\"pipe\" "_s + many).toStdString());
        };
        job.start();
        // The message was on its way when the error came.
        QCOMPARE(job.outcomes(), QStringList({u"1F550 bob can't  "_s + many.first(109),
                                              u"2FIn doubt: broken  \"pipe\" "_s + many}));
        QCOMPARE(job.mail.sent.size(), 2);
    }

    void unsubscribedAreNeverMailed()
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
        Job job(spellings + QStringList(u"annlee@müller.example"_s));
        const auto check = [&job] {
            QCOMPARE(job.start(), Result::Complete);
            QCOMPARE(job.recipients(), u"annlee@müller.example"_s);
            QCOMPARE(job.stored(), u"Complete|14|0|1|13|0"_s);
            QCOMPARE(job.outcomes()[0], u"1FUn-subscribed Email"_s);
        };
        for (const QString &line : {spellings[0], u"\"Ann.Lee\"@XN--mller-kva.example \t"_s}) {
            job.settings.values.unsubscribed = line + u"\r\n"_s;
            check();
        }
        // In the file, though not in the boxes.
        job.settings.values.unsubscribed.clear();
        const QString list = u"\ufeff"_s + spellings[0] + u'\n';
        QByteArray utf16 = QStringEncoder(QStringEncoder::Utf16LE)(list);
        writeFile(job.folder.file("ulist.txt"), utf16);
        check();
    }

    void pausesAndResumes()
    {
        Job job(4);
        job.mail.failures[u"r1"_s] = u"no"_s;
        job.pauseAt(u"r2"_s);
        QCOMPARE(job.start(), Result::Paused);
        QCOMPARE(job.stored(), u"Paused|4|2|1|1|2"_s);
        QVERIFY(job.op.told.isEmpty());

        // "Resend Fail" begins without asking, and leaves the resume point.
        job.mail.failures.clear();
        QCOMPARE(job.start(true), Result::Complete);
        QCOMPARE(job.recipients(), u"r1"_s);
        QCOMPARE(job.view.progress.last().rerun, 0);
        QCOMPARE(job.stored(), u"Complete|4|2|2|0|2"_s);

        job.folder.execute("insert into email (email) values ('late')", 1);
        job.pauseAt(u"late"_s);
        QCOMPARE(job.start(), Result::Paused); // at the last, but three of five are not all
        QCOMPARE(job.recipients(), u"r3 r4 late"_s);
        QCOMPARE(job.view.progress.last().percent(), 60.0);
        QCOMPARE(job.view.progress.last().toHandle, 3);
        QCOMPARE(job.stored(), u"Paused|5|0|5|0|5"_s);
        QCOMPARE(job.start(), Result::Complete);
        QVERIFY(job.mail.sent.isEmpty());
        QCOMPARE(job.stored(), u"Complete|5|0|5|0|0"_s);
        QCOMPARE(job.start(), Result::Complete); // all selected were handled
    }

    void reconnectsAfterEveryBatch()
    {
        Job job(120);
        job.start();
        QCOMPARE(job.mail.calls.count(u"Connect"_s), 3);
        QCOMPARE(job.mail.calls.indexOf(u"Disconnect"_s), 51);
        QCOMPARE(job.mail.calls.lastIndexOf(u"Connect"_s), 104);
        QCOMPARE(job.clock.waits, QList<std::chrono::milliseconds>(2, 1s));
    }

    void logsTheRun()
    {
        Job job({u"r1"_s, u"r2"_s}, "%%SEND_DATE%%");
        job.settings.values.logOutgoing = true;
        job.mail.failures[u"r2"_s] = u"450 Nö\tno"_s;
        job.op.answers.push(false);
        // A second passes during the first recipient, and then a day during each.
        job.mail.whileSending = [&](const QString &who) {
            job.clock.time = who == u"r1"_s ? job.clock.time.addSecs(1) : job.clock.time.addDays(1);
        };
        const QLocale locale = QLocale::system();
        const auto line = [&](int days, int seconds, const char *text) {
            const QDateTime time = QDateTime({2026, 11, 16 + days}, {14, 5, 9 + seconds});
            return locale.toString(time.date(), QLocale::ShortFormat) + u' ' +
                   locale.toString(time.time(), QLocale::LongFormat) + u' ' +
                   QString::fromUtf8(text) + u"\r\n"_s;
        };
        job.start();
        // The first day's file goes on, and a rerun begins another.
        QCOMPARE(job.log("16"), u"\r\n\r\n"_s + line(0, 0, "Job : Spring") +
                                    line(0, 0, "Email Subject : News") + line(0, 1, "r1\tS\t") +
                                    line(1, 1, "r2\tF\t450 Nö\tno"));
        QCOMPARE(job.log("17"),
                 u"\r\n\r\n"_s + line(1, 1, "Resend Fail Email") + line(1, 1, "Job : Spring") +
                     line(1, 1, "Email Subject : News") + line(2, 1, "r2\tF\t450 Nö\tno"));
        for (const auto &[message, day] : {std::pair(0, 16), {2, 17}})
            QCOMPARE(job.mail.sent[message].body,
                     locale.toString(QDate(2026, 11, day), QLocale::ShortFormat));

        // A log that cannot be written stops nothing.
        QVERIFY(QDir(job.folder.file("log")).removeRecursively());
        writeFile(job.folder.file("log"));
        job.mail.failures.clear();
        QCOMPARE(job.start(), Result::Complete);
    }

    void outcomesAreOnTheDiskBeforeTheNextIsSent()
    {
        Job job(3);
        int last = 0;
        job.mail.whileSending = [&](const QString &recipient) {
            QVERIFY2(recipient == u"r1"_s || syncs > last, qPrintable(recipient));
            last = syncs;
            const QStringList recorded = job.folder.rows("select 1 from email where status='S'", 1);
            QCOMPARE(recorded.size() + 1, job.mail.sent.size());
        };
        QCOMPARE(job.start(), Result::Complete);
    }

    void aLockedListIsWaitedFor()
    {
        Job job(2);
        Connection other(job.folder.folder().listConnectionString(1));
        job.mail.whileSending = [&](const QString &recipient) {
            if (recipient == u"r2"_s)
                other.execute(u"begin immediate"_s);
        };
        job.yield.actAt = 5; // not after each Send, but in each wait
        job.yield.action = [&] { other.execute(u"rollback"_s); };
        QCOMPARE(job.start(), Result::Complete);
        QVERIFY(job.view.shown().contains(u"WaitingForList r2 50% 1-0 1-0"_s));
        QVERIFY(job.clock.waits.size() >= 4);
        QCOMPARE(job.stored(), u"Complete|2|0|2|0|0"_s);
        other.close();
        QCOMPARE(QDir(job.folder.file("data")).entryList(QDir::Files), QStringList{u"m1.mdb"_s});
    }

    void aJobChangedElsewhereIsAskedAbout()
    {
        Job job(3);
        job.folder.refuse("update on mjob");
        job.pauseAt(u"r1"_s);
        const JobRow never = job.row();
        QCOMPARE(job.start(), Result::StorageFailed);
        QCOMPARE(job.stored(), u"null|0|0|0|0|0"_s);
        job.folder.allow("update on mjob");
        // The row shows how it ended, and now it is stored, so nothing is asked.
        job.pauseAt(u"r2"_s);
        QCOMPARE(job.start(job.view.row), Result::Paused);
        QCOMPARE(job.recipients(), u"r2"_s);
        const JobRow paused = job.row();
        job.op.choices.push(u"Start"_s);
        QCOMPARE(job.start(never), Result::Complete);
        QCOMPARE(job.recipients(), u"r3"_s);
        job.op.choices.push(u"Cancel"_s);
        QCOMPARE(job.start(paused), Result::Declined);
        QVERIFY(job.mail.sent.isEmpty());
        QCOMPARE(job.view.row, job.row());
        QCOMPARE(
            job.op.asked.last(),
            u"Job Manager|Job [Spring] has changed since it was shown here. Now it is "
            "\"Complete\": of 3 recipients 3 have had the email, and 0 failed. \"Start\" sends "
            "it to everybody again.|Start|Cancel*"_s);
    }

    void saysWhoWouldGetItAgain()
    {
        const Job job(3);
        for (const auto &[state, sent, had] : {std::tuple("null, last_mid=0", 2, 0),
                                               {"'Paused', last_mid=2", 2, 0},
                                               {"'Paused', last_mid=0", 2, 2},
                                               {"'Complete'", 2, 2},
                                               {"'Complete'", 0, 0}}) {
            job.folder.execute(u"update mjob set progress="_s + QLatin1String(state));
            job.folder.execute(u"update email set status=iif(mid <= %1, 'S', 'F')"_s.arg(sent), 1);
            const RepeatCounts none{0, 3};
            const RepeatCounts repeat = repeatOf(job.folder.folder(), job.row()).value_or(none);
            QVERIFY2(repeat.had == had && repeat.haveNot == 3 - had, state);
        }
    }

    void oneRunPerList()
    {
        Job job(1);
        const ListLock lock(job.folder.folder(), 1);
        QCOMPARE(job.start(), Result::ListInUse);
        QVERIFY(job.mail.calls.isEmpty());
        QVERIFY(job.op.told.value(0).contains(
            u"(process %1 on "_s.arg(QCoreApplication::applicationPid())));
        JobRow row = job.row();
        QVERIFY_EXCEPTION_THROWN(resetJob(job.folder.folder(), row), ListInUse);
    }
};

QTEST_GUILESS_MAIN(TestSendRun)
#include "tst_sendrun.moc"

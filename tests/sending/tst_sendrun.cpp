#include "connection.h"
#include "fakes.h"
#include "interruptedrun.h"
#include "jobstore.h"
#include "sendrun.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QLocale>
#include <QStringEncoder>
#include <QTest>

#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Result = SendRun::Result;

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

namespace
{

/// A job of one list and one message, and everything a run of it needs.
struct Job {
    explicit Job(const QStringList &recipients, const TestText &body = "Hello")
    {
        listId = folder.addList("Members", recipients);
        folder.addJob("Spring", listId, folder.addMessage("News", body));
        settings.values.smtpServer = u"mail.example.org"_s;
    }
    /// With recipients r1@x.org, r2@x.org, ...
    explicit Job(int count)
        : Job(addresses(1, count))
    {
    }

    static QStringList addresses(int first, int last)
    {
        QStringList list;
        for (int i = first; i <= last; ++i)
            list += u"r%1@x.org"_s.arg(i);
        return list;
    }

    JobRow row() const
    {
        Connection system(folder.folder().systemConnectionString());
        return loadJobs(system).at(0);
    }
    Result start(const JobRow &shown, bool failedOnly = false)
    {
        mail.sent.clear();
        Connection system(folder.folder().systemConnectionString());
        const JobMessage message = loadMessage(system, 1);
        system.close();
        return run.start(shown, message, failedOnly);
    }
    Result start(bool failedOnly = false) { return start(row(), failedOnly); }
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
    /// Of the last start.
    QStringList recipients() const
    {
        QStringList result;
        for (const FakeSendMail::Message &message : mail.sent)
            result += message.recipient;
        return result;
    }
    QString log() const { return QString::fromUtf8(readFile(folder.file("log\\log261116.txt"))); }

    TestFolder folder;
    qint64 listId = 0;
    FakeSendMail mail;
    FakeSettings settings;
    ScriptedOperator op;
    RecordingView view;
    FakeClock clock;
    CountingYield yield;
    SendRun run{folder.folder(), mail, settings, op, view, clock, yield, {.show = 0ms}};
};

} // namespace

class TestSendRun final : public QObject
{
    Q_OBJECT

private slots:
    void sendsToEveryone()
    {
        Job job({u"' a@x.org ','Ann'"_s, u"'b@x.org','Ben O''Hara'"_s}, "Dear %%FIRSTNAME%%");
        const QString attached = writeFile(job.folder.file("one.txt"));
        job.folder.execute(
            u"update mmsg set format='HTML', attach03='%1', replyemail='r@x.org'"_s.arg(attached));
        job.settings.values.validateAddresses = true;
        job.settings.values.account = u"me"_s;
        job.settings.values.password = u"secret"_s;
        job.settings.values.smtpServer = u"smtp://u:pw@mail.example.org"_s;
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), QStringList({u" a@x.org "_s, u"b@x.org"_s}));
        QCOMPARE(job.mail.sent[0].body + job.mail.sent[1].body, u"Dear AnnDear Ben O'Hara"_s);
        QCOMPARE(job.mail.calls.join(u' '), u"Connect Send Send Disconnect"_s);
        QCOMPARE(job.outcomes(), QStringList({u"1|S|"_s, u"2|S|"_s}));
        QCOMPARE(job.stored(), u"Complete|2|0|2|0|0"_s);
        QCOMPARE(job.op.told, QStringList{u"|Job [Spring] completed successfully."_s});
        QCOMPARE(job.row()[JobCell::Start], u"2026/11/16 14:05:09"_s);
        QCOMPARE(job.view.shown(),
                 QStringList({u"Connecting  0% 0-0 0-0"_s, u"Sending  a@x.org  0% 0-0 0-0"_s,
                              u"Sending  a@x.org  50% 1-0 1-0"_s, u"Sending b@x.org 50% 1-0 1-0"_s,
                              u"Sending b@x.org 100% 2-0 2-0"_s, u"Ended b@x.org 100% 2-0 2-0"_s}));
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
        job.folder.execute("delete from email", job.listId);
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.stored(), u"Complete|0|0|0|0|0"_s);
    }

    void refusesToStart()
    {
        const auto attach = [](const char *path) {
            return [path](Job &job) {
                job.folder.execute(
                    u"update mmsg set attach02='%1', attach03='/x'"_s.arg(QLatin1String(path)));
            };
        };
        const std::vector<std::tuple<const char *, Result, std::function<void(Job &)>>> cases = {
            {"Please enter a SMTP server in the Options Window and send again !", Result::NoServer,
             [](Job &job) { job.settings.values.smtpServer.clear(); }},
            {"Attachment not found : /nowhere/b !", Result::MissingAttachment,
             attach("/nowhere/b")},
            {"Attachment not found : /tmp !", Result::MissingAttachment, attach("/tmp")},
            {"ulist.txt cannot be read: ", Result::NoUnsubscribeList,
             [](Job &job) { QDir().mkdir(job.folder.file("ulist.txt")); }},
            {"ulist.txt cannot be read: it is not a text file.", Result::NoUnsubscribeList,
             [](Job &job) { writeFile(job.folder.file("ulist.txt"), QByteArray("r\0@", 3)); }},
            {"does not exist.", Result::StorageFailed,
             [](Job &job) { QFile::remove(job.folder.folder().listDatabaseFile(job.listId)); }},
            {"is not a maillist.", Result::StorageFailed,
             [](Job &job) { job.folder.execute("drop table email", job.listId); }},
            {"The maillist of job \"Spring\" (Maillist ID 1) exists no more.",
             Result::StorageFailed, [](Job &job) { job.folder.execute("delete from mlist"); }},
            {"The message of job \"Spring\" (Email ID 1) exists no more.", Result::StorageFailed,
             [](Job &job) { job.folder.execute("update mmsg set msgid=7"); }},
            {"There is no job \"1\".", Result::StorageFailed,
             [](Job &job) { job.folder.execute("delete from mjob"); }},
        };
        for (const auto &[told, result, spoil] : cases) {
            Job job(1);
            const JobRow row = job.row();
            Connection system(job.folder.folder().systemConnectionString());
            const JobMessage before = loadMessage(system, 1);
            spoil(job);
            JobMessage message = before;
            if (result == Result::MissingAttachment)
                message = loadMessage(system, 1);
            system.close();
            QVERIFY2(job.run.start(row, message, false) == result, told);
            QVERIFY2(job.op.told.size() == 1 && job.op.told[0].contains(QLatin1String(told)),
                     qPrintable(job.op.told.join(u'/')));
            QCOMPARE(job.view.optionsOpened, result == Result::NoServer ? 1 : 0);
            QVERIFY(job.mail.calls.isEmpty());
            QVERIFY(!job.view.running.contains(true) || !job.view.running.last());
            QVERIFY(job.folder.rows("select * from mjob where progress is not null").isEmpty());
        }
    }

    void failuresAreRerunOnceThenAsked()
    {
        Job job(3);
        job.mail.failures[u"r2@x.org"_s] = u"550 No"_s;
        job.op.answers.push(true);
        job.op.answers.push(false);
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients().join(u' '), u"r1@x.org r2@x.org r3@x.org r2@x.org r2@x.org"_s);
        const QString question = u"Resend fail emails |There are 1 fail emails.\r\n"
                                 "Do you want to resend fail emails ?"_s;
        QCOMPARE(job.op.asked, QStringList({question, question}));
        QVERIFY(job.op.told.isEmpty());
        QCOMPARE(job.stored(), u"Complete|3|0|2|1|0"_s);
        QCOMPARE(job.view.progress.last().rerun, 2);
        QCOMPARE(job.view.shown().last(), u"Ended r2@x.org 100% 0-1 2-1"_s);
        QCOMPARE(job.view.failures, QStringList(3, u"r2@x.org|550 No"_s));

        // Repaired at the server, the automatic rerun ends it.
        job.mail.whileSending = [&](const QString &) {
            if (job.mail.sent.size() == 4)
                job.mail.failures.clear();
        };
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.stored(), u"Complete|3|0|3|0|0"_s);
        QCOMPARE(job.view.shown().last(), u"Ended r2@x.org 100% 1-0 3-0"_s);
        QCOMPARE(job.op.told.size(), 1);
        QVERIFY(job.folder.rows("select * from sending", job.listId).isEmpty());
    }

    void reasonsAreStoredOnOneLine()
    {
        Job job(4);
        const QString many(200, u'x');
        job.mail.failures = {{u"r1@x.org"_s, u"550 \"bob\" can't"_s},
                             {u"r2@x.org"_s, u"550 one\r\ntwo"_s},
                             {u"r3@x.org"_s, u"\"\"\""_s + many}};
        job.mail.whileSending = [&](const QString &recipient) {
            if (recipient == u"r4@x.org"_s) // the whole text is stored then
                throw std::runtime_error((u"broken\r\n\"pipe\" "_s + many).toStdString());
        };
        job.op.answers.push(false);
        job.start();
        QCOMPARE(job.outcomes(),
                 QStringList({u"1|F|550 bob can't"_s, u"2|F|550 one  two"_s,
                              u"3|F|"_s + many.first(124), u"4|F|broken  \"pipe\" "_s + many}));
        QCOMPARE(job.recipients().size(), 8); // an error is rerun like a refusal
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
        Job job(spellings + QStringList{u"annlee@müller.example"_s});
        const auto check = [&job] {
            job.op.answers.push(false);
            QCOMPARE(job.start(), Result::Complete);
            QCOMPARE(job.recipients(), QStringList{u"annlee@müller.example"_s});
            QCOMPARE(job.stored(), u"Complete|14|0|1|13|0"_s);
            QCOMPARE(job.outcomes()[0], u"1|F|Un-subscribed Email"_s);
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
        job.mail.failures[u"r1@x.org"_s] = u"no"_s;
        job.pauseAt(u"r2@x.org"_s);
        QCOMPARE(job.start(), Result::Paused);
        QCOMPARE(job.stored(), u"Paused|4|2|1|1|2"_s);
        QVERIFY(job.op.told.isEmpty());

        // "Resend Fail" begins without asking, and leaves the resume point.
        job.mail.failures.clear();
        QCOMPARE(job.start(true), Result::Complete);
        QCOMPARE(job.recipients(), QStringList{u"r1@x.org"_s});
        QCOMPARE(job.view.progress.last().rerun, 0);
        QCOMPARE(job.stored(), u"Complete|4|2|2|0|2"_s);

        job.folder.execute("insert into email (email) values ('late@x.org')", job.listId);
        job.pauseAt(u"late@x.org"_s);
        QCOMPARE(job.start(), Result::Paused); // at the last, but three of five are not all
        QCOMPARE(job.recipients(), QStringList({u"r3@x.org"_s, u"r4@x.org"_s, u"late@x.org"_s}));
        QCOMPARE(job.view.progress.last().percent(), 60.0);
        QCOMPARE(job.view.progress.last().toHandle, 3);
        QCOMPARE(job.stored(), u"Paused|5|0|5|0|5"_s);
        QCOMPARE(job.start(), Result::Complete);
        QVERIFY(job.recipients().isEmpty());
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
        QVERIFY(job.yield.count >= 120);
    }

    void logsTheRun()
    {
        Job job({u"r1@x.org"_s, u"r2@x.org"_s}, "%%SEND_DATE%%");
        job.settings.values.logOutgoing = true;
        job.mail.failures[u"r2@x.org"_s] = u"550 Nö\tno"_s;
        job.op.answers.push(false);
        // A second passes during the first recipient, and then a day.
        job.mail.whileSending = [&](const QString &) {
            job.clock.time =
                job.mail.sent.size() == 1 ? job.clock.time.addSecs(1) : job.clock.time.addDays(1);
        };
        const QDateTime began = job.clock.time;
        job.start();
        const QLocale locale = QLocale::system();
        const auto line = [&](const QDateTime &time, const char *text) {
            return locale.toString(time.date(), QLocale::ShortFormat) + u' ' +
                   locale.toString(time.time(), QLocale::LongFormat) + u' ' +
                   QString::fromUtf8(text) + u"\r\n"_s;
        };
        const auto head = [&](const QDateTime &time) {
            return line(time, "Job : Spring") + line(time, "Email Subject : News");
        };
        const QDateTime second = began.addSecs(1).addDays(1);
        // The first day's file goes on, and a rerun begins another.
        QCOMPARE(job.log(), u"\r\n\r\n"_s + head(began) + line(began.addSecs(1), "r1@x.org\tS\t") +
                                line(second, "r2@x.org\tF\t550 Nö\tno"));
        QCOMPARE(QString::fromUtf8(readFile(job.folder.file("log\\log261117.txt"))),
                 u"\r\n\r\n"_s + line(second, "Resend Fail Email") + head(second) +
                     line(second.addDays(1), "r2@x.org\tF\t550 Nö\tno"));
        QCOMPARE(job.mail.sent[0].body, locale.toString(began.date(), QLocale::ShortFormat));
        QCOMPARE(job.mail.sent[2].body, locale.toString(second.date(), QLocale::ShortFormat));

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
            QVERIFY2(recipient == u"r1@x.org"_s || syncs > last, qPrintable(recipient));
            last = syncs;
            const QStringList recorded = job.folder.rows("select 1 from email where status='S'", 1);
            QCOMPARE(recorded.size() + 1, job.mail.sent.size());
        };
        QCOMPARE(job.start(), Result::Complete);
    }

    void aLockedListIsWaitedFor()
    {
        Job job(2);
        Connection other(job.folder.folder().listConnectionString(job.listId));
        job.mail.whileSending = [&](const QString &recipient) {
            if (recipient == u"r2@x.org"_s)
                other.execute(u"begin immediate"_s);
        };
        job.yield.actAt = 6; // one after each Send, then one in each wait
        job.yield.action = [&] { other.execute(u"rollback"_s); };
        QCOMPARE(job.start(), Result::Complete);
        QVERIFY(job.view.shown().contains(u"WaitingForList r2@x.org 100% 2-0 2-0"_s));
        QCOMPARE(job.clock.waits.size(), 4);
        QCOMPARE(job.stored(), u"Complete|2|0|2|0|0"_s);
        other.close();
        QCOMPARE(QDir(job.folder.file("data")).entryList(QDir::Files), QStringList{u"m1.mdb"_s});
    }

    void anOutcomeThatCannotBeWrittenIsNotLost()
    {
        for (const bool isSystemBroken : {false, true}) {
            Job job(3);
            job.settings.values.logOutgoing = true;
            const TestText second = "update of status on email when new.mid=2";
            job.folder.refuse(second, job.listId);
            if (isSystemBroken)
                job.folder.refuse("update on mjob");
            QCOMPARE(job.start(), Result::StorageFailed);
            std::chrono::milliseconds waited = 0ms;
            for (const auto wait : job.clock.waits)
                waited += wait;
            QVERIFY(waited >= 20s && waited <= 30s);
            const QString named = u"That r2@x.org got the email could not be recorded in the "
                                  "maillist. It is recorded when the job is started again."_s;
            QCOMPARE(job.op.told.size(), 1);
            QVERIFY(job.op.told[0].startsWith(u"Error|Error # "_s));
            QVERIFY(job.op.told[0].endsWith(u" was generated by SQLite\rno room\r\n"_s + named));
            QVERIFY(job.log().endsWith(named + u"\r\n"_s));
            QCOMPARE(job.view.running, QList<bool>({true, false}));
            QCOMPARE(job.mail.calls.last(), u"Disconnect"_s);
            QCOMPARE(job.stored(), isSystemBroken ? u"null|0|0|0|0|0"_s : u"Paused|3|2|1|0|1"_s);
            const JobRow shown = job.view.row;

            job.folder.allow(second, job.listId);
            if (isSystemBroken)
                job.folder.allow("update on mjob");
            job.op.choices.push(u"Start"_s); // the record that came later is a change
            QCOMPARE(job.start(shown), Result::Complete);
            QCOMPARE(job.recipients(), QStringList{u"r3@x.org"_s});
            QCOMPARE(job.outcomes(), QStringList({u"1|S|"_s, u"2|S|"_s, u"3|S|"_s}));
            QCOMPARE(job.stored(), u"Complete|3|0|3|0|0"_s);
        }
    }

    /// What a process leaves that ended anywhere: table `sending`, and with it the job's next run.
    void anInterruptedRunGoesOn()
    {
        const char *columns = "jobid integer primary key, start_time text not null, "
                              "last_mid integer not null, progress text, end_time text";
        const char *former = "jobid integer primary key, start_time text not null, "
                             "last_mid integer not null";
        const struct {
            const char *name, *columns, *row, *stored;
            int next; ///< the first recipient of the next start
        } cases[] = {
            {"cut off", columns, "1, '2026/11/15 10:00:00', 2, null, null", "Paused|4|2|2|0|2", 3},
            {"in the second it began", columns, "1, '2026/11/14 10:00:00', 2, null, null",
             "Paused|4|2|2|0|2", 3},
            {"by the former program", former, "1, '2026/11/15 10:00:00', 2", "Paused|4|2|2|0|2", 3},
            {"paused, not stored", columns, "1, '2026/11/15 10:00:00', 2, 'Paused', 'later'",
             "Paused|4|2|2|0|2", 3},
            {"complete, not stored", columns, "1, '2026/11/15 10:00:00', 0, 'Complete', 'later'",
             "Complete|4|2|2|0|0", 1},
            {"another job's, in a copied list", columns, "9, '2026/11/15 10:00:00', 2, null, null",
             "Complete|4|4|0|0|0", 1},
        };
        for (const auto &each : cases) {
            Job job(4);
            job.folder.execute("update mjob set progress='Complete', total=4, unsent=4, "
                               "start_time='2026/11/14 10:00:00'");
            job.folder.execute("update email set status='S' where mid < 3", job.listId);
            job.folder.execute(u"create table sending (%1)"_s.arg(QLatin1String(each.columns)),
                               job.listId);
            job.folder.execute(u"insert into sending values (%1)"_s.arg(QLatin1String(each.row)),
                               job.listId);
            const bool isCutOff = QByteArray(each.stored).startsWith("Paused") &&
                                  !QByteArray(each.row).contains("later");
            QCOMPARE(recoverInterruptedRuns(job.folder.folder()),
                     isCutOff ? QStringList{u"Spring"_s} : QStringList());
            QVERIFY2(job.stored() == QLatin1String(each.stored), each.name);
            QVERIFY(recoverInterruptedRuns(job.folder.folder()).isEmpty());
            QCOMPARE(job.start(), Result::Complete);
            QCOMPARE(job.recipients(), Job::addresses(each.next, 4));
        }
    }

    void anUnstoredEndIsStoredLater()
    {
        Job job(3);
        job.folder.refuse("update on mjob");
        job.pauseAt(u"r2@x.org"_s);
        QCOMPARE(job.start(), Result::StorageFailed);
        QCOMPARE(job.stored(), u"null|0|0|0|0|0"_s);
        job.folder.allow("update on mjob");
        // The row shows how it ended, so nothing is asked.
        QCOMPARE(job.start(job.view.row), Result::Complete);
        QCOMPARE(job.recipients(), QStringList{u"r3@x.org"_s});
    }

    void aJobChangedElsewhereIsAskedAbout()
    {
        Job job(3);
        job.pauseAt(u"r2@x.org"_s);
        const JobRow never = job.row();
        job.start();
        const JobRow paused = job.row();
        job.op.choices.push(u"Start"_s);
        QCOMPARE(job.start(never), Result::Complete);
        QCOMPARE(job.recipients(), QStringList{u"r3@x.org"_s});
        job.op.choices.push(u"Cancel"_s);
        QCOMPARE(job.start(paused), Result::Declined);
        QVERIFY(job.mail.sent.isEmpty());
        QCOMPARE(job.view.row, job.row());
        QCOMPARE(job.op.asked.last(),
                 u"Job Manager|Job [Spring] was changed by another program since it was shown "
                 "here. Now it is \"Complete\": of 3 recipients 3 have had the email, and 0 "
                 "failed. \"Start\" sends it to everybody again.|Start|Cancel*"_s);
    }

    void saysWhoWouldGetItAgain()
    {
        const Job job(3);
        for (const auto &[state, lastMid, sent, had] : {std::tuple("null", 0, 2, 0),
                                                        {"''", 0, 2, 0},
                                                        {"'Paused'", 2, 2, 0},
                                                        {"'Paused'", 0, 2, 2},
                                                        {"'Complete'", 0, 2, 2},
                                                        {"'Complete'", 0, 0, 0}}) {
            job.folder.execute(u"update mjob set progress=%1, last_mid=%2"_s.arg(
                QLatin1String(state), QString::number(lastMid)));
            job.folder.execute(u"update email set status=iif(mid <= %1, 'S', 'F')"_s.arg(sent),
                               job.listId);
            const auto repeat = repeatOf(job.folder.folder(), job.row());
            QVERIFY2(repeat.has_value() == (had > 0), state);
            if (repeat)
                QCOMPARE(repeat->had * 10 + repeat->haveNot, had * 10 + 3 - had);
        }
    }

    void oneRunPerList()
    {
        Job job(1);
        const ListLock lock(job.folder.folder(), job.listId);
        QCOMPARE(job.start(), Result::ListInUse);
        QVERIFY(job.mail.calls.isEmpty());
        QCOMPARE(job.op.told.size(), 1);
        QVERIFY(job.op.told[0].startsWith(
            u"|Another Quillbright is sending to this maillist (process %1 on "_s.arg(
                QCoreApplication::applicationPid())));
        JobRow row = job.row();
        QVERIFY_EXCEPTION_THROWN(resetJob(job.folder.folder(), row), ListInUse);
    }
};

QTEST_GUILESS_MAIN(TestSendRun)
#include "tst_sendrun.moc"

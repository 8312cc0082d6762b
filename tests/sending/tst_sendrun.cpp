#include "account.h"
#include "connection.h"
#include "fakes.h"
#include "jobstore.h"
#include "runrecord.h"
#include "sendrun.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QLocale>
#include <QStringEncoder>
#include <QTest>

#include <numeric>

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
        folder.addList("Members", recipients);
        folder.addJob("Spring", 1, folder.addMessage("News", body));
        settings.values.smtpServer = u"mail.example.org"_s;
    }
    /// With recipients r1, r2, ...
    explicit Job(int count)
        : Job(addresses(1, count))
    {
    }
    static QStringList addresses(int first, int last)
    {
        QStringList list;
        for (int i = first; i <= last; ++i)
            list += u"r%1"_s.arg(i);
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
        const Result result = run.start(shown, loadMessage(system, 1), failedOnly);
        verify();
        return result;
    }
    /// At every moment everybody is accounted for.
    void verify() const
    {
        Connection list(folder.folder().listConnectionString(1));
        if (list.number(u"select count(*) from sqlite_master where name='email'"_s) > 0)
            QCOMPARE(verifyList(list), QStringList());
    }
    QString account() const
    {
        Connection list(folder.folder().listConnectionString(1));
        const Account all = accountOf(list, list.number(u"select max(series) from series"_s));
        return u"%1: %2 sent, %3 failed, %4 in doubt, %5 unsent, %6 removed"_s.arg(all.selected)
            .arg(all.sent)
            .arg(all.failed)
            .arg(all.inDoubt)
            .arg(all.unsent)
            .arg(all.removed);
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
        return folder.rows("select mid || status || coalesce(remark, '') from email", 1);
    }
    /// Of the last start.
    QString recipients() const
    {
        QStringList result;
        for (const FakeSendMail::Message &message : mail.sent)
            result += message.recipient;
        return result.join(u' ');
    }
    QString log(const char *day) const
    {
        return QString::fromUtf8(
            readFile(folder.file(u"log\\log2611%1.txt"_s.arg(QLatin1String(day)))));
    }

    TestFolder folder;
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

    void temporaryFailuresAreRerunOnceThenAsked()
    {
        Job job(4);
        job.mail.failures[u"r2"_s] = u"450 Later"_s;
        job.mail.failures[u"r3"_s] = u"550 Gone"_s;
        job.mail.failures[u"r4"_s] = u"doubt"_s;
        for (const bool answer : {true, false, false})
            job.op.answers.push(answer); // rerun, not to those in doubt; and no more
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), u"r1 r2 r3 r4 r2 r2"_s);
        const QString question = u"Resend fail emails |There are 1 fail emails.\r\n"
                                 "Do you want to resend fail emails ?"_s;
        const QString doubt = u"Resend fail emails |1 recipient is in doubt: the email may have "
                              "arrived.\r\nDo you want to send it again?"_s;
        QCOMPARE(job.op.asked, QStringList({question, doubt, question}));
        QVERIFY(job.op.told.isEmpty());
        QCOMPARE(job.stored(), u"Complete|4|0|1|3|0"_s);
        QCOMPARE(job.account(), u"4: 1 sent, 2 failed, 1 in doubt, 0 unsent, 0 removed"_s);
        QCOMPARE(job.view.progress.last().rerun, 2);
        QCOMPARE(job.view.shown().last(), u"Ended r2 100% 0-1 1-2"_s);
        QCOMPARE(job.outcomes()[3], u"4FIn doubt: doubt"_s);

        // Repaired at the server: "Resend Fail" takes all of them, and on request who is in doubt.
        job.mail.failures.clear();
        job.op.answers.push(false);
        QCOMPARE(job.start(true), Result::Complete);
        QCOMPARE(job.recipients(), u"r2 r3"_s);
        QVERIFY(job.op.told.takeLast().startsWith(u"Job Manager|Job [Spring] is complete: 3 sent, "
                                                  u"0 failed for good.\r\n1 in doubt, who may have "
                                                  "got it (r4)."_s));
        job.op.answers.push(true);
        QCOMPARE(job.start(true), Result::Complete);
        QCOMPARE(job.recipients(), u"r4"_s);
        QCOMPARE(job.op.told, QStringList{u"|Job [Spring] completed successfully."_s});
        QCOMPARE(job.account(), u"4: 4 sent, 0 failed, 0 in doubt, 0 unsent, 0 removed"_s);
        // A repeat of the same mail to the same recipient says so.
        QCOMPARE(job.folder.rows("select count(distinct messageid) from outcome group by mid", 1),
                 QStringList(4, u"1"_s));
    }

    /// What the server says to everybody is no recipient's failure.
    void troubleWithTheServerPauses()
    {
        const struct {
            const char *failure, *sent, *waits;
            const char *stored;
        } cases[] = {
            {"no session", "r1 r2 r2 r2 r2 r2 r2", "2 10 30 60", "Paused|6|5|1|0|1"},
            {"530 5.7.0 Log in", "r1 r2 r3 r4", "", "Paused|6|5|1|0|1"},
            {"554 5.7.1 Relay access denied", "r1 r2 r3 r4 r2 r2 r2 r2", "2 10 30 60",
             "Paused|6|5|1|0|1"},
        };
        for (const auto &each : cases) {
            Job job(6);
            for (int i = 2; i <= 6; ++i)
                job.mail.failures[u"r%1"_s.arg(i)] = QString::fromLatin1(each.failure);
            QCOMPARE(job.start(), Result::Paused);
            QCOMPARE(job.stored(), QString::fromLatin1(each.stored));
            QCOMPARE(job.account(), u"6: 1 sent, 0 failed, 0 in doubt, 5 unsent, 0 removed"_s);
            QStringList waits;
            for (const RunProgress &shown : job.view.progress) {
                if (shown.phase == RunProgress::Phase::WaitingForServer)
                    waits += shown.trouble;
            }
            const auto waited =
                std::accumulate(job.clock.waits.begin(), job.clock.waits.end(), 0ms);
            QCOMPARE(waited, each.waits[0] ? 102000ms : 0ms);
            QCOMPARE(job.op.told.size(), 1);
            QVERIFY(job.op.told[0].contains(QString::fromLatin1(each.failure)));
            // Nobody was skipped, and nobody gets it twice.
            job.mail.failures.clear();
            QCOMPARE(job.start(), Result::Complete);
            QCOMPARE(job.recipients(), u"r2 r3 r4 r5 r6"_s);
            QCOMPARE(job.folder.rows("select count(*) from outcome group by mid", 1),
                     QStringList(6, u"1"_s));
        }
        // Two sessions lost on the same one are that one's failure, for now.
        Job job(3);
        job.mail.failures[u"r2"_s] = u"lost"_s;
        job.op.answers.push(false);
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), u"r1 r2 r2 r3 r2 r2"_s);
        QCOMPARE(job.stored(), u"Complete|3|0|2|1|0"_s);
    }

    void aBadListIsAskedAbout()
    {
        for (const bool isInRow : {true, false}) {
            Job job(120);
            for (int i = 1; i <= 120; ++i) {
                if (isInRow ? i > 70 : i % 2 == 0)
                    job.mail.failures[u"r%1"_s.arg(i)] = u"550 Unknown"_s;
            }
            const int last = isInRow ? 90 : 68;
            job.op.choices.push(u"Pause"_s);
            QCOMPARE(job.start(), Result::Paused);
            QCOMPARE(job.mail.sent.size(), last);
            QVERIFY(job.op.asked[0].contains(u"550 Unknown"_s));
            if (isInRow)
                job.op.choices.push(u"Send"_s);
            QCOMPARE(job.start(), Result::Complete);
            QCOMPARE(job.mail.sent.size(), 120 - last);
        }
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

    void anOutcomeThatCannotBeWrittenIsInDoubt()
    {
        for (const bool isSystemBroken : {false, true}) {
            Job job(3);
            job.settings.values.logOutgoing = true;
            const TestText event = "update of status on email when new.mid=2 and new.remark=''";
            job.folder.refuse(event, 1);
            if (isSystemBroken)
                job.folder.refuse("update on mjob");
            QCOMPARE(job.start(), Result::StorageFailed);
            const auto waited =
                std::accumulate(job.clock.waits.begin(), job.clock.waits.end(), 0ms);
            QVERIFY(waited >= 20s && waited <= 30s);
            const QString named = u"What became of r2 could not be recorded, so it is in doubt."_s;
            QCOMPARE(
                job.op.told,
                QStringList{u"Error|Error # 1811 was generated by SQLite\rno room\r\n"_s + named});
            QVERIFY(job.log("16").endsWith(named + u"\r\n"_s));
            QCOMPARE(job.view.running, QList<bool>({true, false}));
            QCOMPARE(job.mail.calls.last(), u"Disconnect"_s);
            QCOMPARE(job.stored(), isSystemBroken ? u"null|0|0|0|0|0"_s : u"Paused|3|1|1|1|2"_s);
            QCOMPARE(job.account(), u"3: 1 sent, 0 failed, 1 in doubt, 1 unsent, 0 removed"_s);

            job.folder.allow(event, 1);
            if (isSystemBroken)
                job.folder.allow("update on mjob");
            QCOMPARE(job.start(job.view.row), Result::Complete);
            QCOMPARE(job.recipients(), u"r3"_s);
            QCOMPARE(job.stored(), u"Complete|3|0|2|1|0"_s);
        }
    }

    /// Who is named before the message leaves, and that nobody is while nothing is on its way.
    void whoIsInDoubtIsNamedBefore()
    {
        Job job(60);
        const auto inDoubt = [&job] {
            return job.folder.rows("select address from outcome where result='D'", 1).join(u' ');
        };
        QStringList wrong;
        job.mail.whileSending = [&](const QString &recipient) {
            if (inDoubt() != recipient)
                wrong += recipient + u':' + inDoubt();
        };
        job.yield.action = [&] {
            if (job.run.progress().phase == RunProgress::Phase::Waiting)
                wrong += inDoubt();
        };
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(wrong, QStringList{QString()});

        // Cut off in the middle of a message: the recipient is told, and stays as they are.
        job.pauseAt(u"r1"_s);
        job.start();
        job.folder.execute("update outcome set result='D', reason='In doubt: cut off' where run=2",
                           1);
        job.folder.execute("update run set how=null, stored=0 where run=2", 1);
        job.folder.execute("update email set status='S' where mid=1", 1);
        job.verify();
        const std::vector<CutOffRun> found = recoverInterruptedRuns(job.folder.folder());
        QCOMPARE(found.size(), size_t(1));
        QCOMPARE(found[0].jobName + found[0].inDoubt, u"Springr1"_s);
        QCOMPARE(job.outcomes()[0], u"1FIn doubt: cut off"_s);
        job.verify();
        job.mail.whileSending = {};
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.mail.sent.size(), 59);
    }

    void aRerunGoesOnToo()
    {
        for (const bool isResend : {false, true}) {
            Job job(4);
            for (const char *failing : {"r1", "r2", "r4"})
                job.mail.failures[QString::fromLatin1(failing)] = u"450 Later"_s;
            job.mail.whileSending = [&](const QString &recipient) {
                if (recipient == u"r1"_s && job.mail.sent.size() > (isResend ? 0 : 4))
                    job.run.requestPause();
            };
            if (isResend) {
                job.op.answers.push(false);
                job.mail.whileSending = {};
                job.start();
                job.pauseAt(u"r1"_s);
            }
            QCOMPARE(job.start(isResend), Result::Paused);
            QCOMPARE(job.stored(), u"Paused|4|0|1|3|0"_s);
            job.mail.failures.clear();
            QVERIFY(!repeatOf(job.folder.folder(), job.row()));
            if (!isResend)
                job.op.answers.push(true);
            job.mail.whileSending = {};
            QCOMPARE(job.start(), Result::Complete); // what is left of it, and then the next pass
            QCOMPARE(job.recipients(), u"r2 r4 r1"_s);
            QCOMPARE(job.account(), u"4: 4 sent, 0 failed, 0 in doubt, 0 unsent, 0 removed"_s);
        }
    }

    void aChangedMessageIsAskedAbout()
    {
        Job job(3);
        job.pauseAt(u"r1"_s);
        job.start();
        job.mail.whileSending = {};
        job.folder.execute("update mmsg set source='New'");
        job.op.choices.push(u"No"_s);
        QCOMPARE(job.start(), Result::Declined);
        QCOMPARE(job.op.asked[0], u"Job Manager|1 have the old text. Send the new one to the 2 "
                                  "left?|Yes|No*"_s);
        job.op.choices.push(u"Yes"_s);
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), u"r2 r3"_s);
        QCOMPARE(job.folder.row("select count(*) from content", 1), u"2"_s);
    }

    void listsKeepTheAccountWhilePeopleComeAndGo()
    {
        Job job(5);
        job.pauseAt(u"r2"_s);
        job.start();
        job.mail.whileSending = {};
        Connection list(job.folder.folder().listConnectionString(1));
        Ledger::noteRemoval(list, u" where mid in (1, 4)"_s, true);
        list.execute(u"delete from email where mid in (1, 4)"_s);
        list.execute(u"update email set status='S' where mid=5"_s);
        Ledger::noteEdit(list, 5, u"S"_s);
        list.execute(u"insert into email (email) values ('late')"_s);
        job.verify();
        QCOMPARE(job.account(), u"5: 2 sent, 0 failed, 0 in doubt, 2 unsent, 1 removed"_s);
        QCOMPARE(job.folder.rows("select address || reply from outcome where mid in (1, 4)", 1),
                 QStringList(2, QString()));
        QCOMPARE(job.start(), Result::Complete);
        QCOMPARE(job.recipients(), u"r3 r5 late"_s);
        QCOMPARE(job.account(), u"6: 5 sent, 0 failed, 0 in doubt, 0 unsent, 1 removed"_s);
        JobRow row = job.row();
        resetJob(job.folder.folder(), row);
        job.verify();
        list.execute(u"update email set status='F' where mid=3"_s);
        QCOMPARE(verifyList(list), QStringList{u"Recipient 3 (r3) is \"F\" in the list, and unsent "
                                               "by the ledger."_s});
        list.execute(u"update email set status=null where mid=3"_s);
        list.execute(u"delete from outcome where mid=2"_s);
        QVERIFY(verifyList(list).value(0).contains(u"selected 6 recipients, and accounts for 5"_s));
    }

    /// What a process leaves that ended anywhere: table `sending`, and with it the job's next run.
    void anInterruptedRunGoesOn()
    {
        const char *former = "jobid integer primary key, start_time text, last_mid integer";
        const char *now = "jobid integer primary key, start_time text, last_mid integer, "
                          "progress text, end_time text";
        const struct {
            const char *columns, *row, *stored;
            int next; ///< the first recipient of the next start
            bool isCutOff = false;
        } cases[] = {
            // Cut off, in the very second in which the run before it began.
            {now, "1, '2026/11/14 10:00:00', 2, null, null", "Paused|4|2|2|0|2", 3, true},
            {former, "1, '2026/11/15 10:00:00', 2", "Paused|4|2|2|0|2", 3, true},
            // Ended, but not stored.
            {now, "1, '2026/11/15 10:00:00', 0, 'Complete', 'later'", "Complete|4|2|2|0|0", 1},
            // Another job's, in a copied list.
            {now, "9, '2026/11/15 10:00:00', 2, 'Paused', null", "Complete|4|4|0|0|0", 1},
        };
        for (const auto &each : cases) {
            Job job(4);
            job.folder.execute("update mjob set progress='Complete', total=4, unsent=4, "
                               "start_time='2026/11/14 10:00:00'");
            job.folder.execute("update email set status='S' where mid < 3", 1);
            job.folder.execute(u"create table sending (%1)"_s.arg(QLatin1String(each.columns)), 1);
            job.folder.execute(u"insert into sending values (%1)"_s.arg(QLatin1String(each.row)),
                               1);
            const std::vector<CutOffRun> found = recoverInterruptedRuns(job.folder.folder());
            QCOMPARE(found.empty() ? QString() : found[0].jobName,
                     each.isCutOff ? u"Spring"_s : QString());
            QVERIFY2(job.stored() == QLatin1String(each.stored), each.row);
            QVERIFY(recoverInterruptedRuns(job.folder.folder()).empty());
            QCOMPARE(job.start(), Result::Complete);
            QCOMPARE(job.recipients(), Job::addresses(each.next, 4).join(u' '));
        }
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

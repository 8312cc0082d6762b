// Who got what: that a run accounts for everyone, whatever comes between.

#include "runjob.h"

#include <QDir>

#include <numeric>

class TestAccounting final : public QObject
{
    Q_OBJECT

private slots:
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

    void nobodyIsInDoubtWhoseMessageHasNotLeft()
    {
        // Paused while an outcome waits to be written, together with the name of the next one.
        Job job(3);
        Connection other(job.folder.folder().listConnectionString(1));
        job.mail.whileSending = [&](const QString &) { other.execute(u"begin immediate"_s); };
        job.yield.action = [&] {
            if (job.run.progress().phase != RunProgress::Phase::WaitingForList)
                return;
            job.yield.action = {};
            other.execute(u"rollback"_s);
            job.run.requestPause();
        };
        QCOMPARE(job.start(), Result::Paused);
        QCOMPARE(job.account(), u"3: 1 sent, 0 failed, 0 in doubt, 2 unsent, 0 removed"_s);
    }

    void whoIsPassedOverMayBeUnrecordedToo()
    {
        Job job(2);
        job.settings.values.unsubscribed = u"r1\r\nr2\r\n"_s;
        job.folder.refuse("update on email", 1);
        QCOMPARE(job.start(), Result::StorageFailed);
        QVERIFY(job.op.told.value(0).contains(u"What became of r1 could not be recorded."_s));
        QCOMPARE(job.account(), u"2: 0 sent, 0 failed, 0 in doubt, 2 unsent, 0 removed"_s);
    }

    /// The record of the limits is no recipient's, nor is whoever was to be next in doubt for it.
    void aRecordThatCannotBeReadStopsTheRun()
    {
        Job job(10);
        job.settings.values.limits.perDay = 20;
        job.mail.whileSending = [&](const QString &recipient) {
            if (recipient != u"r2"_s)
                return;
            const QDir state(job.folder.file("state/Quillbright"));
            for (const QString &name : state.entryList({u"sent-*"_s}, QDir::Files))
                writeFile(state.filePath(name), "nonsense");
        };
        QCOMPARE(job.start(), Result::StorageFailed);
        QVERIFY(job.op.told.value(0).contains(u"record of what was sent is damaged"_s));
        QCOMPARE(job.account(), u"10: 4 sent, 0 failed, 0 in doubt, 6 unsent, 0 removed"_s);
    }
};

QTEST_GUILESS_MAIN(TestAccounting)
#include "tst_accounting.moc"

#include "connection.h"
#include "jobstore.h"
#include "mergefields.h"
#include "recordset.h"
#include "runrecord.h"
#include "testfolder.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestJobs final : public QObject
{
    Q_OBJECT

private slots:
    void storesAndListsRows()
    {
        const TestFolder folder;
        const qint64 list = folder.addList("O'Brien's", {});
        const qint64 message = folder.addMessage("News", {});
        insertJob(folder.folder(), u"First"_s, list, message);
        insertJob(folder.folder(), u"'Second'"_s, list, message);
        folder.addJob("Orphan", 99, message);
        Connection system(folder.folder().systemConnectionString());
        JobRow row = loadJobs(system).at(1);
        int value = 10;
        for (const JobCell cell : {JobCell::Progress, JobCell::End, JobCell::Total, JobCell::Unsent,
                                   JobCell::Success, JobCell::Failed, JobCell::LastSentId})
            row.setNumber(cell, ++value);
        row[JobCell::Start] = u"2026/11/16 14:05:09"_s;
        storeJobRow(folder.folder(), row);
        const std::vector<JobRow> jobs = loadJobs(system);
        QCOMPARE(jobs.size(), size_t(2)); // newest first; without its list a job is not shown
        QCOMPARE(jobs[1], row);
        QCOMPARE(jobs[0][JobCell::Start], u"0000/00/00 00:00:00"_s);
        row[JobCell::Total] = u"many"_s;
        QVERIFY_EXCEPTION_THROWN(storeJobRow(folder.folder(), row), StorageError);
        for (const auto &[field, text, count] : {std::tuple(JobField::Name, "'sec", 1),
                                                 {JobField::Maillist, "o'b", 2},
                                                 {JobField::Subject, "%e_s", 2},
                                                 {JobField::MaillistId, "1", 2},
                                                 {JobField::EmailId, "1' or '1", 0}})
            QCOMPARE(loadJobs(system, jobsWith(field, QLatin1String(text))).size(), size_t(count));
        renameJob(folder.folder(), 2, u"O'Hara"_s);
        deleteJob(folder.folder(), 1);
        QCOMPARE(folder.rows("select jobname from mjob"), QStringList({u"O'Hara"_s, u"Orphan"_s}));
    }

    void resets()
    {
        // What fails on the way: nothing, or a table that takes no update.
        for (const QLatin1String failing : {""_L1, "email"_L1, "mjob"_L1}) {
            const TestFolder folder;
            const qint64 list = folder.addList("L", {"a@x.org", "b@x.org"});
            folder.addJob("J", list, folder.addMessage("M", {}));
            folder.execute("update email set status='F', remark='why'", list);
            folder.execute("update mjob set progress='Paused', unsent=1, failure=2, last_mid=2");
            Connection system(folder.folder().systemConnectionString());
            Connection members(folder.folder().listConnectionString(list));
            const Ledger ledger(members);
            JobRow row = loadJobs(system).at(0);
            const JobRow before = row;
            const TestText event = u"update on "_s + failing;
            const qint64 where = failing == "email"_L1 ? list : 0;
            if (!failing.isEmpty()) {
                folder.refuse(event, where);
                QVERIFY_EXCEPTION_THROWN(resetJob(folder.folder(), row), StorageError);
                QCOMPARE(loadJobs(system).at(0), before);
                QCOMPARE(row, before);
                folder.allow(event, where);
            }
            if (failing == "mjob"_L1) // it is made up for
                QVERIFY(recoverInterruptedRuns(folder.folder()).empty());
            else
                resetJob(folder.folder(), row);
            QCOMPARE(folder.row("select progress || total || success || failure || last_mid from "
                                "mjob"),
                     u"2000"_s);
            QCOMPARE(folder.rows("select distinct status, remark from email", list),
                     QStringList{u"null|why"_s});
            QCOMPARE(folder.row("select kind || stored from run", list), u"reset1"_s);
        }
    }

    void mergesFields()
    {
        const char *all = "'a@x.org','Ann','Lee','Dr','555','ACME','note'";
        const struct {
            const char *recipient, *body, *merged;
        } cases[] = {
            {all, "%%EMAIL%% %%FIRSTNAME%% %%LASTNAME%% %%TITLE%% %%CONTACT%% %%COMPANY%% %%MEMO%%",
             "a@x.org Ann Lee Dr 555 ACME note"},
            {all, "%%FIRSTNAME%%%%FIRSTNAME%%", "AnnAnn"},
            {all, "%%firstname%% %% FIRSTNAME %% 100%%", "%%firstname%% %% FIRSTNAME %% 100%%"},
            {"a@x.org", "Dear %%FIRSTNAME%%!", "Dear !"}, // null
            {"' a@x.org ','<b>&'", "<%%EMAIL%%>%%FIRSTNAME%%", "< a@x.org ><b>&"},
            // A value that holds a later field, one that the body lacks, an earlier one, itself.
            {"'a@x.org','%%LASTNAME%%','Lee'", "%%FIRSTNAME%% %%LASTNAME%%", "Lee Lee"},
            {"'a@x.org','%%LASTNAME%%','Lee'", "%%FIRSTNAME%%", "%%LASTNAME%%"},
            {"'a@x.org','Ann','%%FIRSTNAME%%'", "%%FIRSTNAME%% %%LASTNAME%%", "Ann %%FIRSTNAME%%"},
            {"'a@x.org','%%FIRSTNAME%%'", "%%FIRSTNAME%%", "%%FIRSTNAME%%"},
        };
        for (const auto &each : cases) {
            const TestFolder folder;
            const qint64 list = folder.addList("L", {each.recipient});
            Connection connection(folder.folder().listConnectionString(list));
            const Recordset rows(connection, u"select * from email"_s);
            QCOMPARE(MergeFields(QString::fromUtf8(each.body)).personalise(rows.current(), {}),
                     QString::fromUtf8(each.merged));
        }
    }
};

QTEST_GUILESS_MAIN(TestJobs)
#include "tst_jobs.moc"

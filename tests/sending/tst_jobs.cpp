#include "connection.h"
#include "jobstore.h"
#include "mergefields.h"
#include "recordset.h"
#include "testfolder.h"

#include <QLocale>
#include <QTest>

class TestJobs final : public QObject
{
    Q_OBJECT

private slots:
    void storesAndListsRows();
    void resets();
    void failedResetChangesNothing_data();
    void failedResetChangesNothing();
    void mergesFields_data();
    void mergesFields();
};

void TestJobs::storesAndListsRows()
{
    const TestFolder folder;
    const qint64 list = folder.addList("Members", {});
    const qint64 message = folder.addMessage("News", {});
    folder.addJob("First", list, message);
    folder.addJob("Second", list, message);
    folder.addJob("Orphan", 99, message);
    Connection system(folder.folder().systemConnectionString());
    JobRow row = loadJobs(system).at(1);
    row[JobCell::Progress] = QStringLiteral("Paused");
    row[JobCell::End] = QStringLiteral("2026/11/16 14:05:09");
    row.setNumber(JobCell::Total, 10);
    row.setNumber(JobCell::Unsent, 4);
    row.setNumber(JobCell::Success, 3);
    row.setNumber(JobCell::Failed, 2);
    row.setNumber(JobCell::LastSentId, 5000000000);
    storeJobRow(folder.folder(), row);
    const std::vector<JobRow> jobs = loadJobs(system);
    QCOMPARE(jobs.size(), size_t(2)); // newest first; without its list a job is not shown
    QCOMPARE(jobs[1], row);
    QCOMPARE(jobs[1][JobCell::Maillist] + jobs[1][JobCell::Subject], QStringLiteral("MembersNews"));
    QCOMPARE(jobs[0][JobCell::Name] + jobs[0][JobCell::Progress], QStringLiteral("Second"));
    QCOMPARE(jobs[0][JobCell::Start], QStringLiteral("0000/00/00 00:00:00"));
    row[JobCell::Total] = QStringLiteral("many");
    QVERIFY_EXCEPTION_THROWN(storeJobRow(folder.folder(), row), StorageError);
}

void TestJobs::resets()
{
    const TestFolder folder;
    const qint64 list = folder.addList("L", {"a@x.org", "b@x.org"});
    folder.addJob("J", list, folder.addMessage("M", {}));
    folder.execute("update email set status='F', remark='why'", list);
    folder.execute("update mjob set progress='Paused', unsent=1, failure=2, "
                   "last_mid=2, start_time='2026/11/16 14:05:09'");
    Connection system(folder.folder().systemConnectionString());
    JobRow row = loadJobs(system).at(0);
    resetJob(folder.folder(), row);
    QCOMPARE(row[JobCell::Unsent], QStringLiteral("0"));
    QCOMPARE(folder.rows("select progress, total, unsent, success, failure, "
                         "start_time, end_time, last_mid from mjob"),
             QStringList{QStringLiteral("|2|0|0|0|||0")});
    QCOMPARE(folder.rows("select distinct status, remark from email", list),
             QStringList{QStringLiteral("null|why")});
}

void TestJobs::failedResetChangesNothing_data()
{
    QTest::addColumn<QByteArray>("refused"); // a table; none where the list database is missing
    QTest::newRow("list database missing") << QByteArray();
    QTest::newRow("recipients") << QByteArray("email");
    QTest::newRow("job") << QByteArray("mjob");
}

void TestJobs::failedResetChangesNothing()
{
    QFETCH(QByteArray, refused);
    const TestFolder folder;
    const qint64 list = folder.addList("L", {"a@x.org"});
    folder.addJob("J", list, folder.addMessage("M", {}));
    folder.execute("update mjob set progress='Paused', last_mid=1");
    if (refused.isEmpty())
        folder.folder().deleteListDatabase(list);
    else
        folder.refuse(QStringLiteral("update on ") + QLatin1String(refused),
                      refused == "email" ? list : 0);
    Connection system(folder.folder().systemConnectionString());
    JobRow row = loadJobs(system).at(0);
    const JobRow before = row;
    QVERIFY_EXCEPTION_THROWN(resetJob(folder.folder(), row), StorageError);
    QCOMPARE(row, before);
    QCOMPARE(loadJobs(system).at(0), before);
}

void TestJobs::mergesFields_data()
{
    QTest::addColumn<QString>("recipient"); // as SQL
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("merged");
    const QString all = QStringLiteral("'a@x.org','Ann','Lee','Dr','555','ACME','note'");
    const auto add = [](const char *name, const QString &recipient, const char *body,
                        const char *merged) {
        QTest::newRow(name) << recipient << QString::fromUtf8(body) << QString::fromUtf8(merged);
    };
    add("all", all,
        "%%EMAIL%% %%FIRSTNAME%% %%LASTNAME%% %%TITLE%% %%CONTACT%% %%COMPANY%% %%MEMO%%",
        "a@x.org Ann Lee Dr 555 ACME note");
    add("none", all, "100%% %EMAIL% text", "100%% %EMAIL% text");
    add("twice", all, "%%FIRSTNAME%%%%FIRSTNAME%%", "AnnAnn");
    add("other case is text", all, "%%firstname%% %% FIRSTNAME %%",
        "%%firstname%% %% FIRSTNAME %%");
    add("null is empty", QStringLiteral("a@x.org"), "Dear %%FIRSTNAME%%!", "Dear !");
    add("blanks stay", QStringLiteral(" a@x.org "), "<%%EMAIL%%>", "< a@x.org >");
    add("a value with a later field", QStringLiteral("'a@x.org','%%LASTNAME%%','Lee'"),
        "%%FIRSTNAME%% %%LASTNAME%%", "Lee Lee");
    add("a value with a field the body lacks", QStringLiteral("'a@x.org','%%LASTNAME%%','Lee'"),
        "%%FIRSTNAME%%", "%%LASTNAME%%");
    add("a value with an earlier field", QStringLiteral("'a@x.org','Ann','%%FIRSTNAME%%'"),
        "%%FIRSTNAME%% %%LASTNAME%%", "Ann %%FIRSTNAME%%");
    add("not searched again in its own step", QStringLiteral("'a@x.org','%%FIRSTNAME%%'"),
        "%%FIRSTNAME%%", "%%FIRSTNAME%%");
    add("markup is not escaped", QStringLiteral("'a@x.org','<b>&'"), "%%FIRSTNAME%%", "<b>&");
    add("date", all, "%%SEND_DATE%%",
        QLocale::system().toString(QDate(2026, 11, 16), QLocale::ShortFormat).toUtf8().constData());
}

void TestJobs::mergesFields()
{
    QFETCH(QString, recipient);
    QFETCH(QString, body);
    QFETCH(QString, merged);
    const TestFolder folder;
    const qint64 list = folder.addList("L", {recipient});
    Connection connection(folder.folder().listConnectionString(list));
    const Recordset rows(connection, QStringLiteral("select * from email"));
    QCOMPARE(MergeFields(body).personalise(rows.current(), QDate(2026, 11, 16)), merged);
}

QTEST_GUILESS_MAIN(TestJobs)
#include "tst_jobs.moc"

// Lists into one list: appended to an old one, or merged into a new one.

#include "connection.h"
#include "fakes.h"
#include "listcopy.h"
#include "smalldisk.h"
#include "testfolder.h"

#include <QFile>
#include <QTest>

namespace
{

class RecordingCopyView final : public ListCopyView
{
public:
    void clearLog() override { log.clear(); }
    void appendLog(const QString &text) override { log += text; }
    void showStatus(const QString &text) override { statuses += text; }
    void showCount(const QString &text) override { counts += text; }
    void showWaiting(bool waiting) override { isWaiting = waiting; }

    QString log;
    QStringList statuses;
    QStringList counts;
    bool isWaiting = false;
};

struct Setup {
    Setup()
    {
        target = folder.addList(QStringLiteral("Target"), {QStringLiteral("old@a.example")});
        first =
            folder.addList(QStringLiteral("First"),
                           {QStringLiteral("'a@a.example','','O''Neil','Dr','0042','Acme','memo'"),
                            QStringLiteral("b@a.example"), QStringLiteral("OLD@a.example")});
        second = folder.addList(QStringLiteral("Second"),
                                {QStringLiteral("B@a.example"), QStringLiteral("c@a.example")});
        folder.execute(QStringLiteral("update email set status = 'F', remark = 'why'"), first);
    }

    static ListCopy::Source source(qint64 list, const char *name)
    {
        return {list, QStringLiteral("%1-%2").arg(list).arg(QLatin1String(name))};
    }
    std::vector<ListCopy::Source> both() const
    {
        return {source(first, "First"), source(second, "Second")};
    }
    QStringList recipients(qint64 list) const
    {
        return folder.rows(QStringLiteral("select * from email order by mid"), list);
    }
    QString stored(qint64 list) const
    {
        return folder
            .rows(
                QStringLiteral("select rec_count, update_time = date() from mlist where listid=") +
                QString::number(list))
            .value(0);
    }

    TestFolder folder;
    qint64 target = 0;
    qint64 first = 0;
    qint64 second = 0;
    ScriptedOperator op;
    RecordingCopyView view;
    CountingYield yield;
    ListCopy copy{folder.folder(), op, view, yield, std::chrono::milliseconds(0)};
};

const QString refusal = QStringLiteral("This email address is already in the list.");

} // namespace

class TestListCopy final : public QObject
{
    Q_OBJECT

private slots:
    void appends();
    void merges();
    void refuses();
    void appendsAListToItself();
    void goesOnAfterASourceThatFails();
    void copiesNothingToATargetThatFails();
    void undoesAMergeWithoutATemplate();
    void lockedTargetEndsTheRun();
    void fullDiskEndsTheRun();
    void aborts_data();
    void aborts();
    void copiesLongLists();
};

void TestListCopy::appends()
{
    Setup setup;
    QCOMPARE(setup.copy.append(setup.both(), setup.target), ListCopy::Result::Complete);
    QCOMPARE(setup.recipients(setup.target).mid(1),
             (QStringList{QStringLiteral("2|a@a.example||O'Neil|Dr|0042|Acme|memo|null|null"),
                          QStringLiteral("3|b@a.example|||||||null|null"),
                          QStringLiteral("4|c@a.example|||||||null|null")}));
    QCOMPARE(setup.view.log, QStringLiteral("Error Log:\r\n"
                                            "Adding emails from : 2-First\r\n"
                                            "3\tOLD@a.example\t\t\t\t\t\t\t%1\r\n"
                                            "Total : 3\r\nSuccess : 2\r\nFail : 1\r\n\r\n"
                                            "Adding emails from : 3-Second\r\n"
                                            "1\tB@a.example\t\t\t\t\t\t\t%1\r\n"
                                            "Total : 2\r\nSuccess : 1\r\nFail : 1\r\n\r\n")
                                 .arg(refusal));
    QCOMPARE(setup.view.statuses,
             (QStringList{QStringLiteral("Adding emails from : 2-First"),
                          QStringLiteral("Adding emails from : 3-Second"), QString()}));
    QCOMPARE(setup.view.counts.first(), QStringLiteral("1"));
    QCOMPARE(setup.view.counts.last(), QString());
    QVERIFY(!setup.view.isWaiting);
    QCOMPARE(setup.stored(setup.target), QStringLiteral("4|1"));
    QVERIFY(setup.op.told.isEmpty());
    // The sources are as they were.
    QVERIFY(setup.recipients(setup.first).first().endsWith(QStringLiteral("|F|why")));
}

void TestListCopy::merges()
{
    Setup setup;
    setup.folder.execute(QStringLiteral("update email set lname = 'OLD' || char(39)"),
                         setup.second);
    QCOMPARE(setup.copy.merge(setup.both(), QStringLiteral("All'"), QStringLiteral("It's")),
             ListCopy::Result::Complete);
    QCOMPARE(setup.folder
                 .rows(QStringLiteral("select listid, listname, listtype, rec_count from "
                                      "mlist"))
                 .last(),
             QStringLiteral("4|All'|It's|4"));
    QCOMPARE(setup.recipients(4).size(), 4);
    // An apostrophe in the log is doubled as in a statement.
    QVERIFY2(setup.view.log.startsWith(QStringLiteral("Error Log:\r\nImport : 2-First\r\nTotal : 3"
                                                      "\r\nSuccess : 3\r\nFail : 0\r\n\r\n"
                                                      "Import : 3-Second\r\n"
                                                      "1\tB@a.example\t\tOLD''\t\t\t\t\t")),
             qPrintable(setup.view.log));
    QCOMPARE(setup.view.statuses.first(), QStringLiteral("Merging: 2-First"));
}

void TestListCopy::refuses()
{
    Setup setup;
    QCOMPARE(setup.copy.merge({}, {}, QStringLiteral("Client")), ListCopy::Result::Refused);
    QCOMPARE(setup.copy.merge({}, QStringLiteral("All"), {}), ListCopy::Result::Refused);
    QCOMPARE(setup.copy.append({}, setup.target), ListCopy::Result::Refused);
    const QString none = QStringLiteral("|You must select a least one maillist from the list!");
    QCOMPARE(setup.op.told,
             (QStringList{QStringLiteral("|Please enter the listname !"), none, none}));
    QCOMPARE(setup.folder.rows(QStringLiteral("select listid from mlist")).size(), 3);
    QVERIFY(setup.view.log.isEmpty());
}

void TestListCopy::appendsAListToItself()
{
    Setup setup;
    const QStringList before = setup.recipients(setup.first);
    QCOMPARE(setup.copy.append({Setup::source(setup.first, "First")}, setup.first),
             ListCopy::Result::Complete);
    QCOMPARE(setup.recipients(setup.first), before);
    QVERIFY(
        setup.view.log.endsWith(QStringLiteral("Total : 3\r\nSuccess : 0\r\nFail : 3\r\n\r\n")));
    QCOMPARE(setup.stored(setup.first), QStringLiteral("3|1"));

    // Where a list takes an address twice, it grows to twice its length, and not without end.
    setup.folder.execute(QStringLiteral("alter table email rename to old"), setup.first);
    setup.folder.execute(QStringLiteral("create table email (mid integer primary key, email, "
                                        "fname, lname, title, contact, company, memo, status, "
                                        "remark)"),
                         setup.first);
    setup.folder.execute(QStringLiteral("insert into email select * from old"), setup.first);
    setup.copy.append({Setup::source(setup.first, "First")}, setup.first);
    QCOMPARE(setup.recipients(setup.first).size(), 6);
}

void TestListCopy::goesOnAfterASourceThatFails()
{
    Setup setup;
    setup.folder.folder().deleteListDatabase(setup.first);
    QCOMPARE(setup.copy.append(setup.both(), setup.target), ListCopy::Result::Complete);
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY2(setup.op.told.first().startsWith(
                 QStringLiteral("Error|Append Error #  14 was generated by SQLite\r")),
             qPrintable(setup.op.told.first()));
    QCOMPARE(setup.view.log, QStringLiteral("Error Log:\r\n"
                                            "Adding emails from : 2-First\r\n"
                                            "Adding emails from : 3-Second\r\n"
                                            "Total : 2\r\nSuccess : 2\r\nFail : 0\r\n\r\n"));
    QCOMPARE(setup.stored(setup.target), QStringLiteral("3|1"));
}

void TestListCopy::copiesNothingToATargetThatFails()
{
    Setup setup;
    setup.folder.folder().deleteListDatabase(setup.target);
    QCOMPARE(setup.copy.append(setup.both(), setup.target), ListCopy::Result::Failed);
    QCOMPARE(setup.view.log, QStringLiteral("Error Log:\r\n"));
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY(setup.op.told.first().endsWith(QStringLiteral("m1.mdb does not exist.")));
    QVERIFY(!setup.view.isWaiting);
    QVERIFY(!QFile::exists(setup.folder.folder().listDatabaseFile(setup.target)));
}

void TestListCopy::undoesAMergeWithoutATemplate()
{
    Setup setup;
    QVERIFY(QFile::remove(setup.folder.file(QStringLiteral("mtemplate.mdb"))));
    QCOMPARE(setup.copy.merge(setup.both(), QStringLiteral("All"), {}), ListCopy::Result::Failed);
    QVERIFY(setup.op.told.first().startsWith(QStringLiteral("Error|Merge Error #  0 ")));
    QCOMPARE(setup.folder.rows(QStringLiteral("select listid from mlist")).size(), 3);
}

void TestListCopy::lockedTargetEndsTheRun()
{
    Setup setup;
    Connection other(setup.folder.folder().listConnectionString(setup.target));
    Transaction lock(other);
    QCOMPARE(setup.copy.append(setup.both(), setup.target), ListCopy::Result::Failed);
    QCOMPARE(setup.op.told.size(), 1); // not once for each list
    QVERIFY(setup.op.told.first().contains(QStringLiteral("is in use by another program")));
    QVERIFY(!setup.view.log.contains(QStringLiteral("Total")));
}

void TestListCopy::fullDiskEndsTheRun()
{
    Setup setup;
    setup.folder.execute(
        QStringLiteral(
            "insert into email (email) with recursive n(i) as (select 1 union all select "
            "i + 1 from n where i < 40000) select 'r' || i || '@a.example' from n"),
        setup.first);
    // The source lies on the large disk, the target on the small one.
    const QString source = setup.folder.folder().listDatabaseFile(setup.first);
    const QString elsewhere = setup.folder.file(QStringLiteral("source.mdb"));
    QVERIFY(QFile::rename(source, elsewhere));
    SmallDisk disk(setup.folder.file(QStringLiteral("data")), "1m");
    if (!disk.isMounted())
        QSKIP("no right to mount a file system here");
    QVERIFY(QFile::link(elsewhere, source));
    QCOMPARE(setup.copy.merge(setup.both(), QStringLiteral("All"), {}), ListCopy::Result::Failed);
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY2(setup.op.told.first().startsWith(QStringLiteral("Error|Merge Error #  13 ")) &&
                 setup.op.told.first().endsWith(QStringLiteral("m4.mdb is full.")),
             qPrintable(setup.op.told.first()));
    disk.grow("100m");
    const qsizetype kept = setup.recipients(4).size();
    QVERIFY(kept > 0 && kept < 40'000);
}

void TestListCopy::aborts_data()
{
    QTest::addColumn<int>("atRecord");
    QTest::addColumn<QString>("summary");
    QTest::newRow("at the first record")
        << 1 << QStringLiteral("Total : 1\r\nSuccess : 1\r\nFail : 0\r\n\r\n");
    QTest::newRow("at the last record of a list")
        << 3 << QStringLiteral("Total : 3\r\nSuccess : 2\r\nFail : 1\r\n\r\n");
}

void TestListCopy::aborts()
{
    QFETCH(int, atRecord);
    QFETCH(QString, summary);
    Setup setup;
    setup.yield.actAt = atRecord;
    setup.yield.action = [&setup] { setup.copy.abort(); };
    QCOMPARE(setup.copy.append(setup.both(), setup.target), ListCopy::Result::Aborted);
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Abort !")});
    QVERIFY2(setup.view.log.endsWith(summary), qPrintable(setup.view.log));
    QVERIFY(!setup.view.log.contains(QStringLiteral("Second")));
    QCOMPARE(setup.recipients(setup.target).size(), 1 + std::min(atRecord, 2));
    QCOMPARE(setup.stored(setup.target), QStringLiteral("0|null"));
    QVERIFY(!setup.view.isWaiting);
}

void TestListCopy::copiesLongLists()
{
    Setup setup;
    // Shared addresses here and there, so that full batches are refused and taken.
    const QString fill = QStringLiteral(
        "insert into email (email) with recursive n(i) as (select 1 union all select i + %1 from n "
        "where i < 20000) select 'r' || i || '@a.example' from n");
    setup.folder.execute(fill.arg(1), setup.first);
    setup.folder.execute(fill.arg(100), setup.target);
    ListCopy copy(setup.folder.folder(), setup.op, setup.view, setup.yield);
    QCOMPARE(copy.append({Setup::source(setup.first, "First")}, setup.target),
             ListCopy::Result::Complete);
    const auto shared = setup.view.log.count(refusal);
    QCOMPARE(shared, 201); // 200 of the filled ones, and the old address
    QVERIFY2(setup.view.log.endsWith(
                 QStringLiteral("Total : 20003\r\nSuccess : 19802\r\nFail : 201\r\n\r\n")),
             qPrintable(setup.view.log.right(100)));
    QVERIFY(setup.view.log.contains(QStringLiteral("\r\n104\tr101@a.example\t")));
    // In the order of the source.
    QCOMPARE(
        setup.folder.rows(QStringLiteral("select email from email where mid > 202 order by mid "
                                         "limit 4"),
                          setup.target),
        (QStringList{QStringLiteral("a@a.example"), QStringLiteral("b@a.example"),
                     QStringLiteral("r2@a.example"), QStringLiteral("r3@a.example")}));
    QVERIFY(setup.yield.count < 2000);
}

QTEST_GUILESS_MAIN(TestListCopy)
#include "tst_listcopy.moc"

// Lists into one list: appended to an old one, or merged into a new one.

#include "connection.h"
#include "fakes.h"
#include "listcopy.h"
#include "smalldisk.h"
#include "testfolder.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

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
        target = folder.addList("Target", {"old@a.example"});
        first = folder.addList("First", {"'a@a.example','','O''Neil','Dr','0042','Acme','memo'",
                                         "b@a.example", "OLD@a.example"});
        second = folder.addList("Second", {"B@a.example", "c@a.example"});
        folder.execute("update email set status = 'F', remark = 'why'", first);
    }

    ListCopy::Result append(qint64 to) { return copy.append(both(), to); }
    ListCopy::Source source(qint64 list) const
    {
        return {list, u"%1-%2"_s.arg(list).arg(list == first ? "First"_L1 : "Second"_L1)};
    }
    std::vector<ListCopy::Source> both() const { return {source(first), source(second)}; }
    /// Adds addresses r1, r1 + step, ... below 40,000.
    void fill(qint64 list, int step) const
    {
        folder.execute(u"insert into email (email) with recursive n(i) as (select 1 union all "
                       "select i + %1 from n where i < 40000 - %1) select 'r' || i || "
                       "'@a.example' from n"_s.arg(step),
                       list);
    }
    QStringList recipients(qint64 list) const
    {
        return folder.rows("select * from email order by mid", list);
    }
    QString stored(qint64 list) const
    {
        return folder.row(
            u"select rec_count, update_time = date() from mlist where listid=%1"_s.arg(list));
    }
    /// The one message there was; joined, where there were others.
    QString told() const { return op.told.join(u'\n'); }

    TestFolder folder;
    qint64 target = 0;
    qint64 first = 0;
    qint64 second = 0;
    ScriptedOperator op;
    RecordingCopyView view;
    CountingYield yield;
    ListCopy copy{folder.folder(), op, view, yield, std::chrono::milliseconds(0)};
};

const QString refusal = u"This email address is already in the list."_s;

} // namespace

class TestListCopy final : public QObject
{
    Q_OBJECT

private slots:
    void appends();
    void merges();
    void appendsAListToItself();
    void goesOnAfterASourceThatFails();
    void copiesNothingToATargetThatFails();
    void lockedTargetEndsTheRun();
    void fullDiskEndsTheRun();
    void aborts();
    void copiesLongLists();
};

void TestListCopy::appends()
{
    Setup setup;
    QCOMPARE(setup.append(setup.target), ListCopy::Result::Complete);
    QCOMPARE(setup.recipients(setup.target).mid(1),
             (QStringList{u"2|a@a.example||O'Neil|Dr|0042|Acme|memo|null|null"_s,
                          u"3|b@a.example|||||||null|null"_s, u"4|c@a.example|||||||null|null"_s}));
    QCOMPARE(setup.view.log, u"Error Log:\r\n"
                             "Adding emails from : 2-First\r\n"
                             "3\tOLD@a.example\t\t\t\t\t\t\t%1\r\n"
                             "Total : 3\r\nSuccess : 2\r\nFail : 1\r\n\r\n"
                             "Adding emails from : 3-Second\r\n"
                             "1\tB@a.example\t\t\t\t\t\t\t%1\r\n"
                             "Total : 2\r\nSuccess : 1\r\nFail : 1\r\n\r\n"_s.arg(refusal));
    QCOMPARE(setup.view.statuses, (QStringList{u"Adding emails from : 2-First"_s,
                                               u"Adding emails from : 3-Second"_s, QString()}));
    QCOMPARE(setup.view.counts.first(), u"1"_s);
    QCOMPARE(setup.view.counts.last(), QString());
    QVERIFY(!setup.view.isWaiting);
    QCOMPARE(setup.stored(setup.target), u"4|1"_s);
    QCOMPARE(setup.told(), QString());
    // The sources are as they were.
    QVERIFY(setup.recipients(setup.first).first().endsWith(u"|F|why"_s));
}

void TestListCopy::merges()
{
    Setup setup;
    setup.folder.execute("update email set lname = 'OLD' || char(39)", setup.second);
    QCOMPARE(setup.copy.merge(setup.both(), u"All'"_s, u"It's"_s), ListCopy::Result::Complete);
    QCOMPARE(setup.folder.rows("select listid, listname, listtype, rec_count from mlist").last(),
             u"4|All'|It's|4"_s);
    QCOMPARE(setup.recipients(4).size(), 4);
    // An apostrophe in the log is doubled as in a statement.
    QVERIFY2(setup.view.log.startsWith(u"Error Log:\r\nImport : 2-First\r\nTotal : 3"
                                       "\r\nSuccess : 3\r\nFail : 0\r\n\r\n"
                                       "Import : 3-Second\r\n"
                                       "1\tB@a.example\t\tOLD''\t\t\t\t\t"_s),
             qPrintable(setup.view.log));
    QCOMPARE(setup.view.statuses.first(), u"Merging: 2-First"_s);
}

/// Where a list takes an address twice, it grows to twice its length, and not without end.
void TestListCopy::appendsAListToItself()
{
    Setup setup;
    setup.fill(setup.first, 20);
    for (const char *sql :
         {"create table twice as select * from email", "drop table email",
          "create table email (mid integer primary key, email, fname, lname, title, contact, "
          "company, memo, status, remark)",
          "insert into email select * from twice"})
        setup.folder.execute(sql, setup.first);
    // Looks into the list after each record until some of the new ones are there to be read.
    const qsizetype before = setup.recipients(setup.first).size();
    bool sawCommit = false;
    setup.yield.actAt = 1;
    setup.yield.action = [&] {
        sawCommit = setup.folder.row("select count(*) from email", setup.first).toInt() > before;
        setup.yield.actAt += sawCommit ? 0 : 1;
    };
    QCOMPARE(setup.copy.append({setup.source(setup.first)}, setup.first),
             ListCopy::Result::Complete);
    QVERIFY(sawCommit);
    QCOMPARE(setup.recipients(setup.first).size(), 2 * before);
}

void TestListCopy::goesOnAfterASourceThatFails()
{
    Setup setup;
    setup.folder.folder().deleteListDatabase(setup.first);
    QCOMPARE(setup.append(setup.target), ListCopy::Result::Complete);
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY2(setup.told().startsWith(u"Error|Append Error #  14 was generated by SQLite\r"_s),
             qPrintable(setup.told()));
    QCOMPARE(setup.view.log, u"Error Log:\r\n"
                             "Adding emails from : 2-First\r\n"
                             "Adding emails from : 3-Second\r\n"
                             "Total : 2\r\nSuccess : 2\r\nFail : 0\r\n\r\n"_s);
    QCOMPARE(setup.stored(setup.target), u"3|1"_s);
}

void TestListCopy::copiesNothingToATargetThatFails()
{
    Setup setup;
    setup.folder.folder().deleteListDatabase(setup.target);
    QCOMPARE(setup.append(setup.target), ListCopy::Result::Failed);
    QVERIFY(!QFile::exists(setup.folder.folder().listDatabaseFile(setup.target)));
    QCOMPARE(setup.view.log, u"Error Log:\r\n"_s);
    QVERIFY(!setup.view.isWaiting);
    // A new one that cannot be made leaves no row.
    QVERIFY(QFile::remove(setup.folder.file("mtemplate.mdb")));
    QCOMPARE(setup.copy.merge(setup.both(), u"All"_s, {}), ListCopy::Result::Failed);
    QCOMPARE(setup.folder.rows("select listid from mlist").size(), 3);
    QCOMPARE(setup.op.told.size(), 2);
    QVERIFY(setup.op.told[0].endsWith(u"m1.mdb does not exist."_s));
    QVERIFY(setup.op.told[1].startsWith(u"Error|Merge Error #  0 "_s));
}

void TestListCopy::lockedTargetEndsTheRun()
{
    Setup setup;
    Connection other(setup.folder.folder().listConnectionString(setup.target));
    Transaction lock(other);
    QCOMPARE(setup.append(setup.target), ListCopy::Result::Failed);
    QCOMPARE(setup.op.told.size(), 1); // not once for each list
    QVERIFY(setup.told().contains(u"is in use by another program"_s));
    QVERIFY(!setup.view.log.contains(u"Total"_s));
}

void TestListCopy::fullDiskEndsTheRun()
{
    Setup setup;
    setup.fill(setup.first, 1);
    // The source lies on the large disk, the target on the small one.
    const QString source = setup.folder.folder().listDatabaseFile(setup.first);
    const QString elsewhere = setup.folder.file("source.mdb");
    QVERIFY(QFile::rename(source, elsewhere));
    SmallDisk disk(setup.folder.file("data"), "1m");
    if (!disk.isMounted())
        QSKIP("no right to mount a file system here");
    QVERIFY(QFile::link(elsewhere, source));
    QCOMPARE(setup.copy.merge(setup.both(), u"All"_s, {}), ListCopy::Result::Failed);
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY2(setup.told().startsWith(u"Error|Merge Error #  13 "_s) &&
                 setup.told().endsWith(u"m4.mdb is full."_s),
             qPrintable(setup.told()));
    disk.grow("100m");
    const qsizetype kept = setup.recipients(4).size();
    QVERIFY(kept > 0 && kept < 40'000);
}

void TestListCopy::aborts()
{
    const std::pair<int, QString> summaries[] = {
        {1, u"Total : 1\r\nSuccess : 1\r\nFail : 0\r\n\r\n"_s},
        {3, u"Total : 3\r\nSuccess : 2\r\nFail : 1\r\n\r\n"_s}}; // the last of a list
    for (const auto &[atRecord, summary] : summaries) {
        Setup setup;
        setup.yield.actAt = atRecord;
        setup.yield.action = [&setup] { setup.copy.abort(); };
        QCOMPARE(setup.append(setup.target), ListCopy::Result::Aborted);
        QCOMPARE(setup.told(), u"|Abort !"_s);
        QVERIFY2(setup.view.log.endsWith(summary), qPrintable(setup.view.log));
        QVERIFY(!setup.view.log.contains(u"Second"_s));
        QCOMPARE(setup.recipients(setup.target).size(), 1 + std::min(atRecord, 2));
        QCOMPARE(setup.stored(setup.target), u"0|null"_s);
        QVERIFY(!setup.view.isWaiting);
    }
}

/// Shared addresses here and there, so that full batches are refused and taken.
void TestListCopy::copiesLongLists()
{
    Setup setup;
    setup.fill(setup.first, 1);
    setup.fill(setup.target, 100);
    ListCopy copy(setup.folder.folder(), setup.op, setup.view, setup.yield);
    QCOMPARE(copy.append({setup.source(setup.first)}, setup.target), ListCopy::Result::Complete);
    // 400 of the filled ones, and the old address.
    QCOMPARE(setup.view.log.count(refusal), 401);
    QVERIFY2(setup.view.log.endsWith(u"Total : 40002\r\nSuccess : 39601\r\nFail : 401\r\n\r\n"_s),
             qPrintable(setup.view.log.right(100)));
    QVERIFY(setup.view.log.contains(u"\r\n104\tr101@a.example\t"_s));
    // In the order of the source.
    QCOMPARE(
        setup.folder.rows("select email from email where mid > 401 order by mid limit 4",
                          setup.target),
        (QStringList{u"a@a.example"_s, u"b@a.example"_s, u"r2@a.example"_s, u"r3@a.example"_s}));
    QVERIFY(setup.yield.count < 2000);
}

QTEST_GUILESS_MAIN(TestListCopy)
#include "tst_listcopy.moc"

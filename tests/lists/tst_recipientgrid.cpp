#include "connection.h"
#include "recipientgrid.h"
#include "testfolder.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTest>

class TestRecipientGrid final : public QObject
{
    Q_OBJECT

private slots:
    void showsWhatIsAskedFor_data();
    void showsWhatIsAskedFor();
    void failureKeepsTheRows_data();
    void failureKeepsTheRows();
    void longListComesInSteps_data();
    void longListComesInSteps();
    void leavesTheFileAlone();
    void tellsLateFailuresOnce();
    void columnsAreFractionsUntilDragged();
};

namespace
{

QString cell(const RecipientGrid &grid, int row, int column)
{
    return grid.model()->index(row, column).data().toString();
}

/// The first column from the first row to the last.
QString addresses(const RecipientGrid &grid)
{
    QStringList result;
    for (int row = 0; row < grid.model()->rowCount(); ++row)
        result += cell(grid, row, 0).section(QLatin1Char('@'), 0, 0);
    return result.join(QLatin1Char(' '));
}

qint64 addLongList(const TestFolder &folder, int count)
{
    const qint64 list = folder.addList(QStringLiteral("Long"), {});
    folder.execute(QStringLiteral("with recursive n(i) as (select 1 union all select i+1 from n "
                                  "where i < %1) insert into email (email) select 'r' || i || "
                                  "'@x.org' from n")
                       .arg(count),
                   list);
    return list;
}

} // namespace

void TestRecipientGrid::showsWhatIsAskedFor_data()
{
    QTest::addColumn<int>("searchField");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("sortField");
    QTest::addColumn<QString>("expected");
    const QString all = QStringLiteral("zoe ann bob mia");
    QTest::newRow("all, as in the list") << 0 << QString() << 0 << all;
    QTest::newRow("no field chosen") << 0 << QStringLiteral("ann") << 0 << all;
    QTest::newRow("no text") << 1 << QString() << 0 << all;
    QTest::newRow("email") << 1 << QStringLiteral("A@X") << 0 << QStringLiteral("mia");
    QTest::newRow("last name, any case")
        << 3 << QStringLiteral("SMI") << 0 << QStringLiteral("ann bob");
    QTest::newRow("company") << 6 << QStringLiteral("gar") << 0 << QStringLiteral("zoe");
    QTest::newRow("status") << 8 << QStringLiteral("F") << 0 << QStringLiteral("ann");
    QTest::newRow("reason") << 9 << QStringLiteral("no such") << 0 << QStringLiteral("ann");
    QTest::newRow("nothing found") << 2 << QStringLiteral("x") << 0 << QString();
    QTest::newRow("by email") << 0 << QString() << 1 << QStringLiteral("ann bob mia zoe");
    QTest::newRow("by last name, equal ones as in the list")
        << 0 << QString() << 3 << QStringLiteral("mia zoe ann bob");
    QTest::newRow("by status") << 0 << QString() << 8 << QStringLiteral("zoe mia ann bob");
    QTest::newRow("search and sort")
        << 3 << QStringLiteral("smi") << 2 << QStringLiteral("bob ann");
}

void TestRecipientGrid::showsWhatIsAskedFor()
{
    QFETCH(int, searchField);
    QFETCH(QString, text);
    QFETCH(int, sortField);
    QFETCH(QString, expected);
    const TestFolder folder;
    const qint64 list = folder.addList(
        QStringLiteral("L"),
        {QStringLiteral("'zoe@x.org','Zoe','Adams','Ms','1','Garage','m1'"),
         QStringLiteral("'ann@y.org','Bea','Smith'"), QStringLiteral("'bob@y.org','Al','smith'"),
         QStringLiteral("'mia@x.org','Mia'")});
    folder.execute(QStringLiteral("update email set status='F', remark='No such user' where mid=2"),
                   list);
    folder.execute(QStringLiteral("update email set status='S' where mid=3"), list);
    RecipientGrid grid;
    const QAbstractItemModelTester tester(grid.model());
    grid.load(folder.folder().listConnectionString(list), {searchField, text, sortField});
    QCOMPARE(addresses(grid), expected);
    QCOMPARE(grid.model()->headerData(8, Qt::Horizontal).toString(), QStringLiteral("Fail Reason"));
    if (expected == QLatin1String("zoe ann bob mia")) {
        QCOMPARE(cell(grid, 0, 6), QStringLiteral("m1"));
        QCOMPARE(cell(grid, 1, 8), QStringLiteral("No such user"));
        QCOMPARE(cell(grid, 3, 7), QString());
    }
}

void TestRecipientGrid::failureKeepsTheRows_data()
{
    QTest::addColumn<bool>("listIsThere");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("why");
    QTest::newRow("apostrophe in the search")
        << true << QStringLiteral("O'Brien") << QStringLiteral("near \"Brien\": syntax error");
    QTest::newRow("no such list") << false << QString() << QStringLiteral("does not exist");
}

void TestRecipientGrid::failureKeepsTheRows()
{
    QFETCH(bool, listIsThere);
    QFETCH(QString, text);
    QFETCH(QString, why);
    const TestFolder folder;
    const qint64 list = folder.addList(QStringLiteral("L"), {QStringLiteral("a@x.org")});
    RecipientGrid grid;
    const QAbstractItemModelTester tester(grid.model());
    grid.load(folder.folder().listConnectionString(list), {});
    try {
        grid.load(folder.folder().listConnectionString(listIsThere ? list : 99), {3, text, 0});
        QFAIL("It must fail");
    } catch (const StorageError &e) {
        QVERIFY2(e.description().contains(why), qPrintable(e.description()));
    }
    QCOMPARE(addresses(grid), QStringLiteral("a"));
}

void TestRecipientGrid::longListComesInSteps_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("watched by the model tester") << 700; // which looks at every cell
    QTest::newRow("several steps") << 40000;
}

void TestRecipientGrid::longListComesInSteps()
{
    QFETCH(int, count);
    const TestFolder folder;
    const QString list = folder.folder().listConnectionString(addLongList(folder, count));
    RecipientGrid grid;
    grid.show();
    std::optional<QAbstractItemModelTester> tester;
    if (count < 1000)
        tester.emplace(grid.model());
    for (int time = 0; time < 2; ++time) { // the second load meets the first one under way
        grid.load(list, {});
        QVERIFY(grid.model()->rowCount() > 0 && grid.model()->rowCount() < count);
        QCOMPARE(cell(grid, 0, 0), QStringLiteral("r1@x.org"));
        QSignalSpy inserted(grid.model(), &QAbstractItemModel::rowsInserted);
        QVERIFY(inserted.wait());
    }
    QTRY_COMPARE(grid.model()->rowCount(), count);
    for (const int row : {0, 511, 512, count - 1})
        QCOMPARE(cell(grid, row, 0), QStringLiteral("r%1@x.org").arg(row + 1));
    grid.scrollToBottom();
    grid.load(folder.folder().listConnectionString(addLongList(folder, 2)), {});
    QCOMPARE(addresses(grid), QStringLiteral("r1 r2"));
}

void TestRecipientGrid::leavesTheFileAlone()
{
    const TestFolder folder;
    const qint64 list = addLongList(folder, 1000);
    RecipientGrid grid;
    grid.load(folder.folder().listConnectionString(list), {});
    QTRY_COMPARE(grid.model()->rowCount(), 1000);
    folder.execute(QStringLiteral("delete from email where mid in (2, 900)"), list);
    folder.folder().duplicateListDatabase(list, list + 1); // refuses a file that is in use
    QCOMPARE(cell(grid, 898, 0), QStringLiteral("r899@x.org"));
    QCOMPARE(cell(grid, 899, 0), QString());
    QVERIFY(!QFile::exists(folder.folder().listDatabaseFile(list) + QStringLiteral("-wal")));
}

void TestRecipientGrid::tellsLateFailuresOnce()
{
    const TestFolder folder;
    const qint64 list = addLongList(folder, 1000);
    RecipientGrid grid;
    const QSignalSpy failed(&grid, &RecipientGrid::failed);
    grid.load(folder.folder().listConnectionString(list), {});
    QTRY_COMPARE(grid.model()->rowCount(), 1000);
    QCOMPARE(cell(grid, 0, 0), QStringLiteral("r1@x.org"));
    folder.folder().deleteListDatabase(list);
    QCOMPARE(cell(grid, 999, 0), QString());
    QCOMPARE(cell(grid, 500, 0), QString());
    QCOMPARE(failed.size(), 0); // not while a view paints
    QTRY_COMPARE(failed.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(failed.size(), 1);
    QVERIFY(failed.first().first().toString().contains(QStringLiteral("does not exist")));
}

void TestRecipientGrid::columnsAreFractionsUntilDragged()
{
    const TestFolder folder;
    const QString list = folder.folder().listConnectionString(
        folder.addList(QStringLiteral("L"), {QStringLiteral("a@x.org")}));
    RecipientGrid grid;
    grid.resize(900, 300);
    grid.show();
    grid.load(list, {});
    QCOMPARE(grid.columnWidth(0), grid.viewport()->width() / 4);
    QCOMPARE(grid.columnWidth(3), grid.viewport()->width() / 16);
    grid.resize(1300, 300);
    QCOMPARE(grid.columnWidth(8), grid.viewport()->width() / 4);
    QHeaderView *header = grid.horizontalHeader();
    const int edge = header->sectionViewportPosition(1) - 1;
    const int y = header->height() / 2;
    QTest::mousePress(header->viewport(), Qt::LeftButton, {}, {edge, y});
    QTest::mouseMove(header->viewport(), {edge + 60, y});
    QTest::mouseRelease(header->viewport(), Qt::LeftButton, {}, {edge + 60, y});
    const int dragged = grid.columnWidth(0);
    QVERIFY(dragged > grid.viewport()->width() / 4);
    grid.resize(900, 300);
    grid.load(list, {});
    QCOMPARE(grid.columnWidth(0), dragged);
}

QTEST_MAIN(TestRecipientGrid)
#include "tst_recipientgrid.moc"

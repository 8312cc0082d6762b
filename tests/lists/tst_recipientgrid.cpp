#include "recipientgrid.h"
#include "testfolder.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class TestRecipientGrid final : public QObject
{
    Q_OBJECT

private slots:
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

/// The number and the connection string of a list of r1@x.org and so on.
std::pair<qint64, QString> addLongList(const TestFolder &folder, int count)
{
    const qint64 list = folder.addList("Long", {});
    folder.execute(u"with recursive n(i) as (select 1 union all select i+1 from n where i < %1) "
                   "insert into email (email) select 'r' || i || '@x.org' from n"_s.arg(count),
                   list);
    return {list, folder.folder().listConnectionString(list)};
}

} // namespace

void TestRecipientGrid::longListComesInSteps()
{
    for (const int count : {700, 40000}) {
        const TestFolder folder;
        const QString list = addLongList(folder, count).second;
        RecipientGrid grid;
        grid.show();
        std::optional<QAbstractItemModelTester> tester;
        if (count < 1000) // the tester looks at every cell
            tester.emplace(grid.model());
        for (int time = 0; time < 2; ++time) { // the second load meets the first one under way
            grid.load(list, {});
            QVERIFY(grid.model()->rowCount() > 0 && grid.model()->rowCount() < count);
            QCOMPARE(cell(grid, 0, 0), u"r1@x.org"_s);
            QSignalSpy inserted(grid.model(), &QAbstractItemModel::rowsInserted);
            QVERIFY(inserted.wait());
        }
        QTRY_COMPARE(grid.model()->rowCount(), count);
        for (const int row : {0, 511, 512, count - 1})
            QCOMPARE(cell(grid, row, 0), u"r%1@x.org"_s.arg(row + 1));
        grid.scrollToBottom();
        grid.load(addLongList(folder, 2).second, {});
        QCOMPARE(grid.model()->rowCount(), 2);
    }
}

void TestRecipientGrid::leavesTheFileAlone()
{
    const TestFolder folder;
    const auto [list, connection] = addLongList(folder, 1000);
    RecipientGrid grid;
    grid.load(connection, {});
    QTRY_COMPARE(grid.model()->rowCount(), 1000);
    folder.execute("delete from email where mid in (2, 900)", list);
    folder.folder().duplicateListDatabase(list, list + 1); // refuses a file that is in use
    QCOMPARE(cell(grid, 898, 0), u"r899@x.org"_s);
    QCOMPARE(cell(grid, 899, 0), QString());
    QVERIFY(!QFile::exists(folder.folder().listDatabaseFile(list) + u"-wal"_s));
}

void TestRecipientGrid::tellsLateFailuresOnce()
{
    const TestFolder folder;
    const auto [list, connection] = addLongList(folder, 1000);
    RecipientGrid grid;
    const QSignalSpy failed(&grid, &RecipientGrid::failed);
    grid.load(connection, {});
    QTRY_COMPARE(grid.model()->rowCount(), 1000);
    QCOMPARE(cell(grid, 0, 0), u"r1@x.org"_s);
    folder.folder().deleteListDatabase(list);
    QCOMPARE(cell(grid, 999, 0), QString());
    QCOMPARE(cell(grid, 500, 0), QString());
    QCOMPARE(failed.size(), 0); // not while a view paints
    QTRY_COMPARE(failed.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(failed.size(), 1);
    QVERIFY(failed.first().first().toString().contains(u"does not exist"_s));
}

void TestRecipientGrid::columnsAreFractionsUntilDragged()
{
    const TestFolder folder;
    const QString list = addLongList(folder, 1).second;
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

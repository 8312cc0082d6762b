#include "connection.h"
#include "fakes.h"
#include "frmsplash.h"
#include "joblistpanel.h"
#include "sortablelist.h"
#include "testfolder.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <QToolButton>

namespace
{

/// The panel as a person has it before them, with three jobs of two lists: "Spring", "Autumn" and
/// "Bob's mailing", numbered 1 to 3.
struct Desk {
    Desk()
    {
        const qint64 members = folder.addList("Members", {});
        const qint64 friends = folder.addList("Friends", {});
        const qint64 news = folder.addMessage("News", {});
        const qint64 offer = folder.addMessage("Offer", {});
        folder.addJob("Spring", members, news);
        folder.addJob("Autumn", friends, offer);
        folder.addJob("Bob's mailing", friends, news);
        folder.execute(
            "update mjob set total = case jobid when 1 then 9 when 2 then 100 else 10 end");
        panel.resize(1200, 300);
        panel.show();
    }

    void open()
    {
        panel.list_refresh();
        panel.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&panel));
    }
    QString cell(int row, JobCell cell) const { return panel.jobAt(row)[cell]; }
    /// The listed jobs' numbers, from the top.
    QString ids() const
    {
        QStringList result;
        for (int row = 0; row < panel.count(); ++row)
            result += cell(row, JobCell::Id);
        return result.join(QLatin1Char(' '));
    }
    QPoint rowCentre(int row) const
    {
        return list->visualRect(list->model()->index(row, 0)).center();
    }
    void click(int row) const
    {
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rowCentre(row));
    }
    void clickHeader(JobCell column) const
    {
        const int section = int(column);
        QTest::mouseClick(list->header()->viewport(), Qt::LeftButton, {},
                          {list->header()->sectionViewportPosition(section) +
                               list->header()->sectionSize(section) / 2,
                           list->header()->height() / 2});
    }
    void type(int mode, const QString &text) const
    {
        panel.findChild<QComboBox *>(QStringLiteral("combField"))->setCurrentIndex(mode);
        QLineEdit *box = panel.findChild<QLineEdit *>(QStringLiteral("txtSearchJob"));
        box->clear();
        QTest::keyClicks(box, text);
    }
    /// The row that is shown bold, red and with the second icon; -1 for none, -2 for several.
    int highlightedRow() const
    {
        int found = -1;
        for (int row = 0; row < panel.count(); ++row) {
            const QModelIndex index = list->model()->index(row, 3);
            if (!index.data(Qt::FontRole).value<QFont>().bold())
                continue;
            const bool isRed = index.data(Qt::ForegroundRole).value<QColor>() == QColor(255, 0, 0);
            found = found == -1 && isRed ? row : -2;
        }
        return found;
    }

    TestFolder folder;
    Connection shared;
    ScriptedOperator op;
    JobListPanel panel{folder.folder(), shared, op};
    SortableList *list = panel.findChild<SortableList *>(QStringLiteral("lvTask"));
    QAbstractItemModelTester tester{list->model(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest};
};

} // namespace

class TestJobList final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sortsByHeaders();
    void searches_data();
    void searches();
    void aFailureKeepsTheRows();
    void clicksHandleARow();
    void refreshKeepsTheSelectedJob();
    void aRunChangesItsRowInPlace();
    void deletes();
    void splashCloses();
};

void TestJobList::initTestCase()
{
    QApplication::setPalette(QPalette(Qt::white));
}

void TestJobList::sortsByHeaders()
{
    Desk desk;
    desk.open();
    const QHeaderView *header = desk.list->header();
    const auto arrow = [header] {
        return qMakePair(header->sortIndicatorSection(), header->sortIndicatorOrder());
    };
    QCOMPARE(desk.ids(), QStringLiteral("3 2 1"));
    QVERIFY(header->isSortIndicatorShown());
    QCOMPARE(arrow(), qMakePair(1, Qt::DescendingOrder));
    desk.panel.selectRow(0);
    desk.clickHeader(JobCell::Total);
    QCOMPARE(desk.ids(), QStringLiteral("1 3 2"));
    QCOMPARE(arrow(), qMakePair(3, Qt::AscendingOrder));
    QCOMPARE((*desk.panel.selectedJob())[JobCell::Id], QStringLiteral("3"));
    desk.clickHeader(JobCell::Total);
    QCOMPARE(desk.ids(), QStringLiteral("2 3 1"));
    QCOMPARE(arrow(), qMakePair(3, Qt::DescendingOrder));
    desk.clickHeader(JobCell::Name);
    desk.clickHeader(JobCell::Total);
    QCOMPARE(desk.ids(), QStringLiteral("1 3 2"));
    // What is filled in later follows the order that was chosen.
    desk.folder.execute("update mjob set total = 11 where jobid = 1");
    QTest::keyClick(&desk.panel, Qt::Key_F5);
    QTRY_COMPARE(desk.ids(), QStringLiteral("3 1 2"));
    QCOMPARE(arrow(), qMakePair(3, Qt::AscendingOrder));
    // A remembered arrow would be an arrow over rows in another order.
    const QByteArray remembered = desk.panel.saveColumns();
    Desk later;
    later.panel.restoreColumns(remembered);
    QCOMPARE(later.list->header()->sortIndicatorSection(), 1);
}

void TestJobList::searches_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("ids");
    const auto row = [](const char *name, int mode, const char *text, const char *ids) {
        QTest::newRow(name) << mode << QString::fromLatin1(text) << QString::fromLatin1(ids);
    };
    row("all", 0, "Spring", "3 2 1");
    row("empty text", 4, "  ", "3 2 1");
    row("job name", 1, " spr ", "1");
    row("list name", 2, "friend", "3 2");
    row("subject", 3, "New", "3 1");
    row("list number", 4, "1", "1");
    row("list number, no part of it", 4, "12", "");
    row("message number", 5, "2", "2");
}

void TestJobList::searches()
{
    QFETCH(int, mode);
    QFETCH(QString, text);
    Desk desk;
    desk.open();
    desk.type(mode, text);
    QCOMPARE(desk.ids(), QStringLiteral("3 2 1"));
    QTest::mouseClick(desk.panel.findChild<QToolButton *>(QStringLiteral("cmdRefresh")),
                      Qt::LeftButton);
    QTEST(desk.ids(), "ids");
    QCOMPARE(desk.op.told, QStringList());
}

void TestJobList::aFailureKeepsTheRows()
{
    Desk desk;
    desk.open();
    desk.panel.deleteJob(); // asks nothing without a selection
    desk.type(4, QStringLiteral("abc\r"));
    desk.type(5, QStringLiteral("abc\r"));
    QCOMPARE(desk.op.told,
             QStringList(2, QStringLiteral("|Please enter numeric value in the search field.")));
    desk.type(1, QStringLiteral("Bob's\r"));
    desk.folder.refuse("delete on mjob");
    desk.click(0);
    desk.op.answers.push(true);
    desk.panel.deleteJob();
    QVERIFY(QFile::remove(desk.folder.file("sys.mdb")));
    desk.panel.list_refresh();
    QCOMPARE(desk.op.told.size(), 5);
    for (const QString &told : desk.op.told.sliced(2))
        QVERIFY2(told.startsWith(QStringLiteral("Error|Error # ")), qPrintable(told));
    QCOMPARE(desk.ids(), QStringLiteral("3 2 1"));
}

void TestJobList::clicksHandleARow()
{
    Desk desk;
    desk.open();
    QStringList handled;
    connect(&desk.panel, &JobListPanel::rowClicked, &desk.panel, [&](const JobRow &job) {
        handled += QStringLiteral("click ") + job[JobCell::Name];
        QCOMPARE(desk.highlightedRow(), desk.panel.selectedRow());
    });
    connect(&desk.panel, &JobListPanel::rowDoubleClicked, &desk.panel,
            [&](const JobRow &job) { handled += QStringLiteral("double ") + job[JobCell::Name]; });
    QCOMPARE(desk.highlightedRow(), -1);
    desk.click(1);
    // The arrow keys only select.
    QTest::keyClick(desk.list, Qt::Key_Down);
    QCOMPARE(desk.panel.selectedRow(), 2);
    QCOMPARE(desk.highlightedRow(), 1);
    QTest::keyClick(desk.list, Qt::Key_Return);
    QCOMPARE(desk.highlightedRow(), 2);
    // The press and release before it have handled the click already.
    desk.click(2);
    QTest::mouseDClick(desk.list->viewport(), Qt::LeftButton, {}, desk.rowCentre(2));
    QTest::mouseClick(desk.list->viewport(), Qt::LeftButton, {}, {40, desk.list->height() - 60});
    QCOMPARE(handled,
             QStringList({QStringLiteral("click Autumn"), QStringLiteral("click Spring"),
                          QStringLiteral("click Spring"), QStringLiteral("double Spring")}));
    desk.clickHeader(JobCell::Name);
    QCOMPARE(desk.cell(desk.highlightedRow(), JobCell::Name), QStringLiteral("Spring"));
}

void TestJobList::refreshKeepsTheSelectedJob()
{
    Desk desk;
    desk.open();
    desk.click(1);
    desk.folder.addJob("New", 1, 1);
    desk.panel.list_refresh();
    QCOMPARE((*desk.panel.selectedJob())[JobCell::Name], QStringLiteral("Autumn"));
    QCOMPARE(desk.highlightedRow(), 2);
    desk.panel.search(JobListPanel::JobNameContains, QStringLiteral("spring"));
    QCOMPARE(desk.panel.selectedRow(), -1);
    QCOMPARE(desk.highlightedRow(), -1);
}

void TestJobList::aRunChangesItsRowInPlace()
{
    Desk desk;
    desk.open();
    desk.clickHeader(JobCell::Total);
    JobRow job = desk.panel.jobAt(0);
    job[JobCell::Progress] = QStringLiteral("Sending");
    job.setNumber(JobCell::Total, 1000);
    desk.panel.updateRow(job);
    QCOMPARE(desk.panel.jobAt(0), job);
    QCOMPARE(desk.ids(), QStringLiteral("1 3 2"));
    // The run's job may have been searched away meanwhile.
    desk.panel.search(JobListPanel::JobNameContains, QStringLiteral("autumn"));
    desk.panel.updateRow(job);
    QCOMPARE(desk.ids(), QStringLiteral("2"));
}

void TestJobList::deletes()
{
    Desk desk;
    desk.open();
    desk.click(1);
    desk.panel.setRunning(true);
    QTest::keyClick(desk.list, Qt::Key_Delete);
    QCOMPARE(desk.op.asked, QStringList());
    desk.panel.setRunning(false);
    // The grid of recipients leaves the connection open on another database.
    desk.shared.open(desk.folder.folder().listConnectionString(1));
    // A job that came meanwhile shows that the list is not read again.
    desk.folder.addJob("Unseen", 1, 1);
    for (const bool answer : {false, true}) {
        QCOMPARE(desk.ids(), QStringLiteral("3 2 1"));
        QCOMPARE(desk.panel.selectedRow(), 1);
        desk.op.answers.push(answer);
        QTest::keyClick(desk.list, Qt::Key_Delete);
        QCOMPARE(desk.op.asked.last(), QStringLiteral("Job Manager|Delete Job 2 - Autumn"));
        QCOMPARE(desk.folder.rows("select jobid from mjob").size(), answer ? 3 : 4);
    }
    QCOMPARE(desk.ids(), QStringLiteral("3 1"));
    QCOMPARE(desk.panel.selectedRow(), -1);
    QCOMPARE(desk.folder.rows("select jobid from mjob where jobid=2").size(), 0);
}

void TestJobList::splashCloses()
{
    frmSplash splash;
    auto *timer = splash.findChild<QTimer *>(QStringLiteral("Timer1"));
    QCOMPARE(timer->interval(), 3000);
    QTimer::singleShot(0, &splash, [timer] {
        QVERIFY(timer->isActive());
        timer->start(0);
    });
    splash.showAtStart();
    QVERIFY(!splash.isVisible() && !timer->isActive());
    QTimer::singleShot(0, &splash, [&] {
        QVERIFY(!timer->isActive()); // the about box stays until it is clicked
        QTest::mouseClick(splash.findChild<QLabel *>(QStringLiteral("lblProductName")),
                          Qt::LeftButton);
    });
    splash.showAbout();
    QVERIFY(!splash.isVisible());
}

QTEST_MAIN(TestJobList)
#include "tst_joblist.moc"

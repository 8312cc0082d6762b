#include "frmmgrmsg.h"

#include "fakes.h"
#include "sortablelist.h"
#include "testfolder.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

namespace
{

/// The window as a person has it before them, with three messages numbered 1 to 3: "Offer" and
/// "Bob's news" of "The Club", and "Invitation" of "Ann".
struct Desk {
    explicit Desk(bool isEmpty = false)
    {
        if (!isEmpty) {
            for (const char *subject : {"Offer", "Bob's news", "Invitation"})
                folder.addMessage(QLatin1String(subject), QStringLiteral("Hello"));
            folder.execute(QStringLiteral("update mmsg set sendername='Ann' where msgid=3"));
        }
        window = std::make_unique<frmMgrMsg>(
            folder.folder(), op,
            MessageCommands{
                .create = [this] { return create(); },
                .edit =
                    [this](qint64 number, const QString &caption) {
                        commands += caption;
                        return edit(number);
                    },
                .sendTest =
                    [this](qint64 number) { commands += QStringLiteral("send %1").arg(number); },
                .findJobs =
                    [this](qint64 number) { commands += QStringLiteral("find %1").arg(number); }});
        list = window->findChild<SortableList *>(QStringLiteral("ListView1"));
        tester = std::make_unique<QAbstractItemModelTester>(
            list->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        open();
    }

    void open() const
    {
        window->resize(760, 500);
        window->show();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }
    void press(const char *key) const
    {
        auto *bar = window->findChild<QToolBar *>(QStringLiteral("Toolbar1"));
        auto *action = window->findChild<QAction *>(QLatin1String(key));
        QTest::mouseClick(bar->widgetForAction(action), Qt::LeftButton);
    }
    /// The listed messages' numbers, from the top, the selected one in brackets.
    QString ids() const
    {
        QStringList result;
        for (int row = 0; row < list->count(); ++row)
            result +=
                QString(row == list->selectedRow() ? QStringLiteral("[%1]") : QStringLiteral("%1"))
                    .arg(list->row(row).number);
        return result.join(QLatin1Char(' '));
    }
    QString cells(int row) const { return list->row(row).cells.join(QLatin1Char('|')); }
    QPoint centre(int row) const { return list->visualRect(list->model()->index(row, 0)).center(); }
    void click(int row) const
    {
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, centre(row));
    }
    void clickHeader(int column) const
    {
        const QHeaderView *header = list->header();
        QTest::mouseClick(
            header->viewport(), Qt::LeftButton, {},
            {header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
             header->height() / 2});
    }
    void search(int mode, const QString &text) const
    {
        window->findChild<QComboBox *>(QStringLiteral("combType"))->setCurrentIndex(mode);
        auto *box = window->findChild<QLineEdit *>(QStringLiteral("txtSearch"));
        box->selectAll();
        QTest::keyClicks(box, text);
        if (text.isEmpty())
            QTest::keyClick(box, Qt::Key_Delete);
        QTest::keyClick(box, Qt::Key_Return);
    }
    QString stored(const QString &select) const
    {
        return folder.rows(select).join(QLatin1Char('\n'));
    }

    TestFolder folder;
    ScriptedOperator op;
    std::function<bool()> create = [] { return false; };
    std::function<bool(qint64)> edit = [](qint64) { return false; };
    QStringList commands;
    std::unique_ptr<frmMgrMsg> window;
    SortableList *list = nullptr;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

} // namespace

class TestMgrMsg final : public QObject
{
    Q_OBJECT

private slots:
    void opensNewestFirst();
    void everyUseBeginsAnew();
    void columnsShareTheWidth();
    void searches_data();
    void searches();
    void aFailedSearchKeepsTheRows();
    void missingDatabaseIsNoCrash();
    void newSelectsTheNewMessage();
    void cancelledNewChangesNothing();
    void duplicatesEveryColumn();
    void duplicatesAMessageWithoutASubject();
    void aFailedDuplicateIsSilent();
    void editShowsWhatWasSaved();
    void cancelledEditChangesNothing();
    void deletes_data();
    void deletes();
    void handsOverToOtherWindows();
    void commandsNeedASelection();
    void keysReachEverything();
};

void TestMgrMsg::opensNewestFirst()
{
    Desk desk;
    QCOMPARE(desk.ids(), QStringLiteral("[3] 2 1"));
    QCOMPARE(desk.cells(0), QStringLiteral("Invitation|3|Ann"));
    QCOMPARE(desk.list->header()->sortIndicatorSection(), 1);
    QCOMPARE(desk.list->header()->sortIndicatorOrder(), Qt::DescendingOrder);
    desk.clickHeader(1);
    QCOMPARE(desk.ids(), QStringLiteral("1 2 [3]"));
    desk.clickHeader(0);
    QCOMPARE(desk.ids(), QStringLiteral("2 [3] 1"));
    // The order that was chosen outlives a search.
    desk.search(0, QStringLiteral("o"));
    QCOMPARE(desk.ids(), QStringLiteral("2 [3] 1"));
}

void TestMgrMsg::everyUseBeginsAnew()
{
    Desk desk;
    desk.search(1, QStringLiteral("Ann"));
    desk.clickHeader(0);
    desk.list->header()->resizeSection(0, 123);
    desk.window->close();
    desk.folder.addMessage(QStringLiteral("Late"), {});
    desk.open();
    QCOMPARE(desk.ids(), QStringLiteral("[4] 3 2 1"));
    desk.clickHeader(0); // ascending, whatever it was before
    QCOMPARE(desk.list->row(0).cells.first(), QStringLiteral("Bob's news"));
    QVERIFY(desk.window->findChild<QLineEdit *>(QStringLiteral("txtSearch"))->text().isEmpty());
    desk.search(0, QStringLiteral("Late"));
    QCOMPARE(desk.ids(), QStringLiteral("[4]"));
    // The layout is of the next run, too.
    frmMgrMsg next(desk.folder.folder(), desk.op, {});
    next.show();
    QCOMPARE(next.findChild<SortableList *>(QStringLiteral("ListView1"))->header()->sectionSize(0),
             123);
}

void TestMgrMsg::columnsShareTheWidth()
{
    const Desk desk;
    const QHeaderView *header = desk.list->header();
    const int width = desk.list->viewport()->width();
    QCOMPARE(header->sectionSize(0), width * 2 / 3);
    QCOMPARE(header->sectionSize(1), 67);
    QVERIFY(header->length() <= width);
    const QVariant alignment = desk.list->model()->index(0, 1).data(Qt::TextAlignmentRole);
    QVERIFY(alignment.toInt() & Qt::AlignRight);
}

void TestMgrMsg::searches_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("ids");
    const auto row = [](int mode, const char *text, const char *ids) {
        QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(mode).arg(QLatin1String(text))))
            << mode << QString::fromUtf8(text) << QString::fromLatin1(ids);
    };
    row(0, "", "[3] 2 1");
    row(1, "", "[3] 2 1");
    row(0, "O", "[3] 2 1");
    row(0, "OFFER", "1");
    row(0, "o%r", "1");
    row(0, " offer", "");
    row(1, "club", "2 1");
    row(1, "offer", "");
}

void TestMgrMsg::searches()
{
    QFETCH(int, mode);
    QFETCH(QString, text);
    const Desk desk;
    desk.search(mode, text);
    QTEST(desk.ids(), "ids");
}

void TestMgrMsg::aFailedSearchKeepsTheRows()
{
    const Desk desk;
    desk.search(0, QStringLiteral("Bob's"));
    QCOMPARE(desk.ids(), QStringLiteral("[3] 2 1"));
    QVERIFY(desk.op.told.isEmpty());
}

void TestMgrMsg::missingDatabaseIsNoCrash()
{
    Desk desk;
    desk.window->close();
    QVERIFY(QFile::remove(desk.folder.file(QStringLiteral("sys.mdb"))));
    desk.open();
    QCOMPARE(desk.ids(), QString());
}

void TestMgrMsg::newSelectsTheNewMessage()
{
    Desk desk;
    desk.create = [&desk] {
        desk.folder.addMessage(QStringLiteral("AAA"), {});
        return true;
    };
    desk.clickHeader(0);
    desk.press("New");
    QCOMPARE(desk.ids(), QStringLiteral("[4] 2 3 1"));
    QVERIFY(desk.list->hasFocus());
    // One that the search leaves out cannot be selected.
    desk.search(0, QStringLiteral("n"));
    desk.click(0);
    desk.press("New");
    QCOMPARE(desk.ids(), QStringLiteral("[2] 3"));
}

void TestMgrMsg::cancelledNewChangesNothing()
{
    Desk desk;
    desk.click(1);
    desk.create = [&desk] {
        desk.folder.addMessage(QStringLiteral("From elsewhere"), {});
        return false;
    };
    desk.press("New");
    QCOMPARE(desk.ids(), QStringLiteral("3 [2] 1"));
}

void TestMgrMsg::duplicatesEveryColumn()
{
    Desk desk;
    desk.folder.execute(
        QStringLiteral("update mmsg set encode='e', priority='p', replyemail='r@x', format='HTML', "
                       "attach01='/1', attach02='/2', attach03='/3' where msgid=2"));
    desk.click(1);
    desk.press("Copy");
    QCOMPARE(desk.ids(), QStringLiteral("[4] 3 2 1"));
    QCOMPARE(desk.cells(0), QStringLiteral("Copy of Bob's news|4|The Club"));
    const QString columns = QStringLiteral("select sendername, senderemail, format, replyemail, "
                                           "encode, priority, attach01, attach02, attach03, source "
                                           "from mmsg where msgid=");
    QCOMPARE(desk.stored(columns + QLatin1Char('4')), desk.stored(columns + QLatin1Char('2')));
    QVERIFY(desk.stored(columns + QLatin1Char('4')).contains(QStringLiteral("|e|p|/1|/2|/3|")));
}

void TestMgrMsg::duplicatesAMessageWithoutASubject()
{
    Desk desk;
    desk.folder.execute(QStringLiteral("update mmsg set subject=null, sendername=null"));
    desk.press("Copy");
    QCOMPARE(desk.cells(0), QStringLiteral("Copy of |4|"));
}

void TestMgrMsg::aFailedDuplicateIsSilent()
{
    Desk desk;
    desk.folder.execute(QStringLiteral("create trigger t before insert on mmsg begin select "
                                       "raise(abort, 'no'); end"));
    desk.press("Copy");
    QCOMPARE(desk.ids(), QStringLiteral("[3] 2 1"));
    QVERIFY(desk.op.told.isEmpty());
}

void TestMgrMsg::editShowsWhatWasSaved()
{
    Desk desk;
    desk.edit = [&desk](qint64 number) {
        desk.folder.execute(
            QStringLiteral("update mmsg set subject='Zebra', sendername='Zoe' where msgid=%1")
                .arg(number));
        desk.folder.addMessage(QStringLiteral("From elsewhere"), {});
        return true;
    };
    desk.clickHeader(0);
    QCOMPARE(desk.ids(), QStringLiteral("2 [3] 1"));
    QTest::mouseClick(desk.list->viewport(), Qt::LeftButton, {}, desk.centre(0));
    QTest::mouseDClick(desk.list->viewport(), Qt::LeftButton, {}, desk.centre(0));
    QCOMPARE(desk.commands, QStringList(QStringLiteral("Edit Email [ 2-Bob's news ]")));
    // The list is neither queried nor sorted again.
    QCOMPARE(desk.ids(), QStringLiteral("[2] 3 1"));
    QCOMPARE(desk.cells(0), QStringLiteral("Zebra|2|Zoe"));
}

void TestMgrMsg::cancelledEditChangesNothing()
{
    Desk desk;
    desk.folder.execute(QStringLiteral("update mmsg set subject='From elsewhere'"));
    desk.press("Properties");
    QCOMPARE(desk.commands, QStringList(QStringLiteral("Edit Email [ 3-Invitation ]")));
    QCOMPARE(desk.cells(0), QStringLiteral("Invitation|3|Ann"));
}

void TestMgrMsg::deletes_data()
{
    QTest::addColumn<bool>("yes");
    QTest::addColumn<bool>("isUsed");
    QTest::addColumn<QString>("ids");
    QTest::addColumn<int>("left");
    QTest::newRow("no") << false << false << "3 [2] 1" << 3;
    QTest::newRow("yes") << true << false << "3 1" << 2;
    QTest::newRow("used by a job") << true << true << "3 [2] 1" << 3;
}

void TestMgrMsg::deletes()
{
    QFETCH(bool, yes);
    QFETCH(bool, isUsed);
    QFETCH(int, left);
    Desk desk;
    desk.folder.addJob(QStringLiteral("Spring"), 1, isUsed ? 2 : 1);
    desk.click(1);
    desk.op.answers.push(yes);
    desk.press("Delete");
    QCOMPARE(desk.op.asked, QStringList(QStringLiteral("Delete |Delete : Bob's news")));
    QTEST(desk.ids(), "ids");
    QCOMPARE(desk.folder.rows(QStringLiteral("select msgid from mmsg")).size(), left);
    QCOMPARE(desk.op.told,
             isUsed ? QStringList(QStringLiteral("Email Manager|You cannot delete this email, "
                                                 "becase it is being used in other jobs !"))
                    : QStringList());
}

void TestMgrMsg::handsOverToOtherWindows()
{
    Desk desk;
    desk.click(2);
    desk.press("MAILLIST");
    desk.press("Search");
    QCOMPARE(desk.commands, QStringList({QStringLiteral("send 1"), QStringLiteral("find 1")}));
    QVERIFY(desk.window->isVisible());
}

void TestMgrMsg::commandsNeedASelection()
{
    for (const bool isEmpty : {true, false}) {
        Desk desk(isEmpty);
        desk.list->clearSelection();
        for (const char *key : {"Copy", "Properties", "Delete", "MAILLIST", "Search"})
            desk.press(key);
        QCOMPARE(desk.commands, QStringList());
        QCOMPARE(desk.list->count(), isEmpty ? 0 : 3);
    }
}

void TestMgrMsg::keysReachEverything()
{
    Desk desk;
    QVERIFY(desk.list->hasFocus());
    QTest::keyClick(desk.list, Qt::Key_Return);
    QCOMPARE(desk.commands.size(), 1);
    desk.op.answers.push(false);
    QTest::keyClick(desk.list, Qt::Key_Delete);
    QCOMPARE(desk.op.asked.size(), 1);
    // In the search box the key means the text.
    desk.search(0, QString());
    QCOMPARE(desk.op.asked.size(), 1);
    QTest::keyClick(desk.window.get(), Qt::Key_T, Qt::ControlModifier);
    QCOMPARE(desk.commands.last(), QStringLiteral("send 3"));
    for (QToolButton *button : desk.window->findChild<QToolBar *>(QStringLiteral("Toolbar1"))
                                   ->findChildren<QToolButton *>())
        QVERIFY(button->focusPolicy() & Qt::TabFocus);
}

QTEST_MAIN(TestMgrMsg)
#include "tst_mgrmsg.moc"

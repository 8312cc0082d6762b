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

using namespace Qt::StringLiterals;

namespace
{

/// The window as a person has it before them, with three messages numbered 1 to 3: "Offer" and
/// "Bob's news" of "The Club", and "Invitation" of "Ann".
struct Desk {
    explicit Desk(bool isEmpty = false)
    {
        if (!isEmpty) {
            for (const char *subject : {"Offer", "Bob's news", "Invitation"})
                folder.addMessage(subject, "Hello");
            folder.execute("update mmsg set sendername='Ann' where msgid=3");
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
                .sendTest = [this](qint64 number) { commands += u"send %1"_s.arg(number); },
                .findJobs = [this](qint64 number) { commands += u"find %1"_s.arg(number); }});
        list = window->findChild<SortableList *>(u"ListView1"_s);
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
        auto *bar = window->findChild<QToolBar *>(u"Toolbar1"_s);
        auto *action = window->findChild<QAction *>(QLatin1String(key));
        QTest::mouseClick(bar->widgetForAction(action), Qt::LeftButton);
    }
    /// The listed messages' numbers, from the top, the selected one in brackets.
    QString ids() const
    {
        QStringList result;
        for (int row = 0; row < list->count(); ++row)
            result += QString(row == list->selectedRow() ? u"[%1]"_s : u"%1"_s)
                          .arg(list->row(row).number);
        return result.join(u' ');
    }
    QString cells(int row) const { return list->row(row).cells.join(u'|'); }
    void click(int row, bool twice = false) const
    {
        const QPoint place = list->visualRect(list->model()->index(row, 0)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place);
        if (twice)
            QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, place);
    }
    void clickHeader(int column) const
    {
        const QHeaderView *header = list->header();
        QTest::mouseClick(
            header->viewport(), Qt::LeftButton, {},
            {header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
             header->height() / 2});
    }
    void search(int mode, const TestText &text) const
    {
        window->findChild<QComboBox *>(u"combType"_s)->setCurrentIndex(mode);
        auto *box = window->findChild<QLineEdit *>(u"txtSearch"_s);
        box->selectAll();
        QTest::keyClicks(box, text);
        if (text.isEmpty())
            QTest::keyClick(box, Qt::Key_Delete);
        QTest::keyClick(box, Qt::Key_Return);
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
    void everyUseBeginsAnew();
    void searches_data();
    void searches();
    void failuresKeepTheRows();
    void newSelectsTheNewMessage();
    void duplicatesEveryColumn();
    void editShowsWhatWasSaved();
    void deletes_data();
    void deletes();
    void commandsNeedASelection();
    void keysReachEverything();
};

void TestMgrMsg::everyUseBeginsAnew()
{
    Desk desk;
    QCOMPARE(desk.ids(), u"[3] 2 1"_s);
    QCOMPARE(desk.cells(0), u"Invitation|3|Ann"_s);
    QVERIFY(desk.list->header()->length() <= desk.list->viewport()->width());
    desk.clickHeader(1);
    QCOMPARE(desk.ids(), u"1 2 [3]"_s);
    desk.clickHeader(0);
    // The order that was chosen outlives a search, and not the window.
    desk.search(0, "o");
    QCOMPARE(desk.ids(), u"2 [3] 1"_s);
    desk.list->header()->resizeSection(0, 123);
    desk.window->close();
    desk.folder.addMessage("Late", {});
    desk.open();
    QCOMPARE(desk.ids(), u"[4] 3 2 1"_s);
    desk.clickHeader(0); // ascending, whatever it was before
    QCOMPARE(desk.cells(0), u"Bob's news|2|The Club"_s);
    QVERIFY(desk.window->findChild<QLineEdit *>(u"txtSearch"_s)->text().isEmpty());
    desk.search(0, "Late");
    QCOMPARE(desk.ids(), u"[4]"_s);
    // The layout is of the next run, too.
    frmMgrMsg next(desk.folder.folder(), desk.op, {});
    next.show();
    QCOMPARE(next.findChild<SortableList *>(u"ListView1"_s)->header()->sectionSize(0), 123);
}

void TestMgrMsg::searches_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("ids");
    const auto row = [](int mode, const char *text, const char *ids) {
        QTest::addRow("%d '%s'", mode, text) << mode << text << ids;
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

void TestMgrMsg::failuresKeepTheRows()
{
    Desk desk;
    desk.search(0, "Bob's");
    QCOMPARE(desk.ids(), u"[3] 2 1"_s);
    desk.search(0, "");
    desk.folder.refuse("insert on mmsg");
    desk.press("Copy");
    QCOMPARE(desk.ids(), u"[3] 2 1"_s);
    QVERIFY(QFile::remove(desk.folder.file("sys.mdb")));
    desk.search(0, "o");
    QCOMPARE(desk.ids(), u"[3] 2 1"_s);
    QVERIFY(desk.op.told.isEmpty());
    desk.window->close();
    desk.open();
    QCOMPARE(desk.ids(), QString());
}

void TestMgrMsg::newSelectsTheNewMessage()
{
    Desk desk;
    bool isSaved = true;
    desk.create = [&] {
        desk.folder.addMessage("AAA", {});
        return isSaved;
    };
    desk.clickHeader(0);
    desk.press("New");
    QCOMPARE(desk.ids(), u"[4] 2 3 1"_s);
    QVERIFY(desk.list->hasFocus());
    // One that the search leaves out cannot be selected.
    desk.search(0, "n");
    desk.click(0);
    desk.press("New");
    QCOMPARE(desk.ids(), u"[2] 3"_s);
    // A cancelled one leaves the list as it is, whatever came from elsewhere.
    desk.search(0, "");
    const QString before = desk.ids();
    isSaved = false;
    desk.press("New");
    QCOMPARE(desk.ids(), before);
}

void TestMgrMsg::duplicatesEveryColumn()
{
    Desk desk;
    desk.folder.execute(
        "update mmsg set encode='e', priority='p', replyemail='r@x', format='HTML', attach01='/1', "
        "attach02='/2', attach03='/3' where msgid=2");
    desk.click(1);
    desk.press("Copy");
    QCOMPARE(desk.ids(), u"[4] 3 2 1"_s);
    QCOMPARE(desk.cells(0), u"Copy of Bob's news|4|The Club"_s);
    const QStringList rows = desk.folder.rows(
        "select sendername, senderemail, format, replyemail, encode, priority, attach01, attach02, "
        "attach03, source from mmsg where msgid in (2, 4)");
    QCOMPARE(rows[0], u"The Club|club@example.org|HTML|r@x|e|p|/1|/2|/3|Hello"_s);
    QCOMPARE(rows[1], rows[0]);
    // One without a subject.
    desk.folder.execute("update mmsg set subject=null, sendername=null");
    desk.press("Copy");
    QCOMPARE(desk.cells(0), u"Copy of |5|"_s);
}

void TestMgrMsg::editShowsWhatWasSaved()
{
    Desk desk;
    bool isSaved = true;
    desk.edit = [&](qint64 number) {
        desk.folder.execute(
            u"update mmsg set subject='Zebra', sendername='Zoe' where msgid=%1"_s.arg(number));
        desk.folder.addMessage("From elsewhere", {});
        return isSaved;
    };
    desk.clickHeader(0);
    desk.click(0, true);
    // The list is neither queried nor sorted again.
    QCOMPARE(desk.ids(), u"[2] 3 1"_s);
    QCOMPARE(desk.cells(0), u"Zebra|2|Zoe"_s);
    isSaved = false;
    desk.click(1);
    desk.press("Properties");
    QCOMPARE(desk.cells(1), u"Invitation|3|Ann"_s);
    QCOMPARE(desk.commands,
             QStringList({u"Edit Email [ 2-Bob's news ]"_s, u"Edit Email [ 3-Invitation ]"_s}));
}

void TestMgrMsg::deletes_data()
{
    QTest::addColumn<bool>("yes");
    QTest::addColumn<bool>("isUsed");
    QTest::addColumn<QString>("ids");
    QTest::newRow("no") << false << false << "3 [2] 1";
    QTest::newRow("yes") << true << false << "3 1";
    QTest::newRow("used by a job") << true << true << "3 [2] 1";
}

void TestMgrMsg::deletes()
{
    QFETCH(bool, yes);
    QFETCH(bool, isUsed);
    QFETCH(QString, ids);
    Desk desk;
    desk.folder.addJob("Spring", 1, isUsed ? 2 : 1);
    desk.click(1);
    desk.folder.addMessage("From elsewhere", {});
    desk.op.answers.push(yes);
    desk.press("Delete");
    QCOMPARE(desk.op.asked, QStringList(u"Delete |Delete : Bob's news"_s));
    QCOMPARE(desk.ids(), ids); // the list is not queried again
    QCOMPARE(desk.folder.rows("select 1 from mmsg where msgid=2").isEmpty(), !ids.contains(u'2'));
    QCOMPARE(desk.folder.row("select count(*) from mmsg where msgid<>2"), u"3"_s);
    QCOMPARE(desk.op.told.join(u'\n'),
             isUsed ? u"Email Manager|You cannot delete this email, becase it is being used in "
                      "other jobs !"_s
                    : QString());
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
    desk.op.answers.push(false);
    QTest::keyClick(desk.list, Qt::Key_Delete);
    QCOMPARE(desk.op.asked.size(), 1);
    // In the search box the key means the text.
    desk.search(0, {});
    QCOMPARE(desk.op.asked.size(), 1);
    QTest::keyClick(desk.window.get(), Qt::Key_T, Qt::ControlModifier);
    desk.click(2);
    desk.press("MAILLIST");
    desk.press("Search");
    QCOMPARE(desk.commands, QStringList({u"Edit Email [ 3-Invitation ]"_s, u"send 3"_s, u"send 1"_s,
                                         u"find 1"_s}));
    for (QToolButton *button :
         desk.window->findChild<QToolBar *>(u"Toolbar1"_s)->findChildren<QToolButton *>())
        QVERIFY(button->focusPolicy() & Qt::TabFocus);
}

QTEST_MAIN(TestMgrMsg)
#include "tst_mgrmsg.moc"

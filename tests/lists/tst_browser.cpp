#include "connection.h"
#include "fakes.h"
#include "frmemail.h"
#include "recipientgrid.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QAbstractButton>
#include <QAbstractItemModelTester>
#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QToolBar>

using namespace Qt::StringLiterals;

/// The recipient browser as a person uses it.
class TestBrowser final : public QObject
{
    Q_OBJECT

private slots:
    void opensOnTheWholeList();
    void modesSwitchTheButtons();
    void movesBetweenRecords_data();
    void movesBetweenRecords();
    void keysInTheSearchTextStayThere();
    void savesWhatIsTyped();
    void undoesEveryEdit();
    void addsRecipients();
    void addWithoutAWordAddsNothing();
    void refusedRowStaysAsTyped_data();
    void refusedRowStaysAsTyped();
    void changedFieldsAlone();
    void deletesAtOnce();
    void truncatesAfterAsking();
    void searchesAndSorts_data();
    void searchesAndSorts();
    void closingStoresTheCount();
    void failuresKeepTheRows();
    void lockedListKeepsWhatWasTyped();
    void longListIsReadToItsEnd();
};

namespace
{

struct Person {
    TestFolder folder;
    qint64 list = folder.addList("Club", {"'zoe@x.org','Zoe','Smith','','','Acme','m1'",
                                          "'ann@x.org','Ann','smithers','','','Zeta'",
                                          "'bob@x.org','Bob','Jones','','','Beta'"});
    ScriptedOperator op;
    frmemail window{folder.folder(), op};
    RecipientGrid *grid = window.findChild<RecipientGrid *>(u"grdDataGrid"_s);
    QLineEdit *text = window.findChild<QLineEdit *>(u"txtSearch"_s);
    QAbstractItemModelTester tester{grid->model()};

    Person() { open(); }
    void open()
    {
        QVERIFY(window.Load_db(folder.folder().listConnectionString(list), u"Club"_s, list));
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    QAction *action(const TestText &key) const { return window.findChild<QAction *>(key); }
    void press(const TestText &key) const
    {
        QTest::mouseClick(window.findChild<QToolBar *>()->widgetForAction(action(key)),
                          Qt::LeftButton);
    }
    /// Does what a row of data says: "close", "click" on another record, or presses this button of
    /// the window ("cmd...") or of the toolbar.
    void use(const TestText &what)
    {
        if (what == "close"_L1)
            window.close();
        else if (what == "click"_L1)
            clickCell(1, 4);
        else if (what.startsWith("cmd"_L1))
            QTest::mouseClick(window.findChild<QAbstractButton *>(what), Qt::LeftButton);
        else
            press(what);
    }
    QPoint cellAt(int row, int column) const
    {
        return grid->visualRect(grid->model()->index(row, column)).center();
    }
    void clickCell(int row, int column) const
    {
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellAt(row, column));
    }
    /// Types into a cell of the row that is shown as current; the cell's editor stays open.
    void type(int column, const TestText &words) const
    {
        const int row = grid->currentIndex().row();
        clickCell(row, column);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cellAt(row, column));
        QVERIFY(editor());
        editor()->selectAll();
        QTest::keyClick(editor(), Qt::Key_Delete);
        QTest::keyClicks(editor(), words);
    }
    /// The open cell; null when none is.
    QLineEdit *editor() const
    {
        return qobject_cast<QLineEdit *>(grid->indexWidget(grid->currentIndex()));
    }
    QString cell(int row, int column) const
    {
        return grid->model()->index(row, column).data().toString();
    }
    QString names() const
    {
        QStringList result;
        for (int row = 0; row < grid->model()->rowCount(); ++row)
            result += cell(row, 1);
        return result.join(u' ');
    }
    QString stored() const
    {
        return folder.rows("select email, fname from email order by mid", list).join(u' ');
    }
    QString count() const { return folder.row("select rec_count from mlist"); }
    QString position() const { return panel(1); }
    QString panel(int number) const
    {
        return window.findChild<QLabel *>(u"Panel%1"_s.arg(number))->text();
    }
};

const QString untouched = u"zoe@x.org|Zoe ann@x.org|Ann bob@x.org|Bob"_s;

} // namespace

void TestBrowser::opensOnTheWholeList()
{
    Person person;
    QCOMPARE(person.window.windowTitle(), u"Club"_s);
    QCOMPARE(person.names(), u"Zoe Ann Bob"_s);
    QCOMPARE(person.position(), u"Record: 1/3"_s);
    QCOMPARE(person.window.findChild<QComboBox *>(u"combSearch"_s)->currentText(),
             u"-- Search By --"_s);
    auto *sort = person.window.findChild<QComboBox *>(u"combSort"_s);
    QCOMPARE(sort->currentText(), u"-- Sort By --"_s);
    QCOMPARE(sort->itemText(9), u"Reason"_s);
    QCOMPARE(person.grid->model()->headerData(8, Qt::Horizontal).toString(), u"Fail Reason"_s);
    QCOMPARE(person.cell(0, 6), u"m1"_s);
    // Nothing can be typed into it before "Add" or "Edit".
    QTest::mouseDClick(person.grid->viewport(), Qt::LeftButton, {}, person.cellAt(0, 1));
    QTest::keyClicks(person.grid, u"x"_s);
    QVERIFY(!person.editor());
}

void TestBrowser::modesSwitchTheButtons()
{
    Person person;
    const auto enabled = [&] {
        QStringList keys;
        for (const char *key : {"Add", "Edit", "Delete", "Update", "Undo", "Trunc", "Next"}) {
            if (person.action(QLatin1String(key))->isEnabled())
                keys += QLatin1String(key);
        }
        for (const char *button : {"cmdSearch", "cmdFirst", "cmdPrevious", "cmdNext", "cmdLast"}) {
            if (person.window.findChild<QAbstractButton *>(QLatin1String(button))->isEnabled())
                keys += QLatin1String(button);
        }
        return keys.join(u' ');
    };
    const QString browsing =
        u"Add Edit Delete Trunc Next cmdSearch cmdFirst cmdPrevious cmdNext cmdLast"_s;
    QCOMPARE(enabled(), browsing);
    for (const char *end : {"Update", "Undo"}) {
        person.press("Edit");
        QCOMPARE(person.panel(2), u"Edit Record"_s);
        QCOMPARE(enabled(), u"Update Undo Trunc Next"_s);
        person.press(QLatin1String(end));
        QCOMPARE(enabled(), browsing);
    }
    QCOMPARE(person.panel(2), u"Undo/Cancel Update"_s);
    person.press("Add");
    QCOMPARE(person.panel(2), u"Add Record"_s);
    QCOMPARE(enabled(), browsing);
}

void TestBrowser::movesBetweenRecords_data()
{
    QTest::addColumn<QString>("keys"); // each a key sequence
    QTest::addColumn<QString>("buttons");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *keys, const char *buttons, int expected) {
        QTest::addRow("%s", keys) << QString::fromLatin1(keys) << QString::fromLatin1(buttons)
                                  << u"Record: %1/3"_s.arg(expected);
    };
    row("Down", "cmdNext", 2);
    row("PgDown", "Next", 2);
    row("Down Down Down Down", "cmdNext cmdNext cmdNext cmdNext", 3);
    row("End", "cmdLast", 3);
    row("Ctrl+Down", "Last", 3);
    row("Up", "cmdPrevious", 1);
    row("End Up", "cmdLast cmdPrevious", 2);
    row("End PgUp PgUp PgUp", "Last Prior Prior Prior", 1);
    row("End Home", "cmdLast cmdFirst", 1);
    row("End Ctrl+PgUp", "Last First", 1);
}

void TestBrowser::movesBetweenRecords()
{
    QFETCH(QString, keys);
    QFETCH(QString, buttons);
    QFETCH(QString, expected);
    Person person;
    for (const QString &key : keys.split(u' '))
        QTest::keySequence(person.window.focusWidget(), QKeySequence(key));
    QCOMPARE(person.position(), expected);
    person.open();
    for (const QString &button : buttons.split(u' '))
        person.use(button);
    QCOMPARE(person.position(), expected);
}

void TestBrowser::keysInTheSearchTextStayThere()
{
    Person person;
    person.text->setFocus();
    QTest::keyClicks(person.text, u"bc"_s);
    QTest::keyClick(person.text, Qt::Key_End);
    QTest::keyClick(person.text, Qt::Key_Home);
    QTest::keyClicks(person.text, u"a"_s);
    QCOMPARE(person.text->text(), u"abc"_s);
    QCOMPARE(person.position(), u"Record: 1/3"_s);
    QTest::keyClick(person.text, Qt::Key_Down);
    QCOMPARE(person.position(), u"Record: 2/3"_s);
}

void TestBrowser::savesWhatIsTyped()
{
    for (const char *how : {"Update", "Next", "click", "close"}) {
        Person person;
        person.press("Edit");
        person.type(1, "Zoe O'Neil");
        QCOMPARE(person.stored(), untouched);
        person.use(how);
        QTRY_COMPARE(person.stored(), u"zoe@x.org|Zoe O'Neil ann@x.org|Ann bob@x.org|Bob"_s);
        QCOMPARE(person.op.told, QStringList());
        // An open cell ends with the mode.
        if (QLatin1String(how) == "Update"_L1)
            QVERIFY(!person.editor());
    }
}

void TestBrowser::undoesEveryEdit()
{
    for (const bool escape : {false, true}) {
        Person person;
        person.press("Edit");
        person.type(1, "Mia");
        person.type(2, "Miller");
        if (escape) {
            QTest::keyClick(person.editor(), Qt::Key_Escape);
            QCOMPARE(person.names(), u"Mia Ann Bob"_s); // it was the cell's
            QTest::keyClick(person.grid, Qt::Key_Escape);
        } else {
            person.press("Undo");
        }
        QCOMPARE(person.cell(0, 1), u"Zoe"_s);
        QCOMPARE(person.cell(0, 2), u"Smith"_s);
        QVERIFY(person.window.isVisible());
        person.window.close();
        QCOMPARE(person.stored(), untouched);
    }
}

void TestBrowser::addsRecipients()
{
    Person person;
    person.press("Add");
    QCOMPARE(person.position(), u"Record: 4/4"_s);
    // The first cell waits for the address; Tab leads on.
    QVERIFY(person.editor() && person.editor()->hasFocus());
    QTest::keyClicks(person.editor(), u"mia@x.org\t"_s);
    QTest::keyClicks(person.editor(), u"Mia"_s);
    QCOMPARE(person.stored(), untouched);
    person.press("Add"); // moves off the first one
    QCOMPARE(person.position(), u"Record: 5/5"_s);
    QCOMPARE(person.stored(), untouched + u" mia@x.org|Mia"_s);
    QTest::keyClicks(person.editor(), u"jo@x.org\t"_s);
    QTest::keyClick(person.editor(), Qt::Key_Up);
    QCOMPARE(person.position(), u"Record: 4/5"_s);
    QCOMPARE(person.stored(), untouched + u" mia@x.org|Mia jo@x.org|null"_s);
    QCOMPARE(person.cell(4, 0), u"jo@x.org"_s);
    // It is a recipient like the others: it can be changed and deleted.
    person.press("Edit");
    person.type(1, "Maria");
    person.press("Update");
    person.press("Last");
    person.press("Delete");
    QCOMPARE(person.stored(), untouched + u" mia@x.org|Maria"_s);
}

void TestBrowser::addWithoutAWordAddsNothing()
{
    Person person;
    person.press("Add");
    person.press("Add");
    QCOMPARE(person.position(), u"Record: 4/4"_s);
    person.clickCell(0, 0);
    QTRY_COMPARE(person.position(), u"Record: 1/3"_s);
    person.press("Add");
    person.type(1, "Mia");
    person.type(1, QString()); // and thought better of it
    person.window.close();
    QVERIFY(!person.window.isVisible());
    QCOMPARE(person.stored(), untouched);
    QCOMPARE(person.op.told, QStringList());
}

void TestBrowser::refusedRowStaysAsTyped_data()
{
    QTest::addColumn<bool>("adds");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("why");
    QTest::addColumn<QString>("how"); // it is left
    const QString twice = u"|This email address is already in the list."_s;
    const QString none = u"|A recipient needs an email address."_s;
    const auto row = [](bool adds, const char *address, const QString &why, const char *how) {
        QTest::addRow("%s '%s', %s", adds ? "add" : "edit", address, how)
            << adds << address << why << how;
    };
    row(false, "ANN@x.org", twice, "Update");
    row(false, "", none, "Update");
    row(false, "  ", none, "Next");
    row(false, "bob@x.org", twice, "click");
    row(true, "bob@x.org", twice, "Add");
    row(true, "", none, "click");
    row(true, "zoe@x.org", twice, "close");
    row(true, "zoe@x.org", twice, "cmdSearch");
}

void TestBrowser::refusedRowStaysAsTyped()
{
    QFETCH(bool, adds);
    QFETCH(QString, address);
    QFETCH(QString, why);
    QFETCH(QString, how);
    Person person;
    person.press(adds ? u"Add"_s : u"Edit"_s);
    const int row = person.grid->currentIndex().row();
    person.type(1, "Mia");
    person.type(0, address);
    person.use(how);
    QTRY_COMPARE(person.op.told, QStringList{why});
    QTRY_COMPARE(person.grid->currentIndex().row(), row);
    QVERIFY(person.window.isVisible());
    QCOMPARE(person.stored(), untouched);
    QCOMPARE(person.cell(row, 0), address);
    QCOMPARE(person.cell(row, 1), u"Mia"_s);
    QVERIFY(person.action(u"Undo"_s)->isEnabled());
    // It is mended where it stands.
    person.type(0, "mia@x.org");
    person.window.close();
    QVERIFY(!person.window.isVisible());
    QVERIFY(person.stored().contains(u"mia@x.org|Mia"_s));
    QCOMPARE(person.op.told.size(), 1);
}

void TestBrowser::changedFieldsAlone()
{
    Person person;
    const QString select = u"select memo, status, remark from email where mid=2"_s;
    person.folder.execute("update email set status='F', remark='full' where mid=2", person.list);
    person.open();
    person.press("Next");
    person.press("Edit");
    person.type(1, "Anne");
    person.press("Update");
    QCOMPARE(person.folder.row(select, person.list), u"null|F|full"_s);
    // An emptied status means that nothing was sent yet, to the send run as well.
    person.press("Edit");
    person.grid->scrollTo(person.grid->model()->index(1, 7));
    person.type(7, QString());
    person.press("Update");
    QCOMPARE(person.folder.row(select, person.list), u"null|null|full"_s);
}

void TestBrowser::deletesAtOnce()
{
    Person person;
    person.press("Next");
    person.press("Delete");
    QCOMPARE(person.stored(), u"zoe@x.org|Zoe bob@x.org|Bob"_s);
    QCOMPARE(person.position(), u"Record: 2/2"_s);
    QCOMPARE(person.names(), u"Zoe Bob"_s);
    person.press("Add"); // one that is not stored yet goes, too
    QTest::keyClicks(person.editor(), u"bob@x.org"_s);
    person.press("Delete");
    QCOMPARE(person.position(), u"Record: 2/2"_s);
    QCOMPARE(person.op.told, QStringList());
    for (int i = 0; i < 3; ++i) // once more than there are
        person.press("Delete");
    QCOMPARE(person.position(), u"Record: 0/0"_s);
    person.press("Last");
    person.press("Add");
    QTest::keyClicks(person.editor(), u"mia@x.org"_s);
    person.window.close();
    QCOMPARE(person.stored(), u"mia@x.org|null"_s);
}

void TestBrowser::truncatesAfterAsking()
{
    Person person;
    person.window.search(2, u"ann"_s);
    person.op.answers.push(false);
    person.press("Trunc");
    QCOMPARE(person.stored(), untouched);
    QCOMPARE(person.names(), u"Ann"_s);
    person.op.answers.push(true);
    person.press("Trunc");
    QCOMPARE(person.op.asked, QStringList(2, u"|Delete all records ?"_s));
    QCOMPARE(person.position(), u"Record: 0/0"_s);
    QVERIFY(person.text->text().isEmpty());
    person.window.close();
    QCOMPARE(person.stored(), QString());
    QCOMPARE(person.count(), u"0"_s);
}

void TestBrowser::searchesAndSorts_data()
{
    QTest::addColumn<int>("field");
    QTest::addColumn<QString>("words");
    QTest::addColumn<int>("sort");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, int field, const char *words, int sort,
                        const char *expected) {
        QTest::newRow(name) << field << words << sort << expected;
    };
    row("no field", 0, "smi", 0, "Zoe Ann Bob");
    row("email", 1, "NN@X", 0, "Ann");
    row("last name", 3, "smi", 0, "Zoe Ann");
    row("company", 6, "et", 0, "Ann Bob");
    row("status", 8, "F", 0, "Ann");
    row("reason", 9, "no such", 0, "Ann");
    row("by email", 0, "", 1, "Ann Bob Zoe");
    row("by company", 0, "", 6, "Zoe Bob Ann");
    row("by status", 0, "", 8, "Zoe Ann Bob");
    row("by memo, equal ones as in the list", 0, "", 7, "Ann Bob Zoe");
    row("both", 3, "SMI", 2, "Ann Zoe");
}

void TestBrowser::searchesAndSorts()
{
    QFETCH(int, field);
    QFETCH(QString, words);
    QFETCH(int, sort);
    QFETCH(QString, expected);
    Person person;
    person.folder.execute("update email set status='F', remark='No such user' where mid=2",
                          person.list);
    person.folder.execute("update email set status='S' where mid=3", person.list);
    person.window.findChild<QComboBox *>(u"combSearch"_s)->setCurrentIndex(field);
    person.window.findChild<QComboBox *>(u"combSort"_s)->setCurrentIndex(sort);
    QTest::keyClicks(person.text, words);
    QTest::keyClick(person.text, Qt::Key_Return);
    QCOMPARE(person.names(), expected);
    QCOMPARE(person.position(), u"Record: 1/%1"_s.arg(expected.count(u' ') + 1));
    // What is added while a search is in force is seen, whether it matches or not.
    person.press("Add");
    QTest::keyClicks(person.editor(), u"mia@x.org\t"_s);
    QTest::keyClicks(person.editor(), u"Mia"_s);
    person.press("First");
    QCOMPARE(person.names(), expected + u" Mia"_s);
    person.press("Delete");
    QVERIFY(!person.stored().contains(expected.section(u' ', 0, 0)));
    // The next list begins without a search.
    person.open();
    QCOMPARE(person.position(), u"Record: 1/3"_s);
}

void TestBrowser::closingStoresTheCount()
{
    const std::pair<const char *, const char *> rows[] = {
        {"", "3|1"}, {"  ", "3|1"}, {"ann", "7|null"}}; // the last one is a search in force
    for (const auto &[words, expected] : rows) {
        Person person;
        person.folder.execute("update mlist set rec_count=7");
        person.window.search(2, QLatin1String(words));
        person.window.close();
        QCOMPARE(
            person.folder.row("select rec_count, update_time=date('now','localtime') from mlist"),
            QLatin1String(expected));
    }
}

void TestBrowser::failuresKeepTheRows()
{
    Person person;
    person.window.search(3, u"O'Brien"_s);
    QCOMPARE(person.op.told, QStringList{u"|near \"Brien\": syntax error"_s});
    QCOMPARE(person.names(), u"Zoe Ann Bob"_s);
    // Nor is a list shown that cannot be read.
    writeFile(person.folder.folder().listDatabaseFile(person.list), QByteArray(8192, 'x'));
    QVERIFY(!person.window.Load_db(person.folder.folder().listConnectionString(person.list),
                                   u"Club"_s, person.list));
    QCOMPARE(person.op.told.size(), 2);
    QVERIFY(person.op.told.last().contains(u"damaged"_s));
    QCOMPARE(person.names(), u"Zoe Ann Bob"_s);
}

void TestBrowser::lockedListKeepsWhatWasTyped()
{
    Person person;
    person.press("Edit");
    person.type(1, "Mia");
    {
        Connection other(person.folder.folder().listConnectionString(person.list));
        const Transaction lock(other);
        person.press("Update");
        QCOMPARE(person.op.told.size(), 1);
        QVERIFY(person.op.told.first().contains(u"in use by another program"_s));
        QVERIFY(person.action(u"Update"_s)->isEnabled());
    }
    person.press("Update");
    QVERIFY(person.stored().startsWith(u"zoe@x.org|Mia"_s));
}

void TestBrowser::longListIsReadToItsEnd()
{
    Person person;
    person.folder.execute("with recursive n(i) as (select 1 union all select i+1 "
                          "from n where i < 1000) insert into email (email) select "
                          "'r' || i || '@x.org' from n",
                          person.list);
    for (const char *end : {"Last", "Add"}) {
        QVERIFY(person.window.Load_db(person.folder.folder().listConnectionString(person.list),
                                      u"Club"_s, person.list));
        QVERIFY(person.grid->model()->rowCount() < 1003);
        person.press(QLatin1String(end));
        QCOMPARE(person.cell(1002, 0), u"r1000@x.org"_s);
        QVERIFY(person.position().startsWith(u"Record: 100"_s));
    }
    QTest::keyClicks(person.editor(), u"mia@x.org"_s);
    person.press("Prior");
    QCOMPARE(person.position(), u"Record: 1003/1004"_s);
}

QTEST_MAIN(TestBrowser)
#include "tst_browser.moc"

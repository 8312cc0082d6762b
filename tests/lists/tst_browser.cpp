#include "connection.h"
#include "fakes.h"
#include "frmemail.h"
#include "recipientgrid.h"
#include "testfolder.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

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
    void savesWhatIsTyped_data();
    void savesWhatIsTyped();
    void undoesEveryEdit_data();
    void undoesEveryEdit();
    void addsRecipients();
    void addWithoutAWordAddsNothing();
    void refusedRowStaysAsTyped_data();
    void refusedRowStaysAsTyped();
    void changedFieldsAlone();
    void deletesAtOnce();
    void deletesAnAddedRow();
    void truncatesAfterAsking();
    void searchesAndSorts_data();
    void searchesAndSorts();
    void closingStoresTheCount_data();
    void closingStoresTheCount();
    void brokenSearchKeepsTheRows();
    void unreadableListIsNotShown();
    void lockedListKeepsWhatWasTyped();
    void longListIsReadToItsEnd();
};

namespace
{

struct Person {
    TestFolder folder;
    qint64 list = folder.addList(QStringLiteral("Club"),
                                 {QStringLiteral("'zoe@x.org','Zoe','Smith','','','Acme'"),
                                  QStringLiteral("'ann@x.org','Ann','smithers','','','Zeta'"),
                                  QStringLiteral("'bob@x.org','Bob','Jones','','','Beta'")});
    ScriptedOperator op;
    frmemail window{folder.folder(), op};
    RecipientGrid *grid = window.findChild<RecipientGrid *>(QStringLiteral("grdDataGrid"));
    QLineEdit *text = window.findChild<QLineEdit *>(QStringLiteral("txtSearch"));
    QAbstractItemModelTester tester{grid->model()};

    Person() { open(); }
    void open()
    {
        QVERIFY(window.Load_db(folder.folder().listConnectionString(list), QStringLiteral("Club"),
                               list));
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    QAction *action(const QString &key) const { return window.findChild<QAction *>(key); }
    void press(const QString &key) const
    {
        auto *button = qobject_cast<QToolButton *>(
            window.findChild<QToolBar *>()->widgetForAction(action(key)));
        QTest::mouseClick(button, Qt::LeftButton);
    }
    void click(const QString &button) const
    {
        QTest::mouseClick(window.findChild<QAbstractButton *>(button), Qt::LeftButton);
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
    void type(int column, const QString &words) const
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
        return folder.rows(QStringLiteral("select email, fname from email order by mid"), list)
            .join(u' ');
    }
    QString position() const { return panel(1); }
    QString panel(int number) const
    {
        return window.findChild<QLabel *>(QStringLiteral("Panel%1").arg(number))->text();
    }
};

const QString untouched = QStringLiteral("zoe@x.org|Zoe ann@x.org|Ann bob@x.org|Bob");

} // namespace

void TestBrowser::opensOnTheWholeList()
{
    Person person;
    QCOMPARE(person.window.windowTitle(), QStringLiteral("Club"));
    QCOMPARE(person.names(), QStringLiteral("Zoe Ann Bob"));
    QCOMPARE(person.position(), QStringLiteral("Record: 1/3"));
    auto *search = person.window.findChild<QComboBox *>(QStringLiteral("combSearch"));
    auto *sort = person.window.findChild<QComboBox *>(QStringLiteral("combSort"));
    QCOMPARE(search->currentText(), QStringLiteral("-- Search By --"));
    QCOMPARE(sort->currentText(), QStringLiteral("-- Sort By --"));
    QCOMPARE(sort->itemText(9), QStringLiteral("Reason"));
    // Nothing can be typed into it before "Add" or "Edit".
    QTest::mouseDClick(person.grid->viewport(), Qt::LeftButton, {}, person.cellAt(0, 1));
    QTest::keyClicks(person.grid, QStringLiteral("x"));
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
        QStringLiteral("Add Edit Delete Trunc Next cmdSearch cmdFirst cmdPrevious cmdNext cmdLast");
    QCOMPARE(enabled(), browsing);
    for (const char *end : {"Update", "Undo"}) {
        person.press(QStringLiteral("Edit"));
        QCOMPARE(person.panel(2), QStringLiteral("Edit Record"));
        QCOMPARE(enabled(), QStringLiteral("Update Undo Trunc Next"));
        person.press(QLatin1String(end));
        QCOMPARE(enabled(), browsing);
    }
    QCOMPARE(person.panel(2), QStringLiteral("Undo/Cancel Update"));
    person.press(QStringLiteral("Add"));
    QCOMPARE(person.panel(2), QStringLiteral("Add Record"));
    QCOMPARE(enabled(), browsing);
}

void TestBrowser::movesBetweenRecords_data()
{
    QTest::addColumn<QString>("keys"); // each a key sequence
    QTest::addColumn<QString>("buttons");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *keys, const char *buttons, int expected) {
        QTest::addRow("%s", keys) << QString::fromLatin1(keys) << QString::fromLatin1(buttons)
                                  << QStringLiteral("Record: %1/3").arg(expected);
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
        button.startsWith(QLatin1String("cmd")) ? person.click(button) : person.press(button);
    QCOMPARE(person.position(), expected);
}

void TestBrowser::keysInTheSearchTextStayThere()
{
    Person person;
    person.text->setFocus();
    QTest::keyClicks(person.text, QStringLiteral("bc"));
    QTest::keyClick(person.text, Qt::Key_End);
    QTest::keyClick(person.text, Qt::Key_Home);
    QTest::keyClicks(person.text, QStringLiteral("a"));
    QCOMPARE(person.text->text(), QStringLiteral("abc"));
    QCOMPARE(person.position(), QStringLiteral("Record: 1/3"));
    QTest::keyClick(person.text, Qt::Key_Down);
    QCOMPARE(person.position(), QStringLiteral("Record: 2/3"));
}

void TestBrowser::savesWhatIsTyped_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("Update") << QStringLiteral("Update");
    QTest::newRow("another record, by the toolbar") << QStringLiteral("Next");
    QTest::newRow("another record, by a click") << QStringLiteral("click");
    QTest::newRow("closing") << QStringLiteral("close");
}

void TestBrowser::savesWhatIsTyped()
{
    QFETCH(QString, how);
    Person person;
    person.press(QStringLiteral("Edit"));
    person.type(1, QStringLiteral("Zoe O'Neil"));
    QCOMPARE(person.stored(), untouched);
    if (how == QLatin1String("click"))
        person.clickCell(2, 3);
    else if (how == QLatin1String("close"))
        person.window.close();
    else
        person.press(how);
    QTRY_COMPARE(person.stored(),
                 QStringLiteral("zoe@x.org|Zoe O'Neil ann@x.org|Ann bob@x.org|Bob"));
    QCOMPARE(person.op.told, QStringList());
    // An open cell ends with the mode.
    if (how == QLatin1String("Update"))
        QVERIFY(!person.editor());
}

void TestBrowser::undoesEveryEdit_data()
{
    QTest::addColumn<bool>("escape");
    QTest::newRow("Undo") << false;
    QTest::newRow("Escape") << true;
}

void TestBrowser::undoesEveryEdit()
{
    QFETCH(bool, escape);
    Person person;
    person.press(QStringLiteral("Edit"));
    person.type(1, QStringLiteral("Mia"));
    person.type(2, QStringLiteral("Miller"));
    if (escape) {
        QTest::keyClick(person.editor(), Qt::Key_Escape);
        QCOMPARE(person.names(), QStringLiteral("Mia Ann Bob")); // it was the cell's
        QTest::keyClick(person.grid, Qt::Key_Escape);
    } else {
        person.press(QStringLiteral("Undo"));
    }
    QCOMPARE(person.cell(0, 1), QStringLiteral("Zoe"));
    QCOMPARE(person.cell(0, 2), QStringLiteral("Smith"));
    QVERIFY(person.window.isVisible());
    person.window.close();
    QCOMPARE(person.stored(), untouched);
}

void TestBrowser::addsRecipients()
{
    Person person;
    person.press(QStringLiteral("Add"));
    QCOMPARE(person.position(), QStringLiteral("Record: 4/4"));
    // The first cell waits for the address; Tab leads on.
    QVERIFY(person.editor() && person.editor()->hasFocus());
    QTest::keyClicks(person.editor(), QStringLiteral("mia@x.org\t"));
    QTest::keyClicks(person.editor(), QStringLiteral("Mia"));
    QCOMPARE(person.stored(), untouched);
    person.press(QStringLiteral("Add")); // moves off the first one
    QCOMPARE(person.position(), QStringLiteral("Record: 5/5"));
    QCOMPARE(person.stored(), untouched + QStringLiteral(" mia@x.org|Mia"));
    QTest::keyClicks(person.editor(), QStringLiteral("jo@x.org\t"));
    QTest::keyClick(person.editor(), Qt::Key_Up);
    QCOMPARE(person.position(), QStringLiteral("Record: 4/5"));
    QCOMPARE(person.stored(), untouched + QStringLiteral(" mia@x.org|Mia jo@x.org|null"));
    QCOMPARE(person.cell(4, 0), QStringLiteral("jo@x.org"));
    // It is a recipient like the others: it can be changed and deleted.
    person.press(QStringLiteral("Edit"));
    person.type(1, QStringLiteral("Maria"));
    person.press(QStringLiteral("Update"));
    person.press(QStringLiteral("Last"));
    person.press(QStringLiteral("Delete"));
    QCOMPARE(person.stored(), untouched + QStringLiteral(" mia@x.org|Maria"));
}

void TestBrowser::addWithoutAWordAddsNothing()
{
    Person person;
    person.press(QStringLiteral("Add"));
    person.press(QStringLiteral("Add"));
    QCOMPARE(person.position(), QStringLiteral("Record: 4/4"));
    person.clickCell(0, 0);
    QTRY_COMPARE(person.position(), QStringLiteral("Record: 1/3"));
    person.press(QStringLiteral("Add"));
    person.type(1, QStringLiteral("Mia"));
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
    const QString twice = QStringLiteral("|This email address is already in the list.");
    const QString none = QStringLiteral("|A recipient needs an email address.");
    QTest::newRow("edit, twice") << false << "ANN@x.org" << twice << "Update";
    QTest::newRow("edit, none") << false << "" << none << "Update";
    QTest::newRow("edit, blanks, next") << false << "  " << none << "Next";
    QTest::newRow("edit, twice, a click") << false << "bob@x.org" << twice << "click";
    QTest::newRow("add, twice") << true << "bob@x.org" << twice << "Add";
    QTest::newRow("add, none, a click") << true << "" << none << "click";
    QTest::newRow("add, twice, close") << true << "zoe@x.org" << twice << "close";
    QTest::newRow("add, twice, search") << true << "zoe@x.org" << twice << "cmdSearch";
}

void TestBrowser::refusedRowStaysAsTyped()
{
    QFETCH(bool, adds);
    QFETCH(QString, address);
    QFETCH(QString, why);
    QFETCH(QString, how);
    Person person;
    person.press(adds ? QStringLiteral("Add") : QStringLiteral("Edit"));
    const int row = person.grid->currentIndex().row();
    person.type(1, QStringLiteral("Mia"));
    person.type(0, address);
    if (how == QLatin1String("click"))
        person.clickCell(1, 4);
    else if (how == QLatin1String("close"))
        person.window.close();
    else if (how.startsWith(QLatin1String("cmd")))
        person.click(how);
    else
        person.press(how);
    QTRY_COMPARE(person.op.told, QStringList{why});
    QTRY_COMPARE(person.grid->currentIndex().row(), row);
    QVERIFY(person.window.isVisible());
    QCOMPARE(person.stored(), untouched);
    QCOMPARE(person.cell(row, 0), address);
    QCOMPARE(person.cell(row, 1), QStringLiteral("Mia"));
    QVERIFY(person.action(QStringLiteral("Undo"))->isEnabled());
    // It is mended where it stands.
    person.type(0, QStringLiteral("mia@x.org"));
    person.window.close();
    QVERIFY(!person.window.isVisible());
    QVERIFY(person.stored().contains(QStringLiteral("mia@x.org|Mia")));
    QCOMPARE(person.op.told.size(), 1);
}

void TestBrowser::changedFieldsAlone()
{
    Person person;
    const QString select = QStringLiteral("select memo, status, remark from email where mid=2");
    person.folder.execute(QStringLiteral("update email set status='F', remark='full' where mid=2"),
                          person.list);
    person.open();
    person.press(QStringLiteral("Next"));
    person.press(QStringLiteral("Edit"));
    person.type(1, QStringLiteral("Anne"));
    person.press(QStringLiteral("Update"));
    QCOMPARE(person.folder.rows(select, person.list), QStringList{QStringLiteral("null|F|full")});
    // An emptied status means that nothing was sent yet, to the send run as well.
    person.press(QStringLiteral("Edit"));
    person.grid->scrollTo(person.grid->model()->index(1, 7));
    person.type(7, QString());
    person.press(QStringLiteral("Update"));
    QCOMPARE(person.folder.rows(select, person.list),
             QStringList{QStringLiteral("null|null|full")});
}

void TestBrowser::deletesAtOnce()
{
    Person person;
    person.press(QStringLiteral("Next"));
    person.press(QStringLiteral("Delete"));
    QCOMPARE(person.stored(), QStringLiteral("zoe@x.org|Zoe bob@x.org|Bob"));
    QCOMPARE(person.position(), QStringLiteral("Record: 2/2"));
    QCOMPARE(person.names(), QStringLiteral("Zoe Bob"));
    for (int i = 0; i < 3; ++i) // once more than there are
        person.press(QStringLiteral("Delete"));
    QCOMPARE(person.position(), QStringLiteral("Record: 0/0"));
    person.press(QStringLiteral("Last"));
    person.press(QStringLiteral("Add"));
    QTest::keyClicks(person.editor(), QStringLiteral("mia@x.org"));
    person.window.close();
    QCOMPARE(person.stored(), QStringLiteral("mia@x.org|null"));
}

void TestBrowser::deletesAnAddedRow()
{
    Person person;
    person.press(QStringLiteral("Add"));
    QTest::keyClicks(person.editor(), QStringLiteral("bob@x.org"));
    person.press(QStringLiteral("Delete"));
    QCOMPARE(person.position(), QStringLiteral("Record: 3/3"));
    person.window.close();
    QCOMPARE(person.stored(), untouched);
    QCOMPARE(person.op.told, QStringList());
}

void TestBrowser::truncatesAfterAsking()
{
    Person person;
    person.window.search(2, QStringLiteral("ann"));
    person.op.answers.push(false);
    person.press(QStringLiteral("Trunc"));
    QCOMPARE(person.stored(), untouched);
    QCOMPARE(person.names(), QStringLiteral("Ann"));
    person.op.answers.push(true);
    person.press(QStringLiteral("Trunc"));
    QCOMPARE(person.op.asked, QStringList(2, QStringLiteral("|Delete all records ?")));
    QCOMPARE(person.position(), QStringLiteral("Record: 0/0"));
    QVERIFY(person.text->text().isEmpty());
    person.window.close();
    QCOMPARE(person.stored(), QString());
    QCOMPARE(person.folder.rows(QStringLiteral("select rec_count from mlist")),
             QStringList{QStringLiteral("0")});
}

void TestBrowser::searchesAndSorts_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("sort");
    QTest::addColumn<QString>("expected");
    QTest::newRow("last name") << "Lastname"
                               << "smi"
                               << "-- Sort By --"
                               << "Zoe Ann";
    QTest::newRow("by company") << "-- Search By --"
                                << ""
                                << "Company"
                                << "Zoe Bob Ann";
    QTest::newRow("both") << "Lastname"
                          << "SMI"
                          << "Firstname"
                          << "Ann Zoe";
    QTest::newRow("no field") << "-- Search By --"
                              << "smi"
                              << "-- Sort By --"
                              << "Zoe Ann Bob";
}

void TestBrowser::searchesAndSorts()
{
    QFETCH(QString, field);
    QFETCH(QString, words);
    QFETCH(QString, sort);
    QFETCH(QString, expected);
    Person person;
    person.window.findChild<QComboBox *>(QStringLiteral("combSearch"))->setCurrentText(field);
    person.window.findChild<QComboBox *>(QStringLiteral("combSort"))->setCurrentText(sort);
    QTest::keyClicks(person.text, words);
    QTest::keyClick(person.text, Qt::Key_Return);
    QCOMPARE(person.names(), expected);
    QCOMPARE(person.position(), QStringLiteral("Record: 1/%1").arg(expected.count(u' ') + 1));
    // What is added while a search is in force is seen, whether it matches or not.
    person.press(QStringLiteral("Add"));
    QTest::keyClicks(person.editor(), QStringLiteral("mia@x.org\t"));
    QTest::keyClicks(person.editor(), QStringLiteral("Mia"));
    person.press(QStringLiteral("First"));
    QCOMPARE(person.names(), expected + QStringLiteral(" Mia"));
    person.press(QStringLiteral("Delete"));
    QVERIFY(!person.stored().contains(expected.section(u' ', 0, 0)));
    // The next list begins without a search.
    person.open();
    QCOMPARE(person.position(), QStringLiteral("Record: 1/3"));
}

void TestBrowser::closingStoresTheCount_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("expected");
    QTest::newRow("whole list") << ""
                                << "3";
    QTest::newRow("blanks") << "  "
                            << "3";
    QTest::newRow("search in force") << "ann"
                                     << "7";
}

void TestBrowser::closingStoresTheCount()
{
    QFETCH(QString, words);
    QFETCH(QString, expected);
    Person person;
    person.folder.execute(QStringLiteral("update mlist set rec_count=7"));
    person.window.search(2, words);
    person.window.close();
    QCOMPARE(person.folder.rows(QStringLiteral("select rec_count from mlist")),
             QStringList{expected});
    QCOMPARE(
        person.folder.rows(
            QStringLiteral("select count(*) from mlist where update_time=date('now','localtime')")),
        QStringList{words == QLatin1String("ann") ? QStringLiteral("0") : QStringLiteral("1")});
}

void TestBrowser::brokenSearchKeepsTheRows()
{
    Person person;
    person.window.search(3, QStringLiteral("O'Brien"));
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|near \"Brien\": syntax error")});
    QCOMPARE(person.names(), QStringLiteral("Zoe Ann Bob"));
}

void TestBrowser::unreadableListIsNotShown()
{
    Person person;
    const QString file = person.folder.folder().listDatabaseFile(person.list);
    QFile database(file);
    QVERIFY(database.open(QIODevice::WriteOnly));
    database.write(QByteArray(8192, 'x'));
    database.close();
    const QString list = person.folder.folder().listConnectionString(person.list);
    QVERIFY(!person.window.Load_db(list, QStringLiteral("Club"), person.list));
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().contains(QStringLiteral("damaged")));
}

void TestBrowser::lockedListKeepsWhatWasTyped()
{
    Person person;
    person.press(QStringLiteral("Edit"));
    person.type(1, QStringLiteral("Mia"));
    {
        Connection other(person.folder.folder().listConnectionString(person.list));
        const Transaction lock(other);
        person.press(QStringLiteral("Update"));
        QCOMPARE(person.op.told.size(), 1);
        QVERIFY(person.op.told.first().contains(QStringLiteral("in use by another program")));
        QVERIFY(person.action(QStringLiteral("Update"))->isEnabled());
    }
    person.press(QStringLiteral("Update"));
    QVERIFY(person.stored().startsWith(QStringLiteral("zoe@x.org|Mia")));
}

void TestBrowser::longListIsReadToItsEnd()
{
    Person person;
    person.folder.execute(QStringLiteral("with recursive n(i) as (select 1 union all select i+1 "
                                         "from n where i < 1000) insert into email (email) select "
                                         "'r' || i || '@x.org' from n"),
                          person.list);
    for (const char *end : {"Last", "Add"}) {
        QVERIFY(person.window.Load_db(person.folder.folder().listConnectionString(person.list),
                                      QStringLiteral("Club"), person.list));
        QVERIFY(person.grid->model()->rowCount() < 1003);
        person.press(QLatin1String(end));
        QCOMPARE(person.cell(1002, 0), QStringLiteral("r1000@x.org"));
        QVERIFY(person.position().startsWith(QStringLiteral("Record: 100")));
    }
    QTest::keyClicks(person.editor(), QStringLiteral("mia@x.org"));
    person.press(QStringLiteral("Prior"));
    QCOMPARE(person.position(), QStringLiteral("Record: 1003/1004"));
}

QTEST_MAIN(TestBrowser)
#include "tst_browser.moc"

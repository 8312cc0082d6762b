// The recipient browser as a person uses it, and the grid in it.

#include "connection.h"
#include "fakes.h"
#include "frmemail.h"
#include "recipientgrid.h"
#include "testfiles.h"
#include "window.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace
{

const QString untouched = u"zoe@x.org|Zoe ann@x.org|Ann bob@x.org|Bob"_s;

struct Person {
    TestFolder folder;
    qint64 list = folder.addList("Club", {"'zoe@x.org','Zoe','Smith','','','Acme','m1'",
                                          "'ann@x.org','Ann','smithers','','','Zeta'",
                                          "'bob@x.org','Bob','O''Brien','','','Beta'"});
    ScriptedOperator op;
    frmemail window{folder.folder(), op};
    RecipientGrid *grid = child<RecipientGrid>(window, "grdDataGrid");
    std::optional<QAbstractItemModelTester> tester{grid->model()};

    Person()
    {
        QVERIFY(load());
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    bool load()
    {
        return window.Load_db(folder.folder().listConnectionString(list), u"Club"_s, list);
    }
    /// "close", "click" on another record, or a button's name.
    void use(const TestText &what)
    {
        if (what == "close"_L1)
            window.close();
        else if (what == "click"_L1)
            click(1, 4);
        else
            press(window, what);
    }
    QPoint place(int row, int column) const
    {
        return grid->visualRect(grid->model()->index(row, column)).center();
    }
    void click(int row, int column) const
    {
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, place(row, column));
    }
    /// Types into a cell of the current row; its editor stays open.
    void type(int column, const TestText &words) const
    {
        const int row = grid->currentIndex().row();
        grid->scrollTo(grid->model()->index(row, column));
        click(row, column);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, place(row, column));
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
    bool isEnabled(const TestText &command) const
    {
        return child<QAction>(window, command)->isEnabled();
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
    QString panel(int number) const
    {
        return child<QLabel>(window, u"Panel%1"_s.arg(number))->text();
    }
    QString position() const { return panel(1); }
};

} // namespace

class TestBrowser final : public QObject
{
    Q_OBJECT

private slots:
    void modesSwitchTheButtons()
    {
        Person person;
        QCOMPARE(person.names() + u' ' + person.position(), u"Zoe Ann Bob Record: 1/3"_s);
        // Nothing can be typed before "Add" or "Edit".
        QTest::mouseDClick(person.grid->viewport(), Qt::LeftButton, {}, person.place(0, 1));
        QVERIFY(!person.editor());
        for (const char *end : {"Update", "Undo"}) {
            press(person.window, "Edit");
            QCOMPARE(person.panel(2), u"Edit Record"_s);
            for (const char *command : {"Add", "Edit", "Delete", "Update", "Undo"})
                QCOMPARE(person.isEnabled(command), *command == 'U');
            QVERIFY(!child(person.window, "cmdSearch")->isEnabled());
            press(person.window, end);
            QVERIFY(person.isEnabled("Add") && !person.isEnabled("Update"));
            QVERIFY(child(person.window, "cmdNext")->isEnabled());
        }
    }

    void movesBetweenRecords()
    {
        const std::tuple<const char *, const char *, int> rows[] = {
            {"PgDown", "Next", 2},
            {"Down Down Down Down", "cmdNext cmdNext cmdNext cmdNext", 3},
            {"End Up", "cmdLast cmdPrevious", 2},
            {"Ctrl+Down Ctrl+PgUp Up", "Last First Prior", 1}};
        for (const auto &[keys, buttons, expected] : rows) {
            Person person;
            for (const QString &key : QString::fromLatin1(keys).split(u' '))
                QTest::keySequence(person.window.focusWidget(), QKeySequence(key));
            QCOMPARE(person.position(), u"Record: %1/3"_s.arg(expected));
            QVERIFY(person.load());
            for (const QString &button : QString::fromLatin1(buttons).split(u' '))
                person.use(button);
            QCOMPARE(person.position(), u"Record: %1/3"_s.arg(expected));
        }
    }

    void savesOrUndoesWhatIsTyped()
    {
        for (const char *how : {"Update", "Next", "click", "close", "Undo", "Escape"}) {
            Person person;
            press(person.window, "Edit");
            person.type(2, "x");
            person.type(1, "Zoe O'Neil");
            QCOMPARE(person.stored(), untouched);
            if (how == "Escape"_L1) {
                QTest::keyClick(person.editor(), Qt::Key_Escape); // it is the cell's
                QTest::keyClick(person.grid, Qt::Key_Escape);
            } else {
                person.use(how);
            }
            const bool isUndone = how == "Undo"_L1 || how == "Escape"_L1;
            QTRY_COMPARE(person.stored(),
                         isUndone ? untouched
                                  : u"zoe@x.org|Zoe O'Neil ann@x.org|Ann bob@x.org|Bob"_s);
            QCOMPARE(person.cell(0, 2), isUndone ? u"Smith"_s : u"x"_s);
            QCOMPARE(person.window.isVisible(), how != "close"_L1);
        }
    }

    void addsRecipients()
    {
        for (const char *how : {"Add", "click", "close", "Prior"}) {
            Person person;
            person.click(0, 3); // wherever the person is, the address comes first
            press(person.window, "Add");
            QCOMPARE(person.position(), u"Record: 4/4"_s);
            QTest::keyClicks(QApplication::focusWidget(), u"mia@x.org\t"_s);
            QTest::keyClicks(QApplication::focusWidget(), u"Mia"_s);
            QCOMPARE(person.stored(), untouched);
            person.use(how);
            QTRY_COMPARE(person.stored(), untouched + u" mia@x.org|Mia"_s);
        }
        // Nothing typed adds nothing.
        Person person;
        press(person.window, "Add");
        press(person.window, "Add");
        QCOMPARE(person.position(), u"Record: 4/4"_s);
        person.use("click");
        QTRY_COMPARE(person.position(), u"Record: 2/3"_s);
        QCOMPARE(person.op.told, QStringList());
    }

    void refusedRowStaysAsTyped()
    {
        const QString twice = u"|This email address is already in the list."_s;
        const QString none = u"|A recipient needs an email address."_s;
        const std::tuple<const char *, const char *, QString, const char *> rows[] = {
            {"Edit", "ANN@x.org", twice, "Update"},
            {"Edit", "  ", none, "Next"},
            {"Edit", "bob@x.org", twice, "click"},
            {"Add", "bob@x.org", twice, "Add"},
            {"Add", "", none, "click"},
            {"Add", "zoe@x.org", twice, "close"},
            {"Add", "zoe@x.org", twice, "cmdSearch"}};
        for (const auto &[command, address, why, how] : rows) {
            Person person;
            press(person.window, command);
            const int row = person.grid->currentIndex().row();
            person.type(1, "Mia");
            person.type(0, address);
            person.use(how);
            QTRY_COMPARE(person.op.told, QStringList{why});
            QTRY_COMPARE(person.grid->currentIndex().row(), row);
            QCOMPARE(person.stored(), untouched);
            QCOMPARE(person.cell(row, 0) + person.cell(row, 1), QLatin1String(address) + u"Mia"_s);
            // It is mended where it stands.
            person.type(0, "mia@x.org");
            person.window.close();
            QVERIFY(person.stored().contains(u"mia@x.org|Mia"_s));
            QCOMPARE(person.op.told.size(), 1);
        }
    }

    void changesNothingElse()
    {
        Person person;
        const QString select = u"select memo, status, remark from email where mid=2"_s;
        person.folder.execute("update email set status='F', remark='full' where mid=2",
                              person.list);
        QVERIFY(person.load());
        press(person.window, "Next");
        press(person.window, "Edit");
        person.type(1, "Anne");
        {
            // A list in use keeps what was typed.
            Connection other(person.folder.folder().listConnectionString(person.list));
            const Transaction lock(other);
            press(person.window, "Update");
            QVERIFY(person.op.told.join(u' ').contains(u"in use by another program"_s));
        }
        press(person.window, "Update");
        QCOMPARE(person.folder.row(select, person.list), u"null|F|full"_s);
        // An emptied status means that nothing was sent yet, to the send run as well.
        press(person.window, "Edit");
        person.type(7, "");
        press(person.window, "Update");
        QCOMPARE(person.folder.row(select, person.list), u"null|null|full"_s);
        QVERIFY(person.stored().contains(u"ann@x.org|Anne"_s));
    }

    void deletes()
    {
        Person person;
        QVERIFY(person.grid->actions().contains(child<QAction>(person.window, "Delete")));
        press(person.window, "Next");
        press(person.window, "Delete"); // at once
        QCOMPARE(person.stored(), u"zoe@x.org|Zoe bob@x.org|Bob"_s);
        QCOMPARE(person.position(), u"Record: 2/2"_s);
        press(person.window, "Add"); // one that is not stored yet goes, too
        QTest::keyClicks(person.editor(), u"bob@x.org"_s);
        press(person.window, "Delete");
        QCOMPARE(person.names(), u"Zoe Bob"_s);
        // All of them go after a question that counts those out of sight as well.
        person.window.search(2, u"zoe"_s);
        for (const bool answer : {false, true}) {
            QCOMPARE(person.names(), u"Zoe"_s);
            person.op.answers.push(answer);
            press(person.window, "Trunc");
        }
        QCOMPARE(person.op.asked.last(), u"|Delete all records ?\n\nRecipients in the list: 2"_s);
        QCOMPARE(person.position(), u"Record: 0/0"_s);
        press(person.window, "Delete"); // nothing
        QCOMPARE(person.stored(), QString());
    }

    void searchesAndSorts()
    {
        Person person;
        person.folder.execute("update email set status='F', remark='No such user' where mid=2",
                              person.list);
        const std::tuple<int, const char *, int, const char *> rows[] = {
            {0, "O'Brien", 0, "Bob"}, {0, "ACM", 0, "Zoe"},      {0, "no such", 0, "Ann"},
            {1, "NN@X", 0, "Ann"},    {3, "o'b", 0, "Bob"},      {3, "acme", 0, ""},
            {3, "smi", 0, "Zoe Ann"}, {0, "", 6, "Zoe Bob Ann"}, {0, "", 7, "Ann Bob Zoe"},
            {3, "SMI", 2, "Ann Zoe"}}; // equal ones as in the list
        for (const auto &[field, words, sort, expected] : rows) {
            child<QComboBox>(person.window, "combSearch")->setCurrentIndex(field);
            child<QComboBox>(person.window, "combSort")->setCurrentIndex(sort);
            type(person.window, "txtSearch", words);
            QTest::keyClick(person.window.focusWidget(), Qt::Key_Return);
            QCOMPARE(person.names(), QLatin1String(expected));
        }
        QCOMPARE(person.op.told, QStringList());
        // What is added while a search is in force is seen, whether it matches or not.
        press(person.window, "Add");
        QTest::keyClicks(person.editor(), u"mia@x.org"_s);
        press(person.window, "First");
        QCOMPARE(person.cell(2, 0), u"mia@x.org"_s);
    }

    void closingStoresTheCount()
    {
        for (const auto &[words, expected] : {std::pair("  ", "3|1"), std::pair("ann", "7|null")}) {
            Person person;
            person.folder.execute("update mlist set rec_count=7");
            person.window.search(2, QLatin1String(words)); // the second is a search in force
            person.window.close();
            QCOMPARE(person.folder.row(
                         "select rec_count, update_time=date('now','localtime') from mlist"),
                     QLatin1String(expected));
        }
    }

    void failedSearchShowsNoRows()
    {
        Person person;
        const QString file = person.folder.folder().listDatabaseFile(person.list);
        QVERIFY(QFile::rename(file, file + u"x"_s));
        for (const char *button : {"cmdSearch", "Add"}) {
            press(person.window, button);
            QVERIFY(person.op.told.takeLast().endsWith(u"does not exist."_s));
            QCOMPARE(person.names(), QString());
        }
        QVERIFY(QFile::rename(file + u"x"_s, file));
        press(person.window, "Add");
        QCOMPARE(person.position(), u"Record: 4/4"_s);
    }

    void longListIsReadInSteps()
    {
        Person person;
        person.tester.reset(); // it looks at every cell
        person.folder.execute("with recursive n(i) as (select 1 union all select i+1 from n where "
                              "i < 40000) insert into email (email) select 'r' || i from n",
                              person.list);
        for (const char *end : {"Last", "Add"}) {
            QVERIFY(person.load());
            QVERIFY(person.grid->model()->rowCount() < 40003);
            QSignalSpy inserted(person.grid->model(), &QAbstractItemModel::rowsInserted);
            QVERIFY(inserted.wait()); // while the window lives
            press(person.window, end);
            QCOMPARE(person.cell(40002, 0), u"r40000"_s);
        }
        // The file is left alone meanwhile; a failure is told once, and not while a view paints.
        person.folder.folder().duplicateListDatabase(person.list, person.list + 1);
        person.folder.folder().deleteListDatabase(person.list);
        QCOMPARE(person.cell(20000, 0) + person.cell(200, 0), QString());
        QCOMPARE(person.op.told, QStringList());
        QTRY_COMPARE(person.op.told.size(), 1);
    }

    void columnsShowTheirTitles()
    {
        Person person;
        const QHeaderView *header = person.grid->horizontalHeader();
        QCOMPARE(person.grid->columnWidth(0), person.grid->viewport()->width() / 4);
        for (int column = 0; column < 9; ++column) {
            const QString title = header->model()->headerData(column, Qt::Horizontal).toString();
            QVERIFY(header->fontMetrics().horizontalAdvance(title) < header->sectionSize(column));
        }
        person.grid->setColumnWidth(0, 99); // what a person has set stays
        QVERIFY(person.load());
        QCOMPARE(person.grid->columnWidth(0), 99);
    }
};

QTEST_MAIN(TestBrowser)
#include "tst_browser.moc"

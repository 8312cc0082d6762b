// The recipient browser as a person uses it, and the grid in it.

#include "fakes.h"
#include "frmemail.h"
#include "recipientgrid.h"
#include "window.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QFile>
#include <QLabel>

using namespace Qt::StringLiterals;

namespace
{

const QString untouched = "zoe@x.org|Zoe ann@x.org|Ann bob@x.org|Bob";

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
    bool load() { return window.Load_db(folder.folder().listConnectionString(list), "Club", list); }
    /// "close", "click" on another record, a button's name, or a key.
    void use(const TestText &what)
    {
        if (what == "close")
            window.close();
        else if (what == "click")
            QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, place(1, 4));
        else if (window.findChild<QObject *>(what))
            press(window, what);
        else
            QTest::keySequence(QApplication::focusWidget(), QKeySequence(what));
    }
    QPoint place(int row, int column) const
    {
        return grid->visualRect(grid->model()->index(row, column)).center();
    }
    /// Types into a cell of the current row; its editor stays open.
    void type(int column, const TestText &words) const
    {
        const int row = grid->currentIndex().row();
        grid->scrollTo(grid->model()->index(row, column));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, place(row, column));
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
    QString cell(int row, int col) { return grid->model()->index(row, col).data().toString(); }
    QString names()
    {
        QStringList result;
        for (int row = 0; row < grid->model()->rowCount(); ++row)
            result += cell(row, 1);
        return result.join(u' ');
    }
    QString stored() { return folder.rows("select email, fname from email", list).join(u' '); }
    QString position() const { return child<QLabel>(window, "Panel1")->text(); }
};

} // namespace

class TestBrowser final : public QObject
{
    Q_OBJECT

private slots:
    void modesSwitchTheButtons()
    {
        Person person;
        QCOMPARE(person.names() + u' ' + person.position(), "Zoe Ann Bob Record: 1/3");
        // Nothing can be typed before "Add" or "Edit".
        QTest::mouseDClick(person.grid->viewport(), Qt::LeftButton, {}, person.place(0, 1));
        QVERIFY(!person.editor());
        for (const char *button : {"Edit", "Update", "Edit", "Undo"}) {
            press(person.window, button);
            const bool isEditing = *button == 'E';
            for (const char *command : {"Add", "Edit", "Delete", "Update", "Undo"})
                QCOMPARE(child<QAction>(person.window, command)->isEnabled(),
                         isEditing == (*command == 'U'));
            QCOMPARE(child(person.window, "cmdSearch")->isEnabled(), !isEditing);
        }
    }

    void movesBetweenRecords()
    {
        Person person;
        const std::pair<TestText, int> steps[] = {
            {"PgDown", 2}, {"End", 3},     {"Down", 3}, {"Up", 2},   {"Ctrl+PgUp", 1},
            {"Up", 1},     {"cmdNext", 2}, {"Last", 3}, {"Next", 3}, {"cmdPrevious", 2}};
        for (const auto &[step, expected] : steps) {
            person.use(step);
            QCOMPARE(person.position(), u"Record: %1/3"_s.arg(expected));
        }
    }

    void savesOrUndoesWhatIsTyped()
    {
        for (const TestText how : {"Update", "Next", "click", "close", "Undo", "Esc"}) {
            Person person;
            press(person.window, "Edit");
            person.type(2, "x");
            person.type(1, "Zoe O'Neil");
            QCOMPARE(person.stored(), untouched);
            person.use(how);
            if (how == "Esc")
                person.use(how); // the first one was the cell's
            const bool isUndone = how == "Undo" || how == "Esc";
            QTRY_COMPARE(person.stored().contains("zoe@x.org|Zoe O'Neil ann"), !isUndone);
            QCOMPARE(person.cell(0, 2), isUndone ? "Smith" : "x");
            QCOMPARE(person.window.isVisible(), how != "close");
        }
    }

    void addsRecipients()
    {
        for (const char *how : {"Add", "click", "close", "Prior"}) {
            Person person;
            person.use("click"); // wherever the person is, the address comes first
            press(person.window, "Add");
            QCOMPARE(person.position(), "Record: 4/4");
            QTest::keyClicks(QApplication::focusWidget(), "mia@x.org\t");
            QTest::keyClicks(QApplication::focusWidget(), "Mia");
            QCOMPARE(person.stored(), untouched);
            person.use(how);
            QTRY_COMPARE(person.stored(), untouched + " mia@x.org|Mia");
        }
        // Nothing typed adds nothing.
        Person person;
        for (const char *step : {"Add", "Add", "click"})
            person.use(step);
        QTRY_COMPARE(person.position(), "Record: 2/3");
    }

    void refusedRowStaysAsTyped()
    {
        const std::tuple<TestText, TestText, TestText, TestText> rows[] = {
            {"Edit", "ANN@x.org", "This email address is already in the list.", "Update"},
            {"Edit", "  ", "A recipient needs an email address.", "Next"},
            {"Add", "", "A recipient needs an email address.", "click"},
            {"Add", "bob@x.org", "This email address is already in the list.", "close"}};
        for (const auto &[command, address, why, how] : rows) {
            Person person;
            press(person.window, command);
            const int row = person.grid->currentIndex().row();
            person.type(1, "Mia");
            person.type(0, address);
            person.use(how);
            QTRY_COMPARE(person.op.told, QStringList(u'|' + why));
            QTRY_COMPARE(person.grid->currentIndex().row(), row);
            QCOMPARE(person.cell(row, 0) + person.cell(row, 1), address + "Mia");
            // It is mended where it stands.
            person.type(0, "mia@x.org");
            person.window.close();
            QVERIFY(person.stored().contains("mia@x.org|Mia"));
        }
    }

    void changesNothingElse()
    {
        Person person;
        const QString select = "select memo, status, remark from email where mid=2";
        person.folder.execute("update email set status='F', remark='full' where mid=2",
                              person.list);
        QVERIFY(person.load());
        press(person.window, "Next");
        press(person.window, "Edit");
        person.type(1, "Anne");
        press(person.window, "Update");
        QCOMPARE(person.folder.row(select, person.list), "null|F|full");
        // An emptied status means that nothing was sent yet, to the send run as well.
        press(person.window, "Edit");
        person.type(7, "");
        press(person.window, "Update");
        QCOMPARE(person.folder.row(select, person.list), "null|null|full");
    }

    void deletes()
    {
        Person person;
        QVERIFY(person.grid->actions().contains(child<QAction>(person.window, "Delete")));
        person.use("click");
        press(person.window, "Delete"); // at once
        QCOMPARE(person.stored(), "zoe@x.org|Zoe bob@x.org|Bob");
        press(person.window, "Add"); // one that is not stored yet goes, too
        QTest::keyClicks(person.editor(), "bob@x.org");
        press(person.window, "Delete");
        QCOMPARE(person.names(), "Zoe Bob");
        // All of them go after a question that counts those out of sight as well.
        person.window.search(2, "zoe");
        for (const bool answer : {false, true}) {
            QCOMPARE(person.position(), "Record: 1/1");
            person.op.answers.push(answer);
            press(person.window, "Trunc");
        }
        QCOMPARE(person.op.asked.last(), "|Delete all records ?\n\nRecipients in the list: 2");
        QCOMPARE(person.position(), "Record: 0/0");
    }

    void searchesAndSorts()
    {
        Person person;
        person.folder.execute("update email set remark='No such user' where mid=2", person.list);
        const std::tuple<int, TestText, int, TestText> rows[] = {
            {0, "O'Brien", 0, "Bob"},  {0, "no such", 0, "Ann"},  {1, "NN@X", 0, "Ann"},
            {3, "o'b", 0, "Bob"},      {3, "acme", 0, ""},        {3, "smi", 0, "Zoe Ann"},
            {0, "", 6, "Zoe Bob Ann"}, {0, "", 7, "Ann Bob Zoe"}, {3, "SMI", 2, "Ann Zoe"}};
        for (const auto &[field, words, sort, expected] : rows) {
            child<QComboBox>(person.window, "combSearch")->setCurrentIndex(field);
            child<QComboBox>(person.window, "combSort")->setCurrentIndex(sort);
            type(person.window, "txtSearch", words + u'\r');
            QCOMPARE(person.names(), QString(expected));
        }
    }

    void closingStoresTheCount()
    {
        for (const auto &[words, count] : {std::pair(u"  "_s, "3|1"), {"ann", "7|null"}}) {
            Person person;
            person.folder.execute("update mlist set rec_count=7");
            person.window.search(2, words); // the second is a search in force
            person.window.close();
            QCOMPARE(person.folder.row("select rec_count, update_time=date() from mlist"), count);
        }
    }

    void failedSearchShowsNoRows()
    {
        Person person;
        QVERIFY(QFile::remove(person.folder.folder().listDatabaseFile(person.list)));
        for (const char *button : {"cmdSearch", "Add"}) {
            press(person.window, button);
            QVERIFY(person.op.told.takeLast().endsWith("does not exist."));
            QCOMPARE(person.names(), QString());
        }
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
            const int first = person.grid->model()->rowCount();
            QVERIFY(first < 40003);
            QTRY_VERIFY(person.grid->model()->rowCount() > first); // while the window lives
            press(person.window, end);
            QCOMPARE(person.cell(40002, 0), "r40000");
        }
        // The file is left alone meanwhile; a failure is told once, and not while a view paints.
        person.folder.folder().duplicateListDatabase(person.list, person.list + 1);
        person.folder.folder().deleteListDatabase(person.list);
        QCOMPARE(person.cell(20000, 0) + person.cell(200, 0), QString());
        QCOMPARE(person.op.told, QStringList());
        QTRY_COMPARE(person.op.told.size(), 1);
    }
};

QTEST_MAIN(TestBrowser)
#include "tst_browser.moc"

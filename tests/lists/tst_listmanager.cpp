// The Maillist Manager, its two dialogs and the catalogue behind them, as a person uses them.

#include "frmmgrlist.h"
#include "listdialogs.h"

#include "connection.h"
#include "fakes.h"
#include "testfiles.h"
#include "window.h"

#include <QComboBox>

using namespace Qt::StringLiterals;

namespace
{

struct Notes {
    TestFolder folder;
    QStringList called;
    auto note(const char *command)
    {
        return [this, command](const auto &...) {
            called += QLatin1String(command);
            folder.execute("update mlist set rec_count=7");
        };
    }
};

struct Person : Notes {
    ScriptedOperator op;
    frmNewList newList{folder.folder(), op, note("import")};
    frmMgrList window{
        folder.folder(),
        op,
        {[](Connection &system, qint64 id) {
             return system.number(u"select count(*) from mjob where listid=%1"_s.arg(id)) > 0;
         },
         [this] { newList.createList(); }, note("import"), note("export"), note("merge"),
         note("append"), note("browse"), note("jobs")}};
    SortableList *list = child<SortableList>(window, "ListView1");

    /// Opens the window on these lists, each with one address.
    explicit Person(std::initializer_list<TestText> lists = {"Ann", "Bob", "Zoë"})
    {
        for (const TestText &name : lists)
            folder.addList(name, {name + "@Example.org"});
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    ~Person() { window.hide(); }
    /// Presses a button of the toolbar, and in the dialog that it opens, whose type box must hold
    /// `types`, types a name, sets a type and presses a button.
    void fill(const char *command, const TestText &name, const TestText &kind, const char *button,
              const QString &types = {})
    {
        during<QDialog>(
            [&] { press(window, command); },
            [&](QDialog &dialog) {
                auto *box = child<QComboBox>(dialog, "Combo1");
                const QString shown = box->currentText() + u' ' + box->itemText(box->count() - 1);
                QVERIFY2(types.isEmpty() || shown == types, qPrintable(shown));
                QTest::keyClick(dialog.focusWidget(), Qt::Key_Delete); // what is there is selected
                QTest::keyClicks(dialog.focusWidget(), name);
                box->setCurrentText(kind);
                press(dialog, button);
            });
    }
    /// The lists' names; the selected one has a star.
    QString names() const
    {
        QStringList result;
        for (int row = 0; row < list->count(); ++row)
            result += list->row(row).cells.first() + (row == list->selectedRow() ? "*" : "");
        return result.join(u' ');
    }
    QString stored() const
    {
        return folder.rows("select listid, listname, listtype from mlist").join(u' ');
    }
    QString database(qint64 listId) const { return folder.folder().listDatabaseFile(listId); }
    void search(int mode, const TestText &text) const
    {
        child<QComboBox>(window, "combType")->setCurrentIndex(mode);
        type(window, "txtSearch", text + u'\r');
    }
};

} // namespace

class TestListManager final : public QObject
{
    Q_OBJECT

private slots:
    void opensOnTheNewestList()
    {
        Person person;
        person.folder.execute("update mlist set create_time='2026-03-09', listtype=null");
        for (int time = 0; time < 2; ++time) {
            person.window.show();
            QCOMPARE(person.names(), "Zoë* Bob Ann");
            person.list->selectRow(2);
            person.search(0, "b");
            QCOMPARE(person.list->row(0).cells.join(u'|'), "Bob|2||2026/03/09|0");
            person.window.close();
        }
        QVERIFY(person.list->actions().contains(child<QAction>(person.window, "Merge")));
    }

    void searches()
    {
        Person person;
        person.folder.execute(
            "update mlist set listname='O''Brien', listtype='T''s' where listid=2");
        person.folder.execute("update email set email='o''brien@x.org'", 2);
        const std::tuple<int, TestText, TestText> rows[] = {
            {0, "oË", "Zoë*"}, {0, "o'b", "O'Brien"},        {0, "x", ""},
            {0, "z_%", "Zoë"}, {1, "T'S", "O'Brien"},        {2, "O'BRIEN@", "O'Brien"},
            {2, "ann ", ""},   {2, "  ", "Zoë O'Brien Ann"}, {2, "ann", "Ann"}};
        for (const auto &[mode, text, expected] : rows) {
            person.search(mode, text);
            QCOMPARE(person.names(), QString(expected));
        }
        // The list that was selected is selected again, where it is among them.
        person.list->selectRow(0);
        QTest::keyClick(person.list, Qt::Key_Return);
        person.search(0, "a_n");
        QCOMPARE(person.names(), "Ann*");
        const QPoint place = person.list->visualRect(person.list->currentIndex()).center();
        QTest::mouseClick(person.list->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(person.list->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(person.called, QStringList(2, "browse"));
        QCOMPARE(person.op.told, QStringList());
        // A list that cannot be read is told and left out; where none can be, none are shown.
        QFile::remove(person.database(2));
        person.search(2, "example");
        QCOMPARE(person.names(), "Zoë Ann*");
        QVERIFY(person.op.told.takeLast().endsWith("m2.mdb does not exist."));
        QFile::remove(person.folder.file("sys.mdb"));
        person.search(0, "");
        QCOMPARE(person.names(), QString());
        QVERIFY(person.op.told.takeLast().startsWith("Error|Error #  14 was generated by"));
        for (const char *command : {"Open", "Export", "View Details", "Search"})
            press(person.window, command);
        QCOMPARE(person.called.size() + person.op.told.size(), 2);
    }

    void createsAndEdits()
    {
        Person person({"Ann", "Gone"});
        person.folder.execute("update mlist set listtype='Press' where listid=1");
        person.folder.execute("delete from mlist where listid=2");
        // The number of a list that is gone is used for no other, and a name may be used twice.
        person.fill("New", "O'Brien", "Bob's", "Command3", "Customer Press");
        person.fill("New", "O'Brien", "x", "Command3", "Customer Bob's");
        QCOMPARE(person.names(), "O'Brien* O'Brien Ann");
        QCOMPARE(person.folder.row("select count(*) from email", 4), "0");
        person.fill("New", "x", "y", "Command2"); // Cancel
        person.fill("New", "Leads", "Client", "cmdImport");
        QCOMPARE(person.called, QStringList{"import"});
        person.fill("Properties", "It's", "new'", "Command3", "Client Other");
        person.fill("Properties", "x", "y", "Command2");
        const QString expected = "1|Ann|Press 3|O'Brien|Bob's 4|O'Brien|x 5|It's|new'";
        QCOMPARE(person.list->row(0).cells.mid(0, 3).join(u'|'), "It's|5|new'");
        // What is missing is told, and what could not be stored is not shown as if it were.
        person.fill("New", "", "Client", "cmdImport");
        person.fill("Properties", "L", "", "Command3");
        const QString told = "Mailist|ListName and ListType cannot be empty !";
        QCOMPARE(person.op.told, QStringList({"New " + told, "Edit " + told}));
        person.folder.refuse("update on mlist");
        QFile::remove(person.folder.file("mtemplate.mdb"));
        person.fill("New", "Leads", "Client", "Command3");
        QVERIFY(person.op.told.last().startsWith("Error|New Maillist Error #  0 "));
        person.fill("Properties", "x", "y", "Command3");
        QVERIFY(person.op.told.last().endsWith("no room"));
        QCOMPARE(person.names() + person.stored(), "It's* O'Brien O'Brien Ann" + expected);
    }

    void duplicates()
    {
        Person person({"Leads", "Other"});
        person.folder.execute("update email set status='F', remark='full'", 1);
        person.list->selectRow(1);
        press(person.window, "Copy");
        QCOMPARE(person.names(), "Copy of Leads* Other Leads");
        // Status and reason as well: the database is the same, byte for byte.
        QVERIFY(readFile(person.database(3)) == readFile(person.database(1)));
        QFile::remove(person.database(3));
        press(person.window, "Copy");
        QVERIFY(person.op.told.takeLast().endsWith("m3.mdb does not exist."));
        QVERIFY(person.stored().endsWith("3|Copy of Leads|Client"));
    }

    void deletes()
    {
        Person person;
        person.folder.addJob("J", 1, 1);
        QFile::remove(person.database(2));
        const std::tuple<bool, TestText, TestText> rows[] = {
            {false, "Zoë\n\nRecipients in the list: 1", "Zoë* Bob Ann"},
            {true, "Zoë\n\nRecipients in the list: 1", "Bob Ann"},
            {true, "Bob\n\nRecipients in the list: unknown", "Ann"},
            {true, "Ann\n\nRecipients in the list: 1", "Ann*"}}; // a job uses it
        for (const auto &[answer, question, expected] : rows) {
            person.list->selectRow(0);
            person.op.answers.push(answer);
            QTest::keyClick(person.list, Qt::Key_Delete);
            QCOMPARE(person.op.asked.last(), "Delete |Delete : " + question);
            QCOMPARE(person.names(), QString(expected));
        }
        QCOMPARE(person.op.told, QStringList{"Maillist Manager|You cannot delete this maillist, "
                                             "becase it is being used in other jobs !"});
        QCOMPARE(person.stored(), "1|Ann|Client");
        QVERIFY(QFile::exists(person.database(1)) && !QFile::exists(person.database(3)));
    }
};

QTEST_MAIN(TestListManager)
#include "tst_listmanager.moc"

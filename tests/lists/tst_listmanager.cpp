// The Maillist Manager, its two dialogs and the catalogue behind them, as a person uses them.

#include "frmmgrlist.h"
#include "listdialogs.h"

#include "fakes.h"
#include "testfiles.h"
#include "window.h"

#include <QComboBox>
#include <QFile>
#include <QHeaderView>

using namespace Qt::StringLiterals;

namespace
{

struct Person {
    TestFolder folder;
    ScriptedOperator op;
    QStringList called; ///< commands with what they were given
    std::function<void()> meanwhile = [] {};
    frmNewList newList{folder.folder(), op,
                       [this](qint64 id, const QString &name) { note("import", id, name); }};
    frmMgrList window{
        folder.folder(), op,
        ListCommands{
            .create = [this] { newList.createList(); },
            .import = [this](const MailList &l) { note("import", l.id, l.name); },
            .exportList = [this](const MailList &l) { note("export", l.id, l.name); },
            .merge = [this] { note("merge", 0); },
            .append = [this](const MailList *l) { note("append", l ? l->id : 0); },
            .browse = [this](const MailList &l, const QString &a) { note("browse", l.id, a); },
            .findJobs = [this](qint64 id) { note("jobs", id); }}};
    SortableList *list = child<SortableList>(window, "ListView1");

    /// Opens the window on these lists, each with one address.
    explicit Person(std::initializer_list<const char *> lists = {"Ann", "Bob", "Zoë"})
    {
        for (const TestText name : lists)
            folder.addList(name, {name + u"@Example.org"_s});
        open();
    }
    ~Person() { window.hide(); }
    void note(const char *command, qint64 listId, const QString &text = {})
    {
        called += u"%1 %2 %3"_s.arg(QLatin1String(command)).arg(listId).arg(text);
        meanwhile();
    }
    void open()
    {
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    /// Presses a button of the toolbar, and in the dialog that it opens fills the boxes and presses
    /// a button.
    void fill(
        const char *command, const TestText &name, const TestText &type, const char *button,
        const std::function<void(QDialog &)> &before = [](QDialog &) {})
    {
        const WhenShown<QDialog> person([&](QDialog &dialog) {
            QVERIFY(QTest::qWaitForWindowActive(&dialog));
            before(dialog);
            QTest::keyClick(dialog.focusWidget(), Qt::Key_Delete);
            QTest::keyClicks(dialog.focusWidget(), name); // in place of what is there
            child<QComboBox>(dialog, "Combo1")->setCurrentText(type);
            press(dialog, button);
            QCOMPARE(dialog.isVisible(), name.isEmpty() || type.isEmpty() || !op.told.isEmpty());
            dialog.close();
        });
        press(window, command);
    }
    QPoint place(int row) const { return list->visualRect(list->model()->index(row, 0)).center(); }
    QString selected() const
    {
        return list->selectedRow() < 0 ? QString() : list->row(list->selectedRow()).cells.first();
    }
    QString names() const
    {
        QStringList result;
        for (int row = 0; row < list->count(); ++row)
            result += list->row(row).cells.first();
        return result.join(u' ');
    }
    QStringList stored() const { return folder.rows("select listname, listtype from mlist"); }
    QString database(qint64 listId) const { return folder.folder().listDatabaseFile(listId); }
    void search(int mode, const TestText &text) const
    {
        child<QComboBox>(window, "combType")->setCurrentIndex(mode);
        type(window, "txtSearch", text);
        QTest::keyClick(child(window, "txtSearch"), Qt::Key_Return);
    }
};

const QString all = u"Zoë Bob Ann"_s;

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
            person.open();
            QCOMPARE(person.names() + u' ' + person.selected(), all + u" Zoë"_s);
            QTest::mouseClick(person.list->viewport(), Qt::LeftButton, {}, person.place(2));
            person.search(0, "b");
            QCOMPARE(person.names(), u"Bob"_s);
            person.window.close();
        }
        QCOMPARE(person.list->row(0).cells.join(u'|'), u"Bob|2||2026/03/09|0"_s);
        // A click on the header of the numbers sorts them ascending.
        person.open();
        QHeaderView *header = person.list->header();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          {header->sectionViewportPosition(1) + 10, header->height() / 2});
        QCOMPARE(person.names(), u"Ann Bob Zoë"_s);
        QVERIFY(person.list->actions().contains(child<QAction>(person.window, "Merge")));
    }

    void searches()
    {
        Person person;
        person.folder.execute("update mlist set listname='O''Brien', listtype='It''s' where "
                              "listid=2");
        person.folder.execute("update email set email='o''brien@x.org'", 2);
        const std::tuple<int, const char *, const char *> rows[] = {
            {0, "NN", "Ann"},      {0, "oË", "Zoë"},
            {0, "z_%", "Zoë"},     {0, "o'b", "O'Brien"},
            {1, "T'S", "O'Brien"}, {2, "O'BRIEN@", "O'Brien"},
            {2, "ann ", ""},       {2, "  ", "Zoë O'Brien Ann"},
            {0, "x", ""}};
        for (const auto &[mode, text, expected] : rows) {
            person.search(mode, text);
            QCOMPARE(person.names(), QString::fromUtf8(expected));
        }
        // A search for an address opens the browser on it.
        person.search(2, "ann");
        person.list->selectRow(0);
        QTest::keyClick(person.list, Qt::Key_Return);
        // The list that was selected is selected again, where it is among them.
        person.search(1, "");
        QCOMPARE(person.selected(), u"Ann"_s);
        QTest::mouseDClick(person.list->viewport(), Qt::LeftButton, {}, person.place(2));
        QCOMPARE(person.called, QStringList({u"browse 1 ann"_s, u"browse 1 "_s}));
        QCOMPARE(person.op.told, QStringList());
        // A list that cannot be read is told and left out; where none can be, none are shown.
        QFile::remove(person.database(2));
        person.search(2, "example");
        QCOMPARE(person.names(), u"Zoë Ann"_s);
        QVERIFY(person.op.told.takeLast().endsWith("m2.mdb does not exist."_L1));
        QFile::remove(person.folder.file("sys.mdb"));
        person.search(0, "");
        QCOMPARE(person.names(), QString());
        QVERIFY(person.op.told.takeLast().startsWith(u"Error|Error #  14 was generated by"_s));
    }

    void createsAndEdits()
    {
        Person person({"Ann", "Gone"});
        // The number of a list that is gone is used for no other, and a name may be used twice.
        person.folder.execute("update mlist set listtype='Press' where listid=1");
        person.folder.execute("delete from mlist where listid=2");
        for (const qint64 number : {3, 4}) {
            person.fill("New", "O'Brien", "Bob's", "Command3", [](QDialog &dialog) {
                const auto *types = child<QComboBox>(dialog, "Combo1");
                QCOMPARE(types->currentText() + types->itemText(6), u"CustomerPress"_s);
                QCOMPARE(child<QLineEdit>(dialog, "Text1")->text(), QString());
            });
            QCOMPARE(person.selected(), u"O'Brien"_s);
            QCOMPARE(person.list->row(0).number, number);
            QCOMPARE(person.folder.row("select count(*) from email", number), u"0"_s);
        }
        person.fill("New", "x", "y", "Command2"); // Cancel
        person.fill("New", "Leads", "Client", "cmdImport");
        QCOMPARE(person.called, QStringList{u"import 5 Leads"_s});
        person.fill("Properties", "It's", "new'", "Command3", [](QDialog &dialog) {
            const auto *types = child<QComboBox>(dialog, "Combo1");
            QCOMPARE(types->currentText() + types->itemText(1), u"ClientPartner"_s);
        });
        person.fill("Properties", "x", "y", "Command2");
        const QStringList expected{u"Ann|Press"_s, u"O'Brien|Bob's"_s, u"O'Brien|Bob's"_s,
                                   u"It's|new'"_s};
        QCOMPARE(person.stored(), expected);
        QCOMPARE(person.list->row(0).cells.mid(0, 3).join(u'|'), u"It's|5|new'"_s);
        // What is missing is told, and what could not be stored is not shown as if it were.
        for (const auto &[command, button] :
             {std::pair("New", "Command3"), {"New", "cmdImport"}, {"Properties", "Command3"}}) {
            person.fill(command, "", "Client", button);
            person.fill(command, "L", "", button);
            QCOMPARE(person.op.told.takeLast(), person.op.told.takeLast());
        }
        person.folder.refuse("update on mlist");
        QFile::remove(person.folder.file("mtemplate.mdb"));
        person.op.told += u"expected"_s;
        person.fill("New", "Leads", "Client", "Command3");
        QVERIFY(person.op.told.takeLast().startsWith(u"Error|New Maillist Error #  0 "_s));
        person.op.told.clear();
        person.fill("Properties", "x", "y", "Command3");
        QVERIFY(person.op.told.takeLast().endsWith("no room"_L1));
        QCOMPARE(person.selected(), u"It's"_s);
        QCOMPARE(person.stored(), expected);
    }

    void duplicates()
    {
        Person person({"Leads", "Other"});
        person.folder.execute("update email set status='F', remark='full'", 1);
        person.list->selectRow(1);
        press(person.window, "Copy");
        QCOMPARE(person.selected(), u"Copy of Leads"_s);
        QCOMPARE(person.list->row(0).cells.last(), u"1"_s);
        // Status and reason as well: the database is the same, byte for byte.
        QVERIFY(readFile(person.database(3)) == readFile(person.database(1)));
        QFile::remove(person.database(3));
        press(person.window, "Copy");
        QVERIFY(person.op.told.takeLast().endsWith("m3.mdb does not exist."_L1));
        QCOMPARE(person.stored().last(), u"Copy of Leads|Client"_s);
        QVERIFY(!QFile::exists(person.database(4)));
    }

    void deletes()
    {
        Person person;
        person.folder.addJob("J", 1, 1);
        QFile::remove(person.database(2));
        const std::tuple<int, bool, const char *, const char *> rows[] = {
            {0, false, "Zoë\n\nRecipients in the list: 1", "Zoë Bob Ann"},
            {0, true, "Zoë\n\nRecipients in the list: 1", "Bob Ann"},
            {0, true, "Bob\n\nRecipients in the list: unknown", "Ann"},
            {0, true, "Ann\n\nRecipients in the list: 1", "Ann"}}; // a job uses it
        for (const auto &[row, answer, question, expected] : rows) {
            person.list->selectRow(row);
            person.op.answers.push(answer);
            QTest::keyClick(person.list, Qt::Key_Delete);
            QCOMPARE(person.op.asked.last(), u"Delete |Delete : "_s + QString::fromUtf8(question));
            QCOMPARE(person.names(), QString::fromUtf8(expected));
        }
        QCOMPARE(person.op.told, QStringList{u"Maillist Manager|You cannot delete this maillist, "
                                             "becase it is being used in other jobs !"_s});
        QVERIFY(QFile::exists(person.database(1)) && !QFile::exists(person.database(3)));
        QCOMPARE(person.stored(), QStringList{u"Ann|Client"_s});
    }

    void leadsToOtherWindows()
    {
        const std::tuple<const char *, const char *, bool> rows[] = {
            {"Open", "import 1 Ann", true},      {"Export", "export 1 Ann", false},
            {"Merge", "merge 0 ", true},         {"Append", "append 1 ", true},
            {"View Details", "browse 1 ", true}, {"Search", "jobs 1 ", false}};
        Person none({});
        for (const auto &[command, expected, refreshes] : rows) {
            Person person({"Ann", "Bob"});
            person.list->selectRow(1);
            person.meanwhile = [&] { person.folder.execute("update mlist set rec_count=7"); };
            press(person.window, command);
            QCOMPARE(person.called, QStringList{QLatin1String(expected)});
            QCOMPARE(person.list->row(1).cells.last(), refreshes ? u"7"_s : u"0"_s);
            QCOMPARE(person.selected(), u"Ann"_s);
            press(none.window, command);
        }
        QCOMPARE(none.called, (QStringList{u"merge 0 "_s, u"append 0 "_s}));
    }
};

QTEST_MAIN(TestListManager)
#include "tst_listmanager.moc"

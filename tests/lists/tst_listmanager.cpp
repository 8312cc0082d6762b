#include "frmmgrlist.h"
#include "frmnewlist.h"

#include "connection.h"
#include "fakes.h"
#include "sortablelist.h"
#include "testfiles.h"
#include "testfolder.h"
#include "window.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolBar>

using namespace Qt::StringLiterals;

/// The Maillist Manager, its two dialogs and the catalogue behind them, as a person uses them.
class TestListManager final : public QObject
{
    Q_OBJECT

private slots:
    void opensOnTheNewestList();
    void columns();
    void searches_data();
    void searches();
    void addressSearchOpensTheBrowserOnIt();
    void searchesThatFail();
    void createsLists();
    void dialogsNeedNameAndType();
    void offersTheTypesInUse();
    void listWithoutTemplateLeavesNoRow();
    void duplicates();
    void duplicateOfAMissingDatabase();
    void edits();
    void deletes_data();
    void deletes();
    void leadsToOtherWindows_data();
    void leadsToOtherWindows();
    void worksWithoutLists();
};

namespace
{

/// What the dialogs hold.
QLineEdit *nameOf(const QDialog &dialog)
{
    return child<QLineEdit>(dialog, "Text1");
}
QComboBox *typeOf(const QDialog &dialog)
{
    return child<QComboBox>(dialog, "Combo1");
}
void click(const QDialog &dialog, const char *button)
{
    QTest::mouseClick(child<QPushButton>(dialog, button), Qt::LeftButton);
}

struct Person {
    TestFolder folder;
    ScriptedOperator op;
    QStringList called; ///< commands with what they were given
    std::function<void()> meanwhile = [] {};
    frmNewList newList{folder.folder(), op, [this](qint64 listId, const QString &name) {
                           called += u"import %1 %2"_s.arg(listId).arg(name);
                       }};
    frmMgrList window{folder.folder(), op, commands()};
    SortableList *list = child<SortableList>(window, "ListView1");

    /// Opens the window on these lists, each with one address.
    explicit Person(std::initializer_list<const char *> lists = {})
    {
        for (const char *name : lists)
            addList(name);
        open();
    }
    ~Person() { window.hide(); }
    ListCommands commands()
    {
        const auto note = [this](const char *command, qint64 listId, const QString &text = {}) {
            called += u"%1 %2 %3"_s.arg(QLatin1String(command)).arg(listId).arg(text);
            meanwhile();
        };
        return {.create = [this] { newList.createList(); },
                .import = [note](const MailList &l) { note("import", l.id, l.name); },
                .exportList = [note](const MailList &l) { note("export", l.id, l.name); },
                .merge = [note] { note("merge", 0); },
                .append = [note](const MailList *l) { note("append", l ? l->id : 0); },
                .browse = [note](const MailList &l,
                                 const QString &address) { note("browse", l.id, address); },
                .findJobs = [note](qint64 listId) { note("jobs", listId); }};
    }
    void addList(const TestText &name) const { folder.addList(name, {name + u"@Example.org"_s}); }
    void open()
    {
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    void press(const char *key) const
    {
        QTest::mouseClick(
            window.findChild<QToolBar *>()->widgetForAction(child<QAction>(window, key)),
            Qt::LeftButton);
    }
    /// Presses a button of the toolbar, and does `steps` in the dialog that it opens.
    void inDialog(const char *key, const std::function<void(QDialog &)> &steps)
    {
        const WhenShown<QDialog> person([&](QDialog &dialog) {
            QVERIFY(QTest::qWaitForWindowActive(&dialog));
            steps(dialog);
            dialog.close();
        });
        press(key);
    }
    QPoint place(int row) const { return list->visualRect(list->model()->index(row, 0)).center(); }
    void select(const TestText &name) const
    {
        for (int row = 0; row < list->count(); ++row) {
            if (list->row(row).cells.first() == name)
                QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place(row));
        }
        QCOMPARE(selected(), QString(name));
    }
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
    QStringList stored() const
    {
        return folder.rows("select listid, listname, listtype from mlist order by listid");
    }
    QString database(qint64 listId) const { return folder.folder().listDatabaseFile(listId); }
    void search(int mode, const TestText &text) const
    {
        child<QComboBox>(window, "combType")->setCurrentIndex(mode);
        auto *box = child<QLineEdit>(window, "txtSearch");
        box->setFocus();
        box->setText(text);
        QTest::keyClick(box, Qt::Key_Return);
    }
    /// The one message there was; joined, where there were others.
    QString told() const { return op.told.join(u'\n'); }
};

} // namespace

void TestListManager::opensOnTheNewestList()
{
    Person person({"Ann", "Bob", "Zoe"});
    for (int time = 0; time < 2; ++time) {
        person.open();
        // Nobody has set the columns' widths, so that they go with the window's.
        person.window.resize(800 + 200 * time, 500);
        QCOMPARE(person.list->columnWidth(0), person.list->viewport()->width() * 2 / 5);
        QCOMPARE(person.names(), u"Zoe Bob Ann"_s);
        QCOMPARE(person.selected(), u"Zoe"_s);
        // The next use begins anew, whatever this one ended with.
        person.select("Ann");
        person.search(0, "b");
        QCOMPARE(person.names(), u"Bob"_s);
        person.window.close();
    }
    // A click on the header of the numbers sorts them ascending.
    person.open();
    QHeaderView *header = person.list->header();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      {header->sectionViewportPosition(1) + 10, header->height() / 2});
    QCOMPARE(person.names(), u"Ann Bob Zoe"_s);
}

void TestListManager::columns()
{
    Person person({"Ann"});
    person.folder.execute("update mlist set create_time='2026-03-09', rec_count=5, listtype=null");
    person.search(0, "");
    QStringList headers;
    for (int i = 0; i < person.list->model()->columnCount(); ++i)
        headers += person.list->model()->headerData(i, Qt::Horizontal).toString();
    QCOMPARE(headers.join(u'|'), u"List Name|List ID|Type|Create Time|Count"_s);
    QCOMPARE(person.list->row(0).cells.join(u'|'), u"Ann|1||2026/03/09|5"_s);
}

void TestListManager::searches_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, int mode, const char *text, const char *expected) {
        QTest::newRow(name) << mode << QString::fromUtf8(text) << QString::fromUtf8(expected);
    };
    row("name, any case", 0, "NN", "Ann");
    row("name, letters beyond z", 0, "ünÏ", "Ünï");
    row("name, any letters", 0, "b_%", "Bob");
    row("type, any case", 1, "cust", "Bob");
    row("address, any case", 2, "bob@eXample", "Bob");
    row("address and a blank", 2, "bob ", "");
    row("empty text", 1, "", "Ünï Bob Ann");
    row("blanks for an address", 2, "  ", "Ünï Bob Ann");
    row("nothing found", 0, "x", "");
}

void TestListManager::searches()
{
    QFETCH(int, mode);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    Person person({"Ann", "Bob", "Ünï"});
    person.folder.execute("update mlist set listtype='Customer' where listid=2");
    person.select("Bob");
    person.search(mode, text);
    QCOMPARE(person.names(), expected);
    // The list that was selected is selected again, where it is among them.
    QCOMPARE(person.selected(), expected.contains("Bob"_L1) ? u"Bob"_s : QString());
    QCOMPARE(person.told(), QString());
}

void TestListManager::addressSearchOpensTheBrowserOnIt()
{
    Person person({"Ann", "Bob"});
    person.search(2, "bob");
    person.select("Bob");
    person.press("View Details");
    person.search(0, "Bob");
    QTest::keyClick(person.list, Qt::Key_Return);
    person.select("Bob");
    QTest::mouseDClick(person.list->viewport(), Qt::LeftButton, {}, person.place(0));
    QCOMPARE(person.called, QStringList({u"browse 2 bob"_s, u"browse 2 "_s, u"browse 2 "_s}));
}

void TestListManager::searchesThatFail()
{
    Person person({"Ann", "Bob", "Zoe"});
    person.search(0, "O'Brien");
    QCOMPARE(person.told(), u"Error|Error #  1 was generated by SQLite\rnear "
                            "\"BRIEN\": syntax error"_s);
    QCOMPARE(person.names(), u"Zoe Bob Ann"_s);
    QCOMPARE(person.selected(), u"Zoe"_s);
    // A list that cannot be read is told and left out.
    QFile::remove(person.database(2));
    person.search(2, "example");
    QCOMPARE(person.names(), u"Zoe Ann"_s);
    QCOMPARE(person.op.told.size(), 2);
    QVERIFY(person.op.told.last().startsWith(u'|'));
    QVERIFY(person.op.told.last().endsWith("m2.mdb does not exist."_L1));
}

void TestListManager::createsLists()
{
    Person person({"Ann"});
    // The number of a list that is gone is used for no other, and a name may be used twice.
    person.addList("Gone");
    person.folder.execute("delete from mlist where listname='Gone'");
    for (const int number : {3, 4}) {
        person.inDialog("New", [](QDialog &dialog) {
            QCOMPARE(dialog.windowTitle(), u"New Maillist"_s);
            QCOMPARE(nameOf(dialog)->text(), QString()); // what was typed before is not offered
            QCOMPARE(typeOf(dialog)->currentText(), u"Customer"_s);
            QTest::keyClicks(nameOf(dialog), u"O'Brien"_s);
            typeOf(dialog)->setCurrentText(u"Bob's friends"_s);
            QTest::keyClick(nameOf(dialog), Qt::Key_Return);
            QVERIFY(!dialog.isVisible());
        });
        QCOMPARE(person.selected(), u"O'Brien"_s);
        QCOMPARE(person.stored().last(), u"%1|O'Brien|Bob's friends"_s.arg(number));
        QCOMPARE(person.folder.row("select count(*) from email", number), u"0"_s);
    }
    person.inDialog("New", [](QDialog &dialog) {
        QTest::keyClicks(nameOf(dialog), u"x"_s);
        click(dialog, "Command2"); // Cancel
    });
    QCOMPARE(person.stored().size(), 3);
    person.inDialog("New", [](QDialog &dialog) {
        QTest::keyClicks(nameOf(dialog), u"Leads"_s);
        click(dialog, "cmdImport");
        QVERIFY(!dialog.isVisible());
    });
    QCOMPARE(person.called, QStringList{u"import 5 Leads"_s});
    QCOMPARE(person.selected(), u"Leads"_s);
}

void TestListManager::dialogsNeedNameAndType()
{
    Person person({"Ann"});
    const QStringList before = person.stored();
    const auto refuses = [&](const char *key, const TestText &name, const TestText &type,
                             const char *button, const TestText &title) {
        person.op.told.clear();
        person.inDialog(key, [&](QDialog &dialog) {
            nameOf(dialog)->setText(name);
            typeOf(dialog)->setCurrentText(type);
            click(dialog, button);
            QVERIFY(dialog.isVisible());
            QCOMPARE(nameOf(dialog)->text(), QString(name));
        });
        QCOMPARE(person.told(), title + u"|ListName and ListType cannot be empty !"_s);
        QCOMPARE(person.stored(), before);
        QCOMPARE(person.called, QStringList());
    };
    refuses("New", "", "Client", "Command3", "New Mailist");
    refuses("New", "L", "", "Command3", "New Mailist");
    refuses("New", "", "", "cmdImport", "New Mailist");
    refuses("Properties", "", "Client", "Command3", "Edit Mailist");
    refuses("Properties", "L", "", "Command3", "Edit Mailist");
}

void TestListManager::offersTheTypesInUse()
{
    Person person({"Ann", "Bob", "Nun", "Zoe"});
    person.folder.execute("update mlist set listtype='customer' where listid=2");
    person.folder.execute("update mlist set listtype=null where listid=3");
    person.folder.execute("update mlist set listtype='Press' where listid=4");
    person.search(0, "");
    const auto types = [](const QDialog &dialog) {
        QStringList texts;
        for (int i = 0; i < typeOf(dialog)->count(); ++i)
            texts += typeOf(dialog)->itemText(i);
        return texts.join(u' ');
    };
    for (int time = 0; time < 2; ++time) {
        person.inDialog("New", [&](QDialog &dialog) {
            QCOMPARE(types(dialog),
                     u"Client Customer Friends Internal Other Partner Press customer"_s);
        });
    }
    person.inDialog("Properties", [&](QDialog &dialog) {
        QCOMPARE(types(dialog), u"Client Partner Friends Internal Other"_s);
        QCOMPARE(typeOf(dialog)->currentText(), u"Press"_s);
    });
}

void TestListManager::listWithoutTemplateLeavesNoRow()
{
    Person person;
    QFile::remove(person.folder.file("mtemplate.mdb"));
    person.inDialog("New", [&](QDialog &dialog) {
        QTest::keyClicks(nameOf(dialog), u"Leads"_s);
        click(dialog, "Command3");
        QVERIFY(dialog.isVisible());
        QCOMPARE(nameOf(dialog)->text(), u"Leads"_s);
    });
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.told().startsWith(
        "Error|New Maillist Error #  0 was generated by File system\rCannot read"_L1));
    QCOMPARE(person.stored(), QStringList());
    QVERIFY(!QFile::exists(person.database(1)));
}

void TestListManager::duplicates()
{
    Person person({"Leads", "Other"});
    person.folder.execute("update email set status='F', remark='full'", 1);
    person.select("Leads");
    person.press("Copy");
    QCOMPARE(person.selected(), u"Copy of Leads"_s);
    QCOMPARE(person.stored().last(), u"3|Copy of Leads|Client"_s);
    QCOMPARE(person.list->row(person.list->selectedRow()).cells.last(), u"1"_s);
    // Status and reason as well: the database is the same, byte for byte.
    QVERIFY(QFile::exists(person.database(3)));
    QVERIFY(readFile(person.database(3)) == readFile(person.database(1)));
}

void TestListManager::duplicateOfAMissingDatabase()
{
    Person person({"Leads"});
    QFile::remove(person.database(1));
    person.press("Copy");
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.told().endsWith("m1.mdb does not exist."_L1));
    QCOMPARE(person.names(), u"Leads"_s);
    QCOMPARE(person.stored().size(), 1);
    QVERIFY(!QFile::exists(person.database(2)));
}

void TestListManager::edits()
{
    Person person({"Ann", "Bob"});
    person.select("Ann");
    const QString select = u"select listname, listtype, update_time=date(), rec_count from mlist"_s;
    person.inDialog("Properties", [](QDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), u"Edit Maillist"_s);
        // The name is selected: typing replaces it.
        QTest::keyClicks(nameOf(dialog), u"O'Neil"_s);
        typeOf(dialog)->setCurrentText(u"Bob's"_s);
        click(dialog, "Command3");
    });
    const QStringList edited{u"O'Neil|Bob's|1|0"_s, u"Bob|Client|null|0"_s};
    QCOMPARE(person.folder.rows(select), edited);
    QCOMPARE(person.list->row(1).cells.mid(0, 3).join(u'|'), u"O'Neil|1|Bob's"_s);
    QCOMPARE(person.selected(), u"O'Neil"_s);
    // What was cancelled is not stored, and what could not be stored is not shown as if it were.
    person.folder.refuse("update on mlist");
    for (const char *button : {"Command2", "Command3"}) {
        QCOMPARE(person.told(), QString());
        person.inDialog("Properties", [button](QDialog &dialog) {
            QTest::keyClicks(nameOf(dialog), u"x"_s);
            click(dialog, button);
        });
        QCOMPARE(person.folder.rows(select), edited);
        QCOMPARE(person.selected(), u"O'Neil"_s);
    }
    QVERIFY(person.told().endsWith("no room"_L1));
}

void TestListManager::deletes_data()
{
    QTest::addColumn<bool>("answer");
    QTest::addColumn<bool>("hasFile");
    QTest::addColumn<bool>("isUsed");
    QTest::newRow("yes") << true << true << false;
    QTest::newRow("no") << false << true << false;
    QTest::newRow("without a database") << true << false << false;
    QTest::newRow("used by a job") << true << true << true;
}

void TestListManager::deletes()
{
    QFETCH(bool, answer);
    QFETCH(bool, hasFile);
    QFETCH(bool, isUsed);
    Person person({"Ann", "Bob", "Zoe"});
    person.folder.addJob("J", isUsed ? 2 : 1, 1);
    if (!hasFile)
        QFile::remove(person.database(2));
    person.select("Bob");
    person.op.answers.push(answer);
    QTest::keyClick(person.list, Qt::Key_Delete);
    QCOMPARE(person.op.asked, QStringList{u"Delete |Delete : Bob"_s});
    const bool isGone = answer && !isUsed;
    QCOMPARE(person.names(), isGone ? u"Zoe Ann"_s : u"Zoe Bob Ann"_s);
    QCOMPARE(person.stored().size(), isGone ? 2 : 3);
    QCOMPARE(QFile::exists(person.database(2)), !isGone);
    QCOMPARE(person.told(), isUsed ? u"Maillist Manager|You cannot delete this maillist, becase "
                                     "it is being used in other jobs !"_s
                                   : QString());
}

void TestListManager::leadsToOtherWindows_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("refreshes");
    QTest::newRow("import") << QByteArray("Open") << "import 1 Ann" << true;
    QTest::newRow("export") << QByteArray("Export") << "export 1 Ann" << false;
    QTest::newRow("merge") << QByteArray("Merge") << "merge 0 " << true;
    QTest::newRow("append") << QByteArray("Append") << "append 1 " << true;
    QTest::newRow("browse") << QByteArray("View Details") << "browse 1 " << true;
    QTest::newRow("jobs") << QByteArray("Search") << "jobs 1 " << false;
}

void TestListManager::leadsToOtherWindows()
{
    QFETCH(QByteArray, key);
    QFETCH(QString, expected);
    QFETCH(bool, refreshes);
    Person person({"Ann", "Bob"});
    person.select("Ann");
    person.meanwhile = [&] { person.folder.execute("update mlist set rec_count=7"); };
    person.press(key.constData());
    QCOMPARE(person.called, QStringList{expected});
    QCOMPARE(person.list->row(1).cells.last(), refreshes ? u"7"_s : u"0"_s);
    QCOMPARE(person.selected(), u"Ann"_s);
}

void TestListManager::worksWithoutLists()
{
    Person person;
    for (const char *key :
         {"Copy", "Properties", "Delete", "Open", "Export", "View Details", "Search"})
        person.press(key);
    QTest::keyClick(person.list, Qt::Key_Return);
    QCOMPARE(person.called, QStringList());
    person.press("Append");
    QCOMPARE(person.called, QStringList{u"append 0 "_s});
    // A new list is selected after a command that made it.
    person.meanwhile = [&] { person.addList("Merged"); };
    person.press("Merge");
    QCOMPARE(person.selected(), u"Merged"_s);
    person.press("Merge");
    QCOMPARE(person.list->row(person.list->selectedRow()).number, 2);
}

QTEST_MAIN(TestListManager)
#include "tst_listmanager.moc"

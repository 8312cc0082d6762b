#include "frmmgrlist.h"
#include "frmnewlist.h"

#include "connection.h"
#include "fakes.h"
#include "sortablelist.h"
#include "testfolder.h"

#include <QComboBox>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

/// The Maillist Manager and its two dialogs, as a person uses them.
class TestListManager final : public QObject
{
    Q_OBJECT

private slots:
    void opensOnTheNewestList();
    void toolbarAndColumns();
    void searches_data();
    void searches();
    void addressSearchOpensTheBrowserOnIt();
    void unreadableListIsToldAndLeftOut();
    void brokenSearchKeepsTheRows();
    void createsAList();
    void createsAListAndImports();
    void dialogChecks_data();
    void dialogChecks();
    void offersTheTypesInUse();
    void listWithoutTemplateLeavesNoRow();
    void duplicates();
    void duplicateOfAMissingDatabase();
    void edits();
    void deletes_data();
    void deletes();
    void usedListStays();
    void leadsToOtherWindows_data();
    void leadsToOtherWindows();
    void newListIsSelectedAfterACommand();
    void nothingHappensWithoutLists();
};

namespace
{

struct Person {
    TestFolder folder;
    ScriptedOperator op;
    QStringList called; ///< commands with what they were given
    std::function<void()> meanwhile = [] {};
    frmNewList newList{folder.folder(), op, [this](qint64 listId, const QString &name) {
                           called += QStringLiteral("import %1 %2").arg(listId).arg(name);
                       }};
    frmMgrList window{folder.folder(), op, commands()};
    SortableList *list = window.findChild<SortableList *>(QStringLiteral("ListView1"));

    ~Person() { window.hide(); }
    ListCommands commands()
    {
        const auto note = [this](const char *command, qint64 listId, const QString &text = {}) {
            called += QStringLiteral("%1 %2 %3").arg(QLatin1String(command)).arg(listId).arg(text);
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
    void addLists(const QStringList &names)
    {
        for (const QString &name : names)
            folder.addList(name, {name + QStringLiteral("@Example.org")});
    }
    void open()
    {
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    void press(const char *key) const
    {
        auto *action = window.findChild<QAction *>(QString::fromLatin1(key));
        QTest::mouseClick(window.findChild<QToolBar *>()->widgetForAction(action), Qt::LeftButton);
    }
    /// Presses a button of the toolbar, and does `steps` in the dialog that it opens.
    void inDialog(const char *key, const std::function<void(QDialog &)> &steps)
    {
        bool wasOpen = false;
        QTimer::singleShot(0, &window, [&] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            wasOpen = dialog && QTest::qWaitForWindowActive(dialog);
            if (!wasOpen)
                return;
            steps(*dialog);
            dialog->close();
        });
        press(key);
        QVERIFY(wasOpen);
    }
    void select(const QString &name) const
    {
        for (int row = 0; row < list->count(); ++row) {
            if (list->row(row).cells.first() == name)
                QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                                  list->visualRect(list->model()->index(row, 0)).center());
        }
        QCOMPARE(selected(), name);
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
        return folder.rows(
            QStringLiteral("select listid, listname, listtype from mlist order by listid"));
    }
    void search(int mode, const QString &text) const
    {
        window.findChild<QComboBox *>(QStringLiteral("combType"))->setCurrentIndex(mode);
        auto *box = window.findChild<QLineEdit *>(QStringLiteral("txtSearch"));
        box->setFocus();
        box->setText(text);
        QTest::keyClick(box, Qt::Key_Return);
    }
};

template <typename T>
T *child(const QDialog &dialog, const char *name)
{
    T *found = dialog.findChild<T *>(QString::fromLatin1(name));
    Q_ASSERT(found);
    return found;
}

void click(const QDialog &dialog, const char *button)
{
    QTest::mouseClick(child<QPushButton>(dialog, button), Qt::LeftButton);
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(u' ');
}

} // namespace

void TestListManager::opensOnTheNewestList()
{
    Person person;
    person.addLists(words("Ann Bob Zoe"));
    for (int time = 0; time < 2; ++time) {
        person.open();
        // Nobody has set the columns' widths, so that they go with the window's.
        person.window.resize(800 + 200 * time, 500);
        QCOMPARE(person.list->columnWidth(0), person.list->viewport()->width() * 2 / 5);
        QCOMPARE(person.names(), QStringLiteral("Zoe Bob Ann"));
        QCOMPARE(person.selected(), QStringLiteral("Zoe"));
        // The next use begins anew, whatever this one ended with.
        person.select(QStringLiteral("Ann"));
        person.search(0, QStringLiteral("b"));
        QCOMPARE(person.names(), QStringLiteral("Bob"));
        person.window.close();
    }
    // A click on the header of the numbers sorts them ascending.
    person.open();
    QHeaderView *header = person.list->header();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      {header->sectionViewportPosition(1) + 10, header->height() / 2});
    QCOMPARE(person.names(), QStringLiteral("Ann Bob Zoe"));
}

void TestListManager::toolbarAndColumns()
{
    Person person;
    person.folder.addList(QStringLiteral("Ann"), {});
    person.folder.execute(QStringLiteral("update mlist set create_time='2026-03-09', rec_count=5"));
    person.open();
    QStringList buttons;
    for (const QAction *action : person.window.findChild<QToolBar *>()->actions()) {
        if (!action->isSeparator())
            buttons += action->objectName() + u'/' + action->text() + u'/' + action->toolTip();
    }
    QCOMPARE(buttons.join(u'\n'),
             QStringLiteral("New/New/New Maillist\nCopy/Dup/Duplicate Maillist\n"
                            "Properties/Edit/Edit Maillist\nDelete/Delete/Delete Maillist\n"
                            "Open/Import/Import Email\nExport/Export/Export Maillist\n"
                            "Merge/Merge/Merge Maillists\nAppend/Append/Append Emails to Maillist\n"
                            "View Details/Browse/Browse Email\n"
                            "Search/Search/Search Jobs using the selected maillist"));
    QStringList headers;
    for (int i = 0; i < person.list->model()->columnCount(); ++i)
        headers += person.list->model()->headerData(i, Qt::Horizontal).toString();
    QCOMPARE(headers.join(u'|'), QStringLiteral("List Name|List ID|Type|Create Time|Count"));
    QCOMPARE(person.list->row(0).cells.join(u'|'), QStringLiteral("Ann|1|Client|2026/03/09|5"));
}

void TestListManager::searches_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("name, any case") << 0 << "NN"
                                    << "Ann";
    QTest::newRow("type, any case") << 1 << "cust"
                                    << "Bob";
    QTest::newRow("address, any case") << 2 << "bob@eXample"
                                       << "Bob";
    QTest::newRow("empty text") << 1 << ""
                                << "Zoe Bob Ann";
    QTest::newRow("blanks for an address") << 2 << "  "
                                           << "Zoe Bob Ann";
    QTest::newRow("nothing found") << 0 << "x"
                                   << "";
}

void TestListManager::searches()
{
    QFETCH(int, mode);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    Person person;
    person.addLists(words("Ann Bob Zoe"));
    person.folder.execute(QStringLiteral("update mlist set listtype='Customer' where listid=2"));
    person.open();
    person.select(QStringLiteral("Bob"));
    person.search(mode, text);
    QCOMPARE(person.names(), expected);
    // The list that was selected is selected again, where it is among them.
    QCOMPARE(person.selected(),
             expected.contains(QLatin1String("Bob")) ? QStringLiteral("Bob") : QString());
}

void TestListManager::addressSearchOpensTheBrowserOnIt()
{
    Person person;
    person.addLists(words("Ann Bob"));
    person.open();
    person.search(2, QStringLiteral("bob "));
    QCOMPARE(person.names(), QString()); // the blank is looked for as well
    person.search(2, QStringLiteral("bob"));
    person.select(QStringLiteral("Bob"));
    person.press("View Details");
    person.search(0, QStringLiteral("Bob"));
    QTest::keyClick(person.list, Qt::Key_Return);
    person.select(QStringLiteral("Bob"));
    QTest::mouseDClick(person.list->viewport(), Qt::LeftButton, {},
                       person.list->visualRect(person.list->model()->index(0, 0)).center());
    QCOMPARE(person.called,
             QStringList({QStringLiteral("browse 2 bob"), QStringLiteral("browse 2 "),
                          QStringLiteral("browse 2 ")}));
}

void TestListManager::unreadableListIsToldAndLeftOut()
{
    Person person;
    person.addLists(words("Ann Bob Zoe"));
    QFile::remove(person.folder.folder().listDatabaseFile(2));
    person.open();
    person.search(2, QStringLiteral("example"));
    QCOMPARE(person.names(), QStringLiteral("Zoe Ann"));
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(u'|'));
    QVERIFY(person.op.told.first().endsWith(QLatin1String("m2.mdb does not exist.")));
}

void TestListManager::brokenSearchKeepsTheRows()
{
    Person person;
    person.addLists(words("Ann Bob"));
    person.open();
    person.search(0, QStringLiteral("O'Brien"));
    QCOMPARE(person.op.told,
             QStringList{QStringLiteral("Error|Error #  1 was generated by SQLite\rnear "
                                        "\"BRIEN\": syntax error")});
    QCOMPARE(person.names(), QStringLiteral("Bob Ann"));
    QCOMPARE(person.selected(), QStringLiteral("Bob"));
}

void TestListManager::createsAList()
{
    Person person;
    person.addLists(words("Ann"));
    person.open();
    person.inDialog("New", [](QDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), QStringLiteral("New Maillist"));
        QCOMPARE(child<QComboBox>(dialog, "Combo1")->currentText(), QStringLiteral("Customer"));
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("O'Brien"));
        child<QComboBox>(dialog, "Combo1")->setCurrentText(QStringLiteral("Bob's friends"));
        QTest::keyClick(child<QLineEdit>(dialog, "Text1"), Qt::Key_Return);
        QVERIFY(!dialog.isVisible());
    });
    QCOMPARE(person.selected(), QStringLiteral("O'Brien"));
    QCOMPARE(person.stored().last(), QStringLiteral("2|O'Brien|Bob's friends"));
    QCOMPARE(person.folder.rows(QStringLiteral("select count(*) from email"), 2),
             QStringList{QStringLiteral("0")});
    // Cancelled, it makes nothing; what was typed before is not offered again.
    person.inDialog("New", [](QDialog &dialog) {
        QCOMPARE(child<QLineEdit>(dialog, "Text1")->text(), QString());
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("x"));
        click(dialog, "Command2");
    });
    QCOMPARE(person.stored().size(), 2);
    QCOMPARE(person.selected(), QStringLiteral("O'Brien"));
}

void TestListManager::createsAListAndImports()
{
    Person person;
    person.open();
    person.inDialog("New", [](QDialog &dialog) {
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("Leads"));
        click(dialog, "cmdImport");
        QVERIFY(!dialog.isVisible());
    });
    QCOMPARE(person.called, QStringList{QStringLiteral("import 1 Leads")});
    QCOMPARE(person.selected(), QStringLiteral("Leads"));
}

void TestListManager::dialogChecks_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QString>("title");
    const QString newTitle = QStringLiteral("New Mailist");
    const QString editTitle = QStringLiteral("Edit Mailist");
    QTest::newRow("new, no name") << QByteArray("New") << ""
                                  << "Client" << QByteArray("Command3") << newTitle;
    QTest::newRow("new, no type") << QByteArray("New") << "L"
                                  << "" << QByteArray("Command3") << newTitle;
    QTest::newRow("import") << QByteArray("New") << ""
                            << "" << QByteArray("cmdImport") << newTitle;
    QTest::newRow("edit, no name") << QByteArray("Properties") << ""
                                   << "Client" << QByteArray("Command3") << editTitle;
    QTest::newRow("edit, no type") << QByteArray("Properties") << "L"
                                   << "" << QByteArray("Command3") << editTitle;
}

void TestListManager::dialogChecks()
{
    QFETCH(QByteArray, key);
    QFETCH(QString, name);
    QFETCH(QString, type);
    QFETCH(QByteArray, button);
    QFETCH(QString, title);
    Person person;
    person.addLists(words("Ann"));
    person.open();
    const QStringList before = person.stored();
    person.inDialog(key.constData(), [&](QDialog &dialog) {
        child<QLineEdit>(dialog, "Text1")->setText(name);
        child<QComboBox>(dialog, "Combo1")->setCurrentText(type);
        click(dialog, button.constData());
        QVERIFY(dialog.isVisible());
        QCOMPARE(child<QLineEdit>(dialog, "Text1")->text(), name);
    });
    QCOMPARE(person.op.told,
             QStringList{title + QStringLiteral("|ListName and ListType cannot be empty !")});
    QCOMPARE(person.stored(), before);
    QCOMPARE(person.called, QStringList());
}

void TestListManager::offersTheTypesInUse()
{
    Person person;
    person.addLists(words("Ann Bob Zoe"));
    person.folder.execute(QStringLiteral("update mlist set listtype='customer' where listid=2"));
    person.folder.execute(QStringLiteral("update mlist set listtype='Press' where listid=3"));
    person.open();
    const auto types = [](const QDialog &dialog) {
        QStringList texts;
        const auto *box = child<QComboBox>(dialog, "Combo1");
        for (int i = 0; i < box->count(); ++i)
            texts += box->itemText(i);
        return texts.join(u' ');
    };
    for (int time = 0; time < 2; ++time) {
        person.inDialog("New", [&](QDialog &dialog) {
            QCOMPARE(types(dialog), QStringLiteral("Client Customer Friends Internal Other Partner "
                                                   "Press customer"));
        });
    }
    person.inDialog("Properties", [&](QDialog &dialog) {
        QCOMPARE(types(dialog), QStringLiteral("Client Partner Friends Internal Other"));
        QCOMPARE(child<QComboBox>(dialog, "Combo1")->currentText(), QStringLiteral("Press"));
    });
}

void TestListManager::listWithoutTemplateLeavesNoRow()
{
    Person person;
    QFile::remove(person.folder.file(QStringLiteral("mtemplate.mdb")));
    person.open();
    person.inDialog("New", [&](QDialog &dialog) {
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("Leads"));
        click(dialog, "Command3");
        QVERIFY(dialog.isVisible());
        QCOMPARE(child<QLineEdit>(dialog, "Text1")->text(), QStringLiteral("Leads"));
    });
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(
        QLatin1String("Error|New Maillist Error #  0 was generated by File system\rCannot read")));
    QCOMPARE(person.stored(), QStringList());
}

void TestListManager::duplicates()
{
    Person person;
    person.addLists(words("Leads Other"));
    person.folder.execute(QStringLiteral("update email set status='F', remark='full'"), 1);
    person.open();
    person.select(QStringLiteral("Leads"));
    person.press("Copy");
    QCOMPARE(person.selected(), QStringLiteral("Copy of Leads"));
    QCOMPARE(person.stored().last(), QStringLiteral("3|Copy of Leads|Client"));
    QCOMPARE(person.list->row(person.list->selectedRow()).cells.last(), QStringLiteral("1"));
    // Status and reason as well: the database is the same, byte for byte.
    const auto content = [&](qint64 list) {
        QFile file(person.folder.folder().listDatabaseFile(list));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QVERIFY(!content(1).isEmpty());
    QVERIFY(content(3) == content(1));
}

void TestListManager::duplicateOfAMissingDatabase()
{
    Person person;
    person.addLists(words("Leads"));
    QFile::remove(person.folder.folder().listDatabaseFile(1));
    person.open();
    person.press("Copy");
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().endsWith(QLatin1String("does not exist.")));
    QCOMPARE(person.names(), QStringLiteral("Leads"));
}

void TestListManager::edits()
{
    Person person;
    person.addLists(words("Ann Bob"));
    person.open();
    person.select(QStringLiteral("Ann"));
    person.inDialog("Properties", [](QDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Edit Maillist"));
        // The name is selected: typing replaces it.
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("O'Neil"));
        child<QComboBox>(dialog, "Combo1")->setCurrentText(QStringLiteral("Friends"));
        click(dialog, "Command3");
    });
    QCOMPARE(person.stored().first(), QStringLiteral("1|O'Neil|Friends"));
    QCOMPARE(person.list->row(1).cells.mid(0, 3).join(u'|'), QStringLiteral("O'Neil|1|Friends"));
    QCOMPARE(person.selected(), QStringLiteral("O'Neil"));
    person.inDialog("Properties", [](QDialog &dialog) {
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("x"));
        click(dialog, "Command2");
    });
    QCOMPARE(person.stored().first(), QStringLiteral("1|O'Neil|Friends"));
    // What could not be stored is not shown as if it were.
    person.folder.execute(QStringLiteral("create trigger t before update on mlist begin select "
                                         "raise(abort, 'The disk is full.'); end"));
    person.inDialog("Properties", [](QDialog &dialog) {
        QTest::keyClicks(child<QLineEdit>(dialog, "Text1"), QStringLiteral("x"));
        click(dialog, "Command3");
    });
    QCOMPARE(person.selected(), QStringLiteral("O'Neil"));
    QCOMPARE(person.op.told.size(), 1);
}

void TestListManager::deletes_data()
{
    QTest::addColumn<bool>("answer");
    QTest::addColumn<bool>("hasFile");
    QTest::newRow("yes") << true << true;
    QTest::newRow("no") << false << true;
    QTest::newRow("without a database") << true << false;
}

void TestListManager::deletes()
{
    QFETCH(bool, answer);
    QFETCH(bool, hasFile);
    Person person;
    person.addLists(words("Ann Bob Zoe"));
    const QString file = person.folder.folder().listDatabaseFile(2);
    if (!hasFile)
        QFile::remove(file);
    person.open();
    person.select(QStringLiteral("Bob"));
    person.op.answers.push(answer);
    QTest::keyClick(person.list, Qt::Key_Delete);
    QCOMPARE(person.op.asked, QStringList{QStringLiteral("Delete |Delete : Bob")});
    QCOMPARE(person.names(), answer ? QStringLiteral("Zoe Ann") : QStringLiteral("Zoe Bob Ann"));
    QCOMPARE(person.stored().size(), answer ? 2 : 3);
    QCOMPARE(QFile::exists(file), !answer);
    QCOMPARE(person.op.told, QStringList());
}

void TestListManager::usedListStays()
{
    Person person;
    person.addLists(words("Ann"));
    person.folder.addJob(QStringLiteral("J"), 1, 1);
    person.open();
    person.op.answers.push(true);
    person.press("Delete");
    QCOMPARE(person.op.told,
             QStringList{QStringLiteral("Maillist Manager|You cannot delete this maillist, becase "
                                        "it is being used in other jobs !")});
    QCOMPARE(person.names(), QStringLiteral("Ann"));
    QVERIFY(QFile::exists(person.folder.folder().listDatabaseFile(1)));
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
    Person person;
    person.addLists(words("Ann Bob"));
    person.open();
    person.select(QStringLiteral("Ann"));
    person.meanwhile = [&] {
        person.folder.execute(QStringLiteral("update mlist set rec_count=7"));
    };
    person.press(key.constData());
    QCOMPARE(person.called, QStringList{expected});
    QCOMPARE(person.list->row(1).cells.last(),
             refreshes ? QStringLiteral("7") : QStringLiteral("0"));
    QCOMPARE(person.selected(), QStringLiteral("Ann"));
}

void TestListManager::newListIsSelectedAfterACommand()
{
    Person person;
    person.addLists(words("Ann Bob"));
    person.open();
    person.select(QStringLiteral("Ann"));
    person.meanwhile = [&] { person.addLists(words("Merged")); };
    person.press("Merge");
    QCOMPARE(person.selected(), QStringLiteral("Merged"));
}

void TestListManager::nothingHappensWithoutLists()
{
    Person person;
    person.open();
    for (const char *key :
         {"Copy", "Properties", "Delete", "Open", "Export", "View Details", "Search"})
        person.press(key);
    QTest::keyClick(person.list, Qt::Key_Return);
    QCOMPARE(person.called, QStringList());
    person.press("Append");
    QCOMPARE(person.called, QStringList{QStringLiteral("append 0 ")});
}

QTEST_MAIN(TestListManager)
#include "tst_listmanager.moc"

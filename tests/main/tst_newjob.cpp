#include "frmnewjob.h"

#include "connection.h"
#include "fakes.h"
#include "jobstore.h"
#include "plaintooltip.h"
#include "testfolder.h"

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace
{

/// The dialog on a folder with the lists and messages "A" and "B".
struct Desk {
    Desk()
    {
        for (const char *name : {"A", "B"}) {
            folder.addList(QLatin1String(name), {});
            folder.addMessage(QLatin1String(name), {});
        }
    }

    template <typename T>
    T *box(const char *name) const
    {
        return window.findChild<T *>(QLatin1String(name));
    }
    QLineEdit *name() const { return box<QLineEdit>("txtJobName"); }
    QString chosen() const
    {
        return box<QComboBox>("combMlist")->currentText() + QLatin1Char(' ') +
               box<QComboBox>("combMmsg")->currentText();
    }
    void press(const char *button) const
    {
        QTest::mouseClick(box<QPushButton>(button), Qt::LeftButton);
    }
    /// Picks an item with the keyboard.
    void choose(const char *combo, int index) const
    {
        box<QComboBox>(combo)->setFocus();
        QTest::keyClick(box<QComboBox>(combo), Qt::Key_Home);
        for (int i = 0; i < index; ++i)
            QTest::keyClick(box<QComboBox>(combo), Qt::Key_Down);
    }
    QString jobs() const
    {
        return folder.rows("select jobname, listid, msgid from mjob").join(QLatin1Char(' '));
    }
    JobRow addJob() const
    {
        folder.addJob("J", 2, 1);
        Connection system(folder.folder().systemConnectionString());
        return loadJobs(system).at(0);
    }
    /// Opens the dialog with `show` and does `steps` while it is open; what is open then is
    /// cancelled. Returns what `show` returned.
    bool during(const std::function<bool()> &show, const std::function<void()> &steps) const
    {
        bool wasOpen = false;
        QTimer::singleShot(0, &window, [&] {
            wasOpen = QTest::qWaitForWindowActive(const_cast<frmNewJob *>(&window));
            steps();
            if (window.isVisible())
                press("cmdCancel");
        });
        const bool result = show();
        if (!wasOpen)
            QTest::qFail("The dialog did not wait for the person", __FILE__, __LINE__);
        return result;
    }
    bool create(const std::function<void()> &steps)
    {
        return during([this] { return window.createJob(); }, steps);
    }
    bool edit(const JobRow &row, const std::function<void()> &steps)
    {
        return during([&] { return window.editJob(row); }, steps);
    }

    TestFolder folder;
    ScriptedOperator op;
    std::function<bool()> createList = [] { return false; };
    std::function<bool()> createMail = [] { return false; };
    frmNewJob window{folder.folder(), op, [this] { return createList(); },
                     [this] { return createMail(); }};
};

} // namespace

class TestNewJob final : public QObject
{
    Q_OBJECT

private slots:
    void createsAJob();
    void createsAListAndAMail();
    void renamesAJob();
    void cancelStoresNothing();
    void failingStoreKeepsTheDialog();
};

void TestNewJob::createsAJob()
{
    Desk desk;
    QVERIFY(desk.create([&desk] {
        desk.press("cmdOK");
        QVERIFY(desk.name()->hasFocus());
        QTest::keyClicks(desk.name(), QStringLiteral("Bob's ''mailing'' "));
        desk.press("cmdOK");
        desk.choose("combMlist", 2);
        desk.press("cmdOK");
        QCOMPARE(desk.op.told,
                 QStringList({QStringLiteral("Job Manager|Job Name cannot be empty !"),
                              QStringLiteral("|Please a maillist."),
                              QStringLiteral("|Please a mail content.")}));
        QVERIFY(desk.box<QComboBox>("combMmsg")->hasFocus());
        desk.choose("combMmsg", 1);
        QTest::keyClick(desk.name(), Qt::Key_Return);
    }));
    QCOMPARE(desk.op.told.size(), 3);
    QCOMPARE(desk.jobs(), QStringLiteral("Bob's ''mailing'' |2|1"));
    // The next job begins with nothing chosen.
    QVERIFY(!desk.create([&desk] {
        QVERIFY(desk.name()->hasFocus());
        QCOMPARE(desk.name()->text(), QString());
        QCOMPARE(desk.chosen(), QStringLiteral("--Select Maillist-- --Select Email--"));
    }));
}

void TestNewJob::createsAListAndAMail()
{
    Desk desk;
    desk.create([&desk] {
        desk.choose("combMlist", 1);
        desk.choose("combMmsg", 1);
        desk.press("cmdList");
        desk.press("cmdMail");
        QCOMPARE(desk.chosen(), QStringLiteral("1-A 1-A")); // nothing was made
        desk.createList = [&] { return desk.folder.addList("<b>New</b>", {}) != 0; };
        desk.press("cmdList");
        QCOMPARE(desk.chosen(), QStringLiteral("3-<b>New</b> 1-A"));
        // It tells its item in full, and markup stays text.
        QCOMPARE(desk.box<QComboBox>("combMlist")->toolTip(),
                 plainToolTip(QStringLiteral("3-<b>New</b>")));
        desk.createMail = [&] { return desk.folder.addMessage("New", {}) != 0; };
        desk.press("cmdMail");
    });
    QCOMPARE(desk.chosen(), QStringLiteral("3-<b>New</b> 3-New")); // cancelled or not
    QCOMPARE(desk.jobs(), QString());
}

void TestNewJob::renamesAJob()
{
    Desk desk;
    desk.folder.addJob("Other", 1, 1);
    const JobRow row = desk.addJob();
    QVERIFY(desk.edit(row, [&desk] {
        QCOMPARE(desk.name()->text() + QLatin1Char(' ') + desk.chosen(),
                 QStringLiteral("J 2-B 1-A"));
        for (const char *locked : {"combMlist", "combMmsg", "cmdList", "cmdMail"})
            QVERIFY2(!desk.box<QWidget>(locked)->isEnabled(), locked);
        // The name is selected: typing replaces it.
        QTest::keyClicks(desk.name(), QStringLiteral("Bob's"));
        QTest::keyClick(desk.name(), Qt::Key_Return);
    }));
    QCOMPARE(desk.jobs(), QStringLiteral("Other|1|1 Bob's|2|1"));
    // A new job may choose again.
    desk.create([&desk] { QVERIFY(desk.box<QComboBox>("combMlist")->isEnabled()); });
    // Where the row is older than the list's name its text is no item, so nothing is chosen.
    desk.folder.execute("update mlist set listname='After'");
    QVERIFY(!desk.edit(row, [&desk] { desk.press("cmdOK"); }));
    QCOMPARE(desk.op.told, QStringList{QStringLiteral("|Please a maillist.")});
}

void TestNewJob::cancelStoresNothing()
{
    Desk desk;
    const JobRow row = desk.addJob();
    for (const bool escape : {false, true}) {
        const auto steps = [&desk, escape] {
            QTest::keyClicks(desk.name(), QStringLiteral("X"));
            desk.choose("combMlist", 1);
            desk.choose("combMmsg", 1);
            if (escape)
                QTest::keyClick(&desk.window, Qt::Key_Escape);
            else
                desk.press("cmdCancel");
            QVERIFY(!desk.window.isVisible());
        };
        QVERIFY(!desk.create(steps));
        QVERIFY(!desk.edit(row, steps));
    }
    QCOMPARE(desk.jobs(), QStringLiteral("J|2|1"));
}

void TestNewJob::failingStoreKeepsTheDialog()
{
    Desk desk;
    const JobRow row = desk.addJob();
    desk.folder.refuse("insert on mjob");
    desk.folder.refuse("update on mjob");
    const auto steps = [&desk] {
        desk.op.told.clear();
        QTest::keyClicks(desk.name(), QStringLiteral("X"));
        desk.choose("combMlist", 1);
        desk.choose("combMmsg", 1);
        desk.press("cmdOK");
        QVERIFY(desk.window.isVisible());
        QCOMPARE(desk.name()->text(), QStringLiteral("X"));
        QCOMPARE(desk.op.told.size(), 1);
        QVERIFY(desk.op.told.first().startsWith(QLatin1String("Error|Error # ")));
        QVERIFY(desk.op.told.first().endsWith(QLatin1String("no room")));
    };
    QVERIFY(!desk.create(steps));
    QVERIFY(!desk.edit(row, steps));
    // Where the lists cannot be read no dialog opens.
    QVERIFY(QFile::remove(desk.folder.file("sys.mdb")));
    QVERIFY(!desk.window.createJob());
    QCOMPARE(desk.op.told.size(), 2);
}

QTEST_MAIN(TestNewJob)
#include "tst_newjob.moc"

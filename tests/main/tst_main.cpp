// The main window as a person uses it, and the windows it opens: clicks and keys, against a real
// server on loopback where something is sent.

#include "desk.h"
#include "frmexportdata.h"
#include "frmmerge.h"
#include "frmmgrlist.h"
#include "frmnewjob.h"
#include "frmpreview.h"
#include "testfiles.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QTreeWidget>

using namespace std::chrono_literals;

namespace
{

/// The program with the jobs "Spring", "Autumn" and "Bob's", of 1, 2 and 3 recipients; the newest
/// is the first row.
struct ThreeJobs : Desk {
    ThreeJobs()
    {
        addJob("Spring", 1, "Dear %%FIRSTNAME%%");
        addJob("Autumn", 2, "<b>x</b>");
        addJob("Bob's", 3);
        folder.execute("update mjob set total = iif(jobid = 2, 100, 8 + jobid / 2)");
        open();
    }
    void search(int mode, const TestText &text) const
    {
        child<QComboBox>(window, "combField")->setCurrentIndex(mode);
        type(window, "txtSearchJob", text + u'\r');
    }
};

/// The program with the job "Spring" of so many recipients. The server answers the final dot of the
/// third message late, so that the person has time to do something meanwhile; and it knows no r4.
struct SlowJob : Desk {
    explicit SlowJob(int recipients)
        : Desk({.rules = {{.command = "DATA-END", .delay = 300ms, .skip = 2, .times = 1},
                          {.command = "RCPT", .text = "r4@", .reply = {"550 No such user"}}}})
    {
        addJob("Spring", recipients);
        open();
        clickRow(0);
    }
    /// Does something once, while the message to the third recipient is on its way.
    void atTheThird(const std::function<void()> &action)
    {
        poll.callOnTimeout([this, action] {
            if (server.transcript().contains("C: RCPT TO:<r3@example.org>") &&
                folder.row("select result from outcome where mid=3", 1) == "D") {
                poll.stop();
                action();
            }
        });
        poll.start(5);
    }
    QTimer poll;
};

} // namespace

class TestMain final : public QObject
{
    Q_OBJECT

private slots:
    void sortsAndSearches()
    {
        const ThreeJobs desk;
        const QAbstractItemModelTester tester(
            desk.jobs()->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QHeaderView *header = desk.jobs()->header();
        // Each column remembers its direction.
        const QString up = "Spring Bob's Autumn", down = "Autumn Bob's Spring";
        for (const auto &[column, names] : {std::pair(3, up), {3, down}, {0, down}, {3, up}}) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              {header->sectionViewportPosition(column) + 10, 10});
            QCOMPARE(desk.names(), names);
            QCOMPARE(header->sortIndicatorSection(), column);
        }
        // However narrow the window, a date and a count can be read.
        desk.find<QWidget>("lvTask")->window()->resize(500, 400);
        QTRY_VERIFY(header->length() > header->width());
        QVERIFY(header->sectionSize(7) >
                header->fontMetrics().horizontalAdvance("2026/11/30 12:00:00"));

        for (const auto &[mode, text, names] : {std::tuple(1, " spr ", "Spring"),
                                                {2, "autumn l", "Autumn"},
                                                {3, "Spring n", "Spring"},
                                                {4, "1", "Spring"},
                                                {5, "12", ""},
                                                {1, "ob's", "Bob's"}}) {
            desk.search(mode, text);
            QCOMPARE(desk.names(), names);
        }
        QCOMPARE(desk.op.told, QStringList());
        desk.search(4, "abc");
        QCOMPARE(desk.op.told.last(), "|Please enter numeric value in the search field.");
        writeFile(desk.folder.file("sys.mdb"), QByteArray("garbage").repeated(9000));
        desk.search(0, {});
        QVERIFY(desk.op.told.last().contains("is damaged or is not a database"));
        QCOMPARE(desk.names(), "Bob's");
    }

    /// By mouse or by key, in every tab; and nothing is left of it when it goes.
    void oneJobIsSelected()
    {
        const ThreeJobs desk;
        desk.folder.execute("update mmsg set attach01='/a', attach03='/c', "
                            "format = case msgid when 3 then 'HTML' else 'TEXT' end");
        const auto *source = desk.find<QPlainTextEdit>("txtSource");
        const auto *files = desk.find<QLineEdit>("txtAllAttach");
        const auto *grid = desk.find<QAbstractItemView>("DataGrid1");
        const auto *start = child<QAction>(*desk.find<QWidget>("Toolbar1"), "Start");
        QVERIFY(!start->isEnabled() && !source->isVisible()); // but the start page
        desk.clickRow(1);
        QVERIFY(source->isVisible());
        QCOMPARE(source->toPlainText() + files->text(), "<b>x</b>/a;/c;");
        desk.clickRow(0);
        QVERIFY(!source->isVisible());
        const QString page = desk.folder.file("mview.htm");
        QCOMPARE(readFile(page), "\xef\xbb\xbfHello\r\n");
        // Of a message that cannot be shown or read nothing of the one before is left.
        desk.clickRow(1);
        QVERIFY(QFile::remove(page) && QDir().mkdir(page));
        desk.clickRow(0);
        QVERIFY(desk.op.told.last().contains("by File system\rCannot write"));
        QCOMPARE(source->toPlainText(), QString());
        desk.clickRow(1);
        desk.showTab(2);
        QCOMPARE(grid->model()->rowCount(), 2);
        QTest::keyClick(desk.jobs(), Qt::Key_Down);
        QCOMPARE(desk.text("lbJob") + desk.text("lbMailList") + desk.text("lbmSubject"),
                 "Selected Job : 1 - SpringMaillist : 1-Spring list Email Subject : Spring news");
        QCOMPARE(grid->model()->rowCount(), 1);
        desk.showTab(3);
        QCOMPARE(desk.find<QPlainTextEdit>("Text1")->toPlainText(), "Dear R1");
        const auto *buttons = desk.find<QWidget>("cmdPreview");
        QVERIFY(start->isEnabled() && buttons->isEnabled());
        desk.search(1, "autumn");
        QCOMPARE(desk.find<QPlainTextEdit>("Text1")->toPlainText(), QString());
        QCOMPARE(desk.text("lbJob") + desk.text("lbMailList") + desk.text("lbmSubject"),
                 "Welcome - No Job Selected Email Subject : ");
        QVERIFY(!start->isEnabled() && !buttons->isEnabled());
        desk.showTab(2);
        QVERIFY(!grid->isVisible());
        QCOMPARE(desk.text("Panel3"), QString());
        desk.folder.execute("delete from mmsg where msgid=2");
        desk.clickRow(0);
        QVERIFY(desk.op.told.last().contains("There is no message 2."));
        QCOMPARE(files->text(), QString());
        press(desk.window, "Start"); // which would mail nothing to everybody
        QVERIFY(desk.received().isEmpty());
    }

    void sendsPausesResumesAndReruns()
    {
        SlowJob desk(5);
        QStringList enabled;
        QString bar;
        desk.atTheThird([&] {
            // Looking at a job enables nothing, and a failing search holds up nothing.
            QTest::keyClick(desk.jobs(), Qt::Key_Return);
            desk.find<QComboBox>("combField")->setCurrentIndex(4);
            type(desk.window, "txtSearchJob", "abc\r");
            QVERIFY(desk.op.told.isEmpty());
            QList<QAction *> commands = desk.find<QWidget>("Toolbar1")->actions();
            for (const char *menu : {"mmFile", "mmEdit", "mmJob", "mmHelp"})
                commands += desk.find<QMenu>(menu)->actions();
            for (const QAction *command : std::as_const(commands)) {
                if (command->isEnabled() && !command->isSeparator())
                    enabled += command->objectName();
            }
            for (const char *button : {"cmdEditMail", "cmdPreview", "cmdBrowse", "cmdCopy"})
                QVERIFY2(!desk.find<QWidget>(button)->isEnabled(), button);
            bar = desk.find<QProgressBar>("ProgressBar1")->text();
            QTest::keyClick(&desk.window, Qt::Key_Period, Qt::ControlModifier);
        });
        QTest::keyClick(desk.jobs(), Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(enabled, QStringList{"Pause"});
        QVERIFY2(bar.endsWith(" of 5"), qPrintable(bar));
        QCOMPARE(desk.stored(), "Paused|5|2|3|0|3");
        QCOMPARE(desk.jobs()->row(0).cells[2], "Paused");
        QVERIFY(!desk.find<QProgressBar>("ProgressBar1")->isVisible());

        press(desk.window, "Start");
        QCOMPARE(desk.stored(), "Complete|5|0|4|1|0");
        QCOMPARE(desk.op.told.last(),
                 "Job Manager|Job [Spring] is complete: 4 sent, 1 failed for good.");
        // They tell of the whole run, not of its last pass.
        QCOMPARE(desk.text("Panel5") + desk.text("Panel6") + desk.text("Panel7"),
                 "Sent:2Success:1Failed:1");
        QCOMPARE(desk.received().size(), 4);
    }

    void nobodyIsMailedAgainUnasked()
    {
        SlowJob desk(4);
        const std::tuple<const char *, int, qsizetype> answers[] = {
            {"", 3, 1}, {"Cancel", 3, 1}, {"Resend Fail", 3, 2}, {"Send to all", 6, 3}};
        for (const auto &[answer, received, refused] : answers) {
            if (*answer)
                desk.op.choices.push(QLatin1String(answer));
            press(desk.window, "Start");
            QCOMPARE(desk.received().size(), received);
            QCOMPARE(desk.server.transcript().count("C: RCPT TO:<r4@example.org>"), refused);
        }
        QVERIFY(desk.op.asked.contains(
            "Start Job|Everybody on the list gets this email again: 3 have had it, 1 have not."
            "|Resend Fail|Send to all|Cancel*"));

        // Nor where another program has done it since.
        desk.addJob("Autumn", 1);
        press(desk.window, "cmdRefresh");
        desk.clickRow(0);
        desk.folder.execute("update mjob set progress = 'Complete', success = 1 where jobid = 2");
        desk.op.choices.push("Cancel");
        press(desk.window, "Start");
        QVERIFY(desk.op.asked.last().contains("since it was shown here"));
        QCOMPARE(desk.jobs()->row(0).cells[2], "Complete");
        QCOMPARE(desk.received().size(), 6);
    }

    void deletesAndResetsAfterAsking()
    {
        ThreeJobs desk;
        desk.folder.execute("update mjob set success = 294, failure = 6 where jobid = 2");
        press(desk.window, "cmdRefresh");
        desk.clickRow(1);
        for (const bool answer : {false, true}) {
            desk.op.answers.push(answer);
            press(desk.window, "Reset");
            QCOMPARE(desk.folder.row("select success from mjob where jobid = 2"),
                     answer ? "0" : "294");
        }
        QVERIFY(desk.op.asked.last().startsWith(
            "Job Manager|Reset Job 2 - Autumn\n\n294 have had its email, and 6 failed."));
        press(desk.window, "Reset"); // which loses nothing now
        for (const bool answer : {false, true}) {
            QCOMPARE(desk.names(), "Bob's Autumn Spring");
            desk.op.answers.push(answer);
            QTest::keyClick(desk.jobs(), Qt::Key_Delete);
            QCOMPARE(desk.op.asked.last(), "Job Manager|Delete Job 2 - Autumn");
        }
        QCOMPARE(desk.names() + desk.text("lbJob"), "Bob's SpringWelcome - No Job Selected");
        QCOMPARE(desk.folder.rows("select jobid from mjob").join(u' '), "1 3");
        press(desk.window, "Delete");
    }

    void closingEndsARun()
    {
        SlowJob desk(5);
        desk.atTheThird([&desk] { desk.window.close(); });
        press(desk.window, "Start");
        QVERIFY(!desk.window.isVisible());
        QCOMPARE(desk.received().size(), 3);
        QCOMPARE(desk.stored(), "Paused|5|2|3|0|3");
        QCOMPARE(desk.op.told, QStringList());
    }

    void makesAndRenamesJobs()
    {
        Desk desk;
        desk.addJob("A", 1);
        desk.addJob("B", 1);
        desk.open();
        desk.clickRow(0);
        {
            const WhenShown<frmNewJob> editor([&desk](frmNewJob &window) {
                press(window, "cmdOK");
                type(window, "txtJobName", "Bob's ''mailing'' ");
                press(window, "cmdOK");
                child<QComboBox>(window, "combMlist")->setCurrentIndex(2);
                press(window, "cmdOK");
                QCOMPARE(desk.op.told,
                         QStringList({"Job Manager|Job Name cannot be empty !",
                                      "|Please a maillist.", "|Please a mail content."}));
                child<QComboBox>(window, "combMmsg")->setCurrentIndex(1);
                desk.folder.refuse("insert on mjob");
                press(window, "cmdOK");
                QVERIFY(window.isVisible() && desk.op.told.last().endsWith("no room"));
                desk.folder.allow("insert on mjob");
                QTest::keyClick(child(window, "txtJobName"), Qt::Key_Return);
            });
            press(desk.window, "Add");
        }
        QCOMPARE(desk.folder.row("select jobname, listid, msgid from mjob where jobid = 3"),
                 "Bob's ''mailing'' |2|1");
        QCOMPARE(desk.text("lbJob"), "Selected Job : 3 - Bob's ''mailing'' ");
        desk.clickRow(1);
        const WhenShown<frmNewJob> editor([](frmNewJob &window) {
            QCOMPARE(child<QLineEdit>(window, "txtJobName")->text() +
                         child<QComboBox>(window, "combMlist")->currentText() +
                         child<QComboBox>(window, "combMmsg")->currentText(),
                     "B2-B list2-B news");
            for (const char *locked : {"combMlist", "combMmsg", "cmdList", "cmdMail"})
                QVERIFY2(!child(window, locked)->isEnabled(), locked);
            type(window, "txtJobName", "It's");
            press(window, "cmdOK");
        });
        press(desk.window, "Edit");
        QCOMPARE(desk.names(), "Bob's ''mailing''  It's A");
        QCOMPARE(desk.text("lbJob"), "Selected Job : 2 - It's");
    }

    void previewsTheEmailOfEachRecipient()
    {
        Desk desk;
        const char *bob = "'b@x.org','Bob','Obi','Mr','1','%%MEMO%%','4 & %%EMAIL%%'";
        desk.folder.addList("L", {"'a@x.org','Ann'", bob, "'c@x.org','Chloé'", "'d@x.org'"});
        const char *body =
            "%%FIRSTNAME%% %%LASTNAME%%|%%firstname%%|%%TITLE%%%%CONTACT%%|%%COMPANY%%|"
            "%%MEMO%%|%%EMAIL%%";
        desk.folder.addJob("J", 1, desk.folder.addMessage("News", body));
        desk.folder.addJob("Empty", desk.folder.addList("E", {}), 1);
        desk.open();
        desk.showTab(3);
        desk.clickRow(1);
        const auto *text = desk.find<QPlainTextEdit>("Text1");
        QCOMPARE(text->toPlainText(), "Ann |%%firstname%%||||a@x.org");
        press(desk.window, "cmdNext");
        QCOMPARE(text->toPlainText(),
                 "Bob Obi|%%firstname%%|Mr1|4 & %%EMAIL%%|4 & %%EMAIL%%|b@x.org");
        QCOMPARE(desk.find<QLineEdit>("txtFields6")->text(), "4 & %%EMAIL%%");
        const std::pair<const char *, int> commands[] = {
            {"cmdLast", 4}, {"Next", 4}, {"Prior", 3}, {"First", 1}, {"cmdPrevious", 1}};
        for (const auto &[command, position] : commands) {
            press(desk.window, command);
            QCOMPARE(desk.text("Panel3"), u"Record: %1/4"_s.arg(position));
        }
        during<frmPreview>([&] { press(desk.window, "Preview"); },
                           [](frmPreview &window) {
                               // Wherever the focus is.
                               QTest::keyClick(child(window, "txtSource"), Qt::Key_PageDown);
                               QTest::keyClick(child(window, "cmdLast"), Qt::Key_Down);
                               QCOMPARE(child<QLabel>(window, "lblStatus")->text(), "Record: 3");
                           });
        desk.folder.execute("update mmsg set format = 'HTML', source = '<p>%%FIRSTNAME%%' || "
                            "char(10) || '<i>%%MEMO%%</i>'");
        press(desk.window, "cmdRefresh");
        press(desk.window, "cmdLast");
        press(desk.window, "cmdPrevious");
        QVERIFY(!text->isVisible() && desk.find<QWidget>("WebBrowser2")->isVisible());
        QCOMPARE(readFile(desk.folder.file("psource.htm")),
                 QByteArray("\xef\xbb\xbf<p>Chloé\n<i></i>\r\n"));
        // For nobody: in an empty list, and in one that is not there.
        desk.folder.execute("update mmsg set format = 'TEXT', source = 'Dear %%FIRSTNAME%%!'");
        QVERIFY(QFile::remove(desk.folder.file("data\\m1.mdb")));
        for (const int row : {0, 1}) {
            desk.clickRow(row);
            QCOMPARE(text->toPlainText(), "Dear !");
            QCOMPARE(desk.op.told.size(), row);
        }
        press(desk.window, "cmdFirst");
        QVERIFY(desk.op.told.last().contains("The list has no recipients."));
    }

    void showsTheRecipientsOfAListAndItsJobs()
    {
        Desk desk;
        for (const char *name : {"Ann", "Bob"})
            desk.addJob(name, 2);
        desk.folder.execute("update email set lname='O''Brien' where mid=2", 1);
        desk.open();
        const auto note = [&desk](QDialog &dialog) {
            const auto *panel = dialog.findChild<QLabel *>("Panel1");
            desk.op.told += dialog.windowTitle() + (panel ? panel->text() : "");
        };
        during<frmMgrList>(
            [&] { press(desk.window, "List Manager"); },
            [&](auto &manager) {
                child<QComboBox>(manager, "combType")->setCurrentIndex(2);
                type(manager, "txtSearch", "r2@\r");
                child<SortableList>(manager, "ListView1")->selectRow(1);
                for (const char *command : {"View Details", "Open", "Export", "Merge", "Append"})
                    during<QDialog>([&] { press(manager, command); }, note);
                press(manager, "Search");
                desk.op.told += QString::number(desk.jobs()->count());
            });
        QCOMPARE(desk.op.told.join(u' '), "Maillist [ 1-Ann list ]Record: 1/1 Import Maillist "
                                          "Export Maillist Merge Maillists Append Maillists 1");
        // The grid of the job's list exports what a search shows.
        desk.clickRow(0);
        desk.showTab(2);
        type(desk.window, "txtSEmail", "o'brien\r");
        during<frmExportData>([&] { press(desk.window, "cmdCopy"); },
                              [](auto &window) {
                                  child<QCheckBox>(window, "chkMem")->setChecked(true);
                                  press(window, "cmdExport");
                              });
        QCOMPARE(QGuiApplication::clipboard()->text(), "r2@example.org,R2,O'Brien,,,,\r\n");
    }

    /// The desktop's session ends while windows are open one above the other, and at work.
    void endsWithWindowsOpen()
    {
        Desk desk;
        desk.addJob("Ann", 2);
        desk.open();
        const WhenShown<frmMgrList> shown([](frmMgrList &manager) {
            const WhenShown<frmMerge> open([](frmMerge &merge) {
                auto *lists = child<QTreeWidget>(merge, "ListView1");
                lists->topLevelItem(0)->setCheckState(0, Qt::Checked);
                type(merge, "txtListname", "All");
                // It comes while the first recipient is copied.
                QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
                press(merge, "cmdOK");
            });
            press(manager, "Merge");
        });
        QTimer::singleShot(0, &desk.window, [&] { press(desk.window, "List Manager"); });
        QApplication::exec();
        QCOMPARE(desk.op.told, QStringList("|Abort !"));
    }
};

QTEST_MAIN(TestMain)
#include "tst_main.moc"

// From the main window into the windows it opens, as a person goes.

#include "desk.h"
#include "frmexportdata.h"
#include "frmmerge.h"
#include "frmmgrlist.h"
#include "frmnewjob.h"
#include "frmpreview.h"
#include "testfiles.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QPlainTextEdit>
#include <QTreeWidget>

class TestWindows final : public QObject
{
    Q_OBJECT

private slots:
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
                         QStringList({u"Job Manager|Job Name cannot be empty !"_s,
                                      u"|Please a maillist."_s, u"|Please a mail content."_s}));
                child<QComboBox>(window, "combMmsg")->setCurrentIndex(1);
                desk.folder.refuse("insert on mjob");
                press(window, "cmdOK");
                QVERIFY(window.isVisible() &&
                        desk.op.told.last().endsWith(QLatin1String("no room")));
                desk.folder.allow("insert on mjob");
                QTest::keyClick(child(window, "txtJobName"), Qt::Key_Return);
            });
            press(desk.window, "Add");
        }
        QCOMPARE(desk.folder.row("select jobname, listid, msgid from mjob where jobid = 3"),
                 u"Bob's ''mailing'' |2|1"_s);
        QCOMPARE(desk.text("lbJob"), u"Selected Job : 3 - Bob's ''mailing'' "_s);
        desk.clickRow(1);
        const WhenShown<frmNewJob> editor([](frmNewJob &window) {
            QCOMPARE(child<QLineEdit>(window, "txtJobName")->text() +
                         child<QComboBox>(window, "combMlist")->currentText() +
                         child<QComboBox>(window, "combMmsg")->currentText(),
                     u"B2-B list2-B news"_s);
            for (const char *locked : {"combMlist", "combMmsg", "cmdList", "cmdMail"})
                QVERIFY2(!child(window, locked)->isEnabled(), locked);
            type(window, "txtJobName", "It's");
            press(window, "cmdOK");
        });
        press(desk.window, "Edit");
        QCOMPARE(desk.names(), u"Bob's ''mailing''  It's A"_s);
        QCOMPARE(desk.text("lbJob"), u"Selected Job : 2 - It's"_s);
    }

    void previewsTheEmailOfEachRecipient()
    {
        Desk desk;
        const char *bob = "'b@x.org','Bob','Obi','Mr','1','%%MEMO%%','4 & %%EMAIL%%'";
        const qint64 list =
            desk.folder.addList("L", {"'a@x.org','Ann'", bob, "'c@x.org','Chloé'", "'d@x.org'"});
        desk.folder.addJob("J", list,
                           desk.folder.addMessage("News",
                                                  "%%FIRSTNAME%% %%LASTNAME%%|%%firstname%%|"
                                                  "%%TITLE%%%%CONTACT%%|%%COMPANY%%|"
                                                  "%%MEMO%%|%%EMAIL%%"));
        desk.folder.addJob("Empty", desk.folder.addList("E", {}), 1);
        desk.open();
        desk.showTab(3);
        desk.clickRow(1);
        const auto *text = desk.find<QPlainTextEdit>("Text1");
        QCOMPARE(text->toPlainText(), u"Ann |%%firstname%%||||a@x.org"_s);
        press(desk.window, "cmdNext");
        QCOMPARE(text->toPlainText(), u"Bob Obi|%%firstname%%|Mr1|4 & %%EMAIL%%|"
                                      "4 & %%EMAIL%%|b@x.org"_s);
        QCOMPARE(desk.find<QLineEdit>("txtFields6")->text(), u"4 & %%EMAIL%%"_s);
        const std::pair<const char *, int> commands[] = {
            {"cmdLast", 4}, {"Next", 4}, {"Prior", 3}, {"First", 1}, {"cmdPrevious", 1}};
        for (const auto &[command, position] : commands) {
            press(desk.window, command);
            QCOMPARE(desk.text("Panel3"), u"Record: %1/4"_s.arg(position));
        }
        during<frmPreview>([&] { press(desk.window, "Preview"); },
                           [](frmPreview &window) {
                               QCOMPARE(window.windowTitle(), u"Preview [ Subject : News ]"_s);
                               // Wherever the focus is.
                               QTest::keyClick(child(window, "txtSource"), Qt::Key_PageDown);
                               QTest::keyClick(child(window, "cmdLast"), Qt::Key_Down);
                               QCOMPARE(child<QLabel>(window, "lblStatus")->text(), u"Record: 3"_s);
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
            QCOMPARE(text->toPlainText(), u"Dear !"_s);
            QCOMPARE(desk.op.told.size(), row);
        }
        press(desk.window, "cmdFirst");
        QVERIFY(desk.op.told.last().contains(u"The list has no recipients."_s));
    }

    void showsTheRecipientsOfAListAndItsJobs()
    {
        Desk desk;
        for (const char *name : {"Ann", "Bob"})
            desk.addJob(name, 2);
        desk.folder.execute("update email set lname='O''Brien' where mid=2", 1);
        desk.open();
        const auto note = [&desk](QDialog &dialog) {
            const auto *panel = dialog.findChild<QLabel *>(u"Panel1"_s);
            desk.op.told += dialog.windowTitle() + (panel ? panel->text() : u""_s);
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
        QCOMPARE(desk.op.told.join(u' '), u"Maillist [ 1-Ann list ]Record: 1/1 Import Maillist "
                                          "Export Maillist Merge Maillists Append Maillists 1"_s);
        // The grid of the job's list exports what a search shows.
        desk.clickRow(0);
        desk.showTab(2);
        type(desk.window, "txtSEmail", "o'brien\r");
        during<frmExportData>([&] { press(desk.window, "cmdCopy"); },
                              [](auto &window) {
                                  child<QCheckBox>(window, "chkMem")->setChecked(true);
                                  press(window, "cmdExport");
                              });
        QCOMPARE(QGuiApplication::clipboard()->text(), u"r2@example.org,R2,O'Brien,,,,\r\n"_s);
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
        QCOMPARE(desk.op.told, QStringList(u"|Abort !"_s));
    }
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"

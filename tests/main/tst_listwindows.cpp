// From the main window through the windows of the mail lists, as a person goes.

#include "desk.h"
#include "frmemail.h"
#include "frmexportdata.h"
#include "frmmerge.h"
#include "frmmgrlist.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

class TestListWindows final : public QObject
{
    Q_OBJECT

private slots:
    void showsTheRecipientsOfAListAndItsJobs()
    {
        Desk desk;
        for (const char *name : {"Ann", "Bob"})
            desk.addJob(name, {u"'a@x.org','Zoe'"_s, u"'b@x.org','O''Brien'"_s});
        desk.open();
        QString shown;
        during<frmMgrList>(
            [&] { desk.toolbar("List Manager")->trigger(); },
            [&](auto &manager) {
                child<QComboBox>(manager, "combType")->setCurrentIndex(2);
                type(manager, "txtSearch", "b@");
                press(manager, "cmdSearch");
                child<SortableList>(manager, "ListView1")->selectRow(1);
                for (const char *command : {"View Details", "Open", "Export", "Merge", "Append"})
                    during<QDialog>([&] { press(manager, command); },
                                    [&](auto &dialog) { shown += dialog.windowTitle() + u'|'; });
                press(manager, "Search");
            });
        QCOMPARE(shown, u"Maillist [ 1-Ann list ]|Import Maillist|Export Maillist|"
                        "Merge Maillists|Append Maillists|"_s);
        QCOMPARE(desk.jobs()->count(), 1);
        // The grid of the job's list exports what a search shows.
        desk.clickRow(0);
        desk.showTab(2);
        type(desk.window, "txtSEmail", "o'brien\r");
        during<frmExportData>([&] { press(desk.window, "cmdCopy"); },
                              [](auto &window) {
                                  child<QCheckBox>(window, "chkMem")->setChecked(true);
                                  press(window, "cmdExport");
                              });
        QCOMPARE(QGuiApplication::clipboard()->text(), u"b@x.org,O'Brien,,,,,\r\n"_s);
    }

    /// The desktop's session ends while windows are open one above the other, and at work.
    void endsWithWindowsOpen()
    {
        Desk desk;
        desk.addJob("Ann", {u"a@x.org"_s, u"b@x.org"_s});
        desk.open();
        const WhenShown<frmMgrList> manager([&](frmMgrList &lists) {
            const WhenShown<frmMerge> merge([](frmMerge &window) {
                child<QTreeWidget>(window, "ListView1")
                    ->topLevelItem(0)
                    ->setCheckState(0, Qt::Checked);
                type(window, "txtListname", "All");
                // It comes while the first recipient is copied.
                QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
                press(window, "cmdOK");
            });
            press(lists, "Merge");
        });
        QTimer::singleShot(0, &desk.window, [&] { desk.toolbar("List Manager")->trigger(); });
        QApplication::exec();
        QVERIFY(!desk.window.isVisible());
        QCOMPARE(desk.op.told, QStringList(u"|Abort !"_s));
        QCOMPARE(desk.folder.row("select count(*) from email", 2), u"1"_s);
    }
};

QTEST_MAIN(TestListWindows)
#include "tst_listwindows.moc"

// From the main window through the windows of the mail lists, as a person goes.

#include "desk.h"
#include "frmemail.h"
#include "frmexportdata.h"
#include "frmmerge.h"
#include "frmmgrlist.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
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
        const auto note = [&shown](QDialog &dialog) {
            const auto *panel = dialog.findChild<QLabel *>(u"Panel1"_s);
            shown += dialog.windowTitle() + (panel ? panel->text() : u""_s) + u'|';
        };
        during<frmMgrList>(
            [&] { desk.toolbar("List Manager")->trigger(); },
            [&](auto &manager) {
                child<QComboBox>(manager, "combType")->setCurrentIndex(2);
                type(manager, "txtSearch", "b@\r");
                child<SortableList>(manager, "ListView1")->selectRow(1);
                for (const char *command : {"View Details", "Open", "Export", "Merge", "Append"})
                    during<QDialog>([&] { press(manager, command); }, note);
                press(manager, "Search");
                shown += QString::number(desk.jobs()->count());
            });
        QCOMPARE(shown, u"Maillist [ 1-Ann list ]Record: 1/1|Import Maillist|Export Maillist|"
                        "Merge Maillists|Append Maillists|1"_s);
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
                auto *list = child<QTreeWidget>(window, "ListView1")->topLevelItem(0);
                list->setCheckState(0, Qt::Checked);
                type(window, "txtListname", "All");
                // It comes while the first recipient is copied.
                QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
                press(window, "cmdOK");
            });
            press(lists, "Merge");
        });
        QTimer::singleShot(0, &desk.window, [&] { desk.toolbar("List Manager")->trigger(); });
        QApplication::exec();
        QCOMPARE(desk.op.told, QStringList(u"|Abort !"_s));
    }
};

QTEST_MAIN(TestListWindows)
#include "tst_listwindows.moc"

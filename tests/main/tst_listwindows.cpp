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

QTEST_MAIN(TestListWindows)
#include "tst_listwindows.moc"

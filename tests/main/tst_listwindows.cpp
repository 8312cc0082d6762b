// From the main window through the windows of the mail lists, as a person goes.

#include "desk.h"
#include "frmemail.h"
#include "frmexportdata.h"
#include "frmimport.h"
#include "frmmerge.h"
#include "frmmgrlist.h"
#include "messageboxoperator.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

class TestListWindows final : public QObject
{
    Q_OBJECT

private slots:
    void browsesWhatWasSearched();
    void opensTheOtherWindows_data();
    void opensTheOtherWindows();
    void showsTheJobsOfAList();
    void editsTheListOfTheJob();
    void exportsWhatTheGridShows();
    void endsWithWindowsOpen_data();
    void endsWithWindowsOpen();
};

namespace
{

/// The jobs "Ann" and "Bob", each with a list of two.
struct ListDesk : Desk {
    explicit ListDesk(Operator *teller = nullptr)
        : Desk(teller)
    {
        for (const char *name : {"Ann", "Bob"})
            addJob(QLatin1String(name),
                   {QStringLiteral("'a.%1@x.org','Zoe'").arg(QLatin1String(name)),
                    QStringLiteral("'b.%1@x.org','Al'").arg(QLatin1String(name))});
        open();
    }
    /// Does `steps` in the Maillist Manager.
    void inManager(const std::function<void(frmMgrList &)> &steps) const
    {
        const WhenShown<frmMgrList> manager([&](frmMgrList &shown) {
            steps(shown);
            shown.close();
        });
        toolbar("List Manager")->trigger();
    }
    /// What the grid's export puts on the clipboard.
    QString exported() const
    {
        const WhenShown<frmExportData> exporting([](frmExportData &shown) {
            child<QCheckBox>(shown, "chkMem")->setChecked(true);
            child<QPushButton>(shown, "cmdExport")->click();
            shown.close();
        });
        find<QPushButton>("cmdCopy")->click();
        return QGuiApplication::clipboard()->text();
    }
    /// Clicks the job of "Ann" and shows its list.
    void showRecipients() const
    {
        clickRow(1);
        showTab(2);
    }
};

/// Opens with `show` a browser of recipients, which must have this title and position.
void expectBrowser(const char *title, const char *position, const std::function<void()> &show)
{
    const WhenShown<frmemail> browse([&](frmemail &browser) {
        QCOMPARE(browser.windowTitle(), QLatin1String(title));
        QCOMPARE(child<QLabel>(browser, "Panel1")->text(), QLatin1String(position));
        browser.close();
    });
    show();
}

} // namespace

void TestListWindows::browsesWhatWasSearched()
{
    const ListDesk desk;
    desk.inManager([](frmMgrList &manager) {
        child<QComboBox>(manager, "combType")->setCurrentIndex(2);
        child<QLineEdit>(manager, "txtSearch")->setText(QStringLiteral("b.ann"));
        child<QPushButton>(manager, "cmdSearch")->click();
        QCOMPARE(child<SortableList>(manager, "ListView1")->count(), 1);
        child<SortableList>(manager, "ListView1")->selectRow(0);
        expectBrowser("Maillist [ 1-Ann list ]", "Record: 1/1",
                      [&] { child<QAction>(manager, "View Details")->trigger(); });
    });
}

void TestListWindows::opensTheOtherWindows_data()
{
    QTest::addColumn<QString>("expected");
    QTest::newRow("Open") << "Import Maillist|";
    QTest::newRow("Export") << "Export Maillist|";
    QTest::newRow("Merge") << "Merge Maillists|1-Ann list";
    QTest::newRow("Append") << "Append Maillists|2-Bob list";
}

void TestListWindows::opensTheOtherWindows()
{
    const ListDesk desk;
    QString shown;
    desk.inManager([&](frmMgrList &manager) {
        const WhenShown<QDialog> window([&](QDialog &dialog) {
            shown = dialog.windowTitle() + u'|';
            if (const auto *target = dialog.findChild<QComboBox *>(QStringLiteral("combMaillist")))
                shown += target->currentText();
            dialog.close();
        });
        child<QAction>(manager, QTest::currentDataTag())->trigger();
    });
    QTEST(shown, "expected");
}

void TestListWindows::showsTheJobsOfAList()
{
    const ListDesk desk;
    desk.inManager([](frmMgrList &manager) {
        child<SortableList>(manager, "ListView1")->selectRow(1);
        child<QAction>(manager, "Search")->trigger();
        QVERIFY(manager.isVisible());
    });
    QCOMPARE(desk.find<QComboBox>("combField")->currentText(),
             QStringLiteral("Maillist ID equals"));
    QCOMPARE(desk.jobs()->count(), 1);
    QCOMPARE(desk.jobs()->row(0).cells.first(), QStringLiteral("Ann"));
}

void TestListWindows::editsTheListOfTheJob()
{
    const ListDesk desk;
    desk.showRecipients();
    expectBrowser("Maillist [ 1-Ann list ]", "Record: 1/2",
                  [&] { desk.find<QPushButton>("cmdBrowse")->click(); });
}

void TestListWindows::exportsWhatTheGridShows()
{
    const ListDesk desk;
    desk.showTab(2);
    desk.find<QPushButton>("cmdCopy")->click();
    QCOMPARE(desk.op.told.size(), 1); // there is no grid without a job
    desk.showRecipients();
    // A search that breaks the statement is told; the grid and its export stay as they are.
    desk.find<QComboBox>("combSearch")->setCurrentIndex(3);
    QTest::keyClicks(desk.find<QLineEdit>("txtSEmail"), QStringLiteral("O'Brien\r"));
    QCOMPARE(desk.op.told.last(), QStringLiteral("|near \"Brien\": syntax error"));
    QCOMPARE(desk.exported(), QStringLiteral("a.Ann@x.org,Zoe,,,,,\r\nb.Ann@x.org,Al,,,,,\r\n"));
    desk.find<QLineEdit>("txtSEmail")->clear();
    desk.find<QComboBox>("combSearch")->setCurrentIndex(1);
    QTest::keyClicks(desk.find<QLineEdit>("txtSEmail"), QStringLiteral("b.\r"));
    QCOMPARE(desk.exported(), QStringLiteral("b.Ann@x.org,Al,,,,,\r\n"));
    // Clicking a job forgets the search; an order alone needs no text.
    desk.clickRow(1);
    desk.find<QComboBox>("combSort")->setCurrentIndex(2);
    QTest::mouseClick(desk.find<QAbstractButton>("cmdRefList"), Qt::LeftButton);
    QCOMPARE(desk.exported(), QStringLiteral("b.Ann@x.org,Al,,,,,\r\na.Ann@x.org,Zoe,,,,,\r\n"));
}

void TestListWindows::endsWithWindowsOpen_data()
{
    QTest::addColumn<QString>("where");
    for (const char *where : {"browser", "merge", "message box"})
        QTest::newRow(where) << QString::fromLatin1(where);
}

/// The desktop's session ends while windows are open one above the other, and at work.
void TestListWindows::endsWithWindowsOpen()
{
    QFETCH(QString, where);
    MessageBoxOperator boxes;
    ListDesk desk(where == QLatin1String("message box") ? &boxes : nullptr);
    const WhenShown<frmMgrList> manager([&](frmMgrList &lists) {
        if (where == QLatin1String("browser")) {
            const WhenShown<frmemail> browser([](frmemail &) { QApplication::quit(); });
            child<QAction>(lists, "View Details")->trigger();
        } else if (where == QLatin1String("merge")) {
            const WhenShown<frmMerge> merge([](frmMerge &window) {
                child<QLineEdit>(window, "txtListname")->setText(QStringLiteral("All"));
                child<QTreeWidget>(window, "ListView1")
                    ->topLevelItem(0)
                    ->setCheckState(0, Qt::Checked);
                // It comes while the first recipient is copied.
                QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
                child<QPushButton>(window, "cmdOK")->click();
            });
            child<QAction>(lists, "Merge")->trigger();
        } else {
            const WhenShown<frmImport> import([](frmImport &window) {
                const WhenShown<QMessageBox> box([](QMessageBox &) { QApplication::quit(); });
                child<QPushButton>(window, "cmdImport")->click(); // no file was chosen
            });
            child<QAction>(lists, "Open")->trigger();
        }
    });
    QTimer::singleShot(0, &desk.window, [&] { desk.toolbar("List Manager")->trigger(); });
    QApplication::exec();
    QVERIFY(!desk.window.isVisible());
    if (where == QLatin1String("merge")) {
        QCOMPARE(desk.op.told, QStringList(QStringLiteral("|Abort !")));
        QCOMPARE(desk.folder.row("select count(*) from email", 3), QStringLiteral("1"));
    }
}

QTEST_MAIN(TestListWindows)
#include "tst_listwindows.moc"

// From the main window through the windows of the mail lists, as a person goes.

#include "curlwebfetch.h"
#include "fakes.h"
#include "frmemail.h"
#include "frmexport.h"
#include "frmexportdata.h"
#include "frmimport.h"
#include "frmmerge.h"
#include "frmmgrlist.h"
#include "frmnewlist.h"
#include "frmsplash.h"
#include "mainwindow.h"
#include "messageboxoperator.h"
#include "recordinghtmlview.h"
#include "recordingspreadsheet.h"
#include "sortablelist.h"
#include "testfolder.h"
#include "whenshown.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QTabWidget>
#include <QTimer>
#include <QToolBar>
#include <QTreeWidget>

class TestListWindows final : public QObject
{
    Q_OBJECT

private slots:
    void makesImportsAndBrowsesAList();
    void opensTheOtherWindows_data();
    void opensTheOtherWindows();
    void showsTheJobsOfAList();
    void editsTheListOfTheJob();
    void exportsWhatTheGridShows();
    void exportsNothingWithoutAJob();
    void endsWithWindowsOpen_data();
    void endsWithWindowsOpen();
};

namespace
{

template <typename T>
T *child(const QWidget &window, const char *name)
{
    T *found = window.findChild<T *>(QString::fromLatin1(name));
    Q_ASSERT(found);
    return found;
}

void trigger(const QWidget &window, const char *key)
{
    child<QAction>(window, key)->trigger();
}

struct Desk {
    /// `teller`: who is told, where it is not the scripted one.
    explicit Desk(Operator *teller = nullptr)
        : window{{folder.folder(), teller ? *teller : op, clock, yield, web, spreadsheet,
                  [](QWidget *parent) { return new RecordingHtmlView(parent); },
                  [] { return std::make_unique<FakeSendMail>(); }}}
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           folder.file(QStringLiteral("config")));
        const qint64 message = folder.addMessage(QStringLiteral("News"), {});
        for (const char *name : {"Ann", "Bob"})
            folder.addJob(QLatin1String(name),
                          folder.addList(QLatin1String(name),
                                         {QLatin1String(name) + QStringLiteral("1@x.org"),
                                          QLatin1String(name) + QStringLiteral("2@x.org")}),
                          message);
    }
    void open()
    {
        const WhenShown<frmSplash> key(
            [](frmSplash &splash) { QTest::keyClick(&splash, Qt::Key_Space); });
        window.load();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }
    /// Does `steps` in the Maillist Manager.
    void inManager(const std::function<void(frmMgrList &)> &steps)
    {
        const WhenShown<frmMgrList> manager([&](frmMgrList &shown) {
            steps(shown);
            shown.close();
        });
        trigger(window, "List Manager");
    }
    /// Clicks the job of "Ann" and shows its list.
    void showRecipients()
    {
        auto *jobs = child<SortableList>(window, "lvTask");
        QTest::mouseClick(jobs->viewport(), Qt::LeftButton, {},
                          jobs->visualRect(jobs->model()->index(1, 1)).center());
        child<QTabWidget>(window, "TabStrip1")->setCurrentIndex(2);
    }

    TestFolder folder;
    ScriptedOperator op;
    FakeClock clock;
    EventLoopYield yield;
    RecordingSpreadsheet spreadsheet;
    CurlWebFetch web{yield};
    Main window;
};

} // namespace

void TestListWindows::makesImportsAndBrowsesAList()
{
    Desk desk;
    QFile file(desk.folder.file(QStringLiteral("new.csv")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("zoe@x.org,Zoe\nmia@x.org,Mia\n");
    file.close();
    desk.open();
    desk.inManager([&](frmMgrList &manager) {
        const WhenShown<frmNewList> create([&](frmNewList &dialog) {
            const WhenShown<frmImport> import([&](frmImport &window) {
                child<QLineEdit>(window, "Text1")->setText(file.fileName());
                child<QPushButton>(window, "cmdImport")->click();
                window.close();
            });
            child<QLineEdit>(dialog, "Text1")->setText(QStringLiteral("Zoo"));
            child<QPushButton>(dialog, "cmdImport")->click();
        });
        trigger(manager, "New");
        QCOMPARE(child<SortableList>(manager, "ListView1")->row(0).cells.last(),
                 QStringLiteral("2"));

        child<QComboBox>(manager, "combType")->setCurrentIndex(2);
        child<QLineEdit>(manager, "txtSearch")->setText(QStringLiteral("mia"));
        child<QPushButton>(manager, "cmdSearch")->click();
        const WhenShown<frmemail> browse([](frmemail &browser) {
            QCOMPARE(browser.windowTitle(), QStringLiteral("Maillist [ 3-Zoo ]"));
            QCOMPARE(child<QComboBox>(browser, "combSearch")->currentText(),
                     QStringLiteral("Email"));
            QCOMPARE(child<QLineEdit>(browser, "txtSearch")->text(), QStringLiteral("mia"));
            QCOMPARE(child<QLabel>(browser, "Panel1")->text(), QStringLiteral("Record: 1/1"));
            browser.close();
        });
        trigger(manager, "View Details");
    });
    QCOMPARE(desk.op.told.size(), 1); // the import's summary
}

void TestListWindows::opensTheOtherWindows_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("expected");
    QTest::newRow("import") << QByteArray("Open") << "Import Maillist|";
    QTest::newRow("export") << QByteArray("Export") << "Export Maillist|";
    QTest::newRow("merge") << QByteArray("Merge") << "Merge Maillists|1-Ann";
    QTest::newRow("append") << QByteArray("Append") << "Append Maillists|2-Bob";
}

void TestListWindows::opensTheOtherWindows()
{
    QFETCH(QByteArray, key);
    QFETCH(QString, expected);
    Desk desk;
    desk.open();
    QString shown;
    desk.inManager([&](frmMgrList &manager) {
        const WhenShown<QDialog> window([&](QDialog &dialog) {
            shown = dialog.windowTitle() + u'|';
            if (const auto *target = dialog.findChild<QComboBox *>(QStringLiteral("combMaillist")))
                shown += target->currentText();
            dialog.close();
        });
        trigger(manager, key.constData());
    });
    QCOMPARE(shown, expected);
}

void TestListWindows::showsTheJobsOfAList()
{
    Desk desk;
    desk.open();
    desk.inManager([](frmMgrList &manager) {
        child<SortableList>(manager, "ListView1")->selectRow(1);
        trigger(manager, "Search");
        QVERIFY(manager.isVisible());
    });
    QCOMPARE(child<QComboBox>(desk.window, "combField")->currentText(),
             QStringLiteral("Maillist ID equals"));
    const auto *jobs = child<SortableList>(desk.window, "lvTask");
    QCOMPARE(jobs->count(), 1);
    QCOMPARE(jobs->row(0).cells.first(), QStringLiteral("Ann"));
}

void TestListWindows::editsTheListOfTheJob()
{
    Desk desk;
    desk.open();
    desk.showRecipients();
    const WhenShown<frmemail> browse([](frmemail &browser) {
        QCOMPARE(browser.windowTitle(), QStringLiteral("Maillist [ 1-Ann ]"));
        QCOMPARE(child<QLabel>(browser, "Panel1")->text(), QStringLiteral("Record: 1/2"));
        browser.close();
    });
    child<QPushButton>(desk.window, "cmdBrowse")->click();
}

void TestListWindows::exportsWhatTheGridShows()
{
    Desk desk;
    desk.open();
    desk.showRecipients();
    child<QComboBox>(desk.window, "combSearch")->setCurrentIndex(1);
    QTest::keyClicks(child<QLineEdit>(desk.window, "txtSEmail"), QStringLiteral("2@\r"));
    const WhenShown<frmExportData> exporting([](frmExportData &window) {
        child<QCheckBox>(window, "chkMem")->setChecked(true);
        child<QPushButton>(window, "cmdExport")->click();
        window.close();
    });
    child<QPushButton>(desk.window, "cmdCopy")->click();
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("Ann2@x.org,,,,,,\r\n"));
}

void TestListWindows::exportsNothingWithoutAJob()
{
    Desk desk;
    desk.open();
    child<QTabWidget>(desk.window, "TabStrip1")->setCurrentIndex(2);
    child<QPushButton>(desk.window, "cmdCopy")->click();
    QCOMPARE(desk.op.told.size(), 1);
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
    Desk desk(where == QLatin1String("message box") ? &boxes : nullptr);
    desk.open();
    const WhenShown<frmMgrList> manager([&](frmMgrList &lists) {
        if (where == QLatin1String("browser")) {
            const WhenShown<frmemail> browser([](frmemail &) { QApplication::quit(); });
            trigger(lists, "View Details");
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
            trigger(lists, "Merge");
        } else {
            const WhenShown<frmImport> import([](frmImport &window) {
                const WhenShown<QMessageBox> box([](QMessageBox &) { QApplication::quit(); });
                child<QPushButton>(window, "cmdImport")->click(); // no file was chosen
            });
            trigger(lists, "Open");
        }
    });
    QTimer::singleShot(0, &desk.window, [&] { trigger(desk.window, "List Manager"); });
    QApplication::exec();
    QVERIFY(!desk.window.isVisible());
    if (where == QLatin1String("merge")) {
        QCOMPARE(desk.op.told, QStringList(QStringLiteral("|Abort !")));
        QCOMPARE(desk.folder.rows(QStringLiteral("select count(*) from email"), 3),
                 QStringList(QStringLiteral("1")));
    }
}

QTEST_MAIN(TestListWindows)
#include "tst_listwindows.moc"

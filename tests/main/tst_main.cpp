// The main window as a person uses it: menus, toolbar, clicks and keys, against a real server on
// loopback where something is sent.

#include "connection.h"
#include "curlwebfetch.h"
#include "fakes.h"
#include "frmnewjob.h"
#include "frmsplash.h"
#include "interruptedrun.h"
#include "jobstore.h"
#include "mainwindow.h"
#include "programfolder.h"
#include "recordinghtmlview.h"
#include "recordingspreadsheet.h"
#include "smtpsendmail.h"
#include "smtpserver.h"
#include "sortablelist.h"
#include "testfolder.h"
#include "whenshown.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QTabWidget>
#include <QTest>
#include <QToolBar>

namespace
{

/// The program on a folder, with a server and a scripted person.
struct Desk {
    explicit Desk(ServerOptions options = {})
        : server(std::move(options))
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           folder.file(QStringLiteral("config")));
        useServer(QStringLiteral("127.0.0.1:%1").arg(server.port()));
    }

    void useServer(const QString &host) const
    {
        QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Quillbright"),
                  QStringLiteral("Quillbright"))
            .setValue(QStringLiteral("SMTP"), host);
    }

    qint64 addJob(const QString &name, const QStringList &recipients,
                  const QString &body = QStringLiteral("Hello"))
    {
        return folder.addJob(name, folder.addList(name + QStringLiteral(" list"), recipients),
                             folder.addMessage(name + QStringLiteral(" news"), body));
    }

    void open()
    {
        const WhenShown<frmSplash> key(
            [](frmSplash &splash) { QTest::keyClick(&splash, Qt::Key_Space); });
        window.load();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }

    template <typename T>
    T *find(const char *name) const
    {
        T *found = window.findChild<T *>(QString::fromLatin1(name));
        Q_ASSERT(found);
        return found;
    }
    QAction *toolbar(const char *key) const
    {
        return find<QToolBar>("Toolbar1")->findChild<QAction *>(QString::fromLatin1(key));
    }
    QString text(const char *label) const { return find<QLabel>(label)->text(); }

    void clickRow(int row) const
    {
        auto *list = find<SortableList>("lvTask");
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualRect(list->model()->index(row, 1)).center());
    }
    QString cell(int row, JobCell cell) const
    {
        return find<SortableList>("lvTask")->model()->index(row, int(cell)).data().toString();
    }
    QString stored() const
    {
        return folder
            .rows(QStringLiteral("select progress, total, unsent, success, failure, last_mid "
                                 "from mjob order by jobid"))
            .join(QLatin1Char(' '));
    }
    QByteArrayList received() const
    {
        QByteArrayList list;
        for (const ReceivedMessage &message : server.messages())
            list += message.recipients;
        return list;
    }

    SmtpServer server;
    TestFolder folder;
    ScriptedOperator op;
    FakeClock clock;
    EventLoopYield yield;
    CurlWebFetch web{yield};
    RecordingSpreadsheet spreadsheet;
    Main window{{folder.folder(), op, clock, yield, web, spreadsheet,
                 [](QWidget *parent) { return new RecordingHtmlView(parent); },
                 [this] { return std::make_unique<SmtpSendMail>(yield); }}};
};

QStringList addresses(int count)
{
    QStringList list;
    for (int i = 1; i <= count; ++i)
        list += QStringLiteral("r%1@example.org").arg(i);
    return list;
}

/// The server answers the final dot of every message from the third on late, so that the person has
/// time to press something while the third is on its way.
ServerOptions slowFromTheThird()
{
    ServerOptions options;
    options.rules = {
        {.command = "DATA-END", .delay = std::chrono::milliseconds(300), .skip = 2, .times = 1}};
    return options;
}

/// Does something once, while the third message is on its way.
class AtTheThird final : public QObject
{
public:
    AtTheThird(const SmtpServer &server, std::function<void()> action)
        : m_server(server)
        , m_action(std::move(action))
    {
        startTimer(5);
    }

protected:
    void timerEvent(QTimerEvent *event) override
    {
        if (m_server.messages().size() < 2 || m_server.transcript().count("C: DATA") < 3)
            return;
        killTimer(event->timerId());
        m_action();
    }

private:
    const SmtpServer &m_server;
    std::function<void()> m_action;
};

} // namespace

class TestMain final : public QObject
{
    Q_OBJECT

private slots:
    void firstStartMakesAJobOnce();
    void clickShowsAJob();
    void keyboardSelectionSendsTheSelectedJob();
    void sendsPausesResumesAndReruns();
    void onlyPauseIsEnabledDuringARun();
    void closingEndsARun();
    void closingAtTheLastRecipientAsksNothing();
    void optionsCountBeforeTheyAreApplied();
    void noServerOpensTheOptions();
    void editKeepsTheRow();
    void resets();
    void tabsShowTheSelectedJob();
    void splitterStaysWithinItsLimits();
    void reportsDatabaseErrors_data();
    void reportsDatabaseErrors();
    void interruptedRunIsPaused();
};

void TestMain::firstStartMakesAJobOnce()
{
    Desk desk;
    const WhenShown<frmNewJob> editor([](frmNewJob &window) { window.reject(); });
    desk.open();
    QTRY_VERIFY(!QApplication::activeModalWidget());
    QTest::qWait(150); // longer than the timer that must not fire again
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Welcome - No Job Selected"));
}

void TestMain::clickShowsAJob()
{
    Desk desk;
    desk.addJob(QStringLiteral("Spring"), addresses(1), QStringLiteral("Dear all"));
    desk.open();
    QVERIFY(!desk.toolbar("Start")->isEnabled());
    desk.clickRow(0);
    QVERIFY(desk.toolbar("Start")->isEnabled());
    QVERIFY(desk.find<QPushButton>("cmdEditMail")->isEnabled());
    QVERIFY(desk.find<QPushButton>("cmdPreview")->isEnabled());
    QVERIFY(desk.find<QPushButton>("cmdBrowse")->isEnabled());
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Selected Job : 1 - Spring"));
    QCOMPARE(desk.text("lbMailList"), QStringLiteral("Maillist : 1-Spring list"));
    QCOMPARE(desk.text("lbmSubject"), QStringLiteral(" Email Subject : Spring news"));
}

void TestMain::keyboardSelectionSendsTheSelectedJob()
{
    Desk desk;
    desk.addJob(QStringLiteral("First"), {QStringLiteral("a@example.org")},
                QStringLiteral("body of the first"));
    desk.addJob(QStringLiteral("Second"), {QStringLiteral("b@example.org")},
                QStringLiteral("body of the second"));
    desk.open();
    desk.clickRow(0); // the second, which is the newest
    QTest::keyClick(desk.find<SortableList>("lvTask"), Qt::Key_Down);
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Selected Job : 2 - Second"));
    desk.find<QAction>("mmJStart")->trigger();
    QCOMPARE(desk.received(), QByteArrayList{"a@example.org"});
    QVERIFY(desk.server.messages().first().data.contains("body of the first"));
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Selected Job : 1 - First"));
}

void TestMain::sendsPausesResumesAndReruns()
{
    ServerOptions options = slowFromTheThird();
    options.rules.append({.command = "RCPT", .text = "r4@", .reply = {"550 5.1.1 No such user"}});
    Desk desk(options);
    desk.addJob(QStringLiteral("Spring"), addresses(5));
    desk.open();
    desk.clickRow(0);
    const AtTheThird pause(desk.server, [&desk] { desk.toolbar("Pause")->trigger(); });
    desk.find<QAction>("mmJStart")->trigger();
    QCOMPARE(desk.stored(), QStringLiteral("Paused|5|2|3|0|3"));
    QCOMPARE(desk.cell(0, JobCell::Progress), QStringLiteral("Paused"));
    QCOMPARE(desk.text("Panel5"), QStringLiteral("Sent:3"));
    QVERIFY(desk.op.told.isEmpty());

    desk.op.answers.push(true);
    desk.op.answers.push(false);
    desk.toolbar("Start")->trigger();
    QCOMPARE(desk.stored(), QStringLiteral("Complete|5|0|4|1|0"));
    QCOMPARE(desk.op.asked.size(), 2);
    QCOMPARE(desk.received(), QByteArrayList({"r1@example.org", "r2@example.org", "r3@example.org",
                                              "r5@example.org"}));
    QCOMPARE(desk.folder.rows(QStringLiteral("select remark from email where mid=4"), 1).first(),
             QStringLiteral("550 5.1.1 No such user"));
    QCOMPARE(desk.text("Panel7"), QStringLiteral("Failed:1"));
    QCOMPARE(desk.find<QProgressBar>("ProgressBar1")->value(), 0);
}

void TestMain::onlyPauseIsEnabledDuringARun()
{
    Desk desk(slowFromTheThird());
    desk.addJob(QStringLiteral("Spring"), addresses(3));
    desk.open();
    desk.clickRow(0);
    QStringList enabled;
    Qt::CursorShape pointer = Qt::ArrowCursor;
    bool quiet = false;
    const AtTheThird look(desk.server, [&] {
        desk.clickRow(0); // looking at a job starts nothing and enables nothing
        for (const char *button : {"cmdEditMail", "cmdPreview", "cmdBrowse", "cmdCopy"}) {
            if (desk.find<QPushButton>(button)->isEnabled())
                enabled += QString::fromLatin1(button);
        }
        // Nor does a failing search hold up the run with a message box.
        desk.find<QLineEdit>("txtSearchJob")->setText(QStringLiteral("O'Brien"));
        desk.find<QComboBox>("combField")->setCurrentIndex(1);
        QTest::mouseClick(desk.find<QAbstractButton>("cmdRefresh"), Qt::LeftButton);
        quiet = desk.op.told.isEmpty();
        QList<QAction *> commands = desk.find<QToolBar>("Toolbar1")->actions();
        for (const char *menu : {"mmFile", "mmEdit", "mmJob", "mmHelp"})
            commands += desk.find<QMenu>(menu)->actions();
        for (const QAction *command : std::as_const(commands)) {
            if (command->isEnabled() && !command->isSeparator())
                enabled += command->objectName();
        }
        pointer = desk.window.cursor().shape();
    });
    desk.find<QAction>("mmJStart")->trigger();
    QCOMPARE(enabled, QStringList{QStringLiteral("Pause")});
    QVERIFY(quiet);
    QCOMPARE(pointer, Qt::WaitCursor);
    QCOMPARE(desk.window.cursor().shape(), Qt::ArrowCursor);
    QVERIFY(desk.find<QAction>("mnExit")->isEnabled());
    QCOMPARE(desk.op.told.size(), 1);
}

void TestMain::closingEndsARun()
{
    Desk desk(slowFromTheThird());
    desk.addJob(QStringLiteral("Spring"), addresses(5));
    desk.open();
    desk.clickRow(0);
    const AtTheThird close(desk.server, [&desk] { desk.window.close(); });
    desk.find<QAction>("mmJStart")->trigger();
    QVERIFY(!desk.window.isVisible());
    QCOMPARE(desk.received().size(), 3);
    QCOMPARE(desk.stored(), QStringLiteral("Paused|5|2|3|0|3"));
    QVERIFY(desk.op.told.isEmpty());
}

void TestMain::closingAtTheLastRecipientAsksNothing()
{
    ServerOptions options = slowFromTheThird();
    options.rules.append({.command = "RCPT", .text = "r1@", .reply = {"550 no"}});
    options.rules.first().skip = 1;
    Desk desk(options);
    desk.addJob(QStringLiteral("Spring"), addresses(3));
    desk.open();
    desk.clickRow(0);
    bool closed = false;
    QTimer watch;
    connect(&watch, &QTimer::timeout, &watch, [&] {
        if (!closed && desk.server.transcript().count("C: RCPT TO:<r3@example.org>") > 0) {
            closed = true;
            desk.window.close();
        }
    });
    watch.start(5);
    desk.find<QAction>("mmJStart")->trigger();
    QVERIFY(closed);
    QVERIFY(!desk.window.isVisible());
    QCOMPARE(desk.received().size(), 2); // no rerun over the one that failed
    QCOMPARE(desk.stored(), QStringLiteral("Complete|3|0|2|1|0"));
}

void TestMain::optionsCountBeforeTheyAreApplied()
{
    Desk desk;
    desk.useServer(QStringLiteral("127.0.0.1:1"));
    desk.addJob(QStringLiteral("Spring"), addresses(1));
    desk.open();
    desk.clickRow(0);
    {
        const WhenShown<QDialog> options([&desk](QDialog &window) {
            window.findChild<QLineEdit *>(QStringLiteral("txtSMTP"))
                ->setText(QStringLiteral("127.0.0.1:%1").arg(desk.server.port()));
            desk.op.answers = {};
            window.hide();
        });
        desk.toolbar("Options")->trigger();
    }
    desk.toolbar("Start")->trigger();
    QCOMPARE(desk.received().size(), 1);
}

void TestMain::noServerOpensTheOptions()
{
    Desk desk;
    desk.useServer({});
    desk.addJob(QStringLiteral("Spring"), addresses(1));
    desk.open();
    desk.clickRow(0);
    const WhenShown<QDialog> options([](QDialog &window) {
        QCOMPARE(window.windowTitle(), QStringLiteral("Options"));
        QTest::mouseClick(window.findChild<QPushButton *>(QStringLiteral("cmdClose")),
                          Qt::LeftButton);
    });
    desk.toolbar("Start")->trigger();
    QCOMPARE(desk.op.told, QStringList{QStringLiteral("|Please enter a SMTP server in the Options "
                                                      "Window and send again !")});
    QVERIFY(desk.toolbar("Start")->isEnabled());
    QCOMPARE(desk.window.cursor().shape(), Qt::ArrowCursor);
}

void TestMain::editKeepsTheRow()
{
    Desk desk;
    for (const char *name : {"One", "Two", "Three"})
        desk.addJob(QString::fromLatin1(name), {});
    desk.open();
    desk.clickRow(1);
    const WhenShown<frmNewJob> editor([](frmNewJob &window) {
        auto *name = window.findChild<QLineEdit *>(QStringLiteral("txtJobName"));
        QCOMPARE(name->text(), QStringLiteral("Two"));
        name->setText(QStringLiteral("Bob's mailing"));
        QTest::mouseClick(window.findChild<QPushButton *>(QStringLiteral("cmdOK")), Qt::LeftButton);
    });
    desk.toolbar("Edit")->trigger();
    QCOMPARE(desk.folder.rows(QStringLiteral("select jobname from mjob where jobid=2")).first(),
             QStringLiteral("Bob's mailing"));
    QCOMPARE(desk.cell(1, JobCell::Name), QStringLiteral("Bob's mailing"));
    QCOMPARE(desk.find<SortableList>("lvTask")->currentIndex().row(), 1);
}

void TestMain::resets()
{
    Desk desk;
    desk.addJob(QStringLiteral("Spring"), addresses(2));
    desk.open();
    desk.clickRow(0);
    desk.toolbar("Start")->trigger();
    desk.toolbar("Reset")->trigger();
    QCOMPARE(desk.stored(), QStringLiteral("|2|0|0|0|0"));
    QCOMPARE(desk.cell(0, JobCell::Progress), QString());
    QCOMPARE(desk.cell(0, JobCell::Total), QStringLiteral("2"));

    QVERIFY(QFile::remove(desk.folder.folder().listDatabaseFile(1)));
    desk.op.told.clear();
    desk.toolbar("Reset")->trigger();
    QCOMPARE(desk.op.told.size(), 1);
    QVERIFY(desk.op.told.first().startsWith(QStringLiteral("Error|Error # ")));
    QCOMPARE(desk.cell(0, JobCell::Total), QStringLiteral("2"));
}

void TestMain::tabsShowTheSelectedJob()
{
    Desk desk;
    desk.addJob(QStringLiteral("Spring"),
                {QStringLiteral("'a@example.org','Ann'"), QStringLiteral("'b@example.org','Ben'")},
                QStringLiteral("Dear %%FIRSTNAME%%"));
    desk.addJob(QStringLiteral("Autumn"), addresses(7), QStringLiteral("<b>Hi</b>"));
    desk.folder.execute(QStringLiteral("update mmsg set format='HTML' where msgid=2"));
    desk.open();
    desk.clickRow(0);
    auto *tabs = desk.find<QTabWidget>("TabStrip1");
    auto *grid = desk.window.findChild<QAbstractItemView *>(QStringLiteral("DataGrid1"));
    tabs->setCurrentIndex(2);
    QCOMPARE(grid->model()->rowCount(), 7);
    desk.clickRow(1);
    QCOMPARE(grid->model()->rowCount(), 2);
    tabs->setCurrentIndex(3);
    QCOMPARE(desk.text("Panel3"), QStringLiteral("Record: 1/2"));
    QFile scratch(desk.folder.file(QStringLiteral("mview.htm")));
    QVERIFY(scratch.open(QIODevice::ReadOnly));
    QVERIFY(scratch.readAll().contains("<b>Hi</b>"));
}

void TestMain::splitterStaysWithinItsLimits()
{
    Desk desk;
    desk.addJob(QStringLiteral("Spring"), {});
    desk.open();
    auto *bar = desk.find<QWidget>("Picture2");
    auto *splitter = qobject_cast<QSplitter *>(bar->parentWidget());
    const auto dragBy = [&](int dy) {
        const QPoint from = bar->rect().center();
        QTest::mousePress(bar, Qt::LeftButton, {}, from);
        QTest::mouseMove(bar, from + QPoint(0, dy / 2));
        QTest::mouseMove(bar, from + QPoint(0, dy));
        QTest::mouseRelease(bar, Qt::LeftButton, {},
                            bar->mapFromGlobal(bar->mapToGlobal(from)) + QPoint(0, dy));
        return splitter->sizes();
    };
    const int before = splitter->sizes().first();
    QVERIFY(dragBy(-40).first() < before);
    dragBy(-5000);
    QVERIFY(bar->y() >= 0);
    QVERIFY(bar->y() < before);
    dragBy(5000);
    QVERIFY(bar->geometry().bottom() < splitter->height());
    QVERIFY(bar->y() > splitter->height() / 2);
}

void TestMain::reportsDatabaseErrors_data()
{
    QTest::addColumn<QString>("damaged");
    QTest::newRow("system database") << "sys.mdb";
    QTest::newRow("list database") << "data\\m1.mdb";
}

void TestMain::reportsDatabaseErrors()
{
    QFETCH(QString, damaged);
    Desk desk;
    desk.addJob(QStringLiteral("Spring"), addresses(1));
    QFile file(desk.folder.file(damaged));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QByteArray("garbage").repeated(2000));
    file.close();
    if (damaged == QLatin1String("sys.mdb")) {
        desk.open();
        QTest::qWait(150); // longer than the timer that leads a first start into making a job
        QCOMPARE(desk.op.told.size(), 1);
    } else {
        desk.open();
        desk.clickRow(0);
        desk.find<QTabWidget>("TabStrip1")->setCurrentIndex(2);
        desk.toolbar("Start")->trigger();
        QVERIFY(desk.toolbar("Start")->isEnabled());
        QVERIFY(!desk.op.told.isEmpty());
    }
    for (const QString &text : std::as_const(desk.op.told))
        QVERIFY2(text.contains(QStringLiteral("is damaged or is not a database")),
                 qPrintable(text));
    QVERIFY(desk.window.isVisible());
}

void TestMain::interruptedRunIsPaused()
{
    Desk desk;
    desk.addJob(QStringLiteral("Spring"), addresses(3));
    {
        Connection list(desk.folder.folder().listConnectionString(1));
        RunMarker::begin(list, 1, QStringLiteral("2026/11/15 10:00:00"), 2);
    }
    QFile lock(desk.folder.file(QStringLiteral("data\\m1.lock")));
    QVERIFY(lock.open(QIODevice::WriteOnly)); // empty, as a power cut leaves it
    QVERIFY(lock.setFileTime(QDateTime::currentDateTime().addSecs(-60),
                             QFileDevice::FileModificationTime));
    lock.close();
    desk.open();
    QCOMPARE(desk.cell(0, JobCell::Progress), QStringLiteral("Paused"));
    desk.clickRow(0);
    desk.toolbar("Start")->trigger();
    QCOMPARE(desk.received(), QByteArrayList{"r3@example.org"});
}

QTEST_MAIN(TestMain)
#include "tst_main.moc"

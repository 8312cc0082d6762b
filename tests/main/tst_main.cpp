// The main window as a person uses it: menus, toolbar, clicks and keys, against a real server on
// loopback where something is sent.

#include "connection.h"
#include "desk.h"
#include "frmnewjob.h"
#include "interruptedrun.h"
#include "smtpserver.h"
#include "testfiles.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>

namespace
{

/// The program with a server.
struct ServerDesk : Desk {
    explicit ServerDesk(ServerOptions options = {})
        : server(std::move(options))
    {
        useServer(QStringLiteral("127.0.0.1:%1").arg(server.port()));
    }
    void useServer(const QString &host) const
    {
        QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Quillbright"),
                  QStringLiteral("Quillbright"))
            .setValue(QStringLiteral("SMTP"), host);
    }
    /// The job "Spring" of `count` recipients.
    void addSpring(int count) const
    {
        QStringList recipients;
        for (int i = 1; i <= count; ++i)
            recipients += QStringLiteral("r%1@example.org").arg(i);
        addJob("Spring", recipients);
    }
    void openSpring(int count)
    {
        addSpring(count);
        open();
        clickRow(0);
    }

    QString text(const char *label) const { return find<QLabel>(label)->text(); }
    QString cell(int row, JobCell cell) const
    {
        return jobs()->model()->index(row, int(cell)).data().toString();
    }
    QString stored() const
    {
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }
    QByteArrayList received() const
    {
        QByteArrayList list;
        for (const ReceivedMessage &message : server.messages())
            list += message.recipients;
        return list;
    }

    SmtpServer server;
};

/// The server answers the final dot of every message from the third on late, so that the person has
/// time to press something while the third is on its way.
ServerOptions slowFromTheThird()
{
    ServerOptions options;
    options.rules = {
        {.command = "DATA-END", .delay = std::chrono::milliseconds(300), .skip = 2, .times = 1}};
    return options;
}

/// Does something once, while the message to the third recipient is on its way.
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
        if (!m_server.transcript().contains("C: RCPT TO:<r3@example.org>"))
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
    void sendsTheSelectedJob();
    void tabsShowTheSelectedJob();
    void showsTheMessageOfTheJob();
    void sendsPausesResumesAndReruns();
    void onlyPauseIsEnabledDuringARun();
    void closingEndsARun();
    void closingAtTheLastRecipientAsksNothing();
    void optionsCountBeforeTheyAreApplied();
    void noServerOpensTheOptions();
    void editKeepsTheRow();
    void reportsDatabaseErrors_data();
    void reportsDatabaseErrors();
    void interruptedRunIsPaused();
};

void TestMain::firstStartMakesAJobOnce()
{
    ServerDesk desk;
    const WhenShown<frmNewJob> editor([](frmNewJob &window) { window.reject(); });
    desk.open();
    QTRY_VERIFY(!QApplication::activeModalWidget());
    QTest::qWait(150); // longer than the timer that must not fire again
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Welcome - No Job Selected"));
}

void TestMain::sendsTheSelectedJob()
{
    ServerDesk desk;
    desk.addJob("First", {QStringLiteral("a@example.org")}, "body of the first");
    desk.addJob("Second", {QStringLiteral("b@example.org")});
    desk.open();
    QVERIFY(!desk.toolbar("Start")->isEnabled());
    desk.clickRow(0); // the second, which is the newest
    QVERIFY(desk.toolbar("Start")->isEnabled());
    for (const char *button : {"cmdEditMail", "cmdPreview", "cmdBrowse"})
        QVERIFY2(desk.find<QPushButton>(button)->isEnabled(), button);
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Selected Job : 2 - Second"));
    QCOMPARE(desk.text("lbMailList"), QStringLiteral("Maillist : 2-Second list"));
    QCOMPARE(desk.text("lbmSubject"), QStringLiteral(" Email Subject : Second news"));
    // The keyboard selects another one, which is shown when it is sent.
    QTest::keyClick(desk.jobs(), Qt::Key_Down);
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Selected Job : 2 - Second"));
    desk.find<QAction>("mmJStart")->trigger();
    QCOMPARE(desk.received(), QByteArrayList{"a@example.org"});
    QVERIFY(desk.server.messages().first().data.contains("body of the first"));
    QCOMPARE(desk.text("lbJob"), QStringLiteral("Selected Job : 1 - First"));
}

void TestMain::tabsShowTheSelectedJob()
{
    ServerDesk desk;
    desk.addJob("Spring",
                {QStringLiteral("'a@example.org','Ann'"), QStringLiteral("'b@example.org','Ben'")},
                QStringLiteral("Dear %%FIRSTNAME%%"));
    desk.addJob("Autumn", {QStringLiteral("c@example.org")});
    desk.open();
    desk.clickRow(0);
    auto *grid = desk.find<QAbstractItemView>("DataGrid1");
    desk.showTab(2);
    QCOMPARE(grid->model()->rowCount(), 1);
    desk.clickRow(1);
    QCOMPARE(grid->model()->rowCount(), 2);
    desk.showTab(3);
    QCOMPARE(desk.text("Panel3"), QStringLiteral("Record: 1/2"));
    QCOMPARE(desk.find<QPlainTextEdit>("Text1")->toPlainText(), QStringLiteral("Dear Ann"));
}

void TestMain::showsTheMessageOfTheJob()
{
    ServerDesk desk;
    desk.addJob("Plain", {}, "<b>x</b>");
    desk.addJob("Rich", {}, "<p>Chloé</p>\r\n");
    desk.folder.execute("update mmsg set subject='<b>News</b>', attach01='/a', attach03='/c'");
    desk.folder.execute("update mmsg set format='HTML' where msgid=2");
    desk.open();
    const auto *source = desk.find<QPlainTextEdit>("txtSource");
    const auto fields = [&desk] {
        QStringList texts;
        for (const char *name : {"txtmmSubject", "txtmSenderName", "txtmSendermail", "txtmFormat",
                                 "txtmAtt01", "txtmAtt02", "txtmAtt03", "txtAllAttach"})
            texts += desk.find<QLineEdit>(name)->text();
        return texts.join(QLatin1Char('|'));
    };
    QVERIFY(!source->isVisible()); // but the start page
    desk.clickRow(1);
    QVERIFY(source->isVisible());
    QCOMPARE(source->toPlainText(), QStringLiteral("<b>x</b>"));
    QCOMPARE(desk.find<QLabel>("lbmSubject")->textFormat(), Qt::PlainText);
    QCOMPARE(fields(), QStringLiteral("<b>News</b>|The Club|club@example.org|TEXT|/a||/c|/a;/c;"));
    desk.clickRow(0);
    QVERIFY(!source->isVisible());
    const QString page = desk.folder.file("mview.htm");
    QCOMPARE(readFile(page), QByteArray("\xef\xbb\xbf<p>Chloé</p>\r\n\r\n"));

    // Of a message that cannot be read or shown nothing of the one before is left.
    QVERIFY(QFile::remove(page) && QDir().mkdir(page));
    desk.folder.execute("update mmsg set format='html'"); // which is text
    desk.clickRow(0);
    QVERIFY(source->isVisible());
    desk.folder.execute("update mmsg set format='HTML', subject='New'");
    desk.clickRow(0);
    QVERIFY2(
        desk.op.told.last().contains(QStringLiteral("was generated by File system\rCannot write")),
        qPrintable(desk.op.told.last()));
    QVERIFY(fields().startsWith(QStringLiteral("New|")));
    QVERIFY(!source->isVisible() || source->toPlainText().isEmpty());
    desk.folder.execute("delete from mmsg where msgid=1");
    desk.clickRow(1);
    QCOMPARE(desk.op.told.last(), QStringLiteral("Error|Error # 0 was generated by Quillbright\r"
                                                 "There is no message 1."));
    QCOMPARE(fields(), QStringLiteral("|||||||"));
    QCOMPARE(desk.op.told.size(), 2);
}

void TestMain::sendsPausesResumesAndReruns()
{
    ServerOptions options = slowFromTheThird();
    options.rules.append({.command = "RCPT", .text = "r4@", .reply = {"550 5.1.1 No such user"}});
    ServerDesk desk(options);
    desk.openSpring(5);
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
    QCOMPARE(desk.folder.row("select remark from email where mid=4", 1),
             QStringLiteral("550 5.1.1 No such user"));
    QCOMPARE(desk.text("Panel7"), QStringLiteral("Failed:1"));
    QCOMPARE(desk.find<QProgressBar>("ProgressBar1")->value(), 0);

    desk.toolbar("Reset")->trigger();
    QCOMPARE(desk.stored(), QStringLiteral("|5|0|0|0|0"));
    QCOMPARE(desk.cell(0, JobCell::Progress) + desk.cell(0, JobCell::Total), QStringLiteral("5"));
}

void TestMain::onlyPauseIsEnabledDuringARun()
{
    ServerDesk desk(slowFromTheThird());
    desk.openSpring(3);
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
    ServerDesk desk(slowFromTheThird());
    desk.openSpring(5);
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
    ServerDesk desk(options);
    desk.openSpring(3);
    const AtTheThird close(desk.server, [&desk] { desk.window.close(); });
    desk.find<QAction>("mmJStart")->trigger();
    QVERIFY(!desk.window.isVisible());
    QCOMPARE(desk.received().size(), 2); // no rerun over the one that failed
    QCOMPARE(desk.stored(), QStringLiteral("Complete|3|0|2|1|0"));
}

void TestMain::optionsCountBeforeTheyAreApplied()
{
    ServerDesk desk;
    desk.useServer(QStringLiteral("127.0.0.1:1"));
    desk.openSpring(1);
    {
        const WhenShown<QDialog> options([&desk](QDialog &window) {
            window.findChild<QLineEdit *>(QStringLiteral("txtSMTP"))
                ->setText(QStringLiteral("127.0.0.1:%1").arg(desk.server.port()));
            window.hide();
        });
        desk.toolbar("Options")->trigger();
    }
    desk.toolbar("Start")->trigger();
    QCOMPARE(desk.received().size(), 1);
}

void TestMain::noServerOpensTheOptions()
{
    ServerDesk desk;
    desk.useServer({});
    desk.openSpring(1);
    const WhenShown<QDialog> options([](QDialog &window) {
        QCOMPARE(window.windowTitle(), QStringLiteral("Options"));
        QTest::mouseClick(window.findChild<QPushButton *>(QStringLiteral("cmdClose")),
                          Qt::LeftButton);
    });
    desk.toolbar("Start")->trigger();
    QCOMPARE(desk.op.told,
             QStringList{QStringLiteral(
                 "|Please enter a SMTP server in the Options Window and send again !")});
    QVERIFY(desk.toolbar("Start")->isEnabled());
    QCOMPARE(desk.window.cursor().shape(), Qt::ArrowCursor);
}

void TestMain::editKeepsTheRow()
{
    ServerDesk desk;
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
    QCOMPARE(desk.folder.row("select jobname from mjob where jobid=2"),
             QStringLiteral("Bob's mailing"));
    QCOMPARE(desk.cell(1, JobCell::Name), QStringLiteral("Bob's mailing"));
    QCOMPARE(desk.jobs()->currentIndex().row(), 1);
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
    ServerDesk desk;
    desk.addSpring(1);
    writeFile(desk.folder.file(damaged), QByteArray("garbage").repeated(2000));
    desk.open();
    if (damaged == QLatin1String("sys.mdb")) {
        QTest::qWait(150); // longer than the timer that leads a first start into making a job
        QCOMPARE(desk.op.told.size(), 1);
    } else {
        desk.clickRow(0);
        desk.showTab(2);
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
    ServerDesk desk;
    desk.addSpring(3);
    {
        Connection list(desk.folder.folder().listConnectionString(1));
        RunMarker::begin(list, 1, QStringLiteral("2026/11/15 10:00:00"), 2);
    }
    QFile lock(desk.folder.file("data\\m1.lock"));
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

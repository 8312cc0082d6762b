// The road of a new user: from an empty program folder to a sent job, by clicks and keys in the
// real windows alone. With QUILLBRIGHT_PICTURES set to a folder it takes the guide's pictures on
// the way, with the engine that shows HTML to people.

#include "appearance.h"
#include "desk.h"
#include "desktopspreadsheet.h"
#include "frmemail.h"
#include "frmimport.h"
#include "frmmgrlist.h"
#include "frmmgrmsg.h"
#include "frmnewjob.h"
#include "frmnewlist.h"
#include "frmnewmail.h"
#include "frmpinfo.h"
#include "frmsend.h"
#include "smtpserver.h"
#include "testfiles.h"
#include "texthtmlview.h"
#include "webhtmlview.h"

#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabBar>

namespace
{

/// The property of a view that has read its page.
constexpr const char *isRead = "isRead";

QString picturesFolder()
{
    return qEnvironmentVariable("QUILLBRIGHT_PICTURES");
}

void picture(QWidget &window, const char *name)
{
    if (picturesFolder().isEmpty())
        return;
    for (auto *view : window.findChildren<WebHtmlView *>()) {
        if (view->isVisible())
            QTRY_VERIFY_WITH_TIMEOUT(view->property(isRead).toBool(), 30'000);
    }
    QTest::qWait(1000); // for what is painted late
    QVERIFY(window.grab().save(
        QStringLiteral("%1/%2.png").arg(picturesFolder(), QString::fromLatin1(name))));
}

HtmlView *makeHtmlView(QWidget *parent)
{
    if (picturesFolder().isEmpty())
        return new TextHtmlView(parent);
    auto *view = new WebHtmlView(parent);
    QObject::connect(view, &WebHtmlView::finished, view,
                     [view] { view->setProperty(isRead, true); });
    return view;
}

} // namespace

class TestRoad final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void fromAnEmptyProgramToASentJob();

private:
    void makeList(frmNewJob &job);
    void writeMessage(frmNewJob &job);
    void sendTest(frmMgrMsg &manager);

    TestFolder m_folder;
    SmtpServer m_server;
    ScriptedOperator m_op;
};

void TestRoad::initTestCase()
{
    setUpAppearance();
    writeFile(m_folder.file("members.csv"),
              "ada@example.org,Ada,Whitfield,Mrs,0117 496 0011,Whitfield & Daughters,\r\n"
              "brian@example.org,Brian,O'Brien,Mr,0117 496 0023,O'Brien's Garage,\r\n"
              "frieda@example.org,Frieda,M\xc3\xbcller,Prof,+49 30 2318 0077,,\r\n");
}

/// "Create List": a name, and the recipients from a file.
void TestRoad::makeList(frmNewJob &job)
{
    const WhenShown<frmNewList> list([this](frmNewList &window) {
        type(window, "Text1", "Friends of the Library");
        picture(window, "road-2-new-list");
        const WhenShown<frmImport> import([this](frmImport &importWindow) {
            m_op.files.push(m_folder.file("members.csv"));
            press(importWindow, "cmdOpen");
            picture(importWindow, "road-3-import");
            press(importWindow, "cmdImport");
            importWindow.reject();
        });
        press(window, "cmdImport");
    });
    press(job, "cmdList");
}

/// "Create Mail": sender, subject and a body with merge fields.
void TestRoad::writeMessage(frmNewJob &job)
{
    const WhenShown<frmNewMail> mail([](frmNewMail &window) {
        type(window, "txtSendername", "Greenfield Library");
        type(window, "txtSendermail", "library@greenfield.example");
        type(window, "txtReplymail", "desk@greenfield.example");
        type(window, "txtSubject", "Book sale on Saturday");
        child<QComboBox>(window, "combFormat")->setCurrentText(QStringLiteral("HTML"));
        auto *body = child<QPlainTextEdit>(window, "txtSource");
        body->setFocus();
        QTest::keyClicks(body, QStringLiteral("<h2>Dear %%TITLE%% %%LASTNAME%%,</h2>"));
        QTest::keyClick(body, Qt::Key_Return);
        QTest::keyClicks(body, QStringLiteral("<p>you may come an hour before the others.</p>"));
        picture(window, "road-4-new-email");
        child<QTabBar>(window, "TabStrip1")->setCurrentIndex(1);
        picture(window, "road-5-email-preview");
        press(window, "cmdOK");
    });
    press(job, "cmdMail");
}

void TestRoad::sendTest(frmMgrMsg &manager)
{
    picture(manager, "email-manager");
    for (const char *undone : {"kept", ""}) {
        const WhenShown<frmNewMail> editor([this, undone](frmNewMail &window) {
            auto *body = child<QPlainTextEdit>(window, "txtSource");
            // Every editing begins with a history of its own: nothing is left of another message.
            QTest::keyClick(body, Qt::Key_Z, Qt::ControlModifier);
            QCOMPARE(body->toPlainText().isEmpty(), *undone == '\0');
            m_op.choices.push(QStringLiteral("&Discard"));
            press(window, "cmdCancel");
        });
        press(manager, "Properties");
    }
    const WhenShown<frmSend> send([](frmSend &window) {
        type(window, "txtEmail", "me@greenfield.example");
        picture(window, "road-7-test");
        press(window, "cmdSend");
    });
    press(manager, "MAILLIST");
    manager.reject();
}

void TestRoad::fromAnEmptyProgramToASentJob()
{
    FakeClock clock;
    EventLoopYield yield;
    CurlWebFetch web(yield);
    DesktopSpreadsheet spreadsheet;
    Main main({m_folder.folder(), m_op, clock, yield, web, spreadsheet, &makeHtmlView,
               [&yield] { return std::make_unique<SmtpSendMail>(yield); }});
    main.resize(1100, 760);

    {
        // The first start leads straight into a first job.
        const WhenShown<frmNewJob> job([this](frmNewJob &window) {
            picture(window, "road-1-new-job");
            type(window, "txtJobName", "Book sale");
            makeList(window);
            writeMessage(window);
            picture(window, "road-6-job");
            press(window, "cmdOK");
        });
        const WhenShown<frmSplash> splash(
            [](frmSplash &window) { QTest::keyClick(&window, Qt::Key_Space); });
        main.load();
        QTRY_COMPARE(m_folder.row("select count(*) from mjob"), QStringLiteral("1"));
    }
    QTRY_VERIFY(!QApplication::activeModalWidget());
    QCOMPARE(m_folder.row("select rec_count from mlist"), QStringLiteral("3"));
    {
        const WhenShown<frmPinfo> options([this](frmPinfo &window) {
            type(window, "txtSMTP",
                 QStringLiteral("127.0.0.1:%1").arg(m_server.port()).toUtf8().constData());
            press(window, "Command1");
            press(window, "cmdClose");
        });
        press(main, "Options");
    }
    {
        const WhenShown<frmMgrMsg> messages([this](frmMgrMsg &window) { sendTest(window); });
        press(main, "Mail Manager");
    }
    QCOMPARE(m_server.messages().size(), 1);
    QVERIFY(m_server.messages()[0].data.contains("%%LASTNAME%%"));
    {
        const WhenShown<frmMgrList> lists([](frmMgrList &window) {
            picture(window, "list-manager");
            const WhenShown<frmemail> browser([](frmemail &recipients) {
                picture(recipients, "recipients");
                recipients.reject();
            });
            press(window, "View Details");
            window.reject();
        });
        press(main, "List Manager");
    }

    auto *jobs = child<SortableList>(main, "lvTask");
    QTest::mouseClick(jobs->viewport(), Qt::LeftButton, {},
                      jobs->visualRect(jobs->model()->index(0, 1)).center());
    press(main, "Start");
    picture(main, "road-8-sent");

    QCOMPARE(m_folder.row("select progress, success, failure from mjob"),
             QStringLiteral("Complete|3|0"));
    const QList<ReceivedMessage> received = m_server.messages();
    QCOMPARE(received.size(), 4);
    QCOMPARE(received[2].recipients, QByteArrayList{"brian@example.org"});
    QVERIFY(received[2].data.contains("<h2>Dear Mr O'Brien,</h2>"));
    QVERIFY(received[2].data.contains("Subject: Book sale on Saturday\r\n"));
    QCOMPARE(m_op.told.last(), QStringLiteral("|Job [Book sale] completed successfully."));
}

QTEST_MAIN(TestRoad)
#include "tst_road.moc"

// The road of a new user: from an empty program folder to a sent job, by clicks and keys in the
// real windows alone. With QUILLBRIGHT_PICTURES set to a folder it takes the guide's pictures on
// the way, with the engine that shows HTML to people.

#include "appearance.h"
#include "desk.h"
#include "frmemail.h"
#include "frmimport.h"
#include "frmmgrlist.h"
#include "frmmgrmsg.h"
#include "frmnewjob.h"
#include "frmnewmail.h"
#include "frmpinfo.h"
#include "frmsend.h"
#include "listdialogs.h"
#include "testfiles.h"
#include "webhtmlview.h"

#include <QComboBox>
#include <QPlainTextEdit>
#include <QTabBar>

namespace
{

const QString pictures = qEnvironmentVariable("QUILLBRIGHT_PICTURES");

void picture(QWidget &window, const char *name)
{
    if (pictures.isEmpty())
        return;
    QTest::qWait(3000); // for the engine
    QVERIFY(window.grab().save(u"%1/%2.png"_s.arg(pictures, QLatin1String(name))));
}

} // namespace

class TestRoad final : public QObject
{
    Q_OBJECT

private slots:
    void fromAnEmptyProgramToASentJob()
    {
        setUpAppearance();
        Desk desk(
            {}, pictures.isEmpty() ? HtmlViewFactory() : [](QWidget *parent) -> HtmlView * {
                return new WebHtmlView(parent);
            });
        desk.useServer({});
        desk.window.resize(1100, 760);
        {
            // The first start leads straight into a first job.
            const WhenShown<frmNewJob> job([&](frmNewJob &window) {
                picture(window, "road-1-new-job");
                type(window, "txtJobName", "Book sale");
                makeList(desk, window);
                writeMessage(window);
                picture(window, "road-6-job");
                press(window, "cmdOK");
            });
            desk.open();
            QTRY_COMPARE(desk.folder.row("select count(*) from mjob"), "1");
        }
        QTRY_VERIFY(!QApplication::activeModalWidget());
        QCOMPARE(desk.folder.row("select rec_count from mlist"), "3");
        {
            // Without a server a start leads to its box; what is in it counts before it is applied.
            const WhenShown<frmPinfo> options([&desk](frmPinfo &window) {
                type(window, "txtSMTP", u"127.0.0.1:%1"_s.arg(desk.server.port()));
                window.hide();
            });
            press(desk.window, "Start"); // the job that was made is the selected one
            QVERIFY(desk.op.told.last().startsWith("|Please enter a SMTP server in the Options"));
        }
        during<frmMgrMsg>([&] { press(desk.window, "Mail Manager"); },
                          [](frmMgrMsg &manager) {
                              picture(manager, "email-manager");
                              during<frmSend>([&] { press(manager, "MAILLIST"); },
                                              [](frmSend &window) {
                                                  type(window, "txtEmail", "me@green.example");
                                                  picture(window, "road-7-test");
                                                  press(window, "cmdSend");
                                              });
                          });
        QCOMPARE(desk.received(), QByteArrayList{"me@green.example"});
        during<frmPinfo>([&] { press(desk.window, "Options"); },
                         [](frmPinfo &window) {
                             press(window, "Command1");
                             press(window, "cmdClose");
                         });
        during<frmMgrList>([&] { press(desk.window, "List Manager"); },
                           [](frmMgrList &manager) {
                               picture(manager, "list-manager");
                               during<frmemail>(
                                   [&] { press(manager, "View Details"); },
                                   [](frmemail &window) { picture(window, "recipients"); });
                           });

        press(desk.window, "Start");
        picture(desk.window, "road-8-sent");
        QCOMPARE(desk.stored(), "Complete|3|0|3|0|0");
        const QList<ReceivedMessage> received = desk.server.messages();
        QCOMPARE(received.size(), 4);
        QVERIFY(received[0].data.contains("%%LASTNAME%%")); // the test
        QCOMPARE(received[2].recipients, QByteArrayList{"brian@example.org"});
        QVERIFY(received[2].data.contains("<h2>Dear Mr O'Brien,</h2>"));
        QVERIFY(received[2].data.contains("Subject: Book sale on Saturday\r\n"));
        QCOMPARE(desk.op.told.last(), "|Job [Book sale] completed successfully.");
    }

private:
    /// "Create List": a name, and the recipients from a file.
    static void makeList(Desk &desk, frmNewJob &job)
    {
        const WhenShown<frmNewList> list([&](frmNewList &window) {
            type(window, "Text1", "Friends of the Library");
            picture(window, "road-2-new-list");
            const WhenShown<frmImport> import([&](frmImport &importWindow) {
                desk.op.files.push(writeFile(
                    desk.folder.file("members.csv"),
                    "ada@example.org,Ada,Whitfield,Mrs,0117 496 0011,Whitfield & Daughters,\r\n"
                    "brian@example.org,Brian,O'Brien,Mr,0117 496 0023,O'Brien's Garage,\r\n"
                    "frieda@example.org,Frieda,M\xc3\xbcller,Prof,+49 30 2318 0077,,\r\n"));
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
    static void writeMessage(frmNewJob &job)
    {
        const WhenShown<frmNewMail> mail([](frmNewMail &window) {
            type(window, "txtSendername", "Greenfield Library");
            type(window, "txtSendermail", "library@greenfield.example");
            type(window, "txtReplymail", "desk@greenfield.example");
            type(window, "txtSubject", "Book sale on Saturday");
            child<QComboBox>(window, "combFormat")->setCurrentText("HTML");
            auto *body = child<QPlainTextEdit>(window, "txtSource");
            QTest::keyClicks(body, "<h2>Dear %%TITLE%% %%LASTNAME%%,</h2>");
            QTest::keyClick(body, Qt::Key_Return);
            QTest::keyClicks(body, "<p>you may come an hour before the others.</p>");
            picture(window, "road-4-new-email");
            child<QTabBar>(window, "TabStrip1")->setCurrentIndex(1);
            picture(window, "road-5-email-preview");
            press(window, "cmdOK");
        });
        press(job, "cmdMail");
    }
};

QTEST_MAIN(TestRoad)
#include "tst_road.moc"

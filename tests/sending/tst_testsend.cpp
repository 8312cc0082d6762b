#include "frmsend.h"

#include "fakes.h"
#include "testfolder.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace
{

/// The window as a person has it before them, with a message and a server set.
struct Desk {
    Desk()
    {
        settings.values.smtpServer = QStringLiteral("mail.example.org");
        message = folder.addMessage(QStringLiteral("News"), QStringLiteral("Hi %%FIRSTNAME%%"));
    }

    template <typename T>
    T *find(const char *name) const
    {
        return window.findChild<T *>(QLatin1String(name));
    }
    QPushButton *cancel() const { return find<QPushButton>("cmdCancel"); }
    QPushButton *sendButton() const { return find<QPushButton>("cmdSend"); }
    QString status() const { return find<QLabel>("lbStatus")->text(); }
    void type(const QString &address) const
    {
        find<QLineEdit>("txtEmail")->selectAll();
        QTest::keyClicks(find<QLineEdit>("txtEmail"), address);
    }
    void press(QPushButton *button) const { QTest::mouseClick(button, Qt::LeftButton); }
    /// Shows the window and does `acts` in it; true when it had been left by itself.
    bool use(const std::function<void()> &acts)
    {
        bool isLeft = false;
        QTimer::singleShot(0, &window, [&] {
            if (QTest::qWaitForWindowActive(&window))
                acts();
            isLeft = !window.isVisible();
            window.hide();
        });
        window.sendTest(message, mail);
        return isLeft;
    }

    TestFolder folder;
    FakeSettings settings;
    ScriptedOperator op;
    FakeSendMail mail;
    int optionsShown = 0;
    qint64 message = 0;
    frmSend window{folder.folder(), settings, op, [this] { ++optionsShown; }};
};

const QString address = QStringLiteral("me@example.org");

} // namespace

class TestTestSend final : public QObject
{
    Q_OBJECT

private slots:
    void sendsAsStored();
    void valuesFollowTheMessage_data();
    void valuesFollowTheMessage();
    void loginOnlyWhenRequired_data();
    void loginOnlyWhenRequired();
    void refuses_data();
    void refuses();
    void aFailureKeepsTheWindow();
    void anErrorKeepsTheWindow();
    void showsWhatTheComponentSays();
    void everyUseBeginsAnew();
    void aMissingMessageIsReported();
    void onlyItsButtonsLeaveIt();
    void nothingLeavesItWhileSending();
};

void TestTestSend::sendsAsStored()
{
    Desk desk;
    desk.mail.AddressCheck = 1;
    QVERIFY(desk.use([&] {
        QVERIFY(desk.find<QLineEdit>("txtEmail")->hasFocus());
        desk.type(address);
        QTest::keyClick(&desk.window, Qt::Key_Return);
    }));
    QCOMPARE(desk.mail.calls, QStringList({QStringLiteral("Send"), QStringLiteral("Disconnect")}));
    QCOMPARE(desk.mail.Host, QStringLiteral("mail.example.org"));
    QCOMPARE(desk.mail.SenderAddress, QStringLiteral("club@example.org"));
    QCOMPARE(desk.mail.SenderName, QStringLiteral("The Club"));
    QCOMPARE(desk.mail.Recipient, address);
    QCOMPARE(desk.mail.Subject, QStringLiteral("News"));
    QCOMPARE(desk.mail.Body, QStringLiteral("Hi %%FIRSTNAME%%"));
    QCOMPARE(desk.mail.AddressCheck, 1);
    QCOMPARE(desk.op.told, QStringList(QStringLiteral("|Send success !")));
}

void TestTestSend::valuesFollowTheMessage_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<bool>("isHtml");
    QTest::newRow("text") << "'TEXT'" << false;
    QTest::newRow("HTML") << "'HTML'" << true;
    QTest::newRow("lower case") << "'text'" << true;
    QTest::newRow("empty") << "''" << true;
    QTest::newRow("null") << "null" << true;
}

void TestTestSend::valuesFollowTheMessage()
{
    QFETCH(QString, format);
    Desk desk;
    const QString first = desk.folder.file(QStringLiteral("sys.mdb"));
    const QString third = desk.folder.file(QStringLiteral("mtemplate.mdb"));
    desk.folder.execute(
        QStringLiteral("update mmsg set format=%1, attach01='%2', attach02='', attach03='%3'")
            .arg(format, first, third));
    QVERIFY(desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
    }));
    QTEST(desk.mail.HtmlBody, "isHtml");
    QCOMPARE(desk.mail.Attachments, first + QLatin1Char(';') + third);
}

void TestTestSend::loginOnlyWhenRequired_data()
{
    QTest::addColumn<bool>("required");
    QTest::newRow("required") << true;
    QTest::newRow("not required") << false;
}

void TestTestSend::loginOnlyWhenRequired()
{
    QFETCH(bool, required);
    Desk desk;
    desk.mail.UserName = desk.mail.Password = QStringLiteral("kept");
    desk.mail.Authenticate = !required;
    desk.settings.values.requireLogon = required;
    desk.settings.values.account = QStringLiteral("ann");
    desk.settings.values.password = QStringLiteral("pw");
    desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
    });
    QCOMPARE(desk.mail.Authenticate, required);
    QCOMPARE(desk.mail.UserName, required ? QStringLiteral("ann") : QStringLiteral("kept"));
    QCOMPARE(desk.mail.Password, required ? QStringLiteral("pw") : QStringLiteral("kept"));
}

void TestTestSend::refuses_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("attachment");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("optionsShown");
    // Each row lacks what the later ones lack, too: the first fault is the one that is told.
    QTest::newRow("no address") << ""
                                << ""
                                << "/gone.pdf"
                                << "|Please enter email address !" << 0;
    QTest::newRow("no server") << address << ""
                               << "/gone.pdf"
                               << "|Please enter the SMTP server address in the Option window and "
                                  "send again !"
                               << 1;
    QTest::newRow("missing attachment") << address << "localhost"
                                        << "/gone.pdf"
                                        << "|Attachment not found : /gone.pdf !" << 0;
    QTest::newRow("a folder attached") << address << "localhost"
                                       << "/tmp"
                                       << "|Attachment not found : /tmp !" << 0;
}

void TestTestSend::refuses()
{
    QFETCH(QString, typed);
    QFETCH(QString, server);
    QFETCH(QString, attachment);
    QFETCH(QString, message);
    Desk desk;
    desk.settings.values.smtpServer = server;
    desk.folder.execute(QStringLiteral("update mmsg set attach02='%1'").arg(attachment));
    QVERIFY(!desk.use([&] {
        desk.type(typed);
        desk.press(desk.sendButton());
        QVERIFY(desk.sendButton()->isEnabled() && desk.cancel()->isEnabled());
    }));
    QCOMPARE(desk.op.told, QStringList(message));
    QTEST(desk.optionsShown, "optionsShown");
    QCOMPARE(desk.mail.calls, QStringList());
}

void TestTestSend::aFailureKeepsTheWindow()
{
    Desk desk;
    const QString quotes = QStringLiteral("550 \"No\" ");
    desk.mail.failures.insert(address, quotes + QString(400, QLatin1Char('x')));
    QVERIFY(desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
        QVERIFY(desk.window.isVisible());
        QCOMPARE(desk.op.told.size(), 1);
        QCOMPARE(desk.op.told.first(),
                 QStringLiteral("|550 No ") + QString(255 - 7, QLatin1Char('x')));
        QCOMPARE(desk.mail.calls.last(), QStringLiteral("Disconnect"));
        // Another try, and the first one's failure is forgotten.
        desk.mail.failures.clear();
        desk.press(desk.sendButton());
    }));
    QCOMPARE(desk.op.told.last(), QStringLiteral("|Send success !"));
}

void TestTestSend::anErrorKeepsTheWindow()
{
    Desk desk;
    desk.mail.whileSending = [](const QString &) { throw std::runtime_error("It broke"); };
    QVERIFY(!desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
        QVERIFY(desk.sendButton()->isEnabled() && desk.cancel()->isEnabled());
        QCOMPARE(desk.window.cursor().shape(), Qt::ArrowCursor);
    }));
    QCOMPARE(desk.op.told, QStringList(QStringLiteral("|It broke")));
}

void TestTestSend::showsWhatTheComponentSays()
{
    Desk desk;
    QStringList seen;
    desk.mail.whileSending = [&](const QString &) {
        emit desk.mail.Status(QStringLiteral("<b>Connecting"));
        seen += desk.status();
        QVERIFY(!desk.sendButton()->isEnabled() && !desk.cancel()->isEnabled());
        QCOMPARE(desk.window.cursor().shape(), Qt::WaitCursor);
    };
    desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
        seen += desk.status();
    });
    QCOMPARE(seen,
             QStringList({QStringLiteral("<b>Connecting"), QStringLiteral("Send Success !")}));
    // What the component says to others is not for this window any more.
    emit desk.mail.Status(QStringLiteral("A run goes on"));
    emit desk.mail.SendFailed(QStringLiteral("Not mine"));
    QCOMPARE(desk.status(), QStringLiteral("Send Success !"));
    QCOMPARE(desk.op.told.size(), 1);
}

void TestTestSend::everyUseBeginsAnew()
{
    Desk desk;
    desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
    });
    desk.folder.execute(QStringLiteral("update mmsg set subject='Changed'"));
    desk.use([&] {
        QCOMPARE(desk.find<QLineEdit>("txtEmail")->text() + desk.status(), QString());
        desk.type(address);
        desk.press(desk.sendButton());
    });
    QCOMPARE(desk.mail.sent.last().subject, QStringLiteral("Changed"));
    QCOMPARE(desk.mail.sent.size(), 2);
    QCOMPARE(desk.op.told.size(), 2);
}

void TestTestSend::aMissingMessageIsReported()
{
    Desk desk;
    desk.window.sendTest(77, desk.mail);
    QVERIFY(!desk.window.isVisible());
    QCOMPARE(desk.op.told, QStringList(QStringLiteral("Error|Error # 0 was generated by "
                                                      "Quillbright\rThere is no message 77.")));
}

void TestTestSend::onlyItsButtonsLeaveIt()
{
    Desk desk;
    QVERIFY(!(desk.window.windowFlags() & Qt::WindowCloseButtonHint));
    QVERIFY(desk.use([&] {
        QTest::keyClick(&desk.window, Qt::Key_Escape);
        desk.window.close();
        QVERIFY(desk.window.isVisible());
        desk.press(desk.cancel());
    }));
    QCOMPARE(desk.mail.calls, QStringList());
}

void TestTestSend::nothingLeavesItWhileSending()
{
    Desk desk;
    desk.mail.whileSending = [&](const QString &) {
        QTest::keyClick(&desk.window, Qt::Key_Escape);
        desk.press(desk.cancel());
        // The program that is told to end waits for the send.
        QEvent quit(QEvent::Quit);
        QApplication::sendEvent(qApp, &quit);
        QVERIFY(desk.window.isVisible());
    };
    desk.mail.failures[address] = QStringLiteral("550 no such user");
    QVERIFY(desk.use([&] {
        desk.type(address);
        desk.press(desk.sendButton());
        // The end of the program was put off, and is no reason to leave any more.
        QTest::keyClick(&desk.window, Qt::Key_Escape);
        QVERIFY(desk.window.isVisible());
        desk.mail.failures.clear();
        desk.press(desk.sendButton());
    }));
    QCOMPARE(desk.mail.calls.last(), QStringLiteral("Disconnect"));
    // It ends when nothing is being sent.
    QVERIFY(desk.use([] {
        QEvent quit(QEvent::Quit);
        QApplication::sendEvent(qApp, &quit);
    }));
}

QTEST_MAIN(TestTestSend)
#include "tst_testsend.moc"

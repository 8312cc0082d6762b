#include "frmsend.h"

#include "fakes.h"
#include "testfolder.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace
{

const QString address = QStringLiteral("me@example.org");

/// The window as a person has it before them, with a message and a server set.
struct Desk {
    Desk()
    {
        settings.values.smtpServer = QStringLiteral("mail.example.org");
        message = folder.addMessage("News", "Hi %%FIRSTNAME%%");
    }

    template <typename T>
    T *find(const char *name) const
    {
        return window.findChild<T *>(QLatin1String(name));
    }
    QString status() const { return find<QLabel>("lbStatus")->text(); }
    void press(const char *button) const
    {
        QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
    }
    void sendTo(const QString &typed) const
    {
        find<QLineEdit>("txtEmail")->selectAll();
        QTest::keyClicks(find<QLineEdit>("txtEmail"), typed);
        press("cmdSend");
    }
    bool isWaiting() const
    {
        return window.cursor().shape() == Qt::WaitCursor &&
               !find<QPushButton>("cmdSend")->isEnabled() &&
               !find<QPushButton>("cmdCancel")->isEnabled();
    }
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
    bool send()
    {
        return use([this] { sendTo(address); });
    }

    TestFolder folder;
    FakeSettings settings;
    ScriptedOperator op;
    FakeSendMail mail;
    int optionsShown = 0;
    qint64 message = 0;
    frmSend window{folder.folder(), settings, op, [this] { ++optionsShown; }};
};

/// The program is told to end.
void quit()
{
    QEvent event(QEvent::Quit);
    QApplication::sendEvent(qApp, &event);
}

} // namespace

class TestTestSend final : public QObject
{
    Q_OBJECT

private slots:
    void sendsAsStored();
    void valuesFollowTheMessage();
    void refuses_data();
    void refuses();
    void aFailureKeepsTheWindow();
    void showsWhatTheComponentSays();
    void onlyItsButtonsLeaveIt();
};

void TestTestSend::sendsAsStored()
{
    Desk desk;
    desk.mail.AddressCheck = 1;
    desk.mail.UserName = QStringLiteral("kept");
    QVERIFY(desk.send());
    QCOMPARE(desk.mail.calls, QStringList({QStringLiteral("Send"), QStringLiteral("Disconnect")}));
    QCOMPARE(desk.mail.Host, QStringLiteral("mail.example.org"));
    QCOMPARE(desk.mail.SenderName + desk.mail.SenderAddress,
             QStringLiteral("The Clubclub@example.org"));
    QCOMPARE(desk.mail.Recipient, address);
    QCOMPARE(desk.mail.Body, QStringLiteral("Hi %%FIRSTNAME%%"));
    QCOMPARE(desk.mail.AddressCheck, 1);
    QVERIFY(!desk.mail.Authenticate && desk.mail.UserName == QStringLiteral("kept"));
    QCOMPARE(desk.op.told, QStringList(QStringLiteral("|Send success !")));

    // Every use begins anew.
    desk.folder.execute("update mmsg set subject='Changed'");
    desk.settings.values.requireLogon = true;
    desk.settings.values.account = QStringLiteral("ann");
    desk.settings.values.password = QStringLiteral("pw");
    desk.use([&] {
        QCOMPARE(desk.find<QLineEdit>("txtEmail")->text() + desk.status(), QString());
        desk.sendTo(address);
    });
    QCOMPARE(desk.mail.Subject, QStringLiteral("Changed"));
    QVERIFY(desk.mail.Authenticate);
    QCOMPARE(desk.mail.UserName + desk.mail.Password, QStringLiteral("annpw"));
}

void TestTestSend::valuesFollowTheMessage()
{
    Desk desk;
    const QString first = desk.folder.file("sys.mdb");
    const QString third = desk.folder.file("mtemplate.mdb");
    for (const auto &[format, isHtml] :
         {std::pair("'TEXT'", false), {"'text'", true}, {"null", true}}) {
        desk.folder.execute(
            QStringLiteral("update mmsg set format=%1, attach01='%2', attach02='', attach03='%3'")
                .arg(QLatin1String(format), first, third));
        QVERIFY(desk.send());
        QVERIFY2(desk.mail.HtmlBody == isHtml, format);
        QCOMPARE(desk.mail.Attachments, first + QLatin1Char(';') + third);
    }
}

void TestTestSend::refuses_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("attachment");
    QTest::addColumn<QString>("message");
    // Each row lacks what the later ones lack, too: the first fault is the one that is told.
    const auto row = [](const char *name, const QString &typed, const char *server,
                        const char *attachment, const char *message) {
        QTest::newRow(name) << typed << QString::fromLatin1(server)
                            << QString::fromLatin1(attachment) << QString::fromLatin1(message);
    };
    row("no address", {}, "", "/gone.pdf", "|Please enter email address !");
    row("no server", address, "", "/gone.pdf",
        "|Please enter the SMTP server address in the Option window and send again !");
    row("no file", address, "localhost", "/gone.pdf", "|Attachment not found : /gone.pdf !");
    row("a folder attached", address, "localhost", "/tmp", "|Attachment not found : /tmp !");
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
    QVERIFY(!desk.use([&] { desk.sendTo(typed); }));
    QCOMPARE(desk.op.told, QStringList(message));
    QCOMPARE(desk.optionsShown, !typed.isEmpty() && server.isEmpty() ? 1 : 0);
    QCOMPARE(desk.mail.calls, QStringList());
}

void TestTestSend::aFailureKeepsTheWindow()
{
    Desk desk;
    desk.mail.failures.insert(address,
                              QStringLiteral("550 \"No\" ") + QString(400, QLatin1Char('x')));
    QVERIFY(desk.use([&] {
        desk.sendTo(address);
        QVERIFY(desk.window.isVisible());
        QCOMPARE(desk.op.told,
                 QStringList(QStringLiteral("|550 No ") + QString(255 - 7, QLatin1Char('x'))));
        QCOMPARE(desk.mail.calls.last(), QStringLiteral("Disconnect"));
        desk.mail.whileSending = [](const QString &) { throw std::runtime_error("It broke"); };
        desk.sendTo(address);
        QVERIFY(desk.window.isVisible() && !desk.isWaiting());
        QCOMPARE(desk.op.told.last(), QStringLiteral("|It broke"));
        // Another try, and the failures are forgotten.
        desk.mail.failures.clear();
        desk.mail.whileSending = nullptr;
        desk.sendTo(address);
    }));
    QCOMPARE(desk.op.told.last(), QStringLiteral("|Send success !"));
    desk.message = 77;
    desk.window.sendTest(77, desk.mail);
    QCOMPARE(desk.op.told.last(), QStringLiteral("Error|Error # 0 was generated by Quillbright\r"
                                                 "There is no message 77."));
}

void TestTestSend::showsWhatTheComponentSays()
{
    Desk desk;
    desk.mail.whileSending = [&](const QString &) {
        emit desk.mail.Status(QStringLiteral("<b>Connecting"));
        QCOMPARE(desk.status(), QStringLiteral("<b>Connecting"));
        QVERIFY(desk.isWaiting());
        // Nothing leaves the window while it sends, not even the program's end.
        QTest::keyClick(&desk.window, Qt::Key_Escape);
        desk.press("cmdCancel");
        quit();
        QVERIFY(desk.window.isVisible());
    };
    desk.mail.failures[address] = QStringLiteral("550 no such user");
    QVERIFY(desk.use([&] {
        desk.sendTo(address);
        // The end of the program was put off, and is no reason to leave any more.
        QTest::keyClick(&desk.window, Qt::Key_Escape);
        QVERIFY(desk.window.isVisible());
        desk.mail.failures.clear();
        desk.sendTo(address);
    }));
    QCOMPARE(desk.mail.calls.last(), QStringLiteral("Disconnect"));
    // What the component says to others is not for this window any more.
    emit desk.mail.Status(QStringLiteral("A run goes on"));
    emit desk.mail.SendFailed(QStringLiteral("Not mine"));
    QCOMPARE(desk.status(), QStringLiteral("Send Success !"));
    QCOMPARE(desk.op.told.size(), 2);
}

void TestTestSend::onlyItsButtonsLeaveIt()
{
    Desk desk;
    QVERIFY(desk.use([&] {
        QTest::keyClick(&desk.window, Qt::Key_Escape);
        desk.window.close();
        QVERIFY(desk.window.isVisible());
        desk.press("cmdCancel");
    }));
    QCOMPARE(desk.mail.calls, QStringList());
    QVERIFY(desk.use(quit));
}

QTEST_MAIN(TestTestSend)
#include "tst_testsend.moc"

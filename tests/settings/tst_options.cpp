#include "frmpinfo.h"

#include "fakes.h"
#include "settingsstore.h"
#include "testfiles.h"
#include "window.h"

#include <QCheckBox>
#include <QTabWidget>

using namespace Qt::StringLiterals;

namespace
{

/// Options as opened by a person who logs on with this password.
struct Desk {
    explicit Desk(const QString &password = {})
    {
        Settings stored;
        stored.password = password;
        stored.requireLogon = !password.isEmpty();
        store.save(stored);
        window = std::make_unique<frmPinfo>(store, op);
        activate(*window);
    }
    static void activate(QWidget &window)
    {
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    QLineEdit *password() const { return child<QLineEdit>(*window, "txtPassword"); }
    TestFolder folder;
    SettingsStore store{folder.folder()};
    ScriptedOperator op;
    std::unique_ptr<frmPinfo> window;
};

const QString incorrect = "Password Confirm|Password incorrect, please enter again !";

} // namespace

class TestOptions final : public QObject
{
    Q_OBJECT

private slots:
    /// By the keyboard alone, from the server round all boxes and back.
    void boxesAreTheLiveSettings()
    {
        Desk desk;
        frmPinfo &window = *desk.window;
        QStringList walked;
        for (const TestText words :
             {"mail.x.org", "me@x.org", " ", "ann", "", " ", " ", "", "", "", ""}) {
            walked += window.focusWidget()->objectName();
            QTest::keyClicks(window.focusWidget(), words + u'\t');
        }
        QCOMPARE(walked.join(u' '), "txtSMTP txtOperator chkLogin txtUsername txtPassword chkLog "
                                    "chkValidEmail Command1 cmdClose qt_tabwidget_tabbar txtSMTP");
        child<QTabWidget>(window, "TabStrip1")->setCurrentIndex(1);
        QTest::keyClicks(child(window, "txtUList"), " gone@x.org\r\u00a0b@x.org\r\t");
        const Settings typed = window.current();
        QCOMPARE(typed.smtpServer + typed.operatorAddress + typed.account + typed.unsubscribed,
                 "mail.x.orgme@x.organn gone@x.org\r\n\u00a0b@x.org\r\n");
        QVERIFY(typed.requireLogon && typed.logOutgoing && typed.validateAddresses);
        QCOMPARE(desk.store.load(), Settings());
        press(window, "Command1");
        QCOMPARE(desk.store.load(), typed);
        // Close undoes what came after that, and the next use begins with the server.
        type(window, "txtOperator", "lost");
        press(window, "cmdClose");
        QCOMPARE(window.current(), typed);
        desk.activate(window);
        QCOMPARE(window.focusWidget(), child(window, "txtSMTP"));
        // Whoever was unsubscribed by another hand meanwhile stays it.
        writeFile(desk.folder.file("ulist.txt"), "late@x.org");
        press(window, "Command1");
        QCOMPARE(desk.store.load().unsubscribed, u"late@x.org\r\n"_s);
    }

    void confirmsAChangedPassword()
    {
        // The password before, how its box is left, the answer, and then: the box, what is stored.
        const std::tuple<TestText, TestText, const char *, TestText, TestText> rows[] = {
            {"new", "Tab", nullptr, "new", "new"},
            {"old", "Tab, Shift+Tab, Tab", "New", "new", "old"},
            {"old", "Return", "", "old", "old"},
            {"", "Command1", "", "", ""},
            {"old", "Command1", "new", "new", "new"},
            {"old", "cmdClose", "other", "new", "old"},
            {"old", "Alt+C", "new", "old", "old"}};
        for (const auto &[before, how, answer, after, stored] : rows) {
            Desk desk{before};
            child<QCheckBox>(*desk.window, "chkLogin")->setChecked(true);
            const bool refused = answer && TestText(answer) != (*answer ? TestText("new") : before);
            if (answer)
                desk.op.passwords.push(QLatin1String(answer));
            desk.op.whileAsked = [] { QCoreApplication::sendPostedEvents(); }; // as a dialog does
            type(*desk.window, "txtPassword", "new");
            // Another window borrows the focus, which asks nothing.
            QWidget other;
            Desk::activate(other);
            Desk::activate(*desk.window);
            QTRY_VERIFY(desk.password()->hasFocus());
            if (desk.window->findChild<QWidget *>(how))
                press(*desk.window, how);
            else
                QTest::keySequence(desk.password(), QKeySequence(how));
            QTRY_COMPARE(desk.op.asked.size(), answer ? 1 : 0);
            QTRY_COMPARE(desk.op.told, QStringList(refused ? 1 : 0, incorrect));
            QTRY_COMPARE(desk.password()->text(), QString(after));
            QCOMPARE(desk.store.load().password, QString(stored));
            QCOMPARE(desk.window->isVisible(), how != "Alt+C");
        }
    }

    void onlyItsButtonsLeaveIt()
    {
        Desk desk{"old"};
        QVERIFY(QDir().mkpath(desk.folder.file("ulist.txt")));
        press(*desk.window, "Command1"); // what cannot be saved is told
        QVERIFY(desk.op.told.takeLast().contains("ulist.txt cannot be read"));
        QTest::keyClick(desk.window.get(), Qt::Key_Escape);
        QVERIFY(!desk.window->close());
        // A wrong password leads back to its box from the other tab as well.
        desk.op.passwords.push("wrong");
        type(*desk.window, "txtPassword", "new");
        QTest::keySequence(desk.password(), QKeySequence("Alt+N"));
        QTRY_COMPARE(desk.op.told, QStringList{incorrect});
        QVERIFY(desk.password()->isVisible() && desk.password()->hasFocus());
        // The program that ends is not held up.
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        QApplication::exec();
    }
};

QTEST_MAIN(TestOptions)
#include "tst_options.moc"

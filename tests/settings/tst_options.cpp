#include "frmpinfo.h"

#include "fakes.h"
#include "settingsstore.h"
#include "window.h"

#include <QCheckBox>
#include <QPlainTextEdit>
#include <QTabWidget>

using namespace Qt::StringLiterals;

namespace
{

/// Options as opened by a person who logs on with this password.
struct Desk {
    explicit Desk(const QString &password = {})
    {
        store.save({.password = password, .requireLogon = !password.isEmpty()});
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

const QString incorrect = u"Password Confirm|Password incorrect, please enter again !"_s;

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
        const auto step = [&](const char *words) {
            walked += window.focusWidget()->objectName();
            QTest::keyClicks(window.focusWidget(), QLatin1String(words));
            QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
        };
        for (const char *words : {"mail.x.org", "me@x.org", " ", "ann", "", " ", " ", "", "", ""})
            step(words);
        QCOMPARE(walked.join(u' '), u"txtSMTP txtOperator chkLogin txtUsername txtPassword chkLog "
                                    "chkValidEmail Command1 cmdClose qt_tabwidget_tabbar"_s);
        QCOMPARE(window.focusWidget(), child(window, "txtSMTP"));
        child<QTabWidget>(window, "TabStrip1")->setCurrentIndex(1);
        child(window, "txtUList")->setFocus();
        step(" gone@x.org\r\u00a0b@x.org");
        QCOMPARE(window.focusWidget(), child(window, "Command1"));

        Settings typed{.smtpServer = u"mail.x.org"_s,
                       .operatorAddress = u"me@x.org"_s,
                       .account = u"ann"_s,
                       .password = {},
                       .requireLogon = true,
                       .logOutgoing = true,
                       .validateAddresses = true,
                       .unsubscribed = u" gone@x.org\r\n\u00a0b@x.org"_s};
        QCOMPARE(window.current(), typed);
        QCOMPARE(desk.store.load(), Settings());
        press(window, "Command1");
        typed.unsubscribed += u"\r\n"_s; // the list as loaded has every line ended
        QCOMPARE(desk.store.load(), typed);
        // Close undoes what came after that, and the next use begins with the server.
        QTest::keyClick(child(window, "txtUList"), Qt::Key_Return, Qt::ShiftModifier);
        type(window, "txtOperator", "lost");
        press(window, "cmdClose");
        QVERIFY(!window.isVisible());
        QCOMPARE(window.current(), typed);
        desk.activate(window);
        QCOMPARE(window.focusWidget(), child(window, "txtSMTP"));
        QVERIFY(desk.password()->isEnabled());
    }

    void confirmsAChangedPassword()
    {
        const std::tuple<const char *, const char *, const char *, const char *> rows[] = {
            {"new", nullptr, "new", ""}, // unchanged
            {"old", "new", "new", ""},
            {"old", "New", "new", "refused"},
            {"old", "", "old", "refused"}, // cancelled
            {"", "", "", ""}};
        for (const auto &[before, answer, after, refused] : rows) {
            Desk desk{QLatin1String(before)};
            child<QCheckBox>(*desk.window, "chkLogin")->setChecked(true);
            if (answer)
                desk.op.passwords.push(QLatin1String(answer));
            desk.op.whileAsked = [] { QCoreApplication::sendPostedEvents(); }; // as a dialog does
            type(*desk.window, "txtPassword", "new");
            // Another window borrows the focus, which asks nothing.
            QWidget other;
            Desk::activate(other);
            Desk::activate(*desk.window);
            QTRY_VERIFY(desk.password()->hasFocus());
            for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Tab})
                QTest::keyClick(desk.window->focusWidget(), key);
            QCOMPARE(desk.op.asked.size(), 0); // not while the focus moves
            QTRY_COMPARE(desk.op.asked.size(), answer ? 1 : 0);
            QCOMPARE(desk.op.told, QStringList(*refused ? 1 : 0, incorrect));
            QCOMPARE(desk.password()->text(), QLatin1String(after));
            QCOMPARE(desk.password()->hasFocus(), *refused != 0);
        }
    }

    void confirmsBeforeAButtonActs()
    {
        const std::tuple<const char *, const char *, bool> rows[] = {{"Command1", "new", false},
                                                                     {"Alt+A", "other", false},
                                                                     {"Return", "new", false},
                                                                     {"cmdClose", "other", true},
                                                                     {"Alt+C", "new", true}};
        for (const auto &[how, answer, closes] : rows) {
            Desk desk{u"old"_s};
            const bool isRight = answer == "new"_L1;
            desk.op.passwords.push(QLatin1String(answer));
            type(*desk.window, "txtPassword", "new");
            if (desk.window->findChild<QWidget *>(QLatin1String(how)))
                press(*desk.window, how);
            else
                QTest::keySequence(desk.window->focusWidget(), QKeySequence(QLatin1String(how)));
            QTRY_COMPARE(desk.op.told.size(), isRight ? 0 : 1);
            QTRY_COMPARE(desk.window->isVisible(), !(closes && isRight));
            QTRY_COMPARE(desk.store.load().password, isRight && !closes ? u"new"_s : u"old"_s);
            QCOMPARE(desk.password()->text(), isRight && closes ? u"old"_s : u"new"_s);
        }
    }

    void onlyItsButtonsLeaveIt()
    {
        Desk desk{u"old"_s};
        QTest::keyClick(desk.window.get(), Qt::Key_Escape);
        QVERIFY(!desk.window->close());
        // A wrong password leads back to its box from the other tab as well.
        desk.op.passwords.push(u"wrong"_s);
        type(*desk.window, "txtPassword", "new");
        QTest::keySequence(desk.password(), QKeySequence(u"Alt+N"_s));
        QTRY_COMPARE(desk.op.told, QStringList{incorrect});
        QVERIFY(desk.password()->isVisible() && desk.password()->hasFocus());
        // The program that ends is not held up.
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        QApplication::exec();
        QVERIFY(!desk.window->isVisible());
    }
};

QTEST_MAIN(TestOptions)
#include "tst_options.moc"

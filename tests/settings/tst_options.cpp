#include "frmpinfo.h"

#include "fakes.h"
#include "settingsstore.h"
#include "testfolder.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

namespace
{

const QString question = QStringLiteral("Password Confirm|Password");
const QString incorrect =
    QStringLiteral("Password Confirm|Password incorrect, please enter again !");
const QString old = QStringLiteral("old");
const QString changed = QStringLiteral("new");

Settings withPassword(const QString &password)
{
    Settings settings;
    settings.requireLogon = true;
    settings.password = password;
    return settings;
}

void activate(QWidget &window)
{
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
}

void type(QLineEdit *edit, const QString &text)
{
    QTest::mouseClick(edit, Qt::LeftButton);
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    QTest::keyClicks(edit, text);
}

/// Options as opened by a person, with these settings stored.
struct Desk {
    explicit Desk(const Settings &stored)
    {
        if (stored != Settings())
            store.save(stored);
        window = std::make_unique<frmPinfo>(store, op);
        activate(*window);
    }
    template <typename T>
    T *box(const char *name) const
    {
        return window->findChild<T *>(QLatin1String(name));
    }
    QLineEdit *password() const { return box<QLineEdit>("txtPassword"); }
    void check(const char *name) const
    {
        QTest::mouseClick(box<QCheckBox>(name), Qt::LeftButton, {}, QPoint(8, 8));
    }
    void press(const char *button) const
    {
        QTest::mousePress(box<QPushButton>(button), Qt::LeftButton);
        QCoreApplication::processEvents(); // a finger is slower than the event queue
        QTest::mouseRelease(box<QPushButton>(button), Qt::LeftButton);
    }

    TestFolder folder;
    SettingsStore store{folder.folder()};
    ScriptedOperator op;
    std::unique_ptr<frmPinfo> window;
};

} // namespace

class TestOptions final : public QObject
{
    Q_OBJECT

private slots:
    void boxesAreTheLiveSettings();
    void unsubscribedTextStaysAsItIs();
    void onlyItsButtonsLeaveIt();
    void confirmsAChangedPassword_data();
    void confirmsAChangedPassword();
    void confirmsBeforeAButtonActs_data();
    void confirmsBeforeAButtonActs();
    void asksOnceAtATime();
    void borrowedFocusAsksNothing();
    void returnsToThePasswordFromTheOtherTab();
};

void TestOptions::boxesAreTheLiveSettings()
{
    const Desk desk{Settings()};
    QCOMPARE(desk.window->current(), Settings());
    const auto enabledOfLogin = [&desk] {
        int count = 0;
        for (const char *name :
             {"lblLogin", "lblUsername", "txtUsername", "lblPassword", "txtPassword"})
            count += desk.box<QWidget>(name)->isEnabled();
        return count;
    };
    QCOMPARE(enabledOfLogin(), 0);
    for (const char *name : {"chkLogin", "chkLog", "chkValidEmail"})
        desk.check(name);
    QCOMPARE(enabledOfLogin(), 5);
    type(desk.box<QLineEdit>("txtSMTP"), QStringLiteral("mail.example.org"));
    type(desk.box<QLineEdit>("txtOperator"), QStringLiteral("me@example.org"));
    type(desk.box<QLineEdit>("txtUsername"), QStringLiteral("ann"));
    desk.box<QTabWidget>("TabStrip1")->setCurrentIndex(1);
    QTest::keyClicks(desk.box<QPlainTextEdit>("txtUList"), QStringLiteral("gone@x.org\rb@x.org"));

    const Settings typed{.smtpServer = QStringLiteral("mail.example.org"),
                         .operatorAddress = QStringLiteral("me@example.org"),
                         .account = QStringLiteral("ann"),
                         .password = {},
                         .requireLogon = true,
                         .logOutgoing = true,
                         .validateAddresses = true,
                         .unsubscribed = QStringLiteral("gone@x.org\r\nb@x.org")};
    QCOMPARE(desk.window->current(), typed);
    QCOMPARE(desk.store.load(), Settings());

    desk.press("Command1");
    QVERIFY(desk.window->isVisible());
    // The list as loaded has every line ended.
    Settings applied = typed;
    applied.unsubscribed += QStringLiteral("\r\n");
    QCOMPARE(desk.store.load(), applied);
    // Close undoes what came after that.
    type(desk.box<QLineEdit>("txtOperator"), QStringLiteral("lost"));
    desk.check("chkLogin");
    desk.press("cmdClose");
    QVERIFY(!desk.window->isVisible());
    QCOMPARE(desk.window->current(), applied);
    QCOMPARE(desk.store.load(), applied);
    QCOMPARE(enabledOfLogin(), 5);
}

void TestOptions::unsubscribedTextStaysAsItIs()
{
    Settings settings;
    settings.unsubscribed = QStringLiteral(" a@x.org \r\n\u00a0b@x.org\r\nj\u00fcrgen@x.org\r\n");
    const Desk desk(settings);
    QCOMPARE(desk.window->current().unsubscribed, settings.unsubscribed);
    // Shift+Return ends a line, too.
    QPlainTextEdit *list = desk.box<QPlainTextEdit>("txtUList");
    list->clear();
    QTest::keyClicks(list, QStringLiteral("a"));
    QTest::keyClick(list, Qt::Key_Return, Qt::ShiftModifier);
    QTest::keyClicks(list, QStringLiteral("b"));
    QCOMPARE(desk.window->current().unsubscribed, QStringLiteral("a\r\nb"));
}

void TestOptions::onlyItsButtonsLeaveIt()
{
    const Desk desk(withPassword({}));
    QTest::keyClick(desk.window.get(), Qt::Key_Escape);
    QVERIFY(!desk.window->windowFlags().testFlag(Qt::WindowCloseButtonHint));
    QVERIFY(!desk.window->close());
    QVERIFY(desk.window->isVisible());
    // The program that ends is not held up.
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(1); });
    QCOMPARE(QApplication::exec(), 0);
    QVERIFY(!desk.window->isVisible());
}

void TestOptions::confirmsAChangedPassword_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("answers"); // as many as questions are expected
    QTest::addColumn<QString>("after");
    QTest::addColumn<bool>("refused");
    const QStringList cancel{QString()};
    QTest::newRow("unchanged") << old << old << QStringList() << old << false;
    QTest::newRow("confirmed") << old << changed << QStringList{changed} << changed << false;
    QTest::newRow("wrong") << old << changed << QStringList{QStringLiteral("New")} << changed
                           << true;
    QTest::newRow("cancelled") << old << changed << cancel << old << true;
    QTest::newRow("none before") << QString() << changed << cancel << QString() << false;
    QTest::newRow("emptied") << old << QString() << cancel << old << true;
}

void TestOptions::confirmsAChangedPassword()
{
    QFETCH(QString, before);
    QFETCH(QString, typed);
    QFETCH(QStringList, answers);
    QFETCH(QString, after);
    QFETCH(bool, refused);
    Desk desk(withPassword(before));
    for (const QString &answer : answers)
        desk.op.passwords.push(answer);
    type(desk.password(), typed);
    QTest::keyClick(desk.password(), Qt::Key_Tab);
    QCOMPARE(desk.op.asked, QStringList()); // not while the focus moves
    QCoreApplication::processEvents();
    QCOMPARE(desk.op.asked, QStringList(answers.size(), question));
    QCOMPARE(desk.op.told, refused ? QStringList{incorrect} : QStringList());
    QCOMPARE(desk.password()->text(), after);
    QCOMPARE(desk.password()->hasFocus(), refused);
}

void TestOptions::confirmsBeforeAButtonActs_data()
{
    QTest::addColumn<QByteArray>("how");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<bool>("confirmed");
    QTest::newRow("Apply") << QByteArray("click") << false << true;
    QTest::newRow("Alt+A, wrong") << QByteArray("Alt") << false << false;
    QTest::newRow("Return") << QByteArray("Return") << false << true;
    QTest::newRow("Close, wrong") << QByteArray("click") << true << false;
    QTest::newRow("Alt+C") << QByteArray("Alt") << true << true;
}

void TestOptions::confirmsBeforeAButtonActs()
{
    QFETCH(QByteArray, how);
    QFETCH(bool, closes);
    QFETCH(bool, confirmed);
    Desk desk(withPassword(old));
    desk.op.passwords.push(confirmed ? changed : QStringLiteral("other"));
    type(desk.password(), changed);
    if (how == "click")
        desk.press(closes ? "cmdClose" : "Command1");
    else if (how == "Alt")
        QTest::keyClick(desk.window.get(), closes ? Qt::Key_C : Qt::Key_A, Qt::AltModifier);
    else
        QTest::keyClick(desk.password(), Qt::Key_Return);
    QTRY_COMPARE(desk.op.asked, QStringList{question});
    QTRY_COMPARE(desk.window->isVisible(), !(closes && confirmed));
    QCOMPARE(desk.op.told, confirmed ? QStringList() : QStringList{incorrect});
    QTRY_COMPARE(desk.store.load().password, confirmed && !closes ? changed : old);
    QCOMPARE(desk.password()->text(), confirmed && closes ? old : changed);
    // That change has been asked about, also when the window is shown again; the next has not.
    QWidget mainWindow;
    activate(mainWindow);
    activate(*desk.window);
    QTRY_VERIFY(desk.password()->hasFocus());
    desk.press("Command1");
    QCOMPARE(desk.op.asked.size(), 1);
    desk.op.passwords.push(QStringLiteral("next"));
    type(desk.password(), QStringLiteral("next"));
    desk.press("Command1");
    QCOMPARE(desk.op.asked.size(), 2);
}

void TestOptions::asksOnceAtATime()
{
    Desk desk(withPassword(old));
    desk.op.whileAsked = [] { QCoreApplication::sendPostedEvents(); }; // as a dialog does
    desk.op.passwords.push(changed);
    type(desk.password(), changed);
    for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Tab})
        QTest::keyClick(desk.window->focusWidget(), key);
    QTRY_COMPARE(desk.op.asked.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(desk.op.asked.size(), 1);
}

void TestOptions::borrowedFocusAsksNothing()
{
    Desk desk(withPassword(old));
    type(desk.password(), changed);
    QWidget other;
    activate(other);
    activate(*desk.window);
    QTRY_VERIFY(desk.password()->hasFocus());
    QCOMPARE(desk.op.asked, QStringList());
    // The change is still to be confirmed.
    desk.op.passwords.push(changed);
    QTest::keyClick(desk.password(), Qt::Key_Tab);
    QTRY_COMPARE(desk.op.asked, QStringList{question});
}

void TestOptions::returnsToThePasswordFromTheOtherTab()
{
    Desk desk(withPassword(old));
    type(desk.password(), changed);
    desk.op.passwords.push(QStringLiteral("wrong"));
    QTabBar *tabs = desk.box<QTabWidget>("TabStrip1")->tabBar();
    QTest::mouseClick(tabs, Qt::LeftButton, {}, tabs->tabRect(1).center());
    QTRY_COMPARE(desk.op.told, QStringList{incorrect});
    QVERIFY(desk.box<QFrame>("Frame1")->isVisible());
    QVERIFY(desk.password()->hasFocus());
}

QTEST_MAIN(TestOptions)
#include "tst_options.moc"

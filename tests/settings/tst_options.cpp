#include "frmpinfo.h"

#include "fakes.h"
#include "settingsstore.h"
#include "testfolder.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

class TestOptions final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void firstStart();
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

private:
    template <typename T>
    T *box(const char *name) const
    {
        return m_window->findChild<T *>(QLatin1String(name));
    }
    QLineEdit *password() const { return box<QLineEdit>("txtPassword"); }
    void press(const char *button) const
    {
        QTest::mousePress(box<QPushButton>(button), Qt::LeftButton);
        QCoreApplication::processEvents(); // a finger is slower than the event queue
        QTest::mouseRelease(box<QPushButton>(button), Qt::LeftButton);
    }
    static void activate(QWidget *window);
    /// Options as opened by a person, with a password stored and the login switched on.
    void open(const QString &storedPassword = {}, Operator *op = nullptr);
    void type(QLineEdit *edit, const QString &text) const;

    std::unique_ptr<QTemporaryDir> m_config;
    std::unique_ptr<TestFolder> m_folder;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<ScriptedOperator> m_op;
    std::unique_ptr<frmPinfo> m_window;
};

namespace
{

const QString question = QStringLiteral("Password Confirm|Password");
const QString incorrect =
    QStringLiteral("Password Confirm|Password incorrect, please enter again !");

} // namespace

void TestOptions::init()
{
    m_config = std::make_unique<QTemporaryDir>();
    m_folder = std::make_unique<TestFolder>();
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config->path());
    m_store = std::make_unique<SettingsStore>(m_folder->folder());
    m_op = std::make_unique<ScriptedOperator>();
}

void TestOptions::cleanup()
{
    m_window.reset();
    m_op.reset();
    m_store.reset();
    m_folder.reset();
    m_config.reset();
}

void TestOptions::activate(QWidget *window)
{
    window->show();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window));
}

void TestOptions::open(const QString &storedPassword, Operator *op)
{
    Settings settings = m_store->load();
    settings.requireLogon = true;
    settings.password = storedPassword;
    m_store->save(settings);
    m_window = std::make_unique<frmPinfo>(*m_store, op ? *op : *m_op);
    activate(m_window.get());
}

void TestOptions::type(QLineEdit *edit, const QString &text) const
{
    QTest::mouseClick(edit, Qt::LeftButton);
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    QTest::keyClicks(edit, text);
}

void TestOptions::firstStart()
{
    m_window = std::make_unique<frmPinfo>(*m_store, *m_op);
    m_window->show();
    QCOMPARE(m_window->current(), Settings());
    const auto enabledOfLogin = [this] {
        int count = 0;
        for (const char *name :
             {"lblLogin", "lblUsername", "txtUsername", "lblPassword", "txtPassword"})
            count += box<QWidget>(name)->isEnabled();
        return count;
    };
    QCOMPARE(enabledOfLogin(), 0);
    QTest::mouseClick(box<QCheckBox>("chkLogin"), Qt::LeftButton, {}, QPoint(8, 8));
    QCOMPARE(enabledOfLogin(), 5);
    press("cmdClose"); // loads again, with the login off
    QCOMPARE(enabledOfLogin(), 0);
}

void TestOptions::boxesAreTheLiveSettings()
{
    open();
    type(box<QLineEdit>("txtSMTP"), QStringLiteral("mail.example.org"));
    type(box<QLineEdit>("txtOperator"), QStringLiteral("me@example.org"));
    type(box<QLineEdit>("txtUsername"), QStringLiteral("ann"));
    for (const char *name : {"chkLog", "chkValidEmail"})
        QTest::mouseClick(box<QCheckBox>(name), Qt::LeftButton, {}, QPoint(8, 8));
    box<QTabWidget>("TabStrip1")->setCurrentIndex(1);
    QPlainTextEdit *list = box<QPlainTextEdit>("txtUList");
    QTest::keyClicks(list, QStringLiteral("gone@x.org"));
    QTest::keyClick(list, Qt::Key_Return);
    QTest::keyClicks(list, QStringLiteral("b@x.org"));

    Settings typed;
    typed.smtpServer = QStringLiteral("mail.example.org");
    typed.operatorAddress = QStringLiteral("me@example.org");
    typed.account = QStringLiteral("ann");
    typed.requireLogon = typed.logOutgoing = typed.validateAddresses = true;
    typed.unsubscribed = QStringLiteral("gone@x.org\r\nb@x.org");
    QCOMPARE(m_window->current(), typed);
    QVERIFY(m_store->load() != typed);

    press("Command1");
    QVERIFY(m_window->isVisible());
    // The list as loaded has every line ended.
    typed.unsubscribed += QStringLiteral("\r\n");
    QCOMPARE(m_store->load(), typed);
    // Close undoes what was typed after that.
    type(box<QLineEdit>("txtOperator"), QStringLiteral("lost"));
    press("cmdClose");
    QVERIFY(!m_window->isVisible());
    QCOMPARE(m_window->current(), typed);
    QCOMPARE(m_store->load(), typed);
}

void TestOptions::unsubscribedTextStaysAsItIs()
{
    Settings settings;
    settings.unsubscribed = QStringLiteral(" a@x.org \r\n\u00a0b@x.org\r\nj\u00fcrgen@x.org\r\n");
    m_store->save(settings);
    open();
    QCOMPARE(m_window->current().unsubscribed, settings.unsubscribed);
    // Shift+Return ends a line, too.
    QPlainTextEdit *list = box<QPlainTextEdit>("txtUList");
    list->clear();
    QTest::keyClicks(list, QStringLiteral("a"));
    QTest::keyClick(list, Qt::Key_Return, Qt::ShiftModifier);
    QTest::keyClicks(list, QStringLiteral("b"));
    QCOMPARE(m_window->current().unsubscribed, QStringLiteral("a\r\nb"));
}

void TestOptions::onlyItsButtonsLeaveIt()
{
    open();
    QTest::keyClick(m_window.get(), Qt::Key_Escape);
    QVERIFY(!m_window->windowFlags().testFlag(Qt::WindowCloseButtonHint));
    QVERIFY(!m_window->close());
    QVERIFY(m_window->isVisible());
    // The program that ends is not held up.
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(1); });
    QCOMPARE(QApplication::exec(), 0);
    QVERIFY(!m_window->isVisible());
}

void TestOptions::confirmsAChangedPassword_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("answers"); // as many as questions are expected
    QTest::addColumn<QString>("after");
    QTest::addColumn<bool>("refused");
    const QString old = QStringLiteral("old");
    const QString changed = QStringLiteral("new");
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
    for (const QString &answer : answers)
        m_op->passwords.push(answer);
    open(before);
    type(password(), typed);
    QTest::keyClick(password(), Qt::Key_Tab);
    QCOMPARE(m_op->asked, QStringList()); // not while the focus moves
    QCoreApplication::processEvents();
    QCOMPARE(m_op->asked, QStringList(answers.size(), question));
    QCOMPARE(m_op->told, refused ? QStringList{incorrect} : QStringList());
    QCOMPARE(password()->text(), after);
    QCOMPARE(password()->hasFocus(), refused);
    // What the box held when it got the focus back counts from then on.
    QTest::mouseClick(password(), Qt::LeftButton);
    QTest::mouseClick(box<QLineEdit>("txtSMTP"), Qt::LeftButton);
    QCoreApplication::processEvents();
    QCOMPARE(m_op->asked.size(), answers.size());
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
    const QString old = QStringLiteral("old");
    const QString changed = QStringLiteral("new");
    m_op->passwords.push(confirmed ? changed : QStringLiteral("other"));
    open(old);
    type(password(), changed);
    if (how == "click")
        press(closes ? "cmdClose" : "Command1");
    else if (how == "Alt")
        QTest::keyClick(m_window.get(), closes ? Qt::Key_C : Qt::Key_A, Qt::AltModifier);
    else
        QTest::keyClick(password(), Qt::Key_Return);
    QTRY_COMPARE(m_op->asked, QStringList{question});
    QTRY_COMPARE(m_window->isVisible(), !(closes && confirmed));
    QCOMPARE(m_op->told, confirmed ? QStringList() : QStringList{incorrect});
    QTRY_COMPARE(m_store->load().password, confirmed && !closes ? changed : old);
    QCOMPARE(password()->text(), confirmed && closes ? old : changed);
    // That change has been asked about, also when the window is shown again; the next has not.
    QWidget mainWindow;
    activate(&mainWindow);
    activate(m_window.get());
    QTRY_VERIFY(password()->hasFocus());
    press("Command1");
    QCOMPARE(m_op->asked.size(), 1);
    m_op->passwords.push(QStringLiteral("next"));
    type(password(), QStringLiteral("next"));
    press("Command1");
    QCOMPARE(m_op->asked.size(), 2);
}

void TestOptions::asksOnceAtATime()
{
    struct SlowOperator final : Operator {
        void tell(const QString &, const QString &) override {}
        bool ask(const QString &, const QString &) override { return false; }
        QString inputPassword(const QString &, const QString &) override
        {
            ++asked;
            QCoreApplication::sendPostedEvents(); // as a dialog does
            return QStringLiteral("new");
        }
        QString openFile(const QString &, const QString &, const QString &) override { return {}; }
        QString saveFile(const QString &, const QString &, const QString &) override { return {}; }
        int asked = 0;
    } op;
    open(QStringLiteral("old"), &op);
    type(password(), QStringLiteral("new"));
    for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Tab})
        QTest::keyClick(m_window->focusWidget(), key);
    QTRY_COMPARE(op.asked, 1);
    QCoreApplication::processEvents();
    QCOMPARE(op.asked, 1);
}

void TestOptions::borrowedFocusAsksNothing()
{
    open(QStringLiteral("old"));
    type(password(), QStringLiteral("new"));
    QWidget other;
    activate(&other);
    activate(m_window.get());
    QTRY_VERIFY(password()->hasFocus());
    QCOMPARE(m_op->asked, QStringList());
    // The change is still to be confirmed.
    m_op->passwords.push(QStringLiteral("new"));
    QTest::keyClick(password(), Qt::Key_Tab);
    QTRY_COMPARE(m_op->asked, QStringList{question});
}

void TestOptions::returnsToThePasswordFromTheOtherTab()
{
    open(QStringLiteral("old"));
    type(password(), QStringLiteral("new"));
    m_op->passwords.push(QStringLiteral("wrong"));
    QTabBar *tabs = box<QTabWidget>("TabStrip1")->tabBar();
    QTest::mouseClick(tabs, Qt::LeftButton, {}, tabs->tabRect(1).center());
    QTRY_COMPARE(m_op->told, QStringList{incorrect});
    QVERIFY(box<QFrame>("Frame1")->isVisible());
    QVERIFY(password()->hasFocus());
}

QTEST_MAIN(TestOptions)
#include "tst_options.moc"

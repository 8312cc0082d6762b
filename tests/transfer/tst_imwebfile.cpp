#include "curlwebfetch.h"
#include "frmimwebfile.h"

#include "fakes.h"
#include "httpserver.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace
{

/// The window as a person has it before them, and what they do in it one after the other.
struct Desk {
    template <typename T>
    T *find(const char *name) const
    {
        return window.findChild<T *>(QLatin1String(name));
    }
    void type(const QString &address) const
    {
        find<QLineEdit>("txtURL")->selectAll();
        QTest::keyClicks(find<QLineEdit>("txtURL"), address);
    }
    void press(const char *button) const
    {
        QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
    }
    /// Shows the window, does `acts` in it, and returns what it leaves.
    std::optional<QString> use(const std::function<void()> &acts)
    {
        QTimer::singleShot(0, &window, [&] {
            if (QTest::qWaitForWindowActive(&window))
                acts();
            if (window.isVisible()) // after a failed check
                window.reject();
        });
        return window.importDocument();
    }

    HttpServer server{{{"/n/p", {"HTTP/1.1 200 OK\r\n\r\n", "<img src=a>"}},
                       {"/empty", {"HTTP/1.1 200 OK\r\n\r\n"}},
                       {"/slow", {"HTTP/1.1 200 OK\r\n\r\n", "<p>", 1, true}}}};
    ScriptedOperator op;
    EventLoopYield yield;
    CurlWebFetch fetch{yield};
    frmImWebFile window{fetch, op};
};

} // namespace

class TestImWebFile final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qputenv("no_proxy", "*"); }
    void imports();
    void addsTheDomainPrefix();
    void cancelLeavesNothing();
    void failureKeepsTheWindow();
    void leavingEndsTheFetch_data();
    void leavingEndsTheFetch();
};

void TestImWebFile::imports()
{
    Desk desk;
    const QString address = desk.server.address(QStringLiteral("/n/p"));
    const auto document = desk.use([&] {
        QVERIFY(desk.find<QLineEdit>("txtURL")->hasFocus());
        desk.type(address);
        QTest::keyClick(desk.find<QLineEdit>("txtURL"), Qt::Key_Return);
    });
    QCOMPARE(document, QStringLiteral("<img src=a>"));
    // An empty document is one too, and the address box keeps what was typed.
    const auto second = desk.use([&] {
        QCOMPARE(desk.find<QLineEdit>("txtURL")->text(), address);
        desk.type(desk.server.address(QStringLiteral("/empty")));
        desk.press("Command1");
    });
    QCOMPARE(second, QString());
    QVERIFY(second.has_value());
}

void TestImWebFile::addsTheDomainPrefix()
{
    Desk desk;
    const auto document = desk.use([&] {
        desk.type(desk.server.address(QStringLiteral("/n/p")));
        QTest::mouseClick(desk.find<QCheckBox>("chkDomain"), Qt::LeftButton, {}, {8, 8});
        desk.press("Command1");
    });
    QCOMPARE(document,
             QStringLiteral("<img src=%1>").arg(desk.server.address(QStringLiteral("/n/a"))));
}

void TestImWebFile::cancelLeavesNothing()
{
    Desk desk;
    QVERIFY(!desk.use([&] { desk.press("Command2"); }).has_value());
    QVERIFY(desk.server.requests().isEmpty());
}

void TestImWebFile::failureKeepsTheWindow()
{
    Desk desk;
    const auto document = desk.use([&] {
        desk.type(desk.server.address(QStringLiteral("/missing")));
        QTest::keyClick(desk.find<QLineEdit>("txtURL"), Qt::Key_Return);
        QVERIFY(desk.window.isVisible());
        QVERIFY(desk.find<QLineEdit>("txtURL")->hasFocus());
        desk.press("Command2");
    });
    QVERIFY(!document.has_value());
    QCOMPARE(desk.op.told,
             QStringList(QStringLiteral("Import Web File|127.0.0.1 answered: 404 Not Found.")));
}

void TestImWebFile::leavingEndsTheFetch_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("button") << QStringLiteral("button");
    QTest::newRow("Escape") << QStringLiteral("Escape");
    QTest::newRow("title bar") << QStringLiteral("title bar");
}

void TestImWebFile::leavingEndsTheFetch()
{
    QFETCH(QString, way);
    Desk desk;
    const auto document = desk.use([&] {
        desk.type(desk.server.address(QStringLiteral("/slow")));
        // The fetch does not go on while one of its events waits, so each only looks.
        QTimer look;
        connect(&look, &QTimer::timeout, &desk.window, [&] {
            if (desk.server.requests().isEmpty())
                return;
            look.stop();
            QVERIFY(!desk.find<QPushButton>("Command1")->isEnabled());
            if (way == QLatin1String("button"))
                desk.press("Command2");
            else if (way == QLatin1String("Escape"))
                QTest::keyClick(&desk.window, Qt::Key_Escape);
            else
                desk.window.close();
        });
        look.start(0);
        desk.press("Command1");
    });
    QVERIFY(!document.has_value());
    QVERIFY(desk.op.told.isEmpty());
    QTRY_COMPARE(desk.server.connections(), 0);
}

QTEST_MAIN(TestImWebFile)
#include "tst_imwebfile.moc"

#include "fakes.h"
#include "frmpreview.h"
#include "previewpanel.h"
#include "recordinghtmlview.h"
#include "testfolder.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

class TestPreview final : public QObject
{
    Q_OBJECT

private slots:
    void stopsAtBothEnds();
    void mergesWhatTheBoxesHold_data();
    void mergesWhatTheBoxesHold();
    void writesHtmlForTheBrowser();
    void pagesInTheTab();
    void keysMoveInTheWindow_data();
    void keysMoveInTheWindow();
    void windowCloses();
    void emptyList();
    void missingList();
};

namespace
{

const QString text = QStringLiteral("TEXT");

/// A list of Ann, Bob and Chloé.
struct Person {
    TestFolder folder;
    QString list = folder.folder().listConnectionString(
        folder.addList(QStringLiteral("L"),
                       {QStringLiteral("'a@x.org','Ann'"),
                        QStringLiteral("'b@x.org','Bob','Obi','Mr','1','%%MEMO%%','4 & %%EMAIL%%'"),
                        QString::fromUtf8("'c@x.org','Chloé'")}));
    QString empty =
        folder.folder().listConnectionString(folder.addList(QStringLiteral("Empty"), {}));
    ScriptedOperator op;
    FakeClock clock;
    RecordingHtmlView *browser = nullptr;
    PreviewPanel panel{folder.folder(), op, clock, RecordingHtmlView::factory(browser)};

    void click(const QString &button)
    {
        QTest::mouseClick(panel.findChild<QPushButton *>(button), Qt::LeftButton);
    }
    QString shown() const
    {
        return panel.findChild<QPlainTextEdit *>(QStringLiteral("Text1"))->toPlainText();
    }
    QString box(int index) const
    {
        return panel.findChild<QLineEdit *>(QStringLiteral("txtFields%1").arg(index))->text();
    }
};

} // namespace

void TestPreview::stopsAtBothEnds()
{
    const Person person;
    RecipientPreview preview;
    preview.load(person.list, QStringLiteral("%%FIRSTNAME%%"));
    QVERIFY(!preview.previous()); // this is where a person hears a beep
    QCOMPARE(preview.position(), 1);
    QVERIFY(preview.next());
    QVERIFY(preview.next());
    QCOMPARE(preview.position(), 3);
    QVERIFY(!preview.next());
    QCOMPARE(preview.position(), 3);
    QCOMPARE(preview.body({}), QString::fromUtf8("Chloé"));
    QVERIFY(preview.previous());
    QCOMPARE(preview.position(), 2);
}

void TestPreview::mergesWhatTheBoxesHold_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("forAnn");
    QTest::addColumn<QString>("forBob");
    const QDateTime now = FakeClock().now();
    const QLocale locale = QLocale::system();
    const QString date = locale.toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
                         locale.toString(now.time(), QLocale::ShortFormat);
    QTest::newRow("empty last name")
        << QStringLiteral("Dear %%FIRSTNAME%% %%LASTNAME%%") << QStringLiteral("Dear Ann ")
        << QStringLiteral("Dear Bob Obi");
    QTest::newRow("lower case") << QStringLiteral("%%firstname%%")
                                << QStringLiteral("%%firstname%%")
                                << QStringLiteral("%%firstname%%");
    QTest::newRow("date and time")
        << QStringLiteral("%%SEND_DATE%%|%%SEND_DATE%%") << date + QLatin1Char('|') + date
        << date + QLatin1Char('|') + date;
    QTest::newRow("value with a later field")
        << QStringLiteral("%%COMPANY%%, %%MEMO%%") << QStringLiteral(", ")
        << QStringLiteral("4 & %%EMAIL%%, 4 & %%EMAIL%%");
    QTest::newRow("every other field")
        << QStringLiteral("%%EMAIL%% %%TITLE%% %%CONTACT%%") << QStringLiteral("a@x.org  ")
        << QStringLiteral("b@x.org Mr 1");
}

void TestPreview::mergesWhatTheBoxesHold()
{
    QFETCH(QString, body);
    QFETCH(QString, forAnn);
    QFETCH(QString, forBob);
    Person person;
    person.panel.Load_prev_db(person.list, text, body);
    QCOMPARE(person.shown(), forAnn);
    person.click(QStringLiteral("cmdNext"));
    QCOMPARE(person.shown(), forBob);
    QStringList boxes;
    for (int i = 0; i < 7; ++i)
        boxes += person.box(i);
    QCOMPARE(boxes.join(QLatin1Char('|')),
             QStringLiteral("b@x.org|Bob|Obi|Mr|1|%%MEMO%%|4 & %%EMAIL%%"));
}

void TestPreview::writesHtmlForTheBrowser()
{
    Person person;
    const auto page = [&] {
        QFile file(person.folder.file(QStringLiteral("psource.htm")));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    person.panel.show();
    person.panel.Load_prev_db(person.list, QStringLiteral("HTML"),
                              QStringLiteral("<p>%%FIRSTNAME%%\n<i>%%MEMO%%</i>"));
    QCOMPARE(person.browser->objectName(), QStringLiteral("WebBrowser2"));
    QVERIFY(person.browser->isVisible());
    QCOMPARE(page(), QByteArray("\xef\xbb\xbf<p>Ann\n<i></i>\r\n"));
    person.click(QStringLiteral("cmdLast"));
    QCOMPARE(page(), QByteArray("\xef\xbb\xbf<p>Chloé\n<i></i>\r\n"));
    QCOMPARE(person.browser->shown,
             QStringList(2, person.folder.file(QStringLiteral("psource.htm"))));
    person.panel.Load_prev_db(person.list, text, QStringLiteral("plain"));
    QVERIFY(!person.browser->isVisible());
    QCOMPARE(person.shown(), QStringLiteral("plain"));
    QCOMPARE(person.browser->shown.size(), 2);
}

void TestPreview::pagesInTheTab()
{
    Person person;
    QStringList positions;
    connect(&person.panel, &PreviewPanel::positionChanged, this,
            [&](qsizetype position, qsizetype count) {
                positions += QStringLiteral("%1/%2").arg(position).arg(count);
            });
    const QSignalSpy window(&person.panel, &PreviewPanel::previewRequested);
    person.panel.Load_prev_db(person.list, text, QStringLiteral("%%FIRSTNAME%%"));
    person.click(QStringLiteral("cmdLast"));
    person.click(QStringLiteral("cmdPrevious"));
    person.click(QStringLiteral("cmdFirst"));
    for (const char *key : {"Last", "Next", "Prior", "First", "Preview"})
        person.panel.findChild<QAction *>(QLatin1String(key))->trigger();
    QCOMPARE(positions.join(QLatin1Char(' ')), QStringLiteral("1/3 3/3 2/3 1/3 3/3 3/3 2/3 1/3"));
    QCOMPARE(person.shown(), QStringLiteral("Ann"));
    QCOMPARE(window.size(), 1);
    QVERIFY(person.op.told.isEmpty());
}

void TestPreview::keysMoveInTheWindow_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<int>("position"); // from the second of four
    const Qt::KeyboardModifiers none;
    const Qt::KeyboardModifiers control = Qt::ControlModifier;
    QTest::newRow("Home") << Qt::Key_Home << none << 1;
    QTest::newRow("End") << Qt::Key_End << none << 4;
    QTest::newRow("Up") << Qt::Key_Up << none << 1;
    QTest::newRow("Page Up") << Qt::Key_PageUp << none << 1;
    QTest::newRow("Ctrl+Up") << Qt::Key_Up << control << 1;
    QTest::newRow("Down") << Qt::Key_Down << none << 3;
    QTest::newRow("Page Down") << Qt::Key_PageDown << none << 3;
    QTest::newRow("Ctrl+Down") << Qt::Key_Down << control << 4;
    QTest::newRow("Ctrl+Page Down") << Qt::Key_PageDown << control << 4;
    QTest::newRow("another") << Qt::Key_Right << none << 2;
}

void TestPreview::keysMoveInTheWindow()
{
    QFETCH(Qt::Key, key);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(int, position);
    Person person;
    person.folder.execute(QStringLiteral("insert into email (email) values ('d@x.org')"), 1);
    frmPreview window(person.folder.folder(), person.op, person.clock,
                      RecordingHtmlView::factory(person.browser));
    window.Load_db(person.list, text, QStringLiteral("%%EMAIL%%"));
    window.setSubject(QStringLiteral("News"));
    QCOMPARE(window.windowTitle(), QStringLiteral("Preview [ Subject : News ]"));
    window.show();
    const auto status = [&] {
        return window.findChild<QLabel *>(QStringLiteral("lblStatus"))->text();
    };
    // Wherever the focus is: a button, a field, the body.
    for (QWidget *focus :
         {static_cast<QWidget *>(window.findChild<QPushButton *>(QStringLiteral("cmdNext"))),
          static_cast<QWidget *>(window.findChild<QLineEdit *>(QStringLiteral("txtFields2"))),
          static_cast<QWidget *>(
              window.findChild<QPlainTextEdit *>(QStringLiteral("txtSource")))}) {
        QTest::keyClick(focus, Qt::Key_Home);
        QTest::keyClick(focus, Qt::Key_Down);
        QCOMPARE(status(), QStringLiteral("Record: 2"));
        QTest::keyClick(focus, key, modifiers);
        QCOMPARE(status(), QStringLiteral("Record: %1").arg(position));
    }
}

void TestPreview::windowCloses()
{
    Person person;
    frmPreview window(person.folder.folder(), person.op, person.clock,
                      RecordingHtmlView::factory(person.browser));
    window.Load_db(person.list, text, {});
    window.show();
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    QTest::keyClick(&window, Qt::Key_Escape);
    QVERIFY(!window.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestPreview::emptyList()
{
    Person person;
    person.panel.Load_prev_db(person.list, text, {});
    person.panel.Load_prev_db(person.empty, text, QStringLiteral("Dear %%FIRSTNAME%%!"));
    QCOMPARE(person.box(1), QString());
    QCOMPARE(person.shown(), QStringLiteral("Dear !"));
    person.click(QStringLiteral("cmdNext"));
    person.click(QStringLiteral("cmdPrevious"));
    QVERIFY(person.op.told.isEmpty());
    person.click(QStringLiteral("cmdFirst"));
    person.click(QStringLiteral("cmdLast"));
    QCOMPARE(person.op.told, QStringList(2, QStringLiteral("|The list has no recipients.")));
    QCOMPARE(person.shown(), QStringLiteral("Dear !"));
}

void TestPreview::missingList()
{
    Person person;
    person.panel.Load_prev_db(person.list, text, QStringLiteral("%%FIRSTNAME%%"));
    person.panel.Load_prev_db(person.folder.folder().listConnectionString(99), text,
                              QStringLiteral("Hello %%FIRSTNAME%%"));
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().contains(QStringLiteral("does not exist")));
    QCOMPARE(person.shown(), QStringLiteral("Hello ")); // not Ann of another list
}

QTEST_MAIN(TestPreview)
#include "tst_preview.moc"

#include "fakes.h"
#include "frmpreview.h"
#include "previewpanel.h"
#include "recordinghtmlview.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QAction>
#include <QDir>
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
    void mergesWhatTheBoxesHold_data();
    void mergesWhatTheBoxesHold();
    void writesHtmlForTheBrowser();
    void pagesInTheTab();
    void movesInTheWindow();
    void emptyAndMissingLists();
};

namespace
{

const QString text = QStringLiteral("TEXT");

/// A list of Ann, Bob and Chloé.
struct Person {
    TestFolder folder;
    QString list = folder.folder().listConnectionString(folder.addList(
        "L", {"'a@x.org','Ann'", "'b@x.org','Bob','Obi','Mr','1','%%MEMO%%','4 & %%EMAIL%%'",
              "'c@x.org','Chloé'"}));
    QString empty = folder.folder().listConnectionString(folder.addList("Empty", {}));
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

void TestPreview::mergesWhatTheBoxesHold_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("forAnn");
    QTest::addColumn<QString>("forBob");
    const auto row = [](const char *name, const char *body, const TestText &forAnn,
                        const TestText &forBob) {
        QTest::newRow(name) << QString::fromLatin1(body) << QString(forAnn) << QString(forBob);
    };
    const QDateTime now = FakeClock().now();
    const QLocale locale = QLocale::system();
    const QString date = locale.toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
                         locale.toString(now.time(), QLocale::ShortFormat);
    row("empty last name", "Dear %%FIRSTNAME%% %%LASTNAME%%", "Dear Ann ", "Dear Bob Obi");
    row("lower case", "%%firstname%%", "%%firstname%%", "%%firstname%%");
    row("date and time", "%%SEND_DATE%%%%SEND_DATE%%", date + date, date + date);
    row("value with a later field", "%%COMPANY%%, %%MEMO%%", ", ", "4 & %%EMAIL%%, 4 & %%EMAIL%%");
    row("every other field", "%%EMAIL%% %%TITLE%% %%CONTACT%%", "a@x.org  ", "b@x.org Mr 1");
}

void TestPreview::mergesWhatTheBoxesHold()
{
    QFETCH(QString, body);
    Person person;
    person.panel.Load_prev_db(person.list, text, body);
    QTEST(person.shown(), "forAnn");
    person.click(QStringLiteral("cmdNext"));
    QTEST(person.shown(), "forBob");
    QStringList boxes;
    for (int i = 0; i < 7; ++i)
        boxes += person.box(i);
    QCOMPARE(boxes.join(QLatin1Char('|')),
             QStringLiteral("b@x.org|Bob|Obi|Mr|1|%%MEMO%%|4 & %%EMAIL%%"));
}

void TestPreview::writesHtmlForTheBrowser()
{
    Person person;
    const auto page = [&] { return readFile(person.folder.file("psource.htm")); };
    person.panel.show();
    person.panel.Load_prev_db(person.list, QStringLiteral("HTML"),
                              QStringLiteral("<p>%%FIRSTNAME%%\n<i>%%MEMO%%</i>"));
    QCOMPARE(person.browser->objectName(), QStringLiteral("WebBrowser2"));
    QVERIFY(person.browser->isVisible());
    QCOMPARE(page(), QByteArray("\xef\xbb\xbf<p>Ann\n<i></i>\r\n"));
    person.click(QStringLiteral("cmdLast"));
    QCOMPARE(page(), QByteArray("\xef\xbb\xbf<p>Chloé\n<i></i>\r\n"));
    QCOMPARE(person.browser->shown, QStringList(2, person.folder.file("psource.htm")));
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
    for (const char *key : {"Prior", "Last", "Next", "Prior", "First", "Preview"})
        person.panel.findChild<QAction *>(QLatin1String(key))->trigger();
    QCOMPARE(positions.join(QLatin1Char(' ')),
             QStringLiteral("1/3 3/3 2/3 1/3 1/3 3/3 3/3 2/3 1/3"));
    QCOMPARE(person.shown(), QStringLiteral("Ann"));
    QCOMPARE(window.size(), 1);
    QVERIFY(person.op.told.isEmpty());
}

void TestPreview::movesInTheWindow()
{
    Person person;
    person.folder.execute("insert into email (email) values ('d@x.org')", 1);
    frmPreview window(person.folder.folder(), person.op, person.clock,
                      RecordingHtmlView::factory(person.browser));
    window.Load_db(person.list, text, QStringLiteral("%%EMAIL%%"));
    window.setSubject(QStringLiteral("News"));
    QCOMPARE(window.windowTitle(), QStringLiteral("Preview [ Subject : News ]"));
    window.show();
    const auto *status = window.findChild<QLabel *>(QStringLiteral("lblStatus"));
    const std::tuple<Qt::Key, Qt::KeyboardModifier, int> moves[] = {
        {Qt::Key_Down, Qt::NoModifier, 2},          {Qt::Key_Right, Qt::NoModifier, 2},
        {Qt::Key_PageDown, Qt::NoModifier, 3},      {Qt::Key_Up, Qt::NoModifier, 2},
        {Qt::Key_End, Qt::NoModifier, 4},           {Qt::Key_Up, Qt::ControlModifier, 1},
        {Qt::Key_PageDown, Qt::ControlModifier, 4}, {Qt::Key_Home, Qt::NoModifier, 1}};
    // Wherever the focus is: a button, a field, the body.
    for (const char *name : {"cmdNext", "txtFields2", "txtSource"}) {
        for (const auto &[key, modifier, position] : moves) {
            QTest::keyClick(window.findChild<QWidget *>(QLatin1String(name)), key, modifier);
            QCOMPARE(status->text(), QStringLiteral("Record: %1").arg(position));
        }
    }
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    QTest::keyClick(&window, Qt::Key_Escape);
    QVERIFY(!window.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestPreview::emptyAndMissingLists()
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

    person.panel.Load_prev_db(person.list, text, QStringLiteral("%%FIRSTNAME%%"));
    person.panel.Load_prev_db(person.folder.folder().listConnectionString(99), text,
                              QStringLiteral("Hello %%FIRSTNAME%%"));
    QVERIFY(person.op.told.last().contains(QStringLiteral("does not exist")));
    QCOMPARE(person.shown(), QStringLiteral("Hello ")); // not Ann of another list
}

QTEST_MAIN(TestPreview)
#include "tst_preview.moc"

#include "frmmerge.h"

#include "fakes.h"
#include "testfolder.h"
#include "window.h"

#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

using Kind = frmMerge::Kind;

/// The windows that merge and append lists, as a person uses them.
class TestMerge final : public QObject
{
    Q_OBJECT

private slots:
    void offersTheLists();
    void appends();
    void merges();
    void checksFirst_data();
    void checksFirst();
    void abortsAtARecord();
    void unreadableCatalogueOpensNothing();
};

namespace
{

struct Person {
    explicit Person(Kind kind)
        : window(kind, folder.folder(), op, yield)
    {
        folder.addList("Ann", {"'a1@x.org','Ann','O''Neil'", "a2@x.org", "a3@x.org"});
        folder.addList("Bob", {"A1@x.org", "b2@x.org"});
        folder.addList("Empty", {});
    }
    /// Opens the window on a list to append to, and does `steps` while it is open.
    bool during(const std::function<void()> &steps, const TestText &target = {})
    {
        const WhenShown<frmMerge> person([&](frmMerge &) {
            QVERIFY(QTest::qWaitForWindowActive(&window));
            steps();
            if (window.isVisible())
                press("cmdCancel");
        });
        return window.run(target);
    }
    template <typename T>
    T *find(const char *name) const
    {
        return window.findChild<T *>(QString::fromLatin1(name));
    }
    void press(const char *button) const
    {
        QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
    }
    /// Ticks lists with the keyboard.
    void tick(const QList<int> &rows) const
    {
        auto *lists = find<QTreeWidget>("ListView1");
        for (const int row : rows) {
            lists->setCurrentItem(lists->topLevelItem(row));
            QTest::keyClick(lists, Qt::Key_Space);
        }
    }
    QStringList entries() const
    {
        QStringList result;
        const auto *lists = find<QTreeWidget>("ListView1");
        for (int i = 0; i < lists->topLevelItemCount(); ++i) {
            const QTreeWidgetItem *item = lists->topLevelItem(i);
            result += item->text(0);
            if (item->checkState(0) == Qt::Checked)
                result.last() += u" ticked"_s;
        }
        return result;
    }
    QStringList counts() const
    {
        return folder.rows("select rec_count from mlist order by listid");
    }
    QString log() const { return find<QPlainTextEdit>("txtLog")->toPlainText(); }

    TestFolder folder;
    ScriptedOperator op;
    CountingYield yield;
    frmMerge window;
};

const QString noName = u"|Please enter the listname !"_s;

} // namespace

void TestMerge::offersTheLists()
{
    for (const Kind kind : {Kind::Merge, Kind::Append}) {
        const bool merges = kind == Kind::Merge;
        Person person(kind);
        person.folder.execute("update mlist set listtype='Press' where listid=2");
        const auto steps = [&] {
            QCOMPARE(person.window.windowTitle() + u'|' +
                         person.find<QGroupBox>("Frame1")->title() + u'|' +
                         person.find<QPushButton>("cmdOK")->text().remove(u'&'),
                     merges ? u"Merge Maillists| Select Maillists to be merged: |Merge"_s
                            : u"Append Maillists| Select Maillists: |Append"_s);
            QCOMPARE(person.entries().join(u' '), u"1-Ann 2-Bob 3-Empty"_s);
            QVERIFY(!person.find<QPlainTextEdit>("txtLog")->isVisible());
            QCOMPARE(person.find<QLineEdit>("txtListname")->isVisible(), merges);
            QCOMPARE(person.find<QComboBox>("Combo1")->isVisible(), merges);
            QCOMPARE(person.find<QComboBox>("combMaillist")->isVisible(), !merges);
            QCOMPARE(person.find<QComboBox>("combMaillist")->currentText(), u"2-Bob"_s);
            QCOMPARE(person.find<QComboBox>("Combo1")->currentText(), u"Customer"_s);
            QCOMPARE(person.find<QComboBox>("Combo1")->itemText(6), u"Press"_s);
        };
        QVERIFY(!person.during(steps, "2-Bob"));
    }
}

void TestMerge::appends()
{
    Person person(Kind::Append);
    const auto steps = [&] {
        person.tick({0, 1});
        person.press("cmdOK");
        QVERIFY(person.window.isVisible());
        QVERIFY(!person.find<QTreeWidget>("ListView1")->isVisible());
        QVERIFY(person.find<QPlainTextEdit>("txtLog")->isVisible());
        QCOMPARE(person.find<QLabel>("lbStatus")->text(), QString());
    };
    QVERIFY(person.during(steps, "3-Empty"));
    QCOMPARE(person.folder.rows("select email, lname from email order by mid", 3),
             QStringList({u"a1@x.org|O'Neil"_s, u"a2@x.org|"_s, u"a3@x.org|"_s, u"b2@x.org|"_s}));
    QCOMPARE(person.counts().last(), u"4"_s);
    QVERIFY(person.log().startsWith(u"Error Log:\nAdding emails from : 1-Ann\nTotal : 3\n"_s));
    QVERIFY(person.log().endsWith(u"Success : 1\nFail : 1\n\n"_s));
    QCOMPARE(person.op.told, QStringList());
}

void TestMerge::merges()
{
    Person person(Kind::Merge);
    QVERIFY(person.during([&] {
        QTest::keyClicks(person.find<QLineEdit>("txtListname"), u"Bob's"_s);
        person.find<QComboBox>("Combo1")->setCurrentText(u"Friends"_s);
        person.tick({0, 1});
        person.press("cmdOK");
    }));
    QCOMPARE(person.folder.row("select listname, listtype, rec_count from mlist where listid=4"),
             u"Bob's|Friends|4"_s);
    QVERIFY(person.log().startsWith("Error Log:\nImport : 1-Ann\n"_L1));
    // The next use begins anew.
    QVERIFY(!person.during([&] {
        QCOMPARE(person.entries().join(u' '), u"1-Ann 2-Bob 3-Empty 4-Bob's"_s);
        QVERIFY(person.find<QTreeWidget>("ListView1")->isVisible());
        QVERIFY(!person.find<QPlainTextEdit>("txtLog")->isVisible());
        QCOMPARE(person.find<QLineEdit>("txtListname")->text(), QString());
    }));
}

void TestMerge::checksFirst_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("ticks");
    QTest::addColumn<QString>("expected");
    const QString none = u"|You must select a least one maillist from the list!"_s;
    QTest::newRow("append, no list") << Kind::Append << "" << false << none;
    QTest::newRow("merge, no list") << Kind::Merge << "All" << false << none;
    QTest::newRow("merge, no name") << Kind::Merge << "" << true << noName;
    QTest::newRow("merge, neither") << Kind::Merge << "" << false << noName;
}

void TestMerge::checksFirst()
{
    QFETCH(Kind, kind);
    QFETCH(QString, name);
    QFETCH(bool, ticks);
    QFETCH(QString, expected);
    Person person(kind);
    const QStringList before = person.counts();
    QVERIFY(!person.during([&] {
        person.find<QLineEdit>("txtListname")->setText(name);
        if (ticks)
            person.tick({0});
        person.press("cmdOK");
        QVERIFY(person.find<QTreeWidget>("ListView1")->isVisible());
        // What is missing can be typed, or ticked, at once.
        QCOMPARE(person.window.focusWidget()->objectName(),
                 expected == noName ? u"txtListname"_s : u"ListView1"_s);
    }));
    QCOMPARE(person.op.told, QStringList{expected});
    QCOMPARE(person.counts(), before);
}

void TestMerge::abortsAtARecord()
{
    for (const bool closes : {false, true}) {
        Person person(Kind::Append);
        person.yield.actAt = 1; // events run after the first record, whatever the machine's speed
        person.yield.action = [&] {
            QVERIFY(!person.find<QPushButton>("cmdOK")->isEnabled());
            QCOMPARE(person.find<QLabel>("lbStatus")->text(), u"Adding emails from : 1-Ann"_s);
            QCOMPARE(person.find<QLabel>("lbMergeCount")->text(), u"1"_s);
            QCOMPARE(person.window.cursor().shape(), Qt::WaitCursor);
            person.press(closes ? "cmdCancel" : "cmdAbort");
        };
        const auto steps = [&] {
            person.tick({0, 1});
            person.press("cmdOK");
            QCOMPARE(person.window.isVisible(), !closes);
        };
        QVERIFY(!person.during(steps, "3-Empty"));
        QCOMPARE(person.folder.rows("select email from email", 3), QStringList{u"a1@x.org"_s});
        QCOMPARE(person.counts().last(), u"0"_s);
        QCOMPARE(person.op.told, QStringList{u"|Abort !"_s});
        QVERIFY(person.log().endsWith("Total : 1\nSuccess : 1\nFail : 0\n\n"_L1));
        QVERIFY(person.find<QPushButton>("cmdOK")->isEnabled());
        QCOMPARE(person.window.cursor().shape(), Qt::ArrowCursor);
    }
}

void TestMerge::unreadableCatalogueOpensNothing()
{
    Person person(Kind::Merge);
    QFile::remove(person.folder.file("sys.mdb"));
    QVERIFY(!person.window.run());
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith("Error|Error #  14 "_L1));
}

QTEST_MAIN(TestMerge)
#include "tst_merge.moc"

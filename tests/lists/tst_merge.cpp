// The windows that copy lists into one list, as a person uses them, and the copy itself.

#include "frmmerge.h"

#include "connection.h"
#include "fakes.h"
#include "window.h"

#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

using Kind = frmMerge::Kind;

namespace
{

struct Person {
    explicit Person(Kind kind = Kind::Append)
        : window(kind, folder.folder(), op, yield)
    {
        folder.addList("Ann", {"'a1@x.org',null,'O''Neil','Dr','0042','Acme','memo'", "a2@x.org"});
        folder.addList("Bob", {"A1@x.org", "b2@x.org"});
        folder.addList("Empty", {});
        folder.execute("update email set status = 'F', remark = 'why'", 1);
    }
    /// Opens the window on a list to append to, ticks these rows, copies, and does `steps`.
    bool copy(
        const TestText &target, const QList<int> &ticked,
        const std::function<void()> &steps = [] {})
    {
        const WhenShown<frmMerge> person([&](frmMerge &) {
            QVERIFY(QTest::qWaitForWindowActive(&window));
            for (const int row : ticked) {
                lists->setCurrentItem(lists->topLevelItem(row));
                QTest::keyClick(lists, Qt::Key_Space);
            }
            if (!ticked.isEmpty())
                press(window, "cmdOK");
            steps();
            if (window.isVisible())
                press(window, "cmdCancel");
        });
        return window.run(target);
    }
    /// Adds addresses r1, r1 + step, ... below 40,000.
    void fill(qint64 list, int step) const
    {
        folder.execute(
            u"insert into email (email) with recursive n(i) as (select 1 union all "
            "select i + %1 from n where i < 40000 - %1) select 'r' || i from n"_s.arg(step),
            list);
    }
    QStringList recipients(qint64 list) const
    {
        return folder.rows("select * from email order by mid", list);
    }
    QStringList counts() const
    {
        return folder.rows("select rec_count from mlist order by listid");
    }
    QString text(const char *combo) const { return child<QComboBox>(window, combo)->currentText(); }
    QString log() const { return child<QPlainTextEdit>(window, "txtLog")->toPlainText(); }

    TestFolder folder;
    ScriptedOperator op;
    CountingYield yield;
    frmMerge window;
    QTreeWidget *lists = child<QTreeWidget>(window, "ListView1");
};

const QString refusal = u"This email address is already in the list."_s;

} // namespace

class TestMerge final : public QObject
{
    Q_OBJECT

private slots:
    void offersTheLists()
    {
        for (const Kind kind : {Kind::Merge, Kind::Append}) {
            const bool merges = kind == Kind::Merge;
            Person person(kind);
            person.folder.execute("update mlist set listtype='Press' where listid=2");
            QVERIFY(!person.copy("2-Bob", {}, [&] {
                QCOMPARE(person.window.windowTitle() + u'|' +
                             child<QGroupBox>(person.window, "Frame1")->title() + u'|' +
                             child<QPushButton>(person.window, "cmdOK")->text().remove(u'&'),
                         merges ? u"Merge Maillists| Select Maillists to be merged: |Merge"_s
                                : u"Append Maillists| Select Maillists: |Append"_s);
                QCOMPARE(person.lists->topLevelItemCount(), 3);
                QCOMPARE(person.lists->topLevelItem(1)->text(0), u"2-Bob"_s);
                for (const char *box : {"txtListname", "Combo1"})
                    QCOMPARE(child(person.window, box)->isVisible(), merges);
                QCOMPARE(child(person.window, "combMaillist")->isVisible(), !merges);
                QCOMPARE(person.text("combMaillist"), u"2-Bob"_s);
                QCOMPARE(person.text("Combo1"), u"Customer"_s);
                QVERIFY(child<QComboBox>(person.window, "Combo1")->findText(u"Press"_s) > 0);
            }));
        }
    }

    void appends()
    {
        Person person;
        QVERIFY(person.copy("3-Empty", {0, 1}, [&] {
            QVERIFY(!person.lists->isVisible());
            QVERIFY(child(person.window, "txtLog")->isVisible());
            QCOMPARE(child<QLabel>(person.window, "lbStatus")->text(), QString());
        }));
        QCOMPARE(person.recipients(3),
                 (QStringList{u"1|a1@x.org||O'Neil|Dr|0042|Acme|memo|null|null"_s,
                              u"2|a2@x.org|||||||null|null"_s, u"3|b2@x.org|||||||null|null"_s}));
        QVERIFY(person.recipients(1).first().endsWith(u"|F|why"_s)); // the source is as it was
        QCOMPARE(person.counts(), (QStringList{u"0"_s, u"0"_s, u"3"_s}));
        QCOMPARE(person.log(),
                 u"Error Log:\nAdding emails from : 1-Ann\nTotal : 2\nSuccess : 2\nFail : 0\n\n"
                 "Adding emails from : 2-Bob\n1\tA1@x.org\t\t\t\t\t\t\t%1\n"
                 "Total : 2\nSuccess : 1\nFail : 1\n\n"_s.arg(refusal));
        // The next use begins anew.
        QVERIFY(!person.copy({}, {}, [&] {
            QVERIFY(person.lists->isVisible());
            QCOMPARE(person.lists->topLevelItem(0)->checkState(0), Qt::Unchecked);
        }));
        QCOMPARE(person.op.told, QStringList());
    }

    void merges()
    {
        Person person(Kind::Merge);
        person.folder.execute("update email set lname = 'OLD' || char(39)", 2);
        QVERIFY(person.copy({}, {0, 1}, [&] { // first there is no name
            type(person.window, "txtListname", "Bob's");
            child<QComboBox>(person.window, "Combo1")->setCurrentText(u"Friends'"_s);
            press(person.window, "cmdOK");
        }));
        QCOMPARE(person.op.told, QStringList{u"|Please enter the listname !"_s});
        QCOMPARE(person.folder.row("select * from mlist where listid=4").section(u'|', 0, 2),
                 u"4|Bob's|Friends'"_s);
        QCOMPARE(person.counts().last(), u"3"_s);
        // An apostrophe in the log is doubled as in a statement.
        QVERIFY(person.log().contains(u"\nImport : 2-Bob\n1\tA1@x.org\t\tOLD''\t"_s));
    }

    void needsAListAndAName()
    {
        for (const Kind kind : {Kind::Merge, Kind::Append}) {
            Person person(kind);
            QVERIFY(!person.copy({}, {}, [&] {
                child<QLineEdit>(person.window, "txtListname")->setText(u"All"_s);
                press(person.window, "cmdOK");
                QVERIFY(person.lists->isVisible() && person.lists->hasFocus());
            }));
            QCOMPARE(person.op.told,
                     QStringList{u"|You must select a least one maillist from the list!"_s});
            QCOMPARE(person.counts().size(), 3);
        }
    }

    void aborts()
    {
        for (const char *button : {"cmdAbort", "cmdCancel"}) {
            Person person;
            person.yield.actAt = 1; // after the first record
            person.yield.action = [&] {
                QVERIFY(!child(person.window, "cmdOK")->isEnabled());
                QCOMPARE(child<QLabel>(person.window, "lbStatus")->text(),
                         u"Adding emails from : 1-Ann"_s);
                QCOMPARE(child<QLabel>(person.window, "lbMergeCount")->text(), u"1"_s);
                press(person.window, button);
            };
            QVERIFY(!person.copy("3-Empty", {0, 1}, [&] {
                QCOMPARE(person.window.isVisible(), button == "cmdAbort"_L1);
            }));
            QCOMPARE(person.recipients(3).size(), 1);
            QCOMPARE(person.counts().last(), u"0"_s);
            QCOMPARE(person.op.told, QStringList{u"|Abort !"_s});
            QVERIFY(person.log().endsWith("Total : 1\nSuccess : 1\nFail : 0\n\n"_L1));
            QVERIFY(child(person.window, "cmdOK")->isEnabled());
        }
    }

    void goesOnAfterASourceThatFails()
    {
        Person person;
        person.folder.folder().deleteListDatabase(1);
        QVERIFY(person.copy("3-Empty", {0, 1}));
        QVERIFY(person.op.told.takeLast().startsWith(u"Error|Append Error #  14 was generated"_s));
        QCOMPARE(person.op.told, QStringList());
        QCOMPARE(person.counts().last(), u"2"_s);
    }

    void targetThatFailsEndsTheRun()
    {
        Person person;
        {
            Connection other(person.folder.folder().listConnectionString(3));
            const Transaction lock(other);
            QVERIFY(!person.copy("3-Empty", {0, 1}));
            QVERIFY(person.op.told.takeLast().contains(u"is in use by another program"_s));
        }
        person.folder.folder().deleteListDatabase(3);
        QVERIFY(!person.copy("3-Empty", {0, 1}));
        QVERIFY(person.op.told.takeLast().endsWith(u"m3.mdb does not exist."_s));
        QCOMPARE(person.log(), u"Error Log:\n"_s);
        // Nor is one left in the catalogue that could not be made.
        Person merger(Kind::Merge);
        QVERIFY(QFile::remove(merger.folder.file("mtemplate.mdb")));
        QVERIFY(!merger.copy({}, {0}, [&] {
            type(merger.window, "txtListname", "All");
            press(merger.window, "cmdOK");
        }));
        QVERIFY(merger.op.told.takeLast().startsWith(u"Error|Merge Error #  0 "_s));
        QCOMPARE(merger.counts().size(), 3);
        QVERIFY(QFile::remove(merger.folder.file("sys.mdb")));
        QVERIFY(!merger.window.run());
        QVERIFY(merger.op.told.takeLast().startsWith(u"Error|Error #  14 "_s));
        QCOMPARE(person.op.told, QStringList());
    }

    /// Shared addresses here and there, so that full batches are refused and taken.
    void copiesLongLists()
    {
        Person person;
        person.fill(1, 1);
        person.fill(3, 100);
        QVERIFY(person.copy("3-Empty", {0}));
        QCOMPARE(person.log().count(refusal), 400);
        QVERIFY(person.log().endsWith(u"Total : 40001\nSuccess : 39601\nFail : 400\n\n"_s));
        QVERIFY(person.log().contains(u"\n103\tr101\t"_s));
        QCOMPARE(
            person.folder.rows("select email from email where mid > 400 order by mid limit 3", 3),
            (QStringList{u"a1@x.org"_s, u"a2@x.org"_s, u"r2"_s}));
        // A list that is appended to itself, and takes an address twice, does not grow without end.
        for (const char *sql : {"create table twice as select * from email", "drop table email",
                                "create table email (mid integer primary key, email, fname, lname,"
                                "title, contact, company, memo, status, remark)",
                                "insert into email select * from twice"})
            person.folder.execute(sql, 1);
        QVERIFY(person.copy("1-Ann", {0}));
        QCOMPARE(person.counts().first(), u"80002"_s);
    }
};

QTEST_MAIN(TestMerge)
#include "tst_merge.moc"

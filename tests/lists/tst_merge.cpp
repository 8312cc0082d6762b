// The windows that copy lists into one list, as a person uses them, and the copy itself.

#include "frmmerge.h"

#include "connection.h"
#include "fakes.h"
#include "window.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

using Kind = frmMerge::Kind;

namespace
{

struct Person {
    explicit Person(Kind kind = Kind::Append)
        : window(kind, folder.folder(), op, yield)
    {
        folder.addList("Ann", {"'a1@x.org','','O''Neil','Dr','0042','Acme','memo'", "a2@x.org"});
        folder.addList("Bob", {"A1@x.org", "b2@x.org"});
        folder.addList("Empty", {});
        folder.execute("update email set status = 'F', remark = 'why', fname = null", 1);
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
            press(window, "cmdOK");
            steps();
            if (window.isVisible())
                press(window, "cmdCancel");
        });
        return window.run(target);
    }
    QString recipients(qint64 list) const
    {
        return folder.rows("select * from email order by mid", list).join(u'\n');
    }
    QString counts() const { return folder.rows("select rec_count from mlist").join(u' '); }
    QString log() const { return child<QPlainTextEdit>(window, "txtLog")->toPlainText(); }

    TestFolder folder;
    ScriptedOperator op;
    CountingYield yield;
    frmMerge window;
    QTreeWidget *lists = child<QTreeWidget>(window, "ListView1");
};

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
            QVERIFY(!person.copy("2-Bob", {}, [&] {
                QVERIFY(child(person.window, "txtListname")->isVisible() == merges);
                const auto *box =
                    child<QComboBox>(person.window, merges ? "Combo1" : "combMaillist");
                QCOMPARE(box->currentText(), merges ? "Customer" : "2-Bob");
                if (merges) // what is missing is told, one thing after the other
                    type(person.window, "txtListname", "All\r");
                QVERIFY(person.lists->isVisible() && person.lists->hasFocus());
            }));
            QCOMPARE(person.op.told.join(u' '),
                     (merges ? "|Please enter the listname ! " : QString()) +
                         "|You must select a least one maillist from the list!");
        }
    }

    void appends()
    {
        Person person;
        QVERIFY(person.copy("3-Empty", {0, 1}, [&] {
            QVERIFY(child(person.window, "txtLog")->isVisible() && !person.lists->isVisible());
        }));
        QCOMPARE(person.recipients(3), "1|a1@x.org||O'Neil|Dr|0042|Acme|memo|null|null\n"
                                       "2|a2@x.org|||||||null|null\n3|b2@x.org|||||||null|null");
        QCOMPARE(person.counts(), "0 0 3");
        QCOMPARE(
            person.log(),
            "Error Log:\nAdding emails from : 1-Ann\nTotal : 2\nSuccess : 2\nFail : 0\n\n"
            "Adding emails from : 2-Bob\n1\tA1@x.org\t\t\t\t\t\t\tThis email address is already in "
            "the list.\nTotal : 2\nSuccess : 1\nFail : 1\n\n");
        QCOMPARE(person.op.told, QStringList());
        // The next use begins anew, with nothing ticked.
        QVERIFY(!person.copy({}, {}, [&] { QVERIFY(person.lists->isVisible()); }));
    }

    void merges()
    {
        Person person(Kind::Merge);
        person.folder.execute("update email set lname = 'OLD' || char(39)", 2);
        QVERIFY(person.copy({}, {0, 1}, [&] {
            child<QComboBox>(person.window, "Combo1")->setCurrentText("Friends'");
            type(person.window, "txtListname", "Bob's\r");
        }));
        QCOMPARE(
            person.folder.row("select listname, listtype, rec_count from mlist where listid=4"),
            "Bob's|Friends'|3");
        // An apostrophe in the log is doubled as in a statement.
        QVERIFY(person.log().contains("\nImport : 2-Bob\n1\tA1@x.org\t\tOLD''\t"));
    }

    void aborts()
    {
        for (const char *button : {"cmdAbort", "cmdCancel"}) {
            Person person;
            person.yield.actAt = 1; // after the first record
            person.yield.action = [&] {
                QVERIFY(!child(person.window, "cmdOK")->isEnabled());
                QCOMPARE(child<QLabel>(person.window, "lbStatus")->text(),
                         "Adding emails from : 1-Ann");
                press(person.window, button);
            };
            QVERIFY(!person.copy("3-Empty", {0, 1}, [&] {
                QCOMPARE(person.window.isVisible(), QLatin1String(button) == "cmdAbort");
            }));
            QCOMPARE(person.recipients(3).count(u'@'), 1);
            QCOMPARE(person.op.told.join(u' ') + person.counts(), "|Abort !0 0 0");
            QVERIFY(person.log().endsWith("Total : 1\nSuccess : 1\nFail : 0\n\n"));
        }
    }

    void failures()
    {
        Person person;
        {
            Connection other(person.folder.folder().listConnectionString(3));
            const Transaction lock(other);
            QVERIFY(!person.copy("3-Empty", {0, 1}));
        }
        QVERIFY(person.op.told.takeLast().endsWith("is in use by another program."));
        // A source that cannot be read ends only itself.
        person.folder.folder().deleteListDatabase(1);
        QVERIFY(person.copy("3-Empty", {0, 1}));
        QVERIFY(person.op.told.takeLast().startsWith("Error|Append Error #  14 was generated by"));
        QCOMPARE(person.op.told, QStringList()); // not once for each list
        QCOMPARE(person.counts(), "0 0 2");
        // Nor is a list left in the catalogue that could not be made.
        Person merger(Kind::Merge);
        QVERIFY(QFile::remove(merger.folder.file("mtemplate.mdb")));
        QVERIFY(!merger.copy({}, {0}, [&] { type(merger.window, "txtListname", "All\r"); }));
        QVERIFY(merger.op.told.last().startsWith("Error|Merge Error #  0 "));
        QCOMPARE(merger.counts(), "0 0 0");
    }

    /// Shared addresses here and there, so that full batches are refused and taken.
    void copiesLongLists()
    {
        Person person;
        for (const auto &[list, step] : {std::pair(1, 1), {3, 100}}) // r1, r1 + step, ...
            person.folder.execute(u"insert into email (email) with recursive n(i) as (select 1 "
                                  "union all select i + %1 from n where i < 40000 - %1) select "
                                  "'r' || i from n"_s.arg(step),
                                  list);
        QVERIFY(person.copy("3-Empty", {0}));
        QVERIFY(person.log().endsWith("Total : 40001\nSuccess : 39601\nFail : 400\n\n"));
        QCOMPARE(person.recipients(3).section(u'\n', 400, 402),
                 "401|a1@x.org||O'Neil|Dr|0042|Acme|memo|null|null\n"
                 "402|a2@x.org|||||||null|null\n403|r2|||||||null|null");
    }
};

QTEST_MAIN(TestMerge)
#include "tst_merge.moc"

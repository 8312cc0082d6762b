#include "frmmerge.h"

#include "fakes.h"
#include "testfolder.h"

#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

using Kind = frmMerge::Kind;

/// The windows that merge and append lists, as a person uses them.
class TestMerge final : public QObject
{
    Q_OBJECT

private slots:
    void offersTheLists_data();
    void offersTheLists();
    void appends();
    void merges();
    void checksFirst_data();
    void checksFirst();
    void abortsAtARecord_data();
    void abortsAtARecord();
    void secondUseBeginsAnew();
    void missingSourceIsToldAndPassedOver();
    void missingTargetCopiesNothing();
    void unreadableCatalogueOpensNothing();
};

namespace
{

struct Person {
    explicit Person(Kind kind)
        : window(kind, folder.folder(), op, yield)
    {
        folder.addList(QStringLiteral("Ann"),
                       {QStringLiteral("'a1@x.org','Ann','O''Neil'"), QStringLiteral("a2@x.org"),
                        QStringLiteral("a3@x.org")});
        folder.addList(QStringLiteral("Bob"),
                       {QStringLiteral("A1@x.org"), QStringLiteral("b2@x.org")});
        folder.addList(QStringLiteral("Empty"), {});
    }
    /// Opens the window on a list to append to, and does `steps` while it is open.
    bool during(const std::function<void()> &steps, const QString &target = {})
    {
        bool wasOpen = false;
        QTimer::singleShot(0, &window, [&] {
            wasOpen = QTest::qWaitForWindowActive(&window);
            steps();
            if (window.isVisible())
                press("cmdCancel");
        });
        const bool result = window.run(target);
        if (!wasOpen)
            QTest::qFail("The window did not wait for the person", __FILE__, __LINE__);
        return result;
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
                result.last() += QStringLiteral(" ticked");
        }
        return result;
    }
    QStringList addresses(qint64 list) const
    {
        return folder.rows(QStringLiteral("select email from email order by mid"), list);
    }
    QStringList counts() const
    {
        return folder.rows(QStringLiteral("select rec_count from mlist order by listid"));
    }
    QString log() const { return find<QPlainTextEdit>("txtLog")->toPlainText(); }

    TestFolder folder;
    ScriptedOperator op;
    CountingYield yield;
    frmMerge window;
};

const QString noName = QStringLiteral("|Please enter the listname !");

} // namespace

void TestMerge::offersTheLists_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("captions");
    QTest::newRow("merge") << Kind::Merge
                           << "Merge Maillists| Select Maillists to be merged: |Merge";
    QTest::newRow("append") << Kind::Append << "Append Maillists| Select Maillists: |Append";
}

void TestMerge::offersTheLists()
{
    QFETCH(Kind, kind);
    QFETCH(QString, captions);
    Person person(kind);
    person.folder.execute(QStringLiteral("update mlist set listtype='Press' where listid=2"));
    const bool result = person.during(
        [&] {
            QCOMPARE(person.window.windowTitle() + u'|' +
                         person.find<QGroupBox>("Frame1")->title() + u'|' +
                         person.find<QPushButton>("cmdOK")->text().remove(QLatin1Char('&')),
                     captions);
            QCOMPARE(person.entries().join(u' '), QStringLiteral("1-Ann 2-Bob 3-Empty"));
            QVERIFY(!person.find<QPlainTextEdit>("txtLog")->isVisible());
            const bool merges = kind == Kind::Merge;
            QCOMPARE(person.find<QLineEdit>("txtListname")->isVisible(), merges);
            QCOMPARE(person.find<QComboBox>("Combo1")->isVisible(), merges);
            QCOMPARE(person.find<QComboBox>("combMaillist")->isVisible(), !merges);
            QCOMPARE(person.find<QComboBox>("combMaillist")->currentText(),
                     QStringLiteral("2-Bob"));
            QCOMPARE(person.find<QComboBox>("Combo1")->currentText(), QStringLiteral("Customer"));
            QCOMPARE(person.find<QComboBox>("Combo1")->itemText(6), QStringLiteral("Press"));
        },
        QStringLiteral("2-Bob"));
    QVERIFY(!result);
}

void TestMerge::appends()
{
    Person person(Kind::Append);
    const bool result = person.during(
        [&] {
            person.tick({0, 1});
            person.press("cmdOK");
            QVERIFY(person.window.isVisible());
            QVERIFY(!person.find<QTreeWidget>("ListView1")->isVisible());
            QVERIFY(person.find<QPlainTextEdit>("txtLog")->isVisible());
            QCOMPARE(person.find<QLabel>("lbStatus")->text(), QString());
        },
        QStringLiteral("3-Empty"));
    QVERIFY(result);
    QCOMPARE(person.addresses(3).join(u' '), QStringLiteral("a1@x.org a2@x.org a3@x.org b2@x.org"));
    QCOMPARE(person.folder.rows(QStringLiteral("select fname, lname from email where mid<3"), 3),
             QStringList({QStringLiteral("Ann|O'Neil"), QStringLiteral("|")}));
    QCOMPARE(person.counts().last(), QStringLiteral("4"));
    QCOMPARE(person.log(),
             QStringLiteral("Error Log:\nAdding emails from : 1-Ann\nTotal : 3\nSuccess : 3\n"
                            "Fail : 0\n\nAdding emails from : 2-Bob\n1\tA1@x.org\t\t\t\t\t\t\t"
                            "This email address is already in the list.\nTotal : 2\nSuccess : 1\n"
                            "Fail : 1\n\n"));
    QCOMPARE(person.op.told, QStringList());
}

void TestMerge::merges()
{
    Person person(Kind::Merge);
    QVERIFY(person.during([&] {
        QTest::keyClicks(person.find<QLineEdit>("txtListname"), QStringLiteral("Bob's"));
        person.find<QComboBox>("Combo1")->setCurrentText(QStringLiteral("Friends"));
        person.tick({0, 1});
        person.press("cmdOK");
    }));
    QCOMPARE(person.folder.rows(QStringLiteral("select * from mlist where listid=4"))
                 .first()
                 .section(u'|', 1, 2),
             QStringLiteral("Bob's|Friends"));
    QCOMPARE(person.counts().last(), QStringLiteral("4"));
    QCOMPARE(person.addresses(4).size(), 4);
    QVERIFY(person.log().startsWith(QLatin1String("Error Log:\nImport : 1-Ann\n")));
}

void TestMerge::checksFirst_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("ticks");
    QTest::addColumn<QString>("expected");
    const QString none = QStringLiteral("|You must select a least one maillist from the list!");
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
                 expected == noName ? QStringLiteral("txtListname") : QStringLiteral("ListView1"));
    }));
    QCOMPARE(person.op.told, QStringList{expected});
    QCOMPARE(person.counts(), before);
}

void TestMerge::abortsAtARecord_data()
{
    QTest::addColumn<bool>("closes");
    QTest::newRow("Abort") << false;
    QTest::newRow("Close") << true;
}

void TestMerge::abortsAtARecord()
{
    QFETCH(bool, closes);
    Person person(Kind::Append);
    person.yield.actAt = 1; // events run after the first record, whatever the machine's speed
    person.yield.action = [&] {
        QVERIFY(!person.find<QPushButton>("cmdOK")->isEnabled());
        QCOMPARE(person.find<QLabel>("lbStatus")->text(),
                 QStringLiteral("Adding emails from : 1-Ann"));
        QCOMPARE(person.find<QLabel>("lbMergeCount")->text(), QStringLiteral("1"));
        QCOMPARE(person.window.cursor().shape(), Qt::WaitCursor);
        person.press(closes ? "cmdCancel" : "cmdAbort");
    };
    const bool result = person.during(
        [&] {
            person.tick({0, 1});
            person.press("cmdOK");
            QCOMPARE(person.window.isVisible(), !closes);
        },
        QStringLiteral("3-Empty"));
    QVERIFY(!result);
    QCOMPARE(person.addresses(3), QStringList{QStringLiteral("a1@x.org")});
    QCOMPARE(person.counts().last(), QStringLiteral("0"));
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|Abort !")});
    QVERIFY(person.log().endsWith(QLatin1String("Total : 1\nSuccess : 1\nFail : 0\n\n")));
    QVERIFY(person.find<QPushButton>("cmdOK")->isEnabled());
    QCOMPARE(person.window.cursor().shape(), Qt::ArrowCursor);
}

void TestMerge::secondUseBeginsAnew()
{
    Person person(Kind::Merge);
    QVERIFY(person.during([&] {
        person.find<QLineEdit>("txtListname")->setText(QStringLiteral("All"));
        person.tick({0});
        person.press("cmdOK");
    }));
    QVERIFY(!person.during([&] {
        QCOMPARE(person.entries().join(u' '), QStringLiteral("1-Ann 2-Bob 3-Empty 4-All"));
        QVERIFY(person.find<QTreeWidget>("ListView1")->isVisible());
        QVERIFY(!person.find<QPlainTextEdit>("txtLog")->isVisible());
        QCOMPARE(person.find<QLineEdit>("txtListname")->text(), QString());
    }));
}

void TestMerge::missingSourceIsToldAndPassedOver()
{
    Person person(Kind::Append);
    QFile::remove(person.folder.folder().listDatabaseFile(1));
    QVERIFY(person.during(
        [&] {
            person.tick({0, 1});
            person.press("cmdOK");
        },
        QStringLiteral("3-Empty")));
    QCOMPARE(person.addresses(3).size(), 2);
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY2(person.op.told.first().startsWith(
                 QLatin1String("Error|Append Error #  14 was generated by SQLite\rThe database")),
             qPrintable(person.op.told.first()));
}

void TestMerge::missingTargetCopiesNothing()
{
    Person person(Kind::Append);
    QFile::remove(person.folder.folder().listDatabaseFile(3));
    QVERIFY(!person.during(
        [&] {
            person.tick({0});
            person.press("cmdOK");
            QVERIFY(person.find<QPushButton>("cmdOK")->isEnabled());
        },
        QStringLiteral("3-Empty")));
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(QLatin1String("Error|Append Error #  14 ")));
}

void TestMerge::unreadableCatalogueOpensNothing()
{
    Person person(Kind::Merge);
    QFile::remove(person.folder.file(QStringLiteral("sys.mdb")));
    QVERIFY(!person.window.run());
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(QLatin1String("Error|Error #  14 ")));
}

QTEST_MAIN(TestMerge)
#include "tst_merge.moc"

#include "frmnewjob.h"

#include "connection.h"
#include "fakes.h"
#include "jobstore.h"
#include "testfolder.h"

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

class TestNewJob final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void createsAJob();
    void checksInOrder();
    void offersListsAndMessages();
    void createsAListAndAMail();
    void renamesAJob();
    void editsTheJobOfItsRow();
    void cancelStoresNothing_data();
    void cancelStoresNothing();
    void failingStoreKeepsTheDialog();
    void unreadableDatabaseOpensNothing();
    void tellsTheChosenItemInFull_data();
    void tellsTheChosenItemInFull();

private:
    template <typename T>
    T *box(const char *name) const
    {
        return m_window->findChild<T *>(QLatin1String(name));
    }
    void press(const char *button) const
    {
        QTest::mouseClick(box<QPushButton>(button), Qt::LeftButton);
    }
    /// Picks an item with the keyboard, as it is reached with "2" and so on.
    void choose(const char *name, int index) const;
    QStringList items(const char *name) const;
    QStringList jobs() const
    {
        return m_folder->rows(QStringLiteral("select jobname, listid, msgid from mjob"));
    }
    JobRow firstRow() const;
    /// Opens the dialog with `show` and does `steps` while it is open; what is open then is
    /// cancelled. Returns what `show` returned.
    bool during(const std::function<bool()> &show, const std::function<void()> &steps) const;
    bool create(const std::function<void()> &steps) const
    {
        return during([this] { return m_window->createJob(); }, steps);
    }

    std::unique_ptr<TestFolder> m_folder;
    std::unique_ptr<ScriptedOperator> m_op;
    std::function<bool()> m_createList;
    std::function<bool()> m_createMail;
    std::unique_ptr<frmNewJob> m_window;
};

void TestNewJob::init()
{
    m_folder = std::make_unique<TestFolder>();
    m_op = std::make_unique<ScriptedOperator>();
    m_createList = m_createMail = [] { return false; };
    m_window = std::make_unique<frmNewJob>(
        m_folder->folder(), *m_op, [this] { return m_createList(); },
        [this] { return m_createMail(); });
}

void TestNewJob::cleanup()
{
    m_window.reset();
    m_op.reset();
    m_folder.reset();
}

bool TestNewJob::during(const std::function<bool()> &show, const std::function<void()> &steps) const
{
    bool wasOpen = false;
    QTimer::singleShot(0, m_window.get(), [&] {
        wasOpen = QTest::qWaitForWindowActive(m_window.get());
        steps();
        if (m_window->isVisible())
            press("cmdCancel");
    });
    const bool result = show();
    if (!wasOpen)
        QTest::qFail("The dialog did not wait for the person", __FILE__, __LINE__);
    return result;
}

void TestNewJob::choose(const char *name, int index) const
{
    auto *combo = box<QComboBox>(name);
    combo->setFocus();
    QTest::keyClick(combo, Qt::Key_Home);
    for (int i = 0; i < index; ++i)
        QTest::keyClick(combo, Qt::Key_Down);
}

QStringList TestNewJob::items(const char *name) const
{
    const auto *combo = box<QComboBox>(name);
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts += combo->itemText(i);
    return texts;
}

JobRow TestNewJob::firstRow() const
{
    Connection system(m_folder->folder().systemConnectionString());
    return loadJobs(system).at(0);
}

void TestNewJob::createsAJob()
{
    m_folder->addList(QStringLiteral("A"), {});
    const qint64 list = m_folder->addList(QStringLiteral("B"), {});
    const qint64 message = m_folder->addMessage(QStringLiteral("News"), {});
    QVERIFY(create([this] {
        QCOMPARE(m_window->windowTitle(), QStringLiteral("Create Job"));
        QCOMPARE(box<QPushButton>("cmdOK")->text().remove(QLatin1Char('&')),
                 QStringLiteral("Create"));
        QVERIFY(box<QLineEdit>("txtJobName")->hasFocus());
        QTest::keyClicks(box<QLineEdit>("txtJobName"), QStringLiteral("Bob's ''mailing'' "));
        choose("combMlist", 2);
        choose("combMmsg", 1);
        QTest::keyClick(box<QLineEdit>("txtJobName"), Qt::Key_Return);
    }));
    QCOMPARE(jobs(),
             QStringList{QStringLiteral("Bob's ''mailing'' |%1|%2").arg(list).arg(message)});
    QCOMPARE(m_folder->rows(QStringLiteral("select progress, total, last_mid from mjob")),
             QStringList{QStringLiteral("null|0|0")});
    // The next job begins with nothing chosen.
    QVERIFY(!create([this] {
        QVERIFY(box<QLineEdit>("txtJobName")->hasFocus());
        QCOMPARE(box<QLineEdit>("txtJobName")->text(), QString());
        QCOMPARE(box<QComboBox>("combMlist")->currentIndex(), 0);
        QCOMPARE(box<QComboBox>("combMmsg")->currentIndex(), 0);
    }));
    QCOMPARE(m_op->told, QStringList());
}

void TestNewJob::checksInOrder()
{
    m_folder->addList(QStringLiteral("L"), {});
    m_folder->addMessage(QStringLiteral("M"), {});
    QVERIFY(create([this] {
        press("cmdOK");
        QTest::keyClicks(box<QLineEdit>("txtJobName"), QStringLiteral(" "));
        press("cmdOK");
        choose("combMlist", 1);
        press("cmdOK");
        QVERIFY(m_window->isVisible());
        QCOMPARE(m_op->told, QStringList({QStringLiteral("Job Manager|Job Name cannot be empty !"),
                                          QStringLiteral("|Please a maillist."),
                                          QStringLiteral("|Please a mail content.")}));
        QVERIFY(box<QComboBox>("combMmsg")->hasFocus());
        choose("combMmsg", 1);
        press("cmdOK");
    }));
    QCOMPARE(m_op->told.size(), 3);
    QCOMPARE(jobs(), QStringList{QStringLiteral(" |1|1")}); // a name of blanks is one
}

void TestNewJob::offersListsAndMessages()
{
    create([this] {
        QCOMPARE(items("combMlist"), QStringList{QStringLiteral("--Select Maillist--")});
        QCOMPARE(items("combMmsg"), QStringList{QStringLiteral("--Select Email--")});
    });
    m_folder->addList(QStringLiteral("B"), {});
    m_folder->addList(QStringLiteral("A"), {});
    m_folder->execute(QStringLiteral("insert into mmsg (subject) values (null)"));
    create([this] {
        QCOMPARE(items("combMlist"), QStringList({QStringLiteral("--Select Maillist--"),
                                                  QStringLiteral("1-B"), QStringLiteral("2-A")}));
        QCOMPARE(items("combMmsg"),
                 QStringList({QStringLiteral("--Select Email--"), QStringLiteral("1-")}));
    });
}

void TestNewJob::createsAListAndAMail()
{
    for (const char *name : {"A", "B"}) {
        m_folder->addList(QLatin1String(name), {});
        m_folder->addMessage(QLatin1String(name), {});
    }
    const auto chosen = [this] {
        return box<QComboBox>("combMlist")->currentText() + QLatin1Char(' ') +
               box<QComboBox>("combMmsg")->currentText();
    };
    create([&] {
        choose("combMlist", 1);
        choose("combMmsg", 1);
        press("cmdList");
        press("cmdMail");
        QCOMPARE(chosen(), QStringLiteral("1-A 1-A")); // nothing was made
        m_createList = [this] { return m_folder->addList(QStringLiteral("New"), {}) != 0; };
        press("cmdList");
        QCOMPARE(chosen(), QStringLiteral("3-New 1-A"));
        m_createMail = [this] { return m_folder->addMessage(QStringLiteral("New"), {}) != 0; };
        press("cmdMail");
    });
    QCOMPARE(chosen(), QStringLiteral("3-New 3-New")); // cancelled or not
    QCOMPARE(jobs(), QStringList());
}

void TestNewJob::renamesAJob()
{
    m_folder->addList(QStringLiteral("A"), {});
    const qint64 list = m_folder->addList(QStringLiteral("B"), {});
    const qint64 message = m_folder->addMessage(QStringLiteral("News"), {});
    m_folder->addJob(QStringLiteral("Other"), list, message);
    m_folder->addJob(QStringLiteral("Old"), list, message);
    const JobRow row = firstRow();
    QVERIFY(
        during([&] { return m_window->editJob(row); },
               [this] {
                   QCOMPARE(m_window->windowTitle(), QStringLiteral("Edit Job"));
                   QCOMPARE(box<QPushButton>("cmdOK")->text().remove(QLatin1Char('&')),
                            QStringLiteral("Save"));
                   QCOMPARE(box<QLineEdit>("txtJobName")->text(), QStringLiteral("Old"));
                   QCOMPARE(box<QComboBox>("combMlist")->currentText(), QStringLiteral("2-B"));
                   QCOMPARE(box<QComboBox>("combMmsg")->currentText(), QStringLiteral("1-News"));
                   for (const char *locked : {"combMlist", "combMmsg", "cmdList", "cmdMail"})
                       QVERIFY2(!box<QWidget>(locked)->isEnabled(), locked);
                   // The name is selected: typing replaces it.
                   QTest::keyClicks(box<QLineEdit>("txtJobName"), QStringLiteral("Bob's mailing"));
                   QTest::keyClick(box<QLineEdit>("txtJobName"), Qt::Key_Return);
               }));
    QCOMPARE(jobs(),
             QStringList({QStringLiteral("Other|2|1"), QStringLiteral("Bob's mailing|2|1")}));
    // A new job may choose again.
    create([this] { QVERIFY(box<QComboBox>("combMlist")->isEnabled()); });
}

void TestNewJob::editsTheJobOfItsRow()
{
    const qint64 list = m_folder->addList(QStringLiteral("Before"), {});
    m_folder->addJob(QStringLiteral("J"), list, m_folder->addMessage(QStringLiteral("M"), {}));
    const JobRow row = firstRow();
    // The row is older than the list's name: its text is no item, so nothing is chosen.
    m_folder->execute(QStringLiteral("update mlist set listname='After'"));
    QVERIFY(!during([&] { return m_window->editJob(row); },
                    [this] {
                        QCOMPARE(box<QComboBox>("combMlist")->currentIndex(), 0);
                        press("cmdOK");
                    }));
    QCOMPARE(m_op->told, QStringList{QStringLiteral("|Please a maillist.")});
}

void TestNewJob::cancelStoresNothing_data()
{
    QTest::addColumn<bool>("escape");
    QTest::newRow("Cancel") << false;
    QTest::newRow("Escape") << true;
}

void TestNewJob::cancelStoresNothing()
{
    QFETCH(bool, escape);
    m_folder->addJob(QStringLiteral("J"), m_folder->addList(QStringLiteral("L"), {}),
                     m_folder->addMessage(QStringLiteral("M"), {}));
    const JobRow row = firstRow();
    const auto steps = [this, escape] {
        QTest::keyClicks(box<QLineEdit>("txtJobName"), QStringLiteral("X"));
        choose("combMlist", 1);
        choose("combMmsg", 1);
        if (escape)
            QTest::keyClick(m_window.get(), Qt::Key_Escape);
        else
            press("cmdCancel");
        QVERIFY(!m_window->isVisible());
    };
    QVERIFY(!create(steps));
    QVERIFY(!during([&] { return m_window->editJob(row); }, steps));
    QCOMPARE(jobs(), QStringList{QStringLiteral("J|1|1")});
}

void TestNewJob::failingStoreKeepsTheDialog()
{
    m_folder->addJob(QStringLiteral("J"), m_folder->addList(QStringLiteral("L"), {}),
                     m_folder->addMessage(QStringLiteral("M"), {}));
    const JobRow row = firstRow();
    for (const char *event : {"insert", "update"})
        m_folder->execute(QStringLiteral("create trigger t_%1 before %1 on mjob begin select "
                                         "raise(abort, 'The disk is full.'); end")
                              .arg(QLatin1String(event)));
    const auto steps = [this] {
        m_op->told.clear();
        QTest::keyClicks(box<QLineEdit>("txtJobName"), QStringLiteral("X"));
        choose("combMlist", 1);
        choose("combMmsg", 1);
        press("cmdOK");
        QVERIFY(m_window->isVisible());
        QCOMPARE(box<QLineEdit>("txtJobName")->text(), QStringLiteral("X"));
        QCOMPARE(m_op->told.size(), 1);
        QVERIFY(m_op->told.first().startsWith(QLatin1String("Error|Error # ")));
        QVERIFY(m_op->told.first().endsWith(QLatin1String("The disk is full.")));
    };
    QVERIFY(!create(steps));
    QVERIFY(!during([&] { return m_window->editJob(row); }, steps));
}

void TestNewJob::unreadableDatabaseOpensNothing()
{
    QFile::remove(m_folder->file(QStringLiteral("sys.mdb")));
    QVERIFY(!m_window->createJob());
    QCOMPARE(m_op->told.size(), 1);
    QVERIFY(m_op->told.first().startsWith(QLatin1String("Error|Error # ")));
}

void TestNewJob::tellsTheChosenItemInFull_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("toolTip");
    QTest::newRow("plain") << "Members & friends"
                           << "1-Members & friends";
    QTest::newRow("markup stays text") << "<b>Gold</b>"
                                       << "<p>1-&lt;b&gt;Gold&lt;/b&gt;</p>";
}

void TestNewJob::tellsTheChosenItemInFull()
{
    QFETCH(QString, name);
    QFETCH(QString, toolTip);
    m_folder->addJob(QStringLiteral("J"), m_folder->addList(name, {}),
                     m_folder->addMessage(name, {}));
    create([&] {
        for (const char *combo : {"combMlist", "combMmsg"}) {
            choose(combo, 1);
            QCOMPARE(box<QComboBox>(combo)->toolTip(), toolTip);
            choose(combo, 0);
        }
    });
    // Locked, they tell it as well.
    during([this] { return m_window->editJob(firstRow()); },
           [&] { QCOMPARE(box<QComboBox>("combMmsg")->toolTip(), toolTip); });
}

QTEST_MAIN(TestNewJob)
#include "tst_newjob.moc"

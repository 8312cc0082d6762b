// The main window as a person uses it: clicks and keys, against a real server on loopback where
// something is sent.

#include "desk.h"
#include "frmpinfo.h"
#include "testfiles.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QDir>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

namespace
{

/// The server answers the final dot of the third message late, so that the person has time to do
/// something meanwhile; and it knows no r4.
ServerOptions slowAtTheThird()
{
    ServerOptions options;
    options.rules = {
        {.command = "DATA-END", .delay = std::chrono::milliseconds(300), .skip = 2, .times = 1},
        {.command = "RCPT", .text = "r4@", .reply = {"550 5.1.1 No such user"}}};
    return options;
}

/// Does something once, while the message to the third recipient is on its way.
std::unique_ptr<QTimer> atTheThird(const SmtpServer &server, const std::function<void()> &action)
{
    auto timer = std::make_unique<QTimer>();
    QObject::connect(timer.get(), &QTimer::timeout, [&server, action, poll = timer.get()] {
        if (server.transcript().contains("C: RCPT TO:<r3@example.org>")) {
            poll->stop();
            action();
        }
    });
    timer->start(5);
    return timer;
}

/// The program with the jobs "Spring", "Autumn" and "Bob's", of 1, 2 and 3 recipients; the newest
/// is the first row.
struct ThreeJobs : Desk {
    ThreeJobs()
    {
        addJob("Spring", 1, "Dear %%FIRSTNAME%%");
        addJob("Autumn", 2, "<b>x</b>");
        addJob("Bob's", 3);
        folder.execute("update mjob set total = case jobid when 1 then 9 when 2 then 100 else 10 "
                       "end");
        open();
    }
    void search(int mode, const TestText &text) const
    {
        child<QComboBox>(window, "combField")->setCurrentIndex(mode);
        type(window, "txtSearchJob", text + u'\r');
    }
};

/// The program with the job "Spring" of so many recipients, and a server that is slow.
struct SlowJob : Desk {
    explicit SlowJob(int recipients)
        : Desk(slowAtTheThird())
    {
        addJob("Spring", recipients);
        open();
        clickRow(0);
    }
};

} // namespace

class TestMain final : public QObject
{
    Q_OBJECT

private slots:
    void sortsAndSearches()
    {
        const ThreeJobs desk;
        const QAbstractItemModelTester tester(
            desk.jobs()->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QHeaderView *header = desk.jobs()->header();
        // Each column remembers its direction.
        const std::pair<int, const char *> clicks[] = {{3, "Spring Bob's Autumn"},
                                                       {3, "Autumn Bob's Spring"},
                                                       {0, "Autumn Bob's Spring"},
                                                       {3, "Spring Bob's Autumn"}};
        for (const auto &[column, names] : clicks) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              {header->sectionViewportPosition(column) + 10, 10});
            QCOMPARE(desk.names(), QLatin1String(names));
            QCOMPARE(header->sortIndicatorSection(), column);
        }
        // However narrow the window, a date and a count can be read.
        desk.find<QWidget>("lvTask")->window()->resize(500, 400);
        const QString date = u"2026/11/30 12:00:00"_s;
        QTRY_VERIFY(header->length() > header->width());
        QVERIFY(header->sectionSize(7) > header->fontMetrics().horizontalAdvance(date));

        const std::tuple<int, const char *, const char *> searches[] = {
            {0, "Spring", "Spring Bob's Autumn"},
            {4, "  ", "Spring Bob's Autumn"},
            {1, " spr ", "Spring"},
            {2, "autumn l", "Autumn"},
            {3, "Spring n", "Spring"},
            {4, "1", "Spring"},
            {5, "12", ""},
            {1, "ob's", "Bob's"}};
        for (const auto &[mode, text, names] : searches) {
            desk.search(mode, text);
            QCOMPARE(desk.names(), QLatin1String(names));
        }
        QCOMPARE(desk.op.told, QStringList());
        desk.search(4, "abc");
        QCOMPARE(desk.op.told.last(), u"|Please enter numeric value in the search field."_s);
        writeFile(desk.folder.file("sys.mdb"), QByteArray("garbage").repeated(9000));
        desk.search(0, {});
        QVERIFY(desk.op.told.last().contains(u"is damaged or is not a database"_s));
        QCOMPARE(desk.names(), u"Bob's"_s);
    }

    /// By mouse or by key, in every tab; and nothing is left of it when it goes.
    void oneJobIsSelected()
    {
        const ThreeJobs desk;
        const auto *grid = desk.find<QAbstractItemView>("DataGrid1");
        const auto *start = child<QAction>(*desk.find<QWidget>("Toolbar1"), "Start");
        QVERIFY(!start->isEnabled());
        desk.clickRow(1);
        QCOMPARE(desk.find<QPlainTextEdit>("txtSource")->toPlainText(), u"<b>x</b>"_s);
        desk.showTab(2);
        QCOMPARE(grid->model()->rowCount(), 2);
        QTest::keyClick(desk.jobs(), Qt::Key_Down);
        QCOMPARE(desk.text("lbJob"), u"Selected Job : 1 - Spring"_s);
        QCOMPARE(desk.text("lbMailList"), u"Maillist : 1-Spring list"_s);
        QCOMPARE(desk.text("lbmSubject"), u" Email Subject : Spring news"_s);
        QCOMPARE(grid->model()->rowCount(), 1);
        desk.showTab(3);
        QCOMPARE(desk.find<QPlainTextEdit>("Text1")->toPlainText(), u"Dear R1"_s);
        QCOMPARE(desk.text("Panel3"), u"Record: 1/1"_s);
        for (const char *button : {"cmdEditMail", "cmdPreview", "cmdBrowse"})
            QVERIFY2(start->isEnabled() && desk.find<QWidget>(button)->isEnabled(), button);
        desk.search(1, "autumn");
        QCOMPARE(desk.find<QPlainTextEdit>("Text1")->toPlainText(), QString());
        QCOMPARE(desk.text("lbJob"), u"Welcome - No Job Selected"_s);
        QCOMPARE(desk.text("lbMailList") + desk.text("lbmSubject"), u" Email Subject : "_s);
        for (const char *button : {"cmdEditMail", "cmdPreview", "cmdBrowse"})
            QVERIFY2(!start->isEnabled() && !desk.find<QWidget>(button)->isEnabled(), button);
        desk.showTab(2);
        QVERIFY(!grid->isVisible());
        QCOMPARE(desk.text("Panel3"), QString());
    }

    void showsTheMessageOfTheJob()
    {
        const ThreeJobs desk;
        desk.folder.execute("update mmsg set attach01='/a', attach03='/c', "
                            "format = case msgid when 3 then 'HTML' else 'TEXT' end");
        const auto *source = desk.find<QPlainTextEdit>("txtSource");
        const auto *files = desk.find<QLineEdit>("txtAllAttach");
        QVERIFY(!source->isVisible()); // but the start page
        desk.clickRow(1);
        QVERIFY(source->isVisible());
        QCOMPARE(files->text(), u"/a;/c;"_s);
        desk.clickRow(0);
        QVERIFY(!source->isVisible());
        const QString page = desk.folder.file("mview.htm");
        QCOMPARE(readFile(page), "\xef\xbb\xbfHello\r\n");

        // Of a message that cannot be shown or read nothing of the one before is left.
        desk.clickRow(1);
        QVERIFY(QFile::remove(page) && QDir().mkdir(page));
        desk.clickRow(0);
        QVERIFY(desk.op.told.last().contains(u"by File system\rCannot write"_s));
        QCOMPARE(source->toPlainText(), QString());
        desk.folder.execute("delete from mmsg where msgid=1");
        desk.clickRow(2);
        QVERIFY(desk.op.told.last().contains(u"There is no message 1."_s));
        QCOMPARE(files->text(), QString());
        press(desk.window, "Start"); // which would mail nothing to everybody
        QVERIFY(desk.received().isEmpty());
    }

    void sendsPausesResumesAndReruns()
    {
        SlowJob desk(5);
        QVERIFY(!desk.find<QProgressBar>("ProgressBar1")->isVisible());
        QStringList enabled;
        QString bar;
        const auto pause = atTheThird(desk.server, [&] {
            // Looking at a job enables nothing, and a failing search holds up nothing.
            QTest::keyClick(desk.jobs(), Qt::Key_Return);
            desk.find<QComboBox>("combField")->setCurrentIndex(4);
            type(desk.window, "txtSearchJob", "abc\r");
            QVERIFY(desk.op.told.isEmpty());
            QList<QAction *> commands = desk.find<QWidget>("Toolbar1")->actions();
            for (const char *menu : {"mmFile", "mmEdit", "mmJob", "mmHelp"})
                commands += desk.find<QMenu>(menu)->actions();
            for (const QAction *command : std::as_const(commands)) {
                if (command->isEnabled() && !command->isSeparator())
                    enabled += command->objectName();
            }
            for (const char *button : {"cmdEditMail", "cmdPreview", "cmdBrowse", "cmdCopy"}) {
                if (desk.find<QWidget>(button)->isEnabled())
                    enabled += QLatin1String(button);
            }
            bar = desk.find<QProgressBar>("ProgressBar1")->text();
            QTest::keyClick(&desk.window, Qt::Key_Period, Qt::ControlModifier);
        });
        QTest::keyClick(desk.jobs(), Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(enabled, QStringList{u"Pause"_s});
        QVERIFY2(bar.endsWith(u" of 5"_s), qPrintable(bar));
        QCOMPARE(desk.stored(), u"Paused|5|2|3|0|3"_s);
        QCOMPARE(desk.jobs()->row(0).cells[2], u"Paused"_s);
        QCOMPARE(desk.text("Panel5"), u"Sent:3"_s);
        QVERIFY(!desk.find<QProgressBar>("ProgressBar1")->isVisible());

        desk.op.answers.push(true);
        desk.op.answers.push(false);
        press(desk.window, "Start");
        QCOMPARE(desk.stored(), u"Complete|5|0|4|1|0"_s);
        QCOMPARE(desk.folder.row("select remark from email where mid=4", 1),
                 u"550 5.1.1 No such user"_s);
        // They tell of the whole run, not of its last pass.
        QCOMPARE(desk.text("Panel5") + desk.text("Panel6") + desk.text("Panel7"),
                 u"Sent:2Success:1Failed:1"_s);
        QCOMPARE(desk.text("Panel2") + desk.text("Panel3"), QString());
        QCOMPARE(desk.received().size(), 4);
    }

    void nobodyIsMailedAgainUnasked()
    {
        SlowJob desk(4);
        const std::tuple<const char *, int, qsizetype> answers[] = {
            {"", 3, 2}, {"Cancel", 3, 2}, {"Resend Fail", 3, 4}, {"Send to all", 6, 6}};
        for (const auto &[answer, received, refused] : answers) {
            if (*answer)
                desk.op.choices.push(QLatin1String(answer));
            if (*answer != 'C')
                desk.op.answers.push(false); // no further rerun
            press(desk.window, "Start");
            QCOMPARE(desk.received().size(), received);
            QCOMPARE(desk.server.transcript().count("C: RCPT TO:<r4@example.org>"), refused);
        }
        QVERIFY(desk.op.asked.contains(
            u"Start Job|Everybody on the list gets this email again: 3 have had it, 1 "
            "have not.|Resend Fail|Send to all|Cancel*"_s));

        // Nor where another program has done it since.
        desk.addJob("Autumn", 1);
        press(desk.window, "cmdRefresh");
        desk.clickRow(0);
        desk.folder.execute("update mjob set progress = 'Complete', success = 1 where jobid = 2");
        desk.op.choices.push(u"Cancel"_s);
        press(desk.window, "Start");
        QVERIFY(desk.op.asked.last().contains(u"since it was shown here"_s));
        QCOMPARE(desk.jobs()->row(0).cells[2], u"Complete"_s);
        QCOMPARE(desk.received().size(), 6);
    }

    void deletesAndResetsAfterAsking()
    {
        ThreeJobs desk;
        desk.folder.execute("update mjob set success = 294, failure = 6 where jobid = 2");
        press(desk.window, "cmdRefresh");
        desk.clickRow(1);
        for (const bool answer : {false, true}) {
            desk.op.answers.push(answer);
            press(desk.window, "Reset");
            QCOMPARE(desk.folder.row("select success from mjob where jobid = 2"),
                     answer ? u"0"_s : u"294"_s);
        }
        QVERIFY(desk.op.asked.last().startsWith(
            u"Job Manager|Reset Job 2 - Autumn\n\n294 have had its email, and 6 failed."_s));
        press(desk.window, "Reset"); // which loses nothing now
        for (const bool answer : {false, true}) {
            QCOMPARE(desk.names(), u"Bob's Autumn Spring"_s);
            desk.op.answers.push(answer);
            QTest::keyClick(desk.jobs(), Qt::Key_Delete);
            QCOMPARE(desk.op.asked.last(), u"Job Manager|Delete Job 2 - Autumn"_s);
        }
        QCOMPARE(desk.names(), u"Bob's Spring"_s);
        QCOMPARE(desk.folder.rows("select jobid from mjob").join(u' '), u"1 3"_s);
        QCOMPARE(desk.text("lbJob"), u"Welcome - No Job Selected"_s);
        press(desk.window, "Delete");
    }

    void closingEndsARun()
    {
        SlowJob desk(5);
        const auto close = atTheThird(desk.server, [&desk] { desk.window.close(); });
        press(desk.window, "Start");
        QVERIFY(!desk.window.isVisible());
        QCOMPARE(desk.received().size(), 3);
        QCOMPARE(desk.stored(), u"Paused|5|2|3|0|3"_s);
        QCOMPARE(desk.op.told, QStringList());
    }

    void aRunWithoutAServerLeadsToTheOptions()
    {
        Desk desk;
        desk.useServer({});
        desk.addJob("Spring", 1);
        desk.open();
        desk.clickRow(0);
        const WhenShown<frmPinfo> options([&desk](frmPinfo &window) {
            type(window, "txtSMTP", u"127.0.0.1:%1"_s.arg(desk.server.port()));
            window.hide();
        });
        press(desk.window, "Start");
        QCOMPARE(desk.op.told.last(), u"|Please enter a SMTP server in the Options "
                                      "Window and send again !"_s);
        QCOMPARE(desk.received().size(), 0);
        press(desk.window, "Start"); // what the boxes hold counts before it is applied
        QCOMPARE(desk.received().size(), 1);
    }
};

QTEST_MAIN(TestMain)
#include "tst_main.moc"

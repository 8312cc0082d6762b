// What became of everybody, as the window and the console tell it after real runs.

#include "desk.h"
#include "frmreport.h"
#include "testfiles.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTableView>

namespace
{

/// A list of r1 to r6, to which the job "June" sent without a fault. Since then r1 is gone, and the
/// job "July" had r2 refused, r4 put off, the link lost at the end of r5's message, and a server
/// that went away before r6.
struct TwoMonths : Desk {
    TwoMonths()
        : Desk({.rules = {
                    {.command = "RCPT",
                     .text = "r2@",
                     .reply = {"550-5.1.1 No \"user\",", "550 5.1.1 r2"},
                     .skip = 1},
                    {.command = "RCPT", .text = "r4@", .reply = {"451 Later"}, .skip = 1},
                    {.command = "EHLO", .action = ServerRule::Action::Drop, .skip = 2, .times = 6},
                    {.command = "DATA-END",
                     .action = ServerRule::Action::Drop,
                     .skip = 7,
                     .times = 1}}})
    {
        addJob("June", 6);
        folder.addJob("July", 1, 1);
        open();
        clock.time = QDateTime(QDate(2026, 6, 1), QTime(9, 0));
        clickRow(1);
        press(window, "Start");
        folder.execute("delete from email where mid = 1", 1);
        clock.time = QDateTime(QDate(2026, 7, 1), QTime(9, 0));
        clickRow(0);
        press(window, "Start");
    }

    /// The exit status, an end of line, and what is printed.
    QString console(const QStringList &arguments) const
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(CONSOLE, QStringList{"--folder", folder.folder().path()} + arguments);
        process.waitForFinished(-1);
        return QString::number(process.exitCode()) + u'\n' + process.readAll();
    }
    /// "r2 failed 2" and so on: the person, the result and the run.
    QStringList report(const QStringList &arguments) const
    {
        const QString told = console(QStringList{"report"} + arguments + QStringList{"--json"});
        QStringList people;
        for (const auto &value : QJsonDocument::fromJson(told.section(u'\n', 1).toUtf8()).array()) {
            const QJsonObject person = value.toObject();
            people += person["email"].toString().section(u'@', 0, 0) + u' ' +
                      person["result"].toString() + u' ' + QString::number(person["run"].toInt());
        }
        return people;
    }
    void duringReport(const std::function<void(frmReport &)> &steps)
    {
        during<frmReport>([this] { find<QAction>("mmJReport")->trigger(); }, steps);
    }
};

QString filters(const frmReport &report)
{
    QStringList texts;
    for (const char *name : {"cmdAll", "cmdSent", "cmdFailed", "cmdDoubt", "cmdUnsent"}) {
        if (auto *button = child<QAbstractButton>(report, name); !button->isHidden())
            texts += button->text().remove(u'&');
    }
    return texts.join(u", "_s);
}

/// The first columns of everybody who is shown.
QStringList shown(const frmReport &report)
{
    QStringList rows;
    const auto *model = child<QTableView>(report, "grdPeople")->model();
    for (int row = 0; row < model->rowCount(); ++row)
        rows += model->index(row, 0).data().toString() + u' ' +
                model->index(row, 1).data().toString().section(u'@', 0, 0) + u' ' +
                model->index(row, 2).data().toString();
    return rows;
}

} // namespace

class TestReport final : public QObject
{
    Q_OBJECT

private slots:
    void consoleTells()
    {
        const TwoMonths desk;
        QCOMPARE(desk.report({"July"}), (QStringList{"r2 failed 2", "r3 sent 2", "r4 failed 2",
                                                     "r5 doubt 2", "r6 unsent 0"}));
        for (const auto &[outcome, people] : {std::pair("sent", "r3 sent 2"),
                                              {"failed", "r2 failed 2,r4 failed 2"},
                                              {"doubt", "r5 doubt 2"},
                                              {"unsent", "r6 unsent 0"}})
            QCOMPARE(desk.report({"2", "--outcome", outcome}).join(u','), people);
        // Last month's, by way of either job, and when the job itself is gone.
        QCOMPARE(desk.report({"July", "--run", "1"}).size(), 6);
        QCOMPARE(desk.report({"July", "--run", "1"}).first(), "r1 sent 1");
        desk.folder.execute("delete from mjob where jobname = 'June'");
        QCOMPARE(desk.report({"June"}).size(), 6);
        const QString runs = desk.console({"runs"});
        QVERIFY(runs.indexOf("July") > 0 && runs.indexOf("July") < runs.indexOf("June"));
        const QString file = desk.folder.file("out.csv");
        QCOMPARE(desk.console({"report", "July", "--csv", file}), "0\n");
        const QString csv = readFile(file);
        QVERIFY(csv.startsWith("email,name,result,time,run,reason,reply,messageid\r\n"
                               "r2@example.org,R2,failed,2026-07-01T09:00:00,2,\"550"));
        QVERIFY(csv.contains("No \"\"user\"\",") &&
                csv.endsWith("r6@example.org,R6,unsent,,0,,,\r\n"));
        QVERIFY(desk.console({"report", "July", "--csv", desk.folder.file("sys.mdb")})
                    .startsWith("5\n"));

        QVERIFY(desk.console({"verify"}).startsWith("0\n"));
        QVERIFY(desk.console({"forget", "--before", "2026-07-01"}).contains(": 6\n"));
        QCOMPARE(desk.report({"June"}).first(), " sent 1");
        QCOMPARE(desk.report({"July"}).first(), "r2 failed 2");
        QVERIFY(!readFile(desk.folder.file("data/m1.mdb")).contains("r1@example.org"));
        desk.folder.execute("update email set status = 'S' where mid = 4", 1);
        QVERIFY(desk.console({"verify", "June list"}).contains("Recipient 4 (r4@example.org)"));
        QVERIFY(desk.console({"verify"}).startsWith("5\n"));
    }

    void windowShowsAndResends()
    {
        TwoMonths desk;
        desk.duringReport([&](frmReport &report) {
            const QAbstractItemModelTester tester(
                child<QTableView>(report, "grdPeople")->model(),
                QAbstractItemModelTester::FailureReportingMode::QtTest);
            QTRY_COMPARE(filters(report), "All 5, Sent 1, Failed 2, In doubt 1, Unsent 1");
            auto *runs = child<SortableList>(report, "lvRuns");
            QCOMPARE(runs->row(0).cells.mid(5, 3), (QStringList{"1", "2", "1"}));
            press(report, "cmdFailed");
            QCOMPARE(shown(report), (QStringList{"Failed r2 R2", "Failed r4 R4"}));
            desk.op.files.push(desk.folder.file("failed.csv"));
            press(report, "cmdExport");
            QCOMPARE(readFile(desk.folder.file("failed.csv")).count("@example.org,R"), 2);
            // A single run leaves nobody unsent, and nobody is sent to again for it.
            QTest::keyClick(runs, Qt::Key_Down);
            QTRY_COMPARE(filters(report), "All 4, Sent 1, Failed 2, In doubt 1");
            press(report, "cmdFailed");
            QVERIFY(!child<QAbstractButton>(report, "cmdResend")->isEnabled());
            QTest::keyClick(runs, Qt::Key_Up);
            press(report, "cmdDoubt");
            QTRY_VERIFY(child<QAbstractButton>(report, "cmdResend")->isEnabled());
            desk.op.answers.push(false);
            press(report, "cmdResend");
            QVERIFY(report.isVisible() && desk.op.asked.last().contains("1 in doubt"));
        });
        QCOMPARE(desk.received().size(), 7);

        // Where a start would go on with a rerun, it is not offered for those never reached.
        desk.folder.execute("update run set kind='rerun' where run=(select max(run) from run)", 1);
        desk.duringReport([&](frmReport &report) {
            press(report, "cmdUnsent");
            QTRY_COMPARE(filters(report), "All 5, Sent 1, Failed 2, In doubt 1, Unsent 1");
            QVERIFY(!child<QAbstractButton>(report, "cmdResend")->isEnabled());
        });
        desk.folder.execute("update run set kind='start' where run=(select max(run) from run)", 1);

        // Who was never reached comes first, then who failed, and the one in doubt is asked about.
        for (const auto &[filter, reached] :
             {std::pair("cmdUnsent", "r6@"), {"cmdFailed", "r2@"}}) {
            const auto before = desk.server.transcript().size();
            desk.op.answers = {};
            desk.op.answers.push(false);
            desk.op.answers.push(false);
            desk.duringReport([&](frmReport &report) {
                press(report, filter);
                QTRY_VERIFY(child<QAbstractButton>(report, "cmdResend")->isEnabled());
                press(report, "cmdResend");
            });
            const QByteArray said = desk.server.transcript().mid(before).join();
            QVERIFY(said.contains(reached) && !said.contains("r5@"));
        }
        desk.op.answers = {};
        QCOMPARE(desk.op.asked.filter("1 recipient is in doubt").size(), 1);
        // Each by the last of their outcomes.
        QCOMPARE(desk.report({"July"}).join(u','),
                 "r3 sent 2,r5 doubt 2,r6 sent 3,r2 failed 5,r4 failed 6");
    }
};

QTEST_MAIN(TestReport)
#include "tst_report.moc"

// Recipients from text files and workbooks into a list, with and without the window.

#include "connection.h"
#include "fakes.h"
#include "frmimport.h"
#include "logbox.h"
#include "recordingspreadsheet.h"
#include "testfiles.h"
#include "window.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStringEncoder>

#include <csignal>
#include <sys/wait.h>

namespace
{

const QString there = QStringLiteral("This email address is already in the list.");

class RecordingImportView final : public ImportView
{
public:
    void showCounts(const ImportCounts &counts, double done) override
    {
        panels = counts.panels().join(QLatin1Char(' '));
        QVERIFY(done >= 0 && done <= 1);
    }
    void appendLog(const QString &text) override { log += text; }

    QString panels;
    QString log;
};

struct Setup {
    Setup() { folder.addList("R & D", {"old@a.example"}); }

    QString write(const QByteArray &content) const
    {
        return writeFile(folder.file("in.csv"), content);
    }
    RecipientImport::Result run(const QString &path, const TestText &separator = ",")
    {
        return import.run(1, path, RecipientImport::isWorkbook(path), separator);
    }
    /// The recipients that were added, empty fields at the end left out.
    QStringList added() const
    {
        QStringList rows = folder.rows("select email, fname, lname, title, contact, company, memo "
                                       "from email where mid > 1 order by mid",
                                       1);
        for (QString &row : rows) {
            while (row.endsWith(QLatin1Char('|')))
                row.chop(1);
        }
        return rows;
    }
    QString stored() const
    {
        return folder.row("select rec_count, update_time = date() from mlist");
    }
    void use(const std::function<void(frmImport &)> &steps)
    {
        during<frmImport>([this] { window.importInto(1, QStringLiteral("R & D")); }, steps);
    }

    TestFolder folder;
    RecordingSpreadsheet spreadsheet;
    ScriptedOperator op;
    RecordingImportView view;
    CountingYield yield;
    // Shows and yields after each line.
    RecipientImport import{
        folder.folder(), spreadsheet, op, view, yield, std::chrono::milliseconds(0)};
    frmImport window{folder.folder(), spreadsheet, op, yield};
};

/// The text in UTF-16 with a byte-order mark.
QByteArray utf16(const QString &text)
{
    return QStringEncoder(QStringConverter::Utf16, QStringConverter::Flag::WriteBom)(text);
}

QString summary(int good, int bad)
{
    return QStringLiteral("Total Number of Records Imported : %1\r\nNumber of Success : %2\r\n"
                          "Number of Fail : %3")
        .arg(good + bad)
        .arg(good)
        .arg(bad);
}

} // namespace

class TestImport final : public QObject
{
    Q_OBJECT

private slots:
    void readsText_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QString>("added");
        const auto row = [](const char *name, const QByteArray &content, const char *separator,
                            const char *added) {
            QTest::newRow(name) << content << QString(separator) << QString::fromUtf8(added);
        };
        row("all fields, and more", "a@a.example,Ann,O'Neil,Dr,123,Acme,note,8\n", ",",
            "a@a.example|Ann|O'Neil|Dr|123|Acme|note");
        row("semicolon", "a@a.example;A,B", ";", "a@a.example|A,B");
        row("TAB", "a@a.example\tAnn", "TAB", "a@a.example|Ann");
        row("blanks around", "  a@a.example ,  Ann \n", ",", "a@a.example|Ann");
        row("part of the value", "a@a.example,\t\"A,B\"\n", ",", "a@a.example|\t\"A|B\"");
        row("mixed line ends", "a@a.example\r\nb@a.example\rc@a.example\n\nd@a.example", ",",
            "a@a.example b@a.example c@a.example d@a.example");
        row("no address", ",,,\n,\n", ",", "");
        row("NUL bytes", QByteArray("a@a.\0example,A\0nn\0\n\0\n", 21), ",", "a@a.example|Ann");
        const QString line = QStringLiteral("a@a.example,Ünï,Ωmega");
        const char *greek = "a@a.example|Ünï|Ωmega";
        row("UTF-8 with a mark", "\xef\xbb\xbf" + line.toUtf8(), ",", greek);
        row("UTF-16", utf16(line), ",", greek);
        row("Windows-1252", "a@a.example,\x84\xfc\x93,5\x80\n", ",", "a@a.example|„ü“|5€");
        row("UTF-8 cut off", "a@a.example,\xc3", ",", "a@a.example|Ã");
        row("a mark that promises too much", "\xef\xbb\xbf\x61@a.example,\xfc", ",",
            "a@a.example|\ufffd");
    }
    void readsText()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, separator);
        Setup setup;
        QCOMPARE(setup.run(setup.write(content), separator), RecipientImport::Result::Complete);
        QTEST(setup.added().join(QLatin1Char(' ')), "added");
        QCOMPARE(setup.import.counts().successes, setup.added().size());
        QCOMPARE(setup.stored(), QStringLiteral("%1|1").arg(setup.added().size() + 1));
    }

    void countsAndLogs()
    {
        Setup setup;
        // Line 3 has no address, 4 and 6 are there already, 7 has a letter of another encoding.
        QCOMPARE(setup.run(setup.write("a@a.example,Jörg\n\n,no address\nA@A.example,An'n\n"
                                       "b@a.example,Özil\nold@a.example,1,2,3,4,5,6,7\n"
                                       "c@a.example,M\xfcller\n")),
                 RecipientImport::Result::Complete);
        QCOMPARE(setup.added(),
                 (QStringList{"a@a.example|Jörg", "b@a.example|Özil", "c@a.example|M\ufffdller"}));
        QCOMPARE(setup.view.panels, QStringLiteral("Total:6 S:3 F:3"));
        QCOMPARE(setup.view.log,
                 QStringLiteral("Error Log:\r\n4\tA@A.example\tAn''n\t\t\t\t\t\t%1\r\n"
                                "6\told@a.example\t1\t2\t3\t4\t5\t6\t%1\r\n"
                                "7\tc@a.example\tM\ufffdller\t\t\t\t\t\tThis line has bytes that "
                                "are no character in its encoding; \ufffd stands for each.\r\n")
                     .arg(there));
        QCOMPARE(setup.op.told, QStringList(QLatin1Char('|') + summary(3, 3) +
                                            "\r\nLines with unreadable characters : 1"));
        QCOMPARE(setup.yield.count, 8); // after each line, the empty one too, and at the end
    }

    void readsLongFiles_data()
    {
        QTest::addColumn<QByteArray>("lineEnd");
        for (const char *lineEnd : {"\n", "\r\n", "\r", "UTF-16\n"})
            QTest::newRow(lineEnd) << QByteArray(lineEnd);
    }
    /// Of odd lengths, so that line ends and characters meet the ends of the blocks that are read.
    void readsLongFiles()
    {
        QFETCH(QByteArray, lineEnd);
        constexpr int count = 30'000;
        constexpr int refusedEvery = 700; // for what is added together, and one by one
        const QByteArray end = lineEnd.right(lineEnd.size() > 2 ? 1 : 2);
        QString content;
        QStringList refused;
        for (int i = 1; i <= count; ++i) {
            const bool isRefused = i % refusedEvery == 0;
            content += QStringLiteral("%1@a.example,Ün€")
                           .arg(isRefused ? QStringLiteral("old") : QStringLiteral("r%1").arg(i)) +
                       end;
            if (isRefused)
                refused += QString::number(i);
        }
        content += "long@a.example,Ün€,,,,," + QString(1 << 20, 'm') + end;
        Setup setup;
        const QString path = setup.write(lineEnd.size() > 2 ? utf16(content) : content.toUtf8());
        RecipientImport import(setup.folder.folder(), setup.spreadsheet, setup.op, setup.view,
                               setup.yield);
        QCOMPARE(import.run(1, path, false, ","), RecipientImport::Result::Complete);
        QCOMPARE(import.counts().successes, count + 1 - refused.size());
        QCOMPARE(setup.folder.row("select count(*), max(length(memo)) from email where fname = "
                                  "'Ün€'",
                                  1),
                 QStringLiteral("%1|%2").arg(count + 1 - refused.size()).arg((1 << 20)));
        QStringList logged;
        for (const QString &line : setup.view.log.split("\r\n", Qt::SkipEmptyParts).mid(1))
            logged += line.section(QLatin1Char('\t'), 0, 0);
        QCOMPARE(logged, refused);
        QVERIFY(setup.yield.count < count / 10); // as often as looks smooth, not after each line
    }

    void tellsWhatItCannotRead()
    {
        Setup setup;
        const auto told = [&setup](const QString &path) {
            setup.run(path);
            return setup.op.told.takeLast();
        };
        QCOMPARE(told({}), QStringLiteral("Import|Please select a import file."));
        QCOMPARE(told("/no.csv"), QStringLiteral("ImportError|Cannot read /no.csv: No such file or "
                                                 "directory"));
        for (const char *path : {"/", "/dev/zero"})
            QCOMPARE(told(path),
                     QStringLiteral("ImportError|Cannot read %1: it is not a file.").arg(path));
        QVERIFY(!RecipientImport::isWorkbook("a.Xls") && RecipientImport::isWorkbook("a.XLS  "));
        Connection other(setup.folder.folder().listConnectionString(1));
        const Transaction lock(other);
        QVERIFY(told(setup.write("a@a.example")).contains("is in use by another program"));
        QCOMPARE(setup.view.panels, QStringLiteral("Total:0 S:0 F:0"));
    }

    /// However they are spelled.
    void findsDuplicates()
    {
        Setup setup;
        setup.folder.execute("insert into email (email) values ('info@münchen.example')", 1);
        setup.run(setup.write("o\u200bld@a.example\nＯld@a.example\n\"old\"@a.example\n"
                              "OLD@a.example.\nINFO@xn--mnchen-3ya.example\n"
                              "info@münchen.example\nnew@a.example\n\"new\"@a.example\n"
                              "ö@a.example\nÖ@a.example.\n"));
        QCOMPARE(setup.added().mid(1), (QStringList{"new@a.example", "ö@a.example"}));
        QCOMPARE(setup.view.log.count("is already in the list, maybe in another spelling."), 8);
    }

    /// What was committed is kept, and the next import adds the rest.
    void killedImportGoesOn()
    {
        Setup setup;
        constexpr int count = 200'000;
        QByteArray content;
        for (int i = 0; i < count; ++i)
            content += "r" + QByteArray::number(i) + "@a.example\n";
        const QString path = setup.write(content);
        const pid_t child = ::fork();
        if (child == 0) {
            setup.yield.actAt = 25; // frames, which is many commits
            setup.yield.action = [] { ::raise(SIGKILL); };
            RecipientImport(setup.folder.folder(), setup.spreadsheet, setup.op, setup.view,
                            setup.yield)
                .run(1, path, false, ",");
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        QVERIFY(WIFSIGNALED(status));
        const qsizetype kept = setup.added().size();
        QVERIFY(kept > 0 && kept < count);
        RecipientImport import(setup.folder.folder(), setup.spreadsheet, setup.op, setup.view,
                               setup.yield);
        QCOMPARE(import.run(1, path, false, ","), RecipientImport::Result::Complete);
        QCOMPARE(import.counts().failures, kept);
        QCOMPARE(setup.stored(), QStringLiteral("%1|1").arg(count + 1));
        QCOMPARE(setup.folder.row("pragma integrity_check", 1), QStringLiteral("ok"));
    }

    void inTheWindow()
    {
        Setup setup;
        setup.op.files.push(setup.write("bob@x.org ; Bob\r\nOLD@a.example;Ann\n;nobody\n"));
        setup.op.files.push({}); // cancelled, it changes nothing
        setup.op.files.push(setup.folder.file("ulist.txt"));
        setup.op.files.push(setup.folder.file("log.txt"));
        setup.use([&](frmImport &window) {
            QCOMPARE(child<QGroupBox>(window, "Frame1")->title(), QString(" List : R && D "));
            press(window, "cmdOpen");
            press(window, "cmdOpen");
            child<QComboBox>(window, "CombSep")->setCurrentText(";");
            press(window, "cmdImport");
            QCOMPARE(child<QPlainTextEdit>(window, "txtLog")->toPlainText(),
                     "Error Log:\n2\tOLD@a.example\tAnn\t\t\t\t\t\t" + there + "\n");
            QCOMPARE(child<QLabel>(window, "Panel2")->text(), QString("S:1"));
            press(window, "cmdSaveLog"); // not over the program's own file
            press(window, "cmdSaveLog");
            type(window, "Text1", PROGRAM_FOLDER "/email_sample.xls");
            press(window, "cmdImport");
            press(window, "cmdClose");
            QVERIFY(!window.isVisible());
        });
        QCOMPARE(readFile(setup.folder.file("log.txt")),
                 "Error Log:\r\n2\tOLD@a.example\tAnn\t\t\t\t\t\t" + there.toUtf8() + "\r\n");
        QCOMPARE(setup.op.told[0], QLatin1Char('|') + summary(1, 2));
        QVERIFY(setup.op.told[1].endsWith("belongs to the program; choose another file."));
        QCOMPARE(setup.op.told[2], QLatin1Char('|') + summary(3, 0));
        QCOMPARE(setup.op.asked[0],
                 QString("File|TXT/CSV/XLS (*.txt;*.csv;*.xls)|*.txt;*.csv;*.xls|"));
    }

    /// Abort and closing end after the line at work; only closing leaves the window.
    void abortsInTheWindow()
    {
        for (const char *way : {"cmdCancel", "close"}) {
            Setup setup;
            setup.yield.actAt = 1; // events run after the first line, whatever the machine's speed
            setup.use([&](frmImport &window) {
                setup.yield.action = [&] {
                    for (const char *name : {"cmdImport", "cmdClose", "cmdSaveLog", "Frame1"})
                        QVERIFY2(!child(window, name)->isEnabled(), name);
                    QCOMPARE(window.cursor().shape(), Qt::WaitCursor);
                    way[1] == 'l' ? void(window.close()) : press(window, way);
                };
                type(window, "Text1", setup.write("bob@x.org\nzoe@x.org\n"));
                press(window, "cmdImport");
                QCOMPARE(window.isVisible(), way[1] != 'l');
            });
            QCOMPARE(setup.added(), QStringList("bob@x.org"));
            QCOMPARE(setup.op.told, QStringList("|The import was aborted.\r\n" + summary(1, 0)));
            QCOMPARE(setup.stored(), QString("2|1"));
        }
    }

    void logBoxSaysWhatItDropped()
    {
        LogBox box;
        ScriptedOperator op;
        const TestFolder folder;
        box.setUp(op, [](const QString &) {});
        for (int i = 0; i < 3; ++i)
            box.append(QString("line\r\n").repeated(LogBox::mostShown / 2));
        QVERIFY(box.findChild<QLabel *>()->text().startsWith("The last 100,000 of 150,000 lines"));
        op.files.push(folder.file("log.txt"));
        child<QPushButton>(box, "cmdSaveLog")->click();
        QCOMPARE(readFile(folder.file("log.txt")).count('\n'), 150'000);
    }
};

QTEST_MAIN(TestImport)
#include "tst_import.moc"

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
#include <QRegularExpression>
#include <QStringEncoder>

namespace
{

const QString there = QString("This email address is already in the list.");

struct Setup {
    Setup() { folder.addList("R & D", {"old@a.example"}); }

    void use(const std::function<void(frmImport &)> &steps)
    {
        during<frmImport>([this] { window.importInto(1, "R & D"); }, steps);
    }
    /// Imports the file; what is logged then.
    QString run(const QString &path, const TestText &separator = ",")
    {
        use([&](frmImport &) {
            type(window, "Text1", path);
            child<QComboBox>(window, "CombSep")->setCurrentText(separator);
            press(window, "cmdImport");
        });
        return child<QPlainTextEdit>(window, "txtLog")->toPlainText();
    }
    QString panels() const
    {
        return child<QLabel>(window, "Panel1")->text() + child<QLabel>(window, "Panel2")->text() +
               child<QLabel>(window, "Panel3")->text();
    }
    /// The recipients that were added, empty fields at the end left out.
    QStringList added() const
    {
        QStringList rows = folder.rows("select email, fname, lname, title, contact, company, memo "
                                       "from email where mid > 1 order by mid",
                                       1);
        return rows.replaceInStrings(QRegularExpression("\\|+$"), {});
    }
    QString stored() const
    {
        return folder.row("select rec_count, update_time = date() from mlist");
    }
    TestFolder folder;
    QString in = folder.file("in.csv");
    RecordingSpreadsheet spreadsheet;
    ScriptedOperator op;
    CountingYield yield;
    frmImport window{folder.folder(), spreadsheet, op, yield};
};

/// The text in UTF-16 with a byte-order mark.
QByteArray utf16(const QString &text)
{
    return QStringEncoder(QStringConverter::Utf16, QStringConverter::Flag::WriteBom)(text);
}

QString summary(int good, int bad)
{
    return "Total Number of Records Imported : " + QString::number(good + bad) +
           "\r\nNumber of Success : " + QString::number(good) +
           "\r\nNumber of Fail : " + QString::number(bad);
}

} // namespace

class TestImport final : public QObject
{
    Q_OBJECT

private slots:
    void readsText()
    {
        const QString line = "a@a.example,Ünï,Ωmega", greek = "a@a.example|Ünï|Ωmega";
        const std::tuple<QByteArray, const char *, QString> files[] = {
            {"a@a.example,Ann,O'Neil,Dr,123,Acme,note,8\n", ",",
             "a@a.example|Ann|O'Neil|Dr|123|Acme|note"},
            {"a@a.example\tA,B", "TAB", "a@a.example|A,B"},
            {"  a@a.example ,  Ann \n", ",", "a@a.example|Ann"},
            {"a@a.example,\t\"A,B\"\n", ",", "a@a.example|\t\"A|B\""},
            {"a@a.example\r\nb@a.example\rc@a.example\n\nd@a.example", ",",
             "a@a.example b@a.example c@a.example d@a.example"},
            {QByteArray("a@a.\0example,A\0nn\0\n\0\n", 21), ",", "a@a.example|Ann"},
            {"\xef\xbb\xbf" + line.toUtf8(), ",", greek},
            {utf16(line), ",", greek},
            {"a@a.example,\x84\xfc\x93,5\x80\n", ",", "a@a.example|„ü“|5€"},
            {"a@a.example,\xc3", ",", "a@a.example|Ã"}, // cut off
            // A mark that promises too much.
            {"\xef\xbb\xbf\x61@a.example,\xfc", ",", "a@a.example|\ufffd"}};
        for (const auto &[content, separator, added] : files) {
            Setup setup;
            setup.run(writeFile(setup.in, content), separator);
            const QStringList rows = setup.added();
            QCOMPARE(rows.join(' '), added);
            QVERIFY(setup.op.told.last().contains(QString("Success : %1\r\n").arg(rows.size())));
            QCOMPARE(setup.stored(), QString("%1|1").arg(rows.size() + 1));
        }
    }

    void countsAndLogs()
    {
        Setup setup;
        // Line 1 has a letter of another encoding, 4 has no address, 5 and 7 are there already.
        const QString log =
            setup.run(writeFile(setup.in, "c@a.example,M\xfcller\na@a.example,Jörg\n\n,no address\n"
                                          "A@A.example,An'n\nb@a.example,Özil\n"
                                          "old@a.example,1,2,3,4,5,6,7\n"));
        QCOMPARE(setup.added(),
                 (QStringList{"c@a.example|M\ufffdller", "a@a.example|Jörg", "b@a.example|Özil"}));
        QCOMPARE(setup.panels(), QString("Total:6S:3F:3"));
        QCOMPARE(
            log,
            QString("Error Log:\n1\tc@a.example\tM\ufffdller\t\t\t\t\t\tThis line has bytes that "
                    "are no character in its encoding; \ufffd stands for each.\n"
                    "5\tA@A.example\tAn''n\t\t\t\t\t\t%1\n"
                    "7\told@a.example\t1\t2\t3\t4\t5\t6\t%1\n")
                .arg(there));
        QCOMPARE(setup.op.told,
                 QStringList('|' + summary(3, 3) + "\r\nLines with unreadable characters : 1"));
    }

    /// Of odd lengths, so that line ends and characters meet the ends of the blocks that are read;
    /// refused now and then, for what is added together, and one by one.
    void readsLongFiles()
    {
        constexpr int count = 30'000, refused = count / 700;
        for (const QString end : {"\n", "\r\n", "\r", "UTF-16"}) {
            const bool isUtf16 = end.size() > 2;
            QString content, log;
            for (int i = 1; i <= count; ++i) {
                const QString name = i % 700 ? QString("r%1").arg(i) : "old";
                content += name + "@a.example,Ün€" + (isUtf16 ? "\n" : end);
                if (name == "old")
                    log += QString("%1\told@a.example\tÜn€\t\t\t\t\t\t%2\n").arg(i).arg(there);
            }
            content += "long@a.example,Ün€,,,,," + QString(1 << 20, 'm');
            Setup setup;
            const QString path = writeFile(setup.in, isUtf16 ? utf16(content) : content.toUtf8());
            QCOMPARE(setup.run(path), "Error Log:\n" + log);
            QCOMPARE(setup.op.told.last(), '|' + summary(count + 1 - refused, refused));
            QCOMPARE(setup.folder.row("select count(*), max(length(memo)) from email where fname = "
                                      "'Ün€'",
                                      1),
                     QString("%1|%2").arg(count + 1 - refused).arg(1 << 20));
            QVERIFY(setup.yield.count < count / 10); // as often as looks smooth
        }
    }

    void tellsWhatItCannotRead()
    {
        Setup setup;
        const auto told = [&setup](const QString &path) {
            setup.run(path);
            return setup.op.told.takeLast();
        };
        QCOMPARE(told({}), QString("Import|Please select a import file."));
        QCOMPARE(told("/no.csv"), QString("ImportError|Cannot read /no.csv: No such file or "
                                          "directory"));
        for (const char *path : {"/", "/dev/zero"})
            QCOMPARE(told(path),
                     QString("ImportError|Cannot read %1: it is not a file.").arg(path));
        QVERIFY(!RecipientImport::isWorkbook("a.Xls") && RecipientImport::isWorkbook("a.XLS  "));
        Connection other(setup.folder.folder().listConnectionString(1));
        const Transaction lock(other);
        QVERIFY(told(writeFile(setup.in, "a@a.example")).contains("is in use by another program"));
        QCOMPARE(setup.panels(), QString("Total:0S:0F:0"));
    }

    /// However they are spelled.
    void findsDuplicates()
    {
        Setup setup;
        setup.folder.execute("insert into email (email) values ('info@münchen.example')", 1);
        const QString log =
            setup.run(writeFile(setup.in, "o\u200bld@a.example\nＯld@a.example\n\"old\"@a.example\n"
                                          "OLD@a.example.\nINFO@xn--mnchen-3ya.example\n"
                                          "info@münchen.example\nnew@a.example\n\"new\"@a.example\n"
                                          "ö@a.example\nÖ@a.example.\n"));
        QCOMPARE(setup.added().mid(1), (QStringList{"new@a.example", "ö@a.example"}));
        QCOMPARE(log.count("is already in the list, maybe in another spelling."), 8);
    }

    void inTheWindow()
    {
        Setup setup;
        setup.op.files.push(writeFile(setup.in, "bob@x.org ; Bob\r\nOLD@a.example;Ann\n;nobody\n"));
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
        QCOMPARE(setup.op.told[0], '|' + summary(1, 2));
        QVERIFY(setup.op.told[1].endsWith("belongs to the program; choose another file."));
        QCOMPARE(setup.op.told[2], '|' + summary(3, 0));
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
                type(window, "Text1", writeFile(setup.in, "bob@x.org\nzoe@x.org\n"));
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

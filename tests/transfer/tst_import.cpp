// Recipients from text files and workbooks, into the database of a list.

#include "connection.h"
#include "fakes.h"
#include "fakespreadsheet.h"
#include "recipientimport.h"
#include "smalldisk.h"
#include "testfolder.h"

#include <QFile>
#include <QTest>

namespace
{

class RecordingImportView final : public ImportView
{
public:
    void showCounts(const ImportCounts &counts, double done) override
    {
        panels = counts.panels();
        QVERIFY(done >= 0 && done <= 1);
        progress = done;
    }
    void appendLog(const QString &text) override { log += text; }

    QStringList panels;
    QString log;
    double progress = 0;
};

const QString allFields = QStringLiteral(
    "select email, fname, lname, title, contact, company, memo from email order by mid");

struct Setup {
    Setup() { list = folder.addList(QStringLiteral("Members"), {QStringLiteral("old@a.example")}); }

    QString write(const QByteArray &content, const char *name = "recipients.csv") const
    {
        QFile file(folder.file(QLatin1String(name)));
        [&] { QVERIFY(file.open(QIODevice::WriteOnly)); }();
        file.write(content);
        return file.fileName();
    }
    RecipientImport::Result run(const QString &path, const char *separator = ",")
    {
        return import.run(list, path, RecipientImport::isWorkbook(path), QLatin1String(separator));
    }
    /// The recipients that were added, empty fields at the end left out.
    QStringList added() const
    {
        QStringList rows = folder.rows(allFields, list).mid(1);
        for (QString &row : rows) {
            while (row.endsWith(QLatin1Char('|')))
                row.chop(1);
        }
        return rows;
    }
    QString stored() const
    {
        return folder
            .rows(
                QStringLiteral("select rec_count, update_time = date() from mlist where listid=") +
                QString::number(list))
            .first();
    }

    TestFolder folder;
    qint64 list = 0;
    FakeSpreadsheet spreadsheet;
    ScriptedOperator op;
    RecordingImportView view;
    CountingYield yield;
    // Shows and yields after each line.
    RecipientImport import{
        folder.folder(), spreadsheet, op, view, yield, std::chrono::milliseconds(0)};
};

/// The text in UTF-16 with a byte-order mark.
QByteArray utf16(const QString &text, bool bigEndian)
{
    QByteArray bytes = bigEndian ? "\xfe\xff" : "\xff\xfe";
    for (const QChar c : text) {
        const char low = char(c.unicode() & 0xff);
        const char high = char(c.unicode() >> 8);
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    }
    return bytes;
}

} // namespace

class TestImport final : public QObject
{
    Q_OBJECT

private slots:
    void readsText_data();
    void readsText();
    void countsAndLogs();
    void readsLongFiles_data();
    void readsLongFiles();
    void refusesSomeOfMany();
    void numbersLinesAcrossBlocks();
    void readsWorkbooks();
    void isWorkbook_data();
    void isWorkbook();
    void aborts_data();
    void aborts();
    void tellsWhatItCannotRead_data();
    void tellsWhatItCannotRead();
    void lockedListKeepsNothing();
    void fullDiskCountsWhatIsKept();
    void importsAgainAfterEmptying();
};

void TestImport::readsText_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("separator");
    QTest::addColumn<QStringList>("added");

    const auto row = [](const char *name, const QByteArray &content, const char *separator,
                        const QStringList &added) {
        QTest::newRow(name) << content << QString::fromLatin1(separator) << added;
    };
    const QString ann = QStringLiteral("a@a.example|Ann");
    row("all fields", "a@a.example,Ann,O'Neil,Dr,123,Acme,note\n", ",",
        {QStringLiteral("a@a.example|Ann|O'Neil|Dr|123|Acme|note")});
    row("more than seven parts", "a@a.example,1,2,3,4,5,6,7,8\n", ",",
        {QStringLiteral("a@a.example|1|2|3|4|5|6")});
    row("semicolon", "a@a.example;Ann", ";", {ann});
    row("another separator", "a@a.example;Ann", ",", {QStringLiteral("a@a.example;Ann")});
    row("bar", "a@a.example|Ann", "|", {ann});
    row("TAB", "a@a.example\tAnn", "TAB", {ann});
    row("a separator of more characters", "a@a.example::Ann", "::", {ann});
    row("no separator at all", "a@a.example,Ann", "", {QStringLiteral("a@a.example,Ann")});
    row("blanks around", "  a@a.example ,  Ann \n", ",", {ann});
    row("tabs belong to the value", "a@a.example,\tAnn\n", ",",
        {QStringLiteral("a@a.example|\tAnn")});
    row("quotes belong to the value", "a@a.example,\"A,B\"\n", ",",
        {QStringLiteral("a@a.example|\"A|B\"")});
    row("mixed line ends", "a@a.example\r\nb@a.example\rc@a.example\n\nd@a.example", ",",
        {QStringLiteral("a@a.example"), QStringLiteral("b@a.example"),
         QStringLiteral("c@a.example"), QStringLiteral("d@a.example")});
    row("only separators", ",,,\n,\n", ",", {});
    row("nothing", "", ",", {});
    row("NUL bytes", QByteArray("a@a.\0example,A\0nn\0\n\0\n", 21), ",", {ann});

    const QString greek = QStringLiteral("a@a.example|Ünï|Ωmega");
    const QString line = QString(greek).replace(QLatin1Char('|'), QLatin1Char(','));
    row("UTF-8", line.toUtf8(), ",", {greek});
    row("UTF-8 with a mark", "\xef\xbb\xbf" + line.toUtf8(), ",", {greek});
    row("UTF-16, low byte first", utf16(line, false), ",", {greek});
    row("UTF-16, high byte first", utf16(line, true), ",", {greek});
    row("Windows-1252",
        "a@a.example,\x84\xfc"
        "ber\x93,5\x80\n",
        ",", {QStringLiteral("a@a.example|„über“|5€")});
    row("one encoding for the whole file", "a@a.example,\xc3\xbc\nb@a.example,\xfc\n", ",",
        {QStringLiteral("a@a.example|Ã¼"), QStringLiteral("b@a.example|ü")});
    row("a mark that promises too much",
        "\xef\xbb\xbf"
        "a@a.example,\xfc\n",
        ",", {QStringLiteral("a@a.example|\ufffd")});
    row("UTF-8 cut off", "a@a.example,\xc3", ",", {QStringLiteral("a@a.example|Ã")});
}

void TestImport::readsText()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, separator);
    QFETCH(QStringList, added);
    Setup setup;
    QCOMPARE(setup.run(setup.write(content), qPrintable(separator)),
             RecipientImport::Result::Complete);
    QCOMPARE(setup.added(), added);
    QCOMPARE(setup.import.counts().successes, added.size());
    QCOMPARE(setup.import.recordCount(), added.size() + 1);
    QCOMPARE(setup.stored(), QStringLiteral("%1|1").arg(added.size() + 1));
}

void TestImport::countsAndLogs()
{
    Setup setup;
    // Lines 1, 5 and 7 are added; 3 has no address, 4 and 6 are there already.
    const QString path = setup.write("a@a.example,Ann,O'Neil\n"
                                     "\n"
                                     ",no address\n"
                                     "A@A.example,An'n\n"
                                     "b@a.example\n"
                                     "old@a.example;x\n"
                                     "old@a.example,1,2,3,4,5,6,7\n"
                                     "c@a.example\n");
    QCOMPARE(setup.run(path), RecipientImport::Result::Complete);
    QCOMPARE(setup.view.panels, (QStringList{QStringLiteral("Total:7"), QStringLiteral("S:4"),
                                             QStringLiteral("F:3")}));
    QCOMPARE(setup.view.log,
             QStringLiteral(
                 "Error Log:\r\n"
                 "4\tA@A.example\tAn''n\t\t\t\t\t\tThis email address is already in the list.\r\n"
                 "7\told@a.example\t1\t2\t3\t4\t5\t6\tThis email address is already in the list."
                 "\r\n"));
    QCOMPARE(setup.op.told,
             QStringList{QStringLiteral("|Total Number of Records Imported : 7\r\n"
                                        "Number of Success : 4\r\nNumber of Fail : 3")});
    QCOMPARE(setup.stored(), QStringLiteral("5|1"));
    // Shown and yielded after each line, the empty one too, and at the end.
    QCOMPARE(setup.yield.count, 9);
}

void TestImport::readsLongFiles_data()
{
    QTest::addColumn<QByteArray>("lineEnd");
    QTest::addColumn<bool>("asUtf16");
    // Of odd lengths, so that line ends and characters meet the ends of the blocks that are read.
    QTest::newRow("LF") << QByteArray("\n") << false;
    QTest::newRow("CR LF") << QByteArray("\r\n") << false;
    QTest::newRow("CR") << QByteArray("\r") << false;
    QTest::newRow("UTF-16") << QByteArray("\r\n") << true;
}

void TestImport::readsLongFiles()
{
    QFETCH(QByteArray, lineEnd);
    QFETCH(bool, asUtf16);
    constexpr int count = 30'000;
    QByteArray content;
    for (int i = 0; i < count; ++i)
        content += "r" + QByteArray::number(i) + "@a.example,\xc3\x9cn\xe2\x82\xac" + lineEnd;
    const QByteArray longMemo(1 << 20, 'm');
    content += "long@a.example,,,,,," + longMemo + lineEnd;
    Setup setup;
    const QString path = setup.write(asUtf16 ? utf16(QString::fromUtf8(content), false) : content);
    RecipientImport import(setup.folder.folder(), setup.spreadsheet, setup.op, setup.view,
                           setup.yield);
    QCOMPARE(import.run(setup.list, path, false, QStringLiteral(",")),
             RecipientImport::Result::Complete);
    QCOMPARE(import.counts().successes, count + 1);
    QCOMPARE(setup.view.panels.at(1), QStringLiteral("S:%1").arg(count + 1));
    QCOMPARE(setup.folder.rows(QStringLiteral("select count(*) from email where fname = 'Ün€'"),
                               setup.list),
             QStringList{QString::number(count)});
    QCOMPARE(setup.folder.rows(QStringLiteral("select length(memo) from email where mid = "
                                              "(select max(mid) from email)"),
                               setup.list),
             QStringList{QString::number(longMemo.size())});
    QVERIFY(setup.yield.count < count / 10); // as often as it looks smooth, not after each line
}

void TestImport::refusesSomeOfMany()
{
    constexpr int lines = 2000;
    constexpr int refusedEvery = 700; // often enough for what is added together and one by one
    QByteArray content;
    QStringList refused;
    for (int i = 1; i <= lines; ++i) {
        const bool isRefused = i % refusedEvery == 0;
        content += (isRefused ? "old" : "r" + QByteArray::number(i)) + "@a.example\n";
        if (isRefused)
            refused += QString::number(i);
    }
    Setup setup;
    RecipientImport import(setup.folder.folder(), setup.spreadsheet, setup.op, setup.view,
                           setup.yield);
    import.run(setup.list, setup.write(content), false, QStringLiteral(","));
    QCOMPARE(setup.added().size(), lines - refused.size());
    QStringList logged;
    for (const QString &line : setup.view.log.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
        logged += line.section(QLatin1Char('\t'), 0, 0);
    QCOMPARE(logged.mid(1), refused);
    QCOMPARE(setup.view.progress, 1.0);
}

void TestImport::numbersLinesAcrossBlocks()
{
    // The end of the first line lies around the place where a block of the file ends, so that it is
    // parted, or a character before it.
    constexpr int block = 256 * 1024;
    for (int length = block - 3; length <= block + 1; ++length) {
        Setup setup;
        QByteArray line = "a@a.example,";
        line += QByteArray((length - line.size()) % 3, 'n');
        line += QByteArray("\xe2\x82\xac").repeated((length - line.size()) / 3);
        setup.run(setup.write(line + "\r\n\r\nA@a.example\r\n"));
        QVERIFY2(setup.view.log.startsWith(QStringLiteral("Error Log:\r\n3\tA@a.example")),
                 qPrintable(setup.view.log));
        QVERIFY(setup.added().first().endsWith(QStringLiteral("€€€")));
    }
}

void TestImport::readsWorkbooks()
{
    Setup setup;
    setup.spreadsheet.recipients = {{"a@a.example", " O'Neil "}, {"A@a.example", "x"}};
    QCOMPARE(setup.run(QStringLiteral("book.xls")), RecipientImport::Result::Complete);
    QCOMPARE(setup.added(), QStringList{QStringLiteral("a@a.example| O'Neil ")});
    QVERIFY2(setup.view.log.startsWith(QStringLiteral("Error Log:\r\n3\tA@a.example\tx\t")),
             qPrintable(setup.view.log));
}

void TestImport::isWorkbook_data()
{
    QTest::addColumn<bool>("isWorkbook");
    QTest::newRow("a.xls") << true;
    QTest::newRow("a.XLS  ") << true;
    QTest::newRow("a.Xls") << false;
    QTest::newRow("a.xlsx") << false;
    QTest::newRow("a.csv") << false;
}

void TestImport::isWorkbook()
{
    QFETCH(bool, isWorkbook);
    QCOMPARE(RecipientImport::isWorkbook(QString::fromLatin1(QTest::currentDataTag())), isWorkbook);
}

void TestImport::aborts_data()
{
    QTest::addColumn<int>("atLine");
    QTest::newRow("at the first line") << 1;
    QTest::newRow("in the middle") << 20;
    QTest::newRow("at the last line") << 40;
}

void TestImport::aborts()
{
    QFETCH(int, atLine);
    Setup setup;
    QByteArray content;
    for (int i = 1; i <= 40; ++i)
        content += "r" + QByteArray::number(i) + "@a.example\n";
    setup.yield.actAt = atLine;
    setup.yield.action = [&setup] { setup.import.abort(); };
    const QString path = setup.write(content);
    QCOMPARE(setup.run(path), RecipientImport::Result::Aborted);
    QCOMPARE(setup.added().size(), atLine);
    QVERIFY(setup.op.told.first().contains(QStringLiteral("Imported : %1\r").arg(atLine)));
    QCOMPARE(setup.stored(), QStringLiteral("%1|1").arg(atLine + 1));

    // The next import is not aborted.
    QCOMPARE(setup.run(path), RecipientImport::Result::Complete);
    QCOMPARE(setup.import.counts().successes, 40 - atLine);
    QCOMPARE(setup.import.counts().failures, atLine);
}

void TestImport::tellsWhatItCannotRead_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("told");
    const int badFile = int(RecipientImport::Result::BadFile);
    QTest::newRow("no path") << QString() << int(RecipientImport::Result::NoFile)
                             << QStringLiteral("Import|Please select a import file.");
    QTest::newRow("missing") << QStringLiteral("/nowhere/a.csv") << badFile
                             << QStringLiteral("ImportError|Cannot read /nowhere/a.csv: No such "
                                               "file or directory");
    QTest::newRow("folder") << QStringLiteral("/") << badFile
                            << QStringLiteral("ImportError|Cannot read /: it is not a file.");
    QTest::newRow("device") << QStringLiteral("/dev/zero") << badFile
                            << QStringLiteral(
                                   "ImportError|Cannot read /dev/zero: it is not a file.");
}

void TestImport::tellsWhatItCannotRead()
{
    QFETCH(QString, path);
    QFETCH(int, result);
    QFETCH(QString, told);
    Setup setup;
    QCOMPARE(int(setup.run(path)), result);
    QCOMPARE(setup.op.told, QStringList{told});
    QCOMPARE(setup.stored(), QStringLiteral("1|1"));
}

void TestImport::lockedListKeepsNothing()
{
    Setup setup;
    Connection other(setup.folder.folder().listConnectionString(setup.list));
    Transaction lock(other);
    QCOMPARE(setup.run(setup.write("a@a.example\nb@a.example\n")),
             RecipientImport::Result::ListFailed);
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY2(setup.op.told.first().contains(QStringLiteral("is in use by another program")),
             qPrintable(setup.op.told.first()));
    QCOMPARE(setup.view.panels.at(1), QStringLiteral("S:0"));
}

void TestImport::fullDiskCountsWhatIsKept()
{
    Setup setup;
    const QString database = setup.folder.folder().listDatabaseFile(setup.list);
    const QString copy = setup.folder.file(QStringLiteral("m1.mdb"));
    QVERIFY(QFile::rename(database, copy));
    SmallDisk disk(setup.folder.file(QStringLiteral("data")), "3m");
    if (!disk.isMounted())
        QSKIP("no right to mount a file system here");
    QVERIFY(QFile::copy(copy, database));
    QByteArray content;
    for (int i = 0; i < 60'000; ++i)
        content += "r" + QByteArray::number(i) + "@a.example\n";
    QCOMPARE(setup.run(setup.write(content)), RecipientImport::Result::ListFailed);
    QVERIFY2(setup.op.told.first().startsWith(QStringLiteral("ImportError|The disk that holds ")),
             qPrintable(setup.op.told.first()));
    const qsizetype kept = setup.added().size();
    QVERIFY(kept > 0);
    QCOMPARE(setup.view.panels.at(1), QStringLiteral("S:%1").arg(kept));
}

void TestImport::importsAgainAfterEmptying()
{
    Setup setup;
    const QString path = setup.write("a@a.example\nb@a.example\n");
    setup.run(path);
    setup.folder.execute(QStringLiteral("delete from email"), setup.list);
    QCOMPARE(setup.run(path), RecipientImport::Result::Complete);
    QCOMPARE(setup.stored(), QStringLiteral("2|1"));
    // Numbers are not used twice.
    QCOMPARE(setup.folder.rows(QStringLiteral("select mid from email"), setup.list),
             (QStringList{QStringLiteral("4"), QStringLiteral("5")}));
}

QTEST_GUILESS_MAIN(TestImport)
#include "tst_import.moc"

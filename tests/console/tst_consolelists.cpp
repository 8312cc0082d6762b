// Lists from the command line: the console as a process of its own.

#include "consoleprocess.h"
#include "smalldisk.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <csignal>

namespace
{

struct Setup : ConsoleProcess {
    Setup()
    {
        list = folder.addList("Members", {"old@a.example"});
        folder.addList("Twins", {});
        folder.addList("Twins", {});
    }

    void write(const QByteArray &content, const char *name = "in.csv") const
    {
        writeFile(folder.file(name), content);
    }
    /// A file of so many recipients, "r1@a.example" on.
    void writeMany(int count) const
    {
        QByteArray content;
        for (int i = 1; i <= count; ++i)
            content += "r" + QByteArray::number(i) + "@a.example,First,Last,Dr,0117,Company,memo\n";
        write(content);
    }
    int count() const { return folder.row("select count(*) from email", list).toInt(); }

    qint64 list = 0;
};

const QString import = QStringLiteral("import Members in.csv");

/// The number behind a text of a message; -1 without one.
int numberAfter(const QString &message, const char *text)
{
    const auto match =
        QRegularExpression(QLatin1String(text) + QStringLiteral("(\\d+)")).match(message);
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

} // namespace

class TestConsoleLists final : public QObject
{
    Q_OBJECT

private slots:
    void listsLists();
    void exitStatuses_data();
    void exitStatuses();
    void exportsWhatWasImported();
    void exportsToItsOutput_data();
    void exportsToItsOutput();
    void killedImportKeepsWhatItCommitted();
    void signalEndsAnImport();
    void fullDiskLeavesNoHalfExport_data();
    void fullDiskLeavesNoHalfExport();
};

void TestConsoleLists::listsLists()
{
    const Setup setup;
    setup.write("a@a.example\n");
    QCOMPARE(setup.run(import).status, 0);
    const Finished table = setup.run(QStringLiteral("lists"));
    QCOMPARE(table.status, 0);
    QVERIFY2(table.output.contains(QRegularExpression(
                 QStringLiteral("^ +1  Members  Client  \\d{4}/\\d\\d/\\d\\d +2$"),
                 QRegularExpression::MultilineOption)),
             qPrintable(table.output));
    const QJsonArray lists = setup.json(QStringLiteral("lists"));
    QCOMPARE(lists.size(), 3);
    QCOMPARE(lists[0].toObject().value(QStringLiteral("rec_count")).toInt(), 2);
}

void TestConsoleLists::exitStatuses_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *line, int status, const char *message) {
        QTest::newRow(line) << status << QString::fromLatin1(message);
    };
    row("import 1 good.csv --separator ;", 0, "Number of Success : 2");
    row("import Members bad.csv", 1, "Error Log:\n2\tOLD@a.example\t");
    row("import Members missing.csv", 4, "No such file");
    row("import Members text.xls", 4, "it is not an .xls workbook.");
    row("import Twins good.csv", 4, "There are 2 lists named \"Twins\"");
    row("export Nobody out.csv", 4, "There is no list");
    row("export Members out.csv", 0, "Records exported: 3");
    row("export Members out.csv --filter fail", 0, "Records exported: 1");
    row("export Members out.csv --filter success", 0, "Records exported: 2");
    row("export Members data/m1.mdb", 5, "data/m1.mdb belongs to the program");
    row("export Members no/out.csv", 5, "Cannot write no/out.csv");
    row("export Members no/out.xlsx", 5, "Cannot write no/out.xlsx");
    row("import 9 good.csv", 5, "m9.mdb does not exist.");
    row("export 9 out.csv", 5, "m9.mdb does not exist.");
}

void TestConsoleLists::exitStatuses()
{
    QFETCH(int, status);
    QFETCH(QString, message);
    const Setup setup;
    setup.folder.execute("insert into mlist (listid, listname) values (9, 'Lost')");
    setup.folder.execute(
        "insert into email (email, status) values ('s@a.example', 'S'), ('f@a.example', 'F')",
        setup.list);
    setup.write("a@a.example;Ann\nb@a.example\n", "good.csv");
    setup.write("a@a.example\nOLD@a.example\n", "bad.csv");
    setup.write("a@a.example\n", "text.xls");
    const Finished done = setup.run(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY2(done.messages.contains(message), qPrintable(done.messages));
    QCOMPARE(done.status, status);
}

void TestConsoleLists::exportsWhatWasImported()
{
    const Setup setup;
    setup.folder.execute("delete from email", setup.list);
    const QByteArray content = "a@a.example,Ünï,O'Neil,Dr,0042,A \"B\",=1+1\r\n"
                               "b@a.example,,,,,,\r\n";
    setup.write(content);
    setup.run(import);
    setup.run(QStringLiteral("export 1 out.csv"));
    QCOMPARE(readFile(setup.folder.file("out.csv")), content);
}

void TestConsoleLists::exportsToItsOutput_data()
{
    QTest::addColumn<bool>("toFile");
    QTest::newRow("/dev/stdout") << false;
    QTest::newRow("/dev/stdout in a file") << true;
    QTest::newRow("/proc/self/fd/1") << true;
    QTest::newRow("link") << true;
}

void TestConsoleLists::exportsToItsOutput()
{
    QFETCH(bool, toFile);
    const Setup setup;
    const QString output = setup.folder.file("out.csv");
    writeFile(output, "before\n");
    QString name = QString::fromLatin1(QTest::currentDataTag()).section(QLatin1Char(' '), 0, 0);
    if (name == QLatin1String("link")) {
        QVERIFY(QFile::link(QStringLiteral("/dev/stdout"), setup.folder.file("link")));
    }
    QProcess process;
    if (toFile)
        process.setStandardOutputFile(output, QIODevice::Append);
    setup.start(process, QStringLiteral("export 1 ") + name);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(toFile ? readFile(output) : process.readAllStandardOutput(),
             QByteArray(toFile ? "before\n" : "") + "old@a.example,,,,,,\r\n");
}

void TestConsoleLists::killedImportKeepsWhatItCommitted()
{
    const Setup setup;
    constexpr int lines = 400'000;
    QProcess process;
    setup.writeMany(lines);
    setup.start(process, import);
    QTRY_VERIFY(setup.count() > 1000);
    process.kill();
    QVERIFY(process.waitForFinished());
    const int kept = setup.count();
    QVERIFY(kept > 1000 && kept < lines);
    // Every recipient up to the last one, and no damage.
    QCOMPARE(
        setup.folder.rows("select mid, email from email order by mid desc limit 1", setup.list),
        QStringList{QStringLiteral("%1|r%2@a.example").arg(kept).arg(kept - 1)});
    QCOMPARE(setup.folder.rows("pragma integrity_check", setup.list),
             QStringList{QStringLiteral("ok")});
}

void TestConsoleLists::signalEndsAnImport()
{
    const Setup setup;
    QProcess process;
    setup.writeMany(400'000);
    setup.start(process, import);
    QTRY_VERIFY(setup.count() > 1);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
    const QString messages = QString::fromUtf8(process.readAllStandardError());
    QCOMPARE(numberAfter(messages, "Number of Success : "), setup.count() - 1);
    QVERIFY(setup.count() < 400'000);
    QCOMPARE(setup.folder.row("select rec_count from mlist").toInt(), setup.count());
}

void TestConsoleLists::fullDiskLeavesNoHalfExport_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("size");
    QTest::addColumn<bool>("forTemporaryFiles");
    QTest::newRow("text") << QByteArray("out.csv") << QByteArray("500k") << false;
    QTest::newRow("workbook") << QByteArray("out.xlsx") << QByteArray("100k") << false;
    // What the rows need on the disk before they are packed is some 6 MB, twice.
    QTest::newRow("rows of a workbook") << QByteArray("out.xlsx") << QByteArray("3m") << true;
    QTest::newRow("workbook being packed") << QByteArray("out.xlsx") << QByteArray("9m") << true;
}

void TestConsoleLists::fullDiskLeavesNoHalfExport()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, size);
    QFETCH(bool, forTemporaryFiles);
    Setup setup;
    setup.writeMany(15'000);
    setup.run(import);
    const QString folder = setup.folder.file("small");
    QDir().mkpath(folder);
    SmallDisk disk(folder, size.constData());
    if (!disk.isMounted())
        QSKIP("no right to mount a file system here");
    const QString target = (forTemporaryFiles ? setup.folder.folder().path() : folder) +
                           QLatin1Char('/') + QString::fromLatin1(name);
    const QStringList before = QDir(QFileInfo(target).path()).entryList(QDir::Files);
    setup.temporaryFolder = folder;
    const Finished full = setup.run(QStringLiteral("export 1 ") + target);
    QCOMPARE(full.status, 5);
    QVERIFY2(full.messages.contains(QStringLiteral("Cannot write ") + target),
             qPrintable(full.messages));
    QVERIFY2(full.messages.contains(QRegularExpression(QStringLiteral("full|No space left"))),
             qPrintable(full.messages));
    QCOMPARE(QDir(QFileInfo(target).path()).entryList(QDir::Files), before);
    QVERIFY(QDir(folder).isEmpty()); // temporary files are gone too
    disk.grow("200m");
    QCOMPARE(setup.run(QStringLiteral("export 1 ") + target).status, 0);
}

QTEST_GUILESS_MAIN(TestConsoleLists)
#include "tst_consolelists.moc"

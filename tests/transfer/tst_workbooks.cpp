// Workbooks that recipients are exported to: what they hold, how they are saved and shown.

#include "exportsetup.h"

#include "fakespreadsheet.h"
#include "storageerror.h"
#include "xlsxtarget.h"

#include <sys/resource.h>

#include <csignal>
#include <future>
#include <optional>

namespace
{

/// Its workbooks are not saved before somebody has reacted to an event meanwhile.
class SlowSpreadsheet final : public Spreadsheet
{
public:
    std::unique_ptr<RecipientSource> read(const QString &) override { return {}; }
    std::unique_ptr<RecordTarget> create(const QString &, const QStringList &) override
    {
        return std::make_unique<Workbook>(*this);
    }
    bool show(const QString &) override { return true; }

    std::promise<void> events;
    bool isFailing = false;

private:
    struct Workbook final : RecordTarget {
        explicit Workbook(SlowSpreadsheet &spreadsheet)
            : owner(spreadsheet)
        {
        }
        void write(std::span<const std::string>) override {}
        void finish() override
        {
            const auto state = owner.events.get_future().wait_for(std::chrono::seconds(30));
            if (owner.isFailing || state != std::future_status::ready)
                throw StorageError(0, QStringLiteral("File system"),
                                   owner.isFailing ? QStringLiteral("full")
                                                   : QStringLiteral("no events"));
        }
        SlowSpreadsheet &owner;
    };
};

} // namespace

class TestWorkbooks final : public QObject
{
    Q_OBJECT

private slots:
    void writesWorkbooks();
    void cutsWhatNoCellHolds();
    void showsNewDocuments_data();
    void showsNewDocuments();
    void cutsLongNames_data();
    void cutsLongNames();
    void findsTheProgramOfTheDesktop_data();
    void findsTheProgramOfTheDesktop();
    void yieldsWhileAWorkbookIsSaved_data();
    void yieldsWhileAWorkbookIsSaved();
    void refusesTooManyRecordsAtOnce();
    void replacesWorkbooks();
    void failedWorkbookLeavesNothing_data();
    void failedWorkbookLeavesNothing();
};

void TestWorkbooks::writesWorkbooks()
{
    Setup setup;
    setup.folder.execute(QStringLiteral("update email set memo = ' two\nlines <&> ' || char(1) "
                                        "where fname='Ann'"),
                         setup.list);
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter::Success, setup.file("out.xlsx")),
             RecipientExport::Result::Complete);
    QCOMPARE(cells(setup.folder.file(QStringLiteral("out.xlsx"))),
             (QStringList{QStringLiteral("A1=Email|B1=Firstname|C1=Lastname|D1=Title|E1=Contact|"
                                         "F1=Company|G1=Memo"),
                          QStringLiteral("A2=a@a.example|B2=Ann|C2=O'Neil|D2=Dr|E2=0042|F2=A,\"B|"
                                         "G2= two\nlines <&> _x0001_"),
                          QStringLiteral("A3=b@a.example"),
                          QStringLiteral("A4=d@a.example|B4=Ünï|C4==1+1")}));
    QCOMPARE(setup.leftOver(), QStringList{QStringLiteral("out.xlsx")});
}

void TestWorkbooks::cutsWhatNoCellHolds()
{
    Setup setup;
    setup.folder.execute(
        QStringLiteral("update email set memo = replace(hex(zeroblob(40000)), '0', 'x'), title = "
                       "cast(x'41ff42' as text), lname = cast(x'41efbfbf42' as text), company = "
                       "replace(hex(zeroblob(10000)), '00', '_x00e9_'), contact = "
                       "'_x0041_x0042_ _x004g_ _x' where mid=1"),
        setup.list);
    setup.exporter.exportList(setup.list, ExportFilter::All, setup.file("out.xlsx"));
    const QStringList row =
        cells(setup.folder.file(QStringLiteral("out.xlsx")))[1].split(QLatin1Char('|'));
    QCOMPARE(row[2], QStringLiteral("C2=A\ufffdB"));
    QCOMPARE(row[3], QStringLiteral("D2=A\ufffdB"));
    QCOMPARE(row.last(), QStringLiteral("G2=") + QString(32'767, QLatin1Char('x')));
    // Readers turn "_x005F_" back into "_".
    QCOMPARE(row[4], QStringLiteral("E2=_x005F_x0041_x005F_x0042_ _x004g_ _x"));
    QVERIFY(row[5].size() > 32'700);
    QVERIFY(
        QStringLiteral("F2=%1")
            .arg(QStringLiteral("_x00e9_").repeated(10'000))
            .startsWith(QString(row[5]).replace(QStringLiteral("_x005F_"), QStringLiteral("_"))));
    QVERIFY2(setup.op.told.last().contains(QStringLiteral("2 longer values were cut")),
             qPrintable(setup.op.told.last()));
}

void TestWorkbooks::showsNewDocuments_data()
{
    QTest::addColumn<bool>("hasProgram");
    QTest::newRow("in the program") << true;
    QTest::newRow("no program: says where it lies") << false;
}

void TestWorkbooks::showsNewDocuments()
{
    QFETCH(bool, hasProgram);
    Setup setup;
    qputenv("HOME", QFile::encodeName(setup.folder.folder().path()));
    FakeSpreadsheet spreadsheet;
    spreadsheet.hasProgram = hasProgram;
    RecipientExport exporter(setup.folder.folder(), spreadsheet, setup.op, setup.view, setup.yield);
    ExportDestination document;
    document.kind = ExportDestination::Workbook;
    document.name = QStringLiteral("A/B: \"C\"");
    QCOMPARE(exporter.exportList(setup.list, ExportFilter::Fail, document),
             RecipientExport::Result::Complete);
    QCOMPARE(spreadsheet.written.size(), 2);
    const QString path = spreadsheet.created.first();
    QVERIFY2(path.startsWith(setup.folder.folder().path()) &&
                 path.endsWith(QStringLiteral("/A_B_ _C_.xlsx")),
             qPrintable(path));
    QCOMPARE(spreadsheet.shown, QStringList{path});
    QCOMPARE(setup.op.told.size(), hasProgram ? 1 : 2);
    QCOMPARE(setup.op.told.last().contains(path), !hasProgram);

    // A document that is there is never written over.
    QFile(path).open(QIODevice::WriteOnly);
    exporter.exportList(setup.list, ExportFilter::Fail, document);
    QVERIFY(spreadsheet.created.last().endsWith(QStringLiteral("/A_B_ _C_ (2).xlsx")));
}

void TestWorkbooks::cutsLongNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("base");
    const auto row = [](const char *title, const QString &unit, qsizetype kept) {
        QTest::newRow(title) << unit.repeated(300) << unit.repeated(kept);
    };
    row("one byte", QStringLiteral("a"), 235);
    row("three bytes", QStringLiteral("€"), 78);
    row("four bytes", QStringLiteral("😀"), 58);
    QTest::newRow("a pair at the end")
        << QString(234, QLatin1Char('a')) + QStringLiteral("😀") << QString(234, QLatin1Char('a'));
}

void TestWorkbooks::cutsLongNames()
{
    QFETCH(QString, name);
    QFETCH(QString, base);
    const TestFolder folder;
    qputenv("HOME", QFile::encodeName(folder.folder().path()));
    const QString path = newWorkbookPath(name);
    QCOMPARE(QFileInfo(path).completeBaseName(), base);
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    XlsxTarget(path, {}).finish();
    QVERIFY(QFile(newWorkbookPath(name)).open(QIODevice::WriteOnly)); // with a number
}

void TestWorkbooks::findsTheProgramOfTheDesktop_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isShown");
    QTest::newRow("a program") << QByteArray("calc.desktop") << true;
    QTest::newRow("none for workbooks") << QByteArray("") << false;
    QTest::newRow("no desktop") << QByteArray() << false;
}

void TestWorkbooks::findsTheProgramOfTheDesktop()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, isShown);
    const QTemporaryDir desktop;
    const auto program = [&desktop](const char *name, const QByteArray &script) {
        QFile file(desktop.filePath(QLatin1String(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n" + script + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    };
    const QString workbook = desktop.filePath(QStringLiteral("a b.xlsx"));
    const QString opened = desktop.filePath(QStringLiteral("opened"));
    QVERIFY(QFile(workbook).open(QIODevice::WriteOnly));
    if (!answer.isNull()) {
        program("xdg-mime", "case $3 in *spreadsheetml.sheet) echo " + answer + ";; esac");
        program("xdg-open", "echo \"$1\" >\"" + QFile::encodeName(opened) + '"');
    }
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(desktop.path()));
    const bool shown = DesktopSpreadsheet().show(workbook);
    qputenv("PATH", path);
    QCOMPARE(shown, isShown);
    if (isShown) {
        QTRY_VERIFY(QFileInfo(opened).size() > 0);
        QFile file(opened);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromLocal8Bit(file.readAll()), workbook + QLatin1Char('\n'));
    }
}

void TestWorkbooks::yieldsWhileAWorkbookIsSaved_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("saved") << false;
    QTest::newRow("failed") << true;
}

void TestWorkbooks::yieldsWhileAWorkbookIsSaved()
{
    QFETCH(bool, fails);
    Setup setup;
    SlowSpreadsheet spreadsheet;
    spreadsheet.isFailing = fails;
    RecipientExport exporter(setup.folder.folder(), spreadsheet, setup.op, setup.view, setup.yield,
                             std::chrono::milliseconds(0));
    setup.yield.actAt = 6; // after the four records and the new status
    setup.yield.action = [&] {
        exporter.abort(); // too late
        spreadsheet.events.set_value();
    };
    QCOMPARE(exporter.exportList(setup.list, ExportFilter::All, setup.file("out.xlsx")),
             fails ? RecipientExport::Result::TargetFailed : RecipientExport::Result::Complete);
    QVERIFY(setup.view.statuses.contains(QStringLiteral("Saving the workbook ...")));
    QCOMPARE(setup.op.told,
             QStringList{fails
                             ? QStringLiteral("Error|Error # 0 was generated by File system\rfull")
                             : QStringLiteral("|Records exported: 4")});
}

void TestWorkbooks::refusesTooManyRecordsAtOnce()
{
    Setup setup;
    // One more than there are rows below the headings.
    setup.folder.execute(QStringLiteral("drop table email"), setup.list);
    setup.folder.execute(
        QStringLiteral("create view email as with recursive n(i) as (select 1 union all select i + "
                       "1 from n where i < 1048576) select i as mid, i as email, '' as fname, '' "
                       "as lname, '' as title, '' as contact, '' as company, '' as memo from n"),
        setup.list);
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter::All, setup.file("out.xlsx")),
             RecipientExport::Result::TargetFailed);
    QVERIFY2(
        setup.op.told.first().endsWith(QStringLiteral("a workbook holds at most 1048575 records.")),
        qPrintable(setup.op.told.first()));
    QCOMPARE(setup.yield.count, 0); // not one is written
    XlsxTarget(setup.folder.file(QStringLiteral("out.xlsx")), {}).expect(1'048'575);
}

void TestWorkbooks::replacesWorkbooks()
{
    Setup setup;
    const QString file = setup.folder.file(QStringLiteral("file.xlsx"));
    const QString link = setup.folder.file(QStringLiteral("out.xlsx"));
    QVERIFY(QFile(file).open(QIODevice::WriteOnly));
    const auto rights = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    QFile::setPermissions(file, rights);
    QVERIFY(QFile::link(QStringLiteral("file.xlsx"), link));
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter::All, setup.file("out.xlsx")),
             RecipientExport::Result::Complete);
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(cells(file).size(), 5);
    QCOMPARE(QFile::permissions(file), rights);
}

void TestWorkbooks::failedWorkbookLeavesNothing_data()
{
    QTest::addColumn<int>("resource");
    QTest::newRow("rows: file too large") << int(RLIMIT_FSIZE);
    QTest::newRow("packing: too many files") << int(RLIMIT_NOFILE);
}

void TestWorkbooks::failedWorkbookLeavesNothing()
{
    QFETCH(int, resource);
    const Setup setup;
    const auto openFiles = [] {
        return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System);
    };
    const QStringList before = openFiles();
    std::optional<XlsxTarget> target;
    target.emplace(setup.folder.file(QStringLiteral("out.xlsx")),
                   QStringList{QStringLiteral("Email")});
    signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited = {};
    getrlimit(__rlimit_resource(resource), &unlimited);
    rlimit tight = unlimited;
    // No other file, or no more bytes in one.
    tight.rlim_cur = resource == int(RLIMIT_NOFILE) ? 0 : 10'000;
    setrlimit(__rlimit_resource(resource), &tight);
    bool hasFailed = false;
    try {
        for (int i = 0; i < 2000; ++i)
            target->write(std::vector<std::string>(7, "value"));
        target->finish();
    } catch (const StorageError &) {
        hasFailed = true;
    }
    setrlimit(__rlimit_resource(resource), &unlimited);
    QVERIFY(hasFailed);
    target.reset();
    QCOMPARE(openFiles(), before);
}

QTEST_GUILESS_MAIN(TestWorkbooks)
#include "tst_workbooks.moc"

// Recipients to files, workbooks and the clipboard.

#include "connection.h"
#include "fakes.h"
#include "fakespreadsheet.h"
#include "recipientexport.h"
#include "recipientrows.h"
#include "storageerror.h"
#include "testfolder.h"
#include "xlsxtarget.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QXmlStreamReader>

#include <gsf/gsf-infile-zip.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <optional>

namespace
{

class RecordingExportView final : public ExportView
{
public:
    void showStatus(const QString &text, qint64 count, qint64 total) override
    {
        statuses += text;
        QVERIFY(count <= total);
    }
    void setClipboard(const QString &text) override { clipboard = text; }

    QStringList statuses;
    QString clipboard;
};

const QStringList gridColumns = {
    QStringLiteral("email"), QStringLiteral("fname"),   QStringLiteral("lname"),
    QStringLiteral("title"), QStringLiteral("contact"), QStringLiteral("company"),
    QStringLiteral("memo"),  QStringLiteral("status"),  QStringLiteral("remark")};

struct Setup {
    Setup()
    {
        list = folder.addList(QStringLiteral("Members"),
                              {QStringLiteral("'a@a.example','Ann','O''Neil','Dr','0042','A,\"B'"),
                               QStringLiteral("b@a.example"), QStringLiteral("c@a.example"),
                               QStringLiteral("'d@a.example','Ünï','=1+1'")});
        folder.execute(QStringLiteral("update email set status='S' where email='b@a.example'"),
                       list);
        folder.execute(QStringLiteral("update email set status='F', remark='why' where "
                                      "email='c@a.example'"),
                       list);
    }

    ExportDestination file(const char *name = "out.csv", const char *separator = ",") const
    {
        ExportDestination destination;
        destination.path = folder.file(QLatin1String(name));
        destination.separator = QLatin1String(separator);
        if (destination.path.endsWith(QStringLiteral(".xlsx")))
            destination.kind = ExportDestination::Workbook;
        return destination;
    }
    QByteArray content(const char *name = "out.csv") const
    {
        QFile out(folder.file(QLatin1String(name)));
        return out.open(QIODevice::ReadOnly) ? out.readAll() : QByteArray("none");
    }
    /// What exports have left in the folder.
    QStringList leftOver() const
    {
        return QDir(folder.folder().path())
            .entryList({QStringLiteral("out*"), QStringLiteral(".*")}, QDir::Files | QDir::Hidden);
    }
    RecipientRows rows(const QString &columns) const
    {
        return RecipientRows(folder.folder().listConnectionString(list), columns,
                             QStringLiteral(" where email > 'a@b'"),
                             QStringLiteral(" order by mid desc"), 1);
    }

    TestFolder folder;
    qint64 list = 0;
    DesktopSpreadsheet spreadsheet;
    ScriptedOperator op;
    RecordingExportView view;
    CountingYield yield;
    RecipientExport exporter{
        folder.folder(), spreadsheet, op, view, yield, std::chrono::milliseconds(0)};
};

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

QByteArray zipped(const QString &path, const char *folder, const char *name)
{
    GsfInput *file = gsf_input_stdio_new(QFile::encodeName(path).constData(), nullptr);
    GsfInfile *zip = gsf_infile_zip_new(file, nullptr);
    GsfInput *entry = gsf_infile_child_by_vname(zip, "xl", folder, name, nullptr);
    QByteArray bytes(qsizetype(gsf_input_size(entry)), '\0');
    gsf_input_read(entry, size_t(bytes.size()), reinterpret_cast<guint8 *>(bytes.data()));
    for (gpointer object : {gpointer(entry), gpointer(zip), gpointer(file)})
        g_object_unref(object);
    return bytes;
}

/// The rows of an .xlsx workbook: "A1=text" for each cell, all of which have to be text.
QStringList cells(const QString &path)
{
    QStringList rows;
    QXmlStreamReader xml(zipped(path, "worksheets", "sheet1.xml"));
    QStringList row;
    QString name;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("c")) {
            name = xml.attributes().value(QLatin1String("r")).toString();
            if (xml.attributes().value(QLatin1String("t")) != QLatin1String("inlineStr"))
                name += QStringLiteral(" is no text");
        } else if (xml.isStartElement() && xml.name() == QLatin1String("t")) {
            row += name + QLatin1Char('=') + xml.readElementText();
        } else if (xml.isEndElement() && xml.name() == QLatin1String("row")) {
            rows += row.join(QLatin1Char('|'));
            row.clear();
        }
    }
    return xml.hasError() ? QStringList{xml.errorString()} : rows;
}

} // namespace

class TestExport final : public QObject
{
    Q_OBJECT

private slots:
    void writesLists_data();
    void writesLists();
    void writesWorkbooks();
    void cutsWhatNoCellHolds();
    void showsNewDocuments_data();
    void showsNewDocuments();
    void cutsLongNames_data();
    void cutsLongNames();
    void findsTheProgramOfTheDesktop_data();
    void findsTheProgramOfTheDesktop();
    void writesTheRowsOfAGrid_data();
    void writesTheRowsOfAGrid();
    void passesOverDeletedRows();
    void writesNothingOfNothing();
    void abortsLists();
    void abortsRecords();
    void keepsTheOldFileOnFailure_data();
    void keepsTheOldFileOnFailure();
    void yieldsWhileAWorkbookIsSaved_data();
    void yieldsWhileAWorkbookIsSaved();
    void refusesTooManyRecordsAtOnce();
    void replacesWorkbooks();
    void refusesToReplace_data();
    void refusesToReplace();
    void failedWorkbookLeavesNothing_data();
    void failedWorkbookLeavesNothing();
    void sparesTheProgramsFiles_data();
    void sparesTheProgramsFiles();
};

void TestExport::writesLists_data()
{
    QTest::addColumn<int>("filter");
    QTest::addColumn<QString>("separator");
    QTest::addColumn<QByteArray>("written");
    const QByteArray a = "a@a.example,Ann,O'Neil,Dr,0042,A,\"B,\r\n";
    const QByteArray b = "b@a.example,,,,,,\r\n";
    const QByteArray c = "c@a.example,,,,,,\r\n";
    const QByteArray d = "d@a.example,Ünï,=1+1,,,,\r\n";
    QTest::newRow("all") << int(ExportFilter::All) << QStringLiteral(",") << a + b + c + d;
    QTest::newRow("not failed") << int(ExportFilter::Success) << QStringLiteral(",") << a + b + d;
    QTest::newRow("failed") << int(ExportFilter::Fail) << QStringLiteral(",") << c;
    QTest::newRow("TAB") << int(ExportFilter::Fail) << QStringLiteral("TAB")
                         << QByteArray(c).replace(',', '\t');
    QTest::newRow("bar") << int(ExportFilter::Fail) << QStringLiteral("|")
                         << QByteArray(c).replace(',', '|');
}

void TestExport::writesLists()
{
    QFETCH(int, filter);
    QFETCH(QString, separator);
    QFETCH(QByteArray, written);
    Setup setup;
    setup.folder.execute(QStringLiteral("update email set fname = '', lname = null where fname is "
                                        "null"),
                         setup.list);
    QFile old(setup.folder.file(QStringLiteral("out.csv")));
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write(QByteArray(1000, 'x'));
    old.close();
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter(filter),
                                       setup.file("out.csv", qPrintable(separator))),
             RecipientExport::Result::Complete);
    QCOMPARE(setup.content(), written);
    const auto count = written.count('\n');
    QStringList statuses;
    for (int i = 1; i <= count; ++i)
        statuses += QStringLiteral("Exporting record : %1/%2").arg(i).arg(count);
    QCOMPARE(setup.view.statuses, statuses + QStringList{QString()});
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Records exported: %1").arg(count)});
    QCOMPARE(setup.yield.count, count);
}

void TestExport::writesWorkbooks()
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

void TestExport::cutsWhatNoCellHolds()
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

void TestExport::showsNewDocuments_data()
{
    QTest::addColumn<bool>("hasProgram");
    QTest::newRow("in the program") << true;
    QTest::newRow("no program: says where it lies") << false;
}

void TestExport::showsNewDocuments()
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

void TestExport::cutsLongNames_data()
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

void TestExport::cutsLongNames()
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

void TestExport::findsTheProgramOfTheDesktop_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isShown");
    QTest::newRow("a program") << QByteArray("calc.desktop") << true;
    QTest::newRow("none for workbooks") << QByteArray("") << false;
    QTest::newRow("no desktop") << QByteArray() << false;
}

void TestExport::findsTheProgramOfTheDesktop()
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

void TestExport::writesTheRowsOfAGrid_data()
{
    QTest::addColumn<QStringList>("columns");
    QTest::addColumn<bool>("withNames");
    QTest::addColumn<QString>("written");
    QTest::newRow("nine columns")
        << gridColumns << false
        << QStringLiteral("d@a.example;Ünï;=1+1;;;;\r\nc@a.example;;;;;;\r\nb@a.example;;;;;;\r\n");
    QTest::newRow("five columns, with names")
        << gridColumns.first(5) << true
        << QStringLiteral(
               "email;fname;lname\r\nd@a.example;Ünï;=1+1\r\nc@a.example;;\r\nb@a.example;;\r\n");
}

void TestExport::writesTheRowsOfAGrid()
{
    QFETCH(QStringList, columns);
    QFETCH(bool, withNames);
    QFETCH(QString, written);
    Setup setup;
    RecipientRows rows = setup.rows(columns.join(QLatin1Char(',')));
    QCOMPARE(setup.exporter.exportRecords(rows, columns, withNames, setup.file("out.csv", ";")),
             RecipientExport::Result::Complete);
    QCOMPARE(QString::fromUtf8(setup.content()), written);
    QCOMPARE(
        setup.view.statuses,
        (QStringList{QStringLiteral("Exporting Records ..."), QStringLiteral("Exporting Row: 1/3"),
                     QStringLiteral("Exporting Row: 2/3"), QStringLiteral("Exporting Row: 3/3"),
                     QStringLiteral("Exported Row: 3/3")}));
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Export Completed, 3/3 rows exported.")});

    ExportDestination clipboard;
    clipboard.kind = ExportDestination::Clipboard;
    clipboard.separator = QStringLiteral(";");
    setup.exporter.exportRecords(rows, columns, withNames, clipboard);
    QCOMPARE(setup.view.clipboard, written);

    // A workbook has its own headings always, and no line of names.
    setup.exporter.exportRecords(rows, columns, withNames, setup.file("out.xlsx"));
    const QStringList sheet = cells(setup.folder.file(QStringLiteral("out.xlsx")));
    QCOMPARE(sheet.size(), 4);
    QVERIFY(sheet[0].endsWith(QStringLiteral("|G1=Memo")));
    QCOMPARE(sheet[1], QStringLiteral("A2=d@a.example|B2=Ünï|C2==1+1"));
}

void TestExport::passesOverDeletedRows()
{
    Setup setup;
    RecipientRows rows = setup.rows(gridColumns.join(QLatin1Char(',')));
    rows.readKeys(Keyset::all);
    setup.folder.execute(QStringLiteral("delete from email where email = 'b@a.example'"),
                         setup.list);
    setup.exporter.exportRecords(rows, gridColumns, false, setup.file());
    QCOMPARE(setup.content(), "d@a.example,Ünï,=1+1,,,,\r\nc@a.example,,,,,,\r\n");
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Export Completed, 2/3 rows exported.")});
}

void TestExport::writesNothingOfNothing()
{
    Setup setup;
    setup.folder.execute(QStringLiteral("delete from email"), setup.list);
    RecipientRows rows = setup.rows(gridColumns.join(QLatin1Char(',')));
    setup.exporter.exportRecords(rows, gridColumns, false, setup.file());
    QCOMPARE(setup.content(), QByteArray());
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Export Completed, 0/0 rows exported.")});
}

void TestExport::abortsLists()
{
    Setup setup;
    setup.yield.actAt = 2;
    setup.yield.action = [&setup] { setup.exporter.abort(); };
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter::All, setup.file()),
             RecipientExport::Result::Aborted);
    QCOMPARE(setup.content().count('\n'), 2);
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Records exported: 2")});
}

void TestExport::abortsRecords()
{
    Setup setup;
    RecipientRows rows = setup.rows(gridColumns.join(QLatin1Char(',')));
    setup.yield.actAt = 2; // the first record; there is a yield before it
    setup.yield.action = [&setup] { setup.exporter.abort(); };
    QCOMPARE(setup.exporter.exportRecords(rows, gridColumns, true, setup.file("out.xlsx")),
             RecipientExport::Result::Aborted);
    QCOMPARE(cells(setup.folder.file(QStringLiteral("out.xlsx"))).size(), 2);
    QCOMPARE(setup.view.statuses.last(), QStringLiteral("Exported Row: 1/3"));
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("|Export Abort, 1/3 rows exported.")});
}

void TestExport::keepsTheOldFileOnFailure_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("text") << QByteArray("out.csv");
    QTest::newRow("workbook") << QByteArray("out.xlsx");
}

void TestExport::keepsTheOldFileOnFailure()
{
    QFETCH(QByteArray, name);
    Setup setup;
    const QString path = setup.folder.file(QString::fromLatin1(name));
    QFile old(path);
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("precious");
    old.close();
    // The list goes bad in the middle.
    setup.folder.execute(QStringLiteral("update email set memo = hex(zeroblob(100000))"),
                         setup.list);
    QFile database(setup.folder.folder().listDatabaseFile(setup.list));
    QVERIFY(database.open(QIODevice::ReadWrite));
    database.seek(database.size() - 300'000);
    database.write(QByteArray(200'000, '\xff'));
    database.close();
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter::All, setup.file(name.constData())),
             RecipientExport::Result::ListFailed);
    QCOMPARE(setup.op.told.size(), 1);
    QVERIFY2(setup.op.told.first().startsWith(QStringLiteral("Error|Error # ")),
             qPrintable(setup.op.told.first()));
    QCOMPARE(setup.content(name.constData()), QByteArray("precious"));
    QCOMPARE(setup.leftOver(), QStringList{QString::fromLatin1(name)});

    ExportDestination nowhere = setup.file(name.constData());
    nowhere.path.prepend(QStringLiteral("/nowhere"));
    QCOMPARE(setup.exporter.exportList(setup.list, ExportFilter::All, nowhere),
             RecipientExport::Result::TargetFailed);
    QVERIFY(setup.op.told.last().startsWith(
        QStringLiteral("Error|Error # 0 was generated by File system\rCannot write /nowhere/")));
}

void TestExport::yieldsWhileAWorkbookIsSaved_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("saved") << false;
    QTest::newRow("failed") << true;
}

void TestExport::yieldsWhileAWorkbookIsSaved()
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

void TestExport::refusesTooManyRecordsAtOnce()
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

void TestExport::replacesWorkbooks()
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

void TestExport::refusesToReplace_data()
{
    QTest::addColumn<QString>("target"); // what the name is a link to
    QTest::addColumn<QString>("reason");
    QTest::newRow("folder") << QStringLiteral(".") << QStringLiteral("it is not a file.");
    QTest::newRow("device") << QStringLiteral("/dev/null") << QStringLiteral("it is not a file.");
    QTest::newRow("missing") << QStringLiteral("missing")
                             << QStringLiteral("it is a link to a file that does not exist.");
    QTest::newRow("read-only") << QStringLiteral("read-only")
                               << QStringLiteral("it may not be written to.");
}

void TestExport::refusesToReplace()
{
    QFETCH(QString, target);
    QFETCH(QString, reason);
    Setup setup;
    QFile file(setup.folder.file(QStringLiteral("read-only")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.setPermissions(QFile::ReadOwner);
    QVERIFY(QFile::link(target, setup.folder.file(QStringLiteral("out.xlsx"))));
    // The superuser may do everything; whether a file can be written is asked for the real user.
    QFile::setPermissions(setup.folder.folder().path(), QFile::Permissions(0x7755));
    const uid_t user = getuid();
    constexpr uid_t nobody = 65534;
    if (user == 0)
        QVERIFY(setreuid(nobody, 0) == 0);
    const auto result =
        setup.exporter.exportList(setup.list, ExportFilter::All, setup.file("out.xlsx"));
    if (user == 0)
        QVERIFY(setreuid(0, 0) == 0);
    QCOMPARE(result, RecipientExport::Result::TargetFailed);
    QVERIFY2(setup.op.told.first().endsWith(reason), qPrintable(setup.op.told.first()));
}

void TestExport::failedWorkbookLeavesNothing_data()
{
    QTest::addColumn<int>("resource");
    QTest::newRow("rows: file too large") << int(RLIMIT_FSIZE);
    QTest::newRow("packing: too many files") << int(RLIMIT_NOFILE);
}

void TestExport::failedWorkbookLeavesNothing()
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

void TestExport::sparesTheProgramsFiles_data()
{
    QTest::addColumn<QString>("target"); // what the name is a link to
    for (const char *name :
         {"sys.mdb", "sys.mdb-wal", "mtemplate.mdb", "ulist.txt", "ulist.txt-journal",
          "data/m1.mdb", "data/m9.mdb", "data/../sys.mdb", "log/log261116.txt", "folder/sys.mdb"})
        QTest::newRow(name) << QString();
    QTest::newRow("link.csv") << QStringLiteral("data/m1.mdb");
    QTest::newRow("link to nothing.csv") << QStringLiteral("ulist.txt");
    QTest::newRow("link to a link.xlsx") << QStringLiteral("sys link");
}

void TestExport::sparesTheProgramsFiles()
{
    QFETCH(QString, target);
    Setup setup;
    const QString path = setup.folder.file(QLatin1String(QTest::currentDataTag()));
    QVERIFY(QDir(setup.folder.folder().path()).mkdir(QStringLiteral("log")));
    QVERIFY(QFile::link(setup.folder.folder().path(), setup.folder.file(QStringLiteral("folder"))));
    QVERIFY(QFile::link(QStringLiteral("sys.mdb"), setup.folder.file(QStringLiteral("sys link"))));
    if (!target.isEmpty())
        QVERIFY(QFile::link(target, path));
    setup.exporter.exportList(setup.list, ExportFilter::All, setup.file(QTest::currentDataTag()));
    QCOMPARE(setup.op.told, QStringList{QStringLiteral("Error|Error # 0 was generated by File "
                                                       "system\r%1 belongs to the program; choose "
                                                       "another file.")
                                            .arg(path)});
}

QTEST_GUILESS_MAIN(TestExport)
#include "tst_export.moc"

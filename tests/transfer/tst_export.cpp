// Recipients to files, workbooks and the clipboard.

#include "exportsetup.h"

class TestExport final : public QObject
{
    Q_OBJECT

private slots:
    void writesLists_data();
    void writesLists();
    void writesTheRowsOfAGrid_data();
    void writesTheRowsOfAGrid();
    void passesOverDeletedRows();
    void writesNothingOfNothing();
    void abortsLists();
    void abortsRecords();
    void keepsTheOldFileOnFailure_data();
    void keepsTheOldFileOnFailure();
    void refusesToReplace_data();
    void refusesToReplace();
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
    Keyset rows = setup.rows(columns.join(QLatin1Char(',')));
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
    Keyset rows = setup.rows(gridColumns.join(QLatin1Char(',')));
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
    Keyset rows = setup.rows(gridColumns.join(QLatin1Char(',')));
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
    Keyset rows = setup.rows(gridColumns.join(QLatin1Char(',')));
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

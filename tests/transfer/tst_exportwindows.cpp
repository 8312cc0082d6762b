#include "frmexport.h"
#include "frmexportdata.h"

#include "fakes.h"
#include "recordingspreadsheet.h"
#include "testfolder.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

/// The windows that export a list and the records of a grid, as a person uses them.
class TestExportWindows final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void exportsAList_data();
    void exportsAList();
    void workbookNeedsNoFile();
    void noFileIsAskedFor_data();
    void noFileIsAskedFor();
    void browsesForTheFile();
    void abortsAList();
    void unwritableFileIsTold();
    void exportsRecords_data();
    void exportsRecords();
    void optionsExcludeEachOther();
    void abortsRecords();
    void unreadableListIsTold();
};

namespace
{

struct Person {
    Person()
    {
        folder.addList(QStringLiteral("R & D"),
                       {QStringLiteral("'zoe@x.org','Zoe','Adams','Ms','01','Acme','m'"),
                        QStringLiteral("'ann@x.org','Ann'"), QStringLiteral("'bob@x.org','Bob'")});
        folder.execute(QStringLiteral("update email set status='F', remark='full' where mid=2"), 1);
        folder.execute(QStringLiteral("update email set status='S' where mid=3"), 1);
    }
    /// Does `steps` while the window that `show` opens is open.
    void during(QDialog &window, const std::function<void()> &show,
                const std::function<void()> &steps)
    {
        bool wasOpen = false;
        QTimer::singleShot(0, &window, [&] {
            wasOpen = QTest::qWaitForWindowActive(&window);
            open = &window;
            steps();
            window.close();
        });
        show();
        if (!wasOpen)
            QTest::qFail("The window did not wait for the person", __FILE__, __LINE__);
    }
    void inList(const std::function<void()> &steps)
    {
        during(
            list, [this] { list.exportList(1, QStringLiteral("R & D")); }, steps);
    }
    void inRecords(const RecipientQuery &query, const std::function<void()> &steps)
    {
        during(
            records, [&] { records.exportRecords(folder.folder().listConnectionString(1), query); },
            steps);
    }
    template <typename T>
    T *find(const char *name) const
    {
        return open->findChild<T *>(QString::fromLatin1(name));
    }
    void press(const char *button) const { find<QAbstractButton>(button)->click(); }
    QByteArray written() const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    TestFolder folder;
    QString path = folder.file(QStringLiteral("out.csv"));
    ScriptedOperator op;
    CountingYield yield;
    RecordingSpreadsheet spreadsheet;
    frmExport list{folder.folder(), spreadsheet, op, yield};
    frmExportData records{folder.folder(), spreadsheet, op, yield};
    QDialog *open = nullptr;
};

} // namespace

void TestExportWindows::exportsAList_data()
{
    QTest::addColumn<QByteArray>("filter");
    QTest::addColumn<QString>("separator");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<int>("count");
    const QByteArray zoe = "zoe@x.org,Zoe,Adams,Ms,01,Acme,m\r\n";
    const QByteArray ann = "ann@x.org,Ann,,,,,\r\n";
    const QByteArray bob = "bob@x.org,Bob,,,,,\r\n";
    QTest::newRow("all") << QByteArray("OptionAll") << "," << zoe + ann + bob << 3;
    QTest::newRow("not failed") << QByteArray("OptionSucc") << "," << zoe + bob << 2;
    QTest::newRow("failed") << QByteArray("OptionFail") << "," << ann << 1;
    QTest::newRow("tab") << QByteArray("OptionFail") << "TAB" << QByteArray(ann).replace(',', '\t')
                         << 1;
    QTest::newRow("typed") << QByteArray("OptionFail") << "; " << QByteArray(ann).replace(',', "; ")
                           << 1;
}

void TestExportWindows::exportsAList()
{
    QFETCH(QByteArray, filter);
    QFETCH(QString, separator);
    QFETCH(QByteArray, expected);
    QFETCH(int, count);
    Person person;
    person.inList([&] {
        QVERIFY(person.find<QRadioButton>("OptionAll")->isChecked());
        QCOMPARE(person.find<QGroupBox>("Frame1")->title(),
                 QStringLiteral(" Export maillist : 1-R && D")); // shown as one "&"
        QCOMPARE(person.find<QComboBox>("CombSep")->currentText(), QStringLiteral(","));
        person.press(filter.constData());
        person.find<QComboBox>("CombSep")->setCurrentText(separator);
        QTest::keyClicks(person.find<QLineEdit>("txtFile"), person.path);
        person.press("cmdExport");
        QVERIFY(person.list.isVisible());
    });
    QCOMPARE(person.written(), expected);
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|Records exported: %1").arg(count)});
}

void TestExportWindows::workbookNeedsNoFile()
{
    Person person;
    person.inList([&] {
        QTest::keyClicks(person.find<QLineEdit>("txtFile"), QStringLiteral("x"));
        person.press("chkExcel");
        QCOMPARE(person.find<QLineEdit>("txtFile")->text(), QString());
        QVERIFY(!person.find<QLineEdit>("txtFile")->isEnabled());
        QVERIFY(!person.find<QPushButton>("cmdFile")->isEnabled());
        person.press("cmdExport");
        person.press("chkExcel");
        QVERIFY(person.find<QLineEdit>("txtFile")->isEnabled());
    });
    QCOMPARE(person.spreadsheet.shown.size(), 1);
    QVERIFY(QFile::exists(person.spreadsheet.shown.first()));
    QVERIFY(person.spreadsheet.shown.first().contains(QLatin1String("R & D")));
    QFile::remove(person.spreadsheet.shown.first());
}

void TestExportWindows::noFileIsAskedFor_data()
{
    QTest::addColumn<bool>("ofRecords");
    QTest::newRow("list") << false;
    QTest::newRow("records") << true;
}

void TestExportWindows::noFileIsAskedFor()
{
    QFETCH(bool, ofRecords);
    Person person;
    const auto steps = [&] { person.press("cmdExport"); };
    ofRecords ? person.inRecords({}, steps) : person.inList(steps);
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|Please enter the export file name !")});
}

void TestExportWindows::browsesForTheFile()
{
    Person person;
    const auto steps = [&] {
        person.op.files.push(person.path);
        person.press("cmdFile");
        person.op.files.push(QString());
        person.press("cmdFile"); // cancelled, it changes nothing
        QCOMPARE(person.find<QLineEdit>("txtFile")->text(), person.path);
    };
    person.inList(steps);
    person.inRecords({}, steps);
    QCOMPARE(person.op.asked,
             QStringList(4, QStringLiteral("File|TXT/CSV (*.txt;*.csv)|*.txt;*.csv|")));
}

void TestExportWindows::abortsAList()
{
    Person person;
    person.yield.actAt = 1;
    person.yield.action = [&] {
        QCOMPARE(person.find<QLabel>("lbStatus")->text(), QStringLiteral("Exporting record : 1/3"));
        QVERIFY(!person.find<QPushButton>("cmdExport")->isEnabled());
        person.press("Command1");
    };
    person.inList([&] {
        person.find<QLineEdit>("txtFile")->setText(person.path);
        person.press("cmdExport");
        QVERIFY(person.find<QPushButton>("cmdExport")->isEnabled());
        QCOMPARE(person.find<QLabel>("lbStatus")->text(), QString());
    });
    QCOMPARE(person.written(), QByteArray("zoe@x.org,Zoe,Adams,Ms,01,Acme,m\r\n"));
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|Records exported: 1")});
}

void TestExportWindows::unwritableFileIsTold()
{
    Person person;
    person.inList([&] {
        person.find<QLineEdit>("txtFile")->setText(person.folder.file(QStringLiteral("no/x.csv")));
        person.press("cmdExport");
        QVERIFY(person.find<QPushButton>("cmdExport")->isEnabled());
    });
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(QLatin1String("Error|Error # 0 was generated by ")));
}

void TestExportWindows::exportsRecords_data()
{
    QTest::addColumn<RecipientQuery>("query");
    QTest::addColumn<bool>("withHeader");
    QTest::addColumn<bool>("toClipboard");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray ann = "ann@x.org;Ann;;;;;\r\n";
    const QByteArray zoe = "zoe@x.org;Zoe;Adams;Ms;01;Acme;m\r\n";
    const QByteArray bob = "bob@x.org;Bob;;;;;\r\n";
    QTest::newRow("all") << RecipientQuery{} << false << false << zoe + ann + bob;
    QTest::newRow("a search, with names")
        << RecipientQuery{1, QStringLiteral("ANN"), 0} << true << false
        << "Email;Firstname;Lastname;Title;Contact;Company;Memo\r\n" + ann;
    QTest::newRow("in the grid's order, to the clipboard")
        << RecipientQuery{0, {}, 2} << false << true << ann + bob + zoe;
    QTest::newRow("none, with names, to the clipboard")
        << RecipientQuery{1, QStringLiteral("nobody"), 0} << true << true
        << QByteArray("Email;Firstname;Lastname;Title;Contact;Company;Memo\r\n");
}

void TestExportWindows::exportsRecords()
{
    QFETCH(RecipientQuery, query);
    QFETCH(bool, withHeader);
    QFETCH(bool, toClipboard);
    QFETCH(QByteArray, expected);
    Person person;
    person.inRecords(query, [&] {
        person.find<QCheckBox>("chkHeader")->setChecked(withHeader);
        person.find<QCheckBox>("chkMem")->setChecked(toClipboard);
        person.find<QComboBox>("CombSep")->setCurrentText(QStringLiteral(";"));
        person.find<QLineEdit>("txtFile")->setText(person.path);
        person.press("cmdExport");
        QCOMPARE(person.find<QLabel>("lbStatus")->text(), QString());
    });
    QCOMPARE(toClipboard ? QGuiApplication::clipboard()->text().toUtf8() : person.written(),
             expected);
    const qsizetype count = expected.count('\n') - (withHeader ? 1 : 0);
    QCOMPARE(person.op.told,
             QStringList{QStringLiteral("|Export Completed, %1/%1 rows exported.").arg(count)});
}

void TestExportWindows::optionsExcludeEachOther()
{
    Person person;
    person.inRecords({}, [&] {
        const auto state = [&] {
            return QStringLiteral("%1%2%3%4")
                .arg(person.find<QCheckBox>("chkExcel")->isChecked())
                .arg(person.find<QCheckBox>("chkMem")->isChecked())
                .arg(person.find<QLineEdit>("txtFile")->isEnabled())
                .arg(person.find<QPushButton>("cmdFile")->isEnabled());
        };
        QCOMPARE(state(), QStringLiteral("0011"));
        person.press("chkExcel");
        QCOMPARE(state(), QStringLiteral("1000"));
        person.press("chkMem");
        QCOMPARE(state(), QStringLiteral("0100"));
        person.press("chkMem");
        QCOMPARE(state(), QStringLiteral("0011"));
    });
}

void TestExportWindows::abortsRecords()
{
    Person person;
    person.yield.actAt = 2; // after the first record
    person.yield.action = [&] {
        QCOMPARE(person.find<QLabel>("lbStatus")->text(), QStringLiteral("Exporting Row: 1/3"));
        QVERIFY(!person.find<QPushButton>("cmdExport")->isEnabled());
        QVERIFY(!person.find<QPushButton>("Command1")->isEnabled());
        QVERIFY(!person.find<QLineEdit>("txtFile")->isEnabled());
        QVERIFY(!person.find<QPushButton>("cmdFile")->isEnabled());
        person.press("cmdCancel");
    };
    person.inRecords({}, [&] {
        person.find<QLineEdit>("txtFile")->setText(person.path);
        person.press("cmdExport");
        QVERIFY(person.find<QPushButton>("cmdExport")->isEnabled());
        QVERIFY(person.find<QPushButton>("Command1")->isEnabled());
    });
    QCOMPARE(person.op.told, QStringList{QStringLiteral("|Export Abort, 1/3 rows exported.")});
    QCOMPARE(person.written().count('\n'), 1);
}

void TestExportWindows::unreadableListIsTold()
{
    Person person;
    person.inRecords({}, [&] {
        QFile::remove(person.folder.folder().listDatabaseFile(1));
        person.find<QLineEdit>("txtFile")->setText(person.path);
        person.press("cmdExport");
        QVERIFY(person.find<QPushButton>("cmdExport")->isEnabled());
    });
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(QLatin1String("Error|Error # 14 was generated by ")));
    QCOMPARE(person.written(), QByteArray("no file"));
}

QTEST_MAIN(TestExportWindows)
#include "tst_exportwindows.moc"

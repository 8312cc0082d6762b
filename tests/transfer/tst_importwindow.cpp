#include "frmimport.h"

#include "fakes.h"
#include "recordingspreadsheet.h"
#include "testfolder.h"

#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

/// The window that imports recipients, as a person uses it.
class TestImportWindow final : public QObject
{
    Q_OBJECT

private slots:
    void importsATextFile();
    void importsTheSampleWorkbook();
    void nextUseBeginsAnew();
    void nothingChosen();
    void aborts_data();
    void aborts();
    void unreadableFileIsTold();
    void showsTheSamples();
};

namespace
{

struct Person {
    Person() { folder.addList(QStringLiteral("R & D"), {QStringLiteral("ann@x.org")}); }
    void during(const std::function<void()> &steps)
    {
        bool wasOpen = false;
        QTimer::singleShot(0, &window, [&] {
            wasOpen = QTest::qWaitForWindowActive(&window);
            steps();
            window.close();
        });
        window.importInto(1, QStringLiteral("R & D"));
        if (!wasOpen)
            QTest::qFail("The window did not wait for the person", __FILE__, __LINE__);
    }
    template <typename T>
    T *find(const char *name) const
    {
        return window.findChild<T *>(QString::fromLatin1(name));
    }
    void press(const char *button) const { find<QPushButton>(button)->click(); }
    QString write(const QByteArray &content) const
    {
        QFile file(folder.file(QStringLiteral("in.csv")));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            QTest::qFail("The file cannot be written", __FILE__, __LINE__);
        return file.fileName();
    }
    QStringList stored() const
    {
        return folder.rows(QStringLiteral("select email, fname from email order by mid"), 1);
    }
    QString panels() const
    {
        return find<QLabel>("Panel1")->text() + u' ' + find<QLabel>("Panel2")->text() + u' ' +
               find<QLabel>("Panel3")->text();
    }

    TestFolder folder;
    ScriptedOperator op;
    CountingYield yield;
    RecordingSpreadsheet spreadsheet;
    frmImport window{folder.folder(), spreadsheet, op, yield};
};

QString summary(int total, int good, int bad)
{
    return QStringLiteral("|Total Number of Records Imported : %1\r\nNumber of Success : "
                          "%2\r\nNumber of Fail : %3")
        .arg(total)
        .arg(good)
        .arg(bad);
}

} // namespace

void TestImportWindow::importsATextFile()
{
    Person person;
    const QString path = person.write("bob@x.org ; Bob\r\n\nANN@x.org;Ann\n;nobody\nO'B@x.org\n");
    person.during([&] {
        QCOMPARE(person.find<QGroupBox>("Frame1")->title(), QStringLiteral(" List : R && D "));
        QVERIFY(person.find<QLabel>("Image1")->isVisible());
        person.op.files.push(path);
        person.press("cmdOpen");
        person.op.files.push(QString());
        person.press("cmdOpen"); // cancelled, it changes nothing
        QCOMPARE(person.find<QLineEdit>("Text1")->text(), path);
        person.find<QComboBox>("CombSep")->setCurrentText(QStringLiteral(";"));
        person.press("cmdImport");
        QVERIFY(!person.find<QLabel>("Image1")->isVisible());
        QCOMPARE(person.find<QPlainTextEdit>("txtLog")->toPlainText(),
                 QStringLiteral("Error Log:\n3\tANN@x.org\tAnn\t\t\t\t\t\tThis email address is "
                                "already in the list.\n"));
        QCOMPARE(person.panels(), QStringLiteral("Total:4 S:2 F:2"));
        QVERIFY(person.window.isVisible());
    });
    QCOMPARE(person.stored(),
             QStringList({QStringLiteral("ann@x.org|null"), QStringLiteral("bob@x.org|Bob"),
                          QStringLiteral("O'B@x.org|")}));
    QCOMPARE(person.op.told, QStringList{summary(4, 2, 2)});
    QCOMPARE(person.op.asked.first(),
             QStringLiteral("File|TXT/CSV/XLS (*.txt;*.csv;*.xls)|*.txt;*.csv;*.xls|"));
    QCOMPARE(person.folder.rows(QStringLiteral("select rec_count from mlist")),
             QStringList{QStringLiteral("3")});
}

void TestImportWindow::importsTheSampleWorkbook()
{
    Person person;
    person.during([&] {
        person.find<QLineEdit>("Text1")->setText(QStringLiteral(SAMPLE_WORKBOOK));
        person.press("cmdImport");
    });
    QCOMPARE(person.op.told, QStringList{summary(3, 3, 0)});
    QCOMPARE(person.stored().size(), 4);
}

void TestImportWindow::nextUseBeginsAnew()
{
    Person person;
    const QString path = person.write("bob@x.org\nbob@x.org\n");
    person.during([&] {
        person.find<QLineEdit>("Text1")->setText(path);
        person.find<QComboBox>("CombSep")->setCurrentIndex(3);
        person.press("cmdImport");
    });
    person.during([&] {
        QCOMPARE(person.find<QLineEdit>("Text1")->text(), QString());
        QCOMPARE(person.find<QComboBox>("CombSep")->currentText(), QStringLiteral(","));
        QVERIFY(person.find<QLabel>("Image1")->isVisible());
        QCOMPARE(person.panels(), QStringLiteral("  "));
        person.find<QLineEdit>("Text1")->setText(path);
        person.press("cmdImport");
        person.press("cmdImport"); // counted and logged anew each time
        QCOMPARE(person.panels(), QStringLiteral("Total:2 S:0 F:2"));
        QCOMPARE(person.find<QPlainTextEdit>("txtLog")->toPlainText().count(u'\n'), 3);
    });
}

void TestImportWindow::nothingChosen()
{
    Person person;
    person.during([&] { person.press("cmdImport"); });
    QCOMPARE(person.op.told, QStringList{QStringLiteral("Import|Please select a import file.")});
}

void TestImportWindow::aborts_data()
{
    QTest::addColumn<bool>("closes");
    QTest::newRow("Abort") << false;
    QTest::newRow("closing") << true;
}

void TestImportWindow::aborts()
{
    QFETCH(bool, closes);
    Person person;
    const QString path = person.write("bob@x.org\nzoe@x.org\n");
    person.yield.actAt = 1; // events run after the first line, whatever the machine's speed
    person.yield.action = [&] {
        QCOMPARE(person.panels(), QStringLiteral("Total:1 S:1 F:0"));
        QVERIFY(!person.find<QPushButton>("cmdImport")->isEnabled());
        QCOMPARE(person.window.cursor().shape(), Qt::WaitCursor);
        if (closes)
            person.window.close();
        else
            person.press("cmdCancel");
    };
    person.during([&] {
        person.find<QLineEdit>("Text1")->setText(path);
        person.press("cmdImport");
        QCOMPARE(person.window.isVisible(), !closes);
        QVERIFY(person.find<QPushButton>("cmdImport")->isEnabled());
    });
    QCOMPARE(person.stored().last(), QStringLiteral("bob@x.org|"));
    QCOMPARE(person.op.told, QStringList{summary(1, 1, 0)});
}

void TestImportWindow::unreadableFileIsTold()
{
    Person person;
    person.during([&] {
        person.find<QLineEdit>("Text1")->setText(person.folder.file(QStringLiteral("none.csv")));
        person.press("cmdImport");
        QVERIFY(person.find<QPushButton>("cmdImport")->isEnabled());
    });
    QCOMPARE(person.op.told.size(), 1);
    QVERIFY(person.op.told.first().startsWith(QLatin1String("ImportError|")));
}

void TestImportWindow::showsTheSamples()
{
    Person person;
    const QString workbook = person.folder.file(QStringLiteral("email_sample.xls"));
    person.during([&] {
        QString sample;
        QTimer::singleShot(0, &person.window, [&] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            sample = dialog->windowTitle() + u'\n' +
                     dialog->findChild<QPlainTextEdit *>()->toPlainText();
            dialog->close();
        });
        person.press("cmdSample");
        const QStringList lines = sample.split(u'\n');
        QCOMPARE(lines.size(), 7); // the title, and five lines, each ended
        QCOMPARE(lines.first(), QStringLiteral("Sample Import File"));
        QCOMPARE(lines[1].section(u',', 1),
                 QStringLiteral("Recipient's Firstname,Recipient's Lastname,Recipient's Title,"
                                "Contact,Company, Memo"));
        QStringList filled; // which fields each line has
        for (const QString &line : lines.mid(1, 5)) {
            QString fields;
            for (const QString &field : line.split(u','))
                fields += field.isEmpty() ? u'-' : u'x';
            filled += fields;
            QVERIFY2(line.section(u',', 0, 0).contains(u'@'), qPrintable(line));
        }
        QCOMPARE(filled.join(u' '), QStringLiteral("xxxxxxx xxxxxxx x x---x x---x"));

        person.press("cmdSampleXLS");
        QCOMPARE(person.op.told, QStringList());
        person.spreadsheet.hasProgram = false;
        person.press("cmdSampleXLS");
        QVERIFY(QFile(workbook).open(QIODevice::WriteOnly));
        person.press("cmdSampleXLS");
    });
    QCOMPARE(person.spreadsheet.shown, QStringList(3, workbook));
    const QString hint = QStringLiteral("\r\nYou must install Microsoft Excel !");
    QCOMPARE(
        person.op.told,
        (QStringList{QStringLiteral("|%1 does not exist.").arg(workbook) + hint,
                     QStringLiteral("|No program was found that opens %1.").arg(workbook) + hint}));
}

QTEST_MAIN(TestImportWindow)
#include "tst_importwindow.moc"

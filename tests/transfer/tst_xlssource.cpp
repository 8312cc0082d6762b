// Workbooks of the binary kind, as files: what the reader makes of their cells.

#include "dateformat.h"
#include "storageerror.h"
#include "xlssource.h"
#include "xlsworkbook.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

#include <glib.h>
#include <sys/stat.h>

namespace
{

using Cell = XlsWorkbook::Cell;
using Formula = XlsWorkbook::Formula;

const QStringList header = {QStringLiteral("Email"), QStringLiteral("Firstname")};

/// The records that are read, cells joined by "|".
QStringList records(const QString &path)
{
    QStringList rows;
    for (XlsSource source(path); source.next();) {
        QStringList cells{QString::number(source.number())};
        for (const std::string &field : source.record())
            cells += QString::fromStdString(field);
        rows += cells.join(QLatin1Char('|'));
    }
    return rows;
}

QString failure(const QString &path)
{
    try {
        const XlsSource source(path);
        return QStringLiteral("none");
    } catch (const StorageError &e) {
        return e.description();
    }
}

} // namespace

class TestXlsSource final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom)); }
    void readsRows();
    void showsCells_data();
    void showsCells();
    void showsShortNumbers_data();
    void showsShortNumbers();
    void rendersFormats_data();
    void rendersFormats();
    void readsRowsOfFormulasOnly();
    void readsTheSheetItOpensOn_data();
    void readsTheSheetItOpensOn();
    void reads65536Rows();
    void readsTheSample();
    void refuses_data();
    void refuses();
    void survivesEveryCut();
    void refusesWhatIsNoFile();

private:
    QString path(const char *name = "book.xls") const
    {
        return m_folder.filePath(QLatin1String(name));
    }

    QTemporaryDir m_folder;
};

void TestXlsSource::readsRows()
{
    XlsWorkbook book;
    const auto row = [](const char *cells) {
        return QString::fromUtf8(cells).split(QLatin1Char('|'));
    };
    book.addSheet(QStringLiteral("S"),
                  {header, row("a@a.example|Ünï ©|O'Neil|Dr|0042|A\nB|memo|beyond"),
                   row("b@a.example"), row(" |blank"), row("|no address"), row("c@a.example")});
    QVERIFY(book.save(path()));
    QCOMPARE(
        records(path()),
        (QStringList{QStringLiteral("2|a@a.example|Ünï ©|O'Neil|Dr|0042|A\nB|memo"),
                     QStringLiteral("3|b@a.example||||||"), QStringLiteral("4| |blank|||||")}));
}

void TestXlsSource::showsCells_data()
{
    QTest::addColumn<Cell>("cell");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *name, decltype(Cell::value) value, XlsWorkbook::Format format,
                        const char *shown) {
        QTest::newRow(name) << Cell{1, 1, std::move(value), format} << QString::fromUtf8(shown);
    };
    constexpr double day = 45323; // 1 February 2024
    row("whole number", 42.0, XlsWorkbook::General, "42");
    row("large whole number", 441174960011.0, XlsWorkbook::General, "441174960011");
    row("negative", -7.0, XlsWorkbook::General, "-7");
    row("fraction", 0.1 + 0.2, XlsWorkbook::General, "0.3");
    row("date", day, XlsWorkbook::Date, "01/02/2024");
    row("date and time", day + 0.5, XlsWorkbook::DateTime, "01/02/2024 12:00");
    constexpr double second = 1.0 / 86'400;
    row("date and time with seconds", day + 0.5 + second, XlsWorkbook::DateTime,
        "01/02/2024 12:00:01");
    row("time", 0.75 + second, XlsWorkbook::Time, "18:00:01");
    row("date of a format of its own", day, XlsWorkbook::IsoDate, "2024-02-01");
    row("text formula", Formula{QStringLiteral("Ünï & Söhne"), XlsWorkbook::General},
        XlsWorkbook::General, "Ünï & Söhne");
    row("number formula", Formula{2.0, XlsWorkbook::General}, XlsWorkbook::General, "2");
    row("date formula", Formula{day, XlsWorkbook::Date}, XlsWorkbook::General, "01/02/2024");
    row("moment formula", Formula{day + 0.5, XlsWorkbook::DateTime}, XlsWorkbook::General,
        "01/02/2024 12:00");
    row("time formula", Formula{0.75, XlsWorkbook::Time}, XlsWorkbook::General, "18:00:00");
    row("formula with a date format of its own", Formula{day, XlsWorkbook::IsoDate},
        XlsWorkbook::General, "2024-02-01");
}

void TestXlsSource::showsCells()
{
    QFETCH(Cell, cell);
    QFETCH(QString, shown);
    XlsWorkbook book;
    book.addSheet(QStringLiteral("S"),
                  std::vector<Cell>{{1, 0, QStringLiteral("a@a.example")}, cell});
    QVERIFY(book.save(path()));
    QCOMPARE(records(path()), QStringList{QStringLiteral("2|a@a.example|%1|||||").arg(shown)});
}

void TestXlsSource::showsShortNumbers_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("second");
    const auto column = [](char number) { return QByteArray("\1\0", 2) + number + '\0'; };
    const QByteArray format("\x10\0", 2); // the format of the cells that show dates
    const QByteArray whole = "\x2e\xc4\x02" + QByteArray(1, '\0'); // 45323 * 4 + 2
    const QByteArray hundredth = "\xb3\xa2\x14\x01";               // 4532300 * 4 + 3
    const QByteArray half("\x60\x21\xe6\x40", 4);
    const auto one = [&](char number, const QByteArray &value) {
        return QByteArray("\x7e\x02\x0a\0", 4) + column(number) + format + value +
               QByteArray("\x99\0\0\0", 4); // a record of no interest, for the length
    };
    QTest::newRow("one each") << one(1, whole) << one(2, half);
    QTest::newRow("hundredths") << one(1, hundredth) << one(2, whole);
    QTest::newRow("neighbours in one record")
        << QByteArray("\xbd\0\x12\0", 4) + column(1) + format + whole + format + half +
               QByteArray("\2\0", 2) + QByteArray("\x99\0\x0a\0", 4) + QByteArray(10, '\0')
        << QByteArray();
}

void TestXlsSource::showsShortNumbers()
{
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, second);
    XlsWorkbook book;
    constexpr double day = 45323;
    book.addSheet(QStringLiteral("S"), std::vector<Cell>{{1, 0, QStringLiteral("a@a.example")},
                                                         {1, 1, day, XlsWorkbook::Date},
                                                         {1, 2, day, XlsWorkbook::Date}});
    QVERIFY(book.save(path()));
    // The same numbers as other programs write them.
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QByteArray content = file.readAll();
    const qsizetype at = content.indexOf(QByteArray("\x03\x02\x0e\0", 4));
    QVERIFY(at > 0);
    content.replace(at, 36, first + second);
    file.seek(0);
    file.write(content);
    file.close();
    QCOMPARE(records(path()),
             QStringList{QStringLiteral("2|a@a.example|01/02/2024|01/02/2024||||")});
}

void TestXlsSource::rendersFormats_data()
{
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *format, const char *shown) {
        QTest::newRow(format) << QString::fromUtf8(shown);
    };
    row("yyyy-mm-dd hh:mm:ss", "2024-02-01 15:04:05");
    row("d/m/yy h:m:s", "1/2/24 15:4:5");
    row("dddd, d. mmmm yyyy", "Donnerstag, 1. Februar 2024");
    row("ddd mmm mmmmm", "Do. Feb. F");
    row("[$-409]d-mmm-yy", "1-Feb-24");
    row("[$-407]mmmm", "Februar");
    row("h:mm AM/PM", "3:04 PM");
    row("hh:mm a/p", "03:04 p");
    row("mm:ss", "04:05");
    row("mm/yyyy", "02/2024");
    row("YYYY\\-MM\\-DD\"T\"HH:MM", "2024-02-01T15:04");
    row("yyyy\"/s\";@", "2024/s");
    for (const char *unknown :
         {"[h]:mm", "mm:ss.0", "[$-F800]dddd", "General", "[Red]yyyy", "0.00"})
        row(unknown, "unknown");
}

void TestXlsSource::rendersFormats()
{
    QFETCH(QString, shown);
    QLocale::setDefault(QLocale(QLocale::German));
    const auto text = shownAs(QString::fromUtf8(QTest::currentDataTag()),
                              QDateTime(QDate(2024, 2, 1), QTime(15, 4, 5), Qt::UTC));
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    QCOMPARE(text.value_or(QStringLiteral("unknown")), shown);
}

void TestXlsSource::readsRowsOfFormulasOnly()
{
    XlsWorkbook book;
    std::vector<Cell> cells{{0, 0, QStringLiteral("Email")}};
    for (unsigned row = 1; row <= 3; ++row)
        cells.push_back({row, 0, Formula{QStringLiteral("r%1@a.example").arg(row)}});
    book.addSheet(QStringLiteral("S"), cells);
    QVERIFY(book.save(path()));
    QCOMPARE(records(path()).size(), 3);
    QVERIFY(records(path()).last().startsWith(QStringLiteral("4|r3@a.example|")));
}

void TestXlsSource::readsTheSheetItOpensOn_data()
{
    QTest::addColumn<int>("opensOn");
    QTest::addColumn<QString>("address");
    QTest::newRow("first") << 0 << QStringLiteral("first@a.example");
    QTest::newRow("a chart: the first with cells") << 1 << QStringLiteral("first@a.example");
    QTest::newRow("after the chart") << 2 << QStringLiteral("second@a.example");
    QTest::newRow("no such sheet") << 9 << QStringLiteral("first@a.example");
}

void TestXlsSource::readsTheSheetItOpensOn()
{
    QFETCH(int, opensOn);
    QFETCH(QString, address);
    XlsWorkbook book;
    for (const char *name : {"first", "second"}) {
        if (name[0] == 's')
            book.addChart(QStringLiteral("Chart"));
        // A formula in each, so that one sheet's results do not show in the other.
        book.addSheet(QLatin1String(name),
                      std::vector<Cell>{{1, 0, QLatin1String(name) + QStringLiteral("@a.example")},
                                        {1, 1, Formula{QLatin1String(name)}}});
    }
    book.setOpensOn(unsigned(opensOn));
    QVERIFY(book.save(path()));
    QCOMPARE(
        records(path()),
        QStringList{
            QStringLiteral("2|%1|%2|||||").arg(address, address.section(QLatin1Char('@'), 0, 0))});
}

void TestXlsSource::reads65536Rows()
{
    XlsWorkbook book;
    std::vector<Cell> cells;
    for (unsigned row = 0; row < 65'536; ++row)
        cells.push_back({row, 0, QStringLiteral("r%1@a.example").arg(row)});
    book.addSheet(QStringLiteral("S"), cells);
    QVERIFY(book.save(path()));
    const QStringList rows = records(path());
    QCOMPARE(rows.size(), 65'535);
    QCOMPARE(rows.last(), QStringLiteral("65536|r65535@a.example||||||"));
}

void TestXlsSource::readsTheSample()
{
    const QStringList rows = records(QStringLiteral(SAMPLE));
    QCOMPARE(rows.size(), 3);
    QVERIFY(rows[1].contains(QStringLiteral("|Jörg|Lindström|")));
}

void TestXlsSource::refuses_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reason");
    QTest::newRow("text") << QByteArray("a@a.example,Ann\n")
                          << QStringLiteral("it is not an .xls workbook.");
    QTest::newRow("empty") << QByteArray() << QStringLiteral("it is not an .xls workbook.");
    QTest::newRow("long text") << QByteArray(5000, 'x')
                               << QStringLiteral("it is not an .xls workbook.");

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("book.xls"));
    const auto content = [&path](const XlsWorkbook &book) {
        book.save(path);
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    };
    XlsWorkbook book;
    book.addSheet(QStringLiteral("S"),
                  std::vector<QStringList>(500, {QStringLiteral("a@a.example")}));
    const QByteArray whole = content(book);
    QTest::newRow("cut off") << whole.first(whole.size() / 2)
                             << QStringLiteral("the workbook is damaged or cut off");
    book.setEncrypted(true);
    QTest::newRow("encrypted") << content(book)
                               << QStringLiteral("the workbook is protected by a password.");
    XlsWorkbook chart;
    chart.addChart(QStringLiteral("C"));
    QTest::newRow("no cells") << content(chart)
                              << QStringLiteral("the workbook has no sheet with cells.");
}

void TestXlsSource::refuses()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, reason);
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    const QString told = failure(path());
    QVERIFY2(told.startsWith(QStringLiteral("Cannot read %1: %2").arg(path(), reason)),
             qPrintable(told));
    QVERIFY(failure(path("missing.xls")).endsWith(QStringLiteral("No such file or directory")));
}

void TestXlsSource::survivesEveryCut()
{
    // The library comments on every damage, and no one shall hear it.
    static int comments = 0;
    comments = 0;
    const auto handler = g_log_set_default_handler(
        [](const char *, GLogLevelFlags, const char *, void *) { ++comments; }, nullptr);
    XlsWorkbook book;
    book.addSheet(QStringLiteral("S"), std::vector<Cell>{{1, 0, Formula{QStringLiteral("a@b.c")}},
                                                         {1, 1, 45323.0, XlsWorkbook::Date}});
    QVERIFY(book.save(path()));
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray whole = file.readAll();
    const QStringList all{QStringLiteral("2|a@b.c|01/02/2024|||||")};
    QCOMPARE(records(path()), all);
    QFile copy(path("damaged.xls"));
    const auto read = [&copy](const QByteArray &content) {
        if (!copy.open(QIODevice::WriteOnly) || copy.write(content) != content.size())
            qFatal("The copy cannot be written");
        copy.close();
        try {
            return records(copy.fileName());
        } catch (const StorageError &) {
            return QStringList();
        }
    };
    // Cut at one place, or with a damaged byte there; read or refused, but never beyond the file.
    for (qsizetype at = 0; at < whole.size(); at += 29) {
        const QStringList rows = read(whole.first(at));
        QVERIFY2(rows.isEmpty() || rows == all, qPrintable(rows.join(QLatin1Char('\n'))));
        QByteArray damaged = whole;
        damaged[at] = char(~damaged[at]);
        read(damaged);
    }
    g_log_set_default_handler(handler, nullptr);
    QCOMPARE(comments, 0);
}

void TestXlsSource::refusesWhatIsNoFile()
{
    QVERIFY(::mkfifo(QFile::encodeName(path("pipe.xls")).constData(), 0600) == 0);
    QCOMPARE(failure(path("pipe.xls")),
             QStringLiteral("Cannot read %1: it is not a file.").arg(path("pipe.xls")));
    QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("folder.xls")));
    QCOMPARE(failure(path("folder.xls")),
             QStringLiteral("Cannot read %1: it is not a file.").arg(path("folder.xls")));
}

QTEST_GUILESS_MAIN(TestXlsSource)
#include "tst_xlssource.moc"

// Workbooks of the binary kind, as files: what the reader makes of their cells.

#include "dateformat.h"
#include "storageerror.h"
#include "testfiles.h"
#include "xlssource.h"
#include "xlsworkbook.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

#include <glib.h>
#include <sys/stat.h>

namespace
{

using Cell = XlsWorkbook::Cell;
using Formula = XlsWorkbook::Formula;

/// The records that are read, cells joined by "|", without empty ones at the end.
QStringList records(const QString &path)
{
    QStringList rows;
    for (XlsSource source(path); source.next();) {
        QString row = QString::number(source.number());
        for (const std::string &field : source.record())
            row += QLatin1Char('|') + QString::fromStdString(field);
        while (row.endsWith(QLatin1Char('|')))
            row.chop(1);
        rows += row;
    }
    return rows;
}

QString failure(const QString &path)
{
    try {
        const XlsSource source(path);
        return "none";
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

    /// An empty text cell and a text of any length are no damage.
    void readsRows()
    {
        const QString longText = QString("Ü").repeated(20'000);
        QCOMPARE(rows({{0, 0, QString("Email")},
                       {1, 0, QString("a@a.example")},
                       {1, 1, QString()},
                       {1, 2, QString("O'Neil\n©")},
                       {1, 6, longText},
                       {1, 7, QString("beyond")},
                       {2, 0, Formula{QString(" ")}},
                       {3, 0, QString()},
                       {4, 0, QString("c@a.example")}}),
                 (QStringList{"2|a@a.example||O'Neil\n©||||" + longText, "3| "}));
    }

    void showsCells_data()
    {
        QTest::addColumn<Cell>("cell");
        QTest::addColumn<QString>("shown");
        const auto row = [](const char *shown, decltype(Cell::value) value,
                            XlsWorkbook::Format format = XlsWorkbook::General) {
            QTest::newRow(shown) << Cell{1, 1, std::move(value), format}
                                 << QString::fromUtf8(shown);
        };
        constexpr double day = 45323; // 1 February 2024
        constexpr double second = 1.0 / 86'400;
        row("441174960011", 441174960011.0);
        row("0.3", 0.1 + 0.2);
        row("01/02/2024", day, XlsWorkbook::Date);
        row("01/02/2024 12:00:01", day + 0.5 + second, XlsWorkbook::DateTime);
        row("18:00:01", 0.75 + second, XlsWorkbook::Time);
        row("2024-02-01", Formula{day, XlsWorkbook::IsoDate});
        row("Ünï & Söhne", Formula{QString("Ünï & Söhne")});
        row("2", Formula{2.0});
    }
    void showsCells()
    {
        QFETCH(Cell, cell);
        QFETCH(QString, shown);
        QCOMPARE(rows({{1, 0, QString("a@a.example")}, cell}),
                 QStringList("2|a@a.example|" + shown));
    }

    /// Shared texts that records part, styled ones, short numbers, truths, code pages: as two other
    /// programs have written the same sheet.
    void readsOtherProgramsFiles()
    {
        const QString longText = QString("lang ü ").repeated(1'500);
        for (const char *name : {"calc.xls", "gnumeric95.xls"}) {
            const QStringList read = records(QFINDTESTDATA(name));
            QCOMPARE(read.size(), 2);
            QCOMPARE(read[0].section('|', 1, 5), QString("a@a.example|||half bold ü|2024-02-01"));
            QCOMPARE(read[0].section('|', 7), longText);
            QCOMPARE(read[1], QString("3|b@a.example||42|0.1|441174960011|TRUE|Grüße"));
        }
    }

    void rendersFormats_data()
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
        row("hh:mm a/p", "03:04 p");
        row("mm:ss", "04:05");
        row("YYYY\\-MM\\-DD\"T\"HH:MM;@", "2024-02-01T15:04");
        for (const char *unknown : {"[h]:mm", "[$-F800]dddd", "0.00"})
            row(unknown, "unknown");
    }
    void rendersFormats()
    {
        QFETCH(QString, shown);
        QLocale::setDefault(QLocale(QLocale::German));
        const auto text = shownAs(QTest::currentDataTag(),
                                  QDateTime(QDate(2024, 2, 1), QTime(15, 4, 5), Qt::UTC));
        initTestCase();
        QCOMPARE(text.value_or("unknown"), shown);
    }

    void readsTheSheetItOpensOn()
    {
        const QString first = "2|first@a.example|first";
        const std::pair<unsigned, QString> sheets[] = {
            {0, first}, {1, first}, {2, "2|second@a.example|second"}, {9, first}};
        for (const auto &[opensOn, row] : sheets) {
            XlsWorkbook book;
            for (const QString &name : {QString("first"), QString("second")}) {
                if (name == "second")
                    book.addChart("Chart");
                book.addSheet(
                    name, std::vector<Cell>{{1, 0, name + "@a.example"}, {1, 1, Formula{name}}});
            }
            book.setOpensOn(opensOn);
            QVERIFY(book.save(path()));
            QCOMPARE(records(path()), QStringList(row));
        }
    }

    void refuses()
    {
        const auto why = [this](const QByteArray &content) {
            return failure(writeFile(path(), content)).remove("Cannot read " + path() + ": ");
        };
        for (const QByteArray &content : {QByteArray(), QByteArray(5000, 'x')})
            QCOMPARE(why(content), QString("it is not an .xls workbook."));
        XlsWorkbook book;
        book.addSheet("S", std::vector<QStringList>(500, {"a@a.example"}));
        QVERIFY(book.save(path()));
        const QByteArray whole = readFile(path());
        QCOMPARE(why(whole.first(whole.size() / 2)),
                 QString("it holds no workbook, or one that is damaged or cut off."));
        book.setEncrypted(true);
        QVERIFY(book.save(path()));
        QCOMPARE(why(readFile(path())), QString("the workbook is protected by a password."));
        XlsWorkbook chart;
        chart.addChart("C");
        QVERIFY(chart.save(path()));
        QCOMPARE(why(readFile(path())), QString("the workbook has no sheet with cells."));
        QVERIFY(QFile::remove(path()));
        QVERIFY(failure(path()).endsWith("No such file or directory"));
        QVERIFY(::mkfifo(QFile::encodeName(path()).constData(), 0600) == 0);
        QVERIFY(failure(path()).endsWith("it is not a file."));
        QVERIFY(QFile::remove(path()));
    }

    /// Cut at one place, or with a damaged byte there: read or refused, but never beyond the file.
    void survivesEveryCut()
    {
        // The library comments on every damage, and no one shall hear it.
        static int comments = 0;
        const auto handler = g_log_set_default_handler(
            [](const char *, GLogLevelFlags, const char *, void *) { ++comments; }, nullptr);
        const auto read = [this](const QByteArray &content) {
            try {
                return records(writeFile(path(), content));
            } catch (const StorageError &) {
                return QStringList();
            }
        };
        for (const char *name : {"calc.xls", "gnumeric95.xls"}) {
            const QByteArray whole = readFile(QFINDTESTDATA(name));
            const QStringList all = read(whole);
            QCOMPARE(all.size(), 2);
            for (qsizetype at = 0; at < whole.size(); at += 29) {
                const QStringList rows = read(whole.first(at));
                QVERIFY(rows.isEmpty() || rows == all);
                QByteArray damaged = whole;
                damaged[at] = char(~damaged[at]);
                read(damaged);
            }
        }
        g_log_set_default_handler(handler, nullptr);
        QCOMPARE(comments, 0);
    }

private:
    QString path() const { return m_folder.filePath("book.xls"); }
    QStringList rows(const std::vector<Cell> &cells) const
    {
        XlsWorkbook book;
        book.addSheet("S", cells);
        book.save(path());
        return records(path());
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(TestXlsSource)
#include "tst_xlssource.moc"

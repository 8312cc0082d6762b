// Workbooks of the binary kind, as files: what the reader makes of their cells.

#include "storageerror.h"
#include "testfiles.h"
#include "xlssource.h"
#include "xlsworkbook.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

#include <glib.h>

namespace
{

using Cell = XlsWorkbook::Cell;
using Formula = XlsWorkbook::Formula;

/// The records that are read, cells joined by "|", without empty ones at the end; or why there are
/// none.
QStringList records(const QString &path)
{
    QStringList rows;
    try {
        for (XlsSource source(path); source.next();) {
            QString row = QString::number(source.number());
            for (const std::string &field : source.record())
                row += QLatin1Char('|') + QString::fromStdString(field);
            while (row.endsWith(QLatin1Char('|')))
                row.chop(1);
            rows += row;
        }
    } catch (const StorageError &e) {
        return {e.description()};
    }
    return rows;
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

    void showsCells()
    {
        constexpr double day = 45323; // 1 February 2024
        constexpr double second = 1.0 / 86'400;
        const std::pair<Cell, const char *> cells[] = {
            {{1, 1, 441174960011.0}, "441174960011"},
            {{1, 1, 0.1 + 0.2}, "0.3"},
            {{1, 1, day, XlsWorkbook::Date}, "01/02/2024"},
            {{1, 1, day + 0.5 + second, XlsWorkbook::DateTime}, "01/02/2024 12:00:01"},
            {{1, 1, 0.75 + second, XlsWorkbook::Time}, "18:00:01"},
            {{1, 1, Formula{day, XlsWorkbook::IsoDate}}, "2024-02-01"},
            {{1, 1, Formula{QString("Ü & S")}}, "Ü & S"}};
        for (const auto &[cell, shown] : cells)
            QCOMPARE(rows({{1, 0, QString("a@a.example")}, cell}),
                     QStringList(QString("2|a@a.example|") + shown));
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

    void readsTheSheetItOpensOn()
    {
        for (const unsigned opensOn : {0, 1, 2, 9}) {
            XlsWorkbook book;
            book.addSheet("first", std::vector<QStringList>(2, {"a@a.example"}));
            book.addChart("Chart");
            book.addSheet("second", std::vector<QStringList>(2, {"b@a.example"}));
            book.setOpensOn(opensOn);
            QVERIFY(book.save(path()));
            QCOMPARE(records(path()),
                     QStringList(opensOn == 2 ? "2|b@a.example" : "2|a@a.example"));
        }
    }

    void refuses()
    {
        const auto why = [this](const QByteArray &content) {
            return records(writeFile(path(), content))
                .join(' ')
                .remove("Cannot read " + path() + ": ");
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
        QVERIFY(records("/dev/zero")[0].endsWith("it is not a file."));
    }

    /// Cut at one place, or with a damaged byte there: read or refused, but never beyond the file.
    void survivesEveryCut()
    {
        // The library comments on every damage, and no one shall hear it.
        static int comments = 0;
        const auto handler = g_log_set_default_handler(
            [](const char *, GLogLevelFlags, const char *, void *) { ++comments; }, nullptr);
        for (const char *name : {"calc.xls", "gnumeric95.xls"}) {
            const QByteArray whole = readFile(QFINDTESTDATA(name));
            const QStringList all = records(QFINDTESTDATA(name));
            for (qsizetype at = 0; at < whole.size(); at += 29) {
                const QStringList rows = records(writeFile(path(), whole.first(at)));
                QVERIFY(rows == all || rows.value(0).startsWith("Cannot read "));
                QByteArray damaged = whole;
                damaged[at] = char(~damaged[at]);
                records(writeFile(path(), damaged));
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

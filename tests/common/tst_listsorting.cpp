#include "listsorting.h"

#include <QLocale>
#include <QTest>

class TestListSorting final : public QObject
{
    Q_OBJECT

private slots:
    void tellsNumbersFromTexts_data();
    void tellsNumbersFromTexts();
    void sorts_data();
    void sorts();
    void columnsRememberTheirDirection();
};

void TestListSorting::tellsNumbersFromTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isNumber");
    for (const char *text : {" 12 ", "+3", ".5", "5.", "-2.5E-3"})
        QTest::newRow(text) << QString::fromLatin1(text) << true;
    for (const char *text : {"", " ", "12a", "1 2", "-", ".", "1e", "0x10", "nan", "1e999"})
        QTest::newRow(*text ? text : "empty") << QString::fromLatin1(text) << false;
}

void TestListSorting::tellsNumbersFromTexts()
{
    QFETCH(QString, text);
    QTEST(numericValue(text).has_value(), "isNumber");
}

void TestListSorting::sorts_data()
{
    QTest::addColumn<SortKind>("kind");
    QTest::addColumn<bool>("ascending");
    QTest::addColumn<QString>("cells");
    QTest::addColumn<QString>("sorted");
    constexpr SortKind text = SortKind::Text;
    constexpr SortKind number = SortKind::Number;
    constexpr SortKind date = SortKind::Date;
    const auto row = [](const char *name, SortKind kind, const char *cells, const char *sorted,
                        bool ascending = true) {
        QTest::newRow(name) << kind << ascending << QString::fromLatin1(cells)
                            << QString::fromLatin1(sorted);
    };
    row("numbers", number, "10,9,-3,-250,0.5,abc", "abc,-250,-3,0.5,9,10");
    row("descending", number, "10,9,-3,-250,0.5,abc", "10,9,0.5,-3,-250,abc", false);
    row("near zero", number, "0.25,-0.5,2,0,-0.25,0.5", "-0.5,-0.25,0,0.25,0.5,2");
    row("equal numbers stay as they are", number, "1.0,2,1,-0,0,01", "-0,0,1.0,1,01,2");
    row("equal numbers, descending", number, "1.0,2,1,01", "2,1.0,1,01", false);
    row("numbers as texts", text, "10,9,100", "10,100,9");
    row("letter case does not matter", text, "b,A,a,B,,C", ",A,a,b,B,C");
    row("dates", date, "2024/01/02 10:00:00,2023/12/31 23:59:59,2024-1-2 9:05,2024/1/2",
        "2023/12/31 23:59:59,2024/1/2,2024-1-2 9:05,2024/01/02 10:00:00");
    row("dates of the locale", date, "1/2/24 10:00 AM,2/1/23 10:00 AM",
        "2/1/23 10:00 AM,1/2/24 10:00 AM");
    row("no dates stay texts", date, "x,2024/02/30,2024/02/03,", ",2024/02/30,2024/02/03,x");
    row("none", number, "", "");
}

void TestListSorting::sorts()
{
    QFETCH(SortKind, kind);
    QFETCH(bool, ascending);
    QFETCH(QString, cells);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    const QStringList before = cells.split(QLatin1Char(','));
    QStringList after;
    for (const int position : sortedOrder(before, kind, ascending))
        after += before.at(position);
    QTEST(after.join(QLatin1Char(',')), "sorted");
}

void TestListSorting::columnsRememberTheirDirection()
{
    SortState state;
    state.sortDescending(1);
    QVERIFY(state.column() == 1 && !state.ascending());
    const std::pair<int, bool> clicks[] = {{3, true}, {1, true}, {3, false}, {1, false}};
    for (const auto &[column, ascending] : clicks) {
        state.click(column);
        QCOMPARE(state.column(), column);
        QCOMPARE(state.ascending(), ascending);
    }
}

QTEST_GUILESS_MAIN(TestListSorting)
#include "tst_listsorting.moc"

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
    void makesNumberKeys();
    void columnsRememberTheirDirection();
};

void TestListSorting::tellsNumbersFromTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isNumber");
    for (const char *text : {"12", " 12 ", "-3", "+3", "0.5", ".5", "5.", "1e3", "-2.5E-3"})
        QTest::newRow(text) << QString::fromLatin1(text) << true;
    for (const char *text : {"", " ", "abc", "12a", "1 2", "-", ".", "--1", "1e", "0x10", "nan",
                             "inf", "1e999", "1;2", "2024/01/02"})
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
    QTest::newRow("numbers") << SortKind::Number << true << "10,9,-3,-250,0.5,abc"
                             << "abc,-250,-3,0.5,9,10";
    QTest::newRow("numbers, descending") << SortKind::Number << false << "10,9,-3,-250,0.5,abc"
                                         << "10,9,0.5,-3,-250,abc";
    QTest::newRow("near zero") << SortKind::Number << true << "0.25,-0.5,2,0,-0.25,0.5,10"
                               << "-0.5,-0.25,0,0.25,0.5,2,10";
    QTest::newRow("equal numbers stay as they are") << SortKind::Number << true << "1.0,2,1,-0,0,01"
                                                    << "-0,0,1.0,1,01,2";
    QTest::newRow("equal numbers, descending") << SortKind::Number << false << "1.0,2,1,01"
                                               << "2,1.0,1,01";
    QTest::newRow("numbers as texts") << SortKind::Text << true << "10,9,100"
                                      << "10,100,9";
    QTest::newRow("letter case does not matter") << SortKind::Text << true << "b,A,a,B,,C"
                                                 << ",A,a,b,B,C";
    QTest::newRow("dates") << SortKind::Date << true
                           << "2024/01/02 10:00:00,2023/12/31 23:59:59,2024-1-2 9:05,2024/1/2"
                           << "2023/12/31 23:59:59,2024/1/2,2024-1-2 9:05,2024/01/02 10:00:00";
    QTest::newRow("dates of the locale")
        << SortKind::Date << true << "1/2/24 10:00 AM,2/1/23 10:00 AM"
        << "2/1/23 10:00 AM,1/2/24 10:00 AM";
    QTest::newRow("no dates stay texts") << SortKind::Date << true << "x,2024/02/30,2024/02/03,"
                                         << ",2024/02/30,2024/02/03,x";
    QTest::newRow("dates as texts") << SortKind::Text << true << "2024/01/02 10:00,2023/12/31 23:59"
                                    << "2023/12/31 23:59,2024/01/02 10:00";
    QTest::newRow("none") << SortKind::Number << true << ""
                          << "";
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

void TestListSorting::makesNumberKeys()
{
    QCOMPARE(numberSortKey(QStringLiteral(" 12.5 ")),
             QStringLiteral("0000000012.50000000000000000000"));
    QCOMPARE(numberSortKey(QStringLiteral("-12.5")),
             QStringLiteral("&9999999987.49999999999999999999"));
    QCOMPARE(numberSortKey(QStringLiteral("twelve")), QString());
}

void TestListSorting::columnsRememberTheirDirection()
{
    SortState state;
    state.sortDescending(1);
    QCOMPARE(state.column(), 1);
    QVERIFY(!state.ascending());
    state.click(3);
    QVERIFY(state.ascending());
    state.click(1);
    QCOMPARE(state.column(), 1);
    QVERIFY(state.ascending());
    state.click(3);
    QVERIFY(!state.ascending());
    state.click(SortState::MaxColumns - 1);
    QVERIFY(state.ascending());
}

QTEST_GUILESS_MAIN(TestListSorting)
#include "tst_listsorting.moc"

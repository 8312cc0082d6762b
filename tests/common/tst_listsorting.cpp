#include "listsorting.h"

#include <QLocale>
#include <QTest>

class TestListSorting final : public QObject
{
    Q_OBJECT

private slots:
    void tellsNumbersFromTexts()
    {
        for (const char *text : {" 12 ", "+3", ".5", "-2.5E-3"})
            QVERIFY2(numericValue(QLatin1String(text)), text);
        for (const char *text : {"", " ", "12a", "1 2", "-", "1e", "0x10", "nan", "1e999"})
            QVERIFY2(!numericValue(QLatin1String(text)), text);
    }

    void sorts()
    {
        using enum SortKind;
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        const struct {
            SortKind kind;
            bool ascending;
            const char *cells;
            const char *sorted;
        } rows[] = {
            {Number, true, "10,9,-3,-250,0.5,abc", "abc,-250,-3,0.5,9,10"},
            {Number, false, "10,9,-3,-250,0.5,abc", "10,9,0.5,-3,-250,abc"},
            {Number, true, "0.25,-0.5,2,0,-0.25", "-0.5,-0.25,0,0.25,2"},
            {Number, true, "1.0,2,1,01", "1.0,1,01,2"}, // equal ones stay as they are
            {Number, false, "1.0,2,1,01", "2,1.0,1,01"},
            {Text, true, "10,b,9,A,a,,100", ",10,100,9,A,a,b"},
            {Date, true, "2024/01/02 10:00:00,2023/12/31 23:59:59,2024-1-2 9:05,2024/1/2",
             "2023/12/31 23:59:59,2024/1/2,2024-1-2 9:05,2024/01/02 10:00:00"},
            {Date, true, "1/2/24 10:00 AM,2/1/23 10:00 AM", "2/1/23 10:00 AM,1/2/24 10:00 AM"},
            {Date, true, "x,2024/02/30,2024/02/03,", ",2024/02/30,2024/02/03,x"}};
        for (const auto &row : rows) {
            const QStringList before = QString::fromLatin1(row.cells).split(u',');
            QStringList after;
            for (const int position : sortedOrder(before, row.kind, row.ascending))
                after += before.at(position);
            QCOMPARE(after.join(u','), QLatin1String(row.sorted));
        }
    }
};

QTEST_GUILESS_MAIN(TestListSorting)
#include "tst_listsorting.moc"

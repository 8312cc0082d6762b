#include "findreplace.h"
#include "listsorting.h"
#include "testfolder.h"

#include <QLocale>
#include <QTest>

using namespace Qt::StringLiterals;

/// Searches, whose dialog is in the test of the message's body, and the order of a sorted list.
class TestTexts final : public QObject
{
    Q_OBJECT

    /// "w": whole word, "c": match case, "u": up.
    static SearchTerms terms(const QString &find, const QString &options, const QString &to = {})
    {
        SearchTerms result(find, to);
        result.wholeWord = options.contains(u'w');
        result.matchCase = options.contains(u'c');
        result.up = options.contains(u'u');
        return result;
    }

private slots:
    void finds()
    {
        const QString x49(49, u'x');
        // The selection as it is and as it becomes, empty for not found.
        const std::tuple<TestText, TestText, TestText, int, int, TestText> rows[] = {
            {"cat cat", "cat", "", 0, 3, "4+3"},
            {"a cat", "cat", "", 3, 0, "2+3"}, // the character before the caret is looked at
            {"cat", "cat", "u", 2, 0, ""},     // not across the caret
            {"x cat", "x", "u", 0, 0, "0+1"},
            {"a CAT cat", "cat", "c", 0, 0, "6+3"},
            {"ΟΔΟΣ", "οδος", "", 0, 0, "0+4"}, // with the other small sigma
            {"x\U00010400", "\U00010428", "", 0, 0, "1+2"},
            {"a cat sat", "  cat ", "w", 0, 0, "1+5"}, // the word's own blanks, no others
            {"cat sat", "cat", "w", 0, 0, ""},
            {"a cat sat a cat ", "cat", "wu", 16, 0, "11+5"},
            {"a cat sat", " cat ", "", 0, 0, "1+3"}, // blanks are looked for, not selected
            {"cat", "", "", 0, 0, ""},
            {x49, x49 + x49, "", 0, 0, "0+49"},
            {x49, x49.first(48) + "\U0001f680", "", 0, 0, "0+48"}, // no half character
        };
        for (const auto &[text, find, options, start, length, selected] : rows) {
            const SearchTerms search = terms(find, options);
            const auto found = findOccurrence(text, start, length, search);
            QCOMPARE(found ? u"%1+%2"_s.arg(*found).arg(search.selectedLength()) : QString(),
                     selected);
        }
    }

    void replacesAll()
    {
        const TestText rows[][5] = {
            {"banana", "a", "b", "", "bbnbnb"},
            {"aaa", "aa", "aaa", "", "aaaa"}, // nothing twice, nor what was put in
            {"a cat a cat", "a", " the  ", "w", "a cat the cat"},
            {"abc", "b", QString(60, u'y'), "", u"a%1c"_s.arg(QString(49, u'y'))},
        };
        for (const auto &[text, find, to, options, result] : rows)
            QCOMPARE(replaceOccurrences(text, terms(find, options, to)), result);
    }

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
        const std::tuple<SortKind, bool, const char *, const char *> rows[] = {
            {Number, true, "10,9,-3,-250,0.5,abc", "abc,-250,-3,0.5,9,10"},
            {Number, true, "1.0,2,1,01", "1.0,1,01,2"}, // equal ones stay as they are
            {Number, false, "1.0,2,1,01", "2,1.0,1,01"},
            {Text, true, "10,b,9,A,a,,100", ",10,100,9,A,a,b"},
            {Date, true, "2024/01/02 10:00:00,2023/12/31 23:59:59,2024-1-2 9:05,2024/1/2",
             "2023/12/31 23:59:59,2024/1/2,2024-1-2 9:05,2024/01/02 10:00:00"},
            {Date, true, "1/2/24 10:00 AM,2/1/23 10:00 AM", "2/1/23 10:00 AM,1/2/24 10:00 AM"},
            {Date, true, "x,2024/02/30,2024/02/03,", ",2024/02/30,2024/02/03,x"}};
        for (const auto &[kind, ascending, cells, sorted] : rows) {
            const QStringList before = QString(cells).split(u',');
            QStringList after;
            for (const int position : sortedOrder(before, kind, ascending))
                after += before.at(position);
            QCOMPARE(after.join(u','), sorted);
        }
    }
};

QTEST_GUILESS_MAIN(TestTexts)
#include "tst_texts.moc"

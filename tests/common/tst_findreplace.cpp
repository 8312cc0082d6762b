#include "findreplace.h"
#include "testfolder.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// The searches themselves; what the dialog does with them is in the test of the message's body.
class TestFindReplace final : public QObject
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
        const struct {
            TestText text, find, options;
            int start, length;
            TestText selected; // "position+length", empty for not found
        } rows[] = {
            {"cat cat", "cat", "", 0, 3, "4+3"},
            {"a cat", "cat", "", 3, 0, "2+3"}, // the character before the caret is looked at
            {"cat cat cat", "cat", "u", 8, 0, "4+3"},
            {"cat", "cat", "u", 2, 0, ""}, // not across the caret
            {"x cat", "x", "u", 0, 0, "0+1"},
            {"a CAT", "cat", "", 0, 0, "2+3"},
            {"a CAT cat", "cat", "c", 0, 0, "6+3"},
            {"der ÄRGER", "ärger", "", 0, 0, "4+5"},
            {"ΟΔΟΣ", "οδος", "", 0, 0, "0+4"}, // with the other small sigma
            {"x\U00010400", "\U00010428", "", 0, 0, "1+2"},
            {"a cat sat", "  cat ", "w", 0, 0, "1+5"}, // the word's own blanks, no others
            {"cat sat", "cat", "w", 0, 0, ""},
            {"a cat\nsat", "cat", "w", 0, 0, ""},
            {"a cat sat a cat ", "cat", "wu", 16, 0, "11+5"},
            {"a cat sat", " cat ", "", 0, 0, "1+3"}, // blanks are looked for, not selected
            {"cat", "", "", 0, 0, ""},
            {x49, x49 + x49, "", 0, 0, "0+49"},
            {x49, x49.first(48) + u"\U0001f680"_s, "", 0, 0, "0+48"}, // no half character
        };
        for (const auto &row : rows) {
            const SearchTerms search = terms(row.find, row.options);
            const auto found = findOccurrence(row.text, row.start, row.length, search);
            QCOMPARE(found ? u"%1+%2"_s.arg(*found).arg(search.selectedLength()) : QString(),
                     row.selected);
        }
    }

    void replacesAll()
    {
        const struct {
            TestText text, find, to, options, result;
        } rows[] = {
            {"banana", "a", "b", "", "bbnbnb"},
            {"aaa", "aa", "aaa", "", "aaaa"}, // nothing twice, nor what was put in
            {"a cat a cat", "a", " the  ", "w", "a cat the cat"},
            {"x y", " ", "  ", "", "x  y"},
            {"abc", "b", QString(60, u'y'), "", u"a%1c"_s.arg(QString(49, u'y'))},
        };
        for (const auto &row : rows)
            QCOMPARE(replaceOccurrences(row.text, terms(row.find, row.options, row.to)),
                     row.result);
    }
};

QTEST_GUILESS_MAIN(TestFindReplace)
#include "tst_findreplace.moc"

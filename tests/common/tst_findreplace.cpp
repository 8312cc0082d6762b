#include "fakes.h"
#include "findreplace.h"

#include <QTest>

namespace
{

/// A text box of nothing but a text.
class PlainTarget final : public TextTarget
{
public:
    QString text() const override { return content; }
    void setText(const QString &text) override
    {
        content = text;
        start = length = 0;
    }
    qsizetype selectionStart() const override { return start; }
    qsizetype selectionLength() const override { return length; }
    void select(qsizetype newStart, qsizetype newLength) override
    {
        start = newStart;
        length = newLength;
    }
    void replaceSelection(const QString &text) override
    {
        content.replace(start, length, text);
        start += text.size();
        length = 0;
    }
    void takeFocus() override { ++focused; }

    QString content;
    qsizetype start = 0;
    qsizetype length = 0;
    int focused = 0;
};

/// "w": whole word, "c": match case, "u": up.
SearchTerms terms(const QString &find, const QString &options, const QString &replacement = {})
{
    SearchTerms result(find, replacement);
    result.wholeWord = options.contains(QLatin1Char('w'));
    result.matchCase = options.contains(QLatin1Char('c'));
    result.up = options.contains(QLatin1Char('u'));
    return result;
}

QString letters(int count)
{
    return QString(count, QLatin1Char('x'));
}

} // namespace

class TestFindReplace final : public QObject
{
    Q_OBJECT

private slots:
    void finds_data();
    void finds();
    void replacesAll_data();
    void replacesAll();
    void walks();
    void replacesOneByOne();
};

void TestFindReplace::finds_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("find");
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("selected"); // "position+length", empty for not found

    const auto row = [](const char *name, const char *text, const QString &find,
                        const char *options, int start, int length, const char *selected) {
        QTest::newRow(name) << QString::fromUtf8(text) << find << QString::fromUtf8(options)
                            << start << length << QString::fromUtf8(selected);
    };
    const QString cat = QStringLiteral("cat");
    row("after the selection", "cat cat", cat, "", 0, 3, "4+3");
    row("the character before the caret is looked at", "a cat", cat, "", 3, 0, "2+3");
    row("up", "cat cat cat", cat, "u", 8, 0, "4+3");
    row("up to an end at the caret", "cat cat", cat, "u", 3, 0, "0+3");
    row("up not across the caret", "cat", cat, "u", 2, 0, "");
    row("up from the beginning", "x cat", QStringLiteral("x"), "u", 0, 0, "0+1");
    row("case ignored", "a CAT", cat, "", 0, 0, "2+3");
    row("case matched", "a CAT cat", cat, "c", 0, 0, "6+3");
    row("umlauts", "der \u00c4RGER", QStringLiteral("\u00e4rger"), "", 0, 0, "4+5");
    row("Greek, with the other small sigma", "\u039f\u0394\u039f\u03a3",
        QStringLiteral("\u03bf\u03b4\u03bf\u03c2"), "", 0, 0, "0+4");
    row("Cyrillic up", "\u0414\u0410 \u0434\u0430", QStringLiteral("\u0434\u0430"), "u", 2, 0,
        "0+2");
    row("letters of two units", "x\U00010400", QStringLiteral("\U00010428"), "", 0, 0, "1+2");
    row("whole word with its blanks", "a cat sat", cat, "w", 0, 0, "1+5");
    row("no word at the beginning", "cat sat", cat, "w", 0, 0, "");
    row("no word before a line break", "a cat\nsat", cat, "w", 0, 0, "");
    row("blanks around a whole word do not count", "a cat sat", QStringLiteral("  cat "), "w", 0, 0,
        "1+5");
    row("whole word up", "a cat sat a cat ", cat, "wu", 16, 0, "11+5");
    row("blanks are looked for, not selected", "a cat sat", QStringLiteral(" cat "), "", 0, 0,
        "1+3");
    row("nothing", "cat", {}, "", 0, 0, "");
    row("49 characters count", letters(49).toUtf8(), letters(60), "", 0, 0, "0+49");
    row("no half character at the cut", letters(50).toUtf8(),
        letters(48) + QStringLiteral("\U0001f680"), "", 0, 0, "0+48");
}

void TestFindReplace::finds()
{
    QFETCH(QString, text);
    QFETCH(QString, find);
    QFETCH(QString, options);
    QFETCH(int, start);
    QFETCH(int, length);
    QFETCH(QString, selected);

    const SearchTerms search = terms(find, options);
    const auto found = findOccurrence(text, start, length, search);
    QCOMPARE(found ? QStringLiteral("%1+%2").arg(*found).arg(search.selectedLength()) : QString(),
             selected);
}

void TestFindReplace::replacesAll_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("find");
    QTest::addColumn<QString>("replacement");
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("result");

    const auto row = [](const char *name, const char *text, const QString &find,
                        const QString &replacement, const char *options, const char *result) {
        QTest::newRow(name) << QString::fromUtf8(text) << find << replacement
                            << QString::fromUtf8(options) << QString::fromUtf8(result);
    };
    const QString a = QStringLiteral("a");
    row("every one", "banana", a, QStringLiteral("b"), "", "bbnbnb");
    row("what is put in is not searched", "aa", a, QStringLiteral("aa"), "", "aaaa");
    row("words with their blanks", "a cat a cat", a, QStringLiteral(" the  "), "w",
        "a cat the cat");
    row("no overlap", "aaa", QStringLiteral("aa"), QStringLiteral("b"), "", "ba");
    row("blanks as they are", "x y", QStringLiteral(" "), QStringLiteral("  "), "", "x  y");
    row("at most 49", letters(60).toUtf8(), letters(60), QString(60, QLatin1Char('y')), "",
        QString(QString(49, QLatin1Char('y')) + letters(11)).toUtf8());
}

void TestFindReplace::replacesAll()
{
    QFETCH(QString, text);
    QFETCH(QString, find);
    QFETCH(QString, replacement);
    QFETCH(QString, options);

    PlainTarget target;
    target.content = text;
    target.select(1, 1);
    replaceAll(target, terms(find, options, replacement));
    QTEST(target.content, "result");
    QVERIFY(target.focused > 0);
}

void TestFindReplace::walks()
{
    ScriptedOperator op;
    PlainTarget target;
    target.content = QStringLiteral("cat Cat");
    for (const int start : {0, 4, 4}) {
        findNext(target, op, terms(QStringLiteral("cat"), {}));
        QCOMPARE(target.start, start);
        QCOMPARE(target.length, 3);
    }
    QCOMPARE(op.warned, QStringList{QStringLiteral("Find|Cannot find \"cat\".")});
    QCOMPARE(target.focused, 3);
    findNext(target, op, terms(QStringLiteral("cat"), QStringLiteral("u")));
    QCOMPARE(target.start, 0);
    // The find text itself is named, as far as it was looked for.
    findNext(target, op, terms(letters(60), QStringLiteral("w")));
    QCOMPARE(op.told.last(), QStringLiteral("Find|Cannot find \"%1\".").arg(letters(49)));
}

void TestFindReplace::replacesOneByOne()
{
    ScriptedOperator op;
    PlainTarget target;
    target.content = QStringLiteral("cat, cat");
    // The direction is not the replacing's.
    const SearchTerms search =
        terms(QStringLiteral("cat"), QStringLiteral("u"), QStringLiteral(" dog "));
    const std::tuple<const char *, int, int> steps[] = {
        {"cat, cat", 0, 3}, {" dog , cat", 7, 3}, {" dog ,  dog ", 12, 0}};
    for (const auto &[content, start, length] : steps) {
        QVERIFY(op.told.isEmpty());
        replaceAndFindNext(target, op, search);
        QCOMPARE(target.content, QLatin1String(content));
        QCOMPARE(target.start, start);
        QCOMPARE(target.length, length);
    }
    QCOMPARE(op.told, QStringList{QStringLiteral("Find|At end of text.")});
    QVERIFY(op.warned.isEmpty());
}

QTEST_GUILESS_MAIN(TestFindReplace)
#include "tst_findreplace.moc"

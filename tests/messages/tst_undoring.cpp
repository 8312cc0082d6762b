#include "undoring.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestUndoRing final : public QObject
{
    Q_OBJECT

private slots:
    void goesBackAtMost99Steps();
    void anotherChangeMakesAnotherFuture();
    void givesWhatWasRecorded();
    void sharesWhatDidNotChange();
    void sharesWhatIsTyped();
};

void TestUndoRing::goesBackAtMost99Steps()
{
    UndoRing ring;
    QVERIFY(!ring.redo());
    QCOMPARE(ring.undo(), Snapshot());
    for (int i = 1; i <= 150; ++i)
        ring.record({QString::number(i), i});
    for (int i = 149; i > 50; --i)
        QCOMPARE(ring.undo().text, QString::number(i));
    for (int i = 0; i < 21; ++i)
        QCOMPARE(ring.undo().text, u"51"_s);
    for (int i = 52; i <= 150; ++i)
        QCOMPARE(ring.redo().value().text, QString::number(i));
}

void TestUndoRing::anotherChangeMakesAnotherFuture()
{
    UndoRing ring;
    for (const char *text : {"1", "2", "3"})
        ring.record({QLatin1String(text), 0});
    ring.undo();
    ring.undo();
    ring.record({u"other"_s, 0});
    QVERIFY(!ring.redo());
    QCOMPARE(ring.undo().text, u"1"_s);
    // What was overtaken is the oldest now.
    for (int i = 0; i < 97; ++i)
        QCOMPARE(ring.undo().text, QString());
    QCOMPARE(ring.undo().text, u"3"_s);
    QCOMPARE(ring.undo().text, u"3"_s);
}

/// Random changes of texts that share long stretches, some of them with themselves.
void TestUndoRing::givesWhatWasRecorded()
{
    quint32 seed = 7;
    const auto random = [&seed](qsizetype below) {
        seed = seed * 1664525 + 1013904223;
        return qsizetype(seed >> 8) % below;
    };
    UndoRing ring;
    std::vector<Snapshot> recorded;
    QString text;
    for (int step = 0; step < 1000; ++step) {
        const qsizetype at = random(text.size() + 1);
        const auto choice = random(8);
        if (choice == 0 && text.size() > 20000)
            text.remove(at, 15000);
        else if (choice == 1)
            text.insert(at, QString(9000, u'x'));
        else
            text.replace(at, random(10), QString(random(9), u'y'));
        recorded.push_back({text, at});
        ring.record(recorded.back());
        if (step % 100 != 99)
            continue;
        for (size_t back = 2; back <= 100; ++back)
            QCOMPARE(ring.undo(), recorded[recorded.size() - back]);
        for (size_t back = 99; back > 0; --back)
            QCOMPARE(ring.redo(), recorded[recorded.size() - back]);
    }
}

void TestUndoRing::sharesWhatDidNotChange()
{
    constexpr int million = 1000 * 1000;
    QString text;
    for (int line = 0; text.size() < million; ++line) // no two lines are the same
        text += u"%1 and some more words\n"_s.arg(line);
    UndoRing ring;
    for (int i = 0; i < UndoRing::size; ++i) {
        text.insert((i * 7919 * 13) % million, u'x');
        ring.record({text, 0});
    }
    // A hundred copies would be a hundred million characters of two bytes.
    QVERIFY2(ring.storedBytes() < 5 * million, qPrintable(QString::number(ring.storedBytes())));
}

/// Typing on and on is what people do most.
void TestUndoRing::sharesWhatIsTyped()
{
    QString text;
    UndoRing ring;
    for (int i = 0; i < 20'000; ++i) {
        text += u'x';
        ring.record({text, text.size()});
    }
    // Plain copies would take four million.
    QVERIFY2(ring.storedBytes() < 1'000'000, qPrintable(QString::number(ring.storedBytes())));
}

QTEST_GUILESS_MAIN(TestUndoRing)
#include "tst_undoring.moc"

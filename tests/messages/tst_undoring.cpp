#include "undoring.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestUndoRing final : public QObject
{
    Q_OBJECT

private slots:
    void anotherChangeMakesAnotherFuture()
    {
        UndoRing ring;
        QVERIFY(!ring.redo());
        QCOMPARE(ring.undo(), Snapshot());
        for (const auto &text : {u"1"_s, u"2"_s, u"3"_s})
            ring.record({text, 0});
        ring.undo();
        ring.undo();
        ring.record({u"other"_s, 0});
        QVERIFY(!ring.redo());
        QCOMPARE(ring.undo().text, u"1"_s);
        // What was overtaken is the oldest now.
        for (int i = 0; i < 97; ++i)
            QCOMPARE(ring.undo().text, QString());
        QCOMPARE(ring.undo().text, u"3"_s);
    }

    /// 99 steps, whatever is changed: random changes of texts that share long stretches, some of
    /// them with themselves.
    void givesWhatWasRecorded()
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
            for (size_t back : {2, 100}) // there, and no further
                for (size_t i = back; i <= 100; ++i)
                    QCOMPARE(ring.undo(), recorded[recorded.size() - i]);
            for (size_t back = 99; back > 0; --back)
                QCOMPARE(ring.redo(), recorded[recorded.size() - back]);
            QCOMPARE(ring.redo(), recorded.back());
        }
    }

    /// A hundred copies of a million characters would be two hundred million bytes.
    void sharesWhatDidNotChange()
    {
        QString text;
        UndoRing ring;
        for (int i = 0; i < 20000; ++i) { // typing on and on is what people do most
            text += u'x';
            ring.record({text, 0});
        }
        for (int line = 0; text.size() < 1'000'000; ++line)
            text += u"%1 and some more words\n"_s.arg(line);
        for (int i = 0; i < UndoRing::size; ++i)
            ring.record({text.insert((i * 102947) % 1'000'000, u'x'), 0});
        QVERIFY2(ring.storedBytes() < 5'000'000, qPrintable(QString::number(ring.storedBytes())));
    }
};

QTEST_GUILESS_MAIN(TestUndoRing)
#include "tst_undoring.moc"

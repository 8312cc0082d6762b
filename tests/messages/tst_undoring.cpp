#include "undoring.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

class TestUndoRing final : public QObject
{
    Q_OBJECT

private slots:
    void anotherChangeMakesAnotherFuture()
    {
        UndoRing ring;
        QCOMPARE(ring.undo(), Snapshot());
        for (const auto &text : {u"1"_s, u"2"_s, u"3"_s})
            ring.record({text, 0});
        ring.undo();
        ring.undo();
        ring.record({u"other"_s, 0});
        QVERIFY(!ring.redo());
        QCOMPARE(ring.undo().text, u"1"_s);
    }

    /// 99 steps, whatever is changed: random changes of texts that share long stretches, some of
    /// them with themselves.
    void givesWhatWasRecorded()
    {
        QRandomGenerator random(7);
        UndoRing ring;
        std::vector<Snapshot> recorded;
        QString text;
        for (int step = 0; step < 1000; ++step) {
            const qsizetype at = random.bounded(text.size() + 1);
            const int choice = random.bounded(8);
            if (choice == 0 && text.size() > 20000)
                text.remove(at, 15000);
            else if (choice == 1)
                text.insert(at, QString(9000, u'x'));
            else
                text.replace(at, random.bounded(10), QString(random.bounded(9), u'y'));
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
};

QTEST_GUILESS_MAIN(TestUndoRing)
#include "tst_undoring.moc"

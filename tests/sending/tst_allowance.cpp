#include "clock.h"
#include "sendallowance.h"
#include "storageerror.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

/// Moves only by hand.
struct HandClock final : Clock {
    QDateTime now() const override { return time; }
    void wait(std::chrono::milliseconds, Yield &) override {}
    void pass(qint64 seconds) { time = time.addSecs(seconds); }
    QDateTime time = QDateTime({2026, 11, 16}, {14, 0});
};

/// A program of one account, which sends as fast as it may.
struct Sender {
    explicit Sender(const HandClock &clock, const SendLimits &limits, const char *host = "mail:587",
                    const char *user = "me")
        : allowance(std::make_unique<SendAllowance>(QLatin1String(host), QLatin1String(user),
                                                    limits, clock))
    {
    }
    int send(int most = 1000)
    {
        int count = 0;
        while (count < most && allowance->has(1)) {
            allowance->spend();
            ++count;
        }
        return count;
    }
    std::unique_ptr<SendAllowance> allowance;
};

} // namespace

class TestAllowance final : public QObject
{
    Q_OBJECT

private slots:
    /// However the messages come, no span holds more than the limits.
    void everySpanHoldsTheLimits()
    {
        const TestFolder folder;
        HandClock clock;
        const SendLimits limits{30, 100, 150};
        Sender senders[] = {Sender(clock, limits, "mail:587"), Sender(clock, limits, "MAIL:587")};
        std::map<QDateTime, int> sent;
        int total = 0;
        for (int i = 0; i < 60 * 60 * 25 / 29; ++i, clock.pass(29)) {
            const int now = senders[i % 2].send(1 + i % 25);
            sent[clock.time] += now;
            total += now;
            for (const auto &[seconds, most] : {std::pair(60, 30), {3600, 100}, {86400, 150}}) {
                int inside = 0;
                for (auto at = sent.upper_bound(clock.time.addSecs(-seconds)); at != sent.end();
                     ++at)
                    inside += at->second;
                if (inside > most)
                    QCOMPARE(inside, most);
            }
            if (i % 50 == 0)
                std::erase_if(sent,
                              [&](const auto &e) { return e.first < clock.time.addDays(-1); });
        }
        // And what they allow is used: 150 in the first day, and as the second begins again.
        QVERIFY2(total >= 200, qPrintable(QString::number(total)));
    }

    void whatIsNotUsedGoesBack()
    {
        const TestFolder folder;
        HandClock clock;
        {
            Sender first(clock, {0, 0, 10});
            QCOMPARE(first.send(3), 3);
            clock.pass(10); // it is slow, and takes no more than it asks for
            QVERIFY(first.allowance->has(5));
            // Fewer than wanted are still held.
            QVERIFY(!first.allowance->has(8));
            QCOMPARE(Sender(clock, {0, 0, 10}).send(), 2);
            QCOMPARE(first.send(1), 1);
        }
        QCOMPARE(Sender(clock, {0, 0, 10}).send(), 4);
        QCOMPARE(Sender(clock, {0, 0, 10}, "mail:587", "other").send(), 10);
        // A block that is taken counts, whatever becomes of its program.
        Sender killed(clock, {0, 0, 10}, "mail:587", "killed");
        QVERIFY(killed.allowance->has(4));
        QCOMPARE(Sender(clock, {0, 0, 10}, "mail:587", "killed").send(), 6);
    }

    void aClockSetBackFreesNothing()
    {
        const TestFolder folder;
        HandClock clock;
        Sender sender(clock, {30, 0, 0});
        QCOMPARE(sender.send(), 30);
        clock.pass(-3600);
        QCOMPARE(sender.send(), 0);
        QCOMPARE(Sender(clock, {30, 0, 0}).send(), 0);
        // Nor does it keep anybody waiting for the hour.
        QVERIFY(clock.time.secsTo(sender.allowance->freeAt()) <= 62);
        clock.pass(63);
        QCOMPARE(sender.send(), 30);
    }

    void aDamagedRecordStops()
    {
        const TestFolder folder;
        HandClock clock;
        Sender(clock, {0, 0, 10}).send(3);
        const QDir state(folder.file("state/Quillbright"));
        const QStringList files = state.entryList({u"sent-*"_s}, QDir::Files);
        for (const char *content :
             {"", "nonsense\n", "messages sent, and when (ms since 1970)\n1 2"})
            for (const QString &name : files) {
                writeFile(state.filePath(name), content);
                Sender sender(clock, {0, 0, 10});
                if (!name.endsWith(u".lock"_s))
                    QVERIFY_EXCEPTION_THROWN(sender.send(), StorageError);
            }
    }
};

QTEST_GUILESS_MAIN(TestAllowance)
#include "tst_allowance.moc"

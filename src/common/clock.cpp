#include "clock.h"

#include "yield.h"

#include <thread>

QDateTime SystemClock::now() const
{
    return QDateTime::currentDateTime();
}

void SystemClock::wait(std::chrono::milliseconds duration, Yield &yield)
{
    using Steady = std::chrono::steady_clock;
    // Short enough that a window repaints without a visible delay.
    constexpr std::chrono::milliseconds slice{10};
    const auto end = Steady::now() + duration;
    for (auto left = Steady::duration(duration); left.count() > 0; left = end - Steady::now()) {
        yield.yield();
        std::this_thread::sleep_for(std::min<Steady::duration>(left, slice));
    }
    yield.yield();
}

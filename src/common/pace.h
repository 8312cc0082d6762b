#pragma once

#include "yield.h"

#include <chrono>
#include <utility>

/// Says when it is time again for what is to be done now and then in a loop, such as painting
/// counters: the first time at once, then once in an interval. The time that it takes itself does
/// not count, so that slow painting does not eat up the time of the work.
class Interval
{
public:
    /// Often enough to look smooth, and seldom enough to leave the time to the work. Zero: always.
    static constexpr std::chrono::milliseconds frame{16};

    explicit Interval(std::chrono::milliseconds interval)
        : m_interval(interval)
    {
    }

    bool isDue()
    {
        const auto now = std::chrono::steady_clock::now();
        if (std::exchange(m_wasDue, false))
            m_next = now + m_interval;
        m_wasDue = now >= m_next;
        return m_wasDue;
    }

private:
    std::chrono::milliseconds m_interval;
    std::chrono::steady_clock::time_point m_next;
    bool m_wasDue = false;
};

/// Lets the window live during long work: yields at first, and whenever it was at work for a frame.
class Pace
{
public:
    using Clock = std::chrono::steady_clock;

    explicit Pace(Yield &yield)
        : m_yield(yield)
    {
    }

    /// Cheap enough for every step of the work.
    void step()
    {
        if (m_interval.isDue())
            m_yield.yield();
    }

private:
    Yield &m_yield;
    Interval m_interval{Interval::frame};
};

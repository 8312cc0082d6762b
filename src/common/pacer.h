#pragma once

#include <chrono>

/// Says when it is time again for what is to be done now and then in a loop, such as painting
/// counters: the first time at once, then once in an interval.
class Pacer
{
public:
    /// Often enough to look smooth, and seldom enough to leave the time to the work. Zero: always.
    static constexpr std::chrono::milliseconds frame{16};

    explicit Pacer(std::chrono::milliseconds interval)
        : m_interval(interval)
    {
    }

    bool isDue()
    {
        const auto now = std::chrono::steady_clock::now();
        if (now < m_next)
            return false;
        m_next = now + m_interval;
        return true;
    }

private:
    std::chrono::milliseconds m_interval;
    std::chrono::steady_clock::time_point m_next;
};

#pragma once

#include <chrono>
#include <optional>

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
        if (m_last && now - *m_last < m_interval)
            return false;
        m_last = now;
        return true;
    }

private:
    std::chrono::milliseconds m_interval;
    std::optional<std::chrono::steady_clock::time_point> m_last;
};

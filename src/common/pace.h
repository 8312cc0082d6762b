#pragma once

#include "yield.h"

#include <chrono>

/// Lets the window live during long work: yields whenever a frame's time has passed.
class Pace
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds slice{16};

    explicit Pace(Yield &yield)
        : m_yield(yield)
    {
    }

    /// Cheap enough for every step of the work.
    void step()
    {
        if (Clock::now() - m_last < slice)
            return;
        m_yield.yield();
        m_last = Clock::now();
    }

private:
    Yield &m_yield;
    Clock::time_point m_last = Clock::now();
};

#pragma once

#include "pacer.h"
#include "yield.h"

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
        if (m_pacer.isDue())
            m_yield.yield();
    }

private:
    Yield &m_yield;
    Pacer m_pacer{Pacer::frame};
};

#pragma once

#include <QDateTime>

#include <chrono>

class Yield;

/// The time, as an operation sees it.
class Clock
{
public:
    virtual ~Clock() = default;
    /// The present moment in local time.
    virtual QDateTime now() const = 0;
    /// Returns after `duration`, measured on a clock that neither jumps nor wraps, and lets window
    /// events run meanwhile.
    virtual void wait(std::chrono::milliseconds duration, Yield &yield) = 0;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override;
    void wait(std::chrono::milliseconds duration, Yield &yield) override;
};

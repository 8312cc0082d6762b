#pragma once

/// Lets what waits in the window's event queue run, between two steps of a long operation.
///
/// Long loops call it after each record, and the transport while it waits on a socket; nowhere
/// else does the program pump events. What runs inside may set flags (a stop request) but never
/// starts another long operation.
class Yield
{
public:
    virtual ~Yield() = default;
    virtual void yield() = 0;
};

/// Pumps the event queue of the running QCoreApplication.
class EventLoopYield final : public Yield
{
public:
    void yield() override;
};

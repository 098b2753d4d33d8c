#pragma once
// The Host port: time and the message loop, as the procedures see them.
//
// Procedures are synchronous and run on the one user-interface thread. They
// wait in two ways, and the difference matters:
//  - delayMilliseconds() does NOT let window messages run: no socket event,
//    no timer tick and no click reaches the program while it lasts;
//  - waitUntil() and pumpMessages() DO let them run.
// The real host sleeps during a delay instead of spinning; the virtual clock
// of the tests advances time instantly.
#include <cstdint>
#include <functional>
#include <memory>

namespace lp {

// A window timer (a timer control): its ticks are messages, so they
// run only while messages run, and a tick that falls due during a delay is
// delivered once, afterwards.
class HostTimer {
public:
    virtual ~HostTimer() = default;
    virtual void setInterval(int32_t ms) = 0;
    virtual int32_t interval() const = 0;
    // Enabling (re)starts the interval; disabling drops a pending tick.
    virtual void setEnabled(bool enabled) = 0;
    virtual bool enabled() const = 0;
};

class Host {
public:
    virtual ~Host() = default;

    // Milliseconds since an arbitrary fixed start, as a 32-bit signed count
    // (GetTickCount kept in a signed 32-bit variable).
    virtual int32_t tickCount() = 0;

    // Seconds since local midnight, with fractions (the platform's Timer).
    virtual double secondsSinceMidnight() = 0;

    // Passes the time without letting window messages run.
    virtual void sleepMilliseconds(int32_t ms) = 0;

    // Handles every message already queued, then returns.
    virtual void pumpMessages() = 0;

    // Lets messages run until condition() holds or timeoutMs have passed.
    // Returns the last value of condition(). The condition is checked before
    // the first wait, so an already-true condition costs nothing.
    virtual bool waitUntil(const std::function<bool()>& condition, int32_t timeoutMs) = 0;

    // A timer that calls onTick on every tick; created disabled. The timer
    // must not outlive the host.
    virtual std::unique_ptr<HostTimer> createTimer(std::function<void()> onTick) = 0;
};

} // namespace lp

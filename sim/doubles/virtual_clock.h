#pragma once
// A Host on virtual time. Two kinds of events share one time line:
//  - device events (Scheduler::at): the adapter models' doings, which happen
//    as time passes whatever the program does, delays included;
//  - messages (postMessage, timers): socket events, timer ticks, clicks, which
//    run only while the program lets messages run (pumpMessages, waitUntil,
//    runFor).
// Delays and waits cost no real time; events run in time order, ties in the
// order they were scheduled.
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "ports/host.h"
#include "models/scheduler.h"

namespace lp::sim {

class VirtualClock final : public Host, public Scheduler {
public:
    VirtualClock() = default;

    // Host
    int32_t tickCount() override;
    double secondsSinceMidnight() override;
    void sleepMilliseconds(int32_t ms) override;
    void pumpMessages() override;
    bool waitUntil(const std::function<bool()>& condition, int32_t timeoutMs) override;
    std::unique_ptr<HostTimer> createTimer(std::function<void()> onTick) override;

    // Scheduler (device events)
    int64_t nowUs() const override { return nowUs_; }
    void at(int64_t atUs, std::function<void()> fn) override;

    // Messages: run at or after `delayMs` from now, when messages run.
    void postMessage(std::function<void()> fn, double delayMs = 0);

    // A repeating timer whose ticks are messages (like a window timer: a tick
    // that falls due during a delay runs once, when messages run again).
    int startTimer(int32_t intervalMs, std::function<void()> onTick);
    void stopTimer(int id);
    bool timerActive(int id) const;

    // Lets `ms` pass with messages running, as an idle window does.
    void runFor(double ms);

    // Start values, to test the edges: the tick count's start and the time of
    // day at start (seconds since midnight).
    void setTickCountAtStart(int64_t ticks) { tickStart_ = ticks; }
    void setTimeOfDayAtStart(double seconds) { dayStartSeconds_ = seconds; }

    double nowMs() const { return static_cast<double>(nowUs_) / 1000.0; }
    // Total real-time length of all delays and waits, for assertions on pacing.
    int64_t messagesRun() const { return messagesRun_; }

private:
    struct Event {
        bool isMessage;
        std::function<void()> fn;
    };
    using Key = std::pair<int64_t, uint64_t>; // time, sequence

    // Runs events up to `untilUs` in order; messages too when allowed. Time
    // ends at untilUs.
    void advanceTo(int64_t untilUs, bool runMessages);
    bool runNext(int64_t untilUs, bool runMessages);

    int64_t nowUs_ = 0;
    uint64_t sequence_ = 0;
    std::multimap<Key, Event> events_;

    struct Timer {
        int32_t intervalMs;
        std::function<void()> onTick;
        uint64_t generation;
    };
    std::map<int, Timer> timers_;
    int nextTimerId_ = 1;
    void armTimer(int id);

    int64_t tickStart_ = 1000000;
    double dayStartSeconds_ = 12 * 3600.0;
    int64_t messagesRun_ = 0;
};

} // namespace lp::sim

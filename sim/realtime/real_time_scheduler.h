#pragma once
// A Scheduler in real time, on a thread of its own, for adapter models that
// sit behind real devices (pseudo-terminals, sockets, the test driver
// library). Every event runs on that one thread, so a model needs no locks as
// long as it is touched only from events or through call().
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "models/scheduler.h"

namespace lp::sim {

class RealTimeScheduler final : public Scheduler {
public:
    RealTimeScheduler();
    ~RealTimeScheduler() override;
    RealTimeScheduler(const RealTimeScheduler&) = delete;
    RealTimeScheduler& operator=(const RealTimeScheduler&) = delete;

    // Microseconds since construction, from the monotonic clock. Any thread.
    // Inside an event it is the time the event was due: a thread wakes a
    // little late, and a model that answers "one byte time after the last
    // byte" must count from when that byte was due, or every step of a
    // request-reply chain would add the lateness of its wake-up.
    int64_t nowUs() const override;
    // Any thread. An event scheduled from an event runs after it returns.
    void at(int64_t atUs, std::function<void()> fn) override;

    // Runs fn on the scheduler's thread and waits for it (directly when
    // called from that thread). False when the scheduler has stopped and fn
    // did not run.
    bool call(const std::function<void()>& fn);

    // Ends the thread; events not yet due are dropped. Idempotent.
    void stop();

    bool onSchedulerThread() const { return std::this_thread::get_id() == thread_.get_id(); }

private:
    void run();

    using Key = std::pair<int64_t, uint64_t>; // time, sequence
    const std::chrono::steady_clock::time_point start_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::multimap<Key, std::function<void()>> events_;
    uint64_t sequence_ = 0;
    bool stopping_ = false;
    int64_t runningDueUs_ = -1; // the due time of the event running now; scheduler thread only
    std::thread thread_;
};

} // namespace lp::sim

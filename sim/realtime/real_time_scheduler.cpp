#include "realtime/real_time_scheduler.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <future>

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace lp::sim {

RealTimeScheduler::RealTimeScheduler() : start_(std::chrono::steady_clock::now())
{
    thread_ = std::thread([this] { run(); });
}

RealTimeScheduler::~RealTimeScheduler() { stop(); }

int64_t RealTimeScheduler::nowUs() const
{
    if (onSchedulerThread() && runningDueUs_ >= 0)
        return runningDueUs_;
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start_).count();
}

void RealTimeScheduler::at(int64_t atUs, std::function<void()> fn)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_)
            return;
        events_.emplace(Key{atUs, sequence_++}, std::move(fn));
    }
    wake_.notify_one();
}

bool RealTimeScheduler::call(const std::function<void()>& fn)
{
    if (onSchedulerThread()) {
        fn();
        return true;
    }
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> finished = done->get_future();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_)
            return false;
        events_.emplace(Key{nowUs(), sequence_++}, [&fn, done] {
            fn();
            done->set_value();
        });
    }
    wake_.notify_one();
    // The promise is dropped unfulfilled when stop() discards the event.
    try {
        finished.get();
        return true;
    } catch (const std::future_error&) {
        return false;
    }
}

void RealTimeScheduler::stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable() && !onSchedulerThread())
        thread_.join();
    std::multimap<Key, std::function<void()>> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        dropped.swap(events_);
    }
}

void RealTimeScheduler::run()
{
#ifdef __linux__
    // Wire times of single bytes are tens of microseconds; the default
    // 50 us slack of a sleeping thread would be a byte time late each wake.
    prctl(PR_SET_TIMERSLACK, 1UL, 0, 0, 0);
#endif
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        if (events_.empty()) {
            wake_.wait(lock);
            continue;
        }
        auto first = events_.begin();
        int64_t due = first->first.first;
        int64_t now = nowUs();
        if (due > now) {
            wake_.wait_for(lock, std::chrono::microseconds(due - now));
            continue;
        }
        std::function<void()> fn = std::move(first->second);
        events_.erase(first);
        lock.unlock();
        runningDueUs_ = due;
        try {
            fn();
        } catch (const std::exception& e) {
            // A model that throws must not take the whole test program down.
            std::fprintf(stderr, "RealTimeScheduler: event threw: %s\n", e.what());
        } catch (...) {
            std::fprintf(stderr, "RealTimeScheduler: event threw\n");
        }
        runningDueUs_ = -1;
        lock.lock();
    }
}

} // namespace lp::sim

#pragma once
// Ctrl-C (SIGINT), SIGTERM and SIGHUP as a call on a thread of its own, so
// that a program running simulated adapters ends through its normal path and
// the session removes what it made. Construct it before any other thread
// starts: the signals are blocked in the constructing thread and so in every
// thread started later. A second signal ends the process at once, for a
// program that does not stop.
#include <atomic>
#include <functional>
#include <thread>

namespace lp::sim {

class StopSignals {
public:
    explicit StopSignals(std::function<void(int signal)> onStop);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    std::function<void(int)> onStop_;
    std::atomic<bool> closing_{false};
    std::thread thread_;
};

} // namespace lp::sim

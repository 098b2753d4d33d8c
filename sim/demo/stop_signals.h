#pragma once
// Ctrl-C (SIGINT), SIGTERM and SIGHUP as a call on a thread of its own, so
// that a program running simulated adapters ends through its normal path and
// the session removes what it made. Construct it before any other thread
// starts: the signals are blocked in the constructing thread and so in every
// thread started later.
//
// A signal that comes before the program can act on it (while the adapters
// start, before the event loop runs) is not lost: stopAsked() keeps it for
// the program to look at when it can. A second signal is for a program that
// does not stop: it runs the forced clean-up (bounded by a 2 s alarm) and
// ends the process at once.
#include <signal.h>

#include <atomic>
#include <functional>
#include <thread>

namespace lp::sim {

// Blocks SIGINT, SIGTERM and SIGHUP in this thread, and so in every thread
// started later, which leaves them to sigwait() on the returned set.
sigset_t blockStopSignals();

class StopSignals {
public:
    explicit StopSignals(std::function<void(int signal)> onStop, std::function<void()> onForcedStop = {});
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // The first stop signal, 0 while none came.
    int stopAsked() const { return signal_.load(); }

private:
    std::function<void(int)> onStop_;
    std::function<void()> onForcedStop_;
    std::atomic<bool> closing_{false};
    std::atomic<int> signal_{0};
    std::thread thread_;
};

} // namespace lp::sim

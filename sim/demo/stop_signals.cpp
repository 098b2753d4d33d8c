#include "demo/stop_signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace lp::sim {

namespace {

sigset_t stopSet()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

} // namespace

StopSignals::StopSignals(std::function<void(int)> onStop) : onStop_(std::move(onStop))
{
    sigset_t set = stopSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    thread_ = std::thread([this, set] {
        bool stopAsked = false;
        for (;;) {
            int signal = 0;
            if (sigwait(&set, &signal) != 0)
                continue;
            if (closing_.load())
                return;
            if (stopAsked)
                ::_exit(128 + signal);
            stopAsked = true;
            if (onStop_)
                onStop_(signal);
        }
    });
}

StopSignals::~StopSignals()
{
    closing_.store(true);
    pthread_kill(thread_.native_handle(), SIGTERM);
    thread_.join();
}

} // namespace lp::sim

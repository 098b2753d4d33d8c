#include "demo/stop_signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace lp::sim {

sigset_t blockStopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

StopSignals::StopSignals(std::function<void(int)> onStop, std::function<void()> onForcedStop)
    : onStop_(std::move(onStop)), onForcedStop_(std::move(onForcedStop))
{
    sigset_t set = blockStopSignals();
    thread_ = std::thread([this, set] {
        bool stopAsked = false;
        for (;;) {
            int signal = 0;
            if (sigwait(&set, &signal) != 0)
                continue;
            if (closing_.load())
                return;
            if (stopAsked) {
                // The clean-up must not keep a stuck program alive: the
                // alarm's default action ends it.
                ::alarm(2);
                if (onForcedStop_)
                    onForcedStop_();
                ::_exit(128 + signal);
            }
            stopAsked = true;
            signal_.store(signal);
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

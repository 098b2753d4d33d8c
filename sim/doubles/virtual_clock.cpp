#include "doubles/virtual_clock.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace lp::sim {

namespace {
// A test that keeps scheduling work at one instant would otherwise never end.
constexpr int64_t kMaxEventsPerCall = 50'000'000;
} // namespace

int32_t VirtualClock::tickCount()
{
    int64_t ticks = tickStart_ + nowUs_ / 1000;
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(ticks)));
}

double VirtualClock::secondsSinceMidnight()
{
    return std::fmod(dayStartSeconds_ + static_cast<double>(nowUs_) / 1e6, 86400.0);
}

void VirtualClock::at(int64_t atUs, std::function<void()> fn)
{
    if (atUs < nowUs_)
        atUs = nowUs_;
    events_.emplace(Key{atUs, sequence_++}, Event{false, std::move(fn)});
}

void VirtualClock::postMessage(std::function<void()> fn, double delayMs)
{
    int64_t atUs = nowUs_ + static_cast<int64_t>(std::llround(delayMs * 1000.0));
    events_.emplace(Key{atUs, sequence_++}, Event{true, std::move(fn)});
}

bool VirtualClock::runNext(int64_t untilUs, bool runMessages)
{
    for (auto it = events_.begin(); it != events_.end(); ++it) {
        if (it->first.first > untilUs)
            return false;
        if (it->second.isMessage && !runMessages)
            continue;
        if (it->first.first > nowUs_)
            nowUs_ = it->first.first;
        auto fn = std::move(it->second.fn);
        bool isMessage = it->second.isMessage;
        events_.erase(it);
        if (isMessage)
            ++messagesRun_;
        fn();
        return true;
    }
    return false;
}

void VirtualClock::advanceTo(int64_t untilUs, bool runMessages)
{
    int64_t guard = 0;
    while (runNext(untilUs, runMessages)) {
        if (++guard > kMaxEventsPerCall) {
            std::fprintf(stderr, "VirtualClock: runaway events at %lld us\n", static_cast<long long>(nowUs_));
            std::abort();
        }
    }
    if (untilUs > nowUs_)
        nowUs_ = untilUs;
}

void VirtualClock::sleepMilliseconds(int32_t ms)
{
    advanceTo(nowUs_ + static_cast<int64_t>(ms > 0 ? ms : 0) * 1000, false);
}

void VirtualClock::pumpMessages() { advanceTo(nowUs_, true); }

bool VirtualClock::waitUntil(const std::function<bool()>& condition, int32_t timeoutMs)
{
    const int64_t deadline = nowUs_ + static_cast<int64_t>(timeoutMs > 0 ? timeoutMs : 0) * 1000;
    pumpMessages();
    int64_t guard = 0;
    while (!condition()) {
        if (!runNext(deadline, true)) {
            nowUs_ = deadline;
            pumpMessages();
            return condition();
        }
        if (++guard > kMaxEventsPerCall) {
            std::fprintf(stderr, "VirtualClock: runaway wait at %lld us\n", static_cast<long long>(nowUs_));
            std::abort();
        }
    }
    return true;
}

void VirtualClock::runFor(double ms)
{
    advanceTo(nowUs_ + static_cast<int64_t>(std::llround(ms * 1000.0)), true);
}

int VirtualClock::startTimer(int32_t intervalMs, std::function<void()> onTick)
{
    int id = nextTimerId_++;
    timers_[id] = Timer{intervalMs > 0 ? intervalMs : 1, std::move(onTick), 0};
    armTimer(id);
    return id;
}

void VirtualClock::armTimer(int id)
{
    auto it = timers_.find(id);
    if (it == timers_.end())
        return;
    uint64_t generation = ++it->second.generation;
    postMessage(
        [this, id, generation] {
            auto t = timers_.find(id);
            if (t == timers_.end() || t->second.generation != generation)
                return; // stopped or restarted meanwhile
            armTimer(id);
            auto onTick = t->second.onTick; // the tick may stop its own timer
            onTick();
        },
        it->second.intervalMs);
}

void VirtualClock::stopTimer(int id) { timers_.erase(id); }

bool VirtualClock::timerActive(int id) const { return timers_.count(id) != 0; }

namespace {

class VirtualTimer final : public HostTimer {
public:
    VirtualTimer(VirtualClock& clock, std::function<void()> onTick) : clock_(clock), onTick_(std::move(onTick)) {}
    ~VirtualTimer() override { setEnabled(false); }
    void setInterval(int32_t ms) override
    {
        interval_ = ms;
        if (enabled_)
            restart();
    }
    int32_t interval() const override { return interval_; }
    void setEnabled(bool enabled) override
    {
        enabled_ = enabled;
        if (enabled)
            restart();
        else if (id_) {
            clock_.stopTimer(id_);
            id_ = 0;
        }
    }
    bool enabled() const override { return enabled_; }

private:
    void restart()
    {
        if (id_)
            clock_.stopTimer(id_);
        // An enabled timer with interval 0 stays enabled but never ticks, as
        // a window timer does.
        id_ = interval_ > 0 ? clock_.startTimer(interval_, onTick_) : 0;
    }
    VirtualClock& clock_;
    std::function<void()> onTick_;
    int32_t interval_ = 0;
    bool enabled_ = false;
    int id_ = 0;
};

} // namespace

std::unique_ptr<HostTimer> VirtualClock::createTimer(std::function<void()> onTick)
{
    return std::make_unique<VirtualTimer>(*this, std::move(onTick));
}

} // namespace lp::sim

#pragma once
// What an adapter model needs of time: the current time and a way to have
// something happen later. The virtual clock provides it in tests; the
// simulator program provides it in real time.
#include <cstdint>
#include <functional>

namespace lp::sim {

class Scheduler {
public:
    virtual ~Scheduler() = default;
    // Microseconds since the scheduler started.
    virtual int64_t nowUs() const = 0;
    // Runs fn once time reaches atUs (at once when atUs is not in the future,
    // but never inside the call that schedules it).
    virtual void at(int64_t atUs, std::function<void()> fn) = 0;
    void after(int64_t delayUs, std::function<void()> fn) { at(nowUs() + delayUs, std::move(fn)); }
};

} // namespace lp::sim

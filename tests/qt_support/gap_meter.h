#pragma once
// Notes the longest time the event loop went without a turn: a bare QTimer
// (which a delay does not hold back) ticks every 5 ms and each tick measures
// the stretch since the one before. A window that misses its turns for a
// quarter of a second feels frozen.
#include <QTimer>

#include <algorithm>
#include <chrono>

namespace lp::test {

class GapMeter {
public:
    GapMeter()
    {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] { turn(); });
        last_ = Clock::now();
        timer_.start(5);
    }
    // The stretch since the last turn counts too.
    double longestMs()
    {
        turn();
        return longest_;
    }

private:
    using Clock = std::chrono::steady_clock;
    void turn()
    {
        const auto now = Clock::now();
        longest_ = std::max(longest_, std::chrono::duration<double, std::milli>(now - last_).count());
        last_ = now;
    }
    QTimer timer_;
    Clock::time_point last_;
    double longest_ = 0;
};

} // namespace lp::test

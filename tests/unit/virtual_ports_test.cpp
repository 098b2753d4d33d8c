// The virtual clock stands in for the real host in every procedure test, so
// its timers keep the real host's rule (qt_host_test.cpp): ticks held during
// a delay come as one afterwards, and a timer disabled or destroyed meanwhile
// drops its held tick. The clock's delays, waits and wraps are checked
// through the procedures that use them (mod_library_test.cpp, the links'
// tick-count overflows, the flashes' midnight cases), the virtual serial
// line's wire time and rates through the adapter models (lp2_model_test.cpp,
// compact_link_test.cpp).
#include <gtest/gtest.h>

#include <memory>

#include "doubles/virtual_clock.h"

using namespace lp;
using namespace lp::sim;

TEST(VirtualClock, TimerTicksHeldDuringADelayComeOnceAsOnTheRealHost)
{
    VirtualClock clock;
    int ticks = 0;
    std::unique_ptr<HostTimer> timer = clock.createTimer([&] { ++ticks; });
    timer->setInterval(100);
    timer->setEnabled(true);
    clock.sleepMilliseconds(1000); // ten intervals, but no messages ran
    clock.pumpMessages();
    EXPECT_EQ(ticks, 1);
    clock.runFor(250);
    EXPECT_EQ(ticks, 3);

    clock.sleepMilliseconds(150);
    timer->setEnabled(false);
    clock.pumpMessages();
    timer->setEnabled(true);
    clock.sleepMilliseconds(150);
    timer.reset();
    clock.runFor(300);
    EXPECT_EQ(ticks, 3);

    // A tick may stop its own timer, as the flashes' timers do.
    std::unique_ptr<HostTimer> once = clock.createTimer([&] { ++ticks, once->setEnabled(false); });
    once->setInterval(10);
    once->setEnabled(true);
    clock.runFor(100);
    EXPECT_EQ(ticks, 4);
    EXPECT_FALSE(once->enabled());
}

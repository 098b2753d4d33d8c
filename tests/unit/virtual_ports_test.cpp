// The virtual clock and serial line are what every procedure test stands on:
// if they reorder events or lose wire time, those tests prove nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/virtual_clock.h"
#include "doubles/virtual_serial.h"

using namespace lp;
using namespace lp::sim;

TEST(VirtualClock, DelaysRunDeviceEventsButNotMessages)
{
    VirtualClock clock;
    std::vector<std::string> seen;
    clock.after(5000, [&] { seen.push_back("device@5"); });
    clock.postMessage([&] { seen.push_back("message@2"); }, 2);
    clock.sleepMilliseconds(10);
    EXPECT_EQ(seen, std::vector<std::string>{"device@5"});
    EXPECT_DOUBLE_EQ(clock.nowMs(), 10);
    clock.pumpMessages();
    EXPECT_EQ(seen, (std::vector<std::string>{"device@5", "message@2"}));
}

TEST(VirtualClock, WaitEndsOnConditionOrDeadline)
{
    VirtualClock clock;
    bool flag = false;
    clock.postMessage([&] { flag = true; }, 300);
    EXPECT_TRUE(clock.waitUntil([&] { return flag; }, 1000));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 300);
    EXPECT_FALSE(clock.waitUntil([] { return false; }, 1670));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 1970);
    // An already-true condition costs no time.
    EXPECT_TRUE(clock.waitUntil([] { return true; }, 5000));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 1970);
}

TEST(VirtualClock, TimerTicksCoalesceDuringDelaysAndStopFromInside)
{
    VirtualClock clock;
    int ticks = 0;
    int id = clock.startTimer(100, [&] { ++ticks; });
    clock.sleepMilliseconds(1000); // ten intervals, but no messages ran
    clock.pumpMessages();
    EXPECT_EQ(ticks, 1);
    clock.runFor(250);
    EXPECT_EQ(ticks, 3);
    int self = 0;
    self = clock.startTimer(10, [&] { clock.stopTimer(self); });
    clock.stopTimer(id);
    clock.runFor(100);
    EXPECT_EQ(ticks, 3);
    EXPECT_FALSE(clock.timerActive(self));
}

TEST(VirtualClock, TickCountWrapsLikeASigned32BitCounter)
{
    VirtualClock clock;
    clock.setTickCountAtStart(2147483647LL - 5);
    clock.sleepMilliseconds(10);
    EXPECT_LT(clock.tickCount(), 0);
    VirtualClock night;
    night.setTimeOfDayAtStart(86399.5);
    night.sleepMilliseconds(1000);
    EXPECT_NEAR(night.secondsSinceMidnight(), 0.5, 1e-9);
}

namespace {
struct Echo : SerialDevice {
    SerialLine* line = nullptr;
    std::vector<std::pair<uint8_t, int>> got;
    void hostOpened(SerialLine& l) override { line = &l; }
    void hostClosed() override { line = nullptr; }
    void received(uint8_t b, int baud) override
    {
        got.emplace_back(b, baud);
        if (line)
            line->deviceSend({static_cast<uint8_t>(b + 1)}, 9600);
    }
};
} // namespace

TEST(VirtualSerial, BytesTakeWireTimeAndWrongRatesGarble)
{
    VirtualClock clock;
    VirtualSerialPorts ports(clock);
    Echo echo;
    ports.addPort(3, &echo);
    auto port = ports.create();
    ASSERT_TRUE(port->setCommPort(3));
    ASSERT_TRUE(port->setSettings("9600,n,8,1"));
    ASSERT_TRUE(port->setPortOpen(true));
    EXPECT_FALSE(port->setCommPort(4)); // refused while open
    port->output({0x10, 0x20});
    // Full duplex: the first echo starts as soon as the first byte is in, so
    // the second echo is complete after three byte times of 1042 us.
    clock.sleepMilliseconds(3);
    EXPECT_EQ(port->inBufferCount(), 1);
    clock.sleepMilliseconds(1);
    EXPECT_EQ(port->input(), (Bytes{0x11, 0x21}));

    ASSERT_TRUE(port->setSettings("57600,n,8,1"));
    port->output({0x10});
    clock.sleepMilliseconds(5);
    EXPECT_EQ(echo.got.back().second, 57600);
    Bytes garbled = port->input();
    ASSERT_EQ(garbled.size(), 1u);
    EXPECT_NE(garbled[0], 0x11);

    auto second = ports.create();
    second->setCommPort(3);
    EXPECT_FALSE(second->setPortOpen(true));
    EXPECT_FALSE(ports.isRs232Present(3));
    port->setPortOpen(false);
    EXPECT_TRUE(ports.isRs232Present(3));
    EXPECT_EQ(VirtualSerialPorts::portOfDeviceName("\\\\.\\COM12"), 12);
    EXPECT_EQ(VirtualSerialPorts::portOfDeviceName("COM0"), 0);
}

// The shared routines sit under every serial exchange: a delay that lets
// messages run, or waits on through the tick count's overflow, changes what
// every link sees.
#include <gtest/gtest.h>

#include <limits>

#include "ports/serial_port.h"
#include "doubles/memory_logger.h"
#include "doubles/virtual_clock.h"
#include "core/delays.h"
#include "settings/modLibrary.h"

using namespace lp;
using namespace lp::sim;

namespace {

// Every port number it is asked about is there: what says no is the caller.
class AllPresentSerialPorts final : public SerialPorts {
public:
    std::unique_ptr<SerialPort> create() override { return nullptr; }
    bool isRs232Present(int32_t) override { return true; }
    bool canOpen(const std::string&) override { return false; }
};

} // namespace

TEST(ModLibrary, DelayWaitsOnTheTickCountWithoutMessagesAndRefusesOverflow)
{
    VirtualClock clock;
    MemoryLogger log;
    Context ctx;
    ctx.ports.host = &clock;
    ctx.ports.log = &log;

    bool messageRan = false;
    clock.postMessage([&] { messageRan = true; }, 100);
    EXPECT_TRUE(DelayMilliseconds(ctx, 1750));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 1750);
    EXPECT_FALSE(messageRan); // a delay is not a wait
    PumpMessages(ctx);
    EXPECT_TRUE(messageRan);
    EXPECT_TRUE(DelayMilliseconds(ctx, 0));
    EXPECT_TRUE(DelayMilliseconds(ctx, -5));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 1750);

    // A deadline of exactly the largest tick count is fine; one more is the
    // tick count overflow: no wait at all, and a line in the log.
    VirtualClock edge;
    edge.setTickCountAtStart(std::numeric_limits<int32_t>::max() - 1000);
    ctx.ports.host = &edge;
    EXPECT_TRUE(DelayMilliseconds(ctx, 1000));
    EXPECT_EQ(edge.tickCount(), std::numeric_limits<int32_t>::max());
    EXPECT_TRUE(DelayMilliseconds(ctx, 0));
    EXPECT_FALSE(DelayMilliseconds(ctx, 1));
    EXPECT_DOUBLE_EQ(edge.nowMs(), 1000);
    EXPECT_TRUE(log.contains(LogSubsystem::Settings, "overflow"));

    // Past the wrap the count is negative: a positive delay works, a negative
    // one that leaves the range overflows.
    edge.sleepMilliseconds(11); // INT32_MIN + 10
    EXPECT_EQ(edge.tickCount(), std::numeric_limits<int32_t>::min() + 10);
    EXPECT_TRUE(DelayMilliseconds(ctx, 30000));
    EXPECT_DOUBLE_EQ(edge.nowMs(), 31011);
    edge.setTickCountAtStart(int64_t{1} << 31); // now INT32_MIN + 31011
    EXPECT_FALSE(DelayMilliseconds(ctx, std::numeric_limits<int16_t>::min()));

    ctx.ports.host = nullptr;
    EXPECT_FALSE(DelayMilliseconds(ctx, 10));
    PumpMessages(ctx); // no host: nothing to do, no crash
}

// (The device flags and the stored kind under the program's own key:
// ShellStartup.EditionComesFromTheSwitchOrTheServiceToolAndDecidesAdapterAndFirstScreen.)
TEST(ModLibrary, SerialProbeRefusesNegativePortsAndAMissingService)
{
    AllPresentSerialPorts ports;
    Context ctx;
    EXPECT_FALSE(IsSerialPortPresent(ctx, 3));
    ctx.ports.serialPorts = &ports;
    EXPECT_TRUE(IsSerialPortPresent(ctx, 3));
    EXPECT_FALSE(IsSerialPortPresent(ctx, -1));
    EXPECT_FALSE(IsSerialPortPresent(ctx, std::numeric_limits<int32_t>::min()));
}

// The shared routines sit under every serial exchange and at start-up: a
// delay that lets messages run, or waits on through the tick count's overflow,
// changes what every link sees; a wrong key hides the stored device kind.
#include <gtest/gtest.h>

#include <limits>

#include "platform/reg_file_store.h"
#include "ports/serial_port.h"
#include "doubles/memory_logger.h"
#include "doubles/recording_screens.h"
#include "doubles/virtual_clock.h"
#include "core/delays.h"
#include "settings/modLibrary.h"
#include "settings/modRegistry.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

namespace {

// Counts what a procedure asks of the host, passing everything on.
class CountingHost final : public Host {
public:
    explicit CountingHost(VirtualClock& clock) : clock_(clock) {}
    int32_t tickCount() override { return ++tickReads, clock_.tickCount(); }
    double secondsSinceMidnight() override { return clock_.secondsSinceMidnight(); }
    void sleepMilliseconds(int32_t ms) override { ++sleeps, clock_.sleepMilliseconds(ms); }
    void pumpMessages() override { ++pumps, clock_.pumpMessages(); }
    bool waitUntil(const std::function<bool()>& c, int32_t ms) override { return ++waits, clock_.waitUntil(c, ms); }
    std::unique_ptr<HostTimer> createTimer(std::function<void()> f) override { return clock_.createTimer(f); }
    int tickReads = 0, sleeps = 0, pumps = 0, waits = 0;

private:
    VirtualClock& clock_;
};

class FakeSerialPorts final : public SerialPorts {
public:
    std::unique_ptr<SerialPort> create() override { return nullptr; }
    bool isRs232Present(int32_t port) override { return ++probes, port == 3; }
    bool canOpen(const std::string&) override { return false; }
    int probes = 0;
};

} // namespace

TEST(ModLibrary, DelayWaitsOnTheTickCountWithoutMessagesAndRefusesOverflow)
{
    VirtualClock clock;
    CountingHost host(clock);
    MemoryLogger log;
    Context ctx;
    ctx.ports.host = &host;
    ctx.ports.log = &log;

    bool messageRan = false;
    clock.postMessage([&] { messageRan = true; }, 100);
    EXPECT_TRUE(DelayMilliseconds(ctx, 1750));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 1750);
    EXPECT_FALSE(messageRan); // a delay is not a wait
    EXPECT_EQ(host.pumps + host.waits, 0);
    PumpMessages(ctx);
    EXPECT_TRUE(messageRan);

    host.tickReads = host.sleeps = 0;
    EXPECT_TRUE(DelayMilliseconds(ctx, 0));
    EXPECT_EQ(host.tickReads, 1);
    EXPECT_TRUE(DelayMilliseconds(ctx, -5));
    EXPECT_EQ(host.sleeps, 0);
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

TEST(ModLibrary, SerialProbeFlagsAndMainWindow)
{
    FakeSerialPorts ports;
    RecordingScreenCalls screens;
    Context ctx;
    EXPECT_FALSE(IsSerialPortPresent(ctx, 3)); // no port service
    ctx.ports.serialPorts = &ports;
    EXPECT_FALSE(IsSerialPortPresent(ctx, -1));
    EXPECT_FALSE(IsSerialPortPresent(ctx, std::numeric_limits<int32_t>::min()));
    EXPECT_EQ(ports.probes, 0);
    EXPECT_FALSE(IsSerialPortPresent(ctx, 0));
    EXPECT_TRUE(IsSerialPortPresent(ctx, 3));
    EXPECT_EQ(ports.probes, 2);

    SetDeviceFlags(ctx, true, false, false);
    EXPECT_TRUE(ctx.g_blnLP2Selected && !ctx.g_blnCGPSelected && !ctx.g_blnWLPSelected);
    SetDeviceFlags(ctx, false, true, false);
    EXPECT_TRUE(!ctx.g_blnLP2Selected && ctx.g_blnCGPSelected && !ctx.g_blnWLPSelected);
    SetDeviceFlags(ctx, false, false, true);
    EXPECT_TRUE(!ctx.g_blnLP2Selected && !ctx.g_blnCGPSelected && ctx.g_blnWLPSelected);
}

TEST(ModLibrary, StoredDeviceKindIsReadUnderTheProgramsOwnKey)
{
    // (ServiceToolInstalled's three cases: ShellStartup.EditionComesFrom...)
    lp::test::TempDir dir;
    RegFileStore registry(dir.file("registry.reg"));
    Context ctx;
    ctx.ports.registry = &registry;
    ctx.g_strRegistryKey = "SOFTWARE\\HVN\\Linkport Toolkit";
    EXPECT_EQ(ReadPrevAdapter(ctx), "");
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, "PrevAdapter", "B&B SIP");
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, "Software\\Tavrel\\SVK\\Tavrel Service Tool", "PrevAdapter", "WLP");
    EXPECT_EQ(ReadPrevAdapter(ctx), "B&B SIP");
}

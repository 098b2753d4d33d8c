// The compact adapter's serial flash against the compact adapter model on
// virtual time.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "adapters/compact/compact_flash.h"
#include "adapters/compact/modCGP.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "support/flash_screens.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

struct CompactFlashTest : ::testing::Test {
    test::TestContext t;
    CompactModel adapter{{.mode = CompactModel::Mode::Loader}};
    test::RecordingCompactScreen screen;
    std::unique_ptr<SerialPort> connection = t.serialPorts.create();
    std::vector<uint8_t> image = pseudoRandomImage(1024);
    std::string path = t.file("app.hex");

    void SetUp() override
    {
        screen.pointer = 11; // the hourglass, which an error puts back to the default
        t.serialPorts.addPort(3, &adapter);
        t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,P1\r\n");
        test::writeFile(path, firmwareFileText(image));
    }
    CompactFlashResult flash() { return RunCompactFlash(t.ctx, *connection, screen, 3, path); }

    // What every end leaves: port closed, counter 0, no dialog, no timer.
    void expectEnded(const CompactFlashResult& r)
    {
        EXPECT_TRUE(r.finished);
        EXPECT_FALSE(connection->portOpen());
        EXPECT_FALSE(screen.dialogVisible);
        EXPECT_FALSE(screen.timerOn);
    }
    // The box is the link's own for the code (its texts: compact_link_test.cpp).
    void expectFailed(const CompactFlashResult& r, int16_t code)
    {
        expectEnded(r);
        EXPECT_FALSE(r.succeeded);
        EXPECT_EQ(r.errorCode, code);
        EXPECT_EQ(t.prompts.prompts(), std::vector<std::string>{CGPErrorText(code)});
        EXPECT_TRUE(screen.exitDialogs.empty());
        EXPECT_TRUE(t.log.contains(LogSubsystem::Flash, "error " + std::to_string(code)));
    }
};

constexpr size_t kRecordWireBytes = 1 + 1 + 2 + 1 + 16 + 1 + 1; // ":", count, address, type, data, check, "#"

} // namespace

TEST_F(CompactFlashTest, LoaderAlreadyRunningFlashesAtWireSpeedOnTimerTicks)
{
    CompactFlash flash(t.ctx, *connection, screen);
    screen.drive(t.clock, flash);

    ASSERT_TRUE(flash.start(3, path));
    EXPECT_TRUE(screen.dialogVisible);
    EXPECT_TRUE(screen.timerOn);
    const double transferStartMs = t.clock.nowMs();
    while (flash.transferring() && t.clock.nowMs() < 60'000)
        t.clock.runFor(50);

    const CompactFlashResult& r = flash.result();
    expectEnded(r);
    EXPECT_TRUE(r.succeeded);
    EXPECT_TRUE(r.loaderWasRunning);
    EXPECT_EQ(r.transferBaud, 57600);
    // (The closing text: fault_injection_test.cpp; the progress it reports:
    // flash_session_test.cpp.)
    // No wake and no switch frame: the loader answered the first burst.
    EXPECT_TRUE(adapter.framesReceived.empty());
    // ":00000001FF" does not pass the end-record test: it went out as data.
    EXPECT_EQ(r.recordsSent, 65);
    EXPECT_EQ(adapter.recordsReceived, 65);
    EXPECT_TRUE(adapter.endRecordReceived);
    EXPECT_EQ(adapter.badRecords, 0); // no tick ever overlapped another
    EXPECT_EQ(adapter.image, imageByAddress(image));
    // Records back to back: the wire sets the pace, not the 1 ms timer.
    const double wireMs = 65 * kRecordWireBytes * 10 * 1000.0 / 57600;
    EXPECT_LT(t.clock.nowMs() - transferStartMs, wireMs * 1.05 + 50);
}

TEST_F(CompactFlashTest, SwitchesTheApplicationToItsLoaderAtTheFlashRate)
{
    // Asleep at the rate "P1" names.
    CompactModel app({.baud = 115200});
    t.serialPorts.addPort(3, &app);
    image = pseudoRandomImage(70'000);
    test::writeFile(path, firmwareFileText(image, 0x8000));

    // (How a switched flash ends, its text and port: fault_injection_test.cpp;
    // the restart into the new version read back: the flash fault table's
    // CompactFlashes.)
    CompactFlashResult r = flash();
    EXPECT_TRUE(r.succeeded) << r.reason;
    EXPECT_FALSE(r.loaderWasRunning);
    EXPECT_EQ(r.transferBaud, 115200);
    ASSERT_EQ(app.framesReceived.size(), 2u); // the wake at its own rate, then the switch
    EXPECT_EQ(app.framesReceived[1], (Bytes{0x5E, 0x02, 0x01, 0x03, 0x9C}));
    EXPECT_EQ(app.image, imageByAddress(image, 0x8000)); // across two 64 KiB blocks
}

// (Every wrong or missing answer and its code: fault_injection_test.cpp.)
TEST_F(CompactFlashTest, ASilentLoaderIsGivenFiveSecondsAndAnUnnamedRateIsNeverSet)
{
    CompactModel app({.baud = 115200});
    t.serialPorts.addPort(3, &app);
    app.setLoaderFaults({.readyAnswer = {}});
    const double before = t.clock.nowMs();
    expectFailed(flash(), 2);
    EXPECT_GE(t.clock.nowMs() - before, 5000 + 1000);

    // A flash rate that "DeviceParams" does not name cannot be set.
    t.prompts.clear();
    t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,N9\r\n");
    app.powerCycle();
    expectFailed(flash(), 5);
    EXPECT_EQ(app.mode(), CompactModel::Mode::Application);
}

// (A "#" 1.8 s late ends the transfer: the fault injection table; 1.5 s late
// passes: here.)
TEST_F(CompactFlashTest, AFlashRunningAcrossMidnight)
{
    // The time-out must be 1.67 s whether or not the day turns in the wait.
    adapter.setLoaderFaults({.silentFromRecord = 20});
    const double noonStart = t.clock.nowMs();
    expectFailed(flash(), 3);
    const double noonMs = t.clock.nowMs() - noonStart;

    t.prompts.clear();
    t.clock.setTimeOfDayAtStart(86400.0 - (t.clock.nowMs() + noonMs - 1000) / 1000.0);
    const double nightStart = t.clock.nowMs();
    expectFailed(flash(), 3);
    EXPECT_NEAR(t.clock.nowMs() - nightStart, noonMs, 5);

    // Slow acknowledgements on both sides of midnight still pass.
    t.prompts.clear();
    adapter.setLoaderFaults({.slowAckMs = 1500});
    t.clock.setTimeOfDayAtStart(86400.0 - t.clock.nowMs() / 1000.0 - 10.0);
    CompactFlashResult r = flash();
    EXPECT_TRUE(r.succeeded) << r.reason;
    EXPECT_TRUE(t.prompts.boxes().empty());
    EXPECT_LT(t.clock.secondsSinceMidnight(), 100.0); // the day did turn
    EXPECT_EQ(adapter.image, imageByAddress(image));
}

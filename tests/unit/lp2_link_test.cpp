// The second-generation adapter link against the adapter and driver models
// on virtual time.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/vb_text.h"
#include "adapters/frames.h"
#include "adapters/lp2/modLP2.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "core/string_table.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

struct Lp2Link : ::testing::Test {
    test::TestContext t;
    Context& ctx = t.ctx;
    Lp2Model adapter;
    Lp2InProcessDriver driver{adapter, &t.serialPorts, 5};
    std::unique_ptr<SerialPort> connection = t.serialPorts.create();
    std::string hardware, application, boot;

    Lp2Link()
    {
        t.serialPorts.addPort(5, &adapter);
        ctx.ports.rp1210 = &driver;
        ini({});
    }
    void ini(Lp2IniOptions options)
    {
        if (options.deviceParams == Lp2IniOptions{}.deviceParams)
            options.deviceParams = "COM5,9600";
        t.writeWindowsFile("LP2RP32.INI", lp2DriverIni(options));
    }
    bool readVersions() { return LP2ReadVersions(ctx, hardware, application, boot); }
    std::string query() { return LP2SerialVersionQuery(ctx, 5, *connection); }
};

// A driver whose RP1210_ReadVersion gives back exactly "1" and "1", as the
// driver of release 1.8-B2 was known to report itself.
class ReportsOneDotOne final : public Rp1210Driver {
public:
    DriverResult clientConnect(intptr_t, int16_t, std::string&, int32_t, int32_t, int16_t) override { return {}; }
    DriverResult clientDisconnect(int16_t) override { return {}; }
    DriverResult sendMessage(int16_t, std::string&, int16_t, int16_t, int16_t) override { return {}; }
    DriverResult readMessage(int16_t, std::string&, int16_t, int16_t) override { return {}; }
    DriverResult sendCommand(int16_t, int16_t, std::string&, int16_t) override { return {}; }
    bool readVersion(std::string& a, std::string& b, std::string&, std::string&) override
    {
        a = "1";
        b = "1";
        return true;
    }
    DriverResult getErrorMsg(int16_t, std::string&) override { return {}; }
    DriverResult getHardwareStatus(int16_t, std::string&, int16_t, int16_t) override { return {}; }
};

} // namespace

// (The three frames of the serial query are judged by the adapter model,
// which answers only whole frames: SerialQueryLeavesAsksAndReturns.)
TEST(Lp2Frames, CheckBytesMakeTheSumZero)
{
    EXPECT_TRUE(frames::sumIsZero(frames::framed({0xFF, 0x01, 0x7F}))); // the sum wraps at 256
    EXPECT_EQ(frames::hexText({0x0A, 0xFF, 0x00}, 2), "0AFF");
}

TEST_F(Lp2Link, DeviceParamsGiveThePort)
{
    EXPECT_EQ(LP2ReadDeviceParamsPort(ctx), "COM5");
    EXPECT_EQ(ctx.g_strLP2Port, "COM5");

    ini({.deviceParams = "COM7"});
    EXPECT_EQ(LP2ReadDeviceParamsPort(ctx), "COM7") << "no comma: the whole value";

    ini({.deviceParams = "LPT1x,57600"});
    EXPECT_EQ(LP2ReadDeviceParamsPort(ctx), "LPT1");
    EXPECT_EQ(ctx.g_strLP2Port, "COM7");

    t.writeWindowsFile("LP2RP32.INI", "[DeviceInformation1]\r\nDeviceID=1\r\n");
    t.screens.mousePointer = 11;
    EXPECT_EQ(LP2ReadDeviceParamsPort(ctx), "");
    EXPECT_EQ(t.screens.selected, std::vector<std::string>{"Preferences"});
    EXPECT_EQ(t.screens.mousePointer, 0);
}

// (A driver error at the connect, its box whole: the fault table.)
TEST_F(Lp2Link, ConnectReportsMissingDriverAndDriverErrors)
{
    EXPECT_EQ(LP2ShowRP1210Error(ctx, "Flash failed.", 4711, 1), 1);
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{"Flash failed.\r\n\r\nError Code # 4711:  \r\nError Code Not Found", 49,
                                               "HVN Linkport II"}}));

    driver.settings().connectErrors.clear();
    EXPECT_TRUE(LP2ConnectSIP(ctx, "SIP"));
    size_t calls = driver.calls.size();
    EXPECT_FALSE(LP2ConnectSIP(ctx, "SIP")) << "a client is already open";
    EXPECT_EQ(driver.calls.size(), calls);

    RP1210Disconnect(ctx);
    t.prompts.clear();
    driver.setLibraryMissing(true);
    EXPECT_FALSE(LP2ConnectSIP(ctx, "SIP"));
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{LoadResString(102), 0, "HVN Linkport Toolkit"}}));
    EXPECT_TRUE(ctx.closeRequested);
}

TEST_F(Lp2Link, VersionsComeFromCommand209)
{
    adapter.config().versions = {3, 1, 2, 4, 255, 255};
    ASSERT_TRUE(readVersions());
    EXPECT_EQ(hardware + " " + application + " " + boot, "3.1 2.4 255.255");
    EXPECT_FALSE(RP1210IsConnected(ctx));
    EXPECT_EQ(driver.core().openClients(), 0u) << "the client is closed again";
    // (Zeros and a silent adapter's blanks, 32.32: the fault table.)

    ini({.deviceParams = "LPT1,57600"});
    size_t calls = driver.calls.size();
    EXPECT_FALSE(readVersions());
    EXPECT_EQ(t.prompts.prompts().back(),
              "Please update your port settings.\r\nLinkport Toolkit only supports serial port communications.");
    EXPECT_EQ(t.prompts.boxes().back().style, 48);
    EXPECT_EQ(driver.calls.size(), calls) << "nothing is sent for a parallel port";
    // (No driver library: the connect's box and close request, ConnectReports...)
}

TEST_F(Lp2Link, FlashStartSendsTheValueAsARecord)
{
    std::vector<std::string> dialog;
    FlashProgressCalls progress{[&] { dialog.push_back("show"); }, [&] { dialog.push_back("unload"); }};
    ASSERT_TRUE(LP2ConnectSIP(ctx, "SIP"));
    EXPECT_TRUE(LP2SendFlashStart(ctx, 0x0102, "C:\\fw.apf", "COM5", progress));
    EXPECT_EQ(adapter.lastFlashValue(), 0x0102);
    EXPECT_EQ(dialog, (std::vector<std::string>{"show", "unload"}));
    EXPECT_EQ(t.screens.pointerChanges, (std::vector<int>{11, 0}));
    // (A refused flash and the client closed after it: the flash screen's tests.)
}

TEST_F(Lp2Link, DriverVersionAndItsOneMapping)
{
    EXPECT_EQ(LP2DriverVersion(ctx), "1.12");
    driver.settings().dllMinor = "1";
    EXPECT_EQ(LP2DriverVersion(ctx), "1.1 ") << "taken as the driver left the two-character buffer";

    ReportsOneDotOne oneDotOne;
    ctx.ports.rp1210 = &oneDotOne;
    EXPECT_EQ(LP2DriverVersion(ctx), "1.8");
    ini({.version = "1.8-B3"});
    EXPECT_EQ(LP2DriverVersion(ctx), "1.1");
    t.writeWindowsFile("LP2RP32.INI", "[VendorInformation]\r\nName=x\r\n");
    EXPECT_EQ(LP2DriverVersion(ctx), "1.1");
}

TEST_F(Lp2Link, SerialQueryLeavesAsksAndReturns)
{
    ASSERT_TRUE(LP2ConnectSIP(ctx, "SIP")); // the driver holds COM5 until the query frees it
    double start = t.clock.nowMs();
    EXPECT_EQ(query(), "01.07.12");
    EXPECT_GE(t.clock.nowMs() - start, 3500.0);
    EXPECT_EQ(ctx.g_strLP2ReplyHex, "5F050D0201071273");
    EXPECT_TRUE(t.log.contains(LogSubsystem::Links, "Exiting RP1210 Mode SUCCESS"));
    EXPECT_TRUE(t.log.contains(LogSubsystem::Links, "Back to RP1210 Mode - SUCCESS"));
    EXPECT_TRUE(adapter.driverMode());
    EXPECT_FALSE(connection->portOpen());
    ASSERT_EQ(adapter.framesReceived().size(), 3u);
    EXPECT_EQ(adapter.framesReceived()[2], LP2ReturnFrame());
}

TEST_F(Lp2Link, SerialQueryFaults)
{
    adapter.config().query = {Lp2ReplyFault::Custom, 0, {0x5F, 0x05, 0x0D, 0x02, 0x01}};
    EXPECT_EQ(query(), "01..") << "a short reply gives short pieces";

    adapter.config().query = {.fault = Lp2ReplyFault::Wrong};
    EXPECT_EQ(query(), "Not Present");
    EXPECT_EQ(vb::Left(ctx.g_strLP2ReplyHex, 8), "5F050D82");

    adapter.config().query = {.fault = Lp2ReplyFault::Silent};
    adapter.config().leave = {.fault = Lp2ReplyFault::Wrong};
    EXPECT_EQ(query(), "Not Present");
    EXPECT_EQ(ctx.g_strLP2ReplyHex, "");
    EXPECT_TRUE(t.log.contains("Exiting RP1210 Mode FAILED"));
    EXPECT_TRUE(adapter.driverMode()) << "the return frame is sent after a failed query too";
    // (An adapter at another rate hears noise: lp2_model_test.cpp.)
}

TEST_F(Lp2Link, SerialQueryGuardEndsWithEmptyTextAndAClosedPort)
{
    EXPECT_EQ(LP2SerialVersionQuery(ctx, 9, *connection), "") << "no such port";
    EXPECT_EQ(LP2SerialVersionQuery(ctx, 0, *connection), "");
    EXPECT_TRUE(t.log.contains("LP2SerialVersionQuery: PortOpen failed on COM9"));

    // A driver that cannot let go keeps the port from the program.
    ASSERT_TRUE(LP2ConnectSIP(ctx, "SIP"));
    driver.setEntryMissing("RP1210_ClientDisconnect");
    EXPECT_EQ(query(), "");
    EXPECT_FALSE(connection->portOpen());
    EXPECT_TRUE(adapter.framesReceived().empty());

    // Opened elsewhere before the query: CommPort is refused while open.
    driver.setEntryMissing("RP1210_ClientDisconnect", false);
    RP1210Disconnect(ctx);
    connection->setCommPort(5);
    ASSERT_TRUE(connection->setPortOpen(true));
    EXPECT_EQ(query(), "");
    EXPECT_FALSE(connection->portOpen());

    t.clock.setTickCountAtStart(int64_t{INT32_MAX} - 1000 - static_cast<int64_t>(t.clock.nowMs()));
    EXPECT_EQ(query(), "") << "the 1750 ms delay overflows the tick count";
    EXPECT_FALSE(connection->portOpen());
}

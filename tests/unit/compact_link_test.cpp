// The compact adapter link against the compact adapter model on virtual time.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "adapters/compact/modCGP.h"
#include "models/compact_model.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

const std::string kError1 =
    "Unable to connect to the Compact Linkport.  Check the cable and connector between the PC and the Compact "
    "Linkport. Verify the adapter is getting power.\r\rError:\rThe interface hardware is not connected.";

struct CompactLink : ::testing::Test {
    test::TestContext t;
    sim::VirtualClock& clock = t.clock;
    VirtualSerialPorts& ports = t.serialPorts;
    ScriptedPrompts& prompts = t.prompts;
    Context& ctx = t.ctx;
    CompactModel adapter;
    std::unique_ptr<SerialPort> connection = ports.create();
    std::string a, b, c;

    void ini(const std::string& deviceParams, const std::string& lastPort = "")
    {
        std::string text = "[DeviceInformation3]\r\nDeviceParams=" + deviceParams + "\r\n";
        if (!lastPort.empty())
            text += "LastComPortUsed=" + lastPort + "\r\n";
        t.writeWindowsFile("CLPRP32.INI", text);
    }
    std::string lastPort()
    {
        std::string value;
        t.profiles.getPrivateProfileString("DeviceInformation3", "LastComPortUsed", "", value, 100, "CLPRP32.INI");
        return value;
    }
    bool connectAndRead() { return CGPConnectAndRead(ctx, *connection, a, b, c); }
};

} // namespace

TEST_F(CompactLink, SearchFindsTheAdapterAmongAbsentAndSilentPorts)
{
    ports.addPort(1);
    ports.addPort(3);
    ports.addPort(7, &adapter);
    ini("COMX,N1"); // anything after the comma still means "search"
    EXPECT_TRUE(connectAndRead());
    EXPECT_EQ(a + " " + b + " " + c, "1.10 01.07.12 CL05A12345"); // hardware from decimal reply bytes 01 0A
    EXPECT_EQ(lastPort(), "COM7");
    EXPECT_EQ(ports.canOpenAsked, (std::vector<std::string>{"COM1", "COM2", "COM3", "COM4", "COM5", "COM6", "COM7"}));
    // Each silent port says so as it is probed (COM1, COM3).
    EXPECT_EQ(prompts.prompts(), (std::vector<std::string>{kError1, kError1}));
    EXPECT_EQ(t.screens.pointerChanges, (std::vector<int>{11, 0}));
    EXPECT_FALSE(connection->portOpen());
    EXPECT_EQ(ctx.g_strLP2Port, "");
}

TEST_F(CompactLink, RemembersOnlyThePortThatAnswered)
{
    ports.addPort(2);
    ports.addPort(7, &adapter);
    ini("COMX,DEFAULT", "COM7");
    EXPECT_TRUE(connectAndRead());
    EXPECT_EQ(ports.canOpenAsked, std::vector<std::string>{"COM7"});
    EXPECT_EQ(ports.openCount(2), 0);
    EXPECT_TRUE(prompts.boxes().empty());
    EXPECT_EQ(ctx.g_strLP2Port, "COM7");

    // The adapter moves to COM9: COM7 is read first, then the search finds it.
    ports.addPort(7);
    ports.addPort(9, &adapter);
    ports.canOpenAsked.clear();
    EXPECT_TRUE(connectAndRead());
    EXPECT_EQ(ports.canOpenAsked.front(), "COM7");
    EXPECT_EQ(c, "CL05A12345");
    EXPECT_EQ(lastPort(), "COM9");

    // Gone altogether: every output stays "Not Present" and COM9 stays.
    ports.addPort(9);
    prompts.clear();
    EXPECT_TRUE(connectAndRead());
    EXPECT_EQ(a + b + c, "Not PresentNot PresentNot Present");
    EXPECT_EQ(lastPort(), "COM9");
    EXPECT_EQ(prompts.prompts().back(), kError1);
}

TEST_F(CompactLink, FixedPortsUseTheirDeviceNames)
{
    ports.addPort(12, &adapter);
    ini("COM12,N1");
    EXPECT_TRUE(connectAndRead());
    EXPECT_EQ(ports.canOpenAsked, std::vector<std::string>{"\\\\.\\COM12"});
    EXPECT_EQ(lastPort(), "COM12");

    ini("COM5,9600", "COM12");
    ports.canOpenAsked.clear();
    EXPECT_TRUE(connectAndRead());
    EXPECT_EQ(ports.canOpenAsked, std::vector<std::string>{"COM5"});
    EXPECT_EQ(prompts.prompts(), std::vector<std::string>{kError1});
    EXPECT_EQ(lastPort(), "COM12");
}

// (Replies cut after their header, garbled, late and missing: the compact
// Summary's fault table.)
TEST_F(CompactLink, DecodesAReplyCutInItsDigits)
{
    ports.addPort(4, &adapter);
    adapter.setFault(CompactModel::Fault::ShortReply);
    adapter.setShortReplyLength(7);
    ASSERT_TRUE(CGPReadIdentity(ctx, 4, *connection, a, b, c));
    EXPECT_EQ(a, "1.");
    EXPECT_EQ(ctx.g_strLP2ReplyHex, "5F080D03010201");
    EXPECT_FALSE(connection->portOpen());
}

namespace {
struct WireRecorder : SerialDevice {
    Scheduler* scheduler = nullptr;
    std::vector<std::tuple<int64_t, uint8_t, int>> got; // arrival us, byte, rate
    void received(uint8_t byte, int baud) override { got.emplace_back(scheduler->nowUs(), byte, baud); }
};
} // namespace

TEST_F(CompactLink, WakeBroadcastGoesOutAtEveryRate)
{
    WireRecorder wire;
    wire.scheduler = &clock;
    ports.addPort(2, &wire);
    connection->setCommPort(2);
    connection->setPortOpen(true);
    ASSERT_TRUE(CGPBroadcastReset(ctx, *connection));
    EXPECT_DOUBLE_EQ(clock.nowMs(), 4 * 50 + 250);
    EXPECT_EQ(connection->settings(), "115200,n,8,1");
    ASSERT_EQ(wire.got.size(), 25u);
    const int rates[] = {9600, 19200, 38400, 57600, 115200};
    for (size_t i = 0; i < 25; ++i) {
        auto [at, byte, baud] = wire.got[i];
        EXPECT_EQ(baud, rates[i / 5]);
        EXPECT_EQ(byte, (Bytes{0x5E, 0x02, 0x01, 0x01, 0x9E}[i % 5]));
        EXPECT_LT(at, int64_t(i / 5) * 50000 + 6000); // each frame inside its 50 ms
    }
    // Closed while the recorder lives: the fixture's port would tell it on the way out.
    connection->setPortOpen(false);
}

TEST_F(CompactLink, SecondLookFindsALoaderAt57600)
{
    CompactModel::Config config{.mode = CompactModel::Mode::Loader};
    CompactModel loader(config);
    ports.addPort(4, &loader);
    EXPECT_TRUE(CGPProbePort(ctx, *connection, 4));
    EXPECT_GE(loader.burstsAnswered, 1);
    EXPECT_TRUE(prompts.boxes().empty());
    EXPECT_EQ(connection->settings(), "57600,n,8,1");
    EXPECT_FALSE(connection->portOpen());

    // The search stops there, but a loader has no identity to read: the
    // connect box stands, and the reading names the port. So does a fixed
    // port, which is never searched.
    for (const char* params : {"COMX,DEFAULT", "COM4,DEFAULT"}) {
        prompts.clear();
        ini(params);
        CGPReading reading;
        EXPECT_TRUE(CGPConnectAndRead(ctx, *connection, a, b, c, &reading));
        EXPECT_EQ(a, "Not Present");
        EXPECT_EQ(reading.loaderPort, 4);
        EXPECT_EQ(prompts.prompts(), std::vector<std::string>{kError1});
        EXPECT_TRUE(t.log.contains(LogSubsystem::Links, "COM4 is in its loader"));
        EXPECT_EQ(lastPort(), "");
        EXPECT_FALSE(connection->portOpen());
    }

    config.baud = 9600; // a loader the 57600 hand-shake cannot reach
    CompactModel slowLoader(config);
    ports.addPort(4, &slowLoader);
    prompts.clear();
    EXPECT_FALSE(CGPProbePort(ctx, *connection, 4));
    EXPECT_EQ(slowLoader.burstsAnswered, 0);
    EXPECT_EQ(prompts.prompts(), std::vector<std::string>{kError1});
}

TEST_F(CompactLink, GuardClosesThePortAndRestoresThePointer)
{
    ports.addPort(7, &adapter);
    ini("COM7,DEFAULT");
    clock.setTickCountAtStart(INT_MAX - 20); // the first 50 ms delay overflows
    EXPECT_FALSE(connectAndRead());
    EXPECT_FALSE(connection->portOpen());
    EXPECT_EQ(ports.openCount(7), 1);
    EXPECT_EQ(t.screens.mousePointer, 0);
    EXPECT_EQ(prompts.prompts(), std::vector<std::string>{kError1});
    EXPECT_EQ(lastPort(), "");
}

TEST_F(CompactLink, FlashBaudRateTableAndErrorTexts)
{
    EXPECT_EQ(CGPFlashBaudRate(ctx), 57600); // no file: "COMX,DEFAULT"
    // "COM12,N1" gives 0: the port part is assumed four characters.
    const std::pair<const char*, int> table[] = {
        {"COMX,N5", 9600},    {"COMX,N4", 9600},     {"COMX,N3", 9600},     {"COMX,N2", 19200},
        {"COMX,N1", 38400},   {"COMX,DEFAULT", 57600}, {"COMX,P1", 115200}, {"COM1,9600", 9600},
        {"COMX,19200", 19200}, {"COMX,38400", 38400}, {"COMX,57600", 57600}, {"COMX,115200", 115200},
        {"COMX,n1", 0},       {"COMX,1200", 0},      {"COM12,N1", 0},       {"COMX", 0}};
    for (auto [params, rate] : table) {
        ini(params);
        EXPECT_EQ(CGPFlashBaudRate(ctx), rate) << params;
    }

    for (int16_t code = 0; code <= 6; ++code)
        CGPShowError(ctx, code);
    EXPECT_EQ(prompts.prompts(),
              (std::vector<std::string>{
                  kError1, "The flash process could not be initialized.  Please modify Preferences.",
                  "An error occured while flashing the Compact Linkport.  Please retry!",
                  "The file is corrupt!  Please select another file and try again.",
                  "Unable to set port settings. Please re-install the software."}));
    for (const auto& box : prompts.boxes()) {
        EXPECT_EQ(box.style, 48);
        EXPECT_EQ(box.title, "HVN Linkport Toolkit");
    }
}

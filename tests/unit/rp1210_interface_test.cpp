// The RP1210 driver layer against the in-process driver model on virtual time.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "adapters/rp1210/modRP1210Interface.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

struct Rp1210Layer : ::testing::Test {
    test::TestContext t;
    Context& ctx = t.ctx;
    Lp2Model adapter;
    Lp2InProcessDriver driver{adapter, &t.serialPorts, 1};

    Rp1210Layer()
    {
        t.serialPorts.addPort(1, &adapter);
        ctx.ports.rp1210 = &driver;
        t.writeWindowsFile("LP2RP32.INI", lp2DriverIni());
    }
    const Lp2DriverCore::ConnectCall& lastConnect() { return driver.core().connects.back(); }
};

} // namespace

TEST_F(Rp1210Layer, ConnectFindsTheProtocolsDeviceInTheIni)
{
    driver.settings().connectErrors["J1939"] = 141;
    ctx.g_nClientID = 42;

    EXPECT_EQ(RP1210Connect(ctx, "J1939"), 141); // error codes come back unchanged
    EXPECT_EQ(ctx.g_nClientID, 42);
    EXPECT_FALSE(RP1210IsConnected(ctx));

    EXPECT_EQ(RP1210Connect(ctx, "SIP"), 0);
    EXPECT_EQ(lastConnect().deviceId, 1);
    EXPECT_EQ(lastConnect().protocol, "SIP");
    EXPECT_EQ(ctx.g_nClientID, 0);
    EXPECT_TRUE(RP1210IsConnected(ctx));

    size_t calls = driver.calls.size();
    EXPECT_EQ(RP1210Connect(ctx, "sip"), -1); // names compare case-sensitively
    EXPECT_EQ(RP1210Connect(ctx, "CAN"), -1);
    EXPECT_EQ(driver.calls.size(), calls); // -1 never reaches the driver
}

TEST_F(Rp1210Layer, ProtocolListAndDeviceEdgeCases)
{
    const std::string sipOn = "[ProtocolInformation1]\r\nProtocolString=SIP\r\nDevices=1\r\n"
                              "[ProtocolInformation2]\r\nProtocolString=SIP\r\nDevices=2\r\n"
                              "[DeviceInformation2]\r\nDeviceID=7\r\n";
    const std::string device1 = "[DeviceInformation1]\r\nDeviceID=";
    const struct {
        const char* why;
        std::string vendor, rest;
        int16_t result, deviceId; // deviceId -1: the driver is not called; it knows device 1 only
    } cases[] = {
        {"no Protocols: \"Not Found\" is one item that matches nothing", "Version=1.8-B2",
         sipOn + device1 + "1", -1, -1},
        {"the first match in list order wins", "Protocols=2,1", sipOn + device1 + "1", 134, 7},
        {"\"abc\" has the numeric value 0", "Protocols=1,2", sipOn + device1 + "abc", 134, 0},
        {"rounded half to even", "Protocols=1", sipOn + device1 + "2.5", 134, 2},
        {"Devices is one whole value", "Protocols=1",
         "[ProtocolInformation1]\r\nProtocolString=SIP\r\nDevices=1,2\r\n" + device1 + "1", -1, -1},
        {"no 16-bit device id", "Protocols=1", sipOn + device1 + "70000", -1, -1},
        {"an empty list", "Protocols=", sipOn, -1, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        t.writeWindowsFile("LP2RP32.INI", "[VendorInformation]\r\n" + c.vendor + "\r\n" + c.rest + "\r\n");
        const size_t connects = driver.core().connects.size();
        EXPECT_EQ(RP1210Connect(ctx, "SIP"), c.result);
        EXPECT_EQ(driver.core().connects.size(), connects + (c.deviceId >= 0));
        if (c.deviceId >= 0) {
            EXPECT_EQ(lastConnect().deviceId, c.deviceId);
        }
        RP1210Disconnect(ctx);
    }
}

TEST_F(Rp1210Layer, OnlyZeroOrNegativeResultsAreRecorded)
{
    for (auto [id, recorded] : {std::pair<int16_t, bool>{1, false}, {127, false}, {128, false}, {0, true}, {-5, true}}) {
        SCOPED_TRACE(id);
        ctx.g_nClientID = 42;
        ctx.g_blnRP1210Connected = false;
        driver.settings().scriptedConnectResults = {id};
        EXPECT_EQ(RP1210Connect(ctx, "SIP"), id);
        EXPECT_EQ(ctx.g_nClientID, recorded ? id : 42);
        EXPECT_EQ(ctx.g_blnRP1210Connected, recorded);
    }
}

TEST_F(Rp1210Layer, DisconnectCallsTheDriverEvenWithNoClientOpen)
{
    ctx.g_nClientID = 3;
    ctx.g_blnRP1210Connected = true;
    EXPECT_TRUE(RP1210MarkDisconnected(ctx));
    EXPECT_FALSE(RP1210IsConnected(ctx));
    EXPECT_TRUE(driver.calls.empty());

    EXPECT_EQ(RP1210Disconnect(ctx), 129);
    EXPECT_EQ(driver.core().disconnects, std::vector<int16_t>{3});

    // (Who holds the line while a client is open: lp2_model_test.cpp.)
    ASSERT_EQ(RP1210Connect(ctx, "SIP"), 0);
    EXPECT_EQ(RP1210Disconnect(ctx), 0);
    EXPECT_FALSE(RP1210IsConnected(ctx));
}

TEST_F(Rp1210Layer, MissingLibraryOrEntryPointGivesMinusTwo)
{
    driver.setEntryMissing("RP1210_GetHardwareStatus");
    ASSERT_EQ(RP1210Connect(ctx, "SIP"), 0);
    std::string status = "old";
    EXPECT_EQ(RP1210HardwareStatus(ctx, status, 1), -2);
    EXPECT_EQ(status, "");
    EXPECT_EQ(RP1210Disconnect(ctx), 0);

    driver.setLibraryMissing(true);
    ctx.g_nClientID = 9;
    EXPECT_EQ(RP1210Connect(ctx, "SIP"), -2);
    EXPECT_EQ(ctx.g_nClientID, 9);
    EXPECT_FALSE(ctx.g_blnRP1210Connected);
    ctx.g_blnRP1210Connected = true;
    EXPECT_EQ(RP1210Disconnect(ctx), -2);
    EXPECT_FALSE(ctx.g_blnRP1210Connected);
    std::string buffer(8, ' ');
    EXPECT_EQ(RP1210SendCommandText(ctx, 209, buffer, 8), -2);
    EXPECT_EQ(RP1210ErrorText(ctx, 142), "Error Code Not Found");
    std::string a = "x", b, c, d;
    RP1210DriverVersion(ctx, a, b, c, d);
    EXPECT_EQ(a + "|" + b + "|" + c + "|" + d, " |  | | ");

    ctx.ports.rp1210 = nullptr;
    EXPECT_EQ(RP1210Connect(ctx, "SIP"), -2);
}

TEST_F(Rp1210Layer, ErrorAndStatusTextsKeepTheirFirstNul)
{
    EXPECT_EQ(RP1210ErrorText(ctx, 142), std::string("Hardware not responding\0", 24));
    EXPECT_EQ(RP1210ErrorText(ctx, 999), "Error Code Not Found");
    EXPECT_EQ(RP1210ErrorText(ctx, 70000), "Error Code Not Found");
    driver.settings().errorTexts[500] = std::string(80, 'x');
    EXPECT_EQ(RP1210ErrorText(ctx, 500), "") << "80 characters leave no NUL in the 80-character buffer";

    ASSERT_EQ(RP1210Connect(ctx, "SIP"), 0);
    std::string status;
    EXPECT_EQ(RP1210HardwareStatus(ctx, status, 1), 0);
    EXPECT_EQ(status, std::string("LP2\x01" "1\0", 6));
    driver.settings().hardwareStatus = std::string(16, 'S');
    RP1210HardwareStatus(ctx, status, 1);
    EXPECT_EQ(status, "");
}

TEST_F(Rp1210Layer, EveryDriverCallFollowsOneMessagePump)
{
    bool pumped = false;
    std::vector<std::string> unpumped;
    driver.onCall = [&](const std::string& name) {
        if (!pumped)
            unpumped.push_back(name);
        pumped = false;
    };
    auto post = [&] { t.clock.postMessage([&] { pumped = true; }); };

    std::string buffer(8, ' '), record(2, '\0'), status, a, b, c, d;
    post(), RP1210Connect(ctx, "SIP");
    post(), RP1210SendCommandText(ctx, 209, buffer, 8);
    post(), RP1210SendCommandRecord(ctx, 300, record, 2);
    post(), RP1210DriverVersion(ctx, a, b, c, d);
    post(), RP1210ErrorText(ctx, 142);
    post(), RP1210HardwareStatus(ctx, status, 1);
    post(), RP1210Disconnect(ctx);
    EXPECT_EQ(driver.calls.size(), 7u);
    EXPECT_TRUE(unpumped.empty()) << unpumped.front();
    // (The hourglass around the record command: Lp2Link.FlashStartSendsTheValueAsARecord.)
    EXPECT_EQ(a + "." + b + " API " + c + "." + d, "1.12 API 3.0");
}

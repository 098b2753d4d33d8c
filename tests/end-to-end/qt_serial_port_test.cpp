// The real serial port on a pseudo-terminal, and what a USB-serial converter
// brings to it: the request for low latency (refused by a pty, said once in
// the log; undone on close) and its turnaround as the pty bridge plays it.
// (A line that goes away mid-read: ResponsiveFaults.CompactSummary;
// mid-flash: the flash fault table's CompactLinkDropsAtRecord5.)
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "adapters/frames.h"
#include "models/lp2_model.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "qt_support/pty_serial_rig.h"
#include "support/require.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

TEST(QtSerialPortSettings, ParsesTheSettingsText)
{
    SerialSettings s;
    ASSERT_TRUE(parseSerialSettings("115200,E,7,2", s));
    EXPECT_EQ(s.baud, 115200);
    EXPECT_EQ(s.parity, 'e');
    EXPECT_EQ(s.dataBits, 7);
    EXPECT_EQ(s.stopBits, 20);
    ASSERT_TRUE(parseSerialSettings("300,o,5,1.5", s));
    EXPECT_EQ(s.stopBits, 15);
    for (const char* bad : {"9600", "9600,x,8,1", "0,n,8,1", "9600,n,9,1", "9600,n,8,3", "abc,n,8,1",
                            "9600,n,8,1,", "", "99999999999,n,8,1"})
        EXPECT_FALSE(parseSerialSettings(bad, s)) << bad;
}

namespace {

struct AcceptingLine final : SerialLineFlags {
    bool on = false;
    bool lowLatency(int, bool& value, std::string&) override { return value = on, true; }
    bool setLowLatency(int, bool value, std::string&) override { return on = value, true; }
};

int linesContaining(const MemoryLogger& log, const std::string& part)
{
    int n = 0;
    for (const auto& line : log.lines)
        n += line.text.find(part) != std::string::npos;
    return n;
}

double msSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

// A port's lock, the bytes that come in during a delay, and what a USB-serial
// converter brings: the low-latency request and the converter's turnaround.
TEST(UsbSerialOnPty, PortLockLowLatencyAndTheConvertersTurnaround)
{
    Lp2Model adapter;
    adapter.setDriverMode(false); // answers the version query at once
    PtyBridge bridge(adapter);
    bridge.setConverterTurnaround(300, 5); // 5-byte packets: an 8-byte reply comes as 5, then 3
    test::TempDir dir;
    test::PtyComPort com5(bridge, dir.path(), 5);
    LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
    ASSERT_TRUE(com5.linked) << com5.error;

    QtHost host;
    MemoryLogger log;
    QtSerialPorts ports(&log);
    auto port = ports.create(), another = ports.create();
    EXPECT_TRUE(ports.canOpen("COM5"));
    EXPECT_FALSE(port->setSettings("9600,n,8"));
    ASSERT_TRUE(port->setCommPort(5));
    another->setCommPort(5);
    EXPECT_TRUE(port->setRTSEnable(true));
    EXPECT_TRUE(port->setDTREnable(true));
    for (SerialPort* p : {port.get(), port.get(), another.get()}) { // a flash reopens its port for each step
        ASSERT_TRUE(p->setPortOpen(true)) << p->lastError();
        p->setPortOpen(false);
    }
    EXPECT_EQ(linesContaining(log, "no low-latency mode"), 1);

    ASSERT_TRUE(port->setPortOpen(true));
    EXPECT_TRUE(port->setRTSEnable(false)) << "a pty's missing modem lines are harmless";
    EXPECT_FALSE(port->setCommPort(6));
    EXPECT_FALSE(ports.canOpen("COM5")) << "our own lock keeps others out";
    EXPECT_FALSE(another->setPortOpen(true));
    // The refusal changed nothing; the converter holds the reply's tail.
    const auto sent = std::chrono::steady_clock::now();
    ASSERT_TRUE(port->output(frames::framed({0x5E, 0x02, 0x0D, 0x02})));
    host.sleepMilliseconds(150); // no event runs in a delay
    EXPECT_EQ(port->inBufferCount(), 5);
    EXPECT_TRUE(host.waitUntil([&] { return port->inBufferCount() >= 8; }, 3000));
    EXPECT_GE(msSince(sent), 300);
    EXPECT_EQ(frames::hexText(port->input()), "5F050D0201071273");
    // (A change of rate while open: Lp2EndToEnd, where the adapter hears noise.)
    port->setPortOpen(false);
    auto unmapped = ports.create();
    unmapped->setCommPort(200);
    EXPECT_FALSE(unmapped->setPortOpen(true));
    EXPECT_NE(unmapped->lastError().find("not mapped"), std::string::npos) << unmapped->lastError();

    AcceptingLine line;
    QtSerialPort converter(&log, nullptr, &line);
    converter.setCommPort(5);
    ASSERT_TRUE(converter.setPortOpen(true)) << converter.lastError();
    EXPECT_TRUE(line.on);
    EXPECT_EQ(linesContaining(log, "low-latency mode on"), 1);
    converter.setPortOpen(false);
    EXPECT_FALSE(line.on) << "the line's own setting is back after close";
}

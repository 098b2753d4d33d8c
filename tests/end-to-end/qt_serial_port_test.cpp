// The real serial port on a pseudo-terminal.
#include <gtest/gtest.h>

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

TEST(QtSerialPortSettings, ParsesTheClassicSettingsText)
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

TEST(QtSerialPortOnPty, CountsBytesThatArrivedDuringADelay)
{
    Lp2Model adapter;
    adapter.setDriverMode(false); // answers the version query at once
    PtyBridge bridge(adapter);
    test::TempDir dir;
    test::PtyComPort com5(bridge, dir.path(), 5);
    LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
    ASSERT_TRUE(com5.linked) << com5.error;

    QtHost host;
    QtSerialPorts ports;
    QtSerialPort port;
    EXPECT_TRUE(ports.canOpen("COM5"));
    EXPECT_FALSE(port.setSettings("9600,n,8"));
    ASSERT_TRUE(port.setCommPort(5));
    EXPECT_TRUE(port.setRTSEnable(true));
    EXPECT_TRUE(port.setDTREnable(true));
    ASSERT_TRUE(port.setPortOpen(true)) << port.lastError();
    EXPECT_TRUE(port.setRTSEnable(false)) << "a pty's missing modem lines are harmless";
    EXPECT_FALSE(port.setCommPort(6));
    EXPECT_FALSE(ports.canOpen("COM5")) << "our own lock keeps others out";
    QtSerialPort second;
    second.setCommPort(5);
    EXPECT_FALSE(second.setPortOpen(true));

    ASSERT_TRUE(port.output(frames::framed({0x5E, 0x02, 0x0D, 0x02})));
    host.sleepMilliseconds(150); // no event runs in a delay
    EXPECT_EQ(port.inBufferCount(), 8);
    EXPECT_EQ(frames::hexText(port.input()), "5F050D0201071273");
    // (A change of rate while open: Lp2EndToEnd, where the adapter hears noise.)

    port.setPortOpen(false);
    EXPECT_TRUE(second.setPortOpen(true));
    QtSerialPort unmapped;
    unmapped.setCommPort(200);
    EXPECT_FALSE(unmapped.setPortOpen(true));
    EXPECT_NE(unmapped.lastError().find("not mapped"), std::string::npos) << unmapped.lastError();
}

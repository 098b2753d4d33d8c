// The compact adapter's identity read through a real pseudo-terminal, with
// the real serial port and the Qt host: the model sits behind the pty at real
// wire speed and COM5 points at it through the dosdevices link folder.
#include <gtest/gtest.h>

#include <string>

#include "links/modCGP.h"
#include "models/compact_model.h"
#include "qt_support/pty_serial_rig.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

TEST(CompactEndToEnd, ReadsTheIdentityThroughAPseudoTerminal)
{
    CompactModel adapter; // asleep at 57600 until the wake broadcast reaches it
    PtyBridge bridge(adapter);
    test::TempDir dir;
    test::PtyComPort com5(bridge, dir.path(), 5);
    if (com5.noPty)
        GTEST_SKIP() << "no pseudo-terminal: " << com5.error;
    ASSERT_TRUE(com5.linked) << com5.error;
    test::writeFile(dir.file("CLPRP32.INI"), "[DeviceInformation3]\r\nDeviceParams=COM5,DEFAULT\r\n");

    test::QtSerialContext real(dir.path());
    auto connection = real.ports.create();

    std::string hardware, firmware, serial;
    EXPECT_TRUE(CGPConnectAndRead(real.ctx, *connection, hardware, firmware, serial));
    EXPECT_EQ(hardware, "1.10");
    EXPECT_EQ(firmware, "01.07.12");
    EXPECT_EQ(serial, "CL05A12345");
    EXPECT_TRUE(real.prompts.boxes().empty());
    EXPECT_FALSE(connection->portOpen());
    std::string last;
    real.profiles.getPrivateProfileString("DeviceInformation3", "LastComPortUsed", "", last, 100, "CLPRP32.INI");
    EXPECT_EQ(last, "COM5");
    // The model lives on the bridge's thread: look at it once that has ended.
    // It heard the wake at its own rate (the others were noise) and the three
    // queries at 9600.
    bridge.stop();
    EXPECT_GT(adapter.noiseBytes, 0);
    EXPECT_EQ(adapter.framesReceived.size(), 4u);
}

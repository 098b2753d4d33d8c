// The compact adapter's identity read through a real pseudo-terminal, with
// the real serial port and the Qt host: the model sits behind the pty at real
// wire speed and COM5 points at it through the dosdevices link folder.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include <cstdlib>
#include <string>

#include "links/modCGP.h"
#include "models/compact_model.h"
#include "platform/ini_profile_files.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "ports/memory_logger.h"
#include "ports/pty_bridge.h"
#include "ports/recording_screens.h"
#include "ports/scripted_prompts.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

namespace {

using lp::test::ScopedEnv;

} // namespace

TEST(CompactEndToEnd, ReadsTheIdentityThroughAPseudoTerminal)
{
    CompactModel adapter; // asleep at 57600 until the wake broadcast reaches it
    PtyBridge bridge(adapter);
    std::string error;
    if (!bridge.start(&error))
        GTEST_SKIP() << "no pseudo-terminal: " << error;

    test::TempDir dir;
    ASSERT_TRUE(linkComPort(dir.file("dosdevices"), 5, bridge.slavePath(), &error)) << error;
    ScopedEnv dosdevices("LINKPORT_DOSDEVICES", dir.file("dosdevices"));
    test::writeFile(dir.file("CLPRP32.INI"), "[DeviceInformation3]\r\nDeviceParams=COM5,DEFAULT\r\n");

    MemoryLogger log;
    QtHost host;
    QtSerialPorts ports(&log);
    IniProfileFiles profiles(dir.path());
    ScriptedPrompts prompts;
    RecordingScreenCalls screens;
    Context ctx;
    ctx.ports = {.host = &host, .prompts = &prompts, .profiles = &profiles, .log = &log,
                 .serialPorts = &ports, .screens = &screens};
    auto connection = ports.create();

    std::string hardware, firmware, serial;
    EXPECT_TRUE(CGPConnectAndRead(ctx, *connection, hardware, firmware, serial));
    EXPECT_EQ(hardware, "1.10");
    EXPECT_EQ(firmware, "01.07.12");
    EXPECT_EQ(serial, "CL05A12345");
    EXPECT_TRUE(prompts.boxes().empty());
    EXPECT_FALSE(connection->portOpen());
    std::string last;
    profiles.getPrivateProfileString("DeviceInformation3", "LastComPortUsed", "", last, 100, "CLPRP32.INI");
    EXPECT_EQ(last, "COM5");
    // The model lives on the bridge's thread: look at it once that has ended.
    // It heard the wake at its own rate (the others were noise) and the three
    // queries at 9600.
    bridge.stop();
    EXPECT_GT(adapter.noiseBytes, 0);
    EXPECT_EQ(adapter.framesReceived.size(), 4u);
}

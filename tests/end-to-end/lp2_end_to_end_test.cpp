// The second-generation adapter for real: the driver library loaded with
// dlopen and the serial query over a pseudo-terminal reach one adapter model.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "adapters/lp2/modLP2.h"
#include "adapters/rp1210/modRP1210Interface.h"
#include "models/lp2_model.h"
#include "platform/rp1210_library.h"
#include "qt_support/pty_serial_rig.h"
#include "support/require.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

namespace {

struct Lp2EndToEnd : ::testing::Test {
    test::TempDir dir;
    std::string windows = dir.file("windows");
    test::QtSerialContext real{windows};
    Rp1210Library library{"LP2RP32", [this] { return real.profiles.windowsDirectory(); }, &real.log};
    Context& ctx = real.ctx;

    Lp2EndToEnd()
    {
        std::filesystem::create_directories(windows);
        ctx.ports.rp1210 = &library;
        test::writeFile(windows + "/LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
    }
    void installDriver(const char* built, const std::string& name)
    {
        std::filesystem::copy_file(built, windows + "/" + name, std::filesystem::copy_options::overwrite_existing);
    }
};

} // namespace

TEST_F(Lp2EndToEnd, VersionsThroughTheDriverLibraryAndTheSerialLine)
{
    Lp2Model adapter({.serialVersion = {0x02, 0x05, 0x31}});
    PtyBridge bridge(adapter);
    test::PtyComPort com5(bridge, dir.path(), 5);
    LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
    ASSERT_TRUE(com5.linked) << com5.error;
    installDriver(LP_TEST_DRIVER_LIBRARY, "LibLp2Rp32.so"); // found whatever its case
    test::writeFile(windows + "/lp2sim.ini", "[Driver]\r\nDLLMajorVersion=2\r\nDLLMinorVersion=07\r\n"
                                             "[Adapter]\r\nPort=COM5\r\n");

    // (The versions read through a driver library: LinkportSim, where the
    // simulator serves them.)
    EXPECT_EQ(LP2DriverVersion(ctx), "2.07");
    EXPECT_EQ(library.loadedPath(), windows + "/LibLp2Rp32.so");

    // While the driver has a client, the line is the driver's.
    ASSERT_TRUE(LP2ConnectSIP(ctx, "SIP"));
    auto connection = real.ports.create();
    connection->setCommPort(5);
    EXPECT_FALSE(connection->setPortOpen(true));
    EXPECT_NE(connection->lastError().find("in use"), std::string::npos) << connection->lastError();
    EXPECT_FALSE(real.ports.isRs232Present(5));

    // (Its log lines and the adapter's mode after it: Lp2Link on virtual time.)
    EXPECT_EQ(LP2SerialVersionQuery(ctx, 5, *connection), "02.05.31");
    EXPECT_FALSE(connection->portOpen());
    EXPECT_EQ(bridge.programBaud(), 9600);

    // Back in driver mode, the adapter answers its driver again.
    std::string hardware, application, boot;
    ASSERT_TRUE(LP2ReadVersions(ctx, hardware, application, boot)) << library.lastError();
    EXPECT_EQ(application, "1.8");

    // At another rate the program's frames are noise to the adapter.
    bridge.scheduler().call([&] { adapter.config().baud = 19200; });
    EXPECT_EQ(LP2SerialVersionQuery(ctx, 5, *connection), "Not Present");
    int noise = 0;
    bridge.scheduler().call([&] { noise = adapter.noiseBytes(); });
    EXPECT_GT(noise, 0);
}

// The library is looked for at every call, so one installed while the
// program runs is found. (Missing entry points and libraries as such:
// PlatformContract.Rp1210BindingLoadsTheTestDriverLibrary, Rp1210Layer.)
TEST_F(Lp2EndToEnd, ALibraryInstalledWhileTheProgramRunsIsFound)
{
    EXPECT_EQ(RP1210Connect(ctx, "SIP"), -2);
    EXPECT_NE(library.lastError().find("not found"), std::string::npos) << library.lastError();

    // This one lacks RP1210_GetHardwareStatus, and still connects; its port
    // is a plain file, where no adapter answers the driver's hand-shake.
    installDriver(LP_TEST_DRIVER_LIBRARY_PARTIAL, "libLP2RP32.so");
    test::writeFile(dir.file("line"), "");
    test::writeFile(windows + "/LP2SIM.INI", "[Adapter]\r\nPort=" + dir.file("line") + "\r\nReplyTimeout=100\r\n");
    EXPECT_EQ(RP1210Connect(ctx, "SIP"), 142);
}

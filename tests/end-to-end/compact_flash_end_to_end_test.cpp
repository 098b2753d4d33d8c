// The compact adapter's serial flash through a real pseudo-terminal, with the
// real serial port and the Qt host: the application is switched into its
// loader at 115200 baud and a 64 KiB image goes over at wire speed, each
// record on the tick of a Qt-backed `tmrProgramDevice`.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include <cstdlib>
#include <memory>
#include <string>

#include "flash/compact_flash.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
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

// The flash screen's part, with `tmrProgramDevice` a real host timer.
struct TimerScreen final : CompactFlashScreen {
    void showProgressDialog() override { ++shows; }
    void unloadProgressDialog() override {}
    void setProgressMaximum(int32_t m) override { maximum = m; }
    void setProgressValue(int32_t v) override { value = v; }
    void setProgramDeviceTimerEnabled(bool on) override { timer->setEnabled(on); }
    int mousePointer() const override { return 0; }
    void setMousePointer(int) override {}
    void showExitReturnDialog(const std::string& text) override { exitReturn = text; }
    void returnToReadyState() override {}

    std::unique_ptr<HostTimer> timer;
    int shows = 0;
    int32_t maximum = 0, value = 0;
    std::string exitReturn;
};

} // namespace

TEST(CompactFlashEndToEnd, FlashesA64KiBImageThroughAPseudoTerminal)
{
    CompactModel::Config config;
    config.baud = 115200; // the application sleeps at the rate "P1" names
    CompactModel adapter(config);
    PtyBridge bridge(adapter);
    bridge.setFollowProgramOpens(true); // the application sleeps again when the port closes
    std::string error;
    if (!bridge.start(&error))
        GTEST_SKIP() << "no pseudo-terminal: " << error;

    test::TempDir dir;
    ASSERT_TRUE(linkComPort(dir.file("dosdevices"), 5, bridge.slavePath(), &error)) << error;
    ScopedEnv dosdevices("LINKPORT_DOSDEVICES", dir.file("dosdevices"));
    test::writeFile(dir.file("CLPRP32.INI"), "[DeviceInformation3]\r\nDeviceParams=COM5,P1\r\n");
    const std::vector<uint8_t> image = pseudoRandomImage(64 * 1024, 7);
    const std::string path = dir.file("app.hex");
    test::writeFile(path, firmwareFileText(image));

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
    TimerScreen screen;
    CompactFlash flash(ctx, *connection, screen);
    screen.timer = host.createTimer([&] { flash.tick(); });
    screen.timer->setInterval(CompactFlash::kProgramDeviceIntervalMs);

    ASSERT_TRUE(flash.start(5, path)) << flash.result().reason;
    EXPECT_TRUE(host.waitUntil([&] { return !flash.transferring(); }, 60'000));
    const CompactFlashResult& r = flash.result();
    EXPECT_TRUE(r.succeeded) << r.reason;
    EXPECT_FALSE(r.loaderWasRunning);
    EXPECT_EQ(r.transferBaud, 115200);
    EXPECT_EQ(r.recordsSent, 4097);
    EXPECT_EQ(screen.maximum, 6 + 4096 + 10);
    EXPECT_EQ(screen.exitReturn,
              "Flash Completed Successfully!\r\n\r\nYou can now go to Toolkit, return to Flash, or Exit the program.");
    EXPECT_TRUE(prompts.boxes().empty());
    EXPECT_FALSE(connection->portOpen());
    EXPECT_EQ(ctx.g_intFlashRecordCounter, 0);

    // The model lives on the bridge's thread: look at it once that has ended.
    bridge.stop();
    EXPECT_EQ(adapter.mode(), CompactModel::Mode::Loader);
    EXPECT_EQ(adapter.badRecords, 0);
    EXPECT_TRUE(adapter.endRecordReceived);
    EXPECT_TRUE(adapter.image == imageByAddress(image)) << adapter.image.size() << " bytes written";
}

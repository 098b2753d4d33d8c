// The compact adapter's serial flash through a real pseudo-terminal, paced
// by a Qt-backed `tmrProgramDevice` at wire speed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "adapters/compact/compact_flash.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "qt_support/pty_serial_rig.h"
#include "support/require.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

TEST(CompactFlashEndToEnd, FlashesA64KiBImageThroughAPseudoTerminal)
{
    CompactModel adapter({.baud = 115200}); // the application sleeps at the rate "P1" names
    PtyBridge bridge(adapter);
    bridge.setFollowProgramOpens(true); // the application sleeps again when the port closes
    test::TempDir dir;
    test::PtyComPort com5(bridge, dir.path(), 5);
    LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
    ASSERT_TRUE(com5.linked) << com5.error;
    test::writeFile(dir.file("CLPRP32.INI"), "[DeviceInformation3]\r\nDeviceParams=COM5,P1\r\n");
    const std::vector<uint8_t> image = pseudoRandomImage(64 * 1024, 7);
    const std::string path = dir.file("app.hex");
    test::writeFile(path, firmwareFileText(image));

    test::QtSerialContext real(dir.path());
    auto connection = real.ports.create();
    test::RecordingCompactScreen screen;
    CompactFlash flash(real.ctx, *connection, screen);
    screen.drive(real.host, flash);

    ASSERT_TRUE(flash.start(5, path)) << flash.result().reason;
    EXPECT_TRUE(real.host.waitUntil([&] { return !flash.transferring(); }, 60'000));
    const CompactFlashResult& r = flash.result();
    EXPECT_TRUE(r.succeeded) << r.reason;
    EXPECT_EQ(r.recordsSent, 4097);
    EXPECT_TRUE(real.prompts.boxes().empty());
    EXPECT_FALSE(connection->portOpen());

    // The model lives on the bridge's thread: look at it once that has ended.
    // No real timer tick overlapped another.
    bridge.stop();
    EXPECT_EQ(adapter.badRecords, 0);
    EXPECT_TRUE(adapter.image == imageByAddress(image)) << adapter.image.size() << " bytes written";
}

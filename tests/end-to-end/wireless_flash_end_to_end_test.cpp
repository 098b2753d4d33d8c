// A 64 KiB image flashed into the wireless adapter model over real loopback TCP.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "adapters/wireless/wireless_flash.h"
#include "models/firmware_image.h"
#include "models/wireless_model.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_tcp_socket.h"
#include "doubles/memory_logger.h"
#include "doubles/scripted_prompts.h"
#include "realtime/tcp_model_server.h"
#include "support/flash_screens.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

TEST(WirelessFlashEndToEnd, SixtyFourKibibytesOverLoopbackIncludingTheRestart)
{
    const std::vector<uint8_t> image = pseudoRandomImage(64 * 1024, 7);
    test::TempDir dir;
    const std::string path = dir.file("WLP64K.HEX");
    test::writeFile(path, firmwareFileText(image));

    // The application runs: the switch to the loader comes first.
    WirelessModel model;
    TcpModelServer server(model, "127.0.0.5");
    std::string error;
    ASSERT_TRUE(server.start(&error)) << error;

    QtHost host;
    QtTcpSockets sockets(&host);
    ScriptedPrompts prompts;
    MemoryLogger log;
    Context ctx;
    ctx.ports = {.host = &host, .prompts = &prompts, .log = &log};
    auto socket = sockets.create();
    test::RecordingWirelessScreen screen;
    const WirelessFlashResult result = RunWirelessFlash(ctx, *socket, screen, "127.0.0.5", path);

    EXPECT_EQ(result.outcome, WirelessFlashOutcome::Succeeded) << result.reason;
    // (The counts, the version after and the dialogs: WirelessFlash on virtual time.)
    EXPECT_TRUE(result.bootSwitched);
    EXPECT_TRUE(prompts.boxes().empty());
    std::map<uint32_t, uint8_t> kept;
    int restarts = 0, connections = 0;
    server.call([&] {
        kept = model.appliedImage();
        restarts = model.restarts();
        connections = model.connectionCount();
    });
    EXPECT_EQ(restarts, 1);
    EXPECT_EQ(connections, 2); // the flash's and the reconnect's
    EXPECT_TRUE(kept == imageByAddress(image));
}

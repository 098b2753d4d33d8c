// How close the compact adapter's serial flash comes to the wire: a 64 KiB
// image (4096 records of 16 bytes) through a real pseudo-terminal into the
// compact adapter model, with the real serial port, the Qt host and a
// Qt-backed `tmrProgramDevice`, at 115200 and 57600 baud.
//
// The wire limit of one record is its bytes plus the one-byte "#", ten bits
// each, at the baud rate; the ratio is that limit over the time the transfer
// really took (start-up and the loader hand-shake not counted).
#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "flash/compact_flash.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "platform/ini_profile_files.h"
#include "platform/logger.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "ports/pty_bridge.h"
#include "ports/recording_screens.h"
#include "ports/scripted_prompts.h"

#include <unistd.h>

using namespace lp;
using namespace lp::sim;

namespace {

constexpr double kTarget = 0.90;
constexpr size_t kImageBytes = 64 * 1024;
constexpr size_t kRecordWireBytes = 1 + 1 + 2 + 1 + 16 + 1 + 1; // ":", count, address, type, data, check, "#"

struct TimerScreen final : CompactFlashScreen {
    void showProgressDialog() override {}
    void unloadProgressDialog() override {}
    void setProgressMaximum(int32_t) override {}
    void setProgressValue(int32_t) override {}
    void setProgramDeviceTimerEnabled(bool on) override { timer->setEnabled(on); }
    int mousePointer() const override { return 0; }
    void setMousePointer(int) override {}
    void showExitReturnDialog(const std::string&) override {}
    void returnToReadyState() override {}
    std::unique_ptr<HostTimer> timer;
};

struct Run {
    bool ok = false;
    std::string why;
    int64_t records = 0;
    double seconds = 0;
};

Run flashOnce(const std::string& folder, int baud, const std::string& suffix, const std::string& hexPath)
{
    Run run;
    CompactModel::Config config;
    config.baud = baud;
    CompactModel adapter(config);
    PtyBridge bridge(adapter);
    bridge.setFollowProgramOpens(true);
    if (!bridge.start(&run.why) || !linkComPort(folder + "/dosdevices", 5, bridge.slavePath(), &run.why))
        return run;
    setenv("LINKPORT_DOSDEVICES", (folder + "/dosdevices").c_str(), 1);
    FILE* ini = std::fopen((folder + "/CLPRP32.INI").c_str(), "wb");
    if (!ini) {
        run.why = "cannot write CLPRP32.INI";
        return run;
    }
    std::fprintf(ini, "[DeviceInformation3]\r\nDeviceParams=COM5,%s\r\n", suffix.c_str());
    std::fclose(ini);

    NullLogger log;
    QtHost host;
    QtSerialPorts ports(&log);
    IniProfileFiles profiles(folder);
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

    if (!flash.start(5, hexPath)) {
        run.why = "start: " + flash.result().reason;
        return run;
    }
    const auto begin = std::chrono::steady_clock::now();
    host.waitUntil([&] { return !flash.transferring(); }, 120'000);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    run.records = flash.result().recordsSent;
    bridge.stop();
    run.ok = flash.result().succeeded && adapter.image.size() == kImageBytes;
    if (!run.ok)
        run.why = flash.result().reason.empty() ? "image differs" : flash.result().reason;
    return run;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    char folderTemplate[] = "/tmp/lp_cflash_bench_XXXXXX";
    const char* folder = mkdtemp(folderTemplate);
    if (!folder) {
        std::printf("{\"benchmark\": \"compact_flash_throughput\", \"error\": \"no temporary folder\"}\n");
        return 1;
    }
    const std::string hexPath = std::string(folder) + "/app.hex";
    const std::string text = firmwareFileText(pseudoRandomImage(kImageBytes, 3));
    if (FILE* f = std::fopen(hexPath.c_str(), "wb")) {
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }

    struct Case {
        int baud;
        const char* suffix;
    };
    std::string json = "{\"benchmark\": \"compact_flash_throughput\", \"image_bytes\": " + std::to_string(kImageBytes)
                       + ", \"target_ratio\": " + std::to_string(kTarget).substr(0, 4) + ", \"runs\": [";
    bool allMet = true;
    bool first = true;
    for (Case c : {Case{115200, "P1"}, Case{57600, "57600"}}) {
        Run run = flashOnce(folder, c.baud, c.suffix, hexPath);
        const double wireRecordSeconds = kRecordWireBytes * 10.0 / c.baud;
        const double perSecond = run.seconds > 0 ? static_cast<double>(run.records) / run.seconds : 0;
        const double ratio = perSecond * wireRecordSeconds;
        const bool met = run.ok && ratio >= kTarget;
        allMet = allMet && met;
        char line[512];
        std::snprintf(line, sizeof line,
                      "%s{\"baud\": %d, \"ok\": %s, \"records\": %lld, \"seconds\": %.3f, \"records_per_second\": "
                      "%.1f, \"wire_limit_records_per_second\": %.1f, \"ratio\": %.3f, \"met\": %s%s}",
                      first ? "" : ", ", c.baud, run.ok ? "true" : "false", static_cast<long long>(run.records),
                      run.seconds, perSecond, 1.0 / wireRecordSeconds, ratio, met ? "true" : "false",
                      run.ok ? "" : (", \"error\": \"" + run.why + "\"").c_str());
        json += line;
        first = false;
    }
    json += std::string("], \"met\": ") + (allMet ? "true" : "false") + "}";
    std::printf("%s\n", json.c_str());
    std::remove(hexPath.c_str());
    std::remove((std::string(folder) + "/CLPRP32.INI").c_str());
    std::remove((std::string(folder) + "/dosdevices/com5").c_str());
    rmdir((std::string(folder) + "/dosdevices").c_str());
    rmdir(folder);
    return 0;
}

// How long the event loop goes unturned (the window's repaint latency) during
// the two long operations of the program: a compact flash (16 KiB, as the
// flash screen drives it, with `tmrProgramDevice` on the Qt host) and a
// second-generation Summary read (about 3.5 s of stated delays). A 5 ms
// precise QTimer notes the time between its turns; the longest gap is the
// figure. Both run against the demo's simulated adapters with the program's
// real ports.
#include <QCoreApplication>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "demo_bench.h"
#include "adapters/compact/compact_flash.h"
#include "models/firmware_image.h"
#include "qt_support/pty_serial_rig.h"

namespace {

constexpr double kTargetMs = 50;
constexpr size_t kImageBytes = 16 * 1024;

using Clock = std::chrono::steady_clock;

class GapMeter {
public:
    GapMeter()
    {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] { turn(); });
    }
    void start()
    {
        longestMs = 0;
        last_ = Clock::now();
        timer_.start(5);
    }
    void stop()
    {
        // The stretch from the last turn to the end counts too.
        turn();
        timer_.stop();
    }
    double longestMs = 0;

private:
    void turn()
    {
        const auto now = Clock::now();
        longestMs = std::max(longestMs, std::chrono::duration<double, std::milli>(now - last_).count());
        last_ = now;
    }
    QTimer timer_;
    Clock::time_point last_;
};

} // namespace

int main(int argc, char* argv[])
{
    // The demo sets the environment the ports read, so it comes first.
    lp::sim::DemoOptions options;
    std::string error;
    const std::unique_ptr<lp::sim::DemoSession> demo = lp::bench::startLp2Demo(options, true, error);
    if (!demo) {
        std::printf("{\"benchmark\": \"event_loop_gaps\", \"error\": \"demo: %s\", \"met\": false}\n",
                    lp::bench::jsonText(error).c_str());
        return 1;
    }
    QCoreApplication app(argc, argv);
    lp::bench::ProgramContext program;
    lp::Context& ctx = program.ctx;
    GapMeter meter;

    // Compact flash, paced by its timer as on the flash screen.
    const std::string hexPath = demo->temporaryFolder() + "/bench16k.hex";
    {
        const std::string text = lp::sim::firmwareFileText(lp::sim::pseudoRandomImage(kImageBytes, 5));
        if (FILE* f = std::fopen(hexPath.c_str(), "wb")) {
            std::fwrite(text.data(), 1, text.size(), f);
            std::fclose(f);
        }
    }
    double flashGapMs = 0, flashSeconds = 0;
    bool flashOk = false;
    std::string flashWhy;
    {
        auto connection = ctx.ports.serialPorts->create();
        lp::test::RecordingCompactScreen screen;
        lp::CompactFlash flash(ctx, *connection, screen);
        screen.drive(*ctx.ports.host, flash);
        meter.start();
        const auto begin = Clock::now();
        if (flash.start(static_cast<int16_t>(options.compact.port), hexPath))
            ctx.ports.host->waitUntil([&] { return !flash.transferring(); }, 120'000);
        flashSeconds = std::chrono::duration<double>(Clock::now() - begin).count();
        meter.stop();
        flashGapMs = meter.longestMs;
        flashOk = flash.result().succeeded;
        flashWhy = flash.result().reason;
    }

    // Second-generation Summary read.
    double summaryGapMs = 0, summarySeconds = 0;
    lp::bench::RowsView view;
    {
        ctx.g_strDeviceKind = lp::kKindLP2;
        auto connection = ctx.ports.serialPorts->create();
        meter.start();
        const auto begin = Clock::now();
        lp::ReadLp2Summary(ctx, *connection, view);
        summarySeconds = std::chrono::duration<double>(Clock::now() - begin).count();
        meter.stop();
        summaryGapMs = meter.longestMs;
    }
    const bool summaryOk = !view.rows[0].empty() && view.rows[0] != "Not Present";

    const bool met = flashOk && summaryOk && flashGapMs <= kTargetMs && summaryGapMs <= kTargetMs;
    std::printf("{\"benchmark\": \"event_loop_gaps\", \"compact_flash_longest_gap_ms\": %.1f, "
                "\"summary_longest_gap_ms\": %.1f, \"target_ms\": %.0f, \"met\": %s, \"compact_flash_ok\": %s, "
                "\"compact_flash_seconds\": %.2f, \"compact_flash_image_bytes\": %zu, \"summary_ok\": %s, "
                "\"summary_seconds\": %.2f%s}\n",
                flashGapMs, summaryGapMs, kTargetMs, met ? "true" : "false", flashOk ? "true" : "false", flashSeconds,
                kImageBytes, summaryOk ? "true" : "false", summarySeconds,
                flashOk ? "" : (", \"compact_flash_error\": \"" + lp::bench::jsonText(flashWhy) + "\"").c_str());
    std::remove(hexPath.c_str());
    demo->stop();
    return 0;
}

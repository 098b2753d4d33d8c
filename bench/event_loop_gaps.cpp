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

#include "core/context.h"
#include "demo/demo_options.h"
#include "demo/demo_session.h"
#include "flash/compact_flash.h"
#include "info/summary_reading.h"
#include "models/firmware_image.h"
#include "platform/host.h"
#include "platform/qt/real_ports.h"
#include "ports/recording_screens.h"
#include "ports/scripted_prompts.h"
#include "shell/startup.h"
#include "shell/string_table.h"

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

class RowsView final : public lp::SummaryView {
public:
    void setRowValue(int row, const std::string& value) override
    {
        if (row >= 1 && row <= 8)
            rows[row - 1] = value;
    }
    std::string rowValue(int row) const override { return row >= 1 && row <= 8 ? rows[row - 1] : std::string(); }
    void setMainWindowEnabled(bool) override {}
    void showConnectingDialog(const std::string&) override {}
    void unloadConnectingDialog() override {}
    std::string rows[8];
};

struct TimerScreen final : lp::CompactFlashScreen {
    void showProgressDialog() override {}
    void unloadProgressDialog() override {}
    void setProgressMaximum(int32_t) override {}
    void setProgressValue(int32_t) override {}
    void setProgramDeviceTimerEnabled(bool on) override { timer->setEnabled(on); }
    int mousePointer() const override { return 0; }
    void setMousePointer(int) override {}
    void showExitReturnDialog(const std::string&) override {}
    void returnToReadyState() override {}
    std::unique_ptr<lp::HostTimer> timer;
};

std::string jsonText(const std::string& s)
{
    std::string out;
    for (char c : s)
        if (c != '"' && c != '\\' && static_cast<unsigned char>(c) >= 0x20)
            out += c;
    return out;
}

} // namespace

int main(int argc, char* argv[])
{
    // The demo sets the environment the ports read, so it comes first.
    lp::sim::DemoOptions options;
    std::string error;
    std::unique_ptr<lp::sim::DemoSession> demo;
    if (lp::sim::demoOptionsFor("lp2", options, error)) {
        options.compact.enabled = true;
        demo = lp::sim::startDemo(options, error);
    }
    if (!demo) {
        std::printf("{\"benchmark\": \"event_loop_gaps\", \"error\": \"demo: %s\", \"met\": false}\n",
                    jsonText(error).c_str());
        return 1;
    }
    QCoreApplication app(argc, argv);
    lp::RealPorts ports;
    lp::sim::ScriptedPrompts prompts;
    lp::sim::RecordingScreenCalls screens;
    lp::Context ctx;
    ports.attach(ctx, &prompts);
    if (!ctx.ports.screens)
        ctx.ports.screens = &screens;
    ctx.g_strRegistryKey = lp::LoadResString(801);
    ctx.g_intToolkitMode = lp::ChooseToolkitMode(ctx);
    lp::ChooseDeviceKind(ctx);
    lp::ApplyDeviceFlags(ctx);
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
        TimerScreen screen;
        lp::CompactFlash flash(ctx, *connection, screen);
        screen.timer = ctx.ports.host->createTimer([&] { flash.tick(); });
        screen.timer->setInterval(lp::CompactFlash::kProgramDeviceIntervalMs);
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
    RowsView view;
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
                flashOk ? "" : (", \"compact_flash_error\": \"" + jsonText(flashWhy) + "\"").c_str());
    std::remove(hexPath.c_str());
    demo->stop();
    return 0;
}

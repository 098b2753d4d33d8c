// How much CPU a 1750 ms DelayMilliseconds costs on the real host (a
// busy wait cost a whole core), and how long the event loop goes unturned
// meanwhile (the window's repaint latency during the delay).
#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "bench_support.h"
#include "core/context.h"
#include "platform/qt/qt_host.h"
#include "core/delays.h"

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    lp::QtHost host;
    lp::Context ctx;
    ctx.ports.host = &host;

    constexpr int kRuns = 3;
    constexpr int16_t kDelayMs = 1750;
    constexpr double kCpuTarget = 0.05;
    constexpr double kGapTargetMs = 50;

    using Clock = std::chrono::steady_clock;
    Clock::time_point lastTurn;
    double longestGapMs = 0;
    QTimer turns;
    turns.setTimerType(Qt::PreciseTimer);
    QObject::connect(&turns, &QTimer::timeout, [&] {
        const auto now = Clock::now();
        longestGapMs = std::max(longestGapMs, std::chrono::duration<double, std::milli>(now - lastTurn).count());
        lastTurn = now;
    });

    double cpuTotal = 0, wallTotal = 0, worstFraction = 0;
    bool allDelaysOk = true;
    for (int run = 0; run < kRuns; ++run) {
        turns.start(5);
        lastTurn = Clock::now();
        const double cpu0 = lp::bench::cpuSeconds();
        const auto wall0 = Clock::now();
        allDelaysOk = lp::DelayMilliseconds(ctx, kDelayMs) && allDelaysOk;
        const double wall = std::chrono::duration<double>(Clock::now() - wall0).count();
        const double cpu = lp::bench::cpuSeconds() - cpu0;
        // The turn after the delay ends counts too: it shows the tail.
        const auto now = Clock::now();
        longestGapMs = std::max(longestGapMs, std::chrono::duration<double, std::milli>(now - lastTurn).count());
        turns.stop();
        cpuTotal += cpu;
        wallTotal += wall;
        worstFraction = std::max(worstFraction, cpu / wall);
    }

    const double fraction = cpuTotal / wallTotal;
    std::printf("{\"benchmark\": \"delay_cpu\", \"cpu_fraction\": %.4f, \"target\": %.2f, \"met\": %s, "
                "\"worst_run_cpu_fraction\": %.4f, \"runs\": %d, \"delay_ms\": %d, \"mean_wall_ms\": %.1f, "
                "\"delays_completed\": %s, \"longest_event_gap_ms\": %.1f, \"event_gap_target_ms\": %.0f, "
                "\"event_gap_met\": %s}\n",
                fraction, kCpuTarget, fraction <= kCpuTarget ? "true" : "false", worstFraction, kRuns, kDelayMs,
                wallTotal * 1000 / kRuns, allDelaysOk ? "true" : "false", longestGapMs, kGapTargetMs,
                longestGapMs <= kGapTargetMs ? "true" : "false");
    return 0;
}

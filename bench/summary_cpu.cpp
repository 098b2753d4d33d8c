// What a second-generation Summary read costs the whole process in CPU: the
// read waits through about 3.5 s of the adapter's and driver's stated delays,
// and those waits must sleep, not spin. Runs against the demo's simulated
// adapter (in this process, behind a real pseudo-terminal and the test driver
// library) with the program's real ports, so the adapter model's own threads
// are counted too, as they would not be on a PC; the figure is an upper bound.
#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "demo_bench.h"

namespace {

constexpr double kTarget = 0.05;

} // namespace

int main(int argc, char* argv[])
{
    // The demo sets the environment the ports read, so it comes first.
    lp::sim::DemoOptions options;
    std::string error;
    const std::unique_ptr<lp::sim::DemoSession> demo = lp::bench::startLp2Demo(options, false, error);
    if (!demo) {
        std::printf("{\"benchmark\": \"summary_cpu\", \"error\": \"demo: %s\", \"met\": false}\n",
                    lp::bench::jsonText(error).c_str());
        return 1;
    }
    QCoreApplication app(argc, argv);
    lp::bench::ProgramContext program;
    lp::Context& ctx = program.ctx;
    ctx.g_strDeviceKind = lp::SummaryDeviceKind(ctx);
    auto connection = ctx.ports.serialPorts->create();
    lp::bench::RowsView view;

    const double cpu0 = lp::bench::cpuSeconds();
    const auto wall0 = std::chrono::steady_clock::now();
    lp::ReadLp2Summary(ctx, *connection, view);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
    const double cpu = lp::bench::cpuSeconds() - cpu0;
    const double fraction = wall > 0 ? cpu / wall : 1;
    // A read that failed fast would look cheap; the rows say it was real.
    const bool read = !view.rows[0].empty() && view.rows[0] != "Not Present" && program.prompts.boxes().empty();

    std::printf("{\"benchmark\": \"summary_cpu\", \"cpu_fraction\": %.4f, \"target\": %.2f, \"met\": %s, "
                "\"cpu_seconds\": %.3f, \"wall_seconds\": %.3f, \"device_kind\": \"%s\", \"read_ok\": %s, "
                "\"hardware\": \"%s\", \"serial_ip\": \"%s\"}\n",
                fraction, kTarget, read && fraction <= kTarget ? "true" : "false", cpu, wall,
                ctx.g_strDeviceKind.c_str(), read ? "true" : "false", view.rows[0].c_str(), view.rows[4].c_str());
    connection.reset();
    demo->stop();
    return 0;
}

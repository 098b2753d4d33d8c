#pragma once
// What the benchmarks that run against the demo's simulated adapters share:
// the demo started before the real ports (it sets the environment they
// read), a context as the program has it after start-up, and a Summary view
// that keeps its rows.
#include <memory>
#include <string>

#include "bench_support.h"
#include "core/context.h"
#include "demo/demo_options.h"
#include "demo/demo_session.h"
#include "operations/summary_reading.h"
#include "platform/qt/real_ports.h"
#include "doubles/recording_screens.h"
#include "doubles/scripted_prompts.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp::bench {

// The program's own demo with the second-generation adapter selected, the
// compact adapter too when asked; null with `error` when it cannot start.
inline std::unique_ptr<sim::DemoSession> startLp2Demo(sim::DemoOptions& options, bool withCompact,
                                                      std::string& error)
{
    if (!sim::demoOptionsFor("lp2", options, error))
        return nullptr;
    if (withCompact)
        options.compact.enabled = true;
    return sim::startDemo(options, error);
}

// The real ports with scripted prompts and recorded screen calls, and the
// start-up choices (registry key, toolkit mode, device kind) made. Needs
// the QCoreApplication and the demo first.
struct ProgramContext {
    ProgramContext()
    {
        ports.attach(ctx, &prompts);
        ctx.ports.screens = &screens;
        ctx.g_strRegistryKey = LoadResString(801);
        ctx.g_intToolkitMode = ChooseToolkitMode(ctx);
        ChooseDeviceKind(ctx);
        ApplyDeviceFlags(ctx);
    }
    ProgramContext(const ProgramContext&) = delete;
    ProgramContext& operator=(const ProgramContext&) = delete;

    RealPorts ports;
    sim::ScriptedPrompts prompts;
    sim::RecordingScreenCalls screens;
    Context ctx;
};

class RowsView final : public SummaryView {
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

} // namespace lp::bench

// linkport: the toolkit's procedures from the command line, over the same
// real ports as the windows.
#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/session.h"
#include "operations/summary_reading.h"
#include "platform/qt/qt_logger.h"
#include "platform/qt/real_ports.h"
#include "ports/registry_store.h"
#include "settings/modLibrary.h"
#include "operations/startup.h"
#include "core/string_table.h"
#include "version.h"
#ifdef LP_HAVE_DEMO
#include "demo/demo_firmware.h"
#include "demo/demo_options.h"
#include "demo/demo_session.h"
#include "demo/stop_signals.h"
#endif

namespace lp::cli {

int fail(Session& s, int code, const std::string& message)
{
    s.json = JsonWriter();
    s.json.beginObject().member("error", message).endObject();
    s.text.clear();
    if (!s.args.json)
        std::fprintf(stderr, "linkport: %s\n", message.c_str());
    return code;
}

void PrepareContext(Context& ctx)
{
    ctx.g_strRegistryKey = LoadResString(Res::ToolkitRegistryKey);
    // The compact adapter belongs to the compact edition: a stored compact
    // adapter is served as that edition would, without asking for /CLP.
    ctx.commandLine = ReadPrevAdapter(ctx) == kKindCompact ? "/CLP" : "";
    ctx.g_intToolkitMode = ChooseToolkitMode(ctx);
    ChooseDeviceKind(ctx);
    ApplyDeviceFlags(ctx);
}

namespace {

int runCommand(Session& s)
{
    const std::string& c = s.args.command;
    if (c == "summary")
        return runSummary(s);
    if (c == "flash")
        return runFlash(s);
    if (c == "test")
        return runTest(s);
    if (c == "ports")
        return runPorts(s);
    if (c == "wireless")
        return runWireless(s);
    if (c == "config")
        return runConfig(s);
    return runLog(s);
}

void printUsageError(const Arguments& args, const std::string& error)
{
    if (args.json) {
        JsonWriter w;
        w.beginObject().member("error", error).endObject();
        std::printf("%s\n", w.text().c_str());
    }
    std::fprintf(stderr, "linkport: %s\n%s", error.c_str(), args.json ? "" : "Try 'linkport --help'.\n");
}

#ifdef LP_HAVE_DEMO
// Starts the demo's adapters; the exit code when the command is not to run.
std::optional<int> startCliDemo(const Arguments& args, std::unique_ptr<lp::sim::DemoSession>& demo,
                                std::unique_ptr<lp::sim::StopSignals>& stopSignals)
{
    std::string error;
    // Ctrl-C: the demo removes its links and folders before the end.
    // There is no event loop to return through, so the end is here.
    // While the demo starts, a signal is only noted (stopSignals keeps
    // it) and this thread ends the start-up; once it runs, the signal's
    // thread stops it. `phase` says who may touch the session.
    static std::atomic<int> phase{0}; // 0 starting, 1 running, 2 stopping
    stopSignals = std::make_unique<lp::sim::StopSignals>([&demo](int signal) {
        int running = 1;
        if (!phase.compare_exchange_strong(running, 2))
            return;
        demo->stop();
        std::_Exit(128 + signal);
    });
    lp::sim::DemoOptions options;
    if (lp::sim::demoOptionsFor(args.demo, options, error)) {
        options.writeFirmwareFiles = lp::WriteDemoFirmwareFiles;
        demo = lp::sim::startDemo(options, error);
    }
    if (!demo) {
        printUsageError(args, "the demo cannot start: " + error);
        return kExitFailed;
    }
    phase.store(1);
    if (const int signal = stopSignals->stopAsked()) {
        int running = 1;
        if (!phase.compare_exchange_strong(running, 2))
            for (;;)
                std::this_thread::sleep_for(std::chrono::seconds(1)); // the signal's thread ends us
        demo->stop();
        return 128 + signal;
    }
    return std::nullopt;
}
#endif

} // namespace

} // namespace lp::cli

int main(int argc, char* argv[])
{
    using namespace lp::cli;
    std::vector<std::string> words(argv + 1, argv + argc);
    Arguments args;
    std::string error;
    if (!parseArguments(words, args, error)) {
        printUsageError(args, error);
        return kExitUsage;
    }
    if (args.help) {
        std::fputs(usageText(args.command).c_str(), stdout);
        return kExitDone;
    }
    if (args.version) {
        std::printf("linkport %s\n", lp::version::text);
        return kExitDone;
    }

#ifdef LP_HAVE_DEMO
    // The demo sets the environment the ports read, so it comes first.
    std::unique_ptr<lp::sim::DemoSession> demo;
    std::unique_ptr<lp::sim::StopSignals> stopSignals;
    if (!args.demo.empty()) {
        if (const std::optional<int> ended = startCliDemo(args, demo, stopSignals))
            return *ended;
    }
#else
    if (!args.demo.empty()) {
        printUsageError(args, "this build has no demo");
        return kExitUsage;
    }
#endif

    int qtArgc = 1;
    QCoreApplication app(qtArgc, argv);
    QCoreApplication::setApplicationName("linkport-toolkit");
    QCoreApplication::setApplicationVersion(lp::version::text);

    // The trace goes to the log file, as the GUI's does, not onto the terminal.
    lp::installLogFile();
    lp::RealPorts ports;
    TerminalPrompts prompts(args.answer);
    lp::Context ctx;
    ports.attach(ctx, &prompts);
    // Settings that cannot be read must not pass for no settings at all: a
    // command that uses them says so and stops; the others warn.
    const std::string settingsProblem = ctx.ports.registry ? ctx.ports.registry->readProblem() : std::string();
    PrepareContext(ctx);

    Session session{ctx, args, prompts, {}, {}};
    int rc = kExitUsage;
    if (settingsProblem.empty() || args.command == "log" || args.command == "ports") {
        if (!settingsProblem.empty())
            std::fprintf(stderr, "linkport: warning: %s\n", settingsProblem.c_str());
        rc = runCommand(session);
    } else {
        rc = fail(session, kExitUsage, settingsProblem);
    }
    if (prompts.unanswered() && rc != kExitDone) {
        rc = fail(session, kExitUsage,
                  "a question needs an answer (--yes or --no): " + *prompts.unanswered());
    }
    if (args.json)
        std::printf("%s\n", session.json.text().c_str());
    else
        std::fputs(session.text.c_str(), stdout);
    std::fflush(stdout);
    lp::uninstallLogFile();
    return rc;
}

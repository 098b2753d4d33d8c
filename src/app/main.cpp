// The program: builds the real ports and the context, and hands the command
// line to the main window, whose load is the start-up.
#include <QApplication>
#include <QEvent>
#include <QIcon>
#include <QPixmap>
#include <QObject>

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "core/context.h"
#include "platform/qt/qt_logger.h"
#include "platform/qt/qt_prompts.h"
#include "platform/qt/real_ports.h"
#include "ports/registry_store.h"
#include "ui/frmParent.h"
#include "ui/built_in_resources.h"
#include "ui/res_picture.h"
#include "version.h"
#ifdef LP_HAVE_DEMO
#include "demo/demo_firmware.h"
#include "demo/demo_options.h"
#include "demo/stop_signals.h"
#endif

namespace {

const char* const kUsage =
    "Usage: linkport-toolkit [/CLP] [/SIPUpgrade] [--demo[=KIND]] [--help] [--version]\n"
    "\n"
    "Shows what a Linkport datalink adapter holds, flashes application firmware\n"
    "into it and tests its datalinks.\n"
    "\n"
    "  /CLP         start the compact edition (Linkport II and Compact Linkport);\n"
    "               it must be the first thing on the command line\n"
    "  /SIPUpgrade  open Application Firmware Flash first (also at the start)\n"
    "  --demo[=KIND]  try it without adapters: simulated ones on COM1 (Linkport II),\n"
    "               COM7 (Compact Linkport) and 127.0.0.2, 127.0.0.3 (wireless), in\n"
    "               temporary settings; KIND (lp2, compact or wireless, default\n"
    "               lp2) is the one selected; compact needs /CLP as well\n"
    "  --help       show this text and end\n"
    "  --version    show the program's version and end\n"
    "\n"
    "Environment:\n"
    "  windir                  folder of the adapter drivers' INI files\n"
    "  LINKPORT_REGISTRY_FILE  the toolkit's settings (a .reg file)\n"
    "  LINKPORT_DOSDEVICES     folder of comN links naming serial devices\n"
    "  LINKPORT_PRINT_WHEN_SHOWN=1  print \"shown\" on stdout when the main window\n"
    "                          is first shown (start-up timing; the caller ends it)\n";

// The command line as the program reads it: everything after the program
// name, as one text.
std::string commandLineText(int argc, char* argv[])
{
    std::string line;
    for (int i = 1; i < argc; ++i) {
        if (i > 1)
            line += ' ';
        line += argv[i];
    }
    return line;
}

// The start-up benchmark times the program from its start to the main
// window on screen; this says when that is, on stdout. The window is shown
// inside the load, where a modal start-up box may follow, so the program
// cannot reliably end itself here; the benchmark ends it.
class PrintWhenShown final : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && !done_) {
            done_ = true;
            std::fputs("shown\n", stdout);
            std::fflush(stdout);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool done_ = false;
};

// --demo is ours, not part of the command line the shell reads: taken out
// of argv here. "" when it is not there.
std::string takeDemoOption(int& argc, char* argv[])
{
    std::string demoKind;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--demo") == 0 || std::strncmp(argv[i], "--demo=", 7) == 0) {
            demoKind = argv[i][6] == '=' ? argv[i] + 7 : "lp2";
            for (int j = i; j < argc; ++j)
                argv[j] = argv[j + 1];
            --argc;
            --i;
        }
    }
    return demoKind;
}

// --help and --version, answered before Qt starts: no window, no display,
// no instance lock. The exit code, or nothing when neither was asked.
std::optional<int> answerHelpOrVersion(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("linkport-toolkit %s\n", lp::version::text);
            return 0;
        }
    }
    return std::nullopt;
}

#ifdef LP_HAVE_DEMO
// Starts the demo's adapters; the exit code when the program is to end.
std::optional<int> startGuiDemo(const std::string& demoKind, std::unique_ptr<lp::sim::DemoSession>& demo,
                                std::unique_ptr<lp::sim::StopSignals>& stopSignals)
{
    // Ctrl-C ends the program the normal way, so the demo removes what it
    // made. A signal before the event loop runs is kept by stopSignals and
    // looked at after the window's load; a second one removes the demo's
    // files and ends.
    stopSignals = std::make_unique<lp::sim::StopSignals>(
        [](int) {
            if (QCoreApplication* app = QCoreApplication::instance())
                QMetaObject::invokeMethod(app, &QCoreApplication::quit, Qt::QueuedConnection);
        },
        [&demo] {
            if (demo)
                demo->stop();
        });
    lp::sim::DemoOptions options;
    std::string error;
    if (lp::sim::demoOptionsFor(demoKind, options, error)) {
        options.writeFirmwareFiles = lp::WriteDemoFirmwareFiles;
        demo = lp::sim::startDemo(options, error);
    }
    if (const int signal = stopSignals->stopAsked()) {
        stopSignals.reset();
        demo.reset();
        return 128 + signal;
    }
    if (!demo) {
        std::fprintf(stderr, "linkport-toolkit: the demo cannot start: %s\n", error.c_str());
        return 1;
    }
    std::fprintf(stderr, "Demo: simulated adapters\n%s", demo->description().c_str());
    return std::nullopt;
}
#endif

} // namespace

int main(int argc, char* argv[])
{
    const std::string demoKind = takeDemoOption(argc, argv);
    if (const std::optional<int> answered = answerHelpOrVersion(argc, argv))
        return *answered;

#ifdef LP_HAVE_DEMO
    // The demo sets the environment variables that the ports below read, so
    // it starts before them and before Qt has threads that might read it too.
    std::unique_ptr<lp::sim::DemoSession> demo;
    std::unique_ptr<lp::sim::StopSignals> stopSignals;
    if (!demoKind.empty()) {
        if (const std::optional<int> ended = startGuiDemo(demoKind, demo, stopSignals))
            return *ended;
    }
#else
    if (!demoKind.empty()) {
        std::fputs("linkport-toolkit: this build has no demo\n", stderr);
        return 1;
    }
#endif

    QApplication app(argc, argv); // takes Qt's own options out of argv
    lp::loadBuiltInResources();
    QApplication::setApplicationName("linkport-toolkit");
    QApplication::setApplicationVersion(lp::version::text);
    // The desktop entry's icon, so the window and the menu look alike; the
    // drawn icon when the picture is missing from the resources.
    const QPixmap appIcon(QStringLiteral(":/icons/linkport-toolkit.png"));
    QApplication::setWindowIcon(appIcon.isNull() ? lp::resIcon(lp::ResPictureId::AppIcon, lp::ResPictureKind::Icon)
                                                 : QIcon(appIcon));
    QApplication::setDesktopFileName(QStringLiteral("linkport-toolkit"));
    lp::installLogFile();

    lp::RealPorts realPorts;
    lp::QtPrompts prompts(&realPorts.logger());
    lp::Context ctx;
    realPorts.attach(ctx, &prompts);
    ctx.commandLine = commandLineText(argc, argv);
    // Settings that cannot be read would otherwise look like a first start.
    if (const std::string problem = ctx.ports.registry ? ctx.ports.registry->readProblem() : std::string();
        !problem.empty())
        prompts.msgBox(problem, lp::MsgBoxStyle::Exclamation, "Linkport Toolkit");

    int rc = 0;
    {
        lp::frmParent mainWindow(ctx);
        PrintWhenShown printWhenShown;
        if (qEnvironmentVariableIntValue("LINKPORT_PRINT_WHEN_SHOWN") == 1)
            mainWindow.installEventFilter(&printWhenShown);
        prompts.setParent(&mainWindow);
        QObject::connect(&mainWindow, &lp::frmParent::mainWindowUnloaded, &app, &QCoreApplication::quit,
                         Qt::QueuedConnection);
        mainWindow.MDIForm_Load();
#ifdef LP_HAVE_DEMO
        // Asked to stop during the load, whose own waits may have taken the
        // quit for theirs.
        const int stopSignal = stopSignals ? stopSignals->stopAsked() : 0;
#else
        const int stopSignal = 0;
#endif
        if (stopSignal)
            rc = 128 + stopSignal;
        else if (!mainWindow.unloaded())
            rc = app.exec();
        prompts.setParent(nullptr);
    }
    lp::uninstallLogFile();
    return rc;
}

// Every flash fault of linkport-sim against the real programs: linkport
// --json and the flash screen, the simulator a child process serving real
// pseudo-terminals, loopback TCP and the test driver library. A row is the
// ending a technician must see: exit code and result, records, read-back,
// the last message (and the failure's reason), the flash log's line, what
// the Summary says afterwards; on the screen, a window that keeps its turns
// through every wait of a serial or wireless flash.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

#include <fstream>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "doubles/scripted_prompts.h"
#include "platform/qt/real_ports.h"
#include "ports/host.h"
#include "qt_support/gap_meter.h"
#include "qt_support/linkport_process.h"
#include "qt_support/modal.h"
#include "qt_support/sim_process.h"
#include "qt_support/stand_in_screen.h"
#include "support/require.h"
#include "support/scoped_env.h"
#include "ui/dialogs/frmDownloadProgress.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/dialogs/frmSelectFile.h"
#include "ui/frmParent.h"
#include "ui/screens/frmFlash.h"

#if defined(LP_CLI_PROGRAM) && defined(LP_SIM_PROGRAM) && defined(LP_DEMO_FIRMWARE_DIR)

namespace {

using namespace lp;
using namespace lp::test;

struct Row {
    const char* name;
    const char* kind;     // lp2, compact, wireless
    const char* fault;    // the simulator's option, "" for none
    const char* ending;   // exit code and result
    int records;          // acknowledged (compact) or sent (wireless) at the end
    const char* readBack; // "" when no flash completed
    const char* message;  // in the attempt's last message
    const char* reason;   // in the failure's reason, telling faults with one message apart
    const char* after;    // the Summary's application version, or "loader"
    double lateBy = 0;    // seconds beyond the adapter's fault-free row
    bool gui = false;     // the flash screen runs it too
};
void PrintTo(const Row* r, std::ostream* out) { *out << r->name; }

constexpr int kFile = 17; // the demo HEX files' records, the end-of-file record included
const char* const kDone = "Flash Completed Successfully!";
const char* const kCompactError = "An error occured while flashing the Compact Linkport.  Please retry!";
const char* const kHardFlash = "Error while programming device.  Please retry!";
const char* const kPowerCycle = "Please power cycle the adapter manually.";
constexpr double kLongestGapMs = 250;

// One row a line, to be read as a table.
const Row kRows[] = {
    {"Lp2Flashes", "lp2", "", "0 success", 0, "verified", kDone, "", "1.9", 0, true},
    {"Lp2RefusesTheFlash", "lp2", "--lp2-flash-refused", "1 failure", 0, "", "Error Code # 150", "", "1.8"},
    {"Lp2FlashNeverCompletes", "lp2", "--lp2-flash-hangs", "1 failure", 0, "", "Error Code # 142", "", "Not Present", 0, true},
    {"Lp2RunsAnotherVersion", "lp2", "--lp2-version-after-flash=1.7", "1 success", 0, "mismatch", kDone, "", "1.7"},
    {"CompactFlashes", "compact", "", "0 success", kFile, "verified", kDone, "", "01.08.12", 0, true},
    {"CompactLoaderNeverAnswers", "compact", "--compact-loader-silent", "1 failure", 0, "", "could not be initialized", "no ready answer", nullptr},
    {"CompactSilentFromRecord5", "compact", "--compact-flash-silent=5", "1 failure", 4, "", kCompactError, "reply none", "loader"},
    {"CompactRefusesRecord5", "compact", "--compact-flash-refuse=5", "1 failure", 4, "", kCompactError, "reply 15", nullptr},
    {"CompactGarbageForRecord5", "compact", "--compact-flash-garbage=5", "1 failure", 4, "", kCompactError, "reply A75C0EF1", nullptr},
    {"CompactLateAnswerInTime", "compact", "--compact-flash-late=5:1200", "0 success", kFile, "verified", kDone, "", nullptr, 1.2},
    {"CompactLinkDropsAtRecord5", "compact", "--compact-flash-drop=5", "1 failure", 4, "", "hardware is not connected", "went away", nullptr, 0, true},
    {"CompactDoesNotComeBack", "compact", "--compact-no-restart", "1 success", kFile, "not read", kDone, "", nullptr},
    {"CompactRunsAnotherVersion", "compact", "--compact-version-after-flash=01.07.99", "1 success", kFile, "mismatch", kDone, "", "01.07.99"},
    {"WirelessFlashes", "wireless", "", "0 success", kFile, "verified", kDone, "", "01.08.12", 0, true},
    {"WirelessLoaderNeverAnswers", "wireless", "--wireless-loader-silent", "1 failure", 0, "", kHardFlash, "no answer in state 10", nullptr},
    {"WirelessSilentFromRecord5", "wireless", "--wireless-flash-silent=5", "1 failure", 5, "", kHardFlash, "no answer in state 6", nullptr, 0, true},
    {"WirelessRefusesRecord5", "wireless", "--wireless-flash-refuse=5", "1 failure", 5, "", kPowerCycle, "answered 15", "loader"},
    {"WirelessGarbageForRecord5", "wireless", "--wireless-flash-garbage=5", "1 failure", 5, "", kPowerCycle, "answered A75C0E", nullptr, 0, true},
    // Three seconds without an answer: the record goes again, and the late answers carry the flash to its end.
    {"WirelessLateAnswerResent", "wireless", "--wireless-flash-late=5:4000", "0 success", kFile, "verified", kDone, "", "01.08.12", 4, true},
    {"WirelessDropsAtRecord5", "wireless", "--wireless-flash-drop=5", "1 failure", 5, "", "Error# 10054", "socket error 10054", nullptr, 0, true},
    {"WirelessDoesNotComeBack", "wireless", "--wireless-no-restart", "1 failure", kFile, "", "Error# 10061", "no connection after the restart", nullptr},
    {"WirelessRunsAnotherVersion", "wireless", "--wireless-version-after-flash=01.07.99", "1 success", kFile, "mismatch", kDone, "", "01.07.99"},
};

std::string demoFile(const std::string& kind)
{
    return std::string(LP_DEMO_FIRMWARE_DIR "/")
           + (kind == "lp2"       ? "LP2-demo-1.9.apf"
              : kind == "compact" ? "CompactLinkport-demo-01.08.12.hex"
                                  : "WirelessLinkport-demo-01.08.12.hex");
}

std::vector<QJsonObject> logLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<QJsonObject> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
    return lines;
}

// The attempt's two lines in the flash log, the second with its ending.
void expectLogged(const std::string& path, const Row& r, const char* source)
{
    const std::vector<QJsonObject> lines = logLines(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(str(lines[0]["result"]) + " " + str(lines[1]["source"]), std::string("started ") + source);
    EXPECT_EQ(r.ending + 2, str(lines[1]["result"]));
    EXPECT_EQ(lines[1]["records"].toInteger(-1), r.records);
    EXPECT_EQ(str(lines[1]["read_back"]), r.readBack);
}

// linkport-sim with the row's adapter and fault, a wireless one on 127.0.0.<address>.
struct Simulator {
    Simulator(const Row& r, int address)
        : process(arguments(r, address)), ready(process.readUntil("press Ctrl-C"))
    {
    }
    static std::vector<std::string> arguments(const Row& r, int address)
    {
        std::vector<std::string> args{"--" + std::string(r.kind), "--select", r.kind};
        if (r.kind == std::string("wireless"))
            args[0] += "=127.0.0." + std::to_string(address);
        if (*r.fault)
            args.push_back(r.fault);
        return args;
    }
    // The program's settings lead to the simulator while the result lives.
    std::vector<std::unique_ptr<ScopedEnv>> settings() const
    {
        std::vector<std::unique_ptr<ScopedEnv>> env;
        for (const char* name : {"windir", "LINKPORT_REGISTRY_FILE", "LINKPORT_DOSDEVICES"})
            env.push_back(std::make_unique<ScopedEnv>(name, process.value(name)));
        return env;
    }
    SimProcess process;
    bool ready;
};

// A row of the command line's table: its simulator, and linkport running against it.
struct CliRow {
    const Row& row;
    Simulator sim;
    TempDir home;
    std::unique_ptr<QProcess> running;
    void start(const QStringList& args)
    {
        auto env = sim.settings();
        running = startLinkport(home, args);
    }
};

// Every row at once: the waits are time-outs, not work, so the table takes as
// long as its slowest row.
TEST(FlashFaultTable, EveryFaultFromTheCommandLine)
{
    std::vector<std::unique_ptr<CliRow>> rows;
    for (const Row& r : kRows)
        rows.push_back(std::unique_ptr<CliRow>(new CliRow{r, {r, 150 + static_cast<int>(rows.size())}}));
    for (auto& c : rows) {
        LP_REQUIRE(c->sim.ready, "linkport-sim on a pseudo-terminal: " << c->sim.process.err);
        c->start({"--json", "--yes", "flash", QString::fromStdString(demoFile(c->row.kind))});
    }
    std::map<std::string, double> seconds; // by row, and the fault-free ones by adapter kind
    for (auto& c : rows) {
        const Row& r = c->row;
        SCOPED_TRACE(r.name);
        const CliRun flash = finish(*c->running);
        EXPECT_EQ(outcome(flash), r.ending) << flash.err;
        EXPECT_EQ(flash.json["records"].toInteger(-1), r.records);
        EXPECT_LE(flash.json["records"].toInteger(), flash.json["record_count"].toInteger());
        EXPECT_EQ(str(flash.json["read_back"]), r.readBack);
        EXPECT_NE(str(flash.json["messages"].toArray().last().toObject()["text"]).find(r.message), std::string::npos);
        EXPECT_NE(str(flash.json["reason"]).find(r.reason), std::string::npos) << str(flash.json["reason"]);
        expectLogged(c->home.file("data/linkport-toolkit/flash-log.jsonl"), r, "cli");
        seconds[r.name] = flash.json["seconds"].toDouble();
        if (!*r.fault)
            seconds[r.kind] = seconds[r.name];
        if (r.after)
            c->start({"--json", "summary"});
        else
            c->running.reset();
    }
    for (auto& c : rows) {
        const Row& r = c->row;
        SCOPED_TRACE(r.name);
        if (r.lateBy > 0) { // a late answer shows in the attempt's time
            EXPECT_GE(seconds[r.name] - seconds[r.kind], r.lateBy * 0.9);
        }
        if (!c->running)
            continue;
        const CliRun summary = finish(*c->running);
        // An adapter in its loader answered: its state, on top of the link's box.
        const bool loader = r.after == std::string("loader");
        EXPECT_EQ(summary.code, loader ? 1 : 0) << summary.err;
        EXPECT_EQ(str(summary.json["adapter_state"]).find("In its loader") == 0, loader);
        if (!loader) {
            EXPECT_EQ(summary.err.find("Check the cable"), std::string::npos) << summary.err;
            EXPECT_EQ(str(summary.json["rows"].toArray()[r.kind == std::string("wireless") ? 4 : 1].toObject()["value"]),
                      r.after);
        }
    }
}

// The flash screen in the main window over the program's real ports.
class FlashScreen : public ::testing::TestWithParam<const Row*> {};

TEST_P(FlashScreen, BeginFlash)
{
    const Row& r = *GetParam();
    TempDir home;
    Simulator sim(r, 200 + static_cast<int>(&r - kRows));
    LP_REQUIRE(sim.ready, "linkport-sim on a pseudo-terminal: " << sim.process.err);
    const auto env = sim.settings();
    const std::string logPath = home.file("flash-log.jsonl");
    ScopedEnv log("LINKPORT_FLASH_LOG", logPath);
    RealPorts ports;
    sim::ScriptedPrompts prompts;
    Context ctx;
    ports.attach(ctx, &prompts);
    ShellOptions options{.instanceLockPath = home.file("instance")};
    options.screens.children["Summary"] = [](Context& c, MainWindow& m) -> ChildScreen* {
        return new StandInScreen(c, m, "Summary", "frmVersion", "Summary");
    };
    ctx.commandLine = r.kind == std::string("compact") ? "/CLP" : "";
    auto main = std::make_unique<frmParent>(ctx, std::move(options));
    main->MDIForm_Load();
    // No file is chosen yet: the flash screen opens the select-file dialog by itself.
    const auto choose = [&r](frmSelectFile& d) {
        d.findChild<QLineEdit*>("txtFileName")->setText(QString::fromStdString(demoFile(r.kind)));
        d.cmdOK_Click();
    };
    ASSERT_EQ(withModal<frmSelectFile>([&] { main->SelectScreen("Application Flash"); }, choose, 20), 1);
    auto* screen = qobject_cast<frmFlash*>(main->activeChild());
    ASSERT_NE(screen, nullptr);
    Host& host = *ctx.ports.host;
    host.waitUntil([&] { return !screen->flashRunning(); }, 10000); // a wireless adapter's rows
    const int applicationRow = r.kind == std::string("wireless") ? 4 : 2;
    EXPECT_EQ(screen->adapterRow(applicationRow), r.kind == std::string("lp2") ? "1.8" : "01.07.12");
    std::string done;
    std::pair<int, int> bar{0, 0}; // the progress dialog's last value and maximum
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (frmDownloadProgress* p = screen->downloadProgress())
            bar = {p->progressValue(), p->progressMaximum()};
    });
    watch.start(10);
    GapMeter meter;
    withModal<frmExitReturnDialog>(
        [&] {
            screen->findChild<QPushButton*>("cmdBeginFlash")->click();
            host.waitUntil([&] { return logLines(logPath).size() == 2 && !screen->flashRunning(); }, 60000);
        },
        [&](frmExitReturnDialog& d) {
            done = d.findChild<QLabel*>("lblMessage")->text().toStdString();
            d.reject();
        });
    expectLogged(logPath, r, "gui");
    // The bar fills on the last record's "#" and stays up through the
    // restart and read-back; the driver's flash is one call, too quick to see.
    if (r.kind != std::string("lp2")) {
        EXPECT_EQ(bar.first == bar.second && bar.second > 0, r.ending[2] == 's') << bar.first << "/" << bar.second;
        EXPECT_LT(meter.longestMs(), kLongestGapMs) << "a window that misses its turns this long feels frozen";
    }
    const std::string ending = r.ending[2] == 's' ? done : prompts.boxes().empty() ? "" : prompts.boxes().back().prompt;
    EXPECT_NE(ending.find(r.message), std::string::npos) << ending;
    if (r.readBack == std::string("verified")) {
        EXPECT_TRUE(prompts.boxes().empty());
        EXPECT_EQ(screen->adapterRow(applicationRow), r.after);
    }
    main.reset();
    flushPosted();
}

std::vector<const Row*> screenRows()
{
    std::vector<const Row*> rows;
    for (const Row& r : kRows)
        if (r.gui)
            rows.push_back(&r);
    return rows;
}

INSTANTIATE_TEST_SUITE_P(FlashFaultTable, FlashScreen, ::testing::ValuesIn(screenRows()),
                         [](const auto& info) { return std::string(info.param->name); });

} // namespace

#endif

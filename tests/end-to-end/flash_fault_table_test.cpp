// Every flash fault of linkport-sim against the real programs: linkport
// --json and the flash screen, the simulator a child process serving real
// pseudo-terminals, loopback TCP and the test driver library. Each row is the
// ending a technician must see for one fault: exit code and result, records
// acknowledged, the read-back verdict, a piece of the last message, the flash
// log's line, and what the Summary says afterwards.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QPushButton>

#include <fstream>
#include <map>
#include <ostream>
#include <memory>
#include <string>
#include <vector>

#include "doubles/scripted_prompts.h"
#include "platform/qt/real_ports.h"
#include "ports/host.h"
#include "qt_support/linkport_process.h"
#include "qt_support/modal.h"
#include "qt_support/qt_app.h"
#include "qt_support/sim_process.h"
#include "qt_support/stand_in_screen.h"
#include "support/require.h"
#include "support/scoped_env.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/frmParent.h"
#include "ui/screens/frmFlash.h"

#if defined(LP_CLI_PROGRAM) && defined(LP_SIM_PROGRAM) && defined(LP_DEMO_FIRMWARE_DIR)

namespace {

using namespace lp;
using namespace lp::test;

constexpr int64_t kAll = -1; // every record of the file

struct Row {
    const char* name;
    const char* kind; // lp2, compact, wireless
    std::vector<std::string> faults;
    int exit;
    const char* result;
    int64_t records;      // acknowledged (compact) or sent (wireless) before the end
    const char* readBack; // "" when no flash completed
    const char* message;  // in the last message of the attempt
    const char* reason;   // in the reason of a failure, telling faults with one message apart; null: none
    const char* after;    // the Summary's application version, "loader", or null: not read
    double lateBy = 0;    // seconds the attempt takes beyond its adapter's fault-free row
    bool gui = false;     // the flash screen runs it too
};

// How gtest names a row in its output (and CTest in the test's name).
void PrintTo(const Row& r, std::ostream* out) { *out << r.name; }

const char* const kDone = "Flash Completed Successfully!";
const char* const kCompactError = "An error occured while flashing the Compact Linkport.  Please retry!";
const char* const kUnplugged = "The interface hardware is not connected.";
const char* const kNotStarted = "The flash process could not be initialized.";
const char* const kHardFlash = "Error while programming device.  Please retry!";
const char* const kPowerCycle = "Please power cycle the adapter manually.";
const bool kGui = true;

// clang-format off
const Row kRows[] = {
    {"Lp2Flashes", "lp2", {}, 0, "success", 0, "verified", kDone, nullptr, "1.9", 0, kGui},
    {"Lp2RefusesTheFlash", "lp2", {"--lp2-flash-refused"}, 1, "failure", 0, "", "Error Code # 150", nullptr, "1.8"},
    {"Lp2FlashNeverCompletes", "lp2", {"--lp2-flash-hangs"}, 1, "failure", 0, "", "Error Code # 142", nullptr,
     "Not Present", 0, kGui},
    {"Lp2RunsAnotherVersion", "lp2", {"--lp2-version-after-flash=1.7"}, 1, "success", 0, "mismatch", kDone, nullptr,
     "1.7"},

    {"CompactFlashes", "compact", {}, 0, "success", kAll, "verified", kDone, nullptr, "01.08.12", 0, kGui},
    {"CompactLoaderNeverAnswers", "compact", {"--compact-loader-silent"}, 1, "failure", 0, "", kNotStarted,
     "no ready answer", nullptr},
    {"CompactSilentFromRecord5", "compact", {"--compact-flash-silent=5"}, 1, "failure", 4, "", kCompactError,
     "reply none", "loader"},
    {"CompactRefusesRecord5", "compact", {"--compact-flash-refuse=5"}, 1, "failure", 4, "", kCompactError,
     "reply 15", nullptr},
    {"CompactGarbageForRecord5", "compact", {"--compact-flash-garbage=5"}, 1, "failure", 4, "", kCompactError,
     "reply A75C0EF1", nullptr},
    {"CompactLateAnswerInTime", "compact", {"--compact-flash-late=5:1200"}, 0, "success", kAll, "verified", kDone,
     nullptr, nullptr, 1.2},
    {"CompactLinkDropsAtRecord5", "compact", {"--compact-flash-drop=5"}, 1, "failure", 4, "", kUnplugged,
     "went away", nullptr, 0, kGui},
    {"CompactDoesNotComeBack", "compact", {"--compact-no-restart"}, 1, "success", kAll, "not read", kDone, nullptr,
     nullptr},
    {"CompactRunsAnotherVersion", "compact", {"--compact-version-after-flash=01.07.99"}, 1, "success", kAll,
     "mismatch", kDone, nullptr, "01.07.99"},

    {"WirelessFlashes", "wireless", {}, 0, "success", kAll, "verified", kDone, nullptr, "01.08.12", 0, kGui},
    {"WirelessLoaderNeverAnswers", "wireless", {"--wireless-loader-silent"}, 1, "failure", 0, "", kHardFlash,
     "no answer in state 10", nullptr},
    {"WirelessSilentFromRecord5", "wireless", {"--wireless-flash-silent=5"}, 1, "failure", 5, "", kHardFlash,
     "no answer in state 6", nullptr},
    {"WirelessRefusesRecord5", "wireless", {"--wireless-flash-refuse=5"}, 1, "failure", 5, "", kPowerCycle,
     "answered 15", "loader"},
    {"WirelessGarbageForRecord5", "wireless", {"--wireless-flash-garbage=5"}, 1, "failure", 5, "", kPowerCycle,
     "answered A75C0E", nullptr, 0, kGui},
    // Three seconds without an answer: the record goes again, and the late
    // answers carry the flash to its end.
    {"WirelessLateAnswerResent", "wireless", {"--wireless-flash-late=5:4000"}, 0, "success", kAll, "verified", kDone,
     nullptr, nullptr, 4},
    {"WirelessDropsAtRecord5", "wireless", {"--wireless-flash-drop=5"}, 1, "failure", 5, "", "Error# 10054",
     "socket error 10054", nullptr},
    {"WirelessDoesNotComeBack", "wireless", {"--wireless-no-restart"}, 1, "failure", kAll, "", "Error# 10061",
     "no connection after the restart", nullptr},
    {"WirelessRunsAnotherVersion", "wireless", {"--wireless-version-after-flash=01.07.99"}, 1, "success", kAll,
     "mismatch", kDone, nullptr, "01.07.99"},
};
// clang-format on

std::string demoFile(const std::string& kind)
{
    const char* name = kind == "lp2"       ? "LP2-demo-1.9.apf"
                       : kind == "compact" ? "CompactLinkport-demo-01.08.12.hex"
                                           : "WirelessLinkport-demo-01.08.12.hex";
    return std::string(LP_DEMO_FIRMWARE_DIR "/") + name;
}

// What the records of a row come to: the file's record lines for kAll.
int64_t expectedRecords(const Row& r)
{
    if (r.records != kAll)
        return r.records;
    std::ifstream in(demoFile(r.kind));
    int64_t n = 0;
    for (std::string line; std::getline(in, line);)
        n += line.rfind(':', 0) == 0;
    return n;
}

// The flash log's lines.
std::vector<QJsonObject> logLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<QJsonObject> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
    return lines;
}

// The attempt's two lines, the second with its ending.
void expectLogged(const std::string& path, const Row& r, const char* source)
{
    const std::vector<QJsonObject> lines = logLines(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(str(lines[0]["result"]), "started");
    EXPECT_EQ(str(lines[1]["source"]), source);
    EXPECT_EQ(str(lines[1]["result"]), r.result);
    EXPECT_EQ(lines[1]["records"].toInteger(-1), expectedRecords(r));
    EXPECT_EQ(str(lines[1]["read_back"]), r.readBack);
}

int rowIndex(const Row& r)
{
    int i = 0;
    while (std::string(kRows[i].name) != r.name)
        ++i;
    return i;
}

// linkport-sim with the row's adapter and faults, on a loopback address of
// its own (`address`) for the wireless adapter.
struct Simulator {
    Simulator(const Row& r, int address)
        : process([&] {
              std::vector<std::string> args{"--" + std::string(r.kind), "--select", r.kind};
              if (std::string(r.kind) == "wireless")
                  args[0] += "=127.0.0." + std::to_string(address);
              args.insert(args.end(), r.faults.begin(), r.faults.end());
              return args;
          }())
    {
        ready = process.readUntil("press Ctrl-C");
    }
    SimProcess process;
    bool ready = false;
};

// The program's settings lead to the simulator while this lives.
struct SimulatorSettings {
    explicit SimulatorSettings(const SimProcess& sim)
        : windir("windir", sim.value("windir")), registry("LINKPORT_REGISTRY_FILE", sim.value("LINKPORT_REGISTRY_FILE")),
          dosdevices("LINKPORT_DOSDEVICES", sim.value("LINKPORT_DOSDEVICES"))
    {
    }
    ScopedEnv windir, registry, dosdevices;
};

// One row from the command line: its simulator, its home, its runs.
struct CliRow {
    const Row& row;
    int address;
    TempDir home;
    Simulator sim{row, address};
    std::unique_ptr<QProcess> running;
    double seconds = 0; // the flash's own

    void start(const QStringList& args)
    {
        SimulatorSettings settings(sim.process);
        running = startLinkport(home, args);
    }
};

void expectFlash(const Row& r, const CliRun& flash, const std::string& log)
{
    EXPECT_EQ(outcome(flash), std::to_string(r.exit) + " " + r.result) << flash.err;
    const int64_t records = flash.json["records"].toInteger(-1);
    EXPECT_EQ(records, expectedRecords(r)) << flash.err;
    EXPECT_LE(records, flash.json["record_count"].toInteger());
    EXPECT_EQ(str(flash.json["read_back"]), r.readBack);
    const QJsonArray messages = flash.json["messages"].toArray();
    ASSERT_FALSE(messages.isEmpty()) << flash.err;
    EXPECT_NE(str(messages.last().toObject()["text"]).find(r.message), std::string::npos) << flash.err;
    if (r.reason)
        EXPECT_NE(str(flash.json["reason"]).find(r.reason), std::string::npos) << str(flash.json["reason"]);
    expectLogged(log, r, "cli");
}

void expectSummary(const Row& r, const CliRun& summary)
{
    if (std::string(r.after) == "loader") {
        // Not the cable: the adapter answered, from its loader.
        EXPECT_EQ(summary.code, 1);
        EXPECT_NE(str(summary.json["adapter_state"]).find("In its loader"), std::string::npos) << summary.err;
        EXPECT_EQ(summary.err.find("Check the cable"), std::string::npos) << summary.err;
        return;
    }
    EXPECT_TRUE(summary.json["adapter_state"].isUndefined()) << summary.err;
    bool shown = false;
    for (const QJsonValue& row : summary.json["rows"].toArray())
        shown |= str(row.toObject()["description"]) == "Application Firmware Version"
                 && str(row.toObject()["value"]) == r.after;
    EXPECT_TRUE(shown) << summary.err;
}

// Every row at once: the waits are the adapters' and the program's time-outs,
// not work, so the table takes as long as its slowest row.
TEST(FlashFaultTable, EveryFaultFromTheCommandLine)
{
    std::vector<std::unique_ptr<CliRow>> rows;
    for (const Row& r : kRows)
        rows.push_back(std::unique_ptr<CliRow>(new CliRow{r, 150 + static_cast<int>(rows.size())}));
    for (auto& c : rows)
        LP_REQUIRE(c->sim.ready, "linkport-sim on a pseudo-terminal: " << c->sim.process.err);
    for (auto& c : rows)
        c->start({"--json", "--yes", "flash", QString::fromStdString(demoFile(c->row.kind))});
    std::map<std::string, double> plainSeconds; // by adapter kind
    for (auto& c : rows) {
        SCOPED_TRACE(c->row.name);
        const CliRun flash = finish(*c->running);
        expectFlash(c->row, flash, c->home.file("data/linkport-toolkit/flash-log.jsonl"));
        c->seconds = flash.json["seconds"].toDouble();
        if (c->row.faults.empty())
            plainSeconds[c->row.kind] = c->seconds;
        c->running.reset();
        if (c->row.after)
            c->start({"--json", "summary"});
    }
    for (auto& c : rows) { // a late answer shows in the attempt's time
        if (c->row.lateBy > 0)
            EXPECT_GE(c->seconds - plainSeconds[c->row.kind], c->row.lateBy * 0.9) << c->row.name;
    }
    for (auto& c : rows) {
        SCOPED_TRACE(c->row.name);
        if (c->running)
            expectSummary(c->row, finish(*c->running));
    }
}

// The flash screen in the main window, over the program's real ports.
class FlashScreen : public ::testing::TestWithParam<Row> {};

TEST_P(FlashScreen, BeginFlash)
{
    const Row& r = GetParam();
    qtApp();
    TempDir home;
    Simulator sim(r, 200 + rowIndex(r));
    LP_REQUIRE(sim.ready, "linkport-sim on a pseudo-terminal: " << sim.process.err);
    SimulatorSettings settings(sim.process);
    const std::string log = home.file("flash-log.jsonl");
    ScopedEnv logEnv("LINKPORT_FLASH_LOG", log);

    RealPorts ports;
    sim::ScriptedPrompts prompts;
    Context ctx;
    ports.attach(ctx, &prompts);
    ShellOptions options{.instanceLockPath = home.file("instance")};
    options.screens.children["Summary"] = [](Context& c, MainWindow& m) -> ChildScreen* {
        return new StandInScreen(c, m, "Summary", "frmVersion", "Summary");
    };
    options.screens.children["Application Flash"] = [&r](Context& c, MainWindow& m) -> ChildScreen* {
        return new frmFlash(c, m, {.selectFile = [&r](frmFlash& s) { s.SetFileName(demoFile(r.kind)); }});
    };
    ctx.commandLine = std::string(r.kind) == "compact" ? "/CLP" : "";
    auto main = std::make_unique<frmParent>(ctx, std::move(options));
    main->MDIForm_Load();
    main->SelectScreen("Application Flash");
    auto* screen = qobject_cast<frmFlash*>(main->activeChild());
    ASSERT_NE(screen, nullptr);
    Host& host = *ctx.ports.host;
    host.waitUntil([&] { return !screen->flashRunning(); }, 10000); // the wireless rows' read

    QString done;
    withModal<frmExitReturnDialog>(
        [&] {
            screen->findChild<QPushButton*>("cmdBeginFlash")->click();
            host.waitUntil([&] { return logLines(log).size() >= 2 && !screen->flashRunning(); }, 60000);
        },
        [&](frmExitReturnDialog& d) {
            done = d.findChild<QLabel*>("lblMessage")->text();
            d.reject();
        });
    expectLogged(log, r, "gui");
    const std::string ending = std::string(r.result) == "success" ? done.toStdString()
                               : prompts.boxes().empty()          ? std::string()
                                                                  : prompts.boxes().back().prompt;
    EXPECT_NE(ending.find(r.message), std::string::npos) << ending;
    if (std::string(r.readBack) == "verified") {
        EXPECT_TRUE(prompts.boxes().empty()) << prompts.boxes()[0].prompt;
        EXPECT_EQ(screen->adapterRow(std::string(r.kind) == "wireless" ? 4 : 2), r.after);
    }
    main.reset();
    flushPosted();
}

std::string rowName(const ::testing::TestParamInfo<Row>& info) { return info.param.name; }

std::vector<Row> screenRows()
{
    std::vector<Row> rows;
    for (const Row& r : kRows)
        if (r.gui)
            rows.push_back(r);
    return rows;
}

INSTANTIATE_TEST_SUITE_P(FlashFaultTable, FlashScreen, ::testing::ValuesIn(screenRows()), rowName);

} // namespace

#endif

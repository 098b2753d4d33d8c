// Faults injected at every phase of the second-generation adapter's work on
// the virtual clock. Each case must end in bounded time with what the program
// is known to show, its port closed, no driver client open, the pointer back.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "adapters/lp2/link_checks.h"
#include "operations/summary_reading.h"
#include "adapters/lp2/modLP2.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "core/string_table.h"
#include "support/fault_tally.h"
#include "support/recording_views.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

constexpr double kBoundMs = 60'000;

// The boxes these phases may show, whole, by a short name: the missing
// driver, and the driver error boxes of a failed connect (103) and a failed
// flash (109) with the codes the driver model gives for these faults.
std::map<std::string, sim::PromptRecord> knownBoxes()
{
    std::map<std::string, sim::PromptRecord> known{{"102", {LoadResString(102), 0, "HVN Linkport Toolkit"}}};
    const std::map<int, std::string> texts{{142, std::string("Hardware not responding\0", 24)},
                                           {230, std::string("Communications device in use\0", 29)},
                                           {777, "Error Code Not Found"}};
    for (int message : {103, 109})
        for (const auto& [code, text] : texts)
            known[std::to_string(message) + "/" + std::to_string(code)] = {
                LoadResString(message) + "\r\n\r\nError Code # " + std::to_string(code) + ":  \r\n" + text,
                MsgBoxStyle::Exclamation, "HVN Linkport II"};
    return known;
}

struct Rig {
    test::TestContext t;
    Lp2Model adapter;
    Lp2InProcessDriver driver{adapter, &t.serialPorts, 5};
    std::unique_ptr<SerialPort> connection;
    std::map<std::string, int> calls;

    Rig()
    {
        t.serialPorts.addPort(5, &adapter);
        t.ctx.ports.rp1210 = &driver;
        t.writeWindowsFile("LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
        connection = t.serialPorts.create();
    }
    // `fault` runs when the driver's entry point `name` is called for the nth time.
    void atCall(std::string name, int nth, std::function<void()> fault)
    {
        driver.onCall = [this, name, nth, fault](const std::string& called) {
            if (called == name && ++calls[name] == nth)
                fault();
        };
    }
    void slowCall(const std::string& name, int nth, int32_t ms)
    {
        atCall(name, nth, [this, ms] { t.clock.sleepMilliseconds(ms); });
    }
    // The cable is pulled: the port goes, and the adapter hears nothing more.
    void pull()
    {
        t.serialPorts.unplug(5);
        adapter.config().unpowered = true;
    }
};

enum class Run { Summary, Flash, Test };

struct Case {
    const char* phase;
    const char* fault;
    Run run;
    std::function<void(Rig&)> inject;
    std::string ending; // rows or labels 1-5 ("NP": "Not Present"), then " +" and the box, if any
};

std::string runCase(Rig& r, Run run)
{
    test::RecordedRows rows;
    Context& ctx = r.t.ctx;
    switch (run) {
    case Run::Summary: ReadLp2Summary(ctx, *r.connection, rows); return rows.joined(1, 5);
    case Run::Test: RunAdapterTest(ctx, rows); return rows.joined(1, 5);
    case Run::Flash: {
        // As the flash screen does it: a client for the flash, the driver's
        // command, and the driver's code in the box when it fails.
        if (!LP2ConnectSIP(ctx, "SIP"))
            return "not started";
        int16_t code = 0;
        if (LP2SendFlashStart(ctx, 2, "fw.apf", "COM5", {}, &code))
            return "success";
        LP2ShowRP1210Error(ctx, LoadResString(109), code, 0);
        return "failed";
    }
    }
    return {};
}

} // namespace

TEST(FaultInjection, SecondGenerationEndsWithAKnownOutcomeAtEveryPhase)
{
    const std::string ok = "3.0|1.8|1.2|1.12|01.07.12", blanks = "32.32|32.32|32.32|1.12|NP";
    auto unpower = [](Rig& r) { r.adapter.config().unpowered = true; };
    const std::vector<Case> cases{
        // No power (silence): the driver's own hand-shake goes unanswered, so
        // it opens no client and says why.
        {"connect", "no power", Run::Summary, unpower, "NP|NP|NP|1.12|NP +103/142"},
        {"connect", "no power", Run::Test, unpower, "142|Untested|Untested|Untested|Untested"},
        {"connect", "no power", Run::Flash, unpower, "not started +103/142"},
        {"connect", "garbage", Run::Summary, [](Rig& r) { r.driver.settings().connectErrors["SIP"] = 777; },
         "NP|NP|NP|1.12|NP +103/777"},
        {"connect", "client id other than 0", Run::Summary, [](Rig& r) { r.driver.settings().firstClientId = 5; }, ok},
        {"connect", "slow reply", Run::Summary, [](Rig& r) { r.slowCall("RP1210_ClientConnect", 1, 5000); }, ok},
        {"connect", "dropped link", Run::Summary, [](Rig& r) { r.pull(); }, "NP|NP|NP|1.12|NP +103/230"},
        // The result of command 209 is not judged: a silent adapter leaves
        // the blanks of the buffer, which read as 32.32.
        {"identity", "silence", Run::Summary,
         [](Rig& r) { r.atCall("RP1210_SendCommand", 1, [&r] { r.adapter.config().unpowered = true; }); }, blanks},
        {"identity", "garbage", Run::Summary,
         [](Rig& r) { r.adapter.config().versions = {0, 255, 128, 10, 255, 255}; }, "0.255|128.10|NP|1.12|01.07.12"},
        {"identity", "slow reply", Run::Summary, [](Rig& r) { r.slowCall("RP1210_SendCommand", 1, 5000); }, ok},
        {"identity", "dropped link", Run::Summary, [](Rig& r) { r.atCall("RP1210_SendCommand", 1, [&r] { r.pull(); }); },
         blanks},
        {"versions", "silence", Run::Summary,
         [](Rig& r) {
             for (Lp2Exchange* e : {&r.adapter.config().leave, &r.adapter.config().query, &r.adapter.config().back})
                 e->fault = Lp2ReplyFault::Silent;
         },
         "3.0|1.8|1.2|1.12|NP"},
        {"versions", "garbage", Run::Summary,
         [](Rig& r) { r.adapter.config().query = {Lp2ReplyFault::Custom, 0, {0x13, 0x37, 0xFF, 0x00}}; },
         "3.0|1.8|1.2|1.12|NP"},
        {"versions", "slow reply", Run::Summary, [](Rig& r) { r.adapter.config().replyDelayUs = 400'000; },
         "3.0|1.8|1.2|1.12|NP"},
        // Pulled between the leave frame and the query.
        {"versions", "dropped link", Run::Summary,
         [](Rig& r) {
             r.atCall("RP1210_ClientDisconnect", 2,
                      [&r] { r.t.clock.at(r.t.clock.nowUs() + 2'100'000, [&r] { r.pull(); }); });
         },
         "3.0|1.8|1.2|1.12|NP"},
        {"flash", "silence", Run::Flash,
         [](Rig& r) { r.atCall("RP1210_SendCommand", 1, [&r] { r.adapter.config().unpowered = true; }); },
         "failed +109/142"},
        {"flash", "garbage", Run::Flash,
         [](Rig& r) { r.adapter.config().flashAccepted = false, r.driver.settings().flashRefusedCode = 777; },
         "failed +109/777"},
        {"flash", "slow reply", Run::Flash, [](Rig& r) { r.slowCall("RP1210_SendCommand", 1, 45'000); }, "success"},
        {"flash", "dropped link", Run::Flash, [](Rig& r) { r.atCall("RP1210_SendCommand", 1, [&r] { r.pull(); }); },
         "failed +109/142"},
        {"datalink test", "silence", Run::Test,
         [](Rig& r) { r.driver.settings().connectErrors["J1708"] = Rp1210Code::HardwareNotResponding; },
         "Passed|Passed|142|Untested|Untested"},
        // A status whose fifth character reads as 0 fails J1708 and leaves its label.
        {"datalink test", "garbage", Run::Test,
         [](Rig& r) { r.driver.settings().hardwareStatus = "\xFF\x13\x37\x01" "0"; },
         "Passed|Passed|Untested|Untested|Untested"},
        {"datalink test", "slow reply", Run::Test, [](Rig& r) { r.slowCall("RP1210_GetHardwareStatus", 1, 5000); },
         "Passed|Passed|Passed|Passed|Passed"},
        {"datalink test", "dropped link", Run::Test, [](Rig& r) { r.atCall("RP1210_ClientConnect", 3, [&r] { r.pull(); }); },
         "Passed|Passed|Passed|Untested|230"},
    };

    const auto known = knownBoxes();
    test::FaultTally tally("second-generation adapter");
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.phase) + " / " + c.fault);
        tally.begin();
        Rig r;
        c.inject(r);
        const double start = r.t.clock.nowMs();
        std::string ending = runCase(r, c.run);
        for (const auto& box : r.t.prompts.boxes()) {
            std::string name = "unknown box: " + box.prompt;
            for (const auto& [n, record] : known)
                if (record == box)
                    name = n;
            ending += " +" + name;
        }
        EXPECT_EQ(ending, c.ending);
        EXPECT_LT(r.t.clock.nowMs() - start, kBoundMs);
        EXPECT_FALSE(r.connection->portOpen());
        EXPECT_EQ(r.driver.core().openClients(), 0u) << "every client opened was disconnected";
        EXPECT_FALSE(r.driver.core().holdsPort());
        EXPECT_FALSE(RP1210IsConnected(r.t.ctx));
        EXPECT_EQ(r.t.screens.mousePointer, 0);
        EXPECT_FALSE(r.t.ctx.closeRequested);
        tally.end();
    }
}

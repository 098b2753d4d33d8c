// Faults injected while the Summary reads the compact and the wireless
// adapter. Each reading must end in bounded virtual time with the rows and
// box it is known to give, the port or socket closed, the window enabled.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "operations/summary_reading.h"
#include "adapters/compact/modCGP.h"
#include "models/compact_model.h"
#include "models/wireless_model.h"
#include "support/fault_tally.h"
#include "support/recording_views.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

constexpr double kBoundMs = 60'000;

// The ending as the table writes it: rows, then each box by a short name.
std::string ending(const test::RecordedRows& rows, int first, int last, const test::TestContext& t)
{
    std::string s = rows.joined(first, last);
    for (const auto& box : t.prompts.boxes()) {
        if (box.prompt == CGPErrorText(1))
            s += " +unable to connect";
        else if (box.prompt == "Error# 10054\r\n" + tcpErrorDescription(10054))
            s += " +10054";
        else
            s += " +unknown box: " + box.prompt;
    }
    return s;
}

} // namespace

TEST(FaultInjection, CompactSummaryEndsWithAKnownOutcome)
{
    struct Case {
        const char* fault;
        std::function<void(CompactModel&, test::TestContext&)> inject;
        std::string ending; // rows 1-3
    };
    const std::string none = "NP|NP|NP +unable to connect";
    const std::vector<Case> cases{
        {"silence", [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::Silence); }, none},
        {"garbage", [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::Garbage); }, none},
        // Replies cut short after their header are read as far as they go.
        {"short reply", [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::ShortReply); }, ".|01..|"},
        {"slow reply", [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::SlowReply); }, none},
        {"dropped link", [](CompactModel&, test::TestContext& t) {
             t.clock.at(t.clock.nowUs() + 300'000, [&t] { t.serialPorts.unplug(3); });
         }, none},
    };
    test::FaultTally tally("compact Summary");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        tally.begin();
        test::TestContext t;
        CompactModel model;
        t.serialPorts.addPort(3, &model);
        t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,DEFAULT\r\n");
        c.inject(model, t);
        std::unique_ptr<SerialPort> port = t.serialPorts.create();
        test::RecordedRows rows;
        const double start = t.clock.nowMs();
        ReadCompactSummary(t.ctx, *port, rows);
        EXPECT_EQ(ending(rows, 1, 3, t), c.ending);
        EXPECT_LT(t.clock.nowMs() - start, kBoundMs);
        EXPECT_FALSE(port->portOpen());
        EXPECT_TRUE(rows.enabled);
        EXPECT_EQ(rows.dialogs, 0);
        EXPECT_EQ(t.screens.mousePointer, 0);
        tally.end();
    }
}

TEST(FaultInjection, WirelessSummaryEndsWithAKnownOutcome)
{
    struct Case {
        const char* fault;
        std::function<void(WirelessModel&)> inject;
        std::string ending; // rows 4-6 (hardware, application, boot)
        bool closedBeforeTheScreenGoes;
    };
    const std::vector<Case> cases{
        // Nothing in the program times a reply out: the rows stay "Not
        // Present" and the socket waits until the screen goes.
        {"silence", [](WirelessModel& m) { m.setFault(WirelessFault::Silent); }, "NP|NP|NP", false},
        {"garbage", [](WirelessModel& m) { m.setFault(WirelessFault::Garbage); }, "NP|NP|NP", true},
        {"slow reply", [](WirelessModel& m) { m.config().replyDelayUs = 4'000'000; }, "1.10|01.07.12|01.04.0007", true},
        // The first reply is cut after its header: the part of the text that came.
        {"dropped link", [](WirelessModel& m) { m.setFault(WirelessFault::DropMidReply); }, "NP|NP|01 +10054", true},
    };
    test::FaultTally tally("wireless Summary");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        tally.begin();
        test::TestContext t;
        WirelessModel model;
        t.tcpSockets.addDevice("127.0.0.2", model);
        c.inject(model);
        t.ctx.g_astrWLPNames = {"Van"};
        t.ctx.g_astrWLPAddresses = {"127.0.0.2"};
        t.ctx.g_astrWLPSerials = {"WLP0000001"};
        ChoiceItems list;
        list.items = {"Van (127.0.0.2)"};
        list.selected = 0;
        test::RecordedRows rows;
        TcpSocket* socket = nullptr;
        {
            WirelessSummaryReader reader(t.ctx, rows);
            socket = reader.TCPSocket();
            reader.select(list);
            t.clock.runFor(kBoundMs / 2);
            EXPECT_EQ(ending(rows, 4, 6, t), c.ending);
            EXPECT_EQ(socket->state() == TcpState::Closed, c.closedBeforeTheScreenGoes);
            EXPECT_TRUE(rows.enabled);
            EXPECT_EQ(rows.dialogs, 0);
        }
        t.clock.runFor(100);
        EXPECT_FALSE(model.isConnected()) << "the socket is closed when the screen goes";
        tally.end();
    }
}

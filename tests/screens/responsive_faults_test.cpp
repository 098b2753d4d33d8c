// The window stays responsive while adapter faults play out on the real
// Summary screen, host and serial ports, in real time: a bare QTimer (which a
// delay does not hold back) notes the longest time the event loop went
// without a turn. (The flash screen's: the flash fault table's screen rows.)
#include <gtest/gtest.h>

#include <QTimer>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "ui/screens/frmVersion.h"
#include "adapters/compact/modCGP.h"
#include "gap_meter.h"
#include "modal.h"
#include "models/compact_model.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "qt_support/pty_serial_rig.h"
#include "ui/frmParent.h"
#include "support/require.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

using Clock = std::chrono::steady_clock;

// A window that misses its turns for this long feels frozen; the loop
// normally turns every few milliseconds (a delay looks at it every 15).
constexpr double kLongestGapMs = 250;

// A context whose ports are the real ones: the Qt host, serial ports that
// COMn leads to through the dosdevices folder.
struct RealRig : test::TestContext {
    QtHost host;
    QtSerialPorts serial{&log};
    std::unique_ptr<frmParent> main;

    RealRig(const std::string& kind, const std::string& commandLine)
    {
        setRegistryText("SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter", kind);
        ctx.ports.host = &host;
        ctx.ports.serialPorts = &serial;
        ctx.commandLine = commandLine;
    }
    ~RealRig()
    {
        main.reset();
        test::flushPosted();
    }
    // The main window with its first screen, the Summary, which reads the
    // adapter as it is shown.
    void open()
    {
        main = std::make_unique<frmParent>(ctx, ShellOptions{.instanceLockPath = file("instance")});
        main->MDIForm_Load();
    }
    frmVersion* summary() const { return qobject_cast<frmVersion*>(main->activeChild()); }
    std::string rows(int first, int last) const
    {
        std::string s;
        for (int row = first; row <= last; ++row)
            s += (row > first ? "|" : "") + (summary() ? summary()->rowValue(row) : std::string("?"));
        return s;
    }
    // Every box shown.
    std::string messages() const
    {
        std::string s;
        for (const std::string& p : prompts.prompts())
            s += "[" + p + "]";
        return s;
    }
};

// Runs a case's action under a gap meter; the longest gap must stay under the
// bound. The action's time in ms.
double measure(const char* kind, const char* fault, const std::function<void()>& action)
{
    test::GapMeter meter;
    const auto start = Clock::now();
    action();
    const double gap = meter.longestMs();
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    std::printf("[ gaps     ] %s / %s: longest gap %.1f ms over %.1f s\n", kind, fault, gap, ms / 1000);
    EXPECT_LT(gap, kLongestGapMs);
    return ms;
}

} // namespace

// The Summary's serial version query (1750 ms, then three frames each
// waited for 250 ms) while the adapter fails it; the driver answers.
TEST(ResponsiveFaults, SecondGenerationSummary)
{
    const std::pair<const char*, std::function<void(Lp2ModelConfig&)>> cases[] = {
        {"silence", [](Lp2ModelConfig& c) { c.leave.fault = c.query.fault = c.back.fault = Lp2ReplyFault::Silent; }},
        {"garbage", [](Lp2ModelConfig& c) { c.query = {Lp2ReplyFault::Custom, 0, {0x13, 0x37, 0xFF, 0x00}}; }},
        {"slow reply", [](Lp2ModelConfig& c) { c.replyDelayUs = 400'000; }},
        {"dropped link", nullptr}, // the cable pulled 2.1 s into the reading
    };
    for (const auto& [fault, inject] : cases) {
        SCOPED_TRACE(fault);
        RealRig r("LPII SIP", "");
        Lp2ModelConfig config;
        if (inject)
            inject(config);
        Lp2Model adapter(config);
        PtyBridge bridge(adapter);
        test::PtyComPort com5(bridge, r.dir.path(), 5);
        LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
        ASSERT_TRUE(com5.linked) << com5.error;
        Lp2InProcessDriver driver(adapter);
        driver.setAdapterCall([&bridge](const std::function<void()>& fn) { bridge.scheduler().call(fn); });
        r.ctx.ports.rp1210 = &driver;
        r.writeWindowsFile("LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
        if (!inject)
            QTimer::singleShot(2100, [&bridge] { bridge.stop(); });

        measure("second-generation Summary", fault, [&] { r.open(); });
        // The driver's versions stand; the serial IP's row says what any
        // version that did not come says.
        EXPECT_EQ(r.rows(1, 5), "3.0|1.8|1.2|1.12|Not Present");
        EXPECT_EQ(r.messages(), "");
        EXPECT_TRUE(r.main->isEnabled());
        EXPECT_EQ(driver.core().openClients(), 0u);
    }
}

// The Summary's reading of the compact adapter, with the connecting dialog
// up and the main window disabled while the adapter fails it. A USB-serial
// converter pulled out (the pty's other side closes and its dosdevices link
// goes, as /dev/ttyUSB0 does) ends the reading at once rather than after the
// time-outs, and the next reading finds no port.
TEST(ResponsiveFaults, CompactSummary)
{
    using Fault = CompactModel::Fault;
    const std::pair<const char*, Fault> cases[] = {
        {"silence", Fault::Silence}, {"garbage", Fault::Garbage}, {"slow reply", Fault::SlowReply},
        {"dropped link", Fault::None}, // pulled 300 ms into the reading
    };
    for (const auto& [fault, inject] : cases) {
        SCOPED_TRACE(fault);
        const int pullAfterMs = inject == Fault::None ? 300 : 0;
        RealRig r("B&B SIP", "/CLP");
        CompactModel adapter;
        adapter.setFault(inject);
        PtyBridge bridge(adapter);
        test::PtyComPort com3(bridge, r.dir.path(), 3);
        LP_REQUIRE(!com3.noPty, "a pseudo-terminal: " << com3.error);
        ASSERT_TRUE(com3.linked) << com3.error;
        r.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,DEFAULT\r\n");
        if (pullAfterMs)
            QTimer::singleShot(pullAfterMs, [&] {
                bridge.stop();
                std::filesystem::remove(r.file("dosdevices/com3"));
            });

        const double ms = measure("compact Summary", fault, [&] { r.open(); });
        EXPECT_EQ(r.rows(1, 3), "Not Present|Not Present|Not Present");
        EXPECT_EQ(r.messages(), "[" + CGPErrorText(1) + "]");
        EXPECT_TRUE(r.main->isEnabled());
        if (!pullAfterMs)
            continue;
        EXPECT_LT(ms, pullAfterMs + 1000) << "the hang-up, not the time-outs, ends the reading";
        EXPECT_TRUE(r.log.contains("the device has gone away (hang-up)"));
        r.main->SelectScreen("Summary");
        EXPECT_EQ(r.rows(1, 3), "Not Present|Not Present|Not Present");
        EXPECT_EQ(r.messages(), "[" + CGPErrorText(1) + "][" + CGPErrorText(1) + "]");
        EXPECT_TRUE(r.main->isEnabled());
    }
}

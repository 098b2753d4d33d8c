// The window stays responsive while adapter faults play out on the real
// screens, host and ports, in real time: a bare QTimer (which a delay does not
// hold back) notes the longest time the event loop went without a turn.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "ui/screens/frmFlash.h"
#include "ui/screens/frmVersion.h"
#include "adapters/compact/modCGP.h"
#include "gap_meter.h"
#include "modal.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "models/wireless_model.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "platform/qt/qt_tcp_socket.h"
#include "realtime/tcp_model_server.h"
#include "qt_support/pty_serial_rig.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/frmParent.h"
#include "stand_in_screen.h"
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
// COMn leads to through the dosdevices folder, Qt sockets.
struct RealRig : test::TestContext {
    QtHost host;
    QtSerialPorts serial{&log};
    QtTcpSockets tcp{&host};
    std::unique_ptr<frmParent> main;
    std::vector<std::string> dialogTexts; // exit/return dialogs, closed as they come
    QTimer modalPoll;

    RealRig(const std::string& kind, const std::string& commandLine)
    {
        setRegistryText("SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter", kind);
        ctx.ports.host = &host;
        ctx.ports.serialPorts = &serial;
        ctx.ports.tcpSockets = &tcp;
        ctx.commandLine = commandLine;
        modalPoll.setInterval(0);
        QObject::connect(&modalPoll, &QTimer::timeout, [this] {
            if (auto* d = qobject_cast<frmExitReturnDialog*>(QApplication::activeModalWidget())) {
                dialogTexts.push_back(d->findChild<QLabel*>("lblMessage")->text().toStdString());
                d->reject();
            }
        });
        modalPoll.start();
    }
    ~RealRig()
    {
        main.reset();
        test::flushPosted();
    }
    // The main window with its first screen, the Summary, which reads the
    // adapter as it is shown; with `pick`, the Summary is a placeholder and
    // the flash screen opens with `pick` as the chosen file.
    void open(const std::string& pick = {})
    {
        ShellOptions options{.instanceLockPath = file("instance")};
        if (!pick.empty()) {
            options.screens.children["Summary"] = [](Context& c, MainWindow& m) -> ChildScreen* {
                return new StandInScreen(c, m, "Summary", "frmVersion", "Summary");
            };
            options.screens.children["Application Flash"] = [pick](Context& c, MainWindow& m) -> ChildScreen* {
                return new frmFlash(c, m, {.selectFile = [pick](frmFlash& s) { s.SetFileName(pick); }});
            };
        }
        main = std::make_unique<frmParent>(ctx, std::move(options));
        main->MDIForm_Load();
        if (!pick.empty())
            main->SelectScreen("Application Flash");
    }
    frmVersion* summary() const { return qobject_cast<frmVersion*>(main->activeChild()); }
    std::string rows(int first, int last) const
    {
        std::string s;
        for (int row = first; row <= last; ++row)
            s += (row > first ? "|" : "") + (summary() ? summary()->rowValue(row) : std::string("?"));
        return s;
    }
    // Every message shown, boxes and exit/return dialogs alike.
    std::string messages() const
    {
        std::string s;
        for (const std::string& p : prompts.prompts())
            s += "[" + p + "]";
        for (const std::string& p : dialogTexts)
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
    struct Case {
        const char* fault;
        std::function<void(Lp2ModelConfig&)> inject;
        int pullAfterMs; // the cable is pulled this long after the screen starts reading (0: never)
    };
    const Case cases[] = {
        {"silence", [](Lp2ModelConfig& c) { c.leave.fault = c.query.fault = c.back.fault = Lp2ReplyFault::Silent; }, 0},
        {"garbage", [](Lp2ModelConfig& c) { c.query = {Lp2ReplyFault::Custom, 0, {0x13, 0x37, 0xFF, 0x00}}; }, 0},
        {"slow reply", [](Lp2ModelConfig& c) { c.replyDelayUs = 400'000; }, 0},
        {"dropped link", [](Lp2ModelConfig&) {}, 2100},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        RealRig r("LPII SIP", "");
        Lp2ModelConfig config;
        c.inject(config);
        Lp2Model adapter(config);
        PtyBridge bridge(adapter);
        test::PtyComPort com5(bridge, r.dir.path(), 5);
        LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
        ASSERT_TRUE(com5.linked) << com5.error;
        Lp2InProcessDriver driver(adapter);
        driver.setAdapterCall([&bridge](const std::function<void()>& fn) { bridge.scheduler().call(fn); });
        r.ctx.ports.rp1210 = &driver;
        r.writeWindowsFile("LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
        if (c.pullAfterMs)
            QTimer::singleShot(c.pullAfterMs, [&bridge] { bridge.stop(); });

        measure("second-generation Summary", c.fault, [&] { r.open(); });
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
    struct Case {
        const char* fault;
        CompactModel::Fault inject;
        int pullAfterMs;
    };
    const Case cases[] = {
        {"silence", CompactModel::Fault::Silence, 0},
        {"garbage", CompactModel::Fault::Garbage, 0},
        {"slow reply", CompactModel::Fault::SlowReply, 0},
        {"dropped link", CompactModel::Fault::None, 300},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        RealRig r("B&B SIP", "/CLP");
        CompactModel adapter;
        adapter.setFault(c.inject);
        PtyBridge bridge(adapter);
        test::PtyComPort com3(bridge, r.dir.path(), 3);
        LP_REQUIRE(!com3.noPty, "a pseudo-terminal: " << com3.error);
        ASSERT_TRUE(com3.linked) << com3.error;
        r.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,DEFAULT\r\n");
        if (c.pullAfterMs)
            QTimer::singleShot(c.pullAfterMs, [&] {
                bridge.stop();
                std::filesystem::remove(r.file("dosdevices/com3"));
            });

        const double ms = measure("compact Summary", c.fault, [&] { r.open(); });
        EXPECT_EQ(r.rows(1, 3), "Not Present|Not Present|Not Present");
        EXPECT_EQ(r.messages(), "[" + CGPErrorText(1) + "]");
        EXPECT_TRUE(r.main->isEnabled());
        if (!c.pullAfterMs)
            continue;
        EXPECT_LT(ms, c.pullAfterMs + 1000) << "the hang-up, not the time-outs, ends the reading";
        EXPECT_TRUE(r.log.contains("the device has gone away (hang-up)"));
        r.main->SelectScreen("Summary");
        EXPECT_EQ(r.rows(1, 3), "Not Present|Not Present|Not Present");
        EXPECT_EQ(r.messages(), "[" + CGPErrorText(1) + "][" + CGPErrorText(1) + "]");
        EXPECT_TRUE(r.main->isEnabled());
    }
}

// The wireless flash from Begin Flash on the flash screen, the adapter
// failing at the second record.
TEST(ResponsiveFaults, WirelessFlash)
{
    const std::string succeeded =
        "[Flash Completed Successfully!\n\nYou can now go to Toolkit, return to Flash, or Exit the program.]";
    struct Case {
        const char* fault;
        std::function<void(WirelessLoaderFaults&)> inject;
        std::string ending;
    };
    const Case cases[] = {
        {"silence", [](WirelessLoaderFaults& f) { f.silentFromRecord = 2; },
         "[Error while programming device.  Please retry!]"},
        {"garbage", [](WirelessLoaderFaults& f) { f.refuseRecord = 2; },
         "[An error occured while flashing the Wireless Linkport.\r\nPlease power cycle the adapter manually.]"},
        {"slow reply", [](WirelessLoaderFaults& f) { f.slowRecord = 2, f.slowAckUs = 1'000'000; }, succeeded},
        {"dropped link", [](WirelessLoaderFaults& f) { f.dropAtRecord = 2; },
         "[Error# 10054\r\nThe connection was closed by the remote host]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        RealRig r("WLP", "");
        // An address of its own, so that parallel test programs need not
        // take turns at 127.0.0.2.
        const std::string address = "127.0.0.61";
        // After the flash it runs the file's 1.8.
        WirelessModel adapter(
            {.address = address, .restartUs = 300'000, .hexVersionAfterFlash = {{0x01, 0x08, 0x00}}});
        c.inject(adapter.loaderFaults());
        TcpModelServer server(adapter, address);
        std::string error;
        ASSERT_TRUE(server.start(&error)) << error;
        r.writeWindowsFile("LPIPRP32.INI", "[AdditionalDevices]\r\nDeviceNames=Yard;\r\nDeviceParams=" + address
                                               + ":12321;\r\nSerialNumbers=WLP0000001;\r\n[DeviceInformation1]\r\n"
                                                 "DeviceName=Yard\r\n");
        const std::string path = r.file("wlp.hex");
        test::writeFile(path, firmwareFileText(pseudoRandomImage(4 * 16)));
        r.open(path);
        auto* screen = qobject_cast<frmFlash*>(r.main->activeChild());
        ASSERT_NE(screen, nullptr);
        // The screen reads the adapter's versions first; the hardware row comes last.
        auto* rows = screen->findChild<QTreeWidget*>("tlstFlash");
        ASSERT_TRUE(r.host.waitUntil([&] { return rows->topLevelItem(2)->text(1) == "1.10"; }, 5000));

        measure("wireless flash", c.fault, [&] {
            screen->findChild<QPushButton*>("cmdBeginFlash")->click();
            r.host.waitUntil([&] { return !screen->flashRunning(); }, 30'000);
        });
        EXPECT_FALSE(screen->flashRunning());
        EXPECT_EQ(r.messages(), c.ending);
        EXPECT_TRUE(r.main->isEnabled());
        bool connected = true;
        r.host.sleepMilliseconds(100); // the close reaches the adapter
        server.call([&] { connected = adapter.isConnected(); });
        EXPECT_FALSE(connected) << "the flash's connection is closed";
    }
}

// The Windows programs against simulated adapters, the way a technician's
// PC reaches real ones. The simulator (linkport-sim) runs beside Wine as a
// Linux program, started by scripts/windows-test: the serial adapters are
// COM ports (Wine's dosdevices links to its ptys), the wireless ones answer
// on loopback TCP, and the second-generation adapter is reached through
// LP2RP32.dll with the drivers' INI files in the Windows folder. Without a
// simulator (LP_TEST_SIM not set, as on a plain Windows PC) the tests skip.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QJsonArray>

#include <cstdlib>
#include <memory>
#include <string>

#include "adapters/compact/modCGP.h"
#include "doubles/scripted_prompts.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/real_ports.h"
#include "platform/win32/win32_serial_port.h"
#include "gap_meter.h"
#include "linkport_process.h"
#include "modal.h"
#include "settings/modRegistry.h"
#include "support/temp_dir.h"
#include "support/test_context.h"
#include "ui/frmParent.h"
#include "ui/screens/frmVersion.h"

using namespace lp;
using namespace lp::test;

namespace {

constexpr const char* kToolkitKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";

bool simulatorRunning() { return qgetenv("LP_TEST_SIM").startsWith('1'); }

QString besideTests(const char* name) { return QCoreApplication::applicationDirPath() + "/" + name; }

struct Kind {
    const char* word;     // for `linkport config set device`
    const char* prev;     // "PrevAdapter"
    const char* commandLine;
    const char* hardware; // the simulator's hardware version
    const char* file;     // its demo firmware
};
const Kind kKinds[] = {
    {"lp2", "LPII SIP", "", "3.0", "LP2-demo-1.9.apf"},
    {"compact", "B&B SIP", "/CLP", "1.10", "CompactLinkport-demo-01.08.12.hex"},
    {"wireless", "WLP", "", "1.10", "WirelessLinkport-demo-01.08.12.hex"},
};

} // namespace

// The main window on the program's real ports (the system registry, the
// INI files of the Windows folder, COM ports, sockets, the driver DLL)
// shows the Summary of each adapter kind.
TEST(WindowsSimulator, MainWindowSummaryOfEachAdapterKind)
{
    if (!simulatorRunning())
        GTEST_SKIP() << "no simulator (LP_TEST_SIM)";
    for (const Kind& k : kKinds) {
        SCOPED_TRACE(k.word);
        test::TempDir dir;
        RealPorts ports;
        sim::ScriptedPrompts prompts;
        Context ctx;
        ports.attach(ctx, &prompts);
        ctx.commandLine = k.commandLine;
        RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kToolkitKey, "PrevAdapter", k.prev);
        {
            frmParent main(ctx, ShellOptions{.instanceLockPath = dir.file("instance")});
            main.MDIForm_Load();
            auto* summary = qobject_cast<frmVersion*>(main.activeChild());
            ASSERT_NE(summary, nullptr);
            auto rows = [summary] {
                std::string all = "|";
                for (int r = 1; r <= summary->rowCount(); ++r)
                    all += summary->rowValue(r) + "|";
                return all;
            };
            // The wireless adapter's versions come in after the load.
            const std::string hardware = std::string("|") + k.hardware + "|";
            QtHost().waitUntil([&] { return rows().find(hardware) != std::string::npos; }, 15'000);
            EXPECT_NE(rows().find(hardware), std::string::npos) << rows();
            for (int r = 1; r <= 3; ++r)
                EXPECT_NE(summary->rowValue(r), "Not Present") << rows();
            EXPECT_EQ(prompts.prompts(), std::vector<std::string>());
        }
        test::flushPosted();
    }
}

// linkport.exe reads and flashes each kind, then lists what it did.
TEST(WindowsSimulator, CommandLineReadsAndFlashesEachKind)
{
    if (!simulatorRunning())
        GTEST_SKIP() << "no simulator (LP_TEST_SIM)";
    test::TempDir home;
    for (const Kind& k : kKinds) {
        SCOPED_TRACE(k.word);
        const CliRun set = linkport(home, {"config", "set", "device", k.word});
        ASSERT_EQ(set.code, 0) << set.err;
        const CliRun summary = linkport(home, {"summary", "--json"});
        EXPECT_EQ(summary.code, 0) << summary.err;
        EXPECT_EQ(str(summary.json["device_kind"]), k.prev);
        EXPECT_EQ(summaryRow(summary.json, "Hardware Version"), k.hardware) << summary.err;

        const CliRun flash =
            linkport(home, {"--json", "--yes", "flash", besideTests("demo-firmware/") + k.file});
        EXPECT_EQ(outcome(flash), "0 success") << flash.err;
        // The adapter runs the file's version, and answers the next program
        // straight away.
        EXPECT_EQ(str(flash.json["read_back"]), "verified") << flash.err;
        const CliRun after = linkport(home, {"summary", "--json"});
        EXPECT_EQ(after.code, 0) << after.err;
        EXPECT_EQ(summaryRow(after.json, "Hardware Version"), k.hardware) << after.err;
    }
    const CliRun log = linkport(home, {"log", "--json"});
    ASSERT_EQ(log.code, 0) << log.err;
    const QJsonArray entries = log.json["entries"].toArray();
    ASSERT_EQ(entries.size(), 3);
    EXPECT_EQ(str(entries[2].toObject()["adapter_kind"]), "WLP");
}

// A settings value of the wrong type (a number where the adapter kind's
// text belongs) is reported, not guessed at, and the other settings stay.
TEST(WindowsSimulator, WrongTypeOfSettingsValue)
{
    if (!simulatorRunning())
        GTEST_SKIP() << "no simulator (LP_TEST_SIM)";
    test::TempDir home;
    RealPorts ports;
    sim::ScriptedPrompts prompts;
    Context ctx;
    ports.attach(ctx, &prompts);
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kToolkitKey, "PrevAdapter", int32_t{7});

    const CliRun summary = linkport(home, {"summary", "--json"});
    EXPECT_NE(summary.code, 0);
    EXPECT_FALSE(str(summary.json["error"]).empty()) << summary.err;
    // The driver's settings are read as before.
    const CliRun port = linkport(home, {"config", "get", "lp2-port", "--json"});
    EXPECT_EQ(port.code, 0) << port.err;
    EXPECT_EQ(str(port.json["lp2-port"]), "COM5");
    const RegValue left = RegReadValue(ctx, HKEY_LOCAL_MACHINE, kToolkitKey, "PrevAdapter");
    EXPECT_TRUE(left.isNumber() && left.text() == "7") << "the value was rewritten: " << left.text();
    ASSERT_EQ(linkport(home, {"config", "set", "device", "lp2"}).code, 0);
}

// The window keeps answering while the compact adapter's COM port stays
// silent (LP_TEST_SERIAL_PORT: a port with nothing behind it), and the
// Summary then says what a missing adapter says.
TEST(WindowsSimulator, WindowStaysResponsiveWhileTheComPortIsSilent)
{
    const char* silent = std::getenv("LP_TEST_SERIAL_PORT");
    if (!silent)
        GTEST_SKIP() << "LP_TEST_SERIAL_PORT not set: no silent COM port";
    test::TestContext t;
    QtHost host;
    Win32SerialPorts serial{&t.log};
    t.ctx.ports.host = &host;
    t.ctx.ports.serialPorts = &serial;
    t.ctx.commandLine = "/CLP";
    t.setRegistryText(kToolkitKey, "PrevAdapter", "B&B SIP");
    t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM" + std::string(silent) + ",DEFAULT\r\n");
    double gap = 0;
    {
        frmParent main(t.ctx, ShellOptions{.instanceLockPath = t.file("instance")});
        test::GapMeter meter;
        main.MDIForm_Load();
        gap = meter.longestMs();
        auto* summary = qobject_cast<frmVersion*>(main.activeChild());
        ASSERT_NE(summary, nullptr);
        EXPECT_EQ(summary->rowValue(1) + "|" + summary->rowValue(2) + "|" + summary->rowValue(3),
                  "Not Present|Not Present|Not Present");
        EXPECT_EQ(t.prompts.prompts(), std::vector<std::string>{CGPErrorText(1)});
        EXPECT_TRUE(main.isEnabled());
    }
    test::flushPosted();
    std::printf("[ gaps     ] compact Summary / silent COM%s: longest gap %.1f ms\n", silent, gap);
    EXPECT_LT(gap, 250.0);
}

// The simulator program as a user runs it: its printed set-up must lead the
// program's real ports to the adapters it serves, and a stop must leave nothing.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "demo/demo_session.h"
#include "adapters/compact/modCGP.h"
#include "adapters/lp2/modLP2.h"
#include "adapters/rp1210/modRP1210Interface.h"
#include "adapters/wireless/modWLP.h"
#include "platform/qt/qt_tcp_socket.h"
#include "platform/reg_file_store.h"
#include "platform/rp1210_library.h"
#include "qt_support/pty_serial_rig.h"
#include "settings/modRegistry.h"
#include "core/string_table.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"
#include "support/watched_socket.h"
#include "qt_support/sim_process.h"

using namespace lp;
using namespace lp::sim;
namespace fs = std::filesystem;

namespace {

using namespace lp::test;

// Neither gone nor a zombie that nobody reaps yet.
bool running(pid_t pid)
{
    std::string stat = test::readFile("/proc/" + std::to_string(pid) + "/stat");
    size_t paren = stat.rfind(')');
    return paren != std::string::npos && paren + 2 < stat.size() && stat[paren + 2] != 'Z';
}

std::string prevAdapter(const std::string& registryFile)
{
    RegFileStore registry(registryFile);
    Context ctx;
    ctx.ports.registry = &registry;
    return RegReadValue(ctx, HKEY_LOCAL_MACHINE, LoadResString(801), "PrevAdapter").text();
}

} // namespace

TEST(LinkportSim, ServesEveryAdapterThroughTheProgramsPortsUntilInterrupted)
{
    test::TempDir dir;
    SimProcess sim({"--dosdevices", dir.file("dos"), "--lp2=COM3", "--lp2-hardware=3.1", "--lp2-application=2.4",
                    "--lp2-boot=255.255", "--lp2-connect-error=J1708:443", "--compact=COM8", "--compact-hardware",
                    "1.11", "--compact-serial=CLDEMO0001", "--compact-usb-latency=16", "--wireless=127.0.0.42,127.0.0.43",
                    "--wireless-firmware@127.0.0.42=03.1F.00", "--wireless-refuse@127.0.0.43", "--select", "wireless"});
    ASSERT_TRUE(sim.readUntil("press Ctrl-C")) << sim.out << sim.err;
    const std::string windir = sim.value("windir");
    const std::string dosdevices = sim.value("LINKPORT_DOSDEVICES");
    ASSERT_FALSE(windir.empty()) << sim.out;
    EXPECT_EQ(dosdevices, dir.file("dos"));
    EXPECT_EQ(prevAdapter(sim.value("LINKPORT_REGISTRY_FILE")), "WLP");
    ScopedEnv env("LINKPORT_DOSDEVICES", dosdevices);

    test::QtSerialContext real(windir);
    QtTcpSockets sockets(&real.host);
    Rp1210Library library("LP2RP32", [&] { return windir; }, &real.log);
    Context& ctx = real.ctx;
    ctx.ports.rp1210 = &library;
    ctx.ports.tcpSockets = &sockets;

    // The compact adapter, found by the search through LastComPortUsed,
    // behind a converter that holds its replies 16 ms.
    EXPECT_NE(sim.out.find("USB turnaround 16 ms"), std::string::npos) << sim.out;
    auto connection = real.ports.create();
    std::string hardware, firmware, serial;
    EXPECT_TRUE(CGPConnectAndRead(ctx, *connection, hardware, firmware, serial));
    EXPECT_EQ(hardware + " " + firmware + " " + serial, "1.11 01.07.12 CLDEMO0001");

    // The second-generation adapter: its driver from the Windows directory
    // and the program's own serial query reach the same model.
    std::string application, boot;
    ASSERT_TRUE(LP2ReadVersions(ctx, hardware, application, boot)) << library.lastError();
    EXPECT_EQ(hardware + " " + application + " " + boot, "3.1 2.4 255.255");
    EXPECT_EQ(library.loadedPath(), windir + "/libLP2RP32.so");
    EXPECT_EQ(LP2ReadDeviceParamsPort(ctx), "COM3");
    EXPECT_EQ(LP2SerialVersionQuery(ctx, 3, *connection), "01.07.12");
    EXPECT_EQ(RP1210Connect(ctx, "J1708"), 443);
    EXPECT_TRUE(real.prompts.boxes().empty());

    // Wireless: the list names both, the first answers, the second refuses.
    ChoiceItems list;
    ASSERT_TRUE(WLPFillList(ctx, list));
    EXPECT_EQ(ctx.g_astrWLPNames, (std::vector<std::string>{"Demo Unit A", "Demo Unit B"}));
    EXPECT_EQ(ctx.g_astrWLPAddresses, (std::vector<std::string>{"127.0.0.42", "127.0.0.43"}));
    test::WatchedSocket a(sockets, "127.0.0.42"), b(sockets, "127.0.0.43");
    ASSERT_TRUE(a.socket->connect());
    ASSERT_TRUE(b.socket->connect());
    ASSERT_TRUE(real.host.waitUntil([&] { return a.socket->state() != 6 && b.socket->state() != 6; }, 5000));
    EXPECT_EQ(b.socket->state(), 9);
    EXPECT_EQ(b.errors.at(0).first, 10061) << "refused, in the Windows number";
    ASSERT_EQ(a.socket->state(), 7);
    a.socket->sendData(test::kAskHexVersion);
    ASSERT_TRUE(real.host.waitUntil([&] { return a.data.size() >= 8; }, 5000));
    EXPECT_EQ(WLPParseHexVersion(a.take()), "03.1F.00");
    a.socket->close();
    RP1210Disconnect(ctx);

    // Ctrl-C: links, listeners and the temporary folder go.
    sim.signal(SIGINT);
    EXPECT_EQ(sim.finish(), 0) << sim.err;
    EXPECT_NE(sim.out.find("Stopped"), std::string::npos);
    EXPECT_FALSE(fs::is_symlink(fs::path(dosdevices) / "com3"));
    EXPECT_TRUE(fs::is_directory(dosdevices));
    EXPECT_FALSE(fs::exists(fs::path(windir).parent_path()));
    ASSERT_TRUE(a.socket->connect());
    ASSERT_TRUE(real.host.waitUntil([&] { return a.socket->state() != 6; }, 5000));
    EXPECT_EQ(a.socket->state(), 9) << "something still listens on 127.0.0.42";
}

TEST(LinkportSim, RefusesWhatItCannotDo)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"--wireless=127.0.0.2,192.168.1.20"}, "192.168.1.20 is not a loopback address"},
        {{"--wireless=localhost"}, "is not an address"},
        {{"--compact", "--bogus"}, "unknown option --bogus"},
        {{"--compact", "--lp2-silent"}, "--lp2-silent needs --lp2"},
        {{"--compact", "--compact-hardware=3"}, "--compact-hardware=3: expected MAJOR.MINOR"},
        {{"--compact", "--compact-silent=1"}, "takes no value"},
        {{"--compact", "--compact-usb-latency=256"}, "from 0 to 255"},
        {{"--compact", "--windir"}, "--windir needs a value"},
        {{"--wireless", "--wireless-silent@127.0.0.9"}, "no wireless adapter at 127.0.0.9"},
        {{"--lp2", "--compact=COM1"}, "cannot share COM1"},
        {{"--lp2", "--lp2-query=loud"}, "silent, short"},
        {{"--select", "lp2"}, "choose at least one adapter"},
        {{"COM1"}, "unexpected argument"},
    };
    for (const auto& [args, message] : cases) {
        SimProcess sim(args);
        EXPECT_EQ(sim.finish(), 2) << args[0];
        EXPECT_NE(sim.err.find(message), std::string::npos) << sim.err;
        EXPECT_TRUE(sim.out.empty()) << sim.out;
    }
    SimProcess help({"--lp2", "--help"});
    EXPECT_EQ(help.finish(), 0);
    EXPECT_NE(help.out.find("--wireless-drop[=N]"), std::string::npos);

    // A library that is not there is named, and nothing is left behind.
    test::TempDir dir;
    SimProcess missing({"--lp2", "--driver-library", dir.file("none.so"), "--dosdevices", dir.file("dos")});
    EXPECT_EQ(missing.finish(), 1);
    EXPECT_NE(missing.err.find(dir.file("none.so")), std::string::npos) << missing.err;
    EXPECT_FALSE(fs::is_symlink(dir.file("dos/com1")));
}

TEST(LinkportSim, PrintEnvHandsTheSettingsToAShellAndRunsOn)
{
    // The script's own output is the shell's: the settings after eval.
    const std::string script = std::string("eval \"$('") + LP_SIM_PROGRAM
                               + "' --print-env --compact=COM9 --select compact)\" || exit 3; "
                                 "echo \"$LINKPORT_DOSDEVICES\"; echo \"$LINKPORT_REGISTRY_FILE\"; "
                                 "echo \"$LINKPORT_SIM_PID\"";
    test::TempDir dir;
    test::writeFile(dir.file("run.sh"), script);
    SimProcess shell({dir.file("run.sh")}, "/bin/sh");
    ASSERT_EQ(shell.finish(10000), 0) << "eval waits for the simulator's end, or it failed: " << shell.err;
    const QStringList lines = QString::fromStdString(shell.out).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3) << shell.out;
    const pid_t pid = static_cast<pid_t>(lines[2].toInt());
    ASSERT_GT(pid, 0);
    const std::string dosdevices = lines[0].toStdString();
    EXPECT_TRUE(fs::is_symlink(fs::path(dosdevices) / "com9"));
    EXPECT_EQ(prevAdapter(lines[1].toStdString()), "B&B SIP");

    kill(pid, SIGTERM);
    for (int i = 0; i < 100 && running(pid); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(running(pid));
    EXPECT_FALSE(fs::exists(fs::symlink_status(dosdevices)));
}

TEST(DemoSession, PutsBackWhatItReplacedAndKeepsTheUsersSettings)
{
    test::TempDir dir;
    const std::string dos = dir.file("dos"), windows = dir.file("windows");
    fs::create_directories(dos);
    fs::create_directories(windows);
    fs::create_symlink("/dev/ttyUSB0", dos + "/com7");
    test::writeFile(windows + "/CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM2,N1\r\nOwn=kept\r\n");
    ScopedEnv windir("windir", "/elsewhere");

    DemoOptions options{.compact = {.enabled = true}, .windowsDirectory = windows, .dosdevicesFolder = dos};
    std::string error;
    auto session = startDemo(options, error);
    ASSERT_TRUE(session) << error;
    EXPECT_EQ(std::string(std::getenv("windir")), windows);
    EXPECT_NE(fs::read_symlink(dos + "/com7"), fs::path("/dev/ttyUSB0"));
    EXPECT_NE(session->description().find("asleep at 57600 baud"), std::string::npos) << session->description();
    std::string ini = test::readFile(windows + "/CLPRP32.INI");
    EXPECT_NE(ini.find("DeviceParams=COMX,DEFAULT"), std::string::npos) << ini;
    EXPECT_NE(ini.find("Own=kept"), std::string::npos) << ini;
    EXPECT_FALSE(session->firmwareFolder().empty());
    const std::string temporary = session->temporaryFolder();

    session.reset();
    EXPECT_EQ(fs::read_symlink(dos + "/com7"), fs::path("/dev/ttyUSB0"));
    EXPECT_EQ(std::string(std::getenv("windir")), "/elsewhere");
    EXPECT_FALSE(fs::exists(temporary));
    EXPECT_TRUE(fs::exists(windows + "/CLPRP32.INI"));

    // A port taken by something that is not a link is not touched.
    test::writeFile(dos + "/com8", "mine");
    options.compact.port = 8;
    EXPECT_FALSE(startDemo(options, error));
    EXPECT_NE(error.find("is not a link"), std::string::npos) << error;
    EXPECT_EQ(test::readFile(dos + "/com8"), "mine");
}

TEST(DemoSession, AStartRemovesTheFoldersOfKilledSessionsOnly)
{
    test::TempDir dir, tmp;
    ScopedEnv tmpdir("TMPDIR", tmp.path());
    SimProcess killed({"--compact=COM9", "--dosdevices", dir.file("dos")});
    ASSERT_TRUE(killed.readUntil("LINKPORT_DOSDEVICES=")) << killed.err;
    std::vector<std::string> left; // its session's folder
    for (const auto& entry : fs::directory_iterator(tmp.path()))
        if (entry.path().filename().string().rfind("linkport-sim-", 0) == 0)
            left.push_back(entry.path().string());
    ASSERT_EQ(left.size(), 1u);
    killed.signal(SIGKILL);
    killed.finish();
    // A link to a folder whose lock is free is not a session's folder.
    fs::create_directories(dir.file("elsewhere"));
    test::writeFile(dir.file("elsewhere/.owner.lock"), "");
    fs::create_directory_symlink(dir.file("elsewhere"), tmp.file("linkport-sim-link"));

    DemoOptions options{.setEnvironment = false};
    std::string error;
    auto live = startDemo(options, error);
    ASSERT_TRUE(live) << error;
    EXPECT_FALSE(fs::exists(left[0])) << "the killed session's folder stayed";
    auto second = startDemo(options, error);
    ASSERT_TRUE(second) << error;
    EXPECT_TRUE(fs::is_directory(live->temporaryFolder())) << "a live session's folder went";
    EXPECT_TRUE(fs::is_symlink(tmp.file("linkport-sim-link")));
    EXPECT_TRUE(test::fileExists(dir.file("elsewhere/.owner.lock")));
}

#if defined(LP_CLI_PROGRAM) && defined(LP_GUI_PROGRAM)
TEST(DemoSession, EachDemoHasItsOwnAddressesAndEndsOnTheFirstSignal)
{
    test::TempDir home;
    ScopedEnv data("XDG_DATA_HOME", home.file("data")), config("XDG_CONFIG_HOME", home.file("config")),
        runtime("XDG_RUNTIME_DIR", home.path()), qpa("QT_QPA_PLATFORM", "offscreen");

    // Another demo holds the usual addresses: this one takes others at once.
    // (Free addresses: other programs may be using the usual ones too.)
    DemoOptions other{.wireless = {demoWirelessAdapter("127.0.0.2", 0), demoWirelessAdapter("127.0.0.3", 1)},
                      .setEnvironment = false, .takeFreeAddresses = true};
    std::string error;
    auto held = startDemo(other, error);
    ASSERT_TRUE(held) << error;
    const std::string& heldText = held->description();
    const size_t at = heldText.find(" at 127.0.0.");
    ASSERT_NE(at, std::string::npos) << heldText;
    const std::string heldAddress = heldText.substr(at + 4, heldText.find(':', at) - at - 4);
    const auto started = std::chrono::steady_clock::now();
    SimProcess second({"--demo=wireless", "--json", "summary"}, LP_CLI_PROGRAM);
    EXPECT_EQ(second.finish(30000), 0) << second.err;
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(8)) << "no wait for the other demo";
    EXPECT_EQ(second.out.find("\"" + heldAddress + "\""), std::string::npos) << heldAddress << second.out;
    EXPECT_NE(second.out.find("\"127.0.0."), std::string::npos) << second.out;
    // The address locks are this user's own.
    struct stat st {};
    ASSERT_EQ(::stat(("/tmp/linkport-toolkit-" + std::to_string(::getuid())).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    held.reset();

    // A stop asked while the demo starts or the window loads is not lost.
    for (int delayMs : {300, 1500}) {
        SCOPED_TRACE(delayMs);
        SimProcess gui({"--demo"}, LP_GUI_PROGRAM);
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        gui.signal(SIGTERM);
        EXPECT_EQ(gui.finish(20000), 128 + SIGTERM) << gui.err;
    }
}
#endif

// The command line as a user runs it: linkport as a child process against
// demo adapters or a simulator session with the faults a case needs.
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <signal.h>
#include <sys/stat.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "demo/demo_options.h"
#include "demo/demo_session.h"
#include "linkport_process.h"
#include "platform/ini_profile_files.h"

#if defined(LP_CLI_PROGRAM) && defined(LP_DEMO_FIRMWARE_DIR)

namespace {

using namespace lp::test;

QString demoFile(const char* name) { return QStringLiteral(LP_DEMO_FIRMWARE_DIR "/") + name; }

// A simulator session in this process, as linkport-sim would start it
// with these options; linkport finds it through the environment.
std::unique_ptr<lp::sim::DemoSession> simulator(const std::vector<std::string>& options,
                                                const std::function<void(lp::sim::DemoOptions&)>& faults = {})
{
    lp::sim::SimCommand command;
    std::string error;
    if (lp::sim::parseSimArguments(options, command, error) != 0) {
        ADD_FAILURE() << error;
        return nullptr;
    }
    if (faults)
        faults(command.demo);
#ifdef LP_TEST_DRIVER_LIBRARY
    command.demo.driverLibrary = LP_TEST_DRIVER_LIBRARY;
#endif
    auto session = lp::sim::startDemo(command.demo, error);
    EXPECT_TRUE(session) << error;
    return session;
}

} // namespace

TEST(Cli, EachAdapterKindReadsAndFlashesItsDemoFile)
{
    TempDir home;
    struct Kind {
        const char* demo;
        const char* summary; // the device kind and hardware version read
        const char* file;
    };
    const Kind kinds[] = {
        {"lp2", "LPII SIP 3.0", "LP2-demo-1.9.apf"},
        {"compact", "B&B SIP 1.10", "CompactLinkport-demo-01.08.12.hex"},
        {"wireless", "WLP 1.10", "WirelessLinkport-demo-01.08.12.hex"},
    };
    for (const Kind& k : kinds) {
        SCOPED_TRACE(k.demo);
        const QString demo = QString("--demo=") + k.demo;
        const CliRun summary = linkport(home, {demo, "summary", "--json"});
        EXPECT_EQ(summary.code, 0) << summary.err;
        const std::string hardware = summaryRow(summary.json, "Hardware Version");
        EXPECT_EQ(str(summary.json["device_kind"]) + " " + hardware, k.summary);
        const CliRun flash = linkport(home, {demo, "--json", "flash", demoFile(k.file)});
        EXPECT_EQ(outcome(flash), "0 success") << flash.err << str(flash.json["reason"]);
    }

    // The demo's compact adapter is a pty on COM7: its device, and no USB
    // identity (null, not an empty object).
    const CliRun ports = linkport(home, {"--demo=compact", "ports", "--json"});
    ASSERT_EQ(ports.code, 0) << ports.err;
    QJsonObject com7;
    for (const QJsonValue& port : ports.json["ports"].toArray())
        if (str(port.toObject()["name"]) == "COM7")
            com7 = port.toObject();
    EXPECT_EQ(str(com7["device"]).rfind("/dev/pts/", 0), 0u) << str(com7["device"]);
    EXPECT_TRUE(com7.contains("usb") && com7["usb"].isNull());

    // Every attempt is one line of the log, with the file's own digest.
    const CliRun log = linkport(home, {"log", "--json"});
    ASSERT_EQ(log.code, 0) << log.err;
    const QJsonArray entries = log.json["entries"].toArray();
    ASSERT_EQ(entries.size(), 3);
    QFile file(demoFile("WirelessLinkport-demo-01.08.12.hex"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject last = entries[2].toObject();
    EXPECT_EQ(last["sha256"].toString(), QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex());
    EXPECT_EQ(str(last["adapter_kind"]), "WLP");
    EXPECT_EQ(str(last["header"].toObject()["FirmwareType"]), "Wireless Firmware");
    EXPECT_EQ(str(entries[0].toObject()["versions_before"].toObject()["application"]), "1.8");
}

TEST(Cli, OlderFileQuestion)
{
    TempDir home;
    const std::string older = home.file("LP2-older-1.7.apf");
    writeFile(older, "[Hex File Information]\r\nFirmwareVersion=1.7\r\nFirmwareType=Application\r\n"
                     "ReleaseDate=May 2020\r\nHardwareVersions=2.0,3.0\r\n\r\n:00000001FF\r\n");
    const QString path = QString::fromStdString(older);

    const CliRun no = linkport(home, {"--demo", "--json", "--no", "flash", path});
    EXPECT_EQ(outcome(no), "1 cancelled") << no.err;
    // The demo driver installs its own 1.9 image whatever file it is given:
    // the flash went through, but the adapter does not run the file's 1.7.
    // (That ending's read-back: the flash fault table's Lp2RunsAnotherVersion.)
    const CliRun yes = linkport(home, {"--demo", "--json", "--yes", "flash", path});
    EXPECT_EQ(outcome(yes), "1 success") << yes.err;
    // The boxes' CR LF line ends reach the terminal as plain line ends.
    EXPECT_EQ(yes.err.find('\r'), std::string::npos) << yes.err;
    // Nobody to ask: the question is the error.
    const CliRun unasked = linkport(home, {"--demo", "--json", "flash", path});
    EXPECT_EQ(unasked.code, 2);
    EXPECT_NE(str(unasked.json["error"]).find(str(no.json["messages"].toArray()[0].toObject()["text"])),
              std::string::npos)
        << str(unasked.json["error"]);

    // Each answer is on record, and so is the flash nobody was asked about.
    EXPECT_EQ(linkport(home, {"log", "--json"}).json["entries"].toArray().size(), 3);
}

TEST(Cli, AdapterTestResultsAndAdaptersThatDoNotAnswer)
{
    TempDir home;
    // The five results as "text colour", joined by "|".
    const auto results = [](const CliRun& r) {
        std::string all;
        for (const QJsonValue& v : r.json["results"].toArray())
            all += (all.empty() ? "" : "|") + str(v.toObject()["text"]) + " " + str(v.toObject()["colour"]);
        return all;
    };
    const CliRun passed = linkport(home, {"--demo", "test", "--json"});
    EXPECT_EQ(passed.code, 0) << passed.err;
    EXPECT_EQ(str(passed.json["adapter"]), "Linkport II");
    EXPECT_EQ(results(passed), "Passed Green|Passed Green|Passed Green|Passed Green|Passed Green");
    EXPECT_EQ(str(passed.json["results"].toArray()[2].toObject()["caption"]), "J1708 Communication:");

    // No power: the driver opens no client, and nothing passes. (Which
    // check fails for which driver answer: the adapter test screen's table.)
    auto sim = simulator({"--lp2", "--lp2-silent", "--select=lp2"});
    ASSERT_TRUE(sim);
    const CliRun silent = linkport(home, {"test", "--json"});
    EXPECT_EQ(silent.code, 1);
    EXPECT_EQ(results(silent), "142 Red|Untested White|Untested White|Untested White|Untested White");
    EXPECT_NE(linkport(home, {"summary", "--json"}).code, 0) << "an adapter that answers nothing was read";

    // A wireless adapter that answers garbage fails its Summary.
    sim.reset();
    sim = simulator({"--wireless", "--wireless-garbage", "--select=wireless"});
    ASSERT_TRUE(sim);
    const CliRun garbage = linkport(home, {"--json", "summary"});
    EXPECT_EQ(garbage.code, 1) << garbage.err;
    EXPECT_EQ(str(garbage.json["error"]), "the wireless adapter Demo Unit A (127.0.0.2) at 127.0.0.2 did not "
                                          "answer: check that it is powered and on this network");
    EXPECT_EQ(garbage.json["rows"].toArray().size(), 7);
}

TEST(Cli, BadArgumentsAndFilesEndWithTheReason)
{
    TempDir home;
    const std::string notes = home.file("notes.hex");
    writeFile(notes, "hello\r\nworld\r\n");
    const QString compact = demoFile("CompactLinkport-demo-01.08.12.hex");
    const struct {
        QStringList args;
        std::string error;
    } cases[] = {
        {{"--json"}, "no command given"},
        {{"--json", "frobnicate"}, "unknown command \"frobnicate\""},
        {{"summary", "--json", "--bogus"}, "unknown option --bogus"},
        {{"flash", "--json", "--yes", "--no", "x.apf"}, "--yes and --no cannot both be given"},
        {{"--demo", "flash", "--json"}, "flash takes one operand: the firmware file"},
        {{"--demo", "--json", "flash", "/nonexistent/x.apf"},
         "cannot read the file /nonexistent/x.apf: No such file or directory"},
        // A file of another adapter kind is refused before anything is sent.
        {{"--demo", "--json", "flash", compact},
         "Application Firmware Files (*.apf) only: " + compact.toStdString()},
        {{"--demo=compact", "--json", "flash", QString::fromStdString(notes)},
         "not a firmware file: " + notes
             + " has no header with FirmwareVersion and FirmwareType in its first lines"},
        {{"--demo=compact", "--json", "flash", demoFile("WirelessLinkport-demo-01.08.12.hex")},
         "the file's FirmwareType is \"Wireless Firmware\"; the Compact Linkport takes \"Firmware\""},
        {{"config", "set", "device", "toaster", "--json"},
         "unknown device \"toaster\" (lp2, compact or wireless)"},
        {{"wireless", "add", "x", "999.1.1.1", "--json"},
         "\"999.1.1.1\" is not a valid network address.  Enter an IPv4 address such as 192.168.0.20, or a "
         "host name such as wlp-shop1."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(' ').toStdString());
        const CliRun r = linkport(home, c.args);
        EXPECT_EQ(r.code, 2);
        EXPECT_EQ(str(r.json["error"]), c.error);
    }
    EXPECT_EQ(linkport(home, {"config", "--help"}).code, 0);
}

TEST(Cli, WirelessListAndDeviceKindSettings)
{
    TempDir home;
    // The wireless list and the device kind, written as the screens write
    // them, seen by the next command.
    auto sim = simulator({"--lp2", "--wireless", "--select=lp2"});
    ASSERT_TRUE(sim);
    CliRun r = linkport(home, {"wireless", "add", "Shop \xC3\xBC", "10.0.0.9", "SN9", "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    QJsonArray adapters = r.json["adapters"].toArray();
    ASSERT_EQ(adapters.size(), 3);
    EXPECT_EQ(adapters[2].toObject()["name"].toString(), QString::fromUtf8("Shop \xC3\xBC"));
    EXPECT_TRUE(adapters[2].toObject()["selected"].toBool());
    r = linkport(home, {"wireless", "select", "demo unit b", "--json"});
    EXPECT_TRUE(r.json["adapters"].toArray()[1].toObject()["selected"].toBool()) << r.err;
    r = linkport(home, {"wireless", "remove", "3", "--json"});
    EXPECT_EQ(r.json["adapters"].toArray().size(), 2);

    r = linkport(home, {"config", "set", "device", "wireless", "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(str(r.json["device"]), "WLP");
    EXPECT_EQ(str(r.json["wireless-adapter"]), "Demo Unit B (127.0.0.3)");
    r = linkport(home, {"summary", "--json"});
    EXPECT_EQ(str(r.json["device_kind"]), "WLP") << r.err;
    EXPECT_EQ(str(r.json["rows"].toArray()[1].toObject()["value"]), "127.0.0.3");
}

// The wireless list of LPIPRP32.INI as a driver reads it: one entry per
// name, each with an address, and the chosen adapter one of them, whole.
std::string wirelessListProblem(const std::string& windir)
{
    lp::IniProfileFiles ini(windir);
    auto get = [&](const char* section, const char* key) {
        std::string v;
        ini.getPrivateProfileString(section, key, "", v, 4096, "LPIPRP32.INI");
        return v;
    };
    auto items = [](const std::string& list) {
        std::vector<std::string> out;
        for (size_t start = 0, end; (end = list.find(';', start)) != std::string::npos; start = end + 1)
            out.push_back(list.substr(start, end - start));
        return out;
    };
    const auto names = items(get("AdditionalDevices", "DeviceNames"));
    const auto params = items(get("AdditionalDevices", "DeviceParams"));
    const auto serials = items(get("AdditionalDevices", "SerialNumbers"));
    if (names.size() != params.size() || names.size() != serials.size())
        return "lists of " + std::to_string(names.size()) + ", " + std::to_string(params.size()) + " and "
               + std::to_string(serials.size()) + " items";
    for (const std::string& p : params)
        if (p.size() <= 6 || p.substr(p.size() - 6) != ":12321")
            return "an adapter without an address: \"" + p + "\"";
    const std::string chosen = get("DeviceInformation1", "DeviceName");
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == chosen)
            return params[i] == get("DeviceInformation1", "DeviceParams") && serials[i] == get("DeviceInformation1", "SerialNumber")
                       ? std::string()
                       : "the chosen adapter " + chosen + " mixed with another's address or serial";
    return "the chosen adapter \"" + chosen + "\" is not in the list";
}

TEST(Cli, SettingsFilesAreNeverLeftWorse)
{
    TempDir home;
    auto sim = simulator({"--lp2", "--compact", "--wireless", "--select=lp2"});
    ASSERT_TRUE(sim);
    const std::string ini = sim->windowsDirectory() + "/LPIPRP32.INI";
    const std::string reg = sim->registryFile();
    const std::string iniBefore = readFile(ini), regBefore = readFile(reg);

    // A file the program cannot read or may not write is named, and stays as it is.
    std::string random(2048, '\0');
    unsigned seed = 7;
    for (char& c : random)
        c = static_cast<char>((seed = seed * 1103515245u + 12345u) >> 16);
    const QStringList add{"wireless", "add", "Shop 7", "10.0.0.7", "--json"};
    struct Bad {
        const char* what;
        std::string file, contents;
        bool readOnly;
        QStringList args;
        const char* says;
    };
    const Bad bad[] = {
        {"registry of garbage, config get", reg, random, false, {"config", "get", "--json"}, "is not a registry file"},
        {"registry of garbage, wireless list", reg, "[x]\n", false, {"wireless", "list", "--json"}, "cannot read"},
        {"registry read-only", reg, regBefore, true, {"config", "set", "device", "wireless", "--json"}, "read-only"},
        {"wireless list of garbage", ini, random, false, add, "is not a text file"},
        {"wireless list read-only", ini, iniBefore, true, add, "read-only"},
    };
    for (const Bad& b : bad) {
        SCOPED_TRACE(b.what);
        writeFile(b.file, b.contents);
        ::chmod(b.file.c_str(), b.readOnly ? 0444 : 0644);
        const CliRun r = linkport(home, b.args);
        EXPECT_EQ(r.code, 2);
        EXPECT_NE(str(r.json["error"]).find(b.says), std::string::npos) << str(r.json["error"]);
        EXPECT_NE(str(r.json["error"]).find(b.file), std::string::npos) << str(r.json["error"]);
        EXPECT_EQ(readFile(b.file), b.contents);
        ::chmod(b.file.c_str(), 0644);
        writeFile(reg, regBefore);
        writeFile(ini, iniBefore);
    }

    // Two commands at once: each keeps the other's change. The port and rate
    // are those of the adapter not chosen: saved for it, and the choice stays.
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE(round);
        const QString port = round % 2 ? "COM7" : "COMX", rate = round % 2 ? "N1" : "N2";
        const QString n = QString::number(round);
        auto a = startLinkport(home, {"config", "set", "compact-port", port});
        auto b = startLinkport(home, {"config", "set", "compact-rate", rate});
        auto c = startLinkport(home, {"wireless", "add", "P" + n, "10.0.2." + QString::number(round + 1)});
        auto d = startLinkport(home, {"wireless", "add", "Q" + n, "10.0.3." + QString::number(round + 1)});
        for (QProcess* p : {a.get(), b.get(), c.get(), d.get()})
            EXPECT_EQ(finish(*p).code, 0);
        CliRun r = linkport(home, {"config", "get", "--json"});
        const std::string compact = str(r.json["compact-port"]) + "," + str(r.json["compact-rate"]);
        EXPECT_EQ(compact + " " + str(r.json["device"]), (port + "," + rate + " LPII SIP").toStdString());
        // The demo's two, and two more each round.
        r = linkport(home, {"wireless", "list", "--json"});
        EXPECT_EQ(r.json["adapters"].toArray().size(), 4 + 2 * round);
        EXPECT_EQ(wirelessListProblem(sim->windowsDirectory()), "");
    }

    // Killed at any moment, an add leaves the old list or the new one.
    writeFile(ini, iniBefore);
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(linkport(home, {"wireless", "add", "Timed", "10.0.4.1"}).code, 0);
    const int runMs = static_cast<int>(clock.elapsed());
    std::mt19937 random2(20261121);
    int landed = 0;
    const int trials = 40;
    for (int trial = 0; trial < trials; ++trial) {
        SCOPED_TRACE(trial);
        writeFile(ini, iniBefore);
        auto p = startLinkport(home, {"wireless", "add", "K" + QString::number(trial), "10.0.5.1"});
        p->waitForStarted();
        QThread::msleep(std::uniform_int_distribution<int>(runMs / 2, runMs + runMs / 4)(random2));
        ::kill(static_cast<pid_t>(p->processId()), SIGKILL);
        p->waitForFinished();
        ASSERT_EQ(wirelessListProblem(sim->windowsDirectory()), "");
        landed += readFile(ini) != iniBefore;
    }
    std::printf("%d of %d killed adds had written the list (a run takes %d ms)\n", landed, trials, runMs);
    writeFile(ini, iniBefore);
}

// A flash killed half-way is on record as interrupted, and a log with a
// damaged line still reads as valid JSON.
TEST(Cli, InterruptedFlashAndDamagedLogLines)
{
    TempDir home;
    auto sim = simulator({"--compact", "--select=compact"}, [](lp::sim::DemoOptions& o) {
        o.compact.setup.push_back([](lp::sim::CompactModel& m) { m.setLoaderFaults({.slowAckMs = 1000}); });
    });
    ASSERT_TRUE(sim);
    auto p = startLinkport(home, {"flash", demoFile("CompactLinkport-demo-01.08.12.hex")});
    EXPECT_FALSE(p->waitForFinished(4000)) << "the slow flash ended early";
    p->kill();
    p->waitForFinished();

    // Then a disk that filled up mid-line and an entry glued to the fragment.
    const std::string path = home.file("data/linkport-toolkit/flash-log.jsonl");
    const std::string whole = readFile(path);
    writeFile(path, whole + "{\"time\":\"2026-11" + whole);
    const CliRun log = linkport(home, {"log", "--json"});
    ASSERT_EQ(log.code, 0) << log.err;
    ASSERT_EQ(log.json["entries"].toArray().size(), 1) << "no valid JSON, or the attempt not on record";
    EXPECT_EQ(str(log.json["entries"].toArray()[0].toObject()["result"]), "interrupted");
    EXPECT_EQ(log.json["damaged_lines"].toInt(), 1);
}

#endif

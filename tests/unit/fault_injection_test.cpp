// Faults injected at every phase of the compact and wireless flashes on the
// virtual clock. Whatever goes wrong, a flash must end in bounded time with
// one of the failure texts it is known to show (the success text only where
// the fault leaves the adapter with the whole image), the port or
// socket closed and the record counter back at 0: a technician left with a
// hung dialog or an open port has to kill the program.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "adapters/compact/compact_flash.h"
#include "adapters/wireless/wireless_flash.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "models/wireless_model.h"
#include "support/flash_screens.h"
#include "support/fault_tally.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

const std::string kSuccess =
    "Flash Completed Successfully!\r\n\r\nYou can now go to Toolkit, return to Flash, or Exit the program.";

// Every text a compact flash may end with.
const std::set<std::string> kCompactTexts{
    "Unable to connect to the Compact Linkport.  Check the cable and connector between the PC and the Compact "
    "Linkport. Verify the adapter is getting power.\r\rError:\rThe interface hardware is not connected.",
    "The flash process could not be initialized.  Please modify Preferences.",
    "An error occured while flashing the Compact Linkport.  Please retry!",
};

// Every text a wireless flash may end with (the socket errors a model can cause).
const std::set<std::string> kWirelessTexts{
    "Error while programming device.  Please retry!",
    "An error occured while flashing the Wireless Linkport.\r\nPlease power cycle the adapter manually.",
    "Error# 10054\r\nThe connection was closed by the remote host",
    "Error# 10061\r\nThe connection was refused by the remote host",
};

// A flash, the compact one's or the wireless one's, never runs longer than
// this on the virtual clock (the longest legitimate wait is the wireless
// reconnect window of 10 s after three 3 s silences).
constexpr double kBoundMs = 60'000;

test::FaultTally tally("compact and wireless flashes");

// The faults a flash rides out: an answer late but in time, and the
// wireless adapter's silence or garbage once the last record is out (the
// closing frame follows the last record without waiting for its "#", and the
// adapter has the whole image by then).
const std::set<std::string> kSurvived{
    "compact record slow reply",        "compact end of file slow reply",   "wireless record slow reply",
    "wireless end of file slow reply",  "wireless end of file silence",     "wireless end of file garbage",
    "wireless end of file dropped link", "wireless versions garbage",
};

// Checks one ended flash; counts it survived when every property held.
void expectEnded(const char* kind, const std::string& what, bool ended, double elapsedMs,
                 const std::vector<std::string>& texts, const std::set<std::string>& known, bool closed,
                 int64_t counter)
{
    SCOPED_TRACE(std::string(kind) + " / " + what);
    tally.begin();
    EXPECT_TRUE(ended);
    EXPECT_LT(elapsedMs, kBoundMs);
    ASSERT_EQ(texts.size(), 1u) << "one ending message, no more";
    if (kSurvived.count(std::string(kind) + " " + what))
        EXPECT_EQ(texts[0], kSuccess);
    else
        EXPECT_TRUE(known.count(texts[0])) << "a failure text, not: " << texts[0];
    EXPECT_TRUE(closed);
    EXPECT_EQ(counter, 0);
    tally.end();
}

constexpr int kRecords = 24;              // data records; the end-of-file record is one more
constexpr int kEndRecord = kRecords + 1; // the data records, then the end of file

struct CompactCase {
    const char* phase;
    const char* fault;
    bool startInLoader;
    std::function<void(CompactModel&, test::TestContext&)> inject;
};

struct WirelessCase {
    const char* phase;
    const char* fault;
    bool startInLoader;
    std::function<void(WirelessModel&, std::string& address)> inject;
};

CompactModel::LoaderFaults loader(std::function<void(CompactModel::LoaderFaults&)> f)
{
    CompactModel::LoaderFaults faults;
    f(faults);
    return faults;
}

} // namespace

TEST(FaultInjection, CompactFlashEndsWithAKnownTextAtEveryPhase)
{
    const Bytes garbage{0x13, 0x37, 0xFF, 0x00};
    auto atRecord = [&](int k) {
        return std::vector<CompactCase>{
            {"record", "silence", true, [k](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k](auto& f) { f.silentFromRecord = k; }));
             }},
            {"record", "garbage", true, [k, garbage](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k, garbage](auto& f) { f.refusedRecord = k, f.refusedReply = garbage; }));
             }},
            {"record", "slow reply", true, [k](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k](auto& f) { f.slowRecord = k, f.slowAckMs = 1000; }));
             }},
            {"record", "too slow", true, [k](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k](auto& f) { f.slowRecord = k, f.slowAckMs = 4000; }));
             }},
        };
    };
    std::vector<CompactCase> cases{
        {"connect", "port busy", true, [](auto&, test::TestContext& t) { t.serialPorts.setBusy(3, true); }},
        {"connect", "no port", true, [](auto&, test::TestContext& t) { t.serialPorts.removePort(3); }},
        {"identity", "silence", false, [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::Silence); }},
        {"identity", "garbage", false, [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::Garbage); }},
        {"identity", "short reply", false, [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::ShortReply); }},
        {"identity", "slow reply", false, [](CompactModel& m, auto&) { m.setFault(CompactModel::Fault::SlowReply); }},
        {"loader hand-shake", "silence", true,
         [](CompactModel& m, auto&) { m.setLoaderFaults(loader([](auto& f) { f.readyAnswer.clear(); })); }},
        {"loader hand-shake", "garbage", true,
         [garbage](CompactModel& m, auto&) { m.setLoaderFaults(loader([&](auto& f) { f.readyAnswer = garbage; })); }},
        {"loader hand-shake", "short reply", false,
         [](CompactModel& m, auto&) { m.setLoaderFaults(loader([](auto& f) { f.readyAnswer = {'?', '?'}; })); }},
        {"loader hand-shake", "silence after switch", false,
         [](CompactModel& m, auto&) { m.setLoaderFaults(loader([](auto& f) { f.readyAnswer.clear(); })); }},
    };
    for (int k : {1, kRecords / 2, kEndRecord})
        for (CompactCase c : atRecord(k)) {
            if (k == kEndRecord)
                c.phase = "end of file";
            cases.push_back(c);
        }

    for (const CompactCase& c : cases) {
        test::TestContext t;
        CompactModel::Config config;
        config.mode = c.startInLoader ? CompactModel::Mode::Loader : CompactModel::Mode::Application;
        CompactModel model(config);
        t.serialPorts.addPort(3, &model);
        t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,P1\r\n");
        const std::string path = t.file("app.hex");
        test::writeFile(path, firmwareFileText(pseudoRandomImage(kRecords * 16)));
        c.inject(model, t);
        test::RecordingCompactScreen screen;
        std::unique_ptr<SerialPort> port = t.serialPorts.create();
        const double start = t.clock.nowMs();
        const CompactFlashResult r = RunCompactFlash(t.ctx, *port, screen, 3, path);
        std::vector<std::string> texts = t.prompts.prompts();
        texts.insert(texts.end(), screen.exitDialogs.begin(), screen.exitDialogs.end());
        expectEnded("compact", std::string(c.phase) + " " + c.fault, r.finished, t.clock.nowMs() - start, texts,
                    kCompactTexts, !port->portOpen(), t.ctx.g_intFlashRecordCounter);
    }
}

TEST(FaultInjection, WirelessFlashEndsWithAKnownTextAtEveryPhase)
{
    auto atRecord = [](int k) {
        return std::vector<WirelessCase>{
            {"record", "silence", true, [k](WirelessModel& m, auto&) { m.loaderFaults().silentFromRecord = k; }},
            {"record", "garbage", true, [k](WirelessModel& m, auto&) { m.loaderFaults().refuseRecord = k; }},
            {"record", "dropped link", true, [k](WirelessModel& m, auto&) { m.loaderFaults().dropAtRecord = k; }},
            {"record", "slow reply", true, [k](WirelessModel& m, auto&) {
                 m.loaderFaults().slowRecord = k, m.loaderFaults().slowAckUs = 2'000'000;
             }},
            {"record", "too slow", true, [k](WirelessModel& m, auto&) {
                 m.loaderFaults().slowRecord = k, m.loaderFaults().slowAckUs = 20'000'000;
             }},
        };
    };
    std::vector<WirelessCase> cases{
        {"connect", "nobody there", true, [](auto&, std::string& a) { a = "127.0.0.99"; }},
        {"connect", "refused", true, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::RefuseConnections); }},
        {"versions", "silence", false, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::Silent); }},
        {"versions", "garbage", false, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::Garbage); }},
        {"versions", "dropped link", false, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::DropMidReply); }},
        {"loader hand-shake", "garbage", true, [](WirelessModel& m, auto&) {
             m.loaderFaults().badReadyAnswer = "x?!#", m.loaderFaults().badReadyAnswers = 100;
         }},
        {"loader hand-shake", "short reply", true, [](WirelessModel& m, auto&) {
             m.loaderFaults().badReadyAnswer = "??", m.loaderFaults().badReadyAnswers = 100;
         }},
        {"loader hand-shake", "silence after switch", false,
         [](WirelessModel& m, auto&) { m.loaderFaults().silentAfterSwitch = true; }},
        {"reconnect", "dropped link", true, [](WirelessModel& m, auto&) { m.loaderFaults().failReconnect = true; }},
    };
    for (int k : {1, kRecords / 2, kRecords + 1})
        for (WirelessCase c : atRecord(k)) {
            if (k == kRecords + 1)
                c.phase = "end of file";
            cases.push_back(c);
        }

    for (const WirelessCase& c : cases) {
        test::TestContext t;
        WirelessAdapterConfig config;
        config.startInLoader = c.startInLoader;
        WirelessModel model(config);
        std::string address = "127.0.0.2";
        t.tcpSockets.addDevice(address, model);
        const std::string path = t.file("wlp.hex");
        test::writeFile(path, firmwareFileText(pseudoRandomImage(kRecords * 16)));
        c.inject(model, address);
        std::unique_ptr<TcpSocket> socket = t.tcpSockets.create();
        test::RecordingWirelessScreen screen(&t.clock);
        WirelessFlash flash(t.ctx, *socket, screen);
        screen.flash = &flash;
        socket->setDataArrivalHandler([&](int32_t) { flash.dataArrival(); });
        socket->setErrorHandler([&](int32_t n, const std::string& d) { flash.socketError(n, d); });
        const double start = t.clock.nowMs();
        flash.beginFlash(address, path);
        const bool ended = t.clock.waitUntil([&] { return !flash.active(); }, kBoundMs);
        std::vector<std::string> texts = t.prompts.prompts();
        texts.insert(texts.end(), screen.exitDialogs.begin(), screen.exitDialogs.end());
        expectEnded("wireless", std::string(c.phase) + " " + c.fault, ended && flash.result().finished(),
                    t.clock.nowMs() - start, texts, kWirelessTexts, socket->state() == 0,
                    t.ctx.g_intFlashRecordCounter);
    }
}

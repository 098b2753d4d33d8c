// Faults injected at every phase of the compact and wireless flashes on the
// virtual clock. Whatever goes wrong, a flash must end in bounded time with
// the one message known for that fault (the success text only where the
// fault leaves the adapter with the whole image), the port or socket
// closed, the progress dialog, timer and hourglass gone and the record
// counter back at 0: a technician left with a hung dialog or an open port
// has to kill the program.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "adapters/compact/compact_flash.h"
#include "adapters/compact/modCGP.h"
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

// The wireless flash's failure texts (the compact ones: CGPErrorText).
const std::string kTimedOut = "Error while programming device.  Please retry!";
const std::string kPowerCycle =
    "An error occured while flashing the Wireless Linkport.\r\nPlease power cycle the adapter manually.";
const std::string kClosed = "Error# 10054\r\nThe connection was closed by the remote host";
const std::string kRefused = "Error# 10061\r\nThe connection was refused by the remote host";

// A flash, the compact one's or the wireless one's, never runs longer than
// this on the virtual clock (the longest legitimate wait is the wireless
// reconnect window of 10 s after three 3 s silences).
constexpr double kBoundMs = 60'000;

test::FaultTally tally("compact and wireless flashes");

// Checks one ended flash against the one message it must end with (the
// success text where the fault leaves the adapter with the whole image);
// counts it survived when every property held.
void expectEnded(const std::string& what, bool ended, double elapsedMs, const test::TestContext& t,
                 const test::RecordedFlashScreen& screen, const std::string& expected, bool closed, bool timerOn)
{
    SCOPED_TRACE(what);
    tally.begin();
    EXPECT_TRUE(ended);
    EXPECT_LT(elapsedMs, kBoundMs);
    std::vector<std::string> texts = t.prompts.prompts();
    texts.insert(texts.end(), screen.exitDialogs.begin(), screen.exitDialogs.end());
    EXPECT_EQ(texts, std::vector<std::string>{expected}) << "one ending message, no more";
    EXPECT_TRUE(closed);
    EXPECT_FALSE(timerOn);
    EXPECT_FALSE(screen.dialogVisible);
    EXPECT_EQ(screen.pointer, 0);
    EXPECT_EQ(t.ctx.g_intFlashRecordCounter, 0);
    tally.end();
}

constexpr int kRecords = 24;              // data records; the end-of-file record is one more
constexpr int kEndRecord = kRecords + 1; // the data records, then the end of file

struct CompactCase {
    const char* phase;
    const char* fault;
    bool startInLoader;
    std::function<void(CompactModel&, test::TestContext&)> inject;
    int16_t code; // the CGPShowError code it ends with; 0: the success text
};

struct WirelessCase {
    const char* phase;
    const char* fault;
    bool startInLoader;
    std::function<void(WirelessModel&, std::string& address)> inject;
    std::string ending;
};

CompactModel::LoaderFaults loader(std::function<void(CompactModel::LoaderFaults&)> f)
{
    CompactModel::LoaderFaults faults;
    f(faults);
    return faults;
}

} // namespace

TEST(FaultInjection, CompactFlashEndsWithItsTextAtEveryPhase)
{
    const Bytes garbage{0x13, 0x37, 0xFF, 0x00};
    auto atRecord = [&](int k) {
        return std::vector<CompactCase>{
            {"record", "silence", true, [k](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k](auto& f) { f.silentFromRecord = k; }));
             }, 3},
            {"record", "garbage", true, [k, garbage](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k, garbage](auto& f) { f.refusedRecord = k, f.refusedReply = garbage; }));
             }, 3},
            {"record", "slow reply", true, [k](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k](auto& f) { f.slowRecord = k, f.slowAckMs = 1000; }));
             }, 0},
            {"record", "too slow", true, [k](CompactModel& m, auto&) {
                 m.setLoaderFaults(loader([k](auto& f) { f.slowRecord = k, f.slowAckMs = 4000; }));
             }, 3},
        };
    };
    using Fault = CompactModel::Fault;
    std::vector<CompactCase> cases{
        {"connect", "port busy", true, [](auto&, test::TestContext& t) { t.serialPorts.setBusy(3, true); }, 1},
        {"connect", "no port", true, [](auto&, test::TestContext& t) { t.serialPorts.removePort(3); }, 1},
        {"identity", "silence", false, [](CompactModel& m, auto&) { m.setFault(Fault::Silence); }, 2},
        {"identity", "garbage", false, [](CompactModel& m, auto&) { m.setFault(Fault::Garbage); }, 1},
        {"identity", "short reply", false, [](CompactModel& m, auto&) { m.setFault(Fault::ShortReply); }, 0},
        {"identity", "slow reply", false, [](CompactModel& m, auto&) { m.setFault(Fault::SlowReply); }, 0},
        {"loader hand-shake", "silence", true,
         [](CompactModel& m, auto&) { m.setLoaderFaults(loader([](auto& f) { f.readyAnswer.clear(); })); }, 2},
        {"loader hand-shake", "garbage", true,
         [garbage](CompactModel& m, auto&) { m.setLoaderFaults(loader([&](auto& f) { f.readyAnswer = garbage; })); }, 1},
        {"loader hand-shake", "short reply", false,
         [](CompactModel& m, auto&) { m.setLoaderFaults(loader([](auto& f) { f.readyAnswer = {'?', '?'}; })); }, 1},
        // The loader could not be reached: error 2 sends the user to Preferences.
        {"loader hand-shake", "silence after switch", false,
         [](CompactModel& m, auto&) { m.setLoaderFaults(loader([](auto& f) { f.readyAnswer.clear(); })); }, 2},
    };
    for (int k : {1, kRecords / 2, kEndRecord})
        for (CompactCase c : atRecord(k)) {
            if (k == kEndRecord)
                c.phase = "end of file";
            cases.push_back(c);
        }

    for (const CompactCase& c : cases) {
        test::TestContext t;
        CompactModel::Config config{.baud = 115200}; // the rate "P1" names
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
        const std::string what = std::string("compact ") + c.phase + " " + c.fault;
        expectEnded(what, r.finished, t.clock.nowMs() - start, t, screen, c.code ? CGPErrorText(c.code) : kSuccess,
                    !port->portOpen(), screen.timerOn);
        EXPECT_EQ(r.errorCode, c.code) << what;
        EXPECT_EQ(t.screens.selected, std::vector<std::string>(c.code == 2, "Preferences")) << what;
    }
}

TEST(FaultInjection, WirelessFlashEndsWithItsTextAtEveryPhase)
{
    // The closing frame follows the last record without waiting for its
    // "#", and the adapter has the whole image by then: what goes wrong
    // after the end-of-file record is ridden out.
    auto atRecord = [](int k) {
        const bool end = k == kEndRecord;
        return std::vector<WirelessCase>{
            {"record", "silence", true, [k](WirelessModel& m, auto&) { m.loaderFaults().silentFromRecord = k; },
             end ? kSuccess : kTimedOut},
            {"record", "garbage", true, [k](WirelessModel& m, auto&) { m.loaderFaults().refuseRecord = k; },
             end ? kSuccess : kPowerCycle},
            {"record", "dropped link", true, [k](WirelessModel& m, auto&) { m.loaderFaults().dropAtRecord = k; },
             end ? kSuccess : kClosed},
            {"record", "slow reply", true, [k](WirelessModel& m, auto&) {
                 m.loaderFaults().slowRecord = k, m.loaderFaults().slowAckUs = 2'000'000;
             }, kSuccess},
            {"record", "too slow", true, [k](WirelessModel& m, auto&) {
                 m.loaderFaults().slowRecord = k, m.loaderFaults().slowAckUs = 20'000'000;
             }, kTimedOut},
        };
    };
    std::vector<WirelessCase> cases{
        {"connect", "nobody there", true, [](auto&, std::string& a) { a = "127.0.0.99"; }, kRefused},
        {"connect", "refused", true, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::RefuseConnections); },
         kRefused},
        {"versions", "silence", false, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::Silent); }, kTimedOut},
        {"versions", "garbage", false, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::Garbage); }, kSuccess},
        {"versions", "dropped link", false, [](WirelessModel& m, auto&) { m.setFault(WirelessFault::DropMidReply); },
         kClosed},
        {"loader hand-shake", "garbage", true, [](WirelessModel& m, auto&) {
             m.loaderFaults().badReadyAnswer = "x?!#", m.loaderFaults().badReadyAnswers = 100;
         }, kTimedOut},
        {"loader hand-shake", "short reply", true, [](WirelessModel& m, auto&) {
             m.loaderFaults().badReadyAnswer = "??", m.loaderFaults().badReadyAnswers = 100;
         }, kTimedOut},
        {"loader hand-shake", "silence after switch", false,
         [](WirelessModel& m, auto&) { m.loaderFaults().silentAfterSwitch = true; }, kTimedOut},
        {"reconnect", "dropped link", true, [](WirelessModel& m, auto&) { m.loaderFaults().failReconnect = true; },
         kRefused},
    };
    for (int k : {1, kRecords / 2, kEndRecord})
        for (WirelessCase c : atRecord(k)) {
            if (k == kEndRecord)
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
        expectEnded(std::string("wireless ") + c.phase + " " + c.fault, ended && flash.result().finished(),
                    t.clock.nowMs() - start, t, screen, c.ending, socket->state() == 0, screen.timer->enabled());
    }
}

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
                 const test::RecordedFlashScreen& screen, const std::string& expected, bool closed,
                 bool timerOn)
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

auto compactLoader(CompactModel::LoaderFaults f)
{
    return [f](CompactModel& m, test::TestContext&) { m.setLoaderFaults(f); };
}
auto compactFault(CompactModel::Fault f)
{
    return [f](CompactModel& m, test::TestContext&) { m.setFault(f); };
}
auto wirelessLoader(WirelessLoaderFaults f)
{
    return [f](WirelessModel& m, std::string&) { m.loaderFaults() = f; };
}
auto wirelessFault(WirelessFault f)
{
    return [f](WirelessModel& m, std::string&) { m.setFault(f); };
}

} // namespace

TEST(FaultInjection, CompactFlashEndsWithItsTextAtEveryPhase)
{
    const Bytes garbage{0x13, 0x37, 0xFF, 0x00};
    using Fault = CompactModel::Fault;
    std::vector<CompactCase> cases{
        {"connect", "port busy", true, [](auto&, auto& t) { t.serialPorts.setBusy(3, true); }, 1},
        {"connect", "no port", true, [](auto&, auto& t) { t.serialPorts.removePort(3); }, 1},
        {"identity", "silence", false, compactFault(Fault::Silence), 2},
        {"identity", "garbage", false, compactFault(Fault::Garbage), 1},
        {"identity", "short reply", false, compactFault(Fault::ShortReply), 0},
        {"identity", "slow reply", false, compactFault(Fault::SlowReply), 0},
        {"loader hand-shake", "silence", true, compactLoader({.readyAnswer = {}}), 2},
        {"loader hand-shake", "garbage", true, compactLoader({.readyAnswer = garbage}), 1},
        {"loader hand-shake", "short reply", false, compactLoader({.readyAnswer = {'?', '?'}}), 1},
        // The loader could not be reached: error 2 sends the user to Preferences.
        {"loader hand-shake", "silence after switch", false, compactLoader({.readyAnswer = {}}), 2},
    };
    for (int k : {1, kRecords / 2, kEndRecord}) {
        auto add = [&](const char* fault, CompactModel::LoaderFaults f, int16_t code) {
            const char* phase = k == kEndRecord ? "end of file" : "record";
            cases.push_back({phase, fault, true, compactLoader(f), code});
        };
        add("silence", {.silentFromRecord = k}, 3);
        add("garbage", {.refusedRecord = k, .refusedReply = garbage}, 3);
        add("slow reply", {.slowRecord = k, .slowAckMs = 1000}, 0);
        add("too slow", {.slowRecord = k, .slowAckMs = 1800}, 3); // the time-out is 1.67 s
    }

    for (const CompactCase& c : cases) {
        test::TestContext t;
        using Mode = CompactModel::Mode; // at the rate "P1" names
        CompactModel model({.baud = 115200, .mode = c.startInLoader ? Mode::Loader : Mode::Application});
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
        const std::string ending = c.code ? CGPErrorText(c.code) : kSuccess;
        expectEnded(what, r.finished, t.clock.nowMs() - start, t, screen, ending, !port->portOpen(),
                    screen.timerOn);
        EXPECT_EQ(r.errorCode, c.code) << what;
        EXPECT_EQ(t.screens.selected, std::vector<std::string>(c.code == 2, "Preferences")) << what;
        // A transfer that failed sent nothing after the unanswered record.
        EXPECT_EQ(screen.readyStates, c.code == 3 ? 1 : 0) << what;
        if (c.code == 3) {
            EXPECT_EQ(model.recordsReceived, r.recordsSent + 1) << what;
        }
    }
}

TEST(FaultInjection, WirelessFlashEndsWithItsTextAtEveryPhase)
{
    std::vector<WirelessCase> cases{
        {"connect", "nobody there", true, [](auto&, std::string& a) { a = "127.0.0.99"; }, kRefused},
        {"connect", "refused", true, wirelessFault(WirelessFault::RefuseConnections), kRefused},
        {"versions", "silence", false, wirelessFault(WirelessFault::Silent), kTimedOut},
        {"versions", "garbage", false, wirelessFault(WirelessFault::Garbage), kSuccess},
        {"versions", "dropped link", false, wirelessFault(WirelessFault::DropMidReply), kClosed},
        {"loader hand-shake", "garbage", true,
         wirelessLoader({.badReadyAnswer = "x?!#", .badReadyAnswers = 100}), kTimedOut},
        {"loader hand-shake", "short reply", true,
         wirelessLoader({.badReadyAnswer = "??", .badReadyAnswers = 100}), kTimedOut},
        {"loader hand-shake", "silence after switch", false,
         wirelessLoader({.silentAfterSwitch = true}), kTimedOut},
        {"reconnect", "dropped link", true, wirelessLoader({.failReconnect = true}), kRefused},
    };
    // The closing frame follows the last record without waiting for its
    // "#", and the adapter has the whole image by then: what goes wrong
    // after the end-of-file record is ridden out.
    for (int k : {1, kRecords / 2, kEndRecord}) {
        const bool end = k == kEndRecord;
        auto add = [&](const char* fault, WirelessLoaderFaults f, const std::string& ending) {
            cases.push_back({end ? "end of file" : "record", fault, true, wirelessLoader(f), ending});
        };
        add("silence", {.silentFromRecord = k}, end ? kSuccess : kTimedOut);
        add("garbage", {.refuseRecord = k}, end ? kSuccess : kPowerCycle);
        add("dropped link", {.dropAtRecord = k}, end ? kSuccess : kClosed);
        add("slow reply", {.slowRecord = k, .slowAckUs = 2'000'000}, kSuccess);
        add("too slow", {.slowRecord = k, .slowAckUs = 20'000'000}, kTimedOut);
    }

    for (const WirelessCase& c : cases) {
        test::TestContext t;
        WirelessModel model({.startInLoader = c.startInLoader});
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
                    t.clock.nowMs() - start, t, screen, c.ending, socket->state() == 0,
                    screen.timer->enabled());
    }
}

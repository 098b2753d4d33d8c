// The wireless flash against the wireless adapter model on the virtual clock.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "adapters/wireless/wireless_flash.h"
#include "models/firmware_image.h"
#include "models/wireless_model.h"
#include "ports/host.h"
#include "support/flash_screens.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

const Bytes kClosing{0x5E, 0x02, 0x01, 0x01, 0x9E};
const Bytes kAsk{'!', '!', '!', '!'};
const Bytes kStart{'#', '#', '#', '#'};
const char* const kAddress = "127.0.0.2";

struct Rig {
    explicit Rig(WirelessAdapterConfig config = {}, size_t records = 40) : model(std::move(config))
    {
        image = pseudoRandomImage(records * 16);
        path = t.file("wlp.hex");
        test::writeFile(path, firmwareFileText(image));
        t.tcpSockets.addDevice(kAddress, model);
        screen.flash = &flash;
        socket->setDataArrivalHandler([this](int32_t) { flash.dataArrival(); });
        socket->setErrorHandler([this](int32_t n, const std::string& d) { flash.socketError(n, d); });
    }
    // Runs the flash until it ends; false if it never did.
    bool run()
    {
        flash.beginFlash(kAddress, path);
        return t.clock.waitUntil([this] { return !flash.active(); }, 120000);
    }
    bool imageKept() const { return model.appliedImage() == imageByAddress(image); }
    std::vector<Bytes> frames() const { return model.framesReceived(); }

    test::TestContext t;
    WirelessModel model;
    std::unique_ptr<TcpSocket> socket = t.tcpSockets.create();
    test::RecordingWirelessScreen screen{&t.clock};
    WirelessFlash flash{t.ctx, *socket, screen};
    Bytes image;
    std::string path;
};

const WirelessAdapterConfig kInLoader{.startInLoader = true};

} // namespace

TEST(WirelessFlash, LoaderReadyTransfersEveryRecordThenRestartsAndReconnects)
{
    Rig r({.startInLoader = true, .hexVersionAfterFlash = std::array<uint8_t, 3>{0x01, 0x08, 0x00}});
    ASSERT_TRUE(r.run());
    const WirelessFlashResult& res = r.flash.result();
    EXPECT_EQ(res.outcome, WirelessFlashOutcome::Succeeded) << res.reason;
    EXPECT_FALSE(res.bootSwitched);
    EXPECT_EQ(r.flash.flashState(), "11");
    // The standard end-of-file record goes out like a data record.
    EXPECT_EQ(res.recordsSent, 41);
    EXPECT_EQ(r.model.recordsWritten(), 41);
    EXPECT_TRUE(r.imageKept());
    EXPECT_EQ(r.model.restarts(), 1);
    EXPECT_EQ(r.frames(), (std::vector<Bytes>{kAsk, kStart, kClosing, kClosing, {0x5E, 0x02, 0x0D, 0x02, 0x91}}));
    EXPECT_TRUE(r.t.log.contains(LogSubsystem::Flash, "state \"6\" -> \"12\""));
    EXPECT_EQ(res.versionAfter, "01.08.00");
    EXPECT_EQ(res.resends, 0);
    // (The ending's text, dialog, timer, socket and counter: fault_injection_test.cpp;
    // the progress: flash_session_test.cpp.)
    EXPECT_EQ(r.screen.reconnectWaitsEnded, 1);
}

TEST(WirelessFlash, AnythingButFourQuestionMarksTakesTheSwitchAndStillFinishes)
{
    struct Case {
        const char* what;
        bool inLoader;
        std::string appAnswer, loaderAnswer;
    };
    for (const Case& c : {Case{"application", false, "", ""}, Case{"??", false, "??", ""},
                          Case{"????x", true, "", "????x"}}) {
        SCOPED_TRACE(c.what);
        // The reconnect has to try again.
        WirelessAdapterConfig config{.startInLoader = c.inLoader, .restartRefuseUs = 1200000};
        if (!c.appAnswer.empty())
            config.applicationReadyAnswer.assign(c.appAnswer.begin(), c.appAnswer.end());
        Rig r(config);
        r.model.loaderFaults() = {.badReadyAnswer = c.loaderAnswer, .badReadyAnswers = 1};
        ASSERT_TRUE(r.run());
        EXPECT_EQ(r.flash.result().outcome, WirelessFlashOutcome::Succeeded) << r.flash.result().reason;
        EXPECT_TRUE(r.flash.bootSwitchFlag());
        EXPECT_TRUE(r.imageKept());
        const std::vector<Bytes> f = r.frames();
        ASSERT_GE(f.size(), 6u);
        EXPECT_EQ(std::vector<Bytes>(f.begin(), f.begin() + 6),
                  (std::vector<Bytes>{kAsk, kClosing, {0x5E, 0x02, 0x05, 0x04, 0x97}, {0x5E, 0x02, 0x01, 0x03, 0x9C},
                                      kAsk, kStart}));
        EXPECT_GT(r.flash.result().reconnectAttempts, 1);
        EXPECT_EQ(r.screen.exitDialogs.size(), 1u);
    }
}

TEST(WirelessFlash, RefusedRecordClosesTheLoaderAndAsksForAPowerCycle)
{
    Rig r(kInLoader);
    r.model.loaderFaults().refuseRecord = 5;
    ASSERT_TRUE(r.run());
    EXPECT_EQ(r.flash.result().outcome, WirelessFlashOutcome::RefusedRecord);
    EXPECT_EQ(r.flash.result().recordsSent, 5);
    r.t.clock.runFor(100);
    EXPECT_EQ(r.frames().back(), kClosing); // reached the loader before the socket closed
    EXPECT_EQ(r.model.restarts(), 0);       // an unfinished image is never started
}

TEST(WirelessFlash, SilenceEndsWithTheHardFlashMessageEvenAcrossMidnight)
{
    for (bool afterSwitch : {false, true}) {
        SCOPED_TRACE(afterSwitch);
        Rig r(kInLoader);
        r.t.clock.setTimeOfDayAtStart(86400 - 2); // the silence begins just before midnight
        if (afterSwitch) {
            r.model.setMode(WirelessMode::Application);
            r.model.loaderFaults().silentAfterSwitch = true;
        } else {
            r.model.loaderFaults().silentFromRecord = 3;
        }
        ASSERT_TRUE(r.run());
        EXPECT_EQ(r.flash.result().outcome, WirelessFlashOutcome::TimedOut);
        EXPECT_EQ(r.flash.result().resends, WirelessFlash::kMaxResends);
        EXPECT_EQ(r.flash.flashState(), afterSwitch ? "10" : "6");
        EXPECT_LT(r.flash.result().durationMs, 15000);
        EXPECT_NE(r.frames().back(), kClosing); // a stuck loader is not restarted
        EXPECT_EQ(r.screen.readyStates, 1);
    }
}

TEST(WirelessFlash, SlowAcknowledgementsAreWaitedForAndOneTooLateIsSentAgain)
{
    // Answers 2.5 s apart, across midnight: nothing is sent twice.
    Rig slow(kInLoader, 6);
    slow.t.clock.setTimeOfDayAtStart(86400 - 6);
    slow.model.loaderFaults().slowAckUs = 2500000;
    ASSERT_TRUE(slow.run());
    EXPECT_EQ(slow.flash.result().outcome, WirelessFlashOutcome::Succeeded) << slow.flash.result().reason;
    EXPECT_EQ(slow.flash.result().resends, 0);

    // Slower than the time-out once: the record goes again and the image is whole.
    Rig late(kInLoader);
    late.model.loaderFaults() = {.slowRecord = 3, .slowAckUs = 4'000'000};
    ASSERT_TRUE(late.run());
    EXPECT_EQ(late.flash.result().outcome, WirelessFlashOutcome::Succeeded) << late.flash.result().reason;
    EXPECT_EQ(late.flash.result().resends, 1);
    EXPECT_TRUE(late.imageKept());
}

TEST(WirelessFlash, AnAdapterThatNeverComesBackEndsTheReconnectWithTheImageWhole)
{
    Rig gone(kInLoader);
    gone.model.loaderFaults().failReconnect = true;
    ASSERT_TRUE(gone.run());
    EXPECT_EQ(gone.flash.result().outcome, WirelessFlashOutcome::ReconnectFailed);
    EXPECT_EQ(gone.flash.flashState(), "12");
    EXPECT_EQ(gone.screen.reconnectWaitsEnded, 1);
    EXPECT_LE(gone.flash.result().durationMs, WirelessFlash::kReconnectWindowMs + 2000);
    EXPECT_TRUE(gone.imageKept()); // the image was whole; only the way back failed
    const size_t framesAtEnd = gone.frames().size();
    gone.t.clock.runFor(30000);
    EXPECT_EQ(gone.frames().size(), framesAtEnd);
    EXPECT_EQ(gone.t.prompts.boxes().size(), 1u);
}

// (The rows an adapter that answers fills: the flash screen's tests.)
TEST(WirelessFlash, VersionReadOfASilentAdapterGivesNotPresentWithoutABox)
{
    Rig quiet;
    quiet.model.setFault(WirelessFault::Silent);
    ASSERT_TRUE(quiet.flash.beginVersionRead(kAddress));
    EXPECT_TRUE(quiet.t.clock.waitUntil([&] { return !quiet.flash.active(); }, 60000));
    EXPECT_EQ(quiet.screen.rows[WirelessValue::HardwareVersion], "Not Present");
    EXPECT_TRUE(quiet.t.prompts.boxes().empty());
    EXPECT_EQ(quiet.socket->state(), 0);
}

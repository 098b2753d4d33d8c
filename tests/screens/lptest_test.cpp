// The adapter test screen against the in-process driver model on the virtual clock.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>

#include <deque>
#include <map>
#include <memory>

#include "ui/screens/frmLPTest.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "ui/frmParent.h"
#include "core/string_table.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

struct LPTest : test::TestContext {
    Lp2Model adapter;
    Lp2InProcessDriver driver{adapter, &serialPorts, 1};
    std::unique_ptr<frmParent> main;
    frmLPTest* screen = nullptr;

    LPTest()
    {
        serialPorts.addPort(1, &adapter);
        writeWindowsFile("LP2RP32.INI", lp2DriverIni());
        ctx.ports.rp1210 = &driver;
        main = std::make_unique<frmParent>(ctx, ShellOptions{.instanceLockPath = file("instance")});
        ctx.ports.screens = &screens; // record the screen calls instead
        screen = new frmLPTest(ctx, *main);
    }
    ~LPTest() { delete screen; }

    QLabel* label(const char* name) const { return screen->findChild<QLabel*>(name); }
    void press() { screen->findChild<QPushButton*>("cmdTest")->click(); }
    // The five results in index order, each "text:colour" (R, G, W).
    std::string results() const
    {
        std::string out;
        for (const char* name : {"lblBasicCommunicationResults", "lblDriverFirmwareResults", "lblJ1708Results",
                                 "lblCDLResults", "lblJ1939Results"}) {
            const QColor c = label(name)->palette().color(QPalette::Window);
            const char* colour = c == QColor(255, 0, 0) ? "R" : c == QColor(0, 255, 0) ? "G"
                               : c == QColor(255, 255, 255) ? "W" : "?";
            out += (out.empty() ? "" : " ") + label(name)->text().toStdString() + ":" + colour;
        }
        return out;
    }
    std::string run()
    {
        press();
        EXPECT_EQ(driver.core().openClients(), 0u) << "every check closes the client it opened";
        return results();
    }
};

const std::string kAllPassed = "Passed:G Passed:G Passed:G Passed:G Passed:G";
const std::string kUntested = "Untested:W Untested:W Untested:W Untested:W Untested:W";

} // namespace

TEST(LPTestScreen, LoadsUntestedAndSetsResultsByIndexAndColourWord)
{
    LPTest t;
    EXPECT_EQ(t.main->windowTitle(), "HVN Linkport Toolkit - Linkport II Test");
    EXPECT_EQ(t.screen->Tag(), "LPTest");
    EXPECT_EQ(t.results(), kUntested);
    EXPECT_EQ(t.screen->findChild<QLabel*>("lblDriverFirmware")->text(), "Driver vs. Firmware Compatibility:");

    t.screen->SetLabelResult(3, "Red", "141");
    t.screen->SetLabelResult(3, "Blue", "x"); // colour kept, text set
    t.screen->SetLabelResult(4, "green", "y"); // the case counts
    t.screen->SetLabelResult(0, "Green", "none");
    t.screen->SetLabelResult(6, "Green", "none");
    EXPECT_EQ(t.results(), "Untested:W Untested:W x:R y:W Untested:W");

    t.screen->findChild<QPushButton*>("cmdClose")->click();
    EXPECT_EQ(t.screens.selected, std::vector<std::string>{"Summary"});
}

// What the driver answers decides each result, and the first failing check
// ends the run: the later ones stay untested, not even connected.
TEST(LPTestScreen, ResultsFollowTheDriversAnswers)
{
    // J1708 passes on the fifth character of the hardware status; a short
    // status has none, which counts as greater. (Another code at J1708 and a
    // fifth character "0": the fault table; one at J1939: the run below.)
    const std::string j1708Failed = "Passed:G Passed:G Untested:W Untested:W Untested:W";
    const struct {
        std::deque<int16_t> connectResults;           // instead of a client: 0 to 127 open that one
        std::map<std::string, int16_t> connectErrors; // by protocol
        std::string status;                           // the hardware status, if not the usual one
        std::string results;
        size_t connects;
    } cases[] = {
        {{}, {}, "", kAllPassed, 4},
        {{127, 127, 127, 127}, {}, "", kAllPassed, 4},
        {{128}, {}, "", "128:R Untested:W Untested:W Untested:W Untested:W", 1},
        {{}, {{"J1708", 443}}, "", "Passed:G 443:R Untested:W Untested:W Untested:W", 2},
        {{}, {{"HVN", 443}}, "", "Passed:G 443:R Passed:G Untested:W Passed:G", 4},
        {{}, {}, "LP2", kAllPassed, 4},
        {{}, {}, "....5", kAllPassed, 4},
        {{}, {}, "....a", kAllPassed, 4},
        {{}, {}, "....-", kAllPassed, 4},
        {{}, {}, "....00", j1708Failed, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        LPTest t;
        t.driver.settings().scriptedConnectResults = c.connectResults;
        t.driver.settings().connectErrors = c.connectErrors;
        if (!c.status.empty())
            t.driver.settings().hardwareStatus = c.status;
        EXPECT_EQ(t.run(), c.results);
        EXPECT_EQ(t.driver.core().connects.size(), c.connects);
        EXPECT_EQ(t.screens.pointerChanges, (std::vector<int>{11, 0}));
        EXPECT_TRUE(t.prompts.boxes().empty()) << "error codes show only in the labels";
    }
}

TEST(LPTestScreen, MissingDriverShowsTheInstallationMessage)
{
    LPTest t;
    t.driver.setLibraryMissing(true);
    EXPECT_EQ(t.run(), "-2:R Untested:W Untested:W Untested:W Untested:W");
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{LoadResString(102), 0, LoadResString(502)}}));
    EXPECT_FALSE(t.ctx.g_blnRP1210Connected) << "an error code leaves nothing open";

    RunAdapterTest(t.ctx, *t.screen, [](Context&) { return false; });
    EXPECT_EQ(t.results(), "Failed:R Failed:R Failed:R Failed:R Failed:R");
}

TEST(LPTestScreen, EachRunStartsUntestedAndPressesDuringARunWait)
{
    LPTest t;
    EXPECT_EQ(t.run(), kAllPassed);

    std::string atFirstConnect;
    bool unload = false;
    t.driver.onCall = [&](const std::string& call) {
        if (call == "RP1210_ClientConnect" && atFirstConnect.empty())
            atFirstConnect = t.results();
        if (call != "RP1210_GetHardwareStatus")
            return;
        t.press(); // ignored
        if (unload) {
            t.screen->deleteLater(); // the main window unloading it from a menu
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        } else {
            t.screen->findChild<QPushButton*>("cmdClose")->click();
            EXPECT_TRUE(t.screens.selected.empty()) << "the switch waits for the test";
        }
    };
    t.driver.settings().connectErrors["J1939"] = 141;
    EXPECT_EQ(t.run(), "Passed:G Passed:G Passed:G Untested:W 141:R");
    EXPECT_EQ(atFirstConnect, kUntested);
    EXPECT_EQ(t.driver.core().connects.size(), 4u + 3) << "the presses during the run started nothing";
    EXPECT_EQ(t.screens.selected, std::vector<std::string>{"Summary"});

    unload = true;
    QPointer<frmLPTest> alive = t.screen;
    t.press();
    EXPECT_FALSE(alive);
    t.screen = nullptr;
    EXPECT_EQ(t.driver.core().connects.size(), 7u + 3) << "the checks end as they would have";
    EXPECT_EQ(t.driver.core().openClients(), 0u);
}

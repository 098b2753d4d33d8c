// The adapter test screen against the in-process driver model on the virtual clock.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>

#include <memory>
#include <tuple>

#include "ui/screens/frmLPTest.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "qt_app.h"
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

TEST(LPTestScreen, ClientIdsZeroTo127PassAnd128IsAnErrorCode)
{
    LPTest t;
    EXPECT_EQ(t.run(), kAllPassed);
    EXPECT_EQ(t.screens.pointerChanges, (std::vector<int>{11, 0}));

    t.driver.settings().scriptedConnectResults = {127, 127, 127, 127};
    EXPECT_EQ(t.run(), kAllPassed);
    EXPECT_EQ(t.driver.core().disconnects.back(), 127) << "the client that was opened is the one closed";

    t.driver.settings().scriptedConnectResults = {128};
    EXPECT_EQ(t.run(), "128:R Untested:W Untested:W Untested:W Untested:W");
    EXPECT_TRUE(t.prompts.boxes().empty()) << "error codes show only in the labels";
}

TEST(LPTestScreen, FirstFailingCheckEndsTheSequence)
{
    LPTest t;
    const std::tuple<const char*, int16_t, const char*> cases[] = {
        {"J1708", 443, "Passed:G 443:R Untested:W Untested:W Untested:W"},
        {"J1939", 141, "Passed:G Passed:G Passed:G Untested:W 141:R"},
        {"HVN", 443, "Passed:G 443:R Passed:G Untested:W Passed:G"},
        {"J1708", 136, "Passed:G Passed:G 136:R Untested:W Untested:W"}};
    for (auto [protocol, code, expected] : cases) {
        t.driver.settings().connectErrors = {{protocol, code}};
        EXPECT_EQ(t.run(), expected) << protocol << " " << code;
    }
    EXPECT_EQ(t.driver.core().connects.size(), 2u + 3 + 4 + 2);
}

TEST(LPTestScreen, J1708PassesOnTheFifthCharacterOfTheHardwareStatus)
{
    LPTest t;
    // A short status has no fifth character, which counts as greater.
    const std::string failed = "Passed:G Passed:G Untested:W Untested:W Untested:W";
    for (auto [status, expected] : {std::pair<const char*, std::string>{"LP2", kAllPassed}, {"....0", failed},
                                    {"....5", kAllPassed}, {"....a", kAllPassed}, {"....-", kAllPassed},
                                    {"....00", failed}}) {
        t.driver.settings().hardwareStatus = status;
        EXPECT_EQ(t.run(), expected) << status;
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

#include <gtest/gtest.h>

#include <filesystem>
#ifndef _WIN32
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "operations/help_file.h"
#include "core/menu_status.h"
#include "platform/single_instance.h"
#include "operations/startup.h"
#include "support/test_context.h"

using namespace lp;

namespace {

const std::string kKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";
const std::string kServiceTool = "Software\\Tavrel\\SVK\\Tavrel Service Tool\\";

struct Startup : test::TestContext {
    Startup() { ctx.g_strRegistryKey = kKey; }
    // Start-up steps 3 to 8 on what the registry holds.
    void run(const std::string& commandLine)
    {
        ctx.commandLine = commandLine;
        ctx.g_intToolkitMode = ChooseToolkitMode(ctx);
        ChooseDeviceKind(ctx);
        CorrectDeviceKind(ctx);
        ApplyDeviceFlags(ctx);
    }
    std::string flags() const
    {
        return std::string(ctx.g_blnLP2Selected ? "L" : "-") + (ctx.g_blnCGPSelected ? "C" : "-")
            + (ctx.g_blnWLPSelected ? "W" : "-");
    }
};

} // namespace

// The edition comes from the switch at position one or the service tool; the
// stored adapter is corrected to suit it and sets one flag; the upgrade
// switch opens the flash screen only when an adapter is stored.
TEST(ShellStartup, EditionComesFromTheSwitchOrTheServiceToolAndDecidesAdapterAndFirstScreen)
{
    struct Case {
        const char* commandLine;
        const char* toolPath; // nullptr: the service tool is not installed
        const char* stored;   // "": nothing stored
        int16_t mode;
        const char* kindAfter;
        const char* flags;
        const char* firstScreen;
    } cases[] = {
        {"/clp anything", nullptr, "B&B SIP", 2, "B&B SIP", "-C-", "Summary"},
        // A wireless adapter in the compact edition, a compact one in the standard edition.
        {"/CLP", nullptr, "WLP", 2, "LPII SIP", "L--", "Summary"},
        {" /CLP", nullptr, "B&B SIP", 1, "LPII SIP", "L--", "Summary"},
        {"x /CLP", nullptr, "WLP", 1, "WLP", "--W", "Summary"},
        {"", nullptr, "", 1, "", "---", "Preferences"},
        {"", "C:\\Tavrel", "B&B SIP", 2, "B&B SIP", "-C-", "Summary"},
        {"", "", "lpii sip", 1, "lpii sip", "---", "Summary"}, // texts compare exactly
        {" /CLP", "C:\\T", "LPII SIP", 2, "LPII SIP", "L--", "Summary"},
        {"/SIPUpgrade", nullptr, "", 1, "", "---", "Preferences"},
        {"/sipupgrade now", nullptr, "LPII SIP", 1, "LPII SIP", "L--", "Application Flash"},
        {"/SIPUpgrade", nullptr, "WLP", 1, "WLP", "--W", "Application Flash"},
        {" /SIPUpgrade", nullptr, "LPII SIP", 1, "LPII SIP", "L--", "Summary"},
        {"/CLP /SIPUpgrade", nullptr, "B&B SIP", 2, "B&B SIP", "-C-", "Summary"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.stored) + " / \"" + c.commandLine + "\"");
        Startup s;
        if (c.toolPath) {
            ASSERT_TRUE(s.setRegistryText(kServiceTool, "Path", c.toolPath));
        }
        if (*c.stored) {
            ASSERT_TRUE(s.setRegistryText(kKey, "PrevAdapter", c.stored));
        }
        s.run(c.commandLine);
        EXPECT_EQ(s.ctx.g_intToolkitMode, c.mode);
        EXPECT_EQ(s.ctx.g_strDeviceKind, c.kindAfter);
        EXPECT_EQ(s.registryText(kKey, "PrevAdapter"), c.kindAfter);
        EXPECT_EQ(s.flags(), c.flags);
        EXPECT_EQ(FirstScreenKey(s.ctx), c.firstScreen);
    }

    // The wireless-only edition ignores the stored kind.
    Startup w;
    ASSERT_TRUE(w.setRegistryText(kKey, "PrevAdapter", "B&B SIP"));
    w.ctx.g_intToolkitMode = -1;
    ChooseDeviceKind(w.ctx);
    EXPECT_EQ(w.ctx.g_strDeviceKind, "WLP");
    EXPECT_FALSE(CorrectDeviceKind(w.ctx));
    ApplyDeviceFlags(w.ctx);
    EXPECT_EQ(w.flags(), "--W");
    EXPECT_EQ(w.registryText(kKey, "PrevAdapter"), "B&B SIP");
}

TEST(ShellStartup, TextsFollowTheEdition)
{
    // (The standard edition's texts: the main window's screen tests.)
    EXPECT_EQ(StatusVersionText(-1), "v1.0.0");
    EXPECT_EQ(MainWindowCaptions(-1).window, "Wireless Linkport");
    EXPECT_EQ(MainWindowCaptions(-1).aboutMenu, "About Wireless Linkport Toolkit");

    // (A screen's own caption: the main window's status panel test.)
    EXPECT_EQ(PanelTextFromCaption("A-B - C"), " - C"); // the first "-" counts
    EXPECT_EQ(PanelTextFromCaption("Linkport II Test"), "inkport II Test");
    EXPECT_EQ(PanelTextFromCaption("Ends with -"), "");

    for (auto v : {"1.9", "1.91"})
        EXPECT_TRUE(DriverRefusesFlash(v)) << v;
    for (auto v : {"1.90", "1.9.1", " 1.9", "1.92", ""})
        EXPECT_FALSE(DriverRefusesFlash(v)) << v;
}

TEST(ShellStartup, TwipsBecomePixelsAtTheScreensResolution)
{
    EXPECT_EQ(TwipsToPixels(kMainWindowWidthTwips, 96), 573);
    EXPECT_EQ(TwipsToPixels(kMainWindowHeightTwips, 96), 507);
    EXPECT_EQ(TwipsToPixels(kMainWindowWidthTwips, 144), 860);
    EXPECT_EQ(TwipsToPixels(1440, 0), 96); // a screen without a resolution counts as 96 dpi
    EXPECT_EQ(ExitDialogHeightPixels(17, 96), 117);
}

TEST(MenuStatus, TextsByRunningIndexWithTheTestItemUncounted)
{
    // The test item is not counted: an off-by-one there shifts every text
    // after it by one item.
    EXPECT_EQ(MenuStatusText(MenuRunningIndex("mnuLPTest")), "");
    // (The About item's text: the main window's status panel test.)
    EXPECT_EQ(MenuStatusText(MenuRunningIndex("mnuPreferences")), "View/ Modify Preferences");
    EXPECT_EQ(MenuStatusText(MenuRunningIndex("mnuUtilities")), "");
    EXPECT_EQ(MenuStatusText(11), "");
    EXPECT_EQ(MenuStatusText(-1), "");
    EXPECT_EQ(MenuStatusTextForCommand(2, 28671), "Exit HVN Linkport Toolkit");
    EXPECT_EQ(MenuStatusTextForCommand(2, 28672), ""); // a system-menu command
}

TEST(ShellHelp, ServiceToolHelpFileIsFoundByNameIgnoringCase)
{
    namespace fs = std::filesystem;
    test::TestContext t;
    auto found = [&] { return fs::path(ServiceToolHelpFile(t.ctx)); }; // either separator
    EXPECT_EQ(found(), fs::path()); // tool not installed

    const std::string folder = t.file("fieldscope");
    fs::create_directories(folder + "/index.html"); // a folder does not count
    t.setRegistryText(kServiceToolHelpKey, "Path", folder);
    EXPECT_EQ(found(), fs::path());

    test::writeFile(folder + "/INDEX.HTM", "<html></html>");
    EXPECT_EQ(found(), fs::path(folder) / "INDEX.HTM");
    test::writeFile(folder + "/fieldscope.CHM", "chm");
    EXPECT_EQ(found(), fs::path(folder) / "fieldscope.CHM");
    test::writeFile(folder + "/readme.chm", "chm");
    EXPECT_EQ(found(), fs::path(folder) / "fieldscope.CHM");

    t.setRegistryText(kServiceToolHelpKey, "Path", folder + "/missing");
    EXPECT_EQ(found(), fs::path());
}

TEST(SingleInstance, SecondHolderIsRefusedUntilTheFirstEndsEvenByKill)
{
    test::TempDir dir;
    const std::string lock = dir.file("instance");
    {
        SingleInstance first(lock);
        EXPECT_EQ(first.state(), SingleInstance::State::First);
        SingleInstance second(lock);
        EXPECT_EQ(second.state(), SingleInstance::State::AlreadyRunning);
    }
    SingleInstance again(lock);
    EXPECT_EQ(again.state(), SingleInstance::State::First);

    // A lock folder that cannot exist: start anyway rather than refuse.
    SingleInstance nowhere(dir.file("no/such/folder/instance"));
    EXPECT_EQ(nowhere.state(), SingleInstance::State::Unchecked);
    EXPECT_FALSE(nowhere.detail().empty());

#ifndef _WIN32
    // Another process holds the lock and is killed: its lock goes with it.
    const std::string other = dir.file("other");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        SingleInstance held(other);
        char c = held.state() == SingleInstance::State::First ? 'y' : 'n';
        (void)!write(ready[1], &c, 1);
        pause();
        _exit(0);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    EXPECT_EQ(c, 'y');
    EXPECT_EQ(SingleInstance(other).state(), SingleInstance::State::AlreadyRunning);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(SingleInstance(other).state(), SingleInstance::State::First);
    close(ready[0]);
    close(ready[1]);
#endif
}

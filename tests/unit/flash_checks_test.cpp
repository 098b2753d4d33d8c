// The flash screen's decisions, without widgets.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "operations/flash_checks.h"
#include "operations/select_file.h"
#include "core/string_table.h"
#include "support/test_context.h"

using namespace lp;

namespace {

constexpr int kQuestionOk = MsgBoxStyle::OkOnly + MsgBoxStyle::Question;
constexpr int kQuestionYesNo = MsgBoxStyle::YesNo + MsgBoxStyle::Question;
const std::string kProgramKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";

} // namespace

TEST(FlashChecks, FileLabelExtensionRuleAndPortText)
{
    const std::string forty = "/home/tech/firmware/releases/LP2v3i1.apf";
    ASSERT_EQ(forty.size(), 40u);
    EXPECT_EQ(ShortenFilePath(forty), forty);
    const std::string fortyOne = "/home/tech/firmware/releases/LP2v3i10.apf";
    ASSERT_EQ(fortyOne.size(), 41u);
    EXPECT_EQ(ShortenFilePath(fortyOne), fortyOne.substr(0, 40) + "..." + fortyOne.substr(11));
    // Counted in characters: a two-byte letter is not cut in half.
    const std::string accented = std::string(39, 'a') + "\xC3\xA9" + "b";
    EXPECT_EQ(ShortenFilePath(accented), std::string(39, 'a') + "\xC3\xA9" + "..." + std::string(28, 'a') + "\xC3\xA9" + "b");

    const std::tuple<FlashKind, const char*, bool> suits[] = {
        {FlashKind::LP2, "x.apf", true},  {FlashKind::LP2, "X.APF", true},  {FlashKind::LP2, "x.Apf", false},
        {FlashKind::LP2, "x.hex", false}, {FlashKind::CGP, "x.HEX", true},  {FlashKind::WLP, "x.hex", true},
        {FlashKind::WLP, "x.heX", false}, {FlashKind::None, "x.hex", false}};
    for (auto [kind, file, ok] : suits)
        EXPECT_EQ(FileSuitsAdapterKind(kind, file), ok) << int(kind) << file;

    // (The port after the "M": the Summary's serial IP row on COM12.)
    EXPECT_EQ(UpdatingFirmwareText(FlashKind::WLP), "Updating Wireless Linkport Firmware...");
}

TEST(FlashChecks, DefaultFileOnlyForTheSecondGenerationAdapterUnderTheToolkitKey)
{
    test::TestContext t;
    EXPECT_FALSE(DefaultFlashFile(t.ctx, FlashKind::LP2));
    t.setRegistryText(kProgramKey, "PrevAdapter", "LPII SIP");
    EXPECT_EQ(DefaultFlashFile(t.ctx, FlashKind::LP2), "C:\\Program Files\\Halvorn\\Linkports\\Flash\\LP2v3i1.0.apf");
    // (The compact adapter has none: the flash screen opens the dialog for it.)
    EXPECT_FALSE(DefaultFlashFile(t.ctx, FlashKind::WLP));
}

TEST(FlashChecks, VersionTextToNumberKeepsItsArithmetic)
{
    // 1.2.3 is 120.3; 2.5.5 is 250.5, half to even; 12.3 has d = 3: minor "3",
    // tail "2.3", so 1232.3. The last four are where the arithmetic has no answer of its own.
    const std::pair<const char*, int> cases[] = {{"1.2.3", 120}, {"1.2.4", 120}, {"3.12", 31212}, {"1.0", 100},
                                                 {"2.5.5", 250}, {"2.7.5", 270}, {"12.3", 1232},   {"", 0},
                                                 {"3", 300},     {"Not Present", 0}, {".5", 55}};
    for (auto [text, number] : cases)
        EXPECT_EQ(VersionTextToNumber(text), number) << text;
    EXPECT_FALSE(VersionTextToNumber("3.45"));
    EXPECT_EQ(VersionTextValue("3.45"), 34545);
}

TEST(FlashChecks, HardwareListItemsCompareExactly)
{
    test::TestContext t;
    EXPECT_TRUE(CheckHardwareCompatible(t.ctx, FlashKind::LP2, "1.0,2.0", "2.0"));
    EXPECT_TRUE(CheckHardwareCompatible(t.ctx, FlashKind::LP2, "2.0", "2.0"));
    EXPECT_TRUE(t.prompts.boxes().empty());

    EXPECT_FALSE(CheckHardwareCompatible(t.ctx, FlashKind::LP2, "1.0, 2.0", "2.0"));
    EXPECT_FALSE(CheckHardwareCompatible(t.ctx, FlashKind::LP2, "1.0,2.0,", "2"));
    EXPECT_FALSE(CheckHardwareCompatible(t.ctx, FlashKind::CGP, "1.0", "1.00"));
    EXPECT_FALSE(CheckHardwareCompatible(t.ctx, FlashKind::WLP, "1.0", "1.10"));
    t.ctx.g_intToolkitMode = -1;
    EXPECT_FALSE(CheckHardwareCompatible(t.ctx, FlashKind::WLP, "Not Found", "1.10"));
    const std::string lp2 = LoadResString(104), wireless = LoadResString(1050), toolkit = "HVN Linkport Toolkit";
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{lp2, kQuestionOk, toolkit}, {lp2, kQuestionOk, toolkit},
                                              {lp2, kQuestionOk, toolkit}, // the compact adapter too, not 112
                                              {wireless, kQuestionOk, toolkit},
                                              {wireless, kQuestionOk, "Wireless Linkport"}}));
}

TEST(FlashChecks, OlderFileQuestionsByKindAndEdition)
{
    test::TestContext t;
    Context& c = t.ctx;
    // Second-generation: leading numeric values; 255.255 is an empty slot.
    EXPECT_TRUE(CheckFileNotOlder(c, FlashKind::LP2, "255.255", "1.0"));
    EXPECT_TRUE(CheckFileNotOlder(c, FlashKind::LP2, "2.4", "2.4"));
    EXPECT_TRUE(t.prompts.boxes().empty());
    t.prompts.answer(MsgBoxResult::No);
    EXPECT_FALSE(CheckFileNotOlder(c, FlashKind::LP2, "3.9", "3.12")); // 3.12 < 3.9
    t.prompts.answer(MsgBoxResult::Yes);
    EXPECT_TRUE(CheckFileNotOlder(c, FlashKind::LP2, "3.9", "3.12"));
    const std::string older = LoadResString(105), toolkit = "HVN Linkport Toolkit";
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{older, kQuestionYesNo, toolkit}, {older, kQuestionYesNo, toolkit}}));
    t.prompts.clear();

    // Compact and wireless: 1.2.3 against 1.2.4 is 120 against 120.
    EXPECT_TRUE(CheckFileNotOlder(c, FlashKind::CGP, "1.2.4", "1.2.3"));
    EXPECT_TRUE(CheckFileNotOlder(c, FlashKind::WLP, "1.2.4", "1.2.3"));
    EXPECT_TRUE(CheckFileNotOlder(c, FlashKind::CGP, "3.9", "3.12")); // 399 < 31212
    EXPECT_TRUE(t.prompts.boxes().empty());
    t.prompts.answer(MsgBoxResult::No);
    EXPECT_FALSE(CheckFileNotOlder(c, FlashKind::CGP, "1.3", "1.2"));
    t.prompts.answer(MsgBoxResult::No);
    EXPECT_FALSE(CheckFileNotOlder(c, FlashKind::WLP, "01.07.12", "1.0"));
    c.g_intToolkitMode = -1;
    t.prompts.answer(MsgBoxResult::No);
    EXPECT_FALSE(CheckFileNotOlder(c, FlashKind::WLP, "3.46", "3.45")); // beyond 16 bits, still ordered
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{older, kQuestionYesNo, toolkit}, // the compact adapter too, not 113
                                              {LoadResString(1051), kQuestionYesNo, toolkit},
                                              {LoadResString(1051), kQuestionYesNo, "Wireless Linkport Toolkit"}}));
}

TEST(FlashChecks, NoHardwareVersionQuestionYesSkipsTheOtherChecks)
{
    test::TestContext t;
    Context& c = t.ctx;
    const FlashCheckValues unknown{"Not Present", "2.0", "1.0", "1.0"}; // incompatible and older
    t.prompts.answer(MsgBoxResult::Yes);
    FlashCheckOutcome yes = gbln_FlashVerificationChecks(c, FlashKind::LP2, unknown);
    EXPECT_TRUE(yes.passed);
    EXPECT_EQ(t.prompts.boxes(), (test::Boxes{{"No hardware version is present on the currently selected adapter.\r\n"
                                               "Are you sure you want to flash the selected file?",
                                               MsgBoxStyle::YesNoCancel + MsgBoxStyle::Question, "HVN Linkport Toolkit"}}));
    for (int answer : {MsgBoxResult::No, MsgBoxResult::Cancel}) {
        t.prompts.answer(answer);
        FlashCheckOutcome stopped = gbln_FlashVerificationChecks(c, FlashKind::LP2, unknown);
        EXPECT_FALSE(stopped.passed);
        EXPECT_FALSE(stopped.enableSelectFile);
    }
    EXPECT_EQ(t.prompts.boxes().size(), 3u);
    t.prompts.clear();

    // The question is the second-generation adapter's alone; others go to
    // the hardware check.
    FlashCheckOutcome refused = gbln_FlashVerificationChecks(c, FlashKind::CGP, unknown);
    EXPECT_FALSE(refused.passed);
    EXPECT_TRUE(refused.enableSelectFile);
    ASSERT_EQ(t.prompts.prompts(), std::vector<std::string>{LoadResString(104)});
    t.prompts.clear();

    t.prompts.answer(MsgBoxResult::No);
    EXPECT_TRUE(gbln_FlashVerificationChecks(c, FlashKind::LP2, {"3.0", "2.0", "3.0", "1.0"}).enableSelectFile);
    EXPECT_TRUE(gbln_FlashVerificationChecks(c, FlashKind::LP2, {"3.0", "2.0", "3.0", "2.1"}).passed);
    EXPECT_EQ(t.prompts.prompts(), std::vector<std::string>{LoadResString(105)});
}

TEST(SelectFile, OpensInTheRememberedFolderWhileItExists)
{
    test::TestContext t;
    t.ctx.g_strRegistryKey = kProgramKey;
    const std::string flashDir = t.file("flash"), other = t.file("other");
    std::filesystem::create_directories(flashDir);
    std::filesystem::create_directories(other);
    auto exists = [](const std::string& p) { return std::filesystem::is_directory(p); };
    EXPECT_EQ(SelectFileStartFolder(t.ctx, exists), "");
    t.setRegistryText(LoadResString(800), "FlashDir", flashDir);
    EXPECT_EQ(SelectFileStartFolder(t.ctx, exists), flashDir);
    RememberFlashFolder(t.ctx, other);
    EXPECT_EQ(SelectFileStartFolder(t.ctx, exists), other);
    std::filesystem::remove(other);
    EXPECT_EQ(SelectFileStartFolder(t.ctx, exists), flashDir);
    // (Which files each kind lists: the select-file dialog's screen test.)
    EXPECT_FALSE(FirmwareFileListed(FlashKind::LP2, "xapf"));
}

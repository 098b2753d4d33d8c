#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/reg_file_store.h"
#include "settings/modRegistry.h"
#include "support/temp_dir.h"

using namespace lp;
using lp::test::readFile;
using lp::test::TempDir;
using lp::test::writeFile;

namespace {

const std::string kKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";

struct ModRegistry : ::testing::Test {
    TempDir dir;
    std::string path = dir.file("registry.reg");
    RegFileStore store{path};
    Context ctx;
    ModRegistry() { ctx.ports.registry = &store; }
    RegValue read(const std::string& name) { return RegReadValue(ctx, HKEY_LOCAL_MACHINE, kKey, name); }
};

} // namespace

TEST_F(ModRegistry, ReadsTextAndNumbersOnly)
{
    writeFile(path, "Windows Registry Editor Version 5.00\n\n"
                    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.\\Linkport Toolkit]\n"
                    "\"PrevAdapter\"=\"LPII SIP\"\n"
                    "\"NoNul\"=hex(1):42,26,42,20,53,49,50\n"
                    "\"Embedded\"=hex(1):57,4c,50,00,6a,75,6e,6b,00\n"
                    "\"LeadingNul\"=hex(1):00,41\n"
                    "\"Baud\"=dword:0000e100\n"
                    "\"Minus\"=dword:ffffffff\n"
                    "\"Binary\"=hex:41,42,00\n"
                    "\"Expand\"=hex(2):41,42,00\n");
    // Only text and numbers are read; any other type, like a missing value,
    // reads as empty text, and the close that succeeded is the last result.
    for (auto [name, text] : {std::pair{"PrevAdapter", "LPII SIP"}, {"NoNul", "B&B SIP"}, {"Embedded", "WLP"},
                              {"LeadingNul", ""}, {"Minus", "-1"}, {"Binary", ""}, {"Expand", ""},
                              {"Missing", ""}}) {
        const RegValue v = read(name);
        EXPECT_EQ(v.text(), text) << name;
        EXPECT_EQ(v.isNumber(), name == std::string("Minus")) << name;
        EXPECT_EQ(ctx.g_lngRegResult, ERROR_SUCCESS) << name;
    }
    RegValue baud = read("Baud");
    ASSERT_TRUE(baud.isNumber());
    EXPECT_EQ(std::get<int32_t>(baud.data), 57600);
    EXPECT_EQ(baud.text(), "57600");

    // A missing key: the null handle is closed too, and that close fails.
    EXPECT_EQ(RegReadValue(ctx, HKEY_LOCAL_MACHINE, "SOFTWARE\\Nobody", "Path").text(), "");
    EXPECT_EQ(ctx.g_lngRegResult, ERROR_INVALID_HANDLE);

    EXPECT_TRUE(RegKeyExists(ctx, HKEY_LOCAL_MACHINE, kKey + "\\"));
    EXPECT_EQ(ctx.g_lngRegResult, ERROR_SUCCESS);
    EXPECT_TRUE(RegKeyExists(ctx, HKEY_LOCAL_MACHINE, "software\\HALVORN INC."));
    EXPECT_FALSE(RegKeyExists(ctx, HKEY_LOCAL_MACHINE, kKey + "\\Sub"));
    EXPECT_EQ(ctx.g_lngRegResult, ERROR_INVALID_HANDLE);
}

TEST_F(ModRegistry, WritesNumericTextAsANumberAndOtherTextTrimmed)
{
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kKey, "PrevAdapter", "  LPII SIP  ");
    EXPECT_EQ(ctx.g_lngRegResult, ERROR_SUCCESS);
    for (auto [name, text] :
         {std::pair{"Baud", "57600"}, {"Up", "1.9"}, {"Even", "2.5"}, {"Odd", " 3.5 "}, {"Blank", "   "}})
        RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kKey, name, text);
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kKey, "Number", RegValue(int32_t{-2}));

    // A value in quotes is a REG_SZ with its one closing NUL (hex(1) otherwise).
    const std::string file = readFile(path);
    EXPECT_NE(file.find("[HKEY_LOCAL_MACHINE\\SOFTWARE]\n"), std::string::npos); // parents created
    EXPECT_NE(file.find("\"PrevAdapter\"=\"LPII SIP\"\n"), std::string::npos);
    EXPECT_NE(file.find("\"Baud\"=dword:0000e100\n"), std::string::npos);
    EXPECT_NE(file.find("\"Number\"=dword:fffffffe\n"), std::string::npos);
    EXPECT_NE(file.find("\"Blank\"=\"\"\n"), std::string::npos);

    // Numeric text is rounded half to even.
    EXPECT_EQ((std::vector<std::string>{read("Up").text(), read("Even").text(), read("Odd").text()}),
              (std::vector<std::string>{"2", "2", "4"}));
    EXPECT_EQ(read("PrevAdapter").text(), "LPII SIP");

    // A number beyond 32 bits has no REG_DWORD form: nothing is stored.
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kKey + "\\New", "Big", "4294967296");
    EXPECT_EQ(ctx.g_lngRegResult, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(readFile(path), file);
}

// A store that refuses (here a registry file below a regular file) or no
// store at all: the result says so and nothing else happens. (Which files a
// store refuses and leaves alone: RegFileStore.BadFilesNeitherCrashNorGetOverwritten.)
TEST_F(ModRegistry, FailuresOnlySetTheResult)
{
    writeFile(dir.file("plain"), "a file, not a folder");
    RegFileStore nowhere(dir.file("plain/registry.reg"));
    RegistryStore* const refusing[] = {&nowhere, nullptr};
    for (RegistryStore* other : refusing) {
        ctx.ports.registry = other;
        RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kKey, "PrevAdapter", "WLP");
        EXPECT_NE(ctx.g_lngRegResult, ERROR_SUCCESS);
        EXPECT_EQ(RegReadValue(ctx, HKEY_LOCAL_MACHINE, kKey, "PrevAdapter").text(), "");
        EXPECT_FALSE(RegKeyExists(ctx, HKEY_LOCAL_MACHINE, kKey));
    }
    EXPECT_EQ(readFile(dir.file("plain")), "a file, not a folder");
}

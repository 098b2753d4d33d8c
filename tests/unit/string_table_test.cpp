// The table is checked for what a slip in it would break, not copied: the
// numbers the program asks for are there (with their second-brand twins),
// the blanks after a full stop are as users know them, and a few texts with
// quotes, backslashes or trailing blanks stay exact.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/string_table.h"

using namespace lp;

namespace {

// Every number of the first brand's block that Res names or the programs use.
std::vector<int16_t> brandAIds()
{
    std::vector<int16_t> ids{800, 801, 1001, 1050, 1051};
    for (int16_t i = 101; i <= 116; ++i)
        ids.push_back(i);
    for (int16_t i = 500; i <= 523; ++i)
        ids.push_back(i);
    return ids;
}

bool contains(int16_t id, const std::string& part) { return LoadResString(id).find(part) != std::string::npos; }

} // namespace

TEST(StringTable, BlanksQuotesAndBackslashesAreKeptExactly)
{
    EXPECT_EQ(LoadResString(Res::AlreadyRunning),
              "A copy of HVN Linkport Application is already running.  Only one copy is allowed to run at a time.");
    EXPECT_EQ(LoadResString(Res::FilePrefix) + LoadResString(Res::ErrorCodePrefix), "File: Error Code # ");
    EXPECT_TRUE(contains(Res::FileNotApplicationType, "a File Type of \"Application\" and then"));
    EXPECT_TRUE(contains(Res::FileNotFirmwareType, "a File Type of \"Firmware\" and then"));
    EXPECT_EQ(LoadResString(Res::ToolkitRegistryKey), "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit");
    EXPECT_EQ(LoadResString(Res::Lp2RegistryKey), "SOFTWARE\\Halvorn Inc.\\Linkport II");
    EXPECT_TRUE(contains(Res::Copyright, "2005"));
    EXPECT_TRUE(contains(111, "the Compact Linkport.  Check the cable"));
    EXPECT_TRUE(contains(111, "the Compact Linkport. Verify the"));
    EXPECT_EQ(LoadResString(602), "ORWEN Linkport Toolkit");
    EXPECT_EQ(LoadResString(203).substr(0, 37), "Unable to connect to the ORWEN Linkpo");
}

TEST(StringTable, EveryNumberInUseHasItsTextAndTwinAndUnknownNumbersGiveNothing)
{
    for (int16_t id : brandAIds()) {
        ASSERT_TRUE(HasResString(id)) << id;
        const std::string t = LoadResString(id);
        EXPECT_FALSE(t.empty()) << id;
        EXPECT_EQ(t.find("ORWEN"), std::string::npos) << id;
        EXPECT_EQ(t.find("Dunmore"), std::string::npos) << id;
        // Same layout: the second brand's twin of every number below 1000.
        if (id < 1000) {
            EXPECT_TRUE(HasResString(static_cast<int16_t>(id + 100))) << id;
        }
        // Two blanks after every full stop of a message, but one in these
        // (and both in 111).
        int doubled = 0, single = 0;
        for (size_t p = t.find(". "); p != std::string::npos; p = t.find(". ", p + 2))
            ++(t.compare(p, 3, ".  ") == 0 ? doubled : single);
        const bool oneBlank = id == 115 || id == 1050 || id == 1051;
        if (id != 111) {
            EXPECT_EQ(oneBlank ? doubled : single, 0) << id;
        }
        EXPECT_TRUE(!oneBlank || single > 0) << id;
    }
    for (int16_t id : {0, -1, 100, 117, 200, 217, 499, 524, 599, 624, 799, 802, 902, 1000, 1002, 1052, 32767}) {
        EXPECT_FALSE(HasResString(id)) << id;
        EXPECT_EQ(LoadResString(id), "") << id;
    }
}

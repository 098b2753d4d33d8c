#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/string_table.h"

using lp::HasResString;
using lp::LoadResString;

namespace {

std::vector<int16_t> range(int16_t from, int16_t to)
{
    std::vector<int16_t> ids;
    for (int16_t i = from; i <= to; ++i)
        ids.push_back(i);
    return ids;
}

std::vector<int16_t> brandAIds()
{
    auto ids = range(101, 116), messages = range(500, 523);
    ids.insert(ids.end(), messages.begin(), messages.end());
    ids.insert(ids.end(), {800, 801, 1001, 1050, 1051});
    return ids;
}

} // namespace

TEST(StringTable, BlanksQuotesAndBackslashesAreKeptExactly)
{
    EXPECT_EQ(LoadResString(101), "A copy of HVN Linkport Application is already running.  Only one copy is "
                                  "allowed to run at a time.");
    EXPECT_EQ(LoadResString(502), "HVN Linkport Toolkit");
    EXPECT_EQ(LoadResString(503), "File: ");
    EXPECT_EQ(LoadResString(504), "Error Code # ");
    EXPECT_NE(LoadResString(108).find("a File Type of \"Application\" and then"), std::string::npos);
    EXPECT_NE(LoadResString(114).find("a File Type of \"Firmware\" and then"), std::string::npos);
    EXPECT_EQ(LoadResString(801), "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit");
    EXPECT_EQ(LoadResString(800), "SOFTWARE\\Halvorn Inc.\\Linkport II");

    // Single blanks where the others have two.
    EXPECT_NE(LoadResString(111).find("the Compact Linkport.  Check the cable"), std::string::npos);
    EXPECT_NE(LoadResString(111).find("the Compact Linkport. Verify the"), std::string::npos);
    EXPECT_NE(LoadResString(115).find("Flash was unsuccessful. Disconnect"), std::string::npos);
    for (int16_t id : {115, 1050, 1051}) {
        EXPECT_EQ(LoadResString(id).find(".  "), std::string::npos) << id;
        EXPECT_NE(LoadResString(id).find(". "), std::string::npos) << id;
    }
    // Doubled blanks after every full stop elsewhere in the messages.
    for (int16_t id : {102, 103, 104, 105, 106, 109, 110, 112, 113}) {
        const std::string t = LoadResString(id);
        for (size_t p = t.find(". "); p != std::string::npos; p = t.find(". ", p + 3))
            EXPECT_EQ(t.substr(p, 3), ".  ") << id;
    }
    EXPECT_NE(LoadResString(514).find("2005"), std::string::npos);
}

TEST(StringTable, BrandAAndWirelessNeverShowTheOtherBrand)
{
    for (int16_t id : brandAIds()) {
        ASSERT_TRUE(HasResString(id)) << id;
        const std::string t = LoadResString(id);
        EXPECT_FALSE(t.empty()) << id;
        EXPECT_EQ(t.find("ORWEN"), std::string::npos) << id;
        EXPECT_EQ(t.find("Dunmore"), std::string::npos) << id;
        // Same layout, so the B twin exists for every A number below 1000.
        if (id < 1000) {
            EXPECT_TRUE(HasResString(static_cast<int16_t>(id + 100))) << id;
        }
    }
    EXPECT_EQ(LoadResString(602), "ORWEN Linkport Toolkit");
    EXPECT_EQ(LoadResString(901), "SOFTWARE\\Dunmore\\Linkport Toolkit");
    // The substitution leaves no "Linkport II" in the B messages.
    for (int16_t id : range(201, 216))
        EXPECT_EQ(LoadResString(id).find("Linkport II"), std::string::npos) << id;
    EXPECT_EQ(LoadResString(203).substr(0, 37), "Unable to connect to the ORWEN Linkpo");
}

TEST(StringTable, UnknownNumbersGiveTheEmptyText)
{
    for (int16_t id : {0, -1, 100, 117, 200, 217, 499, 524, 599, 624, 799, 802, 902, 1000, 1002, 1052, 32767}) {
        EXPECT_FALSE(HasResString(id)) << id;
        EXPECT_EQ(LoadResString(id), "") << id;
    }
}

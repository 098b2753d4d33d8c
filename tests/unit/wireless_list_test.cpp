// The wireless adapter list lives in the driver's INI file, which users and
// the driver's own tools edit by hand; the reply decoders see whatever the
// network delivers. Both must give the documented result for odd input, and
// the picker's edits must keep everything in the file the user did not change.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "adapters/wireless/modWLP.h"
#include "adapters/wireless/wireless_adapter_list.h"
#include "support/recording_views.h"
#include "support/test_context.h"

using namespace lp;

namespace {

using Strings = std::vector<std::string>;

void writeLists(test::TestContext& t, const std::string& names, const std::string& params,
                const std::string& serials, const std::string& extra = "")
{
    t.writeWindowsFile("LPIPRP32.INI", extra + "[AdditionalDevices]\r\nDeviceNames=" + names +
                                           "\r\nDeviceParams=" + params + "\r\nSerialNumbers=" + serials + "\r\n");
}

std::string ini(test::TestContext& t, const char* section, const char* key)
{
    std::string v;
    t.profiles.getPrivateProfileString(section, key, "(none)", v, 2048, "LPIPRP32.INI");
    return v;
}

} // namespace

TEST(WLPReadAdditionalDevices, CountsOnlySemicolonEndedNamesAndFitsTheOtherListsToThem)
{
    struct Case {
        std::string names, params, serials;
        Strings items;       // none: nothing read, the arrays as they were
        Strings serialsRead;
    } cases[] = {
        {"Unit A", "10.0.0.5:12321;", "S1;", {}, {"kept"}},
        {"", "", "", {}, {"kept"}},
        // The last name lacks its ";": it is lost, though the other lists hold a second item.
        {"Unit A;Unit B", "10.0.0.5:12321;10.0.0.6:12321;", "S1;S2;", {"Unit A (10.0.0.5)"}, {"S1"}},
        // Empty names still count; blanks are kept as they stand.
        {"; Unit B ;;", "a:1;b:2;c:3;", "1;2;3;", {" (a)", " Unit B  (b)", " (c)"}, {"1", "2", "3"}},
        // Addresses: one short, one item without ":"; serials: one too many.
        {"A;B;C;D;", "10.0.0.1:12321;10.0.0.2;", "S1;S2;S3;S4;S5;", {"A (10.0.0.1)", "B ()", "C ()", "D ()"},
         {"S1", "S2", "S3", "S4"}},
        // The address ends at the first ":"; the last serial lacks its ";".
        {"A;B;C;", "x:1:2;y:;", "S1;S2", {"A (x)", "B (y)", "C ()"}, {"S1", "", ""}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.names);
        test::TestContext t;
        t.ctx.g_astrWLPSerials = {"kept"};
        writeLists(t, c.names, c.params, c.serials);
        ChoiceItems list;
        EXPECT_EQ(WLPFillList(t.ctx, list), !c.items.empty());
        EXPECT_EQ(list.items, c.items);
        EXPECT_EQ(t.ctx.g_astrWLPSerials, c.serialsRead);
    }

    // A list value longer than the 1024-character read is cut: only the
    // names that end inside it count.
    test::TestContext t;
    std::string many;
    for (int i = 0; i < 300; ++i)
        many += "N" + std::to_string(i) + ";";
    writeLists(t, many, "", "");
    ChoiceItems list;
    ASSERT_TRUE(WLPFillList(t.ctx, list));
    EXPECT_EQ(list.items.size(), static_cast<size_t>(std::count(many.begin(), many.begin() + 1023, ';')));
    EXPECT_EQ(t.ctx.g_astrWLPSerials.size(), list.items.size());
}

TEST(WLPSelectAdapter, WritesTheChoiceInOrderAndFindsTheFirstEqualName)
{
    test::TestContext t;
    const std::string before = "[AdditionalDevices]\r\nDeviceNames=Unit A;Unit B;Unit A;\r\n"
                               "DeviceParams=10.0.0.5:12321;10.0.0.6:12321;10.0.0.7:12321;\r\n"
                               "SerialNumbers=S1;S2;S3;\r\n";
    t.writeWindowsFile("LPIPRP32.INI", before);
    ChoiceItems list;
    ASSERT_TRUE(WLPFillList(t.ctx, list));

    list.selected = 1;
    EXPECT_TRUE(WLPSelectAdapter(t.ctx, list));
    const std::string path = t.windowsDirectory() + "/LPIPRP32.INI";
    EXPECT_EQ(test::readFile(path), before + "[DeviceInformation1]\r\nDeviceParams=10.0.0.6:12321\r\n"
                                              "SerialNumber=S2\r\nDeviceName=Unit B\r\n");
    EXPECT_EQ(WLPFindSelectedIndex(t.ctx, list), 1);

    // The second "Unit A" is written, but the first of that name is found.
    list.selected = 2;
    EXPECT_TRUE(WLPSelectAdapter(t.ctx, list));
    EXPECT_EQ(WLPFindSelectedIndex(t.ctx, list), 0);

    // Outside the arrays: nothing is written.
    const std::string chosen = test::readFile(path);
    for (int bad : {3, -1, 1000}) {
        list.selected = bad;
        EXPECT_FALSE(WLPSelectAdapter(t.ctx, list));
    }
    EXPECT_EQ(test::readFile(path), chosen);

    // The stored name is trimmed before it is compared; an unknown name or a
    // list shorter than the arrays gives 0.
    t.profiles.writePrivateProfileString("DeviceInformation1", "DeviceName", "\"  Unit B \"", "LPIPRP32.INI");
    EXPECT_EQ(WLPFindSelectedIndex(t.ctx, list), 1);
    ChoiceItems shortList;
    shortList.addItem("Unit A (10.0.0.5)");
    EXPECT_EQ(WLPFindSelectedIndex(t.ctx, shortList), 0);
    t.profiles.writePrivateProfileString("DeviceInformation1", "DeviceName", "Unit C", "LPIPRP32.INI");
    EXPECT_EQ(WLPFindSelectedIndex(t.ctx, list), 0);
}

// (The version of a driver library that is there: the Summary screen's tests.)
TEST(WLPDriverVersion, NotPresentWithoutTheDriverLibrary)
{
    test::TestContext t;
    test::FixedFileVersions reader;
    t.ctx.ports.fileVersions = &reader;
    EXPECT_EQ(WLPDriverVersion(t.ctx), "Not Present");
}

// (Whole replies: the wireless flash's version read and the Summary.)
TEST(WLPReplies, DecodersOnShortAndWrongReplies)
{
    // Hexadecimal version: three bytes as they stand.
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x02, 0x01, 0x00}), "01..");
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x03, 0x01, 0x07, 0x12, 0x6A}), "Not Present");
    // The check byte is never part of the text: four header bytes and a
    // check byte are not enough for a header.
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x02}), "Not Present");
    EXPECT_EQ(WLPParseHexVersion({0x5F}), "Not Present");
    EXPECT_EQ(WLPParseHexVersion({}), "Not Present");

    // Decimal version: bytes 6 and 7 in decimal.
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 9, 9, 0xFF, 0xFF, 0x00}), "255.255");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 0, 0, 0x02, 0x00}), "2.");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 0x00}), ".");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x05, 0x0D, 0x02, 0, 0, 0x01, 0x0A, 0}), "Not Present");

    // Identity text: bytes 4 to count - 2.
    EXPECT_EQ(WLPParseIdentityText({0x5F, 0x0C, 0x0D, 0x01, 0x87}), "");
    EXPECT_EQ(WLPParseIdentityText({0x5F, 0x0C, 0x0D, 0x01}), "Not Present");
    EXPECT_EQ(WLPParseIdentityText({0x5F, 0x0C, 0x0D, 0x02, 'A', 0}), "Not Present");
    // The adapter's characters are of the Windows code page.
    EXPECT_EQ(WLPParseIdentityText({0x5F, 0x0C, 0x0D, 0x01, 'A', 0xE9, 0x80, 0x00}), "A\xC3\xA9\xE2\x82\xAC");
}

TEST(WirelessAddress, Ipv4AndHostNamesJudgedFromTheTextAlone)
{
    for (const char* good : {"10.0.0.5", "192.168.1.254", "1.0.0.0", "223.255.255.255", "localhost", "wlp-shop1",
                             "adapter.shop.example", "a1.b2.c3.example"})
        EXPECT_EQ(WirelessAddressProblem(good), "") << good;
    for (const char* bad : {"", "10.0.0", "10.0.0.256", "010.0.0.5", "0.1.2.3", "224.0.0.1", "255.255.255.255",
                            "10.0.0.5:12321", "fe80::1", "10.0.0.5;", "-shop", "shop-", "shop..example",
                            "shop_1", "1.2.3.4.5", "shop.123", " 10.0.0.5"})
        EXPECT_NE(WirelessAddressProblem(bad), "") << bad;
    EXPECT_FALSE(IsHostName(std::string(64, 'a')));
    EXPECT_TRUE(IsHostName(std::string(63, 'a') + ".example"));
}

TEST(WirelessAdapterList, EditsAreCheckedAndOnlyTheListsAndTheChoiceAreWritten)
{
    test::TestContext t;
    t.writeWindowsFile("LPIPRP32.INI",
                       "; the driver's own file\r\n[VendorInformation]\r\nName=LPIP\r\n"
                       "[DeviceInformation1]\r\nDeviceName= Van 2 \r\nDeviceParams=10.0.0.6:12321\r\n"
                       "[AdditionalDevices]\r\nDeviceNames=Van 1;Van 2;\r\nDeviceParams=10.0.0.5:4000;10.0.0.6:12321;\r\n"
                       "SerialNumbers=S1;S2;\r\nOther=keep me\r\n");
    WirelessAdapterList list;
    list.load(t.ctx);
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list.selected(), 1) << "the chosen name is compared trimmed";

    // Refusals leave the list as it was. (Their messages, a bad address
    // among them: the picker's tests.)
    EXPECT_FALSE(list.add("VAN 1", "10.0.0.9", ""));
    EXPECT_FALSE(list.add("Van;3", "10.0.0.9", ""));
    EXPECT_FALSE(list.add("   ", "10.0.0.9", ""));
    EXPECT_FALSE(list.add("Van 3", "10.0.0.9", "S;3"));
    EXPECT_FALSE(list.edit(0, "Van 2", "10.0.0.5", "S1")) << "renaming onto another adapter";
    EXPECT_TRUE(list.edit(1, "van 2", "10.0.0.6", "S2")) << "its own name in another case";
    EXPECT_FALSE(list.add(std::string(1100, 'x'), "10.0.0.9", "")) << "the list would not be read back whole";
    EXPECT_EQ(list.size(), 2);

    // Cancelling is not applying: the file is as before.
    const std::string file = t.windowsDirectory() + "/LPIPRP32.INI", before = test::readFile(file);
    ASSERT_TRUE(list.add("  Van 3 ", "wlp-van3", "S3"));
    EXPECT_EQ(list.selected(), 2);
    EXPECT_EQ(test::readFile(file), before);

    ASSERT_TRUE(list.remove(0));
    EXPECT_EQ(list.selected(), 1) << "the choice follows its adapter";
    ASSERT_TRUE(list.apply(t.ctx));

    EXPECT_EQ(test::readFile(file),
              "; the driver's own file\r\n[VendorInformation]\r\nName=LPIP\r\n"
              "[DeviceInformation1]\r\nDeviceName=Van 3\r\nDeviceParams=wlp-van3:12321\r\nSerialNumber=S3\r\n"
              "[AdditionalDevices]\r\nDeviceNames=van 2;Van 3;\r\n"
              "DeviceParams=10.0.0.6:12321;wlp-van3:12321;\r\nSerialNumbers=S2;S3;\r\nOther=keep me\r\n");
    EXPECT_EQ(t.ctx.g_astrWLPNames, (std::vector<std::string>{"van 2", "Van 3"}));

    // An adapter left alone keeps its item as it stands, port and all.
    WirelessAdapterList again;
    writeLists(t, "A;B;", "h:4000;x;", "1;2;");
    again.load(t.ctx);
    EXPECT_EQ(again.selected(), 0);
    ASSERT_TRUE(again.remove(1));
    ASSERT_TRUE(again.apply(t.ctx));
    EXPECT_EQ(ini(t, "AdditionalDevices", "DeviceParams"), "h:4000;");
    ASSERT_TRUE(again.remove(0));
    EXPECT_EQ(again.selected(), -1);
    ASSERT_TRUE(again.apply(t.ctx));
    EXPECT_EQ(ini(t, "AdditionalDevices", "DeviceNames"), "");
    EXPECT_EQ(ini(t, "DeviceInformation1", "DeviceName"), "A") << "no adapter left to choose: the choice stays";
}

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

TEST(WLPReadAdditionalDevices, CountsOnlySemicolonEndedNames)
{
    test::TestContext t;
    Strings names{"kept"}, addresses{"kept"}, serials{"kept"};

    // No ";"-ended name: nothing is read and the arrays stay as they were.
    writeLists(t, "Unit A", "10.0.0.5:12321;", "S1;");
    EXPECT_FALSE(WLPReadAdditionalDevices(t.ctx, names, addresses, serials));
    EXPECT_EQ(names, Strings{"kept"});
    t.writeWindowsFile("LPIPRP32.INI", "[DeviceInformation1]\r\nDeviceName=X\r\n");
    EXPECT_FALSE(WLPReadAdditionalDevices(t.ctx, names, addresses, serials));
    EXPECT_EQ(addresses, Strings{"kept"});

    // The last name lacks its ";": it is lost, even though the other lists
    // hold a second complete item.
    writeLists(t, "Unit A;Unit B", "10.0.0.5:12321;10.0.0.6:12321;", "S1;S2;");
    ASSERT_TRUE(WLPReadAdditionalDevices(t.ctx, names, addresses, serials));
    EXPECT_EQ(names, Strings{"Unit A"});
    EXPECT_EQ(addresses, Strings{"10.0.0.5"});
    EXPECT_EQ(serials, Strings{"S1"});

    // Empty names still count; blanks are kept as they stand.
    writeLists(t, "; Unit B ;;", "a:1;b:2;c:3;", "1;2;3;");
    ASSERT_TRUE(WLPReadAdditionalDevices(t.ctx, names, addresses, serials));
    EXPECT_EQ(names, (Strings{"", " Unit B ", ""}));
    EXPECT_EQ(addresses, (Strings{"a", "b", "c"}));
}

TEST(WLPReadAdditionalDevices, OtherListsOfOtherLengthsAndAddressesWithoutPort)
{
    test::TestContext t;
    // Addresses: one short, one item without ":"; serials: one too many and
    // the last one without ";".
    writeLists(t, "A;B;C;D;", "10.0.0.1:12321;10.0.0.2;", "S1;S2;S3;S4;S5;");
    ChoiceItems list;
    ASSERT_TRUE(WLPFillList(t.ctx, list));
    EXPECT_EQ(t.ctx.g_astrWLPNames, (Strings{"A", "B", "C", "D"}));
    EXPECT_EQ(t.ctx.g_astrWLPAddresses, (Strings{"10.0.0.1", "", "", ""}));
    EXPECT_EQ(t.ctx.g_astrWLPSerials, (Strings{"S1", "S2", "S3", "S4"}));
    EXPECT_EQ(list.items, (Strings{"A (10.0.0.1)", "B ()", "C ()", "D ()"}));

    writeLists(t, "A;B;C;", "x:1:2;y:;", "S1;S2");
    ChoiceItems second;
    ASSERT_TRUE(WLPFillList(t.ctx, second));
    EXPECT_EQ(t.ctx.g_astrWLPAddresses, (Strings{"x", "y", ""}));
    EXPECT_EQ(t.ctx.g_astrWLPSerials, (Strings{"S1", "", ""}));

    // A list value longer than the 1024-character read is cut: only the
    // names that end inside it count.
    std::string many;
    for (int i = 0; i < 300; ++i)
        many += "N" + std::to_string(i) + ";";
    writeLists(t, many, "", "");
    ASSERT_TRUE(WLPReadAdditionalDevices(t.ctx, t.ctx.g_astrWLPNames, t.ctx.g_astrWLPAddresses,
                                         t.ctx.g_astrWLPSerials));
    size_t expected = static_cast<size_t>(std::count(many.begin(), many.begin() + 1023, ';'));
    EXPECT_EQ(t.ctx.g_astrWLPNames.size(), expected);
    EXPECT_EQ(t.ctx.g_astrWLPSerials.size(), expected);

    // Nothing listed: the list stays empty.
    t.writeWindowsFile("LPIPRP32.INI", "");
    ChoiceItems empty;
    EXPECT_FALSE(WLPFillList(t.ctx, empty));
    EXPECT_TRUE(empty.items.empty());
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

TEST(WLPDriverVersion, FileVersionOfTheDriverLibraryOrNotPresent)
{
    test::TestContext t;
    test::FixedFileVersions reader;
    t.ctx.ports.fileVersions = &reader;
    const std::string path = t.windowsDirectory() + "\\LPIPRP32.dll";
    EXPECT_EQ(WLPDriverVersion(t.ctx), "Not Present");
    ASSERT_EQ(reader.asked, Strings{path});
    reader.files[path] = FixedFileVersion{(2 << 16) | 0, (1 << 16) | 5};
    EXPECT_EQ(WLPDriverVersion(t.ctx), "2.00.01.05");
}

TEST(WLPReplies, DecodersOnExactShortAndWrongReplies)
{
    // Hexadecimal version: three bytes as they stand.
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x02, 0x01, 0x07, 0x12, 0x73}), "01.07.12");
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x02, 0x01, 0x00}), "01..");
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x03, 0x01, 0x07, 0x12, 0x6A}), "Not Present");
    // The check byte is never part of the text: four header bytes and a
    // check byte are not enough for a header.
    EXPECT_EQ(WLPParseHexVersion({0x5F, 0x05, 0x0D, 0x02}), "Not Present");
    EXPECT_EQ(WLPParseHexVersion({0x5F}), "Not Present");
    EXPECT_EQ(WLPParseHexVersion({}), "Not Present");

    // Decimal version: bytes 6 and 7 in decimal.
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 0, 0, 0x01, 0x0A, 0, 0, 0x7E}), "1.10");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 9, 9, 0xFF, 0xFF, 0x00}), "255.255");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 0, 0, 0x02, 0x00}), "2.");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x08, 0x0D, 0x03, 0x00}), ".");
    EXPECT_EQ(WLPParseDecimalVersion({0x5F, 0x05, 0x0D, 0x02, 0, 0, 0x01, 0x0A, 0}), "Not Present");

    // Identity text: bytes 4 to count - 2.
    Bytes identity{0x5F, 0x0C, 0x0D, 0x01};
    for (char c : std::string("01.04.0007"))
        identity.push_back(static_cast<uint8_t>(c));
    identity.push_back(0x00);
    EXPECT_EQ(WLPParseIdentityText(identity), "01.04.0007");
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

    // Refusals leave the list as it was.
    EXPECT_FALSE(list.add("van 1", "10.0.0.9", ""));
    EXPECT_NE(list.add("VAN 1", "10.0.0.9", "").message.find("\"Van 1\" is already"), std::string::npos);
    EXPECT_FALSE(list.add("Van 3", "10.0.0.999", ""));
    EXPECT_FALSE(list.add("Van;3", "10.0.0.9", ""));
    EXPECT_FALSE(list.add("   ", "10.0.0.9", ""));
    EXPECT_FALSE(list.add("Van 3", "10.0.0.9", "S;3"));
    EXPECT_FALSE(list.edit(0, "Van 2", "10.0.0.5", "S1")) << "renaming onto another adapter";
    EXPECT_TRUE(list.edit(1, "van 2", "10.0.0.6", "S2")) << "its own name in another case";
    EXPECT_FALSE(list.add(std::string(1100, 'x'), "10.0.0.9", "")) << "the list would not be read back whole";
    EXPECT_EQ(list.size(), 2);

    // Cancelling is not applying: the file is as before.
    const std::string before = test::readFile(t.windowsDirectory() + "/LPIPRP32.INI");
    ASSERT_TRUE(list.add("  Van 3 ", "wlp-van3", "S3"));
    EXPECT_EQ(list.selected(), 2);
    EXPECT_EQ(test::readFile(t.windowsDirectory() + "/LPIPRP32.INI"), before);

    ASSERT_TRUE(list.remove(0));
    EXPECT_EQ(list.selected(), 1) << "the choice follows its adapter";
    ASSERT_TRUE(list.apply(t.ctx));

    EXPECT_EQ(ini(t, "AdditionalDevices", "DeviceNames"), "van 2;Van 3;");
    EXPECT_EQ(ini(t, "AdditionalDevices", "DeviceParams"), "10.0.0.6:12321;wlp-van3:12321;");
    EXPECT_EQ(ini(t, "AdditionalDevices", "SerialNumbers"), "S2;S3;");
    EXPECT_EQ(ini(t, "DeviceInformation1", "DeviceName"), "Van 3");
    EXPECT_EQ(ini(t, "DeviceInformation1", "DeviceParams"), "wlp-van3:12321");
    EXPECT_EQ(ini(t, "DeviceInformation1", "SerialNumber"), "S3");
    EXPECT_EQ(ini(t, "AdditionalDevices", "Other"), "keep me");
    EXPECT_EQ(ini(t, "VendorInformation", "Name"), "LPIP");
    EXPECT_NE(test::readFile(t.windowsDirectory() + "/LPIPRP32.INI").find("; the driver's own file"), std::string::npos);
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

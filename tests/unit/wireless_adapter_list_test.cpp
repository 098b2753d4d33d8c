// The wireless adapter list as the picker edits it: what it accepts, what it
// refuses, and that the INI file keeps everything the user did not change.
#include <gtest/gtest.h>

#include <string>

#include "adapters/wireless/wireless_adapter_list.h"
#include "support/temp_dir.h"
#include "support/test_context.h"

using namespace lp;

namespace {

std::string ini(test::TestContext& t, const char* section, const char* key)
{
    std::string v;
    t.profiles.getPrivateProfileString(section, key, "(none)", v, 2048, "LPIPRP32.INI");
    return v;
}

} // namespace

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
    t.writeWindowsFile("LPIPRP32.INI", "[AdditionalDevices]\r\nDeviceNames=A;B;\r\nDeviceParams=h:4000;x;\r\n"
                                       "SerialNumbers=1;2;\r\n");
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

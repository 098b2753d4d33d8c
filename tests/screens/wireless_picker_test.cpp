// The wireless picker dialog through its widgets.
#include <gtest/gtest.h>

#include <QDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

#include "ui/dialogs/frmWirelessPickerDialog.h"
#include "modal.h"
#include "ui/frmParent.h"
#include "stand_in_screen.h"
#include "support/test_context.h"

using namespace lp;

namespace {

const std::string kIni = "[DeviceInformation1]\r\nDeviceName=Van 1\r\n"
                         "[AdditionalDevices]\r\nDeviceNames=Van 1;\r\nDeviceParams=10.0.0.5:12321;\r\n"
                         "SerialNumbers=S1;\r\n";

struct Picker : test::TestContext {
    Picker() { writeWindowsFile("LPIPRP32.INI", kIni); }
    std::string iniText() const { return test::readFile(windowsDirectory() + "/LPIPRP32.INI"); }
    // Types each text into its field, then presses `button`.
    using Typed = std::initializer_list<std::pair<const char*, QString>>;
    static void press(QDialog& d, const char* button, Typed typed = {})
    {
        for (const auto& [field, text] : typed)
            d.findChild<QLineEdit*>(field)->setText(text);
        d.findChild<QPushButton*>(button)->click();
    }
};

} // namespace

TEST(WirelessPickerDialog, EditsThroughItsFieldsAndRefusesWithAMessage)
{
    Picker p;
    p.ctx.g_strDeviceKind = "WLP";
    frmWirelessPickerDialog d(p.ctx, nullptr);
    auto* rows = d.findChild<QTreeWidget*>("lstAdapters");
    ASSERT_EQ(rows->topLevelItemCount(), 1);
    EXPECT_EQ(d.findChild<QLineEdit*>("txtAddress")->text(), "10.0.0.5") << "the chosen adapter is shown";

    Picker::press(d, "cmdAdd", {{"txtName", "Van 2"}, {"txtAddress", "10.0.0.300"}});
    Picker::press(d, "cmdAdd", {{"txtName", "van 1"}, {"txtAddress", "10.0.0.6"}});
    EXPECT_EQ(p.prompts.boxes(),
              (test::Boxes{{"\"10.0.0.300\" is not a valid network address.  Enter an IPv4 address such as "
                            "192.168.0.20, or a host name such as wlp-shop1.", 48, "HVN Linkport Toolkit"},
                           {"A wireless adapter named \"Van 1\" is already in the list.  Please choose another "
                            "name.", 48, "HVN Linkport Toolkit"}}));
    EXPECT_EQ(rows->topLevelItemCount(), 1);

    Picker::press(d, "cmdAdd", {{"txtName", "Van 2"}, {"txtSerial", "S2"}});
    ASSERT_EQ(rows->topLevelItemCount(), 2);
    EXPECT_EQ(rows->currentItem()->text(0), "Van 2");

    rows->setCurrentItem(rows->topLevelItem(0));
    EXPECT_EQ(d.findChild<QLineEdit*>("txtName")->text(), "Van 1");
    Picker::press(d, "cmdChange", {{"txtAddress", "wlp-van1"}});
    EXPECT_EQ(rows->topLevelItem(0)->text(1), "wlp-van1");
    rows->setCurrentItem(rows->topLevelItem(1));
    Picker::press(d, "cmdRemove");
    EXPECT_EQ(rows->topLevelItemCount(), 1);

    // Cancel: none of it reaches the file.
    Picker::press(d, "cmdCancel");
    EXPECT_EQ(d.result(), QDialog::Rejected);
    EXPECT_EQ(p.iniText(), kIni);
    EXPECT_TRUE(p.screens.selected.empty());
}

TEST(WirelessPickerDialog, SelectWritesAndReturnsToTheActiveScreenOrToSummary)
{
    {
        // No device kind yet: the Summary screen is asked for.
        Picker p;
        frmWirelessPickerDialog d(p.ctx, nullptr);
        Picker::press(d, "cmdAdd", {{"txtName", "Van 2"}, {"txtAddress", "10.0.0.6"}, {"txtSerial", "S2"}});
        Picker::press(d, "cmdSelect");
        EXPECT_EQ(d.result(), QDialog::Accepted);
        EXPECT_EQ(p.screens.selected, std::vector<std::string>{"Summary"});
        EXPECT_EQ(p.iniText(), "[DeviceInformation1]\r\nDeviceName=Van 2\r\nDeviceParams=10.0.0.6:12321\r\n"
                               "SerialNumber=S2\r\n[AdditionalDevices]\r\nDeviceNames=Van 1;Van 2;\r\n"
                               "DeviceParams=10.0.0.5:12321;10.0.0.6:12321;\r\nSerialNumbers=S1;S2;\r\n");
    }
    {
        // From Preferences over the Summary screen: Preferences is unloaded
        // and Summary initialised again.
        Picker p;
        p.setRegistryText("SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter", "WLP");
        int summaryInits = 0;
        ShellOptions options{.instanceLockPath = p.file("instance")};
        options.screens.children["Summary"] = [&summaryInits](Context& ctx, MainWindow& main) -> ChildScreen* {
            ++summaryInits;
            return new StandInScreen(ctx, main, "Summary", "frmVersion", "Summary");
        };
        frmParent main(p.ctx, options);
        main.MDIForm_Load();
        auto* summary = static_cast<StandInScreen*>(main.activeChild());
        ASSERT_NE(summary, nullptr);
        ASSERT_EQ(summary->initialiseCount(), 1);

        QDialog preferences(&main);
        preferences.show();
        main.setOpenPreferences(&preferences);
        frmWirelessPickerDialog d(p.ctx, &preferences);
        Picker::press(d, "cmdSelect");
        EXPECT_FALSE(preferences.isVisible());
        EXPECT_EQ(summary->initialiseCount(), 2);
        EXPECT_EQ(summaryInits, 1);
        // The list was not edited: only the choice is written.
        EXPECT_EQ(p.iniText(), "[DeviceInformation1]\r\nDeviceName=Van 1\r\nDeviceParams=10.0.0.5:12321\r\n"
                               "SerialNumber=S1\r\n" + kIni.substr(kIni.find("[AdditionalDevices]")));
        test::flushPosted();
    }
}

// The wireless picker dialog through its widgets.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

#include "ui/dialogs/frmWirelessPickerDialog.h"
#include "qt_app.h"
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
    static void type(QDialog& d, const char* field, const QString& text)
    {
        d.findChild<QLineEdit*>(field)->setText(text);
    }
    static void click(QDialog& d, const char* button) { d.findChild<QPushButton*>(button)->click(); }
};

} // namespace

TEST(WirelessPickerDialog, EditsThroughItsFieldsAndRefusesWithAMessage)
{
    test::qtApp();
    Picker p;
    p.ctx.g_strDeviceKind = "WLP";
    frmWirelessPickerDialog d(p.ctx, nullptr);
    auto* rows = d.findChild<QTreeWidget*>("lstAdapters");
    ASSERT_EQ(rows->topLevelItemCount(), 1);
    EXPECT_EQ(d.findChild<QLineEdit*>("txtAddress")->text(), "10.0.0.5") << "the chosen adapter is shown";

    Picker::type(d, "txtName", "Van 2");
    Picker::type(d, "txtAddress", "10.0.0.300");
    Picker::click(d, "cmdAdd");
    ASSERT_EQ(p.prompts.boxes().size(), 1u);
    EXPECT_NE(p.prompts.boxes()[0].prompt.find("\"10.0.0.300\" is not a valid network address"), std::string::npos);
    EXPECT_EQ(p.prompts.boxes()[0].style, 48);
    EXPECT_EQ(p.prompts.boxes()[0].title, "HVN Linkport Toolkit");

    Picker::type(d, "txtName", "van 1");
    Picker::type(d, "txtAddress", "10.0.0.6");
    Picker::click(d, "cmdAdd");
    ASSERT_EQ(p.prompts.boxes().size(), 2u);
    EXPECT_NE(p.prompts.boxes()[1].prompt.find("already in the list"), std::string::npos);
    EXPECT_EQ(rows->topLevelItemCount(), 1);

    Picker::type(d, "txtName", "Van 2");
    Picker::type(d, "txtSerial", "S2");
    Picker::click(d, "cmdAdd");
    ASSERT_EQ(rows->topLevelItemCount(), 2);
    EXPECT_EQ(rows->currentItem()->text(0), "Van 2");

    rows->setCurrentItem(rows->topLevelItem(0));
    EXPECT_EQ(d.findChild<QLineEdit*>("txtName")->text(), "Van 1");
    Picker::type(d, "txtAddress", "wlp-van1");
    Picker::click(d, "cmdChange");
    EXPECT_EQ(rows->topLevelItem(0)->text(1), "wlp-van1");
    rows->setCurrentItem(rows->topLevelItem(1));
    Picker::click(d, "cmdRemove");
    EXPECT_EQ(rows->topLevelItemCount(), 1);

    // Cancel: none of it reaches the file.
    Picker::click(d, "cmdCancel");
    EXPECT_EQ(d.result(), QDialog::Rejected);
    EXPECT_EQ(p.iniText(), kIni);
    EXPECT_TRUE(p.screens.selected.empty());
}

TEST(WirelessPickerDialog, SelectWritesAndReturnsToTheActiveScreenOrToSummary)
{
    test::qtApp();
    {
        // No device kind yet: the Summary screen is asked for.
        Picker p;
        frmWirelessPickerDialog d(p.ctx, nullptr);
        Picker::type(d, "txtName", "Van 2");
        Picker::type(d, "txtAddress", "10.0.0.6");
        Picker::click(d, "cmdAdd");
        Picker::click(d, "cmdSelect");
        EXPECT_EQ(d.result(), QDialog::Accepted);
        EXPECT_EQ(p.screens.selected, std::vector<std::string>{"Summary"});
        EXPECT_NE(p.iniText().find("DeviceNames=Van 1;Van 2;"), std::string::npos);
        EXPECT_NE(p.iniText().find("DeviceName=Van 2\r\n"), std::string::npos);
        EXPECT_NE(p.iniText().find("DeviceParams=10.0.0.6:12321\r\n"), std::string::npos);
    }
    {
        // From Preferences over the Summary screen: Preferences is unloaded
        // and Summary initialised again.
        Picker p;
        p.setRegistryText("SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter", "WLP");
        int summaryInits = 0;
        ShellOptions options;
        options.instanceLockPath = p.file("instance");
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
        Picker::click(d, "cmdSelect");
        EXPECT_FALSE(preferences.isVisible());
        EXPECT_EQ(summary->initialiseCount(), 2);
        EXPECT_EQ(summaryInits, 1);
        // The list was not edited: only the choice is written.
        EXPECT_NE(p.iniText().find("DeviceNames=Van 1;\r\nDeviceParams=10.0.0.5:12321;\r\n"), std::string::npos);
        EXPECT_NE(p.iniText().find("DeviceParams=10.0.0.5:12321\r\n"), std::string::npos);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

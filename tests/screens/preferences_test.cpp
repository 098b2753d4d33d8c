// The Preferences dialog: the exact INI and registry contents it leaves.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QPushButton>

#include <functional>
#include <memory>

#include "ui/dialogs/frmWirelessPickerDialog.h"
#include "modal.h"
#include "qt_app.h"
#include "ui/screens/frmPreferences.h"
#include "ui/frmParent.h"
#include "stand_in_screen.h"
#include "support/test_context.h"

using namespace lp;

namespace {

const std::string kKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";
const std::string kLp2Ini = "; from the driver's set-up\r\n[VendorInformation]\r\nProtocols=1\r\n"
                            "[DeviceInformation1]\r\nDeviceID=1\r\nDeviceParams=COM7,57600,RTS\r\nDeviceName=LP2\r\n";
const std::string kClpIni = "[DeviceInformation3]\r\nDeviceParams=COM3,FOO\r\nLastComPortUsed=COM4\r\n";
const std::string kWlpIni = "[DeviceInformation1]\r\nDeviceName=Shop 1\r\nDeviceParams=10.0.0.5:12321\r\n"
                            "[AdditionalDevices]\r\nDeviceNames=Shop 1;\r\nDeviceParams=10.0.0.5:12321;\r\n"
                            "SerialNumbers=W1;\r\n";

struct Prefs : test::TestContext {
    std::unique_ptr<frmPreferences> dialog;

    Prefs(int16_t mode, const std::string& kind, const std::string& wlpIni = kWlpIni)
    {
        ctx.g_strRegistryKey = kKey;
        ctx.g_intToolkitMode = mode;
        ctx.g_strDeviceKind = kind;
        if (!kind.empty())
            setRegistryText(kKey, "PrevAdapter", kind);
        for (int16_t port : {1, 3, 4})
            serialPorts.addPort(port);
        serialPorts.setNotRs232(4, true);
        writeWindowsFile("LP2RP32.INI", kLp2Ini);
        writeWindowsFile("CLPRP32.INI", kClpIni);
        writeWindowsFile("LPIPRP32.INI", wlpIni);
    }
    // What the converter on a port says it is; none unless a test says.
    std::function<std::string(int, const std::string&)> identity = [](int, const std::string&) { return ""; };
    void open()
    {
        Preferences model;
        model.devicePath = [](int n) { return "/dev/ttyS" + std::to_string(n - 1); };
        model.portIdentity = identity;
        dialog = std::make_unique<frmPreferences>(ctx, nullptr, WirelessPickerCall{}, model);
    }
    QComboBox* combo(const char* name) { return dialog->findChild<QComboBox*>(name); }
    std::string items(const char* name)
    {
        QStringList texts;
        for (int i = 0; i < combo(name)->count(); ++i)
            texts << combo(name)->itemText(i);
        return texts.join(" | ").toStdString();
    }
    void choose(const char* name, const char* value)
    {
        const int index = combo(name)->findData(QString(value));
        ASSERT_GE(index, 0) << value;
        combo(name)->setCurrentIndex(index);
    }
    bool click(const char* button)
    {
        dialog->findChild<QPushButton*>(button)->click();
        return dialog->result() == QDialog::Accepted;
    }
    std::string windowsFile(const char* name) { return test::readFile(windowsDirectory() + "/" + name); }
    // Everything Preferences may write, for "nothing changed" checks.
    std::string stored()
    {
        return windowsFile("LP2RP32.INI") + windowsFile("CLPRP32.INI") + windowsFile("LPIPRP32.INI")
               + registryText(kKey, "PrevAdapter");
    }
    std::string lastPrompt() { return prompts.boxes().empty() ? "" : prompts.boxes().back().prompt; }
};

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    text.replace(text.find(from), from.size(), to);
    return text;
}

} // namespace

TEST(PreferencesScreen, SecondGenerationPortKeepsTheRestOfTheValue)
{
    Prefs t(1, "LPII SIP");
    const std::string before = t.stored();
    t.open();
    EXPECT_EQ(t.items("cmbDeviceKind"), "Linkport II | Wireless Linkport");
    EXPECT_EQ(t.items("cmbLP2Port"), "COM1  (/dev/ttyS0) | COM3  (/dev/ttyS2) | COM7  (/dev/ttyS6) - not present");

    // The stored port is the one chosen, and OK refuses it.
    EXPECT_FALSE(t.click("cmdOK"));
    EXPECT_NE(t.lastPrompt().find("COM7 is not present"), std::string::npos) << t.lastPrompt();
    EXPECT_EQ(t.stored(), before);

    t.choose("cmbLP2Port", "COM3");
    t.choose("cmbDeviceKind", "WLP");
    t.choose("cmbDeviceKind", "LPII SIP");
    EXPECT_TRUE(t.click("cmdOK"));
    EXPECT_EQ(t.windowsFile("LP2RP32.INI"), replaced(kLp2Ini, "COM7,", "COM3,"));
    EXPECT_EQ(t.windowsFile("CLPRP32.INI") + t.windowsFile("LPIPRP32.INI"), kClpIni + kWlpIni);
    EXPECT_EQ(t.registryText(kKey, "PrevAdapter"), "LPII SIP");

    Prefs c(1, "LPII SIP");
    const std::string untouched = c.stored();
    c.open();
    c.choose("cmbLP2Port", "COM1");
    c.choose("cmbDeviceKind", "WLP");
    EXPECT_FALSE(c.click("cmdCancel"));
    EXPECT_EQ(c.stored(), untouched);
    EXPECT_EQ(c.ctx.g_strDeviceKind, "LPII SIP");
}

TEST(PreferencesScreen, ParallelAndMissingPortsAreRefused)
{
    Prefs t(1, "LPII SIP");
    t.writeWindowsFile("LP2RP32.INI", "[DeviceInformation1]\r\nDeviceParams=LPT1\r\n");
    t.open();
    EXPECT_FALSE(t.click("cmdOK"));
    EXPECT_NE(t.lastPrompt().find("LPT1 is a parallel port"), std::string::npos) << t.lastPrompt();

    t.writeWindowsFile("LP2RP32.INI", "[DeviceInformation1]\r\nDeviceID=1\r\n");
    for (int16_t port : {1, 3, 4})
        t.serialPorts.removePort(port);
    t.open();
    EXPECT_EQ(t.items("cmbLP2Port"), "");
    EXPECT_FALSE(t.click("cmdOK"));
    EXPECT_NE(t.lastPrompt().find("No serial port was found"), std::string::npos) << t.lastPrompt();

    t.serialPorts.addPort(2);
    t.dialog->findChild<QPushButton*>("cmdRefresh")->click();
    EXPECT_TRUE(t.click("cmdOK"));
    EXPECT_EQ(t.windowsFile("LP2RP32.INI"), "[DeviceInformation1]\r\nDeviceID=1\r\nDeviceParams=COM2\r\n");
}

TEST(PreferencesScreen, CompactPortAndRate)
{
    Prefs t(2, "B&B SIP");
    // A USB converter on COM3 says what it is; the choice stays "COM3".
    t.identity = [](int n, const std::string& device) {
        return n == 3 && device == "/dev/ttyS2" ? "FT232R USB UART, USB 0403:6001, serial A9XYZ12" : "";
    };
    t.open();
    EXPECT_EQ(t.items("cmbDeviceKind"), "Linkport II | Compact Linkport");
    EXPECT_EQ(t.items("cmbCompactPort"), "Search all ports | COM1  (/dev/ttyS0) | COM3  (/dev/ttyS2)  FT232R USB "
                                         "UART, USB 0403:6001, serial A9XYZ12");
    EXPECT_EQ(t.combo("cmbCompactRate")->currentText(), "FOO - not recognised");
    EXPECT_EQ(t.combo("cmbCompactRate")->itemText(1), "N1  (38400 baud)");
    EXPECT_FALSE(t.click("cmdOK"));
    EXPECT_NE(t.lastPrompt().find("\"FOO\" is not a rate"), std::string::npos) << t.lastPrompt();

    t.choose("cmbCompactRate", "N2");
    EXPECT_TRUE(t.click("cmdOK"));
    EXPECT_EQ(t.windowsFile("CLPRP32.INI"), replaced(kClpIni, "COM3,FOO", "COM3,N2"));
    EXPECT_EQ(t.windowsFile("LP2RP32.INI"), kLp2Ini);
    EXPECT_TRUE(t.ctx.g_blnCGPSelected);

    // A missing value already means "search, default rate": nothing to write.
    Prefs d(2, "LPII SIP");
    d.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nLastComPortUsed=COM4\r\n");
    d.open();
    d.choose("cmbDeviceKind", "B&B SIP");
    EXPECT_TRUE(d.click("cmdOK"));
    EXPECT_EQ(d.windowsFile("CLPRP32.INI"), "[DeviceInformation3]\r\nLastComPortUsed=COM4\r\n");
    EXPECT_EQ(d.registryText(kKey, "PrevAdapter"), "B&B SIP");

    Prefs n(2, "B&B SIP");
    for (int16_t port : {1, 3, 4})
        n.serialPorts.removePort(port);
    n.open();
    n.choose("cmbCompactPort", "COMX");
    n.choose("cmbCompactRate", "P1");
    EXPECT_FALSE(n.click("cmdOK")) << "a search finds nothing without serial ports";
    EXPECT_EQ(n.windowsFile("CLPRP32.INI"), kClpIni);
}

TEST(PreferencesScreen, WirelessNeedsAListedAdapterAndThePickersSelectIsOk)
{
    Prefs empty(-1, "", "[DeviceInformation1]\r\nDeviceName=Old\r\n");
    const std::string before = empty.stored();
    empty.open();
    EXPECT_EQ(empty.items("cmbDeviceKind"), "Wireless Linkport");
    EXPECT_FALSE(empty.click("cmdOK"));
    EXPECT_NE(empty.lastPrompt().find("No wireless adapters are listed"), std::string::npos);
    EXPECT_EQ(empty.stored(), before);

    Prefs t(1, "LPII SIP");
    t.open();
    t.choose("cmbDeviceKind", "WLP");
    auto pickerButton = [&](const char* button) {
        test::withModal<QDialog>([&] { t.dialog->findChild<QPushButton*>("cmdWirelessAdapters")->click(); },
                [button](QDialog& picker) { picker.findChild<QPushButton*>(button)->click(); });
    };
    pickerButton("cmdCancel");
    EXPECT_NE(t.dialog->result(), QDialog::Accepted);
    EXPECT_EQ(t.registryText(kKey, "PrevAdapter"), "LPII SIP");

    pickerButton("cmdSelect");
    EXPECT_EQ(t.dialog->result(), QDialog::Accepted);
    EXPECT_EQ(t.registryText(kKey, "PrevAdapter"), "WLP");
    EXPECT_TRUE(t.ctx.g_blnWLPSelected);
    EXPECT_EQ(t.ctx.g_astrWLPNames, std::vector<std::string>{"Shop 1"});
    EXPECT_TRUE(t.screens.selected.empty()) << "the return is made once, by whoever opened Preferences";
    EXPECT_EQ(t.windowsFile("LP2RP32.INI"), kLp2Ini);
}

TEST(PreferencesScreen, OkReturnsToTheActiveScreenOrToSummary)
{
    Prefs t(1, "");
    ShellOptions options{.instanceLockPath = t.file("instance")};
    for (const char* key : {"Summary", "Application Flash", "LPTest"})
        options.screens.children[key] = [key](Context& c, MainWindow& m) -> ChildScreen* {
            return new StandInScreen(c, m, key, "frmPlaceholder", key);
        };
    frmParent main(t.ctx, options);
    t.serialPorts.addPort(7);
    test::withModal<QDialog>([&] { main.MDIForm_Load(); }, [](QDialog& d) { d.findChild<QPushButton*>("cmdOK")->click(); });
    ASSERT_NE(main.activeChild(), nullptr) << "opened at start-up, OK goes on to Summary";
    EXPECT_EQ(main.activeChild()->Tag(), "Summary");
    EXPECT_EQ(t.registryText(kKey, "PrevAdapter"), "LPII SIP");

    auto* summary = static_cast<StandInScreen*>(main.activeChild());
    test::withModal<QDialog>([&] { main.SelectScreen("Preferences"); }, [](QDialog& d) { d.reject(); });
    EXPECT_EQ(summary->initialiseCount(), 1);
    test::withModal<QDialog>([&] { main.SelectScreen("Preferences"); },
            [](QDialog& d) { d.findChild<QPushButton*>("cmdOK")->click(); });
    EXPECT_EQ(summary->initialiseCount(), 2) << "the active screen is shown again with the new choice";
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST(PreferencesScreen, SizeFollowsThePaneShown)
{
    Prefs t(1, "LPII SIP");
    t.open();
    t.dialog->show();
    QApplication::processEvents();
    const QSize lp2 = t.dialog->size();
    t.choose("cmbDeviceKind", "WLP");
    QApplication::processEvents();
    const QSize wireless = t.dialog->size();
    for (int round = 0; round < 3; ++round) {
        t.choose("cmbDeviceKind", "LPII SIP");
        QApplication::processEvents();
        EXPECT_EQ(t.dialog->size(), lp2) << "round " << round;
        t.choose("cmbDeviceKind", "WLP");
        QApplication::processEvents();
        EXPECT_EQ(t.dialog->size(), wireless) << "round " << round;
    }
    EXPECT_LE(t.dialog->height(), t.dialog->sizeHint().height()) << "no blank band left by a taller pane";
}

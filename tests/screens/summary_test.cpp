// The Summary screen inside the real main window, on the virtual clock with
// the adapter models.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>

#include <cstdlib>

#include "ui/dialogs/frmConnectingDialog.h"
#include "ui/screens/frmVersion.h"
#include "models/compact_model.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "models/wireless_model.h"
#include "modal.h"
#include "ui/frmParent.h"
#include "support/recording_views.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

const char* const kNP = "Not Present";

struct Summary : test::TestContext {
    Lp2Model lp2;
    Lp2InProcessDriver driver{lp2, &serialPorts, 5};
    test::FixedFileVersions versions;
    std::unique_ptr<frmParent> main;

    explicit Summary(const std::string& kind)
    {
        setRegistryText("SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter", kind);
        ctx.ports.rp1210 = &driver;
        ctx.ports.fileVersions = &versions;
        writeWindowsFile("LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
        serialPorts.addPort(5, &lp2);
    }
    ~Summary() { test::flushPosted(); }
    frmVersion& load()
    {
        main = std::make_unique<frmParent>(ctx, ShellOptions{.instanceLockPath = file("instance")});
        main->MDIForm_Load();
        if (!dynamic_cast<frmVersion*>(main->activeChild())) {
            ADD_FAILURE() << "the main window shows no Summary screen";
            std::abort();
        }
        return screen();
    }
    frmVersion& screen() const { return *dynamic_cast<frmVersion*>(main->activeChild()); }
    std::vector<std::string> values(int first, int last) const
    {
        std::vector<std::string> v;
        for (int row = first; row <= last; ++row)
            v.push_back(screen().rowValue(row));
        return v;
    }
    static frmConnectingDialog* connecting()
    {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* d = qobject_cast<frmConnectingDialog*>(w); d && d->isVisible())
                return d;
        return nullptr;
    }
};

using Rows = std::vector<std::string>;

} // namespace

TEST(SummaryScreen, SecondGenerationRowsEmptySlotsDriverAndSerialIpPort)
{
    Summary s("LPII SIP");
    s.lp2.config().versions = {255, 255, 255, 255, 1, 2};
    frmVersion& v = s.load();
    EXPECT_EQ(v.lblAdapterName()->text(), "HVN Linkport II Information:");
    EXPECT_EQ(v.tlstSummary()->headerItem()->text(0), "Description");
    EXPECT_EQ(v.tlstSummary()->headerItem()->text(1), "Value");
    EXPECT_EQ(v.tlstSummary()->palette().color(QPalette::Base), QColor(255, 255, 255));
    ASSERT_EQ(v.rowCount(), 5);
    EXPECT_EQ(v.rowCaption(4), "Linkport II Driver Version");
    EXPECT_EQ(v.rowCaption(5), "Application Firmware Version (Serial IP)");
    // The hardware keeps 255.255; only the firmware slots are empty.
    EXPECT_EQ(s.values(1, 5), (Rows{"255.255", kNP, "1.2", "1.12", "01.07.12"}));
    EXPECT_EQ(s.ctx.g_strLP2DriverVersion, "1.12");
    EXPECT_EQ(s.main->windowTitle(), "HVN Linkport Toolkit - Summary");
    EXPECT_TRUE(s.prompts.boxes().empty());

    // A refresh rebuilds the rows: boot empty this time, the driver silent.
    s.lp2.config().versions = {3, 1, 2, 4, 255, 255};
    s.driver.setEntryMissing("RP1210_ReadVersion");
    s.main->SelectScreen("Summary");
    EXPECT_EQ(&s.screen(), &v);
    ASSERT_EQ(v.rowCount(), 5);
    EXPECT_EQ(s.values(1, 4), (Rows{"3.1", "2.4", kNP, kNP}));
    EXPECT_EQ(s.ctx.g_strLP2DriverVersion, "");

    // The serial IP is asked on the port after the "M": COM12 (a name
    // without one gives no port).
    s.serialPorts.removePort(5);
    s.serialPorts.addPort(12, &s.lp2);
    Lp2InProcessDriver onTwelve(s.lp2, &s.serialPorts, 12);
    s.ctx.ports.rp1210 = &onTwelve;
    s.writeWindowsFile("LP2RP32.INI", lp2DriverIni({.deviceParams = "COM12,9600"}));
    s.main->SelectScreen("Summary");
    EXPECT_EQ(v.rowValue(5), "01.07.12");
    EXPECT_EQ(SerialIpPortNumber("ttyUSB0"), 0);

    // A driver that cannot open its client: every adapter row says so.
    onTwelve.settings().connectErrors["SIP"] = 142;
    s.main->SelectScreen("Summary");
    EXPECT_EQ(s.values(1, 5), (Rows{kNP, kNP, kNP, "1.12", kNP}));
    EXPECT_TRUE(s.main->isEnabled());
}

TEST(SummaryScreen, CompactRowsWithTheDialogUpAndTheWindowLockedWhileReading)
{
    Summary s("B&B SIP");
    s.ctx.commandLine = "/CLP";
    CompactModel adapter;
    s.serialPorts.addPort(3, &adapter);
    s.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,DEFAULT\r\n");
    s.versions.files[s.windowsDirectory() + "\\system32\\drivers\\ftser2k.sys"] = {(2 << 16) | 8, (30 << 16) | 1};
    std::vector<std::string> seen; // what a look during the reading finds
    s.clock.at(s.clock.nowUs() + 300000, [&] {
        seen.push_back(s.main->isEnabled() ? "enabled" : "disabled");
        seen.push_back(Summary::connecting() ? "dialog" : "no dialog");
    });
    frmVersion& v = s.load();
    EXPECT_EQ(seen, (Rows{"disabled", "dialog"}));
    EXPECT_EQ(v.lblAdapterName()->text(), "Compact Linkport Information");
    EXPECT_EQ(v.rowCaption(4), "Compact Linkport Driver Version");
    EXPECT_EQ(s.values(1, 4), (Rows{"1.10", "01.07.12", "CL05A12345", "2.08.30.01"}));
    EXPECT_TRUE(s.main->isEnabled());
    EXPECT_EQ(Summary::connecting(), nullptr);

    // (A silent adapter's rows and box: ResponsiveFaults.CompactSummary.)
    // Its loader answers (a flash did not finish): the link's box as ever,
    // and a row of its own says what to do, until the next reading.
    adapter.setMode(CompactModel::Mode::Loader);
    s.main->SelectScreen("Summary");
    EXPECT_EQ(s.prompts.boxes().size(), 1u) << "the link's own message only";
    EXPECT_EQ(s.screen().rowCaption(5) + ": " + s.screen().rowValue(5),
              "Adapter State: In its loader (COM3): the application firmware is not running. Flash the application "
              "firmware again.");
    adapter.powerCycle();
    s.main->SelectScreen("Summary");
    EXPECT_EQ(s.screen().rowCount(), 4);
}

namespace {

struct Wireless : Summary {
    WirelessModel van1{{.name = "Van 1", .address = "127.0.0.2", .serial = "W1"}};
    WirelessModel van2{{.name = "Van 2", .address = "127.0.0.3", .serial = "W2", .identityText = "02.00.0001"}};

    explicit Wireless(bool listed = true) : Summary("WLP")
    {
        tcpSockets.addDevice("127.0.0.2", van1);
        tcpSockets.addDevice("127.0.0.3", van2);
        versions.files[windowsDirectory() + "\\LPIPRP32.dll"] = {(1 << 16) | 2, 0};
        if (listed)
            writeWindowsFile("LPIPRP32.INI", "[DeviceInformation1]\r\nDeviceName=Van 2\r\n[AdditionalDevices]\r\n"
                                             "DeviceNames=Van 1;Van 2;\r\nDeviceParams=127.0.0.2:12321;127.0.0.3:12321;\r\n"
                                             "SerialNumbers=W1;W2;\r\n");
    }
    std::string ini(const char* key)
    {
        std::string value;
        profiles.getPrivateProfileString("DeviceInformation1", key, "", value, 256, "LPIPRP32.INI");
        return value;
    }
    void choose(int index)
    {
        QComboBox* cell = screen().adapterCell();
        cell->setCurrentIndex(index);
        emit cell->activated(index);
        QCoreApplication::sendPostedEvents(); // the choice is queued
    }
};

} // namespace

TEST(SummaryScreen, WirelessReadsTheChosenAdapterAndASecondChoiceClosesTheFirst)
{
    Wireless s;
    s.van2.setFault(WirelessFault::Silent); // connects, never answers
    frmVersion& v = s.load();
    EXPECT_EQ(v.lblAdapterName()->text(), "Wireless Linkport Information:");
    ASSERT_EQ(v.rowCount(), 7);
    EXPECT_EQ(v.tlstSummary()->topLevelItem(0)->background(1).color(), QColor(255, 255, 204));
    ASSERT_NE(v.adapterCell(), nullptr);
    EXPECT_EQ(v.adapterCell()->count(), 2);
    EXPECT_EQ(v.adapterCell()->currentText(), "Van 2 (127.0.0.3)");
    s.clock.runFor(500);
    EXPECT_EQ(s.values(1, 7), (Rows{"Van 2 (127.0.0.3)", "127.0.0.3", "W2", kNP, kNP, kNP, "1.02.0000"}));
    EXPECT_EQ(s.ini("DeviceParams"), "127.0.0.3:12321");
    EXPECT_TRUE(s.van2.isConnected());
    EXPECT_EQ(v.wireless().requestStep(), "1");
    EXPECT_TRUE(s.main->isEnabled());

    s.choose(0);
    s.clock.runFor(500);
    EXPECT_FALSE(s.van2.isConnected()) << "the old connection is closed first";
    EXPECT_EQ(s.van1.connectionCount(), 1);
    EXPECT_EQ(s.values(1, 6), (Rows{"Van 1 (127.0.0.2)", "127.0.0.2", "W1", "1.10", "01.07.12", "01.04.0007"}));
    EXPECT_EQ(s.van1.framesReceived(),
              (std::vector<Bytes>{WirelessSummaryRequest(1), WirelessSummaryRequest(2), WirelessSummaryRequest(3)}));
    EXPECT_EQ(WirelessSummaryRequest(2), (Bytes{0x5E, 0x02, 0x0D, 0x02, 0x91}));
    EXPECT_EQ(v.TCPSocket()->state(), TcpState::Closed) << "closed after the third reply";
    EXPECT_EQ(s.ini("DeviceName"), "Van 1");
    EXPECT_EQ(s.ctx.wirelessAddress, "127.0.0.2");
    EXPECT_TRUE(s.prompts.boxes().empty());
}

TEST(SummaryScreen, WirelessCancelErrorsAndAnEmptyList)
{
    {
        // Cancel while connecting: the socket is closed at once, the window
        // is free, the dialog goes (at its next dot).
        Wireless s;
        s.tcpSockets.setLatencyMs(5000);
        s.clock.postMessage([] { Summary::connecting()->cmdCancel()->click(); }, 1200);
        frmVersion& v = s.load();
        EXPECT_EQ(v.TCPSocket()->state(), TcpState::Closed);
        EXPECT_TRUE(s.main->isEnabled());
        s.clock.runFor(10000);
        EXPECT_EQ(Summary::connecting(), nullptr);
        EXPECT_EQ(s.values(4, 6), (Rows{kNP, kNP, kNP}));
        EXPECT_TRUE(s.prompts.boxes().empty());
    }
    {
        // Nobody at the address: the error box.
        Wireless s;
        s.van2.setFault(WirelessFault::RefuseConnections);
        s.load();
        EXPECT_EQ(s.prompts.boxes(),
                  (test::Boxes{{"Error# 10061\r\n" + tcpErrorDescription(10061), 48, "HVN Linkport Toolkit"}}));
        EXPECT_TRUE(s.main->isEnabled());
        EXPECT_EQ(Summary::connecting(), nullptr);
        EXPECT_EQ(s.values(4, 6), (Rows{kNP, kNP, kNP}));
    }
    {
        // A socket closed before it connected ends the wait without a word.
        Wireless s;
        s.tcpSockets.setLatencyMs(5000);
        s.clock.postMessage([&s] { s.screen().TCPSocket()->close(); }, 100);
        s.load();
        EXPECT_TRUE(s.prompts.boxes().empty());
        EXPECT_TRUE(s.main->isEnabled());
        EXPECT_EQ(Summary::connecting(), nullptr);
        EXPECT_LT(s.clock.nowMs(), 1000);
    }
    {
        Wireless s(false);
        frmVersion& v = s.load();
        ASSERT_EQ(s.prompts.prompts(),
                  Rows{"No adapters are listed!  Please go to Preferences and Add an adapter."});
        EXPECT_EQ(s.prompts.boxes()[0].style, 48);
        EXPECT_EQ(s.values(1, 7), (Rows{"", "", "", "", "", "", "1.02.0000"}));
        EXPECT_EQ(v.adapterCell()->count(), 0);
        EXPECT_TRUE(s.tcpSockets.connectAttempts.empty());
    }
}

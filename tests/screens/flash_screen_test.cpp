// The Application Flash screen inside the main window, on virtual time, with
// the adapter models in-process.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QTreeWidget>
#include <QWindow>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

#include "operations/flash_checks.h"
#include "ui/dialogs/frmDownloadProgress.h"
#include "ui/screens/frmFlash.h"
#include "ui/dialogs/frmSelectFile.h"
#include "adapters/compact/modCGP.h"
#include "modal.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "models/wireless_model.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/frmParent.h"
#include "stand_in_screen.h"
#include "core/string_table.h"
#include "support/test_context.h"

using namespace lp;
using lp::test::withModal;

namespace {

const std::string kProgramKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";
const std::string kTitle = "HVN Linkport Toolkit";
const QString kSucceeded =
    "Flash Completed Successfully!\n\nYou can now go to Toolkit, return to Flash, or Exit the program.";

// A firmware file with this header and `records` records of 16 bytes.
std::string firmware(const std::string& type, const std::string& version, const std::string& hardware,
                     size_t records = 0)
{
    const std::string file = sim::firmwareFileText(sim::pseudoRandomImage(records * 16));
    return "[Hex File Information]\r\nFirmwareVersion=" + version + "\r\nFirmwareType=" + type
           + "\r\nReleaseDate=2024-05-01\r\nHardwareVersions=" + hardware + file.substr(file.find("\r\n\r\n"));
}

QStringList column(QWidget& screen, const char* list, int column)
{
    QStringList out;
    auto* tree = screen.findChild<QTreeWidget*>(list);
    for (int i = 0; tree && i < tree->topLevelItemCount(); ++i)
        out << tree->topLevelItem(i)->text(column);
    return out;
}

// The compact adapter, telling the test when it hears the next byte.
struct WatchedCompact final : sim::SerialDevice {
    explicit WatchedCompact(sim::CompactModel& m) : model(m) {}
    void hostOpened(sim::SerialLine& line) override { model.hostOpened(line); }
    void hostClosed() override { model.hostClosed(); }
    void received(uint8_t byte, int baud) override
    {
        if (auto heard = std::exchange(onNextByte, nullptr))
            heard();
        model.received(byte, baud);
    }
    sim::CompactModel& model;
    std::function<void()> onNextByte;
};

QWidget* visibleConnectingDialog()
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == "frmConnectingDialog" && w->isVisible())
            return w;
    return nullptr;
}

struct FlashScreen : test::TestContext {
    sim::Lp2Model lp2;
    sim::Lp2InProcessDriver driver{lp2, &serialPorts, 5};
    sim::CompactModel compact;
    sim::WirelessModel wireless;
    std::unique_ptr<frmParent> main;
    QPointer<frmFlash> screen;
    int selectFileCalls = 0;
    int preferencesShown = 0;
    std::string pick; // what the select-file stand-in chooses

    explicit FlashScreen(const std::string& kind)
    {
        setRegistryText(kProgramKey, "PrevAdapter", kind);
        ctx.ports.rp1210 = &driver;
        serialPorts.addPort(5, &lp2);
        serialPorts.addPort(7, &compact);
        tcpSockets.addDevice("127.0.0.2", wireless);
        writeWindowsFile("LP2RP32.INI", sim::lp2DriverIni({.deviceParams = "COM5,9600"}));
        writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM7,DEFAULT\r\n");
        writeWindowsFile("LPIPRP32.INI", "[AdditionalDevices]\r\nDeviceNames=Shop;Yard;\r\n"
                                         "DeviceParams=127.0.0.9:12321;127.0.0.2:12321;\r\n"
                                         "SerialNumbers=S1;WLP0000001;\r\n[DeviceInformation1]\r\nDeviceName=Yard\r\n");
    }
    ~FlashScreen()
    {
        main.reset();
        test::flushPosted();
    }

    frmFlash& open(const std::string& commandLine = "")
    {
        ShellOptions options{.instanceLockPath = file("instance")};
        options.screens.preferences = [this](Context&, MainWindow&) {
            ++preferencesShown;
            return 0;
        };
        options.screens.children["Summary"] = [](Context& c, MainWindow& m) -> ChildScreen* {
            return new StandInScreen(c, m, "Summary", "frmVersion", "Summary");
        };
        options.screens.children["Application Flash"] = [this](Context& c, MainWindow& m) -> ChildScreen* {
            const auto selectFile = [this](frmFlash& s) {
                ++selectFileCalls;
                if (!pick.empty())
                    s.SetFileName(pick);
            };
            return new frmFlash(c, m, {.selectFile = selectFile});
        };
        ctx.commandLine = commandLine;
        main = std::make_unique<frmParent>(ctx, std::move(options));
        main->MDIForm_Load();
        main->SelectScreen("Application Flash");
        screen = qobject_cast<frmFlash*>(main->activeChild());
        EXPECT_NE(screen, nullptr);
        return *screen;
    }
    std::string firmwareFile(const std::string& name, const std::string& text)
    {
        test::writeFile(file(name), text);
        return file(name);
    }
    size_t commands(int16_t number)
    {
        return static_cast<size_t>(std::count(driver.core().commands.begin(), driver.core().commands.end(), number));
    }
    size_t flashCommands() { return commands(300); }
    void clickBeginFlash() { screen->findChild<QPushButton*>("cmdBeginFlash")->click(); }
    // Runs `action`; each exit/return dialog that comes is answered with
    // `button` (none: closed). Their texts.
    QStringList exitDialogs(const std::function<void()>& action, const char* button = nullptr)
    {
        QStringList texts;
        withModal<frmExitReturnDialog>(action, [&](frmExitReturnDialog& d) {
            texts << d.findChild<QLabel*>("lblMessage")->text();
            if (button)
                d.findChild<QPushButton*>(button)->click();
            else
                d.reject();
        });
        return texts;
    }
    // Begin Flash, its closing dialog answered as exitDialogs() does and
    // kept in `dialogs`; the boxes it showed.
    test::Boxes beginFlash(const char* button = nullptr)
    {
        const auto before = static_cast<std::ptrdiff_t>(prompts.boxes().size());
        dialogs = exitDialogs([this] { clickBeginFlash(); }, button);
        return {prompts.boxes().begin() + before, prompts.boxes().end()};
    }
    QStringList dialogs;
    bool beginEnabled() const { return screen->findChild<QPushButton*>("cmdBeginFlash")->isEnabled(); }
    bool selectEnabled() const { return screen->findChild<QPushButton*>("cmdSelectFile")->isEnabled(); }
    QString fileLabel() const { return screen->findChild<QLabel*>("lblFileInfo")->text(); }
};

} // namespace

TEST(FlashScreen, RowsByAdapterKind)
{
    {
        FlashScreen f("LPII SIP");
        f.lp2.config() = {.versions = {3, 1, 2, 4, 255, 255}, .serialVersion = {0x02, 0x05, 0x31}};
        frmFlash& s = f.open();
        EXPECT_EQ(f.main->windowTitle(), "HVN Linkport Toolkit - Application Firmware Flash");
        EXPECT_EQ(s.findChild<QGroupBox*>("grpLP2VersionInfo")->title(), "HVN Linkport II Information:");
        EXPECT_EQ(column(s, "tlstFlash", 0), QStringList({"Hardware Version", "Application Firmware Version",
                                                          "Boot Firmware Version",
                                                          "Application Firmware Version (Serial IP)"}));
        EXPECT_EQ(column(s, "tlstFlash", 1), QStringList({"3.1", "2.4", "Not Present", "02.05.31"}));
        EXPECT_FALSE(s.findChild<QComboBox*>("cmbWLPList")->isVisible());
        EXPECT_EQ(column(s, "tlstFileInfo", 0),
                  QStringList({"Application Firmware Version", "Supported Hardware Version", "Release Date"}));
#ifdef _WIN32
        // The toolkit's key is there: the built-in file is chosen, unread.
        EXPECT_EQ(f.selectFileCalls, 0);
        EXPECT_EQ(f.fileLabel(), "File: C:\\Program Files\\Halvorn\\Linkports\\Flash...\\Linkports\\Flash\\LP2v3i1.0.apf");
        EXPECT_EQ(column(s, "tlstFileInfo", 1), QStringList({"Not Found", "Not Found", "Not Found"}));
        EXPECT_TRUE(f.beginEnabled());
#else
        // A Windows path cannot be there: the user chooses a file instead.
        EXPECT_EQ(f.selectFileCalls, 1);
        EXPECT_EQ(f.fileLabel(), "File:");
        EXPECT_FALSE(f.beginEnabled());
#endif
        EXPECT_EQ(s.findChild<QPushButton*>("cmdSelectFile")->text(), "Select &File");
        EXPECT_EQ(s.findChild<QPushButton*>("cmdSelectFile")->toolTip(), "Select File");
        EXPECT_EQ(s.findChild<QPushButton*>("cmdBeginFlash")->text(), "&Begin Flash");
        // (The shell's own list makes this screen: the flash fault table's screen rows.)
    }
    {
        FlashScreen f("B&B SIP");
        frmFlash& s = f.open("/CLP");
        EXPECT_EQ(column(s, "tlstFlash", 0),
                  QStringList({"Hardware Version", "Application Firmware Version", "Serial Number"}));
        EXPECT_EQ(column(s, "tlstFlash", 1), QStringList({"1.10", "01.07.12", "CL05A12345"}));
        // No default file for this kind: the select-file dialog opens itself.
        EXPECT_EQ(f.selectFileCalls, 1);
        EXPECT_EQ(f.fileLabel(), "File:");
        EXPECT_FALSE(f.beginEnabled());
    }
    {
        FlashScreen f("WLP");
        frmFlash& s = f.open();
        f.clock.runFor(100);
        auto* list = s.findChild<QComboBox*>("cmbWLPList");
        EXPECT_TRUE(list->isVisibleTo(&s));
        ASSERT_EQ(list->count(), 2);
        EXPECT_EQ(list->currentText(), "Yard (127.0.0.2)");
        EXPECT_EQ(column(s, "tlstFlash", 0), QStringList({"Wireless Linkport Name", "Serial Number",
                                                          "Hardware Version", "Application Firmware Version"}));
        EXPECT_EQ(column(s, "tlstFlash", 1), QStringList({"Yard", "WLP0000001", "1.10", "01.07.12"}));
        EXPECT_EQ(s.flashState(), "3");

        f.ctx.g_intToolkitMode = -1;
        s.Initialize();
        EXPECT_EQ(f.main->windowTitle(), "Wireless Linkport Toolkit - Application Firmware Flash");
        f.clock.runFor(100);

        // Another adapter: written as the driver's choice, read over TCP; no
        // one answers there.
        f.prompts.clear();
        list->setCurrentIndex(0);
        s.cmbWLPList_Click();
        f.clock.runFor(100);
        std::string chosen;
        f.profiles.getPrivateProfileString("DeviceInformation1", "DeviceParams", "", chosen, 100, "LPIPRP32.INI");
        EXPECT_EQ(chosen.substr(0, 15), "127.0.0.9:12321");
        EXPECT_EQ(column(s, "tlstFlash", 1), QStringList({"Shop", "S1", "Not Present", "Not Present"}));
        EXPECT_EQ(f.prompts.boxes(),
                  (test::Boxes{{"Error# 10061\r\n" + tcpErrorDescription(10061), 48, kTitle}}));
        EXPECT_TRUE(f.main->menuBar()->isEnabled());
    }
}

TEST(FlashScreen, SecondGenerationFlashEndsInTheExitReturnDialog)
{
    FlashScreen f("LPII SIP");
    frmFlash& s = f.open();
    s.SetFileName(f.firmwareFile("fw.apf", firmware("Application", "1.9", "2.0,3.0")));
    EXPECT_EQ(column(s, "tlstFileInfo", 1), QStringList({"1.9", "2.0,3.0", "2024-05-01"}));
    EXPECT_TRUE(f.ctx.gbln_FileSelected);
    const size_t readsBefore = f.commands(209);

    // While the driver flashes: the progress dialog is up, the menus are
    // locked, and a second Begin Flash does nothing.
    QString progressText;
    bool menusDuring = true;
    f.driver.onCall = [&](const std::string& name) {
        frmDownloadProgress* progress = s.downloadProgress();
        if (name != "RP1210_SendCommand" || !progress || !progress->isVisible())
            return;
        progressText = progress->findChild<QLabel*>("lblUpdatingFirmware")->text();
        menusDuring = f.main->menuBar()->isEnabled();
        s.cmdBeginFlash_Click();
    };
    f.lp2.config().applicationAfterFlash = std::array<uint8_t, 2>{1, 9};
    // Read back after the flash, and once more when "Flash" prepared the
    // screen again; the adapter runs what was flashed, so nothing warns.
    EXPECT_EQ(f.beginFlash("cmdFlash"), test::Boxes{});
    EXPECT_EQ(f.dialogs, QStringList{kSucceeded});
    EXPECT_EQ(progressText, "Updating HVN Linkport II Firmware...");
    EXPECT_FALSE(menusDuring);
    EXPECT_EQ(f.flashCommands(), 1u);
    EXPECT_EQ(f.lp2.lastFlashValue(), 2);
    EXPECT_EQ(s.downloadProgress(), nullptr);
    EXPECT_TRUE(f.main->menuBar()->isEnabled());
    EXPECT_FALSE(f.driver.core().clientOpen(0));
    EXPECT_EQ(f.commands(209), readsBefore + 2);
    EXPECT_EQ(s.adapterRow(2), "1.9");

    // An adapter that still reports another version after a flash the
    // driver called good: a warning before the closing dialog.
    f.lp2.config().applicationAfterFlash = std::array<uint8_t, 2>{1, 7};
    EXPECT_EQ(f.beginFlash(), (test::Boxes{{"The adapter reports application firmware version 1.7 after the "
                                            "flash, not the file's version 1.9.\r\nFlash the file again before "
                                            "the adapter is used.", MsgBoxStyle::Exclamation, kTitle}}));
    EXPECT_EQ(f.dialogs, QStringList{kSucceeded});
    EXPECT_EQ(s.adapterRow(2), "1.7");
}

TEST(FlashScreen, SecondGenerationFailuresAndRefusals)
{
    FlashScreen f("LPII SIP");
    frmFlash& s = f.open();
    const std::string fw = f.firmwareFile("fw.apf", firmware("Application", "1.9", "3.0"));
    s.SetFileName(fw);
    f.lp2.config().flashAccepted = false;
    // The driver's text keeps its terminating NUL.
    const std::string changeModeFailed =
        LoadResString(109) + "\r\n\r\nError Code # 150:  \r\nChange mode failed" + '\0';
    EXPECT_EQ(f.beginFlash(), (test::Boxes{{changeModeFailed, MsgBoxStyle::Exclamation, "HVN Linkport II"}}));
    EXPECT_TRUE(f.dialogs.isEmpty());
    EXPECT_EQ(f.main->windowTitle(), "HVN Linkport Toolkit - Application Firmware Flash");
    EXPECT_TRUE(f.selectEnabled());
    // The file is still the chosen one: another try needs no new choice.
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.beginEnabled());

    // Older file, answered No: Select File again, nothing sent.
    s.SetFileName(f.firmwareFile("old.apf", firmware("Application", "1.2", "3.0")));
    f.prompts.answer(MsgBoxResult::No);
    EXPECT_EQ(f.beginFlash(),
              (test::Boxes{{LoadResString(105), MsgBoxStyle::YesNo + MsgBoxStyle::Question, kTitle}}));
    EXPECT_EQ(f.flashCommands(), 1u);
    EXPECT_FALSE(f.driver.core().clientOpen(0)); // the client opened for the flash is closed again
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.beginEnabled());

    // A parallel port: refused before anything is sent.
    s.SetFileName(fw);
    f.writeWindowsFile("LP2RP32.INI", sim::lp2DriverIni({.deviceParams = "LPT1"}));
    EXPECT_EQ(f.beginFlash(), (test::Boxes{{LptRefusalText(), MsgBoxStyle::Exclamation, kTitle}}));
    EXPECT_EQ(f.flashCommands(), 1u);

    // With the wireless flag set as well, the second-generation flash alone
    // runs (the flags are tested in that order).
    f.writeWindowsFile("LP2RP32.INI", sim::lp2DriverIni({.deviceParams = "COM5,9600"}));
    f.lp2.config().flashAccepted = true;
    s.SetFileName(fw);
    f.ctx.g_blnWLPSelected = true;
    f.beginFlash();
    EXPECT_EQ(f.flashCommands(), 2u);
    EXPECT_TRUE(f.tcpSockets.connectAttempts.empty());
}

TEST(FlashScreen, CompactAndWirelessFlashesStartFromBeginFlash)
{
    {
        // A dialog is up before the adapter hears a byte, while the versions
        // are read and while the flash runs.
        FlashScreen f("B&B SIP");
        WatchedCompact compact(f.compact);
        f.serialPorts.addPort(7, &compact);
        f.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM7,N9\r\n");
        f.pick = f.firmwareFile("cgp.hex", firmware("Firmware", "1.8", "1.10", 12));
        bool dialogUp = false;
        compact.onNextByte = [&] { dialogUp = visibleConnectingDialog(); };
        frmFlash& s = f.open("/CLP");
        EXPECT_TRUE(std::exchange(dialogUp, false));
        const std::string badRate = "Invalid baud rate... Flash cannot continue!";
        EXPECT_EQ(f.beginFlash(), (test::Boxes{{badRate, MsgBoxStyle::Critical, kTitle}}));
        EXPECT_EQ(f.compact.startsReceived, 0);

        f.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM7,DEFAULT\r\n");
        s.SetFileName(f.pick);
        compact.onNextByte = [&] {
            frmDownloadProgress* p = s.downloadProgress();
            dialogUp = p && p->isVisible() && p->windowHandle() && p->windowHandle()->isExposed();
        };
        f.clickBeginFlash();
        ASSERT_TRUE(s.flashRunning());
        ASSERT_NE(s.downloadProgress(), nullptr);
        EXPECT_EQ(s.downloadProgress()->findChild<QLabel*>("lblUpdatingFirmware")->text(),
                  "Updating Compact Linkport Firmware...");
        EXPECT_TRUE(s.tmrProgramDevice()->enabled());
        EXPECT_FALSE(f.main->menuBar()->isEnabled());
        s.cmdBeginFlash_Click(); // ignored while the records go out

        // The records go out on timer ticks; "Toolkit" in the dialog at the
        // end leaves for the Summary and unloads this screen safely.
        EXPECT_EQ(f.exitDialogs([&] { f.clock.runFor(30000); }, "cmdToolkit"), QStringList{kSucceeded});
        EXPECT_TRUE(dialogUp);
        EXPECT_EQ(f.compact.recordsReceived, 13);
        EXPECT_EQ(f.compact.startsReceived, 1);
        EXPECT_TRUE(f.main->menuBar()->isEnabled());
        EXPECT_EQ(s.downloadProgress(), nullptr);
        test::flushPosted();
        EXPECT_TRUE(f.screen.isNull());
        EXPECT_EQ(f.main->activeChild()->Tag(), "Summary");
    }
    {
        FlashScreen f("WLP");
        f.pick = f.firmwareFile("wlp.hex", firmware("Wireless Firmware", "1.8", "1.10", 4));
        frmFlash& s = f.open();
        f.clock.runFor(100);
        ASSERT_TRUE(f.beginEnabled());
        const size_t attempts = f.tcpSockets.connectAttempts.size();
        f.clickBeginFlash();
        ASSERT_EQ(f.tcpSockets.connectAttempts.size(), attempts + 1);
        EXPECT_EQ(f.tcpSockets.connectAttempts.back(), "127.0.0.2:12321");
        EXPECT_TRUE(s.flashRunning());
        EXPECT_FALSE(f.main->menuBar()->isEnabled());
        s.cmdBeginFlash_Click();
        s.cmbWLPList_Click(); // the socket is the flash's now
        EXPECT_EQ(f.tcpSockets.connectAttempts.size(), attempts + 1);
    }
}

TEST(FlashScreen, ReturningChecksTheChosenFileAgainstTheKind)
{
    FlashScreen f("B&B SIP");
    frmFlash& s = f.open("/CLP"); // nothing chosen: the dialog opened once
    const std::string hex = f.firmwareFile("cgp.hex", firmware("Firmware", "1.8", "1.10"));
    s.SetFileName(hex);
    s.Initialize();
    EXPECT_EQ(f.selectFileCalls, 1);
    EXPECT_EQ(f.fileLabel().toStdString(), "File: " + ShortenFilePath(hex));
    EXPECT_TRUE(f.beginEnabled());

    s.SetFileName(f.firmwareFile("odd.Hex", firmware("Firmware", "1.8", "1.10")));
    s.Initialize();
    EXPECT_EQ(f.selectFileCalls, 2);
    EXPECT_FALSE(f.ctx.gbln_FileSelected);
    EXPECT_EQ(f.fileLabel(), "File:");
    EXPECT_FALSE(f.beginEnabled());

    // An adapter whose versions could not be read: the checks are skipped.
    f.compact.setFault(sim::CompactModel::Fault::Silence);
    f.pick = f.firmwareFile("other.hex", firmware("Firmware", "0.1", "9.9", 2));
    s.Initialize();
    EXPECT_EQ(column(s, "tlstFlash", 1), QStringList({"Not Present", "Not Present", "Not Present"}));
    // No 104 for the list that does not hold the adapter, but nothing goes
    // to an adapter nobody could read without the user's yes.
    f.prompts.answer(MsgBoxResult::No);
    const sim::PromptRecord noVersion{NoHardwareVersionText(), MsgBoxStyle::YesNoCancel + MsgBoxStyle::Question,
                                      kTitle};
    EXPECT_EQ(f.beginFlash(), test::Boxes{noVersion});
    EXPECT_EQ(f.preferencesShown, 0);
    EXPECT_EQ(f.compact.mode(), sim::CompactModel::Mode::Application);
    // Yes: the flash itself runs and finds no loader.
    EXPECT_EQ(f.beginFlash(), (test::Boxes{noVersion, {CGPErrorText(2), MsgBoxStyle::Exclamation, kTitle}}));
    EXPECT_EQ(f.preferencesShown, 1);
    EXPECT_FALSE(s.flashRunning());
    EXPECT_TRUE(f.main->menuBar()->isEnabled());
}

TEST(SelectFileDialog, ListsTheKindsFilesShowsTheHeaderAndRefuses)
{
    test::TestContext t;
    t.ctx.g_strRegistryKey = kProgramKey;
    // The dialog names files with the system's separators (\ on Windows).
    const std::string folder = std::filesystem::path(t.file("firmware")).make_preferred().string();
    std::filesystem::create_directories(folder + "/older");
    test::writeFile(folder + "/b.APF", firmware("Application", "2.1", "3.0"));
    test::writeFile(folder + "/a.apf", firmware("Application", "2.0", "2.0,3.0"));
    test::writeFile(folder + "/c.Apf", firmware("Application", "2.0", "3.0"));
    test::writeFile(folder + "/d.hex", firmware("Firmware", "1.0", "1.10"));
    test::writeFile(folder + "/notes.apf", "[Hex File Information]\r\nReleaseDate=today\r\n");
    t.setRegistryText(LoadResString(800), "FlashDir", folder);

    std::vector<std::string> chosen;
    frmSelectFile dialog(t.ctx, FlashKind::LP2, [&](const std::string& path) { chosen.push_back(path); }, nullptr);
    EXPECT_EQ(dialog.folder().toStdString(), folder);
    auto* files = dialog.findChild<QListWidget*>("lstFiles");
    QStringList names;
    for (int i = 0; i < files->count(); ++i)
        names << files->item(i)->text();
    EXPECT_EQ(names, QStringList({"a.apf", "b.APF", "notes.apf"}));
    EXPECT_EQ(dialog.findChild<QListWidget*>("lstFolders")->item(1)->text(), "older");
    // Every caption with a mnemonic leads to its control (Alt+N, Alt+T, ...).
    for (QLabel* label : dialog.findChildren<QLabel*>())
        EXPECT_TRUE(!label->text().contains('&') || label->buddy()) << label->text().toStdString();

    files->setCurrentRow(0);
    EXPECT_EQ(dialog.findChild<QLabel*>("lblFirmwareVersionValue")->text(), "2.0");
    EXPECT_EQ(dialog.findChild<QLabel*>("lblFirmwareTypeValue")->text(), "Application");
    EXPECT_EQ(dialog.findChild<QLabel*>("lblHardwareVersionsValue")->text(), "2.0,3.0");
    EXPECT_EQ(dialog.findChild<QLabel*>("lblReleaseDateValue")->text(), "2024-05-01");

    const auto ok = [](frmSelectFile& d, const QString& typed) {
        d.findChild<QLineEdit*>("txtFileName")->setText(typed);
        d.cmdOK_Click();
    };
    ok(dialog, "");
    ok(dialog, "notes.apf");
    ok(dialog, "d.hex");
    EXPECT_TRUE(chosen.empty());
    EXPECT_NE(dialog.result(), QDialog::Accepted);

    ok(dialog, "a.apf");
    ASSERT_EQ(chosen.size(), 1u);
    EXPECT_EQ(chosen[0], (std::filesystem::path(folder) / "a.apf").string());
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(t.registryText(kProgramKey, "LastFlashDir"), folder);

    frmSelectFile compact(t.ctx, FlashKind::CGP, [&](const std::string& path) { chosen.push_back(path); }, nullptr);
    ok(compact, "a.apf");
    const std::vector<std::string> refusals{LoadResString(106), LoadResString(107), LoadResString(108),
                                            LoadResString(114)};
    EXPECT_EQ(t.prompts.prompts(), refusals);
    EXPECT_EQ(compact.findChild<QListWidget*>("lstFiles")->count(), 1);
}

TEST(FlashScreen, CancelInTheConnectingDialogEndsTheConnectionForGood)
{
    FlashScreen f("WLP");
    // "Shop" has no adapter: its refusal ("Error# 10061") would come after a
    // round trip of 20 s, long after the Cancel.
    f.writeWindowsFile("LPIPRP32.INI", "[AdditionalDevices]\r\nDeviceNames=Shop;\r\nDeviceParams=127.0.0.9:12321;\r\n"
                                       "SerialNumbers=S1;\r\n[DeviceInformation1]\r\nDeviceName=Shop\r\n");
    f.tcpSockets.setLatencyMs(10000);
    f.pick = f.firmwareFile("wlp.hex", firmware("Wireless Firmware", "1.8", "1.10", 4));
    bool clicked = false;
    const auto cancelInOneSecond = [&] {
        f.clock.postMessage([&] {
            QWidget* dialog = visibleConnectingDialog();
            clicked = dialog != nullptr;
            if (dialog)
                dialog->findChild<QPushButton*>("cmdCancel")->click();
        }, 1000);
    };
    cancelInOneSecond();
    frmFlash& s = f.open(); // the version read on entering waits for the connection
    EXPECT_TRUE(clicked);
    EXPECT_LT(f.clock.nowMs(), 2000);
    EXPECT_EQ(f.selectFileCalls, 1); // the screen went on at once
    f.clock.runFor(60000); // nothing later: the one box at the end is the question below
    EXPECT_EQ(column(s, "tlstFlash", 1), QStringList({"Shop", "S1", "Not Present", "Not Present"}));

    // Begin Flash: the connection's wait shows the dialog too, not a busy window.
    f.prompts.answer(MsgBoxResult::Yes); // flash an adapter that gave no versions
    clicked = false;
    cancelInOneSecond();
    f.clickBeginFlash();
    EXPECT_TRUE(clicked);
    EXPECT_FALSE(s.flashRunning());
    f.clock.runFor(60000);
    test::flushPosted();
    EXPECT_EQ(f.prompts.prompts(), std::vector<std::string>{NoHardwareVersionText()});
    EXPECT_TRUE(f.main->menuBar()->isEnabled());
    EXPECT_TRUE(f.beginEnabled());
    EXPECT_TRUE(f.log.contains(LogSubsystem::Flash, "cancelled by the user while connecting"));
}

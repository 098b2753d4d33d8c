// A second-generation flash for real: main window, select-file dialog and the
// test driver library flashing the adapter model behind a pseudo-terminal.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "ui/screens/frmFlash.h"
#include "ui/dialogs/frmSelectFile.h"
#include "models/lp2_model.h"
#include "platform/ini_profile_files.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_serial_port.h"
#include "platform/reg_file_store.h"
#include "platform/rp1210_library.h"
#include "doubles/memory_logger.h"
#include "qt_support/modal.h"
#include "qt_support/pty_serial_rig.h"
#include "doubles/scripted_prompts.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/frmParent.h"
#include "support/require.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::sim;

namespace {

std::string apfFile()
{
    return "[Hex File Information]\r\nFirmwareVersion=2.5\r\nFirmwareType=Application\r\n"
           "ReleaseDate=2024-06-30\r\nHardwareVersions=2.0,3.1\r\n\r\n"
           ":100000000102030405060708090A0B0C0D0E0F1068\r\n:00000001FF\r\n";
}

} // namespace

TEST(Lp2FlashEndToEnd, ApplicationFlashThroughTheDriverLibraryEndsInTheExitReturnDialog)
{
    test::TempDir dir;
    const std::string windows = dir.file("windows");
    std::filesystem::create_directories(windows);

    Lp2Model adapter;
    adapter.config().versions = {3, 1, 2, 4, 1, 2};
    adapter.config().applicationAfterFlash = std::array<uint8_t, 2>{2, 5};
    PtyBridge bridge(adapter);
    test::PtyComPort com5(bridge, dir.path(), 5);
    LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
    ASSERT_TRUE(com5.linked) << com5.error;

    std::filesystem::copy_file(LP_TEST_DRIVER_LIBRARY, windows + "/libLP2RP32.so");
    test::writeFile(windows + "/LP2SIM.INI", "[Adapter]\r\nPort=COM5\r\n");
    test::writeFile(windows + "/LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
    const std::string firmware = dir.file("flash/LP2v3i2.5.apf");
    std::filesystem::create_directories(dir.file("flash"));
    test::writeFile(firmware, apfFile());

    QtHost host;
    IniProfileFiles profiles{windows};
    RegFileStore registry{dir.file("registry.reg")};
    ScriptedPrompts prompts;
    MemoryLogger log;
    QtSerialPorts serialPorts{&log};
    Rp1210Library library{"LP2RP32", [&profiles] { return profiles.windowsDirectory(); }, &log};
    Context ctx;
    ctx.ports = {.host = &host, .prompts = &prompts, .profiles = &profiles, .registry = &registry, .log = &log,
                 .serialPorts = &serialPorts, .rp1210 = &library};
    {
        HKEY key = 0;
        ASSERT_EQ(registry.regCreateKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", key),
                  ERROR_SUCCESS);
        const std::string kind("LPII SIP\0", 9);
        registry.regSetValueEx(key, "PrevAdapter", REG_SZ, reinterpret_cast<const uint8_t*>(kind.data()), 9);
        registry.regCloseKey(key);
    }

    ctx.commandLine = "/SIPUpgrade";
    auto main = std::make_unique<frmParent>(ctx, ShellOptions{.instanceLockPath = dir.file("instance")});
    // No file is chosen yet (the built-in Windows path is not offered here):
    // the flash screen opens the select-file dialog by itself.
    test::withModal<frmSelectFile>(
        [&] { main->MDIForm_Load(); },
        [&](frmSelectFile& dialog) {
            dialog.findChild<QLineEdit*>("txtFileName")->setText(QString::fromStdString(firmware));
            dialog.cmdOK_Click();
        },
        20);
    auto* screen = qobject_cast<frmFlash*>(main->activeChild());
    ASSERT_NE(screen, nullptr) << "the first screen is the flash screen";
    EXPECT_EQ(screen->adapterRow(1), "3.1") << library.lastError();
    EXPECT_EQ(screen->adapterRow(2), "2.4");
    EXPECT_EQ(screen->adapterRow(4), "01.07.12"); // the serial query, through COM5
    EXPECT_EQ(screen->fileRow(2), "2.0,3.1");

    QString message;
    test::withModal<frmExitReturnDialog>(
        [&] { screen->findChild<QPushButton*>("cmdBeginFlash")->click(); },
        [&](frmExitReturnDialog& dialog) {
            message = dialog.findChild<QLabel*>("lblMessage")->text();
            dialog.reject();
        },
        20);
    EXPECT_EQ(message.toStdString(), "Flash Completed Successfully!\n\nYou can now go to Toolkit, return to Flash, or "
                                     "Exit the program.");
    EXPECT_TRUE(prompts.boxes().empty()) << (prompts.boxes().empty() ? "" : prompts.boxes()[0].prompt);
    std::optional<uint16_t> flashed;
    bridge.scheduler().call([&] { flashed = adapter.lastFlashValue(); });
    EXPECT_EQ(flashed, 2);
    EXPECT_EQ(screen->downloadProgress(), nullptr);
}

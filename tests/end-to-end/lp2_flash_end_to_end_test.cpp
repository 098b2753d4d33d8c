// A second-generation flash for real: main window, select-file dialog and the
// test driver library flashing the adapter model behind a pseudo-terminal.
#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <filesystem>
#include <memory>
#include <string>

#include "models/lp2_model.h"
#include "platform/reg_file_store.h"
#include "platform/rp1210_library.h"
#include "qt_support/modal.h"
#include "qt_support/pty_serial_rig.h"
#include "settings/modRegistry.h"
#include "support/require.h"
#include "support/temp_dir.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/dialogs/frmSelectFile.h"
#include "ui/frmParent.h"
#include "ui/screens/frmFlash.h"

using namespace lp;
using namespace lp::sim;

TEST(Lp2FlashEndToEnd, ApplicationFlashThroughTheDriverLibraryEndsInTheExitReturnDialog)
{
    test::TempDir dir;
    const std::string windows = dir.file("windows");
    std::filesystem::create_directories(windows);

    Lp2Model adapter({.versions = {3, 1, 2, 4, 1, 2}, .applicationAfterFlash = std::array<uint8_t, 2>{2, 5}});
    PtyBridge bridge(adapter);
    test::PtyComPort com5(bridge, dir.path(), 5);
    LP_REQUIRE(!com5.noPty, "a pseudo-terminal: " << com5.error);
    ASSERT_TRUE(com5.linked) << com5.error;

    std::filesystem::copy_file(LP_TEST_DRIVER_LIBRARY, windows + "/libLP2RP32.so");
    test::writeFile(windows + "/LP2SIM.INI", "[Adapter]\r\nPort=COM5\r\n");
    test::writeFile(windows + "/LP2RP32.INI", lp2DriverIni({.deviceParams = "COM5,9600"}));
    const std::string firmware = dir.file("LP2v3i2.5.apf");
    test::writeFile(firmware, "[Hex File Information]\r\nFirmwareVersion=2.5\r\nFirmwareType=Application\r\n"
                              "ReleaseDate=2024-06-30\r\nHardwareVersions=2.0,3.1\r\n\r\n"
                              ":100000000102030405060708090A0B0C0D0E0F1068\r\n:00000001FF\r\n");

    test::QtSerialContext real(windows);
    RegFileStore registry{dir.file("registry.reg")};
    Rp1210Library library{"LP2RP32", [&windows] { return windows; }, &real.log};
    Context& ctx = real.ctx;
    ctx.ports.registry = &registry;
    ctx.ports.rp1210 = &library;
    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit", "PrevAdapter",
                  "LPII SIP");
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

    std::string message;
    test::withModal<frmExitReturnDialog>(
        [&] { screen->findChild<QPushButton*>("cmdBeginFlash")->click(); },
        [&](frmExitReturnDialog& dialog) {
            message = dialog.findChild<QLabel*>("lblMessage")->text().toStdString();
            dialog.reject();
        },
        20);
    EXPECT_EQ(message, "Flash Completed Successfully!\n\nYou can now go to Toolkit, return to Flash, or "
                       "Exit the program.");
    EXPECT_EQ(real.prompts.prompts(), std::vector<std::string>{});
    std::optional<uint16_t> flashed;
    bridge.scheduler().call([&] { flashed = adapter.lastFlashValue(); });
    EXPECT_EQ(flashed, 2);
}

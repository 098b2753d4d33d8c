#pragma once
// The Application Flash screen: what the adapter holds now, what the chosen
// firmware file offers, the checks between the two, and the hand-over to
// the flash of the adapter kind (one driver command for the
// second-generation adapter, the compact serial flash, the wireless flash).
//
// The screen keeps to widgets and the order of things; the decisions live in
// flash_checks.h and select_file.h, the flashes in compact_flash.h and
// wireless_flash.h (which also reads a wireless adapter's versions).
//
// While a flash runs the main window's menus and toolbar are locked, so no
// screen change can cut it short; an unload that comes anyway (the
// exit/return dialog's Toolkit, the program closing) waits until the
// handler that runs the flash has returned.
#include <QPointer>

#include <functional>
#include <memory>
#include <string>

#include "operations/flash_checks.h"
#include "ui/dialogs/frmConnectingDialog.h"
#include "ui/dialogs/frmDownloadProgress.h"
#include "ports/host.h"
#include "ports/serial_port.h"
#include "ports/tcp_socket.h"
#include "ui/child_screen.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace lp {

class FlashSession;
struct FlashAdapterValues;
struct FlashAttempt;
class frmFlash;

struct FlashScreenOptions {
    // Opens the select-file dialog modally; by default frmSelectFile, which
    // calls SetFileName with the file the user chose.
    std::function<void(frmFlash&)> selectFile;
};

class frmFlash : public ChildScreen {
    Q_OBJECT
public:
    frmFlash(Context& ctx, MainWindow& mainWindow, FlashScreenOptions options = {});
    ~frmFlash() override;

    // The shell's initialisation runs Initialize.
    void initialise() override { Initialize(); }

    // The screen's entry: titles, lists laid out for the adapter kind, the
    // adapter's values read, the selected file refreshed.
    void Initialize();
    // The screen's exit: a running flash is ended, and the serial port and
    // the socket are closed.
    void Disconnect();
    // Makes `path` the selected file and shows its header.
    void SetFileName(const std::string& path);
    // The pre-flash checks; true means go on. A refused file enables Select
    // File again.
    bool gbln_FlashVerificationChecks();

    // Events.
    void cmbWLPList_Click();
    void cmdSelectFile_Click();
    void cmdBeginFlash_Click();

    // What a flash or a test looks at. A wireless version read counts as
    // running: its rows are what the checks compare.
    bool flashRunning() const;
    std::string flashState() const;
    // Row values (1-based) of tlstFlash and tlstFileInfo.
    std::string adapterRow(int row) const;
    std::string fileRow(int row) const;
    SerialPort* Connection() const { return Connection_.get(); }
    TcpSocket* TCPSocket() const { return TCPSocket_.get(); }
    HostTimer* tmrProgramDevice() const { return tmrProgramDevice_.get(); }
    HostTimer* tmrWLPHardFlash() const { return tmrWLPHardFlash_.get(); }
    frmDownloadProgress* downloadProgress() const;

    // The progress dialog as the flashes drive it.
    void showProgressDialog();
    void unloadProgressDialog();
    void setProgress(const FlashProgress& progress);
    // The Connecting dialog over a wait on the adapter that may take long,
    // named for `adapterName` (else the adapter row's name). Its Cancel,
    // shown for the wireless adapter only, ends a connection's wait.
    void beginConnectionWait(const std::string& adapterName = {});
    void endConnectionWait();
    frmConnectingDialog* connectingDialog() const { return connecting_.data(); }
    // The exit/return dialog with `text`, modal over the main window.
    void showExitReturnDialog(const std::string& text);
    // Select File enabled, nothing running: another file and another try.
    void returnToReadyState();
    // The main window's menus and toolbar, so that no screen change cuts a
    // flash or a connection wait short. Nested calls count.
    void setMainWindowEnabled(bool enabled);

protected:
    bool event(QEvent* event) override;

private:
    class View;
    // Holds the screen while a handler runs: an unload that comes meanwhile
    // (the exit/return dialog's Toolkit, the window closing in a wait) is
    // carried out once the handler is done.
    class Busy;

    void Form_Load();
    void setTitles();
    void layOutLists();
    void ShowLP2Versions();
    void ShowCGPVersions();
    void ShowWLPList();
    void RefreshSelectedFile();
    void SelectDefaultFile();
    void clearFileInfo();
    void BeginFlashForAdapterKind();
    // The adapter's values as the rows show them, for the checks and the log.
    FlashAdapterValues shownValues() const;
    // The attempt is over: a read-back that does not match is a warning.
    void flashEnded(const FlashAttempt& attempt);
    void offerAnotherAttempt();

    void setAdapterRow(int row, const std::string& value);
    void setFileRow(int row, const std::string& value);
    void setPointer(int pointer);
    int msgBox(const std::string& text, int style);
    void log(const std::string& text);

    FlashScreenOptions options_;
    FlashKind kind_ = FlashKind::None;
    int pointer_ = 0;
    int lockDepth_ = 0;
    int busyDepth_ = 0;
    bool unloadPending_ = false;
    bool destroying_ = false;

    QGroupBox* grpLP2VersionInfo_ = nullptr;
    QComboBox* cmbWLPList_ = nullptr;
    QTreeWidget* tlstFlash_ = nullptr;
    QLabel* lblFileInfo_ = nullptr;
    QTreeWidget* tlstFileInfo_ = nullptr;
    QPushButton* cmdSelectFile_ = nullptr;
    QPushButton* cmdBeginFlash_ = nullptr;
    // Owned by the main window (it centres there); gone with it.
    QPointer<frmDownloadProgress> progress_;
    FlashProgress lastProgress_;
    QPointer<frmConnectingDialog> connecting_;

    // Declared before the flashes that use them, so they go after them.
    std::unique_ptr<SerialPort> Connection_;
    std::unique_ptr<lp::TcpSocket> TCPSocket_;
    std::unique_ptr<HostTimer> tmrProgramDevice_;
    std::unique_ptr<HostTimer> tmrWLPHardFlash_;
    std::unique_ptr<View> view_;
    std::unique_ptr<FlashSession> session_;
};

} // namespace lp

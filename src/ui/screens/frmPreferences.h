#pragma once
// The Preferences screen: a modal dialog in which the technician chooses the
// interface device the edition offers, the serial port of the second-
// generation adapter, the port and rate of the compact adapter, and (through
// the wireless picker) the wireless adapter. What is read and written lives
// in operations/preferences.h.
#include <QDialog>

#include <functional>

#include "core/context.h"
#include "operations/preferences.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;

namespace lp {

class MainWindow;

// Opens the wireless picker modally over `owner`; QDialog::Accepted after
// the user selected an adapter.
using WirelessPickerCall = std::function<int(Context&, QWidget*)>;

class frmPreferences : public QDialog {
    Q_OBJECT
public:
    // Reads the stored choices and lists the ports at once (the form's load).
    frmPreferences(Context& ctx, QWidget* parent, WirelessPickerCall picker = {}, Preferences model = {});

    // The entry point of the main window: shows the dialog and, after OK,
    // returns to the screen named by the active screen's tag, or to Summary
    // when no screen is open yet (Preferences at start-up). The result is
    // the dialog's.
    static int ShowPreferences(Context& ctx, MainWindow& mainWindow, WirelessPickerCall picker = {});

    const Preferences& preferences() const { return model_; }

    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdRefresh_Click();
    void cmdWirelessAdapters_Click();

private:
    void connectControls();
    void fillDeviceKinds();
    void fillPorts();
    void showPaneOfKind();
    void keepWidestPaneWidth();
    void showWirelessAdapter();
    void refuse(const std::string& message);

    Context& ctx_;
    Preferences model_;
    WirelessPickerCall picker_;
    bool filling_ = false;

    QComboBox* cmbDeviceKind = nullptr;
    QGroupBox* fraLP2 = nullptr;
    QComboBox* cmbLP2Port = nullptr;
    QGroupBox* fraCompact = nullptr;
    QComboBox* cmbCompactPort = nullptr;
    QComboBox* cmbCompactRate = nullptr;
    QGroupBox* fraWireless = nullptr;
    QLabel* lblWirelessAdapter = nullptr;
    QPushButton* cmdWirelessAdapters = nullptr;
    QPushButton* cmdRefresh = nullptr;
    QPushButton* cmdOK = nullptr;
    QPushButton* cmdCancel = nullptr;
};

} // namespace lp

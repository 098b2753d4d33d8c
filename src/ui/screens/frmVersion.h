#pragma once
// The Summary screen: one row per item the adapter of the current device
// kind can tell (versions, serial number, network address, the PC driver's
// version), read afresh every time the screen is initialised. The reading
// itself is in summary_reading.h; this is its layout.
#include <QComboBox>
#include <QPointer>

#include <memory>
#include <string>

#include "operations/summary_reading.h"
#include "ui/child_screen.h"

class QLabel;
class QTreeWidget;

namespace lp {

class frmConnectingDialog;

class frmVersion : public ChildScreen, private SummaryView {
    Q_OBJECT
public:
    frmVersion(Context& ctx, MainWindow& mainWindow);
    ~frmVersion() override;

    // The main window's "initialise": Initialize.
    void initialise() override { Initialize(); }

    void Initialize();
    void m_SetupForm();
    void cmbAdapterList_Click();

    QLabel* lblAdapterName() const { return lblAdapterName_; }
    QTreeWidget* tlstSummary() const { return tlstSummary_; }
    QComboBox* cmbAdapterList() const { return cmbAdapterList_; }
    // The drop-down in row 1's value cell (wireless layout only).
    QComboBox* adapterCell() const { return adapterCell_; }
    TcpSocket* TCPSocket() const { return wireless_->TCPSocket(); }
    const WirelessSummaryReader& wireless() const { return *wireless_; }

    std::string rowValue(int row) const override;
    std::string rowCaption(int row) const;
    int rowCount() const;

private:
    void setUpColumns();
    void addRow(const std::string& caption);
    void readWireless();

    // SummaryView
    void setRowValue(int row, const std::string& value) override;
    void setMainWindowEnabled(bool enabled) override;
    void showConnectingDialog(const std::string& adapterName) override;
    void unloadConnectingDialog() override;
    void showAdapterState(const std::string& text) override;

    QLabel* lblAdapterName_ = nullptr;
    QTreeWidget* tlstSummary_ = nullptr;
    QComboBox* cmbAdapterList_ = nullptr;
    QPointer<QComboBox> adapterCell_;
    std::unique_ptr<SerialPort> Connection_;
    std::unique_ptr<WirelessSummaryReader> wireless_;
    QPointer<frmConnectingDialog> connecting_;
    bool mainDisabled_ = false;
};

} // namespace lp

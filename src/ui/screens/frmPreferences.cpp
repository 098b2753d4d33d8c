#include "ui/screens/frmPreferences.h"

#include <algorithm>

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/dialogs/frmWirelessPickerDialog.h"
#include "ports/prompts.h"
#include "ui/child_screen.h"
#include "ui/main_window.h"
#include "ui/res_picture.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }
std::string ss(const QVariant& v) { return v.toString().toStdString(); }

const char* const kWireless = "WLP";

// Selects the item whose data is `value`; the first one when none is.
void selectData(QComboBox* combo, const std::string& value)
{
    const int index = combo->findData(qs(value));
    combo->setCurrentIndex(index >= 0 ? index : (combo->count() > 0 ? 0 : -1));
}

} // namespace

frmPreferences::frmPreferences(Context& ctx, QWidget* parent, WirelessPickerCall picker, Preferences model)
    : QDialog(parent), ctx_(ctx), model_(std::move(model)), picker_(std::move(picker))
{
    setObjectName("frmPreferences");
    setProperty("Tag", ScreenKey::Preferences);
    setWindowTitle("Preferences");
    setWindowIcon(resIcon(ResPictureId::AppIcon, ResPictureKind::Icon));
    if (!picker_)
        picker_ = [](Context& c, QWidget* owner) { return frmWirelessPickerDialog::showPicker(c, owner); };

    cmbDeviceKind = new QComboBox(this);
    cmbDeviceKind->setObjectName("cmbDeviceKind");
    auto* deviceLabel = new QLabel("&Interface device:", this);
    deviceLabel->setBuddy(cmbDeviceKind);

    fraLP2 = new QGroupBox(qs(DeviceKindName("LPII SIP")), this);
    fraLP2->setObjectName("fraLP2");
    cmbLP2Port = new QComboBox(fraLP2);
    cmbLP2Port->setObjectName("cmbLP2Port");
    auto* lp2Form = new QFormLayout(fraLP2);
    lp2Form->addRow("Serial &port:", cmbLP2Port);

    fraCompact = new QGroupBox(qs(DeviceKindName("B&B SIP")), this);
    fraCompact->setObjectName("fraCompact");
    cmbCompactPort = new QComboBox(fraCompact);
    cmbCompactPort->setObjectName("cmbCompactPort");
    cmbCompactRate = new QComboBox(fraCompact);
    cmbCompactRate->setObjectName("cmbCompactRate");
    auto* compactForm = new QFormLayout(fraCompact);
    compactForm->addRow("Serial p&ort:", cmbCompactPort);
    compactForm->addRow("&Baud rate:", cmbCompactRate);

    fraWireless = new QGroupBox(qs(DeviceKindName(kWireless)), this);
    fraWireless->setObjectName("fraWireless");
    lblWirelessAdapter = new QLabel(fraWireless);
    lblWirelessAdapter->setObjectName("lblWirelessAdapter");
    lblWirelessAdapter->setWordWrap(true);
    cmdWirelessAdapters = new QPushButton("&Wireless Adapters...", fraWireless);
    cmdWirelessAdapters->setObjectName("cmdWirelessAdapters");
    cmdWirelessAdapters->setAutoDefault(false);
    auto* wirelessForm = new QFormLayout(fraWireless);
    wirelessForm->addRow("Adapter in use:", lblWirelessAdapter);
    wirelessForm->addRow(QString(), cmdWirelessAdapters);

    cmdRefresh = new QPushButton("&Refresh Ports", this);
    cmdRefresh->setObjectName("cmdRefresh");
    cmdRefresh->setAutoDefault(false);
    cmdOK = new QPushButton("OK", this);
    cmdOK->setObjectName("cmdOK");
    cmdOK->setDefault(true);
    cmdCancel = new QPushButton("Cancel", this);
    cmdCancel->setObjectName("cmdCancel");
    cmdCancel->setAutoDefault(false);

    auto* top = new QHBoxLayout;
    top->addWidget(deviceLabel);
    top->addWidget(cmbDeviceKind, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(cmdRefresh);
    buttons->addStretch(1);
    buttons->addWidget(cmdOK);
    buttons->addWidget(cmdCancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(fraLP2);
    layout->addWidget(fraCompact);
    layout->addWidget(fraWireless);
    layout->addStretch(1);
    layout->addLayout(buttons);

    connectControls();

    // Form load.
    model_.load(ctx_);
    fillDeviceKinds();
    fillPorts();
    showWirelessAdapter();
    keepWidestPaneWidth();
    showPaneOfKind();
}

void frmPreferences::keepWidestPaneWidth()
{
    // As wide as the widest pane, so the dialog keeps its width when the
    // kind changes and only its height follows the pane.
    const QMargins margins = layout()->contentsMargins();
    int widest = 420;
    for (QWidget* pane : {fraLP2, fraCompact, fraWireless})
        widest = std::max(widest, pane->sizeHint().width() + margins.left() + margins.right());
    setMinimumWidth(widest);
}

void frmPreferences::connectControls()
{
    connect(cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
    connect(cmdRefresh, &QPushButton::clicked, this, [this] { cmdRefresh_Click(); });
    connect(cmdWirelessAdapters, &QPushButton::clicked, this, [this] { cmdWirelessAdapters_Click(); });
    connect(cmbDeviceKind, &QComboBox::currentIndexChanged, this, [this] {
        if (filling_)
            return;
        model_.deviceKind = ss(cmbDeviceKind->currentData());
        showPaneOfKind();
    });
    connect(cmbLP2Port, &QComboBox::currentIndexChanged, this, [this] {
        if (!filling_)
            model_.lp2Port = ss(cmbLP2Port->currentData());
    });
    connect(cmbCompactPort, &QComboBox::currentIndexChanged, this, [this] {
        if (!filling_)
            model_.compactPort = ss(cmbCompactPort->currentData());
    });
    connect(cmbCompactRate, &QComboBox::currentIndexChanged, this, [this] {
        if (!filling_)
            model_.compactRate = ss(cmbCompactRate->currentData());
    });
}

void frmPreferences::fillDeviceKinds()
{
    filling_ = true;
    cmbDeviceKind->clear();
    for (const std::string& kind : model_.deviceKinds())
        cmbDeviceKind->addItem(qs(DeviceKindName(kind)), qs(kind));
    selectData(cmbDeviceKind, model_.deviceKind);
    filling_ = false;
}

void frmPreferences::fillPorts()
{
    filling_ = true;
    auto fill = [](QComboBox* combo, const std::vector<PortChoice>& ports, const std::string& chosen) {
        combo->clear();
        for (const PortChoice& port : ports)
            combo->addItem(qs(PortChoiceText(port)), qs(port.name));
        selectData(combo, chosen);
    };
    fill(cmbLP2Port, model_.lp2Ports(), model_.lp2Port);
    fill(cmbCompactPort, model_.compactPorts(), model_.compactPort);
    cmbCompactRate->clear();
    for (const std::string& rate : model_.compactRateChoices())
        cmbCompactRate->addItem(qs(RateChoiceText(rate)), qs(rate));
    selectData(cmbCompactRate, model_.compactRate);
    filling_ = false;
    // What the lists show is what OK stores (an empty choice takes the first
    // item offered).
    if (cmbLP2Port->currentIndex() >= 0)
        model_.lp2Port = ss(cmbLP2Port->currentData());
    if (cmbCompactPort->currentIndex() >= 0)
        model_.compactPort = ss(cmbCompactPort->currentData());
    if (cmbCompactRate->currentIndex() >= 0)
        model_.compactRate = ss(cmbCompactRate->currentData());
}

void frmPreferences::showPaneOfKind()
{
    const std::string& kind = model_.deviceKind;
    fraLP2->setVisible(kind == "LPII SIP");
    fraCompact->setVisible(kind == "B&B SIP");
    fraWireless->setVisible(kind == kWireless);
    cmdRefresh->setVisible(kind != kWireless);
    // Fit the pane now shown: a dialog only grows on its own, and a taller
    // pane seen once would leave a blank band under every smaller one.
    layout()->activate();
    adjustSize();
}

void frmPreferences::showWirelessAdapter() { lblWirelessAdapter->setText(qs(SelectedWirelessAdapterText(ctx_))); }

void frmPreferences::refuse(const std::string& message)
{
    if (ctx_.ports.prompts)
        ctx_.ports.prompts->msgBox(message, MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
}

void frmPreferences::cmdOK_Click()
{
    if (const std::string problem = model_.problem(ctx_); !problem.empty()) {
        refuse(problem);
        return;
    }
    std::string message;
    if (!model_.save(ctx_, message)) {
        refuse(message);
        return;
    }
    accept();
}

void frmPreferences::cmdCancel_Click() { reject(); }

void frmPreferences::cmdRefresh_Click()
{
    model_.refreshPorts(ctx_);
    fillPorts();
}

void frmPreferences::cmdWirelessAdapters_Click()
{
    // The picker's Select would return the user to the active screen itself,
    // before this dialog has stored the device kind that screen reads. So it
    // works on a copy of the context without screen calls, and its Select
    // counts as OK here: the device kind is stored and the return made once.
    Context pickerContext = ctx_;
    pickerContext.ports.screens = nullptr;
    const int result = picker_(pickerContext, this);
    // The picker's Select refills the program's wireless adapter arrays.
    ctx_.g_astrWLPNames = pickerContext.g_astrWLPNames;
    ctx_.g_astrWLPAddresses = pickerContext.g_astrWLPAddresses;
    ctx_.g_astrWLPSerials = pickerContext.g_astrWLPSerials;
    showWirelessAdapter();
    if (result == QDialog::Accepted)
        cmdOK_Click();
}

int frmPreferences::ShowPreferences(Context& ctx, MainWindow& mainWindow, WirelessPickerCall picker)
{
    frmPreferences dialog(ctx, mainWindow.ownerWidget(), std::move(picker));
    mainWindow.setOpenPreferences(&dialog);
    const int result = dialog.exec();
    mainWindow.setOpenPreferences(nullptr);
    if (result == QDialog::Accepted) {
        ChildScreen* active = mainWindow.activeChild();
        mainWindow.SelectScreen(PreferencesReturnScreen(active ? active->Tag().toStdString() : std::string()));
    }
    return result;
}

} // namespace lp

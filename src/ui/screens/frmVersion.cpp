#include "ui/screens/frmVersion.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "ui/dialogs/frmConnectingDialog.h"
#include "adapters/wireless/modWLP.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "ui/main_window.h"
#include "ui/combo_choices.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }

const QColor kListBackground(255, 255, 255);
const QColor kAdapterCellBackground(255, 255, 204);

} // namespace

frmVersion::frmVersion(Context& ctx, MainWindow& mainWindow) : ChildScreen(ctx, mainWindow, ScreenKey::Summary)
{
    setObjectName("frmVersion");

    lblAdapterName_ = new QLabel(this);
    lblAdapterName_->setObjectName("lblAdapterName");
    QFont headingFont = lblAdapterName_->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.2);
    lblAdapterName_->setFont(headingFont);

    tlstSummary_ = new QTreeWidget(this);
    tlstSummary_->setObjectName("tlstSummary");
    tlstSummary_->setRootIsDecorated(false);
    tlstSummary_->setSelectionMode(QAbstractItemView::NoSelection);
    tlstSummary_->setFocusPolicy(Qt::NoFocus);
    tlstSummary_->header()->setSectionsMovable(false);
    tlstSummary_->header()->setStretchLastSection(true);
    QPalette palette = tlstSummary_->palette();
    palette.setColor(QPalette::Base, kListBackground);
    palette.setColor(QPalette::AlternateBase, kListBackground);
    tlstSummary_->setPalette(palette);

    // The list the wireless procedures fill; the user chooses in row 1's
    // drop-down, which stands in for it on the screen.
    cmbAdapterList_ = new QComboBox(this);
    cmbAdapterList_->setObjectName("cmbAdapterList");
    cmbAdapterList_->hide();
    connect(cmbAdapterList_, &QComboBox::activated, this, [this] { cmbAdapterList_Click(); },
            Qt::QueuedConnection);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblAdapterName_);
    layout->addWidget(tlstSummary_, 1);

    if (ctx.ports.serialPorts)
        Connection_ = ctx.ports.serialPorts->create();
    wireless_ = std::make_unique<WirelessSummaryReader>(ctx, static_cast<SummaryView&>(*this));

    // Form load.
    setMainCaption(LoadResString(Res::SummaryScreenName));
}

frmVersion::~frmVersion()
{
    // The socket goes first: no event of it may reach a half-destroyed screen.
    wireless_.reset();
    frmConnectingDialog::Unload(connecting_);
    // A screen that goes while it waits must not leave the window locked.
    if (mainDisabled_)
        mainWindow().setWindowEnabled(true);
}

void frmVersion::Initialize()
{
    QPointer<frmVersion> self(this);
    Context& c = ctx();
    if (c.ports.screens)
        c.ports.screens->setMousePointer(11);

    mainWindow().setStatusPanelText(1, qs(LoadResString(Res::SummaryScreenName)));
    setMainCaption(LoadResString(Res::SummaryScreenName));

    c.g_strDeviceKind = SummaryDeviceKind(c);
    m_SetupForm();

    if (c.g_strDeviceKind == kKindLP2) {
        if (Connection_)
            ReadLp2Summary(c, *Connection_, *this);
    } else if (c.g_strDeviceKind == kKindWireless) {
        readWireless();
    } else if (c.g_strDeviceKind == kKindCompact) {
        if (Connection_)
            ReadCompactSummary(c, *Connection_, *this);
    }

    if (self && c.ports.screens)
        c.ports.screens->setMousePointer(0);
}

void frmVersion::setUpColumns()
{
    adapterCell_ = nullptr;
    tlstSummary_->clear();
    tlstSummary_->setColumnCount(2);
    tlstSummary_->setHeaderLabels({"Description", "Value"});
    tlstSummary_->setColumnWidth(0, std::max(200, tlstSummary_->viewport()->width() * 9 / 20));
}

void frmVersion::addRow(const std::string& caption)
{
    tlstSummary_->addTopLevelItem(new QTreeWidgetItem({qs(caption), QString()}));
}

void frmVersion::m_SetupForm()
{
    setUpColumns();
    const SummaryLayout layout = SummaryLayoutFor(ctx().g_strDeviceKind);
    for (const std::string& caption : layout.captions)
        addRow(caption);
    lblAdapterName_->setText(qs(layout.heading));

    if (ctx().g_strDeviceKind == kKindWireless && tlstSummary_->topLevelItemCount() > 0) {
        QTreeWidgetItem* row1 = tlstSummary_->topLevelItem(0);
        row1->setBackground(1, kAdapterCellBackground);
        auto* cell = new QComboBox;
        cell->setObjectName("cmbAdapterCell");
        // The cell's colour only; the open list keeps the usual colours.
        // (Items drawn as list items, or they would take the cell's look.)
        // A border of its own makes the style draw the colour flat.
        cell->setStyleSheet(QString("QComboBox { background-color: %1; border: 1px solid palette(mid);"
                                    " padding: 1px 4px; }")
                                .arg(kAdapterCellBackground.name()));
        cell->setItemDelegate(new QStyledItemDelegate(cell));
        tlstSummary_->setItemWidget(row1, 1, cell);
        adapterCell_ = cell;
        // Queued: the reading waits with messages running, and the
        // drop-down must be out of its own signal before the list can be
        // rebuilt under it.
        connect(cell, &QComboBox::activated, this,
                [this](int index) {
                    cmbAdapterList_->setCurrentIndex(index);
                    cmbAdapterList_Click();
                },
                Qt::QueuedConnection);
    }
}

void frmVersion::readWireless()
{
    QPointer<frmVersion> self(this);
    Context& c = ctx();
    setRowValue(WLPRow::Driver, WLPDriverVersion(c));

    cmbAdapterList_->clear();
    ComboChoices list(*cmbAdapterList_);
    if (!WLPFillList(c, list)) {
        if (c.ports.prompts)
            c.ports.prompts->msgBox("No adapters are listed!  Please go to Preferences and Add an adapter.",
                                    MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
        return;
    }
    if (c.g_astrWLPNames.empty())
        return;

    if (adapterCell_) {
        QSignalBlocker block(adapterCell_.data());
        adapterCell_->clear();
        for (int i = 0; i < cmbAdapterList_->count(); ++i)
            adapterCell_->addItem(cmbAdapterList_->itemText(i));
    }
    {
        QSignalBlocker block(cmbAdapterList_);
        cmbAdapterList_->setCurrentIndex(WLPFindSelectedIndex(c, list));
    }
    cmbAdapterList_Click();
    if (!self)
        return;
    setRowValue(WLPRow::Adapter, cmbAdapterList_->currentText().toStdString());
}

void frmVersion::cmbAdapterList_Click()
{
    ComboChoices list(*cmbAdapterList_);
    wireless_->select(list);
}

int frmVersion::rowCount() const { return tlstSummary_->topLevelItemCount(); }

std::string frmVersion::rowCaption(int row) const
{
    QTreeWidgetItem* item = row >= 1 ? tlstSummary_->topLevelItem(row - 1) : nullptr;
    return item ? item->text(0).toStdString() : std::string{};
}

std::string frmVersion::rowValue(int row) const
{
    QTreeWidgetItem* item = row >= 1 ? tlstSummary_->topLevelItem(row - 1) : nullptr;
    return item ? item->text(1).toStdString() : std::string{};
}

void frmVersion::setRowValue(int row, const std::string& value)
{
    QTreeWidgetItem* item = row >= 1 ? tlstSummary_->topLevelItem(row - 1) : nullptr;
    if (!item)
        return;
    item->setText(1, qs(value));
    if (row == WLPRow::Adapter && adapterCell_) {
        QSignalBlocker block(adapterCell_.data());
        adapterCell_->setCurrentIndex(adapterCell_->findText(qs(value)));
    }
}

void frmVersion::showAdapterState(const std::string& text)
{
    const int last = tlstSummary_->topLevelItemCount() - 1;
    QTreeWidgetItem* item = tlstSummary_->topLevelItem(last);
    const bool shown = last >= 0 && item->text(0) == kAdapterStateCaption;
    if (text.empty()) {
        if (shown)
            delete tlstSummary_->takeTopLevelItem(last);
        return;
    }
    if (!shown) {
        addRow(kAdapterStateCaption);
        item = tlstSummary_->topLevelItem(last + 1);
    }
    item->setText(1, qs(text));
    item->setToolTip(1, qs(text)); // the whole advice where the column cuts it
}

void frmVersion::setMainWindowEnabled(bool enabled)
{
    mainDisabled_ = !enabled;
    mainWindow().setWindowEnabled(enabled);
}

void frmVersion::showConnectingDialog(const std::string& adapterName)
{
    frmConnectingDialog::Unload(connecting_);
    connecting_ = frmConnectingDialog::Load(ctx(), mainWindow().ownerWidget());
    connecting_->lblAdapterName()->setText(qs(adapterName));
    connecting_->show();
}

void frmVersion::unloadConnectingDialog()
{
    frmConnectingDialog::Unload(connecting_);
    connecting_ = nullptr;
}

} // namespace lp

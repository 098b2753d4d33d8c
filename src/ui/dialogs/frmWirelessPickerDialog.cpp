#include "ui/dialogs/frmWirelessPickerDialog.h"

#include <QApplication>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "ports/logger.h"
#include "ports/prompts.h"
#include "ui/res_picture.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }


} // namespace

WirelessPicker::WirelessPicker(Context& ctx, QWidget* parent) : QWidget(parent), ctx_(ctx)
{
    setObjectName("WirelessPicker1");

    lstAdapters_ = new QTreeWidget(this);
    lstAdapters_->setObjectName("lstAdapters");
    lstAdapters_->setColumnCount(3);
    lstAdapters_->setHeaderLabels({"Name", "Network Address", "Serial Number"});
    lstAdapters_->setRootIsDecorated(false);
    lstAdapters_->setUniformRowHeights(true);
    lstAdapters_->setSelectionMode(QAbstractItemView::SingleSelection);
    lstAdapters_->header()->setStretchLastSection(true);
    lstAdapters_->setColumnWidth(0, 160);
    lstAdapters_->setColumnWidth(1, 140);

    txtName_ = new QLineEdit(this);
    txtName_->setObjectName("txtName");
    txtAddress_ = new QLineEdit(this);
    txtAddress_->setObjectName("txtAddress");
    txtAddress_->setPlaceholderText("192.168.0.20 or wlp-shop1");
    txtSerial_ = new QLineEdit(this);
    txtSerial_->setObjectName("txtSerial");

    cmdAdd_ = new QPushButton("&Add", this);
    cmdAdd_->setObjectName("cmdAdd");
    cmdChange_ = new QPushButton("C&hange", this);
    cmdChange_->setObjectName("cmdChange");
    cmdRemove_ = new QPushButton("&Remove", this);
    cmdRemove_->setObjectName("cmdRemove");
    for (QPushButton* b : {cmdAdd_, cmdChange_, cmdRemove_})
        b->setAutoDefault(false);

    auto* fields = new QFormLayout;
    fields->addRow("&Name:", txtName_);
    fields->addRow("Network a&ddress:", txtAddress_);
    fields->addRow("Serial n&umber:", txtSerial_);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(cmdAdd_);
    buttons->addWidget(cmdChange_);
    buttons->addWidget(cmdRemove_);
    buttons->addStretch(1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(lstAdapters_, 1);
    layout->addLayout(fields);
    layout->addLayout(buttons);

    connect(lstAdapters_, &QTreeWidget::currentItemChanged, this, [this] { rowChosen(); });
    connect(cmdAdd_, &QPushButton::clicked, this, [this] { addFromFields(); });
    connect(cmdChange_, &QPushButton::clicked, this, [this] { changeFromFields(); });
    connect(cmdRemove_, &QPushButton::clicked, this, [this] { removeSelected(); });
}

void WirelessPicker::LoadList()
{
    list_.load(ctx_);
    refresh();
}

bool WirelessPicker::ApplyChoice() { return list_.apply(ctx_); }

void WirelessPicker::refresh()
{
    QSignalBlocker block(lstAdapters_);
    lstAdapters_->clear();
    for (const auto& e : list_.adapters())
        lstAdapters_->addTopLevelItem(new QTreeWidgetItem({qs(e.name), qs(e.address), qs(e.serial)}));
    if (list_.selected() >= 0) {
        QTreeWidgetItem* item = lstAdapters_->topLevelItem(list_.selected());
        lstAdapters_->setCurrentItem(item);
        item->setSelected(true);
    }
    rowChosen();
}

void WirelessPicker::rowChosen()
{
    const int row = lstAdapters_->currentItem() ? lstAdapters_->indexOfTopLevelItem(lstAdapters_->currentItem()) : -1;
    list_.select(row);
    const bool any = row >= 0 && row < list_.size();
    cmdChange_->setEnabled(any);
    cmdRemove_->setEnabled(any);
    if (!any)
        return;
    const auto& e = list_.adapters()[static_cast<size_t>(row)];
    txtName_->setText(qs(e.name));
    txtAddress_->setText(qs(e.address));
    txtSerial_->setText(qs(e.serial));
}

void WirelessPicker::showRefusal(const std::string& message)
{
    if (ctx_.ports.prompts)
        ctx_.ports.prompts->msgBox(message, MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
}

bool WirelessPicker::addFromFields()
{
    WirelessEditResult r = list_.add(txtName_->text().toStdString(), txtAddress_->text().toStdString(),
                                     txtSerial_->text().toStdString());
    if (!r) {
        showRefusal(r.message);
        return false;
    }
    refresh();
    return true;
}

bool WirelessPicker::changeFromFields()
{
    WirelessEditResult r = list_.edit(list_.selected(), txtName_->text().toStdString(),
                                      txtAddress_->text().toStdString(), txtSerial_->text().toStdString());
    if (!r) {
        showRefusal(r.message);
        return false;
    }
    refresh();
    return true;
}

bool WirelessPicker::removeSelected()
{
    if (!list_.remove(list_.selected()))
        return false;
    if (list_.size() == 0) {
        txtName_->clear();
        txtAddress_->clear();
        txtSerial_->clear();
    }
    refresh();
    return true;
}

frmWirelessPickerDialog::frmWirelessPickerDialog(Context& ctx, QWidget* owner) : QDialog(owner), ctx_(ctx)
{
    setObjectName("frmWirelessPickerDialog");
    setWindowTitle("Wireless Linkport Adapters");
    setWindowIcon(resIcon(ResPictureId::AppIcon, ResPictureKind::Icon));

    imgPicture_ = new QLabel(this);
    imgPicture_->setObjectName("imgPicture");
    imgPicture_->setPixmap(QPixmap::fromImage(LoadResPicture(ResPictureId::AppIcon, ResPictureKind::Icon, 48)));
    imgPicture_->setAlignment(Qt::AlignTop | Qt::AlignHCenter);

    auto* heading = new QLabel("Choose the wireless adapter to use, or add, change or remove adapters.", this);
    heading->setObjectName("lblHeading");
    heading->setWordWrap(true);

    picker_ = new WirelessPicker(ctx_, this);

    cmdSelect_ = new QPushButton("&Select", this);
    cmdSelect_->setObjectName("cmdSelect");
    cmdSelect_->setDefault(true);
    cmdCancel_ = new QPushButton("&Cancel", this);
    cmdCancel_->setObjectName("cmdCancel");

    auto* top = new QHBoxLayout;
    top->addWidget(imgPicture_);
    top->addWidget(heading, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdSelect_);
    buttons->addWidget(cmdCancel_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(picker_, 1);
    layout->addLayout(buttons);

    connect(cmdSelect_, &QPushButton::clicked, this, [this] { cmdSelect_Click(); });
    connect(cmdCancel_, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });

    resize(520, 380);
    placeOverOwner();
    picker_->LoadList();
}

void frmWirelessPickerDialog::placeOverOwner()
{
    QWidget* owner = parentWidget() ? parentWidget()->window() : nullptr;
    if (!owner)
        return;
    QRect frame = geometry();
    frame.moveCenter(owner->geometry().center());
    if (QScreen* screen = owner->screen()) {
        const QRect area = screen->availableGeometry();
        frame.moveLeft(std::clamp(frame.left(), area.left(), std::max(area.left(), area.right() - frame.width())));
        frame.moveTop(std::clamp(frame.top(), area.top(), std::max(area.top(), area.bottom() - frame.height())));
    }
    move(frame.topLeft());
}

int frmWirelessPickerDialog::showPicker(Context& ctx, QWidget* owner)
{
    frmWirelessPickerDialog dialog(ctx, owner);
    return dialog.exec();
}

void frmWirelessPickerDialog::cmdSelect_Click()
{
    if (!picker_->ApplyChoice() && ctx_.ports.log)
        ctx_.ports.log->warning(LogSubsystem::Info, "the wireless picker could not save every change");

    // The picker goes first; what follows may switch screens under it.
    done(QDialog::Accepted);
    hide();
    if (!ctx_.ports.screens)
        return;
    if (ctx_.g_strDeviceKind.empty()) {
        ctx_.ports.screens->SelectScreen(ScreenKey::Summary);
        return;
    }
    ctx_.ports.screens->closePreferences();
    ctx_.ports.screens->SelectScreen(ctx_.ports.screens->activeScreenKey());
}

void frmWirelessPickerDialog::cmdCancel_Click() { done(QDialog::Rejected); }

} // namespace lp

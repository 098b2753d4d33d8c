#include "ui/dialogs/frmConnectingDialog.h"

#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QPushButton>
#include <QShowEvent>
#include <QWindow>

#include "ports/host.h"
#include "ui/res_picture.h"

namespace lp {

namespace {

constexpr int kMainIntervalMs = 2000;
constexpr int kDotIntervalMs = 500;
constexpr int kMargin = 12;
constexpr int kPictureSize = 32;

} // namespace

frmConnectingDialog* frmConnectingDialog::Load(Context& ctx, QWidget* owner)
{
    return new frmConnectingDialog(ctx, owner);
}

// Not a Qt child of its owner: the caller disables the main window while the
// dialog is up, and Qt would disable a child window with it. The owner is the
// window system's (a transient parent) and the dialog goes with it.
frmConnectingDialog::frmConnectingDialog(Context& ctx, QWidget* owner)
    : QDialog(nullptr, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      ctx_(ctx), owner_(owner ? owner->window() : nullptr)
{
    setObjectName("frmConnectingDialog");
    setWindowTitle("Please Wait...");
    setModal(false);

    Picture1_ = new QLabel(this);
    Picture1_->setObjectName("Picture1");
    lblAdapterName_ = new QLabel(this);
    lblAdapterName_->setObjectName("lblAdapterName");
    label1_ = new QLabel("Searching", this);
    label1_->setObjectName("Label1");
    lblDotDotDot_ = new QLabel("...", this);
    lblDotDotDot_->setObjectName("lblDotDotDot");
    cmdCancel_ = new QPushButton("&Cancel", this);
    cmdCancel_->setObjectName("cmdCancel");
    connect(cmdCancel_, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });

    // Placed by hand, as designed: the dots are moved to Label1's right edge
    // by tmrMain, which a layout would undo.
    const QFontMetrics fm = fontMetrics();
    const int textLeft = kMargin + kPictureSize + kMargin;
    const int textWidth = std::max(fm.horizontalAdvance(QString(34, 'W')) / 2, 240);
    Picture1_->setGeometry(kMargin, kMargin, kPictureSize, kPictureSize);
    lblAdapterName_->setGeometry(textLeft, kMargin, textWidth, fm.height() + 4);
    label1_->setGeometry(textLeft, kMargin + fm.height() + 10, fm.horizontalAdvance(label1_->text()) + 2,
                         fm.height() + 4);
    lblDotDotDot_->setGeometry(label1_->x() + label1_->width(), label1_->y(), fm.horizontalAdvance(QString(16, '.')),
                               fm.height() + 4);
    const QSize button = cmdCancel_->sizeHint().expandedTo(QSize(84, 0));
    const int width = textLeft + textWidth + kMargin;
    const int buttonTop = std::max(label1_->geometry().bottom(), Picture1_->geometry().bottom()) + kMargin;
    cmdCancel_->setGeometry(width - kMargin - button.width(), buttonTop, button.width(), button.height());
    setFixedSize(width, buttonTop + button.height() + kMargin);

    if (Host* host = ctx_.ports.host) {
        tmrMain_ = host->createTimer([this] { tmrMain_Timer(); });
        tmrMain_->setInterval(kMainIntervalMs);
        tmrMain_->setEnabled(true); // enabled as designed, from load on
        tmrDotDotDot_ = host->createTimer([this] { tmrDotDotDot_Timer(); });
        tmrDotDotDot_->setInterval(kDotIntervalMs);
    }
    if (owner_)
        connect(owner_, &QObject::destroyed, this, [this] { delete this; });
    Form_Load();
}

void frmConnectingDialog::showEvent(QShowEvent* event)
{
    if (owner_) {
        if (QWindow* own = owner_->windowHandle(); own && windowHandle())
            windowHandle()->setTransientParent(own);
        QRect frame = geometry();
        frame.moveCenter(owner_->geometry().center());
        move(frame.topLeft());
    }
    QDialog::showEvent(event);
}

frmConnectingDialog::~frmConnectingDialog() = default;

void frmConnectingDialog::Form_Load()
{
    Picture1_->setPixmap(QPixmap::fromImage(LoadResPicture(ResPictureId::AppIcon, ResPictureKind::Icon, kPictureSize)));
    if (tmrDotDotDot_)
        tmrDotDotDot_->setEnabled(true);
    ctx_.cancelConnection = false;
    // The wireless device flag: only a TCP connection can be given up.
    cmdCancel_->setVisible(ctx_.g_blnWLPSelected);
}

void frmConnectingDialog::cmdCancel_Click() { ctx_.cancelConnection = true; }

void frmConnectingDialog::tmrDotDotDot_Timer()
{
    // Enabling an enabled timer must not restart its interval, or the dots
    // would never start over.
    if (tmrMain_ && !tmrMain_->enabled())
        tmrMain_->setEnabled(true);
    lblDotDotDot_->setText(lblDotDotDot_->text() + ".");
    if (ctx_.cancelConnection) {
        if (tmrMain_)
            tmrMain_->setEnabled(false);
        tmrDotDotDot_->setEnabled(false);
        unloadSelf();
    }
}

void frmConnectingDialog::tmrMain_Timer()
{
    lblDotDotDot_->move(label1_->x() + label1_->width(), lblDotDotDot_->y());
    lblDotDotDot_->setText("");
    lblDotDotDot_->setText(lblDotDotDot_->text() + ".");
}

void frmConnectingDialog::reject()
{
    if (!cmdCancel_->isHidden() && !unloaded_)
        cmdCancel_Click();
}

void frmConnectingDialog::closeEvent(QCloseEvent* event)
{
    if (closingOurselves_) {
        event->accept();
        return;
    }
    reject();
    event->ignore();
}

void frmConnectingDialog::unloadSelf()
{
    if (unloaded_)
        return;
    unloaded_ = true;
    if (tmrMain_)
        tmrMain_->setEnabled(false);
    if (tmrDotDotDot_)
        tmrDotDotDot_->setEnabled(false);
    closingOurselves_ = true;
    hide();
    deleteLater();
}

void frmConnectingDialog::Unload(const QPointer<frmConnectingDialog>& dialog)
{
    if (dialog)
        dialog->unloadSelf();
}

void frmConnectingDialog::UnloadAll(Context& ctx)
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        auto* dialog = qobject_cast<frmConnectingDialog*>(w);
        if (dialog && &dialog->ctx_ == &ctx)
            dialog->unloadSelf();
    }
}

} // namespace lp

#include "ui/dialogs/frmAboutDialog.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>

#include "ui/label_fit.h"
#include "ui/res_picture.h"
#include "operations/startup.h"

namespace lp {

frmAboutDialog::frmAboutDialog(Context& ctx, QWidget* parent) : QDialog(parent)
{
    setObjectName("frmAboutDialog");
    const AboutTexts texts = AboutDialogTexts(ctx.g_intToolkitMode);
    setWindowTitle(QString::fromStdString(texts.caption));
    setWindowIcon(resIcon(ResPictureId::AppIcon, ResPictureKind::Icon));

    picLogo_ = new QLabel(this);
    picLogo_->setObjectName("picLogo");
    picLogo_->setPixmap(QPixmap::fromImage(LoadResPicture(ResPictureId::AppIcon, ResPictureKind::Icon, 64)));
    picLogo_->setAlignment(Qt::AlignTop | Qt::AlignHCenter);

    lblTitle_ = new QLabel(QString::fromStdString(texts.title), this);
    lblTitle_->setObjectName("lblTitle");
    QFont f = lblTitle_->font();
    f.setPointSizeF(f.pointSizeF() * 1.5);
    f.setBold(true);
    lblTitle_->setFont(f);

    lblVersion_ = new QLabel(QString::fromStdString(texts.version), this);
    lblVersion_->setObjectName("lblVersion");

    lblCopyright_ = new QLabel(QString::fromStdString(texts.copyright), this);
    lblCopyright_->setObjectName("lblCopyright");
    lblCopyright_->setWordWrap(true);
    lblCopyright_->setMinimumWidth(FittingLabelWidth(*lblCopyright_, 200, 520));

    cmdOK_ = new QPushButton("OK", this);
    cmdOK_->setObjectName("cmdOK");
    cmdOK_->setDefault(true);
    connect(cmdOK_, &QPushButton::clicked, this, &QDialog::accept);

    auto* grid = new QGridLayout(this);
    grid->addWidget(picLogo_, 0, 0, 3, 1);
    grid->addWidget(lblTitle_, 0, 1);
    grid->addWidget(lblVersion_, 1, 1);
    grid->addWidget(lblCopyright_, 2, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdOK_);
    grid->addLayout(buttons, 3, 0, 1, 2);
    grid->setColumnStretch(1, 1);
    grid->setHorizontalSpacing(16);
    setMinimumWidth(380);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace lp

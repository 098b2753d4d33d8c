#pragma once
// Help, About: the program's title, version and copyright.
#include <QDialog>

#include "core/context.h"

class QLabel;
class QPushButton;

namespace lp {

class frmAboutDialog : public QDialog {
    Q_OBJECT
public:
    frmAboutDialog(Context& ctx, QWidget* parent = nullptr);

private:
    QLabel* picLogo_;
    QLabel* lblTitle_;
    QLabel* lblVersion_;
    QLabel* lblCopyright_;
    QPushButton* cmdOK_;
};

} // namespace lp

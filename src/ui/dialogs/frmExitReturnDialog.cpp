#include "ui/dialogs/frmExitReturnDialog.h"

#include <QLabel>
#include <QPushButton>

#include "ui/child_screen.h"
#include "ui/main_window.h"
#include "ui/label_fit.h"
#include "ui/res_picture.h"
#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

// Layout in twips, like the rest of the window sizes. The dialog is as wide
// as its longest line needs (the usual message on one line), within bounds.
constexpr int kMinWidth = 6000;
constexpr int kMaxWidth = 9000;
constexpr int kMargin = 240;
constexpr int kGap = 240;
constexpr int kButtonWidth = 1215;
constexpr int kButtonHeight = 375;
// The height the program sets is the window's outer height, as on Windows:
// the caption and borders (about 30 pixels at 96 dpi) come out of it.
constexpr int kFrameTwips = 450;

} // namespace

frmExitReturnDialog::frmExitReturnDialog(Context& ctx, MainWindow& mainWindow)
    : QDialog(mainWindow.ownerWidget()), ctx_(ctx), main_(mainWindow)
{
    setObjectName("frmExitReturnDialog");
    setWindowTitle(QString::fromStdString(LoadResString(Res::ProgramTitle)));
    setWindowIcon(resIcon(ResPictureId::AppIcon, ResPictureKind::Icon));

    lblMessage_ = new QLabel(this);
    lblMessage_->setObjectName("lblMessage");
    lblMessage_->setWordWrap(true);
    lblMessage_->setTextFormat(Qt::PlainText);
    lblMessage_->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    cmdToolkit_ = new QPushButton("&Toolkit", this);
    cmdToolkit_->setObjectName("cmdToolkit");
    cmdFlash_ = new QPushButton("&Flash", this);
    cmdFlash_->setObjectName("cmdFlash");
    cmdExit_ = new QPushButton("E&xit", this);
    cmdExit_->setObjectName("cmdExit");
    cmdToolkit_->setDefault(true);
    connect(cmdToolkit_, &QPushButton::clicked, this, &frmExitReturnDialog::toolkit);
    connect(cmdFlash_, &QPushButton::clicked, this, &frmExitReturnDialog::flash);
    connect(cmdExit_, &QPushButton::clicked, this, &frmExitReturnDialog::exitProgram);

    g_SetMessageText(QString());
}

void frmExitReturnDialog::g_SetMessageText(const QString& text)
{
    QString shown = text;
    shown.replace("\r\n", "\n");
    lblMessage_->setText(shown);

    const double dpiX = logicalDpiX();
    const int margins = 2 * TwipsToPixels(kMargin, dpiX);
    width_ = margins + FittingLabelWidth(*lblMessage_, TwipsToPixels(kMinWidth, dpiX) - margins,
                                         TwipsToPixels(kMaxWidth, dpiX) - margins);
    int labelHeight = lblMessage_->heightForWidth(width_ - margins);
    if (labelHeight < 0)
        labelHeight = lblMessage_->sizeHint().height();
    layOut(labelHeight);
}

void frmExitReturnDialog::layOut(int labelHeight)
{
    const double dpiX = logicalDpiX();
    const double dpiY = logicalDpiY();
    const int margin = TwipsToPixels(kMargin, dpiX);
    const int top = TwipsToPixels(kMargin, dpiY);
    lblMessage_->setGeometry(margin, top, width_ - 2 * margin, labelHeight);

    const int buttonWidth = TwipsToPixels(kButtonWidth, dpiX);
    const int buttonHeight = TwipsToPixels(kButtonHeight, dpiY);
    const int buttonTop = top + labelHeight + TwipsToPixels(kGap, dpiY);
    const int spacing = (width_ - 2 * margin - 3 * buttonWidth) / 2;
    int x = margin;
    for (QPushButton* b : {cmdToolkit_, cmdFlash_, cmdExit_}) {
        b->setGeometry(x, buttonTop, buttonWidth, buttonHeight);
        x += buttonWidth + spacing;
    }
    setFixedSize(width_, ExitDialogHeightPixels(labelHeight, dpiY) - TwipsToPixels(kFrameTwips, dpiY));
}

void frmExitReturnDialog::toolkit()
{
    // Not through SelectScreen: the toolbar and menus stay as they are.
    accept();
    main_.unloadActiveScreen();
    if (ChildScreen* summary = main_.showScreen("Summary"))
        summary->initialise();
}

void frmExitReturnDialog::flash()
{
    accept();
    if (ChildScreen* screen = main_.showScreen("Application Flash"))
        screen->initialise();
}

void frmExitReturnDialog::exitProgram()
{
    accept();
    if (ctx_.ports.screens)
        ctx_.ports.screens->UnloadMainWindow();
}

} // namespace lp

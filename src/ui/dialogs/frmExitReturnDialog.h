#pragma once
// Shown after a successful flash: go to the toolkit's Summary screen, back to
// the Flash screen for another flash, or out of the program.
#include <QDialog>
#include <QString>

#include "core/context.h"

class QLabel;
class QPushButton;

namespace lp {

class MainWindow;

class frmExitReturnDialog : public QDialog {
    Q_OBJECT
public:
    frmExitReturnDialog(Context& ctx, MainWindow& mainWindow);

    // Puts the text into lblMessage; the dialog (its outer height, caption
    // included) becomes the label's height plus 1500 twips, so the buttons
    // below it stay visible for any text.
    void g_SetMessageText(const QString& text);

private:
    void layOut(int labelHeight);
    void toolkit();
    void flash();
    void exitProgram();

    Context& ctx_;
    MainWindow& main_;
    QLabel* lblMessage_;
    QPushButton* cmdToolkit_;
    QPushButton* cmdFlash_;
    QPushButton* cmdExit_;
    int width_ = 0;
};

} // namespace lp

#pragma once
// "Please Wait...": shown without blocking while a screen waits for an
// adapter. Its dots move while the caller's wait lets messages run; its
// Cancel (wireless adapters only) sets ctx.cancelConnection, and the
// dialog goes away at its next dot tick.
//
//     auto* dialog = frmConnectingDialog::Load(ctx, &mainWindow);
//     dialog->lblAdapterName()->setText(name);
//     dialog->show();
//     ... wait, reading ctx.cancelConnection ...
//     frmConnectingDialog::Unload(dialog);   // a QPointer: it may be gone
#include <QDialog>
#include <QPointer>

#include <memory>

#include "core/context.h"

class QLabel;
class QPushButton;

namespace lp {

class HostTimer;

class frmConnectingDialog : public QDialog {
    Q_OBJECT
public:
    // Loads the dialog (not shown yet), owned by `owner`: the cancel flag is
    // cleared and the dots start.
    static frmConnectingDialog* Load(Context& ctx, QWidget* owner);

    // Hides the dialog, stops its timers and deletes it once control is back
    // in the event loop. Harmless for a dialog that is already gone.
    static void Unload(const QPointer<frmConnectingDialog>& dialog);
    // Unloads every connecting dialog of this context (the main window's
    // start-up clears one that earlier steps may have left).
    static void UnloadAll(Context& ctx);

    ~frmConnectingDialog() override;

    QLabel* lblAdapterName() const { return lblAdapterName_; }
    QLabel* lblDotDotDot() const { return lblDotDotDot_; }
    QLabel* Label1() const { return label1_; }
    QPushButton* cmdCancel() const { return cmdCancel_; }
    HostTimer& tmrMain() const { return *tmrMain_; }
    HostTimer& tmrDotDotDot() const { return *tmrDotDotDot_; }
    bool isUnloaded() const { return unloaded_; }

    void cmdCancel_Click();
    void tmrDotDotDot_Timer();
    void tmrMain_Timer();

protected:
    // The title bar's close button and Escape act as Cancel where Cancel is
    // offered, and do nothing otherwise: the caller's wait owns the dialog.
    void reject() override;
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    frmConnectingDialog(Context& ctx, QWidget* owner);
    void Form_Load();
    void unloadSelf();

    Context& ctx_;
    QPointer<QWidget> owner_;
    QLabel* Picture1_ = nullptr;
    QLabel* lblAdapterName_ = nullptr;
    QLabel* lblDotDotDot_ = nullptr;
    QLabel* label1_ = nullptr;
    QPushButton* cmdCancel_ = nullptr;
    std::unique_ptr<HostTimer> tmrMain_;
    std::unique_ptr<HostTimer> tmrDotDotDot_;
    bool unloaded_ = false;
    bool closingOurselves_ = false;
};

} // namespace lp

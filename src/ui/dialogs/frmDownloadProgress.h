#pragma once
// The small modeless dialog shown while a flash runs: which adapter is being
// updated, how long it may take, and a progress bar that the line-by-line
// flashes move.
#include <QDialog>

#include "operations/flash_checks.h"

class QLabel;
class QProgressBar;

namespace lp {

class frmDownloadProgress : public QDialog {
    Q_OBJECT
public:
    frmDownloadProgress(FlashKind kind, QWidget* parent);

    // The bar's value and maximum (its minimum is 0). A value outside the
    // range is held at its nearer end.
    void setProgressMaximum(int maximum);
    void setProgressValue(int value);
    int progressValue() const;
    int progressMaximum() const;

protected:
    // Only the flash that showed the dialog closes it.
    void reject() override {}
    void closeEvent(QCloseEvent* event) override;

private:
    QLabel* lblUpdatingFirmware_;
    QLabel* lblPleaseWait_;
    QProgressBar* prgDownload_;
};

} // namespace lp

#pragma once
// The small modeless dialog shown while a flash runs: which adapter is being
// updated, how long it may take, and a progress bar that the line-by-line
// flashes move.
#include <QDialog>

#include "operations/flash_checks.h"
#include "ports/flash_progress_screen.h"

class QLabel;
class QProgressBar;

namespace lp {

class frmDownloadProgress : public QDialog {
    Q_OBJECT
public:
    frmDownloadProgress(FlashKind kind, QWidget* parent);

    // The bar: maximum the record count plus 10, value the records
    // acknowledged, full once the last one is.
    void setProgress(const FlashProgress& progress);
    int progressValue() const;
    int progressMaximum() const;

    // Shows the dialog and returns once it has been painted (or after a
    // short limit without a window system that says so): what follows may
    // hold the window for a while.
    void showPainted();

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

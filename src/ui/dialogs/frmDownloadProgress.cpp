#include "ui/dialogs/frmDownloadProgress.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>

#include "operations/startup.h"
#include "core/string_table.h"

namespace lp {

namespace {

QString display(const std::string& text) { return QString::fromStdString(text).replace("\r\n", "\n"); }

constexpr int kExposeWaitMs = 500;
constexpr int kExposeSliceMs = 10;
constexpr QEventLoop::ProcessEventsFlags kPaintEvents =
    QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers;

} // namespace

frmDownloadProgress::frmDownloadProgress(FlashKind kind, QWidget* parent) : QDialog(parent)
{
    setObjectName("frmDownloadProgress");
    setModal(false);
    setWindowTitle(QString::fromStdString(LoadResString(Res::ProgramTitle)));
    // No close button: the flash decides when the dialog goes.
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);

    lblUpdatingFirmware_ = new QLabel(display(UpdatingFirmwareText(kind)), this);
    lblUpdatingFirmware_->setObjectName("lblUpdatingFirmware");
    QFont bold = lblUpdatingFirmware_->font();
    bold.setBold(true);
    lblUpdatingFirmware_->setFont(bold);
    lblPleaseWait_ = new QLabel(display(PleaseWaitText()), this);
    lblPleaseWait_->setObjectName("lblPleaseWait");
    prgDownload_ = new QProgressBar(this);
    prgDownload_->setObjectName("prgDownload");
    prgDownload_->setRange(0, 100);
    prgDownload_->setValue(0);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblUpdatingFirmware_);
    layout->addWidget(lblPleaseWait_);
    layout->addWidget(prgDownload_);
    const double dpi = logicalDpiX();
    setFixedWidth(TwipsToPixels(5000, dpi));
    adjustSize();
    if (parent) {
        const QRect owner = parent->window()->frameGeometry();
        move(owner.center() - rect().center());
    }
}

void frmDownloadProgress::setProgress(const FlashProgress& progress)
{
    const int maximum = progress.barMaximum();
    if (prgDownload_->maximum() != maximum)
        prgDownload_->setRange(0, maximum);
    prgDownload_->setValue(std::clamp(progress.barValue(), 0, maximum));
}

void frmDownloadProgress::showPainted()
{
    show();
    raise();
    // A new window is black until the window system has mapped it and it
    // has painted once; a flash that starts meanwhile would leave it so.
    // Only the events that bring that about run here: no input, no socket.
    QElapsedTimer waited;
    waited.start();
    while (!(windowHandle() && windowHandle()->isExposed()) && waited.elapsed() < kExposeWaitMs)
        QCoreApplication::processEvents(kPaintEvents, kExposeSliceMs);
    repaint();
    QCoreApplication::processEvents(kPaintEvents);
}

int frmDownloadProgress::progressValue() const { return prgDownload_->value(); }

int frmDownloadProgress::progressMaximum() const { return prgDownload_->maximum(); }

void frmDownloadProgress::closeEvent(QCloseEvent* event)
{
    // Alt+F4 would otherwise hide it in the middle of a flash.
    if (event->spontaneous())
        event->ignore();
    else
        QDialog::closeEvent(event);
}

} // namespace lp

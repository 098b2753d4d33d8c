#include "ui/screens/frmFlash.h"

#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <vector>

#include "adapters/wireless/modWLP.h"
#include "core/string_table.h"
#include "firmware/firmware_header.h"
#include "operations/flash_session.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "ui/combo_choices.h"
#include "ui/dialogs/frmConnectingDialog.h"
#include "ui/dialogs/frmDownloadProgress.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/dialogs/frmSelectFile.h"
#include "ui/main_window.h"

namespace lp {

namespace {

QString qs(const std::string& text) { return QString::fromStdString(text); }

std::string notPresent() { return LoadResString(Res::NotPresent); }

// The rows of tlstFlash by adapter kind.
std::vector<const char*> adapterRowNames(FlashKind kind)
{
    switch (kind) {
    case FlashKind::LP2:
        return {"Hardware Version", "Application Firmware Version", "Boot Firmware Version",
                "Application Firmware Version (Serial IP)"};
    case FlashKind::CGP:
        return {"Hardware Version", "Application Firmware Version", "Serial Number"};
    case FlashKind::WLP:
        return {"Wireless Linkport Name", "Serial Number", "Hardware Version", "Application Firmware Version"};
    case FlashKind::None:
        break;
    }
    return {};
}

QTreeWidget* makeTreeList(const char* name, QWidget* parent)
{
    auto* list = new QTreeWidget(parent);
    list->setObjectName(name);
    list->setColumnCount(2);
    list->setHeaderLabels({"Description", "Value"});
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setSelectionMode(QAbstractItemView::NoSelection);
    list->setFocusPolicy(Qt::NoFocus);
    list->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    list->header()->setStretchLastSection(true);
    return list;
}

std::string rowValue(const QTreeWidget* list, int row)
{
    const QTreeWidgetItem* item = list->topLevelItem(row - 1);
    return item ? item->text(1).toStdString() : std::string();
}

} // namespace

// ---------------------------------------------------------------- helpers

class frmFlash::Busy {
public:
    explicit Busy(frmFlash& screen) : screen_(screen) { ++screen_.busyDepth_; }
    ~Busy()
    {
        if (--screen_.busyDepth_ == 0 && screen_.unloadPending_) {
            screen_.unloadPending_ = false;
            // A queued call, not deleteLater: the swallowed deferred delete
            // may have used up the object's one deleteLater.
            QMetaObject::invokeMethod(
                &screen_,
                [s = &screen_] {
                    if (s->busyDepth_ > 0)
                        s->unloadPending_ = true;
                    else
                        delete s;
                },
                Qt::QueuedConnection);
        }
    }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

private:
    frmFlash& screen_;
};

// The screen as the flash session sees it.
class frmFlash::View final : public FlashSessionView {
public:
    explicit View(frmFlash& screen) : s_(screen) {}
    void showProgressDialog() override { s_.showProgressDialog(); }
    void unloadProgressDialog() override { s_.unloadProgressDialog(); }
    void setProgress(const FlashProgress& progress) override { s_.setProgress(progress); }
    int mousePointer() const override { return s_.pointer_; }
    void setMousePointer(int pointer) override { s_.setPointer(pointer); }
    void setFlashTimerEnabled(FlashTimer which, bool enabled, int32_t intervalMs) override
    {
        HostTimer* timer = which == FlashTimer::ProgramDevice ? s_.tmrProgramDevice() : s_.tmrWLPHardFlash();
        if (timer) {
            timer->setInterval(intervalMs);
            timer->setEnabled(enabled);
        }
    }
    void showAdapterValue(WirelessValue which, const std::string& text) override
    {
        switch (which) {
        case WirelessValue::ApplicationVersion:
            s_.setAdapterRow(4, text);
            break;
        case WirelessValue::HardwareVersion:
            s_.setAdapterRow(3, text);
            break;
        case WirelessValue::Identity:
            // No row of this screen shows it (the Summary does).
            s_.log("wireless adapter identity \"" + text + "\"");
            break;
        }
    }
    void setMainWindowEnabled(bool enabled) override { s_.setMainWindowEnabled(enabled); }
    void beginConnectionWait() override { s_.beginConnectionWait(); }
    void endConnectionWait() override { s_.endConnectionWait(); }
    void showExitReturnDialog(const std::string& text) override { s_.showExitReturnDialog(text); }
    void returnToReadyState() override { s_.returnToReadyState(); }
    void enableFileChoice() override { s_.cmdSelectFile_->setEnabled(true); }
    void flashEnded(const FlashAttempt& attempt) override { s_.flashEnded(attempt); }

private:
    frmFlash& s_;
};

// ---------------------------------------------------------------- the form

frmFlash::frmFlash(Context& ctx, MainWindow& mainWindow, FlashScreenOptions options)
    : ChildScreen(ctx, mainWindow, "Application Flash"), options_(std::move(options))
{
    setObjectName("frmFlash");

    grpLP2VersionInfo_ = new QGroupBox("Linkport Information:", this);
    grpLP2VersionInfo_->setObjectName("grpLP2VersionInfo");
    cmbWLPList_ = new QComboBox(grpLP2VersionInfo_);
    cmbWLPList_->setObjectName("cmbWLPList");
    cmbWLPList_->setVisible(false);
    tlstFlash_ = makeTreeList("tlstFlash", grpLP2VersionInfo_);
    auto* adapterLayout = new QVBoxLayout(grpLP2VersionInfo_);
    adapterLayout->addWidget(cmbWLPList_);
    adapterLayout->addWidget(tlstFlash_);

    auto* fileFrame = new QGroupBox(this);
    fileFrame->setObjectName("fraFile");
    lblFileInfo_ = new QLabel("File:", fileFrame);
    lblFileInfo_->setObjectName("lblFileInfo");
    lblFileInfo_->setTextFormat(Qt::PlainText);
    tlstFileInfo_ = makeTreeList("tlstFileInfo", fileFrame);
    auto* fileLayout = new QVBoxLayout(fileFrame);
    fileLayout->addWidget(lblFileInfo_);
    fileLayout->addWidget(tlstFileInfo_);

    cmdSelectFile_ = new QPushButton("Select &File", this);
    cmdSelectFile_->setObjectName("cmdSelectFile");
    cmdSelectFile_->setToolTip("Select File");
    cmdBeginFlash_ = new QPushButton("&Begin Flash", this);
    cmdBeginFlash_->setObjectName("cmdBeginFlash");
    cmdBeginFlash_->setEnabled(false);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdSelectFile_);
    buttons->addWidget(cmdBeginFlash_);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(grpLP2VersionInfo_, 3);
    layout->addWidget(fileFrame, 2);
    layout->addLayout(buttons);

    connect(cmdSelectFile_, &QPushButton::clicked, this, [this] { cmdSelectFile_Click(); });
    connect(cmdBeginFlash_, &QPushButton::clicked, this, [this] { cmdBeginFlash_Click(); });
    // A choice of the user's; the list filled by the screen calls the click
    // itself once.
    connect(cmbWLPList_, &QComboBox::activated, this, [this] { cmbWLPList_Click(); });

    Context& c = ctx;
    if (c.ports.serialPorts)
        Connection_ = c.ports.serialPorts->create();
    if (c.ports.tcpSockets)
        TCPSocket_ = c.ports.tcpSockets->create();
    view_ = std::make_unique<View>(*this);
    session_ = std::make_unique<FlashSession>(c, *view_, Connection_.get(), TCPSocket_.get(), "gui");
    if (c.ports.host) {
        tmrProgramDevice_ = c.ports.host->createTimer([this] {
            Busy busy(*this);
            if (session_)
                session_->timerTick(FlashTimer::ProgramDevice);
        });
        tmrWLPHardFlash_ = c.ports.host->createTimer([this] {
            Busy busy(*this);
            if (session_)
                session_->timerTick(FlashTimer::WLPHardFlash);
        });
    }
    if (TCPSocket_) {
        // Over the session's own handlers: the screen must outlive the event.
        TCPSocket_->setDataArrivalHandler([this](int32_t) {
            Busy busy(*this);
            if (session_)
                session_->dataArrival();
        });
        TCPSocket_->setErrorHandler([this](int32_t number, const std::string& description) {
            Busy busy(*this);
            if (session_)
                session_->socketError(number, description);
        });
    }

    Form_Load();
}

frmFlash::~frmFlash()
{
    // The main window may be half gone already (it deletes its screens last):
    // from here on nothing reaches for it.
    destroying_ = true;
    Disconnect();
    endConnectionWait();
    if (progress_)
        delete progress_.data();
    // The session goes before the ports and timers it uses.
    session_.reset();
}

bool frmFlash::event(QEvent* event)
{
    if (event->type() == QEvent::DeferredDelete && busyDepth_ > 0) {
        unloadPending_ = true;
        return true;
    }
    return ChildScreen::event(event);
}

void frmFlash::Form_Load()
{
    setTitles();
    tlstFlash_->clear();
    tlstFileInfo_->clear();
}

void frmFlash::setTitles() { setMainCaption(LoadResString(Res::FlashScreenName)); }

void frmFlash::layOutLists()
{
    kind_ = FlashKindOf(ctx());
    grpLP2VersionInfo_->setTitle(qs(LoadResString(Res::Lp2FullName) + " Information:"));
    tlstFlash_->clear();
    for (const char* name : adapterRowNames(kind_))
        tlstFlash_->addTopLevelItem(new QTreeWidgetItem(QStringList{name, QString()}));
    cmbWLPList_->setVisible(kind_ == FlashKind::WLP);
    tlstFileInfo_->clear();
    for (const char* name : {"Application Firmware Version", "Supported Hardware Version", "Release Date"})
        tlstFileInfo_->addTopLevelItem(new QTreeWidgetItem(QStringList{name, QString()}));
}

void frmFlash::Initialize()
{
    Busy busy(*this);
    setTitles();
    mainWindow().restorePanelText();
    layOutLists();
    switch (kind_) {
    case FlashKind::LP2:
        // Two seconds and more on the adapter: the Connecting dialog, not
        // a window that looks hung.
        beginConnectionWait(LoadResString(Res::Lp2FullName));
        ShowLP2Versions();
        endConnectionWait();
        break;
    case FlashKind::CGP:
        beginConnectionWait(LoadResString(Res::CompactName));
        ShowCGPVersions();
        endConnectionWait();
        break;
    case FlashKind::WLP:
        ShowWLPList();
        break;
    case FlashKind::None:
        break;
    }
    RefreshSelectedFile();
}

void frmFlash::Disconnect()
{
    if (session_)
        session_->abandon("the flash screen is closing");
    if (tmrProgramDevice_)
        tmrProgramDevice_->setEnabled(false);
    if (tmrWLPHardFlash_)
        tmrWLPHardFlash_->setEnabled(false);
    if (Connection_ && Connection_->portOpen())
        Connection_->setPortOpen(false);
    if (TCPSocket_)
        TCPSocket_->close();
}

// ---------------------------------------------------------------- adapter values

void frmFlash::ShowLP2Versions()
{
    const FlashAdapterValues v = session_->readLp2Values();
    setAdapterRow(1, v.hardware);
    setAdapterRow(2, v.application);
    setAdapterRow(3, v.boot);
    if (v.hardware != notPresent() || v.application != notPresent())
        setAdapterRow(4, v.serialIp);
}

void frmFlash::ShowCGPVersions()
{
    const FlashAdapterValues v = session_->readCompactValues();
    setAdapterRow(1, v.hardware);
    setAdapterRow(2, v.application);
    setAdapterRow(3, v.identity);
}

FlashAdapterValues frmFlash::shownValues() const
{
    FlashAdapterValues v;
    switch (kind_) {
    case FlashKind::LP2:
        v = {adapterRow(1), adapterRow(2), adapterRow(3), adapterRow(4), {}};
        break;
    case FlashKind::CGP:
        v = {adapterRow(1), adapterRow(2), {}, {}, adapterRow(3)};
        break;
    case FlashKind::WLP:
        v = {adapterRow(3), adapterRow(4), {}, {}, adapterRow(1)};
        break;
    case FlashKind::None:
        break;
    }
    return v;
}

void frmFlash::ShowWLPList()
{
    Context& c = ctx();
    cmbWLPList_->clear();
    for (int row : {1, 2, 3, 4})
        setAdapterRow(row, notPresent());
    ComboChoices list(*cmbWLPList_);
    if (!WLPFillList(c, list) || c.g_astrWLPNames.empty()) {
        msgBox("No adapters are listed!  Please go to Preferences and Add an adapter.",
               MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation);
        return;
    }
    const QSignalBlocker quiet(cmbWLPList_);
    cmbWLPList_->setCurrentIndex(WLPFindSelectedIndex(c, list));
    cmbWLPList_Click();
}

void frmFlash::cmbWLPList_Click()
{
    Busy busy(*this);
    Context& c = ctx();
    const int index = cmbWLPList_->currentIndex();
    if (index < 0 || static_cast<size_t>(index) >= c.g_astrWLPAddresses.size()
        || static_cast<size_t>(index) >= c.g_astrWLPNames.size()) {
        log("wireless adapter " + std::to_string(index) + " is not in the adapter list");
        return;
    }
    if (session_->flashing()) {
        log("wireless adapter choice ignored: a flash is running");
        return;
    }
    const auto i = static_cast<size_t>(index);
    c.wirelessAddress = c.g_astrWLPAddresses[i];
    setAdapterRow(1, c.g_astrWLPNames[i]);
    setAdapterRow(2, i < c.g_astrWLPSerials.size() ? c.g_astrWLPSerials[i] : std::string());
    setAdapterRow(3, notPresent());
    setAdapterRow(4, notPresent());
    ComboChoices list(*cmbWLPList_);
    WLPSelectAdapter(c, list);
    if (!TCPSocket_)
        return;
    // No screen change and no other choice while the connection is made.
    setMainWindowEnabled(false);
    cmbWLPList_->setEnabled(false);
    QPointer<frmConnectingDialog> waiting = frmConnectingDialog::Load(c, mainWindow().ownerWidget());
    waiting->lblAdapterName()->setText(qs(adapterRow(1)));
    waiting->show();
    session_->beginWirelessRead(c.wirelessAddress);
    frmConnectingDialog::Unload(waiting);
    cmbWLPList_->setEnabled(true);
    setMainWindowEnabled(true);
}

// ---------------------------------------------------------------- the file

void frmFlash::clearFileInfo()
{
    lblFileInfo_->setText("File:");
    for (int row : {1, 2, 3})
        setFileRow(row, {});
    cmdBeginFlash_->setEnabled(false);
}

void frmFlash::RefreshSelectedFile()
{
    Context& c = ctx();
    if (!c.gbln_FileSelected) {
        clearFileInfo();
        SelectDefaultFile();
        return;
    }
    if (FileSuitsAdapterKind(kind_, c.flashFileName)) {
        c.gbln_FileSelected = true;
        SetFileName(c.flashFileName);
    } else {
        log("\"" + c.flashFileName + "\" does not suit " + FlashKindText(kind_));
        c.gbln_FileSelected = false;
        clearFileInfo();
        SelectDefaultFile();
    }
}

void frmFlash::SelectDefaultFile()
{
    Context& c = ctx();
    if (std::optional<std::string> path = DefaultFlashFile(c, kind_); path && PathFitsThisSystem(*path)) {
        SetFileName(*path);
        c.gbln_FileSelected = true;
    }
    if (!c.gbln_FileSelected && kind_ != FlashKind::None)
        cmdSelectFile_Click();
}

void frmFlash::SetFileName(const std::string& path)
{
    Context& c = ctx();
    c.gbln_FileSelected = false;
    c.flashFileName = path;
    lblFileInfo_->setText(qs(LoadResString(Res::FilePrefix) + ShortenFilePath(path)));
    lblFileInfo_->setToolTip(qs(path));
    const FirmwareFileHeader header = ReadFirmwareFileHeader(c, path);
    setFileRow(1, header.FirmwareVersion);
    setFileRow(2, header.HardwareVersions);
    setFileRow(3, header.ReleaseDate);
    cmdBeginFlash_->setEnabled(true);
    cmdSelectFile_->setEnabled(true);
    c.gbln_FileSelected = true;
}

void frmFlash::cmdSelectFile_Click()
{
    Busy busy(*this);
    if (options_.selectFile) {
        options_.selectFile(*this);
        return;
    }
    frmSelectFile dialog(ctx(), kind_, [this](const std::string& path) { SetFileName(path); },
                         mainWindow().ownerWidget());
    dialog.exec();
}

// ---------------------------------------------------------------- the flash

bool frmFlash::flashRunning() const { return session_ && session_->active(); }

std::string frmFlash::flashState() const { return session_ ? session_->flashState() : std::string(); }

bool frmFlash::gbln_FlashVerificationChecks() { return session_->checks(shownValues()).passed; }

void frmFlash::cmdBeginFlash_Click()
{
    Busy busy(*this);
    // The button is disabled while a flash runs; a click that was already
    // queued, or a call from elsewhere, must not start a second one.
    if (flashRunning()) {
        log("Begin Flash ignored: a flash is running");
        return;
    }
    cmdBeginFlash_->setEnabled(false);
    cmdSelectFile_->setEnabled(true);
    session_->setFlashState({});
    BeginFlashForAdapterKind();
}

void frmFlash::BeginFlashForAdapterKind()
{
    if (!session_->begin(shownValues()))
        offerAnotherAttempt();
}

// The file is still the chosen one: after an attempt that a question, a
// refusal or a failure ended, it can be flashed again without choosing it anew.
void frmFlash::offerAnotherAttempt()
{
    if (!destroying_ && !flashRunning())
        cmdBeginFlash_->setEnabled(ctx().gbln_FileSelected);
}

void frmFlash::flashEnded(const FlashAttempt& attempt)
{
    if (destroying_)
        return;
    // The session may still be inside the call that ended the attempt.
    QMetaObject::invokeMethod(this, [this] { offerAnotherAttempt(); }, Qt::QueuedConnection);
    if (attempt.outcome != FlashOutcome::Success)
        return;
    if (attempt.readBack == ReadBackVerdict::Mismatch) {
        msgBox("The adapter reports application firmware version " + attempt.versionAfter
                   + " after the flash, not the file's version " + fileRow(1)
                   + ".\r\nFlash the file again before the adapter is used.",
               MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation);
    }
    if (!attempt.versionAfter.empty())
        setAdapterRow(kind_ == FlashKind::WLP ? 4 : 2, attempt.versionAfter);
}

// ---------------------------------------------------------------- screen side of the flashes

frmDownloadProgress* frmFlash::downloadProgress() const { return progress_.data(); }

void frmFlash::showProgressDialog()
{
    if (destroying_)
        return;
    if (progress_ && progress_->isVisible())
        return;
    if (!progress_) {
        progress_ = new frmDownloadProgress(kind_, mainWindow().ownerWidget());
        progress_->setAttribute(Qt::WA_DeleteOnClose, false);
    }
    // What was reported before the dialog existed is what it opens with.
    progress_->setProgress(lastProgress_);
    // The driver's flash call and the switch to a loader hold the window:
    // the dialog is painted before either begins.
    progress_->showPainted();
}

void frmFlash::setProgress(const FlashProgress& progress)
{
    lastProgress_ = progress;
    if (progress_)
        progress_->setProgress(progress);
}

void frmFlash::beginConnectionWait(const std::string& adapterName)
{
    if (destroying_)
        return;
    endConnectionWait();
    connecting_ = frmConnectingDialog::Load(ctx(), mainWindow().ownerWidget());
    connecting_->lblAdapterName()->setText(qs(adapterName.empty() ? adapterRow(1) : adapterName));
    connecting_->show();
}

void frmFlash::endConnectionWait()
{
    frmConnectingDialog::Unload(connecting_);
    connecting_ = nullptr;
}

void frmFlash::unloadProgressDialog()
{
    if (!progress_)
        return;
    frmDownloadProgress* dialog = progress_.data();
    progress_ = nullptr;
    lastProgress_ = {};
    dialog->hide();
    dialog->deleteLater();
}

void frmFlash::showExitReturnDialog(const std::string& text)
{
    if (destroying_)
        return;
    unloadProgressDialog();
    frmExitReturnDialog dialog(ctx(), mainWindow());
    dialog.g_SetMessageText(qs(text));
    dialog.exec();
}

void frmFlash::returnToReadyState()
{
    if (destroying_)
        return;
    setTitles();
    cmdSelectFile_->setEnabled(true);
    setPointer(0);
}

void frmFlash::setMainWindowEnabled(bool enabled)
{
    if (destroying_)
        return;
    lockDepth_ += enabled ? -1 : 1;
    if (lockDepth_ < 0)
        lockDepth_ = 0;
    const bool on = lockDepth_ == 0;
    mainWindow().setMenusEnabled(on);
}

// ---------------------------------------------------------------- small things

std::string frmFlash::adapterRow(int row) const { return rowValue(tlstFlash_, row); }

std::string frmFlash::fileRow(int row) const { return rowValue(tlstFileInfo_, row); }

void frmFlash::setAdapterRow(int row, const std::string& value)
{
    if (QTreeWidgetItem* item = tlstFlash_->topLevelItem(row - 1))
        item->setText(1, qs(value));
}

void frmFlash::setFileRow(int row, const std::string& value)
{
    if (QTreeWidgetItem* item = tlstFileInfo_->topLevelItem(row - 1))
        item->setText(1, qs(value));
}

void frmFlash::setPointer(int pointer)
{
    pointer_ = pointer;
    if (ctx().ports.screens)
        ctx().ports.screens->setMousePointer(pointer);
}

int frmFlash::msgBox(const std::string& text, int style)
{
    Context& c = ctx();
    return c.ports.prompts ? c.ports.prompts->msgBox(text, style, FlashProgramTitle(c)) : 0;
}

void frmFlash::log(const std::string& text)
{
    if (ctx().ports.log)
        ctx().ports.log->info(LogSubsystem::Flash, text);
}

} // namespace lp

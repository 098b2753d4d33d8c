#include "ui/screens/frmFlash.h"

#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <vector>

#include "core/vb_text.h"
#include "firmware/firmware_header.h"
#include "firmware/sha256.h"
#include "adapters/compact/compact_flash.h"
#include "ui/dialogs/frmDownloadProgress.h"
#include "ui/dialogs/frmSelectFile.h"
#include "adapters/wireless/wireless_flash.h"
#include "ui/dialogs/frmConnectingDialog.h"
#include "ports/choice_list.h"
#include "adapters/compact/modCGP.h"
#include "adapters/lp2/modLP2.h"
#include "adapters/rp1210/modRP1210Interface.h"
#include "adapters/wireless/modWLP.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "ui/dialogs/frmExitReturnDialog.h"
#include "ui/frmParent.h"
#include "core/string_table.h"

namespace lp {

namespace {

QString qs(const std::string& text) { return QString::fromStdString(text); }

std::string notPresent() { return LoadResString(508); }

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

// Where the checks find the adapter's versions.
int hardwareRow(FlashKind kind) { return kind == FlashKind::WLP ? 3 : 1; }
int applicationRow(FlashKind kind) { return kind == FlashKind::WLP ? 4 : 2; }

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

// cmbWLPList as the wireless list procedures see it.
class ComboChoices final : public ChoiceList {
public:
    explicit ComboChoices(QComboBox& combo) : combo_(combo) {}
    void addItem(const std::string& text) override { combo_.addItem(qs(text)); }
    int listCount() const override { return combo_.count(); }
    int listIndex() const override { return combo_.currentIndex(); }
    std::string itemText(int index) const override { return combo_.itemText(index).toStdString(); }

private:
    QComboBox& combo_;
};

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

// The part of the screen that both line-by-line flashes share: the progress
// dialog, the pointer and the two endings. Every end of a transfer frees the
// screen for the next change.
template <class Interface> class frmFlash::ProgressScreen : public Interface {
public:
    explicit ProgressScreen(frmFlash& screen) : s_(screen) {}
    void showProgressDialog() override { s_.showProgressDialog(); }
    void unloadProgressDialog() override
    {
        s_.unloadProgressDialog();
        s_.releaseFlashLock();
    }
    void setProgressMaximum(int32_t maximum) override
    {
        if (frmDownloadProgress* p = s_.downloadProgress())
            p->setProgressMaximum(maximum);
    }
    void setProgressValue(int32_t value) override
    {
        if (frmDownloadProgress* p = s_.downloadProgress())
            p->setProgressValue(value);
    }
    void setMousePointer(int pointer) override { s_.setPointer(pointer); }
    void showExitReturnDialog(const std::string& text) override
    {
        s_.releaseFlashLock();
        s_.showExitReturnDialog(text);
    }
    void returnToReadyState() override
    {
        s_.releaseFlashLock();
        s_.returnToReadyState();
    }

protected:
    frmFlash& s_;
};

class frmFlash::CompactScreen final : public ProgressScreen<CompactFlashScreen> {
public:
    using ProgressScreen::ProgressScreen;
    void setProgramDeviceTimerEnabled(bool enabled) override
    {
        if (HostTimer* t = s_.tmrProgramDevice()) {
            t->setInterval(CompactFlash::kProgramDeviceIntervalMs);
            t->setEnabled(enabled);
        }
    }
    int mousePointer() const override { return s_.pointer_; }
};

class frmFlash::WirelessScreen final : public ProgressScreen<WirelessFlashScreen> {
public:
    using ProgressScreen::ProgressScreen;
    void setHardFlashTimerEnabled(bool enabled) override
    {
        if (HostTimer* t = s_.tmrWLPHardFlash()) {
            t->setInterval(WirelessFlash::kHardFlashIntervalMs);
            t->setEnabled(enabled);
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
    void endReconnectWait() override { s_.releaseFlashLock(); }
};

// ---------------------------------------------------------------- the form

frmFlash::frmFlash(Context& ctx, frmParent& mainWindow, FlashScreenOptions options)
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
    if (c.ports.host) {
        tmrProgramDevice_ = c.ports.host->createTimer([this] {
            Busy busy(*this);
            if (compact_)
                compact_->tick();
            afterFlashStep();
        });
        tmrWLPHardFlash_ = c.ports.host->createTimer([this] {
            Busy busy(*this);
            if (wireless_)
                wireless_->hardFlashTick();
            afterFlashStep();
        });
    }
    compactScreen_ = std::make_unique<CompactScreen>(*this);
    if (Connection_)
        compact_ = std::make_unique<CompactFlash>(c, *Connection_, *compactScreen_);
    wirelessScreen_ = std::make_unique<WirelessScreen>(*this);
    if (TCPSocket_) {
        wireless_ = std::make_unique<WirelessFlash>(c, *TCPSocket_, *wirelessScreen_);
        TCPSocket_->setDataArrivalHandler([this](int32_t) {
            Busy busy(*this);
            wireless_->dataArrival();
            afterFlashStep();
        });
        TCPSocket_->setErrorHandler([this](int32_t number, const std::string& description) {
            Busy busy(*this);
            wireless_->socketError(number, description);
            afterFlashStep();
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
    if (progress_)
        delete progress_.data();
    // The flashes go before the ports and timers they use.
    wireless_.reset();
    compact_.reset();
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

void frmFlash::setTitles() { setMainCaption(LoadResString(510)); }

void frmFlash::layOutLists()
{
    kind_ = FlashKindOf(ctx());
    grpLP2VersionInfo_->setTitle(qs(LoadResString(512) + " Information:"));
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
        ShowLP2Versions();
        break;
    case FlashKind::CGP:
        ShowCGPVersions();
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
    if (compact_ && compact_->transferring())
        compact_->abandon("the flash screen is closing");
    if (wireless_ && wireless_->active())
        wireless_->abandon("the flash screen is closing");
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
    Context& c = ctx();
    std::string hardware, application, boot;
    if (!LP2ReadVersions(c, hardware, application, boot)) {
        for (int row : {1, 2, 3})
            setAdapterRow(row, notPresent());
        return;
    }
    const int16_t port = PortNumberAfterM(LP2ReadDeviceParamsPort(c));
    std::string serialIp = Connection_ ? LP2SerialVersionQuery(c, port, *Connection_) : std::string();
    // A query that the port cut short gave no version either.
    setAdapterRow(4, serialIp.empty() ? notPresent() : serialIp);
    if (application == "255.255")
        application = notPresent();
    if (boot == "255.255")
        boot = notPresent();
    setAdapterRow(1, hardware);
    setAdapterRow(2, application);
    setAdapterRow(3, boot);
}

void frmFlash::ShowCGPVersions()
{
    std::string hardware = notPresent(), application = notPresent(), serial = notPresent();
    if (Connection_)
        CGPConnectAndRead(ctx(), *Connection_, hardware, application, serial);
    setAdapterRow(1, hardware);
    setAdapterRow(2, application);
    setAdapterRow(3, serial);
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
    if (wireless_ && wireless_->active()) {
        // A flash owns the socket until it ends; a read of the adapter
        // chosen before gives way to the new choice.
        if (wirelessFlashing_) {
            log("wireless adapter choice ignored: a flash is running");
            return;
        }
        wireless_->abandon("another wireless adapter was chosen");
    }
    const auto i = static_cast<size_t>(index);
    c.g_intWLPSelectedIndex = static_cast<int16_t>(index);
    c.g_strWLPSelectedIP = c.g_astrWLPAddresses[i];
    setAdapterRow(1, c.g_astrWLPNames[i]);
    setAdapterRow(2, i < c.g_astrWLPSerials.size() ? c.g_astrWLPSerials[i] : std::string());
    setAdapterRow(3, notPresent());
    setAdapterRow(4, notPresent());
    ComboChoices list(*cmbWLPList_);
    WLPSelectAdapter(c, list);
    if (!wireless_)
        return;
    // No screen change and no other choice while the connection is made.
    setMainWindowEnabled(false);
    cmbWLPList_->setEnabled(false);
    QPointer<frmConnectingDialog> waiting = frmConnectingDialog::Load(c, &mainWindow());
    waiting->lblAdapterName()->setText(qs(adapterRow(1)));
    waiting->show();
    wirelessFlashing_ = false;
    wireless_->beginVersionRead(c.g_strWLPSelectedIP);
    frmConnectingDialog::Unload(waiting);
    cmbWLPList_->setEnabled(true);
    setMainWindowEnabled(true);
}

void frmFlash::afterFlashStep()
{
    const bool compactRunning = compact_ && compact_->transferring();
    const bool wirelessRunning = wireless_ && wireless_->active();
    if (!inFlash_ && !compactRunning && !wirelessRunning)
        releaseFlashLock();
    noteFlashEnd();
}

void frmFlash::beginFlashLog()
{
    Context& c = ctx();
    FlashLogEntry& e = flashLog_;
    e = FlashLogEntry{};
    e.time = FlashLogTimeNow();
    e.source = "gui";
    e.adapterKind = FlashKindText(kind_);
    e.adapterIdentity = kind_ == FlashKind::LP2   ? c.g_strLP2Port
                        : kind_ == FlashKind::CGP ? adapterRow(3)
                                                  : adapterRow(1) + " (" + c.g_strWLPSelectedIP + ")";
    e.hardwareBefore = adapterRow(hardwareRow(kind_));
    e.applicationBefore = adapterRow(applicationRow(kind_));
    if (kind_ == FlashKind::LP2)
        e.bootBefore = adapterRow(3);
    e.filePath = c.g_strFlashFileName;
    e.fileSha256 = Sha256OfFile(e.filePath).value_or("");
    const FirmwareFileHeader header = ReadFirmwareFileHeader(c, e.filePath);
    e.fileFirmwareVersion = header.FirmwareVersion;
    e.fileFirmwareType = header.FirmwareType;
    e.fileReleaseDate = header.ReleaseDate;
    e.fileHardwareVersions = header.HardwareVersions;
    flashLogStartTick_ = c.ports.host ? c.ports.host->tickCount() : 0;
    flashLogOpen_ = true;
}

void frmFlash::endFlashLog(const std::string& result, int64_t records, std::vector<FlashLogMessage> messages,
                           const std::string& versionAfter)
{
    if (!flashLogOpen_)
        return;
    flashLogOpen_ = false;
    Context& c = ctx();
    flashLog_.result = result;
    flashLog_.recordsSent = records;
    flashLog_.messages = std::move(messages);
    flashLog_.versionAfter = versionAfter;
    if (c.ports.host)
        flashLog_.seconds = (c.ports.host->tickCount() - flashLogStartTick_) / 1000.0;
    std::string error;
    // The flash has happened either way; a log that cannot be written is
    // only worth a line in the trace.
    if (!AppendFlashLog(flashLog_, FlashLogPath(), &error))
        log("flash log not written: " + error);
}

void frmFlash::noteFlashEnd()
{
    if (!flashLogOpen_)
        return;
    const std::string title = FlashProgramTitle(ctx());
    if (kind_ == FlashKind::CGP && compact_ && compact_->result().finished) {
        const CompactFlashResult& r = compact_->result();
        std::vector<FlashLogMessage> messages;
        if (r.succeeded)
            messages.push_back({FlashSucceededText(), title});
        else if (r.errorCode != 0)
            messages.push_back({CGPErrorText(r.errorCode), title});
        endFlashLog(r.succeeded ? "success" : "failure", r.recordsSent, messages, {});
    } else if (kind_ == FlashKind::WLP && wireless_ && wirelessFlashing_ && wireless_->result().finished()) {
        const WirelessFlashResult& r = wireless_->result();
        std::vector<FlashLogMessage> messages;
        for (const std::string& text : r.messages)
            messages.push_back({text, title});
        endFlashLog(r.succeeded() ? "success" : "failure", r.recordsSent, messages, r.versionAfter);
    }
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
    if (FileSuitsAdapterKind(kind_, c.g_strFlashFileName)) {
        c.gbln_FileSelected = true;
        SetFileName(c.g_strFlashFileName);
    } else {
        log("\"" + c.g_strFlashFileName + "\" does not suit " + FlashKindText(kind_));
        c.gbln_FileSelected = false;
        clearFileInfo();
        SelectDefaultFile();
    }
}

void frmFlash::SelectDefaultFile()
{
    Context& c = ctx();
    if (std::optional<std::string> path = DefaultFlashFile(c, kind_)) {
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
    c.g_strFlashFileName = path;
    lblFileInfo_->setText(qs(LoadResString(503) + ShortenFilePath(path)));
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
    frmSelectFile dialog(ctx(), kind_, [this](const std::string& path) { SetFileName(path); }, &mainWindow());
    dialog.exec();
}

// ---------------------------------------------------------------- the flash

bool frmFlash::flashRunning() const
{
    return inFlash_ || (compact_ && compact_->transferring()) || (wireless_ && wireless_->active());
}

std::string frmFlash::flashState() const { return wireless_ ? wireless_->flashState() : std::string(); }

bool frmFlash::gbln_FlashVerificationChecks()
{
    const FlashCheckValues values{adapterRow(hardwareRow(kind_)), adapterRow(applicationRow(kind_)), fileRow(2),
                                  fileRow(1)};
    const FlashCheckOutcome outcome = lp::gbln_FlashVerificationChecks(ctx(), kind_, values);
    if (outcome.enableSelectFile)
        cmdSelectFile_->setEnabled(true);
    if (!outcome.passed) {
        // An attempt the checks stopped is still an attempt: the workshop's
        // log shows that the file was refused or declined, not silence.
        beginFlashLog();
        endFlashLog("cancelled", 0, {{"Stopped by the pre-flash checks", FlashProgramTitle(ctx())}}, {});
    }
    return outcome.passed;
}

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
    if (wireless_)
        wireless_->setFlashState({});
    BeginFlashForAdapterKind();
}

void frmFlash::BeginFlashForAdapterKind()
{
    Context& c = ctx();
    if (c.g_blnLP2Selected)
        FlashLP2();
    else if (c.g_blnWLPSelected)
        FlashWLP();
    else if (c.g_blnCGPSelected)
        FlashCGP();
}

void frmFlash::FlashLP2()
{
    Context& c = ctx();
    const std::string path = c.g_strFlashFileName;
    inFlash_ = true;
    const std::string port = LP2ReadDeviceParamsPort(c);
    if (PortIsParallel(port)) {
        inFlash_ = false;
        msgBox(LptRefusalText(), MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation);
        return;
    }
    if (port.empty()) {
        // No port configured: the Preferences screen has been opened for it.
        inFlash_ = false;
        return;
    }
    if (!RP1210IsConnected(c) && !LP2ConnectSIP(c, "SIP")) {
        inFlash_ = false;
        return;
    }
    if (!gbln_FlashVerificationChecks()) {
        // The client opened for this flash is not left holding the port.
        RP1210Disconnect(c);
        inFlash_ = false;
        return;
    }

    log("second-generation flash of \"" + path + "\" through the driver on " + port);
    setMainWindowEnabled(false);
    int16_t driverResult = 0;
    const FlashProgressCalls progress{[this] { showProgressDialog(); }, [this] { unloadProgressDialog(); }};
    beginFlashLog();
    const bool flashed = LP2SendFlashStart(c, 2, path, port, progress, &driverResult);
    endFlashLog(flashed ? "success" : "failure", 0,
                {{flashed ? FlashSucceededText() : LoadResString(109), FlashProgramTitle(c)}}, {});
    setMainWindowEnabled(true);
    inFlash_ = false;

    if (!flashed) {
        log("the driver refused the flash: " + std::to_string(driverResult));
        LP2ShowRP1210Error(c, LoadResString(109), driverResult, 0);
        setTitles();
        returnToReadyState();
    } else {
        showExitReturnDialog(FlashSucceededText());
    }
    if (c.ports.screens)
        c.ports.screens->setMousePointer(0);
    pointer_ = 0;
}

bool frmFlash::adapterRowsNotPresent(std::initializer_list<int> rows) const
{
    for (int row : rows) {
        if (adapterRow(row) != notPresent())
            return false;
    }
    return true;
}

void frmFlash::FlashCGP()
{
    Context& c = ctx();
    const std::string path = c.g_strFlashFileName;
    // An adapter that gave neither version (only its loader answers, or
    // nothing does) can only be flashed without the checks; one that gave
    // either is checked.
    if (!adapterRowsNotPresent({1, 2}) && !gbln_FlashVerificationChecks())
        return;
    if (CGPFlashBaudRate(c) == 0) {
        msgBox(InvalidBaudRateText(), MsgBoxStyle::OkOnly + MsgBoxStyle::Critical);
        return;
    }
    // The configured port, or for a search the one that answered last (this
    // screen's reading has just looked for it).
    const std::string configured = CGPReadDeviceParams(c);
    int16_t port = 0;
    if (configured != "COMX" && !configured.empty())
        port = vb::CInt(vb::Val(vb::Mid(configured, 4))).value_or(0);
    else
        port = CGPReadLastPort(c);
    if (port < 1 || !compact_ || !CGPPortExists(c, CGPDeviceName(port))) {
        log("no compact adapter port to flash on (\"" + configured + "\", COM" + std::to_string(port) + ")");
        CGPShowError(c, 1);
        returnToReadyState();
        return;
    }

    log("compact flash of \"" + path + "\" on COM" + std::to_string(port));
    inFlash_ = true;
    lockForFlash();
    setPointer(11);
    beginFlashLog();
    const bool transferring = compact_->start(port, path);
    noteFlashEnd();
    inFlash_ = false;
    if (!transferring)
        releaseFlashLock();
    if (pointer_ == 11)
        setPointer(0);
}

void frmFlash::lockForFlash()
{
    if (flashLocked_)
        return;
    flashLocked_ = true;
    setMainWindowEnabled(false);
}

void frmFlash::releaseFlashLock()
{
    if (!flashLocked_)
        return;
    flashLocked_ = false;
    setMainWindowEnabled(true);
}

void frmFlash::FlashWLP()
{
    Context& c = ctx();
    if (!wireless_ || !TCPSocket_)
        return;
    wireless_->setFlashState("4");
    if (!adapterRowsNotPresent({4}) && !gbln_FlashVerificationChecks())
        return;
    TCPSocket_->close();
    log("wireless flash of \"" + c.g_strFlashFileName + "\" to " + c.g_strWLPSelectedIP);
    inFlash_ = true;
    lockForFlash();
    wirelessFlashing_ = true;
    beginFlashLog();
    const bool running = wireless_->beginFlash(c.g_strWLPSelectedIP, c.g_strFlashFileName);
    noteFlashEnd();
    inFlash_ = false;
    if (!running)
        releaseFlashLock();
}

// ---------------------------------------------------------------- screen side of the flashes

frmDownloadProgress* frmFlash::downloadProgress() const { return progress_.data(); }

void frmFlash::showProgressDialog()
{
    if (destroying_)
        return;
    if (!progress_) {
        progress_ = new frmDownloadProgress(kind_, &mainWindow());
        progress_->setAttribute(Qt::WA_DeleteOnClose, false);
    }
    progress_->show();
    progress_->raise();
    // The driver's flash call blocks the window; paint the dialog first.
    progress_->repaint();
}

void frmFlash::unloadProgressDialog()
{
    if (!progress_)
        return;
    frmDownloadProgress* dialog = progress_.data();
    progress_ = nullptr;
    dialog->hide();
    dialog->deleteLater();
}

void frmFlash::showExitReturnDialog(const std::string& text)
{
    if (destroying_)
        return;
    frmExitReturnDialog dialog(ctx(), mainWindow());
    dialog.g_SetMessageText(qs(text));
    dialog.exec();
}

void frmFlash::returnToReadyState()
{
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
    frmParent& main = mainWindow();
    if (QMenuBar* menus = main.menuBar())
        menus->setEnabled(on);
    for (QToolBar* bar : main.findChildren<QToolBar*>())
        bar->setEnabled(on);
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

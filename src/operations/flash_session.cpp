#include "operations/flash_session.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "adapters/compact/compact_flash.h"
#include "adapters/compact/modCGP.h"
#include "adapters/lp2/modLP2.h"
#include "adapters/rp1210/modRP1210Interface.h"
#include "adapters/wireless/modWLP.h"
#include "core/string_table.h"
#include "core/vb_text.h"
#include "firmware/firmware_header.h"
#include "firmware/sha256.h"
#include "ports/choice_list.h"
#include "ports/host.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "core/delays.h"

namespace lp {

namespace {

std::string notPresent() { return LoadResString(Res::NotPresent); }

// "01.08.12" as {1, 8, 12}; nothing when a part is not a plain number.
std::optional<std::vector<long>> versionParts(const std::string& text)
{
    std::vector<long> parts;
    std::istringstream in(text);
    std::string part;
    while (std::getline(in, part, '.')) {
        if (part.empty() || part.size() > 9 || part.find_first_not_of("0123456789") != std::string::npos)
            return std::nullopt;
        parts.push_back(std::stol(part));
    }
    if (parts.empty())
        return std::nullopt;
    return parts;
}

} // namespace

const char* FlashOutcomeText(FlashOutcome outcome)
{
    switch (outcome) {
    case FlashOutcome::Success: return "success";
    case FlashOutcome::Cancelled: return "cancelled";
    case FlashOutcome::Failure: break;
    }
    return "failure";
}

const char* ReadBackVerdictText(ReadBackVerdict verdict)
{
    switch (verdict) {
    case ReadBackVerdict::Verified: return "verified";
    case ReadBackVerdict::Mismatch: return "mismatch";
    case ReadBackVerdict::NotRead: break;
    }
    return "not read";
}

ReadBackVerdict JudgeReadBack(const std::string& versionAfter, const std::string& fileVersion)
{
    if (versionAfter.empty() || versionAfter == notPresent())
        return ReadBackVerdict::NotRead;
    if (versionAfter == fileVersion)
        return ReadBackVerdict::Verified;
    auto after = versionParts(versionAfter);
    auto file = versionParts(fileVersion);
    if (!after || !file)
        return ReadBackVerdict::Mismatch;
    // 1.8 and 1.8.0 name the same firmware.
    const size_t parts = std::max(after->size(), file->size());
    after->resize(parts, 0);
    file->resize(parts, 0);
    return *after == *file ? ReadBackVerdict::Verified : ReadBackVerdict::Mismatch;
}

// Every box of an attempt goes on to the front end's prompts and into the
// log; a question answered No or Cancel marks the attempt as the user's stop.
class FlashSession::Recorder final : public Prompts {
public:
    explicit Recorder(Context& ctx) : ctx_(ctx), inner_(ctx.ports.prompts) { ctx.ports.prompts = this; }
    ~Recorder() override
    {
        if (ctx_.ports.prompts == this)
            ctx_.ports.prompts = inner_;
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    int msgBox(const std::string& prompt, int style, const std::string& title) override
    {
        messages.push_back({prompt, title});
        const int answer = inner_ ? inner_->msgBox(prompt, style, title) : MsgBoxResult::Ok;
        const int buttons = style & 0x0F;
        if ((buttons == MsgBoxStyle::YesNo || buttons == MsgBoxStyle::YesNoCancel)
            && (answer == MsgBoxResult::No || answer == MsgBoxResult::Cancel))
            ++declined;
        return answer;
    }

    std::vector<FlashLogMessage> messages;
    int declined = 0;

private:
    Context& ctx_;
    Prompts* inner_;
};

// The progress side that both line-by-line flashes share, forwarded to the
// view; the success dialog waits until the attempt is read back and logged.
template <class Interface> class ForwardingSide : public Interface {
public:
    ForwardingSide(FlashSessionView& view, std::function<void()> beforeSuccessDialog)
        : view_(view), beforeSuccessDialog_(std::move(beforeSuccessDialog))
    {
    }
    void showProgressDialog() override { view_.showProgressDialog(); }
    void unloadProgressDialog() override { view_.unloadProgressDialog(); }
    void setProgress(const FlashProgress& progress) override { view_.setProgress(progress); }
    void setMousePointer(int pointer) override { view_.setMousePointer(pointer); }
    void showExitReturnDialog(const std::string& text) override
    {
        beforeSuccessDialog_();
        view_.showExitReturnDialog(text);
    }
    void returnToReadyState() override { view_.returnToReadyState(); }

protected:
    FlashSessionView& view_;
    std::function<void()> beforeSuccessDialog_;
};

class FlashSession::CompactSide final : public ForwardingSide<CompactFlashScreen> {
public:
    using ForwardingSide::ForwardingSide;
    void setProgramDeviceTimerEnabled(bool enabled) override
    {
        view_.setFlashTimerEnabled(FlashTimer::ProgramDevice, enabled, CompactFlash::kProgramDeviceIntervalMs);
    }
    int mousePointer() const override { return view_.mousePointer(); }
};

class FlashSession::WirelessSide final : public ForwardingSide<WirelessFlashScreen> {
public:
    WirelessSide(FlashSessionView& view, std::function<void()> beforeSuccessDialog, FlashAdapterValues& values)
        : ForwardingSide(view, std::move(beforeSuccessDialog)), values_(values)
    {
    }
    void setHardFlashTimerEnabled(bool enabled) override
    {
        view_.setFlashTimerEnabled(FlashTimer::WLPHardFlash, enabled, WirelessFlash::kHardFlashIntervalMs);
    }
    void showAdapterValue(WirelessValue which, const std::string& text) override
    {
        switch (which) {
        case WirelessValue::ApplicationVersion: values_.application = text; break;
        case WirelessValue::HardwareVersion: values_.hardware = text; break;
        case WirelessValue::Identity: values_.boot = text; break;
        }
        view_.showAdapterValue(which, text);
    }
    // The main window stays locked until the attempt is concluded, a moment
    // later: the version read after the restart is still part of it.
    void endReconnectWait() override {}
    void beginConnectionWait() override { view_.beginConnectionWait(); }
    void endConnectionWait() override { view_.endConnectionWait(); }

private:
    FlashAdapterValues& values_;
};

FlashSession::FlashSession(Context& ctx, FlashSessionView& view, SerialPort* connection, TcpSocket* socket,
                           std::string source)
    : ctx_(ctx), view_(view), connection_(connection), socket_(socket), source_(std::move(source))
{
    const auto beforeSuccessDialog = [this] {
        if (compact_ && compact_->result().finished)
            concludeAttempt(FlashOutcome::Success, compact_->result().recordCount, compact_->result().recordsSent);
        else if (wireless_ && wirelessFlashing_ && wireless_->result().finished())
            concludeAttempt(FlashOutcome::Success, wireless_->result().recordCount, wireless_->result().recordsSent);
    };
    compactSide_ = std::make_unique<CompactSide>(view_, beforeSuccessDialog);
    wirelessSide_ = std::make_unique<WirelessSide>(view_, beforeSuccessDialog, wirelessValues_);
    if (connection_)
        compact_ = std::make_unique<CompactFlash>(ctx_, *connection_, *compactSide_);
    if (socket_) {
        wireless_ = std::make_unique<WirelessFlash>(ctx_, *socket_, *wirelessSide_);
        // A front end that must guard its own lifetime around events sets
        // its handlers over these.
        socket_->setDataArrivalHandler([this](int32_t) { dataArrival(); });
        socket_->setErrorHandler([this](int32_t number, const std::string& text) { socketError(number, text); });
    }
}

FlashSession::~FlashSession()
{
    abandon("the flash session is closing");
    if (socket_) {
        socket_->setDataArrivalHandler({});
        socket_->setErrorHandler({});
    }
    // The flashes go before the sides they report to.
    wireless_.reset();
    compact_.reset();
    recorder_.reset();
}

// ---------------------------------------------------------------- the adapter's values

FlashAdapterValues FlashSession::readLp2Values(bool withSerialIp)
{
    FlashAdapterValues v;
    v.serialIp = notPresent();
    if (!LP2ReadVersions(ctx_, v.hardware, v.application, v.boot)) {
        v.hardware = v.application = v.boot = notPresent();
        return v;
    }
    const int16_t port = PortNumberAfterM(LP2ReadDeviceParamsPort(ctx_));
    const std::string serialIp = connection_ && withSerialIp ? LP2SerialVersionQuery(ctx_, port, *connection_) : std::string();
    // A query that the port cut short gave no version either.
    if (!serialIp.empty())
        v.serialIp = serialIp;
    // "255.255" is an empty slot, never a version.
    if (v.application == "255.255")
        v.application = notPresent();
    if (v.boot == "255.255")
        v.boot = notPresent();
    return v;
}

FlashAdapterValues FlashSession::readCompactValues()
{
    FlashAdapterValues v;
    v.hardware = v.application = v.identity = notPresent();
    if (connection_)
        CGPConnectAndRead(ctx_, *connection_, v.hardware, v.application, v.identity);
    return v;
}

bool FlashSession::beginWirelessRead(const std::string& address)
{
    if (!wireless_)
        return false;
    if (wireless_->active()) {
        // A flash owns the socket until it ends; a read of the adapter
        // chosen before gives way to the new choice.
        if (wirelessFlashing_) {
            log("wireless adapter read refused: a flash is running");
            return false;
        }
        wireless_->abandon("another wireless adapter was chosen");
    }
    wirelessValues_.hardware = wirelessValues_.application = notPresent();
    wirelessFlashing_ = false;
    return wireless_->beginVersionRead(address);
}

FlashAdapterValues FlashSession::readValues()
{
    switch (FlashKindOf(ctx_)) {
    case FlashKind::LP2: return readLp2Values(false);
    case FlashKind::CGP: return readCompactValues();
    case FlashKind::None: return {};
    case FlashKind::WLP: break;
    }
    FlashAdapterValues v;
    v.hardware = v.application = notPresent();
    ChoiceItems list;
    if (!WLPFillList(ctx_, list) || ctx_.g_astrWLPNames.empty())
        return v;
    list.selected = WLPFindSelectedIndex(ctx_, list);
    const auto i = static_cast<size_t>(list.selected);
    if (list.selected < 0 || i >= ctx_.g_astrWLPAddresses.size() || i >= ctx_.g_astrWLPNames.size())
        return v;
    ctx_.wirelessAddress = ctx_.g_astrWLPAddresses[i];
    WLPSelectAdapter(ctx_, list);
    if (beginWirelessRead(ctx_.wirelessAddress)) {
        while (wireless_->active()) {
            ctx_.ports.host->waitUntil([this] { return !wireless_->active(); }, WirelessFlash::kHardFlashIntervalMs);
            wireless_->hardFlashTick();
        }
    }
    if (socket_)
        socket_->close();
    v = wirelessValues_;
    v.boot.clear();
    v.identity = ctx_.g_astrWLPNames[i];
    return v;
}

// ---------------------------------------------------------------- checks

FlashCheckOutcome FlashSession::checks(const FlashAdapterValues& shown)
{
    const FirmwareFileHeader header = ReadFirmwareFileHeader(ctx_, ctx_.flashFileName);
    const FlashCheckValues values{shown.hardware, shown.application, header.HardwareVersions,
                                  header.FirmwareVersion};
    const bool ownRecorder = !recorder_;
    if (ownRecorder)
        recorder_ = std::make_unique<Recorder>(ctx_);
    const int declinedBefore = recorder_->declined;
    kind_ = FlashKindOf(ctx_);
    const FlashCheckOutcome outcome = gbln_FlashVerificationChecks(ctx_, kind_, values);
    if (outcome.enableSelectFile)
        view_.enableFileChoice();
    if (!outcome.passed) {
        // An attempt the checks stopped is still an attempt: the workshop's
        // log shows that the file was refused or declined, not silence.
        const bool declined = recorder_->declined > declinedBefore;
        openAttempt(shown);
        concludeAttempt(declined ? FlashOutcome::Cancelled : FlashOutcome::Failure, 0, 0);
    } else if (ownRecorder && !open_) {
        // Checks run on their own keep no recorder; begin() brings its own.
        recorder_.reset();
    }
    return outcome;
}

// An adapter whose versions could not be read (one that sits in its loader
// after a broken flash, or one that answers nothing) skips the checks, but
// is flashed only on the user's own yes.
bool FlashSession::flashUnreadAdapter(const FlashAdapterValues& shown)
{
    const int answer = ctx_.ports.prompts->msgBox(NoHardwareVersionText(),
                                                  MsgBoxStyle::YesNoCancel + MsgBoxStyle::Question,
                                                  FlashProgramTitle(ctx_));
    if (answer == MsgBoxResult::Yes)
        return true;
    openAttempt(shown);
    concludeAttempt(FlashOutcome::Cancelled, 0, 0);
    return false;
}

// ---------------------------------------------------------------- the flash

bool FlashSession::begin(const FlashAdapterValues& shown)
{
    if (active()) {
        log("Begin Flash ignored: a flash is running");
        return false;
    }
    kind_ = FlashKindOf(ctx_);
    attempt_ = FlashAttempt{};
    recorder_ = std::make_unique<Recorder>(ctx_);
    // The driver's flash runs inside this call, letting messages run: a
    // second Begin Flash meanwhile must find the session busy.
    starting_ = true;
    bool running = false;
    if (ctx_.g_blnLP2Selected)
        running = FlashLP2(shown);
    else if (ctx_.g_blnWLPSelected)
        running = FlashWLP(shown);
    else if (ctx_.g_blnCGPSelected)
        running = FlashCGP(shown);
    starting_ = false;
    afterStep();
    if (!running && !open_)
        recorder_.reset();
    return running;
}

FlashAttempt FlashSession::run(const FlashAdapterValues& shown)
{
    if (begin(shown)) {
        while (active()) {
            if (compact_ && compact_->transferring()) {
                if (!connection_->portOpen()) {
                    compact_->abandon("the port closed during the transfer");
                    break;
                }
                compact_->tick();
                PumpMessages(ctx_);
            } else {
                ctx_.ports.host->waitUntil([this] { return !active(); }, WirelessFlash::kHardFlashIntervalMs);
                if (wireless_)
                    wireless_->hardFlashTick();
            }
            afterStep();
        }
        afterStep();
    }
    return attempt_;
}

bool FlashSession::FlashLP2(const FlashAdapterValues& shown)
{
    const std::string port = LP2ReadDeviceParamsPort(ctx_);
    if (PortIsParallel(port)) {
        ctx_.ports.prompts->msgBox(LptRefusalText(), MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation,
                                   FlashProgramTitle(ctx_));
        return false;
    }
    // No port configured: the Preferences screen has been opened for it.
    if (port.empty())
        return false;
    if (!RP1210IsConnected(ctx_) && !LP2ConnectSIP(ctx_, "SIP"))
        return false;
    if (!checks(shown)) {
        // The client opened for this flash is not left holding the port.
        RP1210Disconnect(ctx_);
        return false;
    }
    log("second-generation flash of \"" + ctx_.flashFileName + "\" through the driver on " + port);
    lock();
    openAttempt(shown);
    entry_.adapterIdentity = port;
    int16_t driverResult = 0;
    // The driver flashes the whole image on one command and says nothing
    // until it is done: one step, acknowledged by the command's result.
    const FlashProgressCalls progress{[this] {
                                          view_.showProgressDialog();
                                          view_.setProgress(FlashProgress{0, 1, 0});
                                      },
                                      [this, &driverResult] {
                                          if (driverResult < 128) // what LP2SendFlashStart counts as done
                                              view_.setProgress(FlashProgress{1, 1, 0});
                                          view_.unloadProgressDialog();
                                      }};
    const bool flashed = LP2SendFlashStart(ctx_, 2, ctx_.flashFileName, port, progress, &driverResult);
    if (!flashed) {
        log("the driver refused the flash: " + std::to_string(driverResult));
        LP2ShowRP1210Error(ctx_, LoadResString(Res::Lp2FlashFailed), driverResult, 0);
        concludeAttempt(FlashOutcome::Failure, 0, 0);
        unlock();
        view_.returnToReadyState();
    } else {
        std::string hardware, application, boot;
        if (LP2ReadVersions(ctx_, hardware, application, boot) && application != "255.255")
            attempt_.versionAfter = application;
        concludeAttempt(FlashOutcome::Success, 0, 0);
        unlock();
        view_.showExitReturnDialog(FlashSucceededText());
    }
    view_.setMousePointer(0);
    return false;
}

bool FlashSession::FlashCGP(const FlashAdapterValues& shown)
{
    // An adapter that gave neither version (only its loader answers, or
    // nothing does) can only be flashed without the checks; one that gave
    // either is checked.
    const bool unread = shown.hardware == notPresent() && shown.application == notPresent();
    if (unread ? !flashUnreadAdapter(shown) : !checks(shown))
        return false;
    if (CGPFlashBaudRate(ctx_) == 0) {
        ctx_.ports.prompts->msgBox(InvalidBaudRateText(), MsgBoxStyle::OkOnly + MsgBoxStyle::Critical,
                                   FlashProgramTitle(ctx_));
        return false;
    }
    // The configured port, or for a search the one that answered last (the
    // reading of the values has just looked for it).
    const std::string configured = CGPReadDeviceParams(ctx_);
    int16_t port = 0;
    if (configured != kCompactSearchAllPorts && !configured.empty())
        port = vb::CInt(vb::Val(vb::Mid(configured, 4))).value_or(0);
    else
        port = CGPReadLastPort(ctx_);
    if (port < 1 || !compact_ || !CGPPortExists(ctx_, CGPDeviceName(port))) {
        log("no compact adapter port to flash on (\"" + configured + "\", COM" + std::to_string(port) + ")");
        CGPShowError(ctx_, 1);
        view_.returnToReadyState();
        return false;
    }
    log("compact flash of \"" + ctx_.flashFileName + "\" on COM" + std::to_string(port));
    compactPort_ = port;
    lock();
    view_.setMousePointer(11);
    openAttempt(shown);
    const bool transferring = compact_->start(port, ctx_.flashFileName);
    if (view_.mousePointer() == 11)
        view_.setMousePointer(0);
    return transferring;
}

bool FlashSession::FlashWLP(const FlashAdapterValues& shown)
{
    if (!wireless_ || !socket_)
        return false;
    // The adapter must still be in the list: one removed since it was chosen
    // is never flashed at its old address.
    const auto& listed = ctx_.g_astrWLPAddresses;
    if (ctx_.wirelessAddress.empty()
        || std::find(listed.begin(), listed.end(), ctx_.wirelessAddress) == listed.end()) {
        ctx_.ports.prompts->msgBox("No adapters are listed!  Please go to Preferences and Add an adapter.",
                                   MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, FlashProgramTitle(ctx_));
        view_.returnToReadyState();
        return false;
    }
    wireless_->setFlashState(WirelessFlashStateText(WirelessFlashState::Connecting));
    const bool unread = shown.application == notPresent();
    if (unread ? !flashUnreadAdapter(shown) : !checks(shown))
        return false;
    socket_->close();
    log("wireless flash of \"" + ctx_.flashFileName + "\" to " + ctx_.wirelessAddress);
    lock();
    wirelessFlashing_ = true;
    openAttempt(shown);
    return wireless_->beginFlash(ctx_.wirelessAddress, ctx_.flashFileName);
}

// ---------------------------------------------------------------- events

void FlashSession::timerTick(FlashTimer which)
{
    if (which == FlashTimer::ProgramDevice && compact_)
        compact_->tick();
    else if (which == FlashTimer::WLPHardFlash && wireless_)
        wireless_->hardFlashTick();
    afterStep();
}

void FlashSession::dataArrival()
{
    if (wireless_)
        wireless_->dataArrival();
    afterStep();
}

void FlashSession::socketError(int32_t number, const std::string& description)
{
    if (wireless_)
        wireless_->socketError(number, description);
    afterStep();
}

bool FlashSession::active() const
{
    return starting_ || (compact_ && compact_->transferring()) || (wireless_ && wireless_->active());
}

bool FlashSession::flashing() const
{
    return starting_ || (compact_ && compact_->transferring()) || (wireless_ && wireless_->active() && wirelessFlashing_);
}

void FlashSession::abandon(const std::string& why)
{
    if (compact_ && compact_->transferring())
        compact_->abandon(why);
    if (wireless_ && wireless_->active())
        wireless_->abandon(why);
    afterStep();
}

std::string FlashSession::flashState() const { return wireless_ ? wireless_->flashState() : std::string(); }

void FlashSession::setFlashState(const std::string& state)
{
    if (wireless_)
        wireless_->setFlashState(state);
}

// After a tick, an event or a start: an ended flash is logged and frees the
// main window, whichever way it ended.
void FlashSession::afterStep()
{
    if (!open_ || concluding_)
        return;
    if (kind_ == FlashKind::CGP && compact_ && compact_->result().finished) {
        const CompactFlashResult& r = compact_->result();
        attempt_.reason = r.reason;
        concludeAttempt(r.succeeded ? FlashOutcome::Success : FlashOutcome::Failure, r.recordCount, r.recordsSent);
    } else if (kind_ == FlashKind::WLP && wireless_ && wirelessFlashing_ && wireless_->result().finished()) {
        const WirelessFlashResult& r = wireless_->result();
        attempt_.reason = r.reason;
        const FlashOutcome outcome = r.succeeded()                                    ? FlashOutcome::Success
                                     : r.outcome == WirelessFlashOutcome::Cancelled ? FlashOutcome::Cancelled
                                                                                      : FlashOutcome::Failure;
        concludeAttempt(outcome, r.recordCount, r.recordsSent);
    }
}

// ---------------------------------------------------------------- the attempt

void FlashSession::openAttempt(const FlashAdapterValues& shown)
{
    const FirmwareFileHeader header = ReadFirmwareFileHeader(ctx_, ctx_.flashFileName);
    FlashLogEntry& e = entry_;
    e = FlashLogEntry{};
    e.time = FlashLogTimeNow();
    e.source = source_;
    e.adapterKind = FlashKindText(kind_);
    e.adapterIdentity = kind_ == FlashKind::LP2   ? ctx_.g_strLP2Port
                        : kind_ == FlashKind::CGP ? shown.identity
                                                  : shown.identity + " (" + ctx_.wirelessAddress + ")";
    e.hardwareBefore = shown.hardware;
    e.applicationBefore = shown.application;
    if (kind_ == FlashKind::LP2)
        e.bootBefore = shown.boot;
    e.filePath = ctx_.flashFileName;
    e.fileSha256 = Sha256OfFile(e.filePath).value_or("");
    e.fileFirmwareVersion = header.FirmwareVersion;
    e.fileFirmwareType = header.FirmwareType;
    e.fileReleaseDate = header.ReleaseDate;
    e.fileHardwareVersions = header.HardwareVersions;
    startTick_ = ctx_.ports.host ? ctx_.ports.host->tickCount() : 0;
    open_ = true;
    std::string error;
    // On record before the adapter hears anything: an attempt killed
    // half-way keeps this line and reads as "interrupted".
    if (!BeginFlashLogAttempt(e, FlashLogPath(), &error))
        log("flash log not written: " + error);
}

std::string FlashSession::readBackCompact()
{
    if (!connection_ || compactPort_ < 1)
        return {};
    // An adapter still restarting says nothing, which is no news for the
    // user: the read-back's own boxes stay out of sight.
    class Quiet final : public Prompts {
    public:
        int msgBox(const std::string&, int, const std::string&) override { return MsgBoxResult::Ok; }
    } quiet;
    Prompts* saved = ctx_.ports.prompts;
    ctx_.ports.prompts = &quiet;
    std::string hardware, application, serial;
    const bool read = CGPReadIdentity(ctx_, compactPort_, *connection_, hardware, application, serial);
    ctx_.ports.prompts = saved;
    return read && application != notPresent() ? application : std::string();
}

void FlashSession::concludeAttempt(FlashOutcome outcome, int64_t recordCount, int64_t recordsSent)
{
    if (!open_ || concluding_)
        return;
    concluding_ = true;
    attempt_.outcome = outcome;
    attempt_.recordCount = recordCount;
    attempt_.recordsSent = recordsSent;
    if (ctx_.ports.host)
        attempt_.seconds = (ctx_.ports.host->tickCount() - startTick_) / 1000.0;
    if (outcome == FlashOutcome::Success) {
        if (kind_ == FlashKind::CGP)
            attempt_.versionAfter = readBackCompact();
        else if (kind_ == FlashKind::WLP && wireless_)
            attempt_.versionAfter = wireless_->result().versionAfter;
        attempt_.readBack = JudgeReadBack(attempt_.versionAfter, entry_.fileFirmwareVersion);
        log(std::string("read-back after the flash: \"") + attempt_.versionAfter + "\" against the file's \""
            + entry_.fileFirmwareVersion + "\": " + ReadBackVerdictText(attempt_.readBack));
    }
    if (recorder_)
        attempt_.messages = recorder_->messages;
    // The closing dialog follows the log; its text belongs in it all the same.
    if (outcome == FlashOutcome::Success)
        attempt_.messages.push_back({FlashSucceededText(), FlashProgramTitle(ctx_)});

    entry_.result = FlashOutcomeText(outcome);
    entry_.messages = attempt_.messages;
    entry_.recordsSent = recordsSent;
    entry_.seconds = attempt_.seconds;
    entry_.versionAfter = attempt_.versionAfter;
    if (outcome == FlashOutcome::Success)
        entry_.readBack = ReadBackVerdictText(attempt_.readBack);
    else
        entry_.reason = attempt_.reason;
    std::string error;
    // The flash has happened either way; a log that cannot be written is
    // only worth a line in the trace.
    if (!EndFlashLogAttempt(entry_, FlashLogPath(), &error))
        log("flash log not written: " + error);
    open_ = false;
    recorder_.reset();
    wirelessFlashing_ = false;
    unlock();
    concluding_ = false;
    view_.flashEnded(attempt_);
}

void FlashSession::lock()
{
    if (locked_)
        return;
    locked_ = true;
    view_.setMainWindowEnabled(false);
}

void FlashSession::unlock()
{
    if (!locked_)
        return;
    locked_ = false;
    view_.setMainWindowEnabled(true);
}

void FlashSession::log(const std::string& text)
{
    if (ctx_.ports.log)
        ctx_.ports.log->info(LogSubsystem::Flash, text);
}

} // namespace lp

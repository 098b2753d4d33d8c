#include "adapters/wireless/wireless_flash.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "firmware/firmware_file_scan.h"
#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "adapters/frames.h"
#include "adapters/wireless/modWLP.h"
#include "ports/host.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "core/delays.h"
#include "core/string_table.h"

namespace lp {

namespace {

const Bytes kAskIdentity{0x5E, 0x02, 0x0D, 0x01, 0x92};
const Bytes kAskHardwareVersion{0x5E, 0x02, 0x0D, 0x03, 0x90};
const Bytes kSwitchFrame8{0x5E, 0x02, 0x05, 0x04, 0x97};
const Bytes kSwitchFrame7{0x5E, 0x02, 0x01, 0x03, 0x9C};

const Bytes kReadyAsk{'!', '!', '!', '!'};
// "####" is the first four bytes of an eight-byte array of 35s; the loader
// reads exactly four.
const Bytes kStartArray(8, static_cast<uint8_t>(35));
constexpr size_t kStartTextLength = 4;
const char* const kReadyAnswer = "????";
constexpr size_t kReadyAnswerLength = 4;
constexpr uint8_t kAcknowledge = '#';

constexpr int16_t kBeforeReadyAskMs = 100;

using enum LogLevel;

// The answer to "!!!!" is the loader's only when it is the four characters
// and nothing more: "??" and "????x" are not, and take the switch path.
bool isReadyAnswer(const Bytes& data)
{
    if (data.size() != kReadyAnswerLength)
        return false;
    return std::string(data.begin(), data.end()).find(kReadyAnswer) != std::string::npos;
}

std::string replyText(const Bytes& data)
{
    return data.empty() ? std::string("nothing") : frames::hexText(data, kReplyLogBytes);
}

} // namespace

WirelessFlash::WirelessFlash(Context& ctx, TcpSocket& socket, WirelessFlashScreen& screen)
    : ctx_(ctx), TCPSocket(socket), screen_(screen)
{
}

WirelessFlash::~WirelessFlash() = default;

void WirelessFlash::log(LogLevel level, const std::string& text)
{
    FlashLog(ctx_, level, "wireless flash", text);
}

template <typename Step> void WirelessFlash::runGuarded(Step&& stepFn)
{
    busy_ = true;
    stepFn();
    // What arrived while the step waited (the count lets messages run) was
    // taken from the socket then; its own event finds nothing to announce.
    while (active_ && !errorPending_ && !pending_.empty()) {
        const Bytes data = std::exchange(pending_, {});
        step(data);
    }
    if (errorPending_) {
        errorPending_ = false;
        if (active_)
            endAfterSocketError(pendingErrorText_);
    }
    pending_.clear();
    busy_ = false;
    // Last of all: the exit/return dialog may take the screen, and this
    // object with it, away.
    if (auto after = std::exchange(after_, nullptr))
        after();
}

// ---------------------------------------------------------------- starts

bool WirelessFlash::beginVersionRead(const std::string& address)
{
    if (active_ || busy_) {
        log(Warning, "version read refused: the adapter is busy with another exchange");
        return false;
    }
    result_ = {};
    job_ = Job::VersionRead;
    address_ = address;
    rowsShown_.clear();
    pending_.clear();
    errorPending_ = false;
    active_ = true;
    if (ctx_.ports.host)
        startTick_ = ctx_.ports.host->tickCount();
    log(Info, "version read from " + address);
    bool reading = false;
    runGuarded([&] {
        // The screen's Connecting dialog is up meanwhile; its Cancel ends
        // the wait at once.
        if (!connectCancellably()) {
            if (!errorPending_)
                endVersionRead(ctx_.cancelConnection ? "cancelled by the user" : "no connection to " + address_);
            return;
        }
        setState(WirelessFlashState::IdentityAsked);
        screen_.setHardFlashTimerEnabled(true);
        send(kAskIdentity, "identity query");
        reading = true;
    });
    return reading;
}

bool WirelessFlash::beginFlash(const std::string& address, const std::string& path)
{
    if (active_ || busy_) {
        log(Warning, "flash refused: the adapter is busy with another exchange");
        return false;
    }
    result_ = {};
    job_ = Job::Flash;
    address_ = address;
    path_ = path;
    bootSwitch_ = false;
    askedLoaderAgain_ = false;
    recordOwed_ = false;
    transferStarted_ = false;
    errorPending_ = false;
    pending_.clear();
    progress_ = {};
    awaitingAcknowledge_ = false;
    if (!ctx_.ports.host) {
        result_.outcome = WirelessFlashOutcome::Abandoned;
        result_.reason = "no host to keep time";
        return false;
    }
    startTick_ = ctx_.ports.host->tickCount();
    active_ = true;
    setState(WirelessFlashState::Connecting);
    log(Info, "flash of " + path + " into " + address);
    bool running = false;
    runGuarded([&] {
        // The whole file is checked before the adapter hears anything: a
        // corrupt record found half-way would leave it with half an image.
        const FirmwareFileCheck check = CheckFirmwareFile(ctx_, path_);
        if (!check.ok()) {
            endCorruptFile("file check: " + check.reason);
            return;
        }
        progress_.total = check.records;
        TCPSocket.close();
        // A connection may take long (an adapter out of reach answers
        // nothing for 20 s): the Connecting dialog with Cancel shows then,
        // not a busy window.
        screen_.beginConnectionWait();
        const bool connected = connectCancellably();
        screen_.endConnectionWait();
        if (!connected) {
            if (active_ && ctx_.cancelConnection)
                endAfterSocketError("cancelled by the user while connecting", WirelessFlashOutcome::Cancelled);
            else if (!errorPending_ && active_)
                endAfterSocketError("no connection to " + address_);
            return;
        }
        // From here to the end, through the switch to the loader and the
        // restart, the progress dialog is what the user sees.
        screen_.setMousePointer(kHourglass);
        screen_.showProgressDialog();
        screen_.setProgress(progress_);
        screen_.setHardFlashTimerEnabled(true);
        stepFour();
        running = true;
    });
    return running && active_;
}

// ---------------------------------------------------------------- events

void WirelessFlash::dataArrival()
{
    Bytes data = TCPSocket.getData();
    if (data.empty())
        return;
    if (busy_) {
        pending_.insert(pending_.end(), data.begin(), data.end());
        return;
    }
    if (!active_) {
        log(Debug, "data outside an exchange ignored: " + replyText(data));
        return;
    }
    runGuarded([&] { step(data); });
}

void WirelessFlash::socketError(int32_t number, const std::string& description)
{
    log(Warning, "socket error " + std::to_string(number) + " (" + description + ") in state " + flashState());
    if (reconnecting_) {
        // The reconnect tries again while the adapter restarts; it shows the
        // last error itself if the adapter never comes back.
        lastError_ = number;
        lastErrorText_ = description;
        return;
    }
    if (readingVersionAfter_) {
        // The flash is done; a version that does not come is "Not Present".
        return;
    }
    if (active_ && !busy_ && job_ == Job::Flash && state_ == WirelessFlashState::Restarting && number == TcpError::ConnectionReset) {
        // The adapter took the closing frame and restarted before its
        // answer got out: that is the end of file the state waits for.
        log(Info, "the adapter restarted without answering the closing frame");
        runGuarded([&] { stepRestart(); });
        return;
    }
    message("Error# " + std::to_string(number) + "\r\n" + description, MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation,
            LoadResString(Res::ProgramTitle));
    if (!active_)
        return;
    const std::string why = "socket error " + std::to_string(number) + " in state " + flashState();
    if (busy_) {
        errorPending_ = true;
        pendingErrorText_ = why;
        return;
    }
    runGuarded([&] { endAfterSocketError(why); });
}

void WirelessFlash::hardFlashTick()
{
    if (busy_ || !active_ || !ctx_.ports.host)
        return;
    if (recordOwed_ && job_ == Job::Flash && state_ == WirelessFlashState::SendingRecords) {
        runGuarded([&] { sendNextRecord(); });
        return;
    }
    if (secondsSinceSend() <= kAnswerTimeoutSeconds)
        return;
    if (resendsLeft_ > 0) {
        --resendsLeft_;
        ++result_.resends;
        log(Warning, "no answer in state " + flashState() + " for " + std::to_string(std::llround(secondsSinceSend() * 1000))
                         + " ms: sending the last " + std::to_string(lastSent_.size()) + " bytes again");
        if (!TCPSocket.sendData(lastSent_))
            log(Warning, "the socket refused the re-send: " + TCPSocket.lastError());
        sent_ = FlashStamp::now(*ctx_.ports.host);
        return;
    }
    runGuarded([&] {
        if (job_ == Job::VersionRead)
            endVersionRead("no answer in state " + flashState());
        else
            endTimedOut();
    });
}

void WirelessFlash::abandon(const std::string& why)
{
    if (!active_)
        return;
    log(Warning, "abandoned in state " + flashState() + ": " + why);
    deactivate();
    TCPSocket.close();
    if (job_ == Job::Flash) {
        screen_.unloadProgressDialog();
        screen_.setMousePointer(kDefaultPointer);
    }
    file_.close();
    finish(WirelessFlashOutcome::Abandoned, why);
}

// ---------------------------------------------------------------- steps

void WirelessFlash::step(const Bytes& data)
{
    if (state_ == WirelessFlashState::IdentityAsked || state_ == WirelessFlashState::ApplicationVersionAsked || state_ == WirelessFlashState::HardwareVersionAsked) {
        stepVersionRead(data);
    } else if (state_ == WirelessFlashState::ReadyAsked) {
        stepReadyAnswer(data);
    } else if (state_ == WirelessFlashState::ClosingForSwitch) {
        send(kSwitchFrame8, "switch frame 05 04");
        setState(WirelessFlashState::SwitchRequested);
    } else if (state_ == WirelessFlashState::SwitchRequested) {
        send(kSwitchFrame7, "switch frame 01 03");
        setState(WirelessFlashState::LoaderStarting);
    } else if (state_ == WirelessFlashState::LoaderStarting) {
        stepLoaderRestart(data);
    } else if (state_ == WirelessFlashState::LoaderReady) {
        stepTransferPrepared();
    } else if (state_ == WirelessFlashState::SendingRecords) {
        stepRecordAnswer(data);
    } else if (state_ == WirelessFlashState::Restarting) {
        // The last record's "#" comes after the closing frame has gone out.
        if (data.front() == kAcknowledge)
            noteAcknowledge();
        stepRestart();
    } else if (state_ == WirelessFlashState::ClosingAfterRestart) {
        stepSucceeded();
    } else {
        log(Debug, "data in state \"" + flashState() + "\" ignored: " + replyText(data));
    }
}

void WirelessFlash::stepFour()
{
    DelayMilliseconds(ctx_, kBeforeReadyAskMs);
    // Whatever the adapter said on connecting is no answer to "!!!!".
    pending_.clear();
    TCPSocket.getData();
    send(kReadyAsk, "!!!!");
    setState(WirelessFlashState::ReadyAsked);
}

void WirelessFlash::stepVersionRead(const Bytes& data)
{
    if (state_ == WirelessFlashState::IdentityAsked) {
        showRow(WirelessValue::Identity, WLPParseIdentityText(data));
        send(frames::kAskApplicationVersion, "application version query");
        setState(WirelessFlashState::ApplicationVersionAsked);
    } else if (state_ == WirelessFlashState::ApplicationVersionAsked) {
        showRow(WirelessValue::ApplicationVersion, WLPParseHexVersion(data));
        send(kAskHardwareVersion, "hardware version query");
        setState(WirelessFlashState::HardwareVersionAsked);
    } else {
        showRow(WirelessValue::HardwareVersion, WLPParseDecimalVersion(data));
        endVersionRead({});
    }
}

void WirelessFlash::stepReadyAnswer(const Bytes& data)
{
    if (!isReadyAnswer(data)) {
        bootSwitch_ = true;
        result_.bootSwitched = true;
        log(Info, "answer to !!!! was " + replyText(data) + ", not ????: switching the adapter to its loader");
        send(frames::kWake, "closing frame 01 01");
        setState(WirelessFlashState::ClosingForSwitch);
        return;
    }
    log(Info, "the loader answered ???? and is ready");
    send(Bytes(kStartArray.begin(), kStartArray.begin() + kStartTextLength), "####");
    if (!prepareTransfer())
        return;
    setState(WirelessFlashState::SendingRecords);
}

void WirelessFlash::stepLoaderRestart(const Bytes& data)
{
    if (!askedLoaderAgain_) {
        // The answer to 01 03: the adapter is restarting into its loader,
        // which hears nothing until it runs.
        log(Info, "the adapter answered 01 03 (" + replyText(data) + "): waiting for its loader");
        askedLoaderAgain_ = true;
        DelayMilliseconds(ctx_, kLoaderStartMs);
        send(kReadyAsk, "!!!!");
        return;
    }
    if (isReadyAnswer(data)) {
        log(Info, "the loader answered ???? after the switch");
        send(Bytes(kStartArray.begin(), kStartArray.begin() + kStartTextLength), "####");
        setState(WirelessFlashState::LoaderReady);
        return;
    }
    // Something the application said on its way down; the loader's "????"
    // is still to come (the hard-flash timer asks again if it does not).
    log(Debug, "waiting for ????, got " + replyText(data));
}

void WirelessFlash::stepTransferPrepared()
{
    setState(WirelessFlashState::SendingRecords);
    if (!prepareTransfer())
        return;
    // LoaderReady sends nothing; the next tick of the hard-flash timer sends the
    // first record.
    recordOwed_ = true;
}

void WirelessFlash::stepRecordAnswer(const Bytes& data)
{
    if (data.front() == kAcknowledge) {
        noteAcknowledge();
        sendNextRecord();
        return;
    }
    endRefusedRecord("record " + std::to_string(result_.recordsSent) + " (line " + std::to_string(file_.lineNumber())
                     + ") answered " + replyText(data));
}

void WirelessFlash::stepRestart()
{
    TCPSocket.close();
    file_.close();
    log(Info, "end of file: the adapter restarts; connecting again");
    const bool connected = reconnect();
    // The window must not stay disabled whatever the reconnect gave.
    screen_.endReconnectWait();
    if (!active_)
        return; // abandoned while the reconnect waited
    if (!connected) {
        // Nothing further happens: the screen stays as it is. The error of
        // the last attempt is what the socket's error event shows.
        const std::string why = "no connection after the restart (" + std::to_string(result_.reconnectAttempts)
                                + " attempts)";
        deactivate();
        TCPSocket.close();
        screen_.unloadProgressDialog();
        screen_.setMousePointer(kDefaultPointer);
        if (lastError_ != 0)
            message("Error# " + std::to_string(lastError_) + "\r\n" + lastErrorText_,
                    MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
        finish(WirelessFlashOutcome::ReconnectFailed, why);
        return;
    }
    setState(WirelessFlashState::ClosingAfterRestart);
    send(frames::kWake, "closing frame 01 01 after the restart");
}

void WirelessFlash::stepSucceeded()
{
    log(Info, "the adapter answered after its restart: the flash succeeded");
    result_.versionAfter = readVersionAfter();
    log(Info, "application version after the flash: " + result_.versionAfter);
    if (!active_)
        return;
    deactivate();
    TCPSocket.close();
    screen_.unloadProgressDialog();
    screen_.setMousePointer(kDefaultPointer);
    finish(WirelessFlashOutcome::Succeeded, {});
    after_ = [&screen = screen_] {
        screen.showExitReturnDialog(LoadResString(Res::FlashSucceeded) + "\r\n\r\n" + LoadResString(Res::FlashNextSteps));
    };
}


// ---------------------------------------------------------------- helpers

bool WirelessFlash::send(const Bytes& bytes, const char* what)
{
    lastSent_ = bytes;
    resendsLeft_ = kMaxResends;
    if (ctx_.ports.host) {
        sent_ = FlashStamp::now(*ctx_.ports.host);
    }
    if (TCPSocket.sendData(bytes))
        return true;
    // The error event or the hard-flash timer ends what this leaves.
    log(Warning, std::string("the socket refused the ") + what + ": " + TCPSocket.lastError());
    return false;
}

void WirelessFlash::setState(WirelessFlashState state)
{
    if (state_ == state)
        return;
    log(Debug, "state \"" + flashState() + "\" -> \"" + WirelessFlashStateText(state) + "\"");
    state_ = state;
}

std::string WirelessFlashStateText(WirelessFlashState state)
{
    return state == WirelessFlashState::None ? std::string() : std::to_string(static_cast<int>(state));
}

void WirelessFlash::setFlashState(const std::string& state)
{
    int number = 0;
    for (char c : state) {
        if (c < '0' || c > '9' || number > 12)
            return;
        number = number * 10 + (c - '0');
    }
    if (number <= 12)
        state_ = static_cast<WirelessFlashState>(number);
}

double WirelessFlash::secondsSinceSend()
{
    return sent_.secondsSince(*ctx_.ports.host);
}

void WirelessFlash::showRow(WirelessValue which, const std::string& text)
{
    rowsShown_.push_back(which);
    screen_.showAdapterValue(which, text);
}

void WirelessFlash::noteAcknowledge()
{
    if (!awaitingAcknowledge_)
        return;
    awaitingAcknowledge_ = false;
    ++progress_.acknowledged;
    screen_.setProgress(progress_);
}

bool WirelessFlash::connectCancellably()
{
    ctx_.cancelConnection = false;
    return WLPConnect(ctx_, TCPSocket, address_, kConnectTimeoutMs, [this] { return ctx_.cancelConnection || !active_; });
}

void WirelessFlash::message(const std::string& text, int style, const std::string& title)
{
    result_.messages.push_back(text);
    if (ctx_.ports.prompts)
        ctx_.ports.prompts->msgBox(text, style, title);
}
// ---------------------------------------------------------------- command line

WirelessFlashResult RunWirelessFlash(Context& ctx, TcpSocket& TCPSocket, WirelessFlashScreen& screen,
                                     const std::string& address, const std::string& path)
{
    WirelessFlash flash(ctx, TCPSocket, screen);
    TCPSocket.setDataArrivalHandler([&flash](int32_t) { flash.dataArrival(); });
    TCPSocket.setErrorHandler(
        [&flash](int32_t number, const std::string& description) { flash.socketError(number, description); });
    if (flash.beginFlash(address, path)) {
        // The hard-flash timer's ticks, here without a timer: the machine
        // ends by itself on every path, the tick sees to that.
        while (flash.active()) {
            ctx.ports.host->waitUntil([&flash] { return !flash.active(); }, WirelessFlash::kHardFlashIntervalMs);
            flash.hardFlashTick();
        }
    }
    TCPSocket.setDataArrivalHandler({});
    TCPSocket.setErrorHandler({});
    return flash.result();
}

} // namespace lp

// The record transfer, the restart and read-back after it, and every way
// a wireless flash ends.
#include "adapters/wireless/wireless_flash.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

constexpr int16_t kAfterRefusedRecordMs = 200;

const char* const kPowerCycleText =
    "An error occured while flashing the Wireless Linkport.\r\nPlease power cycle the adapter manually.";
const char* const kCorruptFileText = "The file is corrupt!  Please select another file and try again.";
const char* const kCorruptFileTitle = "Corrupt file";
const char* const kHardFlashText = "Error while programming device.  Please retry!";

using enum LogLevel;

} // namespace

// ---------------------------------------------------------------- transfer

bool WirelessFlash::prepareTransfer()
{
    const FirmwareRecordCount count = CountFirmwareRecords(ctx_, path_);
    if (!active_)
        return false;
    if (!count.ok()) {
        endCorruptFile("record count: " + FirmwareFileFaultText(count.fault, count.line));
        return false;
    }
    result_.recordCount = count.count;
    if (!file_.open(path_)) {
        endCorruptFile("the file cannot be opened again");
        return false;
    }
    std::string line;
    for (int i = 0; i < kFirmwareHeaderLines; ++i)
        file_.readLine(line);
    progress_.acknowledged = 0;
    progress_.recordCount = count.count;
    screen_.showProgressDialog();
    screen_.setProgress(progress_);
    log(Info, "transfer of " + std::to_string(count.count) + " lines prepared");
    return true;
}

void WirelessFlash::sendNextRecord()
{
    recordOwed_ = false;
    if (TCPSocket.state() == TcpState::Connected) {
        std::string line;
        const auto status = file_.readLine(line);
        if (status == FirmwareLineReader::Status::ReadError) {
            endCorruptFile("the file could not be read at line " + std::to_string(file_.lineNumber() + 1));
            return;
        }
        const std::string record(TrimRecordLine(line));
        if (status != FirmwareLineReader::Status::End) {
            if (!record.empty() && !IsEndRecordLine(record)) {
                if (status == FirmwareLineReader::Status::TooLong || CheckRecordLine(record)) {
                    endCorruptFile("record at line " + std::to_string(file_.lineNumber()) + " is corrupt: " + record);
                    return;
                }
                const Bytes bytes = RecordToBytes(record, true);
                ++result_.recordsSent;
                awaitingAcknowledge_ = true;
                if (!transferStarted_ && ctx_.ports.host) {
                    transferStarted_ = true;
                    transferStartTick_ = ctx_.ports.host->tickCount();
                }
                send(bytes, "record");
                setState(WirelessFlashState::SendingRecords);
                if (result_.recordsSent == 1 || result_.recordsSent % kProgressLogEvery == 0)
                    log(Debug, "record " + std::to_string(result_.recordsSent) + " sent (line "
                                   + std::to_string(file_.lineNumber()) + ")");
            } else if (!file_.atEnd()) {
                // Blank, or passed over by the end-record test: the tick reads on.
                log(Debug, "line " + std::to_string(file_.lineNumber()) + " is not sent");
                recordOwed_ = true;
            }
        }
    }
    if (TCPSocket.state() == TcpState::Connected && file_.atEnd()) {
        recordOwed_ = false;
        if (transferStarted_ && ctx_.ports.host)
            result_.transferMs = FlashTicksSince(*ctx_.ports.host, transferStartTick_);
        send(frames::kWake, "closing frame 01 01");
        setState(WirelessFlashState::Restarting);
    }
}

bool WirelessFlash::reconnect()
{
    Host* host = ctx_.ports.host;
    const int32_t start = host->tickCount();
    reconnecting_ = true;
    bool connected = false;
    for (;;) {
        ++result_.reconnectAttempts;
        lastError_ = 0;
        if (WLPConnect(ctx_, TCPSocket, address_, kConnectTimeoutMs, [this] { return !active_; })) {
            connected = true;
            break;
        }
        if (!active_ || FlashTicksSince(*host, start) + kReconnectRetryMs > static_cast<uint32_t>(kReconnectWindowMs))
            break;
        log(Debug, "attempt " + std::to_string(result_.reconnectAttempts) + " failed; trying again");
        host->waitUntil([this] { return !active_; }, kReconnectRetryMs);
        if (!active_)
            break;
    }
    reconnecting_ = false;
    log(connected ? Info : Warning, std::string(connected ? "connected again" : "no connection") + " after "
                                        + std::to_string(result_.reconnectAttempts) + " attempts, "
                                        + std::to_string(FlashTicksSince(*host, start)) + " ms");
    return connected;
}

std::string WirelessFlash::readVersionAfter()
{
    constexpr size_t kReplyLength = 8; // 5F 05 0D 02, three bytes, check
    pending_.clear();
    readingVersionAfter_ = true;
    if (send(frames::kAskApplicationVersion, "application version query")) {
        ctx_.ports.host->waitUntil(
            [this] { return pending_.size() >= kReplyLength || TCPSocket.state() != TcpState::Connected || !active_; },
            kVersionAfterWaitMs);
    }
    readingVersionAfter_ = false;
    const Bytes reply = std::exchange(pending_, {});
    return WLPParseHexVersion(reply);
}

// ---------------------------------------------------------------- endings

void WirelessFlash::deactivate()
{
    // First of all, before any box: a modal box lets messages run, and no
    // tick or arrival may step the machine behind it.
    active_ = false;
    recordOwed_ = false;
    screen_.setHardFlashTimerEnabled(false);
}

void WirelessFlash::endCorruptFile(const std::string& why)
{
    if (!active_)
        return;
    log(Warning, "corrupt file: " + why);
    deactivate();
    message(kCorruptFileText, MsgBoxStyle::OkOnly + MsgBoxStyle::Critical, kCorruptFileTitle);
    TCPSocket.close();
    endTransfer(WirelessFlashOutcome::CorruptFile, why);
}

void WirelessFlash::endRefusedRecord(const std::string& why)
{
    if (!active_)
        return;
    log(Warning, "refused: " + why);
    deactivate();
    DelayMilliseconds(ctx_, kAfterRefusedRecordMs);
    if (!TCPSocket.sendData(frames::kWake))
        log(Warning, "the closing frame after the refusal could not be sent: " + TCPSocket.lastError());
    TCPSocket.close();
    message(kPowerCycleText, MsgBoxStyle::OkOnly + MsgBoxStyle::Critical, LoadResString(Res::ProgramTitle));
    endTransfer(WirelessFlashOutcome::RefusedRecord, why);
}

void WirelessFlash::endTimedOut()
{
    if (!active_)
        return;
    const std::string why = "no answer in state " + flashState() + " after " + std::to_string(kMaxResends)
                            + " re-sends (" + std::to_string(result_.recordsSent) + " records sent)";
    log(Warning, why);
    deactivate();
    // The adapter is not told to restart: a loader that is only stuck keeps
    // its place and takes the retry from "????".
    TCPSocket.close();
    message(kHardFlashText, MsgBoxStyle::OkOnly + MsgBoxStyle::Critical, LoadResString(Res::ProgramTitle));
    endTransfer(WirelessFlashOutcome::TimedOut, why);
}

void WirelessFlash::endAfterSocketError(const std::string& why, WirelessFlashOutcome outcome)
{
    if (!active_)
        return;
    if (job_ == Job::VersionRead) {
        endVersionRead(why);
        return;
    }
    deactivate();
    TCPSocket.close();
    endTransfer(outcome, why);
}

// What every failed flash does last, after its message: the screen back to
// where another attempt can start.
void WirelessFlash::endTransfer(WirelessFlashOutcome outcome, const std::string& why)
{
    screen_.unloadProgressDialog();
    screen_.setMousePointer(kDefaultPointer);
    file_.close();
    screen_.returnToReadyState();
    finish(outcome, why);
}

void WirelessFlash::endVersionRead(const std::string& why)
{
    if (!active_)
        return;
    deactivate();
    TCPSocket.close();
    // A value the adapter did not give is "Not Present".
    for (WirelessValue which :
         {WirelessValue::Identity, WirelessValue::ApplicationVersion, WirelessValue::HardwareVersion}) {
        if (std::find(rowsShown_.begin(), rowsShown_.end(), which) == rowsShown_.end())
            showRow(which, LoadResString(Res::NotPresent));
    }
    finish(WirelessFlashOutcome::VersionRead, why);
}

void WirelessFlash::finish(WirelessFlashOutcome outcome, const std::string& why)
{
    active_ = false;
    result_.outcome = outcome;
    result_.reason = why;
    if (ctx_.ports.host)
        result_.durationMs = FlashTicksSince(*ctx_.ports.host, startTick_);
    if (job_ == Job::VersionRead) {
        log(why.empty() ? Info : Warning, "version read ended in state " + flashState() + (why.empty() ? "" : ": " + why));
    } else {
        log(outcome == WirelessFlashOutcome::Succeeded ? Info : Warning,
            std::string(outcome == WirelessFlashOutcome::Succeeded ? "succeeded" : "ended") + " in state " + flashState()
                + ": " + std::to_string(result_.recordsSent) + " records sent, " + std::to_string(result_.resends)
                + " re-sends, " + std::to_string(result_.durationMs) + " ms" + (why.empty() ? "" : "; " + why));
    }
    job_ = Job::None;
}

} // namespace lp

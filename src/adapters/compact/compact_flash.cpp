#include "adapters/compact/compact_flash.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "firmware/firmware_file_scan.h"
#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "adapters/frames.h"
#include "adapters/compact/modCGP.h"
#include "ports/host.h"
#include "ports/logger.h"
#include "core/delays.h"
#include "core/string_table.h"

namespace lp {

namespace {

const Bytes kReadyBurst(8, static_cast<uint8_t>('!'));
// The start text is the first four bytes of an eight-byte array of "#";
// the loader reads exactly four.
const Bytes kStartArray(8, static_cast<uint8_t>('#'));
constexpr size_t kStartTextLength = 4;
const Bytes kSwitchFrame{0x5E, 0x02, 0x01, 0x03, 0x9C};

const char* const kStartSettings = "57600,n,8,1";
const char* const kSwitchSettings = "9600,n,8,1";
const char* const kReadyAnswer = "????";
constexpr int kReadyAnswerLength = 4;

constexpr int16_t kAfterBurstMs = 20;
constexpr int16_t kBeforeFlashRateMs = 100;
constexpr int16_t kAfterSwitchFrameMs = 1000;
constexpr int16_t kAfterSecondBurstMs = 200;
constexpr double kReadyTimeoutSeconds = 5.0;
constexpr double kAcknowledgeTimeoutSeconds = 1.67;
// "The interface hardware is not connected.": what a line that went away
// while the flash waited on it ends with.
constexpr int16_t kLineGoneCode = 1;

const char* const kPreferencesScreen = "Preferences";

using enum LogLevel;

int32_t baudOf(const std::string& settings)
{
    int32_t baud = 0;
    for (char c : settings) {
        if (c < '0' || c > '9')
            break;
        if (baud > 10'000'000)
            return 0;
        baud = baud * 10 + (c - '0');
    }
    return baud;
}

std::string charactersOf(const Bytes& bytes, size_t count)
{
    return std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size())));
}

} // namespace

// A port call refused, a delay that could not run: carries the error code
// the flash ends with. Never leaves this file.
struct CompactFlash::Fault {
    int16_t code;
    std::string what;
};

// Time since a noted moment on the seconds-since-midnight timer, the clock
// the flash's time-outs are defined on.
class CompactFlash::Stopwatch {
public:
    explicit Stopwatch(Host& host) : host_(host), start_(FlashStamp::now(host)) {}

    double seconds() const { return start_.secondsSince(host_); }

    // Lets messages run until `done` holds (true) or more than `limit`
    // seconds have passed (false). Blocks in the host's wait: nothing spins.
    bool waitFor(const std::function<bool()>& done, double limit) const
    {
        for (;;) {
            if (done())
                return true;
            const double left = limit - seconds();
            if (left < 0)
                return false;
            const auto sliceMs = static_cast<int32_t>(std::ceil(left * 1000.0)) + 1;
            host_.waitUntil([&] { return done() || seconds() > limit; }, sliceMs);
        }
    }

private:
    Host& host_;
    FlashStamp start_;
};

CompactFlash::CompactFlash(Context& ctx, SerialPort& connection, CompactFlashScreen& screen)
    : ctx_(ctx), Connection(connection), screen_(screen)
{
}

CompactFlash::~CompactFlash() = default;

void CompactFlash::log(LogLevel level, const std::string& text)
{
    FlashLog(ctx_, level, "compact flash", text);
}

void CompactFlash::need(bool ok, int16_t code, const std::string& what)
{
    // A refusal that leaves the port closed means the line went away (a
    // pulled USB converter): the adapter is no longer connected.
    if (!ok)
        throw Fault{Connection.portOpen() ? code : kLineGoneCode, what + " refused: " + Connection.lastError()};
}

void CompactFlash::delay(int16_t ms)
{
    if (!DelayMilliseconds(ctx_, ms))
        throw Fault{2, "the delay of " + std::to_string(ms) + " ms could not run"};
}

void CompactFlash::sendBytes(const Bytes& bytes, int16_t code, const char* what)
{
    need(Connection.output(bytes), code, std::string("writing the ") + what);
}

// ---------------------------------------------------------------- start

bool CompactFlash::start(int16_t port, const std::string& path)
{
    if (busy_ || transferring_) {
        log(Warning, "start refused: a flash is already running");
        return false;
    }
    result_ = {};
    after_ = nullptr;
    if (!ctx_.ports.host) {
        result_.finished = true;
        result_.reason = "no host to keep time";
        return false;
    }
    startTick_ = ctx_.ports.host->tickCount();
    busy_ = true;
    bool running = false;
    try {
        running = runStart(port, path);
    } catch (const Fault& fault) {
        endStartFailure(fault.code, fault.what);
    }
    busy_ = false;
    // Runs last: it may take the flash screen (and this object) away.
    if (auto after = std::exchange(after_, nullptr))
        after();
    return running;
}

bool CompactFlash::runStart(int16_t port, const std::string& path)
{
    PumpMessages(ctx_);
    log(Info, "start on COM" + std::to_string(port) + " with " + path);
    // Whatever can be settled without the adapter is settled before its
    // first byte: once switched, the adapter sits in its loader (and the
    // Summary cannot read it) until a flash completes or it is power-cycled.
    if (path.empty()) {
        log(Warning, "no file given: nothing to flash");
        finish(false, 0, "no file given");
        return false;
    }
    const FirmwareFileCheck check = CheckFirmwareFile(ctx_, path);
    if (!check.ok()) {
        endTransferFailure(4, "file check: " + check.reason, false);
        return false;
    }
    log(Info, "file check passed: " + std::to_string(check.dataRecords) + " data records");
    progress_ = FlashProgress{0, check.records, 0};
    // Up and painted before the adapter hears anything: the switch to the
    // loader alone takes over a second.
    screen_.showProgressDialog();
    screen_.setProgress(progress_);
    if (Connection.portOpen() && Connection.commPort() != port)
        Connection.setPortOpen(false);
    if (!Connection.portOpen()) {
        need(Connection.setCommPort(port), 1, "CommPort " + std::to_string(port));
        need(Connection.setPortOpen(true), 1, "opening COM" + std::to_string(port));
    }
    need(Connection.setRTSEnable(true), 1, "RTSEnable");
    need(Connection.setDTREnable(true), 1, "DTREnable");
    need(Connection.setSettings(kStartSettings), 5, std::string("Settings ") + kStartSettings);
    // Input length 0: every read takes all there is.

    sendBytes(kReadyBurst, 2, "ready burst");
    delay(kAfterBurstMs);
    bool ready = false;
    if (Connection.inBufferCount() < 1) {
        log(Info, "no answer to the ready burst: switching the application to its loader");
        ready = switchToLoader();
    } else {
        log(Info, "the loader is already running");
        result_.loaderWasRunning = true;
        ready = readyAnswerArrived(false);
    }
    if (!ready)
        return false;
    result_.transferBaud = baudOf(Connection.settings());
    return prepareTransfer(path);
}

bool CompactFlash::switchToLoader()
{
    if (!CGPBroadcastReset(ctx_, Connection))
        throw Fault{2, "the wake broadcast was refused: " + Connection.lastError()};
    if (Connection.portOpen())
        need(Connection.setPortOpen(false), 2, "closing the port");
    need(Connection.setPortOpen(true), 1, "reopening the port");
    need(Connection.setSettings(kSwitchSettings), 5, std::string("Settings ") + kSwitchSettings);
    const int32_t rate = CGPFlashBaudRate(ctx_);
    delay(kBeforeFlashRateMs);
    const std::string flashSettings = std::to_string(rate) + ",n,8,1";
    log(Info, "flash rate " + flashSettings);
    need(Connection.setSettings(flashSettings), 5, "Settings " + flashSettings);
    sendBytes(kSwitchFrame, 2, "switch frame");
    delay(kAfterSwitchFrameMs);
    need(Connection.setPortOpen(false), 2, "closing the port");
    need(Connection.setPortOpen(true), 1, "reopening the port");
    Connection.input();
    sendBytes(kReadyBurst, 2, "ready burst");
    delay(kAfterSecondBurstMs);
    return readyAnswerArrived(true);
}

bool CompactFlash::readyAnswerArrived(bool afterSwitch)
{
    const Stopwatch watch(*ctx_.ports.host);
    const bool four = watch.waitFor(
        [this] { return Connection.inBufferCount() >= kReadyAnswerLength || !Connection.portOpen(); },
        kReadyTimeoutSeconds);
    if (!Connection.portOpen()) {
        endStartFailure(kLineGoneCode, "the port went away while waiting for the ready answer: " + Connection.lastError());
        return false;
    }
    const Bytes got = Connection.input();
    const std::string answer = charactersOf(got, kReadyAnswerLength);
    if (!four && got.empty()) {
        // Nothing at all within five seconds: the adapter is not where the
        // Preferences say (port or rate).
        endStartFailure(2, std::string("no ready answer within 5 s") + (afterSwitch ? " after the switch" : ""));
        after_ = [screens = ctx_.ports.screens] {
            if (screens)
                screens->SelectScreen(kPreferencesScreen);
        };
        return false;
    }
    // Fewer than four characters after five seconds (a "??") is a wrong
    // answer, not a silent adapter.
    if (answer.size() == kReadyAnswerLength && answer.find(kReadyAnswer) != std::string::npos) {
        log(Info, "the loader is ready");
        return true;
    }
    endStartFailure(1, "wrong ready answer " + frames::hexText(got, kReplyLogBytes));
    return false;
}

// ---------------------------------------------------------------- preparation

bool CompactFlash::prepareTransfer(const std::string& path)
{
    // The file is counted and opened before "####", which erases the image.
    const FirmwareRecordCount count = CountFirmwareRecords(ctx_, path);
    if (!count.ok()) {
        endTransferFailure(4, "record count: " + FirmwareFileFaultText(count.fault, count.line), false);
        return false;
    }
    result_.recordCount = count.count;
    if (!file_.open(path)) {
        endTransferFailure(4, "the file cannot be opened again", false);
        return false;
    }
    std::string line;
    for (int i = 0; i < kFirmwareHeaderLines; ++i)
        file_.readLine(line);
    sendBytes(Bytes(kStartArray.begin(), kStartArray.begin() + kStartTextLength), 2, "start text");
    Connection.input();

    progress_.acknowledged = 0;
    progress_.recordCount = count.count;
    screen_.showProgressDialog();
    screen_.setProgress(progress_);
    transferring_ = true;
    screen_.setProgramDeviceTimerEnabled(true);
    log(Info, "transfer of " + std::to_string(count.count) + " lines at " + std::to_string(result_.transferBaud)
                  + " baud begins");
    return true;
}

// ---------------------------------------------------------------- transfer

void CompactFlash::tick()
{
    if (inTick_ || busy_ || !transferring_ || !ctx_.ports.host)
        return;
    if (!Connection.portOpen())
        return;
    inTick_ = true;
    Host& host = *ctx_.ports.host;
    const int32_t sliceStart = host.tickCount();
    try {
        // Records go back to back: a record and its "#" take about 2 ms at
        // 115200 baud, less than any timer's grain (10-16 ms on Windows), so
        // one record per tick would leave the wire idle most of the time.
        while (transferOneRecord()) {
            if (!Connection.portOpen() || FlashTicksSince(host, sliceStart) >= static_cast<uint32_t>(kTickSliceMs))
                break;
        }
    } catch (const Fault& fault) {
        endTransferFailure(fault.code, fault.what, true);
    }
    inTick_ = false;
    // Runs last: the exit/return dialog may take the flash screen away.
    if (auto after = std::exchange(after_, nullptr))
        after();
}

bool CompactFlash::transferOneRecord()
{
    std::string line;
    const auto status = file_.readLine(line);
    if (status == FirmwareLineReader::Status::End || status == FirmwareLineReader::Status::ReadError) {
        // The end was seen after the previous line; the file changed since.
        endTransferFailure(4, "the file ended or could not be read at line " + std::to_string(file_.lineNumber() + 1),
                           false);
        return false;
    }
    ++result_.linesRead;
    const int64_t lineNumber = file_.lineNumber();

    const std::string record(TrimRecordLine(line));
    if (record.empty()) {
        log(Debug, "line " + std::to_string(lineNumber) + " is blank: not sent");
    } else if (IsEndRecordLine(record)) {
        log(Debug, "line " + std::to_string(lineNumber) + " passes the end-record test: not sent");
    } else {
        if (status == FirmwareLineReader::Status::TooLong || CheckRecordLine(record)) {
            endTransferFailure(4, "record at line " + std::to_string(lineNumber) + " is corrupt: " + record, false);
            return false;
        }
        const Bytes bytes = RecordToBytes(record, true);
        need(Connection.output(bytes), 3, "writing the record at line " + std::to_string(lineNumber));
        if (!waitForAcknowledge(record))
            return false;
        ++result_.recordsSent;
        // Only the "#" counts: a written record may still sit in a buffer
        // on its way to the adapter.
        progress_.acknowledged = result_.recordsSent;
        screen_.setProgress(progress_);
        if (result_.recordsSent == 1 || result_.recordsSent % kProgressLogEvery == 0)
            log(Debug, std::to_string(result_.recordsSent) + " records acknowledged (line "
                           + std::to_string(lineNumber) + ")");
    }
    if (file_.atEnd()) {
        endSuccess();
        return false;
    }
    return true;
}

bool CompactFlash::waitForAcknowledge(const std::string& line)
{
    const Stopwatch watch(*ctx_.ports.host);
    bool acknowledged = false;
    Bytes reply; // the start of it, for the log
    const bool done = watch.waitFor(
        [&] {
            if (!transferring_)
                return true; // abandoned meanwhile
            if (Connection.inBufferCount() > 0) {
                const Bytes got = Connection.input();
                if (std::find(got.begin(), got.end(), static_cast<uint8_t>('#')) != got.end())
                    acknowledged = true;
                const size_t room = kReplyLogBytes - std::min(kReplyLogBytes, reply.size());
                reply.insert(reply.end(), got.begin(), got.begin() + static_cast<std::ptrdiff_t>(std::min(room, got.size())));
            }
            return acknowledged || !Connection.portOpen();
        },
        kAcknowledgeTimeoutSeconds);
    if (!transferring_)
        return false;
    if (done && acknowledged)
        return true;
    if (!Connection.portOpen()) {
        endTransferFailure(kLineGoneCode,
                           "the port went away while waiting for the # of line " + std::to_string(file_.lineNumber())
                               + ": " + Connection.lastError(),
                           true);
        return false;
    }
    endTransferFailure(3,
                       "no # within 1.67 s for line " + std::to_string(file_.lineNumber()) + " (" + line
                           + "); reply " + (reply.empty() ? std::string("none") : frames::hexText(reply)),
                       true);
    return false;
}

// ---------------------------------------------------------------- endings

void CompactFlash::stopTransfer(bool keepDialog)
{
    if (!keepDialog)
        screen_.unloadProgressDialog();
    screen_.setProgramDeviceTimerEnabled(false);
    transferring_ = false;
    file_.close();
}

void CompactFlash::endStartFailure(int16_t code, const std::string& why)
{
    if (result_.finished)
        return;
    log(Warning, "failed (error " + std::to_string(code) + "): " + why);
    screen_.unloadProgressDialog();
    if (code != 0)
        CGPShowError(ctx_, code);
    if (Connection.portOpen())
        Connection.setPortOpen(false);
    finish(false, code, why);
}

void CompactFlash::endTransferFailure(int16_t code, const std::string& why, bool restorePointer)
{
    if (result_.finished)
        return;
    log(Warning, "failed (error " + std::to_string(code) + ") after " + std::to_string(result_.recordsSent)
                     + " records: " + why);
    CGPShowError(ctx_, code);
    if (restorePointer && screen_.mousePointer() == kHourglass)
        screen_.setMousePointer(kDefaultPointer);
    stopTransfer();
    if (Connection.portOpen())
        Connection.setPortOpen(false);
    screen_.returnToReadyState();
    finish(false, code, why);
}

void CompactFlash::endSuccess()
{
    // The dialog stays up through the read-back of the version; the
    // exit/return dialog takes its place.
    stopTransfer(true);
    if (Connection.portOpen())
        Connection.setPortOpen(false);
    finish(true, 0, {});
    after_ = [&screen = screen_] {
        screen.showExitReturnDialog(LoadResString(Res::FlashSucceeded) + "\r\n\r\n" + LoadResString(Res::FlashNextSteps));
    };
}

void CompactFlash::abandon(const std::string& why)
{
    if (!transferring_ || result_.finished)
        return;
    log(Warning, "abandoned after " + std::to_string(result_.recordsSent) + " records: " + why);
    stopTransfer();
    if (Connection.portOpen())
        Connection.setPortOpen(false);
    finish(false, 0, why);
}

void CompactFlash::finish(bool succeeded, int16_t code, const std::string& why)
{
    transferring_ = false;
    result_.finished = true;
    result_.succeeded = succeeded;
    result_.errorCode = code;
    result_.reason = why;
    if (ctx_.ports.host)
        result_.durationMs = FlashTicksSince(*ctx_.ports.host, startTick_);
    log(succeeded ? Info : Warning,
        std::string(succeeded ? "succeeded" : "ended") + ": " + std::to_string(result_.recordsSent) + " records sent, "
            + std::to_string(result_.linesRead) + " lines read, " + std::to_string(result_.durationMs) + " ms");
}

// ---------------------------------------------------------------- command line

CompactFlashResult RunCompactFlash(Context& ctx, SerialPort& Connection, CompactFlashScreen& screen, int16_t port,
                                   const std::string& path)
{
    CompactFlash flash(ctx, Connection, screen);
    if (flash.start(port, path)) {
        while (flash.transferring()) {
            if (!Connection.portOpen()) {
                flash.abandon("the port closed during the transfer");
                break;
            }
            flash.tick();
            PumpMessages(ctx);
        }
    }
    return flash.result();
}

} // namespace lp

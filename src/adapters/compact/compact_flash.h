#pragma once
// The compact adapter's ("B&B SIP") serial flash: bring the adapter into its
// loader, then send the HEX file record by record, each acknowledged by "#".
//
// Two halves, as the flash screen drives them:
//  - start(): checks the whole file (and refuses it with error 4 before the
//    adapter hears anything), opens `Connection`, sends the "!" burst and,
//    when the application answers nothing, switches the adapter into its
//    loader at the flash rate; on the loader's "????" it counts the records,
//    sends "####" and enables `tmrProgramDevice`. The progress dialog is up
//    from the first byte the adapter hears;
//  - tick(): what `tmrProgramDevice` runs; the progress counts records as
//    their "#" arrives.
// The screen side (progress dialog, timer, pointer, exit/return dialog, the
// ready state) is reached through CompactFlashScreen, so this file stays free
// of Qt and the screen can be replaced by a recorder in tests or by nothing
// much on the command line (RunCompactFlash).
//
// Every end closes the port.
// Failures are told with CGPShowError: 1 no loader answer, 2 the loader
// could not be reached (and the Preferences screen), 3 a record was not
// acknowledged, 4 the file is corrupt, 5 the port refused its settings.
#include <cstdint>
#include <functional>
#include <string>

#include "core/context.h"
#include "ports/flash_progress_screen.h"
#include "adapters/flash_timing.h"
#include "firmware/firmware_line_reader.h"
#include "ports/serial_port.h"

namespace lp {

// What the flash procedure needs of the flash screen (`frmFlash` and its
// `frmDownloadProgress`).
class CompactFlashScreen : public FlashProgressScreen {
public:
    // `tmrProgramDevice`: while enabled, its ticks call CompactFlash::tick()
    // (interval CompactFlash::kProgramDeviceIntervalMs).
    virtual void setProgramDeviceTimerEnabled(bool enabled) = 0;

    // The pointer in use, so an error can put back the default only where the
    // hourglass shows.
    virtual int mousePointer() const = 0;
};

// How a flash went, for the flash log and the command line.
struct CompactFlashResult {
    bool finished = false;  // false while the transfer runs (or before start)
    bool succeeded = false;
    // The CGPShowError code that ended it (1-5); 0 after a success and after
    // an end without a message (an empty path, an abandoned transfer).
    int16_t errorCode = 0;
    bool loaderWasRunning = false; // the first burst was answered: no switch
    int32_t transferBaud = 0;      // the rate the records went at
    int64_t recordCount = 0;       // the file's record count (header included)
    int64_t recordsSent = 0;       // records written and acknowledged
    int64_t linesRead = 0;         // record lines read by the transfer
    int64_t durationMs = 0;        // from start() to the end
    std::string reason;            // one line for the log ("" on success)
};

class CompactFlash {
public:
    // `tmrProgramDevice`'s interval. A tick sends records back to back while
    // messages run in the waits, so the wire, not the timer, sets the pace;
    // the interval only decides how soon the next tick picks up after a tick
    // hands control back to the window.
    static constexpr int32_t kProgramDeviceIntervalMs = 1;
    // How long one tick keeps sending before it lets the window's own loop
    // turn (deferred deletes and the like run only there).
    static constexpr int32_t kTickSliceMs = 100;

    CompactFlash(Context& ctx, SerialPort& Connection, CompactFlashScreen& screen);
    ~CompactFlash();
    CompactFlash(const CompactFlash&) = delete;
    CompactFlash& operator=(const CompactFlash&) = delete;

    // Start compact flash on COM`port` with the HEX file at `path`. True when
    // the transfer is under way (`tmrProgramDevice` enabled); false when the
    // flash ended here (result() says how).
    bool start(int16_t port, const std::string& path);

    // `tmrProgramDevice`'s tick. Safe to call at any time: it does nothing
    // unless a transfer runs and the port is open, and a tick that arrives
    // while another is waiting (waits let timer ticks run) is ignored.
    void tick();

    // True from a successful start() until the transfer ends.
    bool transferring() const { return transferring_; }

    // Ends a running transfer without a message (the screen is leaving, or
    // the port went away): the same stop as a failure, error code 0.
    void abandon(const std::string& why);

    const CompactFlashResult& result() const { return result_; }

private:
    struct Fault;
    class Stopwatch;

    bool runStart(int16_t port, const std::string& path);
    bool switchToLoader();
    bool readyAnswerArrived(bool afterSwitch);
    bool prepareTransfer(const std::string& path);
    // One timer tick: false once the transfer has ended.
    bool transferOneRecord();
    bool waitForAcknowledge(const std::string& line);

    void need(bool ok, int16_t code, const std::string& what);
    void delay(int16_t ms);
    void sendBytes(const Bytes& bytes, int16_t code, const char* what);

    // The endings.
    void stopTransfer(bool keepDialog = false);
    void endStartFailure(int16_t code, const std::string& why);
    void endTransferFailure(int16_t code, const std::string& why, bool restorePointer);
    void endSuccess();
    void finish(bool succeeded, int16_t code, const std::string& why);

    void log(LogLevel level, const std::string& text);

    Context& ctx_;
    SerialPort& Connection;
    CompactFlashScreen& screen_;
    FirmwareLineReader file_;
    CompactFlashResult result_;
    int32_t startTick_ = 0;
    FlashProgress progress_;
    bool transferring_ = false;
    bool inTick_ = false;
    bool busy_ = false;
    // A screen call that may take the screen (and this object) away: run by
    // start() or tick() as their very last step.
    std::function<void()> after_;
};

// The whole flash at once, for the command line: start() and then ticks
// back to back, letting messages run, until the transfer ends. The screen
// may ignore the timer calls.
CompactFlashResult RunCompactFlash(Context& ctx, SerialPort& Connection, CompactFlashScreen& screen,
                                   int16_t port, const std::string& path);

} // namespace lp

#pragma once
// One flash attempt, whichever front end runs it (the flash screen or
// `linkport flash`): the pre-flash checks, the adapter kind's flash, the
// read-back of the application version afterwards and the flash log entry.
// The front end supplies a FlashSessionView (progress, dialogs, timers, the
// main window's lock) and routes its timer ticks and socket events here; the
// command line simply runs the whole attempt with run().
//
// Qt-free. Every message box of the attempt goes through the context's
// Prompts and is also kept for the log.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "adapters/wireless/wireless_flash.h"
#include "core/context.h"
#include "firmware/flash_log.h"
#include "operations/flash_checks.h"
#include "ports/flash_progress_screen.h"
#include "ports/serial_port.h"
#include "ports/tcp_socket.h"

namespace lp {

class CompactFlash;
struct FirmwareFileHeader;

// What the adapter holds before the flash, as the flash screen's rows show
// it; resource 508 "Not Present" where the adapter gave nothing.
struct FlashAdapterValues {
    std::string hardware;
    std::string application;
    std::string boot;     // second-generation adapter only
    std::string serialIp; // second-generation adapter: the serial link's version
    std::string identity; // compact: serial number; wireless: the adapter's name
};

enum class FlashOutcome { Success, Failure, Cancelled };
const char* FlashOutcomeText(FlashOutcome outcome); // "success", "failure", "cancelled"

// Whether the adapter reads back the version that was flashed.
enum class ReadBackVerdict { NotRead, Verified, Mismatch };
const char* ReadBackVerdictText(ReadBackVerdict verdict); // "not read", "verified", "mismatch"

// The version read back against the file's: equal texts, or equal numbers in
// every dotted part ("01.08.12" and "1.8.12"; a missing part counts as 0),
// verify; an empty or "Not Present" reading is not read.
ReadBackVerdict JudgeReadBack(const std::string& versionAfter, const std::string& fileVersion);

struct FlashAttempt {
    FlashOutcome outcome = FlashOutcome::Failure;
    int64_t recordCount = 0; // the file's records (line-by-line flashes)
    int64_t recordsSent = 0; // records written and acknowledged
    double seconds = 0;      // the attempt's own time, without the closing dialog
    std::string versionAfter;
    ReadBackVerdict readBack = ReadBackVerdict::NotRead;
    std::vector<FlashLogMessage> messages; // every box shown, in order
    // Why a line-by-line flash failed, in the procedure's words ("file
    // check: line 8: the byte count says ..."); the boxes keep their texts.
    std::string reason;
};

// The two timers of the line-by-line flashes.
enum class FlashTimer { ProgramDevice, WLPHardFlash };

// What the flash needs of its front end, on top of the progress side.
class FlashSessionView : public FlashProgressScreen {
public:
    virtual int mousePointer() const = 0;
    // While enabled, the front end calls FlashSession::timerTick(which) every
    // intervalMs (the command line's run() needs no timers).
    virtual void setFlashTimerEnabled(FlashTimer which, bool enabled, int32_t intervalMs) = 0;
    // A wireless adapter row as the version read delivers it.
    virtual void showAdapterValue(WirelessValue which, const std::string& text) = 0;
    // The main window's menus and toolbar, locked while a flash or a wait on
    // the adapter runs. Calls nest.
    virtual void setMainWindowEnabled(bool enabled) = 0;
    // A connection to the adapter that may take long: the Connecting dialog,
    // whose Cancel sets ctx.cancelConnection and so ends the wait (and
    // the attempt, as cancelled). Always paired.
    virtual void beginConnectionWait() {}
    virtual void endConnectionWait() {}
    // The checks refused the file (hardware or age): another can be chosen.
    virtual void enableFileChoice() {}
    // The attempt is over and logged; the success dialog (if any) follows.
    virtual void flashEnded(const FlashAttempt& attempt) {}
};

class FlashSession {
public:
    // `source` names the front end in the flash log ("gui", "cli").
    // Either port may be missing; the kinds that need it then do nothing.
    FlashSession(Context& ctx, FlashSessionView& view, SerialPort* connection, TcpSocket* socket,
                 std::string source);
    ~FlashSession();
    FlashSession(const FlashSession&) = delete;
    FlashSession& operator=(const FlashSession&) = delete;

    // The adapter's values (ShowLP2Versions, ShowCGPVersions). The serial
    // link's version costs the driver its port for a moment: only the
    // screen shows it.
    FlashAdapterValues readLp2Values(bool withSerialIp = true);
    FlashAdapterValues readCompactValues();
    // The wireless adapter at `address`: the rows follow through
    // showAdapterValue while messages run. False when it did not connect.
    bool beginWirelessRead(const std::string& address);
    // The values of the selected adapter of any kind, read to the end (the
    // command line; the wireless read waits until it is over).
    FlashAdapterValues readValues();

    // The pre-flash checks against the values shown; a stop is logged.
    FlashCheckOutcome checks(const FlashAdapterValues& shown);

    // BeginFlashForAdapterKind with ctx.flashFileName. True while a
    // line-by-line transfer goes on (timer ticks and socket events carry it
    // to its end); false when the attempt ended here or never started.
    bool begin(const FlashAdapterValues& shown);
    // The whole attempt at once: begin, then timers and messages until the
    // end. For the command line.
    FlashAttempt run(const FlashAdapterValues& shown);

    void timerTick(FlashTimer which);
    void dataArrival();
    void socketError(int32_t number, const std::string& description);

    // A transfer or a wireless read is under way.
    bool active() const;
    // A flash (not a read) is under way.
    bool flashing() const;
    // Ends whatever runs, without a message (the screen is leaving).
    void abandon(const std::string& why);

    // The wireless flash's state text ("1".."12", "" before anything ran).
    std::string flashState() const;
    void setFlashState(const std::string& state);

    // The last attempt that ended.
    const FlashAttempt& attempt() const { return attempt_; }
    // An attempt has been started and not yet logged.
    bool attemptOpen() const { return open_; }

private:
    class Recorder;
    class CompactSide;
    class WirelessSide;

    bool FlashLP2(const FlashAdapterValues& shown);
    bool FlashCGP(const FlashAdapterValues& shown);
    bool FlashWLP(const FlashAdapterValues& shown);
    bool flashUnreadAdapter(const FlashAdapterValues& shown);

    void openAttempt(const FlashAdapterValues& shown);
    // Called once the flash object says it has ended (or at the success
    // dialog, before it shows): reads back, logs, tells the view.
    void concludeAttempt(FlashOutcome outcome, int64_t recordCount, int64_t recordsSent);
    void afterStep();
    std::string readBackCompact();
    void lock();
    void unlock();
    void log(const std::string& text);

    Context& ctx_;
    FlashSessionView& view_;
    SerialPort* connection_;
    TcpSocket* socket_;
    std::string source_;
    FlashKind kind_ = FlashKind::None;
    std::unique_ptr<Recorder> recorder_;
    std::unique_ptr<CompactSide> compactSide_;
    std::unique_ptr<WirelessSide> wirelessSide_;
    std::unique_ptr<CompactFlash> compact_;
    std::unique_ptr<WirelessFlash> wireless_;
    FlashAdapterValues wirelessValues_;
    int16_t compactPort_ = 0;
    bool wirelessFlashing_ = false;
    bool locked_ = false;
    bool starting_ = false;
    bool open_ = false;
    bool concluding_ = false;
    FlashLogEntry entry_;
    int32_t startTick_ = 0;
    FlashAttempt attempt_;
};

} // namespace lp

#pragma once
// The wireless adapter ("WLP") over TCP port 12321: the version read that
// fills the flash screen's adapter rows, and the record-by-record flash of a
// HEX file. Both are one state machine driven by the socket's data arrivals:
// every arrival moves it one step, and the flash state text ("1" to "12")
// says which step comes next.
//
//   version read  "1" -> "2" -> "3" (socket closed)
//   flash         "4" -> "5" -> "6" ... (the loader answered "????")
//                 "4" -> "5" -> "8" -> "7" -> "10" -> "9" -> "6" ... (switch)
//                 "6" once per record -> "12" (end of file) -> reconnect ->
//                 "11" -> success
//
// The switch (the adapter runs its application, not its loader): 01 01,
// 05 04 and 01 03 are answered one by one; the answer to 01 03 means the
// adapter is restarting into its loader, so state "10" gives the loader
// kLoaderStartMs, asks "!!!!" again and, on "????", sends "####" and goes
// to "9", whose step prepares the transfer. Nothing is sent in "9" itself:
// the next tick of `tmrWLPHardFlash` sends the first record.
//
// `tmrWLPHardFlash` keeps a flash from ever waiting for an adapter that has
// stopped answering. Every send notes the time (seconds since midnight,
// wrapped at midnight); a tick that finds no answer for kAnswerTimeoutSeconds
// sends the same bytes again, up to kMaxResends times, and then ends the
// flash with "Error while programming device.  Please retry!". The loader is
// not told to restart then: a loader that is merely stuck keeps its place and
// takes the retry from "????", where a restart would leave a half-written
// application running. The tick also sends a record that is owed (after "9",
// or after a line that the end-record test passed over).
//
// Progress counts records as their "#" arrives. The progress dialog is up
// from the connection on, through the switch to the loader, the transfer and
// the restart, until the flash ends.
//
// The screen side (`TCPSocket`, `tmrWLPHardFlash`, the progress dialog, the
// rows, the pointer, the exit/return dialog) is reached through
// WirelessFlashScreen; the screen routes the socket's events and the
// timer's ticks to dataArrival(), socketError() and hardFlashTick(). A step
// may wait with messages running (the reconnect, the version read after the
// flash): the screen may call abandon() then, but must not destroy this
// object before the step returns. The success dialog is the last thing a
// step does, so it may take the screen away.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/context.h"
#include "ports/flash_progress_screen.h"
#include "adapters/flash_timing.h"
#include "firmware/firmware_line_reader.h"
#include "adapters/wireless/modWLP.h"
#include "ports/tcp_socket.h"

namespace lp {

// The steps of the exchange; the screen's flash state text is the number.
enum class WirelessFlashState {
    None = 0,
    IdentityAsked = 1,           // version read: the identity text was asked for
    ApplicationVersionAsked = 2,
    HardwareVersionAsked = 3,
    Connecting = 4,              // a flash connects, then asks "!!!!"
    ReadyAsked = 5,              // "????" from the loader, or the application's answer
    SendingRecords = 6,          // each record waits for its "#"
    SwitchRequested = 7,         // 05 04 sent: 01 03 follows
    ClosingForSwitch = 8,        // 01 01 sent before the switch to the loader
    LoaderReady = 9,             // the switched-to loader answered: "####" sent
    LoaderStarting = 10,         // 01 03 answered: the loader is starting
    ClosingAfterRestart = 11,    // the adapter is back: 01 01 ends the exchange
    Restarting = 12,             // the last record is in: the adapter restarts
};
std::string WirelessFlashStateText(WirelessFlashState state);

// The flash screen's adapter rows that the version read fills.
enum class WirelessValue {
    Identity,           // the "5F0C0D01" text (state "1")
    ApplicationVersion, // the "5F050D02" version (state "2")
    HardwareVersion,    // the "5F080D03" version (state "3")
};

// What the wireless flash needs of the flash screen (`frmFlash` and its
// `frmDownloadProgress`).
class WirelessFlashScreen : public FlashProgressScreen {
public:
    // `tmrWLPHardFlash`: while enabled, its ticks call
    // WirelessFlash::hardFlashTick() (interval kHardFlashIntervalMs).
    virtual void setHardFlashTimerEnabled(bool enabled) = 0;

    // A row of `tlstFlash` read from the adapter.
    virtual void showAdapterValue(WirelessValue which, const std::string& text) = 0;

    // The reconnect after the flash is over, successful or not: the main
    // window is enabled again and the waiting dialog unloaded.
    virtual void endReconnectWait() = 0;

    // A connection that may take long is being made: the Connecting dialog
    // (whose Cancel sets ctx.cancelConnection, which the wait reads)
    // shows until the paired end. The version read's connection is the
    // screen's own to show.
    virtual void beginConnectionWait() {}
    virtual void endConnectionWait() {}
};

enum class WirelessFlashOutcome {
    Running,         // not ended yet (or never started)
    Succeeded,       // "11" answered: the success text was shown
    VersionRead,     // the version read ended (rows filled or timed out)
    CorruptFile,     // "The file is corrupt!  ..."
    RefusedRecord,   // a record answered with something other than "#"
    TimedOut,        // "Error while programming device.  Please retry!"
    SocketError,     // the "Error# " box: connection refused, dropped, ...
    ReconnectFailed, // the adapter did not come back after its restart
    Cancelled,       // the user cancelled the connection (nothing sent)
    Abandoned,       // ended without a message (the screen went away)
};

// How a flash went, for the flash log and the command line.
struct WirelessFlashResult {
    WirelessFlashOutcome outcome = WirelessFlashOutcome::Running;
    bool finished() const { return outcome != WirelessFlashOutcome::Running; }
    bool succeeded() const { return outcome == WirelessFlashOutcome::Succeeded; }
    bool bootSwitched = false;      // the adapter had to be switched to its loader
    std::vector<std::string> messages; // every message box shown, in order
    int64_t recordCount = 0;        // the file's record count (header included)
    int64_t recordsSent = 0;        // distinct records sent (a re-send is not counted)
    int32_t resends = 0;            // bytes sent again after a silence
    int32_t reconnectAttempts = 0;
    int64_t durationMs = 0;         // from the start to the end
    int64_t transferMs = 0;         // from the first record to the closing frame
    std::string versionAfter;       // application version read after the flash
    std::string reason;             // one line for the log ("" on success)
};

class WirelessFlash {
public:
    // `tmrWLPHardFlash`'s interval: a quarter of a second is fine enough to
    // send an owed record without a noticeable pause and costs nothing.
    static constexpr int32_t kHardFlashIntervalMs = 250;
    // No answer for this long counts as silence. A record's "#" takes a few
    // milliseconds over a wireless LAN; the compact loader's limit is 1.67 s
    // and this loader may erase a flash sector before it answers, so a
    // healthy adapter stays well inside 3 s.
    static constexpr double kAnswerTimeoutSeconds = 3.0;
    // Two re-sends ride out a stalled Wi-Fi link (TCP retransmissions take
    // a second or two to get going again) and still end a dead flash within
    // about ten seconds: (1 + 2) * 3 s and a tick's grain.
    static constexpr int32_t kMaxResends = 2;
    // The loader's start after the answer to 01 03 (state "10").
    static constexpr int16_t kLoaderStartMs = 500;
    // The adapter restarts after the closing frame; the reconnect tries
    // again this often while it refuses, for at most kReconnectWindowMs
    // (its application and Wi-Fi take a few seconds to come up).
    static constexpr int32_t kReconnectRetryMs = 500;
    static constexpr int32_t kReconnectWindowMs = 10000;
    // How long the application version read after the flash may take.
    static constexpr int32_t kVersionAfterWaitMs = 2000;
    // How long a connection may take before it counts as failed. The
    // user's Cancel ends it sooner.
    static constexpr int32_t kConnectTimeoutMs = 30000;

    WirelessFlash(Context& ctx, TcpSocket& TCPSocket, WirelessFlashScreen& screen);
    ~WirelessFlash();
    WirelessFlash(const WirelessFlash&) = delete;
    WirelessFlash& operator=(const WirelessFlash&) = delete;

    // The version read (cmbWLPList_Click): connects to `address` and asks
    // for the identity text; the rows follow as the answers arrive. False
    // when the connection failed (the error event has told the user).
    bool beginVersionRead(const std::string& address);

    // FlashWLP: checks the whole file, connects to `address` and runs state
    // "4". True while the flash is under way; false when it ended here.
    bool beginFlash(const std::string& address, const std::string& path);

    // The socket's events and the timer's tick, as the screen routes them.
    void dataArrival();
    void socketError(int32_t number, const std::string& description);
    void hardFlashTick();

    // Ends a running flash or read without a message (the screen leaves).
    void abandon(const std::string& why);

    // The flash state text ("" before anything ran); the screen clears it
    // when Begin Flash is clicked.
    std::string flashState() const { return WirelessFlashStateText(state_); }
    // "" and "1".."12"; other texts are ignored.
    void setFlashState(const std::string& state);

    bool active() const { return active_; }
    bool bootSwitchFlag() const { return bootSwitch_; }
    const WirelessFlashResult& result() const { return result_; }

private:
    enum class Job { None, VersionRead, Flash };

    // Runs a step with the busy guard; data that arrived while it waited is
    // the next arrival, a socket error that came meanwhile ends the job, and
    // the deferred action (the success dialog) runs last.
    template <typename Step> void runGuarded(Step&& stepFn);

    void step(const Bytes& data);
    void stepFour();
    void stepVersionRead(const Bytes& data);
    void stepReadyAnswer(const Bytes& data);
    void stepLoaderRestart(const Bytes& data);
    void stepTransferPrepared();
    void stepRecordAnswer(const Bytes& data);
    void stepRestart();
    void stepSucceeded();

    void sendNextRecord();
    bool prepareTransfer();
    bool reconnect();
    std::string readVersionAfter();

    bool send(const Bytes& bytes, const char* what);
    void setState(WirelessFlashState state);
    double secondsSinceSend();
    void showRow(WirelessValue which, const std::string& text);
    // A record's "#" has come: one more record acknowledged.
    void noteAcknowledge();
    // WLPConnect to address_, ended early by the Connecting dialog's Cancel.
    bool connectCancellably();

    void endCorruptFile(const std::string& why);
    void endRefusedRecord(const std::string& why);
    void endTimedOut();
    // Without a box: the socket's error event has told the user, or the
    // user cancelled.
    void endAfterSocketError(const std::string& why,
                             WirelessFlashOutcome outcome = WirelessFlashOutcome::SocketError);
    void endTransfer(WirelessFlashOutcome outcome, const std::string& why);
    void endVersionRead(const std::string& why);
    void finish(WirelessFlashOutcome outcome, const std::string& why);
    void deactivate();
    void message(const std::string& text, int style, const std::string& title);

    void log(LogLevel level, const std::string& text);

    Context& ctx_;
    TcpSocket& TCPSocket;
    WirelessFlashScreen& screen_;
    FirmwareLineReader file_;
    WirelessFlashResult result_;

    WirelessFlashState state_ = WirelessFlashState::None;
    std::string address_;
    std::string path_;
    Job job_ = Job::None;
    bool active_ = false;
    bool bootSwitch_ = false;
    bool busy_ = false;             // a step is running (it may wait)
    bool reconnecting_ = false;     // errors of the reconnect are its own
    bool readingVersionAfter_ = false;
    bool askedLoaderAgain_ = false; // state "10" has sent "!!!!"
    bool recordOwed_ = false;       // the tick sends the next record
    bool errorPending_ = false;     // a socket error came while a step waited
    std::string pendingErrorText_;
    int32_t lastError_ = 0;
    std::string lastErrorText_;
    Bytes pending_;                 // data that arrived while a step waited
    Bytes lastSent_;
    int32_t resendsLeft_ = kMaxResends;
    FlashStamp sent_;
    int32_t startTick_ = 0;
    int32_t transferStartTick_ = 0;
    bool transferStarted_ = false;
    FlashProgress progress_;
    bool awaitingAcknowledge_ = false; // a record went out; its "#" is due
    std::vector<WirelessValue> rowsShown_;
    std::function<void()> after_;
};

// The whole flash at once, for the command line: beginFlash(), then
// messages run (and the hard-flash tick is called every interval) until the
// flash ends. The socket's handlers are set here; the screen may ignore the
// timer calls.
WirelessFlashResult RunWirelessFlash(Context& ctx, TcpSocket& TCPSocket, WirelessFlashScreen& screen,
                                     const std::string& address, const std::string& path);

} // namespace lp

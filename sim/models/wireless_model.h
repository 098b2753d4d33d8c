#pragma once
// The wireless adapter as the program sees it over TCP port 12321: it takes
// five-byte command frames (5E 02 a b check) from the byte stream and answers
// the three identity queries with checksummed frames.
//
//   5E 02 0D 01 92 -> 5F 0C 0D 01, ten characters of identity text, check
//   5E 02 0D 02 91 -> 5F 05 0D 02, three version bytes (shown as hex), check
//   5E 02 0D 03 90 -> 5F 08 0D 03, six bytes, of which the third and fourth
//                     are the version shown as decimal numbers, check
//
// Frames with a wrong length byte or check byte are ignored, as is anything
// between frames; the bytes may arrive cut anywhere. Plain C++: the model
// lives on whatever scheduler its link gives it (virtual or real time) and
// must only be touched from that scheduler's thread.
//
// The flash (our design of the adapter's side, consistent with the
// program's wireless flash):
//
//   application  "!!!!"          -> applicationReadyAnswer (not "????")
//                5E 02 01 01 9E  -> 5F 02 01 01 9D  (nothing else happens)
//                5E 02 05 04 97  -> 5F 02 05 04 96  (unlocks the switch)
//                5E 02 01 03 9C  -> 5F 02 01 03 9B, and after the unlock the
//                                   processor restarts into its loader: for
//                                   loaderStartUs it hears nothing, then the
//                                   loader runs (the connection stays: the
//                                   Wi-Fi side keeps it)
//   loader       "!!!!"          -> "????"
//                "####"          -> "#", a transfer begins (a new image)
//                ":" record      -> "#" once written (records are written
//                                   one after another, recordWriteUs each;
//                                   a record the loader does not take
//                                   (loader_records.h), or one that comes
//                                   before "####", gets kRecordRefused)
//                5E 02 01 03 9C  -> the ack, and the loader starts again
//                5E 02 01 01 9E  -> the ack; when the transfer held the
//                                   end-of-file record the image is kept and
//                                   the adapter restarts into the new
//                                   application: the connection drops after
//                                   restartDropUs, connections are refused
//                                   for restartRefuseUs, and one made before
//                                   restartUs waits for the application.
//                                   Without the end-of-file record the
//                                   transfer is dropped and the loader stays.
//                any other frame -> the ack
//
// The program's side of the switch (its state "10"): it gives the loader
// half a second after the answer to 01 03, asks "!!!!" again, and its
// hard-flash timer asks once more if the loader is slower than that; "????"
// is followed by "####" and the transfer. A loader that stops answering is
// given up on after three silences of 3 s; a refused record, a dropped
// connection and a failed reconnect end the flash at once.
//
// The image is assembled from the data records (types 02 and 04 move the
// base address); appliedImage() is what the adapter runs after the restart,
// and the version it reports then is the one the image carries
// (firmware_image.h's stamp) unless hexVersionAfterFlash says otherwise.
// A real listener (tcp_model_server.h) looks at acceptsConnections() only
// when something happens on its sockets; failReconnect stops it at once
// (TcpLink::refuseConnectionsNow), but it does not see the end of
// restartRefuseUs, which is therefore for the virtual network.
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "models/tcp_device.h"

namespace lp::sim {

struct WirelessAdapterConfig {
    // What the driver's INI lists hold for this adapter.
    std::string name = "Wireless Linkport";
    std::string address = "127.0.0.2";
    std::string serial = "WLP0000001";
    // The identity text (the Summary shows it as the boot firmware version):
    // always ten characters on the wire, cut or padded with blanks.
    std::string identityText = "01.04.0007";
    // The hexadecimal version (application firmware), as three bytes.
    std::array<uint8_t, 3> hexVersion = {0x01, 0x07, 0x12};
    // The decimal version (hardware), major and minor.
    uint8_t decimalMajor = 1;
    uint8_t decimalMinor = 10;
    // Time the adapter takes to answer a query.
    int64_t replyDelayUs = 3000;

    // The flash.
    // What the application says to "!!!!": its "not understood" frame.
    std::vector<uint8_t> applicationReadyAnswer = {0x5F, 0x02, 0x00, 0x00, 0xA1};
    // The adapter is already in its loader when the program connects.
    bool startInLoader = false;
    // From the answer to 01 03 until the loader listens.
    int64_t loaderStartUs = 300000;
    // Time the loader takes to write one record before its "#".
    int64_t recordWriteUs = 0;
    // The restart after the closing frame.
    int64_t restartDropUs = 20000;
    int64_t restartRefuseUs = 0;
    int64_t restartUs = 1000000;
    // The application version after a successful flash whatever the image
    // says (a wrong version afterwards); unset: the image's stamp, and
    // without one the version stays.
    std::optional<std::array<uint8_t, 3>> hexVersionAfterFlash;
};

// The loader's faults; counts are 1-based, 0 is off. "Record k" is the k-th
// record the loader receives since "####" (a record sent again counts again).
struct WirelessLoaderFaults {
    // The loader's first `badReadyAnswers` answers to "!!!!" are this text
    // instead of "????" (for example "??" or "????x").
    std::string badReadyAnswer;
    int badReadyAnswers = 0;
    // The adapter takes 01 03 and is never heard of again (no ack, no loader).
    bool silentAfterSwitch = false;
    // The loader runs but answers nothing at all ("!!!!" included).
    bool silentLoader = false;
    // Record k is answered with kRecordRefused and not written.
    int refuseRecord = 0;
    // Record k is answered with bytes that are no "#" and not written.
    int garbageRecord = 0;
    // From record k on nothing is answered (the loader hangs).
    int silentFromRecord = 0;
    // The connection is closed when record k arrives (nothing answered).
    int dropAtRecord = 0;
    // Record k (every record when 0) takes slowAckUs more to acknowledge.
    int slowRecord = 0;
    int64_t slowAckUs = 0;
    // After the restart the adapter never takes a connection again (nor
    // from its end-of-file record on: a program may reconnect on that
    // record's "#", before its closing frame has come in).
    bool failReconnect = false;
};

enum class WirelessFault {
    None,
    RefuseConnections, // connections are refused
    Silent,            // queries are taken and never answered
    Garbage,           // every answer is replaced by bytes that are no frame
    DropMidReply,      // the answer is cut short and the connection closed
};

// What the adapter is doing with the bytes it receives.
enum class WirelessMode {
    Application,
    Loader,
    StartingLoader,      // after 01 03: what comes is lost
    StartingApplication, // after the closing frame: what comes waits
    Dead,                // silentAfterSwitch
};

class WirelessModel final : public TcpDevice {
public:
    explicit WirelessModel(WirelessAdapterConfig config = {}) : config_(std::move(config))
    {
        if (config_.startInLoader)
            mode_ = WirelessMode::Loader;
    }

    WirelessAdapterConfig& config() { return config_; }
    const WirelessAdapterConfig& config() const { return config_; }

    void setFault(WirelessFault fault) { fault_ = fault; }
    WirelessFault fault() const { return fault_; }
    // With DropMidReply: how many bytes of the answer go out before the
    // connection is closed (default: half of it).
    void setDropAfterBytes(size_t bytes) { dropAfterBytes_ = bytes; }

    WirelessMode mode() const { return mode_; }
    // Before the first connection (or between connections).
    void setMode(WirelessMode mode) { mode_ = mode; }

    WirelessLoaderFaults& loaderFaults() { return loaderFaults_; }

    // The loader's answer to a refused record.
    static constexpr uint8_t kRecordRefused = 0x15;

    // TcpDevice
    bool acceptsConnections() const override;
    void connected(TcpLink& link) override;
    void received(const Bytes& bytes) override;
    void disconnected() override;

    // For assertions: connections taken, and every valid command frame
    // received, in order.
    int connectionCount() const { return connections_; }
    bool isConnected() const { return link_ != nullptr; }
    const std::vector<Bytes>& framesReceived() const { return frames_; }

    // The flash, for assertions. Texts ("!!!!", "####") are kept among the
    // frames as they came; records are counted, not kept.
    int recordsReceived() const { return recordsReceived_; }
    int recordsWritten() const { return recordsWritten_; }
    int restarts() const { return restarts_; }
    // The image of the transfer under way (or the last one).
    const std::map<uint32_t, uint8_t>& image() const { return image_; }
    // The image the adapter kept at its last restart into the application.
    const std::map<uint32_t, uint8_t>& appliedImage() const { return appliedImage_; }

    // The answers, as the adapter sends them.
    static Bytes identityReply(const std::string& text);
    static Bytes hexVersionReply(const std::array<uint8_t, 3>& version);
    static Bytes decimalVersionReply(uint8_t major, uint8_t minor);

private:
    void takeApplicationFrames();
    void takeLoaderInput();
    void answer(const Bytes& frame);
    void answerModeFrame(const Bytes& frame);
    void answerLoaderFrame(const Bytes& frame);
    void takeRecord(const Bytes& record);
    void transmit(Bytes reply);
    // Loader answers go out in order, each after the work before it.
    void loaderAnswer(Bytes reply, int64_t workUs);
    void startLoader();
    void restartIntoApplication();
    void dropConnection();

    WirelessAdapterConfig config_;
    WirelessFault fault_ = WirelessFault::None;
    size_t dropAfterBytes_ = 0; // 0: half of the answer
    WirelessMode mode_ = WirelessMode::Application;

    TcpLink* link_ = nullptr;
    uint64_t session_ = 0; // answers scheduled for an older connection are dropped
    Bytes input_;
    int connections_ = 0;
    std::vector<Bytes> frames_;

    WirelessLoaderFaults loaderFaults_;
    Scheduler* scheduler_ = nullptr; // the time the adapter lives on, from its first link
    bool unlocked_ = false;      // 05 04 came
    bool transferring_ = false;  // "####" came
    bool endRecordSeen_ = false;
    bool silent_ = false;        // the loader hangs
    bool refusing_ = false;      // during the restart, or for good
    uint64_t epoch_ = 0;         // the processor's life: restarts drop what was planned
    int readyAnswers_ = 0;
    int recordsReceived_ = 0;
    int recordsWritten_ = 0;
    int restarts_ = 0;
    uint32_t base_ = 0;
    int64_t loaderBusyUntilUs_ = 0;
    std::map<uint32_t, uint8_t> image_;
    std::map<uint32_t, uint8_t> appliedImage_;
};

} // namespace lp::sim

#pragma once
// The second-generation adapter ("LPII SIP") as its serial line and its
// driver see it.
//
// Modes: the adapter starts in driver mode, where it answers its RP1210
// driver's frames; the leave frame (FA 5E 02 01 02 A3) takes it into plain
// mode, where it answers the version query (5E 02 0D 02 91); the return
// frame (5E 02 01 02 9D) brings it back. Both mode frames are answered
// 5F 02 01 02 9C. In driver mode the query and the return frame go
// unanswered; in plain mode the driver's frames do.
//
// The driver's frames (our driver's own protocol, used by the test driver
// library over a real line):
//   versions     5E 02 00 D1 cc  ->  5F 08 00 D1 hwMaj hwMin appMaj appMin bootMaj bootMin cc
//   flash start  5E 04 01 2C lo hi cc  ->  5F 03 01 2C status cc   (status 0: accepted)
//   presence     5E 02 00 D0 cc  ->  5F 02 00 D0 cc, in either mode: the
//                driver's hand-shake before it opens a client
//
// Bytes sent at another rate than the adapter's are noise: they are counted
// and break the frame they fall into. A frame whose bytes sum to anything
// but zero is dropped, as is a partial frame followed by a pause. Each of
// the three serial exchanges can be made silent, short, wrong or custom.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "models/serial_line.h"

namespace lp::sim {

// Firmware versions as major/minor bytes; 255.255 is an empty slot.
struct Lp2Versions {
    uint8_t hardwareMajor = 3, hardwareMinor = 0;
    uint8_t applicationMajor = 1, applicationMinor = 8;
    uint8_t bootMajor = 1, bootMinor = 2;
};

enum class Lp2ReplyFault {
    None,   // the proper reply
    Silent, // no reply, and the mode does not change
    Short,  // the proper reply cut to shortLength bytes
    Wrong,  // a reply with a wrong fourth byte
    Custom, // customReply, exactly as given
};

struct Lp2Exchange {
    Lp2ReplyFault fault = Lp2ReplyFault::None;
    size_t shortLength = 5;
    Bytes customReply;
};

struct Lp2ModelConfig {
    int baud = 9600;
    Lp2Versions versions;
    // What the query frame answers: reply bytes 5, 6 and 7.
    std::array<uint8_t, 3> serialVersion{0x01, 0x07, 0x12};
    bool flashAccepted = true;
    // The application version the driver's image carries: an accepted flash
    // installs it. Unset leaves the versions as they were.
    std::optional<std::array<uint8_t, 2>> applicationAfterFlash;
    // The adapter takes the flash start and never finishes it: its driver
    // hears nothing back, and the application slot is left empty (255.255),
    // as after any flash that did not end.
    bool flashNeverCompletes = false;
    // Time between the last byte of a request and the first of the reply.
    int64_t replyDelayUs = 2000;
    // A partial frame older than this is dropped.
    int64_t frameGapUs = 100000;
    // No power: nothing is answered, on the line or to the driver.
    bool unpowered = false;
    Lp2Exchange leave, query, back;
};

class Lp2Model final : public SerialDevice {
public:
    Lp2Model() = default;
    explicit Lp2Model(Lp2ModelConfig config) : config_(std::move(config)) {}

    Lp2ModelConfig& config() { return config_; }
    bool driverMode() const { return driverMode_; }
    void setDriverMode(bool on) { driverMode_ = on; }

    // SerialDevice
    void hostOpened(SerialLine& line) override;
    void hostClosed() override;
    void received(uint8_t byte, int hostBaud) override;

    // What the adapter answers its driver, for an in-process driver that
    // needs no line: the six version bytes (hardware, application, boot), or
    // nothing when the adapter would not answer (plain mode, no power).
    std::optional<std::array<uint8_t, 6>> answerVersions() const;
    // A flash start: accepted or refused, or nothing when unanswered.
    std::optional<bool> answerFlashStart(uint16_t value);
    // Whether the presence frame is answered (in either mode, with power).
    bool answersPresence() const { return !config_.unpowered; }

    // What reached the adapter.
    const std::vector<Bytes>& framesReceived() const { return frames_; }
    int noiseBytes() const { return noise_; }
    int badFrames() const { return bad_; }
    std::optional<uint16_t> lastFlashValue() const { return flashValue_; }

private:
    void reset() { partial_.clear(); }
    void handle(const Bytes& frame);
    void reply(const Lp2Exchange& exchange, Bytes proper);
    void send(Bytes bytes);

    Lp2ModelConfig config_;
    bool driverMode_ = true;
    SerialLine* line_ = nullptr;
    uint64_t lineGeneration_ = 0;
    Bytes partial_;
    int64_t lastByteUs_ = 0;
    std::vector<Bytes> frames_;
    int noise_ = 0;
    int bad_ = 0;
    std::optional<uint16_t> flashValue_;
};

// The driver's frames (see above) and the reading of their replies.
Bytes lp2VersionsRequest();
Bytes lp2FlashStartRequest(uint16_t value);
Bytes lp2PresenceRequest();
// Length of the whole frame that `bytes` begins with (5F, length, payload,
// check), or 0 while it is not complete.
size_t lp2ReplyLength(const Bytes& bytes);
std::optional<std::array<uint8_t, 6>> lp2ParseVersionsReply(const Bytes& reply);
std::optional<bool> lp2ParseFlashReply(const Bytes& reply);
bool lp2IsPresenceReply(const Bytes& reply);

// The driver's INI file LP2RP32.INI as the adapter's driver installs it.
struct Lp2IniOptions {
    std::string version = "1.8-B2";
    std::string deviceParams = "COM1,9600";
    std::string deviceId = "1";
    // Protocol section numbers and names, in the order of "Protocols".
    std::vector<std::pair<int, std::string>> protocols{{1, "SIP"}, {2, "J1708"}, {3, "J1939"}, {4, "HVN"}};
};
std::string lp2DriverIni(const Lp2IniOptions& options = {});

} // namespace lp::sim

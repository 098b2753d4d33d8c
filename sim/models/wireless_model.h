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
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ports/tcp_device.h"

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
};

enum class WirelessFault {
    None,
    RefuseConnections, // connections are refused
    Silent,            // queries are taken and never answered
    Garbage,           // every answer is replaced by bytes that are no frame
    DropMidReply,      // the answer is cut short and the connection closed
};

// What the adapter is doing with the bytes it receives. Only the
// application firmware's command frames exist so far; the boot loader's
// exchange joins here as a mode of its own.
enum class WirelessMode { Application };

class WirelessModel final : public TcpDevice {
public:
    explicit WirelessModel(WirelessAdapterConfig config = {}) : config_(std::move(config)) {}

    WirelessAdapterConfig& config() { return config_; }
    const WirelessAdapterConfig& config() const { return config_; }

    void setFault(WirelessFault fault) { fault_ = fault; }
    WirelessFault fault() const { return fault_; }
    // With DropMidReply: how many bytes of the answer go out before the
    // connection is closed (default: half of it).
    void setDropAfterBytes(size_t bytes) { dropAfterBytes_ = bytes; }

    WirelessMode mode() const { return mode_; }

    // TcpDevice
    bool acceptsConnections() const override { return fault_ != WirelessFault::RefuseConnections; }
    void connected(TcpLink& link) override;
    void received(const Bytes& bytes) override;
    void disconnected() override;

    // For assertions: connections taken, and every valid command frame
    // received, in order.
    int connectionCount() const { return connections_; }
    bool isConnected() const { return link_ != nullptr; }
    const std::vector<Bytes>& framesReceived() const { return frames_; }

    // The answers, as the adapter sends them.
    static Bytes identityReply(const std::string& text);
    static Bytes hexVersionReply(const std::array<uint8_t, 3>& version);
    static Bytes decimalVersionReply(uint8_t major, uint8_t minor);

private:
    void takeApplicationFrames();
    void answer(const Bytes& frame);
    void transmit(Bytes reply);

    WirelessAdapterConfig config_;
    WirelessFault fault_ = WirelessFault::None;
    size_t dropAfterBytes_ = 0; // 0: half of the answer
    WirelessMode mode_ = WirelessMode::Application;

    TcpLink* link_ = nullptr;
    uint64_t session_ = 0; // answers scheduled for an older connection are dropped
    Bytes input_;
    int connections_ = 0;
    std::vector<Bytes> frames_;
};

} // namespace lp::sim

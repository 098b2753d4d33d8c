#include "models/lp2_model.h"

#include <algorithm>

#include "adapters/frames.h"

namespace lp::sim {

namespace {

constexpr uint8_t kRequest = 0x5E;
constexpr uint8_t kReply = 0x5F;
constexpr uint8_t kWake = 0xFA;
// No frame of this adapter carries more; a larger length byte is a garbled one.
constexpr size_t kMaxPayload = 16;

bool payloadIs(const Bytes& frame, size_t start, std::initializer_list<uint8_t> bytes)
{
    if (frame.size() != start + bytes.size() + 1)
        return false;
    return std::equal(bytes.begin(), bytes.end(), frame.begin() + static_cast<std::ptrdiff_t>(start));
}

} // namespace

void Lp2Model::hostOpened(SerialLine& line)
{
    line_ = &line;
    ++lineGeneration_;
    reset();
}

void Lp2Model::hostClosed()
{
    line_ = nullptr;
    ++lineGeneration_;
    reset();
}

void Lp2Model::received(uint8_t byte, int hostBaud)
{
    if (config_.unpowered)
        return;
    int64_t now = line_ ? line_->scheduler().nowUs() : 0;
    if (!partial_.empty() && now - lastByteUs_ > config_.frameGapUs)
        reset();
    lastByteUs_ = now;
    if (hostBaud != config_.baud) {
        ++noise_;
        reset();
        return;
    }
    if (partial_.empty() || (partial_.size() == 1 && partial_[0] == kWake && byte != kRequest)) {
        partial_.clear();
        if (byte == kWake || byte == kRequest)
            partial_.push_back(byte);
        return;
    }
    partial_.push_back(byte);
    const size_t header = partial_[0] == kWake ? 1 : 0;
    if (partial_.size() < header + 2)
        return;
    const size_t length = partial_[header + 1];
    if (length > kMaxPayload) {
        ++bad_;
        reset();
        return;
    }
    if (partial_.size() < header + 2 + length + 1)
        return;
    Bytes frame;
    frame.swap(partial_);
    if (!frames::sumIsZero(frame)) {
        ++bad_;
        return;
    }
    frames_.push_back(frame);
    handle(frame);
}

void Lp2Model::handle(const Bytes& frame)
{
    if (frame[0] == kWake) {
        if (!payloadIs(frame, 3, {0x01, 0x02})) {
            ++bad_;
            return;
        }
        if (config_.leave.fault == Lp2ReplyFault::Silent)
            return;
        driverMode_ = false;
        reply(config_.leave, frames::framed({kReply, 0x02, 0x01, 0x02}));
        return;
    }
    if (payloadIs(frame, 2, {0x01, 0x02})) {
        if (driverMode_ || config_.back.fault == Lp2ReplyFault::Silent)
            return;
        driverMode_ = true;
        reply(config_.back, frames::framed({kReply, 0x02, 0x01, 0x02}));
        return;
    }
    if (payloadIs(frame, 2, {0x0D, 0x02})) {
        if (driverMode_)
            return;
        const auto& v = config_.serialVersion;
        reply(config_.query, frames::framed({kReply, 0x05, 0x0D, 0x02, v[0], v[1], v[2]}));
        return;
    }
    if (payloadIs(frame, 2, {0x00, 0xD0})) {
        send(frames::framed({kReply, 0x02, 0x00, 0xD0}));
        return;
    }
    if (payloadIs(frame, 2, {0x00, 0xD1})) {
        if (auto v = answerVersions())
            send(frames::framed({kReply, 0x08, 0x00, 0xD1, (*v)[0], (*v)[1], (*v)[2], (*v)[3], (*v)[4], (*v)[5]}));
        return;
    }
    if (frame.size() == 7 && frame[2] == 0x01 && frame[3] == 0x2C) {
        uint16_t value = static_cast<uint16_t>(frame[4] | (frame[5] << 8));
        if (auto accepted = answerFlashStart(value))
            send(frames::framed({kReply, 0x03, 0x01, 0x2C, static_cast<uint8_t>(*accepted ? 0 : 1)}));
        return;
    }
    ++bad_; // a well-formed frame this adapter does not know
}

void Lp2Model::reply(const Lp2Exchange& exchange, Bytes proper)
{
    switch (exchange.fault) {
    case Lp2ReplyFault::None: send(std::move(proper)); break;
    case Lp2ReplyFault::Silent: break;
    case Lp2ReplyFault::Short:
        proper.resize(std::min(exchange.shortLength, proper.size()));
        send(std::move(proper));
        break;
    case Lp2ReplyFault::Wrong: {
        Bytes body(proper.begin(), proper.end() - 1);
        body[3] ^= 0x80;
        send(frames::framed(std::move(body)));
        break;
    }
    case Lp2ReplyFault::Custom: send(exchange.customReply); break;
    }
}

void Lp2Model::send(Bytes bytes)
{
    if (!line_ || bytes.empty())
        return;
    const uint64_t generation = lineGeneration_;
    line_->scheduler().after(config_.replyDelayUs, [this, generation, bytes = std::move(bytes)] {
        // The host may have closed the port meanwhile.
        if (line_ && generation == lineGeneration_ && !config_.unpowered)
            line_->deviceSend(bytes, config_.baud);
    });
}

std::optional<std::array<uint8_t, 6>> Lp2Model::answerVersions() const
{
    if (config_.unpowered || !driverMode_)
        return std::nullopt;
    const Lp2Versions& v = config_.versions;
    return std::array<uint8_t, 6>{v.hardwareMajor,    v.hardwareMinor, v.applicationMajor,
                                  v.applicationMinor, v.bootMajor,     v.bootMinor};
}

std::optional<bool> Lp2Model::answerFlashStart(uint16_t value)
{
    if (config_.unpowered || !driverMode_)
        return std::nullopt;
    flashValue_ = value;
    if (config_.flashNeverCompletes) {
        config_.versions.applicationMajor = config_.versions.applicationMinor = 255;
        return std::nullopt;
    }
    if (config_.flashAccepted && config_.applicationAfterFlash) {
        config_.versions.applicationMajor = (*config_.applicationAfterFlash)[0];
        config_.versions.applicationMinor = (*config_.applicationAfterFlash)[1];
    }
    return config_.flashAccepted;
}

Bytes lp2PresenceRequest() { return frames::framed({kRequest, 0x02, 0x00, 0xD0}); }

Bytes lp2VersionsRequest() { return frames::framed({kRequest, 0x02, 0x00, 0xD1}); }

Bytes lp2FlashStartRequest(uint16_t value)
{
    return frames::framed({kRequest, 0x04, 0x01, 0x2C, static_cast<uint8_t>(value & 0xFF),
                           static_cast<uint8_t>(value >> 8)});
}

size_t lp2ReplyLength(const Bytes& bytes)
{
    if (bytes.size() < 2 || bytes[0] != kReply)
        return 0;
    size_t total = 2u + bytes[1] + 1u;
    return bytes.size() >= total ? total : 0;
}

std::optional<std::array<uint8_t, 6>> lp2ParseVersionsReply(const Bytes& reply)
{
    if (reply.size() != 11 || reply[0] != kReply || reply[1] != 0x08 || reply[2] != 0x00 || reply[3] != 0xD1
        || !frames::sumIsZero(reply))
        return std::nullopt;
    return std::array<uint8_t, 6>{reply[4], reply[5], reply[6], reply[7], reply[8], reply[9]};
}

bool lp2IsPresenceReply(const Bytes& reply)
{
    return reply.size() == 5 && reply[0] == kReply && reply[1] == 0x02 && reply[2] == 0x00 && reply[3] == 0xD0
           && frames::sumIsZero(reply);
}

std::optional<bool> lp2ParseFlashReply(const Bytes& reply)
{
    if (reply.size() != 6 || reply[0] != kReply || reply[1] != 0x03 || reply[2] != 0x01 || reply[3] != 0x2C
        || !frames::sumIsZero(reply))
        return std::nullopt;
    return reply[4] == 0;
}

std::string lp2DriverIni(const Lp2IniOptions& options)
{
    const char* crlf = "\r\n";
    std::string list;
    for (const auto& [number, name] : options.protocols)
        list += (list.empty() ? "" : ",") + std::to_string(number);
    std::string ini;
    ini += std::string("[VendorInformation]") + crlf;
    ini += std::string("Name=HVN Linkport II") + crlf;
    ini += "Version=" + options.version + crlf;
    ini += "Protocols=" + list + crlf;
    ini += std::string("Devices=1") + crlf + crlf;
    ini += std::string("[DeviceInformation1]") + crlf;
    ini += "DeviceID=" + options.deviceId + crlf;
    ini += std::string("DeviceDescription=HVN Linkport II, serial") + crlf;
    ini += std::string("DeviceName=Linkport II") + crlf;
    ini += "DeviceParams=" + options.deviceParams + crlf;
    for (const auto& [number, name] : options.protocols) {
        ini += crlf + ("[ProtocolInformation" + std::to_string(number) + "]") + crlf;
        ini += "ProtocolString=" + name + crlf;
        ini += "ProtocolDescription=" + name + " through the Linkport II" + crlf;
        ini += std::string("ProtocolSpeed=Standard") + crlf;
        ini += std::string("Devices=1") + crlf;
    }
    return ini;
}

} // namespace lp::sim

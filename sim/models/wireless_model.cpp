#include "models/wireless_model.h"

#include <algorithm>

#include "links/frames.h"

namespace lp::sim {

namespace {

constexpr uint8_t kRequestHeader = 0x5E;
constexpr uint8_t kReplyHeader = 0x5F;
constexpr size_t kRequestLength = 5;
constexpr size_t kIdentityLength = 10;

// Bytes that no decoder takes for a frame: wrong header, wrong sum.
Bytes garbageLike(const Bytes& reply)
{
    Bytes junk(reply.size());
    for (size_t i = 0; i < junk.size(); ++i)
        junk[i] = static_cast<uint8_t>(0xC3 + 0x35 * i);
    if (!junk.empty() && frames::sumIsZero(junk))
        junk.back() ^= 0x01;
    return junk;
}

} // namespace

Bytes WirelessModel::identityReply(const std::string& text)
{
    Bytes frame{kReplyHeader, 0x0C, 0x0D, 0x01};
    std::string padded = text.substr(0, kIdentityLength);
    padded.resize(kIdentityLength, ' ');
    frame.insert(frame.end(), padded.begin(), padded.end());
    return frames::framed(std::move(frame));
}

Bytes WirelessModel::hexVersionReply(const std::array<uint8_t, 3>& version)
{
    return frames::framed({kReplyHeader, 0x05, 0x0D, 0x02, version[0], version[1], version[2]});
}

Bytes WirelessModel::decimalVersionReply(uint8_t major, uint8_t minor)
{
    return frames::framed({kReplyHeader, 0x08, 0x0D, 0x03, 0x00, 0x00, major, minor, 0x00, 0x00});
}

void WirelessModel::connected(TcpLink& link)
{
    link_ = &link;
    ++session_;
    ++connections_;
    input_.clear();
    mode_ = WirelessMode::Application;
}

void WirelessModel::disconnected()
{
    link_ = nullptr;
    ++session_;
    input_.clear();
}

void WirelessModel::received(const Bytes& bytes)
{
    if (!link_)
        return;
    input_.insert(input_.end(), bytes.begin(), bytes.end());
    switch (mode_) {
    case WirelessMode::Application:
        takeApplicationFrames();
        break;
    }
}

void WirelessModel::takeApplicationFrames()
{
    // Resynchronise on the header byte; keep at most one partial frame.
    size_t pos = 0;
    while (pos < input_.size()) {
        if (input_[pos] != kRequestHeader) {
            ++pos;
            continue;
        }
        if (input_.size() - pos < kRequestLength)
            break;
        Bytes frame(input_.begin() + static_cast<std::ptrdiff_t>(pos),
                    input_.begin() + static_cast<std::ptrdiff_t>(pos + kRequestLength));
        if (frame[1] == 0x02 && frames::sumIsZero(frame)) {
            frames_.push_back(frame);
            answer(frame);
            pos += kRequestLength;
        } else {
            ++pos;
        }
    }
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(pos));
}

void WirelessModel::answer(const Bytes& frame)
{
    if (frame[2] != 0x0D)
        return;
    switch (frame[3]) {
    case 0x01:
        transmit(identityReply(config_.identityText));
        break;
    case 0x02:
        transmit(hexVersionReply(config_.hexVersion));
        break;
    case 0x03:
        transmit(decimalVersionReply(config_.decimalMajor, config_.decimalMinor));
        break;
    default:
        break;
    }
}

void WirelessModel::transmit(Bytes reply)
{
    if (fault_ == WirelessFault::Silent || !link_)
        return;
    if (fault_ == WirelessFault::Garbage)
        reply = garbageLike(reply);
    const uint64_t session = session_;
    link_->scheduler().after(config_.replyDelayUs, [this, session, reply = std::move(reply)] {
        if (session != session_ || !link_)
            return;
        if (fault_ != WirelessFault::DropMidReply) {
            link_->send(reply);
            return;
        }
        size_t keep = dropAfterBytes_ > 0 ? std::min(dropAfterBytes_, reply.size()) : reply.size() / 2;
        link_->send(Bytes(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(keep)));
        TcpLink* link = link_;
        link_ = nullptr;
        ++session_;
        input_.clear();
        link->close();
    });
}

} // namespace lp::sim

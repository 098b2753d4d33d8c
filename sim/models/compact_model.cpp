#include "models/compact_model.h"

#include <utility>

#include "links/frames.h"

namespace lp::sim {

namespace {

constexpr uint8_t kRequestHeader = 0x5E;
constexpr uint8_t kReplyHeader = 0x5F;
// No request of this adapter carries more than a few bytes; a longer length
// byte means we are not looking at a frame.
constexpr uint8_t kMaxFrameLength = 8;
constexpr size_t kSerialNumberLength = 10;

bool is(const Bytes& frame, uint8_t group, uint8_t command)
{
    return frame.size() == 5 && frame[1] == 0x02 && frame[2] == group && frame[3] == command;
}

} // namespace

CompactModel::CompactModel() : CompactModel(Config{}) {}

CompactModel::CompactModel(Config config) : config_(std::move(config)), mode_(config_.mode) {}

CompactModel::~CompactModel() { lineToken_.reset(); }

void CompactModel::powerCycle()
{
    mode_ = Mode::Application;
    awake_ = false;
    frame_.clear();
    bangs_ = 0;
}

int CompactModel::listeningBaud() const
{
    if (mode_ == Mode::Loader)
        return config_.loaderBaud != 0 ? config_.loaderBaud : config_.baud;
    return awake_ ? kWorkingBaud : config_.baud;
}

void CompactModel::hostOpened(SerialLine& line)
{
    line_ = &line;
    lineToken_ = std::make_shared<int>(0);
}

void CompactModel::hostClosed()
{
    line_ = nullptr;
    lineToken_.reset();
    // DTR drops with the port: the application goes back to sleep.
    awake_ = false;
    frame_.clear();
    bangs_ = 0;
}

void CompactModel::received(uint8_t byte, int hostBaud)
{
    if (hostBaud != listeningBaud()) {
        // A framing error: whatever was being assembled is lost.
        ++noiseBytes;
        frame_.clear();
        bangs_ = 0;
        return;
    }
    if (mode_ == Mode::Loader)
        loaderByte(byte);
    else
        applicationByte(byte);
}

void CompactModel::applicationByte(uint8_t byte)
{
    if (frame_.empty() && byte != kRequestHeader)
        return; // stray byte between frames
    frame_.push_back(byte);
    if (frame_.size() == 2 && frame_[1] > kMaxFrameLength) {
        frame_.clear();
        return;
    }
    if (frame_.size() < 3 || frame_.size() < size_t(frame_[1]) + 3)
        return;
    Bytes frame = std::move(frame_);
    frame_.clear();
    if (!frames::sumIsZero(frame))
        return; // a bad check byte: the adapter drops the frame
    framesReceived.push_back(frame);
    applicationFrame(frame);
}

void CompactModel::applicationFrame(const Bytes& frame)
{
    if (is(frame, 0x01, 0x01)) {
        awake_ = true;
        return;
    }
    if (is(frame, 0x01, 0x03)) {
        mode_ = Mode::Loader;
        awake_ = false;
        bangs_ = 0;
        return;
    }
    if (!awake_)
        return;
    if (is(frame, 0x0D, 0x01)) {
        std::string text = config_.serialNumber;
        text.resize(kSerialNumberLength, ' ');
        Bytes r{kReplyHeader, 0x0C, 0x0D, 0x01};
        r.insert(r.end(), text.begin(), text.end());
        reply(frames::framed(std::move(r)), kWorkingBaud);
    } else if (is(frame, 0x0D, 0x02)) {
        Bytes r{kReplyHeader, 0x05, 0x0D, 0x02};
        r.insert(r.end(), config_.firmware.begin(), config_.firmware.end());
        reply(frames::framed(std::move(r)), kWorkingBaud);
    } else if (is(frame, 0x0D, 0x03)) {
        reply(frames::framed({kReplyHeader, 0x08, 0x0D, 0x03, config_.bootMajor, config_.bootMinor,
                             config_.hardwareMajor, config_.hardwareMinor, 0x00, 0x00}),
              kWorkingBaud);
    }
}

void CompactModel::loaderByte(uint8_t byte)
{
    if (byte != '!') {
        bangs_ = 0;
        return;
    }
    if (++bangs_ < kBurstLength)
        return;
    bangs_ = 0;
    ++burstsAnswered;
    reply(Bytes{'?', '?', '?', '?'}, listeningBaud());
}

void CompactModel::reply(Bytes bytes, int baud)
{
    if (line_ == nullptr || fault_ == Fault::Silence)
        return;
    int64_t delayUs = kReplyLatencyUs;
    switch (fault_) {
    case Fault::Garbage:
        for (uint8_t& b : bytes) {
            garbageSeed_ = garbageSeed_ * 1103515245u + 12345u;
            b = static_cast<uint8_t>(garbageSeed_ >> 16);
        }
        bytes[0] = 0xA7; // never a reply header
        break;
    case Fault::ShortReply:
        if (bytes.size() > shortLength_)
            bytes.resize(shortLength_);
        break;
    case Fault::SlowReply:
        delayUs += int64_t(slowDelayMs_) * 1000;
        break;
    default:
        break;
    }
    ++repliesSent;
    std::weak_ptr<int> token = lineToken_;
    SerialLine* line = line_;
    line->scheduler().after(delayUs, [token, line, bytes = std::move(bytes), baud] {
        if (!token.expired())
            line->deviceSend(bytes, baud);
    });
}

} // namespace lp::sim

#include "models/compact_model.h"

#include <utility>

#include "adapters/frames.h"
#include "models/firmware_image.h"
#include "models/loader_records.h"

namespace lp::sim {

namespace {

constexpr uint8_t kRequestHeader = 0x5E;
constexpr uint8_t kReplyHeader = 0x5F;
// No request of this adapter carries more than a few bytes; a longer length
// byte means we are not looking at a frame.
constexpr uint8_t kMaxFrameLength = 8;
constexpr size_t kSerialNumberLength = 10;
// What a garbled acknowledgement brings: no "#" among it.
const Bytes kGarbledAcknowledgement{0xA7, 0x5C, 0x0E, 0xF1};

bool is(const Bytes& frame, uint8_t group, uint8_t command)
{
    return frame.size() == 5 && frame[1] == 0x02 && frame[2] == group && frame[3] == command;
}

} // namespace

CompactModel::CompactModel() : CompactModel(Config{}) {}

CompactModel::CompactModel(Config config) : config_(std::move(config)), mode_(config_.mode) {}

CompactModel::~CompactModel()
{
    lineToken_.reset();
    alive_.reset();
}

void CompactModel::powerCycle()
{
    ++epoch_;
    hung_ = false;
    mode_ = Mode::Application;
    awake_ = false;
    frame_.clear();
    bangs_ = 0;
    hashes_ = 0;
    receiving_ = false;
    record_.clear();
}

void CompactModel::setMode(Mode mode)
{
    ++epoch_;
    mode_ = mode;
    awake_ = false;
    frame_.clear();
    bangs_ = hashes_ = 0;
    receiving_ = false;
    record_.clear();
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
    hashes_ = 0;
    record_.clear();
}

void CompactModel::received(uint8_t byte, int hostBaud)
{
    if (hung_)
        return;
    if (hostBaud != listeningBaud()) {
        // A framing error: whatever was being assembled is lost.
        ++noiseBytes;
        frame_.clear();
        bangs_ = 0;
        hashes_ = 0;
        record_.clear();
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
    const int64_t now = line_ ? line_->scheduler().nowUs() : 0;
    if (!record_.empty() && now - recordLastByteUs_ > kRecordGapUs)
        record_.clear(); // the rest of that record never came
    recordLastByteUs_ = now;
    if (!record_.empty()) {
        record_.push_back(byte);
        // ":" count address-high address-low type data... check
        if (record_.size() >= 2 && record_.size() == size_t(record_[1]) + 6) {
            Bytes record = std::move(record_);
            record_.clear();
            loaderRecord(record);
        }
        return;
    }
    if (byte == ':' && receiving_) {
        record_.push_back(byte);
        bangs_ = hashes_ = 0;
        return;
    }
    if (byte == '#') {
        bangs_ = 0;
        if (++hashes_ < kStartLength)
            return;
        hashes_ = 0;
        // A flash begins: the old image is erased.
        ++startsReceived;
        receiving_ = true;
        image.clear();
        base_ = 0;
        endRecordReceived = false;
        recordsReceived = 0;
        return;
    }
    hashes_ = 0;
    if (byte != '!') {
        bangs_ = 0;
        return;
    }
    if (++bangs_ < kBurstLength)
        return;
    bangs_ = 0;
    receiving_ = false; // a new hand-shake: records wait for "####" again
    if (loaderFaults_.readyAnswer.empty())
        return;
    ++burstsAnswered;
    reply(loaderFaults_.readyAnswer, listeningBaud());
}

void CompactModel::loaderRecord(const Bytes& record)
{
    Bytes body(record.begin() + 1, record.end());
    if (!loaderTakesRecord(body, endRecordReceived)) {
        ++badRecords;
        return;
    }
    const int64_t k = ++recordsReceived;
    const LoaderFaults& f = loaderFaults_;
    if (f.dropLinkAtRecord == k && line_) {
        line_->unplug();
        return;
    }
    if (f.silentFromRecord != 0 && k >= f.silentFromRecord)
        return;
    if (f.refusedRecord == k || f.garbageRecord == k) {
        const Bytes& answer = f.garbageRecord == k ? kGarbledAcknowledgement : f.refusedReply;
        if (!answer.empty())
            sendAfter(answer, listeningBaud(), config_.ackLatencyUs);
        return;
    }
    writeRecord(body);
    int64_t delayUs = config_.ackLatencyUs;
    if (f.slowAckMs > 0 && (f.slowRecord == 0 || f.slowRecord == k))
        delayUs += int64_t(f.slowAckMs) * 1000;
    ++acknowledgements;
    sendAfter(Bytes{'#'}, listeningBaud(), delayUs);
    if (!endRecordReceived || !line_)
        return;
    // The whole image is in: the loader hands over to it once its "#" is out.
    std::weak_ptr<int> alive = alive_;
    const uint64_t epoch = epoch_;
    line_->scheduler().after(delayUs + config_.restartUs, [this, alive, epoch] {
        if (!alive.expired() && epoch == epoch_)
            restartIntoApplication();
    });
}

void CompactModel::writeRecord(const Bytes& body)
{
    const size_t count = body[0];
    const uint32_t address = uint32_t(body[1]) << 8 | body[2];
    const uint32_t value = count >= 2 ? uint32_t(body[4]) << 8 | body[5] : 0;
    switch (body[3]) {
    case 0x00:
        for (size_t i = 0; i < count; ++i)
            image[base_ + address + static_cast<uint32_t>(i)] = body[4 + i];
        break;
    case 0x01:
        endRecordReceived = true;
        break;
    case 0x02:
        base_ = value << 4;
        break;
    case 0x04:
        base_ = value << 16;
        break;
    default:
        break;
    }
}

void CompactModel::restartIntoApplication()
{
    ++restarts;
    receiving_ = false;
    record_.clear();
    frame_.clear();
    bangs_ = hashes_ = 0;
    if (loaderFaults_.noRestart) {
        hung_ = true;
        return;
    }
    mode_ = Mode::Application;
    awake_ = false;
    if (config_.firmwareAfterFlash)
        config_.firmware = *config_.firmwareAfterFlash;
    else if (auto stamped = versionStampOf(image))
        config_.firmware = *stamped;
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
    sendAfter(std::move(bytes), baud, delayUs);
}

void CompactModel::sendAfter(Bytes bytes, int baud, int64_t delayUs)
{
    if (line_ == nullptr)
        return;
    std::weak_ptr<int> token = lineToken_;
    SerialLine* line = line_;
    auto send = [token, line, bytes = std::move(bytes), baud] {
        if (!token.expired())
            line->deviceSend(bytes, baud);
    };
    if (delayUs <= 0)
        send(); // the wire itself adds the byte times
    else
        line->scheduler().after(delayUs, std::move(send));
}

} // namespace lp::sim

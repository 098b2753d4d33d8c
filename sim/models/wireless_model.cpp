#include "models/wireless_model.h"

#include <algorithm>

#include "adapters/frames.h"
#include "models/firmware_image.h"
#include "models/loader_records.h"

namespace lp::sim {

namespace {

constexpr uint8_t kRequestHeader = 0x5E;
constexpr uint8_t kReplyHeader = 0x5F;
constexpr size_t kRequestLength = 5;
constexpr size_t kIdentityLength = 10;
constexpr uint8_t kReadyAsk = '!';
constexpr uint8_t kStartText = '#';
constexpr uint8_t kRecordMark = ':';
constexpr size_t kTextLength = 4;
// A record after its mark: count, two address bytes, type, data, check.
constexpr size_t kRecordOverhead = 5;
// What a garbled acknowledgement brings: no "#" among it.
const Bytes kGarbledAcknowledgement{0xA7, 0x5C, 0x0E};

bool isText(const Bytes& input, size_t pos, uint8_t character)
{
    for (size_t i = 0; i < kTextLength; ++i) {
        if (input[pos + i] != character)
            return false;
    }
    return true;
}

bool isCommand(const Bytes& frame, uint8_t a, uint8_t b) { return frame[2] == a && frame[3] == b; }

Bytes acknowledgement(const Bytes& frame) { return frames::framed({kReplyHeader, 0x02, frame[2], frame[3]}); }

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

bool WirelessModel::acceptsConnections() const
{
    return fault_ != WirelessFault::RefuseConnections && !refusing_;
}

void WirelessModel::connected(TcpLink& link)
{
    link_ = &link;
    scheduler_ = &link.scheduler();
    ++session_;
    ++connections_;
    input_.clear();
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
    switch (mode_) {
    case WirelessMode::Application:
        input_.insert(input_.end(), bytes.begin(), bytes.end());
        takeApplicationFrames();
        break;
    case WirelessMode::Loader:
        input_.insert(input_.end(), bytes.begin(), bytes.end());
        takeLoaderInput();
        break;
    case WirelessMode::StartingApplication:
        // The Wi-Fi side holds it until the application runs.
        input_.insert(input_.end(), bytes.begin(), bytes.end());
        break;
    case WirelessMode::StartingLoader:
    case WirelessMode::Dead:
        break;
    }
}

void WirelessModel::takeApplicationFrames()
{
    // Resynchronise on the header byte; keep at most one partial frame.
    size_t pos = 0;
    while (pos < input_.size() && mode_ == WirelessMode::Application) {
        if (input_[pos] == kReadyAsk) {
            if (input_.size() - pos < kTextLength)
                break;
            if (isText(input_, pos, kReadyAsk)) {
                frames_.emplace_back(kTextLength, kReadyAsk);
                transmit(config_.applicationReadyAnswer);
                pos += kTextLength;
            } else {
                ++pos;
            }
            continue;
        }
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
    if (mode_ != WirelessMode::Application)
        input_.clear(); // the processor restarted: the rest is lost
    else
        input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(pos));
}

void WirelessModel::answer(const Bytes& frame)
{
    if (frame[2] == 0x01 || frame[2] == 0x05) {
        answerModeFrame(frame);
        return;
    }
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

void WirelessModel::answerModeFrame(const Bytes& frame)
{
    if (isCommand(frame, 0x01, 0x03) && loaderFaults_.silentAfterSwitch) {
        mode_ = WirelessMode::Dead;
        input_.clear();
        return;
    }
    transmit(acknowledgement(frame));
    if (isCommand(frame, 0x05, 0x04)) {
        unlocked_ = true;
    } else if (isCommand(frame, 0x01, 0x03) && unlocked_) {
        startLoader();
    }
}

void WirelessModel::startLoader()
{
    mode_ = WirelessMode::StartingLoader;
    unlocked_ = false;
    transferring_ = false;
    input_.clear();
    const uint64_t epoch = ++epoch_;
    if (!scheduler_)
        return;
    scheduler_->after(config_.loaderStartUs, [this, epoch] {
        if (epoch != epoch_)
            return;
        mode_ = WirelessMode::Loader;
        input_.clear();
    });
}

void WirelessModel::takeLoaderInput()
{
    size_t pos = 0;
    while (pos < input_.size() && mode_ == WirelessMode::Loader && link_) {
        const uint8_t first = input_[pos];
        const size_t left = input_.size() - pos;
        if (first == kReadyAsk || first == kStartText) {
            if (left < kTextLength)
                break;
            if (!isText(input_, pos, first)) {
                ++pos;
                continue;
            }
            frames_.emplace_back(kTextLength, first);
            pos += kTextLength;
            if (first == kReadyAsk) {
                const bool bad = readyAnswers_ < loaderFaults_.badReadyAnswers && !loaderFaults_.badReadyAnswer.empty();
                ++readyAnswers_;
                const std::string& text = bad ? loaderFaults_.badReadyAnswer : std::string("????");
                loaderAnswer(Bytes(text.begin(), text.end()), 0);
            } else {
                // A new transfer: a new image.
                transferring_ = true;
                endRecordSeen_ = false;
                image_.clear();
                base_ = 0;
                recordsReceived_ = 0;
                recordsWritten_ = 0;
                loaderAnswer({kStartText}, 0);
            }
            continue;
        }
        if (first == kRecordMark) {
            if (left < 2)
                break;
            const size_t length = 1 + kRecordOverhead + input_[pos + 1];
            if (left < length)
                break;
            takeRecord(Bytes(input_.begin() + static_cast<std::ptrdiff_t>(pos),
                             input_.begin() + static_cast<std::ptrdiff_t>(pos + length)));
            pos += length;
            continue;
        }
        if (first == kRequestHeader) {
            if (left < kRequestLength)
                break;
            Bytes frame(input_.begin() + static_cast<std::ptrdiff_t>(pos),
                        input_.begin() + static_cast<std::ptrdiff_t>(pos + kRequestLength));
            if (frame[1] == 0x02 && frames::sumIsZero(frame)) {
                frames_.push_back(frame);
                answerLoaderFrame(frame);
                pos += kRequestLength;
            } else {
                ++pos;
            }
            continue;
        }
        ++pos;
    }
    if (mode_ != WirelessMode::Loader || !link_)
        input_.clear(); // restarted or dropped: the rest is lost
    else
        input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(pos));
}

void WirelessModel::takeRecord(const Bytes& record)
{
    const int k = ++recordsReceived_;
    const WirelessLoaderFaults& f = loaderFaults_;
    if (f.dropAtRecord == k) {
        dropConnection();
        return;
    }
    if (f.silentFromRecord > 0 && k >= f.silentFromRecord)
        silent_ = true;
    const bool sound = loaderTakesRecord(Bytes(record.begin() + 1, record.end()), endRecordSeen_);
    if (!transferring_ || !sound || f.refuseRecord == k || f.garbageRecord == k) {
        loaderAnswer(f.garbageRecord == k ? kGarbledAcknowledgement : Bytes{kRecordRefused}, config_.recordWriteUs);
        return;
    }
    const size_t count = record[1];
    const uint32_t address = (static_cast<uint32_t>(record[2]) << 8) | record[3];
    const uint8_t type = record[4];
    const uint8_t* data = record.data() + kRecordOverhead;
    switch (type) {
    case 0x00:
        for (size_t i = 0; i < count; ++i)
            image_[base_ + address + static_cast<uint32_t>(i)] = data[i];
        break;
    case 0x01:
        endRecordSeen_ = true;
        // An adapter that will not come back takes no connection from its
        // whole image on: the program connects again as soon as it hears
        // this record's "#", which may be before its closing frame is in.
        if (f.failReconnect) {
            refusing_ = true;
            if (link_)
                link_->refuseConnectionsNow();
        }
        break;
    case 0x02:
        if (count >= 2)
            base_ = ((static_cast<uint32_t>(data[0]) << 8) | data[1]) << 4;
        break;
    case 0x04:
        if (count >= 2)
            base_ = ((static_cast<uint32_t>(data[0]) << 8) | data[1]) << 16;
        break;
    default:
        break;
    }
    ++recordsWritten_;
    const bool slow = f.slowAckUs > 0 && (f.slowRecord == 0 || f.slowRecord == k);
    loaderAnswer({kStartText}, config_.recordWriteUs + (slow ? f.slowAckUs : 0));
}

void WirelessModel::answerLoaderFrame(const Bytes& frame)
{
    loaderAnswer(acknowledgement(frame), 0);
    if (isCommand(frame, 0x01, 0x01)) {
        if (transferring_ && endRecordSeen_)
            restartIntoApplication();
        else
            transferring_ = false; // an unfinished image is dropped; the loader stays
    } else if (isCommand(frame, 0x01, 0x03)) {
        startLoader();
    }
}

void WirelessModel::loaderAnswer(Bytes reply, int64_t workUs)
{
    if (silent_ || loaderFaults_.silentLoader || !link_ || !scheduler_)
        return;
    const int64_t at = std::max(scheduler_->nowUs(), loaderBusyUntilUs_) + workUs;
    loaderBusyUntilUs_ = at;
    scheduler_->at(at, [this, session = session_, reply = std::move(reply)] {
        if (session == session_ && link_)
            link_->send(reply);
    });
}

void WirelessModel::restartIntoApplication()
{
    ++restarts_;
    appliedImage_ = image_;
    transferring_ = false;
    silent_ = false;
    if (config_.hexVersionAfterFlash)
        config_.hexVersion = *config_.hexVersionAfterFlash;
    else if (auto stamped = versionStampOf(appliedImage_))
        config_.hexVersion = *stamped;
    mode_ = WirelessMode::StartingApplication;
    input_.clear();
    const uint64_t epoch = ++epoch_;
    const bool never = loaderFaults_.failReconnect;
    refusing_ = never || config_.restartRefuseUs > 0;
    if (!scheduler_)
        return;
    // The answers already planned go out first.
    const int64_t from = std::max(scheduler_->nowUs(), loaderBusyUntilUs_);
    scheduler_->at(from + config_.restartDropUs, [this, session = session_] {
        if (session == session_)
            dropConnection();
    });
    if (!never && config_.restartRefuseUs > 0) {
        scheduler_->at(from + config_.restartRefuseUs, [this, epoch] {
            if (epoch == epoch_)
                refusing_ = false;
        });
    }
    scheduler_->at(from + config_.restartUs, [this, epoch] {
        if (epoch != epoch_)
            return;
        mode_ = WirelessMode::Application;
        unlocked_ = false;
        if (link_)
            takeApplicationFrames(); // what a new connection sent meanwhile
    });
}

void WirelessModel::dropConnection()
{
    if (!link_)
        return;
    TcpLink* link = link_;
    link_ = nullptr;
    ++session_;
    input_.clear();
    link->close();
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

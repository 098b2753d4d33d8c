#include "doubles/virtual_tcp.h"

#include <algorithm>

namespace lp::sim {

namespace {

// One connection between a program socket and a device. Shared by the
// socket and the events in flight, so that whichever side goes first the
// other's late events find it and drop themselves.
class Connection final : public TcpLink, public std::enable_shared_from_this<Connection> {
public:
    Connection(VirtualClock& clock, int64_t latencyUs, TcpDevice& device, std::function<void(const Bytes&)> toHost,
               std::function<void()> hostSeesClose)
        : clock_(clock), latencyUs_(latencyUs), device_(device), toHost_(std::move(toHost)),
          hostSeesClose_(std::move(hostSeesClose))
    {
    }

    // TcpLink (the device's side)
    void send(const Bytes& bytes) override
    {
        if (hostClosed_ || deviceClosed_ || bytes.empty())
            return;
        auto self = shared_from_this();
        clock_.at(nextToHost(), [self, bytes] {
            if (!self->hostClosed_)
                self->toHost_(bytes);
        });
    }
    void close() override
    {
        if (hostClosed_ || deviceClosed_)
            return;
        deviceClosed_ = true;
        auto self = shared_from_this();
        clock_.at(nextToHost(), [self] {
            if (!self->hostClosed_)
                self->hostSeesClose_();
        });
    }
    Scheduler& scheduler() override { return clock_; }

    // The program's side
    void hostSend(const Bytes& bytes)
    {
        auto self = shared_from_this();
        clock_.at(nextToDevice(), [self, bytes] {
            if (!self->deviceGone())
                self->device_.received(bytes);
        });
    }
    void hostClose()
    {
        if (hostClosed_)
            return;
        hostClosed_ = true;
        if (deviceClosed_)
            return;
        auto self = shared_from_this();
        clock_.at(nextToDevice(), [self] {
            if (self->deviceGone())
                return;
            self->deviceTold_ = true;
            self->device_.disconnected();
        });
    }

private:
    bool deviceGone() const { return deviceClosed_ || deviceTold_; }
    // Bytes keep their order even if the latency changes between sends.
    int64_t nextToHost()
    {
        toHostFreeUs_ = std::max(clock_.nowUs() + latencyUs_, toHostFreeUs_);
        return toHostFreeUs_;
    }
    int64_t nextToDevice()
    {
        toDeviceFreeUs_ = std::max(clock_.nowUs() + latencyUs_, toDeviceFreeUs_);
        return toDeviceFreeUs_;
    }

    VirtualClock& clock_;
    int64_t latencyUs_;
    TcpDevice& device_;
    std::function<void(const Bytes&)> toHost_;
    std::function<void()> hostSeesClose_;
    bool hostClosed_ = false;   // the program closed its socket
    bool deviceClosed_ = false; // the device closed its end
    bool deviceTold_ = false;   // the device was told the program closed
    int64_t toHostFreeUs_ = 0;
    int64_t toDeviceFreeUs_ = 0;
};

std::string endpointText(const std::string& host, int32_t port) { return host + ":" + std::to_string(port); }

} // namespace

class VirtualTcpSocket final : public TcpSocket {
public:
    explicit VirtualTcpSocket(VirtualTcpNetwork& net) : net_(net) {}
    ~VirtualTcpSocket() override
    {
        close();
        alive_.reset();
    }

    void setRemoteHost(const std::string& host) override { host_ = host; }
    std::string remoteHost() const override { return host_; }
    void setRemotePort(int32_t port) override { port_ = port; }
    int32_t remotePort() const override { return port_; }
    int16_t state() const override { return state_; }
    std::string lastError() const override { return lastError_; }

    bool connect() override
    {
        if (state_ != TcpState::Closed)
            return refuse("Invalid operation at current state");
        if (host_.empty() || port_ < 1 || port_ > 65535)
            return refuse("Invalid argument: remote host or port not set");
        state_ = TcpState::Connecting;
        const uint64_t attempt = ++attempt_;
        net_.connectAttempts.push_back(endpointText(host_, port_));
        const std::string host = host_;
        const int32_t port = port_;
        net_.clock_.after(net_.latencyUs_, [this, alive = std::weak_ptr<bool>(alive_), attempt, host, port] {
            if (alive.expired() || attempt != attempt_)
                return;
            TcpDevice* device = net_.deviceAt(host, port);
            if (!device || !device->acceptsConnections()) {
                postForAttempt(attempt, [this] {
                    if (state_ == TcpState::Connecting)
                        failWith(TcpError::ConnectionRefused);
                });
                return;
            }
            auto weak = std::weak_ptr<bool>(alive_);
            conn_ = std::make_shared<Connection>(
                net_.clock_, net_.latencyUs_, *device,
                [this, weak, attempt](const Bytes& bytes) {
                    if (!weak.expired() && attempt == attempt_)
                        arrived(bytes);
                },
                [this, weak, attempt] {
                    if (weak.expired() || attempt != attempt_)
                        return;
                    postForAttempt(
                        attempt,
                        [this] {
                            if (state_ == TcpState::Connected || state_ == TcpState::Connecting)
                                failWith(TcpError::ConnectionReset);
                        },
                        false);
                });
            // Keep a local reference: the device may close at once.
            auto conn = conn_;
            device->connected(*conn);
            postForAttempt(attempt, [this] {
                if (state_ == TcpState::Connecting)
                    state_ = TcpState::Connected;
            });
        });
        return true;
    }

    bool sendData(const Bytes& bytes) override
    {
        if (state_ != TcpState::Connected || !conn_)
            return refuse("Wrong protocol or connection state for the requested transaction or request");
        if (!bytes.empty())
            conn_->hostSend(bytes);
        return true;
    }

    Bytes getData() override
    {
        Bytes out;
        out.swap(buffer_);
        return out;
    }

    void close() override
    {
        if (conn_) {
            conn_->hostClose();
            conn_.reset();
        }
        ++attempt_;
        state_ = TcpState::Closed;
        buffer_.clear();
        dataMessagePending_ = false;
    }

private:
    bool refuse(std::string why)
    {
        lastError_ = std::move(why);
        return false;
    }

    // A message that runs only if the socket still lives and was not closed
    // (or reconnected) meanwhile; afterLatency for news that still has to
    // travel back from the device.
    void postForAttempt(uint64_t attempt, std::function<void()> fn, bool afterLatency = true)
    {
        net_.clock_.postMessage(
            [this, alive = std::weak_ptr<bool>(alive_), attempt, fn = std::move(fn)] {
                if (!alive.expired() && attempt == attempt_)
                    fn();
            },
            afterLatency ? static_cast<double>(net_.latencyUs_) / 1000.0 : 0.0);
    }

    void failWith(int32_t number)
    {
        state_ = TcpState::Error;
        fireError(number, tcpErrorDescription(number));
    }

    // Bytes reached this computer: readable at once, announced as a message.
    void arrived(const Bytes& bytes)
    {
        buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        if (dataMessagePending_)
            return;
        dataMessagePending_ = true;
        postForAttempt(
            attempt_,
            [this] {
                dataMessagePending_ = false;
                if (!buffer_.empty())
                    fireDataArrival(static_cast<int32_t>(buffer_.size()));
            },
            false);
    }

    VirtualTcpNetwork& net_;
    std::string host_;
    int32_t port_ = 0;
    int16_t state_ = TcpState::Closed;
    uint64_t attempt_ = 0;
    std::shared_ptr<Connection> conn_;
    Bytes buffer_;
    bool dataMessagePending_ = false;
    std::string lastError_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

void VirtualTcpNetwork::addDevice(const std::string& address, TcpDevice& device, int32_t port)
{
    devices_[{address, port}] = &device;
}

TcpDevice* VirtualTcpNetwork::deviceAt(const std::string& address, int32_t port) const
{
    auto it = devices_.find({address, port});
    return it == devices_.end() ? nullptr : it->second;
}

std::unique_ptr<TcpSocket> VirtualTcpNetwork::create() { return std::make_unique<VirtualTcpSocket>(*this); }

} // namespace lp::sim

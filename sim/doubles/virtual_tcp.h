#pragma once
// In-process TCP on the virtual clock: the program's sockets connect to
// devices (wireless adapter models) registered by address.
//
// Bytes take a configurable one-way latency; what reaches the program lands
// in the socket's buffer as time passes (a delay included), while the events
// (connected, DataArrival, Error) are messages and run only when the program
// lets messages run. An address without a device, or a device that refuses,
// gives Error 10061 after one round trip. A device that closes its end gives
// Error 10054 once its last bytes have arrived.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ports/tcp_socket.h"
#include "models/tcp_device.h"
#include "doubles/virtual_clock.h"

namespace lp::sim {

class VirtualTcpSocket;

// Sockets must not outlive the network, nor the network its devices.
class VirtualTcpNetwork final : public TcpSockets {
public:
    explicit VirtualTcpNetwork(VirtualClock& clock) : clock_(clock) {}

    // The device answering at address:port (one per endpoint; a second one
    // replaces the first for later connections).
    void addDevice(const std::string& address, TcpDevice& device, int32_t port = 12321);

    // One-way latency of connection set-up and data (default 2 ms).
    void setLatencyMs(double ms) { latencyUs_ = ms < 0 ? 0 : static_cast<int64_t>(ms * 1000.0); }

    std::unique_ptr<TcpSocket> create() override;

    // Every address:port a socket tried to reach, in order.
    std::vector<std::string> connectAttempts;

private:
    friend class VirtualTcpSocket;
    TcpDevice* deviceAt(const std::string& address, int32_t port) const;

    VirtualClock& clock_;
    std::map<std::pair<std::string, int32_t>, TcpDevice*> devices_;
    int64_t latencyUs_ = 2000;
};

} // namespace lp::sim

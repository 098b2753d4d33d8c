#pragma once
// A socket whose handlers do what the screens do (take all the data, keep
// every error), for tests of the socket ports and the wireless adapter model;
// and the three queries the program sends a wireless adapter.
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "adapters/wireless/modWLP.h"
#include "ports/tcp_socket.h"

namespace lp::test {

inline const Bytes kAskIdentity{0x5E, 0x02, 0x0D, 0x01, 0x92};
inline const Bytes kAskHexVersion{0x5E, 0x02, 0x0D, 0x02, 0x91};
inline const Bytes kAskDecimalVersion{0x5E, 0x02, 0x0D, 0x03, 0x90};

struct WatchedSocket {
    // `inDelay`, when given, tells whether the host is in a delay, where no
    // event may reach the program; such events are counted.
    WatchedSocket(TcpSockets& sockets, const std::string& address, std::function<bool()> inDelay = {})
        : socket(sockets.create())
    {
        socket->setRemoteHost(address);
        socket->setRemotePort(kWLPTcpPort);
        socket->setDataArrivalHandler([this, inDelay](int32_t total) {
            eventsInDelay += inDelay && inDelay();
            arrivals.push_back(total);
            Bytes got = socket->getData();
            data.insert(data.end(), got.begin(), got.end());
        });
        socket->setErrorHandler([this, inDelay](int32_t n, const std::string& text) {
            eventsInDelay += inDelay && inDelay();
            errors.emplace_back(n, text);
        });
    }
    Bytes take() { return std::exchange(data, {}); }

    std::unique_ptr<TcpSocket> socket;
    std::vector<int32_t> arrivals;
    int eventsInDelay = 0;
    Bytes data;
    std::vector<std::pair<int32_t, std::string>> errors;
};

} // namespace lp::test

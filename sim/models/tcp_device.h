#pragma once
// What a device behind a TCP port implements (the wireless adapter model),
// and what it is given to answer with. The same device serves the in-process
// sockets on the virtual clock and a real loopback listener.
#include <cstdint>
#include <vector>

#include "models/scheduler.h"

namespace lp {
using Bytes = std::vector<uint8_t>; // as the ports spell it
}

namespace lp::sim {

// The device's end of one connection.
class TcpLink {
public:
    virtual ~TcpLink() = default;
    // Bytes to the program, in order. Dropped once either side has closed.
    virtual void send(const Bytes& bytes) = 0;
    // The device ends the connection; bytes sent before still arrive. The
    // device gets no disconnected() for a connection it closed itself.
    virtual void close() = 0;
    // The time the device lives on (virtual or real).
    virtual Scheduler& scheduler() = 0;
    // The device takes no connection from now on: a real listener stops at
    // once, not when next it looks at acceptsConnections(), so a program
    // that connects again the moment it hears the device's last answer is
    // refused. The virtual network asks at every connect: nothing to do.
    virtual void refuseConnectionsNow() {}
};

class TcpDevice {
public:
    virtual ~TcpDevice() = default;
    // Asked when a program connects; false refuses the connection.
    virtual bool acceptsConnections() const { return true; }
    // A program connected; `link` stays valid until disconnected() or the
    // device's own close().
    virtual void connected(TcpLink& link) = 0;
    // Bytes from the program, in order, as the network happened to cut them.
    virtual void received(const Bytes& bytes) = 0;
    // The program closed the connection (or the transport stopped).
    virtual void disconnected() = 0;
};

} // namespace lp::sim

#pragma once
// The TcpSocket port: the client socket control that the screens use to talk
// to a wireless adapter (port 12321).
//
// State keeps the socket control's numbers, because screens compare against them:
//   0 closed, 6 connecting, 7 connected, 9 error.
// Everything after Connect happens as messages: the state moves to 7 or 9,
// DataArrival and Error fire only while the program lets messages run (a
// wait or a pump), never inside a plain delay and never inside a call to the
// socket itself.
//
// Error numbers are the Windows socket-control numbers, so that the user's
// "Error# n" box gives the number a Windows technician knows:
//   10061 the adapter refused the connection (nothing listens there)
//   10060 the connection attempt timed out
//   10054 the adapter closed or reset an open connection
//   10053 the connection was aborted on this side (network gone, local fault)
//   10051 the network cannot be reached
//   11001 the host name could not be resolved
//   10013 permission denied by the system
//   10055 out of socket resources
// After an Error event the state is 9 until Close.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lp {

using Bytes = std::vector<uint8_t>;

namespace TcpState {
constexpr int16_t Closed = 0;
constexpr int16_t Connecting = 6;
constexpr int16_t Connected = 7;
constexpr int16_t Closing = 8;
constexpr int16_t Error = 9;
} // namespace TcpState

namespace TcpError {
constexpr int32_t AccessDenied = 10013;
constexpr int32_t NetworkUnreachable = 10051;
constexpr int32_t ConnectionAborted = 10053;
constexpr int32_t ConnectionReset = 10054;
constexpr int32_t NoBufferSpace = 10055;
constexpr int32_t TimedOut = 10060;
constexpr int32_t ConnectionRefused = 10061;
constexpr int32_t HostNotFound = 11001;
} // namespace TcpError

// The English description that goes with an error number above; a generic
// text for any other number.
std::string tcpErrorDescription(int32_t number);

class TcpSocket {
public:
    using DataArrivalHandler = std::function<void(int32_t bytesTotal)>;
    using ErrorHandler = std::function<void(int32_t number, const std::string& description)>;

    virtual ~TcpSocket() = default;

    // RemoteHost (an address or host name) and RemotePort.
    virtual void setRemoteHost(const std::string& host) = 0;
    virtual std::string remoteHost() const = 0;
    virtual void setRemotePort(int32_t port) = 0;
    virtual int32_t remotePort() const = 0;

    virtual int16_t state() const = 0;

    // Starts connecting (state 6). Refused (false, nothing started) unless
    // the socket is closed and a host and port are set; a socket control
    // raised a run-time error there.
    virtual bool connect() = 0;

    // Queues the bytes for the adapter. Refused unless connected.
    virtual bool sendData(const Bytes& bytes) = 0;

    // Takes every byte received and not yet taken.
    virtual Bytes getData() = 0;

    // Drops the connection and any unread bytes; pending events of the old
    // connection are not delivered. State 0. Harmless when already closed.
    virtual void close() = 0;

    // Why the last refused call was refused.
    virtual std::string lastError() const = 0;

    // Event handlers; a screen sets them once after creating the socket.
    void setDataArrivalHandler(DataArrivalHandler handler) { dataArrival_ = std::move(handler); }
    void setErrorHandler(ErrorHandler handler) { error_ = std::move(handler); }

protected:
    // For implementations: run the handlers (when set). Call only from a
    // message, never inside one of the calls above.
    // A handler may close the socket or set new handlers; it must not
    // destroy the socket.
    void fireDataArrival(int32_t bytesTotal)
    {
        if (auto handler = dataArrival_)
            handler(bytesTotal);
    }
    void fireError(int32_t number, const std::string& description)
    {
        if (auto handler = error_)
            handler(number, description);
    }

private:
    DataArrivalHandler dataArrival_;
    ErrorHandler error_;
};

// Makes sockets; each screen owns the ones it creates.
class TcpSockets {
public:
    virtual ~TcpSockets() = default;
    virtual std::unique_ptr<TcpSocket> create() = 0;
};

} // namespace lp

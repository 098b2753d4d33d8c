#pragma once
// The TcpSocket port over QTcpSocket.
//
// Qt's signals are never handed straight to the program: they are queued
// and delivered as messages, in the order they came, only when the event
// loop runs outside a delay of the host (a signal that Qt emits inside
// connectToHost, say, does not reach a handler inside connect()). Received
// bytes are taken from Qt at once, so getData() sees them before the
// DataArrival message runs.
//
// Qt's socket errors become the Windows socket numbers (see ports/tcp_socket.h):
//   ConnectionRefusedError       10061
//   SocketTimeoutError           10060 (also our own connect time-out)
//   RemoteHostClosedError        10054 (and a disconnection we did not ask for)
//   HostNotFoundError            11001
//   SocketAccessError            10013
//   SocketResourceError          10055
//   NetworkError                 10051 while connecting, 10053 once connected
//   anything else                10053
#include <QAbstractSocket>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "ports/tcp_socket.h"

class QObject;
class QTcpSocket;
class QTimer;

namespace lp {

class QtHost;

// The Windows socket error number for a Qt socket error.
int32_t windowsSocketError(QAbstractSocket::SocketError error, bool wasConnected);

class QtTcpSocket final : public TcpSocket {
public:
    // With a host, events wait while it is in a delay. The socket belongs to
    // the thread that creates it, which must run a Qt event loop.
    explicit QtTcpSocket(QtHost* host = nullptr);
    ~QtTcpSocket() override;
    QtTcpSocket(const QtTcpSocket&) = delete;
    QtTcpSocket& operator=(const QtTcpSocket&) = delete;

    void setRemoteHost(const std::string& host) override { host_ = host; }
    std::string remoteHost() const override { return host_; }
    void setRemotePort(int32_t port) override { port_ = port; }
    int32_t remotePort() const override { return port_; }
    int16_t state() const override { return state_; }
    bool connect() override;
    bool sendData(const Bytes& bytes) override;
    Bytes getData() override;
    void close() override;
    std::string lastError() const override { return lastError_; }

    // How long a connection attempt may take before Error 10060 (default
    // 21 s, about what a Windows socket waits).
    void setConnectTimeoutMs(int ms) { connectTimeoutMs_ = ms; }

    // Bytes held for the program at most; Qt stops reading from the network
    // until the program takes some.
    static constexpr int64_t kMaxBufferedBytes = 1 << 20;

private:
    void enqueue(std::function<void()> event);
    void scheduleDrain(int delayMs);
    void drain();
    void takeBytes();
    void onConnected();
    void onError(int32_t number);
    void onDisconnected();
    void onConnectTimeout();
    void failWith(int32_t number);
    void dropSocket();
    bool refuse(std::string why);

    QtHost* qtHost_ = nullptr;
    std::string host_;
    int32_t port_ = 0;
    int16_t state_ = TcpState::Closed;
    uint64_t attempt_ = 0;
    Bytes buffer_;
    bool dataEventQueued_ = false;
    bool drainScheduled_ = false;
    int connectTimeoutMs_ = 21000;
    std::string lastError_;
    std::deque<std::function<void()>> events_;
    QTcpSocket* socket_ = nullptr; // owned; replaced for every connection attempt
    QObject* signalContext_ = nullptr; // child of socket_: ends our connections to it
    bool qtConnected_ = false;         // Qt reported the connection (errors read differently after)
    QTimer* connectTimer_ = nullptr;
    QTimer* drainTimer_ = nullptr; // runs drain() once messages run
    // Context of every queued call: destroying it drops what is still queued.
    std::unique_ptr<QObject> relay_;
};

class QtTcpSockets final : public TcpSockets {
public:
    explicit QtTcpSockets(QtHost* host = nullptr) : host_(host) {}
    std::unique_ptr<TcpSocket> create() override { return std::make_unique<QtTcpSocket>(host_); }

private:
    QtHost* host_;
};

} // namespace lp

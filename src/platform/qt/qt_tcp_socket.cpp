#include "platform/qt/qt_tcp_socket.h"

#include <QObject>
#include <QString>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

#ifdef _WIN32
#include <winsock2.h>
#ifdef _MSC_VER
#pragma comment(lib, "ws2_32.lib")
#endif
#else
#include <cerrno>
#include <sys/socket.h>
#endif

#include "platform/qt/qt_host.h"

namespace lp {

namespace {
// How soon held events are looked at again while the host is in a delay.
constexpr int kHoldRetryMs = 5;

// Hands bytes to the system's socket directly: the bytes written, 0 when
// the system would block, -1 on an error (which Qt's own write then meets
// and reports through its signals).
int64_t sendToSystem(qintptr descriptor, const uint8_t* data, size_t size)
{
#ifdef _WIN32
    const int n = ::send(static_cast<SOCKET>(descriptor), reinterpret_cast<const char*>(data),
                         static_cast<int>(std::min<size_t>(size, 1 << 30)), 0);
    if (n == SOCKET_ERROR)
        return WSAGetLastError() == WSAEWOULDBLOCK ? 0 : -1;
    return n;
#else
    for (;;) {
        const ssize_t n = ::send(static_cast<int>(descriptor), data, size, MSG_NOSIGNAL);
        if (n >= 0)
            return n;
        if (errno == EINTR)
            continue;
        return errno == EAGAIN || errno == EWOULDBLOCK ? 0 : -1;
    }
#endif
}
} // namespace

int32_t windowsSocketError(QAbstractSocket::SocketError error, bool wasConnected)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        return TcpError::ConnectionRefused;
    case QAbstractSocket::SocketTimeoutError:
        return TcpError::TimedOut;
    case QAbstractSocket::RemoteHostClosedError:
        return TcpError::ConnectionReset;
    case QAbstractSocket::HostNotFoundError:
        return TcpError::HostNotFound;
    case QAbstractSocket::SocketAccessError:
        return TcpError::AccessDenied;
    case QAbstractSocket::SocketResourceError:
        return TcpError::NoBufferSpace;
    case QAbstractSocket::NetworkError:
        return wasConnected ? TcpError::ConnectionAborted : TcpError::NetworkUnreachable;
    default:
        return TcpError::ConnectionAborted;
    }
}

QtTcpSocket::QtTcpSocket(QtHost* host) : qtHost_(host), relay_(std::make_unique<QObject>())
{
    connectTimer_ = new QTimer(relay_.get());
    connectTimer_->setSingleShot(true);
    QObject::connect(connectTimer_, &QTimer::timeout, relay_.get(), [this] {
        enqueue([this] { onConnectTimeout(); });
    });
    // A timer rather than a posted call: the loop turns to it without being
    // woken up, which spares two system calls an event (an answer a record
    // during a flash).
    drainTimer_ = new QTimer(relay_.get());
    drainTimer_->setSingleShot(true);
    QObject::connect(drainTimer_, &QTimer::timeout, relay_.get(), [this] {
        drainScheduled_ = false;
        drain();
    });
}

QtTcpSocket::~QtTcpSocket()
{
    events_.clear();
    dropSocket();
    relay_.reset();
}

bool QtTcpSocket::refuse(std::string why)
{
    lastError_ = std::move(why);
    return false;
}

bool QtTcpSocket::connect()
{
    if (state_ != TcpState::Closed)
        return refuse("Invalid operation at current state");
    if (host_.empty() || port_ < 1 || port_ > 65535)
        return refuse("Invalid argument: remote host or port not set");

    dropSocket();
    ++attempt_;
    events_.clear();
    buffer_.clear();
    dataEventQueued_ = false;
    qtConnected_ = false;

    socket_ = new QTcpSocket(relay_.get());
    socket_->setReadBufferSize(kMaxBufferedBytes);
    signalContext_ = new QObject(socket_);
    // Only bookkeeping happens inside Qt's signals; the program hears of
    // them through the queue.
    QObject::connect(socket_, &QTcpSocket::connected, signalContext_, [this] {
        qtConnected_ = true;
        enqueue([this] { onConnected(); });
    });
    QObject::connect(socket_, &QTcpSocket::readyRead, signalContext_, [this] { takeBytes(); });
    QObject::connect(socket_, &QTcpSocket::errorOccurred, signalContext_,
                     [this](QAbstractSocket::SocketError error) {
                         takeBytes(); // what arrived before the error comes first
                         const int32_t number = windowsSocketError(error, qtConnected_);
                         enqueue([this, number] { onError(number); });
                     });
    QObject::connect(socket_, &QTcpSocket::disconnected, signalContext_, [this] {
        takeBytes();
        enqueue([this] { onDisconnected(); });
    });

    state_ = TcpState::Connecting;
    if (connectTimeoutMs_ > 0)
        connectTimer_->start(connectTimeoutMs_);
    socket_->connectToHost(QString::fromStdString(host_), static_cast<quint16>(port_));
    return true;
}

bool QtTcpSocket::sendData(const Bytes& bytes)
{
    if (state_ != TcpState::Connected || !socket_)
        return refuse("Wrong protocol or connection state for the requested transaction or request");
    if (bytes.empty())
        return true;
    // With nothing of Qt's still queued the bytes go straight to the system:
    // Qt's own write switches its write notifier on and off again around
    // every send, which costs the flashes more than the send itself once a
    // record is sent per answer.
    size_t sent = 0;
    const qintptr descriptor = socket_->socketDescriptor();
    if (socket_->bytesToWrite() == 0 && descriptor >= 0) {
        const int64_t n = sendToSystem(descriptor, bytes.data(), bytes.size());
        if (n > 0)
            sent = static_cast<size_t>(n);
        if (sent == bytes.size())
            return true;
    }
    qint64 written = socket_->write(reinterpret_cast<const char*>(bytes.data() + sent),
                                    static_cast<qint64>(bytes.size() - sent));
    if (written < 0)
        return refuse(socket_->errorString().toStdString());
    // Hand the bytes to the system now, as a Windows socket control does; Qt would
    // otherwise wait for the event loop, which a delay holds back.
    socket_->flush();
    return true;
}

Bytes QtTcpSocket::getData()
{
    takeBytes();
    Bytes out;
    out.swap(buffer_);
    // Qt may hold more than fitted; it is announced by another event.
    takeBytes();
    return out;
}

void QtTcpSocket::close()
{
    ++attempt_;
    events_.clear();
    buffer_.clear();
    dataEventQueued_ = false;
    connectTimer_->stop();
    dropSocket();
    state_ = TcpState::Closed;
}

void QtTcpSocket::dropSocket()
{
    if (!socket_)
        return;
    // Our connections go first, so that nothing Qt emits while the socket
    // is torn down reaches us.
    delete signalContext_;
    signalContext_ = nullptr;
    socket_->abort();
    delete socket_;
    socket_ = nullptr;
    qtConnected_ = false;
}

void QtTcpSocket::takeBytes()
{
    if (!socket_)
        return;
    const int64_t room = kMaxBufferedBytes - static_cast<int64_t>(buffer_.size());
    // Asked for `room` bytes, Qt sets aside that much before it looks what
    // it holds: ask for what is there.
    const int64_t available = std::min<int64_t>(room, socket_->bytesAvailable());
    if (available <= 0)
        return;
    const QByteArray bytes = socket_->read(available);
    if (bytes.isEmpty())
        return;
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    if (dataEventQueued_)
        return;
    dataEventQueued_ = true;
    enqueue([this] {
        dataEventQueued_ = false;
        if (!buffer_.empty())
            fireDataArrival(static_cast<int32_t>(buffer_.size()));
    });
}

void QtTcpSocket::enqueue(std::function<void()> event)
{
    events_.push_back([this, attempt = attempt_, event = std::move(event)] {
        if (attempt == attempt_)
            event();
    });
    scheduleDrain(0);
}

void QtTcpSocket::scheduleDrain(int delayMs)
{
    if (drainScheduled_)
        return;
    drainScheduled_ = true;
    drainTimer_->start(delayMs);
}

void QtTcpSocket::drain()
{
    while (!events_.empty()) {
        if (qtHost_ && qtHost_->delayInProgress()) {
            scheduleDrain(kHoldRetryMs);
            return;
        }
        auto event = std::move(events_.front());
        events_.pop_front();
        event(); // may run a wait, which drains the rest first
    }
}

void QtTcpSocket::onConnected()
{
    if (state_ != TcpState::Connecting)
        return;
    connectTimer_->stop();
    state_ = TcpState::Connected;
}

void QtTcpSocket::onError(int32_t number)
{
    if (state_ == TcpState::Connecting || state_ == TcpState::Connected)
        failWith(number);
}

void QtTcpSocket::onDisconnected()
{
    // Qt usually reports the cause first; this covers a quiet disconnection.
    if (state_ == TcpState::Connected)
        failWith(TcpError::ConnectionReset);
}

void QtTcpSocket::onConnectTimeout()
{
    if (state_ != TcpState::Connecting)
        return;
    dropSocket();
    failWith(TcpError::TimedOut);
}

void QtTcpSocket::failWith(int32_t number)
{
    connectTimer_->stop();
    state_ = TcpState::Error;
    fireError(number, tcpErrorDescription(number));
}

} // namespace lp

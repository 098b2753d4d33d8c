#include "realtime/tcp_model_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace lp::sim {

namespace {

constexpr int kBindRetryMs = 50;
constexpr size_t kReadChunk = 4096;

void closeFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

// The device's end of the current connection. Called on the device's thread.
class TcpModelServer::Link final : public TcpLink {
public:
    explicit Link(TcpModelServer& server) : server_(server) {}

    void send(const Bytes& bytes) override
    {
        std::lock_guard<std::mutex> lock(server_.mutex_);
        if (!current())
            return;
        size_t sent = 0;
        while (sent < bytes.size()) {
            ssize_t n = ::send(server_.clientFd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return; // the program went away or stopped reading; the I/O thread will notice
            sent += static_cast<size_t>(n);
        }
    }

    void close() override
    {
        std::lock_guard<std::mutex> lock(server_.mutex_);
        if (!current())
            return;
        server_.closedByDevice_ = true;
        // The I/O thread sees the end of the stream and closes the socket.
        ::shutdown(server_.clientFd_, SHUT_RDWR);
    }

    Scheduler& scheduler() override { return server_.scheduler_; }

    void refuseConnectionsNow() override
    {
        // A shut-down listener refuses at once; the I/O thread then puts a
        // deaf socket in its place.
        std::lock_guard<std::mutex> lock(server_.listenMutex_);
        if (server_.listening_ && server_.listenFd_ >= 0)
            ::shutdown(server_.listenFd_, SHUT_RDWR);
        server_.wake();
    }

private:
    // Holding the server's mutex.
    bool current() const
    {
        return server_.clientFd_ >= 0 && !server_.closedByDevice_ &&
               server_.deviceSession_ == server_.clientSession_;
    }
    TcpModelServer& server_;
};

TcpModelServer::TcpModelServer(TcpDevice& device, std::string address, int32_t port)
    : device_(device), address_(std::move(address)), port_(port), link_(std::make_unique<Link>(*this))
{
}

TcpModelServer::~TcpModelServer() { stop(); }

bool TcpModelServer::isServableAddress(const std::string& address)
{
    in_addr parsed{};
    if (inet_pton(AF_INET, address.c_str(), &parsed) != 1)
        return false;
    const auto* b = reinterpret_cast<const uint8_t*>(&parsed.s_addr);
    return b[0] == 127 && b[1] == 0 && b[2] == 0 && b[3] >= 1 && b[3] <= 254;
}

bool TcpModelServer::userLockFolder(std::string& folder, std::string* error)
{
    // Per user: a lock file that one user made in the shared temporary
    // folder could not be opened by the next. Servers of different users
    // meet at bind() instead, which refuses an address in use.
    std::error_code ec;
    std::filesystem::path base = std::filesystem::temp_directory_path(ec);
    if (ec)
        base = "/tmp";
    folder = (base / ("linkport-toolkit-" + std::to_string(::getuid()))).string();
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        if (error)
            *error = "cannot make " + folder + ": " + std::strerror(errno);
        return false;
    }
    struct stat st {};
    if (::lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != ::getuid()
        || (st.st_mode & 0077) != 0) {
        if (error)
            *error = folder + " is not a folder of this user's alone";
        return false;
    }
    return true;
}

bool TcpModelServer::bindAddress(int timeoutMs, std::string* error)
{
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<uint16_t>(port_));
    inet_pton(AF_INET, address_.c_str(), &where.sin_addr);

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            if (error)
                *error = std::string("socket: ") + std::strerror(errno);
            return false;
        }
        int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (::bind(fd, reinterpret_cast<const sockaddr*>(&where), sizeof where) == 0) {
            listenFd_ = fd;
            listening_ = false;
            return true;
        }
        const int why = errno;
        ::close(fd);
        if (why != EADDRINUSE || std::chrono::steady_clock::now() >= deadline) {
            if (error)
                *error = "bind " + address_ + ":" + std::to_string(port_) + ": " + std::strerror(why);
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kBindRetryMs));
    }
}

bool TcpModelServer::start(std::string* error, int waitMs)
{
    if (started_) {
        if (error)
            *error = "the server was started before";
        return false;
    }
    if (!isServableAddress(address_) || port_ < 1 || port_ > 65535) {
        if (error)
            *error = "refused: " + address_ + ":" + std::to_string(port_) + " is not a loopback address 127.0.0.x";
        return false;
    }
    const auto started = std::chrono::steady_clock::now();
    std::string lockFolder;
    if (!userLockFolder(lockFolder, error))
        return false;
    const std::string lockPath = lockFolder + "/model-" + address_ + "-" + std::to_string(port_);
    addressLock_ = std::make_unique<FileLock>(lockPath, std::chrono::milliseconds(waitMs));
    if (!addressLock_->locked()) {
        if (error)
            *error = "another server keeps " + address_ + ":" + std::to_string(port_) + ": " + addressLock_->error();
        addressLock_.reset();
        return false;
    }
    if (::pipe2(wakePipe_, O_CLOEXEC | O_NONBLOCK) != 0) {
        if (error)
            *error = std::string("pipe: ") + std::strerror(errno);
        addressLock_.reset();
        return false;
    }
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
    if (!bindAddress(waitMs <= 0 ? 0 : std::max<int>(1000, waitMs - static_cast<int>(waited.count())), error)) {
        closeFd(wakePipe_[0]);
        closeFd(wakePipe_[1]);
        addressLock_.reset();
        return false;
    }
    followDevice();
    if (listenFd_ < 0) {
        if (error)
            *error = "could not listen on " + address_;
        closeFd(wakePipe_[0]);
        closeFd(wakePipe_[1]);
        addressLock_.reset();
        return false;
    }
    started_ = true;
    io_ = std::thread([this] { ioLoop(); });
    return true;
}

void TcpModelServer::stop()
{
    if (!started_ || stopping_.exchange(true))
        return;
    wake();
    if (io_.joinable())
        io_.join();
    dropClient();
    scheduler_.call([] {}); // the device has been told before its thread stops
    scheduler_.stop();
    closeFd(listenFd_);
    closeFd(wakePipe_[0]);
    closeFd(wakePipe_[1]);
    addressLock_.reset();
    {
        // Nobody waits on an I/O thread that has gone.
        std::lock_guard<std::mutex> lock(syncMutex_);
        syncAnswered_ = syncAsked_;
    }
    syncDone_.notify_all();
}

bool TcpModelServer::call(const std::function<void()>& fn)
{
    if (!scheduler_.call(fn))
        return false;
    if (!started_ || stopping_)
        return true;
    uint64_t ticket;
    {
        std::lock_guard<std::mutex> lock(syncMutex_);
        ticket = ++syncAsked_;
    }
    wake();
    std::unique_lock<std::mutex> lock(syncMutex_);
    syncDone_.wait(lock, [&] { return syncAnswered_ >= ticket; });
    return true;
}

void TcpModelServer::wake()
{
    if (wakePipe_[1] >= 0) {
        const char byte = 1;
        [[maybe_unused]] ssize_t n = ::write(wakePipe_[1], &byte, 1);
    }
}

// The listener follows the device: listening while it takes connections,
// bound but deaf (so connections are refused) while it does not.
void TcpModelServer::followDevice()
{
    bool accepts = true;
    scheduler_.call([&] { accepts = device_.acceptsConnections(); });
    if (accepts && !listening_) {
        std::lock_guard<std::mutex> lock(listenMutex_);
        if (listenFd_ < 0 && !bindAddress(1000, nullptr))
            return;
        if (::listen(listenFd_, 8) == 0)
            listening_ = true;
    } else if (!accepts && listening_) {
        deafen();
    }
}

void TcpModelServer::ioLoop()
{
    while (!stopping_) {
        uint64_t asked;
        {
            std::lock_guard<std::mutex> lock(syncMutex_);
            asked = syncAsked_;
        }
        followDevice();
        {
            std::lock_guard<std::mutex> lock(syncMutex_);
            syncAnswered_ = asked;
        }
        syncDone_.notify_all();

        pollfd fds[3];
        nfds_t count = 0;
        fds[count++] = {wakePipe_[0], POLLIN, 0};
        const nfds_t listenAt = listening_ ? count : 99;
        if (listening_)
            fds[count++] = {listenFd_, POLLIN, 0};
        const nfds_t clientAt = clientFd_ >= 0 ? count : 99;
        if (clientFd_ >= 0)
            fds[count++] = {clientFd_, POLLIN, 0};

        if (::poll(fds, count, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (stopping_)
            break;
        if (fds[0].revents) {
            char drain[64];
            while (::read(wakePipe_[0], drain, sizeof drain) > 0) {
            }
        }
        // The old connection's last bytes before the new connection that
        // replaces it: a program that sends, closes and connects again at
        // once must not lose what it sent last.
        if (clientAt != 99 && fds[clientAt].revents)
            readClient();
        if (listenAt != 99 && fds[listenAt].revents)
            acceptClient();
    }
}

// A listening socket cannot stop listening; a fresh bound one takes its place.
void TcpModelServer::deafen()
{
    std::lock_guard<std::mutex> lock(listenMutex_);
    closeFd(listenFd_);
    listening_ = false;
    bindAddress(1000, nullptr);
}

void TcpModelServer::acceptClient()
{
    int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0 && errno == EINVAL) {
        deafen(); // shut down by refuseConnectionsNow
        return;
    }
    if (fd < 0)
        return;
    dropClient();
    // A program that stops reading must not hold the device's thread for long.
    timeval sendTimeout{1, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout);
    int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    uint64_t session;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        clientFd_ = fd;
        closedByDevice_ = false;
        session = ++clientSession_;
    }
    scheduler_.at(scheduler_.nowUs(), [this, session] {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (session != clientSession_)
                return; // already replaced or dropped
            deviceSession_ = session;
        }
        device_.connected(*link_);
    });
}

void TcpModelServer::readClient()
{
    uint8_t buffer[kReadChunk];
    ssize_t n = ::recv(clientFd_, buffer, sizeof buffer, 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (n <= 0) {
        dropClient();
        return;
    }
    const uint64_t session = clientSession_;
    scheduler_.at(scheduler_.nowUs(), [this, session, bytes = Bytes(buffer, buffer + n)] {
        {
            // A connection replaced meanwhile still hands over what it
            // carried: the device hears of the replacement only after these
            // bytes (its answers to them go nowhere).
            std::lock_guard<std::mutex> lock(mutex_);
            if (session != deviceSession_)
                return;
        }
        device_.received(bytes);
    });
}

void TcpModelServer::dropClient()
{
    uint64_t session;
    bool byDevice;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (clientFd_ < 0)
            return;
        closeFd(clientFd_);
        session = clientSession_;
        byDevice = closedByDevice_;
    }
    if (byDevice)
        return;
    scheduler_.at(scheduler_.nowUs(), [this, session] {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (session != deviceSession_)
                return; // never told of it
            deviceSession_ = 0;
        }
        device_.disconnected();
    });
}

} // namespace lp::sim

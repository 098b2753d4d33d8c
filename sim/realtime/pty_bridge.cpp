#include "realtime/pty_bridge.h"

#ifndef _WIN32

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/inotify.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace lp::sim {

namespace {

// What the wake pipe carries: stop the reader, or hang the line up.
constexpr char kWakeStop = 1;
constexpr char kWakeHangUp = 2;

void setError(std::string* error, const std::string& text)
{
    if (error)
        *error = text;
}

} // namespace

int baudOfSpeed(unsigned speed)
{
    switch (speed) {
    case B50: return 50;
    case B75: return 75;
    case B110: return 110;
    case B134: return 134;
    case B150: return 150;
    case B200: return 200;
    case B300: return 300;
    case B600: return 600;
    case B1200: return 1200;
    case B1800: return 1800;
    case B2400: return 2400;
    case B4800: return 4800;
    case B9600: return 9600;
    case B19200: return 19200;
    case B38400: return 38400;
    case B57600: return 57600;
    case B115200: return 115200;
    case B230400: return 230400;
#ifdef B460800
    case B460800: return 460800;
#endif
#ifdef B921600
    case B921600: return 921600;
#endif
    default: return 0;
    }
}

bool linkComPort(const std::string& folder, int port, const std::string& target, std::string* error)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::create_directories(folder, ec);
    fs::path link = fs::path(folder) / ("com" + std::to_string(port));
    fs::remove(link, ec);
    fs::create_symlink(target, link, ec);
    if (ec) {
        setError(error, "cannot link " + link.string() + " to " + target + ": " + ec.message());
        return false;
    }
    return true;
}

PtyBridge::PtyBridge(SerialDevice& device) : device_(device) {}

PtyBridge::~PtyBridge() { stop(); }

bool PtyBridge::start(std::string* error)
{
    if (running_)
        return true;
    // Raw from the start: before the program opens the slave, the default
    // line discipline would echo and translate the model's replies.
    termios raw{};
    cfmakeraw(&raw);
    cfsetispeed(&raw, B9600);
    cfsetospeed(&raw, B9600);
    int master = -1, slave = -1;
    char name[256] = {};
    if (openpty(&master, &slave, name, &raw, nullptr) != 0) {
        setError(error, std::string("openpty failed: ") + std::strerror(errno));
        return false;
    }
    if (pipe(wakePipe_) != 0) {
        setError(error, std::string("pipe failed: ") + std::strerror(errno));
        close(master);
        close(slave);
        return false;
    }
    // A program that stops reading must not block the model's thread: a
    // full pty drops bytes, as an overrun UART would.
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    fcntl(master, F_SETFD, FD_CLOEXEC);
    fcntl(slave, F_SETFD, FD_CLOEXEC);
    master_ = master;
    slaveKeeper_ = slave;
    slavePath_ = name;

    if (followOpens_) {
        // Watched after openpty, so the bridge's own slave descriptor is
        // never counted.
        inotify_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (inotify_ < 0
            || inotify_add_watch(inotify_, name, IN_OPEN | IN_CLOSE_WRITE | IN_CLOSE_NOWRITE) < 0) {
            setError(error, std::string("inotify failed: ") + std::strerror(errno));
            for (int fd : {master, slave, wakePipe_[0], wakePipe_[1], inotify_})
                if (fd >= 0)
                    close(fd);
            wakePipe_[0] = wakePipe_[1] = inotify_ = -1;
            return false;
        }
        programOpens_ = 0;
    }

    hungUp_ = masterClosed_ = false;
    if (!followOpens_)
        scheduler_.call([this] { setProgramOpen(true); });
    running_ = true;
    reader_ = std::thread([this] { readLoop(); });
    return true;
}

void PtyBridge::stop()
{
    if (!running_)
        return;
    running_ = false;
    ssize_t written = ::write(wakePipe_[1], &kWakeStop, 1);
    (void)written;
    if (reader_.joinable())
        reader_.join();
    if (masterClosed_)
        master_ = slaveKeeper_ = -1;
    scheduler_.call([this] { setProgramOpen(false); });
    scheduler_.stop();
    for (int* fd : {&master_, &slaveKeeper_, &wakePipe_[0], &wakePipe_[1], &inotify_}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
}

void PtyBridge::readLoop()
{
    uint8_t buffer[4096];
    for (;;) {
        pollfd fds[3] = {{masterClosed_ ? -1 : master_, POLLIN, 0}, {wakePipe_[0], POLLIN, 0}, {inotify_, POLLIN, 0}};
        int ready = poll(fds, inotify_ >= 0 ? 3 : 2, -1);
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents) {
            char wake = kWakeStop;
            if (::read(wakePipe_[0], &wake, 1) != 1 || wake != kWakeHangUp)
                return;
            // The scheduler relays nothing more: the line can close here.
            close(master_);
            close(slaveKeeper_);
            masterClosed_ = true;
            continue;
        }
        ssize_t n = 0;
        if (fds[0].revents & POLLIN) {
            n = ::read(master_, buffer, sizeof buffer);
            if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR))
                poll(&fds[1], 1, 10);
        } else if (fds[0].revents) {
            // Hang-up without a reader: wait a little rather than spin.
            poll(&fds[1], 1, 10);
        }
        // Opens and closes are read after the bytes: every open that came
        // before those bytes were written is among them, so an open followed
        // at once by a write reaches the model in that order.
        if (inotify_ >= 0)
            followOpens();
        if (n <= 0)
            continue;
        termios settings{};
        int baud = 0;
        if (tcgetattr(master_, &settings) == 0)
            baud = baudOfSpeed(cfgetospeed(&settings));
        programBaud_ = baud;
        Bytes bytes(buffer, buffer + n);
        scheduler_.at(scheduler_.nowUs(), [this, bytes = std::move(bytes), baud] { toDevice(bytes, baud); });
    }
}

void PtyBridge::followOpens()
{
    alignas(inotify_event) char events[4096];
    for (;;) {
        ssize_t n = ::read(inotify_, events, sizeof events);
        if (n <= 0)
            return;
        for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(events + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            const int before = programOpens_;
            if (event->mask & IN_OPEN)
                ++programOpens_;
            else if ((event->mask & (IN_CLOSE_WRITE | IN_CLOSE_NOWRITE)) && programOpens_ > 0)
                --programOpens_;
            if ((before == 0) == (programOpens_ == 0))
                continue;
            const bool open = programOpens_ > 0;
            scheduler_.at(scheduler_.nowUs(), [this, open] { setProgramOpen(open); });
        }
    }
}

void PtyBridge::hangUp()
{
    if (hungUp_)
        return;
    hungUp_ = true;
    held_.clear();
    ssize_t written = ::write(wakePipe_[1], &kWakeHangUp, 1);
    (void)written;
}

void PtyBridge::fromDevice(uint8_t byte)
{
    if (hungUp_)
        return;
    if (turnaroundUs_ == 0) {
        ssize_t written = ::write(master_, &byte, 1);
        (void)written;
        return;
    }
    held_.push_back(byte);
    if (held_.size() >= turnaroundBuffer_) {
        releaseHeld();
        return;
    }
    if (held_.size() == 1) {
        const uint64_t batch = heldBatch_;
        scheduler_.at(scheduler_.nowUs() + turnaroundUs_, [this, batch] {
            if (batch == heldBatch_) // a full buffer may have gone already
                releaseHeld();
        });
    }
}

void PtyBridge::releaseHeld()
{
    ++heldBatch_;
    if (held_.empty() || hungUp_)
        return;
    ssize_t written = ::write(master_, held_.data(), held_.size());
    (void)written;
    held_.clear();
}

void PtyBridge::setProgramOpen(bool open)
{
    if (open == (line_ != nullptr))
        return;
    if (open) {
        line_ = std::make_unique<SerialLine>(scheduler_, programEnd_, &device_);
        device_.hostOpened(*line_);
    } else {
        line_.reset();
        device_.hostClosed();
    }
}

void PtyBridge::toDevice(const Bytes& bytes, int baud)
{
    if (baud > 0)
        programEnd_.baud = baud;
    if (line_)
        line_->hostSend(bytes, programEnd_.baud);
}

} // namespace lp::sim

#endif // !_WIN32

#include "platform/serial_low_latency.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#ifdef __linux__
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#endif

namespace lp {

namespace {

#ifdef __linux__
class LinuxLineFlags final : public SerialLineFlags {
public:
    bool lowLatency(int fd, bool& on, std::string& why) override
    {
        serial_struct info{};
        if (::ioctl(fd, TIOCGSERIAL, &info) != 0) {
            why = std::strerror(errno);
            return false;
        }
        on = (info.flags & ASYNC_LOW_LATENCY) != 0;
        return true;
    }

    bool setLowLatency(int fd, bool on, std::string& why) override
    {
        // The whole structure goes back as read: only the one flag changes.
        serial_struct info{};
        if (::ioctl(fd, TIOCGSERIAL, &info) != 0) {
            why = std::strerror(errno);
            return false;
        }
        if (on)
            info.flags |= ASYNC_LOW_LATENCY;
        else
            info.flags &= ~ASYNC_LOW_LATENCY;
        if (::ioctl(fd, TIOCSSERIAL, &info) != 0) {
            why = std::strerror(errno);
            return false;
        }
        return true;
    }
};
#else
class NoLineFlags final : public SerialLineFlags {
public:
    bool lowLatency(int, bool&, std::string& why) override
    {
        why = "no portable call on this system";
        return false;
    }
    bool setLowLatency(int, bool, std::string& why) override
    {
        why = "no portable call on this system";
        return false;
    }
};
#endif

} // namespace

SerialLineFlags& systemSerialLineFlags()
{
#ifdef __linux__
    static LinuxLineFlags flags;
#else
    static NoLineFlags flags;
#endif
    return flags;
}

int latencyTimerMs(const std::string& devicePath, const std::string& sysRoot)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::path device = fs::weakly_canonical(devicePath, ec);
    if (ec || device.filename().empty())
        return -1;
    std::ifstream file(fs::path(sysRoot) / "class" / "tty" / device.filename() / "device" / "latency_timer");
    int ms = -1;
    if (!(file >> ms) || ms < 0 || ms > 255)
        return -1;
    return ms;
}

LowLatencyRequest::Outcome LowLatencyRequest::request(int fd, std::string& why)
{
    changed_ = false;
    bool on = false;
    if (!flags_.lowLatency(fd, on, why))
        return Outcome::Refused;
    if (on)
        return Outcome::AlreadyOn;
    if (!flags_.setLowLatency(fd, true, why))
        return Outcome::Refused;
    changed_ = true;
    return Outcome::TurnedOn;
}

void LowLatencyRequest::restore(int fd, bool lineGone)
{
    if (!changed_)
        return;
    changed_ = false;
    if (lineGone)
        return;
    std::string ignored;
    flags_.setLowLatency(fd, false, ignored);
}

bool RefusalNotes::first(const std::string& device)
{
    std::lock_guard lock(mutex_);
    return noted_.insert(device).second;
}

} // namespace lp

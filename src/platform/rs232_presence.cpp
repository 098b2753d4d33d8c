#ifndef _WIN32
#include "platform/rs232_presence.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "platform/serial_port_map.h"

namespace lp {

bool serialDeviceLockedElsewhere(const std::string& path)
{
    int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool locked = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
    ::close(fd); // also drops the lock if we took it
    return locked;
}

bool isRs232PortPresent(int32_t port)
{
    if (port < kFirstComPort || port > kLastComPort)
        return false;
    std::string path = devicePathForPort(port);
    if (path.empty())
        return false;
    // Two links to one device must meet at one lock.
    std::error_code ec;
    auto real = std::filesystem::canonical(path, ec);
    if (!ec)
        path = real.string();
    return isRs232ClassDevice(path) && !serialDeviceLockedElsewhere(path);
}

} // namespace lp
#endif

#include "platform/serial_port_map.h"

#include "core/ascii.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/user_folders.h"
#include "platform/rs232_presence.h"

#ifdef _WIN32
#include <windows.h>

#include "platform/win32/win32_serial_port.h"
#else
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace fs = std::filesystem;

namespace lp {

namespace {

// A decimal port number without sign or leading zero, in range; 0 otherwise.
int parsePortNumber(std::string_view digits)
{
    if (digits.empty() || digits.size() > 3 || digits.front() == '0')
        return 0;
    int n = 0;
    for (char c : digits) {
        if (c < '0' || c > '9')
            return 0;
        n = n * 10 + (c - '0');
    }
    return n >= kFirstComPort && n <= kLastComPort ? n : 0;
}

// The number of a "ttyS12"-style name after its prefix, or -1. Devices are
// numbered by the kernel, so anything that is not plain digits is something
// else (ttySAC0 belongs to another driver).
long ttySuffix(const std::string& name, const std::string& prefix)
{
    if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0)
        return -1;
    std::string_view rest(name);
    rest.remove_prefix(prefix.size());
    if (rest.size() > 9)
        return -1;
    long n = 0;
    for (char c : rest) {
        if (c < '0' || c > '9')
            return -1;
        n = n * 10 + (c - '0');
    }
    return n;
}

// comN entries of the link folder, number -> the device they lead to.
[[maybe_unused]] std::map<int, std::string> readLinks(const std::string& folder)
{
    std::map<int, std::string> links;
    if (folder.empty())
        return links;
    std::error_code ec;
    std::vector<fs::path> entries;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        entries.push_back(it->path());
    // "com5" and "COM5" side by side: the first in name order wins, so the
    // answer does not depend on the order the folder happens to list them.
    std::sort(entries.begin(), entries.end());
    for (const auto& entry : entries) {
        std::string name = asciiLowered(entry.filename().string());
        if (name.size() < 4 || name.compare(0, 3, "com") != 0)
            continue;
        int n = parsePortNumber(std::string_view(name).substr(3));
        if (n == 0 || links.count(n))
            continue;
        std::error_code linkError;
        fs::path target = fs::read_symlink(entry, linkError);
        if (linkError)
            target = entry; // a device node or file placed there directly
        else if (target.is_relative())
            target = (entry.parent_path() / target).lexically_normal();
        links.emplace(n, target.string());
    }
    return links;
}

} // namespace

int portOfDeviceName(const std::string& name)
{
    std::string_view rest(name);
    if (rest.substr(0, 4) == "\\\\.\\")
        rest.remove_prefix(4);
    if (rest.size() < 4 || asciiLowered(std::string(rest.substr(0, 3))) != "com")
        return 0;
    return parsePortNumber(rest.substr(3));
}

std::map<int, std::string> defaultPortMap(const std::string& devFolder)
{
    std::map<int, std::string> ports;
    std::error_code ec;
    std::vector<std::string> names;
    for (fs::directory_iterator it(devFolder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());

    int next = kFirstComPort;
    for (const std::string prefix : {"ttyS", "ttyUSB", "ttyACM"}) {
        std::vector<std::pair<long, std::string>> found;
        for (const auto& name : names) {
            long n = ttySuffix(name, prefix);
            if (n >= 0)
                found.emplace_back(n, name);
        }
        std::sort(found.begin(), found.end());
        for (const auto& [n, name] : found) {
            if (next > kLastComPort)
                return ports;
            ports.emplace(next++, (fs::path(devFolder) / name).string());
        }
    }
    return ports;
}

#ifdef _WIN32

std::string dosdevicesFolder() { return {}; }

std::string devicePathForPort(int port)
{
    if (port < kFirstComPort || port > kLastComPort)
        return {};
    return "\\\\.\\COM" + std::to_string(port);
}

std::map<int, std::string> listPorts()
{
    std::map<int, std::string> ports;
    char target[512];
    for (int n = kFirstComPort; n <= kLastComPort; ++n) {
        std::string name = "COM" + std::to_string(n);
        // Wine answers QueryDosDevice only for the ports in its registry,
        // not for the links in its dosdevices folder; the probe finds those.
        if (QueryDosDeviceA(name.c_str(), target, sizeof target) != 0 || isRs232PortPresent(n))
            ports.emplace(n, devicePathForPort(n));
    }
    return ports;
}

bool isRs232ClassDevice(const std::string& path)
{
    HANDLE handle = CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    COMMPROP properties{};
    bool rs232 = GetCommProperties(handle, &properties) && properties.dwProvSubType == PST_RS232;
    CloseHandle(handle);
    return rs232;
}

bool canOpenDevice(const std::string& path, std::string* reason)
{
    HANDLE handle = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle != INVALID_HANDLE_VALUE) {
        CloseHandle(handle);
        return true;
    }
    const DWORD error = GetLastError();
    if (reason)
        *reason = serialOpenRefusal(path, error);
    return false;
}

#else

std::string dosdevicesFolder()
{
    if (const char* env = std::getenv("LINKPORT_DOSDEVICES"); env && *env)
        return env;
    std::string config = userConfigFolder();
    if (config.empty())
        return {};
    std::string folder = config + "/dosdevices";
    std::error_code ec;
    return fs::is_directory(folder, ec) ? folder : std::string();
}

std::string devicePathForPort(int port)
{
    if (port < kFirstComPort || port > kLastComPort)
        return {};
    auto links = readLinks(dosdevicesFolder());
    if (auto it = links.find(port); it != links.end())
        return it->second;
    auto defaults = defaultPortMap("/dev");
    auto it = defaults.find(port);
    return it == defaults.end() ? std::string() : it->second;
}

std::map<int, std::string> listPorts()
{
    auto ports = readLinks(dosdevicesFolder());
    for (auto& [n, path] : defaultPortMap("/dev"))
        ports.emplace(n, path); // a link keeps its number
    return ports;
}

bool isRs232ClassDevice(const std::string& path)
{
    if (path.empty())
        return false;
    // Non-blocking, so that a port waiting for carrier does not hang the
    // probe; no controlling terminal, so that probing never adopts one.
    int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    termios attributes{};
    bool serial = ::isatty(fd) == 1 && ::tcgetattr(fd, &attributes) == 0
                  && ::tcsetattr(fd, TCSANOW, &attributes) == 0;
    ::close(fd);
    return serial;
}

namespace {

std::string groupOf(const std::string& path)
{
    struct stat info{};
    if (::stat(path.c_str(), &info) != 0)
        return {};
    std::vector<char> buffer(4096);
    group entry{};
    group* result = nullptr;
    if (::getgrgid_r(info.st_gid, &entry, buffer.data(), buffer.size(), &result) != 0 || !result)
        return {};
    return result->gr_name ? std::string(result->gr_name) : std::string();
}

} // namespace

bool canOpenDevice(const std::string& path, std::string* reason)
{
    if (path.empty()) {
        if (reason)
            *reason = "no device is mapped to this port";
        return false;
    }
    int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0) {
        ::close(fd);
        return true;
    }
    int error = errno;
    if (!reason)
        return false;
    switch (error) {
    case EACCES:
    case EPERM: {
        // Users read this as "port not found"; say what actually fixes it.
        std::string group = groupOf(path);
        if (group.empty() || group == "root")
            group = "dialout";
        *reason = path + ": permission denied; join the group '" + group + "' (sudo usermod -aG " + group
                  + " $USER) and log in again";
        break;
    }
    case EBUSY: *reason = path + ": in use by another program"; break;
    case ENOENT:
    case ENODEV:
    case ENXIO: *reason = path + ": no such device"; break;
    default: *reason = path + ": " + std::generic_category().message(error); break;
    }
    return false;
}

#endif

} // namespace lp

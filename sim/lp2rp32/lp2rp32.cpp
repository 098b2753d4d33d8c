// LP2RP32, the test driver library: the adapter's RP1210 driver as a real
// shared library that the program loads like the maker's, built from the
// driver model. It reaches the adapter over a real serial line (normally a
// pseudo-terminal with an Lp2Model behind it, see sim/realtime/pty_bridge.h):
// while a client is open it holds that line, exclusively and with an flock
// (on Windows: opened unshared), so the program's own open of the port is
// refused; command 209 asks the adapter for its versions over the line and
// command 300 has it start a flash.
//
// Configuration: LP2SIM.INI, looked for in the folder the library was loaded
// from and then in the Windows directory ($windir, else the per-user one).
// Every key is optional:
//
//   [Driver]
//   DLLMajorVersion=1          RP1210_ReadVersion's four fields, written
//   DLLMinorVersion=12         without terminators
//   APIMajorVersion=3
//   APIMinorVersion=0
//   DeviceID=1                 the device id ClientConnect accepts
//   Protocols=SIP,J1708,J1939,HVN
//   FirstClientID=0            the first client id handed out
//   HardwareStatus=LP2         RP1210_GetHardwareStatus's text
//   FlashRefusedCode=150       command 300's result when the adapter refuses
//   [ConnectErrors]
//   J1708=443                  ClientConnect's result for that protocol
//   [ErrorTexts]
//   142=Hardware not responding    RP1210_GetErrorMsg's text for a code
//   [Adapter]
//   Port=COM5                  COMn through the port map, or a device path
//   Baud=9600
//   ReplyTimeout=1000          milliseconds to wait for the adapter
//
// The configuration is read again at each connect while no client is open.
// Built with LP2SIM_WITHOUT_HARDWARE_STATUS it lacks that one entry point
// (for the tests of a driver that misses one). On Windows it is LP2RP32.dll
// (exports named in LP2RP32.def, a version resource from lp2rp32.rc).

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/vb_text.h"
#include "models/lp2_driver_core.h"
#include "models/lp2_model.h"
#include "platform/ini_profile_files.h"
#include "ports/rp1210_api.h"
#include "platform/serial_port_map.h"
#include "platform/windows_directory.h"

// Windows: the .def file beside this source names the exports.
#ifdef _WIN32
#define LP2SIM_EXPORT extern "C"
#else
#define LP2SIM_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

using lp::Bytes;
using lp::sim::Lp2DriverCore;
using lp::sim::Lp2DriverSettings;

const char* const kConfigName = "LP2SIM.INI";

#ifdef _WIN32
// The folder this library was loaded from.
std::string ownFolder()
{
    HMODULE self = nullptr;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCSTR>(&ownFolder), &self))
        return {};
    char path[MAX_PATH] = {};
    DWORD n = GetModuleFileNameA(self, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH)
        return {};
    return std::filesystem::path(std::string(path, n)).parent_path().string();
}
#else
speed_t speedOfBaud(int baud)
{
    switch (baud) {
    case 1200: return B1200;
    case 2400: return B2400;
    case 4800: return B4800;
    case 19200: return B19200;
    case 38400: return B38400;
    case 57600: return B57600;
    case 115200: return B115200;
    default: return B9600;
    }
}

// The folder this library was loaded from.
std::string ownFolder()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ownFolder), &info) == 0 || !info.dli_fname)
        return {};
    return std::filesystem::path(info.dli_fname).parent_path().string();
}
#endif

// The first whole reply frame in what the line has brought so far, if any.
// Anything before a reply's first byte is line noise and is dropped.
std::optional<Bytes> takeWholeReply(Bytes& received)
{
    auto start = std::find(received.begin(), received.end(), uint8_t{0x5F});
    received.erase(received.begin(), start);
    if (size_t length = lp::sim::lp2ReplyLength(received); length > 0)
        return Bytes(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(length));
    return std::nullopt;
}

class Config {
public:
    Config()
    {
        for (const std::string& folder : {ownFolder(), lp::defaultWindowsDirectory()}) {
            if (folder.empty())
                continue;
            lp::IniProfileFiles files(folder);
            if (!files.locate(kConfigName).empty() && std::filesystem::exists(files.locate(kConfigName))) {
                folder_ = folder;
                break;
            }
        }
        if (!folder_.empty())
            files_ = std::make_unique<lp::IniProfileFiles>(folder_);
    }

    std::string text(const std::string& section, const std::string& key, const std::string& fallback)
    {
        if (!files_)
            return fallback;
        std::string out;
        uint32_t n = files_->getPrivateProfileString(section, key, fallback, out, 256, kConfigName);
        return out.substr(0, n);
    }

    int number(const std::string& section, const std::string& key, int fallback)
    {
        std::string value = text(section, key, "");
        if (!lp::vb::IsNumeric(value))
            return fallback;
        auto n = lp::vb::CLng(lp::vb::Val(value));
        return n ? static_cast<int>(*n) : fallback;
    }

private:
    std::string folder_;
    std::unique_ptr<lp::IniProfileFiles> files_;
};

// The adapter at the other end of a real serial line.
class SerialAdapter final : public lp::sim::Lp2AdapterAccess {
public:
    SerialAdapter(std::string port, int baud, int timeoutMs) : port_(std::move(port)), baud_(baud), timeoutMs_(timeoutMs) {}
    ~SerialAdapter() override { releasePort(); }

#ifdef _WIN32
    bool acquirePort() override
    {
        if (line_ != INVALID_HANDLE_VALUE)
            return true;
        std::string path = port_;
        if (!path.empty() && (path[0] == 'C' || path[0] == 'c'))
            path = lp::devicePathForPort(lp::portOfDeviceName(port_));
        if (path.empty())
            return false;
        // No sharing: while a client is open the program's own open of the
        // port is refused, as with the maker's driver.
        HANDLE line = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (line == INVALID_HANDLE_VALUE)
            return false;
        DCB dcb{};
        dcb.DCBlength = sizeof dcb;
        if (GetCommState(line, &dcb)) {
            dcb.BaudRate = static_cast<DWORD>(baud_);
            dcb.ByteSize = 8;
            dcb.Parity = NOPARITY;
            dcb.StopBits = ONESTOPBIT;
            dcb.fBinary = TRUE;
            dcb.fOutxCtsFlow = dcb.fOutxDsrFlow = FALSE;
            dcb.fOutX = dcb.fInX = FALSE;
            SetCommState(line, &dcb);
        }
        line_ = line;
        return true;
    }

    void releasePort() override
    {
        if (line_ == INVALID_HANDLE_VALUE)
            return;
        CloseHandle(line_);
        line_ = INVALID_HANDLE_VALUE;
    }

#else
    bool acquirePort() override
    {
        if (fd_ >= 0)
            return true;
        std::string path = port_;
        if (path.empty() || path[0] != '/')
            path = lp::devicePathForPort(lp::portOfDeviceName(port_));
        if (path.empty())
            return false;
        int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            return false;
        // The program's serial port takes the same lock: whoever has it
        // first keeps the line.
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(fd);
            return false;
        }
        ::ioctl(fd, TIOCEXCL);
        termios t{};
        if (::tcgetattr(fd, &t) == 0) {
            cfmakeraw(&t);
            cfsetispeed(&t, speedOfBaud(baud_));
            cfsetospeed(&t, speedOfBaud(baud_));
            t.c_cflag |= CLOCAL | CREAD;
            ::tcsetattr(fd, TCSANOW, &t);
        }
        fd_ = fd;
        return true;
    }

    void releasePort() override
    {
        if (fd_ < 0)
            return;
        ::ioctl(fd_, TIOCNXCL);
        ::close(fd_);
        fd_ = -1;
    }
#endif

    std::optional<std::array<uint8_t, 6>> readVersions() override
    {
        auto reply = exchange(lp::sim::lp2VersionsRequest());
        return reply ? lp::sim::lp2ParseVersionsReply(*reply) : std::nullopt;
    }

    bool present() override
    {
        auto reply = exchange(lp::sim::lp2PresenceRequest());
        return reply && lp::sim::lp2IsPresenceReply(*reply);
    }

    std::optional<bool> startFlash(uint16_t value) override
    {
        auto reply = exchange(lp::sim::lp2FlashStartRequest(value));
        return reply ? lp::sim::lp2ParseFlashReply(*reply) : std::nullopt;
    }

private:
    using Clock = std::chrono::steady_clock;

    // Sends a request and waits for one whole reply frame.
    std::optional<Bytes> exchange(const Bytes& request)
    {
        auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs_);
        if (!sendRequest(request, deadline))
            return std::nullopt;
        Bytes received;
        for (;;) {
            if (auto reply = takeWholeReply(received))
                return reply;
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0)
                return std::nullopt;
            uint8_t buffer[256];
            long n = readSome(buffer, sizeof buffer, left);
            if (n < 0)
                return std::nullopt;
            if (n > 0 && received.size() < 4096)
                received.insert(received.end(), buffer, buffer + n);
        }
    }

#ifdef _WIN32
    bool sendRequest(const Bytes& request, Clock::time_point)
    {
        if (line_ == INVALID_HANDLE_VALUE)
            return false;
        PurgeComm(line_, PURGE_RXCLEAR);
        DWORD written = 0;
        return WriteFile(line_, request.data(), static_cast<DWORD>(request.size()), &written, nullptr)
               && written == request.size();
    }

    // Returns as soon as anything arrives, or when the time is up; -1 when
    // the line fails.
    long readSome(uint8_t* buffer, size_t size, std::chrono::milliseconds left)
    {
        COMMTIMEOUTS timeouts{};
        timeouts.ReadIntervalTimeout = MAXDWORD;
        timeouts.ReadTotalTimeoutMultiplier = MAXDWORD;
        timeouts.ReadTotalTimeoutConstant = static_cast<DWORD>(left.count());
        SetCommTimeouts(line_, &timeouts);
        DWORD n = 0;
        return ReadFile(line_, buffer, static_cast<DWORD>(size), &n, nullptr) ? static_cast<long>(n) : -1;
    }
#else
    bool sendRequest(const Bytes& request, Clock::time_point deadline)
    {
        if (fd_ < 0)
            return false;
        ::tcflush(fd_, TCIFLUSH);
        size_t sent = 0;
        while (sent < request.size()) {
            ssize_t n = ::write(fd_, request.data() + sent, request.size() - sent);
            if (n > 0)
                sent += static_cast<size_t>(n);
            else if (Clock::now() > deadline)
                return false;
            else
                ::usleep(1000);
        }
        return true;
    }

    long readSome(uint8_t* buffer, size_t size, std::chrono::milliseconds left)
    {
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(left.count())) <= 0)
            return 0;
        ssize_t n = ::read(fd_, buffer, size);
        return n > 0 ? static_cast<long>(n) : 0;
    }
#endif

    std::string port_;
    int baud_;
    int timeoutMs_;
#ifdef _WIN32
    HANDLE line_ = INVALID_HANDLE_VALUE;
#else
    int fd_ = -1;
#endif
};

class SimDriver {
public:
    // Reads the configuration again unless a client is open.
    void reloadIfIdle()
    {
        if (core_ && core_->openClients() > 0)
            return;
        config_ = std::make_unique<Config>();
        Lp2DriverSettings s;
        s.dllMajor = config_->text("Driver", "DLLMajorVersion", s.dllMajor);
        s.dllMinor = config_->text("Driver", "DLLMinorVersion", s.dllMinor);
        s.apiMajor = config_->text("Driver", "APIMajorVersion", s.apiMajor);
        s.apiMinor = config_->text("Driver", "APIMinorVersion", s.apiMinor);
        s.deviceId = static_cast<int16_t>(config_->number("Driver", "DeviceID", s.deviceId));
        s.firstClientId = static_cast<int16_t>(config_->number("Driver", "FirstClientID", s.firstClientId));
        s.flashRefusedCode = static_cast<int16_t>(config_->number("Driver", "FlashRefusedCode", s.flashRefusedCode));
        s.hardwareStatus = config_->text("Driver", "HardwareStatus", s.hardwareStatus);
        std::string protocols = config_->text("Driver", "Protocols", "");
        if (!protocols.empty()) {
            s.protocols.clear();
            size_t start = 0;
            while (start <= protocols.size()) {
                size_t comma = protocols.find(',', start);
                s.protocols.push_back(protocols.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
                if (comma == std::string::npos)
                    break;
                start = comma + 1;
            }
        }
        for (const auto& protocol : s.protocols) {
            int code = config_->number("ConnectErrors", protocol, 0);
            if (code != 0)
                s.connectErrors[protocol] = static_cast<int16_t>(code);
        }
        core_.reset();
        adapter_ = std::make_unique<SerialAdapter>(config_->text("Adapter", "Port", "COM1"),
                                                   config_->number("Adapter", "Baud", 9600),
                                                   config_->number("Adapter", "ReplyTimeout", 1000));
        core_ = std::make_unique<Lp2DriverCore>(std::move(s), *adapter_);
    }

    Lp2DriverCore& core()
    {
        if (!core_)
            reloadIfIdle();
        return *core_;
    }

    std::string configuredErrorText(int16_t code)
    {
        if (!config_)
            reloadIfIdle();
        return config_->text("ErrorTexts", std::to_string(code), "");
    }

private:
    std::unique_ptr<Config> config_;
    std::unique_ptr<SerialAdapter> adapter_;
    std::unique_ptr<Lp2DriverCore> core_;
};

SimDriver& driver()
{
    static SimDriver instance;
    return instance;
}

} // namespace

LP2SIM_EXPORT short WINAPI RP1210_ClientConnect(Rp1210Hwnd, short nDeviceId, const char* fpchProtocol, long, long,
                                                short)
{
    driver().reloadIfIdle();
    return driver().core().clientConnect(nDeviceId, fpchProtocol);
}

LP2SIM_EXPORT short WINAPI RP1210_ClientDisconnect(short nClientID)
{
    return driver().core().clientDisconnect(nClientID);
}

LP2SIM_EXPORT short WINAPI RP1210_SendMessage(short nClientID, char* fpchClientMessage, short nMessageSize, short,
                                              short)
{
    return driver().core().sendMessage(nClientID, fpchClientMessage, nMessageSize);
}

LP2SIM_EXPORT short WINAPI RP1210_ReadMessage(short nClientID, char* fpchAPIMessage, short nBufferSize, short)
{
    return driver().core().readMessage(nClientID, fpchAPIMessage, nBufferSize);
}

LP2SIM_EXPORT short WINAPI RP1210_SendCommand(short nCommandNumber, short nClientID, char* fpchClientCommand,
                                              short nMessageSize)
{
    return driver().core().sendCommand(nCommandNumber, nClientID, fpchClientCommand, nMessageSize);
}

LP2SIM_EXPORT void WINAPI RP1210_ReadVersion(char* fpchDLLMajorVersion, char* fpchDLLMinorVersion,
                                             char* fpchAPIMajorVersion, char* fpchAPIMinorVersion)
{
    driver().core().readVersion(fpchDLLMajorVersion, fpchDLLMinorVersion, fpchAPIMajorVersion, fpchAPIMinorVersion);
}

LP2SIM_EXPORT short WINAPI RP1210_GetErrorMsg(short ErrorCode, char* fpchMessage)
{
    std::string own = driver().configuredErrorText(ErrorCode);
    if (!own.empty() && fpchMessage) {
        size_t n = std::min<size_t>(own.size(), 80);
        std::memcpy(fpchMessage, own.data(), n);
        fpchMessage[n] = '\0';
        return 0;
    }
    return driver().core().getErrorMsg(ErrorCode, fpchMessage);
}

#ifndef LP2SIM_WITHOUT_HARDWARE_STATUS
LP2SIM_EXPORT short WINAPI RP1210_GetHardwareStatus(short nClientID, char* fpchClientInfo, short nInfoSize, short)
{
    return driver().core().getHardwareStatus(nClientID, fpchClientInfo, nInfoSize);
}
#endif

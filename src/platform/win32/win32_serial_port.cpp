#ifdef _WIN32
#include "platform/win32/win32_serial_port.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>

#include "ports/logger.h"
#include "platform/rs232_presence.h"
#include "platform/serial_port_map.h"

namespace lp {

namespace {

// Large enough for any reply or flash acknowledgement stream, small enough
// that a device that floods the line cannot eat the machine's memory.
constexpr size_t kReadBufferBytes = 1 << 20;
constexpr DWORD kReadChunk = 4096;
// A write may take twice its wire time and this much more before the
// device counts as stuck.
constexpr DWORD kWriteSlackMs = 1000;

HANDLE native(void* handle) { return static_cast<HANDLE>(handle); }

std::string utf8(const wchar_t* text, int length)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string out(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    if (size > 0)
        WideCharToMultiByte(CP_UTF8, 0, text, length, out.data(), size, nullptr, nullptr);
    return out;
}

// "The system cannot find the file specified (error 2)".
std::string systemText(DWORD error)
{
    wchar_t* text = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::string out = length && text ? utf8(text, static_cast<int>(length)) : std::string();
    if (text)
        LocalFree(text);
    while (!out.empty() && (out.back() == '\r' || out.back() == '\n' || out.back() == ' ' || out.back() == '.'))
        out.pop_back();
    return (out.empty() ? std::string("system error") : out) + " (error " + std::to_string(error) + ")";
}

std::wstring widePath(const std::string& path) { return std::wstring(path.begin(), path.end()); }

} // namespace

std::string serialOpenRefusal(const std::string& path, unsigned long error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND: return path + ": no such port";
    // Windows refuses a COM port that another program holds this way.
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION: return path + ": in use by another program (access denied)";
    default: return path + ": cannot be opened: " + systemText(error);
    }
}

Win32SerialPort::Win32SerialPort(Logger* log) : log_(log) {}

Win32SerialPort::~Win32SerialPort() { closeHandle(); }

bool Win32SerialPort::applySettings()
{
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (!GetCommState(native(handle_), &dcb))
        return refuse("Invalid property value: " + settingsText_ + " (" + systemText(GetLastError()) + ")");
    dcb.BaudRate = static_cast<DWORD>(settings_.baud);
    dcb.ByteSize = static_cast<BYTE>(settings_.dataBits);
    switch (settings_.parity) {
    case 'e': dcb.Parity = EVENPARITY; break;
    case 'o': dcb.Parity = ODDPARITY; break;
    case 'm': dcb.Parity = MARKPARITY; break;
    case 's': dcb.Parity = SPACEPARITY; break;
    default: dcb.Parity = NOPARITY; break;
    }
    dcb.fParity = dcb.Parity != NOPARITY;
    dcb.StopBits = settings_.stopBits == 20 ? TWOSTOPBITS : settings_.stopBits == 15 ? ONE5STOPBITS : ONESTOPBIT;
    dcb.fBinary = TRUE;
    dcb.fOutxCtsFlow = dcb.fOutxDsrFlow = dcb.fDsrSensitivity = FALSE;
    dcb.fOutX = dcb.fInX = dcb.fErrorChar = dcb.fNull = dcb.fAbortOnError = FALSE;
    dcb.fTXContinueOnXoff = TRUE;
    // The lines as the user set them: a new rate must not drop DTR, which
    // the compact adapter reads as the port closing.
    dcb.fDtrControl = dtr_ ? DTR_CONTROL_ENABLE : DTR_CONTROL_DISABLE;
    dcb.fRtsControl = rts_ ? RTS_CONTROL_ENABLE : RTS_CONTROL_DISABLE;
    if (!SetCommState(native(handle_), &dcb))
        return refuse("Invalid property value: " + settingsText_ + " (" + systemText(GetLastError()) + ")");
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = MAXDWORD; // ReadFile returns at once
    timeouts.WriteTotalTimeoutMultiplier = static_cast<DWORD>(20000 / settings_.baud + 1);
    timeouts.WriteTotalTimeoutConstant = kWriteSlackMs;
    if (!SetCommTimeouts(native(handle_), &timeouts))
        return refuse("Invalid property value: " + settingsText_ + " (" + systemText(GetLastError()) + ")");
    return true;
}

void Win32SerialPort::applyModemLines()
{
    // A line without modem lines (Wine's pseudo-terminals) refuses both;
    // the adapter does not need them there.
    if (portOpen()) {
        EscapeCommFunction(native(handle_), rts_ ? SETRTS : CLRRTS);
        EscapeCommFunction(native(handle_), dtr_ ? SETDTR : CLRDTR);
    }
}

bool Win32SerialPort::setPortOpen(bool open)
{
    if (!open) {
        closeHandle();
        return true;
    }
    if (portOpen())
        return refuse("Port already open");
    const std::string path = devicePathForPort(port_);
    if (path.empty())
        return refuse("Invalid port number: COM" + std::to_string(port_) + " is not mapped to a device");
    devicePath_ = path;
    HANDLE handle = CreateFileW(widePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const std::string why = serialOpenRefusal(path, GetLastError());
        if (log_)
            log_->warning(LogSubsystem::Platform, "COM" + std::to_string(port_) + ": " + why);
        return refuse(why);
    }
    handle_ = handle;
    DCB probe{};
    probe.DCBlength = sizeof probe;
    if (!GetCommState(handle, &probe)) {
        // A file or another device behind the name.
        const std::string why = path + ": not a serial port (" + systemText(GetLastError()) + ")";
        closeHandle();
        return refuse(why);
    }
    SetupComm(handle, kReadChunk, kReadChunk);
    if (!applySettings()) {
        const std::string why = lastError_;
        closeHandle();
        return refuse(why);
    }
    applyModemLines();
    // Nothing from before our time.
    PurgeComm(handle, PURGE_RXABORT | PURGE_RXCLEAR | PURGE_TXABORT | PURGE_TXCLEAR);
    received_.clear();
    return true;
}

void Win32SerialPort::closeHandle()
{
    if (!handle_)
        return;
    // What is still on its way out goes; what came in is nobody's now.
    PurgeComm(native(handle_), PURGE_RXABORT | PURGE_RXCLEAR);
    CloseHandle(native(handle_));
    handle_ = nullptr;
    received_.clear();
}

void Win32SerialPort::dropLine(unsigned long error, const char* during)
{
    lastError_ = devicePath_ + ": the device has gone away (" + during + ": " + systemText(error) + ")";
    if (log_)
        log_->warning(LogSubsystem::Platform, "COM" + std::to_string(port_) + ": " + lastError_ + "; port closed");
    CloseHandle(native(handle_));
    handle_ = nullptr;
    received_.clear();
}

bool Win32SerialPort::lineAnswers()
{
    if (!portOpen())
        return false;
    // Also clears a line error, which would otherwise hold the next read.
    DWORD errors = 0;
    COMSTAT status{};
    if (ClearCommError(native(handle_), &errors, &status))
        return true;
    dropLine(GetLastError(), "line status");
    return false;
}

bool Win32SerialPort::pull()
{
    if (!lineAnswers())
        return false;
    uint8_t chunk[kReadChunk];
    while (received_.size() < kReadBufferBytes) {
        DWORD got = 0;
        const DWORD want = static_cast<DWORD>(std::min<size_t>(kReadChunk, kReadBufferBytes - received_.size()));
        if (!ReadFile(native(handle_), chunk, want, &got, nullptr)) {
            dropLine(GetLastError(), "read");
            return false;
        }
        if (got == 0)
            break;
        received_.insert(received_.end(), chunk, chunk + got);
    }
    return true;
}

bool Win32SerialPort::output(const Bytes& bytes)
{
    if (!portOpen())
        return refuse("Operation valid only when the port is open");
    if (!lineAnswers())
        return false;
    DWORD written = 0;
    if (!WriteFile(native(handle_), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
        dropLine(GetLastError(), "write");
        return false;
    }
    if (written != static_cast<DWORD>(bytes.size()))
        return refuse("Write timed out");
    return true;
}

int Win32SerialPort::inBufferCount()
{
    if (!pull())
        return 0;
    return static_cast<int>(std::min<size_t>(received_.size(), INT32_MAX));
}

Bytes Win32SerialPort::input()
{
    if (!pull())
        return {};
    Bytes out;
    out.swap(received_);
    return out;
}

std::unique_ptr<SerialPort> Win32SerialPorts::create() { return std::make_unique<Win32SerialPort>(log_); }

bool Win32SerialPorts::isRs232Present(int32_t port) { return isRs232PortPresent(port); }

bool Win32SerialPorts::canOpen(const std::string& deviceName)
{
    const std::string path = devicePathForPort(portOfDeviceName(deviceName));
    if (path.empty())
        return false;
    std::string reason;
    if (canOpenDevice(path, &reason))
        return true;
    if (log_)
        log_->info(LogSubsystem::Platform, deviceName + ": " + reason);
    return false;
}

} // namespace lp
#endif

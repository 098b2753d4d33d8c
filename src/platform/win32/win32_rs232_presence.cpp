#ifdef _WIN32
#include "platform/rs232_presence.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace lp {

namespace {

// GetCommProperties on a handle with `access`: 1 an RS-232 port, 0 not
// (or not there), -1 refused on that handle (ERROR_ACCESS_DENIED).
int rs232Answer(const std::string& name, DWORD access)
{
    HANDLE handle = CreateFileA(name.c_str(), access, access ? 0 : FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE || handle == nullptr)
        return 0;
    COMMPROP properties{};
    const bool answered = GetCommProperties(handle, &properties) != FALSE;
    const DWORD why = answered ? 0 : GetLastError();
    // Closed whatever it turned out to be: a probe must not keep a device
    // (a modem, a USB adapter of another kind) from its own program.
    CloseHandle(handle);
    if (answered)
        return properties.dwProvSubType == PST_RS232 ? 1 : 0;
    return why == ERROR_ACCESS_DENIED ? -1 : 0;
}

} // namespace

bool serialDeviceLockedElsewhere(const std::string&)
{
    return false;
}

bool isRs232PortPresent(int32_t port)
{
    if (port < 0)
        return false;
    const std::string name = "\\\\.\\COM" + std::to_string(port);
    // Query access only: nothing is read or written, no modem line moves,
    // and a port that another program holds still refuses the open.
    const int answer = rs232Answer(name, 0);
    if (answer >= 0)
        return answer == 1;
    // Refused on a query-only handle: Wine does that (Windows answers), for
    // the ports it serves from Linux devices. There, and only there, the
    // port is opened for reading to ask again.
    return rs232Answer(name, GENERIC_READ) == 1;
}

} // namespace lp
#endif

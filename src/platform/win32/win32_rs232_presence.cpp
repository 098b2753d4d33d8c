#ifdef _WIN32
#include "platform/rs232_presence.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace lp {

bool serialDeviceLockedElsewhere(const std::string&)
{
    return false;
}

bool isRs232PortPresent(int32_t port)
{
    if (port < 0)
        return false;
    const std::string name = "\\\\.\\COM" + std::to_string(port);
    // Query access only: nothing is read or written, but a port that another
    // program holds still refuses the open.
    HANDLE handle = CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE || handle == nullptr)
        return false;
    COMMPROP properties{};
    const bool rs232 = GetCommProperties(handle, &properties) && properties.dwProvSubType == PST_RS232;
    // Closed whatever it turned out to be: a probe must not keep a device
    // (a modem, a USB adapter of another kind) from its own program.
    CloseHandle(handle);
    return rs232;
}

} // namespace lp
#endif

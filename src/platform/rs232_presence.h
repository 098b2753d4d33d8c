#pragma once
// The probe behind IsSerialPortPresent, without Qt: is COMn there, can it be
// opened now, and is it an RS-232 class port? Every failure answers false;
// nothing is left open.
//  - Windows: "\\.\COMn" opened for query only (CreateFileA, access 0) and
//    GetCommProperties' dwProvSubType == PST_RS232. A negative n is never
//    asked; COM0 is asked and is normally absent. Where the system opens
//    the port for query but refuses GetCommProperties on that handle
//    (ERROR_ACCESS_DENIED: Wine, never Windows), it is asked again on a
//    handle opened for reading.
//  - Elsewhere: the device that COMn maps to (platform/serial_port_map.h)
//    takes terminal settings and nobody holds its exclusive lock, as the
//    open of a port held by another program fails on Windows.
#include <cstdint>
#include <string>

namespace lp {

bool isRs232PortPresent(int32_t port);

// True when another program holds the device's exclusive lock (flock, the
// lock our serial port and the test driver take). Always false on Windows,
// where the system refuses the second open itself.
bool serialDeviceLockedElsewhere(const std::string& path);

} // namespace lp

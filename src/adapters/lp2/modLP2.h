#pragma once
// Everything the program does with the second-generation adapter ("LPII
// SIP") outside the flash transfer itself: its port from LP2RP32.INI, the
// driver client for protocol "SIP" and its error boxes, the three versions
// through driver command 209, the flash start through command 300, the
// driver's version, and the short serial exchange that takes the adapter out
// of its driver mode, asks one version and puts it back.
//
// The serial operations use the calling screen's serial port (its
// `Connection`), which the screen creates from ctx.ports.serialPorts.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/context.h"
#include "adapters/rp1210/modRP1210Interface.h" // RP1210Disconnect, RP1210MarkDisconnected for the screens
#include "ports/serial_port.h"

namespace lp {

// The download progress dialog as LP2SendFlashStart drives it; the flash
// screen supplies both (either may be empty).
struct FlashProgressCalls {
    std::function<void()> show;   // shows the dialog without waiting
    std::function<void()> unload;
};

// The port named by "DeviceParams" of LP2RP32.INI: the text before its first
// comma (also kept in g_strLP2Port), "LPTn" for a parallel port, or empty
// text after opening the Preferences screen when the value is missing.
std::string LP2ReadDeviceParamsPort(Context& ctx);

// Opens the driver client. True only if a client was opened now; failures
// are reported to the user here (message 102 and a close request when the
// driver is missing, the driver's error otherwise).
bool LP2ConnectSIP(Context& ctx, const std::string& protocol);

// The driver error box: message, the code and the driver's text for it.
// Returns the button pressed.
int LP2ShowRP1210Error(Context& ctx, const std::string& message, int32_t code, int buttons);

// Hardware, application and boot versions through driver command 209, as
// "major.minor" of character codes. False when the port is a parallel port
// or no client could be opened.
bool LP2ReadVersions(Context& ctx, std::string& hardware, std::string& application, std::string& boot);

// Has the driver flash the adapter (command 300 with `value`). True when the
// driver's result is below 128. `path` and `portText` are taken and unused.
// `driverResult`, when given, receives the command's result, so that a
// failure can be shown with the driver's code.
bool LP2SendFlashStart(Context& ctx, int16_t value, const std::string& path, const std::string& portText,
                       const FlashProgressCalls& progress = {}, int16_t* driverResult = nullptr);

// "major.minor" of the driver library, with one mapping: a driver that says
// 1.1 while its INI file says "1.8-B2" is 1.8.
std::string LP2DriverVersion(Context& ctx);

// Frees the port from the driver, leaves the adapter's driver mode, asks its
// version over the serial frames and returns it to driver mode. The version
// text ("01.07.12"), resource string 508 when the adapter gave none, or
// empty text when the port refused a call.
std::string LP2SerialVersionQuery(Context& ctx, int16_t port, SerialPort& connection);

// The three frames and their exchanges, for LP2SerialVersionQuery. The mode
// routines write their outcome only to the log; they and the query give
// false / nullopt when the port refused a call.
const Bytes& LP2LeaveFrame();
const Bytes& LP2QueryFrame();
const Bytes& LP2ReturnFrame();
bool LP2LeaveDriverMode(Context& ctx, SerialPort& connection);
bool LP2ReturnToDriverMode(Context& ctx, SerialPort& connection);
std::optional<std::string> LP2QueryVersionFrame(Context& ctx, SerialPort& connection);

} // namespace lp

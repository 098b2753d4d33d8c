#pragma once
// The compact adapter ("B&B SIP") over the serial port: finding its port,
// waking it at every rate it may be using, reading its three identity texts
// and its error messages, which the Flash screen shows too.
//
// `Connection` is the calling screen's serial port (made from
// ctx.ports.serialPorts). Every operation opens and closes it itself; a call
// that the port refuses (a serial control's run-time error) ends the
// operation with the port closed.
#include <cstdint>
#include <string>

#include "core/context.h"
#include "ports/serial_port.h"

namespace lp {

// The compact adapter's port part that means "search all ports".
inline constexpr const char* kCompactSearchAllPorts = "COMX";

// The compact driver's INI file (a bare name lives in the Windows directory).
inline constexpr const char* kCGPIniFile = "CLPRP32.INI";
inline constexpr const char* kCGPIniSection = "DeviceInformation3";
// The port number of "no port found".
inline constexpr int16_t kCGPNoPort = 257;

// What a reading found besides the three texts.
struct CGPReading {
    // The port where the adapter's loader answered and its application did
    // not: the adapter is powered and cabled, but sits in its loader (a
    // flash that did not finish leaves it there) until its application is
    // flashed again. 0 when no loader answered.
    int16_t loaderPort = 0;
};

// Reads the adapter on the configured port, or searches for it when the INI
// says "COMX" (the remembered "LastComPortUsed" first). The outputs start as
// resource string 508 and keep it where the adapter did not answer; a failure
// shows CGPShowError(1). An adapter that answers only from its loader is no
// failure of the cable: no box, `reading->loaderPort` names its port and the
// log says so; the boxes of ports that stayed silent during a search that
// found the adapter are not shown either. True, except after a refused
// serial call: then the port is closed, the pointer restored, code 1 shown
// and false returned.
bool CGPConnectAndRead(Context& ctx, SerialPort& Connection, std::string& hardwareVersion,
                       std::string& firmwareVersion, std::string& serialNumber, CGPReading* reading = nullptr);

// Wakes the adapter on `port` and reads A = decimal version (hardware),
// B = hexadecimal version (application firmware), C = identity text (serial
// number); each is resource string 508 when its reply did not come. False
// only after a refused serial call.
bool CGPReadIdentity(Context& ctx, int16_t port, SerialPort& Connection, std::string& a, std::string& b,
                     std::string& c);

// The first port from 1 to 256 that exists and where CGPProbePort succeeds,
// else kCGPNoPort.
int16_t CGPFindPort(Context& ctx, SerialPort& Connection);

// True when an adapter answers on `port`: its application at 9600 baud after
// the wake broadcast, or else its loader at 57600 baud (see modCGP.cpp). A
// port where neither answers shows CGPShowError(1).
bool CGPProbePort(Context& ctx, SerialPort& Connection, int16_t port);

// True when the device ("COM3", "\\.\COM12") can be opened now.
bool CGPPortExists(Context& ctx, const std::string& deviceName);

// "COM" and the number below 10, "\\.\COM" and the number from 10 on.
std::string CGPDeviceName(int port);

// The port part of "DeviceParams" (text before the first comma); also kept
// in ctx.g_strLP2Port.
std::string CGPReadDeviceParams(Context& ctx);

// The number in "LastComPortUsed" (COM7 gives 7), 0 when there is none; the
// text is kept in ctx.g_strLP2Port.
int16_t CGPReadLastPort(Context& ctx);

void CGPWriteLastPort(Context& ctx, const std::string& portName);

// The wake frame at 9600, 19200, 38400, 57600 and 115200 baud, 50 ms apart
// and 250 ms after the last; the port is left at 115200. Nothing is read.
// False when the port refused a call.
bool CGPBroadcastReset(Context& ctx, SerialPort& Connection);

// The message box of the compact adapter's failures, codes 1 to 5.
void CGPShowError(Context& ctx, int16_t code);

// The prompt of an error code ("" for codes outside 1-5).
std::string CGPErrorText(int16_t code);

// The baud rate that the "DeviceParams" suffix names, 0 when unknown.
int32_t CGPFlashBaudRate(Context& ctx);

} // namespace lp

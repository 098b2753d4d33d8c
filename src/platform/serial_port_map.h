#pragma once
// Which device a port number COMn stands for, and whether it is a usable
// serial port. Linux follows Wine's scheme, so that a user (or a test) can
// point any COMn at any device:
//  - a link `comN` (any letter case) in the folder $LINKPORT_DOSDEVICES, else
//    in <userConfigFolder()>/dosdevices when that folder exists, wins;
//  - otherwise the default map numbers the existing /dev/ttyS* (in numeric
//    order), then /dev/ttyUSB*, then /dev/ttyACM*, consecutively from COM1.
// On Windows a port is simply "\\.\COMn".
// Nothing here throws or keeps a device open.
#include <map>
#include <string>

namespace lp {

constexpr int kFirstComPort = 1;
constexpr int kLastComPort = 256;

// The device path of COMn; empty when n is out of range or maps to nothing.
std::string devicePathForPort(int port);

// "COM3" -> 3, "\\.\COM12" -> 12 (letters in any case); 0 for anything else
// (no number, a leading zero, out of range, trailing characters).
int portOfDeviceName(const std::string& name);

// True when the path is a tty that accepts serial settings: it opens for
// reading and writing now, and the terminal attributes can be read and set.
// Answers "is it an RS-232 class port"; the device is closed again.
bool isRs232ClassDevice(const std::string& path);

// True when the device opens for reading and writing now. Otherwise `reason`
// (when given) says why in words a technician can act on; "permission
// denied" names the group to join (dialout on Debian and Ubuntu).
bool canOpenDevice(const std::string& path, std::string* reason = nullptr);

// Every mapped port, number -> device path, links and defaults merged.
std::map<int, std::string> listPorts();

// The link folder in use, empty when there is none.
std::string dosdevicesFolder();

// The default map over the tty devices of `devFolder` (normally "/dev").
std::map<int, std::string> defaultPortMap(const std::string& devFolder);

} // namespace lp

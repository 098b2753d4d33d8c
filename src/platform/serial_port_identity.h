#pragma once
// Which device a COMn is, in words a technician can match with the thing in
// their hand: the device path and, for a USB converter, its vendor and
// product ids, product text and serial number. The serial number follows a
// converter into another USB socket, where it gets another ttyUSBn (or COMn).
//  - Linux: the tty's entry in sysfs, walked up to the USB device that
//    carries idVendor/idProduct (product, manufacturer and serial beside).
//  - Windows: the Ports class of the setup API, matched by "PortName"; the
//    ids and serial number come from the device instance id.
// Nothing here opens the device.
#include <string>

namespace lp {

struct SerialPortIdentity {
    std::string device; // "/dev/ttyUSB0", "\\.\COM5"; empty for an unmapped port
    bool usb = false;
    std::string vendorId;  // four lower-case hex digits, "0403"
    std::string productId; // "6001"
    std::string product;   // "FT232R USB UART"
    std::string manufacturer;
    std::string serialNumber; // empty when the converter has none
};

// COMn, on the device the port map gives it unless `devicePath` names one
// (Linux; Windows asks the setup API by the number).
SerialPortIdentity IdentifyComPort(int port, const std::string& devicePath = {});

// A device path as the port map gives it (a link is followed), looked up
// under `sysRoot` (normally "/sys"). Linux only; elsewhere the path alone.
SerialPortIdentity IdentifySerialDevice(const std::string& devicePath, const std::string& sysRoot = "/sys");

// A Windows device instance id: "USB\VID_0403&PID_6001\A9XYZ12" or the FTDI
// driver's "FTDIBUS\VID_0403+PID_6001+A9XYZ12A\0000". Fills the ids and the
// serial number (the system's own instance numbers, which contain "&", are
// no serial number); false when the id names no USB vendor and product.
bool ParseUsbInstanceId(const std::string& instanceId, SerialPortIdentity& out);

// One line for a port list: "FT232R USB UART, USB 0403:6001, serial A9XYZ";
// empty for a port that is no USB converter.
std::string SerialPortIdentityText(const SerialPortIdentity& identity);

} // namespace lp

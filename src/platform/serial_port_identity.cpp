#include "platform/serial_port_identity.h"

#include "core/ascii.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "platform/serial_port_map.h"

#ifdef _WIN32
#include <windows.h>
#include <setupapi.h>
#include <devguid.h>
#endif

namespace fs = std::filesystem;

namespace lp {

namespace {

bool isHex4(const std::string& text)
{
    return text.size() == 4
           && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

// Printable ASCII only, trimmed: a descriptor string is the device's word,
// and a broken one must not reach a terminal or a JSON document raw.
std::string cleaned(const std::string& text)
{
    std::string out;
    for (unsigned char c : text) {
        if (out.size() >= 128)
            break;
        out += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '?';
    }
    const size_t b = out.find_first_not_of(' ');
    if (b == std::string::npos)
        return {};
    return out.substr(b, out.find_last_not_of(' ') - b + 1);
}

[[maybe_unused]] std::string firstLine(const fs::path& file)
{
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return cleaned(line);
}

} // namespace

bool ParseUsbInstanceId(const std::string& instanceId, SerialPortIdentity& out)
{
    const std::string upper = [&] {
        std::string u = instanceId;
        std::transform(u.begin(), u.end(), u.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        return u;
    }();
    const size_t vid = upper.find("VID_");
    const size_t pid = upper.find("PID_");
    if (vid == std::string::npos || pid == std::string::npos || vid + 8 > upper.size() || pid + 8 > upper.size())
        return false;
    const std::string vendor = asciiLowered(instanceId.substr(vid + 4, 4));
    const std::string product = asciiLowered(instanceId.substr(pid + 4, 4));
    if (!isHex4(vendor) || !isHex4(product))
        return false;
    out.usb = true;
    out.vendorId = vendor;
    out.productId = product;
    out.serialNumber.clear();
    std::string serial;
    if (upper.compare(0, 8, "FTDIBUS\\") == 0) {
        // VID_0403+PID_6001+A9XYZ12A\0000: the driver adds a letter for the
        // chip's channel (A for a single-channel chip).
        const size_t plus = upper.find('+', pid);
        if (plus != std::string::npos) {
            serial = instanceId.substr(plus + 1, instanceId.find('\\', plus) - plus - 1);
            if (serial.size() > 1)
                serial.pop_back();
            else
                serial.clear();
        }
    } else {
        const size_t slash = upper.find('\\', pid);
        if (slash != std::string::npos)
            serial = instanceId.substr(slash + 1);
        // "6&2F3A1B9&0&2" is the system's number for a device without one.
        if (serial.find('&') != std::string::npos)
            serial.clear();
    }
    out.serialNumber = cleaned(serial);
    return true;
}

std::string SerialPortIdentityText(const SerialPortIdentity& identity)
{
    if (!identity.usb)
        return {};
    std::string text = identity.product.empty() ? "USB converter" : identity.product;
    text += ", USB " + identity.vendorId + ":" + identity.productId;
    if (!identity.serialNumber.empty())
        text += ", serial " + identity.serialNumber;
    return text;
}

#ifdef _WIN32

SerialPortIdentity IdentifySerialDevice(const std::string& devicePath, const std::string&)
{
    SerialPortIdentity identity;
    identity.device = devicePath;
    return identity;
}

namespace {

std::string registryProperty(HDEVINFO set, SP_DEVINFO_DATA& info, DWORD property)
{
    char buffer[512] = {};
    DWORD type = 0;
    if (!SetupDiGetDeviceRegistryPropertyA(set, &info, property, &type, reinterpret_cast<BYTE*>(buffer),
                                           sizeof buffer - 1, nullptr)
        || type != REG_SZ)
        return {};
    return cleaned(buffer);
}

} // namespace

SerialPortIdentity IdentifyComPort(int port, const std::string& devicePath)
{
    SerialPortIdentity identity;
    identity.device = devicePath.empty() ? devicePathForPort(port) : devicePath;
    if (identity.device.empty())
        return identity;
    HDEVINFO set = SetupDiGetClassDevsA(&GUID_DEVCLASS_PORTS, nullptr, nullptr, DIGCF_PRESENT);
    if (set == INVALID_HANDLE_VALUE)
        return identity;
    const std::string wanted = "com" + std::to_string(port);
    SP_DEVINFO_DATA info{};
    info.cbSize = sizeof info;
    for (DWORD i = 0; SetupDiEnumDeviceInfo(set, i, &info); ++i) {
        HKEY key = SetupDiOpenDevRegKey(set, &info, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
        if (key == INVALID_HANDLE_VALUE)
            continue;
        char name[64] = {};
        DWORD size = sizeof name - 1, type = 0;
        const bool named = RegQueryValueExA(key, "PortName", nullptr, &type, reinterpret_cast<BYTE*>(name), &size)
                               == ERROR_SUCCESS
                           && type == REG_SZ;
        RegCloseKey(key);
        if (!named || asciiLowered(name) != wanted)
            continue;
        char instance[512] = {};
        if (SetupDiGetDeviceInstanceIdA(set, &info, instance, sizeof instance - 1, nullptr))
            ParseUsbInstanceId(instance, identity);
        if (identity.usb) {
            identity.product = registryProperty(set, info, SPDRP_DEVICEDESC);
            identity.manufacturer = registryProperty(set, info, SPDRP_MFG);
        }
        break;
    }
    SetupDiDestroyDeviceInfoList(set);
    return identity;
}

#else

SerialPortIdentity IdentifySerialDevice(const std::string& devicePath, const std::string& sysRoot)
{
    SerialPortIdentity identity;
    identity.device = devicePath;
    std::error_code ec;
    const fs::path device = fs::weakly_canonical(devicePath, ec);
    if (ec || device.filename().empty())
        return identity;
    // /sys/class/tty/ttyUSB0/device leads into the USB tree: the port, its
    // interface, then the device with the ids (ttyACM has no port level).
    fs::path at = fs::canonical(fs::path(sysRoot) / "class" / "tty" / device.filename() / "device", ec);
    if (ec)
        return identity;
    const fs::path root = fs::canonical(sysRoot, ec);
    for (int level = 0; level < 4 && !at.empty() && at != root && at != at.root_path(); ++level, at = at.parent_path()) {
        const std::string vendor = asciiLowered(firstLine(at / "idVendor"));
        const std::string product = asciiLowered(firstLine(at / "idProduct"));
        if (!isHex4(vendor) || !isHex4(product))
            continue;
        identity.usb = true;
        identity.vendorId = vendor;
        identity.productId = product;
        identity.product = firstLine(at / "product");
        identity.manufacturer = firstLine(at / "manufacturer");
        identity.serialNumber = firstLine(at / "serial");
        break;
    }
    return identity;
}

SerialPortIdentity IdentifyComPort(int port, const std::string& devicePath)
{
    const std::string path = devicePath.empty() ? devicePathForPort(port) : devicePath;
    if (path.empty())
        return {};
    return IdentifySerialDevice(path);
}

#endif

} // namespace lp

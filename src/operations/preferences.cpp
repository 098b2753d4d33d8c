#include "operations/preferences.h"

#include <algorithm>

#include "core/vb_text.h"
#include "adapters/compact/modCGP.h"
#include "adapters/wireless/modWLP.h"
#include "ports/logger.h"
#include "ports/profile_files.h"
#include "platform/serial_port_identity.h"
#include "platform/serial_port_map.h"
#include "settings/modLibrary.h"
#include "settings/modRegistry.h"
#include "core/string_table.h"

namespace lp {

namespace {

const char* const kLP2 = "LPII SIP";
const char* const kCompact = "B&B SIP";
const char* const kWireless = "WLP";
const char* const kCompactDefault = "COMX,DEFAULT";

// Large enough that a value is never cut: the part after the port is
// written back as it was read.
constexpr uint32_t kValueBuffer = 4096;

void log(Context& ctx, LogLevel level, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->write(LogSubsystem::Settings, level, text);
}

std::string readValue(Context& ctx, const std::string& section, const std::string& key,
                      const std::string& fallback, const std::string& file)
{
    if (!ctx.ports.profiles)
        return fallback;
    std::string out;
    const uint32_t count = ctx.ports.profiles->getPrivateProfileString(section, key, fallback, out, kValueBuffer, file);
    return out.substr(0, count);
}

// The text before the first comma, and what follows it (comma included).
std::string portPart(const std::string& value) { return value.substr(0, value.find(',')); }
std::string restAfterPort(const std::string& value)
{
    const size_t comma = value.find(',');
    return comma == std::string::npos ? std::string() : value.substr(comma);
}
std::string ratePart(const std::string& value)
{
    const size_t comma = value.find(',');
    return comma == std::string::npos ? std::string() : value.substr(comma + 1);
}

// "COM3", "com3" and "\\.\COM3" name the same port.
bool samePort(const std::string& a, const std::string& b)
{
    if (a == b)
        return true;
    const int n = portOfDeviceName(a);
    return n != 0 && n == portOfDeviceName(b);
}

const PortChoice* findPort(const std::vector<PortChoice>& ports, const std::string& name)
{
    for (const PortChoice& p : ports) {
        if (samePort(p.name, name))
            return &p;
    }
    return nullptr;
}

bool isParallelPort(const std::string& name) { return vb::UCase(vb::Left(name, 3)) == "LPT"; }

// The problem of a chosen port, empty when it is there.
std::string portProblem(const std::vector<PortChoice>& ports, const std::string& port, bool anyPresent,
                        const std::string& adapter)
{
    if (port.empty() || (!anyPresent && !findPort(ports, port)))
        return "No serial port was found on this PC.  Connect the " + adapter
               + " (or plug in its USB cable) and press Refresh, or choose another interface device.";
    if (isParallelPort(port))
        return port + " is a parallel port.  Linkport Toolkit only supports serial port communications; "
               "please choose a serial port.";
    const PortChoice* choice = findPort(ports, port);
    if (!choice || !choice->present)
        return port + " is not present on this PC.  Connect the " + adapter
               + " and press Refresh, or choose one of the ports listed.";
    return {};
}

} // namespace

std::vector<std::string> PreferenceDeviceKinds(int16_t toolkitMode)
{
    switch (toolkitMode) {
    case 2: return {kLP2, kCompact};
    case -1: return {kWireless};
    default: return {kLP2, kWireless};
    }
}

std::string DeviceKindName(const std::string& deviceKind)
{
    if (deviceKind == kLP2)
        return LoadResString(Res::Lp2Name);
    if (deviceKind == kCompact)
        return LoadResString(Res::CompactName);
    if (deviceKind == kWireless)
        return LoadResString(Res::WirelessName);
    return deviceKind;
}

const std::vector<std::string>& CompactRates()
{
    static const std::vector<std::string> rates{"DEFAULT", "N1",    "N2",    "N3",    "N4",    "N5",
                                                "P1",      "9600",  "19200", "38400", "57600", "115200"};
    return rates;
}

int32_t CompactRateBaud(const std::string& rate)
{
    // The rates the compact flash uses for each part; N3 to N5 share 9600.
    if (rate == "N5" || rate == "N4" || rate == "N3")
        return 9600;
    if (rate == "N2")
        return 19200;
    if (rate == "N1")
        return 38400;
    if (rate == "DEFAULT")
        return 57600;
    if (rate == "P1")
        return 115200;
    for (int32_t baud : {9600, 19200, 38400, 57600, 115200}) {
        if (rate == std::to_string(baud))
            return baud;
    }
    return 0;
}

std::string PortChoiceText(const PortChoice& choice)
{
    std::string text = choice.name == kCompactSearchAllPorts ? "Search all ports" : choice.name;
    // Windows names the device after the port; only another path says more.
    if (!choice.devicePath.empty() && choice.devicePath != "\\\\.\\" + choice.name)
        text += "  (" + choice.devicePath + ")";
    if (!choice.identity.empty())
        text += "  " + choice.identity;
    if (!choice.present)
        text += " - not present";
    return text;
}

std::string RateChoiceText(const std::string& rate)
{
    const int32_t baud = CompactRateBaud(rate);
    if (baud == 0)
        return rate + " - not recognised";
    if (rate == std::to_string(baud))
        return rate + " baud";
    return rate + "  (" + std::to_string(baud) + " baud)";
}

std::string SelectedWirelessAdapterText(Context& ctx)
{
    const std::string name = vb::Trim(readValue(ctx, "DeviceInformation1", "DeviceName", "", kWLPIniFile));
    const std::string params = readValue(ctx, "DeviceInformation1", "DeviceParams", "", kWLPIniFile);
    const std::string address = params.substr(0, params.find(':'));
    if (name.empty() && address.empty())
        return "None";
    if (address.empty())
        return name;
    return name.empty() ? address : name + " (" + address + ")";
}

std::string PreferencesReturnScreen(const std::string& activeTag)
{
    return activeTag.empty() ? std::string("Summary") : activeTag;
}

Preferences::Preferences()
    : devicePath(devicePathForPort),
      portIdentity([](int port, const std::string& device) {
          return SerialPortIdentityText(IdentifyComPort(port, device));
      })
{
}

void Preferences::load(Context& ctx)
{
    kinds_ = PreferenceDeviceKinds(ctx.g_intToolkitMode);
    const std::string running = ctx.g_intToolkitMode == -1 ? std::string(kWireless) : ctx.g_strDeviceKind;
    deviceKind = std::find(kinds_.begin(), kinds_.end(), running) != kinds_.end() ? running : kinds_.front();

    lp2Params_ = readValue(ctx, kLP2IniSection, "DeviceParams", "", kLP2IniFile);
    // A missing value counts as "COMX,DEFAULT", as the compact link reads
    // it; an empty one is written afresh once the compact adapter is chosen.
    compactParams_ = readValue(ctx, kCGPIniSection, "DeviceParams", kCompactDefault, kCGPIniFile);
    lp2Port = portPart(lp2Params_);
    compactPort = portPart(compactParams_);
    compactRate = ratePart(compactParams_);
    if (compactRate.empty())
        compactRate = "DEFAULT";

    listPorts(ctx);
    if (lp2Port.empty() && !present_.empty())
        lp2Port = "COM" + std::to_string(present_.front());
    if (compactPort.empty())
        compactPort = kCompactSearchAllPorts;
}

void Preferences::refreshPorts(Context& ctx)
{
    listPorts(ctx);
    if (lp2Port.empty() && !present_.empty())
        lp2Port = "COM" + std::to_string(present_.front());
}

void Preferences::listPorts(Context& ctx)
{
    // Up to 256 ports are asked; on a PC with many that takes a moment.
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(11);
    present_.clear();
    for (int n = kFirstComPort; n <= kLastComPort; ++n) {
        if (IsSerialPortPresent(ctx, n))
            present_.push_back(n);
    }
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(0);
    std::vector<PortChoice> present;
    for (int n : present_) {
        const std::string name = "COM" + std::to_string(n);
        const std::string device = devicePath ? devicePath(n) : std::string();
        present.push_back({name, device, true, portIdentity ? portIdentity(n, device) : std::string()});
    }
    // The configured port stays on offer when it is not there, so that the
    // dialog shows what the file says; so does the one the user has chosen.
    auto keep = [this](std::vector<PortChoice>& ports, const std::string& name) {
        if (name.empty() || findPort(ports, name))
            return;
        const int n = portOfDeviceName(name);
        ports.push_back({name, n && devicePath ? devicePath(n) : std::string(), false});
    };

    lp2Ports_ = present;
    keep(lp2Ports_, portPart(lp2Params_));
    keep(lp2Ports_, lp2Port);

    compactPorts_.clear();
    compactPorts_.push_back({kCompactSearchAllPorts, std::string(), !present_.empty()});
    compactPorts_.insert(compactPorts_.end(), present.begin(), present.end());
    keep(compactPorts_, portPart(compactParams_));
    keep(compactPorts_, compactPort);

    rates_ = CompactRates();
    for (const std::string& rate : {ratePart(compactParams_), compactRate}) {
        if (!rate.empty() && std::find(rates_.begin(), rates_.end(), rate) == rates_.end())
            rates_.push_back(rate);
    }
    log(ctx, LogLevel::Info, std::to_string(present_.size()) + " serial ports present");
}

std::string Preferences::problem(Context& ctx) const
{
    if (std::find(kinds_.begin(), kinds_.end(), deviceKind) == kinds_.end())
        return "Please choose an interface device.";
    return problemFor(ctx, deviceKind);
}

std::string Preferences::problemFor(Context& ctx, const std::string& kind) const
{
    const bool anyPresent = !present_.empty();
    if (kind == kLP2)
        return portProblem(lp2Ports_, lp2Port, anyPresent, DeviceKindName(kLP2));
    if (kind == kCompact) {
        if (compactPort == kCompactSearchAllPorts) {
            if (!anyPresent)
                return portProblem(compactPorts_, std::string(), false, DeviceKindName(kCompact));
        } else if (std::string p = portProblem(compactPorts_, compactPort, anyPresent, DeviceKindName(kCompact));
                   !p.empty()) {
            return p;
        }
        if (CompactRateBaud(compactRate) == 0)
            return "\"" + compactRate + "\" is not a rate the " + DeviceKindName(kCompact)
                   + " can use.  Please choose one of the rates listed.";
        return {};
    }
    std::vector<std::string> names, addresses, serials;
    if (!WLPReadAdditionalDevices(ctx, names, addresses, serials))
        return "No wireless adapters are listed.  Press \"Wireless Adapters...\" to add one, or choose another "
               "interface device.";
    return {};
}

std::string Preferences::lp2DeviceParams() const { return lp2DeviceParams(lp2Params_); }

std::string Preferences::compactDeviceParams() const { return compactDeviceParams(compactParams_); }

std::string Preferences::lp2DeviceParams(const std::string& current) const
{
    // Only the port changes; the driver's further parameters stay as they are.
    if (samePort(lp2Port, portPart(lp2Params_)) || samePort(lp2Port, portPart(current)))
        return current;
    return lp2Port + restAfterPort(current);
}

std::string Preferences::compactDeviceParams(const std::string& current) const
{
    const bool portChanged = !samePort(compactPort, portPart(compactParams_));
    const bool rateChanged = compactRate != ratePart(compactParams_);
    if (!portChanged && !rateChanged)
        return current;
    const std::string port = portChanged ? compactPort : portPart(current);
    std::string rate = rateChanged ? compactRate : ratePart(current);
    if (rate.empty())
        rate = "DEFAULT";
    const std::string value = port + "," + rate;
    return samePort(port, portPart(current)) && rate == ratePart(current) ? current : value;
}

bool Preferences::savePorts(Context& ctx, const std::string& kind, std::string& message)
{
    message.clear();
    if (kind != kLP2 && kind != kCompact)
        return true;
    const bool lp2 = kind == kLP2;
    const std::string file = lp2 ? kLP2IniFile : kCGPIniFile;
    const std::string section = lp2 ? kLP2IniSection : kCGPIniSection;
    auto failed = [&](const std::string& why) {
        log(ctx, LogLevel::Warning, file + " DeviceParams could not be written: " + why);
        message = "The port settings could not be saved in " + file + ".  "
                  + (why.empty() ? std::string("Check that the Windows directory can be written, then try again.")
                                 : why + ".");
        return false;
    };
    // Read and written under one lock: another program's change of the
    // other part of the value, made since load(), is kept.
    ProfileChange change(ctx.ports.profiles, {file});
    if (!change.begun())
        return failed(ctx.ports.profiles ? ctx.ports.profiles->lastError() : std::string());
    const std::string current = readValue(ctx, section, "DeviceParams", lp2 ? "" : kCompactDefault, file);
    const std::string value = lp2 ? lp2DeviceParams(current) : compactDeviceParams(current);
    if (value == current)
        return true;
    if (!ctx.ports.profiles->writePrivateProfileString(section, "DeviceParams", value, file) || !change.commit())
        return failed(ctx.ports.profiles->lastError());
    log(ctx, LogLevel::Info, file + " DeviceParams: \"" + current + "\" -> \"" + value + "\"");
    (lp2 ? lp2Params_ : compactParams_) = value;
    return true;
}

bool Preferences::save(Context& ctx, std::string& message)
{
    message.clear();
    if (!savePorts(ctx, deviceKind, message))
        return false;

    RegWriteValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, "PrevAdapter", deviceKind);
    // The close that ends the write hides its result: the value read back
    // says whether it was stored.
    const int32_t written = ctx.g_lngRegResult;
    if (written == 0 && RegReadValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, "PrevAdapter").text() != deviceKind)
        ctx.g_lngRegResult = ERROR_WRITE_FAULT;
    if (ctx.g_lngRegResult != 0) {
        const std::string why = ctx.ports.registry ? ctx.ports.registry->lastError() : std::string();
        log(ctx, LogLevel::Warning, "PrevAdapter could not be written: " + std::to_string(ctx.g_lngRegResult) + " " + why);
        message = why.empty() ? "The interface device could not be saved in the registry (error "
                                    + std::to_string(ctx.g_lngRegResult) + ").  Please try again."
                              : "The interface device could not be saved: " + why;
        return false;
    }
    ctx.g_strDeviceKind = deviceKind;
    SetDeviceFlags(ctx, deviceKind == kLP2, deviceKind == kCompact, deviceKind == kWireless);
    log(ctx, LogLevel::Info, "interface device: " + deviceKind);
    return true;
}

} // namespace lp

#include "adapters/rp1210/modRP1210Interface.h"

#include <limits>

#include "core/vb_text.h"
#include "ports/logger.h"
#include "ports/profile_files.h"
#include "ports/rp1210_driver.h"
#include "core/delays.h"

namespace lp {

namespace {

const std::string kNotFound = "Not Found";
constexpr uint32_t kIniBufferSize = 256;

void trace(Context& ctx, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->debug(LogSubsystem::Links, text);
}

// A value of the driver's INI file, "Not Found" when it has none. The name
// carries no folder: the profile functions look in the Windows directory.
std::string readDriverIni(Context& ctx, const std::string& section, const std::string& key)
{
    if (!ctx.ports.profiles)
        return kNotFound;
    std::string out;
    uint32_t count =
        ctx.ports.profiles->getPrivateProfileString(section, key, kNotFound, out, kIniBufferSize, std::string("Lp2rp32") + ".ini");
    return out.substr(0, count);
}

// A buffer the driver filled, up to and including its first NUL; empty when
// it holds none.
std::string upToFirstNul(const std::string& buffer)
{
    size_t nul = buffer.find('\0');
    return nul == std::string::npos ? std::string() : buffer.substr(0, nul + 1);
}

int16_t missing(Context& ctx, const char* call)
{
    trace(ctx, std::string(call) + ": driver library or entry point missing");
    return kRp1210DriverMissing;
}

} // namespace

int16_t RP1210Connect(Context& ctx, const std::string& protocol)
{
    // The list is consumed from the left; the first protocol section whose
    // name matches exactly wins.
    std::string list = readDriverIni(ctx, "VendorInformation", "Protocols");
    std::string protocolSection;
    bool found = false;
    while (list.size() >= 1) {
        std::string item;
        size_t comma = vb::InStr(list, ",");
        if (comma > 0) {
            item = vb::Left(list, comma - 1);
            list = vb::Mid(list, comma + 1);
        } else {
            item = list;
            list.clear();
        }
        protocolSection = "ProtocolInformation" + item;
        if (readDriverIni(ctx, protocolSection, "ProtocolString") == protocol) {
            found = true;
            break;
        }
    }
    if (!found) {
        trace(ctx, "RP1210Connect " + protocol + ": protocol not in the driver's INI file");
        return kRp1210NotConfigured;
    }

    std::string device = readDriverIni(ctx, protocolSection, "Devices");
    std::string deviceIdText = readDriverIni(ctx, "DeviceInformation" + device, "DeviceID");
    if (deviceIdText == kNotFound) {
        trace(ctx, "RP1210Connect " + protocol + ": device " + device + " has no DeviceID");
        return kRp1210NotConfigured;
    }
    std::optional<int16_t> deviceId = vb::CInt(vb::Val(deviceIdText));
    if (!deviceId) {
        // Out of the 16-bit range: no device the driver could know.
        trace(ctx, "RP1210Connect " + protocol + ": DeviceID " + deviceIdText + " out of range");
        return kRp1210NotConfigured;
    }

    PumpMessages(ctx);
    if (!ctx.ports.rp1210)
        return missing(ctx, "RP1210_ClientConnect");
    std::string protocolText = protocol;
    DriverResult r = ctx.ports.rp1210->clientConnect(0, *deviceId, protocolText, 0, 0, 0);
    if (!r)
        return missing(ctx, "RP1210_ClientConnect");
    trace(ctx, "RP1210Connect " + protocol + " device " + std::to_string(*deviceId) + ": " + std::to_string(*r));
    // Only a client id of 0 (or a negative value) is recorded; callers judge
    // 1 to 127 as success themselves. Kept as the program always had it.
    if (*r <= 0) {
        ctx.g_nClientID = *r;
        ctx.g_blnRP1210Connected = true;
    }
    return *r;
}

int16_t RP1210Disconnect(Context& ctx)
{
    PumpMessages(ctx);
    DriverResult r;
    if (ctx.ports.rp1210)
        r = ctx.ports.rp1210->clientDisconnect(ctx.g_nClientID);
    ctx.g_blnRP1210Connected = false;
    if (!r)
        return missing(ctx, "RP1210_ClientDisconnect");
    return *r;
}

bool RP1210MarkDisconnected(Context& ctx)
{
    ctx.g_blnRP1210Connected = false;
    return true;
}

bool RP1210IsConnected(Context& ctx) { return ctx.g_blnRP1210Connected; }

int16_t RP1210SendCommandText(Context& ctx, int16_t command, std::string& buffer, int16_t size)
{
    PumpMessages(ctx);
    if (!ctx.ports.rp1210)
        return missing(ctx, "RP1210_SendCommand");
    DriverResult r = ctx.ports.rp1210->sendCommand(command, ctx.g_nClientID, buffer, size);
    if (!r)
        return missing(ctx, "RP1210_SendCommand");
    trace(ctx, "RP1210_SendCommand " + std::to_string(command) + ": " + std::to_string(*r));
    return *r;
}

int16_t RP1210SendCommandRecord(Context& ctx, int16_t command, std::string& record, int16_t size)
{
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(11);
    int16_t r = RP1210SendCommandText(ctx, command, record, size);
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(0);
    return r;
}

void RP1210DriverVersion(Context& ctx, std::string& dllMajor, std::string& dllMinor, std::string& apiMajor,
                         std::string& apiMinor)
{
    std::string a(1, ' '), b(2, ' '), c(1, ' '), d(1, ' ');
    PumpMessages(ctx);
    if (!ctx.ports.rp1210 || !ctx.ports.rp1210->readVersion(a, b, c, d))
        missing(ctx, "RP1210_ReadVersion");
    dllMajor = a;
    dllMinor = b;
    apiMajor = c;
    apiMinor = d;
}

std::string RP1210ErrorText(Context& ctx, int32_t code)
{
    const std::string notFound = "Error Code Not Found";
    // The driver takes a 16-bit code; no driver knows one beyond that.
    if (code < std::numeric_limits<int16_t>::min() || code > std::numeric_limits<int16_t>::max())
        return notFound;
    std::string buffer(80, '\0');
    PumpMessages(ctx);
    if (!ctx.ports.rp1210) {
        missing(ctx, "RP1210_GetErrorMsg");
        return notFound;
    }
    DriverResult r = ctx.ports.rp1210->getErrorMsg(static_cast<int16_t>(code), buffer);
    if (!r) {
        missing(ctx, "RP1210_GetErrorMsg");
        return notFound;
    }
    if (*r >= 1)
        return notFound;
    return upToFirstNul(buffer);
}

int16_t RP1210HardwareStatus(Context& ctx, std::string& status, int16_t blockOnRequest)
{
    std::string buffer(16, '\0');
    PumpMessages(ctx);
    DriverResult r;
    if (ctx.ports.rp1210)
        r = ctx.ports.rp1210->getHardwareStatus(ctx.g_nClientID, buffer, 16, blockOnRequest);
    if (!r) {
        status.clear();
        return missing(ctx, "RP1210_GetHardwareStatus");
    }
    status = upToFirstNul(buffer);
    return *r;
}

} // namespace lp

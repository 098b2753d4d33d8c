#include "adapters/lp2/modLP2.h"

#include "core/vb_text.h"
#include "adapters/frames.h"
#include "ports/logger.h"
#include "ports/profile_files.h"
#include "ports/prompts.h"
#include "core/delays.h"
#include "core/string_table.h"

namespace lp {

namespace {

const char* const kDriverIniName = "LP2RP32.INI";
const char* const kModeReply = "5F020102";
const char* const kQueryReply = "5F050D02";

#ifdef _WIN32
constexpr char kPathSeparator = '\\';
#else
constexpr char kPathSeparator = '/';
#endif

void trace(Context& ctx, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->info(LogSubsystem::Links, text);
}

// The driver's INI file named with the Windows directory in front.
std::string driverIniPath(Context& ctx)
{
    std::string folder = ctx.ports.profiles ? ctx.ports.profiles->windowsDirectory() : std::string();
    return folder + kPathSeparator + kDriverIniName;
}

uint32_t readProfile(Context& ctx, const std::string& section, const std::string& key, const std::string& fallback,
                     std::string& out, uint32_t size, const std::string& file)
{
    out.clear();
    if (!ctx.ports.profiles) {
        out = vb::Left(fallback, size > 0 ? size - 1 : 0);
        return static_cast<uint32_t>(out.size());
    }
    uint32_t count = ctx.ports.profiles->getPrivateProfileString(section, key, fallback, out, size, file);
    out = out.substr(0, count);
    return count;
}

int showBox(Context& ctx, const std::string& prompt, int style, const std::string& title)
{
    return ctx.ports.prompts ? ctx.ports.prompts->msgBox(prompt, style, title) : 0;
}

// The character code of buffer character `position` (from 1) as decimal
// text; a character the buffer does not have counts as code 0.
std::string codeOf(const std::string& buffer, size_t position)
{
    if (position < 1 || position > buffer.size())
        return "0";
    return std::to_string(static_cast<unsigned char>(buffer[position - 1]));
}

// One mode frame and its answer, which only goes to the log.
bool exchangeModeFrame(Context& ctx, SerialPort& connection, const Bytes& frame, const char* success,
                       const char* failure)
{
    if (!connection.output(frame))
        return false;
    if (!DelayMilliseconds(ctx, 250))
        return false;
    int n = connection.inBufferCount();
    if (n < 1)
        return true;
    std::string hex = frames::hexText(connection.input(), static_cast<size_t>(n));
    trace(ctx, vb::Left(hex, 8) == kModeReply ? success : failure);
    return true;
}

} // namespace

std::string LP2ReadDeviceParamsPort(Context& ctx)
{
    std::string value;
    uint32_t count = readProfile(ctx, "DeviceInformation1", "DeviceParams", "", value, 100, driverIniPath(ctx));
    if (count < 1) {
        if (ctx.ports.screens) {
            ctx.ports.screens->setMousePointer(0);
            ctx.ports.screens->SelectScreen("Preferences");
        }
        return {};
    }
    if (vb::Left(value, 3) != "LPT") {
        // A value without a comma is all port name.
        size_t comma = vb::InStr(value, ",");
        std::string port = comma > 0 ? vb::Left(value, comma - 1) : value;
        ctx.g_strLP2Port = port;
        return port;
    }
    return vb::Left(value, 4);
}

bool LP2ConnectSIP(Context& ctx, const std::string& protocol)
{
    if (RP1210IsConnected(ctx))
        return false;
    int16_t r = RP1210Connect(ctx, protocol);
    if (r < 0) {
        showBox(ctx, LoadResString(Res::DriverNotInstalled), 0, LoadResString(Res::ProgramTitle));
        ctx.closeRequested = true;
        return false;
    }
    if (r >= 128) {
        LP2ShowRP1210Error(ctx, LoadResString(Res::Lp2NotConnected), r, 0);
        return false;
    }
    // RP1210Connect records only a client id of 0. A driver that gives
    // another id would otherwise be asked for the versions and the flash on
    // client 0, and that client would never be closed: the driver would
    // hold the adapter's port for the rest of the run.
    ctx.g_nClientID = r;
    ctx.g_blnRP1210Connected = true;
    return true;
}

int LP2ShowRP1210Error(Context& ctx, const std::string& message, int32_t code, int buttons)
{
    std::string prompt = message + "\r\n\r\n" + LoadResString(Res::ErrorCodePrefix) + std::to_string(code) + ":  " + "\r\n"
                         + RP1210ErrorText(ctx, code);
    return showBox(ctx, prompt, 48 + buttons, LoadResString(Res::Lp2FullName));
}

bool LP2ReadVersions(Context& ctx, std::string& hardware, std::string& application, std::string& boot)
{
    std::string port = LP2ReadDeviceParamsPort(ctx);
    if (vb::Left(port, 3) == "LPT") {
        showBox(ctx,
                "Please update your port settings.\r\nLinkport Toolkit only supports serial port communications.",
                48, LoadResString(Res::ProgramTitle));
        return false;
    }
    if (!RP1210IsConnected(ctx) && !LP2ConnectSIP(ctx, "SIP"))
        return false;
    std::string buffer(8, ' ');
    RP1210SendCommandText(ctx, 209, buffer, 8);
    hardware = codeOf(buffer, 6) + "." + codeOf(buffer, 7);
    application = codeOf(buffer, 4) + "." + codeOf(buffer, 5);
    boot = codeOf(buffer, 2) + "." + codeOf(buffer, 3);
    RP1210Disconnect(ctx);
    return true;
}

bool LP2SendFlashStart(Context& ctx, int16_t value, const std::string& path, const std::string& portText,
                       const FlashProgressCalls& progress, int16_t* driverResult)
{
    (void)path;
    (void)portText;
    if (progress.show)
        progress.show();
    // The 16-bit value as it lies in memory: low byte first.
    const auto bits = static_cast<uint16_t>(value);
    std::string record{static_cast<char>(bits & 0xFF), static_cast<char>(bits >> 8)};
    int16_t r = RP1210SendCommandRecord(ctx, 300, record, 2);
    if (driverResult)
        *driverResult = r;
    if (progress.unload)
        progress.unload();
    RP1210Disconnect(ctx);
    return r < 128;
}

std::string LP2DriverVersion(Context& ctx)
{
    std::string dllMajor, dllMinor, apiMajor, apiMinor;
    RP1210DriverVersion(ctx, dllMajor, dllMinor, apiMajor, apiMinor);
    std::string version = dllMajor + "." + dllMinor;
    if (version == "1.1") {
        // Driver 1.8-B2 reported itself as 1.1; its INI file knows better.
        std::string iniVersion;
        readProfile(ctx, "VendorInformation", "Version", "1.1", iniVersion, 256, driverIniPath(ctx));
        if (iniVersion == "1.8-B2")
            version = "1.8";
    }
    return version;
}

const Bytes& LP2LeaveFrame()
{
    static const Bytes frame = frames::framed({0xFA, 0x5E, 0x02, 0x01, 0x02});
    return frame;
}

const Bytes& LP2QueryFrame()
{
    return frames::kAskApplicationVersion;
}

const Bytes& LP2ReturnFrame()
{
    static const Bytes frame = frames::framed({0x5E, 0x02, 0x01, 0x02});
    return frame;
}

bool LP2LeaveDriverMode(Context& ctx, SerialPort& connection)
{
    return exchangeModeFrame(ctx, connection, LP2LeaveFrame(), "Exiting RP1210 Mode SUCCESS",
                             "Exiting RP1210 Mode FAILED");
}

bool LP2ReturnToDriverMode(Context& ctx, SerialPort& connection)
{
    return exchangeModeFrame(ctx, connection, LP2ReturnFrame(), "Back to RP1210 Mode - SUCCESS",
                             "Back to RP1210 Mode - FAILED");
}

std::optional<std::string> LP2QueryVersionFrame(Context& ctx, SerialPort& connection)
{
    if (!connection.output(LP2QueryFrame()))
        return std::nullopt;
    if (!DelayMilliseconds(ctx, 250))
        return std::nullopt;
    int n = connection.inBufferCount();
    ctx.g_strLP2ReplyHex.clear();
    if (n < 1)
        return LoadResString(Res::NotPresent);
    ctx.g_strLP2ReplyHex = frames::hexText(connection.input(), static_cast<size_t>(n));
    const std::string& hex = ctx.g_strLP2ReplyHex;
    if (vb::Left(hex, 8) != kQueryReply)
        return LoadResString(Res::NotPresent);
    // The reply's bytes 5, 6 and 7 as they stand; a short reply gives
    // shorter pieces.
    return vb::Mid(hex, 9, 2) + "." + vb::Mid(hex, 11, 2) + "." + vb::Mid(hex, 13, 2);
}

std::string LP2SerialVersionQuery(Context& ctx, int16_t port, SerialPort& connection)
{
    RP1210Disconnect(ctx); // the driver lets go of the port

    // The fault guard: a refused port call ends the query with empty text and
    // leaves the port closed.
    auto fault = [&](const char* step) {
        std::string why = connection.lastError();
        if (ctx.ports.log)
            ctx.ports.log->warning(LogSubsystem::Links, std::string("LP2SerialVersionQuery: ") + step
                                                            + " failed on COM" + std::to_string(port)
                                                            + (why.empty() ? "" : ": " + why));
        if (connection.portOpen())
            connection.setPortOpen(false);
        return std::string();
    };
    if (!connection.setCommPort(port))
        return fault("CommPort");
    if (!connection.setRTSEnable(true))
        return fault("RTSEnable");
    if (!connection.setDTREnable(true))
        return fault("DTREnable");
    if (!connection.setSettings("9600,n,8,1"))
        return fault("Settings");
    if (!DelayMilliseconds(ctx, 1750))
        return fault("delay");
    if (!connection.setPortOpen(true))
        return fault("PortOpen");
    connection.input();
    if (!LP2LeaveDriverMode(ctx, connection))
        return fault("leave frame");
    if (!DelayMilliseconds(ctx, 500))
        return fault("delay");
    std::optional<std::string> result = LP2QueryVersionFrame(ctx, connection);
    if (!result)
        return fault("query frame");

    // Past the guard: the return frame is always sent; what it meets only
    // goes to the log.
    DelayMilliseconds(ctx, 500);
    if (!LP2ReturnToDriverMode(ctx, connection))
        trace(ctx, "LP2SerialVersionQuery: return frame refused: " + connection.lastError());
    if (connection.portOpen())
        connection.setPortOpen(false);
    return *result;
}

} // namespace lp

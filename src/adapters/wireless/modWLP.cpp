#include "adapters/wireless/modWLP.h"

#include <algorithm>

#include "adapters/frames.h"
#include "core/string_table.h"
#include "core/vb_text.h"
#include "firmware/modFileInformation.h"
#include "platform/windows_directory.h"
#include "ports/host.h"
#include "ports/logger.h"
#include "ports/profile_files.h"

namespace lp {

namespace {

constexpr uint32_t kListBufferSize = 1024;

std::string readWlpValue(Context& ctx, const char* section, const char* key)
{
    std::string value;
    if (ctx.ports.profiles)
        ctx.ports.profiles->getPrivateProfileString(section, key, "", value, kListBufferSize, kWLPIniFile);
    return value;
}

void logLinks(Context& ctx, LogLevel level, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->write(LogSubsystem::Links, level, text);
}

// The text before the list's next ";", which is then dropped together with
// its ";". A list without another ";" has no further item: empty text, and
// the list stays as it is.
std::string takeItem(std::string& list)
{
    size_t end = list.find(';');
    if (end == std::string::npos)
        return {};
    std::string item = list.substr(0, end);
    list.erase(0, end + 1);
    return item;
}

// Windows-1252 for the bytes 0x80-0x9F; the other bytes are their own code
// points. The five holes of the code page pass through as C1 controls, as
// the system's conversion does.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

void appendAnsiChar(std::string& out, uint8_t byte)
{
    char32_t cp = byte >= 0x80 && byte <= 0x9F ? kCp1252High[byte - 0x80] : byte;
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// The reply as hexadecimal text without its check byte, or nothing when it
// is too short or carries another header.
bool replyHex(const Bytes& reply, std::string_view header, std::string& hex)
{
    if (reply.size() < 2)
        return false;
    hex = frames::hexText(reply, reply.size() - 1);
    return vb::Left(hex, 8) == header;
}

// Two hexadecimal digits as a decimal number; a piece that did not arrive
// stays empty.
std::string hexPairAsDecimal(const std::string& pair)
{
    if (pair.empty())
        return {};
    return vb::NumberText(vb::Val("&H" + pair));
}

} // namespace

bool WLPReadAdditionalDevices(Context& ctx, std::vector<std::string>& names, std::vector<std::string>& addresses,
                              std::vector<std::string>& serials)
{
    std::string nameList = readWlpValue(ctx, "AdditionalDevices", "DeviceNames");
    std::string paramList = readWlpValue(ctx, "AdditionalDevices", "DeviceParams");
    std::string serialList = readWlpValue(ctx, "AdditionalDevices", "SerialNumbers");

    const size_t count = static_cast<size_t>(std::count(nameList.begin(), nameList.end(), ';'));
    if (count < 1)
        return false;

    names.assign(count, {});
    addresses.assign(count, {});
    serials.assign(count, {});
    for (size_t i = 0; i < count; ++i) {
        names[i] = takeItem(nameList);
        std::string params = takeItem(paramList);
        size_t colon = params.find(':');
        addresses[i] = colon == std::string::npos ? std::string{} : params.substr(0, colon);
        serials[i] = takeItem(serialList);
    }
    return true;
}

bool WLPFillList(Context& ctx, ChoiceList& list)
{
    bool read = WLPReadAdditionalDevices(ctx, ctx.g_astrWLPNames, ctx.g_astrWLPAddresses, ctx.g_astrWLPSerials);
    if (read) {
        for (size_t i = 0; i < ctx.g_astrWLPNames.size(); ++i)
            list.addItem(ctx.g_astrWLPNames[i] + " (" + ctx.g_astrWLPAddresses[i] + ")");
    }
    return read;
}

bool WLPSelectAdapter(Context& ctx, const ChoiceList& list)
{
    const int index = list.listIndex();
    const size_t bound = std::min({ctx.g_astrWLPNames.size(), ctx.g_astrWLPAddresses.size(),
                                   ctx.g_astrWLPSerials.size()});
    if (index < 0 || static_cast<size_t>(index) >= bound) {
        logLinks(ctx, LogLevel::Warning,
                 "wireless adapter index " + std::to_string(index) + " is outside the adapter list; nothing written");
        return false;
    }
    if (!ctx.ports.profiles)
        return false;
    const size_t i = static_cast<size_t>(index);
    ProfileFiles& ini = *ctx.ports.profiles;
    // One change: a driver (or a kill) never sees one adapter's name with
    // another's address.
    ProfileChange change(&ini, {kWLPIniFile});
    bool written = change.begun();
    if (written) {
        written = ini.writePrivateProfileString("DeviceInformation1", "DeviceParams",
                                                ctx.g_astrWLPAddresses[i] + ":" + std::to_string(kWLPTcpPort),
                                                kWLPIniFile);
        written = ini.writePrivateProfileString("DeviceInformation1", "SerialNumber", ctx.g_astrWLPSerials[i],
                                                kWLPIniFile) && written;
        written = ini.writePrivateProfileString("DeviceInformation1", "DeviceName", ctx.g_astrWLPNames[i],
                                                kWLPIniFile) && written;
        written = written && change.commit();
    }
    if (!written)
        logLinks(ctx, LogLevel::Warning, std::string("could not write the selected adapter into ") + kWLPIniFile);
    return true;
}

int WLPFindSelectedIndex(Context& ctx, const ChoiceList& list)
{
    const std::string selected = vb::Trim(readWlpValue(ctx, "DeviceInformation1", "DeviceName"));
    const int count = list.listCount();
    for (int i = 0; i < count && static_cast<size_t>(i) < ctx.g_astrWLPNames.size(); ++i) {
        if (ctx.g_astrWLPNames[static_cast<size_t>(i)] == selected)
            return i;
    }
    return 0;
}

std::string WLPDriverVersion(Context& ctx)
{
    std::string windir = ctx.ports.profiles ? ctx.ports.profiles->windowsDirectory() : defaultWindowsDirectory();
    std::string version = GetFileVersion(ctx, windir + "\\" + kWLPDriverFile);
    return version.empty() ? LoadResString(Res::NotPresent) : version;
}

std::string WLPParseDecimalVersion(const Bytes& reply)
{
    std::string hex;
    if (!replyHex(reply, "5F080D03", hex))
        return LoadResString(Res::NotPresent);
    std::string digits = vb::Mid(hex, 13, 4);
    return hexPairAsDecimal(vb::Left(digits, 2)) + "." + hexPairAsDecimal(vb::Mid(digits, 3, 2));
}

std::string WLPParseHexVersion(const Bytes& reply)
{
    std::string hex;
    if (!replyHex(reply, "5F050D02", hex))
        return LoadResString(Res::NotPresent);
    return vb::Mid(hex, 9, 2) + "." + vb::Mid(hex, 11, 2) + "." + vb::Mid(hex, 13, 2);
}

std::string WLPParseIdentityText(const Bytes& reply)
{
    std::string hex;
    if (!replyHex(reply, "5F0C0D01", hex))
        return LoadResString(Res::NotPresent);
    std::string text;
    // Bytes 4 to count - 2: the header and the check byte are not text.
    for (size_t i = 4; i + 1 < reply.size(); ++i)
        appendAnsiChar(text, reply[i]);
    return text;
}

bool WLPConnect(Context& ctx, TcpSocket& socket, const std::string& address, int32_t timeoutMs,
                const std::function<bool()>& cancelled)
{
    // A socket left in error (state 9) refuses Connect just as a connected
    // one does, so anything but closed is closed first.
    if (socket.state() != TcpState::Closed)
        socket.close();
    socket.setRemoteHost(address);
    socket.setRemotePort(kWLPTcpPort);
    if (!socket.connect()) {
        if (ctx.ports.log)
            ctx.ports.log->warning(LogSubsystem::Flash, "connect to " + address + " refused: " + socket.lastError());
        return false;
    }
    if (!ctx.ports.host) {
        socket.close();
        return false;
    }
    const auto wasCancelled = [&] { return cancelled && cancelled(); };
    ctx.ports.host->waitUntil(
        [&] { return socket.state() == TcpState::Connected || socket.state() == TcpState::Error || wasCancelled(); },
        timeoutMs);
    if (socket.state() != TcpState::Error && wasCancelled()) {
        socket.close();
        if (ctx.ports.log)
            ctx.ports.log->info(LogSubsystem::Flash, "connect to " + address + " cancelled");
        return false;
    }
    if (socket.state() == TcpState::Connected)
        return true;
    if (socket.state() != TcpState::Error) {
        // The socket never said: stop it rather than leave it connecting.
        socket.close();
        if (ctx.ports.log)
            ctx.ports.log->warning(LogSubsystem::Flash, "connect to " + address + " gave no answer");
    }
    return false;
}

} // namespace lp

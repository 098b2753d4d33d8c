#include "adapters/compact/modCGP.h"

#include <cstdlib>

#include "core/vb_text.h"
#include "adapters/frames.h"
#include "ports/logger.h"
#include "ports/profile_files.h"
#include "ports/prompts.h"
#include "core/delays.h"
#include "core/string_table.h"

namespace lp {

namespace {

// A call the serial port refused. It never leaves this file: every public
// operation catches it, closes the port and reports it through its result.
struct SerialFault {
    std::string what;
};

const Bytes kIdentityTextFrame{0x5E, 0x02, 0x0D, 0x01, 0x92};
const Bytes kDecimalVersionFrame{0x5E, 0x02, 0x0D, 0x03, 0x90};

constexpr int32_t kWakeRates[] = {9600, 19200, 38400, 57600, 115200};
const char* const kWorkingSettings = "9600,n,8,1";
const char* const kProbeLeavesSettings = "57600,n,8,1";
constexpr int16_t kQueryWaitMs = 250;
constexpr int16_t kWakeGapMs = 50;
constexpr int16_t kLastWakeGapMs = 250;

// The second look of the probe. An adapter whose application does not wake
// may be sitting in its loader (a flash that did not finish leaves it there),
// and the loader speaks only its own hand-shake: the same burst of eight "!"
// that the compact flash starts with, answered by "????". The burst goes out
// at 57600 baud, where the flash expects a running loader, up to ten times
// 20 ms apart; four bytes that are not "????" are dropped and the next burst
// tried, fewer than four are left to grow.
const Bytes kLoaderBurst(8, static_cast<uint8_t>('!'));
constexpr int kLoaderTries = 10;
constexpr int16_t kLoaderWaitMs = 20;
const char* const kLoaderSettings = "57600,n,8,1";
const char* const kLoaderReady = "????";

const char* const kCR = "\r";

void logLine(Context& ctx, LogLevel level, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->write(LogSubsystem::Links, level, text);
}

void need(SerialPort& port, bool ok, const char* what)
{
    if (!ok)
        throw SerialFault{std::string(what) + ": " + port.lastError()};
}

void delay(Context& ctx, int16_t ms)
{
    if (!DelayMilliseconds(ctx, ms))
        throw SerialFault{"delay of " + std::to_string(ms) + " ms could not run"};
}

void closePort(SerialPort& port)
{
    if (port.portOpen())
        port.setPortOpen(false);
}

std::string notPresent() { return LoadResString(Res::NotPresent); }

std::string readIni(Context& ctx, const char* key, const std::string& defaultValue)
{
    std::string value = defaultValue;
    if (ctx.ports.profiles)
        ctx.ports.profiles->getPrivateProfileString(kCGPIniSection, key, defaultValue, value, 100, kCGPIniFile);
    size_t nul = value.find('\0');
    if (nul != std::string::npos)
        value.resize(nul);
    return value;
}

// The integer value of a port name's characters from the fourth on.
int16_t portNumberOf(const std::string& name)
{
    auto n = vb::CInt(vb::Val(vb::Mid(name, 4)));
    return n ? *n : 0;
}

// Reply bytes as the characters they stand for (ANSI, Latin-1 here).
std::string charactersOf(const Bytes& bytes, size_t from, size_t to)
{
    std::string text;
    for (size_t i = from; i < to && i < bytes.size(); ++i) {
        uint8_t b = bytes[i];
        if (b < 0x80) {
            text += static_cast<char>(b);
        } else {
            text += static_cast<char>(0xC0 | (b >> 6));
            text += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return text;
}

std::string decimalOfHexDigits(const std::string& digits)
{
    if (digits.empty())
        return {};
    return std::to_string(std::strtol(digits.c_str(), nullptr, 16));
}

enum class Query { IdentityText, HexVersion, DecimalVersion };

std::string runQuery(Context& ctx, SerialPort& port, Query query)
{
    PumpMessages(ctx);
    port.input();
    if (query == Query::IdentityText)
        delay(ctx, kQueryWaitMs);
    const Bytes& frame = query == Query::IdentityText ? kIdentityTextFrame
                         : query == Query::HexVersion ? frames::kAskApplicationVersion
                                                      : kDecimalVersionFrame;
    need(port, port.output(frame), "Output");
    delay(ctx, kQueryWaitMs);
    int n = port.inBufferCount();
    ctx.g_strLP2ReplyHex.clear();
    if (n < 1)
        return notPresent();
    Bytes reply = port.input();
    if (reply.size() > static_cast<size_t>(n))
        reply.resize(static_cast<size_t>(n));
    n = static_cast<int>(reply.size());
    std::string hex = frames::hexText(reply);
    ctx.g_strLP2ReplyHex = hex;
    logLine(ctx, LogLevel::Debug, "CGP reply " + hex);
    switch (query) {
    case Query::IdentityText:
        if (vb::Left(hex, 8) != "5F0C0D01")
            return notPresent();
        // Bytes 5 to n-1: the header and the check byte are not text.
        return charactersOf(reply, 4, n > 0 ? static_cast<size_t>(n - 1) : 0);
    case Query::HexVersion:
        if (vb::Left(hex, 8) != "5F050D02")
            return notPresent();
        return vb::Mid(hex, 9, 2) + "." + vb::Mid(hex, 11, 2) + "." + vb::Mid(hex, 13, 2);
    case Query::DecimalVersion: {
        if (vb::Left(hex, 8) != "5F080D03")
            return notPresent();
        std::string digits = vb::Mid(hex, 13, 4);
        return decimalOfHexDigits(vb::Left(digits, 2)) + "." + decimalOfHexDigits(vb::Mid(digits, 3, 2));
    }
    }
    return notPresent();
}

void broadcastReset(Context& ctx, SerialPort& port)
{
    for (int32_t rate : kWakeRates) {
        need(port, port.setSettings(std::to_string(rate) + ",n,8,1"), "Settings");
        need(port, port.output(frames::kWake), "Output");
        delay(ctx, rate == kWakeRates[std::size(kWakeRates) - 1] ? kLastWakeGapMs : kWakeGapMs);
    }
}

void readIdentity(Context& ctx, int16_t portNumber, SerialPort& port, std::string& a, std::string& b,
                  std::string& c)
{
    PumpMessages(ctx);
    need(port, port.setCommPort(portNumber), "CommPort");
    need(port, port.setRTSEnable(true), "RTSEnable");
    need(port, port.setDTREnable(true), "DTREnable");
    need(port, port.setSettings(kWorkingSettings), "Settings");
    need(port, port.setPortOpen(true), "PortOpen");
    port.input();
    broadcastReset(ctx, port);
    port.input();
    need(port, port.setSettings(kWorkingSettings), "Settings");
    c = runQuery(ctx, port, Query::IdentityText);
    b = runQuery(ctx, port, Query::HexVersion);
    a = runQuery(ctx, port, Query::DecimalVersion);
    if (port.portOpen())
        need(port, port.setPortOpen(false), "PortOpen");
}

bool loaderAnswers(Context& ctx, SerialPort& port)
{
    broadcastReset(ctx, port);
    need(port, port.setSettings(kLoaderSettings), "Settings");
    port.input();
    for (int attempt = 0; attempt < kLoaderTries; ++attempt) {
        PumpMessages(ctx);
        need(port, port.output(kLoaderBurst), "Output");
        delay(ctx, kLoaderWaitMs);
        if (port.inBufferCount() < 4)
            continue;
        Bytes got = port.input();
        if (got.size() >= 4 && std::string(got.begin(), got.begin() + 4) == kLoaderReady)
            return true;
    }
    return false;
}

enum class Answer { None, Application, Loader };

// The probe without its box: who answered on the port.
Answer probe(Context& ctx, SerialPort& port, int16_t portNumber)
{
    PumpMessages(ctx);
    need(port, port.setCommPort(portNumber), "CommPort");
    need(port, port.setPortOpen(true), "PortOpen");
    port.input();
    broadcastReset(ctx, port);
    need(port, port.setSettings(kWorkingSettings), "Settings");
    if (runQuery(ctx, port, Query::HexVersion) != notPresent()) {
        need(port, port.setSettings(kProbeLeavesSettings), "Settings");
        need(port, port.setPortOpen(false), "PortOpen");
        return Answer::Application;
    }
    bool loader = loaderAnswers(ctx, port);
    need(port, port.setPortOpen(false), "PortOpen");
    if (!loader)
        return Answer::None;
    logLine(ctx, LogLevel::Info, "CGP: a loader answers on COM" + std::to_string(portNumber));
    return Answer::Loader;
}

struct Found {
    int16_t port = kCGPNoPort;
    Answer answer = Answer::None;
};

Found findPort(Context& ctx, SerialPort& port)
{
    Found found;
    for (int16_t n = 1; n <= 256; ++n) {
        if (!CGPPortExists(ctx, CGPDeviceName(n)))
            continue;
        found.answer = probe(ctx, port, n);
        if (found.answer != Answer::None) {
            found.port = n;
            return found;
        }
        // Each port that stays silent says so as it is probed.
        CGPShowError(ctx, 1);
    }
    return found;
}

void setPointer(Context& ctx, int pointer)
{
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(pointer);
}

} // namespace

std::string CGPDeviceName(int port)
{
    return (port < 10 ? "COM" : "\\\\.\\COM") + std::to_string(port);
}

bool CGPPortExists(Context& ctx, const std::string& deviceName)
{
    return ctx.ports.serialPorts != nullptr && ctx.ports.serialPorts->canOpen(deviceName);
}

std::string CGPReadDeviceParams(Context& ctx)
{
    std::string value = readIni(ctx, "DeviceParams", "");
    std::string port = value.substr(0, value.find(','));
    ctx.g_strLP2Port = port;
    return port;
}

int16_t CGPReadLastPort(Context& ctx)
{
    std::string value = readIni(ctx, "LastComPortUsed", "");
    ctx.g_strLP2Port = value;
    return value.empty() ? 0 : portNumberOf(value);
}

void CGPWriteLastPort(Context& ctx, const std::string& portName)
{
    if (!ctx.ports.profiles
        || !ctx.ports.profiles->writePrivateProfileString(kCGPIniSection, "LastComPortUsed", portName, kCGPIniFile))
        logLine(ctx, LogLevel::Warning, "CGP: LastComPortUsed could not be written");
}

int32_t CGPFlashBaudRate(Context& ctx)
{
    // The port part is taken to be four characters ("COMX"), so COM12,N1
    // gives ",N1" here and no rate.
    std::string suffix = vb::Mid(readIni(ctx, "DeviceParams", "COMX,DEFAULT"), 6);
    if (suffix == "N5" || suffix == "N4" || suffix == "N3")
        return 9600;
    if (suffix == "N2")
        return 19200;
    if (suffix == "N1")
        return 38400;
    if (suffix == "DEFAULT")
        return 57600;
    if (suffix == "P1")
        return 115200;
    for (const char* rate : {"9600", "19200", "38400", "57600", "115200"}) {
        if (suffix == rate)
            return std::atoi(rate);
    }
    return 0;
}

std::string CGPErrorText(int16_t code)
{
    const std::string name = LoadResString(Res::CompactName);
    switch (code) {
    case 1:
        return "Unable to connect to the " + name + ".  Check the cable and connector between the PC and the " + name
               + ". Verify the adapter is getting power." + kCR + kCR + "Error:" + kCR
               + "The interface hardware is not connected.";
    case 2:
        return "The flash process could not be initialized.  Please modify Preferences.";
    case 3:
        return "An error occured while flashing the " + name + ".  Please retry!";
    case 4:
        return "The file is corrupt!  Please select another file and try again.";
    case 5:
        return "Unable to set port settings. Please re-install the software.";
    default:
        return {};
    }
}

void CGPShowError(Context& ctx, int16_t code)
{
    std::string prompt = CGPErrorText(code);
    if (prompt.empty()) {
        logLine(ctx, LogLevel::Warning, "CGPShowError: no message for code " + std::to_string(code));
        return;
    }
    if (ctx.ports.prompts)
        ctx.ports.prompts->msgBox(prompt, MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
}

bool CGPBroadcastReset(Context& ctx, SerialPort& Connection)
{
    try {
        broadcastReset(ctx, Connection);
        return true;
    } catch (const SerialFault& fault) {
        logLine(ctx, LogLevel::Warning, "CGPBroadcastReset: " + fault.what);
        return false;
    }
}

bool CGPReadIdentity(Context& ctx, int16_t port, SerialPort& Connection, std::string& a, std::string& b,
                     std::string& c)
{
    try {
        readIdentity(ctx, port, Connection, a, b, c);
        return true;
    } catch (const SerialFault& fault) {
        logLine(ctx, LogLevel::Warning, "CGPReadIdentity: " + fault.what);
        closePort(Connection);
        return false;
    }
}

bool CGPProbePort(Context& ctx, SerialPort& Connection, int16_t port)
{
    try {
        if (probe(ctx, Connection, port) != Answer::None)
            return true;
        CGPShowError(ctx, 1);
        return false;
    } catch (const SerialFault& fault) {
        logLine(ctx, LogLevel::Warning, "CGPProbePort: " + fault.what);
        closePort(Connection);
        return false;
    }
}

int16_t CGPFindPort(Context& ctx, SerialPort& Connection)
{
    try {
        const Found found = findPort(ctx, Connection);
        return found.port;
    } catch (const SerialFault& fault) {
        logLine(ctx, LogLevel::Warning, "CGPFindPort: " + fault.what);
        closePort(Connection);
        return kCGPNoPort;
    }
}

bool CGPConnectAndRead(Context& ctx, SerialPort& Connection, std::string& a, std::string& b, std::string& c,
                       CGPReading* reading)
{
    setPointer(ctx, 11);
    a = b = c = notPresent();
    if (reading)
        *reading = CGPReading{};
    try {
        auto readAndRemember = [&](int16_t n) {
            readIdentity(ctx, n, Connection, a, b, c);
            if (a == notPresent())
                return false;
            CGPWriteLastPort(ctx, "COM" + std::to_string(n));
            return true;
        };
        // The adapter answered from its loader. The connect box stands as
        // ever; the log and the reading say what it means and what to do.
        auto inLoader = [&](int16_t n) {
            logLine(ctx, LogLevel::Warning,
                    "CGP: the adapter on COM" + std::to_string(n)
                        + " is in its loader, not running its application: flash the application firmware again");
            if (reading)
                reading->loaderPort = n;
        };
        auto search = [&] {
            const Found found = findPort(ctx, Connection);
            if (found.port == kCGPNoPort) {
                // The silent ports' boxes came with their probes; this is
                // the search's own.
                CGPShowError(ctx, 1);
            } else if (!readAndRemember(found.port)) {
                CGPShowError(ctx, 1);
                if (found.answer == Answer::Loader)
                    inLoader(found.port);
            }
        };

        std::string p = CGPReadDeviceParams(ctx);
        // A missing "DeviceParams" counts as "COMX,DEFAULT", as the driver
        // itself reads it.
        if (p != "COMX" && !p.empty()) {
            int16_t n = portNumberOf(p);
            if (!CGPPortExists(ctx, CGPDeviceName(n)))
                CGPShowError(ctx, 1);
            else if (!readAndRemember(n)) {
                CGPShowError(ctx, 1);
                // A fixed port is never searched: its loader is asked here.
                need(Connection, Connection.setCommPort(n), "CommPort");
                need(Connection, Connection.setPortOpen(true), "PortOpen");
                const bool loader = loaderAnswers(ctx, Connection);
                need(Connection, Connection.setPortOpen(false), "PortOpen");
                if (loader)
                    inLoader(n);
            }
        } else {
            int16_t n = CGPReadLastPort(ctx);
            if (n == 0 || !CGPPortExists(ctx, CGPDeviceName(n)) || !readAndRemember(n))
                search();
        }
    } catch (const SerialFault& fault) {
        // The guard: whatever the port refused, leave it closed, give the
        // pointer back and tell the user the adapter could not be reached.
        logLine(ctx, LogLevel::Warning, "CGPConnectAndRead: " + fault.what);
        closePort(Connection);
        setPointer(ctx, 0);
        CGPShowError(ctx, 1);
        return false;
    }
    setPointer(ctx, 0);
    return true;
}

} // namespace lp

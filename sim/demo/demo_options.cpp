#include "demo/demo_options.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <variant>

#include "platform/serial_port_map.h"
#include "realtime/tcp_model_server.h"

namespace lp::sim {

namespace {

// ---- values ----------------------------------------------------------------

bool parseNumber(const std::string& text, long lo, long hi, long& out)
{
    if (text.empty() || text.size() > 9)
        return false;
    long n = 0;
    for (char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
        n = n * 10 + (c - '0');
    }
    if (n < lo || n > hi)
        return false;
    out = n;
    return true;
}

// "3.0", "1.10"; "empty" is the empty slot 255.255.
bool parseVersion(const std::string& text, uint8_t& major, uint8_t& minor)
{
    if (text == "empty") {
        major = minor = 255;
        return true;
    }
    size_t dot = text.find('.');
    long a = 0, b = 0;
    if (dot == std::string::npos || !parseNumber(text.substr(0, dot), 0, 255, a)
        || !parseNumber(text.substr(dot + 1), 0, 255, b))
        return false;
    major = static_cast<uint8_t>(a);
    minor = static_cast<uint8_t>(b);
    return true;
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// "01.07.12": three bytes in hexadecimal.
bool parseHexVersion(const std::string& text, std::array<uint8_t, 3>& out)
{
    std::array<uint8_t, 3> v{};
    size_t at = 0;
    for (size_t i = 0; i < 3; ++i) {
        if (i > 0 && (at >= text.size() || text[at++] != '.'))
            return false;
        int digits = 0, value = 0;
        while (at < text.size() && hexDigit(text[at]) >= 0 && digits < 2) {
            value = value * 16 + hexDigit(text[at++]);
            ++digits;
        }
        if (digits == 0)
            return false;
        v[i] = static_cast<uint8_t>(value);
    }
    if (at != text.size())
        return false;
    out = v;
    return true;
}

// "5F0201029C", blanks allowed between bytes.
bool parseHexBytes(const std::string& text, Bytes& out)
{
    Bytes bytes;
    int high = -1;
    for (char c : text) {
        if (c == ' ' && high < 0)
            continue;
        int d = hexDigit(c);
        if (d < 0)
            return false;
        if (high < 0) {
            high = d;
        } else {
            bytes.push_back(static_cast<uint8_t>(high * 16 + d));
            high = -1;
        }
    }
    if (high >= 0 || bytes.empty() || bytes.size() > 64)
        return false;
    out = std::move(bytes);
    return true;
}

bool parsePort(const std::string& text, int& port)
{
    int n = portOfDeviceName(text);
    if (n < kFirstComPort || n > kLastComPort)
        return false;
    port = n;
    return true;
}

// silent | short[:N] | wrong | custom:HEX
bool parseExchangeFault(const std::string& text, Lp2Exchange& out)
{
    Lp2Exchange e;
    long n = 0;
    if (text == "silent") {
        e.fault = Lp2ReplyFault::Silent;
    } else if (text == "wrong") {
        e.fault = Lp2ReplyFault::Wrong;
    } else if (text == "short") {
        e.fault = Lp2ReplyFault::Short;
    } else if (text.rfind("short:", 0) == 0 && parseNumber(text.substr(6), 0, 64, n)) {
        e.fault = Lp2ReplyFault::Short;
        e.shortLength = static_cast<size_t>(n);
    } else if (text.rfind("custom:", 0) == 0 && parseHexBytes(text.substr(7), e.customReply)) {
        e.fault = Lp2ReplyFault::Custom;
    } else {
        return false;
    }
    out = std::move(e);
    return true;
}

// "A:B" split at the first colon; both parts non-empty.
bool splitPair(const std::string& text, std::string& a, std::string& b)
{
    size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size())
        return false;
    a = text.substr(0, colon);
    b = text.substr(colon + 1);
    return true;
}

bool bad(std::string& error, const std::string& expected)
{
    error = "expected " + expected;
    return false;
}

// ---- the table ---------------------------------------------------------------

enum class Value { None, Optional, Required };

using GeneralApply = std::function<bool(SimCommand&, const std::string&, std::string&)>;
using Lp2Apply = std::function<bool(DemoLp2&, const std::string&, std::string&)>;
using CompactApply = std::function<bool(DemoCompact&, const std::string&, std::string&)>;
using WirelessApply = std::function<bool(DemoWireless&, const std::string&, std::string&)>;

struct SimOption {
    const char* name; // without "--"; null: a heading of the help text
    Value value;
    const char* valueName;
    bool fault; // listed among the adapter's faults when given
    const char* help;
    std::variant<std::monostate, GeneralApply, Lp2Apply, CompactApply, WirelessApply> apply;
};

SimOption heading(const char* text) { return {nullptr, Value::None, "", false, text, std::monostate{}}; }

// Helpers that turn "what to do with the model" into a row's action.
Lp2Apply lp2Flag(std::function<void(Lp2Model&)> f)
{
    return [f](DemoLp2& o, const std::string&, std::string&) {
        o.setup.push_back(f);
        return true;
    };
}

Lp2Apply lp2Number(long lo, long hi, std::function<void(Lp2Model&, long)> f)
{
    return [=](DemoLp2& o, const std::string& v, std::string& error) {
        long n = 0;
        if (!parseNumber(v, lo, hi, n))
            return bad(error, "a whole number from " + std::to_string(lo) + " to " + std::to_string(hi));
        o.setup.push_back([f, n](Lp2Model& m) { f(m, n); });
        return true;
    };
}

Lp2Apply lp2Version(std::function<void(Lp2Versions&, uint8_t, uint8_t)> f)
{
    return [f](DemoLp2& o, const std::string& v, std::string& error) {
        uint8_t a = 0, b = 0;
        if (!parseVersion(v, a, b))
            return bad(error, "MAJOR.MINOR, each 0-255 (255.255 or \"empty\": an empty slot)");
        o.setup.push_back([f, a, b](Lp2Model& m) { f(m.config().versions, a, b); });
        return true;
    };
}

Lp2Apply lp2Exchange(Lp2Exchange Lp2ModelConfig::*which)
{
    return [which](DemoLp2& o, const std::string& v, std::string& error) {
        Lp2Exchange e;
        if (!parseExchangeFault(v, e))
            return bad(error, "silent, short, short:N, wrong or custom:HEXBYTES");
        o.setup.push_back([which, e](Lp2Model& m) { m.config().*which = e; });
        return true;
    };
}

Lp2Apply lp2Driver(std::function<bool(Lp2DriverSettings&, const std::string&, std::string&)> f)
{
    return [f](DemoLp2& o, const std::string& v, std::string& error) { return f(o.driver, v, error); };
}

CompactApply compactConfig(std::function<bool(CompactModel::Config&, const std::string&, std::string&)> f)
{
    return [f](DemoCompact& o, const std::string& v, std::string& error) { return f(o.model, v, error); };
}

// An empty value (an optional one not given) takes `fallback`.
CompactApply compactNumber(long fallback, long lo, long hi, std::function<void(CompactModel&, long)> f)
{
    return [=](DemoCompact& o, const std::string& v, std::string& error) {
        long n = fallback;
        if (!v.empty() && !parseNumber(v, lo, hi, n))
            return bad(error, "a whole number from " + std::to_string(lo) + " to " + std::to_string(hi));
        o.setup.push_back([f, n](CompactModel& m) { f(m, n); });
        return true;
    };
}

CompactApply compactFlag(std::function<void(CompactModel&)> f)
{
    return [f](DemoCompact& o, const std::string&, std::string&) {
        o.setup.push_back(f);
        return true;
    };
}

WirelessApply wirelessConfig(std::function<bool(WirelessAdapterConfig&, const std::string&, std::string&)> f)
{
    return [f](DemoWireless& o, const std::string& v, std::string& error) { return f(o.model, v, error); };
}

WirelessApply wirelessNumber(long fallback, long lo, long hi, std::function<void(WirelessModel&, long)> f)
{
    return [=](DemoWireless& o, const std::string& v, std::string& error) {
        long n = fallback;
        if (!v.empty() && !parseNumber(v, lo, hi, n))
            return bad(error, "a whole number from " + std::to_string(lo) + " to " + std::to_string(hi));
        o.setup.push_back([f, n](WirelessModel& m) { f(m, n); });
        return true;
    };
}

WirelessApply wirelessFlag(std::function<void(WirelessModel&)> f)
{
    return [f](DemoWireless& o, const std::string&, std::string&) {
        o.setup.push_back(f);
        return true;
    };
}

bool textUpTo(size_t limit, const std::string& v, std::string& out, std::string& error)
{
    if (v.size() > limit || v.find_first_of(";\r\n") != std::string::npos)
        return bad(error, "a text of at most " + std::to_string(limit) + " characters without ';'");
    out = v;
    return true;
}

bool setPortOption(bool& enabled, int& port, const std::string& v, std::string& error)
{
    enabled = true;
    return v.empty() || parsePort(v, port) || bad(error, "a port COM1 to COM256");
}

const std::vector<SimOption>& table()
{
    using M = Lp2Model;
    using C = CompactModel;
    using W = WirelessModel;
    static const std::vector<SimOption> rows{
        heading("Adapters (at least one):"),
        {"lp2", Value::Optional, "COMn", false,
         "the second-generation adapter on COMn (default COM1), with its test driver library",
         GeneralApply([](SimCommand& c, const std::string& v, std::string& e) {
             return setPortOption(c.demo.lp2.enabled, c.demo.lp2.port, v, e);
         })},
        {"compact", Value::Optional, "COMn", false, "the compact adapter on COMn (default COM7)",
         GeneralApply([](SimCommand& c, const std::string& v, std::string& e) {
             return setPortOption(c.demo.compact.enabled, c.demo.compact.port, v, e);
         })},
        {"wireless", Value::Optional, "ADDR[,ADDR...]", false,
         "wireless adapters on these loopback addresses, port 12321 (default 127.0.0.2,127.0.0.3)",
         GeneralApply([](SimCommand& c, const std::string& v, std::string& e) {
             std::vector<std::string> addresses;
             if (v.empty())
                 addresses = kDemoWirelessAddresses;
             for (size_t start = 0; !v.empty() && start <= v.size();) {
                 size_t comma = v.find(',', start);
                 addresses.push_back(v.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
                 start = comma == std::string::npos ? v.size() + 1 : comma + 1;
             }
             c.demo.wireless.clear();
             for (const auto& address : addresses) {
                 if (!checkWirelessAddress(address, e))
                     return false;
                 for (const auto& w : c.demo.wireless) {
                     if (w.address == address) {
                         e = address + " is named twice";
                         return false;
                     }
                 }
                 c.demo.wireless.push_back(demoWirelessAdapter(address, c.demo.wireless.size()));
             }
             return true;
         })},

        heading("Where the settings go (default: a fresh temporary folder, removed at the end):"),
        {"windir", Value::Required, "DIR", false, "the Windows directory: driver INI files and library",
         GeneralApply([](SimCommand& c, const std::string& v, std::string&) {
             c.demo.windowsDirectory = v;
             return true;
         })},
        {"registry", Value::Required, "FILE", false, "the registry file",
         GeneralApply([](SimCommand& c, const std::string& v, std::string&) {
             c.demo.registryFile = v;
             return true;
         })},
        {"dosdevices", Value::Required, "DIR", false, "the folder of comN links",
         GeneralApply([](SimCommand& c, const std::string& v, std::string&) {
             c.demo.dosdevicesFolder = v;
             return true;
         })},
        {"driver-library", Value::Required, "PATH", false,
         "the test driver library to install (default: the one shipped with this program)",
         GeneralApply([](SimCommand& c, const std::string& v, std::string&) {
             c.demo.driverLibrary = v;
             return true;
         })},
        {"select", Value::Required, "lp2|compact|wireless", false,
         "write that adapter kind as \"PrevAdapter\" into the registry file",
         GeneralApply([](SimCommand& c, const std::string& v, std::string& e) {
             c.demo.select = v;
             return !demoDeviceKind(v).empty() || bad(e, "lp2, compact or wireless");
         })},
        {"print-env", Value::None, "", false,
         "print export lines for a shell and run in the background: eval \"$(linkport-sim --print-env ...)\"; "
         "stop it with kill $LINKPORT_SIM_PID",
         GeneralApply([](SimCommand& c, const std::string&, std::string&) {
             c.printEnvironment = true;
             return true;
         })},
        {"setup-only", Value::None, "", false, "set up, describe what was set up, and end at once",
         GeneralApply([](SimCommand& c, const std::string&, std::string&) {
             c.setupOnly = true;
             return true;
         })},

        heading("Second-generation adapter (with --lp2); versions M.m, 255.255 an empty slot:"),
        {"lp2-hardware", Value::Required, "M.m", false, "hardware version (default 3.0)",
         lp2Version([](Lp2Versions& v, uint8_t a, uint8_t b) { v.hardwareMajor = a, v.hardwareMinor = b; })},
        {"lp2-application", Value::Required, "M.m", false, "application firmware version (default 1.8)",
         lp2Version([](Lp2Versions& v, uint8_t a, uint8_t b) { v.applicationMajor = a, v.applicationMinor = b; })},
        {"lp2-boot", Value::Required, "M.m", false, "boot firmware version (default 1.2)",
         lp2Version([](Lp2Versions& v, uint8_t a, uint8_t b) { v.bootMajor = a, v.bootMinor = b; })},
        {"lp2-serial-version", Value::Required, "XX.XX.XX", false,
         "what the serial version query answers, three hexadecimal bytes (default 01.07.12)",
         Lp2Apply([](DemoLp2& o, const std::string& v, std::string& e) {
             std::array<uint8_t, 3> bytes{};
             if (!parseHexVersion(v, bytes))
                 return bad(e, "three hexadecimal bytes such as 01.07.12");
             o.setup.push_back([bytes](M& m) { m.config().serialVersion = bytes; });
             return true;
         })},
        {"lp2-baud", Value::Required, "N", false, "the adapter's rate (default 9600); the driver follows it",
         lp2Number(300, 115200, [](M& m, long n) { m.config().baud = static_cast<int>(n); })},
        {"lp2-silent", Value::None, "", true, "no power: nothing is answered, on the line or to the driver",
         lp2Flag([](M& m) { m.config().unpowered = true; })},
        {"lp2-plain-mode", Value::None, "", true, "starts in plain mode, where its driver gets no answer",
         lp2Flag([](M& m) { m.setDriverMode(false); })},
        {"lp2-reply-delay", Value::Required, "MS", true, "slow replies: time before each reply (default 2)",
         lp2Number(0, 60000, [](M& m, long n) { m.config().replyDelayUs = n * 1000; })},
        {"lp2-leave", Value::Required, "FAULT", true,
         "the reply to the leave-driver-mode frame: silent, short[:N], wrong or custom:HEX",
         lp2Exchange(&Lp2ModelConfig::leave)},
        {"lp2-query", Value::Required, "FAULT", true, "the reply to the version query (as --lp2-leave)",
         lp2Exchange(&Lp2ModelConfig::query)},
        {"lp2-back", Value::Required, "FAULT", true, "the reply to the return-to-driver-mode frame (as --lp2-leave)",
         lp2Exchange(&Lp2ModelConfig::back)},
        {"lp2-flash-refused", Value::None, "", true, "the adapter refuses to start a flash",
         lp2Flag([](M& m) { m.config().flashAccepted = false; })},
        {"lp2-connect-error", Value::Required, "PROTOCOL:CODE", true,
         "the driver answers a connect for PROTOCOL (SIP, J1708, J1939, HVN) with error CODE; repeatable",
         lp2Driver([](Lp2DriverSettings& s, const std::string& v, std::string& e) {
             std::string protocol, code;
             long n = 0;
             if (!splitPair(v, protocol, code) || !parseNumber(code, 128, 32767, n))
                 return bad(e, "PROTOCOL:CODE with a code from 128 to 32767");
             s.connectErrors[protocol] = static_cast<int16_t>(n);
             return true;
         })},
        {"lp2-error-text", Value::Required, "CODE:TEXT", false, "the driver's text for an error code; repeatable",
         lp2Driver([](Lp2DriverSettings& s, const std::string& v, std::string& e) {
             std::string code, text;
             long n = 0;
             if (!splitPair(v, code, text) || !parseNumber(code, 0, 32767, n) || text.size() > 80)
                 return bad(e, "CODE:TEXT with a text of at most 80 characters");
             s.errorTexts[static_cast<int16_t>(n)] = text;
             return true;
         })},
        {"lp2-driver-version", Value::Required, "M.mm", false,
         "the driver's own version: one character, a dot, two characters (default 1.12)",
         lp2Driver([](Lp2DriverSettings& s, const std::string& v, std::string& e) {
             size_t dot = v.find('.');
             if (dot != 1 || v.size() < 3 || v.size() > 4 || v.find_first_of(" \r\n", 0) != std::string::npos)
                 return bad(e, "a version such as 1.12 or 1.9");
             s.dllMajor = v.substr(0, 1);
             s.dllMinor = v.substr(2);
             return true;
         })},
        {"lp2-hardware-status", Value::Required, "TEXT", false, "what the driver's hardware status says",
         lp2Driver([](Lp2DriverSettings& s, const std::string& v, std::string& e) {
             return textUpTo(16, v, s.hardwareStatus, e);
         })},
        {"lp2-first-client", Value::Required, "N", false, "the first client id the driver hands out (default 0)",
         lp2Driver([](Lp2DriverSettings& s, const std::string& v, std::string& e) {
             long n = 0;
             if (!parseNumber(v, 0, 127, n))
                 return bad(e, "a whole number from 0 to 127");
             s.firstClientId = static_cast<int16_t>(n);
             return true;
         })},
        {"lp2-flash-refused-code", Value::Required, "CODE", false,
         "the driver's result when the adapter refuses a flash (default 150)",
         lp2Driver([](Lp2DriverSettings& s, const std::string& v, std::string& e) {
             long n = 0;
             if (!parseNumber(v, 128, 32767, n))
                 return bad(e, "a code from 128 to 32767");
             s.flashRefusedCode = static_cast<int16_t>(n);
             return true;
         })},
        {"lp2-reply-timeout", Value::Required, "MS", false,
         "how long the driver waits for the adapter (default 1000)",
         Lp2Apply([](DemoLp2& o, const std::string& v, std::string& e) {
             long n = 0;
             if (!parseNumber(v, 1, 60000, n))
                 return bad(e, "milliseconds from 1 to 60000");
             o.replyTimeoutMs = static_cast<int>(n);
             return true;
         })},

        heading("Compact adapter (with --compact):"),
        {"compact-params", Value::Required, "TEXT", false,
         "CLPRP32.INI DeviceParams (default COMX,DEFAULT: the program searches, trying COMn first)",
         CompactApply([](DemoCompact& o, const std::string& v, std::string& e) {
             return textUpTo(64, v, o.deviceParams, e);
         })},
        {"compact-baud", Value::Required, "N", false,
         "the rate the adapter sleeps at (default: the rate DeviceParams names, else 57600)",
         compactConfig([](C::Config& c, const std::string& v, std::string& e) {
             long n = 0;
             if (!parseNumber(v, 300, 115200, n))
                 return bad(e, "a rate from 300 to 115200");
             c.baud = static_cast<int>(n);
             return true;
         })},
        {"compact-usb-latency", Value::Required, "MS", false,
         "replies held up to MS as by a USB-serial converter's latency timer (default 0: none; FTDI: 16)",
         CompactApply([](DemoCompact& o, const std::string& v, std::string& e) {
             long n = 0;
             if (!parseNumber(v, 0, 255, n))
                 return bad(e, "a whole number of milliseconds from 0 to 255");
             o.usbLatencyMs = static_cast<int>(n);
             return true;
         })},
        {"compact-hardware", Value::Required, "M.m", false, "hardware version (default 1.10)",
         compactConfig([](C::Config& c, const std::string& v, std::string& e) {
             return parseVersion(v, c.hardwareMajor, c.hardwareMinor) || bad(e, "MAJOR.MINOR, each 0-255");
         })},
        {"compact-boot", Value::Required, "M.m", false, "boot firmware version (default 1.2)",
         compactConfig([](C::Config& c, const std::string& v, std::string& e) {
             return parseVersion(v, c.bootMajor, c.bootMinor) || bad(e, "MAJOR.MINOR, each 0-255");
         })},
        {"compact-firmware", Value::Required, "XX.XX.XX", false,
         "application firmware version, three hexadecimal bytes (default 01.07.12; FF.FF.FF: empty)",
         compactConfig([](C::Config& c, const std::string& v, std::string& e) {
             return parseHexVersion(v, c.firmware) || bad(e, "three hexadecimal bytes such as 01.07.12");
         })},
        {"compact-serial", Value::Required, "TEXT", false, "serial number, ten characters (default CL05A12345)",
         compactConfig([](C::Config& c, const std::string& v, std::string& e) {
             return textUpTo(10, v, c.serialNumber, e);
         })},
        {"compact-loader", Value::None, "", true, "sits in its loader, as after a flash that did not finish",
         compactConfig([](C::Config& c, const std::string&, std::string&) {
             c.mode = C::Mode::Loader;
             return true;
         })},
        {"compact-silent", Value::None, "", true, "answers nothing",
         compactFlag([](C& m) { m.setFault(C::Fault::Silence); })},
        {"compact-garbage", Value::None, "", true, "answers bytes that are no frame",
         compactFlag([](C& m) { m.setFault(C::Fault::Garbage); })},
        {"compact-short-reply", Value::Optional, "N", true, "replies cut to N bytes (default 5)",
         compactNumber(5, 0, 64, [](C& m, long n) {
             m.setFault(C::Fault::ShortReply);
             m.setShortReplyLength(static_cast<size_t>(n));
         })},
        {"compact-slow-reply", Value::Optional, "MS", true, "replies held back by MS (default 400)",
         compactNumber(400, 0, 60000, [](C& m, long n) {
             m.setFault(C::Fault::SlowReply);
             m.setSlowReplyDelayMs(static_cast<int>(n));
         })},

        heading("Wireless adapters (with --wireless); OPTION@ADDR applies to that adapter only:"),
        {"wireless-name", Value::Required, "TEXT", false, "the name in the driver's list (default Demo Unit A, B, ...)",
         wirelessConfig([](WirelessAdapterConfig& c, const std::string& v, std::string& e) {
             return textUpTo(64, v, c.name, e);
         })},
        {"wireless-serial", Value::Required, "TEXT", false, "the serial number in the driver's list",
         wirelessConfig([](WirelessAdapterConfig& c, const std::string& v, std::string& e) {
             return textUpTo(64, v, c.serial, e);
         })},
        {"wireless-identity", Value::Required, "TEXT", false,
         "the identity text (shown as boot firmware; default 01.04.0007)",
         wirelessConfig([](WirelessAdapterConfig& c, const std::string& v, std::string& e) {
             return textUpTo(10, v, c.identityText, e);
         })},
        {"wireless-firmware", Value::Required, "XX.XX.XX", false,
         "application firmware version, three hexadecimal bytes (default 01.07.12)",
         wirelessConfig([](WirelessAdapterConfig& c, const std::string& v, std::string& e) {
             return parseHexVersion(v, c.hexVersion) || bad(e, "three hexadecimal bytes such as 01.07.12");
         })},
        {"wireless-hardware", Value::Required, "M.m", false, "hardware version (default 1.10; 255.255: empty)",
         wirelessConfig([](WirelessAdapterConfig& c, const std::string& v, std::string& e) {
             return parseVersion(v, c.decimalMajor, c.decimalMinor) || bad(e, "MAJOR.MINOR, each 0-255");
         })},
        {"wireless-reply-delay", Value::Required, "MS", true, "slow replies: time before each answer (default 3)",
         wirelessNumber(0, 0, 60000, [](W& m, long n) { m.config().replyDelayUs = n * 1000; })},
        {"wireless-refuse", Value::None, "", true, "refuses connections",
         wirelessFlag([](W& m) { m.setFault(WirelessFault::RefuseConnections); })},
        {"wireless-silent", Value::None, "", true, "takes queries and never answers",
         wirelessFlag([](W& m) { m.setFault(WirelessFault::Silent); })},
        {"wireless-garbage", Value::None, "", true, "answers bytes that are no frame",
         wirelessFlag([](W& m) { m.setFault(WirelessFault::Garbage); })},
        {"wireless-drop", Value::Optional, "N", true,
         "sends N bytes of an answer (default: half), then drops the connection",
         wirelessNumber(0, 0, 64, [](W& m, long n) {
             m.setFault(WirelessFault::DropMidReply);
             m.setDropAfterBytes(static_cast<size_t>(n));
         })},

        heading("Other:"),
        {"help", Value::None, "", false, "show this text", std::monostate{}},
        {"version", Value::None, "", false, "show the version", std::monostate{}},
    };
    return rows;
}

const SimOption* findOption(const std::string& name)
{
    for (const SimOption& o : table()) {
        if (o.name && name == o.name)
            return &o;
    }
    return nullptr;
}

} // namespace

bool checkWirelessAddress(const std::string& address, std::string& error)
{
    in_addr a{};
    if (inet_pton(AF_INET, address.c_str(), &a) != 1) {
        error = "\"" + address + "\" is not an address such as 127.0.0.2";
        return false;
    }
    if ((ntohl(a.s_addr) >> 24) != 127) {
        error = "refused: " + address + " is not a loopback address; the simulator serves 127.0.0.0/8 only";
        return false;
    }
    if (!TcpModelServer::isServableAddress(address)) {
        error = "refused: the simulator serves the loopback addresses 127.0.0.1 to 127.0.0.254 only, not " + address;
        return false;
    }
    return true;
}

int parseSimArguments(const std::vector<std::string>& args, SimCommand& command, std::string& error)
{
    command = SimCommand{};
    error.clear();
    for (const auto& a : args) {
        if (a == "--help" || a == "-h") {
            command.action = SimCommand::Action::Help;
            return 0;
        }
        if (a == "--version") {
            command.action = SimCommand::Action::Version;
            return 0;
        }
    }

    struct Deferred {
        const SimOption* option;
        std::string given; // as written, for messages and the fault list
        std::string value;
        std::string address; // OPTION@ADDR
    };
    std::vector<Deferred> deferred;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg.rfind("--", 0) != 0 || arg.size() == 2) {
            error = "unexpected argument \"" + arg + "\"";
            return kUsageError;
        }
        size_t equals = arg.find('=');
        std::string name = arg.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
        std::string address;
        if (size_t at = name.find('@'); at != std::string::npos) {
            address = name.substr(at + 1);
            name.erase(at);
        }
        const SimOption* option = findOption(name);
        if (!option) {
            error = "unknown option --" + name;
            return kUsageError;
        }
        if (!address.empty() && !std::holds_alternative<WirelessApply>(option->apply)) {
            error = "--" + name + " is not a wireless option; only those take @ADDR";
            return kUsageError;
        }
        std::string value;
        if (equals != std::string::npos) {
            if (option->value == Value::None) {
                error = "--" + name + " takes no value";
                return kUsageError;
            }
            value = arg.substr(equals + 1);
        } else if (option->value == Value::Required) {
            if (i + 1 >= args.size()) {
                error = "--" + name + " needs a value (" + option->valueName + ")";
                return kUsageError;
            }
            value = args[++i];
        }
        if (option->value == Value::Required && value.empty()) {
            error = "--" + name + " needs a value (" + option->valueName + ")";
            return kUsageError;
        }
        std::string given = "--" + (address.empty() ? name : name + "@" + address) + (value.empty() ? "" : "=" + value);
        if (const auto* general = std::get_if<GeneralApply>(&option->apply)) {
            std::string why;
            if (!(*general)(command, value, why)) {
                error = why.rfind("refused", 0) == 0 ? why : "--" + name + ": " + why;
                return kUsageError;
            }
        } else {
            deferred.push_back({option, given, value, address});
        }
    }

    // Adapter options once the adapters are known, so their order on the
    // command line does not matter.
    DemoOptions& demo = command.demo;
    for (const Deferred& d : deferred) {
        std::string why;
        bool ok = true;
        const char* needs = nullptr;
        if (const auto* f = std::get_if<Lp2Apply>(&d.option->apply)) {
            if (!demo.lp2.enabled)
                needs = "--lp2";
            else if ((ok = (*f)(demo.lp2, d.value, why)) && d.option->fault)
                demo.lp2.faults.push_back(d.given);
        } else if (const auto* f = std::get_if<CompactApply>(&d.option->apply)) {
            if (!demo.compact.enabled)
                needs = "--compact";
            else if ((ok = (*f)(demo.compact, d.value, why)) && d.option->fault)
                demo.compact.faults.push_back(d.given);
        } else if (const auto* f = std::get_if<WirelessApply>(&d.option->apply)) {
            if (demo.wireless.empty())
                needs = "--wireless";
            bool matched = false;
            for (DemoWireless& w : demo.wireless) {
                if (!ok || (!d.address.empty() && w.address != d.address))
                    continue;
                matched = true;
                if ((ok = (*f)(w, d.value, why)) && d.option->fault)
                    w.faults.push_back(d.given);
            }
            if (!needs && !matched) {
                error = d.given + ": no wireless adapter at " + d.address;
                return kUsageError;
            }
        }
        if (needs) {
            error = d.given + " needs " + needs;
            return kUsageError;
        }
        if (!ok) {
            error = d.given + ": " + why;
            return kUsageError;
        }
    }
    if (!demo.lp2.enabled && !demo.compact.enabled && demo.wireless.empty()) {
        error = "choose at least one adapter: --lp2, --compact or --wireless";
        return kUsageError;
    }
    if (command.printEnvironment && command.setupOnly) {
        error = "--print-env runs in the background, --setup-only ends at once: choose one";
        return kUsageError;
    }
    if (demo.lp2.enabled && demo.compact.enabled && demo.lp2.port == demo.compact.port) {
        error = "--lp2 and --compact cannot share COM" + std::to_string(demo.lp2.port);
        return kUsageError;
    }
    return 0;
}

std::string simUsage()
{
    constexpr size_t kHelpColumn = 30, kHelpWidth = 79;
    std::string text =
        "Usage: linkport-sim ADAPTERS [OPTIONS]\n"
        "\n"
        "Runs simulated Linkport adapters in real time, writes the settings that lead\n"
        "Linkport Toolkit to them, prints what it set up and runs until Ctrl-C (SIGINT\n"
        "or SIGTERM); then it closes everything and removes what it made. Start the\n"
        "program with the printed windir, LINKPORT_REGISTRY_FILE and\n"
        "LINKPORT_DOSDEVICES in its environment.\n"
        "\n"
        "Options take their value as --option=VALUE; those that need one also as\n"
        "--option VALUE. Wrong options end with exit code 2.\n";
    for (const SimOption& o : table()) {
        if (!o.name) {
            text += std::string("\n") + o.help + "\n";
            continue;
        }
        std::string left = std::string("  --") + o.name;
        if (o.value == Value::Optional)
            left += std::string("[=") + o.valueName + "]";
        else if (o.value == Value::Required)
            left += std::string("=") + o.valueName;
        text += left;
        size_t column = left.size();
        if (column >= kHelpColumn) {
            text += "\n";
            column = 0;
        }
        // The help words, wrapped to the width of a terminal.
        std::istringstream words(o.help);
        bool first = true;
        for (std::string word; words >> word; first = false) {
            if (!first && column + 1 + word.size() > kHelpWidth) {
                text += "\n";
                column = 0;
            }
            if (column < kHelpColumn) {
                text += std::string(kHelpColumn - column, ' ');
                column = kHelpColumn;
            } else {
                text += ' ';
                ++column;
            }
            text += word;
            column += word.size();
        }
        text += "\n";
    }
    text += "\nExample:\n"
            "  eval \"$(linkport-sim --print-env --lp2 --compact --wireless --select lp2)\"\n"
            "  linkport-toolkit\n"
            "  kill $LINKPORT_SIM_PID\n";
    return text;
}

bool demoOptionsFor(const std::string& select, DemoOptions& options, std::string& error)
{
    SimCommand command;
    if (parseSimArguments({"--lp2", "--compact", "--wireless", "--select", select}, command, error) != 0)
        return false;
    options = std::move(command.demo);
    // A person's demo: its own addresses rather than a wait for another's.
    options.takeFreeAddresses = true;
    return true;
}

} // namespace lp::sim

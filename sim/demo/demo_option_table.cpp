#include "demo/demo_option_table.h"

#include <span>

#include "demo/demo_option_values.h"

namespace lp::sim {

namespace {

using Value = OptionValue;
using M = Lp2Model;
using C = CompactModel;
using W = WirelessModel;

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

// Records are counted from 1 as the loader takes them after "####".
constexpr long kLastRecord = 10'000'000;

// "N" or "N:MS": a record (0: every record) and how late its "#" comes.
bool parseLateRecord(const std::string& v, long defaultMs, long& record, long& ms, std::string& error)
{
    std::string n = v, late;
    ms = defaultMs;
    if (v.find(':') != std::string::npos && !splitPair(v, n, late))
        return bad(error, "N or N:MS");
    if (!parseNumber(n, 0, kLastRecord, record) || (!late.empty() && !parseNumber(late, 1, 600000, ms)))
        return bad(error, "N or N:MS: a record number (0: every record) and milliseconds from 1 to 600000");
    return true;
}

CompactApply compactRecordFault(std::function<void(CompactModel::LoaderFaults&, long)> f)
{
    return [f](DemoCompact& o, const std::string& v, std::string& error) {
        long n = 0;
        if (!parseNumber(v, 1, kLastRecord, n))
            return bad(error, "a record number from 1");
        o.setup.push_back([f, n](CompactModel& m) { f(m.loaderFaults(), n); });
        return true;
    };
}

WirelessApply wirelessRecordFault(std::function<void(WirelessLoaderFaults&, int)> f)
{
    return [f](DemoWireless& o, const std::string& v, std::string& error) {
        long n = 0;
        if (!parseNumber(v, 1, kLastRecord, n))
            return bad(error, "a record number from 1");
        o.setup.push_back([f, n](WirelessModel& m) { f(m.loaderFaults(), static_cast<int>(n)); });
        return true;
    };
}

bool setPortOption(bool& enabled, int& port, const std::string& v, std::string& error)
{
    enabled = true;
    return v.empty() || parsePort(v, port) || bad(error, "a port COM1 to COM256");
}

// --wireless[=ADDR,...]: the adapters, each address once.
bool chooseWirelessAdapters(SimCommand& c, const std::string& v, std::string& e)
{
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
}

// Which adapters, and where their settings go.
const SimOption kGeneralRows[] = {
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
     GeneralApply(chooseWirelessAdapters)},

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
};

// The second-generation adapter and its test driver library.
const SimOption kLp2Rows[] = {
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
    {"lp2-flash-refused", Value::None, "", true,
     "the adapter refuses to start a flash: the driver's command 300 returns an error (--lp2-flash-refused-code)",
     lp2Flag([](M& m) { m.config().flashAccepted = false; })},
    {"lp2-flash-hangs", Value::None, "", true,
     "the adapter starts a flash and never finishes it: the driver times out (error 142) and the application "
     "slot stays empty",
     lp2Flag([](M& m) { m.config().flashNeverCompletes = true; })},
    {"lp2-version-after-flash", Value::Required, "M.m", true,
     "the application version a flash installs, whatever the file (default 1.9, the demo file's)",
     Lp2Apply([](DemoLp2& o, const std::string& v, std::string& e) {
         std::array<uint8_t, 2> after{};
         if (!parseVersion(v, after[0], after[1]))
             return bad(e, "MAJOR.MINOR, each 0-255");
         o.setup.push_back([after](M& m) { m.config().applicationAfterFlash = after; });
         return true;
     })},
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
};

// The compact adapter.
const SimOption kCompactRows[] = {
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
    heading("Compact adapter flash faults; records count from 1 after \"####\":"),
    {"compact-loader-silent", Value::None, "", true, "its loader never answers the \"!\" burst",
     compactFlag([](C& m) { m.loaderFaults().readyAnswer.clear(); })},
    {"compact-flash-silent", Value::Required, "N", true, "from record N on the loader says nothing",
     compactRecordFault([](C::LoaderFaults& f, long n) { f.silentFromRecord = n; })},
    {"compact-flash-refuse", Value::Required, "N", true, "record N is refused (answered NAK, not \"#\")",
     compactRecordFault([](C::LoaderFaults& f, long n) {
         f.refusedRecord = n;
         f.refusedReply = {WirelessModel::kRecordRefused};
     })},
    {"compact-flash-garbage", Value::Required, "N", true, "record N is answered with garbage instead of \"#\"",
     compactRecordFault([](C::LoaderFaults& f, long n) { f.garbageRecord = n; })},
    {"compact-flash-late", Value::Required, "N[:MS]", true,
     "the \"#\" of record N (0: every record) comes MS late (default 2000, past the flash's 1.67 s)",
     CompactApply([](DemoCompact& o, const std::string& v, std::string& e) {
         long n = 0, ms = 0;
         if (!parseLateRecord(v, 2000, n, ms, e))
             return false;
         o.setup.push_back([n, ms](C& m) {
             m.loaderFaults().slowRecord = n;
             m.loaderFaults().slowAckMs = static_cast<int>(ms);
         });
         return true;
     })},
    {"compact-flash-drop", Value::Required, "N", true,
     "at record N the link drops, as a USB converter pulled out: the port is gone until the simulator restarts",
     compactRecordFault([](C::LoaderFaults& f, long n) { f.dropLinkAtRecord = n; })},
    {"compact-no-restart", Value::None, "", true,
     "after the whole file the adapter restarts and never comes back (answers nothing)",
     compactFlag([](C& m) { m.loaderFaults().noRestart = true; })},
    {"compact-version-after-flash", Value::Required, "XX.XX.XX", true,
     "the application version after a flash, whatever the image holds (default: the version stamped in the image)",
     compactConfig([](C::Config& c, const std::string& v, std::string& e) {
         std::array<uint8_t, 3> after{};
         if (!parseHexVersion(v, after))
             return bad(e, "three hexadecimal bytes such as 01.07.12");
         c.firmwareAfterFlash = after;
         return true;
     })},
};

// The wireless adapters, each or one by @ADDR.
const SimOption kWirelessRows[] = {
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
    heading("Wireless flash faults (OPTION@ADDR too); records count from 1 after \"####\":"),
    {"wireless-loader-silent", Value::None, "", true, "its loader starts and never answers",
     wirelessFlag([](W& m) { m.loaderFaults().silentLoader = true; })},
    {"wireless-flash-silent", Value::Required, "N", true, "from record N on the loader says nothing",
     wirelessRecordFault([](WirelessLoaderFaults& f, int n) { f.silentFromRecord = n; })},
    {"wireless-flash-refuse", Value::Required, "N", true, "record N is refused (answered NAK, not \"#\")",
     wirelessRecordFault([](WirelessLoaderFaults& f, int n) { f.refuseRecord = n; })},
    {"wireless-flash-garbage", Value::Required, "N", true, "record N is answered with garbage instead of \"#\"",
     wirelessRecordFault([](WirelessLoaderFaults& f, int n) { f.garbageRecord = n; })},
    {"wireless-flash-late", Value::Required, "N[:MS]", true,
     "the \"#\" of record N (0: every record) comes MS late (default 10000, past the flash's three tries of 3 s)",
     WirelessApply([](DemoWireless& o, const std::string& v, std::string& e) {
         long n = 0, ms = 0;
         if (!parseLateRecord(v, 10000, n, ms, e))
             return false;
         o.setup.push_back([n, ms](W& m) {
             m.loaderFaults().slowRecord = static_cast<int>(n);
             m.loaderFaults().slowAckUs = ms * 1000;
         });
         return true;
     })},
    {"wireless-flash-drop", Value::Required, "N", true, "the connection drops as record N arrives",
     wirelessRecordFault([](WirelessLoaderFaults& f, int n) { f.dropAtRecord = n; })},
    {"wireless-no-restart", Value::None, "", true,
     "after the whole file the adapter restarts and never takes a connection again",
     wirelessFlag([](W& m) { m.loaderFaults().failReconnect = true; })},
    {"wireless-version-after-flash", Value::Required, "XX.XX.XX", true,
     "the application version after a flash, whatever the image holds (default: the version stamped in the image)",
     wirelessConfig([](WirelessAdapterConfig& c, const std::string& v, std::string& e) {
         std::array<uint8_t, 3> after{};
         if (!parseHexVersion(v, after))
             return bad(e, "three hexadecimal bytes such as 01.07.12");
         c.hexVersionAfterFlash = after;
         return true;
     })},
};

// Answered by the parser itself.
const SimOption kOtherRows[] = {
    heading("Other:"),
    {"help", Value::None, "", false, "show this text", std::monostate{}},
    {"version", Value::None, "", false, "show the version", std::monostate{}},
};

} // namespace

const std::vector<SimOption>& simOptionTable()
{
    static const std::vector<SimOption> rows = [] {
        std::vector<SimOption> all;
        for (const auto& group : {std::span<const SimOption>(kGeneralRows), std::span<const SimOption>(kLp2Rows),
                                  std::span<const SimOption>(kCompactRows), std::span<const SimOption>(kWirelessRows),
                                  std::span<const SimOption>(kOtherRows)})
            all.insert(all.end(), group.begin(), group.end());
        return all;
    }();
    return rows;
}

const SimOption* findSimOption(const std::string& name)
{
    for (const SimOption& o : simOptionTable()) {
        if (o.name && name == o.name)
            return &o;
    }
    return nullptr;
}

} // namespace lp::sim

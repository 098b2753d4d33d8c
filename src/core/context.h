#pragma once
// The program-wide values, kept under their established names, and the ports the
// procedures talk through. Every run (and every test) builds its own context;
// nothing here is a global.
#include <cstdint>
#include <string>
#include <vector>

namespace lp {

class Host;
class Prompts;
class ProfileFiles;
class RegistryStore;
class Logger;
class SerialPorts;
class Rp1210Driver;
class FileVersionReader;
class TcpSockets;

// The screen operations that procedures call back into (screen switching and
// the like). The shell supplies the real one; tests record the calls.
class ScreenCalls {
public:
    virtual ~ScreenCalls() = default;
    virtual void SelectScreen(const std::string& screenKey) = 0;
    virtual void UnloadMainWindow() = 0;
    // Mouse pointer: 0 default, 11 hourglass.
    virtual void setMousePointer(int pointer) = 0;
    // The key of the screen shown now ("" when none is).
    virtual std::string activeScreenKey() const { return {}; }
    // Closes the Preferences dialog if it is open.
    virtual void closePreferences() {}
};

struct Ports {
    Host* host = nullptr;
    Prompts* prompts = nullptr;
    ProfileFiles* profiles = nullptr;
    RegistryStore* registry = nullptr;
    Logger* log = nullptr;
    SerialPorts* serialPorts = nullptr;
    ScreenCalls* screens = nullptr;
    Rp1210Driver* rp1210 = nullptr;
    FileVersionReader* fileVersions = nullptr;
    TcpSockets* tcpSockets = nullptr;
};

struct Context {
    Ports ports;

    // Shell (start-up and main window).
    std::string g_strRegistryKey;
    int16_t g_intToolkitMode = 1; // 1 standard, 2 compact, -1 wireless-only
    std::string g_strDeviceKind;  // "LPII SIP", "B&B SIP", "WLP" or empty
    bool g_blnLP2Selected = false;
    bool g_blnWLPSelected = false;
    bool g_blnCGPSelected = false;
    bool g_blnFatalDriverError = false;
    std::string g_strLP2DriverVersion;
    std::string commandLine; // the program's command line, as given

    // Registry module.
    int32_t g_lngRegResult = 0;

    // RP1210 driver interface.
    int16_t g_nClientID = 0;
    bool g_blnRP1210Connected = false;

    // Serial links. The port-name text is shared by the second-generation and
    // compact links.
    std::string g_strLP2Port;
    std::string g_strLP2ReplyHex;

    // Wireless adapter list: parallel arrays, entry i of each describes one
    // adapter, in the order of the driver's INI lists.
    std::vector<std::string> g_astrWLPNames;
    std::vector<std::string> g_astrWLPAddresses;
    std::vector<std::string> g_astrWLPSerials;
    // The network address (without port) of the adapter chosen on the
    // Summary or flash screen.
    std::string wirelessAddress;

    // Application Flash: the chosen firmware file. It outlives the screen, so
    // a return to the flash screen finds the file still chosen (and checks
    // it again against the adapter kind).
    bool gbln_FileSelected = false;
    std::string flashFileName;

    // Set only by the connecting dialog's Cancel (and cleared when that
    // dialog loads); the waiting loops of the screens read it.
    bool cancelConnection = false;

    // Set when the driver is missing: the main window unloads itself once its
    // start-up work is done.
    bool closeRequested = false;
};

} // namespace lp

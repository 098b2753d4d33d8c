#pragma once
// What the Preferences screen reads, offers, checks and writes: the
// interface device ("PrevAdapter" under the program's key), the second-
// generation adapter's serial port (the port part of "DeviceParams" in
// [DeviceInformation1] of LP2RP32.INI) and the compact adapter's port and
// rate ("DeviceParams" in [DeviceInformation3] of CLPRP32.INI). The wireless
// adapters are edited by the wireless picker, which keeps its own file.
//
// Only those values are ever written, and only on save(); every other key
// and line of the files stays as it is, and nothing is deleted.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "adapters/compact/modCGP.h"
#include "core/context.h"

namespace lp {

inline constexpr const char* kLP2IniFile = "LP2RP32.INI";
inline constexpr const char* kLP2IniSection = "DeviceInformation1";

// The device kinds an edition offers, in the order shown: standard
// "LPII SIP" and "WLP", compact "LPII SIP" and "B&B SIP", wireless-only
// "WLP". An unknown edition offers what the standard one does.
std::vector<std::string> PreferenceDeviceKinds(int16_t toolkitMode);

// The adapter's name for a device kind ("Linkport II", "Compact Linkport",
// "Wireless Linkport"); the kind itself for anything else.
std::string DeviceKindName(const std::string& deviceKind);

// The compact adapter's rate parts, in the order shown.
const std::vector<std::string>& CompactRates();
// The baud rate a rate part stands for (the one the compact flash uses), 0
// for a text that is none of CompactRates().
int32_t CompactRateBaud(const std::string& rate);

struct PortChoice {
    // "COM3"; "COMX" for the search; or a configured port as the file names
    // it ("LPT1", "com3") when it is not one of the present ports.
    std::string name;
    // Where the port map puts it (shown beside the name); may be empty.
    std::string devicePath;
    // False for a configured port that is not there now (shown marked).
    bool present = true;
    // What a USB converter says it is (SerialPortIdentityText); empty for
    // any other port.
    std::string identity = {};
};

// The text shown for a port: "COM3", the device path in parentheses when
// there is one worth showing, what a USB converter says it is, and
// " - not present" for a missing port.
// COMX reads "Search all ports".
std::string PortChoiceText(const PortChoice& choice);

// The text shown for a rate part: the part and, for the named ones, the baud
// rate it stands for ("N1  (38400 baud)"); " - not recognised" for a part
// the compact adapter does not know.
std::string RateChoiceText(const std::string& rate);

// The wireless adapter the driver uses now, as [DeviceInformation1] of
// LPIPRP32.INI names it: "name (address)", or "None" when it names none.
std::string SelectedWirelessAdapterText(Context& ctx);

// Where OK returns to: the active screen's tag, or "Summary" when no screen
// is open (Preferences shown at start-up).
std::string PreferencesReturnScreen(const std::string& activeTag);

class Preferences {
public:
    // Where the port map puts COMn; devicePathForPort unless a test says.
    std::function<std::string(int)> devicePath;
    // What the converter on COMn (at that device) says it is; the USB
    // identity of serial_port_identity.h unless a test says.
    std::function<std::string(int, const std::string&)> portIdentity;

    Preferences();

    // Reads the stored choices and lists the serial ports present
    // (IsSerialPortPresent over COM1 to COM256).
    void load(Context& ctx);
    // Lists the ports again (a cable plugged in while the dialog is open),
    // keeping the choices.
    void refreshPorts(Context& ctx);

    const std::vector<std::string>& deviceKinds() const { return kinds_; }
    // The second-generation adapter's ports: those present, then the
    // configured one when it is not among them.
    const std::vector<PortChoice>& lp2Ports() const { return lp2Ports_; }
    // The compact adapter's ports: "COMX", those present, then the
    // configured one when it is not among them.
    const std::vector<PortChoice>& compactPorts() const { return compactPorts_; }
    // CompactRates(), then the configured rate part when it is none of them.
    const std::vector<std::string>& compactRateChoices() const { return rates_; }

    // The choices, as the dialog shows them and the user changes them. After
    // load(): the running device kind when the edition offers it, else the
    // edition's first; the configured ports and rate, else the first port
    // present (COMX for the compact adapter) and "DEFAULT".
    std::string deviceKind;
    std::string lp2Port;
    std::string compactPort;
    std::string compactRate;

    // Empty when the choice can work; otherwise the message that says why
    // not and what to do (no port there, no wireless adapter listed, an
    // unknown rate, a device the edition does not offer).
    std::string problem(Context& ctx) const;
    // The same for the settings of one device kind, whichever is chosen.
    std::string problemFor(Context& ctx, const std::string& kind) const;

    // Writes the chosen device's port settings (only when they differ from
    // the file's) and "PrevAdapter", and makes the choice the running device
    // kind. The port settings go first: a program killed in between leaves
    // the device as it was, with the other adapter's new port stored. False
    // with a message when something could not be written; what was written
    // stays written.
    bool save(Context& ctx, std::string& message);
    // Writes the port settings of one device kind alone ("LPII SIP" or
    // "B&B SIP"); the chosen device stays as it is.
    bool savePorts(Context& ctx, const std::string& kind, std::string& message);

    // The "DeviceParams" value that save() writes for each adapter, when the
    // file holds what load() read. What the user changed goes over what the
    // file holds at the save (`current`), so that a port and a rate set at
    // once by two programs both stay.
    std::string lp2DeviceParams() const;
    std::string compactDeviceParams() const;
    std::string lp2DeviceParams(const std::string& current) const;
    std::string compactDeviceParams(const std::string& current) const;

private:
    void listPorts(Context& ctx);

    std::vector<std::string> kinds_;
    std::vector<int> present_;
    std::vector<PortChoice> lp2Ports_;
    std::vector<PortChoice> compactPorts_;
    std::vector<std::string> rates_;
    // The files' values as they stood when loaded.
    std::string lp2Params_;     // whole value, empty when missing
    std::string compactParams_; // whole value, "COMX,DEFAULT" when missing
};

} // namespace lp

#pragma once
// Simulated adapters for trying the program without hardware: the GUI's
// --demo, the simulator program linkport-sim and (later) the command line
// all start them through startDemo().
//
// A session runs the adapter models in this process, in real time, behind
// the same real devices the program uses for real adapters:
//  - the second-generation adapter behind a pseudo-terminal mapped as COMn,
//    with the test driver library libLP2RP32.so copied into the Windows
//    directory and told (LP2SIM.INI) to reach the adapter through that same
//    COMn. The model lives here, not in the library: the program's serial
//    queries and the driver's commands meet one adapter, so its versions and
//    its driver/plain mode are the same whichever way it is asked, and the
//    driver's hold on the line keeps the program's own open out as on a PC;
//  - the compact adapter behind a pseudo-terminal mapped as COMn;
//  - each wireless adapter behind a loopback listener ADDR:12321.
// It writes what the program reads to find them: LP2RP32.INI, CLPRP32.INI
// and LPIPRP32.INI in the Windows directory, comN links in the dosdevices
// folder, "PrevAdapter" in the registry file; and it sets windir,
// LINKPORT_REGISTRY_FILE and LINKPORT_DOSDEVICES for this process so that
// ports built afterwards read them. Folders not given are made in a fresh
// temporary folder.
//
// Destroying the session (or stop()) ends the models, closes the ptys and
// listeners, removes the links it made (putting back any it replaced),
// restores the environment and removes its temporary folder. Files written
// into folders the caller named stay, as settings written by a driver
// installation would.
//
// Nothing here throws; a session that cannot start cleans up after itself
// and reports why.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "models/compact_model.h"
#include "models/lp2_driver_core.h"
#include "models/lp2_model.h"
#include "models/wireless_model.h"

namespace lp::sim {

struct DemoLp2 {
    bool enabled = false;
    int port = 1;
    // Applied in order to a default Lp2Model before it starts.
    std::vector<std::function<void(Lp2Model&)>> setup;
    // What LP2SIM.INI tells the test driver library.
    Lp2DriverSettings driver;
    int replyTimeoutMs = 1000;
    // The option texts that made faults, shown in the description.
    std::vector<std::string> faults;
};

struct DemoCompact {
    bool enabled = false;
    int port = 7;
    // CLPRP32.INI [DeviceInformation3] DeviceParams. "COMX" has the program
    // search; LastComPortUsed names the adapter's port so the search looks
    // there first.
    std::string deviceParams = "COMX,DEFAULT";
    // baud 0: the rate that DeviceParams names (57600 when it names none).
    CompactModel::Config model{.baud = 0};
    // A USB-serial converter's turnaround in ms (0: none), as the pty
    // bridge plays it.
    int usbLatencyMs = 0;
    std::vector<std::function<void(CompactModel&)>> setup;
    std::vector<std::string> faults;
};

struct DemoWireless {
    std::string address;
    WirelessAdapterConfig model;
    std::vector<std::function<void(WirelessModel&)>> setup;
    std::vector<std::string> faults;
};

struct DemoOptions {
    DemoLp2 lp2;
    DemoCompact compact;
    std::vector<DemoWireless> wireless;

    // Empty: a folder (or file) in the session's temporary folder.
    std::string windowsDirectory;
    std::string registryFile;
    std::string dosdevicesFolder;
    // The test driver library to install; empty: the one shipped with the
    // running program (findDriverLibraryBesideProgram).
    std::string driverLibrary;
    // "lp2", "compact", "wireless": written as "PrevAdapter"; empty: nothing.
    std::string select;
    // Set windir, LINKPORT_REGISTRY_FILE and LINKPORT_DOSDEVICES in this
    // process while the session lives.
    bool setEnvironment = true;
    // How long a wireless address may be held by another simulator (or test)
    // before the session gives up.
    int addressWaitMs = 10000;
    // Instead of waiting, serve a wireless adapter whose address is taken
    // (by another demo, another user's included) on the next free loopback
    // address: each person's demo gets addresses of its own.
    bool takeFreeAddresses = false;
    // Puts demo firmware files into the folder that "FlashDir" names. None
    // yet; the folder is made and named either way.
    std::function<bool(const std::string& folder, std::string& error)> writeFirmwareFiles;
};

// The wireless adapters a demo gets when none are named.
inline const std::vector<std::string> kDemoWirelessAddresses{"127.0.0.2", "127.0.0.3"};

// A wireless adapter with the demo's defaults for the n-th address (name
// "Demo Unit A", "Demo Unit B", ..., serial WLPDEMO001, ...).
DemoWireless demoWirelessAdapter(const std::string& address, size_t index);

// The device kind text that "PrevAdapter" holds for a selection name, empty
// for an unknown name.
std::string demoDeviceKind(const std::string& select);

class DemoSession {
public:
    ~DemoSession();
    DemoSession(const DemoSession&) = delete;
    DemoSession& operator=(const DemoSession&) = delete;

    // Ends everything (see above). Idempotent.
    void stop();

    const std::string& windowsDirectory() const { return windir_; }
    const std::string& registryFile() const { return registry_; }
    const std::string& dosdevicesFolder() const { return dosdevices_; }
    // Where "FlashDir" points; empty when the registry is not the session's.
    const std::string& firmwareFolder() const { return firmware_; }
    // The session's temporary folder, removed by stop().
    const std::string& temporaryFolder() const { return root_; }

    // What was set up, one adapter per line, for people.
    const std::string& description() const { return description_; }
    // "export NAME='value'" lines for a POSIX shell.
    std::string environmentScript() const;

private:
    friend std::unique_ptr<DemoSession> startDemo(const DemoOptions& options, std::string& error);
    struct Parts;
    struct Start;
    DemoSession();
    std::unique_ptr<Parts> parts_;
    std::string windir_, registry_, dosdevices_, firmware_, root_;
    std::string description_;
};

// Starts the adapters and writes their configuration. Null, with `error`
// saying why, when anything fails; nothing is then left behind.
std::unique_ptr<DemoSession> startDemo(const DemoOptions& options, std::string& error);

// Removes the temporary folders (linkport-sim-*) in `tempFolder` that this
// user's sessions left behind when their process died without stopping. A
// live session holds a lock in its folder, so its folder stays; so do links
// and folders without a lock. startDemo() runs it first. Returns how many
// folders went.
int removeStaleDemoFolders(const std::string& tempFolder);

// The test driver library shipped with the running program, in the build
// tree or the installed tree (platform/shipped_files.h); empty when it is
// in neither.
std::string findDriverLibraryBesideProgram();

// The LP2SIM.INI text that gives the test driver library these settings and
// has it reach its adapter on `port` ("COM1" or a device path).
std::string lp2SimIni(const Lp2DriverSettings& settings, const std::string& port, int baud, int replyTimeoutMs);

// A text quoted for a POSIX shell: 'it'\''s'.
std::string shellQuote(const std::string& text);

} // namespace lp::sim

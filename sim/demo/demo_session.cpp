#include "demo/demo_session.h"

#include <array>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <system_error>

#include "core/context.h"
#include "adapters/compact/modCGP.h"
#include "adapters/wireless/modWLP.h"
#include "platform/atomic_file.h"
#include "platform/ini_profile_files.h"
#include "platform/reg_file_store.h"
#include "platform/shipped_files.h"
#include "realtime/pty_bridge.h"
#include "realtime/tcp_model_server.h"
#include "settings/modRegistry.h"
#include "core/string_table.h"

namespace lp::sim {

namespace fs = std::filesystem;

namespace {

// The image the demo's test driver flashes, whatever file it is given: the
// version of the demo APF (resources/demo-firmware). The compact and wireless
// adapters run what they were sent, whose stamp says its version.
constexpr std::array<uint8_t, 2> kDemoLp2VersionAfterFlash{1, 9};

constexpr const char* kDriverLibraryName = "libLP2RP32.so";
constexpr const char* kLp2SimIni = "LP2SIM.INI";
constexpr const char* kLp2DriverIni = "LP2RP32.INI";
constexpr size_t kMaxDriverLibraryBytes = size_t{64} << 20;

// A session's temporary folder is <temp>/linkport-sim-XXXXXX. The session
// holds an exclusive flock on the lock file in it for as long as it runs, so
// a folder whose lock can be taken was left by a process that died without
// stopping (SIGKILL leaves no chance to clean up).
constexpr const char* kFolderPrefix = "linkport-sim-";
constexpr const char* kOwnerLock = ".owner.lock";

// Takes the owner lock of a fresh session folder; -1 when it cannot. The
// file is locked under another name and then renamed, so a sweep never sees
// the lock file before it is held.
int takeOwnerLock(const fs::path& root)
{
    const fs::path making = root / ".owner.lock.making";
    const int fd = ::open(making.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::rename(making.c_str(), (root / kOwnerLock).c_str()) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

std::string versionText(uint8_t major, uint8_t minor)
{
    return std::to_string(major) + "." + std::to_string(minor);
}

std::string hexVersionText(const std::array<uint8_t, 3>& v)
{
    char text[16];
    std::snprintf(text, sizeof text, "%02X.%02X.%02X", v[0], v[1], v[2]);
    return text;
}

std::string comName(int port) { return "COM" + std::to_string(port); }

std::string faultsText(const std::vector<std::string>& faults)
{
    std::string text;
    for (const auto& f : faults)
        text += (text.empty() ? "; faults: " : " ") + f;
    return text;
}

// Writes every key of an INI text into the file one by one, so that other
// keys a user keeps there survive.
bool mergeIni(IniProfileFiles& files, const std::string& fileName, const std::string& text, std::string& error)
{
    std::istringstream lines(text);
    std::string line, section;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
            section = line.substr(1, line.size() - 2);
            continue;
        }
        size_t equals = line.find('=');
        if (equals == std::string::npos || section.empty())
            continue;
        if (!files.writePrivateProfileString(section, line.substr(0, equals), line.substr(equals + 1), fileName)) {
            error = "cannot write " + fileName + " in " + files.windowsDirectory() + ": " + files.lastError();
            return false;
        }
    }
    return true;
}

bool writeIniValue(IniProfileFiles& files, const std::string& fileName, const std::string& section,
                   const std::string& key, const std::string& value, std::string& error)
{
    if (files.writePrivateProfileString(section, key, value, fileName))
        return true;
    error = "cannot write " + fileName + " in " + files.windowsDirectory() + ": " + files.lastError();
    return false;
}

bool makeFolder(const std::string& path, std::string& error)
{
    std::error_code ec;
    fs::create_directories(path, ec);
    if (fs::is_directory(path, ec))
        return true;
    error = "cannot make the folder " + path + (ec ? ": " + ec.message() : "");
    return false;
}

} // namespace

// The running parts, stopped in the reverse order of their start.
struct DemoSession::Parts {
    struct MadeLink {
        std::string path;
        std::string target;
        std::optional<fs::path> previous; // a link we replaced
    };
    struct SavedVariable {
        std::string name;
        std::optional<std::string> value;
    };

    std::unique_ptr<Lp2Model> lp2;
    std::unique_ptr<PtyBridge> lp2Bridge;
    std::unique_ptr<CompactModel> compact;
    std::unique_ptr<PtyBridge> compactBridge;
    std::vector<std::unique_ptr<WirelessModel>> wireless;
    std::vector<std::unique_ptr<TcpModelServer>> servers;
    std::vector<MadeLink> links;
    std::vector<SavedVariable> environment;
    bool ownRoot = false;
    int ownerLock = -1; // held while the session runs; see kOwnerLock

    bool linkPort(const std::string& folder, int port, const std::string& target, std::string& error)
    {
        MadeLink made{(fs::path(folder) / ("com" + std::to_string(port))).string(), target, std::nullopt};
        std::error_code ec;
        auto status = fs::symlink_status(made.path, ec);
        if (fs::is_symlink(status)) {
            made.previous = fs::read_symlink(made.path, ec);
        } else if (fs::exists(status)) {
            error = made.path + " exists and is not a link; choose another port or dosdevices folder";
            return false;
        }
        if (!linkComPort(folder, port, target, &error)) {
            if (made.previous)
                fs::create_symlink(*made.previous, made.path, ec);
            return false;
        }
        links.push_back(std::move(made));
        return true;
    }

    void setVariable(const char* name, const std::string& value)
    {
        const char* old = std::getenv(name);
        environment.push_back({name, old ? std::optional<std::string>(old) : std::nullopt});
        ::setenv(name, value.c_str(), 1);
    }

    void stop(const std::string& root)
    {
        for (auto& server : servers)
            server->stop();
        if (compactBridge)
            compactBridge->stop();
        if (lp2Bridge)
            lp2Bridge->stop();
        servers.clear();
        compactBridge.reset();
        lp2Bridge.reset();
        std::error_code ec;
        for (auto it = links.rbegin(); it != links.rend(); ++it) {
            // Someone may have pointed the port elsewhere meanwhile: leave theirs.
            if (fs::read_symlink(it->path, ec) != fs::path(it->target))
                continue;
            fs::remove(it->path, ec);
            if (it->previous)
                fs::create_symlink(*it->previous, it->path, ec);
        }
        links.clear();
        for (auto it = environment.rbegin(); it != environment.rend(); ++it) {
            if (it->value)
                ::setenv(it->name.c_str(), it->value->c_str(), 1);
            else
                ::unsetenv(it->name.c_str());
        }
        environment.clear();
        if (ownRoot && !root.empty())
            fs::remove_all(root, ec);
        ownRoot = false;
        // Only now: a sweep that took the lock earlier would remove the
        // folder under a session still stopping.
        if (ownerLock >= 0)
            ::close(ownerLock);
        ownerLock = -1;
    }
};

DemoSession::DemoSession() : parts_(std::make_unique<Parts>()) {}

DemoSession::~DemoSession() { stop(); }

void DemoSession::stop()
{
    if (parts_)
        parts_->stop(root_);
}

int removeStaleDemoFolders(const std::string& tempFolder)
{
    int removed = 0;
    std::error_code ec;
    for (fs::directory_iterator it(tempFolder, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path folder = it->path();
        if (folder.filename().string().rfind(kFolderPrefix, 0) != 0)
            continue;
        // A real folder of this user only: never a link out of the temporary
        // folder, never someone else's.
        struct stat st {};
        if (::lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != ::getuid())
            continue;
        // No lock file: a session from before the lock, or one that died
        // while making its folder. Left alone rather than guessed at.
        const int fd = ::open((folder / kOwnerLock).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0)
            continue;
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            // remove_all removes links inside without following them.
            std::error_code removeError;
            fs::remove_all(folder, removeError);
            if (!removeError)
                ++removed;
        }
        ::close(fd);
    }
    return removed;
}

std::string DemoSession::environmentScript() const
{
    return "export windir=" + shellQuote(windir_) + "\n" + "export LINKPORT_REGISTRY_FILE=" + shellQuote(registry_)
           + "\n" + "export LINKPORT_DOSDEVICES=" + shellQuote(dosdevices_) + "\n";
}

std::string shellQuote(const std::string& text)
{
    std::string out = "'";
    for (char c : text) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

// The loopback address after `address` that no adapter of the session has
// yet; empty past 127.0.0.254.
static std::string nextFreeLoopback(const std::string& address, const std::vector<std::string>& used)
{
    int last = std::atoi(address.c_str() + address.rfind('.') + 1);
    while (++last <= 254) {
        const std::string next = "127.0.0." + std::to_string(last);
        if (std::find(used.begin(), used.end(), next) == used.end())
            return next;
    }
    return {};
}

DemoWireless demoWirelessAdapter(const std::string& address, size_t index)
{
    DemoWireless w;
    w.address = address;
    w.model.address = address;
    w.model.name = "Demo Unit " + std::string(1, static_cast<char>('A' + index % 26));
    char serial[16];
    std::snprintf(serial, sizeof serial, "WLPDEMO%03zu", (index + 1) % 1000);
    w.model.serial = serial;
    return w;
}

std::string demoDeviceKind(const std::string& select)
{
    if (select == "lp2")
        return "LPII SIP";
    if (select == "compact")
        return "B&B SIP";
    if (select == "wireless")
        return "WLP";
    return {};
}

std::string findDriverLibraryBesideProgram()
{
    return findShippedFile(ShippedFile::DriverLibrary);
}

std::string lp2SimIni(const Lp2DriverSettings& s, const std::string& port, int baud, int replyTimeoutMs)
{
    const Lp2DriverSettings defaults;
    const char* crlf = "\r\n";
    std::string ini = std::string("[Driver]") + crlf;
    ini += "DLLMajorVersion=" + s.dllMajor + crlf;
    ini += "DLLMinorVersion=" + s.dllMinor + crlf;
    ini += "APIMajorVersion=" + s.apiMajor + crlf;
    ini += "APIMinorVersion=" + s.apiMinor + crlf;
    ini += "DeviceID=" + std::to_string(s.deviceId) + crlf;
    std::string protocols;
    for (const auto& p : s.protocols)
        protocols += (protocols.empty() ? "" : ",") + p;
    ini += "Protocols=" + protocols + crlf;
    ini += "FirstClientID=" + std::to_string(s.firstClientId) + crlf;
    // The default status holds a control character; the library has it when
    // the key is missing.
    if (s.hardwareStatus != defaults.hardwareStatus)
        ini += "HardwareStatus=" + s.hardwareStatus + crlf;
    ini += "FlashRefusedCode=" + std::to_string(s.flashRefusedCode) + crlf;
    ini += std::string("[ConnectErrors]") + crlf;
    for (const auto& [protocol, code] : s.connectErrors)
        ini += protocol + "=" + std::to_string(code) + crlf;
    ini += std::string("[ErrorTexts]") + crlf;
    for (const auto& [code, text] : s.errorTexts)
        ini += std::to_string(code) + "=" + text + crlf;
    ini += std::string("[Adapter]") + crlf;
    ini += "Port=" + port + crlf;
    ini += "Baud=" + std::to_string(baud) + crlf;
    ini += "ReplyTimeout=" + std::to_string(replyTimeoutMs) + crlf;
    return ini;
}

namespace {

// What startDemo() refuses before it makes anything.
bool checkDemoOptions(const DemoOptions& options, std::string& error)
{
    if (options.lp2.enabled && (options.lp2.port < 1 || options.lp2.port > 256))
        error = "the second-generation adapter's port must be COM1 to COM256";
    else if (options.compact.enabled && (options.compact.port < 1 || options.compact.port > 256))
        error = "the compact adapter's port must be COM1 to COM256";
    else if (options.lp2.enabled && options.compact.enabled && options.lp2.port == options.compact.port)
        error = "the two serial adapters cannot share " + comName(options.lp2.port);
    for (size_t i = 0; error.empty() && i < options.wireless.size(); ++i) {
        const std::string& address = options.wireless[i].address;
        if (!TcpModelServer::isServableAddress(address))
            error = "refused: " + address + " is not a loopback address from 127.0.0.1 to 127.0.0.254";
        for (size_t j = 0; error.empty() && j < i; ++j) {
            if (options.wireless[j].address == address)
                error = "two wireless adapters cannot share " + address;
        }
    }
    if (error.empty() && !options.select.empty() && demoDeviceKind(options.select).empty())
        error = "unknown adapter \"" + options.select + "\" to select (lp2, compact or wireless)";
    return error.empty();
}

std::string absolutePath(const std::string& path)
{
    std::error_code e;
    fs::path p = fs::absolute(path, e);
    return (e ? fs::path(path) : p).lexically_normal().string();
}

} // namespace

// The steps of startDemo(). Each adds to the session what it started and to
// the description what it set up; after a step fails, destroying the session
// undoes the steps before it.
struct DemoSession::Start {
    const DemoOptions& options;
    DemoSession& session;
    std::string& error;
    Parts& parts;
    std::ostringstream out;

    bool makeFolders();
    void setEnvironment();
    bool startLp2(IniProfileFiles& files);
    bool findDriverLibrary(std::string& library);
    bool installDriverLibrary(const std::string& library, const std::string& port, int baud, std::string& installed);
    bool startCompact(IniProfileFiles& files);
    bool startWireless(IniProfileFiles& files);
    bool serveWireless(const DemoWireless& o, std::vector<std::string>& used);
    bool writeRegistry();
};

// The session's temporary folder, locked, and the three places the program
// reads.
bool DemoSession::Start::makeFolders()
{
    std::error_code ec;
    fs::path tmp = fs::temp_directory_path(ec);
    if (ec)
        tmp = "/tmp";
    removeStaleDemoFolders(tmp.string());
    std::string pattern = (tmp / (std::string(kFolderPrefix) + "XXXXXX")).string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (::mkdtemp(name.data()) == nullptr) {
        error = "cannot make a temporary folder in " + tmp.string();
        return false;
    }
    session.root_ = name.data();
    parts.ownRoot = true;
    parts.ownerLock = takeOwnerLock(session.root_);
    if (parts.ownerLock < 0) {
        error = "cannot lock the temporary folder " + session.root_;
        return false;
    }
    const fs::path root = session.root_;
    session.windir_ =
        options.windowsDirectory.empty() ? (root / "windows").string() : absolutePath(options.windowsDirectory);
    session.registry_ =
        options.registryFile.empty() ? (root / "registry.reg").string() : absolutePath(options.registryFile);
    session.dosdevices_ =
        options.dosdevicesFolder.empty() ? (root / "dosdevices").string() : absolutePath(options.dosdevicesFolder);
    if (!makeFolder(session.windir_, error) || !makeFolder(session.dosdevices_, error)
        || !makeFolder(fs::path(session.registry_).parent_path().string(), error))
        return false;
    out << "  windir=" << session.windir_ << "\n";
    out << "  LINKPORT_REGISTRY_FILE=" << session.registry_ << "\n";
    out << "  LINKPORT_DOSDEVICES=" << session.dosdevices_ << "\n";
    return true;
}

// Before any thread of ours starts: setenv and a getenv on another thread
// must not meet.
void DemoSession::Start::setEnvironment()
{
    if (!options.setEnvironment)
        return;
    parts.setVariable("windir", session.windir_);
    parts.setVariable("LINKPORT_REGISTRY_FILE", session.registry_);
    parts.setVariable("LINKPORT_DOSDEVICES", session.dosdevices_);
}

bool DemoSession::Start::startLp2(IniProfileFiles& files)
{
    const DemoLp2& o = options.lp2;
    std::string library;
    if (!findDriverLibrary(library))
        return false;
    parts.lp2 = std::make_unique<Lp2Model>();
    parts.lp2->config().applicationAfterFlash = kDemoLp2VersionAfterFlash;
    for (const auto& f : o.setup)
        f(*parts.lp2);
    const Lp2ModelConfig& c = parts.lp2->config();
    const std::string port = comName(o.port);
    std::string installed;
    if (!mergeIni(files, kLp2DriverIni,
                  lp2DriverIni({.deviceParams = port + "," + std::to_string(c.baud),
                                .deviceId = std::to_string(o.driver.deviceId)}),
                  error)
        || !installDriverLibrary(library, port, c.baud, installed))
        return false;
    parts.lp2Bridge = std::make_unique<PtyBridge>(*parts.lp2);
    if (!parts.lp2Bridge->start(&error)
        || !parts.linkPort(session.dosdevices_, o.port, parts.lp2Bridge->slavePath(), error))
        return false;
    out << "  lp2: " << port << " -> " << parts.lp2Bridge->slavePath() << " at " << c.baud << " baud"
        << (parts.lp2->driverMode() ? "" : ", in plain mode") << "; hardware "
        << versionText(c.versions.hardwareMajor, c.versions.hardwareMinor) << ", application "
        << versionText(c.versions.applicationMajor, c.versions.applicationMinor) << ", boot "
        << versionText(c.versions.bootMajor, c.versions.bootMinor) << "; driver " << o.driver.dllMajor << "."
        << o.driver.dllMinor << " (" << installed << ")" << faultsText(o.faults) << "\n";
    return true;
}

// The test driver library named, else the one shipped with the program.
bool DemoSession::Start::findDriverLibrary(std::string& library)
{
    std::error_code ec;
    library = options.driverLibrary.empty() ? findDriverLibraryBesideProgram() : options.driverLibrary;
    if (!library.empty() && fs::is_regular_file(library, ec))
        return true;
    const std::string where = library.empty()
                                  ? " beside this program (" + shippedFilePlaces(ShippedFile::DriverLibrary) + ")"
                                  : " at " + library;
    error = "the test driver library " + std::string(kDriverLibraryName) + " was not found" + where
            + "; build the target lp2rp32 or name it with --driver-library";
    return false;
}

// Copies the test driver library into the Windows directory with the
// LP2SIM.INI that leads it to the adapter on `port`.
bool DemoSession::Start::installDriverLibrary(const std::string& library, const std::string& port, int baud,
                                              std::string& installed)
{
    // Replaced, not overwritten: a program that has the old copy loaded
    // keeps its mapping. A Windows build of the library (for Windows
    // programs under Wine, whose Windows folder this is) goes in under its
    // Windows name.
    std::string bytes;
    std::string ext = fs::path(library).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    installed = (fs::path(session.windir_) / (ext == ".dll" ? "LP2RP32.dll" : kDriverLibraryName)).string();
    if (!readWholeFile(library, bytes, kMaxDriverLibraryBytes, &error)
        || !replaceFileAtomically(installed, bytes, &error)
        || !replaceFileAtomically((fs::path(session.windir_) / kLp2SimIni).string(),
                                  lp2SimIni(options.lp2.driver, port, baud, options.lp2.replyTimeoutMs), &error)) {
        error = "cannot install the test driver library: " + error;
        return false;
    }
    ::chmod(installed.c_str(), 0755);
    return true;
}

bool DemoSession::Start::startCompact(IniProfileFiles& files)
{
    const DemoCompact& o = options.compact;
    const std::string port = comName(o.port);
    if (!writeIniValue(files, kCGPIniFile, kCGPIniSection, "DeviceParams", o.deviceParams, error)
        || !writeIniValue(files, kCGPIniFile, kCGPIniSection, "LastComPortUsed", port, error))
        return false;
    CompactModel::Config config = o.model;
    if (config.baud == 0) {
        // The rate the program will flash at is the rate the adapter
        // sleeps at.
        Context ctx;
        ctx.ports.profiles = &files;
        config.baud = CGPFlashBaudRate(ctx);
        if (config.baud == 0)
            config.baud = 57600;
    }
    parts.compact = std::make_unique<CompactModel>(config);
    for (const auto& f : o.setup)
        f(*parts.compact);
    parts.compactBridge = std::make_unique<PtyBridge>(*parts.compact);
    // The application sleeps again when the program closes the port, as
    // on a real line; the flash's switch to the loader relies on it.
    parts.compactBridge->setFollowProgramOpens(true);
    parts.compactBridge->setConverterTurnaround(o.usbLatencyMs);
    if (!parts.compactBridge->start(&error)
        || !parts.linkPort(session.dosdevices_, o.port, parts.compactBridge->slavePath(), error))
        return false;
    const CompactModel::Config& c = parts.compact->config();
    out << "  compact: " << port << " -> " << parts.compactBridge->slavePath()
        << (c.mode == CompactModel::Mode::Loader ? " in its loader" : " asleep") << " at "
        << parts.compact->listeningBaud() << " baud; hardware " << versionText(c.hardwareMajor, c.hardwareMinor)
        << ", firmware " << hexVersionText(c.firmware) << ", boot " << versionText(c.bootMajor, c.bootMinor)
        << ", serial " << c.serialNumber << " (DeviceParams=" << o.deviceParams << ")"
        << (o.usbLatencyMs > 0 ? "; USB turnaround " + std::to_string(o.usbLatencyMs) + " ms" : std::string())
        << faultsText(o.faults) << "\n";
    return true;
}

// One wireless adapter behind its listener: at its address, or with
// takeFreeAddresses at the next free one when that is taken.
bool DemoSession::Start::serveWireless(const DemoWireless& o, std::vector<std::string>& used)
{
    auto model = std::make_unique<WirelessModel>(o.model);
    std::string address = o.address;
    model->config().address = address;
    for (const auto& f : o.setup)
        f(*model);
    std::unique_ptr<TcpModelServer> server;
    for (;;) {
        model->config().address = address;
        server = std::make_unique<TcpModelServer>(*model, address, kWLPTcpPort);
        if (server->start(&error, options.takeFreeAddresses ? 0 : options.addressWaitMs))
            break;
        server.reset();
        address = options.takeFreeAddresses ? nextFreeLoopback(address, used) : std::string();
        if (address.empty())
            return false;
        used.push_back(address);
    }
    const WirelessAdapterConfig& c = model->config();
    out << "  wireless: " << c.name << " at " << address << ":" << kWLPTcpPort << ", serial " << c.serial
        << "; hardware " << versionText(c.decimalMajor, c.decimalMinor) << ", firmware "
        << hexVersionText(c.hexVersion) << ", identity " << c.identityText << faultsText(o.faults) << "\n";
    parts.wireless.push_back(std::move(model));
    parts.servers.push_back(std::move(server));
    return true;
}

bool DemoSession::Start::startWireless(IniProfileFiles& files)
{
    std::vector<std::string> used;
    for (const DemoWireless& o : options.wireless)
        used.push_back(o.address);
    std::string names, params, serials;
    for (const DemoWireless& o : options.wireless) {
        if (!serveWireless(o, used))
            return false;
        const WirelessAdapterConfig& c = parts.wireless.back()->config();
        names += c.name + ";";
        params += c.address + ":" + std::to_string(kWLPTcpPort) + ";";
        serials += c.serial + ";";
    }
    const WirelessAdapterConfig& first = parts.wireless.front()->config();
    return writeIniValue(files, kWLPIniFile, "AdditionalDevices", "DeviceNames", names, error)
           && writeIniValue(files, kWLPIniFile, "AdditionalDevices", "DeviceParams", params, error)
           && writeIniValue(files, kWLPIniFile, "AdditionalDevices", "SerialNumbers", serials, error)
           && writeIniValue(files, kWLPIniFile, "DeviceInformation1", "DeviceParams",
                            first.address + ":" + std::to_string(kWLPTcpPort), error)
           && writeIniValue(files, kWLPIniFile, "DeviceInformation1", "SerialNumber", first.serial, error)
           && writeIniValue(files, kWLPIniFile, "DeviceInformation1", "DeviceName", first.name, error);
}

// The selected kind, and where the firmware files are. Last, so that a
// user's registry file changes only when everything started.
bool DemoSession::Start::writeRegistry()
{
    RegFileStore registry(session.registry_);
    Context ctx;
    ctx.ports.registry = &registry;
    if (!options.select.empty()) {
        RegWriteValue(ctx, HKEY_LOCAL_MACHINE, LoadResString(801), "PrevAdapter", demoDeviceKind(options.select));
        if (ctx.g_lngRegResult != ERROR_SUCCESS) {
            error = "cannot write PrevAdapter into " + session.registry_;
            return false;
        }
        out << "  PrevAdapter=" << demoDeviceKind(options.select) << "\n";
    }
    // Only into a registry of our own: a user's FlashDir is theirs.
    if (options.registryFile.empty()) {
        session.firmware_ = (fs::path(session.root_) / "firmware").string();
        if (!makeFolder(session.firmware_, error))
            return false;
        RegWriteValue(ctx, HKEY_LOCAL_MACHINE, LoadResString(800), "FlashDir", session.firmware_);
        if (options.writeFirmwareFiles && !options.writeFirmwareFiles(session.firmware_, error))
            return false;
        out << "  FlashDir=" << session.firmware_ << "\n";
    }
    return true;
}

std::unique_ptr<DemoSession> startDemo(const DemoOptions& options, std::string& error)
{
    error.clear();
    if (!checkDemoOptions(options, error))
        return nullptr;
    std::unique_ptr<DemoSession> session(new DemoSession());
    DemoSession::Start start{options, *session, error, *session->parts_, {}};
    if (!start.makeFolders())
        return nullptr;
    start.setEnvironment();
    IniProfileFiles files(session->windir_);
    if ((options.lp2.enabled && !start.startLp2(files)) || (options.compact.enabled && !start.startCompact(files))
        || (!options.wireless.empty() && !start.startWireless(files)) || !start.writeRegistry())
        return nullptr;
    session->description_ = start.out.str();
    return session;
}

} // namespace lp::sim

// One set of expectations for the platform ports, compiled into the Linux
// unit tests (our emulations: .reg file, INI reader/writer, dlopen of
// libLP2RP32.so, PE reader, port map) and into the Windows test program
// (the system's own calls, run under Wine by scripts/windows-test). Native
// Windows is the reference: where Wine answers otherwise, the test says so
// and accepts Wine's answer only under Wine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ports/file_version_reader.h"
#include "platform/pe_version_reader.h"
#include "ports/profile_files.h"
#include "ports/registry_store.h"
#include "platform/rp1210_library.h"
#include "platform/rs232_presence.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#ifdef _WIN32
#include <process.h>

#include "platform/win32/win32_profile_files.h"
#include "platform/win32/win32_registry_store.h"
#include "platform_contract_win32.h"
#else
#include <fcntl.h>
#include <pty.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "platform/ini_profile_files.h"
#include "platform/reg_file_store.h"
#endif

using namespace lp;
using namespace lp::test;
using namespace std::string_literals;

namespace {

const std::string kTestRoot = "SOFTWARE\\LinkportToolkitTests";

// The platform's registry with a key of its own for one test. On Windows
// that is the real HKEY_LOCAL_MACHINE (which the program uses too), so on a
// Windows machine the test program needs an administrator's rights.
class PlatformRegistry {
public:
    PlatformRegistry()
#ifdef _WIN32
        : child_(std::to_string(_getpid())), store_(std::make_unique<Win32RegistryStore>())
    {
        deleteRegistryTree(kTestRoot, child_);
    }
    ~PlatformRegistry()
    {
        store_.reset();
        deleteRegistryTree(kTestRoot, child_);
    }
#else
        : child_("1"), store_(std::make_unique<RegFileStore>(dir_.file("registry.reg")))
    {
    }
#endif
    RegistryStore& store() { return *store_; }
    std::string key(const std::string& below = "") const
    {
        return kTestRoot + "\\" + child_ + (below.empty() ? "" : "\\" + below);
    }

private:
    TempDir dir_;
    std::string child_;
    std::unique_ptr<RegistryStore> store_;
};

int32_t setBytes(RegistryStore& store, HKEY key, const std::string& name, uint32_t type, const std::string& bytes)
{
    return store.regSetValueEx(key, name, type, reinterpret_cast<const uint8_t*>(bytes.data()),
                               static_cast<uint32_t>(bytes.size()));
}

std::string queryBytes(RegistryStore& store, HKEY key, const std::string& name, uint32_t& type)
{
    uint32_t size = 0;
    if (store.regQueryValueEx(key, name, &type, nullptr, &size) != ERROR_SUCCESS)
        return "<missing>";
    std::string bytes(size, '?');
    if (store.regQueryValueEx(key, name, nullptr, reinterpret_cast<uint8_t*>(bytes.data()), &size) != ERROR_SUCCESS)
        return "<unreadable>";
    return bytes.substr(0, size);
}

// The platform's INI files; where the build put the test driver libraries
// (beside the test program on Windows, where LoadLibraryA finds them first);
// whether Wine answers, whose answers are accepted only where Wine is known
// to differ from Windows, and only under Wine.
#ifdef _WIN32
std::unique_ptr<ProfileFiles> platformProfileFiles(const TempDir&)
{
    return std::make_unique<Win32ProfileFiles>();
}
std::string testDriverFolder() { return programFolder(); }
bool underWine() { return runningUnderWine(); }
#else
std::unique_ptr<ProfileFiles> platformProfileFiles(const TempDir& dir)
{
    return std::make_unique<IniProfileFiles>(dir.path());
}
std::string testDriverFolder() { return LP_TEST_DRIVER_DIR; }
bool underWine() { return false; }
#endif

// The text before the first NUL of a driver's fixed-length buffer.
std::string untilNul(const std::string& s) { return s.substr(0, s.find('\0')); }

class PlatformContract : public ::testing::Test {
protected:
    TempDir dir;
    std::unique_ptr<ProfileFiles> files = platformProfileFiles(dir);
    const std::string file = dir.file("test.ini");
    // The text and count that reading `file` gives.
    std::pair<std::string, uint32_t> get(const std::string& section, const std::string& key,
                                         uint32_t size = 256, const std::string& def = "Not Found")
    {
        std::string out = "junk";
        uint32_t n = files->getPrivateProfileString(section, key, def, out, size, file);
        return {out, n};
    }
    std::string value(const std::string& section, const std::string& key) { return get(section, key).first; }
};

} // namespace

TEST_F(PlatformContract, RegistryResultsAndHandles)
{
    PlatformRegistry registry;
    RegistryStore& store = registry.store();
    HKEY a = 7, b = 0, c = 0;
    EXPECT_EQ(store.regOpenKey(HKEY_LOCAL_MACHINE, registry.key("Missing"), a), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(a, 0u);

    // Handles are small numbers from 1, a freed one is handed out again.
    ASSERT_EQ(store.regCreateKey(HKEY_LOCAL_MACHINE, registry.key("A\\B"), a), ERROR_SUCCESS);
    ASSERT_EQ(store.regOpenKey(HKEY_LOCAL_MACHINE, registry.key("A"), b), ERROR_SUCCESS);
    ASSERT_EQ(store.regCreateKey(b, "B\\C", c), ERROR_SUCCESS); // relative to an open key
    EXPECT_EQ((std::vector<HKEY>{a, b, c}), (std::vector<HKEY>{1, 2, 3}));
    EXPECT_EQ(store.regCloseKey(b), ERROR_SUCCESS);
    EXPECT_EQ(store.regCloseKey(b), ERROR_INVALID_HANDLE);
    EXPECT_EQ(store.regCloseKey(0), ERROR_INVALID_HANDLE);
    ASSERT_EQ(store.regOpenKey(HKEY_LOCAL_MACHINE, registry.key("a\\b\\c"), b), ERROR_SUCCESS); // any case
    EXPECT_EQ(b, 2u);

    // Sizes, a buffer too small, values and handles that are not there.
    ASSERT_EQ(setBytes(store, c, "V", REG_SZ, "hello\0"s), ERROR_SUCCESS);
    uint32_t type = 0, size = 3;
    uint8_t small[3];
    EXPECT_EQ(store.regQueryValueEx(b, "v", &type, small, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 6u);
    EXPECT_EQ(store.regQueryValueEx(b, "v", nullptr, small, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(store.regQueryValueEx(b, "W", &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(store.regQueryValueEx(99, "V", &type, nullptr, &size), ERROR_INVALID_HANDLE);
    EXPECT_EQ(store.regSetValueEx(99, "V", REG_SZ, small, 1), ERROR_INVALID_HANDLE);
    EXPECT_EQ(store.regSetValueEx(c, "V", REG_SZ, nullptr, 4), ERROR_INVALID_PARAMETER);

    // Every type the program stores or meets comes back as written.
    std::string big;
    for (int i = 0; i < 300; ++i)
        big.push_back(static_cast<char>(i));
    const struct {
        const char* name;
        uint32_t type;
        std::string bytes;
    } cases[] = {
        {"Text", REG_SZ, "a \\ \"q\" b\0"s},    {"Empty", REG_SZ, "\0"s},
        {"Dword", REG_DWORD, "\x00\xe1\x00\x00"s}, {"Qword", REG_QWORD, "\1\0\0\0\0\0\0\x80"s},
        {"Expand", REG_EXPAND_SZ, "%P%\0"s},     {"", REG_SZ, "default\0"s},
        {"Big", REG_BINARY, big},
    };
    for (const auto& v : cases)
        EXPECT_EQ(setBytes(store, a, v.name, v.type, v.bytes), ERROR_SUCCESS) << v.name;
    for (const auto& v : cases) {
        EXPECT_EQ(queryBytes(store, a, v.name, type), v.bytes) << v.name;
        EXPECT_EQ(type, v.type) << v.name;
    }
}

TEST_F(PlatformContract, ProfileFilesReadAsGetPrivateProfileString)
{
    writeFile(file, "orphan=before any section\r\n"
                    "  [ Section1 ]  trailing text\r\n"
                    "\tName1 \t=  Val1 \t\r\n"
                    "name2=\"val2\"\r\n"
                    "name3='single'\r\n"
                    "name4=\"mixed'\r\n"
                    "name5=\"\r\n"
                    "inline=a ;b\r\n"
                    ";comment=hidden\r\n"
                    "  ; spaced=hidden\r\n"
                    "#hash=shown\r\n"
                    "bare line\r\n"
                    "empty=\r\n"
                    "name1=second wins not\r\n"
                    "[head]er]\r\n"
                    "k=in head\r\n"
                    "[section1]\r\n"
                    "late=repeated section is not read\r\n");
    // Wine 8 keeps comment lines as keys of their section and ends a
    // header's name at its last "]"; Windows does neither.
    const bool wine = underWine();
    const std::pair<const char*, const char*> inSection1[] = {
        {"NAME1", "Val1"},     {"name3", "single"},     {"name4", "\"mixed'"},    {"name5", "\""},
        {"inline", "a ;b"},    {"#hash", "shown"},      {"bare line", "Not Found"}, {"orphan", "Not Found"},
        {"late", "Not Found"}, {";comment", wine ? "hidden" : "Not Found"},
        {"; spaced", wine ? "hidden" : "Not Found"},
    };
    for (auto [key, expected] : inSection1)
        EXPECT_EQ(value("section1", key), expected) << key;
    EXPECT_EQ(value("  section1\t", " name1 "), "Val1");
    EXPECT_EQ(get("section1", "name2"), std::make_pair(std::string("val2"), 4u));
    EXPECT_EQ(get("section1", "empty"), std::make_pair(std::string(), 0u));
    EXPECT_EQ(value("head", "k"), wine ? "Not Found" : "in head");
    EXPECT_EQ(value("head]er", "k"), wine ? "in head" : "Not Found");

    // A value cut to the buffer; the default loses trailing blanks only.
    EXPECT_EQ(get("section1", "name1", 4), std::make_pair(std::string("Val"), 3u));
    EXPECT_EQ(get("section1", "name1", 5), std::make_pair(std::string("Val1"), 4u));
    EXPECT_EQ(get("section1", "name1", 1), std::make_pair(std::string(), 0u));
    EXPECT_EQ(get("section1", "none", 256, "default  "), std::make_pair(std::string("default"), 7u));
    EXPECT_EQ(get("section1", "none", 256, "  lead\t"), std::make_pair(std::string("  lead\t"), 7u));
    EXPECT_EQ(get("section1", "none", 4, "default"), std::make_pair(std::string("def"), 3u));
    std::string out;
    EXPECT_EQ(files->getPrivateProfileString("s", "k", "fallback", out, 256, dir.file("missing.ini")), 8u);
    EXPECT_EQ(out, "fallback");

    // Line ends: CR LF, LF, CR only; a last line without one.
    for (const char* text : {"[s]\r\na=1\r\nb=2", "[s]\na=1\nb=2", "[s]\ra=1\rb=2"}) {
        writeFile(file, text);
        EXPECT_EQ(value("s", "a"), "1") << text;
        EXPECT_EQ(value("s", "b"), "2") << text;
    }
}

TEST_F(PlatformContract, ProfileFilesWriteAsWritePrivateProfileString)
{
    writeFile(file, "; header comment\r\n"
                    "[DeviceInformation1]\r\n"
                    "  DeviceName = Old Name   \r\n"
                    "no equals here\r\n"
                    "SerialNumber=1\r\n"
                    "\r\n"
                    "; trailing comment\r\n"
                    "[AdditionalDevices]\r\n"
                    "DeviceNames=a;b\r\n");
    ASSERT_TRUE(files->writePrivateProfileString("deviceinformation1", "devicename", "New \"Name\"", file));
    ASSERT_TRUE(files->writePrivateProfileString("DeviceInformation1", "DeviceParams", "10.0.0.5:12321", file));
    ASSERT_TRUE(files->writePrivateProfileString("Extra", "Key", "v", file));
    EXPECT_EQ(value("DeviceInformation1", "DeviceName"), "New \"Name\"");
    EXPECT_EQ(value("DeviceInformation1", "SerialNumber"), "1");
    EXPECT_EQ(value("DeviceInformation1", "DeviceParams"), "10.0.0.5:12321");
    EXPECT_EQ(value("AdditionalDevices", "DeviceNames"), "a;b");
    EXPECT_EQ(value("extra", "key"), "v");
    // Wine writes the whole file anew from what it parsed: blank lines and
    // the blanks before a key go, and a comment counts as its section's last
    // key. Windows changes the one line and keeps every other byte.
    if (!underWine()) {
        EXPECT_EQ(readFile(file), "; header comment\r\n"
                                  "[DeviceInformation1]\r\n"
                                  "  DeviceName=New \"Name\"\r\n"
                                  "no equals here\r\n"
                                  "SerialNumber=1\r\n"
                                  "DeviceParams=10.0.0.5:12321\r\n"
                                  "\r\n"
                                  "; trailing comment\r\n"
                                  "[AdditionalDevices]\r\n"
                                  "DeviceNames=a;b\r\n"
                                  "[Extra]\r\n"
                                  "Key=v\r\n");
    }

    // A missing file is made where its folder exists, and only there.
    const std::string fresh = dir.file("CLPRP32.INI");
    ASSERT_TRUE(files->writePrivateProfileString("DeviceInformation3", "DeviceParams", "COMX,DEFAULT", fresh));
    EXPECT_EQ(readFile(fresh), "[DeviceInformation3]\r\nDeviceParams=COMX,DEFAULT\r\n");
    EXPECT_FALSE(files->writePrivateProfileString("s", "k", "v", dir.file("no/such/folder/x.ini")));
}

TEST_F(PlatformContract, Rp1210BindingLoadsTheTestDriverLibrary)
{
    ScopedEnv env("windir", dir.path()); // no LP2SIM.INI there: the driver's defaults
    Rp1210Library driver("LP2RP32", testDriverFolder);
    std::string major(16, '\0'), minor(16, '\0'), apiMajor(16, '\0'), apiMinor(16, '\0');
    ASSERT_TRUE(driver.readVersion(major, minor, apiMajor, apiMinor)) << driver.lastError();
    EXPECT_EQ(untilNul(major) + "." + untilNul(minor) + "/" + untilNul(apiMajor) + "." + untilNul(apiMinor),
              "1.12/3.0");
    EXPECT_EQ(major.size(), 16u); // the caller's length stays
    EXPECT_NE(driver.loadedPath().find("LP2RP32"), std::string::npos);

    std::string protocol = "J1708";
    EXPECT_EQ(driver.clientConnect(0, 9, protocol, 8000, 8000, 0), DriverResult(134)); // no such device
    std::string message(81, '\0');
    EXPECT_EQ(driver.getErrorMsg(134, message), DriverResult(0));
    EXPECT_EQ(untilNul(message), "Invalid device");

    // An entry point the library lacks; a library that is not there.
    Rp1210Library partial("LP2RP32_partial", testDriverFolder);
    std::string info(64, '\0');
    EXPECT_EQ(partial.getHardwareStatus(0, info, 64, 0), std::nullopt);
    EXPECT_NE(partial.lastError().find("RP1210_GetHardwareStatus"), std::string::npos);
    EXPECT_EQ(partial.getErrorMsg(134, message), DriverResult(0)); // the others still work

    Rp1210Library missing("NoSuchDriver32", testDriverFolder);
    EXPECT_FALSE(missing.readVersion(major, minor, apiMajor, apiMinor));
    EXPECT_EQ(missing.clientDisconnect(0), std::nullopt);
    EXPECT_NE(missing.lastError().find("NoSuchDriver32"), std::string::npos);
}

TEST_F(PlatformContract, FileVersionOfDriverFilesOnly)
{
    auto reader = createPlatformFileVersionReader();
    writeFile(dir.file("notes.dll"), "MZ but nothing of a PE file after it");
    writeFile(dir.file("empty.dll"), "");
    for (const char* name : {"missing.dll", "notes.dll", "empty.dll"})
        EXPECT_FALSE(reader->fileVersion(dir.file(name))) << name;
#ifdef _WIN32
    // The test driver carries a version resource made by windres: the
    // system's reader and our own PE reader read the same fixed block.
    const std::string dll = testDriverFolder() + "\\LP2RP32.dll";
    auto system = reader->fileVersion(dll);
    auto own = PeVersionReader().fileVersion(dll);
    ASSERT_TRUE(system && own);
    EXPECT_EQ(std::make_pair(system->fileVersionMS, system->fileVersionLS),
              std::make_pair((1 << 16) | 12, (345 << 16) | 6789));
    EXPECT_EQ(std::make_pair(own->fileVersionMS, own->fileVersionLS),
              std::make_pair(system->fileVersionMS, system->fileVersionLS));
#endif
}

// COM42, a serial port with nothing behind it, and COM41, a plain file.
// Made here on Linux (links in a dosdevices folder of the test's own), by
// scripts/windows-test in the Wine prefix; on a Windows machine name a real
// port in LP_TEST_SERIAL_PORT. A number is 0 when there is no such port.
class TestPorts {
public:
#ifdef _WIN32
    TestPorts()
    {
        const char* s = std::getenv("LP_TEST_SERIAL_PORT");
        const char* p = std::getenv("LP_TEST_FILE_PORT");
        serial = s ? std::atoi(s) : 0;
        plain = p ? std::atoi(p) : 0;
    }
#else
    TestPorts() : env_("LINKPORT_DOSDEVICES", dir_.path())
    {
        char name[64] = {};
        if (openpty(&master_, &slave_, nullptr, nullptr, nullptr) != 0 || ttyname_r(slave_, name, sizeof name) != 0)
            return;
        serialDevice = name;
        std::filesystem::create_symlink(serialDevice, dir_.file("com42"));
        writeFile(dir_.file("plain"), "not a port");
        std::filesystem::create_symlink(dir_.file("plain"), dir_.file("com41"));
        serial = 42;
        plain = 41;
    }
    ~TestPorts()
    {
        for (int fd : {slave_, master_})
            if (fd >= 0)
                ::close(fd);
    }
    std::string serialDevice;
#endif
    int serial = 0;
    int plain = 0;

#ifndef _WIN32
private:
    TempDir dir_;
    ScopedEnv env_;
    int master_ = -1, slave_ = -1;
#endif
};

// A serial port that is there is probed without being kept; one that is
// missing, not a serial port, or held by another program is not present.
TEST_F(PlatformContract, SerialPortPresence)
{
    TestPorts ports;
    for (int absent : {-1, 0, 255, ports.plain})
        EXPECT_FALSE(isRs232PortPresent(absent)) << absent;
    if (!ports.serial)
        GTEST_SKIP() << "LP_TEST_SERIAL_PORT not set: no serial port to probe";
    // Wine 8 opens the port for query only but then refuses
    // GetCommProperties on that handle (ERROR_ACCESS_DENIED); only then does
    // the probe ask again with read access (on Windows that open would
    // raise DTR on the adapter, so Windows must answer the first time).
    EXPECT_TRUE(isRs232PortPresent(ports.serial));
    EXPECT_TRUE(isRs232PortPresent(ports.serial)); // the probe let go of it
    if (underWine())
        GTEST_SKIP() << "Wine does not refuse a second open of a held COM port";
#ifdef _WIN32
    HeldPort held(ports.serial); // Windows refuses a second open
    ASSERT_TRUE(held.held());
#else
    int held = ::open(ports.serialDevice.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(held, 0);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0); // as our serial port and the driver lock it
#endif
    EXPECT_FALSE(isRs232PortPresent(ports.serial));
#ifndef _WIN32
    ::close(held);
#endif
}

// The test driver holds the adapter's line while a client is open and gives
// up on an adapter that does not answer; neither hangs.
TEST_F(PlatformContract, TestDriverHoldsItsLine)
{
    TestPorts ports;
    if (!ports.serial)
        GTEST_SKIP() << "LP_TEST_SERIAL_PORT not set: no serial line for the driver";
    ScopedEnv env("windir", dir.path());
    Rp1210Library driver("LP2RP32", testDriverFolder);
    std::string protocol = "J1708";
    writeFile(dir.file("LP2SIM.INI"), "[Adapter]\r\nPort=COM255\r\nReplyTimeout=200\r\n");
    EXPECT_EQ(driver.clientConnect(0, 1, protocol, 8000, 8000, 0), DriverResult(230)) << driver.lastError();

    // Nobody answers on the line: the driver's hand-shake goes unanswered,
    // it opens no client and lets go of the line again.
    writeFile(dir.file("LP2SIM.INI"),
              "[Adapter]\r\nPort=COM" + std::to_string(ports.serial) + "\r\nReplyTimeout=200\r\n");
    EXPECT_EQ(driver.clientConnect(0, 1, protocol, 8000, 8000, 0), DriverResult(142)) << driver.lastError();
    std::string versions(8, '\0');
    EXPECT_EQ(driver.sendCommand(209, 0, versions, 8), DriverResult(129)); // no client
    EXPECT_TRUE(isRs232PortPresent(ports.serial));
}

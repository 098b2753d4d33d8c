// The driver INI files are shared with the drivers themselves and with
// Windows tools: reads must give what GetPrivateProfileStringA gives, and a
// write must change one line and nothing else.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/atomic_file.h"
#include "platform/ini_profile_files.h"
#include "platform/windows_directory.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::test;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

class ProfileFilesTest : public ::testing::Test {
protected:
    TempDir dir;
    IniProfileFiles ini{dir.path()};

    // Value and returned count, with the program's usual 256-character buffer.
    std::pair<std::string, uint32_t> get(const std::string& section, const std::string& key,
                                         const std::string& file = "test.ini", uint32_t size = 256)
    {
        std::string out = "junk";
        uint32_t n = ini.getPrivateProfileString(section, key, "Not Found", out, size, file);
        return {out, n};
    }
    std::string value(const std::string& section, const std::string& key, const std::string& file = "test.ini")
    {
        return get(section, key, file).first;
    }
};

} // namespace

TEST_F(ProfileFilesTest, FileNamesAreFoundAsWindowsWould)
{
    const std::string path = dir.file("LP2RP32.INI");
    writeFile(path, "[VendorInformation]\r\nVersion=1.8-B2\r\n");
    // The stray temporary of an interrupted write is not taken for the file
    // under any spelling.
    std::string temp, error;
    ASSERT_TRUE(writeTemporaryBeside(path, "[VendorInformation]\r\nVersion=9", temp, &error)) << error;
    EXPECT_EQ(value("VendorInformation", "Version", "Lp2rp32.ini"), "1.8-B2");
    EXPECT_EQ(value("VendorInformation", "Version", ini.windowsDirectory() + "\\LP2RP32.INI"), "1.8-B2");
    EXPECT_EQ(value("VendorInformation", "Version", "missing.ini"), "Not Found");
    EXPECT_EQ(value("VendorInformation", "Version", ""), "Not Found");

    // Folders match without case too; the exact spelling wins over a near one.
    fs::create_directory(dir.file("Drivers"));
    writeFile(dir.file("Drivers/a.ini"), "[s]\nk=lower\n");
    writeFile(dir.file("Drivers/A.INI"), "[s]\nk=upper\n");
    EXPECT_EQ(value("s", "k", dir.path() + "\\DRIVERS\\a.ini"), "lower");
    EXPECT_EQ(value("s", "k", dir.path() + "/drivers/A.INI"), "upper");
    EXPECT_EQ(value("s", "k", dir.path() + "/drivers/a.Ini"), "upper"); // first in byte order

    // A write goes to the file that is there, not to a new spelling of it.
    ASSERT_TRUE(ini.writePrivateProfileString("VendorInformation", "Version", "2.0", "lp2rp32.ini"));
    EXPECT_EQ(readFile(path), "[VendorInformation]\r\nVersion=2.0\r\n");
    EXPECT_FALSE(fileExists(dir.file("lp2rp32.ini")));
}

TEST_F(ProfileFilesTest, OddBytesAndCutsOnWholeCharacters)
{
    // (CR LF, LF and CR-only files, the cut and the default as Windows has
    // them: platform_contract_test.cpp.) A byte order mark is skipped; NUL
    // and binary bytes are tolerated, and a NUL ends the value it is in.
    writeFile(dir.file("test.ini"), "\xEF\xBB\xBF[s]\r\na=1\r\nutf=\xc3\xa9\xc3\xa9\r\n");
    EXPECT_EQ(value("s", "a"), "1");
    EXPECT_EQ(get("s", "a", "test.ini", 0), std::make_pair(std::string(), 0u));
    EXPECT_EQ(get("s", "utf", "test.ini", 4), std::make_pair(std::string("\xc3\xa9"), 2u)); // whole characters
    writeFile(dir.file("bin.ini"), "\x00\xff\xfe[x\x01]\n[s]\nkey=ab\x00" "cd\n\x80\x81=\x90\nz=\xc3\xa9t\xc3\xa9\n"s);
    EXPECT_EQ(value("s", "key", "bin.ini"), "ab");
    EXPECT_EQ(value("s", "\x80\x81", "bin.ini"), "\x90");
    EXPECT_EQ(value("s", "z", "bin.ini"), "\xc3\xa9t\xc3\xa9");
}

TEST_F(ProfileFilesTest, WritesKeepValuesOnOneLineAndTheFilesLineEnds)
{
    // (Which line a write changes and where new keys go, as Windows does it:
    // platform_contract_test.cpp.)
    const std::string path = dir.file("LPIPRP32.INI");
    writeFile(path, "[DeviceInformation1]\r\nSerialNumber=1\r\n");
    ASSERT_TRUE(ini.writePrivateProfileString("deviceinformation1", "serialnumber", "'42'", "lpiprp32.ini"));
    EXPECT_EQ(readFile(path), "[DeviceInformation1]\r\nSerialNumber='42'\r\n");
    EXPECT_EQ(value("DeviceInformation1", "SerialNumber", "LPIPRP32.INI"), "42");

    // A value cannot smuggle in lines; a name with a line break is refused.
    ASSERT_TRUE(ini.writePrivateProfileString("Extra", "Key", "one\r\n[Evil]\r\nx=y", "LPIPRP32.INI"));
    EXPECT_EQ(value("Extra", "Key", "LPIPRP32.INI"), "one");
    EXPECT_EQ(value("Evil", "x", "LPIPRP32.INI"), "Not Found");
    EXPECT_FALSE(ini.writePrivateProfileString("Extra", "a\nb", "v", "LPIPRP32.INI"));

    // Writing the value that is there already leaves the file alone.
    const auto stamp = fs::last_write_time(path);
    ASSERT_TRUE(ini.writePrivateProfileString("Extra", "key", "one", "LPIPRP32.INI"));
    EXPECT_EQ(fs::last_write_time(path), stamp);

    // New lines follow the file's own line ends.
    writeFile(dir.file("lf.ini"), "[s]\na=1\n[t]\nb=2");
    ASSERT_TRUE(ini.writePrivateProfileString("s", "c", "3", "lf.ini"));
    ASSERT_TRUE(ini.writePrivateProfileString("t", "d", "4", "lf.ini"));
    EXPECT_EQ(readFile(dir.file("lf.ini")), "[s]\na=1\nc=3\n[t]\nb=2\nd=4\n");

    writeFile(dir.file("cr.ini"), "[s]\ra=1");
    ASSERT_TRUE(ini.writePrivateProfileString("s", "a", "9", "cr.ini"));
    ASSERT_TRUE(ini.writePrivateProfileString("u", "e", "5", "cr.ini"));
    EXPECT_EQ(readFile(dir.file("cr.ini")), "[s]\ra=9\r[u]\re=5\r");

    // A section with no keys yet takes the key right under its header.
    writeFile(dir.file("empty.ini"), "[s]\r\n\r\n[t]");
    ASSERT_TRUE(ini.writePrivateProfileString("s", "k", "v", "empty.ini"));
    ASSERT_TRUE(ini.writePrivateProfileString("t", "k", "w", "empty.ini"));
    EXPECT_EQ(readFile(dir.file("empty.ini")), "[s]\r\nk=v\r\n\r\n[t]\r\nk=w\r\n");

    // Odd bytes that text may hold survive a write untouched.
    const std::string odd = "\xff\r\n[s]\r\nk=\x1a\f\r\n\x7f \x80 ]]\r\n";
    writeFile(dir.file("odd.ini"), odd);
    ASSERT_TRUE(ini.writePrivateProfileString("s", "n", "1", "odd.ini"));
    EXPECT_EQ(readFile(dir.file("odd.ini")), odd.substr(0, 14) + "n=1\r\n" + odd.substr(14));
}

TEST_F(ProfileFilesTest, WritesOnlyWhereAFileMayBe)
{
    // (A new file in a folder that exists, and none where there is no
    // folder: platform_contract_test.cpp.)
    fs::create_directory(dir.file("folder.ini"));
    EXPECT_FALSE(ini.writePrivateProfileString("s", "k", "v", "folder.ini"));
    EXPECT_FALSE(ini.lastError().empty());
    EXPECT_TRUE(fs::is_directory(dir.file("folder.ini")));
    IniProfileFiles nowhere{""};
    EXPECT_FALSE(nowhere.writePrivateProfileString("s", "k", "v", "x.ini"));

    // A read-only file is refused even to root, alone or in a change.
    const std::string path = dir.file("test.ini");
    writeFile(path, "[s]\nk=v\n");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    EXPECT_FALSE(ini.writePrivateProfileString("s", "k", "w", "test.ini"));
    EXPECT_NE(ini.lastError().find("read-only"), std::string::npos) << ini.lastError();
    ASSERT_TRUE(ini.beginChange({"test.ini"}));
    ini.writePrivateProfileString("s", "k", "w", "test.ini");
    EXPECT_FALSE(ini.endChange(true));
    EXPECT_EQ(readFile(path), "[s]\nk=v\n");
    ::chmod(path.c_str(), 0644);
    EXPECT_TRUE(ini.writePrivateProfileString("s", "k", "w", "test.ini"));
}

TEST_F(ProfileFilesTest, LargeFilesAreReadWhileTooLargeOnesAreLeftAlone)
{
    // About 10 MB of other sections; the key at the end is found and a write
    // keeps every one of those bytes.
    std::string big;
    for (int i = 0; big.size() < 10'000'000; ++i)
        big += "[Filler" + std::to_string(i) + "]\r\nkey=some value that fills the file up\r\n";
    big += "[Target]\r\nkey=found\r\n";
    writeFile(dir.file("big.ini"), big);
    EXPECT_EQ(value("target", "KEY", "big.ini"), "found");
    ASSERT_TRUE(ini.writePrivateProfileString("Filler0", "key", "x", "big.ini"));
    const std::string after = readFile(dir.file("big.ini"));
    EXPECT_EQ(after.substr(0, 19), "[Filler0]\r\nkey=x\r\n[");
    // Compared as a whole: a diff of two 10 MB texts would not fit in memory.
    EXPECT_TRUE(after.substr(18) == big.substr(big.find("[Filler1]")));

    // Past the limit: read as missing, and a write must not replace it.
    const std::string huge = dir.file("huge.ini");
    writeFile(huge, "[s]\r\nk=v\r\n");
    ASSERT_EQ(::truncate(huge.c_str(), static_cast<off_t>(IniProfileFiles::maxFileBytes() + 1)), 0);
    EXPECT_EQ(value("s", "k", "huge.ini"), "Not Found");
    EXPECT_FALSE(ini.writePrivateProfileString("s", "k", "w", "huge.ini"));
    EXPECT_EQ(fs::file_size(huge), IniProfileFiles::maxFileBytes() + 1);
    EXPECT_EQ(readFile(huge).substr(0, 10), "[s]\r\nk=v\r\n");
}

TEST_F(ProfileFilesTest, ConcurrentWritersLoseNoUpdate)
{
    // Each writer reads, changes and replaces the whole file; without the lock
    // one writer's replacement would drop another's key.
    std::vector<std::thread> writers;
    for (int w = 0; w < 4; ++w)
        writers.emplace_back([this, w] {
            IniProfileFiles own{dir.path()};
            for (int i = 0; i < 15; ++i)
                own.writePrivateProfileString("s", "k" + std::to_string(w) + "_" + std::to_string(i), "v",
                                              w % 2 ? "shared.ini" : "SHARED.INI");
        });
    for (auto& t : writers)
        t.join();
    for (int w = 0; w < 4; ++w)
        for (int i = 0; i < 15; ++i)
            EXPECT_EQ(value("s", "k" + std::to_string(w) + "_" + std::to_string(i), "Shared.ini"), "v");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 2)
        << "one file and its lock, whatever the spelling";
}

TEST_F(ProfileFilesTest, UnicodeFilesAreKeptAndFilesThatAreNotTextAreNeverWritten)
{
    auto utf16 = [](const std::string& ascii, bool bigEndian, bool mark) {
        std::string out = mark ? (bigEndian ? "\xFE\xFF" : "\xFF\xFE") : "";
        for (char c : ascii)
            out += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
        return out;
    };
    std::string binary(4096, '\0');
    for (size_t i = 0; i < binary.size(); ++i)
        binary[i] = static_cast<char>((i * 7919) % 251);
    const std::string text = "[s]\r\nk=v\r\n";
    struct Case {
        const char* what;
        std::string file;
        const char* read; // k of [s]
        bool writable;
        std::string after; // the file once n=1 is written, when it may be
    };
    const Case cases[] = {
        {"UTF-16LE with its mark", utf16(text, false, true), "v", true, utf16(text + "n=1\r\n", false, true)},
        {"UTF-16BE with its mark", utf16(text, true, true), "v", true, utf16(text + "n=1\r\n", true, true)},
        {"UTF-16LE without a mark", utf16(text, false, false), "v", false, {}},
        {"UTF-16 cut short", utf16(text, false, true) + "k", "v", false, {}},
        {"a NUL in 8-bit text", "[s]\r\nk=v\0\r\n"s, "v", false, {}},
        {"binary bytes", binary, "Not Found", false, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        writeFile(dir.file("test.ini"), c.file);
        EXPECT_EQ(value("s", "k"), c.read);
        EXPECT_EQ(ini.writePrivateProfileString("s", "n", "1", "test.ini"), c.writable) << ini.lastError();
        EXPECT_EQ(readFile(dir.file("test.ini")), c.writable ? c.after : c.file);
        if (!c.writable) {
            EXPECT_NE(ini.lastError().find(dir.file("test.ini")), std::string::npos) << ini.lastError();
        }
    }
    // Characters beyond ASCII go both ways.
    writeFile(dir.file("test.ini"), "\xFF\xFE[\0s\0]\0\n\0k\0=\0\xE9\0\n\0"s);
    EXPECT_EQ(value("s", "k"), "\xC3\xA9");
    ASSERT_TRUE(ini.writePrivateProfileString("s", "k", "\xE2\x82\xAC", "test.ini"));
    EXPECT_EQ(readFile(dir.file("test.ini")), "\xFF\xFE[\0s\0]\0\n\0k\0=\0\xAC\x20\n\0"s);
}

TEST_F(ProfileFilesTest, AChangeIsSeenWholeOrNotAtAll)
{
    writeFile(dir.file("a.ini"), "[s]\r\nk=old\r\n");
    ASSERT_TRUE(ini.beginChange({"A.INI", "b.ini"}));
    ASSERT_TRUE(ini.beginChange({"a.ini"})); // joins
    ASSERT_TRUE(ini.writePrivateProfileString("s", "k", "new", "a.ini"));
    ASSERT_TRUE(ini.writePrivateProfileString("s", "j", "2", "A.ini"));
    ASSERT_TRUE(ini.writePrivateProfileString("t", "x", "1", "b.ini"));
    EXPECT_TRUE(ini.endChange(true)); // the inner end writes nothing
    EXPECT_EQ(value("s", "k", "a.ini"), "new") << "the change reads its own writes";
    EXPECT_EQ(readFile(dir.file("a.ini")), "[s]\r\nk=old\r\n");
    EXPECT_FALSE(fs::exists(dir.file("b.ini")));

    // Another writer waits for the change and then writes on top of it.
    std::thread other([this] {
        IniProfileFiles own{dir.path()};
        own.writePrivateProfileString("s", "k2", "other", "a.ini");
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(readFile(dir.file("a.ini")), "[s]\r\nk=old\r\n");
    ASSERT_TRUE(ini.endChange(true));
    other.join();
    EXPECT_EQ(readFile(dir.file("a.ini")), "[s]\r\nk=new\r\nj=2\r\nk2=other\r\n");
    EXPECT_EQ(value("t", "x", "b.ini"), "1");

    // A dropped change writes nothing.
    ASSERT_TRUE(ini.beginChange({"a.ini"}));
    ini.writePrivateProfileString("s", "k", "dropped", "a.ini");
    EXPECT_TRUE(ini.endChange(false));
    EXPECT_EQ(value("s", "k", "a.ini"), "new");
    EXPECT_FALSE(ini.endChange(true)) << "no change is open";
}

TEST(WindowsDirectory, ComesFromWindirElseTheUserDataFolder)
{
    TempDir dir;
    ScopedEnv windir("windir", dir.path() + "/win/"), data("XDG_DATA_HOME", dir.path());
    EXPECT_EQ(defaultWindowsDirectory(), dir.path() + "/win");
    ::unsetenv("windir");
    EXPECT_EQ(defaultWindowsDirectory(), dir.path() + "/linkport-toolkit/windows");
    EXPECT_TRUE(fs::is_directory(dir.path() + "/linkport-toolkit/windows"));
}

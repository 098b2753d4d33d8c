// The .reg file store and its document (Linux only: on Windows the program
// uses the system's registry).
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iterator>
#include <string>

#include "platform/reg_document.h"
#include "platform/reg_file_store.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using namespace lp;
using lp::test::readFile;
using lp::test::TempDir;
using lp::test::writeFile;
using namespace std::string_literals;

namespace {

// A value as "type N: bytes"; a failed query as "error N".
std::string typed(uint32_t type, const std::string& bytes)
{
    return "type " + std::to_string(type) + ": " + bytes;
}
std::string sz(const std::string& bytes) { return typed(REG_SZ, bytes); }
const std::string kNotFound = "error " + std::to_string(ERROR_FILE_NOT_FOUND);

std::string query(RegFileStore& store, const std::string& key, const std::string& name)
{
    HKEY h = 0;
    uint32_t type = 0, size = 0;
    int32_t result = store.regOpenKey(HKEY_LOCAL_MACHINE, key, h);
    if (result == ERROR_SUCCESS)
        result = store.regQueryValueEx(h, name, &type, nullptr, &size);
    std::string bytes(size, '?');
    if (result == ERROR_SUCCESS)
        result = store.regQueryValueEx(h, name, nullptr, reinterpret_cast<uint8_t*>(bytes.data()), &size);
    store.regCloseKey(h);
    return result == ERROR_SUCCESS ? typed(type, bytes) : "error " + std::to_string(result);
}

int32_t set(RegFileStore& store, const std::string& key, const std::string& name, uint32_t type,
            const std::string& bytes)
{
    HKEY h = 0;
    int32_t result = store.regCreateKey(HKEY_LOCAL_MACHINE, key, h);
    if (result == ERROR_SUCCESS)
        result = store.regSetValueEx(h, name, type, reinterpret_cast<const uint8_t*>(bytes.data()),
                                     static_cast<uint32_t>(bytes.size()));
    store.regCloseKey(h);
    return result;
}

} // namespace

TEST(RegFileStore, ReadsHandWrittenFiles)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");
    writeFile(path, "\xEF\xBB\xBF" "regedit4\r\n"
                    "; written by hand\r\n"
                    "[hkey_local_machine\\Software\\Halvorn Inc.\\Linkport II]\r"
                    "\"FlashDir\"=\"C:\\\\Fw \\\"new\\\"\"\r"
                    "@=\"default\"\n"
                    "  \"Spaced\" =  dword:0000E100  \n"
                    "this line is garbage\n"
                    "\"Blob\"=hex:01,02,\\\n"
                    "  ff,\\\n"
                    "  00\n"
                    "\"Q\"=hex(b):01,00,00,00,00,00,00,00\n"
                    "\"Broken\"=hex:zz\n"
                    "\"Cut\"=hex:01,\\\n"
                    "\"After\"=\"still read\"\n"
                    "\"Bad\"=dword:123456789\n"
                    "[HKEY_CURRENT_USER\\Software\\Halvorn Inc.\\Linkport II]\n"
                    "\"Other\"=\"root\"\n"
                    "[-HKEY_LOCAL_MACHINE\\Gone]\n"
                    "\"Deleted\"=\"x\"\n"
                    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\HALVORN INC.\\LINKPORT II\\]\n"
                    "\"FlashDir\"=\"later wins\"\n"
                    "\"Tail\"=\"no final line break\"");
    RegFileStore store(path);

    const std::string key = "SOFTWARE\\halvorn inc.\\linkport ii";
    EXPECT_EQ(query(store, key, "flashdir"), sz("later wins\0"s));
    EXPECT_EQ(query(store, key, ""), sz("default\0"s));
    EXPECT_EQ(query(store, key, "Spaced"), typed(REG_DWORD, "\x00\xe1\x00\x00"s));
    EXPECT_EQ(query(store, key, "Blob"), typed(REG_BINARY, "\x01\x02\xff\x00"s));
    EXPECT_EQ(query(store, key, "Q"), typed(REG_QWORD, "\x01\0\0\0\0\0\0\0"s));
    EXPECT_EQ(query(store, key, "After"), sz("still read\0"s));
    EXPECT_EQ(query(store, key, "Tail"), sz("no final line break\0"s));
    for (auto name : {"Broken", "Cut", "Bad", "Other"})
        EXPECT_EQ(query(store, key, name), kNotFound) << name;
    EXPECT_EQ(query(store, "Gone", "Deleted"), kNotFound);

    // The value escapes are undone; parents of a listed key exist.
    writeFile(path, "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A\\B\\C]\n"
                    "\"P\"=\"C:\\\\Tools\\\\\\\"x\\\"\"\n");
    EXPECT_EQ(query(store, "A\\B\\C", "P"), sz("C:\\Tools\\\"x\"\0"s));
    HKEY h = 0;
    EXPECT_EQ(store.regOpenKey(HKEY_LOCAL_MACHINE, "a\\b", h), ERROR_SUCCESS);
    EXPECT_EQ(store.regCloseKey(h), ERROR_SUCCESS);

    // Windows exports UTF-16LE.
    std::string utf16 = "\xFF\xFE";
    for (char c : std::string("Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\W]\r\n\"V\"=\"\xc3\xa9\"\r\n")) {
        if (c == '\xc3')
            continue;
        utf16 += (c == '\xa9') ? std::string("\xe9\x00", 2) : std::string(1, c) + '\0';
    }
    writeFile(path, utf16);
    EXPECT_EQ(query(store, "W", "V"), sz("\xc3\xa9\0"s));
}

TEST(RegFileStore, WritesChangeOnlyWhatTheyWrite)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");
    const std::string original = "REGEDIT4\r\n\r\n; keep me\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.]\r\n"
                                 "\"Kept\"=hex(2):41,00\r\n\"Old\"=\"1\"\r\n\r\n; before next\r\n"
                                 "[HKEY_CURRENT_USER\\X]\r\n\"Other\"=\"root\"\r\ngarbage line\r\n";
    writeFile(path, original);
    RegFileStore store(path);

    ASSERT_EQ(set(store, "software\\halvorn inc.\\Linkport Toolkit\\", "PrevAdapter", REG_SZ, "WLP\0"s),
              ERROR_SUCCESS);
    ASSERT_EQ(set(store, "SOFTWARE\\HALVORN INC.", "old", REG_SZ, "2\0"s), ERROR_SUCCESS);
    ASSERT_EQ(set(store, "SOFTWARE\\Halvorn Inc.", "New", REG_DWORD, "\x00\xe1\x00\x00"s), ERROR_SUCCESS);
    EXPECT_EQ(readFile(path),
              "REGEDIT4\r\n\r\n; keep me\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.]\r\n"
              "\"Kept\"=hex(2):41,00\r\n\"Old\"=\"2\"\r\n\"New\"=dword:0000e100\r\n\r\n; before next\r\n"
              "[HKEY_CURRENT_USER\\X]\r\n\"Other\"=\"root\"\r\ngarbage line\r\n"
              "\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.\\Linkport Toolkit]\r\n\"PrevAdapter\"=\"WLP\"\r\n");

    // Writing the same data again leaves the file alone.
    auto before = readFile(path);
    ASSERT_EQ(set(store, "SOFTWARE\\Halvorn Inc.", "New", REG_DWORD, "\x00\xe1\x00\x00"s), ERROR_SUCCESS);
    EXPECT_EQ(readFile(path), before);
}

TEST(RegFileStore, EveryTypeSurvivesTheRoundTrip)
{
    TempDir dir;
    const std::string path = dir.file("sub/folder/r.reg"); // folders made on first write
    RegFileStore writer(path);
    std::string big;
    for (int i = 0; i < 300; ++i)
        big.push_back(static_cast<char>(i));
    const struct {
        const char* name;
        uint32_t type;
        std::string bytes;
    } cases[] = {
        {"Text", REG_SZ, "a \\ \"q\" b\0"s},   {"NoNul", REG_SZ, "abc"},
        {"TwoNul", REG_SZ, "a\0b\0"s},          {"Lines", REG_SZ, "a\nb\0"s},
        {"Empty", REG_SZ, ""},                         {"Dword", REG_DWORD, "\xff\xff\xff\x7f"s},
        {"Short", REG_DWORD, "\x05"},                  {"Big", REG_BINARY, big},
        {"Expand", REG_EXPAND_SZ, "%P%\0"s},    {"Qword", REG_QWORD, "\1\0\0\0\0\0\0\0"s},
        {"", REG_SZ, "default\0"s},             {"Odd\"name\\", 0x12345678, "z"},
    };
    for (const auto& c : cases)
        ASSERT_EQ(set(writer, "K", c.name, c.type, c.bytes), ERROR_SUCCESS) << c.name;

    const std::string text = readFile(path);
    EXPECT_EQ(text.rfind("Windows Registry Editor Version 5.00\n", 0), 0u);
    EXPECT_NE(text.find("\"Text\"=\"a \\\\ \\\"q\\\" b\"\n"), std::string::npos);
    EXPECT_NE(text.find("\"NoNul\"=hex(1):61,62,63\n"), std::string::npos);
    EXPECT_NE(text.find(",\\\n  "), std::string::npos); // the long value wraps
    for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        EXPECT_LE(end - start, 80u);

    RegFileStore reader(path);
    for (const auto& c : cases)
        EXPECT_EQ(query(reader, "k", c.name), typed(c.type, c.bytes)) << c.name;
}

TEST(RegFileStore, RefusesWhatTheFileCannotHold)
{
    // (Handles and the result codes Windows gives: platform_contract_test.cpp.)
    TempDir dir;
    RegFileStore store(dir.file("r.reg"));
    HKEY a = 0, c = 0;
    EXPECT_EQ(store.regOpenKey(HKEY_LOCAL_MACHINE, "Missing", a), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(readFile(dir.file("r.reg")).size()); // opening writes nothing
    EXPECT_EQ(store.regCreateKey(HKEY_CURRENT_USER, "X", a), ERROR_INVALID_HANDLE);
    EXPECT_EQ(store.regCreateKey(HKEY_LOCAL_MACHINE, "\\Lead", a), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(store.regCreateKey(HKEY_LOCAL_MACHINE, "A\\\\B", a), ERROR_INVALID_PARAMETER);
    ASSERT_EQ(store.regCreateKey(HKEY_LOCAL_MACHINE, "A\\B\\C", c), ERROR_SUCCESS);
    uint8_t byte = 0;
    EXPECT_EQ(store.regSetValueEx(c, "Line\nBreak", REG_SZ, &byte, 1), ERROR_INVALID_PARAMETER);
}

TEST(RegFileStore, BadFilesNeitherCrashNorGetOverwritten)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");

    // Binary junk without the format line: read leniently, never written over.
    std::string junk;
    for (int i = 0; i < 100000; ++i)
        junk.push_back(static_cast<char>((i * 7919) % 251));
    writeFile(path, junk);
    RegFileStore store(path);
    EXPECT_EQ(query(store, "A", "B"), kNotFound);
    EXPECT_EQ(set(store, "A", "B", REG_SZ, "x\0"s), ERROR_ACCESS_DENIED);
    EXPECT_EQ(readFile(path), junk);
    // Named, so that nobody takes it for a store that holds nothing.
    EXPECT_NE(store.readProblem().find(path + " is not a registry file"), std::string::npos) << store.readProblem();
    EXPECT_EQ(store.lastError(), store.readProblem());

    // A read-only file stays as it is, even for root; an empty one is no problem.
    writeFile(path, "REGEDIT4\n");
    ::chmod(path.c_str(), 0444);
    EXPECT_EQ(store.readProblem(), "");
    EXPECT_EQ(set(store, "A", "B", REG_SZ, "x\0"s), ERROR_ACCESS_DENIED);
    EXPECT_NE(store.lastError().find("read-only"), std::string::npos) << store.lastError();
    EXPECT_EQ(readFile(path), "REGEDIT4\n");
    ::chmod(path.c_str(), 0644);
    writeFile(path, "\r\n");
    EXPECT_EQ(store.readProblem(), "");
    EXPECT_EQ(set(store, "A", "B", REG_SZ, "x\0"s), ERROR_SUCCESS);

    // 10 MB of keys: read and written, nothing lost.
    std::string large = "Windows Registry Editor Version 5.00\n";
    int keys = 0;
    while (large.size() < 10'000'000)
        large += "\n[HKEY_LOCAL_MACHINE\\Big\\K" + std::to_string(keys++) + "]\n\"V\"=hex:01,02,03,04,05,06,07,08\n\"S\"=\"value\"\n";
    writeFile(path, large);
    EXPECT_EQ(query(store, "Big\\K" + std::to_string(keys - 1), "S"), sz("value\0"s));
    EXPECT_EQ(set(store, "Big\\K0", "S", REG_SZ, "changed\0"s), ERROR_SUCCESS);
    RegFileStore other(path);
    EXPECT_EQ(query(other, "Big\\K0", "S"), sz("changed\0"s));
    EXPECT_EQ(query(other, "Big\\K" + std::to_string(keys - 1), "S"), sz("value\0"s));

    // Past the size limit the file reads as empty and stays as it is.
    std::string huge = "REGEDIT4\n[HKEY_LOCAL_MACHINE\\A]\n\"B\"=\"c\"\n";
    huge.resize(RegFileStore::kMaxFileBytes + 1, ';');
    writeFile(path, huge);
    EXPECT_EQ(query(store, "A", "B"), kNotFound);
    EXPECT_EQ(set(store, "A", "B", REG_SZ, "d\0"s), ERROR_ACCESS_DENIED);
    EXPECT_EQ(readFile(path).size(), huge.size());

    // (A path below a regular file: ModRegistry.FailuresOnlySetTheResult.)
}

// (Writes that race each other: ConcurrentProcessesLoseNoValue.)
TEST(RegFileStore, TwoStoresOnOneFileSeeEachOther)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");
    RegFileStore one(path), two(path);
    ASSERT_EQ(set(one, "K", "A", REG_SZ, "1\0"s), ERROR_SUCCESS);
    EXPECT_EQ(query(two, "K", "A"), sz("1\0"s));
    ASSERT_EQ(set(two, "K", "A", REG_SZ, "2\0"s), ERROR_SUCCESS); // a change of the same size
    EXPECT_EQ(query(one, "K", "A"), sz("2\0"s));

    // Handles held open across each other's writes.
    HKEY h1 = 0, h2 = 0;
    ASSERT_EQ(one.regOpenKey(HKEY_LOCAL_MACHINE, "K", h1), ERROR_SUCCESS);
    ASSERT_EQ(two.regOpenKey(HKEY_LOCAL_MACHINE, "K", h2), ERROR_SUCCESS);
    const uint8_t byte = 1;
    ASSERT_EQ(one.regSetValueEx(h1, "FromOne", REG_BINARY, &byte, 1), ERROR_SUCCESS);
    ASSERT_EQ(two.regSetValueEx(h2, "FromTwo", REG_BINARY, &byte, 1), ERROR_SUCCESS);
    uint32_t size = 0;
    EXPECT_EQ(one.regQueryValueEx(h1, "FromTwo", nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(two.regQueryValueEx(h2, "FromOne", nullptr, nullptr, &size), ERROR_SUCCESS);
}

TEST(RegFileStore, ConcurrentProcessesLoseNoValue)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");
    constexpr int kWrites = 60;
    auto writeAll = [&path](const std::string& prefix) {
        RegFileStore store(path);
        int failures = 0;
        for (int i = 0; i < kWrites; ++i)
            failures += set(store, "Shared", prefix + std::to_string(i), REG_DWORD, std::string(4, char(i))) != 0;
        return failures;
    };
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(writeAll("Child") == 0 ? 0 : 1);
    EXPECT_EQ(writeAll("Parent"), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    RegFileStore check(path);
    for (int i = 0; i < kWrites; ++i) {
        const std::string expected = typed(REG_DWORD, std::string(4, char(i)));
        for (const char* prefix : {"Child", "Parent"})
            EXPECT_EQ(query(check, "Shared", prefix + std::to_string(i)), expected) << prefix << i;
    }
}

// (A value set in any text reads back after the text is read again:
// fuzz/fuzz_reg_document.cpp.)
TEST(RegDocument, ReadsAnyTextAndKeepsItWhole)
{
    const char* pieces[] = {"REGEDIT4", "[HKEY_LOCAL_MACHINE\\Fz]", "[hkey_local_machine\\fz\\", "\"V\"=\"x\"",
                            "\"V\"=hex:01,\\", "  02", "@=dword:1", "\"A\"=hex(2", ";", "]", "\"", "\\", "\xff\x00",
                            "\r", "\n", "\r\n", " ", "[HKEY_LOCAL_MACHINE\\\\]"};
    uint32_t seed = 12345;
    for (int round = 0; round < 500; ++round) {
        std::string text = round % 2 ? "Windows Registry Editor Version 5.00\n" : "";
        for (int i = 0; i < 30; ++i) {
            seed = seed * 1103515245u + 12345u;
            text += pieces[(seed >> 16) % std::size(pieces)];
        }
        const std::string back = RegDocument::parse(text).text();
        if (!text.empty() && text.back() != '\n' && text.back() != '\r')
            text += '\n';
        if (text.find_first_not_of(" \t\r\n") != std::string::npos) {
            ASSERT_EQ(back, text) << round;
        }
    }
}

TEST(RegFileStore, DefaultPathFollowsTheEnvironment)
{
    TempDir dir;
    test::ScopedEnv file("LINKPORT_REGISTRY_FILE", dir.file("mine.reg")), config("XDG_CONFIG_HOME", dir.path());
    EXPECT_EQ(defaultRegistryFilePath(), dir.file("mine.reg"));
    unsetenv("LINKPORT_REGISTRY_FILE");
    EXPECT_EQ(defaultRegistryFilePath(), dir.file("linkport-toolkit/registry.reg"));
}

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <iterator>
#include <string>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "platform/reg_document.h"
#include "platform/reg_file_store.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using namespace lp;
using lp::test::readFile;
using lp::test::TempDir;
using lp::test::writeFile;

namespace {

struct Read {
    int32_t result = -1;
    uint32_t type = 0;
    std::string bytes;
};

Read query(RegFileStore& store, const std::string& key, const std::string& name)
{
    Read r;
    HKEY h = 0;
    r.result = store.regOpenKey(HKEY_LOCAL_MACHINE, key, h);
    if (r.result != ERROR_SUCCESS)
        return r;
    uint32_t size = 0;
    r.result = store.regQueryValueEx(h, name, &r.type, nullptr, &size);
    if (r.result == ERROR_SUCCESS) {
        r.bytes.assign(size, '?');
        r.result = store.regQueryValueEx(h, name, nullptr, reinterpret_cast<uint8_t*>(r.bytes.data()), &size);
    }
    store.regCloseKey(h);
    return r;
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

std::string str(const char* text, size_t n) { return std::string(text, n); }

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

    Read r = query(store, "SOFTWARE\\halvorn inc.\\linkport ii", "flashdir");
    EXPECT_EQ(r.result, ERROR_SUCCESS);
    EXPECT_EQ(r.type, REG_SZ);
    EXPECT_EQ(r.bytes, str("later wins\0", 11));
    EXPECT_EQ(query(store, "Software\\Halvorn Inc.\\Linkport II", "").bytes, str("default\0", 8));
    r = query(store, "Software\\Halvorn Inc.\\Linkport II", "Spaced");
    EXPECT_EQ(r.type, REG_DWORD);
    EXPECT_EQ(r.bytes, str("\x00\xe1\x00\x00", 4));
    r = query(store, "Software\\Halvorn Inc.\\Linkport II", "Blob");
    EXPECT_EQ(r.type, REG_BINARY);
    EXPECT_EQ(r.bytes, str("\x01\x02\xff\x00", 4));
    EXPECT_EQ(query(store, "Software\\Halvorn Inc.\\Linkport II", "Q").type, REG_QWORD);
    EXPECT_EQ(query(store, "Software\\Halvorn Inc.\\Linkport II", "After").bytes, str("still read\0", 11));
    EXPECT_EQ(query(store, "Software\\Halvorn Inc.\\Linkport II", "Tail").bytes, str("no final line break\0", 20));
    for (auto name : {"Broken", "Cut", "Bad", "Other"})
        EXPECT_EQ(query(store, "Software\\Halvorn Inc.\\Linkport II", name).result, ERROR_FILE_NOT_FOUND) << name;
    EXPECT_EQ(query(store, "Gone", "Deleted").result, ERROR_FILE_NOT_FOUND);

    // The value escapes are undone; parents of a listed key exist.
    writeFile(path, "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A\\B\\C]\n"
                    "\"P\"=\"C:\\\\Tools\\\\\\\"x\\\"\"\n");
    EXPECT_EQ(query(store, "A\\B\\C", "P").bytes, str("C:\\Tools\\\"x\"\0", 13));
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
    EXPECT_EQ(query(store, "W", "V").bytes, str("\xc3\xa9\0", 3));
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

    ASSERT_EQ(set(store, "software\\halvorn inc.\\Linkport Toolkit\\", "PrevAdapter", REG_SZ, str("WLP\0", 4)),
              ERROR_SUCCESS);
    ASSERT_EQ(set(store, "SOFTWARE\\HALVORN INC.", "old", REG_SZ, str("2\0", 2)), ERROR_SUCCESS);
    ASSERT_EQ(set(store, "SOFTWARE\\Halvorn Inc.", "New", REG_DWORD, str("\x00\xe1\x00\x00", 4)), ERROR_SUCCESS);
    EXPECT_EQ(readFile(path),
              "REGEDIT4\r\n\r\n; keep me\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.]\r\n"
              "\"Kept\"=hex(2):41,00\r\n\"Old\"=\"2\"\r\n\"New\"=dword:0000e100\r\n\r\n; before next\r\n"
              "[HKEY_CURRENT_USER\\X]\r\n\"Other\"=\"root\"\r\ngarbage line\r\n"
              "\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvorn Inc.\\Linkport Toolkit]\r\n\"PrevAdapter\"=\"WLP\"\r\n");

    // Writing the same data again leaves the file alone.
    auto before = readFile(path);
    ASSERT_EQ(set(store, "SOFTWARE\\Halvorn Inc.", "New", REG_DWORD, str("\x00\xe1\x00\x00", 4)), ERROR_SUCCESS);
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
        {"Text", REG_SZ, str("a \\ \"q\" b\0", 10)},   {"NoNul", REG_SZ, "abc"},
        {"TwoNul", REG_SZ, str("a\0b\0", 4)},          {"Lines", REG_SZ, str("a\nb\0", 4)},
        {"Empty", REG_SZ, ""},                         {"Dword", REG_DWORD, str("\xff\xff\xff\x7f", 4)},
        {"Short", REG_DWORD, "\x05"},                  {"Big", REG_BINARY, big},
        {"Expand", REG_EXPAND_SZ, str("%P%\0", 4)},    {"Qword", REG_QWORD, str("\1\0\0\0\0\0\0\0", 8)},
        {"", REG_SZ, str("default\0", 8)},             {"Odd\"name\\", 0x12345678, "z"},
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
    for (const auto& c : cases) {
        Read r = query(reader, "k", c.name);
        EXPECT_EQ(r.result, ERROR_SUCCESS) << c.name;
        EXPECT_EQ(r.type, c.type) << c.name;
        EXPECT_EQ(r.bytes, c.bytes) << c.name;
    }
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
    EXPECT_EQ(store.regCloseKey(77), ERROR_INVALID_HANDLE);
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
    EXPECT_EQ(query(store, "A", "B").result, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(set(store, "A", "B", REG_SZ, str("x\0", 2)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(readFile(path), junk);
    // Named, so that nobody takes it for a store that holds nothing.
    EXPECT_NE(store.readProblem().find(path + " is not a registry file"), std::string::npos) << store.readProblem();
    EXPECT_EQ(store.lastError(), store.readProblem());

    // A read-only file stays as it is, even for root; an empty one is no problem.
    writeFile(path, "REGEDIT4\n");
    ::chmod(path.c_str(), 0444);
    EXPECT_EQ(store.readProblem(), "");
    EXPECT_EQ(set(store, "A", "B", REG_SZ, str("x\0", 2)), ERROR_ACCESS_DENIED);
    EXPECT_NE(store.lastError().find("read-only"), std::string::npos) << store.lastError();
    EXPECT_EQ(readFile(path), "REGEDIT4\n");
    ::chmod(path.c_str(), 0644);
    writeFile(path, "\r\n");
    EXPECT_EQ(store.readProblem(), "");
    EXPECT_EQ(set(store, "A", "B", REG_SZ, str("x\0", 2)), ERROR_SUCCESS);

    // 10 MB of keys: read and written, nothing lost.
    std::string large = "Windows Registry Editor Version 5.00\n";
    int keys = 0;
    while (large.size() < 10'000'000)
        large += "\n[HKEY_LOCAL_MACHINE\\Big\\K" + std::to_string(keys++) + "]\n\"V\"=hex:01,02,03,04,05,06,07,08\n\"S\"=\"value\"\n";
    writeFile(path, large);
    EXPECT_EQ(query(store, "Big\\K" + std::to_string(keys - 1), "S").bytes, str("value\0", 6));
    EXPECT_EQ(set(store, "Big\\K0", "S", REG_SZ, str("changed\0", 8)), ERROR_SUCCESS);
    RegFileStore other(path);
    EXPECT_EQ(query(other, "Big\\K0", "S").bytes, str("changed\0", 8));
    EXPECT_EQ(query(other, "Big\\K" + std::to_string(keys - 1), "S").bytes, str("value\0", 6));

    // Past the size limit the file reads as empty and stays as it is.
    std::string huge = "REGEDIT4\n[HKEY_LOCAL_MACHINE\\A]\n\"B\"=\"c\"\n";
    huge.resize(RegFileStore::kMaxFileBytes + 1, ';');
    writeFile(path, huge);
    EXPECT_EQ(query(store, "A", "B").result, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(set(store, "A", "B", REG_SZ, str("d\0", 2)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(readFile(path).size(), huge.size());

    // A path below a regular file can be neither read nor written.
    writeFile(dir.file("plain"), "not a folder");
    RegFileStore nowhere(dir.file("plain/r.reg"));
    EXPECT_EQ(query(nowhere, "A", "B").result, ERROR_FILE_NOT_FOUND);
    EXPECT_NE(set(nowhere, "A", "B", REG_SZ, str("d\0", 2)), ERROR_SUCCESS);
    EXPECT_EQ(readFile(dir.file("plain")), "not a folder");
}

TEST(RegFileStore, TwoStoresOnOneFileSeeEachOther)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");
    RegFileStore one(path), two(path);
    ASSERT_EQ(set(one, "K", "A", REG_SZ, str("1\0", 2)), ERROR_SUCCESS);
    EXPECT_EQ(query(two, "K", "A").bytes, str("1\0", 2));
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(set(one, "K", "One" + std::to_string(i), REG_SZ, str("x\0", 2)), ERROR_SUCCESS);
        ASSERT_EQ(set(two, "k", "Two" + std::to_string(i), REG_SZ, str("y\0", 2)), ERROR_SUCCESS);
    }
    ASSERT_EQ(set(two, "K", "A", REG_SZ, str("2\0", 2)), ERROR_SUCCESS);
    EXPECT_EQ(query(one, "K", "A").bytes, str("2\0", 2));

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

    RegFileStore three(path);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(query(three, "K", "One" + std::to_string(i)).result, ERROR_SUCCESS) << i;
        EXPECT_EQ(query(three, "K", "Two" + std::to_string(i)).result, ERROR_SUCCESS) << i;
    }
}

#ifndef _WIN32
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
        EXPECT_EQ(query(check, "Shared", "Child" + std::to_string(i)).bytes, std::string(4, char(i))) << i;
        EXPECT_EQ(query(check, "Shared", "Parent" + std::to_string(i)).bytes, std::string(4, char(i))) << i;
    }
}
#endif

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
        RegDocument doc = RegDocument::parse(text);
        std::string back = doc.text();
        if (!text.empty() && text.back() != '\n' && text.back() != '\r')
            text += '\n';
        if (text.find_first_not_of(" \t\r\n") != std::string::npos) {
            ASSERT_EQ(back, text) << round;
        }
        RegData data{REG_BINARY, "\x01\x02"};
        doc.setValue("Fz\\New", "Value", data);
        RegDocument again = RegDocument::parse(doc.text());
        const RegData* found = again.findValue("FZ\\NEW", "value");
        ASSERT_TRUE(found != nullptr) << round;
        EXPECT_EQ(*found, data);
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

// The configuration files survive a writer killed at any moment, and the
// firmware check keeps its memory bounded on files of any size. Writers and
// checks run in child processes, so a kill or a memory peak is the child's.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "firmware/firmware_file_scan.h"
#include "firmware/firmware_line_reader.h"
#include "platform/ini_profile_files.h"
#include "platform/reg_document.h"
#include "platform/reg_file_store.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::test;

namespace {

constexpr const char* kKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";
constexpr int kValues = 4;

std::string valueName(int i) { return "Value" + std::to_string(i); }

void setRegistryValue(RegFileStore& store, const std::string& name, const std::string& text)
{
    HKEY h = 0;
    if (store.regCreateKey(HKEY_LOCAL_MACHINE, kKey, h) != ERROR_SUCCESS)
        return;
    store.regSetValueEx(h, name, REG_SZ, reinterpret_cast<const uint8_t*>(text.c_str()),
                        static_cast<uint32_t>(text.size() + 1));
    store.regCloseKey(h);
}

// The child: writes round after round of values, each key one atomic
// replace, registry then INI, until it is killed.
[[noreturn]] void writeForever(const std::string& registryFile, const std::string& windowsDir, int trial)
{
    alarm(10); // a parent that died must not leave us running
    RegFileStore store(registryFile);
    IniProfileFiles profiles(windowsDir);
    for (int round = 0;; ++round) {
        const std::string text = "t" + std::to_string(trial) + "-" + std::to_string(round);
        for (int i = 0; i < kValues; ++i)
            setRegistryValue(store, valueName(i), text);
        for (int i = 0; i < kValues; ++i)
            profiles.writePrivateProfileString("DeviceInformation3", valueName(i), text, "CLPRP32.INI");
    }
}

// The round a value belongs to: -1 for the value the trial started from.
int roundOf(const std::string& value, const std::string& before, int trial)
{
    if (value == before)
        return -1;
    const std::string prefix = "t" + std::to_string(trial) + "-";
    if (value.rfind(prefix, 0) != 0)
        return -1000; // neither old nor new
    return std::atoi(value.c_str() + prefix.size());
}

// Keys are written in order, so a whole file holds round r in its first keys
// and round r - 1 in the rest: anything else is a mixed file.
bool roundsAreConsistent(const std::array<int, kValues>& rounds)
{
    for (int i = 1; i < kValues; ++i)
        if (rounds[i] > rounds[i - 1] || rounds[i] < -1)
            return false;
    return rounds[0] >= -1 && rounds[0] - rounds[kValues - 1] <= 1;
}

struct Peak {
    FirmwareFileFault fault = FirmwareFileFault::None;
    long baselineKb = 0;
    long peakKb = 0;
    bool finished = false;
};

// Runs the whole-file check in a child and reports its result and how far
// its resident memory grew during the check.
Peak checkInChild(const std::string& path)
{
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        alarm(120);
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        FirmwareLineReader reader;
        long result[3] = {-1, before.ru_maxrss, 0};
        if (reader.open(path))
            result[0] = static_cast<long>(CheckFirmwareFile(reader).fault);
        rusage after{};
        getrusage(RUSAGE_SELF, &after);
        result[2] = after.ru_maxrss;
        (void)!write(fds[1], result, sizeof result);
        _exit(0);
    }
    close(fds[1]);
    long result[3] = {};
    const bool finished = read(fds[0], result, sizeof result) == static_cast<ssize_t>(sizeof result);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return {static_cast<FirmwareFileFault>(result[0]), result[1], result[2], finished};
}

const std::string kHeader = "[Hex File Information]\r\nFirmwareVersion=1.8\r\nFirmwareType=B&B SIP\r\n"
                            "ReleaseDate=03/14/2026\r\nHardwareVersions=1.0\r\n\r\n"
                            ":0400000000010203F6\r\n";

} // namespace

TEST(DataSafety, WritersKilledAtRandomLeaveEachFileWholeWithOldOrNewValues)
{
    TempDir dir;
    const std::string registryFile = dir.file("registry.reg");
    const std::string windowsDir = dir.path();
    const std::string iniFile = dir.file("CLPRP32.INI");
    writeFile(iniFile, "; kept by hand\r\n[VendorInformation]\r\nName=Halvorn\r\n\r\n[DeviceInformation3]\r\n");
    {
        RegFileStore store(registryFile);
        for (int i = 0; i < kValues; ++i)
            setRegistryValue(store, valueName(i), "start");
    }
    IniProfileFiles reader(windowsDir);
    for (int i = 0; i < kValues; ++i)
        ASSERT_TRUE(reader.writePrivateProfileString("DeviceInformation3", valueName(i), "start", "CLPRP32.INI"));

    std::array<std::string, kValues> regBefore, iniBefore;
    regBefore.fill("start");
    iniBefore.fill("start");
    std::mt19937 random(20261121);
    std::uniform_int_distribution<int> killAfterUs(0, 30000);
    const int trials = 200;
    int trialsThatWrote = 0;
    for (int trial = 0; trial < trials; ++trial) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0)
            writeForever(registryFile, windowsDir, trial);
        std::this_thread::sleep_for(std::chrono::microseconds(killAfterUs(random)));
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "trial " << trial;

        RegDocument doc = RegDocument::parse(readFile(registryFile));
        ASSERT_TRUE(doc.hasHeader()) << "trial " << trial;
        std::array<int, kValues> regRounds{}, iniRounds{};
        std::array<std::string, kValues> regNow, iniNow;
        for (int i = 0; i < kValues; ++i) {
            const RegData* v = doc.findValue(kKey, valueName(i));
            ASSERT_TRUE(v && !v->bytes.empty()) << "trial " << trial << " " << valueName(i);
            regNow[i] = v->bytes.substr(0, v->bytes.size() - 1);
            regRounds[i] = roundOf(regNow[i], regBefore[i], trial);
            std::string out;
            reader.getPrivateProfileString("DeviceInformation3", valueName(i), "<missing>", out, 256,
                                           "CLPRP32.INI");
            iniNow[i] = out;
            iniRounds[i] = roundOf(out, iniBefore[i], trial);
        }
        ASSERT_TRUE(roundsAreConsistent(regRounds)) << "trial " << trial << " registry " << regNow[0] << " "
                                                    << regNow[kValues - 1];
        ASSERT_TRUE(roundsAreConsistent(iniRounds)) << "trial " << trial << " INI " << iniNow[0] << " "
                                                    << iniNow[kValues - 1];
        std::string name;
        ASSERT_EQ(reader.getPrivateProfileString("VendorInformation", "Name", "", name, 64, "CLPRP32.INI"), 7u);
        ASSERT_EQ(readFile(iniFile).rfind("; kept by hand\r\n", 0), 0u) << "trial " << trial;
        if (regRounds[0] >= 0)
            ++trialsThatWrote;
        regBefore = regNow;
        iniBefore = iniNow;
    }
    // The kills must have landed among the writes, not only before them.
    EXPECT_GT(trialsThatWrote, trials / 4);
    RecordProperty("trials_that_wrote", trialsThatWrote);
    std::printf("%d of %d killed writers had replaced the files at least once\n", trialsThatWrote, trials);
}

TEST(DataSafety, HugeFirmwareFilesAreRefusedInBoundedMemory)
{
    TempDir dir;
    // 1 GiB, sparse: the header and a record, then a hole that reads as NULs
    // (one enormous line).
    const std::string huge = dir.file("huge.hex");
    writeFile(huge, kHeader);
    ASSERT_EQ(truncate(huge.c_str(), off_t{1} << 30), 0);
    // A record line of 10 MB, then a proper end.
    const std::string longLine = dir.file("long-line.hex");
    writeFile(longLine, kHeader + ":" + std::string(10'000'000, 'A') + "\r\n:00000001FF\r\n");

    for (const std::string& path : {huge, longLine}) {
        Peak peak = checkInChild(path);
        ASSERT_TRUE(peak.finished) << path;
        EXPECT_EQ(peak.fault, FirmwareFileFault::LineTooLong) << path;
        // Reading the whole file would cost at least its size.
        EXPECT_LT(peak.peakKb - peak.baselineKb, 8 * 1024) << path;
        RecordProperty(path.substr(path.rfind('/') + 1) + "_peak_growth_kb", peak.peakKb - peak.baselineKb);
        std::printf("%s: peak RSS %ld kB, growth during the check %ld kB\n", path.c_str(), peak.peakKb,
                    peak.peakKb - peak.baselineKb);
    }
}

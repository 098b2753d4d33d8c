// The configuration files survive a writer killed at any moment, and the
// firmware check keeps its memory bounded on files of any size. Writers and
// checks run in child processes, so a kill or a memory peak is the child's.
#include <gtest/gtest.h>

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
#include "settings/modRegistry.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::test;

namespace {

constexpr const char* kKey = "SOFTWARE\\Halvorn Inc.\\Linkport Toolkit";
constexpr int kValues = 4;
constexpr int kMixed = -1000;
constexpr const char* kIni = "CLPRP32.INI";
using Values = std::array<std::string, kValues>;

std::string valueName(int i) { return "Value" + std::to_string(i); }

// One round: `text` in every value, each key one atomic replace, registry
// then INI. False when an INI write failed (a failed registry write shows
// as a missing value).
bool writeRound(RegFileStore& store, IniProfileFiles& profiles, const std::string& text)
{
    Context ctx;
    ctx.ports.registry = &store;
    for (int i = 0; i < kValues; ++i)
        RegWriteValue(ctx, HKEY_LOCAL_MACHINE, kKey, valueName(i), text.c_str());
    bool written = true;
    for (int i = 0; i < kValues; ++i)
        written &= profiles.writePrivateProfileString("DeviceInformation3", valueName(i), text, kIni);
    return written;
}

// The child: writes round after round until it is killed.
[[noreturn]] void writeForever(const std::string& registryFile, const std::string& windowsDir, int trial)
{
    alarm(10); // a parent that died must not leave us running
    RegFileStore store(registryFile);
    IniProfileFiles profiles(windowsDir);
    for (int round = 0;; ++round)
        writeRound(store, profiles, "t" + std::to_string(trial) + "-" + std::to_string(round));
}

// Keys are written in order, so a whole file holds round r in its first keys
// and round r - 1 in the rest, the value a key had before the trial counting
// as round -1. Gives the first key's round, or kMixed for anything else.
int roundOfFile(const Values& now, const Values& before, int trial)
{
    const std::string prefix = "t" + std::to_string(trial) + "-";
    std::array<int, kValues> rounds{};
    for (int i = 0; i < kValues; ++i) {
        if (now[i] == before[i])
            rounds[i] = -1;
        else if (now[i].rfind(prefix, 0) == 0)
            rounds[i] = std::atoi(now[i].c_str() + prefix.size());
        else
            return kMixed; // neither old nor new
        if (i > 0 && rounds[i] > rounds[i - 1])
            return kMixed;
    }
    return rounds[0] - rounds[kValues - 1] <= 1 ? rounds[0] : kMixed;
}

// Runs the whole-file check in a child: the fault it found (-2 when the
// child told nothing) and the child's peak resident memory before and after
// the check, in kB.
std::array<long, 3> checkInChild(const std::string& path)
{
    std::array<long, 3> result{-2, 0, 0};
    int fds[2];
    if (pipe(fds) != 0)
        return result;
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(120);
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        result = {-1, usage.ru_maxrss, 0};
        FirmwareLineReader reader;
        if (reader.open(path))
            result[0] = static_cast<long>(CheckFirmwareFile(reader).fault);
        getrusage(RUSAGE_SELF, &usage);
        result[2] = usage.ru_maxrss;
        (void)!write(fds[1], result.data(), sizeof result);
        _exit(0);
    }
    close(fds[1]);
    (void)!read(fds[0], result.data(), sizeof result); // one write under PIPE_BUF: whole or nothing
    close(fds[0]);
    waitpid(pid, nullptr, 0);
    return result;
}

const std::string kHeader = "[Hex File Information]\r\nFirmwareVersion=1.8\r\nFirmwareType=B&B SIP\r\n"
                            "ReleaseDate=03/14/2026\r\nHardwareVersions=1.0\r\n\r\n"
                            ":0400000000010203F6\r\n";

} // namespace

TEST(DataSafety, WritersKilledAtRandomLeaveEachFileWholeWithOldOrNewValues)
{
    TempDir dir;
    const std::string registryFile = dir.file("registry.reg");
    const std::string iniFile = dir.file(kIni);
    writeFile(iniFile, "; kept by hand\r\n[VendorInformation]\r\nName=Halvorn\r\n\r\n[DeviceInformation3]\r\n");
    IniProfileFiles reader(dir.path());
    {
        RegFileStore store(registryFile);
        ASSERT_TRUE(writeRound(store, reader, "start"));
    }

    Values regBefore, iniBefore;
    regBefore.fill("start");
    iniBefore.fill("start");
    std::mt19937 random(20261121);
    std::uniform_int_distribution<int> killAfterUs(0, 30000);
    const int trials = 200;
    int trialsThatWrote = 0;
    for (int trial = 0; trial < trials; ++trial) {
        SCOPED_TRACE(trial);
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0)
            writeForever(registryFile, dir.path(), trial);
        std::this_thread::sleep_for(std::chrono::microseconds(killAfterUs(random)));
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));

        RegDocument doc = RegDocument::parse(readFile(registryFile));
        ASSERT_TRUE(doc.hasHeader());
        Values regNow, iniNow;
        for (int i = 0; i < kValues; ++i) {
            const RegData* v = doc.findValue(kKey, valueName(i));
            ASSERT_TRUE(v && !v->bytes.empty()) << valueName(i);
            regNow[i] = v->bytes.substr(0, v->bytes.size() - 1);
            reader.getPrivateProfileString("DeviceInformation3", valueName(i), "-", iniNow[i], 256, kIni);
        }
        const int regRound = roundOfFile(regNow, regBefore, trial);
        ASSERT_NE(regRound, kMixed) << "registry " << regNow[0] << " " << regNow[3];
        ASSERT_NE(roundOfFile(iniNow, iniBefore, trial), kMixed) << "INI " << iniNow[0] << " " << iniNow[3];
        std::string name;
        ASSERT_EQ(reader.getPrivateProfileString("VendorInformation", "Name", "", name, 64, kIni), 7u);
        ASSERT_EQ(readFile(iniFile).rfind("; kept by hand\r\n", 0), 0u);
        trialsThatWrote += regRound >= 0;
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
        SCOPED_TRACE(path);
        const auto [fault, baselineKb, peakKb] = checkInChild(path);
        EXPECT_EQ(fault, static_cast<long>(FirmwareFileFault::LineTooLong));
        // Reading the whole file would cost at least its size.
        EXPECT_LT(peakKb - baselineKb, 8 * 1024);
        RecordProperty(path.substr(path.rfind('/') + 1) + "_peak_growth_kb", peakKb - baselineKb);
        std::printf("%s: peak RSS %ld kB, growth during the check %ld kB\n", path.c_str(), peakKb,
                    peakKb - baselineKb);
    }
}

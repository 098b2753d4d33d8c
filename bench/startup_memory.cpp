// Start-up time and memory of the programs themselves, run as a user would:
//  - start-up: from the start of `linkport-toolkit` (offscreen, fresh
//    settings, no adapter) to its main window shown, which the program says
//    on stdout when LINKPORT_PRINT_WHEN_SHOWN=1 (then it is ended); the median of
//    three starts, so one start that waits on a cold disk does not decide;
//  - memory: the peak resident size (getrusage of the child) of
//    `linkport --demo=compact flash <demo HEX file> --yes`, the command line
//    flashing the demo's compact adapter, simulation included.
// Both programs are taken from beside this one. HOME points into a temporary
// folder so that neither the user's settings nor logs are read or written.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr double kStartTargetSeconds = 0.5;
constexpr double kMemoryTargetMiB = 80;
constexpr int kStarts = 3;
constexpr int kStartLimitSeconds = 30;

using Clock = std::chrono::steady_clock;

fs::path programFolder()
{
    std::error_code ec;
    return fs::read_symlink("/proc/self/exe", ec).parent_path();
}

// The child's environment: ours with HOME (and so every default settings and
// log folder) in `home`, plus `extra`.
void prepareChildEnvironment(const std::string& home, const std::vector<std::pair<std::string, std::string>>& extra)
{
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
    setenv("LINKPORT_FLASH_LOG", (home + "/flash-log.jsonl").c_str(), 1);
    unsetenv("windir");
    unsetenv("LINKPORT_REGISTRY_FILE");
    unsetenv("LINKPORT_DOSDEVICES");
    if (!getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    for (const auto& [name, value] : extra)
        setenv(name.c_str(), value.c_str(), 1);
}

// Seconds from fork to the child's "shown" line; negative when it never came.
double timeStart(const fs::path& program, const std::string& home)
{
    int out[2];
    if (pipe(out) != 0)
        return -1;
    const auto begin = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        prepareChildEnvironment(home, {{"LINKPORT_PRINT_WHEN_SHOWN", "1"}});
        dup2(out[1], STDOUT_FILENO);
        close(out[0]);
        close(out[1]);
        // Its chatter would only clutter the JSON stream's stderr.
        if (FILE* null = std::fopen("/dev/null", "w"))
            dup2(fileno(null), STDERR_FILENO);
        execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(out[1]);
    if (pid < 0) {
        close(out[0]);
        return -1;
    }
    // A program that never shows its window (a box that waits for an answer)
    // is ended rather than waited on for ever.
    alarm(kStartLimitSeconds);
    std::string text;
    char buffer[256];
    double seconds = -1;
    for (;;) {
        const ssize_t n = read(out[0], buffer, sizeof buffer);
        if (n <= 0)
            break;
        text.append(buffer, static_cast<size_t>(n));
        if (text.find("shown\n") != std::string::npos) {
            seconds = std::chrono::duration<double>(Clock::now() - begin).count();
            break;
        }
    }
    alarm(0);
    close(out[0]);
    // Without a demo there is nothing of its own to clean up: a plain kill.
    int status = 0;
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return seconds;
}

// Peak resident MiB of the command-line flash; negative when it failed.
double flashPeakMiB(const fs::path& program, const std::string& hexFile, const std::string& home, int& exitCode)
{
    const pid_t pid = fork();
    if (pid == 0) {
        prepareChildEnvironment(home, {});
        if (FILE* null = std::fopen("/dev/null", "w")) {
            dup2(fileno(null), STDOUT_FILENO);
            dup2(fileno(null), STDERR_FILENO);
        }
        execl(program.c_str(), program.c_str(), "--demo=compact", "flash", hexFile.c_str(), "--yes",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    if (pid < 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return -1;
    exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return static_cast<double>(usage.ru_maxrss) / 1024.0; // kilobytes on Linux
}

std::string demoHexFile(const fs::path& bin)
{
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(bin.parent_path() / "demo-firmware", ec)) {
        const std::string name = entry.path().filename().string();
        if (name.find("Compact") != std::string::npos && entry.path().extension() == ".hex")
            return entry.path().string();
    }
    return {};
}

// alarm() only has to interrupt the blocking read.
void onAlarm(int) {}

} // namespace

int main()
{
    struct sigaction action {};
    action.sa_handler = onAlarm;
    sigaction(SIGALRM, &action, nullptr);

    const fs::path bin = programFolder();
    char homeTemplate[] = "/tmp/lp_startup_bench_XXXXXX";
    const char* home = mkdtemp(homeTemplate);
    if (!home) {
        std::printf("{\"benchmark\": \"startup_memory\", \"error\": \"no temporary folder\", \"met\": false}\n");
        return 1;
    }

    std::vector<double> starts;
    bool allStarted = true;
    for (int i = 0; i < kStarts; ++i) {
        const double s = timeStart(bin / "linkport-toolkit", home);
        if (s < 0)
            allStarted = false;
        else
            starts.push_back(s);
    }
    std::sort(starts.begin(), starts.end());
    const double medianStart = starts.empty() ? -1 : starts[starts.size() / 2];

    const std::string hexFile = demoHexFile(bin);
    int flashExit = -1;
    const double peakMiB = hexFile.empty() ? -1 : flashPeakMiB(bin / "linkport", hexFile, home, flashExit);

    std::error_code ec;
    fs::remove_all(home, ec);

    const bool startMet = allStarted && medianStart >= 0 && medianStart <= kStartTargetSeconds;
    const bool memoryMet = peakMiB > 0 && flashExit == 0 && peakMiB <= kMemoryTargetMiB;
    std::printf("{\"benchmark\": \"startup_memory\", \"start_to_window_seconds\": %.3f, \"start_target_seconds\": "
                "%.2f, \"start_met\": %s, \"start_runs\": [",
                medianStart, kStartTargetSeconds, startMet ? "true" : "false");
    for (size_t i = 0; i < starts.size(); ++i)
        std::printf("%s%.3f", i ? ", " : "", starts[i]);
    std::printf("], \"flash_peak_rss_mib\": %.1f, \"memory_target_mib\": %.0f, \"memory_met\": %s, "
                "\"flash_exit_code\": %d, \"flash_file\": \"%s\", \"target\": \"start <= %.2f s, peak <= %.0f MiB\", "
                "\"met\": %s}\n",
                peakMiB, kMemoryTargetMiB, memoryMet ? "true" : "false", flashExit,
                fs::path(hexFile).filename().string().c_str(), kStartTargetSeconds, kMemoryTargetMiB,
                startMet && memoryMet ? "true" : "false");
    return 0;
}

// How fast the wireless flash moves records compared with the least a
// program could do: the same 64 KiB image (4096 records of 16 bytes and the
// end-of-file record) into the same adapter model behind a real loopback
// listener, once by the flash procedure (Qt socket and host, the file read
// line by line, progress, log) and once by a bare stop-and-wait client on
// plain sockets that sends records prepared beforehand. Only the record
// transfer is timed (first record out to last "#" in), not the switch or the
// restart.
//
// The two take turns, round after round, and each round's pair is compared:
// on a shared machine the load changes from one second to the next, and a
// pair run back to back sees the same load. The ratio is the median of the
// rounds' ratios; the rates are each side's median. The client thread's CPU
// time per record tells where a slow round went.
#include <QCoreApplication>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "adapters/wireless/wireless_flash.h"
#include "models/firmware_image.h"
#include "models/wireless_model.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_tcp_socket.h"
#include "doubles/memory_logger.h"
#include "doubles/scripted_prompts.h"
#include "realtime/tcp_model_server.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace lp;
using namespace lp::sim;

const char* const kAddress = "127.0.0.6";
constexpr int kRounds = 15;
constexpr double kTarget = 0.80;

double threadCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

struct Run {
    double seconds = -1; // record transfer, wall
    double cpu = 0;      // client thread's CPU over the same stretch
};

// The screen marks the first record's "#" and the last one's (the progress
// reports each acknowledgement).
struct TimingScreen final : WirelessFlashScreen {
    void showProgressDialog() override { shown = true; }
    void unloadProgressDialog() override {}
    void setProgress(const FlashProgress& p) override
    {
        if (shown && p.acknowledged > 0 && !started) {
            started = true;
            start = Clock::now();
            cpuStart = threadCpuSeconds();
        }
        if (started && !ended && p.complete()) {
            ended = true;
            end = Clock::now();
            cpuEnd = threadCpuSeconds();
        }
    }
    void setHardFlashTimerEnabled(bool) override {}
    void showAdapterValue(WirelessValue, const std::string&) override {}
    void setMousePointer(int) override {}
    void endReconnectWait() override {}
    void showExitReturnDialog(const std::string&) override {}
    void returnToReadyState() override {}
    bool shown = false, started = false, ended = false;
    Clock::time_point start, end;
    double cpuStart = 0, cpuEnd = 0;
};

bool sendAll(int fd, const std::vector<uint8_t>& bytes)
{
    return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

bool readExactly(int fd, size_t count, std::string& out)
{
    out.clear();
    char buffer[64];
    while (out.size() < count) {
        const ssize_t n = ::recv(fd, buffer, std::min(sizeof buffer, count - out.size()), 0);
        if (n <= 0)
            return false;
        out.append(buffer, static_cast<size_t>(n));
    }
    return true;
}

// The bare client: "!!!!", "????", "####", "#", then each record and its "#".
Run minimalRun(const std::vector<std::vector<uint8_t>>& records)
{
    Run run;
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(12321);
    inet_pton(AF_INET, kAddress, &to.sin_addr);
    std::string got;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0 && sendAll(fd, {'!', '!', '!', '!'})
        && readExactly(fd, 4, got) && got == "????" && sendAll(fd, {'#', '#', '#', '#'}) && readExactly(fd, 1, got)) {
        const auto start = Clock::now();
        const double cpu = threadCpuSeconds();
        bool ok = true;
        for (const auto& record : records) {
            if (!sendAll(fd, record) || !readExactly(fd, 1, got) || got != "#") {
                ok = false;
                break;
            }
        }
        if (ok) {
            run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
            run.cpu = threadCpuSeconds() - cpu;
        }
        sendAll(fd, {0x5E, 0x02, 0x01, 0x01, 0x9E});
    }
    ::close(fd);
    return run;
}

Run procedureRun(QtHost& host, const std::string& path, int64_t& flashMs)
{
    QtTcpSockets sockets(&host);
    ScriptedPrompts prompts;
    MemoryLogger log;
    Context ctx;
    ctx.ports.host = &host;
    ctx.ports.prompts = &prompts;
    ctx.ports.log = &log;
    auto socket = sockets.create();
    TimingScreen screen;
    const WirelessFlashResult result = RunWirelessFlash(ctx, *socket, screen, kAddress, path);
    flashMs = result.durationMs;
    Run run;
    if (result.succeeded() && screen.ended) {
        run.seconds = std::chrono::duration<double>(screen.end - screen.start).count();
        run.cpu = screen.cpuEnd - screen.cpuStart;
    } else {
        std::fprintf(stderr, "wireless_flash_throughput: the flash failed: %s\n", result.reason.c_str());
    }
    return run;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t mid = values.size() / 2;
    return values.size() % 2 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const std::vector<uint8_t> image = pseudoRandomImage(64 * 1024, 3);
    const std::string text = firmwareFileText(image);
    std::error_code ec;
    const auto dir = std::filesystem::temp_directory_path(ec) / ("linkport-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir, ec);
    const std::string path = (dir / "WLP64K.HEX").string();
    std::ofstream(path, std::ios::binary) << text;

    std::vector<std::vector<uint8_t>> records;
    {
        std::istringstream lines(text);
        std::string line;
        for (int n = 1; std::getline(lines, line); ++n) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            if (n > kFirmwareHeaderLines)
                records.push_back(RecordToBytes(line, true));
        }
    }

    WirelessAdapterConfig config;
    config.startInLoader = true;
    config.restartUs = 100000;
    WirelessModel model(config);
    TcpModelServer server(model, kAddress);
    std::string error;
    if (!server.start(&error)) {
        std::fprintf(stderr, "wireless_flash_throughput: %s\n", error.c_str());
        return 1;
    }
    QtHost host;
    auto intoLoader = [&] {
        // The restart after the closing frame has to be over first.
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        server.call([&] { model.setMode(WirelessMode::Loader); });
    };

    const double n = static_cast<double>(records.size());
    std::vector<double> minimalRates, procedureRates, ratios, minimalCpu, procedureCpu;
    bool imagesWhole = true;
    int64_t flashMs = 0;
    for (int round = 0; round < kRounds; ++round) {
        intoLoader();
        const Run minimal = minimalRun(records);
        intoLoader();
        const Run procedure = procedureRun(host, path, flashMs);
        bool whole = false;
        server.call([&] { whole = model.appliedImage() == imageByAddress(image); });
        imagesWhole = imagesWhole && whole;
        if (minimal.seconds <= 0 || procedure.seconds <= 0)
            continue;
        minimalRates.push_back(n / minimal.seconds);
        procedureRates.push_back(n / procedure.seconds);
        ratios.push_back(minimal.seconds / procedure.seconds);
        minimalCpu.push_back(minimal.cpu * 1e6 / n);
        procedureCpu.push_back(procedure.cpu * 1e6 / n);
        std::fprintf(stderr, "round %d: minimal %.3f s (%.1f us CPU a record), procedure %.3f s (%.1f us)\n", round + 1,
                     minimal.seconds, minimal.cpu * 1e6 / n, procedure.seconds, procedure.cpu * 1e6 / n);
    }
    server.stop();
    std::filesystem::remove_all(dir, ec);

    const bool allRounds = static_cast<int>(ratios.size()) == kRounds;
    const double ratio = median(ratios);
    const bool met = allRounds && imagesWhole && ratio >= kTarget;
    std::printf("{\"benchmark\": \"wireless_flash_throughput\", \"records\": %zu, \"image_bytes\": %zu, "
                "\"procedure_records_per_s\": %.0f, \"minimal_records_per_s\": %.0f, \"ratio\": %.3f, "
                "\"target\": %.2f, \"met\": %s, \"rounds\": %d, \"rounds_completed\": %zu, "
                "\"procedure_client_cpu_us_per_record\": %.1f, \"minimal_client_cpu_us_per_record\": %.1f, "
                "\"images_whole\": %s, \"procedure_whole_flash_ms\": %lld}\n",
                records.size(), image.size(), median(procedureRates), median(minimalRates), ratio, kTarget,
                met ? "true" : "false", kRounds, ratios.size(), median(procedureCpu), median(minimalCpu),
                imagesWhole ? "true" : "false", static_cast<long long>(flashMs));
    return 0;
}

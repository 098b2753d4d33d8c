// How close the compact adapter's serial flash comes to the wire: a 64 KiB
// image (4096 records of 16 bytes) through a real pseudo-terminal into the
// compact adapter model, with the real serial port, the Qt host and a
// Qt-backed `tmrProgramDevice`, at 115200 and 57600 baud.
//
// The wire limit of one record is its bytes plus the one-byte "#", ten bits
// each, at the baud rate; the ratio is that limit over the time the transfer
// really took (start-up and the loader hand-shake not counted).
//
// With --scaling it answers a different question the same way: does a record
// cost the same however long the file is? Images of 16, 64 and 256 KiB at
// 115200 baud, one run each (about 45 s of wire time in all); the figure is
// the largest image's time per record over the smallest's.
//
// With --usb-turnaround the pty plays a USB-serial converter that holds the
// adapter's bytes for 16, 4 and 1 ms (an FTDI chip's latency timer at its
// default, and lowered as low-latency mode does): a 16 KiB image at 115200
// baud at each. A record's limit there is its wire time plus one turnaround
// for the "#"; each figure is measured against its own limit and printed
// beside the bare wire's, with each record's time split into the wait for
// its "#" and the program's own part.
#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "adapters/compact/compact_flash.h"
#include "bench_support.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "qt_support/pty_serial_rig.h"

#include <unistd.h>

using namespace lp;
using namespace lp::sim;

namespace {

constexpr double kTarget = 0.90;
constexpr double kScalingTarget = 1.10;
constexpr size_t kImageBytes = 64 * 1024;
constexpr size_t kRecordWireBytes = 1 + 1 + 2 + 1 + 16 + 1 + 1; // ":", count, address, type, data, check, "#"

struct Run {
    bool ok = false;
    std::string why;
    int64_t records = 0;
    double seconds = 0;
    // Per record: from a record written to its first reply byte seen (the
    // wire, the converter and the simulation's threads), and from that byte
    // to the next record written (the program's own work).
    double waitMs = 0, programMs = 0;
};

// The flash's port with a stopwatch on it: splits each record's time into
// the wait for the adapter and the program's own part.
class TimedPort final : public SerialPort {
public:
    explicit TimedPort(SerialPort& port) : port_(port) {}
    bool setCommPort(int16_t n) override { return port_.setCommPort(n); }
    int16_t commPort() const override { return port_.commPort(); }
    bool setSettings(const std::string& s) override { return port_.setSettings(s); }
    std::string settings() const override { return port_.settings(); }
    bool setRTSEnable(bool on) override { return port_.setRTSEnable(on); }
    bool setDTREnable(bool on) override { return port_.setDTREnable(on); }
    bool setPortOpen(bool open) override { return port_.setPortOpen(open); }
    bool portOpen() const override { return port_.portOpen(); }
    Bytes input() override { return port_.input(); }
    std::string lastError() const override { return port_.lastError(); }

    bool output(const Bytes& bytes) override
    {
        const auto now = Clock::now();
        const bool record = bytes.size() > kRecordWireBytes / 2; // not a burst, frame or "####"
        if (record && answered_) {
            programMs_ += ms(answer_, now);
            ++gaps_;
        }
        written_ = now;
        waiting_ = record;
        answered_ = false;
        return port_.output(bytes);
    }
    int inBufferCount() override
    {
        const int n = port_.inBufferCount();
        if (n > 0 && waiting_) {
            answer_ = Clock::now();
            waitMs_ += ms(written_, answer_);
            ++waits_;
            waiting_ = false;
            answered_ = true;
        }
        return n;
    }

    double waitMsPerRecord() const { return waits_ ? waitMs_ / static_cast<double>(waits_) : 0; }
    double programMsPerRecord() const { return gaps_ ? programMs_ / static_cast<double>(gaps_) : 0; }

private:
    using Clock = std::chrono::steady_clock;
    static double ms(Clock::time_point a, Clock::time_point b)
    {
        return std::chrono::duration<double, std::milli>(b - a).count();
    }
    SerialPort& port_;
    Clock::time_point written_, answer_;
    bool waiting_ = false, answered_ = false;
    double waitMs_ = 0, programMs_ = 0;
    int64_t waits_ = 0, gaps_ = 0;
};

Run flashOnce(const std::string& folder, int baud, const std::string& suffix, const std::string& hexPath,
              size_t imageBytes = kImageBytes, int turnaroundMs = 0)
{
    Run run;
    CompactModel::Config config;
    config.baud = baud;
    CompactModel adapter(config);
    PtyBridge bridge(adapter);
    bridge.setFollowProgramOpens(true);
    bridge.setConverterTurnaround(turnaroundMs);
    lp::test::PtyComPort com5(bridge, folder, 5);
    if (!com5.linked) {
        run.why = com5.error;
        return run;
    }
    FILE* ini = std::fopen((folder + "/CLPRP32.INI").c_str(), "wb");
    if (!ini) {
        run.why = "cannot write CLPRP32.INI";
        return run;
    }
    std::fprintf(ini, "[DeviceInformation3]\r\nDeviceParams=COM5,%s\r\n", suffix.c_str());
    std::fclose(ini);

    lp::test::QtSerialContext real(folder);
    auto port = real.ports.create();
    auto connection = std::make_unique<TimedPort>(*port);
    lp::test::RecordingCompactScreen screen;
    CompactFlash flash(real.ctx, *connection, screen);
    screen.drive(real.host, flash);

    if (!flash.start(5, hexPath)) {
        run.why = "start: " + flash.result().reason;
        return run;
    }
    const auto begin = std::chrono::steady_clock::now();
    real.host.waitUntil([&] { return !flash.transferring(); }, 600'000);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    run.records = flash.result().recordsSent;
    run.waitMs = connection->waitMsPerRecord();
    run.programMs = connection->programMsPerRecord();
    bridge.stop();
    run.ok = flash.result().succeeded && adapter.image.size() == imageBytes;
    if (!run.ok)
        run.why = flash.result().reason.empty() ? "image differs" : flash.result().reason;
    return run;
}

bool writeImage(const std::string& hexPath, size_t bytes)
{
    const std::string text = firmwareFileText(pseudoRandomImage(bytes, 3));
    FILE* f = std::fopen(hexPath.c_str(), "wb");
    if (!f)
        return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

void removeFolder(const std::string& folder, const std::string& hexPath)
{
    std::remove(hexPath.c_str());
    std::remove((folder + "/CLPRP32.INI").c_str());
    std::remove((folder + "/dosdevices/com5").c_str());
    rmdir((folder + "/dosdevices").c_str());
    rmdir(folder.c_str());
}

// The run's error as a JSON member; empty when it went well.
std::string errorMember(const Run& run)
{
    return run.ok ? std::string() : ", \"error\": \"" + lp::bench::jsonText(run.why) + "\"";
}

// Closes the runs with the overall verdict, prints the document and tidies up.
int finish(std::string json, bool allMet, const std::string& folder, const std::string& hexPath)
{
    json += std::string("], \"met\": ") + (allMet ? "true" : "false") + "}";
    std::printf("%s\n", json.c_str());
    removeFolder(folder, hexPath);
    return 0;
}

int scaling(const std::string& folder, const std::string& hexPath)
{
    std::string json = "{\"benchmark\": \"compact_flash_scaling\", \"baud\": 115200, \"runs\": [";
    bool allOk = true;
    double smallest = 0, largest = 0;
    const size_t sizes[] = {16 * 1024, 64 * 1024, 256 * 1024};
    for (size_t bytes : sizes) {
        Run run;
        if (!writeImage(hexPath, bytes))
            run.why = "cannot write the image";
        else
            run = flashOnce(folder, 115200, "P1", hexPath, bytes);
        const double perRecordMs = run.records > 0 ? run.seconds * 1000 / static_cast<double>(run.records) : 0;
        if (bytes == sizes[0])
            smallest = perRecordMs;
        largest = perRecordMs;
        allOk = allOk && run.ok;
        char line[512];
        std::snprintf(line, sizeof line,
                      "%s{\"image_bytes\": %zu, \"ok\": %s, \"records\": %lld, \"seconds\": %.3f, "
                      "\"per_record_ms\": %.4f%s}",
                      bytes == sizes[0] ? "" : ", ", bytes, run.ok ? "true" : "false",
                      static_cast<long long>(run.records), run.seconds, perRecordMs,
                      errorMember(run).c_str());
        json += line;
    }
    const double ratio = smallest > 0 ? largest / smallest : 0;
    char tail[256];
    std::snprintf(tail, sizeof tail, "], \"per_record_ratio\": %.4f, \"target\": %.2f, \"met\": %s}", ratio,
                  kScalingTarget, allOk && ratio > 0 && ratio <= kScalingTarget ? "true" : "false");
    json += tail;
    std::printf("%s\n", json.c_str());
    removeFolder(folder, hexPath);
    return allOk ? 0 : 1;
}

int usbTurnaround(const std::string& folder, const std::string& hexPath)
{
    constexpr size_t kBytes = 16 * 1024;
    constexpr int kBaud = 115200;
    const double wireSeconds = kRecordWireBytes * 10.0 / kBaud;
    char head[256];
    std::snprintf(head, sizeof head,
                  "{\"benchmark\": \"compact_flash_usb_turnaround\", \"baud\": %d, \"image_bytes\": %zu, "
                  "\"wire_limit_records_per_second\": %.1f, \"target_ratio\": %.2f, \"runs\": [",
                  kBaud, kBytes, 1.0 / wireSeconds, kTarget);
    std::string json = head;
    bool allMet = writeImage(hexPath, kBytes);
    bool first = true;
    for (int turnaroundMs : {16, 4, 1}) {
        Run run = flashOnce(folder, kBaud, "P1", hexPath, kBytes, turnaroundMs);
        const double limitSeconds = wireSeconds + turnaroundMs / 1000.0;
        const double perSecond = run.seconds > 0 ? static_cast<double>(run.records) / run.seconds : 0;
        const double ratio = perSecond * limitSeconds;
        const bool met = run.ok && ratio >= kTarget;
        allMet = allMet && met;
        char line[512];
        std::snprintf(line, sizeof line,
                      "%s{\"turnaround_ms\": %d, \"ok\": %s, \"records\": %lld, \"seconds\": %.3f, "
                      "\"records_per_second\": %.1f, \"limit_records_per_second\": %.1f, \"ratio\": %.3f, "
                      "\"limit_over_wire\": %.3f, \"wait_ms_per_record\": %.3f, \"program_ms_per_record\": %.3f, "
                      "\"met\": %s%s}",
                      first ? "" : ", ", turnaroundMs, run.ok ? "true" : "false", static_cast<long long>(run.records),
                      run.seconds, perSecond, 1.0 / limitSeconds, ratio, wireSeconds / limitSeconds, run.waitMs,
                      run.programMs, met ? "true" : "false",
                      errorMember(run).c_str());
        json += line;
        first = false;
    }
    return finish(json, allMet, folder, hexPath);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    char folderTemplate[] = "/tmp/lp_cflash_bench_XXXXXX";
    const char* folder = mkdtemp(folderTemplate);
    if (!folder) {
        std::printf("{\"benchmark\": \"compact_flash_throughput\", \"error\": \"no temporary folder\"}\n");
        return 1;
    }
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--scaling")
            return scaling(folder, std::string(folder) + "/app.hex");
        if (std::string(argv[i]) == "--usb-turnaround")
            return usbTurnaround(folder, std::string(folder) + "/app.hex");
    }
    const std::string hexPath = std::string(folder) + "/app.hex";
    writeImage(hexPath, kImageBytes); // a run without the image says so in its error

    struct Case {
        int baud;
        const char* suffix;
    };
    std::string json = "{\"benchmark\": \"compact_flash_throughput\", \"image_bytes\": " + std::to_string(kImageBytes)
                       + ", \"target_ratio\": " + std::to_string(kTarget).substr(0, 4) + ", \"runs\": [";
    bool allMet = true;
    bool first = true;
    for (Case c : {Case{115200, "P1"}, Case{57600, "57600"}}) {
        Run run = flashOnce(folder, c.baud, c.suffix, hexPath);
        const double wireRecordSeconds = kRecordWireBytes * 10.0 / c.baud;
        const double perSecond = run.seconds > 0 ? static_cast<double>(run.records) / run.seconds : 0;
        const double ratio = perSecond * wireRecordSeconds;
        const bool met = run.ok && ratio >= kTarget;
        allMet = allMet && met;
        char line[512];
        std::snprintf(line, sizeof line,
                      "%s{\"baud\": %d, \"ok\": %s, \"records\": %lld, \"seconds\": %.3f, \"records_per_second\": "
                      "%.1f, \"wire_limit_records_per_second\": %.1f, \"ratio\": %.3f, \"met\": %s%s}",
                      first ? "" : ", ", c.baud, run.ok ? "true" : "false", static_cast<long long>(run.records),
                      run.seconds, perSecond, 1.0 / wireRecordSeconds, ratio, met ? "true" : "false",
                      errorMember(run).c_str());
        json += line;
        first = false;
    }
    return finish(json, allMet, folder, hexPath);
}

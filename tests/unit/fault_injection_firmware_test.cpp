// Bad firmware files against the compact and wireless flashes on the virtual
// clock. A file the check refuses must be refused before the adapter hears a
// byte (an adapter switched into its loader for nothing stays there until it
// is power-cycled), with a reason that names the line; a file it passes must
// be one the loader takes to its end, so an erased adapter always gets its
// whole image. The same table goes through the loader's own rules, without
// the check in front, to show where the two agree and where the check is
// deliberately stricter.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "adapters/compact/compact_flash.h"
#include "adapters/wireless/wireless_flash.h"
#include "firmware/firmware_file_scan.h"
#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "models/compact_model.h"
#include "models/firmware_image.h"
#include "models/loader_records.h"
#include "models/wireless_model.h"
#include "support/flash_screens.h"
#include "support/test_context.h"

using namespace lp;
using namespace lp::sim;

namespace {

const std::string kCorrupt = "The file is corrupt!  Please select another file and try again.";
constexpr int kRecords = 4;

std::vector<std::string> split(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2)
        lines.push_back(text.substr(start, end - start));
    return lines;
}

std::string join(const std::vector<std::string>& lines, const std::string& end = "\r\n")
{
    std::string text;
    for (const std::string& l : lines)
        text += l + end;
    return text;
}

// Lines 1-6 the header, 7-10 the data records, 11 the end record.
std::vector<std::string> soundLines() { return split(firmwareFileText(pseudoRandomImage(kRecords * 16))); }

// A record with its check byte made to add up again.
std::string resum(std::string line)
{
    line.resize(line.size() - 2);
    unsigned sum = 0;
    for (size_t i = 1; i + 1 < line.size(); i += 2)
        sum += std::stoul(line.substr(i, 2), nullptr, 16);
    static const char digits[] = "0123456789ABCDEF";
    const unsigned check = (256 - sum % 256) % 256;
    return line + digits[check >> 4] + digits[check & 15];
}

std::string edited(const std::function<void(std::vector<std::string>&)>& edit)
{
    std::vector<std::string> lines = soundLines();
    edit(lines);
    return join(lines);
}

// What the flashes send after "####": the same selection of lines as theirs.
Bytes sentStream(const std::string& text)
{
    FirmwareLineReader reader;
    reader.openText(text);
    Bytes stream;
    std::string raw;
    while (reader.readLine(raw) != FirmwareLineReader::Status::End) {
        const std::string_view line = TrimRecordLine(raw);
        if (reader.lineNumber() <= kFirmwareHeaderLines || line.empty() || IsEndRecordLine(line))
            continue;
        const std::vector<uint8_t> bytes = RecordToBytes(line, true);
        stream.insert(stream.end(), bytes.begin(), bytes.end());
    }
    return stream;
}

struct FileCase {
    const char* name;
    std::string text;
    FirmwareFileFault fault; // None: the file is flashed
    int64_t line;            // where the reason points (0: the whole file)
    bool loaderTakesItWhole; // what the loader would make of it unchecked
};

std::vector<FileCase> fileCases()
{
    const std::string sound = join(soundLines());
    std::string lower = sound;
    for (size_t i = lower.find("\r\n:"); i < lower.size(); ++i)
        lower[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(lower[i])));
    using F = FirmwareFileFault;
    return {
        {"sound", sound, F::None, 0, true},
        {"trailing blank lines", sound + "\r\n  \r\n\t\r\n", F::None, 0, true},
        {"trailing blanks on every line", join(soundLines(), " \t\r\n"), F::None, 0, true},
        {"LF line ends, lower case", join(split(lower), "\n"), F::None, 0, true},
        {"a blank line between records", edited([](auto& l) { l.insert(l.begin() + 8, ""); }), F::None, 0, true},
        {"byte count one short, check adds up",
         edited([](auto& l) { l[7] = resum(":0F" + l[7].substr(3)); }), F::ByteCount, 8, false},
        {"byte count FF, check adds up", edited([](auto& l) { l.insert(l.begin() + 7, ":FF00000001"); }),
         F::ByteCount, 8, false},
        {"check byte", edited([](auto& l) { l[8].back() = l[8].back() == '0' ? '1' : '0'; }), F::CheckByte, 9,
         false},
        {"a digit missing", edited([](auto& l) { l[9] = resum(l[9].substr(0, 20) + l[9].substr(21)); }),
         F::Length, 10, false},
        {"not a hex digit", edited([](auto& l) { l[6][12] = 'G'; }), F::NotHex, 7, false},
        {"text among the records", edited([](auto& l) { l.insert(l.begin() + 8, "garbage"); }), F::NoRecordMark, 9,
         false},
        {"header without its sixth line", edited([](auto& l) { l.erase(l.begin() + 5); }), F::HeaderRecord, 6,
         true},
        {"record type 06", edited([](auto& l) { l[7] = resum(l[7].substr(0, 7) + "06" + l[7].substr(9)); }),
         F::RecordType, 8, false},
        {"base address of three bytes", edited([](auto& l) { l.insert(l.begin() + 6, ":03000004000000F9"); }),
         F::RecordType, 7, false},
        {"a record after the end", edited([](auto& l) { l.push_back(l[6]); }), F::AfterEnd, 12, false},
        {"no end record", edited([](auto& l) { l.pop_back(); }), F::NoEndRecord, 0, false},
        {"an end record elsewhere", edited([](auto& l) { l.back() = ":00000101FE"; }), F::RecordType, 11, false},
        // The loader would take an empty image; flashing it would only erase.
        {"no data", edited([](auto& l) { l.erase(l.begin() + 6, l.end() - 1); }), F::NoData, 0, true},
    };
}

} // namespace

TEST(FaultInjection, FirmwareFilesTheLoaderWouldRefuseAreRefusedFirst)
{
    for (const FileCase& c : fileCases()) {
        SCOPED_TRACE(c.name);
        FirmwareLineReader reader;
        reader.openText(c.text);
        const FirmwareFileCheck check = CheckFirmwareFile(reader);
        EXPECT_EQ(check.fault, c.fault) << check.reason;
        EXPECT_EQ(check.line, c.line) << check.reason;
        if (c.line != 0) {
            EXPECT_EQ(check.reason.rfind("line " + std::to_string(c.line) + ": ", 0), 0u) << check.reason;
        }
        EXPECT_EQ(check.ok(), check.reason.empty()) << check.reason;

        const LoaderStreamVerdict loader = loaderTakesStream(sentStream(c.text));
        EXPECT_EQ(loader.complete(), c.loaderTakesItWhole);
        // Never the other way round: a file that passes is taken whole.
        if (check.ok()) {
            EXPECT_EQ(loader.dataRecords, check.dataRecords);
        }
    }
}

TEST(FaultInjection, CompactFlashRefusesABadFileBeforeTheAdapterHearsAByte)
{
    const auto image = imageByAddress(pseudoRandomImage(kRecords * 16));
    for (const FileCase& c : fileCases()) {
        SCOPED_TRACE(c.name);
        test::TestContext t;
        CompactModel model({.baud = 115200}); // the application runs ("P1"): a flash would switch it
        t.serialPorts.addPort(3, &model);
        t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,P1\r\n");
        const std::string path = t.file("app.hex");
        test::writeFile(path, c.text);
        test::RecordingCompactScreen screen;
        std::unique_ptr<SerialPort> port = t.serialPorts.create();
        const CompactFlashResult r = RunCompactFlash(t.ctx, *port, screen, 3, path);
        EXPECT_TRUE(r.finished);
        EXPECT_FALSE(port->portOpen());
        if (c.fault == FirmwareFileFault::None) {
            EXPECT_TRUE(r.succeeded) << r.reason;
            EXPECT_EQ(model.image, image);
            continue;
        }
        EXPECT_EQ(r.errorCode, 4);
        EXPECT_EQ(t.prompts.prompts(), std::vector<std::string>{kCorrupt});
        EXPECT_NE(r.reason.find(c.line ? "line " + std::to_string(c.line) : std::string("file check")),
                  std::string::npos)
            << r.reason;
        EXPECT_EQ(model.mode(), CompactModel::Mode::Application);
        EXPECT_EQ(t.serialPorts.openCount(3), 0) << "the port was opened for a file that was refused";
    }
}

TEST(FaultInjection, WirelessFlashRefusesABadFileBeforeTheAdapterHearsAByte)
{
    const auto image = imageByAddress(pseudoRandomImage(kRecords * 16));
    for (const FileCase& c : fileCases()) {
        SCOPED_TRACE(c.name);
        test::TestContext t;
        WirelessModel model(WirelessAdapterConfig{});
        t.tcpSockets.addDevice("127.0.0.2", model);
        const std::string path = t.file("wlp.hex");
        test::writeFile(path, c.text);
        std::unique_ptr<TcpSocket> socket = t.tcpSockets.create();
        test::RecordingWirelessScreen screen; // RunWirelessFlash ticks the flash itself
        const WirelessFlashResult r = RunWirelessFlash(t.ctx, *socket, screen, "127.0.0.2", path);
        if (c.fault == FirmwareFileFault::None) {
            EXPECT_TRUE(r.succeeded()) << r.reason;
            EXPECT_EQ(model.appliedImage(), image);
            continue;
        }
        EXPECT_EQ(r.outcome, WirelessFlashOutcome::CorruptFile);
        EXPECT_EQ(r.messages, std::vector<std::string>{kCorrupt});
        EXPECT_NE(r.reason.find(c.line ? "line " + std::to_string(c.line) : std::string("file check")),
                  std::string::npos)
            << r.reason;
        EXPECT_EQ(model.connectionCount(), 0) << "connected for a file that was refused";
        EXPECT_EQ(model.mode(), WirelessMode::Application);
    }
}

// The loader's rules on their own: records a file check would never let
// through still reach a model from the fuzzers and the simulator.
TEST(FaultInjection, LoaderModelsRefuseRecordsOfTheWrongShape)
{
    // The record without its check byte, which is made to add up.
    auto body = [](const std::string& withoutCheck) {
        const std::vector<uint8_t> bytes = RecordToBytes(resum(withoutCheck + "00"), true);
        return Bytes(bytes.begin() + 1, bytes.end());
    };
    const struct {
        std::string record;
        bool endSeen;
        bool taken;
    } cases[] = {
        {":0400000000010203", false, true},  {":00000001", false, true},          {":020000040001", false, true},
        {":0400000512345678", false, true},  {":01FFFF00AA", false, true},        {":0400000000010203", true, false},
        {":00000101", false, false},         {":03000004000000", false, false},   {":0400000600010203", false, false},
        {":0400000200000000", false, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(loaderTakesRecord(body(c.record), c.endSeen), c.taken) << c.record << " after end " << c.endSeen;
    EXPECT_FALSE(loaderTakesRecord(Bytes{0x00, 0x00, 0x00, 0x00, 0x01}, false)) << "a check byte that does not add up";
}

// Bad firmware files against the compact and wireless flashes on the virtual
// clock. A refused file is refused before the adapter hears a byte (switched
// into its loader for nothing, it stays there until power-cycled), with a
// reason naming the line; a passed file is one the loader takes whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <sstream>
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

// Lines 1-6 the header, 7-10 the data records, 11 the end record.
std::vector<std::string> soundLines()
{
    std::vector<std::string> lines;
    std::istringstream in(firmwareFileText(pseudoRandomImage(kRecords * 16)));
    for (std::string l; std::getline(in, l);)
        lines.push_back(l.substr(0, l.size() - 1)); // without the CR
    return lines;
}

std::string join(const std::vector<std::string>& lines, const std::string& end = "\r\n")
{
    std::string text;
    for (const std::string& l : lines)
        text += l + end;
    return text;
}

std::string edited(const std::function<void(std::vector<std::string>&)>& edit)
{
    std::vector<std::string> lines = soundLines();
    edit(lines);
    return join(lines);
}

// A record with its check byte made to add up again.
std::string resum(std::string line)
{
    unsigned sum = 0;
    for (size_t i = 1; i + 3 < line.size(); i += 2)
        sum += std::stoul(line.substr(i, 2), nullptr, 16);
    char check[3];
    std::snprintf(check, sizeof check, "%02X", (256 - sum % 256) % 256);
    return line.substr(0, line.size() - 2) + check;
}

// What the flashes send after "####": the same selection of lines as theirs.
Bytes sentStream(const std::string& text)
{
    FirmwareLineReader reader;
    reader.openText(text);
    Bytes stream;
    for (std::string raw; reader.readLine(raw) != FirmwareLineReader::Status::End;) {
        const std::string_view line = TrimRecordLine(raw);
        if (reader.lineNumber() > kFirmwareHeaderLines && !line.empty() && !IsEndRecordLine(line))
            for (uint8_t b : RecordToBytes(line, true))
                stream.push_back(b);
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
    std::vector<std::string> lower = soundLines();
    for (size_t i = 6; i < lower.size(); ++i)
        std::transform(lower[i].begin(), lower[i].end(), lower[i].begin(), ::tolower);
    using F = FirmwareFileFault;
    return {
        {"sound", sound, F::None, 0, true},
        {"trailing blank lines", sound + "\r\n  \r\n\t\r\n", F::None, 0, true},
        {"trailing blanks on every line", join(soundLines(), " \t\r\n"), F::None, 0, true},
        {"LF line ends, lower case", join(lower, "\n"), F::None, 0, true},
        {"CR line ends", join(soundLines(), "\r"), F::None, 0, true},
        {"a start address record", edited([](auto& l) { l.insert(l.end() - 1, resum(":040000050000010000")); }),
         F::None, 0, true},
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
        // The loader would see the line's first 521 characters only.
        {"a line too long for a record", edited([](auto& l) { l[7] += std::string(522, '0'); }), F::LineTooLong, 8,
         true},
        {"an end record elsewhere", edited([](auto& l) { l.back() = ":00000101FE"; }), F::RecordType, 11, false},
        // The loader would take an empty image; flashing it would only erase.
        {"no data", edited([](auto& l) { l.erase(l.begin() + 6, l.end() - 1); }), F::NoData, 0, true},
    };
}

} // namespace

// Each file through the check, the loader's rules with no check in front,
// and both flashes with the adapter running its application.
TEST(FaultInjection, FirmwareFilesTheLoaderWouldRefuseAreRefusedBeforeTheAdapterHearsAByte)
{
    const auto image = imageByAddress(pseudoRandomImage(kRecords * 16));
    for (const FileCase& c : fileCases()) {
        SCOPED_TRACE(c.name);
        FirmwareLineReader reader;
        reader.openText(c.text);
        const FirmwareFileCheck check = CheckFirmwareFile(reader);
        EXPECT_EQ(check.fault, c.fault) << check.reason;
        EXPECT_EQ(check.line, c.line) << check.reason;
        EXPECT_EQ(check.ok(), check.reason.empty()) << check.reason;
        const LoaderStreamVerdict loader = loaderTakesStream(sentStream(c.text));
        EXPECT_EQ(loader.complete(), c.loaderTakesItWhole);
        if (check.ok()) { // never the other way round: what passes is taken whole
            EXPECT_EQ(loader.dataRecords, check.dataRecords);
        }

        test::TestContext t;
        CompactModel compact({.baud = 115200}); // the rate "P1" names
        t.serialPorts.addPort(3, &compact);
        t.writeWindowsFile("CLPRP32.INI", "[DeviceInformation3]\r\nDeviceParams=COM3,P1\r\n");
        WirelessModel wireless(WirelessAdapterConfig{});
        t.tcpSockets.addDevice("127.0.0.2", wireless);
        const std::string path = t.file("app.hex");
        test::writeFile(path, c.text);
        test::RecordingCompactScreen compactScreen;
        std::unique_ptr<SerialPort> port = t.serialPorts.create();
        const CompactFlashResult cr = RunCompactFlash(t.ctx, *port, compactScreen, 3, path);
        test::RecordingWirelessScreen wirelessScreen; // RunWirelessFlash ticks the flash itself
        std::unique_ptr<TcpSocket> socket = t.tcpSockets.create();
        const WirelessFlashResult wr = RunWirelessFlash(t.ctx, *socket, wirelessScreen, "127.0.0.2", path);
        EXPECT_FALSE(port->portOpen());
        if (check.ok()) {
            EXPECT_TRUE(cr.succeeded && wr.succeeded()) << cr.reason << wr.reason;
            EXPECT_EQ(compact.image, image);
            EXPECT_EQ(wireless.appliedImage(), image);
            continue;
        }
        // The reason names the line, in the log and the result, on both flashes.
        const std::string reason = "file check: " + check.reason;
        EXPECT_EQ(cr.reason + "|" + wr.reason, reason + "|" + reason);
        EXPECT_TRUE(t.log.contains(LogSubsystem::Flash, "error 4"));
        EXPECT_EQ(cr.errorCode, 4);
        EXPECT_EQ(wr.outcome, WirelessFlashOutcome::CorruptFile);
        EXPECT_EQ(t.prompts.boxes(),
                  (test::Boxes{{kCorrupt, 48, "HVN Linkport Toolkit"}, {kCorrupt, 16, "Corrupt file"}}));
        // Back to the ready state with no progress dialog ever shown.
        EXPECT_EQ(compactScreen.readyStates + wirelessScreen.readyStates, 2);
        EXPECT_EQ(compactScreen.dialogShows + wirelessScreen.dialogShows, 0);
        EXPECT_EQ(t.serialPorts.openCount(3), 0) << "the port was opened for a file that was refused";
        EXPECT_EQ(compact.mode(), CompactModel::Mode::Application);
        EXPECT_EQ(wireless.connectionCount(), 0) << "connected for a file that was refused";
    }
}

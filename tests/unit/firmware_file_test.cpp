// Firmware files come from anywhere: a flash must refuse a bad one before
// it sends a byte, and must send a good one exactly as written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "firmware/firmware_file_scan.h"
#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "models/firmware_image.h"
#include "platform/ini_profile_files.h"
#include "support/require.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::test;
using Fault = FirmwareFileFault;
using Bytes = std::vector<uint8_t>;

namespace {

std::string record(uint8_t type, uint16_t address, const Bytes& data) { return sim::hexRecordLine(type, address, data); }

const std::string kGood = record(0, 0, {2, 0x33, 0x7A, 0xFF, 0, 1, 0x80, 0x9C, 0xA5, 0x5A, 0xC3, 0, 0xDE, 0xAD, 0xBE, 1});
const std::string kHeader = "[Hex File Information]\r\nFirmwareVersion=1.8\r\nFirmwareType=Firmware\r\n"
                            "ReleaseDate=\r\nHardwareVersions=3.0,3.1\r\nanything at all ZZ\r\n";

std::string firmware(int dataRecords, const char* eol = "\r\n", bool endRecord = true)
{
    std::string text = kHeader;
    for (int i = 0; i < dataRecords; ++i)
        text += record(0, static_cast<uint16_t>(i * 16), Bytes(16, static_cast<uint8_t>(i))) + eol;
    return endRecord ? text + ":00000001FF" + eol : text;
}

FirmwareFileCheck checkText(const std::string& text)
{
    FirmwareLineReader reader;
    reader.openText(text);
    return CheckFirmwareFile(reader);
}

} // namespace

TEST(FirmwareRecord, CheckRefusesEveryChangeOfValueButNotOfCase)
{
    EXPECT_FALSE(CheckRecordLine(kGood));
    EXPECT_FALSE(CheckRecordLine(":00000001FF"));
    EXPECT_FALSE(CheckRecordLine(":020000040000fa"));
    // Count, address, type and data digits are summed and the check digits
    // compared, so any change of value fails; a letter's case is no change.
    auto value = [](char c) { return std::stoi(std::string(1, c), nullptr, 16); };
    for (size_t i = 1; i < kGood.size(); ++i)
        for (char c : std::string("0123456789ABCDEFabcdef")) {
            std::string changed = kGood;
            changed[i] = c;
            EXPECT_EQ(CheckRecordLine(changed), value(c) != value(kGood[i])) << changed;
        }
    EXPECT_EQ(DiagnoseRecordLine(":1G"), RecordFault::NotHex);
    EXPECT_EQ(DiagnoseRecordLine(":0102"), RecordFault::CheckByte);
    EXPECT_TRUE(CheckRecordLine(kGood + " "));
    EXPECT_TRUE(CheckRecordLine(""));
    EXPECT_TRUE(CheckRecordLine("F"));
    EXPECT_FALSE(CheckRecordLine("00")); // no pairs, check byte 0: the rule lets it pass
    // An even length leaves the character before the check byte unread: the
    // record check passes it whatever it is; the file check does not.
    EXPECT_FALSE(CheckRecordLine(":000000Z00"));
    EXPECT_FALSE(RecordHasOnlyHexDigits(":000000Z00"));
}

// (Without the mark, RecordToBytes serves no flash: not tested here.)
TEST(FirmwareRecord, BytesAfterTheMark)
{
    Bytes withMark = RecordToBytes(kGood, true);
    ASSERT_EQ(withMark.size(), kGood.size() / 2 + 1);
    EXPECT_EQ(Bytes(withMark.begin(), withMark.begin() + 6), (Bytes{':', 0x10, 0, 0, 0, 2}));
    std::string lower = kGood;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    EXPECT_EQ(RecordToBytes(lower, true), withMark);
    EXPECT_EQ(RecordToBytes(":000000Z00", true), (Bytes{':', 0, 0, 0, 0, 0}));
    EXPECT_EQ(RecordToBytes("", true), (Bytes{':'}));
}

TEST(FirmwareRecord, EndRecordAndCountStopTests)
{
    EXPECT_FALSE(IsEndRecordLine(":00000001FF"));
    EXPECT_TRUE(IsRecordCountStopLine(":00000001FF"));
    std::string typeTen = record(0x10, 0x1230, {1, 2}); // characters 7 and 8: "01"
    EXPECT_TRUE(IsEndRecordLine(typeTen));
    EXPECT_FALSE(IsRecordCountStopLine(typeTen));
    EXPECT_FALSE(IsEndRecordLine(":00000"));
    EXPECT_FALSE(IsRecordCountStopLine(":000000"));
    // The flashes would pass over such a line unchecked; the file check
    // refuses it, as no loader takes a record of type 10.
    EXPECT_EQ(checkText(kHeader + typeTen + "\r\n" + kGood + "\r\n:00000001FF\r\n").fault, Fault::RecordType);
}

TEST(FirmwareLineReader, LineEndsChunkEdgesAndLongLines)
{
    using Status = FirmwareLineReader::Status;
    FirmwareLineReader reader;
    std::string line;
    std::vector<std::string> lines;
    reader.openText("a\r\nb\nc\rd\r\n\r\n");
    while (reader.readLine(line) == Status::Line)
        lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"a", "b", "c", "d", ""}));
    EXPECT_TRUE(reader.atEnd());

    TempDir dir;
    // A CR LF split across the reader's 64 KiB chunks is still one line end.
    writeFile(dir.file("edge"), std::string(65534, '\n') + "X\r\nY");
    ASSERT_TRUE(reader.open(dir.file("edge")));
    while (reader.readLine(line) == Status::Line) {
    }
    EXPECT_EQ(reader.lineNumber(), 65536);

    const std::string longest = ":" + std::string(kMaxRecordLineLength - 1, '0');
    writeFile(dir.file("long"), longest + "\n" + longest + "0\n:" + std::string(10'000'000, 'A') + "\r\nlast");
    ASSERT_TRUE(reader.open(dir.file("long")));
    EXPECT_EQ(reader.readLine(line), Status::Line);
    EXPECT_EQ(reader.readLine(line), Status::TooLong);
    EXPECT_EQ(reader.readLine(line), Status::TooLong);
    EXPECT_EQ(line, ":" + std::string(kMaxRecordLineLength - 1, 'A'));
    EXPECT_EQ(reader.readLine(line), Status::Line);
    EXPECT_EQ(line, "last");
    EXPECT_EQ(reader.readLine(line), Status::End);
    EXPECT_FALSE(reader.open(dir.file("missing")));
}

TEST(FirmwareFile, HeaderValuesCutsAndNotFound)
{
    TempDir dir;
    IniProfileFiles profiles(dir.path());
    Context ctx;
    ctx.ports.profiles = &profiles;
    const std::string v255(255, 'v'), w255(255, 'w');
    writeFile(dir.file("a.hex"), "[hex file information]\r\nfirmwareVERSION=2.1.7\r\nReleaseDate=" + v255 +
                                     "\r\nHardwareVersions=" + w255 + "xy\r\n\r\n\r\n:00000001FF\r\n");
    FirmwareFileHeader h = ReadFirmwareFileHeader(ctx, dir.file("a.hex"));
    EXPECT_EQ(h.FirmwareVersion + "|" + h.FirmwareType + "|" + h.ReleaseDate + "|" + h.HardwareVersions,
              "2.1.7|Not Found|" + v255 + "|" + w255);
    h = ReadFirmwareFileHeader(ctx, dir.file("none.hex"));
    EXPECT_EQ(h.FirmwareVersion + h.FirmwareType + h.ReleaseDate + h.HardwareVersions,
              "Not FoundNot FoundNot FoundNot Found");
}

TEST(FirmwareFile, RecordCountOverLineEndsAndItsFaults)
{
    for (const char* eol : {"\r\n", "\n", "\r"}) {
        FirmwareLineReader reader;
        std::string text = firmware(10, eol) + "not counted" + eol;
        reader.openText(text);
        int afterLine = 0;
        FirmwareRecordCount count = CountFirmwareRecords(reader, [&] { ++afterLine; });
        EXPECT_TRUE(count.ok());
        EXPECT_EQ(count.count, 16);
        EXPECT_GE(afterLine, 16); // window messages run after every line
    }
    TempDir dir;
    Context ctx;
    writeFile(dir.file("noend.hex"), firmware(10, "\r\n", false));
    FirmwareRecordCount count = CountFirmwareRecords(ctx, dir.file("noend.hex"));
    EXPECT_EQ(count.fault, Fault::NoEndRecord);
    EXPECT_EQ(count.count, 16);
    EXPECT_EQ(CountFirmwareRecords(ctx, dir.file("missing.hex")).fault, Fault::NotOpened);
    Fault onFolder = CountFirmwareRecords(ctx, dir.path()).fault;
    EXPECT_TRUE(onFolder == Fault::NotOpened || onFolder == Fault::ReadError);
    // A header line may be long; a record line may not.
    writeFile(dir.file("long.hex"), firmware(2).replace(kHeader.rfind("any"), 18, std::string(5000, 'h')));
    EXPECT_EQ(CountFirmwareRecords(ctx, dir.file("long.hex")).count, 8);
    writeFile(dir.file("long.hex"), kHeader + ":" + std::string(600, '0') + "\r\n:00000001FF\r\n");
    count = CountFirmwareRecords(ctx, dir.file("long.hex"));
    EXPECT_EQ(count.fault, Fault::LineTooLong);
    EXPECT_EQ(count.line, 7);
}

namespace {

// Turns random binaries into Intel HEX with a tool's command line (input,
// output, bytes a record); every record must pass and rebuild the binary.
void checkToolFiles(const std::function<std::string(const std::string&, const std::string&, int)>& command)
{
    TempDir dir;
    std::mt19937 random(1234);
    for (int size : {1, 4000, 70000})
        for (int perRecord : {16, 32, 255}) {
            std::string source(static_cast<size_t>(size), '\0'), line;
            std::generate(source.begin(), source.end(), [&] { return static_cast<char>(random()); });
            writeFile(dir.file("in.bin"), source);
            ASSERT_EQ(std::system(command(dir.file("in.bin"), dir.file("out.hex"), perRecord).c_str()), 0);
            const std::string hex = kHeader + readFile(dir.file("out.hex"));
            ASSERT_EQ(checkText(hex).reason, "");
            std::string rebuilt(source.size(), '\x5A');
            FirmwareLineReader reader;
            reader.openText(hex);
            for (uint32_t upper = 0; reader.readLine(line) == FirmwareLineReader::Status::Line;) {
                Bytes b = RecordToBytes(line, true); // b[0] is the mark
                if (reader.lineNumber() <= kFirmwareHeaderLines)
                    continue;
                if (b[4] == 4)
                    upper = static_cast<uint32_t>(b[5] << 8 | b[6]) << 16;
                for (size_t i = 0; b[4] == 0 && i < b[1]; ++i)
                    rebuilt.at(upper + (b[2] << 8 | b[3]) + i) = static_cast<char>(b[5 + i]);
            }
            EXPECT_EQ(rebuilt, source) << size << " bytes, " << perRecord << " a record";
        }
}

} // namespace

TEST(FirmwareFile, ToolMadeFilesPassAndRebuildTheirSource)
{
#ifdef _WIN32
    GTEST_SKIP() << "the cross-checking tools run on Linux";
#endif
    LP_REQUIRE(std::system("command -v srec_cat >/dev/null 2>&1") == 0,
               "srec_cat (package srecord; scripts/install-deps installs it)");
    checkToolFiles([](const std::string& in, const std::string& out, int perRecord) {
        return "srec_cat '" + in + "' -binary -o '" + out + "' -intel -obs=" + std::to_string(perRecord);
    });
    std::string python;
    for (std::string candidate : {"python3", "/usr/bin/python3"})
        if (python.empty() && std::system((candidate + " -c 'import intelhex' 2>/dev/null").c_str()) == 0)
            python = candidate;
    LP_REQUIRE(!python.empty(), "srec_cat files passed; python3 with intelhex (package python3-intelhex)");
    checkToolFiles([&python](const std::string& in, const std::string& out, int perRecord) {
        return python + " -c 'import sys, intelhex; h = intelhex.IntelHex(); h.loadbin(sys.argv[1]); "
                        "h.write_hex_file(sys.argv[2], byte_count=int(sys.argv[3]))' '" + in + "' '" + out + "' " +
               std::to_string(perRecord);
    });
}

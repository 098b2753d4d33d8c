// A firmware file as text: the header keys, the whole-file check and record
// count, and every line through the record check and the byte conversion
// the flashes send. A file the check passes must be one the loaders take
// whole: what the flashes would send it is acknowledged record by record.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "firmware/firmware_file_scan.h"
#include "firmware/firmware_header.h"
#include "firmware/firmware_line_reader.h"
#include "firmware/firmware_record.h"
#include "fuzz_check.h"
#include "models/loader_records.h"
#include "platform/ini_profile_files.h"

using namespace lp;

namespace {

void checkLine(std::string_view line)
{
    RecordFault fault = DiagnoseRecordLine(line);
    FUZZ_CHECK(CheckRecordLine(line) == (fault != RecordFault::None));
    for (bool withMark : {true, false}) {
        std::vector<uint8_t> bytes = RecordToBytes(line, withMark);
        FUZZ_CHECK(bytes.size() == line.size() / 2 + 1);
        if (withMark)
            FUZZ_CHECK(bytes[0] == ':');
    }
    // A sound record of whole pairs: the bytes sent add up to zero, so the
    // adapter's own check accepts what ours accepted.
    if (fault == RecordFault::None && line.size() % 2 == 1 && RecordHasOnlyHexDigits(line)) {
        std::vector<uint8_t> bytes = RecordToBytes(line, true);
        unsigned sum = 0;
        for (size_t i = 1; i < bytes.size(); ++i)
            sum += bytes[i];
        FUZZ_CHECK(sum % 256 == 0);
    }
    IsEndRecordLine(line);
    IsRecordCountStopLine(line);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);

    std::string value;
    for (const char* key : {"FirmwareVersion", "FirmwareType", "ReleaseDate", "HardwareVersions"})
        iniFindValue(text, kFirmwareHeaderSection, key, value);

    FirmwareLineReader checkReader;
    checkReader.openText(text);
    FirmwareFileCheck check = CheckFirmwareFile(checkReader);
    FirmwareLineReader countReader;
    countReader.openText(text);
    FirmwareRecordCount count = CountFirmwareRecords(countReader);
    // A file the check passes is one the flashes can count to its end, and
    // one the loader takes to its end: the header skipped, trailing blanks
    // off, blank lines and those the end-record test passes over not sent.
    if (check.ok()) {
        FUZZ_CHECK(count.ok() && count.count >= 0);
        FirmwareLineReader sendReader;
        sendReader.openText(text);
        Bytes stream;
        std::string raw;
        while (sendReader.readLine(raw) != FirmwareLineReader::Status::End) {
            const std::string_view line = TrimRecordLine(raw);
            if (sendReader.lineNumber() <= kFirmwareHeaderLines || line.empty() || IsEndRecordLine(line))
                continue;
            const std::vector<uint8_t> bytes = RecordToBytes(line, true);
            stream.insert(stream.end(), bytes.begin(), bytes.end());
        }
        const sim::LoaderStreamVerdict loader = sim::loaderTakesStream(stream);
        FUZZ_CHECK(loader.complete());
        FUZZ_CHECK(loader.dataRecords == check.dataRecords);
    }
    FirmwareFileFaultText(check.fault, check.line);

    FirmwareLineReader reader;
    reader.openText(text);
    std::string line;
    int64_t lines = 0;
    for (;;) {
        FirmwareLineReader::Status status = reader.readLine(line);
        if (status == FirmwareLineReader::Status::End || status == FirmwareLineReader::Status::ReadError)
            break;
        FUZZ_CHECK(line.size() <= kMaxRecordLineLength);
        FUZZ_CHECK(reader.lineNumber() == ++lines);
        checkLine(line);
    }
    FUZZ_CHECK(reader.atEnd());
    // Every line holds at least one byte of the text or ends at a line end.
    FUZZ_CHECK(static_cast<size_t>(lines) <= size);
    return 0;
}

#include "firmware/firmware_file_scan.h"

#include "core/ascii.h"

#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "core/delays.h"

#include <string_view>

namespace lp {

namespace {

using Status = FirmwareLineReader::Status;

FirmwareFileCheck checkResult(FirmwareFileFault fault, int64_t line)
{
    return FirmwareFileCheck{fault, line, FirmwareFileFaultText(fault, line)};
}

std::string at(int64_t line) { return "line " + std::to_string(line) + ": "; }

std::string hexByte(int value)
{
    static const char digits[] = "0123456789ABCDEF";
    return {digits[(value >> 4) & 0xF], digits[value & 0xF]};
}

// Byte i of a record (0 is the count), for a line already known to be hex.
int byteAt(std::string_view line, size_t i)
{
    return hexDigitValue(line[1 + 2 * i]) * 16 + hexDigitValue(line[2 + 2 * i]);
}

// One record line, trailing blanks already gone: its layout, count, check
// byte and type, in the order a person would fix them.
FirmwareFileCheck checkRecord(std::string_view line, int64_t number)
{
    const auto fault = [number](FirmwareFileFault f, const std::string& why) {
        return FirmwareFileCheck{f, number, at(number) + why};
    };
    if (line.front() != ':')
        return fault(FirmwareFileFault::NoRecordMark, "expected a record starting with ':' or a blank line");
    for (size_t i = 1; i < line.size(); ++i)
        if (hexDigitValue(line[i]) < 0)
            return fault(FirmwareFileFault::NotHex, "character " + std::to_string(i + 1) + " is not a hex digit");
    // ":" count address(2) type check: 11 characters with no data.
    if (line.size() < 11 || line.size() % 2 == 0)
        return fault(FirmwareFileFault::Length, std::to_string(line.size())
                                                    + " characters; a record is ':' and at least five hex pairs, "
                                                      "an odd number of characters");
    const int pairs = static_cast<int>(line.size() - 11) / 2;
    const int count = byteAt(line, 0);
    if (count != pairs)
        return fault(FirmwareFileFault::ByteCount, "the byte count says " + std::to_string(count)
                                                       + " data bytes, the line holds " + std::to_string(pairs));
    unsigned sum = 0;
    for (int i = 0; i < pairs + 4; ++i)
        sum += static_cast<unsigned>(byteAt(line, static_cast<size_t>(i)));
    const int expected = static_cast<int>((256 - sum % 256) % 256);
    const int check = byteAt(line, static_cast<size_t>(pairs + 4));
    if (check != expected)
        return fault(FirmwareFileFault::CheckByte,
                     "the check byte is " + hexByte(check) + ", the record's bytes need " + hexByte(expected));
    const int address = byteAt(line, 1) * 256 + byteAt(line, 2);
    const int type = byteAt(line, 3);
    switch (type) {
    case 0x00:
        return {};
    case 0x01:
        if (count != 0 || address != 0)
            return fault(FirmwareFileFault::RecordType, "an end-of-file record must read :00000001FF");
        return {};
    case 0x02:
    case 0x04:
    case 0x03:
    case 0x05: {
        const int size = type == 0x02 || type == 0x04 ? 2 : 4;
        if (count != size || address != 0)
            return fault(FirmwareFileFault::RecordType, "a type " + hexByte(type) + " record holds "
                                                            + std::to_string(size) + " bytes at address 0000");
        return {};
    }
    default:
        return fault(FirmwareFileFault::RecordType,
                     "record type " + hexByte(type) + " is not one the adapter takes (00 to 05)");
    }
}

} // namespace

FirmwareRecordCount CountFirmwareRecords(FirmwareLineReader& reader, const std::function<void()>& afterEachLine)
{
    FirmwareRecordCount result;
    std::string line;
    for (;;) {
        Status status = reader.readLine(line);
        if (status == Status::End) {
            result.fault = FirmwareFileFault::NoEndRecord;
            return result;
        }
        if (status == Status::ReadError) {
            result.fault = FirmwareFileFault::ReadError;
            result.line = reader.lineNumber() + 1;
            return result;
        }
        if (afterEachLine)
            afterEachLine();
        if (status == Status::TooLong && reader.lineNumber() > kFirmwareHeaderLines) {
            result.fault = FirmwareFileFault::LineTooLong;
            result.line = reader.lineNumber();
            return result;
        }
        if (IsRecordCountStopLine(line))
            return result;
        ++result.count;
    }
}

FirmwareRecordCount CountFirmwareRecords(Context& ctx, const std::string& path)
{
    FirmwareLineReader reader;
    if (!reader.open(path))
        return FirmwareRecordCount{FirmwareFileFault::NotOpened, 0, 0};
    return CountFirmwareRecords(reader, [&ctx] { PumpMessages(ctx); });
}

FirmwareFileCheck CheckFirmwareFile(FirmwareLineReader& reader, const std::function<void()>& afterEachLine)
{
    int64_t endLine = 0; // where the end-of-file record was
    int64_t dataRecords = 0;
    int64_t records = 0;
    std::string raw;
    for (;;) {
        Status status = reader.readLine(raw);
        if (status == Status::End)
            break;
        if (status == Status::ReadError)
            return checkResult(FirmwareFileFault::ReadError, reader.lineNumber() + 1);
        if (afterEachLine)
            afterEachLine();
        const int64_t number = reader.lineNumber();
        const std::string_view line = TrimRecordLine(raw);
        if (number <= kFirmwareHeaderLines) {
            if (!line.empty() && line.front() == ':')
                return checkResult(FirmwareFileFault::HeaderRecord, number);
            continue;
        }
        if (status == Status::TooLong)
            return checkResult(FirmwareFileFault::LineTooLong, number);
        if (line.empty())
            continue;
        if (endLine != 0)
            return FirmwareFileCheck{FirmwareFileFault::AfterEnd, number,
                                     at(number) + "nothing but blank lines may follow the end-of-file record (line "
                                         + std::to_string(endLine) + ")"};
        FirmwareFileCheck fault = checkRecord(line, number);
        if (!fault.ok())
            return fault;
        ++records;
        const int type = byteAt(line, 3);
        if (type == 0x00)
            ++dataRecords;
        else if (type == 0x01)
            endLine = number;
    }
    if (endLine == 0)
        return checkResult(FirmwareFileFault::NoEndRecord, 0);
    if (dataRecords == 0)
        return checkResult(FirmwareFileFault::NoData, 0);
    FirmwareFileCheck sound;
    sound.dataRecords = dataRecords;
    sound.records = records;
    return sound;
}

FirmwareFileCheck CheckFirmwareFile(Context& ctx, const std::string& path)
{
    FirmwareLineReader reader;
    if (!reader.open(path))
        return checkResult(FirmwareFileFault::NotOpened, 0);
    return CheckFirmwareFile(reader, [&ctx] { PumpMessages(ctx); });
}

std::string FirmwareFileFaultText(FirmwareFileFault fault, int64_t line)
{
    const std::string at = "line " + std::to_string(line) + ": ";
    switch (fault) {
    case FirmwareFileFault::None:
        return {};
    case FirmwareFileFault::NotOpened:
        return "the file cannot be opened";
    case FirmwareFileFault::ReadError:
        return at + "the file cannot be read";
    case FirmwareFileFault::LineTooLong:
        return at + "longer than " + std::to_string(kMaxRecordLineLength) + " characters, too long for a record";
    case FirmwareFileFault::NotHex:
        return at + "a character that is not a hex digit";
    case FirmwareFileFault::CheckByte:
        return at + "the check byte does not match the record";
    case FirmwareFileFault::NoEndRecord:
        return "no end-of-file record :00000001FF";
    case FirmwareFileFault::HeaderRecord:
        return at + "a record where the header belongs; the header is six lines (the section, four keys and one "
                    "more line, usually blank) and the records start at line 7";
    case FirmwareFileFault::NoRecordMark:
        return at + "expected a record starting with ':' or a blank line";
    case FirmwareFileFault::Length:
        return at + "not the length of a record";
    case FirmwareFileFault::ByteCount:
        return at + "the byte count does not match the data on the line";
    case FirmwareFileFault::RecordType:
        return at + "a record type the adapter does not take";
    case FirmwareFileFault::AfterEnd:
        return at + "a record after the end-of-file record";
    case FirmwareFileFault::NoData:
        return "the file holds no data record";
    }
    return {};
}

} // namespace lp

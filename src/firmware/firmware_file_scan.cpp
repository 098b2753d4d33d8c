#include "firmware/firmware_file_scan.h"

#include "firmware/firmware_header.h"
#include "firmware/firmware_record.h"
#include "core/delays.h"

namespace lp {

namespace {

using Status = FirmwareLineReader::Status;

FirmwareFileFault faultOf(RecordFault fault)
{
    switch (fault) {
    case RecordFault::None:
        return FirmwareFileFault::None;
    case RecordFault::NotHex:
        return FirmwareFileFault::NotHex;
    case RecordFault::CheckByte:
        return FirmwareFileFault::CheckByte;
    }
    return FirmwareFileFault::CheckByte;
}

FirmwareFileCheck checkResult(FirmwareFileFault fault, int64_t line)
{
    return FirmwareFileCheck{fault, line, FirmwareFileFaultText(fault, line)};
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
    bool sawCountStop = false;
    std::string line;
    for (;;) {
        Status status = reader.readLine(line);
        if (status == Status::End)
            break;
        if (status == Status::ReadError)
            return checkResult(FirmwareFileFault::ReadError, reader.lineNumber() + 1);
        if (afterEachLine)
            afterEachLine();
        const int64_t number = reader.lineNumber();
        if (IsRecordCountStopLine(line))
            sawCountStop = true;
        if (number <= kFirmwareHeaderLines)
            continue;
        if (status == Status::TooLong)
            return checkResult(FirmwareFileFault::LineTooLong, number);
        if (IsEndRecordLine(line))
            continue; // never sent, so never checked
        if (FirmwareFileFault fault = faultOf(DiagnoseRecordLine(line)); fault != FirmwareFileFault::None)
            return checkResult(fault, number);
        if (!RecordHasOnlyHexDigits(line))
            return checkResult(FirmwareFileFault::NotHex, number);
    }
    if (!sawCountStop)
        return checkResult(FirmwareFileFault::NoEndRecord, 0);
    return {};
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
        return "no end-of-file record (no line whose characters 2 to 8 are 0000000)";
    }
    return {};
}

} // namespace lp

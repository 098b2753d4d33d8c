#pragma once
// Whole-file passes over a HEX firmware file: the record count that sizes
// the flash's progress bar, and a check of every record that lets a flash
// refuse a corrupt file before it sends anything.
//
// Both run in bounded memory on a file of any size (FirmwareLineReader) and
// stop at the end of the file: a file without the line that ends the count
// is reported, never read past.
#include <cstdint>
#include <functional>
#include <string>

#include "core/context.h"
#include "firmware/firmware_line_reader.h"

namespace lp {

enum class FirmwareFileFault {
    None,
    NotOpened,   // the file cannot be opened for reading
    ReadError,   // reading failed part-way
    LineTooLong, // a record line longer than any Intel HEX record
    NotHex,      // a record line holds a character that is not a hex digit
    CheckByte,   // a record's check byte does not match its bytes
    NoEndRecord, // no line whose characters 2 to 8 are "0000000"
};

struct FirmwareRecordCount {
    FirmwareFileFault fault = FirmwareFileFault::None;
    // Lines before the first line whose characters 2 to 8 are "0000000",
    // the header lines included. With NoEndRecord: every line of the file.
    int64_t count = 0;
    // The line at fault, 1-based; 0 for a fault of the whole file
    // (NotOpened, NoEndRecord).
    int64_t line = 0;
    bool ok() const { return fault == FirmwareFileFault::None; }
};

struct FirmwareFileCheck {
    FirmwareFileFault fault = FirmwareFileFault::None;
    int64_t line = 0; // as in FirmwareRecordCount
    std::string reason; // for the log; empty when the file is sound
    bool ok() const { return fault == FirmwareFileFault::None; }
};

// The record count, reading from an open reader. afterEachLine runs after
// every line read (the flashes let window messages run there). A record
// line (after the header) that is too long for a record is LineTooLong;
// header lines may be of any length.
FirmwareRecordCount CountFirmwareRecords(FirmwareLineReader& reader,
                                         const std::function<void()>& afterEachLine = {});

// The same on a file, letting window messages run after each line.
FirmwareRecordCount CountFirmwareRecords(Context& ctx, const std::string& path);

// Checks the file the way the flashes will read it: the header lines are
// skipped; every later line that the end-record test does not pass over
// (characters 7 and 8 "01") must pass the record check and hold nothing
// but hex digits after its mark (the flashes' conversion reads every one of
// them); a line too long for a record is corrupt; and the file must hold a
// line whose characters 2 to 8 are "0000000", or the record count would run
// off its end. Stops at the first fault.
FirmwareFileCheck CheckFirmwareFile(FirmwareLineReader& reader, const std::function<void()>& afterEachLine = {});

// The same on a file, letting window messages run after each line.
FirmwareFileCheck CheckFirmwareFile(Context& ctx, const std::string& path);

// A short English description of a fault at a line, for the log.
std::string FirmwareFileFaultText(FirmwareFileFault fault, int64_t line);

} // namespace lp

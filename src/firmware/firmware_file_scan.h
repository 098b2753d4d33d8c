#pragma once
// Whole-file passes over a HEX firmware file: the record count that sizes
// the flash's progress bar, and a check of every record that lets a flash
// refuse a file before it sends the adapter anything. The check takes what
// the adapters' loaders take and nothing else: a file it passes is one the
// loader acknowledges record by record to its end, so a flash never erases
// an adapter for an image it cannot finish.
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
    NoEndRecord, // no end-of-file record ":00000001FF"
    HeaderRecord, // a record among the six header lines
    NoRecordMark, // a line after the header that is neither blank nor a record
    Length,       // not 2n+1 characters, or too short for a record
    ByteCount,    // the byte count does not match the data pairs of the line
    RecordType,   // a type the loader does not take, or one of the wrong shape
    AfterEnd,     // a record after the end-of-file record
    NoData,       // no data record at all: flashing it would only erase
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
    // What is wrong and where, in words a person can act on ("line 9: the
    // byte count says 15 data bytes, the line holds 16"); empty when the
    // file is sound. For the log and the command line; the screen keeps
    // its own message.
    std::string reason;
    int64_t dataRecords = 0; // data records seen (all of them when sound)
    // Record lines after the header: in a sound file, every record a flash
    // sends, the end-of-file record included.
    int64_t records = 0;
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

// Checks the file the way the flashes will read it and the loader will take
// it. The six header lines are skipped, but none of them may be a record
// (a header one line short would have the flashes skip a record). After
// them, with trailing blanks and tabs taken off, every line is blank or a
// record: ":" and hex pairs, 2n+1 characters; a byte count equal to the
// data pairs; the check byte; type 00 (data), 01
// (only as ":00000001FF"), 02 or 04 (two bytes at 0000), 03 or 05 (four
// bytes at 0000). The file holds at least one data record and one
// end-of-file record, and nothing but blank lines after it. Stops at the
// first fault.
FirmwareFileCheck CheckFirmwareFile(FirmwareLineReader& reader, const std::function<void()>& afterEachLine = {});

// The same on a file, letting window messages run after each line.
FirmwareFileCheck CheckFirmwareFile(Context& ctx, const std::string& path);

// A short English description of a fault at a line, for the log.
std::string FirmwareFileFaultText(FirmwareFileFault fault, int64_t line);

} // namespace lp

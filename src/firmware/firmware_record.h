#pragma once
// One line of a HEX firmware file: the record check, the conversion to the
// bytes that the compact and wireless flashes send, and the two line tests
// that decide where the record count stops and which lines are not sent.
//
// Every function here works on text in memory and accepts any text at all
// (any length, any bytes); none of them throws.
#include <cstdint>
#include <string_view>
#include <vector>

namespace lp {

// The longest line an Intel HEX record can be: the mark, then byte count,
// two address bytes, record type, 255 data bytes and the check byte, two
// digits each: 1 + 2 * (1 + 2 + 1 + 255 + 1) = 521. No slack is added for
// trailing blanks: a longest record that an editor padded is refused as too
// long, with its line number, rather than read in part.
inline constexpr size_t kMaxRecordLineLength = 521;

// The line as the flashes take it: trailing blanks and tabs (an editor's
// leftovers, invisible to whoever looks at the file) are not part of the
// record. A line that is blank after this holds no record and is not sent.
std::string_view TrimRecordLine(std::string_view line);

// Why a record line is corrupt.
enum class RecordFault {
    None,
    // A pair the check reads (or the last two characters) is not two hex
    // digits: the line is corrupt (an "&H" conversion would stop with a
    // run-time error here).
    NotHex,
    // The pairs read as hex but the check byte does not match their sum.
    CheckByte,
};

// The record check, with the reason. Pairs at characters 2, 4, 6, ... are
// added for as long as the position is below the line's length minus 2; the
// line is sound when (256 - sum mod 256) mod 256 equals the last two
// characters read as hex. A line of fewer than two characters has no check
// byte and is NotHex. The record mark itself is not examined.
RecordFault DiagnoseRecordLine(std::string_view line);

// True when the line is corrupt (the record check above).
bool CheckRecordLine(std::string_view line);

// True when every character after the first is a hex digit (either case).
// CheckRecordLine does not read every character of an even-length line (the
// one before the check byte is skipped), so a line can pass it and still
// hold a character that RecordToBytes cannot read; the whole-file check uses
// this to refuse such a file up front.
bool RecordHasOnlyHexDigits(std::string_view line);

// The bytes sent for a line. With n = length / 2 (rounded down) the array
// has n + 1 elements, indices 0 to n.
//  - withMark: element 0 is 58 (":") and the pairs from character 2 on fill
//    elements 1, 2, ...
//  - without: the pairs from character 1 on fill elements 0, 1, ... (meant
//    for a line whose mark has been taken off: a full record line would
//    give ":1" as its first pair).
// Each pair is read as hex, either case. A pair cut short by the end of the
// line is read as the single digit it has ("&HF" is 15); an element whose
// pair lies wholly past the end stays 0. A pair that is not hex (which an "&H"
// conversion could not survive) gives 0; callers check the line
// first, so this only keeps a bad line from doing harm.
std::vector<uint8_t> RecordToBytes(std::string_view line, bool withMark);

// The end-record test of the flashes: characters 7 and 8 are "01". On a
// standard record those are the last address digit and the first type digit,
// so the standard end-of-file record ":00000001FF" does NOT match. Which
// lines a flash sends follows exactly this test; changing it would change
// what reaches the adapter, so it is not "corrected".
bool IsEndRecordLine(std::string_view line);

// Where the record count stops: characters 2 to 8 are "0000000" (true of
// ":00000001FF").
bool IsRecordCountStopLine(std::string_view line);

} // namespace lp

#include "firmware/firmware_record.h"

#include "core/ascii.h"

#include "core/vb_text.h"

namespace lp {

namespace {

// "&H" followed by one or two characters; -1 when they are not all hex
// digits (or there are none).
int hexValue(std::string_view digits)
{
    if (digits.empty())
        return -1;
    int value = 0;
    for (char c : digits) {
        int d = hexDigitValue(c);
        if (d < 0)
            return -1;
        value = value * 16 + d;
    }
    return value;
}

// The pair at 1-based character `position` (cut short at the line's end).
std::string_view pairAt(std::string_view line, size_t position)
{
    if (position == 0 || position > line.size())
        return {};
    return line.substr(position - 1, 2);
}

} // namespace

RecordFault DiagnoseRecordLine(std::string_view line)
{
    const size_t length = line.size();
    if (length < 2)
        return RecordFault::NotHex;
    unsigned sum = 0;
    for (size_t position = 2; position < length - 2; position += 2) {
        int value = hexValue(pairAt(line, position));
        if (value < 0)
            return RecordFault::NotHex;
        sum += static_cast<unsigned>(value);
    }
    int checkByte = hexValue(line.substr(length - 2));
    if (checkByte < 0)
        return RecordFault::NotHex;
    unsigned s = sum % 256;
    return (256 - s) % 256 == static_cast<unsigned>(checkByte) ? RecordFault::None : RecordFault::CheckByte;
}

std::string_view TrimRecordLine(std::string_view line)
{
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t'))
        line.remove_suffix(1);
    return line;
}

bool CheckRecordLine(std::string_view line) { return DiagnoseRecordLine(line) != RecordFault::None; }

bool RecordHasOnlyHexDigits(std::string_view line)
{
    for (size_t i = 1; i < line.size(); ++i)
        if (hexDigitValue(line[i]) < 0)
            return false;
    return true;
}

std::vector<uint8_t> RecordToBytes(std::string_view line, bool withMark)
{
    const size_t n = line.size() / 2;
    std::vector<uint8_t> bytes(n + 1, 0);
    size_t element = 0;
    size_t position = 1;
    if (withMark) {
        bytes[0] = static_cast<uint8_t>(':');
        element = 1;
        position = 2;
    }
    for (; element <= n && position <= line.size(); ++element, position += 2) {
        int value = hexValue(pairAt(line, position));
        bytes[element] = value < 0 ? 0 : static_cast<uint8_t>(value);
    }
    return bytes;
}

bool IsEndRecordLine(std::string_view line) { return vb::Mid(line, 7, 2) == "01"; }

bool IsRecordCountStopLine(std::string_view line) { return vb::Mid(line, 2, 7) == "0000000"; }

} // namespace lp

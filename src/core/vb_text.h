#pragma once
// The text and number rules that the adapter links, the registry and
// the firmware checks are defined by. One place, so that every module reads
// "the numeric value of a text" the same way.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lp::vb {

// Val: the leading number of a text. Blanks, tabs and line feeds are skipped
// anywhere in the number; an optional sign, digits, one decimal point and an
// exponent (E or D) are read; "&H" and "&O" prefixes read hexadecimal and
// octal. Anything else ends the number; no number gives 0.
double Val(std::string_view text);

// IsNumeric for texts: optional surrounding blanks, optional sign, digits with
// at most one decimal point (at least one digit), optional exponent; or an
// "&H"/"&O" number. The empty text is not numeric.
bool IsNumeric(std::string_view text);

// Round half to even, the rounding of CInt and CLng.
double RoundHalfEven(double value);

// CInt / CLng of a number: rounded half to even; nullopt on overflow.
std::optional<int16_t> CInt(double value);
std::optional<int32_t> CLng(double value);

// Two upper-case hexadecimal digits for a byte ("0A").
std::string Hex2(uint8_t byte);

// Upper-case hexadecimal text of a byte string, two digits a byte.
std::string HexText(std::string_view bytes);

// Format(n, "00") and Format(n, "0000"): at least `digits` digits, a minus
// sign before them for negative numbers.
std::string ZeroPad(int64_t value, int digits);

// Mid$(text, start, length) with 1-based start; out-of-range parts are empty.
std::string Mid(std::string_view text, size_t start, size_t length = std::string_view::npos);
std::string Left(std::string_view text, size_t length);
std::string Right(std::string_view text, size_t length);

// InStr(start, text, find): 1-based position of `find` at or after `start`, 0
// when absent. An empty `find` gives `start` (when start <= len + 1).
size_t InStr(std::string_view text, std::string_view find, size_t start = 1);

// Trim$: blanks (spaces only) removed at both ends.
std::string Trim(std::string_view text);

// UCase$ for ASCII letters.
std::string UCase(std::string_view text);

// Texts of numbers as Str/CStr write them: integers without a decimal point,
// fractions with a leading zero ("0.3"), at most 15 significant digits.
std::string NumberText(double value);

// What a Windows window or message box shows of a text: it takes a C string,
// so everything from the first NUL on (a driver's terminator) is not shown.
std::string ShownText(std::string_view text);

} // namespace lp::vb

#include "core/vb_text.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>

namespace lp::vb {

namespace {

bool isSkippable(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Reads "&H..." / "&O..." after the ampersand; returns the value.
double radixValue(std::string_view text, size_t pos, int radix)
{
    double value = 0;
    for (; pos < text.size(); ++pos) {
        char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[pos])));
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (radix == 16 && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            break;
        if (digit >= radix)
            break;
        value = value * radix + digit;
    }
    return value;
}

} // namespace

double Val(std::string_view text)
{
    std::string number;
    size_t i = 0;
    while (i < text.size() && isSkippable(text[i]))
        ++i;
    if (i + 1 < text.size() && text[i] == '&') {
        char r = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i + 1])));
        if (r == 'H')
            return radixValue(text, i + 2, 16);
        if (r == 'O')
            return radixValue(text, i + 2, 8);
    }
    bool seenDigit = false, seenPoint = false, seenExp = false, expDigit = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        number += text[i++];
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (isSkippable(c))
            continue;
        if (std::isdigit(static_cast<unsigned char>(c))) {
            number += c;
            (seenExp ? expDigit : seenDigit) = true;
        } else if (c == '.' && !seenPoint && !seenExp) {
            number += c;
            seenPoint = true;
        } else if ((c == 'e' || c == 'E' || c == 'd' || c == 'D') && !seenExp) {
            // An exponent only counts when digits follow; otherwise stop here.
            size_t j = i + 1;
            while (j < text.size() && isSkippable(text[j]))
                ++j;
            if (j < text.size() && (text[j] == '+' || text[j] == '-'))
                ++j;
            while (j < text.size() && isSkippable(text[j]))
                ++j;
            if (j >= text.size() || !std::isdigit(static_cast<unsigned char>(text[j])))
                break;
            number += 'e';
            seenExp = true;
            ++i;
            while (i < text.size() && isSkippable(text[i]))
                ++i;
            if (text[i] == '+' || text[i] == '-')
                number += text[i];
            else
                --i;
        } else {
            break;
        }
    }
    if (!seenDigit)
        return 0;
    double value = std::strtod(number.c_str(), nullptr);
    if (!std::isfinite(value))
        return 0;
    return value;
}

bool IsNumeric(std::string_view text)
{
    size_t i = 0, n = text.size();
    while (i < n && text[i] == ' ')
        ++i;
    while (n > i && text[n - 1] == ' ')
        --n;
    if (i == n)
        return false;
    if (n - i > 2 && text[i] == '&') {
        char r = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i + 1])));
        if (r != 'H' && r != 'O')
            return false;
        for (size_t j = i + 2; j < n; ++j) {
            char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[j])));
            bool ok = r == 'H' ? std::isxdigit(static_cast<unsigned char>(c)) : (c >= '0' && c <= '7');
            if (!ok)
                return false;
        }
        return true;
    }
    if (text[i] == '+' || text[i] == '-')
        ++i;
    bool digits = false, point = false;
    for (; i < n; ++i) {
        char c = text[i];
        if (std::isdigit(static_cast<unsigned char>(c)))
            digits = true;
        else if (c == '.' && !point)
            point = true;
        else
            break;
    }
    if (!digits)
        return false;
    if (i < n && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
        ++i;
        if (i < n && (text[i] == '+' || text[i] == '-'))
            ++i;
        bool expDigits = false;
        for (; i < n && std::isdigit(static_cast<unsigned char>(text[i])); ++i)
            expDigits = true;
        if (!expDigits)
            return false;
    }
    return i == n;
}

double RoundHalfEven(double value)
{
    if (!std::isfinite(value))
        return value;
    double floorValue = std::floor(value);
    double diff = value - floorValue;
    if (diff > 0.5)
        return floorValue + 1;
    if (diff < 0.5)
        return floorValue;
    return std::fmod(floorValue, 2.0) == 0 ? floorValue : floorValue + 1;
}

std::optional<int16_t> CInt(double value)
{
    double r = RoundHalfEven(value);
    if (!(r >= std::numeric_limits<int16_t>::min() && r <= std::numeric_limits<int16_t>::max()))
        return std::nullopt;
    return static_cast<int16_t>(r);
}

std::optional<int32_t> CLng(double value)
{
    double r = RoundHalfEven(value);
    if (!(r >= std::numeric_limits<int32_t>::min() && r <= std::numeric_limits<int32_t>::max()))
        return std::nullopt;
    return static_cast<int32_t>(r);
}

std::string Hex2(uint8_t byte)
{
    static const char digits[] = "0123456789ABCDEF";
    return {digits[byte >> 4], digits[byte & 0x0F]};
}

std::string HexText(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (char c : bytes)
        text += Hex2(static_cast<uint8_t>(c));
    return text;
}

std::string ZeroPad(int64_t value, int digits)
{
    std::string magnitude = std::to_string(value < 0 ? -value : value);
    if (static_cast<int>(magnitude.size()) < digits)
        magnitude.insert(0, digits - magnitude.size(), '0');
    return value < 0 ? "-" + magnitude : magnitude;
}

std::string Mid(std::string_view text, size_t start, size_t length)
{
    if (start < 1 || start > text.size())
        return {};
    return std::string(text.substr(start - 1, length));
}

std::string Left(std::string_view text, size_t length) { return std::string(text.substr(0, length)); }

std::string Right(std::string_view text, size_t length)
{
    return length >= text.size() ? std::string(text) : std::string(text.substr(text.size() - length));
}

size_t InStr(std::string_view text, std::string_view find, size_t start)
{
    if (start < 1 || start > text.size() + 1)
        return 0;
    size_t pos = text.find(find, start - 1);
    return pos == std::string_view::npos ? 0 : pos + 1;
}

std::string Trim(std::string_view text)
{
    size_t b = text.find_first_not_of(' ');
    if (b == std::string_view::npos)
        return {};
    size_t e = text.find_last_not_of(' ');
    return std::string(text.substr(b, e - b + 1));
}

std::string UCase(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return out;
}

std::string NumberText(double value)
{
    if (value == std::floor(value) && std::fabs(value) < 1e15)
        return std::to_string(static_cast<long long>(value));
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.15g", value);
    return buffer;
}

std::string ShownText(std::string_view text) { return std::string(text.substr(0, text.find('\0'))); }

} // namespace lp::vb

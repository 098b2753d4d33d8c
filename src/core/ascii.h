#pragma once
// ASCII-only character rules. Port names, file names in INI files and hex
// digits are compared the way Windows compares them for those names: by
// ASCII letters only, whatever the process locale says about other bytes.
#include <string>
#include <string_view>

namespace lp {

constexpr char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string asciiLowered(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = asciiLower(c);
    return out;
}

// 0 to 15 for a hex digit of either case, -1 for anything else.
constexpr int hexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = asciiLower(c);
    return (c >= 'a' && c <= 'f') ? c - 'a' + 10 : -1;
}

} // namespace lp

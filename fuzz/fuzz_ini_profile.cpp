// An INI file and one write into it: a read after the write gives back the
// value written, every other key reads as before, and no other line of the
// file is lost or changed.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"
#include "platform/ini_profile_files.h"

using namespace lp;

namespace {

// A name as a caller passes it: trimmed, free of the characters that give
// a line its kind.
std::string nameFrom(std::string raw)
{
    std::string name;
    for (char c : raw)
        if (std::isalnum(static_cast<unsigned char>(c)) || c == ' ' || c == '_' || c == '.' || c == '-')
            name += c;
    while (!name.empty() && name.front() == ' ')
        name.erase(name.begin());
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    return name;
}

// A value whose read-back is itself: no line break or NUL, no blanks at the
// ends, no quotes that the read would take off.
std::string valueFrom(std::string raw)
{
    std::string value;
    for (char c : raw)
        if (c != '\r' && c != '\n' && c != '\0' && c != '\t' && c != '"' && c != '\'')
            value += c;
    while (!value.empty() && value.front() == ' ')
        value.erase(value.begin());
    while (!value.empty() && value.back() == ' ')
        value.pop_back();
    return value;
}

bool sameName(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

std::map<std::string, int> linesOf(std::string_view text)
{
    std::map<std::string, int> lines;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' || text[i] == '\n') {
            ++lines[std::string(text.substr(start, i - start))];
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            start = i + 1;
        }
    }
    if (start < text.size())
        ++lines[std::string(text.substr(start))];
    return lines;
}

// Lines of `a` (counted with repeats) that `b` lacks.
int missingFrom(const std::map<std::string, int>& a, const std::map<std::string, int>& b)
{
    int missing = 0;
    for (const auto& [line, n] : a) {
        auto it = b.find(line);
        missing += std::max(0, n - (it == b.end() ? 0 : it->second));
    }
    return missing;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const std::string section = nameFrom(in.ConsumeRandomLengthString(40));
    const std::string key = nameFrom(in.ConsumeRandomLengthString(40));
    const std::string value = valueFrom(in.ConsumeRandomLengthString(80));
    const std::string otherSection = nameFrom(in.ConsumeRandomLengthString(40));
    const std::string otherKey = nameFrom(in.ConsumeRandomLengthString(40));
    const std::string file = in.ConsumeRemainingBytesAsString();
    if (section.empty() || key.empty())
        return 0;

    std::string before;
    const bool hadOther = iniFindValue(file, otherSection, otherKey, before);

    const std::string updated = iniSetValue(file, section, key, value);
    std::string readBack;
    FUZZ_CHECK(iniFindValue(updated, section, key, readBack));
    FUZZ_CHECK(readBack == value);

    if (!(sameName(section, otherSection) && sameName(key, otherKey))) {
        std::string after;
        FUZZ_CHECK(iniFindValue(updated, otherSection, otherKey, after) == hadOther);
        if (hadOther)
            FUZZ_CHECK(after == before);
    }

    // At most the key's own line changes; at most a section header and the
    // key's line are added.
    const auto oldLines = linesOf(file);
    const auto newLines = linesOf(updated);
    FUZZ_CHECK(missingFrom(oldLines, newLines) <= 1);
    FUZZ_CHECK(missingFrom(newLines, oldLines) <= 2);

    // Writing the same value again changes nothing.
    FUZZ_CHECK(iniSetValue(updated, section, key, value) == updated);
    return 0;
}

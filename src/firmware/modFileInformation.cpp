#include "firmware/modFileInformation.h"

#include "core/vb_text.h"
#include "ports/file_version_reader.h"

namespace lp {

int32_t HiWord(int32_t value)
{
    int32_t word = value / 65535; // C++ division truncates toward zero, as wanted
    if (value < 0)
        word -= 1;
    return word;
}

int16_t LoWord(int32_t value)
{
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(value) & 0xFFFFu));
}

std::string FormatFileVersion(int32_t high, int32_t low)
{
    std::string text = std::to_string(HiWord(high)) + "." + vb::ZeroPad(LoWord(high), 2) + ".";
    if (low < 1)
        return text + vb::ZeroPad(low, 4);
    return text + vb::ZeroPad(HiWord(low), 2) + "." + vb::ZeroPad(LoWord(low), 2);
}

std::string GetFileVersion(Context& ctx, const std::string& path)
{
    if (ctx.ports.fileVersions == nullptr)
        return {};
    auto version = ctx.ports.fileVersions->fileVersion(path);
    if (!version)
        return {};
    return FormatFileVersion(version->fileVersionMS, version->fileVersionLS);
}

} // namespace lp

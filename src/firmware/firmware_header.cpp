#include "firmware/firmware_header.h"

#include "ports/profile_files.h"
#include "core/string_table.h"

namespace lp {

namespace {

constexpr uint32_t kHeaderValueBuffer = 256;

std::string readHeaderValue(Context& ctx, const char* key, const std::string& notFound, const std::string& path)
{
    if (!ctx.ports.profiles)
        return notFound;
    std::string buffer;
    uint32_t length = ctx.ports.profiles->getPrivateProfileString(kFirmwareHeaderSection, key, notFound, buffer,
                                                                  kHeaderValueBuffer, path);
    // The value is as long as the lookup says, never longer than it filled.
    return buffer.substr(0, length);
}

} // namespace

FirmwareFileHeader ReadFirmwareFileHeader(Context& ctx, const std::string& path)
{
    const std::string notFound = LoadResString(Res::NotFound);
    FirmwareFileHeader header;
    header.FirmwareVersion = readHeaderValue(ctx, "FirmwareVersion", notFound, path);
    header.FirmwareType = readHeaderValue(ctx, "FirmwareType", notFound, path);
    header.ReleaseDate = readHeaderValue(ctx, "ReleaseDate", notFound, path);
    header.HardwareVersions = readHeaderValue(ctx, "HardwareVersions", notFound, path);
    return header;
}

} // namespace lp

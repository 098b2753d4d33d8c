#pragma once
// The header of a firmware file: the INI section at its top that names the
// firmware's version, type, release date and the hardware it suits.
#include <string>

#include "core/context.h"

namespace lp {

inline constexpr const char* kFirmwareHeaderSection = "Hex File Information";

// The flashes skip this many lines before the first record, whatever the
// last of them holds.
inline constexpr int kFirmwareHeaderLines = 6;

struct FirmwareFileHeader {
    std::string FirmwareVersion;
    std::string FirmwareType;
    std::string ReleaseDate;
    std::string HardwareVersions;
};

// Reads the four keys through the profile-file port, each into a buffer of
// 256 characters (so at most 255 are kept). A missing file, section or key
// gives resource 501 ("Not Found") for that value; nothing here fails.
FirmwareFileHeader ReadFirmwareFileHeader(Context& ctx, const std::string& path);

} // namespace lp

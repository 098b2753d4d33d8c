#pragma once
// A FileVersionReader that reads the version resource of a PE file itself
// (DOS header, PE header, section table, resource tree, VS_VERSIONINFO), so
// that the Linux build shows the same driver versions as the Windows one.
//
// Every read is bounded and checked against the file's size; a truncated or
// malformed file, an offset out of range or a resource tree that points back
// at itself gives "no version", never a crash or a hang.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ports/file_version_reader.h"

namespace lp {

class PeVersionReader final : public FileVersionReader {
public:
    // A Windows-style path ("C:\...\drivers\ftser2k.sys" pieces, any letter
    // case) is tried as given first, then with "\" as the separator and each
    // part matched without regard to case, as Windows would find it.
    std::optional<FixedFileVersion> fileVersion(const std::string& path) override;

    // The same over a file image held in memory (tests and fuzzing).
    static std::optional<FixedFileVersion> fromImage(std::string_view image);
};

// The existing file that a Windows-style path names on this system, or ""
// when there is none.
std::string resolveWindowsStylePath(const std::string& path);

} // namespace lp

#pragma once
// The FileVersionReader port: the fixed block of a file's version resource
// (what GetFileVersionInfoA and VerQueryValueA with "\" give on Windows).
// Only the two file-version values are used by the program.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lp {

// dwFileVersionMS (major << 16 | minor) and dwFileVersionLS
// (build << 16 | revision), kept signed as the program always held them.
struct FixedFileVersion {
    int32_t fileVersionMS = 0;
    int32_t fileVersionLS = 0;
};

class FileVersionReader {
public:
    virtual ~FileVersionReader() = default;
    // The file version of `path`; nullopt when the file is missing or holds
    // no readable version resource. Never throws.
    virtual std::optional<FixedFileVersion> fileVersion(const std::string& path) = 0;
};

// The platform's reader: the Win32 version calls on Windows, our own PE
// reader elsewhere.
std::unique_ptr<FileVersionReader> createPlatformFileVersionReader();

} // namespace lp

#pragma once
// The ProfileFiles port: Windows-style INI files as GetPrivateProfileStringA
// and WritePrivateProfileStringA see them (see docs/architecture.md for the
// rules the emulation keeps).
#include <cstdint>
#include <string>

namespace lp {

class ProfileFiles {
public:
    virtual ~ProfileFiles() = default;

    // Copies the value (or the default, without its trailing blanks) into
    // `out`, cut to nSize - 1 characters, and returns the number of characters
    // copied. A file name without a directory names a file in the Windows
    // directory. nSize 0 gives 0 and an empty `out`.
    virtual uint32_t getPrivateProfileString(const std::string& section, const std::string& key,
                                             const std::string& defaultValue, std::string& out,
                                             uint32_t nSize, const std::string& fileName) = 0;

    // Writes key=value into the section, creating file, section or key as
    // needed, and replaces the file atomically. False when the file could not
    // be written; the old file is then untouched.
    virtual bool writePrivateProfileString(const std::string& section, const std::string& key,
                                           const std::string& value, const std::string& fileName) = 0;

    // The Windows directory (GetWindowsDirectoryA / %windir%), without a
    // trailing separator.
    virtual std::string windowsDirectory() = 0;
};

} // namespace lp

#pragma once
// ProfileFiles on Windows: the system's own GetPrivateProfileStringA and
// WritePrivateProfileStringA, with the program's UTF-8 texts converted to
// the ANSI code page at the call and back.
#ifdef _WIN32

#include <string>

#include "ports/profile_files.h"

namespace lp {

class Win32ProfileFiles final : public ProfileFiles {
public:
    // The count returned is the length of `out` in UTF-8 bytes, so that
    // keeping the first n characters keeps the whole converted value.
    // nSize counts up to 1 MiB; a larger one reads as 1 MiB.
    uint32_t getPrivateProfileString(const std::string& section, const std::string& key,
                                     const std::string& defaultValue, std::string& out, uint32_t nSize,
                                     const std::string& fileName) override;
    bool writePrivateProfileString(const std::string& section, const std::string& key, const std::string& value,
                                   const std::string& fileName) override;
    std::string windowsDirectory() override;
};

} // namespace lp

#endif // _WIN32

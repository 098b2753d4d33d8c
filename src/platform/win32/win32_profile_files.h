#pragma once
// ProfileFiles on Windows: the system's own GetPrivateProfileStringA and
// WritePrivateProfileStringA, with the program's UTF-8 texts converted to
// the ANSI code page at the call and back.
#ifdef _WIN32

#include <memory>
#include <string>
#include <vector>

#include "platform/atomic_file.h"
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
    // The system writes each key by itself, so a change here is the lock
    // alone: other toolkits wait while it runs, and its writes are made at
    // once (endChange(false) cannot take them back).
    bool beginChange(const std::vector<std::string>& fileNames) override;
    bool endChange(bool commit) override;
    std::string lastError() const override { return lastError_; }

private:
    std::vector<std::unique_ptr<FileLock>> locks_;
    std::vector<std::string> lockedPaths_;
    int changeDepth_ = 0;
    std::string lastError_;
};

} // namespace lp

#endif // _WIN32

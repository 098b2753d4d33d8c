#ifdef _WIN32
#include "platform/win32/win32_file_version_reader.h"

#include <windows.h>

#include <cstring>
#include <vector>

namespace lp {

std::optional<FixedFileVersion> Win32FileVersionReader::fileVersion(const std::string& path)
{
    DWORD handle = 0;
    DWORD size = GetFileVersionInfoSizeA(path.c_str(), &handle);
    if (static_cast<LONG>(size) <= 0)
        return std::nullopt;
    std::vector<char> data(size);
    if (!GetFileVersionInfoA(path.c_str(), 0, size, data.data()))
        return std::nullopt;
    void* block = nullptr;
    UINT blockSize = 0;
    if (!VerQueryValueA(data.data(), "\\", &block, &blockSize) || block == nullptr
        || blockSize < sizeof(VS_FIXEDFILEINFO))
        return std::nullopt;
    VS_FIXEDFILEINFO info;
    std::memcpy(&info, block, sizeof info); // the 52-byte fixed block
    FixedFileVersion v;
    v.fileVersionMS = static_cast<int32_t>(info.dwFileVersionMS);
    v.fileVersionLS = static_cast<int32_t>(info.dwFileVersionLS);
    return v;
}

std::unique_ptr<FileVersionReader> createPlatformFileVersionReader()
{
    return std::make_unique<Win32FileVersionReader>();
}

} // namespace lp
#endif

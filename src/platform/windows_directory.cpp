#include "platform/windows_directory.h"

#include <cstdlib>

#include "platform/user_folders.h"

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace lp {

namespace {

std::string withoutTrailingSeparators(std::string path)
{
    // Keep a bare root ("/", "C:\") whole.
    while (path.size() > 1 && (path.back() == '/' || path.back() == '\\') && path[path.size() - 2] != ':')
        path.pop_back();
    return path;
}

} // namespace

std::string defaultWindowsDirectory()
{
    if (const char* windir = std::getenv("windir"); windir && *windir)
        return withoutTrailingSeparators(windir);
#ifdef _WIN32
    wchar_t buffer[MAX_PATH + 1] = {};
    UINT n = GetWindowsDirectoryW(buffer, MAX_PATH + 1);
    if (n == 0 || n > MAX_PATH)
        return {};
    int bytes = WideCharToMultiByte(CP_UTF8, 0, buffer, static_cast<int>(n), nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(bytes > 0 ? bytes : 0), '\0');
    if (bytes > 0)
        WideCharToMultiByte(CP_UTF8, 0, buffer, static_cast<int>(n), utf8.data(), bytes, nullptr, nullptr);
    return withoutTrailingSeparators(utf8);
#else
    const std::string data = userDataFolder();
    if (data.empty())
        return {};
    const std::string folder = data + "/windows";
    return makeFolders(folder) ? folder : std::string();
#endif
}

} // namespace lp

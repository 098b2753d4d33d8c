#ifdef _WIN32

#include "platform/win32/win32_profile_files.h"

#include <algorithm>
#include <vector>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include "platform/windows_directory.h"

namespace lp {

namespace {

constexpr uint32_t kMaxBuffer = 1u << 20;

std::string convert(const std::string& text, UINT from, UINT to)
{
    if (text.empty())
        return {};
    const int wideLength = MultiByteToWideChar(from, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    if (wideLength <= 0)
        return {};
    std::wstring wide(static_cast<size_t>(wideLength), L'\0');
    MultiByteToWideChar(from, 0, text.data(), static_cast<int>(text.size()), wide.data(), wideLength);
    const int length = WideCharToMultiByte(to, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
    if (length <= 0)
        return {};
    std::string out(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(to, 0, wide.data(), wideLength, out.data(), length, nullptr, nullptr);
    return out;
}

std::string toAnsi(const std::string& utf8)
{
    return convert(utf8, CP_UTF8, CP_ACP);
}

std::string fromAnsi(const std::string& ansi)
{
    return convert(ansi, CP_ACP, CP_UTF8);
}

} // namespace

uint32_t Win32ProfileFiles::getPrivateProfileString(const std::string& section, const std::string& key,
                                                    const std::string& defaultValue, std::string& out,
                                                    uint32_t nSize, const std::string& fileName)
{
    out.clear();
    if (nSize == 0)
        return 0;
    // A line of an INI file is short; a caller's size of gigabytes must not
    // become an allocation of gigabytes (nor a bad_alloc out of this port).
    nSize = std::min<uint32_t>(nSize, kMaxBuffer);
    std::vector<char> buffer(nSize, '\0');
    const std::string ansiSection = toAnsi(section);
    const std::string ansiKey = toAnsi(key);
    const std::string ansiDefault = toAnsi(defaultValue);
    const std::string ansiFile = toAnsi(fileName);
    DWORD n = GetPrivateProfileStringA(ansiSection.c_str(), ansiKey.c_str(), ansiDefault.c_str(), buffer.data(),
                                       nSize, ansiFile.c_str());
    if (n >= nSize)
        n = nSize - 1;
    out = fromAnsi(std::string(buffer.data(), n));
    return static_cast<uint32_t>(out.size());
}

bool Win32ProfileFiles::writePrivateProfileString(const std::string& section, const std::string& key,
                                                  const std::string& value, const std::string& fileName)
{
    const std::string ansiSection = toAnsi(section);
    const std::string ansiKey = toAnsi(key);
    // As in our own writer: a value reaching us from an adapter must not add
    // lines (or sections) to the file, so it ends at its first line break.
    const std::string ansiValue = toAnsi(value.substr(0, value.find_first_of("\r\n")));
    const std::string ansiFile = toAnsi(fileName);
    if (WritePrivateProfileStringA(ansiSection.c_str(), ansiKey.c_str(), ansiValue.c_str(), ansiFile.c_str()))
        return true;
    const DWORD code = GetLastError();
    lastError_ = fileName + (code == ERROR_ACCESS_DENIED ? std::string(" is read-only or not ours to write")
                                                         : ": Windows error " + std::to_string(code));
    return false;
}

std::string Win32ProfileFiles::windowsDirectory()
{
    return defaultWindowsDirectory();
}

bool Win32ProfileFiles::beginChange(const std::vector<std::string>& fileNames)
{
    lastError_.clear();
    std::vector<std::unique_ptr<FileLock>> taken;
    std::vector<std::string> paths;
    for (const std::string& name : fileNames) {
        std::string path = name.find_first_of("\\/") == std::string::npos ? windowsDirectory() + "\\" + name : name;
        // Names compare without case, as the file system does.
        std::transform(path.begin(), path.end(), path.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        if (std::find(lockedPaths_.begin(), lockedPaths_.end(), path) != lockedPaths_.end()
            || std::find(paths.begin(), paths.end(), path) != paths.end())
            continue;
        auto lock = std::make_unique<FileLock>(path);
        if (!lock->locked()) {
            lastError_ = lock->error();
            return false;
        }
        taken.push_back(std::move(lock));
        paths.push_back(path);
    }
    for (size_t i = 0; i < taken.size(); ++i) {
        locks_.push_back(std::move(taken[i]));
        lockedPaths_.push_back(paths[i]);
    }
    ++changeDepth_;
    return true;
}

bool Win32ProfileFiles::endChange(bool commit)
{
    (void)commit;
    if (changeDepth_ == 0)
        return false;
    if (--changeDepth_ == 0) {
        locks_.clear();
        lockedPaths_.clear();
    }
    return true;
}

} // namespace lp

#endif // _WIN32

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
    return WritePrivateProfileStringA(ansiSection.c_str(), ansiKey.c_str(), ansiValue.c_str(),
                                      ansiFile.c_str()) != FALSE;
}

std::string Win32ProfileFiles::windowsDirectory()
{
    return defaultWindowsDirectory();
}

} // namespace lp

#endif // _WIN32

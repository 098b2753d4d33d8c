// Windows-only helpers of platform_contract_test.cpp, kept apart because
// <windows.h> turns names such as ERROR_SUCCESS into macros that clash with
// the program's own registry constants.
#ifdef _WIN32
#include "platform_contract_win32.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace lp::test {

bool runningUnderWine()
{
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

std::string programFolder()
{
    char path[MAX_PATH] = {};
    DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string full(path, n < MAX_PATH ? n : 0);
    return full.substr(0, full.find_last_of("\\/"));
}

void deleteRegistryTree(const std::string& parent, const std::string& child)
{
    ::HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, parent.c_str(), 0, KEY_ALL_ACCESS | KEY_WOW64_32KEY, &key) != 0)
        return;
    RegDeleteTreeA(key, child.c_str());
    RegCloseKey(key);
}

HeldPort::HeldPort(int port)
{
    const std::string name = "\\\\.\\COM" + std::to_string(port);
    HANDLE h = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    handle_ = h == INVALID_HANDLE_VALUE ? nullptr : h;
}

HeldPort::~HeldPort()
{
    if (handle_)
        CloseHandle(static_cast<HANDLE>(handle_));
}

} // namespace lp::test
#endif

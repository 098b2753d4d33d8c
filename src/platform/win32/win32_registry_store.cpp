#ifdef _WIN32
#include "platform/win32/win32_registry_store.h"

#include <climits>
#include <cstring>
#include <iterator>
#include <string>

#include "platform/registry_handles.h"

namespace lp {
namespace {
// <windows.h> turns these names into macros of other types; take the
// program's values while they are still ours.
constexpr HKEY kRoots[] = {lp::HKEY_CLASSES_ROOT, lp::HKEY_CURRENT_USER, lp::HKEY_LOCAL_MACHINE, lp::HKEY_USERS};
constexpr int32_t kInvalidHandle = lp::ERROR_INVALID_HANDLE;
constexpr int32_t kInvalidParameter = lp::ERROR_INVALID_PARAMETER;
constexpr int32_t kMoreData = lp::ERROR_MORE_DATA;
} // namespace
} // namespace lp

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#ifdef _MSC_VER
#pragma comment(lib, "advapi32.lib")
#endif

namespace {
// Outside namespace lp, where the casts in these macros mean the system's HKEY.
const HKEY kSystemRoots[] = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS};
} // namespace

namespace lp {

namespace {

// Registry values we would ever read are small; a huge one is not ours.
constexpr DWORD kMaxValueBytes = 16u << 20;

// The view a 32-bit program sees: the installers of the adapter software
// are 32-bit, so their keys live there even when this build is 64-bit.
constexpr REGSAM kAccess = MAXIMUM_ALLOWED | KEY_WOW64_32KEY;

bool isText(uint32_t type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// Converts between code pages through UTF-16; lengths are explicit, so NULs
// inside the data pass through. `ok` is false when the text does not convert.
std::string recode(const std::string& in, UINT from, UINT to, bool& ok)
{
    ok = true;
    if (in.empty())
        return {};
    if (in.size() > static_cast<size_t>(INT_MAX / 4)) {
        ok = false;
        return {};
    }
    int wide = MultiByteToWideChar(from, 0, in.data(), static_cast<int>(in.size()), nullptr, 0);
    if (wide <= 0) {
        ok = false;
        return {};
    }
    std::wstring w(static_cast<size_t>(wide), L'\0');
    MultiByteToWideChar(from, 0, in.data(), static_cast<int>(in.size()), w.data(), wide);
    int narrow = WideCharToMultiByte(to, 0, w.data(), wide, nullptr, 0, nullptr, nullptr);
    if (narrow <= 0) {
        ok = false;
        return {};
    }
    std::string out(static_cast<size_t>(narrow), '\0');
    WideCharToMultiByte(to, 0, w.data(), wide, out.data(), narrow, nullptr, nullptr);
    return out;
}

bool toAnsi(const std::string& utf8, std::string& ansi)
{
    bool ok = true;
    ansi = recode(utf8, CP_UTF8, CP_ACP, ok);
    return ok;
}

} // namespace

Win32RegistryStore::~Win32RegistryStore()
{
    for (auto& [number, key] : handles_)
        RegCloseKey(static_cast<::HKEY>(key));
}

void* Win32RegistryStore::systemKey(HKEY key) const
{
    for (size_t i = 0; i < std::size(kRoots); ++i) {
        if (key == kRoots[i])
            return kSystemRoots[i];
    }
    auto it = handles_.find(key);
    return it == handles_.end() ? nullptr : it->second;
}

HKEY Win32RegistryStore::remember(void* systemKey)
{
    HKEY number = smallestFreeHandle(handles_);
    handles_.emplace(number, systemKey);
    return number;
}

int32_t Win32RegistryStore::openKey(HKEY root, const std::string& subKey, HKEY& out, bool create)
{
    out = 0;
    auto parent = static_cast<::HKEY>(systemKey(root));
    std::string ansi;
    if (!parent)
        return kInvalidHandle;
    if (!toAnsi(subKey, ansi))
        return kInvalidParameter;
    ::HKEY opened = nullptr;
    LONG result = create ? RegCreateKeyExA(parent, ansi.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, kAccess,
                                           nullptr, &opened, nullptr)
                         : RegOpenKeyExA(parent, ansi.c_str(), 0, kAccess, &opened);
    if (result == ERROR_SUCCESS && opened)
        out = remember(opened);
    return result;
}

int32_t Win32RegistryStore::regOpenKey(HKEY root, const std::string& subKey, HKEY& out)
{
    return openKey(root, subKey, out, false);
}

int32_t Win32RegistryStore::regCreateKey(HKEY root, const std::string& subKey, HKEY& out)
{
    return openKey(root, subKey, out, true);
}

int32_t Win32RegistryStore::regQueryValueEx(HKEY key, const std::string& valueName, uint32_t* type, uint8_t* data,
                                            uint32_t* size)
{
    auto it = handles_.find(key);
    if (key == 0 || it == handles_.end())
        return kInvalidHandle;
    if (data && !size)
        return kInvalidParameter;
    std::string name;
    if (!toAnsi(valueName, name))
        return kInvalidParameter;
    auto handle = static_cast<::HKEY>(it->second);

    // Read the whole value first: a text's size is only known after its
    // conversion to UTF-8.
    DWORD valueType = REG_NONE;
    std::string bytes;
    LONG result = ERROR_MORE_DATA;
    for (int attempt = 0; attempt < 4 && result == ERROR_MORE_DATA; ++attempt) {
        DWORD length = 0;
        result = RegQueryValueExA(handle, name.c_str(), nullptr, &valueType, nullptr, &length);
        if (result != ERROR_SUCCESS)
            return result;
        if (length > kMaxValueBytes)
            return kMoreData;
        bytes.assign(length, '\0');
        result = RegQueryValueExA(handle, name.c_str(), nullptr, &valueType,
                                  reinterpret_cast<BYTE*>(bytes.data()), &length);
        if (result == ERROR_SUCCESS)
            bytes.resize(length);
    }
    if (result != ERROR_SUCCESS)
        return result;
    if (isText(valueType)) {
        bool ok = true;
        std::string utf8 = recode(bytes, CP_ACP, CP_UTF8, ok);
        if (ok)
            bytes = std::move(utf8);
    }

    return handOutValue(valueType, bytes, type, data, size);
}

int32_t Win32RegistryStore::regSetValueEx(HKEY key, const std::string& valueName, uint32_t type,
                                          const uint8_t* data, uint32_t size)
{
    auto it = handles_.find(key);
    if (key == 0 || it == handles_.end())
        return kInvalidHandle;
    if ((!data && size > 0) || size > kMaxValueBytes)
        return kInvalidParameter;
    std::string name;
    if (!toAnsi(valueName, name))
        return kInvalidParameter;
    std::string bytes(reinterpret_cast<const char*>(data), data ? size : 0);
    if (isText(type) && !toAnsi(std::string(bytes), bytes))
        return kInvalidParameter;
    return RegSetValueExA(static_cast<::HKEY>(it->second), name.c_str(), 0, type,
                          reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
}

int32_t Win32RegistryStore::regCloseKey(HKEY key)
{
    auto it = handles_.find(key);
    if (key == 0 || it == handles_.end())
        return kInvalidHandle;
    LONG result = RegCloseKey(static_cast<::HKEY>(it->second));
    handles_.erase(it);
    return result;
}

} // namespace lp
#endif

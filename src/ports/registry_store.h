#pragma once
// The RegistryStore port: the five registry calls the program makes, with the
// Win32 result codes, so that the registry module can follow the Windows
// algorithm step by step. Texts are UTF-8 in the program; the Windows
// implementation converts them to the ANSI code page at the call.
#include <cstdint>
#include <string>

namespace lp {

using HKEY = uint32_t;
constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000u;
constexpr HKEY HKEY_CURRENT_USER = 0x80000001u;
constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002u;
constexpr HKEY HKEY_USERS = 0x80000003u;

// Value types.
constexpr uint32_t REG_NONE = 0;
constexpr uint32_t REG_SZ = 1;
constexpr uint32_t REG_EXPAND_SZ = 2;
constexpr uint32_t REG_BINARY = 3;
constexpr uint32_t REG_DWORD = 4;
constexpr uint32_t REG_MULTI_SZ = 7;
constexpr uint32_t REG_QWORD = 11;

// Result codes.
constexpr int32_t ERROR_SUCCESS = 0;
constexpr int32_t ERROR_FILE_NOT_FOUND = 2;
constexpr int32_t ERROR_ACCESS_DENIED = 5;
constexpr int32_t ERROR_INVALID_HANDLE = 6;
constexpr int32_t ERROR_WRITE_FAULT = 29;
constexpr int32_t ERROR_INVALID_PARAMETER = 87;
constexpr int32_t ERROR_MORE_DATA = 234;

class RegistryStore {
public:
    virtual ~RegistryStore() = default;

    // Opens an existing key; `out` is 0 when it does not exist.
    virtual int32_t regOpenKey(HKEY root, const std::string& subKey, HKEY& out) = 0;
    // Opens a key, creating it and any missing parents.
    virtual int32_t regCreateKey(HKEY root, const std::string& subKey, HKEY& out) = 0;
    // With data == nullptr: reports type and size only. Otherwise copies at
    // most *size bytes (ERROR_MORE_DATA when the buffer is too small).
    virtual int32_t regQueryValueEx(HKEY key, const std::string& valueName, uint32_t* type,
                                    uint8_t* data, uint32_t* size) = 0;
    virtual int32_t regSetValueEx(HKEY key, const std::string& valueName, uint32_t type,
                                  const uint8_t* data, uint32_t size) = 0;
    // Closing 0 is harmless and fails with ERROR_INVALID_HANDLE, as on Windows.
    virtual int32_t regCloseKey(HKEY key) = 0;

    // Why the stored settings cannot be read (naming where they are kept),
    // empty when they can: a store that reads as empty for that reason must
    // not pass for one that holds nothing.
    virtual std::string readProblem() { return {}; }
    // Why the last write failed, naming where; empty when the store knows no
    // more than its result code.
    virtual std::string lastError() const { return {}; }
};

} // namespace lp

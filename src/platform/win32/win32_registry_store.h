#pragma once
// The Windows RegistryStore: the system registry through the ANSI calls, with
// the program's UTF-8 texts converted to the ANSI code page and back.
#ifdef _WIN32
#include <map>

#include "ports/registry_store.h"

namespace lp {

class Win32RegistryStore final : public RegistryStore {
public:
    Win32RegistryStore() = default;
    ~Win32RegistryStore() override;
    Win32RegistryStore(const Win32RegistryStore&) = delete;
    Win32RegistryStore& operator=(const Win32RegistryStore&) = delete;

    int32_t regOpenKey(HKEY root, const std::string& subKey, HKEY& out) override;
    int32_t regCreateKey(HKEY root, const std::string& subKey, HKEY& out) override;
    int32_t regQueryValueEx(HKEY key, const std::string& valueName, uint32_t* type, uint8_t* data,
                            uint32_t* size) override;
    int32_t regSetValueEx(HKEY key, const std::string& valueName, uint32_t type, const uint8_t* data,
                          uint32_t size) override;
    int32_t regCloseKey(HKEY key) override;

private:
    // The system handle behind a root constant or one of our numbers; null
    // when unknown.
    void* systemKey(HKEY key) const;
    HKEY remember(void* systemKey);
    int32_t openKey(HKEY root, const std::string& subKey, HKEY& out, bool create);

    // Our small handle numbers -> the system's HKEY.
    std::map<HKEY, void*> handles_;
};

} // namespace lp
#endif

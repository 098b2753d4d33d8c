#pragma once
// HKEY_LOCAL_MACHINE kept as a .reg export-format text file, for platforms
// without a registry. Every write is a locked read-modify-write with an atomic
// replace, so two toolkits (or a toolkit and an editor) never lose each
// other's values; every open re-reads the file, so changes made elsewhere are
// seen. The file is untrusted input: it is bounded, garbage is skipped, and a
// file that is not a registry file is never overwritten.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "platform/reg_document.h"
#include "ports/registry_store.h"

namespace lp {

// $LINKPORT_REGISTRY_FILE if set, else <userConfigFolder()>/registry.reg; empty
// when there is no configuration folder (the store then reads as empty and
// refuses writes).
std::string defaultRegistryFilePath();

class RegFileStore : public RegistryStore {
public:
    // A larger file reads as an empty registry and is never written.
    static constexpr size_t kMaxFileBytes = size_t{16} << 20;
    // Handles a program may hold open at once.
    static constexpr size_t kMaxHandles = 4096;

    explicit RegFileStore(std::string path);

    int32_t regOpenKey(HKEY root, const std::string& subKey, HKEY& out) override;
    int32_t regCreateKey(HKEY root, const std::string& subKey, HKEY& out) override;
    int32_t regQueryValueEx(HKEY key, const std::string& valueName, uint32_t* type, uint8_t* data,
                            uint32_t* size) override;
    int32_t regSetValueEx(HKEY key, const std::string& valueName, uint32_t type, const uint8_t* data,
                          uint32_t size) override;
    int32_t regCloseKey(HKEY key) override;
    std::string readProblem() override;
    std::string lastError() const override { return lastError_; }

    const std::string& path() const { return path_; }

private:
    enum class FileState { Missing, Registry, NotARegistry, TooLarge, Unreadable };
    struct Stamp {
        bool exists = false;
        uintmax_t size = 0;
        std::filesystem::file_time_type modified{};
        bool operator==(const Stamp&) const = default;
    };

    Stamp stampNow() const;
    // Re-reads the file when `always`, or when its size or time changed.
    void refresh(bool always);
    void load();
    // The full key path named by root + subKey; false with a result code.
    bool resolve(HKEY root, const std::string& subKey, std::string& path, int32_t& result) const;
    int32_t openKey(HKEY root, const std::string& subKey, HKEY& out, bool create);
    int32_t newHandle(const std::string& path, HKEY& out);
    // Locks the file, re-reads it, lets `change` edit the document (it returns
    // whether anything changed) and writes the result back atomically.
    int32_t modify(const std::function<bool(RegDocument&)>& change);

    std::string path_;
    RegDocument doc_;
    FileState state_ = FileState::Missing;
    std::string loadedText_; // the bytes doc_ was read from, to skip needless parses
    Stamp stamp_;
    std::map<HKEY, std::string> handles_;
    std::string loadError_; // why the file could not be read, when it could not
    std::string lastError_;
};

} // namespace lp

#include "platform/reg_file_store.h"

#include <cstdlib>
#include <cstring>
#include <system_error>

#include "platform/atomic_file.h"
#include "platform/registry_handles.h"
#include "platform/user_folders.h"

namespace lp {

namespace {

constexpr int32_t ERROR_TOO_MANY_OPEN_FILES = 4;

} // namespace

std::string defaultRegistryFilePath()
{
    if (const char* file = std::getenv("LINKPORT_REGISTRY_FILE"); file && *file)
        return file;
    std::string folder = userConfigFolder();
    return folder.empty() ? std::string() : folder + "/registry.reg";
}

RegFileStore::RegFileStore(std::string path) : path_(std::move(path))
{
    refresh(true);
}

RegFileStore::Stamp RegFileStore::stampNow() const
{
    Stamp stamp;
    std::error_code ec;
    if (path_.empty() || !std::filesystem::exists(path_, ec))
        return stamp;
    stamp.exists = true;
    stamp.size = std::filesystem::file_size(path_, ec);
    if (ec)
        stamp.size = static_cast<uintmax_t>(-1);
    stamp.modified = std::filesystem::last_write_time(path_, ec);
    return stamp;
}

void RegFileStore::refresh(bool always)
{
    Stamp now = stampNow();
    if (!always && now == stamp_)
        return;
    stamp_ = now;
    load();
}

void RegFileStore::load()
{
    auto becomeEmpty = [this](FileState state) {
        state_ = state;
        doc_ = RegDocument();
        loadedText_.clear();
    };
    if (path_.empty()) {
        becomeEmpty(FileState::Unreadable);
        return;
    }
    std::error_code ec;
    auto status = std::filesystem::status(path_, ec);
    if (!std::filesystem::exists(status)) {
        becomeEmpty(FileState::Missing);
        return;
    }
    loadError_.clear();
    if (std::filesystem::is_directory(status)) {
        loadError_ = "it is a folder";
        becomeEmpty(FileState::Unreadable);
        return;
    }
    if (std::filesystem::file_size(path_, ec) > kMaxFileBytes && !ec) {
        becomeEmpty(FileState::TooLarge);
        return;
    }
    std::string text;
    if (!readWholeFile(path_, text, kMaxFileBytes, &loadError_)) {
        // Gone between the look and the read, grown past the limit, or not
        // readable by us: nothing to show, and nothing we may overwrite.
        bool gone = !std::filesystem::exists(path_, ec);
        becomeEmpty(gone ? FileState::Missing : FileState::Unreadable);
        return;
    }
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        // An empty file holds no settings and nothing to lose.
        becomeEmpty(FileState::Missing);
        return;
    }
    if ((state_ == FileState::Registry || state_ == FileState::NotARegistry) && text == loadedText_)
        return;
    doc_ = RegDocument::parse(text);
    state_ = doc_.hasHeader() ? FileState::Registry : FileState::NotARegistry;
    loadedText_ = std::move(text);
}

bool RegFileStore::resolve(HKEY root, const std::string& subKey, std::string& path, int32_t& result) const
{
    std::string base;
    if (root != HKEY_LOCAL_MACHINE) {
        auto it = handles_.find(root);
        if (it == handles_.end()) {
            result = ERROR_INVALID_HANDLE;
            return false;
        }
        base = it->second;
    }
    auto normal = normalizeRegKeyPath(subKey);
    if (!normal) {
        result = ERROR_INVALID_PARAMETER;
        return false;
    }
    path = base.empty() ? *normal : normal->empty() ? base : base + "\\" + *normal;
    result = ERROR_SUCCESS;
    return true;
}

int32_t RegFileStore::newHandle(const std::string& path, HKEY& out)
{
    if (handles_.size() >= kMaxHandles)
        return ERROR_TOO_MANY_OPEN_FILES;
    HKEY handle = smallestFreeHandle(handles_);
    handles_.emplace(handle, path);
    out = handle;
    return ERROR_SUCCESS;
}

int32_t RegFileStore::openKey(HKEY root, const std::string& subKey, HKEY& out, bool create)
{
    out = 0;
    std::string path;
    int32_t result = ERROR_SUCCESS;
    if (!resolve(root, subKey, path, result))
        return result;
    refresh(true);
    if (!doc_.keyExists(path)) {
        if (!create)
            return ERROR_FILE_NOT_FOUND;
        result = modify([&path](RegDocument& doc) { return doc.createKey(path); });
        if (result != ERROR_SUCCESS)
            return result;
    }
    return newHandle(path, out);
}

int32_t RegFileStore::regOpenKey(HKEY root, const std::string& subKey, HKEY& out)
{
    return openKey(root, subKey, out, false);
}

int32_t RegFileStore::regCreateKey(HKEY root, const std::string& subKey, HKEY& out)
{
    return openKey(root, subKey, out, true);
}

int32_t RegFileStore::regQueryValueEx(HKEY key, const std::string& valueName, uint32_t* type, uint8_t* data,
                                      uint32_t* size)
{
    auto it = handles_.find(key);
    if (it == handles_.end())
        return ERROR_INVALID_HANDLE;
    if (data && !size)
        return ERROR_INVALID_PARAMETER;
    refresh(false);
    const RegData* value = doc_.findValue(it->second, valueName);
    if (!value)
        return ERROR_FILE_NOT_FOUND;
    return handOutValue(value->type, value->bytes, type, data, size);
}

int32_t RegFileStore::regSetValueEx(HKEY key, const std::string& valueName, uint32_t type, const uint8_t* data,
                                    uint32_t size)
{
    auto it = handles_.find(key);
    if (it == handles_.end())
        return ERROR_INVALID_HANDLE;
    if ((!data && size > 0) || size > kMaxFileBytes || !isStorableRegValueName(valueName))
        return ERROR_INVALID_PARAMETER;
    RegData value;
    value.type = type;
    if (size > 0)
        value.bytes.assign(reinterpret_cast<const char*>(data), size);
    const std::string path = it->second;
    return modify([&](RegDocument& doc) {
        const RegData* old = doc.findValue(path, valueName);
        if (old && *old == value)
            return false;
        doc.setValue(path, valueName, std::move(value));
        return true;
    });
}

std::string RegFileStore::readProblem()
{
    refresh(false);
    const std::string what = path_.empty() ? std::string("the registry file (no settings folder)") : path_;
    const std::string leftAlone = ".  Linkport Toolkit cannot read its settings and leaves the file as it is: "
                                  "correct it, or move it away to start afresh.";
    switch (state_) {
    case FileState::NotARegistry:
        return what + " is not a registry file (its first line is not \"Windows Registry Editor Version 5.00\")"
               + leftAlone;
    case FileState::TooLarge:
        return what + " is larger than " + std::to_string(kMaxFileBytes >> 20) + " MiB" + leftAlone;
    case FileState::Unreadable:
        return what + " cannot be read" + (loadError_.empty() ? std::string() : " (" + loadError_ + ")") + leftAlone;
    case FileState::Missing:
    case FileState::Registry:
        break;
    }
    return {};
}

int32_t RegFileStore::regCloseKey(HKEY key)
{
    return handles_.erase(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

int32_t RegFileStore::modify(const std::function<bool(RegDocument&)>& change)
{
    lastError_.clear();
    if (path_.empty()) {
        lastError_ = "there is no folder for the registry file";
        return ERROR_WRITE_FAULT;
    }
    std::filesystem::path parent = std::filesystem::path(path_).parent_path();
    if (!parent.empty() && !makeFolders(parent.string())) {
        lastError_ = "cannot make the folder " + parent.string();
        return ERROR_WRITE_FAULT;
    }
    FileLock lock(path_);
    if (!lock.locked()) {
        lastError_ = lock.error();
        return ERROR_WRITE_FAULT;
    }
    // Another process may have written since we last looked.
    stamp_ = stampNow();
    load();
    if (state_ != FileState::Missing && state_ != FileState::Registry) {
        lastError_ = readProblem();
        return ERROR_ACCESS_DENIED;
    }
    if (!change(doc_))
        return ERROR_SUCCESS;
    std::string text = doc_.text();
    const bool tooLarge = text.size() > kMaxFileBytes;
    if (tooLarge || !replaceFileAtomically(path_, text, &lastError_)) {
        if (tooLarge)
            lastError_ = path_ + " would grow past " + std::to_string(kMaxFileBytes >> 20) + " MiB";
        const bool readOnly = lastError_.find("read-only") != std::string::npos;
        // Back to what the file holds: the failed change must not linger.
        stamp_ = stampNow();
        state_ = FileState::Unreadable;
        load();
        return tooLarge || readOnly ? ERROR_ACCESS_DENIED : ERROR_WRITE_FAULT;
    }
    state_ = FileState::Registry;
    loadedText_ = std::move(text);
    stamp_ = stampNow();
    return ERROR_SUCCESS;
}

} // namespace lp

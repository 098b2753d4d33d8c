#include "platform/rp1210_library.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>
#include <vector>

#include "core/ascii.h"
#include "platform/rp1210_call_buffer.h"
#include "ports/logger.h"
#include "ports/rp1210_api.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace lp {

namespace {

struct EntryName {
    const char* plain;
    const char* decorated; // the 32-bit __stdcall export name
};

constexpr EntryName kEntryNames[] = {
    {"RP1210_ClientConnect", "_RP1210_ClientConnect@24"},
    {"RP1210_ClientDisconnect", "_RP1210_ClientDisconnect@4"},
    {"RP1210_SendMessage", "_RP1210_SendMessage@20"},
    {"RP1210_ReadMessage", "_RP1210_ReadMessage@16"},
    {"RP1210_SendCommand", "_RP1210_SendCommand@16"},
    {"RP1210_ReadVersion", "_RP1210_ReadVersion@16"},
    {"RP1210_GetErrorMsg", "_RP1210_GetErrorMsg@8"},
    {"RP1210_GetHardwareStatus", "_RP1210_GetHardwareStatus@16"},
};

// RP1210_GetErrorMsg writes up to 80 characters and a terminator.
constexpr size_t kErrorMessageRoom = 81;

#ifdef _WIN32
std::string convert(const std::string& text, UINT from, UINT to)
{
    if (text.empty())
        return {};
    int wide = MultiByteToWideChar(from, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    if (wide <= 0)
        return text;
    std::wstring w(static_cast<size_t>(wide), L'\0');
    MultiByteToWideChar(from, 0, text.data(), static_cast<int>(text.size()), w.data(), wide);
    int narrow = WideCharToMultiByte(to, 0, w.data(), wide, nullptr, 0, nullptr, nullptr);
    if (narrow <= 0)
        return text;
    std::string out(static_cast<size_t>(narrow), '\0');
    WideCharToMultiByte(to, 0, w.data(), wide, out.data(), narrow, nullptr, nullptr);
    return out;
}
std::string toDriverText(const std::string& utf8) { return convert(utf8, CP_UTF8, CP_ACP); }
std::string fromDriverText(const std::string& ansi) { return convert(ansi, CP_ACP, CP_UTF8); }
#else
std::string toDriverText(const std::string& text) { return text; }
std::string fromDriverText(const std::string& text) { return text; }
#endif

} // namespace

Rp1210Library::Rp1210Library(std::string baseName, std::function<std::string()> windowsDirectory, Logger* log)
    : baseName_(std::move(baseName)), windowsDirectory_(std::move(windowsDirectory)), log_(log)
{
}

Rp1210Library::~Rp1210Library()
{
    if (!handle_)
        return;
#ifdef _WIN32
    FreeLibrary(static_cast<HMODULE>(handle_));
#else
    dlclose(handle_);
#endif
}

std::string Rp1210Library::findInFolder(const std::string& folder, const std::string& baseName)
{
#ifdef _WIN32
    (void)folder;
    (void)baseName;
    return {};
#else
    namespace fs = std::filesystem;
    if (folder.empty())
        return {};
    std::vector<fs::path> entries;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        entries.push_back(it->path());
    std::sort(entries.begin(), entries.end()); // the same file every time when two differ in case
    for (const std::string& wanted : {"lib" + baseName + ".so", baseName + ".so"}) {
        for (const auto& entry : entries) {
            if (entry.filename().string() == wanted)
                return entry.string();
        }
        std::string key = asciiLowered(wanted);
        for (const auto& entry : entries) {
            if (asciiLowered(entry.filename().string()) == key)
                return entry.string();
        }
    }
    return {};
#endif
}

bool Rp1210Library::load()
{
    if (handle_)
        return true;
#ifdef _WIN32
    std::string name = baseName_ + ".dll";
    HMODULE module = LoadLibraryA(name.c_str());
    if (!module) {
        lastError_ = name + " could not be loaded (error " + std::to_string(GetLastError()) + ")";
        return false;
    }
    char path[MAX_PATH] = {};
    GetModuleFileNameA(module, path, MAX_PATH);
    handle_ = module;
    loadedPath_ = path;
#else
    std::vector<std::string> candidates;
    if (windowsDirectory_) {
        std::string found = findInFolder(windowsDirectory_(), baseName_);
        if (!found.empty())
            candidates.push_back(found);
    }
    candidates.push_back("lib" + baseName_ + ".so");
    candidates.push_back(baseName_ + ".so");
    std::string errors;
    for (const auto& candidate : candidates) {
        dlerror();
        void* handle = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle) {
            handle_ = handle;
            loadedPath_ = candidate;
            break;
        }
        const char* why = dlerror();
        errors += (errors.empty() ? "" : "; ") + std::string(why ? why : candidate + ": not loadable");
    }
    if (!handle_) {
        lastError_ = "driver library " + baseName_ + " not found: " + errors;
        return false;
    }
#endif
    entries_.fill(nullptr);
    if (log_)
        log_->info(LogSubsystem::Platform, "RP1210 driver loaded from " + loadedPath_);
    return true;
}

void* Rp1210Library::entry(Entry which)
{
    // Drivers are not made for concurrent calls: the first calling thread
    // owns the driver.
    if (!callingThreadKnown_) {
        callingThread_ = std::this_thread::get_id();
        callingThreadKnown_ = true;
    } else if (callingThread_ != std::this_thread::get_id()) {
        lastError_ = "RP1210 driver called from a second thread; call refused";
        if (log_)
            log_->warning(LogSubsystem::Platform, lastError_);
        return nullptr;
    }
    if (!load()) {
        if (log_)
            log_->warning(LogSubsystem::Platform, lastError_);
        return nullptr;
    }
    if (entries_[which])
        return entries_[which];
    const EntryName& name = kEntryNames[which];
    void* found = nullptr;
#ifdef _WIN32
    HMODULE module = static_cast<HMODULE>(handle_);
    found = reinterpret_cast<void*>(GetProcAddress(module, name.plain));
    if (!found)
        found = reinterpret_cast<void*>(GetProcAddress(module, name.decorated));
#else
    found = dlsym(handle_, name.plain);
    if (!found)
        found = dlsym(handle_, name.decorated);
#endif
    if (!found) {
        lastError_ = std::string("entry point ") + name.plain + " missing in " + loadedPath_;
        if (log_)
            log_->warning(LogSubsystem::Platform, lastError_);
        return nullptr;
    }
    entries_[which] = found;
    return found;
}

// Results are read through the declared `short` return type: only the low
// 16 bits of the return register count, whatever a driver left above them.

DriverResult Rp1210Library::clientConnect(intptr_t windowHandle, int16_t deviceId, std::string& protocol,
                                          int32_t txBufferSize, int32_t rcvBufferSize,
                                          int16_t isAppPacketizingIncomingMsgs)
{
    auto fn = reinterpret_cast<RP1210_ClientConnect_t>(entry(kConnect));
    if (!fn)
        return std::nullopt;
    Rp1210CallBuffer text(toDriverText(protocol), 0);
    short r = fn(reinterpret_cast<Rp1210Hwnd>(windowHandle), deviceId, text.data(), txBufferSize, rcvBufferSize,
                 isAppPacketizingIncomingMsgs);
    protocol = fromDriverText(text.result());
    return static_cast<int16_t>(r);
}

DriverResult Rp1210Library::clientDisconnect(int16_t clientId)
{
    auto fn = reinterpret_cast<RP1210_ClientDisconnect_t>(entry(kDisconnect));
    if (!fn)
        return std::nullopt;
    return static_cast<int16_t>(fn(clientId));
}

DriverResult Rp1210Library::sendMessage(int16_t clientId, std::string& message, int16_t messageSize,
                                        int16_t notifyStatusOnTx, int16_t blockOnSend)
{
    auto fn = reinterpret_cast<RP1210_SendMessage_t>(entry(kSendMessage));
    if (!fn)
        return std::nullopt;
    Rp1210CallBuffer buffer(message, Rp1210CallBuffer::room(messageSize));
    short r = fn(clientId, buffer.data(), messageSize, notifyStatusOnTx, blockOnSend);
    message = buffer.result();
    return static_cast<int16_t>(r);
}

DriverResult Rp1210Library::readMessage(int16_t clientId, std::string& message, int16_t bufferSize,
                                        int16_t blockOnRead)
{
    auto fn = reinterpret_cast<RP1210_ReadMessage_t>(entry(kReadMessage));
    if (!fn)
        return std::nullopt;
    Rp1210CallBuffer buffer(message, Rp1210CallBuffer::room(bufferSize));
    short r = fn(clientId, buffer.data(), bufferSize, blockOnRead);
    message = buffer.result();
    return static_cast<int16_t>(r);
}

DriverResult Rp1210Library::sendCommand(int16_t commandNumber, int16_t clientId, std::string& command,
                                        int16_t messageSize)
{
    auto fn = reinterpret_cast<RP1210_SendCommand_t>(entry(kSendCommand));
    if (!fn)
        return std::nullopt;
    Rp1210CallBuffer buffer(command, Rp1210CallBuffer::room(messageSize));
    short r = fn(commandNumber, clientId, buffer.data(), messageSize);
    command = buffer.result();
    return static_cast<int16_t>(r);
}

bool Rp1210Library::readVersion(std::string& dllMajor, std::string& dllMinor, std::string& apiMajor,
                                std::string& apiMinor)
{
    auto fn = reinterpret_cast<RP1210_ReadVersion_t>(entry(kReadVersion));
    if (!fn)
        return false;
    Rp1210CallBuffer a(toDriverText(dllMajor), 0), b(toDriverText(dllMinor), 0), c(toDriverText(apiMajor), 0),
        d(toDriverText(apiMinor), 0);
    fn(a.data(), b.data(), c.data(), d.data());
    dllMajor = fromDriverText(a.result());
    dllMinor = fromDriverText(b.result());
    apiMajor = fromDriverText(c.result());
    apiMinor = fromDriverText(d.result());
    return true;
}

DriverResult Rp1210Library::getErrorMsg(int16_t errorCode, std::string& message)
{
    auto fn = reinterpret_cast<RP1210_GetErrorMsg_t>(entry(kGetErrorMsg));
    if (!fn)
        return std::nullopt;
    Rp1210CallBuffer buffer(toDriverText(message), kErrorMessageRoom);
    short r = fn(errorCode, buffer.data());
    message = fromDriverText(buffer.result());
    return static_cast<int16_t>(r);
}

DriverResult Rp1210Library::getHardwareStatus(int16_t clientId, std::string& info, int16_t infoSize,
                                              int16_t blockOnRequest)
{
    auto fn = reinterpret_cast<RP1210_GetHardwareStatus_t>(entry(kGetHardwareStatus));
    if (!fn)
        return std::nullopt;
    Rp1210CallBuffer buffer(toDriverText(info), Rp1210CallBuffer::room(infoSize));
    short r = fn(clientId, buffer.data(), infoSize, blockOnRequest);
    info = fromDriverText(buffer.result());
    return static_cast<int16_t>(r);
}

} // namespace lp

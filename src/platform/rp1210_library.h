#pragma once
// The real Rp1210Driver: the adapter maker's driver library, loaded at the
// first call and bound by name.
//
// Where the library is looked for:
//  - Windows: LoadLibraryA("<name>.dll") with the system's search order; each
//    entry point by its plain name, then by its decorated 32-bit name
//    (_RP1210_ClientConnect@24).
//  - Elsewhere: lib<name>.so, then <name>.so, in the Windows directory (file
//    names matched without regard to case, as Windows would), then the same
//    names on the system library path (dlopen).
// A library that cannot be found or loaded, or an entry point it lacks, makes
// that call report "did not happen" (nullopt) and is looked for again at the
// next call, so a driver installed while the program runs is picked up.
// Nothing here throws.
#include <array>
#include <functional>
#include <string>
#include <thread>

#include "ports/rp1210_driver.h"

namespace lp {

class Logger;

class Rp1210Library final : public Rp1210Driver {
public:
    // windowsDirectory is asked at load time; empty function or text: the
    // system path only.
    explicit Rp1210Library(std::string baseName, std::function<std::string()> windowsDirectory = {},
                           Logger* log = nullptr);
    ~Rp1210Library() override;
    Rp1210Library(const Rp1210Library&) = delete;
    Rp1210Library& operator=(const Rp1210Library&) = delete;

    DriverResult clientConnect(intptr_t windowHandle, int16_t deviceId, std::string& protocol, int32_t txBufferSize,
                               int32_t rcvBufferSize, int16_t isAppPacketizingIncomingMsgs) override;
    DriverResult clientDisconnect(int16_t clientId) override;
    DriverResult sendMessage(int16_t clientId, std::string& message, int16_t messageSize, int16_t notifyStatusOnTx,
                             int16_t blockOnSend) override;
    DriverResult readMessage(int16_t clientId, std::string& buffer, int16_t bufferSize,
                             int16_t blockOnRead) override;
    DriverResult sendCommand(int16_t commandNumber, int16_t clientId, std::string& buffer,
                             int16_t messageSize) override;
    bool readVersion(std::string& dllMajor, std::string& dllMinor, std::string& apiMajor,
                     std::string& apiMinor) override;
    DriverResult getErrorMsg(int16_t errorCode, std::string& message) override;
    DriverResult getHardwareStatus(int16_t clientId, std::string& info, int16_t infoSize,
                                   int16_t blockOnRequest) override;

    // The file that is loaded; empty while none is.
    const std::string& loadedPath() const { return loadedPath_; }
    // Why the last call did not happen.
    const std::string& lastError() const { return lastError_; }

    // The library file in `folder` that this binding would load, found
    // without regard to case; empty when there is none. (Not on Windows.)
    static std::string findInFolder(const std::string& folder, const std::string& baseName);

private:
    // Prefixed: <windows.h> defines SendMessage as a macro.
    enum Entry { kConnect, kDisconnect, kSendMessage, kReadMessage, kSendCommand, kReadVersion, kGetErrorMsg,
                 kGetHardwareStatus, kEntryCount };
    // The entry point, loading the library first if needed; nullptr (with
    // lastError_ set) when the call cannot be made.
    void* entry(Entry which);
    bool load();

    std::string baseName_;
    std::function<std::string()> windowsDirectory_;
    Logger* log_;
    void* handle_ = nullptr;
    std::array<void*, kEntryCount> entries_{};
    std::string loadedPath_;
    std::string lastError_;
    std::thread::id callingThread_;
    bool callingThreadKnown_ = false;
};

} // namespace lp

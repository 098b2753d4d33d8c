#pragma once
// The adapter's RP1210 driver in-process, for procedure tests on the
// virtual clock: the driver model over an Lp2Model. While a client is open
// the driver holds the adapter's virtual port, so the program's own open of
// it is refused, as with the real driver. Buffers are handled as the real
// binding handles them (room beyond the caller's size, the caller's length
// kept), and a missing library or entry point can be staged.
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "models/lp2_driver_core.h"
#include "models/lp2_model.h"
#include "ports/rp1210_driver.h"
#include "doubles/virtual_serial.h"

namespace lp::sim {

class Lp2InProcessDriver final : public Rp1210Driver, private Lp2AdapterAccess {
public:
    // `ports` and `port`: where the adapter hangs; without ports the driver
    // holds nothing.
    explicit Lp2InProcessDriver(Lp2Model& adapter, VirtualSerialPorts* ports = nullptr, int16_t port = 1,
                                Lp2DriverSettings settings = {});

    Lp2DriverCore& core() { return core_; }
    Lp2DriverSettings& settings() { return core_.settings(); }

    // No library: every call reports that it did not happen.
    void setLibraryMissing(bool missing) { libraryMissing_ = missing; }
    // One entry point missing, by its name ("RP1210_GetErrorMsg").
    void setEntryMissing(const std::string& name, bool missing = true);

    // Each look at the adapter runs through `call`, for a model that lives on
    // another thread (a PtyBridge's: its scheduler's call()).
    void setAdapterCall(std::function<void(const std::function<void()>&)> call) { adapterCall_ = std::move(call); }

    // The entry points called, in order; onCall runs at each before the driver acts.
    std::vector<std::string> calls;
    std::function<void(const std::string&)> onCall;

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

private:
    bool enter(const char* name);

    // Lp2AdapterAccess
    bool acquirePort() override;
    void releasePort() override;
    std::optional<std::array<uint8_t, 6>> readVersions() override;
    std::optional<bool> startFlash(uint16_t value) override;
    bool present() override;
    void onAdapter(const std::function<void()>& fn) { adapterCall_ ? adapterCall_(fn) : fn(); }

    Lp2Model& adapter_;
    VirtualSerialPorts* ports_;
    int16_t port_;
    Lp2DriverCore core_;
    std::function<void(const std::function<void()>&)> adapterCall_;
    bool libraryMissing_ = false;
    std::set<std::string> missingEntries_;
};

} // namespace lp::sim

#pragma once
// The adapter's RP1210 driver, as a model: client identifiers, the error
// codes it gives per protocol, its version, error texts and hardware status,
// and commands 209 (read versions) and 300 (start a flash), which it passes
// on to the adapter. Shared by the in-process driver of the unit tests and
// the test driver library LP2RP32; what differs between the two is how the
// adapter is reached (Lp2AdapterAccess).
//
// Buffers are C buffers as the RP1210 functions get them; the driver never
// writes beyond the sizes it is given, except RP1210_ReadVersion and
// RP1210_GetErrorMsg, whose callers provide room by convention (the version
// fields; 80 characters and a terminator).
#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lp::sim {

// RP1210 error codes the driver gives.
namespace Rp1210Code {
constexpr int16_t InvalidClientId = 129;
constexpr int16_t ClientAreaFull = 131;
constexpr int16_t InvalidDevice = 134;
constexpr int16_t InvalidProtocol = 136;
constexpr int16_t TxQueueFull = 137;
constexpr int16_t MessageTooLong = 141;
constexpr int16_t HardwareNotResponding = 142;
constexpr int16_t CommandNotSupported = 143;
constexpr int16_t InvalidCommand = 144;
constexpr int16_t ChangeModeFailed = 150;
constexpr int16_t CodeNotFound = 154;
constexpr int16_t CommDeviceInUse = 230;
constexpr int16_t FirmwareMismatch = 443;
} // namespace Rp1210Code

struct Lp2DriverSettings {
    // RP1210_ReadVersion's four texts. They are written as fixed-width
    // fields, their characters only, no terminator: the callers of this
    // driver give it 1, 2, 1 and 1 characters.
    std::string dllMajor = "1", dllMinor = "12", apiMajor = "3", apiMinor = "0";
    int16_t deviceId = 1;
    std::vector<std::string> protocols{"SIP", "J1708", "J1939", "HVN"};
    // RP1210_ClientConnect's result for a protocol, instead of a client.
    std::map<std::string, int16_t> connectErrors;
    // Results returned first, one per connect, whatever was asked; a value
    // from 0 to 127 opens that client.
    std::deque<int16_t> scriptedConnectResults;
    int16_t firstClientId = 0;
    int maxClients = 16;
    // Texts added to (or replacing) the standard ones.
    std::map<int16_t, std::string> errorTexts;
    // RP1210_GetHardwareStatus's bytes (the rest of the buffer is zeros).
    std::string hardwareStatus = std::string("LP2\x01" "1", 5);
    // What command 300 gives when the adapter refuses the flash.
    int16_t flashRefusedCode = Rp1210Code::ChangeModeFailed;
};

// How the driver reaches its adapter.
class Lp2AdapterAccess {
public:
    virtual ~Lp2AdapterAccess() = default;
    // Takes the adapter's port for the driver; false when another program
    // holds it.
    virtual bool acquirePort() = 0;
    virtual void releasePort() = 0;
    // The six version bytes (hardware, application, boot), or nothing when
    // the adapter does not answer.
    virtual std::optional<std::array<uint8_t, 6>> readVersions() = 0;
    virtual std::optional<bool> startFlash(uint16_t value) = 0;
    // The hand-shake with the adapter: false when nothing answers (no
    // power, no cable).
    virtual bool present() = 0;
};

class Lp2DriverCore {
public:
    Lp2DriverCore(Lp2DriverSettings settings, Lp2AdapterAccess& adapter);

    int16_t clientConnect(int16_t deviceId, const char* protocol);
    int16_t clientDisconnect(int16_t clientId);
    int16_t sendMessage(int16_t clientId, const char* message, int16_t messageSize);
    int16_t readMessage(int16_t clientId, char* buffer, int16_t bufferSize);
    int16_t sendCommand(int16_t command, int16_t clientId, char* buffer, int16_t messageSize);
    void readVersion(char* dllMajor, char* dllMinor, char* apiMajor, char* apiMinor) const;
    int16_t getErrorMsg(int16_t code, char* message) const;
    int16_t getHardwareStatus(int16_t clientId, char* info, int16_t infoSize) const;

    Lp2DriverSettings& settings() { return settings_; }
    bool clientOpen(int16_t clientId) const { return clients_.count(clientId) != 0; }
    size_t openClients() const { return clients_.size(); }
    bool holdsPort() const { return holdsPort_; }

    // What the program asked of the driver, for tests.
    struct ConnectCall {
        int16_t deviceId;
        std::string protocol;
        int16_t result;
    };
    std::vector<ConnectCall> connects;
    std::vector<int16_t> disconnects; // the ids asked for
    std::vector<int16_t> commands;    // command numbers

    // The standard text of a code, empty when the driver has none.
    std::string errorText(int16_t code) const;

private:
    int16_t openClient(int16_t id, const std::string& protocol);

    Lp2DriverSettings settings_;
    Lp2AdapterAccess& adapter_;
    std::map<int16_t, std::deque<std::string>> clients_; // id -> messages echoed back
    bool holdsPort_ = false;
};

} // namespace lp::sim

#include "models/lp2_driver_core.h"

#include <algorithm>
#include <cstring>

namespace lp::sim {

namespace {

constexpr size_t kMaxMessage = 4096;
constexpr size_t kMaxQueued = 64;
constexpr size_t kMaxErrorText = 80;
constexpr size_t kStatusBytes = 16;

const std::map<int16_t, std::string>& standardTexts()
{
    static const std::map<int16_t, std::string> texts{
        {128, "Driver not initialized"},
        {129, "Invalid client ID"},
        {130, "Client already connected"},
        {131, "Client area full"},
        {134, "Invalid device"},
        {135, "Device in use"},
        {136, "Invalid protocol"},
        {137, "Transmit queue full"},
        {141, "Message too long"},
        {142, "Hardware not responding"},
        {143, "Command not supported"},
        {144, "Invalid command"},
        {150, "Change mode failed"},
        {154, "Error code not found"},
        {230, "Communications device in use"},
        {443, "Driver and adapter firmware do not suit each other"},
        {453, "Adapter not responding"},
    };
    return texts;
}

} // namespace

Lp2DriverCore::Lp2DriverCore(Lp2DriverSettings settings, Lp2AdapterAccess& adapter)
    : settings_(std::move(settings)), adapter_(adapter)
{
}

int16_t Lp2DriverCore::openClient(int16_t id, const std::string& protocol)
{
    (void)protocol;
    if (!holdsPort_) {
        if (!adapter_.acquirePort())
            return Rp1210Code::CommDeviceInUse;
        // A driver opens no client for an adapter that says nothing: the
        // program must learn at its connect that the hardware is not there.
        if (!adapter_.present()) {
            adapter_.releasePort();
            return Rp1210Code::HardwareNotResponding;
        }
        holdsPort_ = true;
    }
    clients_[id];
    return id;
}

int16_t Lp2DriverCore::clientConnect(int16_t deviceId, const char* protocol)
{
    // Bounded: a protocol name is short, whatever the caller left after it.
    std::string name = protocol ? std::string(protocol, strnlen(protocol, 64)) : std::string();
    int16_t result;
    if (!settings_.scriptedConnectResults.empty()) {
        result = settings_.scriptedConnectResults.front();
        settings_.scriptedConnectResults.pop_front();
        if (result >= 0 && result < 128)
            result = openClient(result, name);
    } else if (deviceId != settings_.deviceId) {
        result = Rp1210Code::InvalidDevice;
    } else if (std::find(settings_.protocols.begin(), settings_.protocols.end(), name) == settings_.protocols.end()) {
        result = Rp1210Code::InvalidProtocol;
    } else if (auto error = settings_.connectErrors.find(name); error != settings_.connectErrors.end()) {
        result = error->second;
    } else if (static_cast<int>(clients_.size()) >= settings_.maxClients) {
        result = Rp1210Code::ClientAreaFull;
    } else {
        int16_t id = std::clamp<int16_t>(settings_.firstClientId, 0, 127);
        for (int tries = 0; tries < 128 && clients_.count(id); ++tries)
            id = static_cast<int16_t>((id + 1) % 128);
        result = openClient(id, name);
    }
    connects.push_back({deviceId, name, result});
    return result;
}

int16_t Lp2DriverCore::clientDisconnect(int16_t clientId)
{
    disconnects.push_back(clientId);
    if (!clients_.erase(clientId))
        return Rp1210Code::InvalidClientId;
    if (clients_.empty() && holdsPort_) {
        adapter_.releasePort();
        holdsPort_ = false;
    }
    return 0;
}

int16_t Lp2DriverCore::sendMessage(int16_t clientId, const char* message, int16_t messageSize)
{
    auto client = clients_.find(clientId);
    if (client == clients_.end())
        return Rp1210Code::InvalidClientId;
    if (!message || messageSize < 0 || static_cast<size_t>(messageSize) > kMaxMessage)
        return Rp1210Code::MessageTooLong;
    if (client->second.size() >= kMaxQueued)
        return Rp1210Code::TxQueueFull;
    // The datalink is a loop-back: what is sent can be read again.
    client->second.emplace_back(message, static_cast<size_t>(messageSize));
    return 0;
}

int16_t Lp2DriverCore::readMessage(int16_t clientId, char* buffer, int16_t bufferSize)
{
    auto client = clients_.find(clientId);
    if (client == clients_.end())
        return static_cast<int16_t>(-Rp1210Code::InvalidClientId);
    if (client->second.empty())
        return 0;
    const std::string& message = client->second.front();
    if (!buffer || bufferSize < 0 || message.size() > static_cast<size_t>(bufferSize))
        return static_cast<int16_t>(-Rp1210Code::MessageTooLong);
    std::memcpy(buffer, message.data(), message.size());
    auto length = static_cast<int16_t>(message.size());
    client->second.pop_front();
    return length;
}

int16_t Lp2DriverCore::sendCommand(int16_t command, int16_t clientId, char* buffer, int16_t messageSize)
{
    commands.push_back(command);
    if (!clientOpen(clientId))
        return Rp1210Code::InvalidClientId;
    switch (command) {
    case 209: {
        if (!buffer || messageSize < 8)
            return Rp1210Code::InvalidCommand;
        auto versions = adapter_.readVersions();
        if (!versions)
            return Rp1210Code::HardwareNotResponding;
        const auto& v = *versions;
        // Characters 2-3 boot, 4-5 application, 6-7 hardware; 1 and 8 stay.
        const uint8_t layout[6] = {v[4], v[5], v[2], v[3], v[0], v[1]};
        for (int i = 0; i < 6; ++i)
            buffer[1 + i] = static_cast<char>(layout[i]);
        return 0;
    }
    case 300: {
        if (!buffer || messageSize < 2)
            return Rp1210Code::InvalidCommand;
        auto value = static_cast<uint16_t>(static_cast<uint8_t>(buffer[0]) | (static_cast<uint8_t>(buffer[1]) << 8));
        auto accepted = adapter_.startFlash(value);
        if (!accepted)
            return Rp1210Code::HardwareNotResponding;
        return *accepted ? 0 : settings_.flashRefusedCode;
    }
    default: return Rp1210Code::CommandNotSupported;
    }
}

void Lp2DriverCore::readVersion(char* dllMajor, char* dllMinor, char* apiMajor, char* apiMinor) const
{
    auto put = [](char* target, const std::string& text) {
        if (target)
            std::memcpy(target, text.data(), text.size());
    };
    put(dllMajor, settings_.dllMajor);
    put(dllMinor, settings_.dllMinor);
    put(apiMajor, settings_.apiMajor);
    put(apiMinor, settings_.apiMinor);
}

std::string Lp2DriverCore::errorText(int16_t code) const
{
    if (auto own = settings_.errorTexts.find(code); own != settings_.errorTexts.end())
        return own->second;
    auto standard = standardTexts().find(code);
    return standard == standardTexts().end() ? std::string() : standard->second;
}

int16_t Lp2DriverCore::getErrorMsg(int16_t code, char* message) const
{
    std::string text = errorText(code);
    if (text.empty() || !message)
        return Rp1210Code::CodeNotFound;
    size_t n = std::min(text.size(), kMaxErrorText);
    std::memcpy(message, text.data(), n);
    message[n] = '\0';
    return 0;
}

int16_t Lp2DriverCore::getHardwareStatus(int16_t clientId, char* info, int16_t infoSize) const
{
    if (!clientOpen(clientId))
        return Rp1210Code::InvalidClientId;
    if (!info || infoSize < 0)
        return Rp1210Code::MessageTooLong;
    size_t room = std::min(static_cast<size_t>(infoSize), kStatusBytes);
    for (size_t i = 0; i < room; ++i)
        info[i] = i < settings_.hardwareStatus.size() ? settings_.hardwareStatus[i] : '\0';
    return 0;
}

} // namespace lp::sim

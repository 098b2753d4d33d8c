#include "doubles/lp2_in_process_driver.h"

#include "platform/rp1210_call_buffer.h"

namespace lp::sim {

using Buffer = Rp1210CallBuffer;

Lp2InProcessDriver::Lp2InProcessDriver(Lp2Model& adapter, VirtualSerialPorts* ports, int16_t port,
                                       Lp2DriverSettings settings)
    : adapter_(adapter), ports_(ports), port_(port), core_(std::move(settings), *this)
{
}

void Lp2InProcessDriver::setEntryMissing(const std::string& name, bool missing)
{
    if (missing)
        missingEntries_.insert(name);
    else
        missingEntries_.erase(name);
}

bool Lp2InProcessDriver::enter(const char* name)
{
    if (libraryMissing_ || missingEntries_.count(name))
        return false;
    calls.emplace_back(name);
    if (onCall)
        onCall(name);
    return true;
}

bool Lp2InProcessDriver::acquirePort()
{
    if (!ports_)
        return true;
    if (!ports_->isRs232Present(port_))
        return false; // the program has it open
    ports_->setBusy(port_, true);
    return true;
}

std::optional<std::array<uint8_t, 6>> Lp2InProcessDriver::readVersions()
{
    std::optional<std::array<uint8_t, 6>> versions;
    onAdapter([&] { versions = adapter_.answerVersions(); });
    return versions;
}

bool Lp2InProcessDriver::present()
{
    bool answers = false;
    onAdapter([&] { answers = adapter_.answersPresence(); });
    return answers;
}

std::optional<bool> Lp2InProcessDriver::startFlash(uint16_t value)
{
    std::optional<bool> accepted;
    onAdapter([&] { accepted = adapter_.answerFlashStart(value); });
    return accepted;
}

void Lp2InProcessDriver::releasePort()
{
    if (ports_)
        ports_->setBusy(port_, false);
}

DriverResult Lp2InProcessDriver::clientConnect(intptr_t, int16_t deviceId, std::string& protocol, int32_t, int32_t,
                                               int16_t)
{
    if (!enter("RP1210_ClientConnect"))
        return std::nullopt;
    Buffer text(protocol, 0);
    return core_.clientConnect(deviceId, text.data());
}

DriverResult Lp2InProcessDriver::clientDisconnect(int16_t clientId)
{
    if (!enter("RP1210_ClientDisconnect"))
        return std::nullopt;
    return core_.clientDisconnect(clientId);
}

DriverResult Lp2InProcessDriver::sendMessage(int16_t clientId, std::string& message, int16_t messageSize, int16_t,
                                             int16_t)
{
    if (!enter("RP1210_SendMessage"))
        return std::nullopt;
    Buffer buffer(message, Buffer::room(messageSize));
    return core_.sendMessage(clientId, buffer.data(), messageSize);
}

DriverResult Lp2InProcessDriver::readMessage(int16_t clientId, std::string& message, int16_t bufferSize, int16_t)
{
    if (!enter("RP1210_ReadMessage"))
        return std::nullopt;
    Buffer buffer(message, Buffer::room(bufferSize));
    int16_t r = core_.readMessage(clientId, buffer.data(), bufferSize);
    message = buffer.result();
    return r;
}

DriverResult Lp2InProcessDriver::sendCommand(int16_t commandNumber, int16_t clientId, std::string& command,
                                             int16_t messageSize)
{
    if (!enter("RP1210_SendCommand"))
        return std::nullopt;
    Buffer buffer(command, Buffer::room(messageSize));
    int16_t r = core_.sendCommand(commandNumber, clientId, buffer.data(), messageSize);
    command = buffer.result();
    return r;
}

bool Lp2InProcessDriver::readVersion(std::string& dllMajor, std::string& dllMinor, std::string& apiMajor,
                                     std::string& apiMinor)
{
    if (!enter("RP1210_ReadVersion"))
        return false;
    Buffer a(dllMajor, 0), b(dllMinor, 0), c(apiMajor, 0), d(apiMinor, 0);
    core_.readVersion(a.data(), b.data(), c.data(), d.data());
    dllMajor = a.result();
    dllMinor = b.result();
    apiMajor = c.result();
    apiMinor = d.result();
    return true;
}

DriverResult Lp2InProcessDriver::getErrorMsg(int16_t errorCode, std::string& message)
{
    if (!enter("RP1210_GetErrorMsg"))
        return std::nullopt;
    Buffer buffer(message, 81);
    int16_t r = core_.getErrorMsg(errorCode, buffer.data());
    message = buffer.result();
    return r;
}

DriverResult Lp2InProcessDriver::getHardwareStatus(int16_t clientId, std::string& info, int16_t infoSize, int16_t)
{
    if (!enter("RP1210_GetHardwareStatus"))
        return std::nullopt;
    Buffer buffer(info, Buffer::room(infoSize));
    int16_t r = core_.getHardwareStatus(clientId, buffer.data(), infoSize);
    info = buffer.result();
    return r;
}

} // namespace lp::sim

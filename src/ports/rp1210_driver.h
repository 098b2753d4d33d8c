#pragma once
// The Rp1210Driver port: the eight functions of the adapter's RP1210 driver
// library that the program uses, one method each, with the RP1210 argument
// lists.
//
// Every method can report that the call did not happen: the library or the
// entry point is missing, or the call was refused because it came from a
// second thread (drivers are not made for concurrent calls; the program
// calls them from the user-interface thread only). Such a result is nullopt
// (false for readVersion); the procedures turn it into -2.
//
// Buffers are passed in and out as std::string, each byte a character. The
// driver reads and writes them in place and their length stays what the
// caller gave, as a text passed by value keeps its length: a driver
// that writes a terminating NUL leaves it in the text. Command, message and
// record buffers are bytes; the protocol name, error and status texts are
// text (converted to and from the ANSI code page on Windows).
#include <cstdint>
#include <optional>
#include <string>

namespace lp {

using DriverResult = std::optional<int16_t>;

class Rp1210Driver {
public:
    virtual ~Rp1210Driver() = default;

    virtual DriverResult clientConnect(intptr_t windowHandle, int16_t deviceId, std::string& protocol,
                                       int32_t txBufferSize, int32_t rcvBufferSize,
                                       int16_t isAppPacketizingIncomingMsgs) = 0;
    virtual DriverResult clientDisconnect(int16_t clientId) = 0;
    virtual DriverResult sendMessage(int16_t clientId, std::string& message, int16_t messageSize,
                                     int16_t notifyStatusOnTx, int16_t blockOnSend) = 0;
    virtual DriverResult readMessage(int16_t clientId, std::string& buffer, int16_t bufferSize,
                                     int16_t blockOnRead) = 0;
    virtual DriverResult sendCommand(int16_t commandNumber, int16_t clientId, std::string& buffer,
                                     int16_t messageSize) = 0;
    // RP1210_ReadVersion returns nothing; false when it could not be called.
    virtual bool readVersion(std::string& dllMajor, std::string& dllMinor, std::string& apiMajor,
                             std::string& apiMinor) = 0;
    virtual DriverResult getErrorMsg(int16_t errorCode, std::string& message) = 0;
    virtual DriverResult getHardwareStatus(int16_t clientId, std::string& info, int16_t infoSize,
                                           int16_t blockOnRequest) = 0;
};

} // namespace lp

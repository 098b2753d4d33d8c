#pragma once
// The SerialPort port: the properties of a serial-port control that
// the adapter links use. Every call that the control could refuse returns
// false and leaves a reason in lastError(); the procedures treat a refusal
// the way the control's run-time error was treated (their fault guards).
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lp {

using Bytes = std::vector<uint8_t>;

class SerialPort {
public:
    virtual ~SerialPort() = default;

    // CommPort: the port number (COMn). Refused while the port is open.
    virtual bool setCommPort(int16_t port) = 0;
    virtual int16_t commPort() const = 0;

    // Settings such as "9600,n,8,1"; applies at once when the port is open.
    virtual bool setSettings(const std::string& settings) = 0;
    virtual std::string settings() const = 0;

    // RTSEnable / DTREnable. A device without modem lines (a pseudo-terminal)
    // refuses them silently: that is harmless and returns true.
    virtual bool setRTSEnable(bool on) = 0;
    virtual bool setDTREnable(bool on) = 0;

    // PortOpen.
    virtual bool setPortOpen(bool open) = 0;
    virtual bool portOpen() const = 0;

    // Output: writes the bytes (queued to the device; the call does not wait
    // for the wire).
    virtual bool output(const Bytes& bytes) = 0;

    // InBufferCount: bytes received and not yet read. Must see bytes that
    // arrived during a plain delay, when no message has run.
    virtual int inBufferCount() = 0;

    // Input: takes every received byte (input length 0).
    virtual Bytes input() = 0;

    // Why the last refused call was refused (for the log and the user).
    virtual std::string lastError() const = 0;
};

// Makes serial ports and answers questions about the machine's ports.
class SerialPorts {
public:
    virtual ~SerialPorts() = default;
    virtual std::unique_ptr<SerialPort> create() = 0;

    // True when port n exists, can be opened now and is an RS-232 class port.
    virtual bool isRs232Present(int32_t port) = 0;

    // True when the named device ("COM3", "\\.\COM12") can be opened now.
    virtual bool canOpen(const std::string& deviceName) = 0;
};

} // namespace lp

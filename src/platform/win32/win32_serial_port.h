#pragma once
// The Windows serial ports, on the system's own calls.
//
// The port is opened without overlapped I/O and never waits on the device:
// reads use the "return at once" time-outs (ReadIntervalTimeout MAXDWORD,
// no totals), so ReadFile hands over what the driver holds and returns;
// the procedures poll the port from their delays and waits as they poll
// any other. No WaitCommEvent and no thread: a call that the driver might
// hold (Wine holds WaitCommEvent on some lines until a byte arrives) is
// never made. Writes are bounded by a total write time-out of about twice
// the bytes' wire time plus a second.
//
// A line that goes away while open (a USB converter pulled; under Wine, the
// pseudo-terminal whose other side closed) fails the next call: the port
// closes itself, says why in lastError(), and portOpen() turns false, so a
// procedure waiting for bytes stops at once instead of running into its
// time-out.
#ifdef _WIN32
#include <string>

#include "platform/serial_port_properties.h"

namespace lp {

class Logger;

// Why "\\.\COMn" could not be opened, from the system's error code, in
// words a technician can act on.
std::string serialOpenRefusal(const std::string& path, unsigned long error);

class Win32SerialPort final : public SerialPortProperties {
public:
    explicit Win32SerialPort(Logger* log = nullptr);
    ~Win32SerialPort() override;
    Win32SerialPort(const Win32SerialPort&) = delete;
    Win32SerialPort& operator=(const Win32SerialPort&) = delete;

    bool setPortOpen(bool open) override;
    bool portOpen() const override { return handle_ != nullptr; }
    bool output(const Bytes& bytes) override;
    int inBufferCount() override;
    Bytes input() override;

private:
    bool applySettings() override;
    void applyModemLines() override;
    // Moves what the driver holds into received_; false (and the port
    // closed) when the line has gone away.
    bool pull();
    // True when the line still answers; otherwise closes the port.
    bool lineAnswers();
    void dropLine(unsigned long error, const char* during);
    void closeHandle();

    Logger* log_;
    void* handle_ = nullptr;
    Bytes received_;
};

class Win32SerialPorts final : public SerialPorts {
public:
    explicit Win32SerialPorts(Logger* log = nullptr) : log_(log) {}
    std::unique_ptr<SerialPort> create() override;
    bool isRs232Present(int32_t port) override;
    bool canOpen(const std::string& deviceName) override;

private:
    Logger* log_;
};

} // namespace lp
#endif

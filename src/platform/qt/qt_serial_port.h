#pragma once
// The real serial ports, over QSerialPort (Linux; the Windows programs use
// platform/win32/win32_serial_port.h, which never waits on the driver).
//
// A port number becomes a device through the port map (serial_port_map.h),
// so COM5 can be a pseudo-terminal linked in the dosdevices folder. The
// procedures poll the port after plain delays, during which no Qt event
// runs: every read here first pulls what the OS holds (waitForReadyRead(0))
// and every write is pushed to the OS at once, so the port answers like a
// control that asks the driver directly.
//
// On Linux an open port also takes an exclusive advisory lock (flock), and
// a port locked by another program (the adapter's driver while it has a
// client) is refused as "in use". TIOCEXCL, which QSerialPort sets, does not
// stop a second opener running as root; the lock does.
//
// An open port asks for low-latency mode (serial_low_latency.h) and puts the
// line's own setting back on close. A line that goes away while open (a USB
// converter pulled: hang-up, EIO, Qt's resource error) is closed by the port
// itself at the next call, with the reason in lastError(), so a procedure
// waiting for bytes sees portOpen() turn false at once instead of running
// into its time-out.
#include <memory>
#include <string>

#include "platform/serial_low_latency.h"
#include "platform/serial_port_properties.h"

class QSerialPort;

namespace lp {

class Logger;

class QtSerialPort final : public SerialPortProperties {
public:
    // `notes` remembers which lines refused low latency (shared by the ports
    // of one QtSerialPorts, so the log says it once); `flags` is the line's
    // low-latency control, the system's unless a test gives its own.
    explicit QtSerialPort(Logger* log = nullptr, std::shared_ptr<RefusalNotes> notes = nullptr,
                          SerialLineFlags* flags = nullptr);
    ~QtSerialPort() override;

    bool setPortOpen(bool open) override;
    bool portOpen() const override;
    bool output(const Bytes& bytes) override;
    int inBufferCount() override;
    Bytes input() override;

private:
    bool applySettings() override;
    void applyModemLines() override;
    void pullFromSystem();
    void requestLowLatency();
    void closeLine();
    // True (and the port closed) when the line has gone away.
    bool dropIfGone();

    Logger* log_;
    std::shared_ptr<RefusalNotes> notes_;
    LowLatencyRequest lowLatency_;
    std::unique_ptr<QSerialPort> port_impl_;
};

class QtSerialPorts final : public SerialPorts {
public:
    explicit QtSerialPorts(Logger* log = nullptr) : log_(log) {}
    std::unique_ptr<SerialPort> create() override;
    bool isRs232Present(int32_t port) override;
    bool canOpen(const std::string& deviceName) override;

private:
    Logger* log_;
    std::shared_ptr<RefusalNotes> notes_ = std::make_shared<RefusalNotes>();
};


} // namespace lp

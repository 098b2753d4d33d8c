#pragma once
// The wire between a program's serial port and an adapter model.
//
// A byte takes 10 bit times on the wire (start, 8 data, stop) at the rate of
// the side that sends it, and bytes follow each other on the wire. A byte sent
// at one rate and received at another arrives as noise: the device is told
// the host's rate and judges for itself; the host receives a garbled byte.
//
// The host end is whatever stands for the program's port: the virtual
// serial port of the tests (sim/doubles) or the pty bridge (sim/realtime).
#include <cstdint>
#include <memory>
#include <string>

#include "models/scheduler.h"
#include "ports/serial_port.h"

namespace lp::sim {

class SerialLine;

// The device end of a line: what an adapter model implements.
class SerialDevice {
public:
    virtual ~SerialDevice() = default;
    // The host opened its port: the device may keep `line` to answer on it.
    virtual void hostOpened(SerialLine& line) { (void)line; }
    virtual void hostClosed() {}
    // A byte reached the device; hostBaud is the rate it was sent at.
    virtual void received(uint8_t byte, int hostBaud) = 0;
};

// The program's end of a line.
class SerialHostEnd {
public:
    virtual ~SerialHostEnd() = default;
    // The rate the program's port is set to.
    virtual int hostBaud() const = 0;
    // A byte from the device reached the program's port.
    virtual void deliver(uint8_t byte) = 0;
    // The device end went away (a USB-serial converter pulled out): the
    // program's port goes with it.
    virtual void unplug() {}
};

// Parses "9600,n,8,1"; baud 0 when the text is not a valid setting.
int baudOfSettings(const std::string& settings);

// Microseconds a byte occupies the wire at `baud`.
int64_t byteTimeUs(int baud);

// One open of the host's port: made when the host opens it, destroyed when
// it closes. Bytes still on the wire then are lost.
class SerialLine {
public:
    SerialLine(Scheduler& scheduler, SerialHostEnd& host, SerialDevice* device);
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    // Device to host, sent at deviceBaud.
    void deviceSend(const Bytes& bytes, int deviceBaud);
    // Host to device, sent at hostBaud.
    void hostSend(const Bytes& bytes, int hostBaud);
    int hostBaud() const { return host_.hostBaud(); }
    Scheduler& scheduler() { return scheduler_; }
    // The device pulls its end out (SerialHostEnd::unplug).
    void unplug() { host_.unplug(); }
    SerialDevice* device() const { return device_; }

private:
    Scheduler& scheduler_;
    SerialHostEnd& host_;
    SerialDevice* device_;
    // Bytes scheduled on the wire hold it weakly: once the line is gone they
    // are dropped.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    int64_t hostToDeviceFreeUs_ = 0;
    int64_t deviceToHostFreeUs_ = 0;
};

} // namespace lp::sim

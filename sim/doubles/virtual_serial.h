#pragma once
// In-process serial ports wired to adapter models over a SerialLine
// (models/serial_line.h), on the virtual clock.
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "models/serial_line.h"
#include "ports/serial_port.h"

namespace lp::sim {

class VirtualSerialPorts;

class VirtualSerialPort final : public SerialPort, private SerialHostEnd {
public:
    VirtualSerialPort(VirtualSerialPorts& ports, Scheduler& scheduler);
    ~VirtualSerialPort() override;

    bool setCommPort(int16_t port) override;
    int16_t commPort() const override { return port_; }
    bool setSettings(const std::string& settings) override;
    std::string settings() const override { return settings_; }
    bool setRTSEnable(bool on) override { rts_ = on; return true; }
    bool setDTREnable(bool on) override { dtr_ = on; return true; }
    bool setPortOpen(bool open) override;
    bool portOpen() const override { return line_ != nullptr; }
    bool output(const Bytes& bytes) override;
    int inBufferCount() override { return static_cast<int>(input_.size()); }
    Bytes input() override;
    std::string lastError() const override { return lastError_; }

    int baud() const { return baudOfSettings(settings_); }
    // Hands every byte that reaches this port to `hook` instead of the input
    // buffer (a bridge that relays the device's replies to a real line).
    void setReceiveHook(std::function<void(uint8_t)> hook) { receiveHook_ = std::move(hook); }
    bool rts() const { return rts_; }
    bool dtr() const { return dtr_; }

private:
    // SerialHostEnd
    int hostBaud() const override { return baud(); }
    void unplug() override;
    void deliver(uint8_t byte) override
    {
        if (receiveHook_)
            receiveHook_(byte);
        else
            input_.push_back(byte);
    }
    bool refuse(std::string why);

    VirtualSerialPorts& ports_;
    Scheduler& scheduler_;
    int16_t port_ = 1;
    std::string settings_ = "9600,n,8,1";
    bool rts_ = false, dtr_ = false;
    std::unique_ptr<SerialLine> line_;
    std::deque<uint8_t> input_;
    std::string lastError_;
    std::function<void(uint8_t)> receiveHook_;
};

// The machine's serial ports: which numbers exist, which device hangs on
// each, which are held by another program.
class VirtualSerialPorts final : public SerialPorts {
public:
    explicit VirtualSerialPorts(Scheduler& scheduler) : scheduler_(scheduler) {}

    // A port that exists; with a device it answers, without one it is silent.
    void addPort(int16_t port, SerialDevice* device = nullptr);
    void removePort(int16_t port);
    // The cable is pulled (a USB adapter unplugged): the port is gone, and a
    // port the program still holds open refuses to send from now on.
    void unplug(int16_t port) { removePort(port); }
    // A port held by another program (the RP1210 driver, say) cannot be opened.
    void setBusy(int16_t port, bool busy);
    // A port that exists but is not an RS-232 class device.
    void setNotRs232(int16_t port, bool notRs232);

    std::unique_ptr<SerialPort> create() override;
    bool isRs232Present(int32_t port) override;
    bool canOpen(const std::string& deviceName) override;

    // Port number named by "COM3" or "\\.\COM12"; 0 when it names none.
    static int16_t portOfDeviceName(const std::string& deviceName);

    // How many times a port was opened (tests of the search order).
    int openCount(int16_t port) const;
    // Every device name that canOpen() was asked about, in order.
    std::vector<std::string> canOpenAsked;

private:
    friend class VirtualSerialPort;
    struct Entry {
        SerialDevice* device = nullptr;
        bool busy = false;
        bool notRs232 = false;
        bool openByHost = false;
        int opens = 0;
    };
    Scheduler& scheduler_;
    std::map<int16_t, Entry> ports_;
};

} // namespace lp::sim

#include "doubles/virtual_serial.h"

#include <cstdlib>

#include "core/vb_text.h"

namespace lp::sim {

// The device's converter is pulled out: this port's number leaves the machine.
void VirtualSerialPort::unplug() { ports_.unplug(port_); }

VirtualSerialPort::VirtualSerialPort(VirtualSerialPorts& ports, Scheduler& scheduler)
    : ports_(ports), scheduler_(scheduler)
{
}

VirtualSerialPort::~VirtualSerialPort() { setPortOpen(false); }

bool VirtualSerialPort::refuse(std::string why)
{
    lastError_ = std::move(why);
    return false;
}

bool VirtualSerialPort::setCommPort(int16_t port)
{
    if (line_)
        return refuse("Port already open");
    if (port < 1)
        return refuse("Invalid port number");
    port_ = port;
    return true;
}

bool VirtualSerialPort::setSettings(const std::string& settings)
{
    if (baudOfSettings(settings) == 0)
        return refuse("Invalid setting");
    settings_ = settings;
    return true;
}

bool VirtualSerialPort::setPortOpen(bool open)
{
    if (open == portOpen()) {
        if (open)
            return refuse("Port already open");
        return true;
    }
    if (!open) {
        auto entry = ports_.ports_.find(port_);
        SerialDevice* device = line_->device();
        line_.reset();
        input_.clear();
        if (entry != ports_.ports_.end())
            entry->second.openByHost = false;
        if (device)
            device->hostClosed();
        return true;
    }
    auto entry = ports_.ports_.find(port_);
    if (entry == ports_.ports_.end())
        return refuse("Invalid port number");
    if (entry->second.busy || entry->second.openByHost)
        return refuse("Port already open");
    entry->second.openByHost = true;
    ++entry->second.opens;
    input_.clear();
    line_ = std::make_unique<SerialLine>(scheduler_, static_cast<SerialHostEnd&>(*this), entry->second.device);
    if (entry->second.device)
        entry->second.device->hostOpened(*line_);
    return true;
}

bool VirtualSerialPort::output(const Bytes& bytes)
{
    if (!line_)
        return refuse("Operation valid only when the port is open");
    if (!ports_.ports_.count(port_))
        return refuse("The device is no longer attached");
    line_->hostSend(bytes, baud());
    return true;
}

Bytes VirtualSerialPort::input()
{
    Bytes bytes(input_.begin(), input_.end());
    input_.clear();
    return bytes;
}

void VirtualSerialPorts::addPort(int16_t port, SerialDevice* device) { ports_[port].device = device; }

void VirtualSerialPorts::removePort(int16_t port) { ports_.erase(port); }

void VirtualSerialPorts::setBusy(int16_t port, bool busy)
{
    // Letting go of a port that has gone does not bring it back.
    if (busy)
        ports_[port].busy = true;
    else if (auto it = ports_.find(port); it != ports_.end())
        it->second.busy = false;
}

void VirtualSerialPorts::setNotRs232(int16_t port, bool notRs232) { ports_[port].notRs232 = notRs232; }

std::unique_ptr<SerialPort> VirtualSerialPorts::create()
{
    return std::make_unique<VirtualSerialPort>(*this, scheduler_);
}

bool VirtualSerialPorts::isRs232Present(int32_t port)
{
    auto it = ports_.find(static_cast<int16_t>(port));
    return port > 0 && it != ports_.end() && !it->second.busy && !it->second.openByHost && !it->second.notRs232;
}

bool VirtualSerialPorts::canOpen(const std::string& deviceName)
{
    canOpenAsked.push_back(deviceName);
    auto it = ports_.find(portOfDeviceName(deviceName));
    return it != ports_.end() && !it->second.busy && !it->second.openByHost;
}

int16_t VirtualSerialPorts::portOfDeviceName(const std::string& deviceName)
{
    std::string name = vb::UCase(deviceName);
    if (name.rfind("\\\\.\\", 0) == 0)
        name = name.substr(4);
    if (name.size() < 4 || name.compare(0, 3, "COM") != 0)
        return 0;
    std::string digits = name.substr(3);
    if (digits.find_first_not_of("0123456789") != std::string::npos || digits.size() > 3)
        return 0;
    int n = std::atoi(digits.c_str());
    return n >= 1 && n <= 256 ? static_cast<int16_t>(n) : 0;
}

int VirtualSerialPorts::openCount(int16_t port) const
{
    auto it = ports_.find(port);
    return it == ports_.end() ? 0 : it->second.opens;
}

} // namespace lp::sim

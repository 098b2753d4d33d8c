#include "models/serial_line.h"

#include <algorithm>
#include <cstdlib>

namespace lp::sim {

int baudOfSettings(const std::string& settings)
{
    size_t comma = settings.find(',');
    std::string rate = settings.substr(0, comma);
    if (rate.empty() || rate.find_first_not_of("0123456789") != std::string::npos || rate.size() > 7)
        return 0;
    return std::atoi(rate.c_str());
}

int64_t byteTimeUs(int baud)
{
    if (baud <= 0)
        return 0;
    return (10LL * 1000000LL + baud - 1) / baud;
}

SerialLine::SerialLine(Scheduler& scheduler, SerialHostEnd& host, SerialDevice* device)
    : scheduler_(scheduler), host_(host), device_(device)
{
}

void SerialLine::hostSend(const Bytes& bytes, int hostBaud)
{
    int64_t perByte = byteTimeUs(hostBaud);
    int64_t t = std::max(scheduler_.nowUs(), hostToDeviceFreeUs_);
    for (uint8_t b : bytes) {
        t += perByte;
        std::weak_ptr<bool> alive = alive_;
        scheduler_.at(t, [this, alive, b, hostBaud] {
            if (alive.expired() || !device_)
                return;
            device_->received(b, hostBaud);
        });
    }
    hostToDeviceFreeUs_ = t;
}

void SerialLine::deviceSend(const Bytes& bytes, int deviceBaud)
{
    int64_t perByte = byteTimeUs(deviceBaud);
    int64_t t = std::max(scheduler_.nowUs(), deviceToHostFreeUs_);
    for (uint8_t b : bytes) {
        t += perByte;
        std::weak_ptr<bool> alive = alive_;
        scheduler_.at(t, [this, alive, b, deviceBaud] {
            if (alive.expired())
                return;
            // A byte at the wrong rate reaches the host as a framing-error byte.
            host_.deliver(deviceBaud == host_.hostBaud() ? b : static_cast<uint8_t>((b ^ 0xA5) | 0x80));
        });
    }
    deviceToHostFreeUs_ = t;
}

} // namespace lp::sim

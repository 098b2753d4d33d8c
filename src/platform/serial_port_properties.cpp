#include "platform/serial_port_properties.h"

#include "platform/serial_port_map.h"

namespace lp {

bool SerialPortProperties::refuse(std::string why)
{
    lastError_ = std::move(why);
    return false;
}

bool SerialPortProperties::setCommPort(int16_t port)
{
    if (portOpen())
        return refuse("Port already open");
    if (port < kFirstComPort || port > kLastComPort)
        return refuse("Invalid port number");
    port_ = port;
    return true;
}

bool SerialPortProperties::setSettings(const std::string& settings)
{
    SerialSettings parsed;
    if (!parseSerialSettings(settings, parsed))
        return refuse("Invalid property value: " + settings);
    settings_ = parsed;
    settingsText_ = settings;
    return !portOpen() || applySettings();
}

bool SerialPortProperties::setRTSEnable(bool on)
{
    rts_ = on;
    applyModemLines();
    return true;
}

bool SerialPortProperties::setDTREnable(bool on)
{
    dtr_ = on;
    applyModemLines();
    return true;
}

} // namespace lp

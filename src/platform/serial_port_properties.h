#pragma once
// The properties every real serial port keeps the same way, whatever the
// system below it: the port number, the settings text, the modem lines
// asked for and the last refusal. A port applies settings and modem lines
// to its device only while open; the subclass says how.
#include <string>

#include "ports/serial_port.h"
#include "platform/serial_settings.h"

namespace lp {

class SerialPortProperties : public SerialPort {
public:
    bool setCommPort(int16_t port) override;
    int16_t commPort() const override { return port_; }
    bool setSettings(const std::string& settings) override;
    std::string settings() const override { return settingsText_; }
    bool setRTSEnable(bool on) override;
    bool setDTREnable(bool on) override;
    std::string lastError() const override { return lastError_; }

    // The device the port was last opened on (for the log and tests).
    const std::string& devicePath() const { return devicePath_; }

protected:
    bool refuse(std::string why);
    // Called only while the port is open; false after refuse().
    virtual bool applySettings() = 0;
    // Called on every change of a modem line, open or not.
    virtual void applyModemLines() = 0;

    int16_t port_ = 1;
    std::string settingsText_ = "9600,n,8,1";
    SerialSettings settings_;
    bool rts_ = false, dtr_ = false;
    std::string devicePath_;
    std::string lastError_;
};

} // namespace lp

#pragma once
// The settings text of a serial port ("9600,n,8,1": rate, parity,
// data bits, stop bits), read the same way by every serial port
// implementation.
#include <string>

namespace lp {

// Parsed "9600,n,8,1"; false when the text is not a valid setting.
struct SerialSettings {
    int baud = 9600;
    char parity = 'n'; // n e o m s
    int dataBits = 8;  // 5 to 8
    int stopBits = 10; // in tenths: 10, 15 or 20
};
bool parseSerialSettings(const std::string& text, SerialSettings& out);

} // namespace lp

#include "platform/serial_settings.h"

#include <cstdlib>

namespace lp {

namespace {

bool parseInt(const std::string& text, int& out, int max)
{
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    out = std::atoi(text.c_str());
    return out <= max;
}

std::string trimmed(const std::string& text)
{
    size_t b = text.find_first_not_of(' ');
    if (b == std::string::npos)
        return {};
    size_t e = text.find_last_not_of(' ');
    return text.substr(b, e - b + 1);
}

} // namespace

bool parseSerialSettings(const std::string& text, SerialSettings& out)
{
    std::string parts[4];
    size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        size_t comma = text.find(',', start);
        if ((i < 3) != (comma != std::string::npos))
            return false;
        parts[i] = trimmed(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        start = comma + 1;
    }
    SerialSettings s;
    if (!parseInt(parts[0], s.baud, 4000000) || s.baud < 1)
        return false;
    if (parts[1].size() != 1)
        return false;
    char p = static_cast<char>(parts[1][0] | 0x20);
    if (p != 'n' && p != 'e' && p != 'o' && p != 'm' && p != 's')
        return false;
    s.parity = p;
    if (!parseInt(parts[2], s.dataBits, 8) || s.dataBits < 5)
        return false;
    if (parts[3] == "1")
        s.stopBits = 10;
    else if (parts[3] == "1.5")
        s.stopBits = 15;
    else if (parts[3] == "2")
        s.stopBits = 20;
    else
        return false;
    out = s;
    return true;
}

} // namespace lp

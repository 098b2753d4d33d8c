#include "demo/demo_option_values.h"

#include <cctype>

#include "platform/serial_port_map.h"

namespace lp::sim {

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

} // namespace

bool parseNumber(const std::string& text, long lo, long hi, long& out)
{
    if (text.empty() || text.size() > 9)
        return false;
    long n = 0;
    for (char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
        n = n * 10 + (c - '0');
    }
    if (n < lo || n > hi)
        return false;
    out = n;
    return true;
}

bool parseVersion(const std::string& text, uint8_t& major, uint8_t& minor)
{
    if (text == "empty") {
        major = minor = 255;
        return true;
    }
    size_t dot = text.find('.');
    long a = 0, b = 0;
    if (dot == std::string::npos || !parseNumber(text.substr(0, dot), 0, 255, a)
        || !parseNumber(text.substr(dot + 1), 0, 255, b))
        return false;
    major = static_cast<uint8_t>(a);
    minor = static_cast<uint8_t>(b);
    return true;
}

bool parseHexVersion(const std::string& text, std::array<uint8_t, 3>& out)
{
    std::array<uint8_t, 3> v{};
    size_t at = 0;
    for (size_t i = 0; i < 3; ++i) {
        if (i > 0 && (at >= text.size() || text[at++] != '.'))
            return false;
        int digits = 0, value = 0;
        while (at < text.size() && hexDigit(text[at]) >= 0 && digits < 2) {
            value = value * 16 + hexDigit(text[at++]);
            ++digits;
        }
        if (digits == 0)
            return false;
        v[i] = static_cast<uint8_t>(value);
    }
    if (at != text.size())
        return false;
    out = v;
    return true;
}

bool parseHexBytes(const std::string& text, Bytes& out)
{
    Bytes bytes;
    int high = -1;
    for (char c : text) {
        if (c == ' ' && high < 0)
            continue;
        int d = hexDigit(c);
        if (d < 0)
            return false;
        if (high < 0) {
            high = d;
        } else {
            bytes.push_back(static_cast<uint8_t>(high * 16 + d));
            high = -1;
        }
    }
    if (high >= 0 || bytes.empty() || bytes.size() > 64)
        return false;
    out = std::move(bytes);
    return true;
}

bool parsePort(const std::string& text, int& port)
{
    int n = portOfDeviceName(text);
    if (n < kFirstComPort || n > kLastComPort)
        return false;
    port = n;
    return true;
}

bool parseExchangeFault(const std::string& text, Lp2Exchange& out)
{
    Lp2Exchange e;
    long n = 0;
    if (text == "silent") {
        e.fault = Lp2ReplyFault::Silent;
    } else if (text == "wrong") {
        e.fault = Lp2ReplyFault::Wrong;
    } else if (text == "short") {
        e.fault = Lp2ReplyFault::Short;
    } else if (text.rfind("short:", 0) == 0 && parseNumber(text.substr(6), 0, 64, n)) {
        e.fault = Lp2ReplyFault::Short;
        e.shortLength = static_cast<size_t>(n);
    } else if (text.rfind("custom:", 0) == 0 && parseHexBytes(text.substr(7), e.customReply)) {
        e.fault = Lp2ReplyFault::Custom;
    } else {
        return false;
    }
    out = std::move(e);
    return true;
}

bool splitPair(const std::string& text, std::string& a, std::string& b)
{
    size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size())
        return false;
    a = text.substr(0, colon);
    b = text.substr(colon + 1);
    return true;
}

bool bad(std::string& error, const std::string& expected)
{
    error = "expected " + expected;
    return false;
}

bool textUpTo(size_t limit, const std::string& v, std::string& out, std::string& error)
{
    if (v.size() > limit || v.find_first_of(";\r\n") != std::string::npos)
        return bad(error, "a text of at most " + std::to_string(limit) + " characters without ';'");
    out = v;
    return true;
}

} // namespace lp::sim

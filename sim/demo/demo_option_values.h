#pragma once
// The values that linkport-sim's options take: numbers, versions, bytes,
// ports, reply faults. Each parser leaves `out` alone when the text is not a
// value of its kind.
#include <array>
#include <cstdint>
#include <string>

#include "models/lp2_model.h"

namespace lp::sim {

// A whole number of at most nine digits from lo to hi.
bool parseNumber(const std::string& text, long lo, long hi, long& out);

// "3.0", "1.10"; "empty" is the empty slot 255.255.
bool parseVersion(const std::string& text, uint8_t& major, uint8_t& minor);

// "01.07.12": three bytes in hexadecimal.
bool parseHexVersion(const std::string& text, std::array<uint8_t, 3>& out);

// "5F0201029C", blanks allowed between bytes; 1 to 64 bytes.
bool parseHexBytes(const std::string& text, Bytes& out);

// "COM3" (or another name the port map knows): its number, COM1 to COM256.
bool parsePort(const std::string& text, int& port);

// silent | short[:N] | wrong | custom:HEX
bool parseExchangeFault(const std::string& text, Lp2Exchange& out);

// "A:B" split at the first colon; both parts non-empty.
bool splitPair(const std::string& text, std::string& a, std::string& b);

// A text of at most `limit` characters that an INI line can hold.
bool textUpTo(size_t limit, const std::string& v, std::string& out, std::string& error);

// Sets `error` to "expected ..." and returns false, for a handler's return.
bool bad(std::string& error, const std::string& expected);

} // namespace lp::sim

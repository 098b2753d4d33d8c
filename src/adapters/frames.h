#pragma once
// The adapters' serial frames: a short byte string whose last byte makes the
// sum of all its bytes zero modulo 256. Requests start 5E, replies 5F; a
// reply is judged by the first eight digits of its hexadecimal text. Shared
// by the serial links of the second-generation, compact and wireless
// adapters and by their models.
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "ports/serial_port.h"

namespace lp::frames {

// The byte that, appended to `bytes`, makes their sum zero modulo 256.
uint8_t checkByte(const Bytes& bytes);

// The frame: `body` followed by its check byte.
Bytes framed(std::initializer_list<uint8_t> body);
Bytes framed(Bytes body);

// True when the sum of all bytes (check byte included) is zero modulo 256.
bool sumIsZero(const Bytes& frame);

// Two upper-case hexadecimal digits per byte for the first `count` bytes
// (all of them when there are fewer), as the reply texts are written.
std::string hexText(const Bytes& bytes, size_t count = SIZE_MAX);

// Frames every adapter kind understands alike.
// 5E 02 0D 02: the application version; reply "5F050D02", bytes 5-7 carry it.
inline const Bytes kAskApplicationVersion{0x5E, 0x02, 0x0D, 0x02, 0x91};
// 5E 02 01 01: wakes a compact adapter's link and ends a wireless session;
// no reply is read.
inline const Bytes kWake{0x5E, 0x02, 0x01, 0x01, 0x9E};

} // namespace lp::frames

#pragma once
// HEX firmware files made from a byte image, for tests and benchmarks of the
// line-by-line flashes: the six header lines, data records, the standard
// end-of-file record.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lp::sim {

// One Intel HEX record line without its line end, upper-case digits.
std::string hexRecordLine(uint8_t type, uint16_t address, const std::vector<uint8_t>& data);

// The file: header ("Hex File Information" with the four keys and an empty
// sixth line), data records of `perRecord` bytes from `baseAddress` on (an
// upper linear address record wherever the image crosses into another
// 64 KiB block), then ":00000001FF". CR LF line ends.
std::string firmwareFileText(const std::vector<uint8_t>& image, uint32_t baseAddress = 0, size_t perRecord = 16);

// A reproducible pseudo-random image.
std::vector<uint8_t> pseudoRandomImage(size_t size, uint32_t seed = 1);

// The image as an adapter model holds it: byte by address.
std::map<uint32_t, uint8_t> imageByAddress(const std::vector<uint8_t>& image, uint32_t baseAddress = 0);

} // namespace lp::sim

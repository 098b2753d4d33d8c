#pragma once
// HEX firmware files made from a byte image, for tests and benchmarks of the
// line-by-line flashes: the six header lines, data records, the standard
// end-of-file record.
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
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

// How an application image says which version it is (our design of the
// compact and wireless adapters' side): somewhere in the image stand the
// four characters "LPFW" and then the three bytes that the application
// answers to the version query (01 08 12 for "01.08.12"). The adapter models
// report that version once they restart into a flashed image, so what was
// flashed is what runs; an image without the stamp leaves the version alone.
inline constexpr std::array<uint8_t, 4> kVersionStampMark{'L', 'P', 'F', 'W'};

// Writes the stamp into `image` at `offset` (the image grows if it must).
void stampVersion(std::vector<uint8_t>& image, const std::array<uint8_t, 3>& version, size_t offset = 0);

// The version of the first stamp in an image held by address (seven bytes at
// consecutive addresses), nothing when there is none.
std::optional<std::array<uint8_t, 3>> versionStampOf(const std::map<uint32_t, uint8_t>& image);

} // namespace lp::sim

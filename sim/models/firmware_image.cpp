#include "models/firmware_image.h"

#include <algorithm>

namespace lp::sim {

namespace {

void appendHex(std::string& text, uint8_t byte)
{
    static const char digits[] = "0123456789ABCDEF";
    text += digits[byte >> 4];
    text += digits[byte & 0x0F];
}

} // namespace

std::string hexRecordLine(uint8_t type, uint16_t address, const std::vector<uint8_t>& data)
{
    std::vector<uint8_t> bytes{static_cast<uint8_t>(data.size()), static_cast<uint8_t>(address >> 8),
                               static_cast<uint8_t>(address), type};
    bytes.insert(bytes.end(), data.begin(), data.end());
    uint8_t sum = 0;
    for (uint8_t b : bytes)
        sum = static_cast<uint8_t>(sum + b);
    bytes.push_back(static_cast<uint8_t>(-sum));
    std::string line = ":";
    for (uint8_t b : bytes)
        appendHex(line, b);
    return line;
}

std::string firmwareFileText(const std::vector<uint8_t>& image, uint32_t baseAddress, size_t perRecord)
{
    std::string text = "[Hex File Information]\r\nFirmwareVersion=1.8\r\nFirmwareType=Firmware\r\n"
                       "ReleaseDate=May 2024\r\nHardwareVersions=1.10\r\n\r\n";
    perRecord = std::clamp<size_t>(perRecord, 1, 255);
    uint32_t upper = 0;
    for (size_t offset = 0; offset < image.size();) {
        const uint32_t address = baseAddress + static_cast<uint32_t>(offset);
        if ((address >> 16) != upper) {
            upper = address >> 16;
            text += hexRecordLine(0x04, 0, {static_cast<uint8_t>(upper >> 8), static_cast<uint8_t>(upper)}) + "\r\n";
        }
        // A record never runs over the end of its 64 KiB block.
        const size_t room = 0x10000 - (address & 0xFFFF);
        const size_t n = std::min({perRecord, image.size() - offset, room});
        std::vector<uint8_t> data(image.begin() + static_cast<std::ptrdiff_t>(offset),
                                  image.begin() + static_cast<std::ptrdiff_t>(offset + n));
        text += hexRecordLine(0x00, static_cast<uint16_t>(address), data) + "\r\n";
        offset += n;
    }
    return text + ":00000001FF\r\n";
}

std::vector<uint8_t> pseudoRandomImage(size_t size, uint32_t seed)
{
    std::vector<uint8_t> image(size);
    uint32_t state = seed * 2654435761u + 1;
    for (uint8_t& b : image) {
        state = state * 1103515245u + 12345u;
        b = static_cast<uint8_t>(state >> 16);
    }
    return image;
}

std::map<uint32_t, uint8_t> imageByAddress(const std::vector<uint8_t>& image, uint32_t baseAddress)
{
    std::map<uint32_t, uint8_t> map;
    for (size_t i = 0; i < image.size(); ++i)
        map[baseAddress + static_cast<uint32_t>(i)] = image[i];
    return map;
}

void stampVersion(std::vector<uint8_t>& image, const std::array<uint8_t, 3>& version, size_t offset)
{
    const size_t length = kVersionStampMark.size() + version.size();
    if (image.size() < offset + length)
        image.resize(offset + length);
    std::copy(kVersionStampMark.begin(), kVersionStampMark.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
    std::copy(version.begin(), version.end(),
              image.begin() + static_cast<std::ptrdiff_t>(offset + kVersionStampMark.size()));
}

std::optional<std::array<uint8_t, 3>> versionStampOf(const std::map<uint32_t, uint8_t>& image)
{
    constexpr size_t kMark = kVersionStampMark.size();
    auto byteAt = [&image](uint32_t address) -> int {
        auto it = image.find(address);
        return it == image.end() ? -1 : it->second;
    };
    for (const auto& [address, byte] : image) {
        if (byte != kVersionStampMark[0])
            continue;
        bool match = true;
        for (size_t i = 1; i < kMark + 3 && match; ++i) {
            const int b = byteAt(address + static_cast<uint32_t>(i));
            match = b >= 0 && (i >= kMark || b == kVersionStampMark[i]);
        }
        if (match)
            return std::array<uint8_t, 3>{static_cast<uint8_t>(byteAt(address + kMark)),
                                          static_cast<uint8_t>(byteAt(address + kMark + 1)),
                                          static_cast<uint8_t>(byteAt(address + kMark + 2))};
    }
    return std::nullopt;
}

} // namespace lp::sim

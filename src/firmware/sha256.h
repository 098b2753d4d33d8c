#pragma once
// SHA-256, so the flash log can name exactly which file went into an
// adapter. Incremental, for files read in pieces.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lp {

class Sha256 {
public:
    Sha256();
    void update(const void* data, size_t size);
    void update(std::string_view text) { update(text.data(), text.size()); }
    // The digest as 64 lower-case hexadecimal digits; the object is spent.
    std::string hexDigest();

private:
    void block(const uint8_t* p);
    std::array<uint32_t, 8> h_;
    std::array<uint8_t, 64> buffer_{};
    size_t used_ = 0;
    uint64_t length_ = 0;
};

std::string Sha256Hex(std::string_view data);
// The digest of a file's bytes; nothing when it cannot be read whole.
std::optional<std::string> Sha256OfFile(const std::string& path);

} // namespace lp

#pragma once
// A caller's buffer as an RP1210 driver gets it: the caller's bytes, then
// zeros up to the room the call may use and some slack for a driver that
// writes a little past it; afterwards the caller's length is copied back, as
// a text passed by value keeps its length. Used by the real binding and by
// the in-process driver that stands in for it, so both pass buffers alike.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lp {

class Rp1210CallBuffer {
public:
    // Room beyond what the caller asked for: a driver that writes one
    // character (or a terminator) too many writes into this, not our heap.
    static constexpr size_t kSlack = 256;

    Rp1210CallBuffer(const std::string& bytes, size_t room)
        : length_(bytes.size()), data_(std::max(bytes.size(), room) + kSlack, '\0')
    {
        std::copy(bytes.begin(), bytes.end(), data_.begin());
    }
    char* data() { return data_.data(); }
    std::string result() const { return std::string(data_.data(), length_); }

    // The room a declared size gives: none for zero or less.
    static size_t room(int16_t declared) { return declared > 0 ? static_cast<size_t>(declared) : 0; }

private:
    size_t length_;
    std::vector<char> data_;
};

} // namespace lp

#pragma once
// Reading UTF-8 one code point at a time, strictly: no overlong forms, no
// surrogates, nothing above U+10FFFF.
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lp {

// What DecodeUtf8 returns for a byte that starts no valid sequence.
inline constexpr uint32_t kNotUtf8 = 0xFFFFFFFF;

// The code point that starts at text[i], moving i past it; kNotUtf8, with i
// moved by one byte, when the bytes there are no UTF-8.
uint32_t DecodeUtf8(std::string_view text, size_t& i);

} // namespace lp

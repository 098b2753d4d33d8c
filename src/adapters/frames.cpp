#include "adapters/frames.h"

#include <algorithm>

#include "core/vb_text.h"

namespace lp::frames {

uint8_t checkByte(const Bytes& bytes)
{
    unsigned sum = 0;
    for (uint8_t b : bytes)
        sum += b;
    return static_cast<uint8_t>((256u - (sum & 0xFFu)) & 0xFFu);
}

Bytes framed(Bytes body)
{
    uint8_t check = checkByte(body);
    body.push_back(check);
    return body;
}

Bytes framed(std::initializer_list<uint8_t> body) { return framed(Bytes(body)); }

bool sumIsZero(const Bytes& frame) { return !frame.empty() && checkByte(frame) == 0; }

std::string hexText(const Bytes& bytes, size_t count)
{
    size_t n = std::min(count, bytes.size());
    std::string text;
    text.reserve(n * 2);
    for (size_t i = 0; i < n; ++i)
        text += vb::Hex2(bytes[i]);
    return text;
}

} // namespace lp::frames

#include "core/utf8.h"

namespace lp {

uint32_t DecodeUtf8(std::string_view text, size_t& i)
{
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    size_t length = 0;
    uint32_t cp = 0, minimum = 0;
    if (lead < 0x80) {
        ++i;
        return lead;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, cp = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, cp = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, cp = lead & 0x07, minimum = 0x10000;
    } else {
        ++i;
        return kNotUtf8;
    }
    if (i + length > text.size()) {
        ++i;
        return kNotUtf8;
    }
    for (size_t k = 1; k < length; ++k) {
        const unsigned char b = byte(i + k);
        if ((b & 0xC0) != 0x80) {
            ++i;
            return kNotUtf8;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++i;
        return kNotUtf8;
    }
    i += length;
    return cp;
}

} // namespace lp

#include "core/json_writer.h"

#include <cmath>
#include <cstdio>

namespace lp {

namespace {

void appendEscape(std::string& out, uint32_t unit)
{
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(unit));
    out += buffer;
}

// The code point starting at text[i], advancing i; U+FFFD for a byte that
// starts no valid sequence (overlong forms and surrogates included).
uint32_t nextCodePoint(std::string_view text, size_t& i)
{
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    int length = 0;
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
        return 0xFFFD;
    }
    if (i + static_cast<size_t>(length) > text.size()) {
        ++i;
        return 0xFFFD;
    }
    for (int k = 1; k < length; ++k) {
        const unsigned char b = byte(i + static_cast<size_t>(k));
        if ((b & 0xC0) != 0x80) {
            ++i;
            return 0xFFFD;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++i;
        return 0xFFFD;
    }
    i += static_cast<size_t>(length);
    return cp;
}

} // namespace

std::string jsonQuote(std::string_view text)
{
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        const uint32_t cp = nextCodePoint(text, i);
        switch (cp) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        default:
            if (cp < 0x20 || (cp >= 0x7F && cp < 0x10000)) {
                appendEscape(out, cp);
            } else if (cp >= 0x10000) {
                const uint32_t v = cp - 0x10000;
                appendEscape(out, 0xD800 + (v >> 10));
                appendEscape(out, 0xDC00 + (v & 0x3FF));
            } else {
                out += static_cast<char>(cp);
            }
        }
    }
    out += '"';
    return out;
}

void JsonWriter::separate()
{
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!first_.empty()) {
        if (!first_.back())
            out_ += ',';
        first_.back() = false;
    }
}

JsonWriter& JsonWriter::beginObject()
{
    separate();
    out_ += '{';
    first_.push_back(true);
    return *this;
}

JsonWriter& JsonWriter::endObject()
{
    out_ += '}';
    if (!first_.empty())
        first_.pop_back();
    return *this;
}

JsonWriter& JsonWriter::beginArray()
{
    separate();
    out_ += '[';
    first_.push_back(true);
    return *this;
}

JsonWriter& JsonWriter::endArray()
{
    out_ += ']';
    if (!first_.empty())
        first_.pop_back();
    return *this;
}

JsonWriter& JsonWriter::key(std::string_view name)
{
    separate();
    out_ += jsonQuote(name);
    out_ += ':';
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text)
{
    separate();
    out_ += jsonQuote(text);
    return *this;
}

JsonWriter& JsonWriter::value(int64_t number)
{
    separate();
    out_ += std::to_string(number);
    return *this;
}

JsonWriter& JsonWriter::value(double number)
{
    separate();
    if (!std::isfinite(number)) {
        out_ += "null";
        return *this;
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.3f", number);
    out_ += buffer;
    return *this;
}

JsonWriter& JsonWriter::value(bool flag)
{
    separate();
    out_ += flag ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::null()
{
    separate();
    out_ += "null";
    return *this;
}

JsonWriter& JsonWriter::raw(std::string_view json)
{
    separate();
    out_ += json;
    return *this;
}

} // namespace lp

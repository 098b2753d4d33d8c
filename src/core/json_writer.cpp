#include "core/json_writer.h"

#include <cmath>
#include <cstdio>

#include "core/utf8.h"

namespace lp {

namespace {

void appendEscape(std::string& out, uint32_t unit)
{
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(unit));
    out += buffer;
}

} // namespace

std::string jsonQuote(std::string_view text)
{
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        uint32_t cp = DecodeUtf8(text, i);
        if (cp == kNotUtf8)
            cp = 0xFFFD;
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

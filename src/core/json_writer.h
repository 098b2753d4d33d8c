#pragma once
// A small JSON writer for the command line and the flash log: objects, arrays,
// texts, numbers and Booleans, written as they come. Texts are taken as
// UTF-8; control characters and everything outside ASCII are written as
// \u escapes (pairs above U+FFFF), and bytes that are no UTF-8 as U+FFFD,
// so the document is plain ASCII whatever an adapter or a file held.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lp {

std::string jsonQuote(std::string_view text);

class JsonWriter {
public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    // The name of the next member; objects only.
    JsonWriter& key(std::string_view name);
    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(const std::string& text) { return value(std::string_view(text)); }
    JsonWriter& value(int64_t number);
    JsonWriter& value(int number) { return value(static_cast<int64_t>(number)); }
    JsonWriter& value(double number);
    JsonWriter& value(bool flag);
    JsonWriter& null();
    // A value already written as JSON (a line of the flash log), as it is.
    JsonWriter& raw(std::string_view json);
    // A member in one call.
    template <typename T> JsonWriter& member(std::string_view name, const T& v) { return key(name).value(v); }

    const std::string& text() const { return out_; }

private:
    void separate();
    std::string out_;
    std::vector<bool> first_; // per open container: nothing written yet
    bool afterKey_ = false;
};

} // namespace lp

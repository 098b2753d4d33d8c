// The flash log as the reader finds it after crashes, full disks and
// hand edits: whatever the text, every entry passed on is one whole JSON
// object (`linkport log --json` embeds them as they are), and every line is
// either an entry, part of one attempt's pair, or counted as damaged.
//
// nlohmann/json, a parser written by others, judges our JSON checker and
// writer: both must agree with it on every input, but where the two differ
// by design (nesting deeper than kMaxJsonDepth, numbers beyond a double and
// lone surrogate escapes, which the grammar allows and nlohmann refuses).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/json_check.h"
#include "core/json_writer.h"
#include "firmware/flash_log.h"
#include "fuzz_check.h"

using namespace lp;

namespace {

enum class Verdict { Object, NotObject, ByDesign };

Verdict nlohmannVerdict(std::string_view text)
{
    try {
        return nlohmann::json::parse(text).is_object() ? Verdict::Object : Verdict::NotObject;
    } catch (const nlohmann::json::out_of_range&) {
        return Verdict::ByDesign; // a number beyond a double
    } catch (const nlohmann::json::parse_error& e) {
        return std::string_view(e.what()).find("surrogate") != std::string_view::npos ? Verdict::ByDesign
                                                                                        : Verdict::NotObject;
    }
}

void checkAgainstNlohmann(std::string_view text)
{
    // nlohmann ends its input at a zero byte, so both judge what comes before.
    const std::string_view judged = text.substr(0, text.find('\0'));
    const bool ours = CheckJsonObject(judged);
    const Verdict theirs = nlohmannVerdict(judged);
    const bool deep = std::count(judged.begin(), judged.end(), '[') + std::count(judged.begin(), judged.end(), '{')
                      > kMaxJsonDepth;
    if (theirs == Verdict::Object)
        FUZZ_CHECK(ours || deep);
    else if (theirs == Verdict::NotObject)
        FUZZ_CHECK(!ours);

    // Any bytes written as a member are read back as the same text when
    // they are UTF-8, and as plain ASCII JSON either way.
    const std::string written = JsonWriter().beginObject().member("t", text).endObject().text();
    FUZZ_CHECK(CheckJsonObject(written));
    FUZZ_CHECK(std::none_of(written.begin(), written.end(), [](char c) { return c < 0x20 || c > 0x7E; }));
    const nlohmann::json read = nlohmann::json::parse(written);
    bool utf8 = true;
    try {
        (void)nlohmann::json(std::string(text)).dump();
    } catch (const nlohmann::json::type_error&) {
        utf8 = false;
    }
    if (utf8)
        FUZZ_CHECK(read.at("t").get<std::string>() == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const FlashLogContents log = ParseFlashLog(text);
    int64_t lines = 0;
    for (char c : text)
        lines += c == '\n';
    FUZZ_CHECK(log.damagedLines >= 0 && log.damagedLines <= lines + 1);
    FUZZ_CHECK(log.interrupted <= static_cast<int64_t>(log.entries.size()));
    FUZZ_CHECK(static_cast<int64_t>(log.entries.size()) + log.damagedLines <= lines + 1);
    for (const std::string& entry : log.entries) {
        FUZZ_CHECK(CheckJsonObject(entry));
        FUZZ_CHECK(entry.find('\n') == std::string::npos);
    }
    std::vector<JsonMemberSpan> members;
    if (CheckJsonObject(text, &members))
        for (const JsonMemberSpan& m : members)
            FUZZ_CHECK(m.begin < m.end && m.end <= text.size());
    checkAgainstNlohmann(text);
    return 0;
}

// The flash log as the reader finds it after crashes, full disks and
// hand edits: whatever the text, every entry passed on is one whole JSON
// object (`linkport log --json` embeds them as they are), and every line is
// either an entry, part of one attempt's pair, or counted as damaged.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/json_check.h"
#include "firmware/flash_log.h"
#include "fuzz_check.h"

using namespace lp;

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
    return 0;
}

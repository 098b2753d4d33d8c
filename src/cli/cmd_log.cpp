// linkport log: the flash log, one entry per attempt, oldest first; an
// attempt that never ended shows as "interrupted", damaged lines are counted.
#include "cli/session.h"
#include "firmware/flash_log.h"

namespace lp::cli {

int runLog(Session& s)
{
    if (!s.args.operands.empty())
        return fail(s, kExitUsage, "log takes no operands");
    const FlashLogContents log = ReadFlashLog(FlashLogPath());
    s.json.beginObject().key("entries").beginArray();
    for (const std::string& line : log.entries) {
        s.json.raw(line);
        s.text += line + "\n";
    }
    s.json.endArray().member("damaged_lines", log.damagedLines).member("interrupted", log.interrupted).endObject();
    if (log.damagedLines > 0)
        s.text += std::to_string(log.damagedLines) + " damaged line(s) of the log skipped\n";
    return kExitDone;
}

} // namespace lp::cli

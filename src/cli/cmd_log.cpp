// linkport log: the flash log, oldest attempt first.
#include "cli/session.h"
#include "firmware/flash_log.h"

namespace lp::cli {

int runLog(Session& s)
{
    if (!s.args.operands.empty())
        return fail(s, kExitUsage, "log takes no operands");
    const std::vector<std::string> lines = ReadFlashLog(FlashLogPath());
    s.json.beginObject().key("entries").beginArray();
    for (const std::string& line : lines) {
        s.json.raw(line);
        s.text += line + "\n";
    }
    s.json.endArray().endObject();
    return kExitDone;
}

} // namespace lp::cli

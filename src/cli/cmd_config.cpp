// linkport config: the Preferences screen's settings, read and written with
// its rules (only what changed, only on a valid choice).
#include "cli/session.h"
#include "operations/summary_reading.h"
#include "settings/modLibrary.h"
#include "operations/preferences.h"

namespace lp::cli {

namespace {

// "lp2", "compact", "wireless" or the kind text itself; "" for anything else.
std::string deviceKindOf(const std::string& word)
{
    if (word == "lp2" || word == kKindLP2)
        return kKindLP2;
    if (word == "compact" || word == kKindCompact)
        return kKindCompact;
    if (word == "wireless" || word == kKindWireless)
        return kKindWireless;
    return {};
}

void describe(Session& s, const Preferences& p, const std::string& only)
{
    const std::vector<std::pair<std::string, std::string>> values = {
        {"device", ReadPrevAdapter(s.ctx)},
        {"lp2-port", p.lp2Port},
        {"compact-port", p.compactPort},
        {"compact-rate", p.compactRate},
        {"wireless-adapter", SelectedWirelessAdapterText(s.ctx)},
    };
    s.json.beginObject();
    for (const auto& [key, value] : values) {
        if (!only.empty() && key != only)
            continue;
        s.json.member(key, value);
        s.text += only.empty() ? key + "=" + value + "\n" : value + "\n";
    }
    s.json.endObject();
}

bool knownKey(const std::string& key)
{
    return key == "device" || key == "lp2-port" || key == "compact-port" || key == "compact-rate"
           || key == "wireless-adapter";
}

} // namespace

int runConfig(Session& s)
{
    const std::vector<std::string>& ops = s.args.operands;
    const std::string action = ops.empty() ? "get" : ops[0];
    if (action == "get") {
        if (ops.size() > 2 || (ops.size() == 2 && !knownKey(ops[1])))
            return fail(s, kExitUsage, "usage: linkport config get [device|lp2-port|compact-port|compact-rate|"
                                       "wireless-adapter]");
        Preferences p;
        p.load(s.ctx);
        describe(s, p, ops.size() == 2 ? ops[1] : std::string());
        return kExitDone;
    }
    if (action != "set")
        return fail(s, kExitUsage, "unknown config action \"" + action + "\" (get, set)");
    if (ops.size() != 3)
        return fail(s, kExitUsage, "usage: linkport config set KEY VALUE");
    const std::string& key = ops[1];
    const std::string& value = ops[2];
    std::string kind = s.ctx.g_strDeviceKind;
    if (key == "device") {
        kind = deviceKindOf(value);
        if (kind.empty())
            return fail(s, kExitUsage, "unknown device \"" + value + "\" (lp2, compact or wireless)");
    } else if (key != "lp2-port" && key != "compact-port" && key != "compact-rate") {
        return fail(s, kExitUsage, "unknown setting \"" + key + "\" (device, lp2-port, compact-port, compact-rate)");
    }
    // The edition follows the adapter, as for every command.
    s.ctx.g_intToolkitMode = kind == kKindCompact ? 2 : 1;
    Preferences p;
    p.load(s.ctx);
    if (!kind.empty())
        p.deviceKind = kind;
    if (key == "lp2-port")
        p.lp2Port = value;
    else if (key == "compact-port")
        p.compactPort = value;
    else if (key == "compact-rate")
        p.compactRate = value;
    std::string message;
    if (key != "device") {
        // A port or rate belongs to its adapter, chosen or not: it is saved
        // for when that adapter is chosen, and the chosen one stays.
        const std::string owner = key == "lp2-port" ? kKindLP2 : kKindCompact;
        if (const std::string problem = p.problemFor(s.ctx, owner); !problem.empty())
            return fail(s, kExitUsage, problem);
        if (!p.savePorts(s.ctx, owner, message))
            return fail(s, kExitUsage, message);
        describe(s, p, {});
        return kExitDone;
    }
    if (const std::string problem = p.problem(s.ctx); !problem.empty())
        return fail(s, kExitUsage, problem);
    if (!p.save(s.ctx, message))
        return fail(s, kExitUsage, message);
    describe(s, p, {});
    return kExitDone;
}

} // namespace lp::cli

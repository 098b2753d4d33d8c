// linkport wireless: the wireless picker's list, edited with its rules and
// written the way its Select writes it.
#include <algorithm>
#include <cctype>

#include "cli/session.h"
#include "core/vb_text.h"
#include "adapters/wireless/wireless_adapter_list.h"

namespace lp::cli {

namespace {

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char ch) { return std::tolower(ch); });
    return text;
}

// "2" is the second adapter; anything else is a name (case ignored, as the
// picker compares names). -1 when neither finds one.
int findAdapter(const WirelessAdapterList& list, const std::string& which)
{
    if (!which.empty() && std::all_of(which.begin(), which.end(), [](unsigned char ch) { return std::isdigit(ch); })) {
        if (which.size() > 6)
            return -1;
        const int n = std::stoi(which);
        return n >= 1 && n <= list.size() ? n - 1 : -1;
    }
    for (int i = 0; i < list.size(); ++i) {
        if (lower(list.adapters()[static_cast<size_t>(i)].name) == lower(vb::Trim(which)))
            return i;
    }
    return -1;
}

void describe(Session& s, const WirelessAdapterList& list)
{
    s.json.beginObject().key("adapters").beginArray();
    s.text.clear();
    for (int i = 0; i < list.size(); ++i) {
        const WirelessAdapterEntry& e = list.adapters()[static_cast<size_t>(i)];
        const bool chosen = i == list.selected();
        s.json.beginObject()
            .member("index", i + 1)
            .member("name", e.name)
            .member("address", e.address)
            .member("serial", e.serial)
            .member("selected", chosen)
            .endObject();
        s.text += (chosen ? "* " : "  ") + std::to_string(i + 1) + "\t" + e.name + "\t" + e.address + "\t" + e.serial
                  + "\n";
    }
    s.json.endArray().endObject();
}

} // namespace

int runWireless(Session& s)
{
    const std::vector<std::string>& ops = s.args.operands;
    const std::string action = ops.empty() ? "list" : ops[0];
    WirelessAdapterList list;
    list.load(s.ctx);
    if (action == "list") {
        if (ops.size() > 1)
            return fail(s, kExitUsage, "wireless list takes no operands");
        describe(s, list);
        return kExitDone;
    }
    if (action == "add") {
        if (ops.size() < 3 || ops.size() > 4)
            return fail(s, kExitUsage, "usage: linkport wireless add NAME ADDRESS [SERIAL]");
        const WirelessEditResult r = list.add(ops[1], ops[2], ops.size() > 3 ? ops[3] : std::string());
        if (!r)
            return fail(s, kExitUsage, r.message);
    } else if (action == "remove" || action == "select") {
        if (ops.size() != 2)
            return fail(s, kExitUsage, "usage: linkport wireless " + action + " N|NAME");
        const int index = findAdapter(list, ops[1]);
        if (index < 0)
            return fail(s, kExitUsage, "no wireless adapter \"" + ops[1] + "\" in the list");
        const WirelessAdapterEntry& entry = list.adapters()[static_cast<size_t>(index)];
        if (action == "select" && !WirelessAddressProblem(entry.address).empty())
            return fail(s, kExitUsage, "the wireless adapter \"" + entry.name + "\" has no usable network address (\""
                                           + entry.address + "\"): remove it and add it again with its address");
        if (action == "remove")
            list.remove(index);
        else
            list.select(index);
    } else {
        return fail(s, kExitUsage, "unknown wireless action \"" + action + "\" (list, add, remove, select)");
    }
    if (!list.apply(s.ctx))
        return fail(s, kExitUsage, "the wireless adapter list could not be written to LPIPRP32.INI: "
                                        + (list.lastError().empty() ? std::string("reason unknown") : list.lastError()));
    describe(s, list);
    return kExitDone;
}

} // namespace lp::cli

// linkport ports: the serial ports that the Preferences screen offers.
#include "cli/session.h"
#include "platform/serial_port_map.h"
#include "settings/modLibrary.h"

namespace lp::cli {

int runPorts(Session& s)
{
    if (!s.args.operands.empty())
        return fail(s, kExitUsage, "ports takes no operands");
    s.json.beginObject().key("ports").beginArray();
    for (const auto& [port, device] : listPorts()) {
        if (!IsSerialPortPresent(s.ctx, port))
            continue;
        const std::string name = "COM" + std::to_string(port);
        s.json.beginObject().member("name", name).member("device", device).endObject();
        s.text += name + "\t" + device + "\n";
    }
    s.json.endArray().endObject();
    return kExitDone;
}

} // namespace lp::cli

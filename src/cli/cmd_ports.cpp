// linkport ports: the serial ports that the Preferences screen offers, each
// with its device and, for a USB converter, what the converter says it is
// (so a technician can tell which COMn is the cable in their hand).
#include "cli/session.h"
#include "platform/serial_port_identity.h"
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
        const SerialPortIdentity identity = IdentifyComPort(port);
        s.json.beginObject().member("name", name).member("device", device).key("usb");
        if (identity.usb) {
            s.json.beginObject()
                .member("vendor_id", identity.vendorId)
                .member("product_id", identity.productId)
                .member("product", identity.product)
                .member("manufacturer", identity.manufacturer)
                .member("serial_number", identity.serialNumber)
                .endObject();
        } else {
            s.json.null();
        }
        s.json.endObject();
        s.text += name + "\t" + device;
        if (const std::string usb = SerialPortIdentityText(identity); !usb.empty())
            s.text += "\t" + usb;
        s.text += "\n";
    }
    s.json.endArray().endObject();
    return kExitDone;
}

} // namespace lp::cli

#include "settings/modLibrary.h"

#include "ports/host.h"
#include "ports/logger.h"
#include "ports/serial_port.h"
#include "settings/modRegistry.h"

namespace lp {

namespace {

const char* const kServiceToolKey = "Software\\Tavrel\\SVK\\Tavrel Service Tool\\";

} // namespace

void SetDeviceFlags(Context& ctx, bool lp2, bool cgp, bool wlp)
{
    ctx.g_blnLP2Selected = lp2;
    ctx.g_blnCGPSelected = cgp;
    ctx.g_blnWLPSelected = wlp;
}

std::string ReadPrevAdapter(Context& ctx)
{
    return RegReadValue(ctx, HKEY_LOCAL_MACHINE, ctx.g_strRegistryKey, "PrevAdapter").text();
}

bool ServiceToolInstalled(Context& ctx)
{
    return !RegReadValue(ctx, HKEY_LOCAL_MACHINE, kServiceToolKey, "Path").text().empty();
}

bool IsSerialPortPresent(Context& ctx, int32_t port)
{
    if (port < 0 || !ctx.ports.serialPorts)
        return false;
    return ctx.ports.serialPorts->isRs232Present(port);
}

} // namespace lp

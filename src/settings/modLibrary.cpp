#include "settings/modLibrary.h"

#include <limits>

#include "ports/host.h"
#include "ports/logger.h"
#include "ports/serial_port.h"
#include "settings/modRegistry.h"

namespace lp {

namespace {

const char* const kServiceToolKey = "Software\\Tavrel\\SVK\\Tavrel Service Tool\\";

void logWarning(Context& ctx, std::string_view text)
{
    if (ctx.ports.log)
        ctx.ports.log->warning(LogSubsystem::Settings, text);
}

} // namespace

bool DelayMilliseconds(Context& ctx, int16_t ms)
{
    Host* host = ctx.ports.host;
    if (!host)
        return false;
    const int32_t start = host->tickCount();
    const int64_t deadline = static_cast<int64_t>(start) + ms;
    if (deadline > std::numeric_limits<int32_t>::max() || deadline < std::numeric_limits<int32_t>::min()) {
        // The classic sum raised an overflow error here instead of waiting.
        logWarning(ctx, "DelayMilliseconds: tick count " + std::to_string(start) + " + " + std::to_string(ms)
                            + " overflows");
        return false;
    }
    if (ms <= 0)
        return true;
    // Count elapsed time rather than compare with the deadline, so that a
    // host that overshoots past the tick count's wrap cannot wait forever.
    const uint32_t wanted = static_cast<uint32_t>(ms);
    for (;;) {
        const uint32_t elapsed = static_cast<uint32_t>(host->tickCount()) - static_cast<uint32_t>(start);
        if (elapsed >= wanted)
            return true;
        host->sleepMilliseconds(static_cast<int32_t>(wanted - elapsed));
    }
}

void PumpMessages(Context& ctx)
{
    if (ctx.ports.host)
        ctx.ports.host->pumpMessages();
}

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

void UnloadMainWindow(Context& ctx)
{
    if (ctx.ports.screens)
        ctx.ports.screens->UnloadMainWindow();
}

bool IsSerialPortPresent(Context& ctx, int32_t port)
{
    if (port < 0 || !ctx.ports.serialPorts)
        return false;
    return ctx.ports.serialPorts->isRs232Present(port);
}

} // namespace lp

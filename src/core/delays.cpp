#include "core/delays.h"

#include <limits>
#include <string>

#include "ports/host.h"
#include "ports/logger.h"

namespace lp {

bool DelayMilliseconds(Context& ctx, int16_t ms)
{
    Host* host = ctx.ports.host;
    if (!host)
        return false;
    const int32_t start = host->tickCount();
    const int64_t deadline = static_cast<int64_t>(start) + ms;
    if (deadline > std::numeric_limits<int32_t>::max() || deadline < std::numeric_limits<int32_t>::min()) {
        // A deadline past the tick count's range is a fault, not a wait.
        if (ctx.ports.log)
            ctx.ports.log->warning(LogSubsystem::Settings, "DelayMilliseconds: tick count " + std::to_string(start) + " + " + std::to_string(ms)
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

} // namespace lp

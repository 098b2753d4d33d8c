#include "adapters/flash_timing.h"

#include <cmath>

namespace lp {

namespace {

constexpr double kSecondsPerDay = 86400.0;
// The timer and the tick count never drift apart by this much while time
// merely passes; only a clock being set (or daylight-saving time) does that.
constexpr double kClockSetSeconds = 60.0;

} // namespace

uint32_t FlashTicksSince(Host& host, int32_t start)
{
    return static_cast<uint32_t>(host.tickCount()) - static_cast<uint32_t>(start);
}

FlashStamp FlashStamp::now(Host& host)
{
    return {host.secondsSinceMidnight(), host.tickCount()};
}

double FlashStamp::secondsSince(Host& host) const
{
    // The timer starts again at 0 at midnight, so a flash running across
    // midnight sees it fall from about 86400 to 0 in the middle of a wait.
    // A plain difference would then stay negative for the rest of the day,
    // never pass the time-out, and a silent adapter would hold the flash for
    // ever; a negative difference is a day that turned.
    double elapsed = host.secondsSinceMidnight() - timer;
    if (elapsed < 0)
        elapsed += kSecondsPerDay;
    // A clock set by hand or by daylight-saving time moves the timer by
    // minutes or hours with no time passing; the tick count does not follow
    // it, so where the two disagree that much the tick count is the truth.
    const double ticks = static_cast<double>(FlashTicksSince(host, tick)) / 1000.0;
    return std::fabs(elapsed - ticks) > kClockSetSeconds ? ticks : elapsed;
}

void FlashLog(Context& ctx, LogLevel level, const char* who, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->write(LogSubsystem::Flash, level, std::string(who) + ": " + text);
}

} // namespace lp

#pragma once
// Time and log helpers that both line-by-line flashes (compact serial and
// wireless) need in exactly the same form. Qt-free.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/context.h"
#include "ports/host.h"
#include "ports/logger.h"

namespace lp {

// Milliseconds on the host's tick count since `start`, right across the
// count's wrap.
uint32_t FlashTicksSince(Host& host, int32_t start);

// A moment noted on the seconds-since-midnight timer (the clock the flashes'
// time-outs are defined on) and on the tick count beside it.
struct FlashStamp {
    double timer = 0;
    int32_t tick = 0;

    static FlashStamp now(Host& host);

    // Seconds since the stamp. Survives the timer starting again at
    // midnight and a clock set by hand or by daylight-saving time.
    double secondsSince(Host& host) const;
};

// One line in the flash part of the log, "<who>: <text>"; nothing without
// a logger.
void FlashLog(Context& ctx, LogLevel level, const char* who, const std::string& text);

// The mouse pointers the line-by-line flashes set.
inline constexpr int kHourglass = 11;
inline constexpr int kDefaultPointer = 0;

// The log notes the transfer's progress this often (and every failure in
// full), so a support engineer sees how far a failed flash got without a
// line per record.
inline constexpr int64_t kProgressLogEvery = 512;
// What a failure log keeps of an unexpected reply.
inline constexpr size_t kReplyLogBytes = 32;

} // namespace lp

#pragma once
// Time as the adapter links spend it: a delay lets no window message run, a
// pump runs the queued ones once.
#include <cstdint>

#include "core/context.h"

namespace lp {

// Waits ms milliseconds without letting window messages run. Returns false,
// without waiting, when the deadline would overflow the signed 32-bit tick
// count; callers treat that as a fault.
bool DelayMilliseconds(Context& ctx, int16_t ms);

// Handles every queued window message, then returns.
void PumpMessages(Context& ctx);

} // namespace lp

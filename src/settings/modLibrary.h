#pragma once
// Small shared routines: delays, the message pump, the stored device kind,
// the service-tool check and the serial-port probe.
#include <cstdint>
#include <string>

#include "core/context.h"

namespace lp {

// Waits ms milliseconds without letting window messages run. Returns false,
// without waiting, when the deadline would overflow the signed 32-bit tick
// count (the classic run-time overflow); callers treat that as a fault.
bool DelayMilliseconds(Context& ctx, int16_t ms);

// Handles every queued window message, then returns.
void PumpMessages(Context& ctx);

void SetDeviceFlags(Context& ctx, bool lp2, bool cgp, bool wlp);

// "PrevAdapter" under the program's key, as text (empty when missing).
std::string ReadPrevAdapter(Context& ctx);

// True unless the other service tool's "Path" value reads as empty text.
bool ServiceToolInstalled(Context& ctx);

void UnloadMainWindow(Context& ctx);

// True when serial port n exists, opens, and is an RS-232 class port.
bool IsSerialPortPresent(Context& ctx, int32_t port);

} // namespace lp

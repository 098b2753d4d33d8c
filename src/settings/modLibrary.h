#pragma once
// The stored device kind and its flags, the service-tool check and the
// serial-port probe.
#include <cstdint>
#include <string>

#include "core/context.h"

namespace lp {

void SetDeviceFlags(Context& ctx, bool lp2, bool cgp, bool wlp);

// "PrevAdapter" under the program's key, as text (empty when missing).
std::string ReadPrevAdapter(Context& ctx);

// True unless the other service tool's "Path" value reads as empty text.
bool ServiceToolInstalled(Context& ctx);

// True when serial port n exists, opens, and is an RS-232 class port.
bool IsSerialPortPresent(Context& ctx, int32_t port);

} // namespace lp

#pragma once
// The one thin layer that holds the adapter driver's RP1210 client: it finds
// a protocol's device in LP2RP32.INI, opens and closes the single client,
// sends driver commands and reads the driver's versions, error texts and
// hardware status. Every driver call is preceded by one pass of the message
// pump. None of these shows a message; results are the driver's values, -1
// for "not configured" and -2 for "the driver could not be called".
#include <cstdint>
#include <string>

#include "core/context.h"

namespace lp {

// What a driver call gives when the library or its entry point is missing.
constexpr int16_t kRp1210DriverMissing = -2;
// What RP1210Connect gives when the protocol or its device is not configured.
constexpr int16_t kRp1210NotConfigured = -1;

// Opens a client for the protocol ("SIP", "J1708", "J1939", "HVN"). Only a
// result of 0 or below is recorded in g_nClientID and g_blnRP1210Connected;
// callers judge success by 0 <= result < 128.
int16_t RP1210Connect(Context& ctx, const std::string& protocol);

// Closes the client g_nClientID (whether or not one is open) and clears
// g_blnRP1210Connected. Returns the driver's result, -2 when it could not be
// called.
int16_t RP1210Disconnect(Context& ctx);

// Forgets the client without calling the driver. Always true.
bool RP1210MarkDisconnected(Context& ctx);

bool RP1210IsConnected(Context& ctx);

// RP1210_SendCommand with g_nClientID; `buffer` holds what the driver wrote.
int16_t RP1210SendCommandText(Context& ctx, int16_t command, std::string& buffer, int16_t size);

// The same for a binary record, with the hourglass pointer during the call.
int16_t RP1210SendCommandRecord(Context& ctx, int16_t command, std::string& record, int16_t size);

// RP1210_ReadVersion into buffers of 1, 2, 1 and 1 blanks, taken as the
// driver left them. When the driver cannot be called they stay blanks.
void RP1210DriverVersion(Context& ctx, std::string& dllMajor, std::string& dllMinor, std::string& apiMajor,
                         std::string& apiMinor);

// The driver's text for an error code, up to and including its first NUL;
// "Error Code Not Found" when the driver has none or cannot be called.
std::string RP1210ErrorText(Context& ctx, int32_t code);

// RP1210_GetHardwareStatus with g_nClientID and a 16-character buffer; the
// output is cut like RP1210ErrorText's. -2 (and an empty output) when the
// driver cannot be called.
int16_t RP1210HardwareStatus(Context& ctx, std::string& status, int16_t blockOnRequest);

} // namespace lp

#pragma once
// The wireless adapters: the list the driver keeps in LPIPRP32.INI, the
// adapter the user selects, the driver library's version, and the texts in
// the adapter's replies. The sockets belong to the screens; they hand the
// received bytes to the decoders here.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/context.h"
#include "ports/choice_list.h"
#include "ports/tcp_socket.h"

namespace lp {

// The driver's INI file (bare name: it lives in the Windows directory) and
// the port every wireless adapter listens on.
inline constexpr const char* kWLPIniFile = "LPIPRP32.INI";
inline constexpr const char* kWLPDriverFile = "LPIPRP32.dll";
inline constexpr int32_t kWLPTcpPort = 12321;

// Reads "DeviceNames", "DeviceParams" and "SerialNumbers" of
// [AdditionalDevices]. The number of adapters is the number of ";" in the
// names alone; an item missing from another list is empty, and an address
// item without ":" gives an empty address. False, with the arrays untouched,
// when no name is ";"-ended.
bool WLPReadAdditionalDevices(Context& ctx, std::vector<std::string>& names, std::vector<std::string>& addresses,
                              std::vector<std::string>& serials);

// Reads the lists into ctx's arrays and, when there is at least one adapter,
// adds "name (address)" for each to `list` (which is not cleared first).
// Returns the result of the read.
bool WLPFillList(Context& ctx, ChoiceList& list);

// Writes the adapter at the list's selected index into [DeviceInformation1]:
// "DeviceParams" = address ":12321", then "SerialNumber", then "DeviceName".
// An index outside the arrays writes nothing and gives false.
bool WLPSelectAdapter(Context& ctx, const ChoiceList& list);

// The index of the first adapter whose name equals the trimmed
// "DeviceName" of [DeviceInformation1]; 0 when none does. Only indices that
// the list and the name array both hold are compared.
int WLPFindSelectedIndex(Context& ctx, const ChoiceList& list);

// The file version of LPIPRP32.dll in the Windows directory, or resource
// string 508 when it has none (or is missing).
std::string WLPDriverVersion(Context& ctx);

// The adapter's replies. Each takes every byte received; the last one is the
// check byte and is not read. A reply of fewer than two bytes, or whose first
// four bytes are not the expected header, gives resource string 508. Short
// replies with the right header give shorter texts, as the adapter sent them.
//
// "5F080D03": bytes 6 and 7 as decimal numbers, "major.minor" (01 0A gives
// "1.10"); a byte that did not arrive gives an empty number.
std::string WLPParseDecimalVersion(const Bytes& reply);
// "5F050D02": bytes 4, 5 and 6 as two hexadecimal digits each, "01.07.12".
std::string WLPParseHexVersion(const Bytes& reply);
// "5F0C0D01": the characters of bytes 4 to count - 2 (the adapter's code
// page, here written as UTF-8).
std::string WLPParseIdentityText(const Bytes& reply);

// Connect: closes the socket when it is connected, sets the remote host to
// `address` and the port to 12321, connects and waits, letting messages
// run, until the socket is connected or in error (or `timeoutMs` passed,
// which closes it). True when connected. The flash screen uses it too.
// `cancelled`, when given, is asked while the wait runs: once it holds the
// socket is closed, which also drops an error the attempt would still have
// reported, and the result is false.
bool WLPConnect(Context& ctx, TcpSocket& socket, const std::string& address, int32_t timeoutMs = 30000,
                const std::function<bool()>& cancelled = {});

} // namespace lp

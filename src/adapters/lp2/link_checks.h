#pragma once
// The adapter communication test: basic communication, driver against
// firmware compatibility, then the J1708, J1939 and HVN (CDL) datalinks, each
// opened through the adapter's RP1210 driver. The results go to a report by
// the number of their label, so that the test screen and the command line
// show the same sequence.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/context.h"

namespace lp {

// The numbers by which the test addresses its results.
namespace TestResult {
inline constexpr int16_t BasicCommunication = 1;
inline constexpr int16_t DriverFirmware = 2;
inline constexpr int16_t J1708 = 3;
inline constexpr int16_t CDL = 4;
inline constexpr int16_t J1939 = 5;
} // namespace TestResult

struct ResultRgb {
    uint8_t red = 0, green = 0, blue = 0;
    bool operator==(const ResultRgb&) const = default;
};

// "Red" (255, 0, 0), "Green" (0, 255, 0) and "White" (255, 255, 255); any
// other word (the case counts) names no colour.
std::optional<ResultRgb> ResultColour(const std::string& word);

// Where the results go. An index outside 1 to 5 is ignored; a colour word
// that ResultColour does not know leaves the colour and still sets the text.
class AdapterTestReport {
public:
    virtual ~AdapterTestReport() = default;
    virtual void SetLabelResult(int16_t index, const std::string& colour, const std::string& text) = 0;
};

// Every result "Untested" on white.
void InitialiseTestResults(AdapterTestReport& report);

// The driver-availability check run before a test: it forgets any client
// the program still counts as open (without calling the driver) and is
// always true.
bool TestDriverAvailable(Context& ctx);

// True when the fifth character of the hardware status counts as greater
// than 0: a character that reads as a number by its value, any other
// character (and the missing one of a shorter status) always.
bool HardwareStatusAboveZero(const std::string& status);

// The single checks; `passed` tells whether the next one may run.
void AttemptConnectSIP(Context& ctx, AdapterTestReport& report, bool& passed);
void AttemptConnectJ1708(Context& ctx, AdapterTestReport& report, bool& passed);
void AttemptConnectJ1939(Context& ctx, AdapterTestReport& report, bool& passed);
void AttemptConnectHVN(Context& ctx, AdapterTestReport& report, bool& passed);

// The whole test with the hourglass pointer: results reset, the availability
// check (all five "Failed" in red when it says no), then the checks in order
// until the first one fails; the results of checks not run stay "Untested".
void RunAdapterTest(Context& ctx, AdapterTestReport& report,
                    const std::function<bool(Context&)>& driverAvailable = TestDriverAvailable);

} // namespace lp

#include "adapters/lp2/link_checks.h"

#include "core/vb_text.h"
#include "adapters/rp1210/modRP1210Interface.h"
#include "ports/logger.h"
#include "ports/prompts.h"
#include "core/string_table.h"

namespace lp {

namespace {

constexpr int kPointerDefault = 0;
constexpr int kPointerHourglass = 11;

void log(Context& ctx, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->info(LogSubsystem::AdapterTest, text);
}

bool isClientId(int16_t code) { return code >= 0 && code < 128; }

// RP1210Connect records a client id only when it is 0; the status read and
// the disconnect below must address the client this connect opened, so its
// id is kept here whatever it is. An error code leaves nothing open, so the
// layer is told to forget the client it recorded for a negative code.
int16_t connect(Context& ctx, const std::string& protocol)
{
    const int16_t code = RP1210Connect(ctx, protocol);
    log(ctx, "connect " + protocol + ": " + std::to_string(code));
    if (isClientId(code)) {
        ctx.g_nClientID = code;
        ctx.g_blnRP1210Connected = true;
    } else if (code < 0) {
        RP1210MarkDisconnected(ctx);
    }
    return code;
}

void disconnect(Context& ctx)
{
    const int16_t code = RP1210Disconnect(ctx);
    if (code != 0)
        log(ctx, "disconnect of client " + std::to_string(ctx.g_nClientID) + ": " + std::to_string(code));
}

enum class StatusRule { FifthCharacterAboveZero, None };

// The datalink checks share one shape; only the protocol, the label and the
// judgement of the hardware status differ (J1708 alone judges it).
void attemptDatalink(Context& ctx, AdapterTestReport& report, bool& passed, const std::string& protocol,
                     int16_t label, StatusRule rule)
{
    passed = false;
    const int16_t code = connect(ctx, protocol);
    // 443: the driver and the adapter's firmware do not suit each other.
    if (code == 443) {
        report.SetLabelResult(TestResult::DriverFirmware, "Red", std::to_string(code));
        return;
    }
    report.SetLabelResult(TestResult::DriverFirmware, "Green", "Passed");
    if (!isClientId(code)) {
        report.SetLabelResult(label, "Red", std::to_string(code));
        return;
    }
    std::string status;
    const int16_t statusCode = RP1210HardwareStatus(ctx, status, 1);
    log(ctx, protocol + " hardware status: " + std::to_string(statusCode) + ", " + vb::HexText(status));
    if (rule == StatusRule::None || HardwareStatusAboveZero(status)) {
        report.SetLabelResult(label, "Green", "Passed");
        passed = true;
    }
    disconnect(ctx);
}

} // namespace

std::optional<ResultRgb> ResultColour(const std::string& word)
{
    if (word == "Red")
        return ResultRgb{255, 0, 0};
    if (word == "Green")
        return ResultRgb{0, 255, 0};
    if (word == "White")
        return ResultRgb{255, 255, 255};
    return std::nullopt;
}

void InitialiseTestResults(AdapterTestReport& report)
{
    for (int16_t index = 1; index <= 5; ++index)
        report.SetLabelResult(index, "White", "Untested");
}

bool TestDriverAvailable(Context& ctx) { return RP1210MarkDisconnected(ctx); }

bool HardwareStatusAboveZero(const std::string& status)
{
    // A comparison of a text with the number 0: a text that reads
    // as a number compares by its value, any other text (the empty one of a
    // short status too) is greater than every number.
    const std::string fifth = vb::Mid(status, 5, 1);
    if (vb::IsNumeric(fifth))
        return vb::Val(fifth) > 0;
    return true;
}

void AttemptConnectSIP(Context& ctx, AdapterTestReport& report, bool& passed)
{
    passed = false;
    const int16_t code = connect(ctx, "SIP");
    if (isClientId(code)) {
        report.SetLabelResult(TestResult::BasicCommunication, "Green", "Passed");
        disconnect(ctx);
        passed = true;
        return;
    }
    if (code < 0 && ctx.ports.prompts)
        ctx.ports.prompts->msgBox(LoadResString(Res::DriverNotInstalled), MsgBoxStyle::OkOnly, LoadResString(Res::ProgramTitle));
    report.SetLabelResult(TestResult::BasicCommunication, "Red", std::to_string(code));
}

void AttemptConnectJ1708(Context& ctx, AdapterTestReport& report, bool& passed)
{
    attemptDatalink(ctx, report, passed, "J1708", TestResult::J1708, StatusRule::FifthCharacterAboveZero);
}

void AttemptConnectJ1939(Context& ctx, AdapterTestReport& report, bool& passed)
{
    attemptDatalink(ctx, report, passed, "J1939", TestResult::J1939, StatusRule::None);
}

void AttemptConnectHVN(Context& ctx, AdapterTestReport& report, bool& passed)
{
    attemptDatalink(ctx, report, passed, "HVN", TestResult::CDL, StatusRule::None);
}

void RunAdapterTest(Context& ctx, AdapterTestReport& report, const std::function<bool(Context&)>& driverAvailable)
{
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(kPointerHourglass);
    InitialiseTestResults(report);
    log(ctx, "adapter test starts");
    if (driverAvailable && !driverAvailable(ctx)) {
        for (int16_t index = 1; index <= 5; ++index)
            report.SetLabelResult(index, "Red", "Failed");
    } else {
        bool passed = false;
        AttemptConnectSIP(ctx, report, passed);
        if (passed)
            AttemptConnectJ1708(ctx, report, passed);
        if (passed)
            AttemptConnectJ1939(ctx, report, passed);
        if (passed)
            AttemptConnectHVN(ctx, report, passed);
        log(ctx, passed ? "adapter test passed" : "adapter test stopped at a failed check");
    }
    if (ctx.ports.screens)
        ctx.ports.screens->setMousePointer(kPointerDefault);
}

} // namespace lp

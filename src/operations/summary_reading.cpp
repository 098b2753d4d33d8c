#include "operations/summary_reading.h"

#include <algorithm>

#include "core/vb_text.h"
#include "firmware/modFileInformation.h"
#include "adapters/frames.h"
#include "adapters/compact/modCGP.h"
#include "adapters/lp2/modLP2.h"
#include "adapters/wireless/modWLP.h"
#include "ports/host.h"
#include "ports/logger.h"
#include "ports/profile_files.h"
#include "ports/prompts.h"
#include "platform/windows_directory.h"
#include "core/delays.h"
#include "settings/modLibrary.h"
#include "core/string_table.h"

namespace lp {

namespace {

// The port the wireless adapters listen on.
constexpr const char* kWirelessPortText = ":12321";
// The connection wait checks its conditions after every message anyway; the
// slice only bounds how long one waitUntil call lasts.
constexpr int32_t kWaitSliceMs = 1000;

std::string notPresent() { return LoadResString(Res::NotPresent); }

// A driver that is missing or says nothing gives blanks (or NULs) around
// the joining ".": no version at all.
bool isBlankVersion(const std::string& version)
{
    return std::all_of(version.begin(), version.end(), [](char c) { return c == ' ' || c == '\0' || c == '.'; });
}

std::string windowsDirectory(Context& ctx)
{
    return ctx.ports.profiles ? ctx.ports.profiles->windowsDirectory() : defaultWindowsDirectory();
}

} // namespace

std::string AdapterInLoaderText(const std::string& where)
{
    return "In its loader (" + where + "): the application firmware is not running. "
           "Flash the application firmware again.";
}

SummaryLayout SummaryLayoutFor(const std::string& deviceKind)
{
    if (deviceKind == kKindWireless)
        return {"Wireless Linkport Information:",
                {"Adapter Name (IP Address)", "IP Address", "Serial Number", "Hardware Version",
                 "Application Firmware Version", "Boot Firmware Version", "PC Driver Version"}};
    if (deviceKind == kKindCompact)
        // No colon here, unlike the other two headings: users know the
        // heading as it stands.
        return {LoadResString(Res::CompactName) + " Information",
                {"Hardware Version", "Application Firmware Version", "Serial Number", LoadResString(Res::CompactDriverVersionCaption)}};
    if (deviceKind == kKindLP2)
        return {LoadResString(Res::Lp2FullName) + " Information:",
                {"Hardware Version", "Application Firmware Version", "Boot Firmware Version", LoadResString(Res::Lp2DriverVersionCaption),
                 "Application Firmware Version (Serial IP)"}};
    return {};
}

std::string SummaryDeviceKind(Context& ctx)
{
    if (ctx.g_intToolkitMode == -1)
        return kKindWireless;
    return ReadPrevAdapter(ctx);
}

int16_t SerialIpPortNumber(const std::string& portName)
{
    const size_t m = vb::InStr(portName, "M");
    if (m == 0)
        return 0;
    const std::string digits = vb::Mid(portName, m + 1);
    if (!vb::IsNumeric(digits))
        return 0;
    const auto n = vb::CInt(vb::Val(digits));
    return n && *n > 0 ? *n : 0;
}

void ReadLp2Summary(Context& ctx, SerialPort& Connection, SummaryView& view)
{
    const std::string driver = LP2DriverVersion(ctx);
    if (isBlankVersion(driver)) {
        view.setRowValue(4, notPresent());
        ctx.g_strLP2DriverVersion.clear();
    } else {
        view.setRowValue(4, driver);
        ctx.g_strLP2DriverVersion = driver;
    }

    std::string hardware, application, boot;
    if (!LP2ReadVersions(ctx, hardware, application, boot)) {
        for (int row : {1, 2, 3, 5})
            view.setRowValue(row, notPresent());
        return;
    }

    const std::string port = LP2ReadDeviceParamsPort(ctx);
    const std::string serialIp = LP2SerialVersionQuery(ctx, SerialIpPortNumber(port), Connection);
    // The query gives empty text when the port refused it; the row says
    // what it says for any version that did not come.
    view.setRowValue(5, serialIp.empty() ? notPresent() : serialIp);

    // An empty firmware slot reads 255.255; the hardware has no such slot.
    if (application == "255.255")
        application = notPresent();
    if (boot == "255.255")
        boot = notPresent();
    view.setRowValue(1, hardware);
    view.setRowValue(2, application);
    view.setRowValue(3, boot);
}

std::string CompactDriverFile(Context& ctx)
{
    return windowsDirectory(ctx) + "\\system32\\drivers\\ftser2k.sys";
}

void ReadCompactSummary(Context& ctx, SerialPort& Connection, SummaryView& view)
{
    const std::string driver = GetFileVersion(ctx, CompactDriverFile(ctx));
    view.setRowValue(4, driver.empty() ? notPresent() : driver);

    view.setMainWindowEnabled(false);
    view.showConnectingDialog("");
    PumpMessages(ctx);

    std::string hardware, firmware, serial;
    CGPReading reading;
    const bool read = CGPConnectAndRead(ctx, Connection, hardware, firmware, serial, &reading);

    view.unloadConnectingDialog();
    view.setMainWindowEnabled(true);

    view.setRowValue(1, read ? hardware : notPresent());
    view.setRowValue(2, read ? firmware : notPresent());
    view.setRowValue(3, read ? serial : notPresent());
    if (read && reading.loaderPort > 0)
        view.showAdapterState(AdapterInLoaderText("COM" + std::to_string(reading.loaderPort)));
}

Bytes WirelessSummaryRequest(uint8_t item) { return frames::framed({0x5E, 0x02, 0x0D, item}); }

WirelessSummaryReader::WirelessSummaryReader(Context& ctx, SummaryView& view) : ctx_(ctx), view_(view)
{
    if (ctx_.ports.tcpSockets)
        socket_ = ctx_.ports.tcpSockets->create();
    if (socket_) {
        socket_->setDataArrivalHandler([this](int32_t) { onDataArrival(); });
        socket_->setErrorHandler([this](int32_t number, const std::string& text) { onError(number, text); });
    }
}

WirelessSummaryReader::~WirelessSummaryReader()
{
    *alive_ = false;
    if (socket_)
        socket_->close();
}

void WirelessSummaryReader::log(const std::string& text)
{
    if (ctx_.ports.log)
        ctx_.ports.log->info(LogSubsystem::Info, text);
}

void WirelessSummaryReader::select(const ChoiceList& list)
{
    for (int row : {WLPRow::Hardware, WLPRow::Application, WLPRow::Boot})
        view_.setRowValue(row, notPresent());
    view_.showAdapterState(""); // that was another adapter's

    const int index = list.listIndex();
    view_.setRowValue(WLPRow::Adapter, list.itemText(index));
    if (index < 0 || static_cast<size_t>(index) >= ctx_.g_astrWLPAddresses.size()
        || static_cast<size_t>(index) >= ctx_.g_astrWLPSerials.size()) {
        log("wireless adapter " + std::to_string(index) + " is not in the adapter list; nothing is read");
        return;
    }
    const size_t i = static_cast<size_t>(index);
    ctx_.wirelessAddress = ctx_.g_astrWLPAddresses[i];
    view_.setRowValue(WLPRow::Address, ctx_.wirelessAddress);
    view_.setRowValue(WLPRow::Serial, ctx_.g_astrWLPSerials[i]);

    WLPSelectAdapter(ctx_, list);

    if (!socket_ || !ctx_.ports.host) {
        log("no network socket: the wireless adapter is not read");
        return;
    }
    // The old connection goes first, whatever its state: a socket still
    // connecting or failed would refuse the new attempt.
    if (socket_->state() != TcpState::Closed)
        socket_->close();
    step_.clear();
    loaderShown_ = false;
    socket_->setRemoteHost(ctx_.wirelessAddress);
    socket_->setRemotePort(static_cast<int32_t>(vb::Val(vb::Right(kWirelessPortText, 5))));
    if (!socket_->connect())
        log("connecting to " + ctx_.wirelessAddress + " refused: " + socket_->lastError());

    view_.setMainWindowEnabled(false);
    view_.showConnectingDialog(view_.rowValue(WLPRow::Adapter));

    // Everything below may run after the screen has gone: check the token
    // after each wait before touching anything of ours.
    const std::shared_ptr<bool> alive = alive_;
    TcpSocket* socket = socket_.get();
    Host& host = *ctx_.ports.host;
    Context& ctx = ctx_;
    auto settled = [alive, socket, &ctx] {
        if (!*alive)
            return true;
        const int16_t s = socket->state();
        return s == TcpState::Connected || s == TcpState::Closed || s == TcpState::Error
            || ctx.cancelConnection;
    };
    while (!host.waitUntil(settled, kWaitSliceMs)) {
    }
    if (!*alive)
        return;

    const int16_t state = socket_->state();
    if (state == TcpState::Connected) {
        view_.setMainWindowEnabled(true);
        view_.unloadConnectingDialog();
        socket_->sendData(WirelessSummaryRequest(1));
        step_ = "1";
    } else if (state == TcpState::Closed) {
        // The error event has told the user already (or the attempt never
        // started). Nothing is said; the window must not stay locked.
        view_.setMainWindowEnabled(true);
        view_.unloadConnectingDialog();
    } else if (state == TcpState::Error) {
        // The error event, still to come, reports and cleans up.
    } else if (ctx_.cancelConnection) {
        // The dialog closes itself at its next tick.
        socket_->close();
        view_.setMainWindowEnabled(true);
        log("connection to " + ctx_.wirelessAddress + " cancelled");
    }
}

void WirelessSummaryReader::onDataArrival()
{
    const Bytes reply = socket_->getData();
    // 5F 02 0D n: the request acknowledged rather than answered, which only
    // the adapter's loader does.
    const bool loader = reply.size() >= 4 && reply[0] == 0x5F && reply[1] == 0x02 && reply[2] == 0x0D;
    if (loader && !loaderShown_ && !step_.empty()) {
        loaderShown_ = true;
        log("the wireless adapter at " + ctx_.wirelessAddress + " answers from its loader");
        view_.showAdapterState(AdapterInLoaderText(ctx_.wirelessAddress));
    }
    if (step_ == "1") {
        view_.setRowValue(WLPRow::Boot, WLPParseIdentityText(reply));
        socket_->sendData(WirelessSummaryRequest(2));
        step_ = "2";
    } else if (step_ == "2") {
        view_.setRowValue(WLPRow::Application, WLPParseHexVersion(reply));
        socket_->sendData(WirelessSummaryRequest(3));
        step_ = "3";
    } else if (step_ == "3") {
        view_.setRowValue(WLPRow::Hardware, WLPParseDecimalVersion(reply));
        socket_->close();
    }
}

void WirelessSummaryReader::onError(int32_t number, const std::string& description)
{
    log("wireless socket error " + std::to_string(number) + ": " + description);
    view_.unloadConnectingDialog();
    view_.setMainWindowEnabled(true);
    socket_->close();
    if (ctx_.ports.prompts)
        ctx_.ports.prompts->msgBox("Error# " + std::to_string(number) + "\r\n" + description,
                                   MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
}

} // namespace lp

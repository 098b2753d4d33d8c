// linkport flash FILE: the flash screen's checks and the adapter kind's
// flash procedure, one attempt, written to the flash log.
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "cli/progress_bar.h"
#include "cli/session.h"
#include "core/vb_text.h"
#include "firmware/firmware_header.h"
#include "adapters/compact/compact_flash.h"
#include "operations/flash_checks.h"
#include "firmware/flash_log.h"
#include "operations/select_file.h"
#include "firmware/sha256.h"
#include "adapters/wireless/wireless_flash.h"
#include "ports/choice_list.h"
#include "adapters/compact/modCGP.h"
#include "adapters/lp2/modLP2.h"
#include "adapters/rp1210/modRP1210Interface.h"
#include "adapters/wireless/modWLP.h"
#include "ports/host.h"
#include "ports/logger.h"
#include "operations/preferences.h"
#include "core/string_table.h"

namespace lp::cli {

namespace {

std::string notPresent() { return LoadResString(508); }

// Boxes shown meanwhile go nowhere.
class QuietPrompts final : public Prompts {
public:
    explicit QuietPrompts(Context& ctx) : ctx_(ctx), saved_(ctx.ports.prompts) { ctx.ports.prompts = this; }
    ~QuietPrompts() override { ctx_.ports.prompts = saved_; }
    int msgBox(const std::string&, int, const std::string&) override { return MsgBoxResult::Ok; }

private:
    Context& ctx_;
    Prompts* saved_;
};

enum class Outcome { Success, Failure, Cancelled };

struct Attempt {
    Outcome outcome = Outcome::Failure;
    std::string hardware, application, boot, identity;
    int64_t records = 0;
    std::string versionAfter;
};

// The checks, telling a refusal by the user (cancelled) from one by the
// file's contents.
bool runChecks(Session& s, FlashKind kind, const Attempt& a, const FirmwareFileHeader& header, Outcome& refused)
{
    const size_t boxes = s.prompts.messages().size();
    const size_t declined = s.prompts.declined();
    const FlashCheckValues values{a.hardware, a.application, header.HardwareVersions, header.FirmwareVersion};
    if (gbln_FlashVerificationChecks(s.ctx, kind, values))
        return true;
    refused = s.prompts.declined() > declined || s.prompts.messages().size() == boxes ? Outcome::Cancelled
                                                                                      : Outcome::Failure;
    return false;
}

class CompactScreen final : public CompactFlashScreen {
public:
    explicit CompactScreen(Session& s) : s_(s) {}
    void showProgressDialog() override { bar_.start(UpdatingFirmwareText(FlashKind::CGP)); }
    void unloadProgressDialog() override { bar_.finish(); }
    void setProgressMaximum(int32_t maximum) override { bar_.setMaximum(maximum); }
    void setProgressValue(int32_t value) override { bar_.setValue(value); }
    void setProgramDeviceTimerEnabled(bool) override {}
    int mousePointer() const override { return pointer_; }
    void setMousePointer(int pointer) override { pointer_ = pointer; }
    void showExitReturnDialog(const std::string& text) override
    {
        s_.prompts.msgBox(text, MsgBoxStyle::OkOnly, FlashProgramTitle(s_.ctx));
    }
    void returnToReadyState() override {}

private:
    Session& s_;
    ProgressBar bar_;
    int pointer_ = 0;
};

class WirelessScreen final : public WirelessFlashScreen {
public:
    WirelessScreen(Session& s, Attempt& a) : s_(s), a_(a) {}
    void showProgressDialog() override { bar_.start(UpdatingFirmwareText(FlashKind::WLP)); }
    void unloadProgressDialog() override { bar_.finish(); }
    void setProgressMaximum(int32_t maximum) override { bar_.setMaximum(maximum); }
    void setProgressValue(int32_t value) override { bar_.setValue(value); }
    void setHardFlashTimerEnabled(bool) override {}
    void showAdapterValue(WirelessValue which, const std::string& text) override
    {
        if (which == WirelessValue::ApplicationVersion)
            a_.application = text;
        else if (which == WirelessValue::HardwareVersion)
            a_.hardware = text;
        else
            a_.boot = text;
    }
    void setMousePointer(int) override {}
    void endReconnectWait() override {}
    void showExitReturnDialog(const std::string& text) override
    {
        s_.prompts.msgBox(text, MsgBoxStyle::OkOnly, FlashProgramTitle(s_.ctx));
    }
    void returnToReadyState() override {}

private:
    Session& s_;
    Attempt& a_;
    ProgressBar bar_;
};

void flashLp2(Session& s, const std::string& path, const FirmwareFileHeader& header, Attempt& a)
{
    Context& c = s.ctx;
    if (!LP2ReadVersions(c, a.hardware, a.application, a.boot)) {
        a.hardware = a.application = a.boot = notPresent();
    } else {
        if (a.application == "255.255")
            a.application = notPresent();
        if (a.boot == "255.255")
            a.boot = notPresent();
    }
    const std::string port = LP2ReadDeviceParamsPort(c);
    a.identity = port;
    if (PortIsParallel(port)) {
        s.prompts.msgBox(LptRefusalText(), MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, FlashProgramTitle(c));
        return;
    }
    if (port.empty() || (!RP1210IsConnected(c) && !LP2ConnectSIP(c, "SIP")))
        return;
    if (!runChecks(s, FlashKind::LP2, a, header, a.outcome)) {
        RP1210Disconnect(c);
        return;
    }
    ProgressBar bar;
    const FlashProgressCalls progress{[&bar] { bar.start(UpdatingFirmwareText(FlashKind::LP2)); },
                                      [&bar] { bar.finish(); }};
    int16_t driverResult = 0;
    if (!LP2SendFlashStart(c, 2, path, port, progress, &driverResult)) {
        LP2ShowRP1210Error(c, LoadResString(109), driverResult, 0);
        a.outcome = Outcome::Failure;
        RP1210Disconnect(c);
        return;
    }
    a.outcome = Outcome::Success;
    s.prompts.msgBox(FlashSucceededText(), MsgBoxStyle::OkOnly, FlashProgramTitle(c));
    std::string hardware, application, boot;
    if (LP2ReadVersions(c, hardware, application, boot))
        a.versionAfter = application;
    RP1210Disconnect(c);
}

void flashCompact(Session& s, const std::string& path, const FirmwareFileHeader& header, Attempt& a)
{
    Context& c = s.ctx;
    std::unique_ptr<SerialPort> connection = c.ports.serialPorts->create();
    a.hardware = a.application = a.identity = notPresent();
    CGPConnectAndRead(c, *connection, a.hardware, a.application, a.identity);
    // An adapter that gave neither version (only its loader answers) can
    // only be flashed without the checks.
    const bool unknown = a.hardware == notPresent() && a.application == notPresent();
    if (!unknown && !runChecks(s, FlashKind::CGP, a, header, a.outcome))
        return;
    if (CGPFlashBaudRate(c) == 0) {
        s.prompts.msgBox(InvalidBaudRateText(), MsgBoxStyle::OkOnly + MsgBoxStyle::Critical, FlashProgramTitle(c));
        return;
    }
    const std::string configured = CGPReadDeviceParams(c);
    int16_t port = 0;
    if (configured != kCompactSearchAllPorts && !configured.empty())
        port = vb::CInt(vb::Val(vb::Mid(configured, 4))).value_or(0);
    else
        port = CGPReadLastPort(c);
    if (port < 1 || !CGPPortExists(c, CGPDeviceName(port))) {
        CGPShowError(c, 1);
        return;
    }
    CompactScreen screen(s);
    const CompactFlashResult result = RunCompactFlash(c, *connection, screen, port, path);
    a.records = result.recordsSent;
    a.outcome = result.succeeded ? Outcome::Success : Outcome::Failure;
    if (result.succeeded) {
        // Asked once more for the log; an adapter still restarting says
        // nothing, which is no news for the user.
        QuietPrompts quiet(c);
        std::string hardware, application, serial;
        if (CGPReadIdentity(c, port, *connection, hardware, application, serial) && application != notPresent())
            a.versionAfter = application;
    }
}

void flashWireless(Session& s, const std::string& path, const FirmwareFileHeader& header, Attempt& a)
{
    Context& c = s.ctx;
    ChoiceItems list;
    if (!WLPFillList(c, list) || c.g_astrWLPNames.empty()) {
        s.prompts.msgBox("No adapters are listed!  Please go to Preferences and Add an adapter.",
                         MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, FlashProgramTitle(c));
        return;
    }
    list.selected = WLPFindSelectedIndex(c, list);
    const auto i = static_cast<size_t>(list.selected);
    if (i >= c.g_astrWLPAddresses.size())
        return;
    c.g_intWLPSelectedIndex = static_cast<int16_t>(list.selected);
    c.g_strWLPSelectedIP = c.g_astrWLPAddresses[i];
    a.identity = c.g_astrWLPNames[i] + " (" + c.g_strWLPSelectedIP + ")";
    a.hardware = a.application = a.boot = notPresent();
    WLPSelectAdapter(c, list);

    std::unique_ptr<TcpSocket> socket = c.ports.tcpSockets->create();
    WirelessScreen screen(s, a);
    {
        WirelessFlash reader(c, *socket, screen);
        socket->setDataArrivalHandler([&reader](int32_t) { reader.dataArrival(); });
        socket->setErrorHandler([&reader](int32_t n, const std::string& d) { reader.socketError(n, d); });
        if (reader.beginVersionRead(c.g_strWLPSelectedIP)) {
            while (reader.active()) {
                c.ports.host->waitUntil([&reader] { return !reader.active(); },
                                        WirelessFlash::kHardFlashIntervalMs);
                reader.hardFlashTick();
            }
        }
        socket->setDataArrivalHandler({});
        socket->setErrorHandler({});
    }
    socket->close();
    const bool unknown = a.application == notPresent();
    if (!unknown && !runChecks(s, FlashKind::WLP, a, header, a.outcome))
        return;
    const WirelessFlashResult result = RunWirelessFlash(c, *socket, screen, c.g_strWLPSelectedIP, path);
    a.records = result.recordsSent;
    a.versionAfter = result.versionAfter;
    a.outcome = result.succeeded() ? Outcome::Success : Outcome::Failure;
}

const char* outcomeText(Outcome o)
{
    return o == Outcome::Success ? "success" : o == Outcome::Cancelled ? "cancelled" : "failure";
}

} // namespace

int runFlash(Session& s)
{
    if (s.args.operands.size() != 1)
        return fail(s, kExitUsage, "flash takes one operand: the firmware file");
    Context& c = s.ctx;
    const FlashKind kind = FlashKindOf(c);
    if (kind == FlashKind::None)
        return fail(s, kExitUsage, "no adapter is configured: linkport config set device lp2|compact|wireless");
    std::error_code ec;
    std::string path = s.args.operands[0];
    if (!std::filesystem::is_regular_file(path, ec))
        return fail(s, kExitUsage, "cannot read the file " + path);
    path = std::filesystem::absolute(path, ec).lexically_normal().string();
    if (!FileSuitsAdapterKind(kind, path))
        return fail(s, kExitUsage, FirmwareFileFilterText(kind) + " only: " + path);
    if (!AcceptSelectedFile(c, kind, path))
        return fail(s, kExitUsage, s.prompts.messages().empty() ? "the file cannot be flashed"
                                                                 : s.prompts.messages().back().text);
    c.g_strFlashFileName = path;
    c.gbln_FileSelected = true;
    const FirmwareFileHeader header = ReadFirmwareFileHeader(c, path);

    const auto started = std::chrono::steady_clock::now();
    Attempt a;
    if (kind == FlashKind::LP2)
        flashLp2(s, path, header, a);
    else if (kind == FlashKind::CGP)
        flashCompact(s, path, header, a);
    else
        flashWireless(s, path, header, a);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    FlashLogEntry entry;
    entry.source = "cli";
    entry.adapterKind = FlashKindText(kind);
    entry.adapterIdentity = a.identity;
    entry.hardwareBefore = a.hardware;
    entry.applicationBefore = a.application;
    entry.bootBefore = a.boot;
    entry.filePath = path;
    entry.fileSha256 = Sha256OfFile(path).value_or("");
    entry.fileFirmwareVersion = header.FirmwareVersion;
    entry.fileFirmwareType = header.FirmwareType;
    entry.fileReleaseDate = header.ReleaseDate;
    entry.fileHardwareVersions = header.HardwareVersions;
    entry.result = outcomeText(a.outcome);
    entry.messages = s.prompts.messages();
    entry.recordsSent = a.records;
    entry.seconds = seconds;
    entry.versionAfter = a.versionAfter;
    std::string logError;
    if (!AppendFlashLog(entry, FlashLogPath(), &logError)) {
        std::fprintf(stderr, "linkport: the flash log was not written: %s\n", logError.c_str());
        if (c.ports.log)
            c.ports.log->warning(LogSubsystem::Cli, "flash log not written: " + logError);
    }

    s.json.beginObject().member("result", entry.result).key("messages").beginArray();
    for (const FlashLogMessage& m : entry.messages)
        s.json.beginObject().member("text", m.text).member("title", m.title).endObject();
    s.json.endArray()
        .member("records", a.records)
        .member("seconds", seconds)
        .member("version_after", a.versionAfter)
        .endObject();
    s.text = std::string("Flash: ") + entry.result + "\n";
    if (!a.versionAfter.empty())
        s.text += "Application firmware version now " + a.versionAfter + "\n";
    return a.outcome == Outcome::Success ? kExitDone : kExitFailed;
}

} // namespace lp::cli

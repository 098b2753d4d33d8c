// linkport flash FILE: one flash attempt (checks, flash, read-back, log)
// through the same flash session as the flash screen.
#include <cstdio>
#include <cstring>
#include <cerrno>
#include <filesystem>
#include <memory>

#include "adapters/rp1210/modRP1210Interface.h"
#include "cli/progress_bar.h"
#include "cli/session.h"
#include "firmware/firmware_header.h"
#include "operations/flash_session.h"
#include "operations/preferences.h"
#include "operations/select_file.h"

namespace lp::cli {

namespace {

// The terminal's side of the flash: a progress bar on standard error, the
// closing dialog as a box, no timers (run() drives the flash itself).
class TerminalFlashView final : public FlashSessionView {
public:
    TerminalFlashView(Context& ctx, FlashKind kind) : ctx_(ctx), kind_(kind) {}
    void showProgressDialog() override { bar_.start(UpdatingFirmwareText(kind_)); }
    void unloadProgressDialog() override { bar_.finish(); }
    void setProgress(const FlashProgress& progress) override { bar_.set(progress); }
    int mousePointer() const override { return pointer_; }
    void setMousePointer(int pointer) override { pointer_ = pointer; }
    void setFlashTimerEnabled(FlashTimer, bool, int32_t) override {}
    void showAdapterValue(WirelessValue, const std::string&) override {}
    void setMainWindowEnabled(bool) override {}
    void showExitReturnDialog(const std::string& text) override
    {
        bar_.finish();
        ctx_.ports.prompts->msgBox(text, MsgBoxStyle::OkOnly, FlashProgramTitle(ctx_));
    }
    void returnToReadyState() override {}

private:
    Context& ctx_;
    FlashKind kind_;
    ProgressBar bar_;
    int pointer_ = 0;
};

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
        return fail(s, kExitUsage, "cannot read the file " + path + ": " + (ec ? ec.message() : "no such file"));
    // The boxes below say only that the file will not do; a terminal gets
    // the reason a person can act on.
    if (std::FILE* f = std::fopen(path.c_str(), "rb"))
        std::fclose(f);
    else
        return fail(s, kExitUsage, "cannot read the file " + path + ": " + std::strerror(errno));
    path = std::filesystem::absolute(path, ec).lexically_normal().string();
    if (!FileSuitsAdapterKind(kind, path))
        return fail(s, kExitUsage, FirmwareFileFilterText(kind) + " only: " + path);
    if (!AcceptSelectedFile(c, kind, path)) {
        // The box has said that the file will not do; this says why.
        const FirmwareFileHeader header = ReadFirmwareFileHeader(c, path);
        if (!IsFirmwareFileHeader(header))
            return fail(s, kExitUsage, "not a firmware file: " + path
                                           + " has no header with FirmwareVersion and FirmwareType in its first lines");
        return fail(s, kExitUsage, "the file's FirmwareType is \"" + header.FirmwareType + "\"; the "
                                       + DeviceKindName(FlashKindText(kind)) + " takes \"" + FirmwareTypeFor(kind)
                                       + "\"");
    }
    c.flashFileName = path;
    c.gbln_FileSelected = true;
    const FirmwareFileHeader header = ReadFirmwareFileHeader(c, path);

    std::unique_ptr<SerialPort> connection = c.ports.serialPorts->create();
    std::unique_ptr<TcpSocket> socket = c.ports.tcpSockets->create();
    TerminalFlashView view(c, kind);
    FlashAttempt a;
    {
        FlashSession session(c, view, connection.get(), socket.get(), "cli");
        a = session.run(session.readValues());
    }
    if (kind == FlashKind::LP2)
        RP1210Disconnect(c);
    const std::string result = FlashOutcomeText(a.outcome);

    s.json.beginObject().member("result", result).key("messages").beginArray();
    for (const FlashLogMessage& m : a.messages)
        s.json.beginObject().member("text", m.text).member("title", m.title).endObject();
    s.json.endArray()
        .member("records", a.recordsSent)
        .member("record_count", a.recordCount)
        .member("seconds", a.seconds)
        .member("version_after", a.versionAfter)
        .member("read_back", a.outcome == FlashOutcome::Success ? ReadBackVerdictText(a.readBack) : "");
    if (a.outcome != FlashOutcome::Success && !a.reason.empty())
        s.json.member("reason", a.reason);
    s.json.endObject();
    s.text = "Flash: " + result + "\n";
    if (a.outcome != FlashOutcome::Success && !a.reason.empty())
        s.text += "Reason: " + a.reason + "\n";
    if (!a.versionAfter.empty())
        s.text += "Application firmware version now " + a.versionAfter + "\n";
    if (a.readBack == ReadBackVerdict::Verified)
        s.text += "Verified: the adapter reads back the file's version " + header.FirmwareVersion + "\n";
    else if (a.readBack == ReadBackVerdict::Mismatch)
        s.text += "Warning: the adapter reads back " + a.versionAfter + ", not the file's version "
                  + header.FirmwareVersion + "\n";
    else if (a.outcome == FlashOutcome::Success)
        s.text += "Warning: the adapter did not answer after the flash: whether it runs the file's version "
                  + header.FirmwareVersion + " is not known\n";
    // Done only when the adapter is seen to run the file: an adapter that
    // does not answer afterwards is no more a success than one that runs
    // another version.
    const bool flashed = a.outcome == FlashOutcome::Success && a.readBack == ReadBackVerdict::Verified;
    return flashed ? kExitDone : kExitFailed;
}

} // namespace lp::cli

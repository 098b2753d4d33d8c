// The compact adapter's serial flash against an adapter that answers
// anything at any time: pieces of bytes arrive at chosen moments of the
// virtual clock, and any port call may be refused. Every run must end
// (success or one of the flash's own messages), leave the port closed and
// the record counter at zero.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>

#include "adapters/compact/compact_flash.h"
#include "fuzz_check.h"
#include "fuzz_flash_harness.h"
#include "adapters/compact/modCGP.h"

using namespace lp;

namespace {

struct Piece {
    int64_t atUs;
    Bytes bytes;
};

class TimedFuzzPort final : public SerialPort {
public:
    TimedFuzzPort(sim::VirtualClock& clock, std::deque<Piece> pieces, int refuseAt)
        : clock_(clock), pieces_(std::move(pieces)), refuseAt_(refuseAt)
    {
    }
    bool setCommPort(int16_t port) override { return allowed() && (port_ = port, true); }
    int16_t commPort() const override { return port_; }
    bool setSettings(const std::string& s) override { return allowed() && (settings_ = s, true); }
    std::string settings() const override { return settings_; }
    bool setRTSEnable(bool) override { return allowed(); }
    bool setDTREnable(bool) override { return allowed(); }
    bool setPortOpen(bool open) override
    {
        if (!allowed()) {
            closeRefused_ = closeRefused_ || !open;
            return false;
        }
        open_ = open;
        return true;
    }
    // A port that refused to close stays open whatever the flash does.
    bool closeRefused() const { return closeRefused_; }
    bool portOpen() const override { return open_; }
    bool output(const Bytes&) override { return allowed(); }
    int inBufferCount() override
    {
        arrive();
        return static_cast<int>(received_.size());
    }
    Bytes input() override
    {
        arrive();
        Bytes b;
        b.swap(received_);
        return b;
    }
    std::string lastError() const override { return "refused by the fuzzer"; }

private:
    bool allowed() { return ++calls_ != refuseAt_; }
    void arrive()
    {
        while (!pieces_.empty() && pieces_.front().atUs <= clock_.nowUs()) {
            received_.insert(received_.end(), pieces_.front().bytes.begin(), pieces_.front().bytes.end());
            pieces_.pop_front();
        }
    }

    sim::VirtualClock& clock_;
    std::deque<Piece> pieces_;
    Bytes received_;
    int refuseAt_;
    int calls_ = 0;
    int16_t port_ = 1;
    std::string settings_ = "9600,n,8,1";
    bool open_ = false;
    bool closeRefused_ = false;
};

struct QuietScreen final : CompactFlashScreen {
    void showProgressDialog() override {}
    void unloadProgressDialog() override {}
    void setProgress(const FlashProgress&) override {}
    void setProgramDeviceTimerEnabled(bool) override {}
    int mousePointer() const override { return pointer; }
    void setMousePointer(int p) override { pointer = p; }
    void showExitReturnDialog(const std::string&) override { ++exitReturns; }
    void returnToReadyState() override {}
    int pointer = 0;
    int exitReturns = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    // The input: the port call to refuse (0 none), then pieces, each as a
    // gap in milliseconds after the previous one, a length and its bytes.
    const int refuseAt = data[0] % 96;
    std::deque<Piece> pieces;
    int64_t atUs = 0;
    for (size_t i = 1; i + 1 < size && pieces.size() < 256;) {
        atUs += int64_t{data[i++]} * 20'000; // up to 5.1 s between pieces
        const size_t wanted = data[i++] % 32;
        const size_t n = std::min<size_t>(wanted, size - i);
        pieces.push_back({atUs, Bytes(data + i, data + i + n)});
        i += n;
    }

    fuzz::FlashRig rig;
    sim::VirtualClock& clock = rig.clock;
    Context& ctx = rig.ctx;

    TimedFuzzPort port(clock, std::move(pieces), refuseAt);
    QuietScreen screen;
    CompactFlashResult r = RunCompactFlash(ctx, port, screen, 3, fuzz::flashFile());

    const bool leftOpen = port.portOpen() && !port.closeRefused();
    rig.printLogIf(!r.finished || leftOpen);
    FUZZ_CHECK(r.finished);
    FUZZ_CHECK(!leftOpen);
    FUZZ_CHECK(r.errorCode >= 0 && r.errorCode <= 5);
    if (r.succeeded) {
        FUZZ_CHECK(r.errorCode == 0);
        FUZZ_CHECK(screen.exitReturns == 1);
    }
    for (const auto& box : rig.prompts.boxes()) {
        bool known = false;
        for (int16_t code = 1; code <= 5; ++code)
            known = known || box.prompt == CGPErrorText(code);
        FUZZ_CHECK(known);
    }
    return 0;
}

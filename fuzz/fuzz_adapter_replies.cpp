// Whatever the adapters send back: the second-generation adapter's version
// frame, the compact adapter's three identity queries (and the loader probe)
// over a serial port that hands out the input in arbitrary pieces and may
// refuse any call, and the wireless adapter's replies.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "core/context.h"
#include "fuzz_check.h"
#include "adapters/compact/modCGP.h"
#include "adapters/lp2/modLP2.h"
#include "adapters/wireless/modWLP.h"
#include "doubles/memory_logger.h"
#include "doubles/recording_screens.h"
#include "doubles/scripted_prompts.h"
#include "doubles/virtual_clock.h"
#include "core/string_table.h"

using namespace lp;

namespace {

class FuzzSerialPort final : public SerialPort {
public:
    FuzzSerialPort(std::deque<Bytes> pieces, int refuseAt, int countSkew)
        : pieces_(std::move(pieces)), refuseAt_(refuseAt), countSkew_(countSkew)
    {
    }
    bool setCommPort(int16_t port) override { return allowed() && (port_ = port, true); }
    int16_t commPort() const override { return port_; }
    bool setSettings(const std::string& s) override { return allowed() && (settings_ = s, true); }
    std::string settings() const override { return settings_; }
    bool setRTSEnable(bool) override { return allowed(); }
    bool setDTREnable(bool) override { return allowed(); }
    bool setPortOpen(bool open) override { return allowed() && (open_ = open, true); }
    bool portOpen() const override { return open_; }
    bool output(const Bytes&) override { return allowed(); }
    // The count may disagree with what input() then gives, as a count taken
    // a moment before more bytes arrive does.
    int inBufferCount() override
    {
        if (pieces_.empty())
            return 0;
        return static_cast<int>(pieces_.front().size()) + countSkew_;
    }
    Bytes input() override
    {
        if (pieces_.empty())
            return {};
        Bytes b = std::move(pieces_.front());
        pieces_.pop_front();
        return b;
    }
    std::string lastError() const override { return "refused by the fuzzer"; }

private:
    bool allowed() { return ++calls_ != refuseAt_; }

    std::deque<Bytes> pieces_;
    int refuseAt_;
    int countSkew_;
    int calls_ = 0;
    int16_t port_ = 1;
    std::string settings_ = "9600,n,8,1";
    bool open_ = false;
};

struct FuzzContext {
    sim::VirtualClock clock;
    sim::ScriptedPrompts prompts;
    sim::MemoryLogger log;
    sim::RecordingScreenCalls screens;
    Context ctx;
    FuzzContext()
    {
        ctx.ports.host = &clock;
        ctx.ports.prompts = &prompts;
        ctx.ports.log = &log;
        ctx.ports.screens = &screens;
    }
};

// The input: the port call to refuse (0 none), the count's skew, then the
// pieces that input() hands out, each as its length and its bytes.
std::deque<Bytes> piecesFrom(const uint8_t* data, size_t size)
{
    std::deque<Bytes> pieces;
    size_t at = 0;
    while (at < size && pieces.size() < 64) {
        const size_t wanted = data[at++] % 48;
        const size_t n = std::min<size_t>(wanted, size - at);
        pieces.emplace_back(data + at, data + at + n);
        at += n;
    }
    return pieces;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const int refuseAt = data[0] % 64;
    const int countSkew = static_cast<int>(data[1] % 7) - 3;
    const std::deque<Bytes> pieces = piecesFrom(data + 2, size - 2);
    const std::string notPresent = LoadResString(508);

    for (const Bytes& reply : pieces) {
        for (const std::string& text :
             {WLPParseDecimalVersion(reply), WLPParseHexVersion(reply), WLPParseIdentityText(reply)}) {
            if (reply.size() < 2)
                FUZZ_CHECK(text == notPresent);
        }
    }

    {
        FuzzContext f;
        FuzzSerialPort port(pieces, refuseAt, countSkew);
        std::optional<std::string> version = LP2QueryVersionFrame(f.ctx, port);
        if (refuseAt != 1)
            FUZZ_CHECK(version.has_value());
    }
    {
        FuzzContext f;
        FuzzSerialPort port(pieces, refuseAt, countSkew);
        std::string a, b, c;
        if (CGPReadIdentity(f.ctx, 3, port, a, b, c))
            FUZZ_CHECK(!port.portOpen());
    }
    {
        FuzzContext f;
        FuzzSerialPort port(pieces, refuseAt, countSkew);
        CGPProbePort(f.ctx, port, 3);
        FUZZ_CHECK(!port.portOpen() || refuseAt != 0);
    }
    return 0;
}

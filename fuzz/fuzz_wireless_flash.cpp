// The wireless flash against an adapter that answers anything at any time:
// after each connection, pieces of bytes arrive at chosen moments of the
// virtual clock and the adapter may close the link or refuse the next
// connection. Every run must end (success or one of the flash's own
// messages) within bounded virtual time, leave the socket closed and the
// record counter at zero.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "adapters/wireless/wireless_flash.h"
#include "fuzz_check.h"
#include "fuzz_flash_harness.h"
#include "models/tcp_device.h"
#include "doubles/virtual_tcp.h"

using namespace lp;

namespace {

// A piece of length kClosePiece closes the link instead of sending.
constexpr size_t kClosePiece = 31;

struct Piece {
    int64_t gapUs;
    Bytes bytes;
};

// Plays the pieces after every connection, from where the last one stopped,
// so a reconnect after the restart hears the rest of the input.
class ScriptedAdapter final : public sim::TcpDevice {
public:
    ScriptedAdapter(std::vector<Piece> pieces, int refuseFrom) : pieces_(std::move(pieces)), refuseFrom_(refuseFrom) {}
    bool acceptsConnections() const override { return refuseFrom_ == 0 || connections_ < refuseFrom_; }
    void connected(sim::TcpLink& link) override
    {
        ++connections_;
        link_ = &link;
        const int generation = ++generation_;
        int64_t atUs = link.scheduler().nowUs();
        for (; next_ < pieces_.size(); ++next_) {
            const Piece& p = pieces_[next_];
            atUs += p.gapUs;
            const bool close = p.bytes.size() == kClosePiece;
            link.scheduler().at(atUs, [this, generation, close, bytes = p.bytes] {
                if (generation != generation_ || !link_)
                    return;
                if (close) {
                    link_->close();
                    link_ = nullptr;
                } else {
                    link_->send(bytes);
                }
            });
            if (close) {
                ++next_;
                break;
            }
        }
    }
    void received(const Bytes&) override {}
    void disconnected() override
    {
        link_ = nullptr;
        ++generation_;
    }

private:
    std::vector<Piece> pieces_;
    size_t next_ = 0;
    int refuseFrom_;
    int connections_ = 0;
    int generation_ = 0;
    sim::TcpLink* link_ = nullptr;
};

struct QuietScreen final : WirelessFlashScreen {
    void showProgressDialog() override {}
    void unloadProgressDialog() override {}
    void setProgress(const FlashProgress&) override {}
    void setHardFlashTimerEnabled(bool) override {}
    void showAdapterValue(WirelessValue, const std::string&) override {}
    void setMousePointer(int) override {}
    void endReconnectWait() override {}
    void showExitReturnDialog(const std::string& text) override { exits.push_back(text); }
    void returnToReadyState() override {}
    std::vector<std::string> exits;
};

bool knownText(const std::string& text)
{
    return text == "Error while programming device.  Please retry!" ||
           text == "An error occured while flashing the Wireless Linkport.\r\nPlease power cycle the adapter manually." ||
           text.rfind("Error# ", 0) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    // The input: from which connection on the adapter refuses (0 never),
    // then pieces, each a gap in units of 20 ms, a length and its bytes.
    const int refuseFrom = data[0] % 4;
    std::vector<Piece> pieces;
    for (size_t i = 1; i + 1 < size && pieces.size() < 256;) {
        const int64_t gapUs = int64_t{data[i]} * 20'000;
        const size_t wanted = data[i + 1] % 32;
        i += 2;
        const size_t n = wanted == kClosePiece ? kClosePiece : std::min<size_t>(wanted, size - i);
        const size_t taken = std::min(n, size - i);
        Bytes bytes(data + i, data + i + taken);
        bytes.resize(n); // a close piece keeps its marker length
        pieces.push_back({gapUs, std::move(bytes)});
        i += taken;
    }

    fuzz::FlashRig rig;
    sim::VirtualClock& clock = rig.clock;
    Context& ctx = rig.ctx;

    ScriptedAdapter adapter(std::move(pieces), refuseFrom);
    sim::VirtualTcpNetwork network(clock);
    network.addDevice("127.0.0.2", adapter);
    std::unique_ptr<TcpSocket> socket = network.create();
    QuietScreen screen;
    const WirelessFlashResult r = RunWirelessFlash(ctx, *socket, screen, "127.0.0.2", fuzz::flashFile());

    rig.printLogIf(!r.finished() || socket->state() != 0);
    FUZZ_CHECK(r.finished());
    FUZZ_CHECK(socket->state() == 0);
    // 256 pieces at most 5.1 s apart, three 3 s silences per step and the
    // reconnect window bound a run well inside this.
    FUZZ_CHECK(clock.nowMs() < 30 * 60 * 1000.0);
    const size_t endings = rig.prompts.boxes().size() + screen.exits.size();
    FUZZ_CHECK(endings == 1);
    for (const auto& box : rig.prompts.boxes())
        FUZZ_CHECK(knownText(box.prompt));
    if (r.succeeded())
        FUZZ_CHECK(screen.exits.size() == 1 && rig.prompts.boxes().empty());
    else
        FUZZ_CHECK(screen.exits.empty());
    return 0;
}

#include "cli/progress_bar.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "cli/terminal_prompts.h"

namespace lp::cli {

namespace {
constexpr int64_t kBarWidth = 40;
// A 1 MiB image answers 65,536 records in under a minute: the count is
// drawn at most this often, the bar's steps and the end always.
constexpr int64_t kRedrawMs = 100;

int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

ProgressBar::ProgressBar() : enabled_(stderrIsTerminal()) {}

void ProgressBar::start(const std::string& caption)
{
    if (shown_)
        return; // already up: the flash shows it once more when the transfer is prepared
    caption_ = caption;
    shown_ = true;
    last_.clear();
    if (enabled_)
        std::fprintf(stderr, "%s\n", caption_.c_str());
    draw();
}

void ProgressBar::set(const FlashProgress& progress)
{
    progress_ = progress;
    draw();
}

std::string ProgressBar::line(int64_t acknowledged, int64_t total)
{
    if (total <= 0)
        return {};
    const int64_t done = std::clamp<int64_t>(acknowledged, 0, total);
    const auto filled = static_cast<size_t>(done * kBarWidth / total);
    std::string text = "[" + std::string(filled, '#') + std::string(static_cast<size_t>(kBarWidth) - filled, ' ') + "] ";
    // A file sends two records at least: one step is the driver's flash,
    // which reports only its end.
    if (total == 1)
        return text + (done ? "the driver reports the flash done" : "the adapter's driver is flashing");
    return text + std::to_string(done) + "/" + std::to_string(total) + " records acknowledged";
}

void ProgressBar::draw()
{
    if (!enabled_ || !shown_)
        return;
    const std::string text = line(progress_.acknowledged, progress_.total);
    if (text.empty() || text == last_)
        return;
    const bool barMoved = text.compare(0, static_cast<size_t>(kBarWidth) + 2, last_, 0,
                                       static_cast<size_t>(kBarWidth) + 2) != 0;
    const int64_t now = nowMs();
    if (!barMoved && !progress_.complete() && now - lastDrawMs_ < kRedrawMs)
        return;
    last_ = text;
    lastDrawMs_ = now;
    std::fprintf(stderr, "\r%s", text.c_str());
    std::fflush(stderr);
}

void ProgressBar::finish()
{
    if (enabled_ && shown_ && !last_.empty())
        std::fputs("\n", stderr);
    shown_ = false;
    last_.clear();
}

} // namespace lp::cli

#include "cli/progress_bar.h"

#include <algorithm>
#include <cstdio>

#include "cli/terminal_prompts.h"

namespace lp::cli {

namespace {
constexpr int kBarWidth = 40;
}

ProgressBar::ProgressBar() : enabled_(stderrIsTerminal()) {}

void ProgressBar::start(const std::string& caption)
{
    caption_ = caption;
    shown_ = true;
    lastWidth_ = -1;
    if (enabled_)
        std::fprintf(stderr, "%s\n", caption_.c_str());
    draw();
}

void ProgressBar::setMaximum(int32_t maximum)
{
    maximum_ = std::max<int32_t>(maximum, 0);
    draw();
}

void ProgressBar::setValue(int32_t value)
{
    value_ = std::max<int32_t>(value, 0);
    draw();
}

void ProgressBar::draw()
{
    if (!enabled_ || !shown_ || maximum_ <= 0)
        return;
    const int filled = static_cast<int>(static_cast<int64_t>(std::min(value_, maximum_)) * kBarWidth / maximum_);
    if (filled == lastWidth_)
        return;
    lastWidth_ = filled;
    std::fprintf(stderr, "\r[%s%s] %d/%d", std::string(static_cast<size_t>(filled), '#').c_str(),
                 std::string(static_cast<size_t>(kBarWidth - filled), ' ').c_str(), value_, maximum_);
    std::fflush(stderr);
}

void ProgressBar::finish()
{
    if (enabled_ && shown_ && lastWidth_ >= 0)
        std::fputs("\n", stderr);
    shown_ = false;
    lastWidth_ = -1;
}

} // namespace lp::cli

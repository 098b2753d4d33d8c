#pragma once
// The download progress as a bar on standard error, drawn only when that is
// a terminal (a log or a pipe gets nothing).
#include <cstdint>
#include <string>

namespace lp::cli {

class ProgressBar {
public:
    ProgressBar();
    ~ProgressBar() { finish(); }
    void start(const std::string& caption);
    void setMaximum(int32_t maximum);
    void setValue(int32_t value);
    void finish();

private:
    void draw();
    bool enabled_;
    bool shown_ = false;
    std::string caption_;
    int32_t maximum_ = 0, value_ = 0;
    int lastWidth_ = -1;
};

} // namespace lp::cli

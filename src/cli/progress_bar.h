#pragma once
// The download progress as a bar on standard error, drawn only when that is
// a terminal (a log or a pipe gets nothing): records the adapter has
// acknowledged out of those the file sends.
#include <cstdint>
#include <string>

#include "ports/flash_progress_screen.h"

namespace lp::cli {

class ProgressBar {
public:
    ProgressBar();
    ~ProgressBar() { finish(); }
    // The caption; a second start while the bar is up changes nothing.
    void start(const std::string& caption);
    void set(const FlashProgress& progress);
    void finish();

    // The line as it is drawn for `acknowledged` of `total` records ("" for
    // no total yet); the driver's flash is one step with nothing to count.
    static std::string line(int64_t acknowledged, int64_t total);

private:
    void draw();
    bool enabled_;
    bool shown_ = false;
    std::string caption_;
    FlashProgress progress_;
    std::string last_;
    int64_t lastDrawMs_ = 0;
};

} // namespace lp::cli

#pragma once
// A logger for tests: keeps every line in memory.
#include <string>
#include <vector>

#include "ports/logger.h"

namespace lp::sim {

struct LogLine {
    LogSubsystem subsystem;
    LogLevel level;
    std::string text;
};

class MemoryLogger final : public Logger {
public:
    void write(LogSubsystem subsystem, LogLevel level, std::string_view text) override
    {
        lines.push_back({subsystem, level, std::string(text)});
    }

    // True when some line of the subsystem contains `part`.
    bool contains(LogSubsystem subsystem, std::string_view part) const;
    // True when some line of any subsystem contains `part`.
    bool contains(std::string_view part) const;

    std::vector<LogLine> lines;
};

} // namespace lp::sim

#pragma once
// The Logger port: the diagnostic trace that a technician can send to support.
// Procedures name their subsystem; the real logger maps each subsystem onto a
// Qt logging category and writes a log file in the user's data folder.
#include <string_view>

namespace lp {

enum class LogSubsystem { Platform, Shell, Settings, Links, Firmware, Flash, Info, AdapterTest, Cli, Sim };

enum class LogLevel { Debug, Info, Warning };

class Logger {
public:
    virtual ~Logger() = default;
    virtual void write(LogSubsystem subsystem, LogLevel level, std::string_view text) = 0;

    void debug(LogSubsystem s, std::string_view t) { write(s, LogLevel::Debug, t); }
    void info(LogSubsystem s, std::string_view t) { write(s, LogLevel::Info, t); }
    void warning(LogSubsystem s, std::string_view t) { write(s, LogLevel::Warning, t); }
};

// Short, stable names ("links", "flash", ...) used as category suffixes.
const char* logSubsystemName(LogSubsystem subsystem);

// A logger that drops everything, for tools and tests that do not care.
class NullLogger final : public Logger {
public:
    void write(LogSubsystem, LogLevel, std::string_view) override {}
};

} // namespace lp

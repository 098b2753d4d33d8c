#pragma once
// The Logger on Qt's logging: one category per subsystem ("linkport.links",
// "linkport.flash", ...), so that QT_LOGGING_RULES can quiet or raise any of
// them, and a log file in the user's data folder that a technician can send
// to support.
#include <QLoggingCategory>

#include <string>

#include "ports/logger.h"

namespace lp {

class QtLogger final : public Logger {
public:
    void write(LogSubsystem subsystem, LogLevel level, std::string_view text) override;

    static const QLoggingCategory& category(LogSubsystem subsystem);
};

// Sends every Qt log line (ours and Qt's own) to <userDataFolder()>/linkport.log
// as "time level category: text", flushed line by line; the file moves to
// linkport.log.1 once it passes about 2 MB. Warnings and worse also go to
// stderr. When the file cannot be written, lines go to stderr only; the
// program carries on either way. Returns the file in use (empty when none).
std::string installLogFile();

// The same with an explicit file (tests, the command line's --log option).
std::string installLogFile(const std::string& path);

// Puts back the message handler that was there before installLogFile.
void uninstallLogFile();

// Size above which the log file is rotated.
constexpr qint64 kLogFileRotateBytes = 2 * 1024 * 1024;

} // namespace lp

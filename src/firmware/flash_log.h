#pragma once
// The flash log: one JSON line per flash attempt, from the screen or the
// command line, in <userDataFolder()>/flash-log.jsonl, so that support can
// tell which file went into which adapter, when, and how it ended. Writing
// it never fails a flash: a log that cannot be written is only reported
// back to the caller.
#include <cstdint>
#include <string>
#include <vector>


namespace lp {

inline constexpr const char* kFlashLogFileName = "flash-log.jsonl";

struct FlashLogMessage {
    std::string text;
    std::string title;
};

struct FlashLogEntry {
    std::string time;         // UTC, "2026-11-21T11:54:55Z"; now when empty
    std::string source;       // "gui" or "cli"
    std::string adapterKind;  // "LPII SIP", "B&B SIP", "WLP"
    std::string adapterIdentity; // serial number or network address
    std::string hardwareBefore;
    std::string applicationBefore;
    std::string bootBefore;
    std::string filePath;
    std::string fileSha256;   // empty when the file could not be read
    // The file's header.
    std::string fileFirmwareVersion;
    std::string fileFirmwareType;
    std::string fileReleaseDate;
    std::string fileHardwareVersions;
    std::string result;       // "success", "failure", "cancelled"
    std::vector<FlashLogMessage> messages;
    int64_t recordsSent = 0;
    double seconds = 0;
    std::string versionAfter;
    std::string readBack;     // "verified", "mismatch", "not read"; empty when no flash ran
};

// $LINKPORT_FLASH_LOG when set, else <userDataFolder()>/flash-log.jsonl;
// empty when there is no data folder.
std::string FlashLogPath();
// The current time as the log writes it.
std::string FlashLogTimeNow();
// The entry as one line of JSON (no line end).
std::string FlashLogLine(const FlashLogEntry& entry);
// Appends the line (one write, so concurrent writers do not interleave).
// False when it could not; `error` says why.
bool AppendFlashLog(const FlashLogEntry& entry, const std::string& path, std::string* error = nullptr);
// The whole lines of the log that look like entries, oldest first; none
// when the file is missing. Files over 64 MiB are not read.
std::vector<std::string> ReadFlashLog(const std::string& path);

} // namespace lp

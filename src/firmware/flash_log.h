#pragma once
// The flash log: JSON lines in <userDataFolder()>/flash-log.jsonl, so that
// support can tell which file went into which adapter, when, and how it
// ended. An attempt writes two lines with the same "attempt" id: one when it
// starts (result "started") and one when it ends; an attempt that never
// ended (the program was killed, the PC lost power) keeps only the first,
// which the reader shows as "interrupted". Writing never fails a flash: a
// log that cannot be written is only reported back to the caller.
//
//   FlashLogEntry e{...what is known before the flash...};
//   BeginFlashLogAttempt(e, path);     // sets e.attempt and e.time
//   ... flash, then fill in result, messages, records ...
//   EndFlashLogAttempt(e, path);
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>


namespace lp {

inline constexpr const char* kFlashLogFileName = "flash-log.jsonl";

struct FlashLogMessage {
    std::string text;
    std::string title;
};

struct FlashLogEntry {
    std::string attempt;      // the id shared by an attempt's lines
    std::string time;         // UTC, "2026-11-21T11:54:55Z", when it started; now when empty
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
    std::string result;       // "started", then "success", "failure" or "cancelled"
    std::vector<FlashLogMessage> messages;
    std::string reason;       // why it failed, in the procedure's words; written when set
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
inline constexpr const char* kFlashLogStarted = "started";
inline constexpr const char* kFlashLogInterrupted = "interrupted";

// Appends the line. One write, so concurrent writers do not interleave; a
// line that a full disk cuts short is taken back, and a fragment that an
// earlier writer left is ended first, so every entry starts a line of its
// own. False when it could not; `error` says why.
bool AppendFlashLog(const FlashLogEntry& entry, const std::string& path, std::string* error = nullptr);

// The attempt's first line: gives `entry` a new attempt id (and the time,
// when empty) and writes it with the result "started".
bool BeginFlashLogAttempt(FlashLogEntry& entry, const std::string& path, std::string* error = nullptr);
// The attempt's last line: the entry as it is now, under its attempt id
// (a new id when it has none, so an attempt never begun still gets a line).
bool EndFlashLogAttempt(FlashLogEntry& entry, const std::string& path, std::string* error = nullptr);

struct FlashLogContents {
    // One entry per attempt, oldest line first: an ended attempt by its last
    // line, one that never ended by its first with the result "interrupted".
    std::vector<std::string> entries;
    int64_t damagedLines = 0; // lines that are not one whole JSON object
    int64_t interrupted = 0;
};

// The log's text, read as above.
FlashLogContents ParseFlashLog(std::string_view text);
// The log file; nothing when it is missing. Files over 64 MiB are not read.
FlashLogContents ReadFlashLog(const std::string& path);

} // namespace lp

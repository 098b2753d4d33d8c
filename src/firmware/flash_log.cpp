#include "firmware/flash_log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>

#include "core/json_check.h"
#include "core/json_writer.h"
#include "platform/user_folders.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace lp {

std::string FlashLogPath()
{
    // Another file for this run (tests keep theirs out of the user's).
    if (const char* path = std::getenv("LINKPORT_FLASH_LOG"); path && *path)
        return path;
    const std::string folder = userDataFolder();
    if (folder.empty())
        return {};
    return (std::filesystem::path(folder) / kFlashLogFileName).string();
}

std::string FlashLogTimeNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
#ifdef _WIN32
    gmtime_s(&utc, &now);
#else
    gmtime_r(&now, &utc);
#endif
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return buffer;
}

std::string FlashLogLine(const FlashLogEntry& e)
{
    JsonWriter w;
    w.beginObject();
    if (!e.attempt.empty())
        w.member("attempt", e.attempt);
    w.member("time", e.time.empty() ? FlashLogTimeNow() : e.time)
        .member("source", e.source)
        .member("adapter_kind", e.adapterKind)
        .member("adapter_identity", e.adapterIdentity);
    w.key("versions_before")
        .beginObject()
        .member("hardware", e.hardwareBefore)
        .member("application", e.applicationBefore)
        .member("boot", e.bootBefore)
        .endObject();
    w.member("file", e.filePath).member("sha256", e.fileSha256);
    w.key("header")
        .beginObject()
        .member("FirmwareVersion", e.fileFirmwareVersion)
        .member("FirmwareType", e.fileFirmwareType)
        .member("ReleaseDate", e.fileReleaseDate)
        .member("HardwareVersions", e.fileHardwareVersions)
        .endObject();
    w.member("result", e.result);
    w.key("messages").beginArray();
    for (const FlashLogMessage& m : e.messages)
        w.beginObject().member("text", m.text).member("title", m.title).endObject();
    w.endArray();
    if (!e.reason.empty())
        w.member("reason", e.reason);
    w.member("records", e.recordsSent).member("seconds", e.seconds).member("version_after", e.versionAfter);
    if (!e.readBack.empty())
        w.member("read_back", e.readBack);
    w.endObject();
    return w.text();
}

namespace {

std::string newAttemptId()
{
    uint64_t bits = static_cast<uint64_t>(std::time(nullptr));
    try {
        std::random_device random;
        bits = (bits << 32) ^ (uint64_t(random()) << 32) ^ random();
    } catch (...) {
        // No random source: the clock and a counter still tell this run's
        // attempts apart.
    }
    static std::atomic<uint64_t> counter{0};
    bits ^= ++counter * 0x9E3779B97F4A7C15ull;
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(bits));
    return text;
}

#ifdef _WIN32
int64_t seekEnd(int fd) { return _lseeki64(fd, 0, SEEK_END); }
int64_t position(int fd) { return _lseeki64(fd, 0, SEEK_CUR); }
bool lastByteIs(int fd, int64_t size, char c)
{
    char last = 0;
    return _lseeki64(fd, size - 1, SEEK_SET) == size - 1 && _read(fd, &last, 1) == 1 && last == c;
}
int64_t writeAll(int fd, const std::string& s) { return _write(fd, s.data(), static_cast<unsigned>(s.size())); }
bool cutTo(int fd, int64_t size) { return _chsize_s(fd, size) == 0; }
int closeFile(int fd) { return _close(fd); }
#else
int64_t seekEnd(int fd) { return ::lseek(fd, 0, SEEK_END); }
int64_t position(int fd) { return ::lseek(fd, 0, SEEK_CUR); }
bool lastByteIs(int fd, int64_t size, char c)
{
    char last = 0;
    return ::pread(fd, &last, 1, size - 1) == 1 && last == c;
}
int64_t writeAll(int fd, const std::string& s) { return ::write(fd, s.data(), s.size()); }
bool cutTo(int fd, int64_t size) { return ::ftruncate(fd, size) == 0; }
int closeFile(int fd) { return ::close(fd); }
#endif

} // namespace

bool AppendFlashLog(const FlashLogEntry& entry, const std::string& path, std::string* error)
{
    const auto fail = [&](const std::string& why) {
        if (error)
            *error = why;
        return false;
    };
    if (path.empty())
        return fail("no folder for the flash log");
    std::error_code ec;
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty())
        std::filesystem::create_directories(parent, ec);
    std::string line = FlashLogLine(entry) + "\n";
#ifdef _WIN32
    const int fd = _open(path.c_str(), _O_RDWR | _O_APPEND | _O_CREAT | _O_BINARY, _S_IREAD | _S_IWRITE);
#else
    const int fd = ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
#endif
    if (fd < 0)
        return fail(path + ": " + std::strerror(errno));
    // A line that an earlier writer could not finish is ended here, so it
    // stays one damaged line instead of spoiling this entry too.
    const int64_t size = seekEnd(fd);
    if (size > 0 && !lastByteIs(fd, size, '\n'))
        line.insert(line.begin(), '\n');
    const int64_t written = writeAll(fd, line);
    const int writeErrno = errno;
    bool whole = written == static_cast<int64_t>(line.size());
    if (!whole && written > 0) {
        // Cut short (a full disk): take the piece back, unless another
        // writer has appended behind it meanwhile.
        const int64_t end = position(fd);
        if (end >= written && seekEnd(fd) == end)
            cutTo(fd, end - written);
    }
    if (closeFile(fd) != 0 && whole)
        return fail(path + ": " + std::strerror(errno));
    if (!whole)
        return fail(path + ": the entry could not be written whole"
                    + (written < 0 ? std::string(" (") + std::strerror(writeErrno) + ")" : std::string()));
    return true;
}

bool BeginFlashLogAttempt(FlashLogEntry& entry, const std::string& path, std::string* error)
{
    entry.attempt = newAttemptId();
    if (entry.time.empty())
        entry.time = FlashLogTimeNow();
    FlashLogEntry first = entry;
    first.result = kFlashLogStarted;
    return AppendFlashLog(first, path, error);
}

bool EndFlashLogAttempt(FlashLogEntry& entry, const std::string& path, std::string* error)
{
    if (entry.attempt.empty())
        entry.attempt = newAttemptId();
    return AppendFlashLog(entry, path, error);
}

FlashLogContents ParseFlashLog(std::string_view text)
{
    struct Line {
        std::string_view text;
        std::string attempt; // the id as written, quotes included
        bool started = false;
        size_t resultBegin = 0, resultEnd = 0;
    };
    std::vector<Line> lines;
    FlashLogContents contents;
    std::set<std::string> ended;
    const std::string startedValue = std::string("\"") + kFlashLogStarted + "\"";
    while (!text.empty()) {
        const size_t eol = text.find('\n');
        std::string_view line = text.substr(0, eol);
        text.remove_prefix(eol == std::string_view::npos ? text.size() : eol + 1);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (line.empty())
            continue;
        std::vector<JsonMemberSpan> members;
        if (!CheckJsonObject(line, &members)) {
            ++contents.damagedLines;
            continue;
        }
        Line l{line};
        for (const JsonMemberSpan& m : members) {
            if (m.key == "attempt")
                l.attempt = std::string(line.substr(m.begin, m.end - m.begin));
            else if (m.key == "result") {
                l.started = line.substr(m.begin, m.end - m.begin) == startedValue;
                l.resultBegin = m.begin;
                l.resultEnd = m.end;
            }
        }
        if (!l.attempt.empty() && !l.started)
            ended.insert(l.attempt);
        lines.push_back(std::move(l));
    }
    for (const Line& l : lines) {
        if (!l.started) {
            contents.entries.emplace_back(l.text);
            continue;
        }
        if (!l.attempt.empty() && ended.count(l.attempt))
            continue; // its last line stands for it
        std::string entry(l.text);
        entry.replace(l.resultBegin, l.resultEnd - l.resultBegin, std::string("\"") + kFlashLogInterrupted + "\"");
        contents.entries.push_back(std::move(entry));
        ++contents.interrupted;
    }
    return contents;
}

FlashLogContents ReadFlashLog(const std::string& path)
{
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec || size > 64u * 1024 * 1024)
        return {};
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return ParseFlashLog(text);
}

} // namespace lp

#include "firmware/flash_log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "core/json_writer.h"
#include "platform/user_folders.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
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
    w.beginObject()
        .member("time", e.time.empty() ? FlashLogTimeNow() : e.time)
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
    w.member("records", e.recordsSent).member("seconds", e.seconds).member("version_after", e.versionAfter);
    if (!e.readBack.empty())
        w.member("read_back", e.readBack);
    w.endObject();
    return w.text();
}

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
    const std::string line = FlashLogLine(entry) + "\n";
#ifdef _WIN32
    const int fd = _open(path.c_str(), _O_WRONLY | _O_APPEND | _O_CREAT | _O_BINARY, 0644);
#else
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
#endif
    if (fd < 0)
        return fail(path + ": " + std::strerror(errno));
#ifdef _WIN32
    const auto written = _write(fd, line.data(), static_cast<unsigned>(line.size()));
    _close(fd);
#else
    const ssize_t written = ::write(fd, line.data(), line.size());
    ::close(fd);
#endif
    if (written < 0 || static_cast<size_t>(written) != line.size())
        return fail(path + ": the entry could not be written whole");
    return true;
}

std::vector<std::string> ReadFlashLog(const std::string& path)
{
    std::vector<std::string> lines;
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec || size > 64u * 1024 * 1024)
        return lines;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        // A line cut short by a full disk or a crash is left out.
        if (line.size() >= 2 && line.front() == '{' && line.back() == '}')
            lines.push_back(line);
    }
    return lines;
}

} // namespace lp

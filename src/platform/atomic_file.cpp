#include "platform/atomic_file.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>
#include <thread>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace lp {

namespace fs = std::filesystem;

namespace {

void setError(std::string* error, std::string text)
{
    if (error)
        *error = std::move(text);
}

// Only the POSIX writer names the folder it syncs and reports on.
[[maybe_unused]] std::string folderOf(const std::string& path)
{
    fs::path parent = fs::path(path).parent_path();
    return parent.empty() ? std::string(".") : parent.string();
}

std::string randomSuffix()
{
    static const char digits[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    thread_local std::mt19937_64 engine{std::random_device{}() ^
                                        static_cast<uint64_t>(std::hash<std::thread::id>{}(
                                            std::this_thread::get_id()))};
    std::string s(8, 'x');
    for (char& c : s)
        c = digits[engine() % (sizeof digits - 1)];
    return s;
}

std::string temporaryNameFor(const std::string& target)
{
    fs::path p(target);
    return (p.parent_path() / ("." + p.filename().string() + ".tmp-" + randomSuffix())).string();
}

#ifdef _WIN32

std::wstring wide(const std::string& utf8)
{
    if (utf8.empty())
        return {};
    int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring w(static_cast<size_t>(n > 0 ? n : 0), L'\0');
    if (n > 0)
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), w.data(), n);
    return w;
}

std::string lastErrorText(const std::string& what)
{
    DWORD code = GetLastError();
    char buffer[512] = {};
    DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                             buffer, sizeof buffer, nullptr);
    while (n > 0 && (buffer[n - 1] == '\r' || buffer[n - 1] == '\n' || buffer[n - 1] == ' '))
        buffer[--n] = '\0';
    return what + ": " + (n ? std::string(buffer) : "error " + std::to_string(code));
}

#else

std::string errnoText(const std::string& what, int err)
{
    return what + ": " + std::strerror(err);
}

bool writeAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

void syncFolder(const std::string& folder)
{
    // Makes the rename itself durable. A file system that cannot sync a
    // folder has still done the rename, so a failure here is not reported.
    int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

#endif

} // namespace

std::string resolveForReplace(const std::string& path)
{
#ifdef _WIN32
    return path;
#else
    fs::path p(path);
    std::error_code ec;
    // Bounded like the kernel's own limit, so a link loop cannot spin.
    for (int hops = 0; hops < 40; ++hops) {
        if (!fs::is_symlink(fs::symlink_status(p, ec)))
            break;
        fs::path target = fs::read_symlink(p, ec);
        if (ec)
            break;
        p = target.is_absolute() ? target : p.parent_path() / target;
    }
    return p.string();
#endif
}

// The new contents in a fresh file beside `target`, flushed to the disk.
#ifdef _WIN32
static bool writeTemporaryFor(const std::string& target, std::string_view contents, std::string& tempPath,
                              std::string* error)
{
    DWORD attributes = GetFileAttributesW(wide(target).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        setError(error, target + ": is a folder");
        return false;
    }
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)) {
        setError(error, target + " is read-only");
        return false;
    }
    HANDLE h = INVALID_HANDLE_VALUE;
    std::string temp;
    for (int attempt = 0; attempt < 100 && h == INVALID_HANDLE_VALUE; ++attempt) {
        temp = temporaryNameFor(target);
        h = CreateFileW(wide(temp).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                        nullptr);
        if (h == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS)
            break;
    }
    if (h == INVALID_HANDLE_VALUE) {
        setError(error, lastErrorText("cannot create a temporary file beside " + target));
        return false;
    }
    const char* data = contents.data();
    size_t left = contents.size();
    bool ok = true;
    while (ok && left > 0) {
        DWORD chunk = static_cast<DWORD>(left > (1u << 30) ? (1u << 30) : left);
        DWORD written = 0;
        ok = WriteFile(h, data, chunk, &written, nullptr) && written > 0;
        data += written;
        left -= written;
    }
    if (ok)
        ok = FlushFileBuffers(h) != 0;
    std::string reason = ok ? std::string() : lastErrorText("cannot write " + temp);
    if (!CloseHandle(h) && ok) {
        ok = false;
        reason = lastErrorText("cannot close " + temp);
    }
    if (!ok) {
        DeleteFileW(wide(temp).c_str());
        setError(error, reason);
        return false;
    }
    tempPath = temp;
    return true;
}
#else
static bool writeTemporaryFor(const std::string& target, std::string_view contents, std::string& tempPath,
                              std::string* error)
{
    struct stat old {};
    bool keepMode = false;
    if (::stat(target.c_str(), &old) == 0) {
        if (S_ISDIR(old.st_mode)) {
            setError(error, target + ": is a folder");
            return false;
        }
        keepMode = S_ISREG(old.st_mode);
        // A rename would replace a file its owner made read-only, as long as
        // the folder is ours; Windows refuses, and so do we. The mode bits
        // decide even for root, as the read-only attribute does on Windows.
        if (keepMode && ((old.st_mode & 0222) == 0 || ::access(target.c_str(), W_OK) != 0)) {
            setError(error, target + " is read-only");
            return false;
        }
    }
    int fd = -1;
    std::string temp;
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        temp = temporaryNameFor(target);
        fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            break;
    }
    if (fd < 0) {
        setError(error, errnoText("cannot create a temporary file in " + folderOf(target), errno));
        return false;
    }
    if (keepMode) {
        // Owner first: changing it may clear set-id bits that fchmod then restores.
        if (::fchown(fd, old.st_uid, old.st_gid) != 0) {
            // Only a privileged writer may give the file away; keeping our own
            // ownership is the best an ordinary user can do.
        }
        ::fchmod(fd, old.st_mode & 07777);
    }
    int err = 0;
    std::string what;
    if (!writeAll(fd, contents.data(), contents.size())) {
        err = errno;
        what = "cannot write " + temp;
    } else if (::fsync(fd) != 0) {
        err = errno;
        what = "cannot sync " + temp;
    }
    if (::close(fd) != 0 && err == 0) {
        err = errno;
        what = "cannot close " + temp;
    }
    if (err != 0) {
        ::unlink(temp.c_str());
        setError(error, errnoText(what, err));
        return false;
    }
    tempPath = temp;
    return true;
}
#endif

bool writeTemporaryBeside(const std::string& path, std::string_view contents, std::string& tempPath,
                          std::string* error)
{
    tempPath.clear();
    const std::string target = resolveForReplace(path);
    return writeTemporaryFor(target, contents, tempPath, error);
}

bool commitTemporary(const std::string& tempPath, const std::string& path, std::string* error)
{
    const std::string target = resolveForReplace(path);
#ifdef _WIN32
    if (!MoveFileExW(wide(tempPath).c_str(), wide(target).c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        setError(error, lastErrorText("cannot replace " + target));
        DeleteFileW(wide(tempPath).c_str());
        return false;
    }
    return true;
#else
    if (::rename(tempPath.c_str(), target.c_str()) != 0) {
        int err = errno;
        ::unlink(tempPath.c_str());
        setError(error, errnoText("cannot replace " + target, err));
        return false;
    }
    syncFolder(folderOf(target));
    return true;
#endif
}

bool replaceFileAtomically(const std::string& path, std::string_view contents, std::string* error)
{
    std::string temp;
    if (!writeTemporaryBeside(path, contents, temp, error))
        return false;
    return commitTemporary(temp, path, error);
}

// A regular file whole, up to maxBytes; anything else is refused.
#ifdef _WIN32
static bool readRegularFile(const std::string& path, std::string& out, size_t maxBytes, std::string* error)
{
    HANDLE h = CreateFileW(wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                           nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        setError(error, lastErrorText("cannot open " + path));
        return false;
    }
    LARGE_INTEGER size{};
    if (GetFileType(h) != FILE_TYPE_DISK || !GetFileSizeEx(h, &size)) {
        CloseHandle(h);
        setError(error, path + ": not a regular file");
        return false;
    }
    if (static_cast<unsigned long long>(size.QuadPart) > maxBytes) {
        CloseHandle(h);
        setError(error, path + ": larger than " + std::to_string(maxBytes) + " bytes");
        return false;
    }
    std::string data(static_cast<size_t>(size.QuadPart), '\0');
    size_t got = 0;
    bool ok = true;
    while (got < data.size()) {
        DWORD n = 0;
        DWORD want = static_cast<DWORD>(std::min<size_t>(data.size() - got, 1u << 30));
        if (!ReadFile(h, data.data() + got, want, &n, nullptr)) {
            ok = false;
            break;
        }
        if (n == 0)
            break; // shrank while we read: keep what is there
        got += n;
    }
    std::string reason = ok ? std::string() : lastErrorText("cannot read " + path);
    CloseHandle(h);
    if (!ok) {
        setError(error, reason);
        return false;
    }
    data.resize(got);
    out = std::move(data);
    return true;
}
#else
static bool readRegularFile(const std::string& path, std::string& out, size_t maxBytes, std::string* error)
{
    // O_NONBLOCK so that a FIFO put where a file should be cannot block the open.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        setError(error, errnoText("cannot open " + path, errno));
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        setError(error, path + ": not a regular file");
        return false;
    }
    if (static_cast<unsigned long long>(st.st_size) > maxBytes) {
        ::close(fd);
        setError(error, path + ": larger than " + std::to_string(maxBytes) + " bytes");
        return false;
    }
    // One byte past the bound is enough to notice a file that grew after fstat.
    const size_t limit = maxBytes == SIZE_MAX ? SIZE_MAX : maxBytes + 1;
    std::string data;
    data.resize(std::min<size_t>(static_cast<size_t>(st.st_size), maxBytes) + 1);
    size_t got = 0;
    while (got <= maxBytes) {
        if (got == data.size())
            data.resize(std::min<size_t>(limit, got + std::max<size_t>(got, 4096)));
        ssize_t n = ::read(fd, data.data() + got, data.size() - got);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            int err = errno;
            ::close(fd);
            setError(error, errnoText("cannot read " + path, err));
            return false;
        }
        if (n == 0)
            break;
        got += static_cast<size_t>(n);
    }
    ::close(fd);
    if (got > maxBytes) {
        setError(error, path + ": larger than " + std::to_string(maxBytes) + " bytes");
        return false;
    }
    data.resize(got);
    out = std::move(data);
    return true;
}
#endif

bool readWholeFile(const std::string& path, std::string& out, size_t maxBytes, std::string* error)
{
    out.clear();
    return readRegularFile(path, out, maxBytes, error);
}

FileLock::FileLock(const std::string& path, std::chrono::milliseconds wait)
{
    const std::string lockPath = resolveForReplace(path) + ".lock";
    const auto deadline = std::chrono::steady_clock::now() + wait;
#ifdef _WIN32
    HANDLE h = CreateFileW(wide(lockPath).c_str(), GENERIC_READ | GENERIC_WRITE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        error_ = lastErrorText("cannot open the lock file " + lockPath);
        return;
    }
    for (;;) {
        OVERLAPPED where{};
        if (LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &where)) {
            handle_ = h;
            locked_ = true;
            return;
        }
        if (GetLastError() != ERROR_LOCK_VIOLATION || std::chrono::steady_clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    error_ = lockPath + ": held by another program for more than " + std::to_string(wait.count()) + " ms";
    CloseHandle(h);
#else
    int fd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (fd < 0) {
        error_ = errnoText("cannot open the lock file " + lockPath, errno);
        return;
    }
    for (;;) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            fd_ = fd;
            locked_ = true;
            return;
        }
        int err = errno;
        if (err == EINTR)
            continue;
        if (err != EWOULDBLOCK) {
            error_ = errnoText("cannot lock " + lockPath, err);
            ::close(fd);
            return;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    error_ = lockPath + ": held by another program for more than " + std::to_string(wait.count()) + " ms";
    ::close(fd);
#endif
}

FileLock::~FileLock()
{
#ifdef _WIN32
    if (handle_) {
        OVERLAPPED where{};
        UnlockFileEx(handle_, 0, 1, 0, &where);
        CloseHandle(handle_);
    }
#else
    if (fd_ >= 0) {
        ::flock(fd_, LOCK_UN);
        ::close(fd_);
    }
#endif
}

} // namespace lp

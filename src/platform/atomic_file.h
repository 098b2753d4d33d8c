#pragma once
// Whole-file reads and writes for the configuration files the program keeps
// (INI files, the registry file). A write either lands completely or not at
// all: the new contents go to a temporary file beside the target, are synced
// to disk and then renamed over it, so a crash, a full disk or a pulled plug
// leaves the old file whole. FileLock serialises read-modify-write cycles
// between processes (two toolkits, or the toolkit and a driver utility).
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace lp {

// Replaces `path` with `contents`. The file keeps its permission bits (a new
// file gets 0666 less the umask). A file that is read-only (no write bit at
// all, or not writable by us; the read-only attribute on Windows) is refused. A symlink is followed, so the link stays a
// link. On failure the old file is untouched, no temporary is left behind,
// false is returned and `error` (if given) says why.
bool replaceFileAtomically(const std::string& path, std::string_view contents, std::string* error);

// The two halves of replaceFileAtomically, for callers that need to stop in
// between (tests that show what a crash before the rename leaves behind).
// writeTemporaryBeside writes and syncs a temporary file in the target's
// folder, named ".<name>.tmp-<random>", and reports its path; on failure
// nothing is left behind. commitTemporary renames it over the target (and
// removes it if that fails).
bool writeTemporaryBeside(const std::string& path, std::string_view contents, std::string& tempPath,
                          std::string* error);
bool commitTemporary(const std::string& tempPath, const std::string& path, std::string* error);

// Reads the whole file into `out`. A file larger than maxBytes is refused
// without being loaded. False with a reason when the file cannot be read;
// `out` is then empty.
bool readWholeFile(const std::string& path, std::string& out, size_t maxBytes, std::string* error);

// The path as the file system should see it: a symlink resolved to the file
// it names (so replacing it keeps the link), anything else unchanged.
std::string resolveForReplace(const std::string& path);

// An exclusive, cross-process lock on "<path>.lock", held for the object's
// life. Waiting is bounded: if another holder keeps the lock past `wait`,
// locked() is false and error() says so. The lock file stays in place
// (deleting it would let two processes lock different files).
class FileLock {
public:
    explicit FileLock(const std::string& path,
                      std::chrono::milliseconds wait = std::chrono::milliseconds(5000));
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool locked() const { return locked_; }
    const std::string& error() const { return error_; }

private:
#ifdef _WIN32
    void* handle_ = nullptr;
#else
    int fd_ = -1;
#endif
    bool locked_ = false;
    std::string error_;
};

} // namespace lp

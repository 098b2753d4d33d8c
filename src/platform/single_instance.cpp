#include "platform/single_instance.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "platform/atomic_file.h"
#include "platform/user_folders.h"

namespace lp {

std::string defaultInstanceLockPath()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::string folder;
    if (runtime && *runtime) {
        folder = std::string(runtime) + "/linkport-toolkit";
        if (!makeFolders(folder))
            folder.clear();
    }
    if (folder.empty())
        folder = userDataFolder();
    if (folder.empty())
        return std::string();
    return folder + "/instance";
}

SingleInstance::SingleInstance(const std::string& lockPath)
{
    if (lockPath.empty()) {
        detail_ = "no folder for the instance lock";
        return;
    }
    auto lock = std::make_unique<FileLock>(lockPath, std::chrono::milliseconds(0));
    if (lock->locked()) {
        lock_ = std::move(lock);
        state_ = State::First;
        return;
    }
    // The lock failed. If the lock file itself is usable, somebody holds it;
    // if it cannot even be opened, we cannot tell and must not refuse to run.
    if (std::FILE* f = std::fopen((lockPath + ".lock").c_str(), "r+b")) {
        std::fclose(f);
        state_ = State::AlreadyRunning;
        return;
    }
    detail_ = lock->error();
}

SingleInstance::~SingleInstance() = default;

} // namespace lp

#pragma once
// Tells whether another copy of the program is running, with an exclusive
// lock on a file that the first copy holds for its whole life. The operating
// system drops the lock when that process ends in any way (crash and kill
// included), so a stale lock never keeps the program from starting.
#include <memory>
#include <string>

namespace lp {

class FileLock;

// <$XDG_RUNTIME_DIR>/linkport-toolkit/instance when the runtime folder is
// set, else <userDataFolder()>/instance; the lock itself is that path plus
// ".lock". Empty when no folder could be made.
std::string defaultInstanceLockPath();

class SingleInstance {
public:
    enum class State {
        First,          // we hold the lock
        AlreadyRunning, // another process holds it
        Unchecked,      // the lock file cannot be used; we start anyway
    };

    explicit SingleInstance(const std::string& lockPath);
    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    State state() const { return state_; }
    // Why the state is Unchecked (for the log).
    const std::string& detail() const { return detail_; }

private:
    std::unique_ptr<FileLock> lock_;
    State state_ = State::Unchecked;
    std::string detail_;
};

} // namespace lp

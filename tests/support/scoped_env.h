#pragma once
// Sets an environment variable for the life of one object and puts the old
// value (or its absence) back afterwards, so tests can point the program's
// ports at temporary folders without leaking into the next test.
#include <cstdlib>
#include <optional>
#include <string>

namespace lp::test {

class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : name_(name)
    {
        if (const char* old = std::getenv(name))
            old_ = old;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv()
    {
        if (old_)
            setenv(name_, old_->c_str(), 1);
        else
            unsetenv(name_);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

} // namespace lp::test

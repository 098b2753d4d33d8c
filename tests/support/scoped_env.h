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
        set(name, value.c_str());
    }
    ~ScopedEnv()
    {
        if (old_)
            set(name_, old_->c_str());
        else
            set(name_, nullptr);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    // Null removes the variable.
    static void set(const char* name, const char* value)
    {
#ifdef _WIN32
        _putenv_s(name, value ? value : ""); // "" removes it on Windows
#else
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
#endif
    }

    const char* name_;
    std::optional<std::string> old_;
};

} // namespace lp::test

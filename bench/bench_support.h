#pragma once
// Small pieces every benchmark uses: the process's CPU time and text that is
// safe inside a JSON string.
#include <ctime>
#include <string>

namespace lp::bench {

// CPU seconds this process has used so far (all threads).
inline double cpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// A text safe inside a JSON string: quotes, backslashes and controls dropped.
inline std::string jsonText(const std::string& s)
{
    std::string out;
    for (char c : s)
        if (c != '"' && c != '\\' && static_cast<unsigned char>(c) >= 0x20)
            out += c;
    return out;
}

} // namespace lp::bench

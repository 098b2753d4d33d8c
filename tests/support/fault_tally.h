#pragma once
// Counts the injected faults of a table and those survived (no assertion
// failed while the case ran), and prints both at the end: the figures
// docs/reliability.md reports.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace lp::test {

class FaultTally {
public:
    explicit FaultTally(std::string name) : name_(std::move(name)) {}
    ~FaultTally() { std::printf("[ faults   ] %s: %d injected, %d survived\n", name_.c_str(), injected, survived); }
    FaultTally(const FaultTally&) = delete;
    FaultTally& operator=(const FaultTally&) = delete;

    void begin()
    {
        ++injected;
        before_ = parts();
    }
    void end()
    {
        if (parts() == before_)
            ++survived;
    }

    int injected = 0, survived = 0;

private:
    static int parts() { return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count(); }
    std::string name_;
    int before_ = 0;
};

} // namespace lp::test

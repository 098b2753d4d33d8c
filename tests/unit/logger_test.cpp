#include <gtest/gtest.h>

#include "platform/logger.h"

TEST(Logger, SubsystemNamesAreDistinct)
{
    using lp::LogSubsystem;
    std::set<std::string> names;
    for (auto s : {LogSubsystem::Platform, LogSubsystem::Shell, LogSubsystem::Settings, LogSubsystem::Links,
                   LogSubsystem::Firmware, LogSubsystem::Flash, LogSubsystem::Info, LogSubsystem::AdapterTest,
                   LogSubsystem::Cli, LogSubsystem::Sim})
        names.insert(lp::logSubsystemName(s));
    EXPECT_EQ(names.size(), 10u);
}

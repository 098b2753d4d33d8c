#pragma once
// A test that cannot run for want of something the machine should have (a
// pseudo-terminal, a cross-check tool) is skipped on a developer's machine
// but fails in CI, where it would otherwise pass without testing anything.
#include <gtest/gtest.h>

#include <cstdlib>

#define LP_REQUIRE(available, why)                                                                              \
    do {                                                                                                        \
        if (!(available)) {                                                                                     \
            if (std::getenv("CI"))                                                                              \
                FAIL() << "needed in CI: " << why;                                                              \
            else                                                                                                \
                GTEST_SKIP() << why;                                                                            \
        }                                                                                                       \
    } while (false)

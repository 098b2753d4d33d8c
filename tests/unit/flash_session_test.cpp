// The read-back verdict: what counts as the adapter running the file's
// version after a flash.
#include <gtest/gtest.h>

#include "operations/flash_session.h"

using lp::JudgeReadBack;
using lp::ReadBackVerdict;

TEST(FlashSession, ReadBackVerdictComparesVersionsPartByPart)
{
    const struct {
        const char* after;
        const char* file;
        ReadBackVerdict verdict;
    } cases[] = {
        {"1.9", "1.9", ReadBackVerdict::Verified},
        {"01.08.12", "01.08.12", ReadBackVerdict::Verified},
        {"01.08.12", "1.8.12", ReadBackVerdict::Verified},  // the adapter pads its parts
        {"01.08.00", "1.8", ReadBackVerdict::Verified},     // a missing part is 0
        {"01.07.12", "01.08.12", ReadBackVerdict::Mismatch},
        {"1.8", "1.8.1", ReadBackVerdict::Mismatch},
        {"1.10", "1.1", ReadBackVerdict::Mismatch},         // numbers, not texts
        {"2.0", "Not Found", ReadBackVerdict::Mismatch},    // a header without a version
        {"1.9", "", ReadBackVerdict::Mismatch},
        {"1..9", "1.9", ReadBackVerdict::Mismatch},
        {"99999999999.1", "1.1", ReadBackVerdict::Mismatch}, // no overflow into a match
        {"", "1.9", ReadBackVerdict::NotRead},
        {"Not Present", "1.9", ReadBackVerdict::NotRead},
    };
    for (const auto& c : cases)
        EXPECT_EQ(JudgeReadBack(c.after, c.file), c.verdict) << c.after << " against " << c.file;
}

#include <gtest/gtest.h>

#include "core/vb_text.h"

using namespace lp::vb;

TEST(VbText, ValReadsTheLeadingNumberOnly)
{
    EXPECT_DOUBLE_EQ(Val("3.12"), 3.12);
    EXPECT_DOUBLE_EQ(Val("2."), 2);
    EXPECT_DOUBLE_EQ(Val(".3"), 0.3);
    EXPECT_DOUBLE_EQ(Val("1.2.3"), 1.2);
    EXPECT_DOUBLE_EQ(Val(" 1 2 3"), 123); // blanks inside a number are skipped
    EXPECT_DOUBLE_EQ(Val("abc"), 0);
    EXPECT_DOUBLE_EQ(Val(""), 0);
    EXPECT_DOUBLE_EQ(Val("-7x"), -7);
    EXPECT_DOUBLE_EQ(Val("1e3"), 1000);
    EXPECT_DOUBLE_EQ(Val("2e"), 2); // an exponent without digits ends the number
    EXPECT_DOUBLE_EQ(Val("&H1F"), 31);
    EXPECT_DOUBLE_EQ(Val("&O17"), 15);
    EXPECT_DOUBLE_EQ(Val("1e999"), 0); // no infinity leaks out
}

TEST(VbText, IsNumericAcceptsNumbersAndNothingElse)
{
    for (auto t : {"57600", "  57600  ", "1.9", "-3", "+.5", "1e3", "&H10"})
        EXPECT_TRUE(IsNumeric(t)) << t;
    for (auto t : {"", " ", "-", ".", "LPII SIP", "1.2.3", "12a", "1e", "&H", "&Hxy"})
        EXPECT_FALSE(IsNumeric(t)) << t;
}

TEST(VbText, RoundingIsHalfToEvenAndOverflowIsRefused)
{
    EXPECT_EQ(CInt(2.5).value(), 2);
    EXPECT_EQ(CInt(3.5).value(), 4);
    EXPECT_EQ(CInt(-2.5).value(), -2);
    EXPECT_EQ(CInt(1.9).value(), 2);
    EXPECT_EQ(CInt(120.3).value(), 120);
    EXPECT_FALSE(CInt(32767.5).has_value());
    EXPECT_EQ(CInt(-32768.4).value(), -32768);
    EXPECT_EQ(CLng(2147483647.0).value(), 2147483647);
    EXPECT_FALSE(CLng(2147483648.0).has_value());
}

TEST(VbText, TextPiecesFollowOneBasedPositions)
{
    EXPECT_EQ(Mid("COM12", 4), "12");
    EXPECT_EQ(Mid("abc", 5), "");
    EXPECT_EQ(Mid("abc", 0), "");
    EXPECT_EQ(Right("abc", 5), "abc");
    EXPECT_EQ(InStr("COMX,N1", ","), 5u);
    EXPECT_EQ(InStr("abc", "z"), 0u);
    EXPECT_EQ(Trim("  LPII SIP  "), "LPII SIP");
    EXPECT_EQ(Trim("\tx "), "\tx"); // Trim$ removes blanks only
    EXPECT_EQ(HexText(std::string("\x5F\x05\x0D\x02", 4)), "5F050D02");
    EXPECT_EQ(ZeroPad(5, 2), "05");
    EXPECT_EQ(ZeroPad(0, 4), "0000");
    EXPECT_EQ(ZeroPad(-5, 4), "-0005");
    EXPECT_EQ(NumberText(0.3), "0.3");
    EXPECT_EQ(NumberText(120), "120");
}

#include <gtest/gtest.h>

#include "core/vb_text.h"

using namespace lp::vb;

TEST(VbText, ValReadsTheLeadingNumberOnly)
{
    // Blanks inside a number are skipped; an exponent without digits ends the
    // number; no infinity leaks out.
    const std::pair<const char*, double> cases[] = {
        {"3.12", 3.12}, {"2.", 2},     {".3", 0.3},    {"1.2.3", 1.2}, {" 1 2 3", 123}, {"abc", 0},   {"", 0},
        {"-7x", -7},    {"1e3", 1000}, {"2e", 2},      {"&H1F", 31},   {"&O17", 15},    {"1e999", 0}};
    for (auto [text, value] : cases)
        EXPECT_DOUBLE_EQ(Val(text), value) << text;
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
    for (auto [in, out] : {std::pair{2.5, 2}, {3.5, 4}, {-2.5, -2}, {1.9, 2}, {120.3, 120}, {-32768.4, -32768}})
        EXPECT_EQ(CInt(in), std::optional<int16_t>(out)) << in;
    EXPECT_FALSE(CInt(32767.5).has_value());
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
    EXPECT_EQ(ShownText(std::string("Change mode failed\0junk", 23)), "Change mode failed");
    EXPECT_EQ(ShownText("no terminator"), "no terminator");
}

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
    EXPECT_EQ(InStr("COMX,N1", ","), 5u);
    EXPECT_EQ(InStr("abc", "z"), 0u);
    // Trim$ removes blanks only; a driver's text ends at its first NUL.
    const std::pair<std::string, std::string> pieces[] = {
        {Mid("COM12", 4), "12"}, {Mid("abc", 5), ""},    {Mid("abc", 0), ""},      {Right("abc", 5), "abc"},
        {ZeroPad(5, 2), "05"},   {ZeroPad(0, 4), "0000"}, {ZeroPad(-5, 4), "-0005"}, {NumberText(0.3), "0.3"},
        {Trim("  LPII SIP  "), "LPII SIP"}, {Trim("\tx "), "\tx"}, {NumberText(120), "120"},
        {ShownText("no terminator"), "no terminator"},
        {HexText(std::string("\x5F\x05\x0D\x02", 4)), "5F050D02"},
        {ShownText(std::string("Change mode failed\0junk", 23)), "Change mode failed"},
    };
    for (size_t i = 0; i < std::size(pieces); ++i)
        EXPECT_EQ(pieces[i].first, pieces[i].second) << "piece " << i;
}

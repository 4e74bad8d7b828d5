#include "presentation.h"

#include <gtest/gtest.h>

using namespace std::string_literals;
using namespace tool;

TEST(Presentation, HexBothWays)
{
    EXPECT_EQ(Hex("\x00\x6F\xFF"s), "006FFF");
    EXPECT_EQ(Bytes("006FFF"), "\x00\x6F\xFF"s);
    EXPECT_EQ(Bytes("006F0"), "");
    EXPECT_EQ(Bytes("0g"), "");
    EXPECT_EQ(SpacedHex("00A404"), "00 A4 04");
    EXPECT_EQ(SpacedHex(""), "");
}

TEST(Presentation, ChineseTextIsConverted)
{
    EXPECT_EQ(TextFromGb("\xD2\xF8\xC1\xAA"), "银联");
    EXPECT_EQ(TextFromGb("ZHANG SAN"), "ZHANG SAN");
    EXPECT_EQ(TextFromGb(""), "");
    EXPECT_EQ(TextFromGb("\x81\x39\xEE\x39"), "㐀"); // four bytes, outside GBK
}

TEST(Presentation, BytesThatAreNoTextAreShownAsHex)
{
    EXPECT_EQ(TextFromGb("\xD2"), std::nullopt);     // half a character
    EXPECT_EQ(TextFromGb("\xFF\xFF"), std::nullopt); // no character at all
    EXPECT_EQ(TextOrHex("\xD2"), "hex D2");
}

TEST(Presentation, TextThatSteersTheTerminalIsShownAsHex)
{
    EXPECT_EQ(TextOrHex("\x1B[2J"), "hex 1B5B324A");
    EXPECT_EQ(TextOrHex("A\nB"), "hex 410A42");
    EXPECT_EQ(TextOrHex("\x7F"), "hex 7F");
    EXPECT_EQ(TextFromGb("\x81\x30\x81\x30"), std::nullopt); // U+0080
    EXPECT_EQ(TextFromGb("\x81\x30\x84\x31"), std::nullopt); // U+009F
    EXPECT_NE(TextFromGb("\x81\x30\x84\x32"), std::nullopt); // U+00A0
    EXPECT_EQ(TextFromGb("\x81\x36\xA7\x31"), std::nullopt); // U+202E, right-to-left override
}

TEST(Presentation, PaddingIsCut)
{
    EXPECT_EQ(TextOrHex("SHOP  \0\0"s), "SHOP");
    EXPECT_EQ(TextOrHex("\0\0\0"s), "");
    EXPECT_EQ(TextOrHex("A\0B"s), "hex 410042");
}

TEST(Presentation, MoneyIsTwelveDigitsOfTheSmallestUnit)
{
    EXPECT_EQ(MinorUnits("000000003780"), 3780U);
    EXPECT_EQ(MinorUnits("999999999999"), 999999999999U);
    EXPECT_EQ(MinorUnits("00000000378"), std::nullopt);
    EXPECT_EQ(MinorUnits("00000000378A"), std::nullopt);
    EXPECT_EQ(Money(3780, 2), "37.80");
    EXPECT_EQ(Money(5, 2), "0.05");
    EXPECT_EQ(Money(0, 2), "0.00");
    EXPECT_EQ(Money(123, 0), "123");
    EXPECT_EQ(Money(999999999999, 2), "9999999999.99");
}

TEST(Presentation, DatesBecomeIso)
{
    EXPECT_EQ(IsoDate("310301"), "2031-03-01");
    EXPECT_EQ(IsoDate("491231"), "2049-12-31");
    EXPECT_EQ(IsoDate("500101"), "1950-01-01");
    EXPECT_EQ(IsoMonth("3010"), "2030-10");
}

TEST(Presentation, ImpossibleDatesAreNone)
{
    for (const char *text :
         {"", "31030", "3103011", "311301", "310001", "310300", "310332", "3103AA"})
        EXPECT_EQ(IsoDate(text), std::nullopt) << text;
    EXPECT_EQ(IsoMonth("3013"), std::nullopt);
}

TEST(Presentation, ClockTimes)
{
    EXPECT_EQ(ClockTime("191222"), "19:12:22");
    EXPECT_EQ(ClockTime("235959"), "23:59:59");
    for (const char *text : {"240000", "236000", "235960", "2359", "AAAAAA"})
        EXPECT_EQ(ClockTime(text), std::nullopt) << text;
}

TEST(Presentation, MaskKeepsSixAndFour)
{
    EXPECT_EQ(Masked("6210948000000011"), "621094******0011");
    EXPECT_EQ(Masked("62109480011"), "621094*0011");
    EXPECT_EQ(Masked("6210940011"), "**********");
    EXPECT_EQ(Masked(""), "");
}

TEST(Presentation, CurrenciesAndCountriesByNumber)
{
    ASSERT_NE(FindCurrency("0156"), nullptr);
    EXPECT_STREQ(FindCurrency("0156")->name, "CNY");
    EXPECT_EQ(FindCurrency("0156")->decimals, 2);
    EXPECT_EQ(FindCurrency("0392")->decimals, 0);
    EXPECT_EQ(FindCurrency("156"), nullptr);
    EXPECT_STREQ(CountryName("0156"), "China");
    EXPECT_EQ(CountryName("0000"), nullptr);
}

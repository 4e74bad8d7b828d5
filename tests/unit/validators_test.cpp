// The character-class checks of the IC business calls.
#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "vantor/business.h"

using testing_support::LogCapture;

TEST(IsHexDataValue, AcceptsUpperCaseDigitsOnly)
{
    EXPECT_EQ(1, IsHexDataValue("0123456789ABCDEF"));
    EXPECT_EQ(1, IsHexDataValue(""));
    for (const char *text : {"0a", "G", "12 34", "12\n", "/", ":", "@", "f", "\xC3\xA9"})
        EXPECT_EQ(0, IsHexDataValue(text)) << text;
}

TEST(IsNumDataValue, AcceptsDecimalDigitsOnly)
{
    EXPECT_EQ(1, IsNumDataValue("0123456789"));
    EXPECT_EQ(1, IsNumDataValue(""));
    for (const char *text : {"A", "1A", "-1", "1.5", "/", ":", "\xB2"})
        EXPECT_EQ(0, IsNumDataValue(text)) << text;
}

TEST(IsPbocDataValue, AcceptsDigitsAndUpperCaseLettersOnly)
{
    EXPECT_EQ(1, IsPbocDataValue("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
    EXPECT_EQ(1, IsPbocDataValue(""));
    for (const char *text : {"a", "A B", "[", "@", "/", ":"})
        EXPECT_EQ(0, IsPbocDataValue(text)) << text;
}

TEST(IsTagListValue, AcceptsAnyTextWithOneUpperCaseLetter)
{
    EXPECT_EQ(1, IsTagListValue("1A2"));
    EXPECT_EQ(1, IsTagListValue("abcZ"));
    EXPECT_EQ(1, IsTagListValue("A"));
    for (const char *text : {"", "12a", "abc", "@", "[", "1234"})
        EXPECT_EQ(0, IsTagListValue(text)) << text;
}

TEST(Validators, NullPassesNowhere)
{
    EXPECT_EQ(0, IsHexDataValue(nullptr));
    EXPECT_EQ(0, IsNumDataValue(nullptr));
    EXPECT_EQ(0, IsPbocDataValue(nullptr));
    EXPECT_EQ(0, IsTagListValue(nullptr));
}

TEST(Validators, LogTheFirstBadCharacterAsInformation)
{
    const LogCapture log;
    IsHexDataValue("00a4zz");
    IsNumDataValue("1234x");
    IsPbocDataValue("\xFF");
    IsTagListValue("12a");
    IsHexDataValue("00A4");
    IsNumDataValue("1234");
    IsPbocDataValue("AZ09");
    EXPECT_EQ("Info:szHexData[2] = 61\r\n"
              "Info:szPbocData[4] = 78\r\n"
              "Info:szPbocData[0] = FF\r\n",
              log.Lines());
}

#include "apdu_input.h"

#include <gtest/gtest.h>

#include "status_words.h"

using tool::AddApdu;
using tool::AddScript;
using tool::ApduInput;
using tool::StatusWordMeaning;

static ApduInput One(const std::string &text)
{
    ApduInput input;
    AddApdu(&input, text, "APDU 1");
    return input;
}

TEST(ApduInput, BlanksGoAndLowerCaseRises)
{
    EXPECT_EQ(One("00 a4 04 00 02\t3f 00 ").apdus, std::vector<std::string>{"00A40400023F00"});
    EXPECT_EQ(One("0 0A40 400").apdus, std::vector<std::string>{"00A40400"});
}

TEST(ApduInput, WhatIsNoHexIsRefused)
{
    EXPECT_EQ(One("00A4040G").error, "APDU 1: not hexadecimal: \"00A4040G\"");
    EXPECT_EQ(One("0x00A40400").error, "APDU 1: not hexadecimal: \"0x00A40400\"");
}

TEST(ApduInput, AnOddNumberOfDigitsIsRefused)
{
    EXPECT_EQ(One("00A404000").error, "APDU 1: an odd number of digits: \"00A404000\"");
}

TEST(ApduInput, FourBytesAreTheLeast)
{
    EXPECT_EQ(
        One("00A404").error,
        "APDU 1: \"00A404\" is shorter than CLA INS P1 P2 (an APDU with blanks needs quotes)");
    EXPECT_NE(One("").error, "");
    EXPECT_EQ(One("00A40400").error, "");
}

TEST(ApduInput, FiveHundredAndTwelveBytesAreTheMost)
{
    EXPECT_EQ(One(std::string(1024, 'A')).error, "");
    EXPECT_EQ(One(std::string(1026, 'A')).error, "APDU 1: 513 bytes; the reader takes at most 512");
}

TEST(ApduScript, HasOneALineCommentsAndBlankLines)
{
    ApduInput input;
    AddScript(&input,
              "# the directory\n\n00A40400\r\n  00b2 010c 00  # first record\n \t \n80CA9F7900",
              "s");
    EXPECT_EQ(input.error, "");
    EXPECT_EQ(input.apdus, (std::vector<std::string>{"00A40400", "00B2010C00", "80CA9F7900"}));
}

TEST(ApduScript, AnErrorNamesItsLineAndIsTheFirstOne)
{
    ApduInput input;
    AddScript(&input, "00A40400\n\n00A4 04\nzz\n", "setup.apdu");
    EXPECT_EQ(input.error.substr(0, 22), "setup.apdu:3: \"00A4 04");
}

TEST(ApduScript, OfNothingHasNothing)
{
    ApduInput input;
    AddScript(&input, "", "s");
    AddScript(&input, "# only\n\n", "s");
    EXPECT_EQ(input.error, "");
    EXPECT_TRUE(input.apdus.empty());
}

TEST(StatusWords, HaveMeanings)
{
    EXPECT_EQ(StatusWordMeaning("9000"), "done");
    EXPECT_EQ(StatusWordMeaning("6A82"), "file or application not found");
    EXPECT_EQ(StatusWordMeaning("6A83"), "record not found");
    EXPECT_EQ(StatusWordMeaning("6110"), "16 more bytes to fetch");
    EXPECT_EQ(StatusWordMeaning("6100"), "256 more bytes to fetch");
    EXPECT_EQ(StatusWordMeaning("6C13"), "wrong Le, 19 bytes are there");
    EXPECT_EQ(StatusWordMeaning("63C2"), "verification failed, 2 tries left");
    EXPECT_EQ(StatusWordMeaning("6FFF"), "unknown status");
    EXPECT_EQ(StatusWordMeaning(""), "no status word");
    EXPECT_EQ(StatusWordMeaning("90"), "no status word");
}

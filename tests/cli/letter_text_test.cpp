#include "letter_text.h"

#include <gtest/gtest.h>

using namespace std::string_literals;
using tool::FindItem;
using tool::LetterItems;
using tool::LetterRecords;
using tool::ParseItems;
using tool::ParseRecords;

TEST(LetterItems, AreTakenInTheirOrder)
{
    const LetterItems list = ParseItems("A0166210948000000011B004ZHANC000");
    EXPECT_EQ(list.error, "");
    ASSERT_EQ(list.items.size(), 3U);
    EXPECT_EQ(list.items[0].letter, 'A');
    EXPECT_EQ(list.items[0].value, "6210948000000011");
    EXPECT_EQ(list.items[1].letter, 'B');
    EXPECT_EQ(list.items[1].value, "ZHAN");
    EXPECT_EQ(list.items[2].letter, 'C');
    EXPECT_EQ(list.items[2].value, "");
}

TEST(LetterItems, EmptyTextHasNone)
{
    EXPECT_EQ(ParseItems("").error, "");
    EXPECT_TRUE(ParseItems("").items.empty());
    EXPECT_TRUE(ParseItems("\0\0\0\0"s).items.empty());
}

TEST(LetterItems, EndWhereANulStandsForTheLetter)
{
    const std::string area = "A002XY\0\0B002ZZ"s;
    const LetterItems list = ParseItems(area);
    EXPECT_EQ(list.error, "");
    ASSERT_EQ(list.items.size(), 1U);
}

TEST(LetterItems, AValueMayHoldNulBytesAndLetters)
{
    const std::string area = "B005A\0B00C00200"s;
    const LetterItems list = ParseItems(area);
    EXPECT_EQ(list.error, "");
    ASSERT_EQ(list.items.size(), 2U);
    EXPECT_EQ(list.items[0].value, "A\0B00"s);
    EXPECT_EQ(list.items[1].value, "00");
}

TEST(LetterItems, FindGivesTheValueOrNothing)
{
    const LetterItems list = ParseItems("A001XC000");
    ASSERT_NE(FindItem(list, 'A'), nullptr);
    EXPECT_EQ(*FindItem(list, 'A'), "X");
    ASSERT_NE(FindItem(list, 'C'), nullptr);
    EXPECT_EQ(FindItem(list, 'B'), nullptr);
}

TEST(LetterItems, ALengthBeyondTheEndIsRefusedWithItsPlace)
{
    const LetterItems list = ParseItems("A001XB300ZZ");
    EXPECT_EQ(list.error, "at offset 5: item B says 300 characters, 2 follow");
    ASSERT_EQ(list.items.size(), 1U);
}

TEST(LetterItems, ALengthThatIsCutIsRefused)
{
    EXPECT_EQ(ParseItems("A").error, "at offset 0: item A has no length of three digits");
    EXPECT_EQ(ParseItems("A00").error, "at offset 0: item A has no length of three digits");
    EXPECT_EQ(ParseItems("A0x1Z").error, "at offset 0: item A has no length of three digits");
    EXPECT_EQ(ParseItems("A-01Z").error, "at offset 0: item A has no length of three digits");
}

TEST(LetterItems, ALetterThatIsNoneIsRefused)
{
    EXPECT_EQ(ParseItems("a001X").error, "at offset 0: a letter was expected, not the byte 61");
    EXPECT_EQ(ParseItems("A001X\x1B[2J").error,
              "at offset 5: a letter was expected, not the byte 1B");
}

TEST(LetterItems, ALetterThatComesTwiceIsRefused)
{
    EXPECT_EQ(ParseItems("A001XA001Y").error, "at offset 5: item A occurs twice");
}

TEST(LetterRecords, AreCutByTheirLength)
{
    const LetterRecords log = ParseRecords("02009S005ABCDES005FGHIJ");
    EXPECT_EQ(log.error, "");
    ASSERT_EQ(log.records.size(), 2U);
    EXPECT_EQ(*FindItem(log.records[0], 'S'), "ABCDE");
    EXPECT_EQ(*FindItem(log.records[1], 'S'), "FGHIJ");
}

TEST(LetterRecords, NoneIsAnEmptyLog)
{
    EXPECT_EQ(ParseRecords("00000").error, "");
    EXPECT_TRUE(ParseRecords("00000").records.empty());
    EXPECT_EQ(ParseRecords("00000\0\0\0\0"s).error, "");
}

TEST(LetterRecords, AHundredHaveAThirdDigitInTheirCount)
{
    std::string text = "100005";
    for (int i = 0; i < 100; i++)
        text += "X001" + std::to_string(i % 10);
    const LetterRecords log = ParseRecords(text);
    EXPECT_EQ(log.error, "");
    ASSERT_EQ(log.records.size(), 100U);
    EXPECT_EQ(*FindItem(log.records[99], 'X'), "9");
}

TEST(LetterRecords, AHeaderThatIsMissingOrCutIsRefused)
{
    for (const char *text : {"", "0", "0200", "P012", "0200500"})
        EXPECT_EQ(ParseRecords(text).error, "the record count and length are missing") << text;
}

TEST(LetterRecords, MoreThanThereIsIsRefused)
{
    EXPECT_EQ(ParseRecords("03009S005ABCDE").error,
              "3 records of 9 characters do not fit into the 9 that follow");
}

TEST(LetterRecords, ABadItemIsReportedWithItsRecord)
{
    EXPECT_EQ(ParseRecords("02009S005ABCDES006FGHIJ").error,
              "record 2, at offset 0: item S says 6 characters, 5 follow");
}

TEST(LetterRecords, MoreTextThanAnnouncedIsRefused)
{
    EXPECT_EQ(ParseRecords("01009S005ABCDES005FGHIJ").error,
              "at offset 14: more text than the records announced");
}

// Data objects as cards write and find them.
#include "cards_support.h"

#include "vreader/cards/tlv.h"

using cards_test::Hex;
using cards_test::Unhex;
using vreader::Bytes;

TEST(CardTlv, LengthIsOneByteUpTo127)
{
    EXPECT_EQ(Hex(vreader::Tlv(0x5A, {})), "5A00");
    EXPECT_EQ(Hex(vreader::Tlv(0x5A, Unhex("6210"))), "5A026210");
    EXPECT_EQ(Hex(vreader::Tlv(0x9F46, Bytes(127, 0))).substr(0, 8), "9F467F00");
}

TEST(CardTlv, LengthTakesTheForm81From128To255)
{
    EXPECT_EQ(Hex(vreader::Tlv(0x70, Bytes(128, 0))).substr(0, 8), "70818000");
    EXPECT_EQ(vreader::Tlv(0x70, Bytes(128, 0)).size(), 131u);
    EXPECT_EQ(Hex(vreader::Tlv(0x70, Bytes(255, 0))).substr(0, 8), "7081FF00");
}

TEST(CardTlv, LengthTakesTheForm82From256)
{
    EXPECT_EQ(Hex(vreader::Tlv(0x70, Bytes(256, 0))).substr(0, 10), "7082010000");
    EXPECT_EQ(vreader::Tlv(0x70, Bytes(256, 0)).size(), 260u);
    EXPECT_EQ(Hex(vreader::Tlv(0x70, Bytes(65535, 0))).substr(0, 10), "7082FFFF00");
}

TEST(CardTlv, ValueIsCutAtTheLargestLength)
{
    EXPECT_EQ(vreader::Tlv(0x70, Bytes(70000, 0)).size(), 65539u);
}

TEST(CardTlv, TagsHaveOneToThreeBytes)
{
    EXPECT_EQ(vreader::TagFromText("5A"), 0x5Au);
    EXPECT_EQ(vreader::TagFromText("9f02"), 0x9F02u);
    EXPECT_EQ(vreader::TagFromText("DF8129"), 0xDF8129u);
    EXPECT_EQ(Hex(vreader::Tlv(0xDF8129, {0x01})), "DF81290101");
}

TEST(CardTlv, MalformedTagsAreRefused)
{
    for (const char *text :
         {"", "5", "5G", "9F", "5A02", "9F81", "9F0201", "9F818101", "00", "tag"})
        EXPECT_EQ(vreader::TagFromText(text), std::nullopt) << text;
}

TEST(CardTlv, HexDigitsStandInPairs)
{
    EXPECT_EQ(vreader::BytesFromHex("00 a4 04 00 0F"), Unhex("00A404000F"));
    EXPECT_EQ(vreader::BytesFromHex(""), Bytes{});
    for (const char *text : {"0", "0 0", "0G", "123", "0x12"})
        EXPECT_EQ(vreader::BytesFromHex(text), std::nullopt) << text;
}

TEST(CardTlv, ObjectsAreFoundWithinTemplates)
{
    const Bytes fci = Unhex("6F158408A000000333010101A509 9F3803 9F0206 870101");
    EXPECT_EQ(vreader::FindObject(fci, 0x9F38), Unhex("9F0206"));
    EXPECT_EQ(vreader::FindObject(fci, 0x87), Unhex("01"));
    EXPECT_EQ(vreader::FindObject(fci, 0x50), std::nullopt);
    EXPECT_EQ(vreader::FindObject(Unhex("6F8105 8781020102"), 0x87), Unhex("0102"));
    EXPECT_EQ(vreader::FindObject(Unhex("6F8104 87810101"), 0x87), Unhex("01"));
}

TEST(CardTlv, SearchEndsAtObjectsThatLie)
{
    for (const char *text :
         {"9F", "5A", "5A82", "5A8201", "5A84FFFFFFFF", "5A0501", "1F8181", "6FFF"})
        EXPECT_EQ(vreader::FindObject(Unhex(text), 0x50), std::nullopt) << text;
}

TEST(CardTlv, DataObjectListsAreAddedUp)
{
    EXPECT_EQ(vreader::RequestedLength(Unhex("9F66049F02069F03069F1A0295055F2A029A039C019F3704")),
              33u);
    EXPECT_EQ(vreader::RequestedLength(Unhex("9F468180 9A03")), 131u);
    EXPECT_EQ(vreader::RequestedLength({}), 0u);
    EXPECT_EQ(vreader::RequestedLength(Unhex("9A03 9F")), 3u);
}

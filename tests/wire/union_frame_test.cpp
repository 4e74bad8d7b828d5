// The Union_ wire format, byte for byte.
#include "link/ic_transport.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

#include "wire/room.h"

using testing_support::FromHex;
using testing_support::ToHex;
using wire_testing::Bytes;
using wire_testing::Length;
using wire_testing::Room;

namespace
{

int Make(const std::string &command, Room *room, int capacity)
{
    return Union_MakeCmdPackage(Bytes(command), Length(command), room->Data(), capacity);
}

int Trim(const std::string &received, Room *room, int capacity)
{
    return Union_TrimPackage(Bytes(received), Length(received), room->Data(), capacity);
}

int Parse(const std::string &answer, Room *room, int capacity)
{
    return Union_ParseResPackage(Bytes(answer), Length(answer), room->Data(), capacity);
}

} // namespace

TEST(UnionMake, CheckByteCoversTheCommandAlone)
{
    Room room;
    ASSERT_EQ(Make(FromHex("31 11 00"), &room, 2048), 14);
    EXPECT_EQ(room.Text(15), STX "0003"
                                 "311100"
                                 "20" ETX "\xEE");
}

TEST(UnionMake, NibblesFromTenOnAreTheCharactersBehindNine)
{
    Room room;
    ASSERT_EQ(Make(FromHex("AB CD EF"), &room, 2048), 14);
    EXPECT_EQ(ToHex(room.Text(14)),
              "02 30 30 30 33 3A 3B 3C 3D 3E 3F 38 39 03 "); // AB ^ CD ^ EF = 89
}

TEST(UnionMake, LengthIsTwoBytesHighFirst)
{
    Room room;
    ASSERT_EQ(Make(std::string(258, '\x5A'), &room, 2048), 524);
    EXPECT_EQ(room.Text(7), STX "01025:");
    EXPECT_EQ(room.Text(524).substr(519), "5:00" ETX);
}

TEST(UnionMake, RoomOfTwiceTheCommandAndEightSuffices)
{
    Room room;
    EXPECT_EQ(Make(FromHex("31 11 00"), &room, 13), -22);
    EXPECT_EQ(room.Hex(1), "EE ");
    EXPECT_EQ(Make(FromHex("31 11 00"), &room, 14), 14);
}

TEST(UnionMake, FrameOf2048BytesIsTheLongest)
{
    std::array<unsigned char, 4200> out{};
    const std::string command(2046, 'a');
    EXPECT_EQ(Union_MakeCmdPackage(Bytes(command), 2045, out.data(), 4200), 4098);
    EXPECT_EQ(Union_MakeCmdPackage(Bytes(command), 2046, out.data(), 4200), -22);
}

TEST(UnionMake, RefusesNullAndNegative)
{
    Room room;
    const unsigned char command[] = {0x81};
    EXPECT_EQ(Union_MakeCmdPackage(nullptr, 1, room.Data(), 2048), -22);
    EXPECT_EQ(Union_MakeCmdPackage(command, 1, nullptr, 2048), -22);
    EXPECT_EQ(Union_MakeCmdPackage(command, -1, room.Data(), 2048), -22);
    EXPECT_EQ(Union_MakeCmdPackage(command, 2147483647, room.Data(), 2048), -22);
}

TEST(UnionTrim, CutsFromTheStartByteToTheFirstEndByte)
{
    Room room;
    ASSERT_EQ(Trim("60" ETX "noise" STX "0002000000" ETX STX ETX, &room, 20), 12);
    EXPECT_EQ(room.Text(20), STX "0002000000" ETX + std::string(8, '\0'));
    EXPECT_EQ(room.bytes[20], 0xEE);
}

TEST(UnionTrim, NoiseThatHoldsAStartByteIsTakenAsTheStart)
{
    Room room;
    ASSERT_EQ(Trim("." STX STX "00" ETX, &room, 64), 5);
    EXPECT_EQ(room.Text(5), STX STX "00" ETX);
}

TEST(UnionTrim, WithoutAStartNothingIsTouched)
{
    Room room;
    EXPECT_EQ(Trim("0002000000" ETX, &room, 64), 0);
    EXPECT_EQ(Trim("", &room, 64), 0);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(UnionTrim, RoomBoundsTheCopy)
{
    Room room;
    ASSERT_EQ(Trim(STX "0002000000" ETX, &room, 4), 4);
    EXPECT_EQ(room.Text(5), STX "000\xEE");
}

TEST(UnionParse, GivesThePayload)
{
    Room room;
    ASSERT_EQ(Parse(STX "0004"
                        "00003;65"
                        "5>" ETX,
                    &room, 64),
              4);
    EXPECT_EQ(room.Hex(5), "00 00 3B 65 EE ");
}

TEST(UnionParse, CheckByteIsNotVerified)
{
    Room room;
    EXPECT_EQ(Parse(STX "0002000077" ETX, &room, 64), 2);
    EXPECT_EQ(Parse(STX "00020000" ETX, &room, 64), 2); // nor missed
}

TEST(UnionParse, OnlyTheLowNibbleOfACharacterCounts)
{
    Room room;
    ASSERT_EQ(Parse(STX "@@pqAO\x7F\x80"
                        "00" ETX,
                    &room, 64),
              1);
    EXPECT_EQ(room.Hex(2), "1F EE ");
}

TEST(UnionParse, LengthIsTwoBytesHighFirst)
{
    Room room;
    ASSERT_EQ(Parse(STX "0102" + std::string(516, '1') + "00" ETX, &room, 512), 258);
    EXPECT_EQ(room.bytes[257], 0x11);
    EXPECT_EQ(room.bytes[258], 0xEE);
}

TEST(UnionParse, EmptyPayload)
{
    Room room;
    EXPECT_EQ(Parse(STX "000000" ETX, &room, 64), 0);
    EXPECT_EQ(Parse(STX ETX, &room, 64), 0); // missing length bytes are zero
    EXPECT_EQ(Parse(STX "0" ETX, &room, 64), 0);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(UnionParse, MalformedAnswers)
{
    Room room;
    for (const std::string answer :
         {"", STX, ETX, "0002000000" ETX, STX "0002000000", STX "0002000000" ETX "0"})
        EXPECT_EQ(Parse(answer, &room, 64), -74) << ToHex(answer);
    EXPECT_EQ(Union_ParseResPackage(Bytes(STX), -1, room.Data(), 64), -74);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(UnionParse, RefusesNull)
{
    Room room;
    EXPECT_EQ(Union_ParseResPackage(nullptr, 8, room.Data(), 64), -22);
    EXPECT_EQ(Union_ParseResPackage(Bytes(STX "000000" ETX), 8, nullptr, 64), -22);
}

TEST(UnionParse, PayloadBeyondTheRoomIsRefusedUncopied)
{
    Room room;
    EXPECT_EQ(Parse(STX "000311223300" ETX, &room, 2), -22);
    EXPECT_EQ(room.Hex(1), "EE ");
    EXPECT_EQ(Parse(STX "000311223300" ETX, &room, 3), 3);
}

TEST(UnionParse, ClaimedPayloadThatIsMissingReadsAsZero)
{
    Room room;
    ASSERT_EQ(Parse(STX "0005::" ETX, &room, 64), 5);
    EXPECT_EQ(room.Hex(6), "AA 00 00 00 00 EE ");
    ASSERT_EQ(Parse(STX "1000"
                        "11" ETX,
                    &room, 4096),
              4096); // more than the decode scratch holds
    EXPECT_EQ(room.bytes[4095], 0x00);
    EXPECT_EQ(room.bytes[4096], 0xEE);
}

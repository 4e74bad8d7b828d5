// The KrelIc wire format, byte for byte.
#include "link/ic_transport.h"

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
    return KrelIc_MakeCmdPackage(Bytes(command), Length(command), room->Data(), capacity);
}

int Trim(const std::string &received, Room *room, int capacity)
{
    return KrelIc_TrimPackage(Bytes(received), Length(received), room->Data(), capacity);
}

int Parse(const std::string &answer, Room *room, int capacity)
{
    return KrelIc_ParseResPackage(Bytes(answer), Length(answer), room->Data(), capacity);
}

} // namespace

TEST(KrelIcMake, TwoByteCommand)
{
    Room room;
    ASSERT_EQ(Make(FromHex("81 00"), &room, 1024), 11);
    EXPECT_EQ(room.Text(12), "60028100E3" ETX "\xEE");
}

TEST(KrelIcMake, CheckByteCoversStartAndLength)
{
    Room room;
    ASSERT_EQ(Make(FromHex("F1"), &room, 1024), 9);
    EXPECT_EQ(room.Text(9), "6001F190" ETX);
}

TEST(KrelIcMake, LengthByteIsTheLowByteOnly)
{
    Room room;
    ASSERT_EQ(Make(std::string(258, '\x5A'), &room, 1024), 523);
    EXPECT_EQ(room.Text(6), "60025A"); // 258 is 0x102
    EXPECT_EQ(room.Text(523).substr(516), "5A5A62" ETX);
}

TEST(KrelIcMake, RoomForTheWireLengthSuffices)
{
    Room room;
    EXPECT_EQ(Make(FromHex("81 00"), &room, 10), -22);
    EXPECT_EQ(room.Hex(1), "EE ");
    EXPECT_EQ(Make(FromHex("81 00"), &room, 11), 11);
}

TEST(KrelIcMake, FrameOf1024BytesIsTheLongest)
{
    Room room;
    EXPECT_EQ(Make(std::string(1021, 'a'), &room, 4200), 2049);
    EXPECT_EQ(Make(std::string(1022, 'a'), &room, 4200), -22);
}

TEST(KrelIcMake, RefusesNullAndNegative)
{
    Room room;
    const unsigned char command[] = {0x81};
    EXPECT_EQ(KrelIc_MakeCmdPackage(nullptr, 1, room.Data(), 1024), -22);
    EXPECT_EQ(KrelIc_MakeCmdPackage(command, 1, nullptr, 1024), -22);
    EXPECT_EQ(KrelIc_MakeCmdPackage(command, -1, room.Data(), 1024), -22);
    EXPECT_EQ(KrelIc_MakeCmdPackage(command, 2147483647, room.Data(), 1024), -22);
}

TEST(KrelIcTrim, CutsFrom60ToTheFirstEndByte)
{
    Room room;
    ASSERT_EQ(Trim("\xFF\x03 ..6"
                   "6003009000F3" ETX "60" ETX,
                   &room, 64),
              13);
    EXPECT_EQ(room.Text(13), "6003009000F3" ETX);
}

TEST(KrelIcTrim, ClearsTheRestOfTheRoom)
{
    Room room;
    ASSERT_EQ(Trim("600060" ETX, &room, 20), 7);
    EXPECT_EQ(room.Text(20), "600060" ETX + std::string(13, '\0'));
    EXPECT_EQ(room.bytes[20], 0xEE);
}

TEST(KrelIcTrim, NoiseThatHolds60IsTakenAsTheStart)
{
    Room room;
    ASSERT_EQ(Trim("x60"
                   "600060" ETX,
                   &room, 64),
              9);
    EXPECT_EQ(room.Text(9), "60600060" ETX);
}

TEST(KrelIcTrim, WithoutAStartNothingIsTouched)
{
    Room room;
    EXPECT_EQ(Trim("0066" ETX, &room, 64), 0);
    EXPECT_EQ(Trim("", &room, 64), 0);
    EXPECT_EQ(Trim("6", &room, 64), 0);
    EXPECT_EQ(room.Hex(1), "EE ");
    // The "0" behind the last received byte is not part of it.
    EXPECT_EQ(KrelIc_TrimPackage(Bytes("60"), 1, room.Data(), 64), 0);
}

TEST(KrelIcTrim, RoomBoundsTheCopy)
{
    Room room;
    ASSERT_EQ(Trim("600060" ETX, &room, 4), 4);
    EXPECT_EQ(room.Text(5), "6000\xEE");
}

TEST(KrelIcTrim, WithoutAnEndByteEverythingIsTaken)
{
    Room room;
    ASSERT_EQ(Trim("..60030090", &room, 64), 8);
    EXPECT_EQ(room.Text(8), "60030090");
}

TEST(KrelIcParse, GivesThePayload)
{
    Room room;
    ASSERT_EQ(Parse("6003009000F3" ETX, &room, 64), 3);
    EXPECT_EQ(room.Hex(4), "00 90 00 EE ");
}

TEST(KrelIcParse, CheckByteIsNotVerified)
{
    Room room;
    ASSERT_EQ(Parse("600300900055" ETX, &room, 64), 3);
    EXPECT_EQ(room.Hex(3), "00 90 00 ");
    ASSERT_EQ(Parse("6003009000" ETX, &room, 64), 3); // nor missed
}

TEST(KrelIcParse, EitherCaseDecodesAndOtherCharactersCountAsZero)
{
    Room room;
    ASSERT_EQ(Parse("6004abCDGFx/00" ETX, &room, 64), 4);
    EXPECT_EQ(room.Hex(4), "AB CD 0F 00 ");
}

TEST(KrelIcParse, EmptyPayload)
{
    Room room;
    EXPECT_EQ(Parse("600060" ETX, &room, 64), 0);
    EXPECT_EQ(Parse("60" ETX, &room, 64), 0); // a length byte that is missing is zero
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(KrelIcParse, MalformedAnswers)
{
    Room room;
    for (const std::string answer :
         {"", "6", ETX, "60", "6" ETX, "06009000" ETX, "6103009000F3" ETX, "7003009000F3" ETX,
          "6003009000F3", "6003009000F3" ETX "6"})
        EXPECT_EQ(Parse(answer, &room, 64), -74) << ToHex(answer);
    EXPECT_EQ(KrelIc_ParseResPackage(Bytes("60" ETX), -1, room.Data(), 64), -74);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(KrelIcParse, RefusesNull)
{
    Room room;
    EXPECT_EQ(KrelIc_ParseResPackage(nullptr, 7, room.Data(), 64), -22);
    EXPECT_EQ(KrelIc_ParseResPackage(Bytes("600060" ETX), 7, nullptr, 64), -22);
}

TEST(KrelIcParse, PayloadBeyondTheRoomIsCutAndRefused)
{
    Room room;
    EXPECT_EQ(Parse("600311223363" ETX, &room, 2), -22);
    EXPECT_EQ(room.Hex(3), "11 22 EE ");
}

TEST(KrelIcParse, ClaimedPayloadThatIsMissingReadsAsZero)
{
    Room room;
    ASSERT_EQ(Parse("6005AA" ETX, &room, 64), 5);
    EXPECT_EQ(room.Hex(6), "AA 00 00 00 00 EE ");
}

TEST(KrelIcParse, LongFormCountsFromB0AndPutsAZeroInFront)
{
    std::string text = "60FFB1";
    for (int i = 0; i < 256; i++)
        text += ToHex(std::string(1, static_cast<char>(i))).substr(0, 2);
    Room room;
    ASSERT_EQ(Parse(text + "77" ETX, &room, 512), 256);
    EXPECT_EQ(room.bytes[0], 0x00);
    for (int i = 0; i < 256; i++)
        ASSERT_EQ(room.bytes[static_cast<size_t>(i) + 1], i);
    EXPECT_EQ(room.bytes[257], 0xEE); // one byte more than the length, and no more
}

TEST(KrelIcParse, LongFormLengths)
{
    const std::string data(700, '0');
    Room room;
    EXPECT_EQ(Parse("60FFB0" + data + ETX, &room, 512), 255);
    EXPECT_EQ(Parse("60FFFF" + data + ETX, &room, 512), 334);
    EXPECT_EQ(Parse("60FFAF" + data + ETX, &room, 512), 254);
    EXPECT_EQ(Parse("60FF00" + data + ETX, &room, 512), 79);
    EXPECT_EQ(Parse("60FF" ETX, &room, 512), 79); // a missing byte is zero
}

TEST(KrelIcParse, LongFormStaysInTheRoom)
{
    const std::string answer = "60FFB0" + std::string(600, '1') + ETX;
    Room room;
    ASSERT_EQ(Parse(answer, &room, 255), 255);
    EXPECT_EQ(room.bytes[254], 0x11);
    EXPECT_EQ(room.bytes[255], 0xEE);
    room = Room();
    ASSERT_EQ(Parse(answer, &room, 254), -22);
    EXPECT_EQ(room.bytes[253], 0x11);
    EXPECT_EQ(room.bytes[254], 0xEE);
    EXPECT_EQ(Parse(answer, &room, 0), -22);
}

TEST(KrelIcParse, LongFormReadsAsZeroBehindTheAnswer)
{
    Room room;
    ASSERT_EQ(Parse("60FFB0AABB" ETX, &room, 512), 255);
    EXPECT_EQ(room.Hex(4), "00 AA BB 00 ");
    EXPECT_EQ(room.bytes[255], 0x00);
    EXPECT_EQ(room.bytes[256], 0xEE);
}

TEST(KrelIcParse, AnswerBeyondTheDecodeScratchIsCut)
{
    Room room;
    EXPECT_EQ(Parse("6002AABB" + std::string(20000, 'F') + ETX, &room, 64), 2);
    EXPECT_EQ(room.Hex(3), "AA BB EE ");
}

TEST(KrelIcEnd, AnyEndByteEndsThePacket)
{
    for (auto *isEnd : {KrelIcPacketIsEnd, UnionPacketIsEnd})
    {
        EXPECT_EQ(isEnd(Bytes("600060" ETX), 7), 1);
        EXPECT_EQ(isEnd(Bytes(ETX "600060"), 7), 1);
        EXPECT_EQ(isEnd(Bytes("60" ETX "00"), 5), 1);
        EXPECT_EQ(isEnd(Bytes("600060" ETX), 6), 0);
        EXPECT_EQ(isEnd(Bytes(""), 0), 0);
    }
}

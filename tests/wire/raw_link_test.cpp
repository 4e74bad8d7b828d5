// Raw exchanges. Over a serial line a fixed-length answer is awaited for as many microseconds as
// the time-out has milliseconds, so here it lies ready before the command goes out.
#include "vantor/link.h"

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "wire/line_host.h"
#include "wire/room.h"

using testing::HasSubstr;
using testing_support::GoldenLine;
using wire_testing::Bytes;
using wire_testing::kNoTerminal;
using wire_testing::Length;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000;
const char *const kTrackEnd = "?\x1C";
const char *const kWriteEnd = "rp/q";

int SendFixed(LineHost *host, const std::string &command, Room *room, int capacity, int expected,
              uint32_t timeoutMs = kEnoughMs)
{
    return RAWL_SendCmd(&host->device, Bytes(command), Length(command), room->Data(), capacity,
                        expected, timeoutMs);
}

int SendMarked(LineHost *host, const std::string &command, Room *room, int capacity,
               const char *endKind, uint32_t timeoutMs = kEnoughMs)
{
    return RAWC_SendCmd(&host->device, Bytes(command), Length(command), room->Data(), capacity,
                        endKind, timeoutMs);
}

} // namespace

TEST(MsrPacketIsEnd, QuestionMarkThenFieldSeparatorAnywhere)
{
    EXPECT_NE(MsrPacketIsEnd(Bytes("ab?\x1C"), 4), 0);
    EXPECT_NE(MsrPacketIsEnd(Bytes("?\x1C"
                                   "ab"),
                             4),
              0);
    EXPECT_NE(MsrPacketIsEnd(Bytes("??\x1C"), 3), 0);
    EXPECT_EQ(MsrPacketIsEnd(Bytes("ab?\x1C"), 3), 0); // FS has not come yet
    EXPECT_EQ(MsrPacketIsEnd(Bytes("?a\x1C"), 3), 0);
    EXPECT_EQ(MsrPacketIsEnd(Bytes("\x1C?"), 2), 0);
    EXPECT_EQ(MsrPacketIsEnd(Bytes("?"), 1), 0);
    EXPECT_EQ(MsrPacketIsEnd(Bytes("?"), 0), 0);
}

TEST(MsrWriteIsEnd, EitherPairAnywhere)
{
    EXPECT_NE(MsrWriteIsEnd(Bytes(ESC "rp"), 3), 0);
    EXPECT_NE(MsrWriteIsEnd(Bytes(ESC "rq"), 3), 0);
    EXPECT_NE(MsrWriteIsEnd(Bytes("rqab"), 4), 0);
    EXPECT_NE(MsrWriteIsEnd(Bytes("rrp"), 3), 0);
    EXPECT_EQ(MsrWriteIsEnd(Bytes("rp"), 1), 0);
    EXPECT_EQ(MsrWriteIsEnd(Bytes("pr"), 2), 0);
    EXPECT_EQ(MsrWriteIsEnd(Bytes("ra"), 2), 0);
    EXPECT_EQ(MsrWriteIsEnd(Bytes("r"), 0), 0);
}

TEST(RawFixedLength, GivesWhatIsThereUpToTheExpectedLength)
{
    GoldenLine line{{"", "ABCDEF"}, {ESC "0", ""}, {ESC "1", ""}};
    LineHost host(line, "");
    ASSERT_EQ(COMM_Open(&host.device), 0);
    Room room;
    ASSERT_EQ(SendFixed(&host, ESC "0", &room, 16, 2), 2);
    EXPECT_EQ(room.Text(3), "AB\xEE");
    ASSERT_EQ(SendFixed(&host, ESC "1", &room, 16, 9), 4); // one read, no second one for the rest
    EXPECT_EQ(room.Text(5), "CDEF\xEE");
    COMM_Close(&host.device);
}

TEST(RawFixedLength, WithNothingExpectedTheWrittenCountIsReturned)
{
    GoldenLine line{{"", "ABC"}, {ESC "S!", ""}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendFixed(&host, ESC "S!", &room, 1, 0), 3);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(RawFixedLength, NoAnswerGivesTimeout)
{
    GoldenLine line{{ESC "0", ""}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendFixed(&host, ESC "0", &room, 16, 2, 10), -62);
    EXPECT_EQ(room.Hex(1), "EE ");
    EXPECT_EQ(host.device.refCnt, 0U);
}

TEST(RawFixedLength, ReadsNoMoreThanItsBufferHolds)
{
    GoldenLine line{{"", std::string(1200, 'x')}, {ESC "0", ""}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendFixed(&host, ESC "0", &room, 2000, 1500), 1024);
    EXPECT_EQ(room.bytes[1023], 'x');
    EXPECT_EQ(room.bytes[1024], 0xEE);
}

TEST(RawFixedLength, BadArgumentsAreRefusedBeforeTheDeviceIsOpened)
{
    LineHost host(kNoTerminal, "");
    unsigned char room[16];
    EXPECT_EQ(RAWL_SendCmd(&host.device, nullptr, 1, room, 16, 1, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 1, nullptr, 16, 1, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 1, room, 16, 17, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 1, room, 16, -1, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 0, room, 16, 1, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), -1, room, 16, 1, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 1, room, 0, 0, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 1, room, -1, -1, 10), -22);
    EXPECT_EQ(RAWL_SendCmd(&host.device, Bytes("a"), 1, room, 16, 16, 10), -2);
    EXPECT_EQ(RAWL_SendCmd(nullptr, Bytes("a"), 1, room, 16, 1, 10), -19);
}

TEST(RawFixedLength, LogsTheCommandAsTextAndTheAnswerInHexadecimal)
{
    GoldenLine line{{"", "OK"}, {"01", ""}, {"23", ""}};
    LineHost host(line, "");
    host.LogAt(2);
    ASSERT_EQ(COMM_Open(&host.device), 0);
    Room room;
    ASSERT_EQ(RAWL_SendCmd(&host.device, Bytes("01XYZ"), 2, room.Data(), 16, 2, kEnoughMs), 2);
    EXPECT_THAT(host.Log(), HasSubstr("):Send Cmd: 01\r\n"));
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=2): 4F4B\r\n"));
    ASSERT_EQ(SendFixed(&host, "23", &room, 16, 2, 10), -62);
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=0): \r\n"));
    COMM_Close(&host.device);
}

TEST(RawToMarker, GathersUntilTheTrackEnd)
{
    GoldenLine line{{ESC "]", ESC "s1234=5678?\x1C", 4, 2}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendMarked(&host, ESC "]", &room, 256, kTrackEnd), 13);
    EXPECT_EQ(room.Text(14), ESC "s1234=5678?\x1C\xEE");
}

TEST(RawToMarker, GathersUntilEitherWriteStatus)
{
    GoldenLine line{{ESC "t1", ESC "rp", 1, 2}, {ESC "t2", ESC "Trq", 1, 2}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendMarked(&host, ESC "t1", &room, 256, kWriteEnd), 3);
    EXPECT_EQ(room.Text(4), ESC "rp\xEE");
    ASSERT_EQ(SendMarked(&host, ESC "t2", &room, 256, kWriteEnd), 4);
    EXPECT_EQ(room.Text(5), ESC "Trq\xEE");
}

TEST(RawToMarker, TimeoutGivesWhatCameAndNothingGivesMinus62)
{
    GoldenLine line{{"", "part?"}, {"a", ""}, {"b", ""}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendMarked(&host, "a", &room, 256, kTrackEnd, 20), 5);
    EXPECT_EQ(room.Text(6), "part?\xEE");
    EXPECT_EQ(SendMarked(&host, "b", &room, 256, kTrackEnd, 20), -62);
}

TEST(RawToMarker, FailedReadIsReturnedWhateverTheRoomAndLeavesIt)
{
    GoldenLine line{{"abc", ""}, {"abc", ""}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendMarked(&host, "abc", &room, 256, kTrackEnd, 20), -62);
    EXPECT_EQ(SendMarked(&host, "abc", &room, 2, kTrackEnd, 20), -62);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(RawToMarker, CancelGivesMinus125)
{
    GoldenLine line{{"a", ""}};
    LineHost host(line, "");
    Room room;
    std::atomic<bool> done{false};
    std::thread canceller(
        [&done]
        {
            while (!done) // a cancel issued before the read begins is lost
            {
                COMM_cancle();
                std::this_thread::yield();
            }
        });
    EXPECT_EQ(SendMarked(&host, "a", &room, 256, kTrackEnd, 60000), -125);
    done = true;
    canceller.join();
}

TEST(RawToMarker, ReadsNoMoreThanItsBufferHolds)
{
    GoldenLine line{{"a", std::string(1100, 'x')}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendMarked(&host, "a", &room, 2000, kTrackEnd), 1024);
    EXPECT_EQ(room.bytes[1023], 'x');
    EXPECT_EQ(room.bytes[1024], 0xEE);
}

TEST(RawToMarker, AnswerBeyondTheRoomIsRefused)
{
    GoldenLine line{{"a", "1234?\x1C"}, {"b", "123?\x1C"}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendMarked(&host, "a", &room, 5, kTrackEnd), -22);
    EXPECT_EQ(room.Hex(1), "EE ");
    EXPECT_EQ(SendMarked(&host, "b", &room, 5, kTrackEnd), 5);
}

TEST(RawToMarker, OtherEndKindReadsNothingAndGivesZerosOfTheWrittenCount)
{
    for (const char *endKind : {"", "?", "rp", "?\x1C?", "rp/"})
    {
        GoldenLine line{{"", "never read"}, {"abc", ""}};
        LineHost host(line, "");
        Room room;
        ASSERT_EQ(SendMarked(&host, "abc", &room, 3, endKind), 3) << endKind;
        EXPECT_EQ(room.Hex(4), "00 00 00 EE ");
    }
}

TEST(RawToMarker, WrittenCountOfAnotherEndKindIsHeldAgainstTheRoom)
{
    const std::string large(1500, 'c');
    GoldenLine line{{"abc", ""}, {large, ""}, {large, ""}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendMarked(&host, "abc", &room, 2, "none"), -22);
    EXPECT_EQ(SendMarked(&host, large, &room, 1499, "none"), -22);
    EXPECT_EQ(room.Hex(1), "EE ");
    ASSERT_EQ(SendMarked(&host, large, &room, 1500, "none"), 1500);
    EXPECT_EQ(room.bytes[1499], 0x00);
    EXPECT_EQ(room.bytes[1500], 0xEE);
}

TEST(RawToMarker, BadArgumentsAreRefusedBeforeTheDeviceIsOpened)
{
    LineHost host(kNoTerminal, "");
    unsigned char room[16];
    EXPECT_EQ(RAWC_SendCmd(&host.device, nullptr, 1, room, 16, kTrackEnd, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), 1, nullptr, 16, kTrackEnd, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), 1, room, 16, nullptr, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), 0, room, 16, kTrackEnd, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), -1, room, 16, kTrackEnd, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), 1, room, 0, kTrackEnd, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), 1, room, -1, kTrackEnd, 10), -22);
    EXPECT_EQ(RAWC_SendCmd(&host.device, Bytes("a"), 1, room, 16, kTrackEnd, 10), -2);
    EXPECT_EQ(RAWC_SendCmd(nullptr, Bytes("a"), 1, room, 16, kTrackEnd, 10), -19);
}

TEST(RawToMarker, LogsCommandAndAnswer)
{
    GoldenLine line{{"t", "rp"}};
    LineHost host(line, "");
    host.LogAt(2);
    Room room;
    ASSERT_EQ(SendMarked(&host, "t", &room, 16, kWriteEnd), 2);
    EXPECT_THAT(host.Log(), HasSubstr("):Send Cmd: t\r\n"));
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=2): 7270\r\n"));
}

TEST(RawExchange, ReportModeOverUsbFollowsTheDeviceType)
{
    LineHost host(kNoTerminal, "devtype=0\n");
    DC_Init(&host.device);
    DC_SetInterfaceType(&host.device, "hid"); // without ids: the open fails, the mode is chosen
    Room room;
    EXPECT_EQ(SendFixed(&host, "a", &room, 16, 1), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 1);
    host.Settings("devtype=3\n");
    EXPECT_EQ(SendFixed(&host, "a", &room, 16, 1), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 0);
    host.Settings("");
    EXPECT_EQ(SendMarked(&host, "a", &room, 16, kTrackEnd), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 1);
    host.Settings("devtype=3\n");
    EXPECT_EQ(SendMarked(&host, "a", &room, 16, kTrackEnd), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 0);
}

TEST(RawExchange, LevelOneLogsNothing)
{
    GoldenLine line{{"t", "rp"}};
    LineHost host(line, "");
    host.LogAt(1);
    testing_support::WriteFile(host.directory.path + "/wire.log", "");
    Room room;
    ASSERT_EQ(SendMarked(&host, "t", &room, 16, kWriteEnd), 2);
    EXPECT_EQ(host.Log(), "");
}

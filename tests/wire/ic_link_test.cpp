// One exchange of the IC command link: what goes out, what comes back, what the caller gets.
#include "vantor/link.h"

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "wire/line_host.h"
#include "wire/room.h"

using testing::HasSubstr;
using testing_support::FromHex;
using testing_support::GoldenLine;
using testing_support::ToHex;
using wire_testing::Bytes;
using wire_testing::kNoTerminal;
using wire_testing::Length;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000; // a step that takes so long has failed
const uint32_t kSilenceMs = 20;

using SendCommand = int (*)(DEVCONTEXT *, const unsigned char *, int, unsigned char *, int,
                            uint32_t);

int Send(SendCommand send, LineHost *host, const std::string &command, Room *room, int capacity,
         uint32_t timeoutMs)
{
    return send(&host->device, Bytes(command), Length(command), room->Data(), capacity, timeoutMs);
}

int SendKrel(LineHost *host, const std::string &command, Room *room, int capacity,
             uint32_t timeoutMs = kEnoughMs)
{
    return Send(KrelIc_SendCmd, host, command, room, capacity, timeoutMs);
}

int SendUnion(LineHost *host, const std::string &command, Room *room, int capacity,
              uint32_t timeoutMs = kEnoughMs)
{
    return Send(Union_SendCmd, host, command, room, capacity, timeoutMs);
}

const std::string kInfo = FromHex("81 00");
const std::string kInfoKrel = "60028100E3" ETX;
const std::string kUnionInfo = FromHex("31 11 00");
const std::string kInfoUnion = STX "000331110020" ETX;

} // namespace

TEST(KrelIcExchange, GivesThePayloadOfTheAnswer)
{
    GoldenLine line{{kInfoKrel, "6003009000F3" ETX}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendKrel(&host, kInfo, &room, 256), 3);
    EXPECT_EQ(room.Hex(4), "00 90 00 EE ");
}

TEST(UnionExchange, GivesThePayloadOfTheAnswer)
{
    GoldenLine line{{kInfoUnion, STX "0004"
                                     "00003;65"
                                     "5>" ETX}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendUnion(&host, kUnionInfo, &room, 256), 4);
    EXPECT_EQ(room.Hex(5), "00 00 3B 65 EE ");
}

TEST(KrelIcExchange, AnswerWithWrongCheckByteIsAccepted)
{
    GoldenLine line{{kInfoKrel, "600300900000" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 3);
}

TEST(UnionExchange, AnswerWithWrongCheckByteIsAccepted)
{
    GoldenLine line{{kInfoUnion, STX "0002000099" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256), 2);
}

TEST(KrelIcExchange, NoiseBeforeTheAnswerIsSkipped)
{
    GoldenLine line{{kInfoKrel, "\xFF\x01 16"
                                "6003009000F3" ETX}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendKrel(&host, kInfo, &room, 256), 3);
    EXPECT_EQ(room.Hex(3), "00 90 00 ");
}

TEST(UnionExchange, NoiseBeforeTheAnswerIsSkipped)
{
    GoldenLine line{{kInfoUnion, "60\xFF" STX "0002000000" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256), 2);
}

TEST(KrelIcExchange, NoiseThatHolds60IsTakenAsTheStart)
{
    GoldenLine line{{kInfoKrel, "60"
                                "6003009000F3" ETX}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendKrel(&host, kInfo, &room, 512), 96); // the second 60 is read as the length
    EXPECT_EQ(room.Hex(3), "03 00 90 ");
}

TEST(KrelIcExchange, NoiseWithAnEndByteEndsTheAnswer)
{
    GoldenLine line{{kInfoKrel, ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), -74);
}

TEST(KrelIcExchange, AnswerInPiecesIsGathered)
{
    GoldenLine line{{kInfoKrel, "6003009000F3" ETX, 1, 2}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 3);
}

TEST(UnionExchange, AnswerInPiecesIsGathered)
{
    GoldenLine line{{kInfoUnion, STX "0002000000" ETX, 5, 2}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256), 2);
}

TEST(KrelIcExchange, TimeoutGivesBadAnswer)
{
    GoldenLine line{{kInfoKrel, ""}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256, kSilenceMs), -74);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(UnionExchange, TimeoutGivesBadAnswer)
{
    GoldenLine line{{kInfoUnion, ""}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256, kSilenceMs), -74);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(KrelIcExchange, AnswerThatBreaksOffGivesBadAnswer)
{
    GoldenLine line{{kInfoKrel, "6003009000F3"}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256, kSilenceMs), -74);
}

TEST(KrelIcExchange, CancelGivesBadAnswer)
{
    GoldenLine line{{kInfoKrel, ""}};
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
    const uint64_t start = GetTickCount();
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256, 60000), -74);
    EXPECT_LT(GetTickCount() - start, 30000U);
    done = true;
    canceller.join();
}

TEST(KrelIcExchange, TerminalThatVanishesGivesBadAnswerAndThenCannotBeOpened)
{
    GoldenLine line{{kInfoKrel, "6003", 0, 0, true}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256, 200), -74);
    line.Finish(); // by now it has hung up
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256, 200), -2);
}

TEST(KrelIcExchange, FloodGivesBadAnswerAndTheNextExchangeWorks)
{
    GoldenLine line{{kInfoKrel, std::string(2500, 'x')}, {kInfoKrel, "6003009000F3" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), -74);
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 3);
}

TEST(KrelIcExchange, AnswerOfALongFormKeepsInTheRoom)
{
    GoldenLine line{{kInfoKrel, "60FFB0" + std::string(512, '1') + "00" ETX}};
    LineHost host(line, "");
    Room room;
    ASSERT_EQ(SendKrel(&host, kInfo, &room, 1024), 255);
    EXPECT_EQ(room.bytes[0], 0x00);
    EXPECT_EQ(room.bytes[255], 0x11);
    EXPECT_EQ(room.bytes[256], 0xEE);
}

TEST(KrelIcExchange, RoomOf256BytesTakes124PayloadBytesAndNotOneMore)
{
    GoldenLine line{{kInfoKrel, "607C" + std::string(248, '1') + "00" ETX},
                    {kInfoKrel, "607D" + std::string(250, '1') + "00" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 124);
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), -22);
}

TEST(UnionExchange, RoomOf256BytesTakes124PayloadBytesAndNotOneMore)
{
    GoldenLine line{{kInfoUnion, STX "007<" + std::string(248, '1') + "00" ETX},
                    {kInfoUnion, STX "007=" + std::string(250, '1') + "00" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256), 124);
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256), -22);
}

TEST(IcExchange, EmptyPayloadTooNeedsRoomForItsWireForm)
{
    GoldenLine line{{kInfoKrel, "600060" ETX},
                    {kInfoKrel, "600060" ETX},
                    {kInfoUnion, STX "000000" ETX},
                    {kInfoUnion, STX "000000" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 6), -22);
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 7), 0);
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 7), -22);
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 8), 0);
    EXPECT_EQ(room.Hex(1), "EE ");
}

TEST(IcExchange, BadArgumentsAreRefusedBeforeTheDeviceIsOpened)
{
    LineHost host(kNoTerminal, "");
    unsigned char command[300] = {0x81};
    unsigned char room[16] = {};
    for (SendCommand send : {KrelIc_SendCmd, Union_SendCmd})
    {
        EXPECT_EQ(send(&host.device, nullptr, 1, room, 16, 10), -22);
        EXPECT_EQ(send(&host.device, command, 1, nullptr, 16, 10), -22);
        EXPECT_EQ(send(&host.device, command, 0, room, 16, 10), -22);
        EXPECT_EQ(send(&host.device, command, -1, room, 16, 10), -22);
        EXPECT_EQ(send(&host.device, command, 1, room, 0, 10), -22);
        EXPECT_EQ(send(&host.device, command, 1, room, -1, 10), -22);
        EXPECT_EQ(send(&host.device, command, 255, room, 16, 10), -2); // gets as far as opening
    }
    EXPECT_EQ(KrelIc_SendCmd(&host.device, command, 256, room, 16, 10), -22);
    EXPECT_EQ(Union_SendCmd(&host.device, command, 256, room, 16, 10), -2);
}

TEST(IcExchange, OpenFailuresAreReturned)
{
    LineHost host(kNoTerminal, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), -2);
    EXPECT_EQ(SendUnion(&host, kInfo, &room, 256), -2);
    EXPECT_EQ(host.device.refCnt, 0U);
    DC_SetInterfaceType(&host.device, "nothing");
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), -19);
    EXPECT_EQ(SendUnion(&host, kInfo, &room, 256), -19);
    EXPECT_EQ(KrelIc_SendCmd(nullptr, Bytes(kInfo), 2, room.Data(), 256, 10), -19);
}

TEST(KrelIcExchange, LongestCommand)
{
    GoldenLine line{{"60FF" + std::string(510, '0') + "9F" ETX, "600060" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, std::string(255, '\0'), &room, 256), 0);
}

TEST(UnionExchange, FrameThatPassesTheWireBufferIsRefusedUnsent)
{
    GoldenLine line{{STX "03?<" + std::string(2040, '0') + "00" ETX, STX "000000" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendUnion(&host, std::string(1020, '\0'), &room, 256), 0);
    EXPECT_EQ(SendUnion(&host, std::string(1021, '\0'), &room, 256), -22);
    EXPECT_EQ(host.device.refCnt, 0U);
}

TEST(IcExchange, EachExchangeDropsItsOwnReference)
{
    GoldenLine line{{kInfoKrel, "600060" ETX}, {kInfoUnion, ""}, {kInfoKrel, "600060" ETX}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 0);
    EXPECT_EQ(DC_IsOpen(&host.device), 0U);
    ASSERT_EQ(COMM_Open(&host.device), 0);
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256, kSilenceMs), -74);
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 0);
    EXPECT_EQ(host.device.refCnt, 1U);
    EXPECT_EQ(DC_IsOpen(&host.device), 1U);
    COMM_Close(&host.device);
}

TEST(IcExchange, ReportModeOverUsbFollowsTheDeviceType)
{
    for (SendCommand send : {KrelIc_SendCmd, Union_SendCmd})
    {
        LineHost host(kNoTerminal, "devtype=0\n");
        DC_Init(&host.device);
        DC_SetInterfaceType(&host.device, "hid"); // without ids: the open fails, the mode is chosen
        unsigned char room[16];
        EXPECT_EQ(send(&host.device, Bytes(kInfo), 2, room, 16, 10), -19);
        EXPECT_EQ(DC_GetModeId(&host.device), 2);
        host.Settings("devtype=1\n");
        EXPECT_EQ(send(&host.device, Bytes(kInfo), 2, room, 16, 10), -19);
        EXPECT_EQ(DC_GetModeId(&host.device), 0);
        host.Settings("");
        EXPECT_EQ(send(&host.device, Bytes(kInfo), 2, room, 16, 10), -19);
        EXPECT_EQ(DC_GetModeId(&host.device), 2);
    }
}

TEST(KrelIcExchange, LogsThePacketsInHexadecimal)
{
    GoldenLine line{{kInfoKrel, "..600060" ETX}};
    LineHost host(line, "");
    host.LogAt(2);
    Room room;
    ASSERT_EQ(SendKrel(&host, kInfo, &room, 256), 0);
    const std::string log = host.Log();
    EXPECT_THAT(log, HasSubstr("):Send szPackage: 3630303238313030453303\r\n"));
    EXPECT_THAT(log, HasSubstr("):Read Pack(len=9): 2E2E36303030363003\r\n"));
    EXPECT_THAT(log, HasSubstr("Info("));
    EXPECT_THAT(log, Not(HasSubstr("Cmd")));
}

TEST(UnionExchange, LogsTheCommandAsTextInItsLength)
{
    GoldenLine line{{STX "000332214152" ETX, STX "000000" ETX}};
    LineHost host(line, "");
    host.LogAt(2);
    Room room;
    ASSERT_EQ(Union_SendCmd(&host.device, Bytes("2!ABCD"), 3, room.Data(), 256, kEnoughMs), 0);
    const std::string log = host.Log();
    EXPECT_THAT(log, HasSubstr("):Cmd: 2!A, CmdSize = 3\r\n"));
    EXPECT_THAT(log, HasSubstr("):Send szPackage: 0230303033333232313431353203\r\n"));
    EXPECT_THAT(log, HasSubstr("):Read Pack(len=8): 0230303030303003\r\n"));
}

TEST(KrelIcExchange, LogsAMissingAnswerAsZerosOfTheCommandsLength)
{
    GoldenLine line{{kInfoKrel, ""}};
    LineHost host(line, "");
    host.LogAt(2);
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256, kSilenceMs), -74);
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=11): 0000000000000000000000\r\n"));
}

TEST(KrelIcExchange, LogsALongAnswerInFull)
{
    GoldenLine line{{kInfoKrel, std::string(2048, 'x')}};
    LineHost host(line, "");
    host.LogAt(2);
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), -74);
    std::string hex;
    for (int i = 0; i < 2048; i++)
        hex += "78";
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=2048): " + hex + "\r\n"));
}

TEST(IcExchange, LevelOneLogsNoPackets)
{
    GoldenLine line{{kInfoKrel, "600060" ETX}, {kInfoUnion, STX "000000" ETX}};
    LineHost host(line, "");
    host.LogAt(1);
    testing_support::WriteFile(host.directory.path + "/wire.log", "");
    Room room;
    EXPECT_EQ(SendKrel(&host, kInfo, &room, 256), 0);
    EXPECT_EQ(SendUnion(&host, kUnionInfo, &room, 256), 0);
    EXPECT_EQ(host.Log(), "");
}

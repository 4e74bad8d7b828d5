// The identity module's frames and the exchange.
#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "support/identity_card.h"
#include "vantor/link.h"
#include "wire/line_host.h"
#include "wire/room.h"

using testing::HasSubstr;
using testing_support::FromHex;
using testing_support::GoldenLine;
using testing_support::IdentityFrame;
using testing_support::ToHex;
using wire_testing::Bytes;
using wire_testing::kNoTerminal;
using wire_testing::Length;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000;
const uint32_t kShortMs = 200; // time for a reader on a busy machine

const int kAll = -99;
int s_written = kAll; // what a write of the serial line comes to; kAll: everything goes out

const std::string kReset = FromHex("11FF");
const std::string kResetFrame = FromHex("AAAAAA96690003 11FF ED");

struct Outcome
{
    int result;
    std::string response; // hexadecimal, as far as asked for
};

bool operator==(const Outcome &left, const Outcome &right)
{
    return left.result == right.result && left.response == right.response;
}

void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << outcome.result << ", " << outcome.response;
}

// The reset answered with these bytes.
Outcome Exchange(const std::string &answer, int capacity, size_t shown,
                 uint32_t timeoutMs = kEnoughMs)
{
    GoldenLine line{{kResetFrame, answer}};
    LineHost host(line, "");
    Room room;
    const int result = ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), capacity, timeoutMs);
    EXPECT_EQ(host.device.refCnt, 0U);
    return {result, room.Hex(shown)};
}

std::string Frame(const std::string &payload, int capacity = 4096)
{
    Room room;
    const int length = ID_MakeCmdPackage(Bytes(payload), Length(payload), room.Data(), capacity);
    return length < 0 ? std::to_string(length) : room.Hex(static_cast<size_t>(length) + 1);
}

int IsEnd(const std::string &hex)
{
    const std::string bytes = FromHex(hex);
    return KrelIdPacketIsEnd(Bytes(bytes), static_cast<uint32_t>(bytes.size()));
}

} // namespace

// The write of the serial line goes through here: see CMakeLists.txt.
extern "C" int __real_GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs);
extern "C" int __wrap_GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs)
{
    return s_written == kAll ? __real_GWriteCom(handle, bytes, count, timeoutMs) : s_written;
}

TEST(IdentityFrame, IsPreambleMarkLengthPayloadCheck)
{
    EXPECT_EQ(Frame(FromHex("11FF")), "AA AA AA 96 69 00 03 11 FF ED EE ");
    EXPECT_EQ(Frame(FromHex("2001")), "AA AA AA 96 69 00 03 20 01 22 EE ");
    EXPECT_EQ(Frame(FromHex("60")), "AA AA AA 96 69 00 02 60 62 EE ");
    EXPECT_EQ(Frame(""), "AA AA AA 96 69 00 01 01 EE ");
}

TEST(IdentityFrame, TheLengthHasItsHighByteFirst)
{
    Room room;
    const std::string payload(300, '\x11');
    EXPECT_EQ(ID_MakeCmdPackage(Bytes(payload), 300, room.Data(), 4096), 308);
    EXPECT_EQ(room.bytes[5], 0x01);
    EXPECT_EQ(room.bytes[6], 0x2D);
    EXPECT_EQ(room.bytes[307], 0x01 ^ 0x2D); // an even number of 11s
    EXPECT_EQ(room.bytes[308], 0xEE);
}

TEST(IdentityFrame, AsksForMoreRoomThanItTakes)
{
    EXPECT_EQ(Frame(FromHex("11FF"), 12), "AA AA AA 96 69 00 03 11 FF ED EE ");
    EXPECT_EQ(Frame(FromHex("11FF"), 11), "-22");
    EXPECT_EQ(Frame(FromHex("11FF"), 0), "-22");
    EXPECT_EQ(Frame(FromHex("11FF"), -1), "-22");
}

TEST(IdentityFrame, TakesAPayloadOf1021Bytes)
{
    const std::string payload(1022, 'p');
    Room room;
    EXPECT_EQ(ID_MakeCmdPackage(Bytes(payload), 1021, room.Data(), 4096), 1029);
    EXPECT_EQ(ID_MakeCmdPackage(Bytes(payload), 1022, room.Data(), 4096), -22);
    EXPECT_EQ(ID_MakeCmdPackage(Bytes(payload), 0x7FFFFFFF, room.Data(), 4096), -22);
    EXPECT_EQ(ID_MakeCmdPackage(Bytes(payload), -1, room.Data(), 4096), -22);
    EXPECT_EQ(ID_MakeCmdPackage(nullptr, 2, room.Data(), 4096), -22);
    EXPECT_EQ(ID_MakeCmdPackage(Bytes(payload), 2, nullptr, 4096), -22);
}

TEST(IdentityPacketIsEnd, WhenAsManyBytesAreThereAsTheLengthSays)
{
    EXPECT_NE(IsEnd("AAAAAA96690004 00009094"), 0);
    EXPECT_EQ(IsEnd("AAAAAA96690004 000090"), 0);
    EXPECT_NE(IsEnd("AAAAAA96690004 00009094 FF"), 0); // and more
    EXPECT_NE(IsEnd("AAAAAA96690004 00009000"), 0);    // whatever the check byte
    EXPECT_NE(IsEnd("AAAAAA96690000"), 0);
    EXPECT_EQ(IsEnd("AAAAAA966900"), 0);
    EXPECT_EQ(IsEnd("AAAAAA9669FFFF 00009094"), 0);
    EXPECT_EQ(IsEnd("AAAAAA96690104 00009094"), 0); // the high byte counts
    EXPECT_EQ(IsEnd(""), 0);
}

TEST(IdentityPacketIsEnd, NeedsTheFramesBeginning)
{
    for (const char *hex : {"ABAAAA96690000", "AAABAA96690000", "AAAAAB96690000", "AAAAAA95690000",
                            "AAAAAA96680000", "00AAAAAA96690000"})
        EXPECT_EQ(IsEnd(hex), 0) << hex;
}

TEST(IdentityExchange, GivesThePayloadAndCountsTheWholeFrame)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690004 00009094"), 256, 4), (Outcome{11, "00 00 90 EE "}));
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690006 00009F 1234 BB"), 256, 6),
              (Outcome{13, "00 00 9F 12 34 EE "}));
}

TEST(IdentityExchange, GathersAReplyThatComesInPieces)
{
    const std::string payload = testing_support::ResidentCard().Payload();
    GoldenLine line{{kResetFrame, IdentityFrame(payload), 400, 1}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 4096, kEnoughMs), 1295);
    EXPECT_EQ(room.Text(1287), payload);
    EXPECT_EQ(room.bytes[1287], 0xEE);
}

TEST(IdentityExchange, AWrongCheckByteIsAccepted)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690004 00009000"), 256, 4), (Outcome{11, "00 00 90 EE "}));
}

TEST(IdentityExchange, TheRoomMustBeMoreThanThePayload)
{
    const std::string answer = FromHex("AAAAAA96690004 00009094");
    EXPECT_EQ(Exchange(answer, 4, 4), (Outcome{11, "00 00 90 EE "}));
    EXPECT_EQ(Exchange(answer, 3, 1), (Outcome{-22, "EE "}));
    EXPECT_EQ(Exchange(answer, 1, 1), (Outcome{-22, "EE "}));
}

TEST(IdentityExchange, ALengthOfZeroOrOneGivesNoPayload)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690000"), 256, 1), (Outcome{7, "EE "}));
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690001 01"), 1, 1), (Outcome{8, "EE "}));
}

TEST(IdentityExchange, WhatALengthClaimsAndTheReplyLacksReadsAsZero)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690009 00009012"), 256, 9, kShortMs),
              (Outcome{11, "00 00 90 12 00 00 00 00 EE "}));
    EXPECT_EQ(Exchange(FromHex("AAAAAA9669"), 256, 1, kShortMs), (Outcome{5, "EE "}));
    EXPECT_EQ(Exchange(FromHex("AAAAAA966901"), 255, 2, kShortMs), (Outcome{-22, "EE EE "}));
    EXPECT_EQ(Exchange(FromHex("AAAAAA966901"), 256, 2, kShortMs), (Outcome{6, "00 00 "}));
}

TEST(IdentityExchange, ALengthOfFfffDoesNotFitAndNothingBeyondTheReplyIsRead)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA9669FFFF 000090"), 4096, 1, kShortMs), (Outcome{-22, "EE "}));
    GoldenLine line{{kResetFrame, FromHex("AAAAAA9669FFFF 000090")}};
    LineHost host(line, "");
    std::string room(70000, '\xEE');
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2,
                         reinterpret_cast<unsigned char *>(room.data()), 70000, kShortMs),
              10);
    EXPECT_EQ(ToHex(room.substr(0, 4)), "00 00 90 00 ");
    EXPECT_EQ(room[65533], '\0');
    EXPECT_EQ(room[65534], '\xEE');
}

TEST(IdentityExchange, BytesBehindTheFrameAreCountedAndNotGiven)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA96690004 00009094 112233"), 256, 4),
              (Outcome{14, "00 00 90 EE "}));
}

TEST(IdentityExchange, AReplyWithoutItsBeginningIsHandedOnFromTheEighthByte)
{
    EXPECT_EQ(Exchange(FromHex("AAAAAA96680004 00009094"), 256, 5, kShortMs),
              (Outcome{11, "00 00 90 94 EE "}));
    EXPECT_EQ(Exchange(FromHex("11223344556677"), 256, 1, kShortMs), (Outcome{7, "EE "}));
    EXPECT_EQ(Exchange(FromHex("11"), 256, 1, kShortMs), (Outcome{1, "EE "}));
    EXPECT_EQ(Exchange(FromHex("1122334455667788"), 8, 2, kShortMs), (Outcome{8, "88 EE "}));
    EXPECT_EQ(Exchange(FromHex("1122334455667788"), 7, 1, kShortMs), (Outcome{-22, "EE "}));
}

TEST(IdentityExchange, AFloodFillsTheReplyAndNoMore)
{
    GoldenLine line{{kResetFrame, std::string(5000, 'x')}};
    LineHost host(line, "");
    std::string room(4200, '\xEE');
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2,
                         reinterpret_cast<unsigned char *>(room.data()), 4096, kEnoughMs),
              4096);
    EXPECT_EQ(room[4088], 'x'); // 4096 received, 7 of them a head
    EXPECT_EQ(room[4089], '\xEE');
}

TEST(IdentityExchange, NoReplyGivesTheReadsOwnFailureWhateverTheRoom)
{
    EXPECT_EQ(Exchange("", 256, 1, kShortMs), (Outcome{-62, "EE "}));
    EXPECT_EQ(Exchange("", 1, 1, kShortMs), (Outcome{-62, "EE "}));
}

TEST(IdentityExchange, CancelGivesMinus125)
{
    GoldenLine line{{kResetFrame, ""}};
    LineHost host(line, "");
    Room room;
    std::atomic<bool> done{false};
    std::thread canceller(
        [&done]
        {
            while (!done)
            {
                COMM_cancle();
                std::this_thread::yield();
            }
        });
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 256, 60000), -125);
    done = true;
    canceller.join();
}

TEST(IdentityExchange, AFrameOverTheLimitGivesMinus22AndSendsNothing)
{
    const std::string payload(600, '\x01');
    GoldenLine line{{IdentityFrame(std::string(508, '\x01')), FromHex("AAAAAA96690004 00009094")}};
    LineHost host(line, "");
    Room room;
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(payload), 509, room.Data(), 256, kEnoughMs), -22);
    EXPECT_EQ(host.device.refCnt, 0U);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(payload), 508, room.Data(), 256, kEnoughMs), 11);
}

TEST(IdentityExchange, AShortWriteIsGivenAsItsCountAndNothingIsRead)
{
    GoldenLine line{{"", FromHex("AAAAAA96690004 00009094")}}; // lies ready, and stays there
    for (int written : {9, 1})
    {
        LineHost host(line, "");
        Room room;
        s_written = written;
        EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 1, kEnoughMs), written);
        s_written = kAll;
        EXPECT_EQ(room.Hex(1), "EE ");
        EXPECT_EQ(host.device.refCnt, 0U);
    }
}

TEST(IdentityExchange, AFailedWriteGivesItsCode)
{
    GoldenLine line{};
    LineHost host(line, "");
    Room room;
    s_written = -1;
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 256, kEnoughMs), -1);
    s_written = 0;
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 256, kEnoughMs), -62);
    s_written = kAll;
}

TEST(IdentityExchange, BadArgumentsAreRefusedBeforeTheDeviceIsOpened)
{
    LineHost host(kNoTerminal, "");
    unsigned char room[16];
    EXPECT_EQ(ID_SendCmd(&host.device, nullptr, 2, room, 16, 10), -22);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, nullptr, 16, 10), -22);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 0, room, 16, 10), -22);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), -1, room, 16, 10), -22);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room, 0, 10), -22);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room, -1, 10), -22);
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room, 16, 10), -2);
    EXPECT_EQ(ID_SendCmd(nullptr, Bytes(kReset), 2, room, 16, 10), -19);
}

TEST(IdentityExchange, ReportModeOverUsbFollowsTheDeviceType)
{
    LineHost host(kNoTerminal, "devtype=0\n");
    DC_Init(&host.device);
    DC_SetInterfaceType(&host.device, "hid"); // without ids: the open fails, the mode is chosen
    unsigned char room[16];
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room, 16, 10), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 2);
    host.Settings("devtype=1\n");
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room, 16, 10), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 0);
    host.Settings("");
    EXPECT_EQ(ID_SendCmd(&host.device, Bytes(kReset), 2, room, 16, 10), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 2);
}

TEST(IdentityExchange, LogsBothFrames)
{
    GoldenLine line{{kResetFrame, FromHex("AAAAAA96690004 00009094")}, {kResetFrame, ""}};
    LineHost host(line, "");
    host.LogAt(2);
    Room room;
    ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 256, kEnoughMs);
    EXPECT_THAT(host.Log(), HasSubstr("):Send szPackage: AAAAAA9669000311FFED\r\n"));
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=11): AAAAAA9669000400009094\r\n"));
    ID_SendCmd(&host.device, Bytes(kReset), 2, room.Data(), 256, kShortMs);
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=10): 00000000000000000000\r\n"));
}

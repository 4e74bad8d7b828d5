// Commands to the reader itself, as rows of command, answer, result.
#include "vantor/operations.h"

#include <functional>
#include <gtest/gtest.h>

#include "wire/line_host.h"
#include "wire/room.h"

using testing_support::FromHex;
using testing_support::GoldenLine;
using wire_testing::Bytes;
using wire_testing::kNoTerminal;
using wire_testing::Length;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000;
const uint32_t kUntouched = 0xDEADBEEF;

// What an operation that gives data left in its outputs.
struct Outcome
{
    int result;
    uint32_t length;
    std::string hex; // the first bytes of the output
};

Outcome GetDevInfo(const std::string &settings, const std::string &command,
                   const std::string &answer, size_t shown)
{
    GoldenLine line{{command, answer}};
    LineHost host(line, settings);
    Room room;
    uint32_t length = kUntouched;
    const int result = IC_GetDevInfo(&host.device, room.Data(), &length, kEnoughMs);
    return {result, length, room.Hex(shown)};
}

Outcome InfoKrel(const std::string &answer, size_t shown)
{
    return GetDevInfo("Iccmd=0\n", "60028100E3" ETX, answer, shown);
}

Outcome InfoUnion(const std::string &answer, size_t shown)
{
    return GetDevInfo("Iccmd=1\n", STX "000331110020" ETX, answer, shown);
}

Outcome GetDevAllInfo(const std::string &settings, const std::string &answer, size_t shown)
{
    GoldenLine line{{"6001F190" ETX, answer}};
    LineHost host(line, settings);
    Room room;
    int32_t length = static_cast<int32_t>(kUntouched);
    const int result = IC_GetDevAllInfo(&host.device, room.Data(), &length, kEnoughMs);
    return {result, static_cast<uint32_t>(length), room.Hex(shown)};
}

// The result of a call against one exchange.
int Call(const std::string &settings, const std::string &command, const std::string &answer,
         const std::function<int(DEVCONTEXT *)> &call)
{
    GoldenLine line{{command, answer}};
    LineHost host(line, settings);
    return call(&host.device);
}

// The same with the answer lying ready, for calls that wait a hundred milliseconds only.
int CallReady(const std::string &settings, const std::string &command, const std::string &answer,
              const std::function<int(DEVCONTEXT *)> &call)
{
    GoldenLine line{{"", answer}, {command, ""}};
    LineHost host(line, settings);
    return call(&host.device);
}

// The result of a call that must not send a byte.
int CallUnsent(const std::string &settings, const std::function<int(DEVCONTEXT *)> &call)
{
    GoldenLine line{};
    LineHost host(line, settings);
    return call(&host.device);
}

bool operator==(const Outcome &left, const Outcome &right)
{
    return left.result == right.result && left.length == right.length && left.hex == right.hex;
}

void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << outcome.result << ", length " << outcome.length << ", " << outcome.hex;
}

} // namespace

TEST(GetDevInfoKrel, CopiesWhatFollowsTheStatus)
{
    EXPECT_EQ(InfoKrel("60040041424324" ETX, 4), (Outcome{0, 3, "41 42 43 EE "}));
    EXPECT_EQ(InfoKrel("60010061" ETX, 1), (Outcome{0, 0, "EE "}));
}

TEST(GetDevInfoKrel, IsTheDefaultFraming)
{
    EXPECT_EQ(GetDevInfo("", "60028100E3" ETX, "60020041" ETX, 2), (Outcome{0, 1, "41 EE "}));
}

TEST(GetDevInfoKrel, EmptyAnswerGivesLengthZero)
{
    EXPECT_EQ(InfoKrel("600060" ETX, 1), (Outcome{0, 0, "EE "}));
}

TEST(GetDevInfoKrel, StatusA2IsRefused)
{
    EXPECT_EQ(InfoKrel("6001A2C3" ETX, 1), (Outcome{-4000, kUntouched, "EE "}));
}

TEST(GetDevInfoKrel, OtherStatusGivesTheLengthOfTheAnswer)
{
    EXPECT_EQ(InfoKrel("600355AABB25" ETX, 1), (Outcome{3, kUntouched, "EE "}));
    EXPECT_EQ(InfoKrel("6001FB9A" ETX, 1), (Outcome{1, kUntouched, "EE "}));
}

TEST(GetDevInfoKrel, MissingStatusByteReadsAsZero)
{
    EXPECT_EQ(InfoKrel("6001" ETX, 1), (Outcome{0, 0, "EE "}));
}

TEST(GetDevInfoKrel, LinkFailureIsReturned)
{
    EXPECT_EQ(InfoKrel("x" ETX, 1), (Outcome{-74, kUntouched, "EE "}));
}

TEST(GetDevInfoUnion, CopiesWhatFollowsTheStatusPair)
{
    EXPECT_EQ(InfoUnion(STX "0005000041424340" ETX, 4), (Outcome{0, 3, "41 42 43 EE "}));
    EXPECT_EQ(InfoUnion(STX "0002000000" ETX, 1), (Outcome{0, 0, "EE "}));
}

TEST(GetDevInfoUnion, ShortAnswerReadsAsZeroStatusWithoutData)
{
    EXPECT_EQ(InfoUnion(STX "000000" ETX, 1), (Outcome{0, 0, "EE "}));
    EXPECT_EQ(InfoUnion(STX "00010000" ETX, 1), (Outcome{0, 0, "EE "}));
    EXPECT_EQ(InfoUnion(STX "00011010" ETX, 1), (Outcome{-99, kUntouched, "EE "}));
}

TEST(GetDevInfoUnion, OtherStatusFails)
{
    EXPECT_EQ(InfoUnion(STX "0002000101" ETX, 1), (Outcome{-99, kUntouched, "EE "}));
    EXPECT_EQ(InfoUnion(STX "0002100111" ETX, 1), (Outcome{-99, kUntouched, "EE "}));
    EXPECT_EQ(InfoUnion("x" ETX, 1), (Outcome{-74, kUntouched, "EE "}));
}

TEST(GetDevInfoUnion, LongHeadMovesTheInformationToByte18)
{
    // 24 payload bytes: 00 00 06 10, fourteen more of the head, then 05 and the information.
    EXPECT_EQ(
        InfoUnion(STX "0018"
                      "00000610"
                      "1111111111111111111111111111"
                      "054142434445"
                      "00" ETX,
                  23),
        (Outcome{0, 5, "05 41 42 43 44 45 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 EE "}));
}

TEST(GetDevInfoUnion, LongHeadWithoutInformationReadsAsZero)
{
    EXPECT_EQ(InfoUnion(STX "00040000061016" ETX, 3), (Outcome{0, 0, "00 00 EE "}));
}

TEST(GetDevInfoUnion, OneByteOfTheMarkIsNoLongHead)
{
    EXPECT_EQ(InfoUnion(STX "00040000061117" ETX, 3), (Outcome{0, 2, "06 11 EE "}));
    EXPECT_EQ(InfoUnion(STX "00040000071017" ETX, 3), (Outcome{0, 2, "07 10 EE "}));
    // The long head belongs to Union_ alone.
    EXPECT_EQ(InfoKrel("600400000610" ETX, 4), (Outcome{0, 3, "00 06 10 EE "}));
}

TEST(GetDevInfoUnion, ClaimedLengthOf256StaysInTheReplyBuffer)
{
    GoldenLine line{{STX "000331110020" ETX, STX "0100"
                                                 "00000610"
                                                 "00" ETX}};
    LineHost host(line, "Iccmd=1\n");
    Room room;
    uint32_t length = kUntouched;
    EXPECT_EQ(IC_GetDevInfo(&host.device, room.Data(), &length, kEnoughMs), 0);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(room.bytes[237], 0x00); // 256 - 18 bytes
    EXPECT_EQ(room.bytes[238], 0xEE);
}

TEST(GetDevInfo, OtherFramingIsRefusedUnsent)
{
    for (const char *settings : {"Iccmd=2\n", "Iccmd=-1\n"})
        EXPECT_EQ(CallUnsent(settings,
                             [](DEVCONTEXT *device)
                             {
                                 unsigned char info[256];
                                 uint32_t length = 0;
                                 return IC_GetDevInfo(device, info, &length, 10);
                             }),
                  -1008);
}

TEST(GetDevAllInfo, CopiesWhatFollowsTheStatusWhateverTheFraming)
{
    for (const char *settings : {"Iccmd=0\n", "Iccmd=1\n", "Iccmd=7\n", ""})
        EXPECT_EQ(GetDevAllInfo(settings, "60040041424324" ETX, 4),
                  (Outcome{0, 3, "41 42 43 EE "}));
}

TEST(GetDevAllInfo, GivesTheWholeRecord)
{
    const std::string record = std::string(64, '1') + std::string(64, '2'); // 32 bytes each
    GoldenLine line{{"6001F190" ETX, "604100" + record + "21" ETX}};
    LineHost host(line, "");
    Room room;
    int32_t length = 0;
    ASSERT_EQ(IC_GetDevAllInfo(&host.device, room.Data(), &length, kEnoughMs), 0);
    EXPECT_EQ(length, 64);
    EXPECT_EQ(room.Text(65), std::string(32, '\x11') + std::string(32, '\x22') + "\xEE");
}

TEST(GetDevAllInfo, FailuresLeaveTheOutputs)
{
    EXPECT_EQ(GetDevAllInfo("", "6001A2C3" ETX, 1), (Outcome{-99, kUntouched, "EE "}));
    EXPECT_EQ(GetDevAllInfo("", "60015534" ETX, 1), (Outcome{-99, kUntouched, "EE "}));
    EXPECT_EQ(GetDevAllInfo("", "x" ETX, 1), (Outcome{-74, kUntouched, "EE "}));
    EXPECT_EQ(GetDevAllInfo("", "600060" ETX, 1), (Outcome{0, kUntouched, "EE "}));
}

TEST(SetDevSn, TenBytesAreFollowedByTwentyTwoZeros)
{
    const std::string command = "6021F2"
                                "30313233343536373839"
                                "00000000000000000000000000000000000000000000"
                                "B2" ETX;
    const auto set = [](DEVCONTEXT *device)
    { return IC_SetDevSn(device, Bytes("0123456789"), 10, kEnoughMs); };
    for (const char *settings : {"Iccmd=0\n", "Iccmd=1\n", "Iccmd=7\n", ""})
        EXPECT_EQ(Call(settings, command, "60010061" ETX, set), 0);
    EXPECT_EQ(Call("", command, "6001A2C3" ETX, set), -99);
    EXPECT_EQ(Call("", command, "60010160" ETX, set), -99);
    EXPECT_EQ(Call("", command, "600060" ETX, set), 0);
    EXPECT_EQ(Call("", command, "x" ETX, set), -74);
}

TEST(SetDevSn, MoreThan32BytesAreCut)
{
    std::string field;
    for (int i = 0; i < 32; i++)
        field += "41";
    EXPECT_EQ(Call("", "6021F2" + field + "B3" ETX, "60010061" ETX,
                   [](DEVCONTEXT *device)
                   {
                       const std::string number(40, 'A');
                       return IC_SetDevSn(device, Bytes(number), Length(number), kEnoughMs);
                   }),
              0);
}

TEST(SetDevSn, NullAndNegativeAreRefusedUnsent)
{
    EXPECT_EQ(
        CallUnsent("", [](DEVCONTEXT *device) { return IC_SetDevSn(device, nullptr, 1, 10); }),
        -22);
    EXPECT_EQ(
        CallUnsent("", [](DEVCONTEXT *device) { return IC_SetDevSn(device, Bytes("1"), -1, 10); }),
        -22);
}

TEST(Beep, ScalesTheFirstValueOnly)
{
    const struct
    {
        uint32_t first, second, third;
        std::string command;
    } rows[] = {
        {150, 2, 3, STX "0005311301020322" ETX},
        {99, 0, 0, STX "000531130900002;" ETX},
        {5, 0, 0, STX "0005311300000022" ETX},
        {9, 0, 0, STX "0005311300000022" ETX},
        {10, 0, 0, STX "0005311301000023" ETX},
        {100, 0, 0, STX "0005311301000023" ETX},
        {199, 0, 0, STX "0005311301000023" ETX},
        {0, 0x1FF, 0x102, STX "0005311300??02=?" ETX},  // one byte each
        {25600, 0, 0, STX "0005311300000022" ETX},      // 256 in one byte
        {0xFFFFFFF6, 0, 0, STX "00053113??0000==" ETX}, // -10 / 10
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.first);
        EXPECT_EQ(Call("Iccmd=1\n", row.command, STX "0002000000" ETX,
                       [&row](DEVCONTEXT *device)
                       { return IC_Beep(device, row.first, row.second, row.third, kEnoughMs); }),
                  0);
    }
}

TEST(Beep, Statuses)
{
    const auto beep = [](DEVCONTEXT *device) { return IC_Beep(device, 0, 0, 0, kEnoughMs); };
    const std::string command = STX "0005311300000022" ETX;
    EXPECT_EQ(Call("", command, STX "0002000000" ETX, beep), 0); // Union_ is the default here
    EXPECT_EQ(Call("", command, STX "00010000" ETX, beep), 0);
    EXPECT_EQ(Call("", command, STX "0002000101" ETX, beep), -99);
    EXPECT_EQ(Call("", command, STX "0002100111" ETX, beep), -99);
    EXPECT_EQ(Call("", command, "x" ETX, beep), -74);
}

TEST(Beep, OtherFramingIsRefusedUnsent)
{
    const auto beep = [](DEVCONTEXT *device) { return IC_Beep(device, 0, 0, 0, 10); };
    EXPECT_EQ(CallUnsent("Iccmd=0\n", beep), -1008);
    EXPECT_EQ(CallUnsent("Iccmd=2\n", beep), -1008);
}

TEST(DevReset, AlwaysReturnsZero)
{
    const std::string command = STX "0006?800::;;5544?8" ETX;
    EXPECT_EQ(Call("Iccmd=0\n", command, STX "0002000000" ETX, IC_DevReset), 0);
    EXPECT_EQ(Call("Iccmd=1\n", command, STX "0002100111" ETX, IC_DevReset), 0);
    EXPECT_EQ(Call("Iccmd=7\n", command, "x" ETX, IC_DevReset), 0);
    const LineHost nobody(kNoTerminal, "");
    DEVCONTEXT device = nobody.device;
    EXPECT_EQ(IC_DevReset(&device), 0);
}

TEST(DeviceCommands, ResetAndBaudWaitAHundredMilliseconds)
{
    const auto set = [](DEVCONTEXT *device) { return IC_SetBaud(device, 9600); };
    const uint64_t start = GetTickCount();
    EXPECT_EQ(Call("", STX "0006?800::;;5544?8" ETX, "", IC_DevReset), 0);
    const uint64_t middle = GetTickCount();
    EXPECT_EQ(Call("", "6002BB00D9" ETX, "", set), -74);
    EXPECT_GE(middle - start, 100U);
    EXPECT_LT(middle - start, 3000U);
    EXPECT_GE(GetTickCount() - middle, 100U);
    EXPECT_LT(GetTickCount() - middle, 3000U);
}

TEST(DeviceCommands, TheOthersTakeTheCallersTimeout)
{
    const struct
    {
        std::string command;
        int (*call)(DEVCONTEXT *device);
    } rows[] = {
        {"60028100E3" ETX,
         [](DEVCONTEXT *device)
         {
             unsigned char info[256];
             uint32_t length = 0;
             return IC_GetDevInfo(device, info, &length, 30);
         }},
        {"6001F190" ETX,
         [](DEVCONTEXT *device)
         {
             unsigned char info[256];
             int32_t length = 0;
             return IC_GetDevAllInfo(device, info, &length, 30);
         }},
        {"6021F2" + std::string(64, '0') + "B3" ETX,
         [](DEVCONTEXT *device) { return IC_SetDevSn(device, Bytes(""), 0, 30); }},
        {STX "0005311300000022" ETX,
         [](DEVCONTEXT *device) { return IC_Beep(device, 0, 0, 0, 30); }},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.command);
        const uint64_t start = GetTickCount();
        EXPECT_EQ(Call("", row.command, "", row.call), -74);
        EXPECT_GE(GetTickCount() - start, 30U);
        EXPECT_LT(GetTickCount() - start, 900U);
    }
}

TEST(DeviceCommands, AnswersTakeUpTo124PayloadBytes)
{
    const std::string most = "607C" + std::string(248, '0') + "00" ETX;
    const std::string more = "607D" + std::string(250, '0') + "00" ETX;
    EXPECT_EQ(InfoKrel(most, 1), (Outcome{0, 123, "00 "}));
    EXPECT_EQ(InfoKrel(more, 1), (Outcome{-22, kUntouched, "EE "}));
    EXPECT_EQ(GetDevAllInfo("", most, 1), (Outcome{0, 123, "00 "}));
    EXPECT_EQ(GetDevAllInfo("", more, 1), (Outcome{-22, kUntouched, "EE "}));
    const std::string unionMost = STX "007<" + std::string(248, '0') + "00" ETX;
    const std::string unionMore = STX "007=" + std::string(250, '0') + "00" ETX;
    EXPECT_EQ(InfoUnion(unionMost, 1), (Outcome{0, 122, "00 "}));
    EXPECT_EQ(InfoUnion(unionMore, 1), (Outcome{-22, kUntouched, "EE "}));
}

TEST(SetBaud, RateCodes)
{
    const struct
    {
        int baud;
        std::string krelIc;
        std::string unionForm;
    } rows[] = {
        {9600, "6002BB00D9" ETX, STX "00043001000031" ETX},
        {19200, "6002BB01D8" ETX, STX "00043001000130" ETX},
        {38400, "6002BB02DB" ETX, STX "00043001000233" ETX},
        {57600, "6002BB03DA" ETX, STX "00043001000332" ETX},
        {115200, "6002BB04DD" ETX, STX "00043001000435" ETX},
        {14400, "6002BB00D9" ETX, STX "00043001000031" ETX},
        {0, "6002BB00D9" ETX, STX "00043001000031" ETX},
        {-1, "6002BB00D9" ETX, STX "00043001000031" ETX},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.baud);
        const auto set = [&row](DEVCONTEXT *device) { return IC_SetBaud(device, row.baud); };
        EXPECT_EQ(CallReady("Iccmd=0\n", row.krelIc, "60010061" ETX, set), 0);
        EXPECT_EQ(CallReady("Iccmd=1\n", row.unionForm, STX "0002000000" ETX, set), 0);
    }
}

TEST(SetBaud, Statuses)
{
    const auto set = [](DEVCONTEXT *device) { return IC_SetBaud(device, 9600); };
    const std::string krelIc = "6002BB00D9" ETX;
    EXPECT_EQ(CallReady("", krelIc, "60010061" ETX, set), 0);
    EXPECT_EQ(CallReady("", krelIc, "6001A2C3" ETX, set), -4002);
    EXPECT_EQ(CallReady("", krelIc, "6001FB9A" ETX, set), -99);
    EXPECT_EQ(CallReady("", krelIc, "60015534" ETX, set), -99);
    EXPECT_EQ(CallReady("", krelIc, "600060" ETX, set), 0);
    EXPECT_EQ(CallReady("", krelIc, "x" ETX, set), -74);
    const std::string unionForm = STX "00043001000031" ETX;
    EXPECT_EQ(CallReady("Iccmd=1\n", unionForm, STX "0002000000" ETX, set), 0);
    EXPECT_EQ(CallReady("Iccmd=1\n", unionForm, STX "0002100111" ETX, set), -4002);
    EXPECT_EQ(CallReady("Iccmd=1\n", unionForm, STX "0002100212" ETX, set), -99);
    EXPECT_EQ(CallReady("Iccmd=1\n", unionForm, STX "0002000101" ETX, set), -99);
    EXPECT_EQ(CallReady("Iccmd=1\n", unionForm, "x" ETX, set), -74);
    EXPECT_EQ(CallUnsent("Iccmd=2\n", set), -1008);
}

TEST(DeviceCommands, OpenFailuresAreReturned)
{
    LineHost host(kNoTerminal, "");
    unsigned char info[256];
    uint32_t length = 0;
    int32_t signedLength = 0;
    EXPECT_EQ(IC_GetDevInfo(&host.device, info, &length, 10), -2);
    EXPECT_EQ(IC_GetDevAllInfo(&host.device, info, &signedLength, 10), -2);
    EXPECT_EQ(IC_SetDevSn(&host.device, info, 1, 10), -2);
    EXPECT_EQ(IC_Beep(&host.device, 0, 0, 0, 10), -2);
    EXPECT_EQ(IC_SetBaud(&host.device, 9600), -2);
}

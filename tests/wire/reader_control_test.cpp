// Opening and closing the reader, and the escape sequences that act on it as a whole.
#include "vantor/link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wire/line_host.h"
#include "wire/room.h"

using testing::HasSubstr;
using testing_support::GoldenLine;
using wire_testing::kNoTerminal;
using wire_testing::LineHost;

namespace
{

const int kPort = 3; // the line's

} // namespace

TEST(VantorOpen, PortZeroIsTheDefaultUsbReaderWithoutPassThrough)
{
    LineHost host(kNoTerminal, "");
    g_Bp = 1;
    const int result = Vantor_Open(&host.device, 0, 0, 0);
    EXPECT_EQ(result, DC_IsOpen(&host.device) ? 0 : -2);
    EXPECT_STREQ(DC_GetInterfaceType(&host.device), "hid");
    ASSERT_EQ(DC_GetUsbListSize(&host.device), 1);
    EXPECT_EQ(DC_GetUsbVid(&host.device, 0), 0x1BC3);
    EXPECT_EQ(DC_GetUsbPid(&host.device, 0), 0x0151);
    EXPECT_EQ(g_Bp, 0);
    Vantor_Close(&host.device);
}

TEST(VantorOpen, SerialPortWithPassThrough)
{
    GoldenLine line{{ESC "%1", ""}};
    LineHost host(line, "");
    ASSERT_EQ(Vantor_Open(&host.device, kPort, 115200, '1'), 0);
    EXPECT_STREQ(DC_GetInterfaceType(&host.device), "com");
    EXPECT_EQ(DC_GetCOMPort(&host.device), 3U);
    EXPECT_EQ(DC_GetCOMBaud(&host.device), 115200U);
    EXPECT_EQ(DC_IsOpen(&host.device), 1U);
    EXPECT_EQ(host.device.refCnt, 1U);
    EXPECT_EQ(g_Bp, 1);
    g_Bp = 0;
    Vantor_Close(&host.device);
}

TEST(VantorOpen, BadPortOrBaudIsRefusedWithAClearedContext)
{
    LineHost host(kNoTerminal, "");
    EXPECT_EQ(Vantor_Open(&host.device, kPort, 230400, 0), -22);
    EXPECT_STREQ(DC_GetInterfaceType(&host.device), "");
    g_Bp = 1;
    EXPECT_EQ(Vantor_Open(&host.device, kPort, 115201, 0), -22);
    EXPECT_EQ(Vantor_Open(&host.device, 256, 9600, 0), -22);
    EXPECT_EQ(Vantor_Open(&host.device, -1, 9600, 0), -22);
    EXPECT_EQ(g_Bp, 1); // refused before the pass-through port is looked at
    EXPECT_EQ(Vantor_Open(&host.device, 255, 9600, 0),
              -2); // a port, though none that can be opened
    EXPECT_EQ(Vantor_Open(&host.device, kPort, 115200, 0), -2);
}

TEST(VantorOpen, OpenContextAnswersZeroWithoutTraffic)
{
    GoldenLine line{{ESC "%1", ""}};
    LineHost host(line, "");
    ASSERT_EQ(Vantor_Open(&host.device, kPort, 9600, '1'), 0);
    EXPECT_EQ(Vantor_Open(&host.device, kPort, 9600, '2'), 0);
    EXPECT_EQ(Vantor_Open(&host.device, 999, 999999, '2'), 0);
    EXPECT_EQ(Vantor_Open_PID(&host.device, 1, 2), 0);
    EXPECT_EQ(host.device.refCnt, 1U);
    EXPECT_STREQ(DC_GetInterfaceType(&host.device), "com");
    g_Bp = 0;
    Vantor_Close(&host.device);
}

TEST(VantorOpen, FailedOpenSelectsThePortWithoutWritingToAStaleHandle)
{
    GoldenLine line{};
    LineHost host(line, "");
    ASSERT_EQ(Vantor_Open(&host.device, kPort, 9600, 0), 0);
    Vantor_Close(&host.device);
    GSetComName(kPort, kNoTerminal);
    EXPECT_EQ(Vantor_Open(&host.device, kPort, 9600, '1'), -2);
    EXPECT_EQ(g_Bp, 1);
    EXPECT_EQ(Vantor_Close(&host.device), 0); // nor here
}

TEST(VantorOpen, NullContextIsNoDevice)
{
    EXPECT_EQ(Vantor_Open(nullptr, kPort, 9600, 0), -19);
    EXPECT_EQ(Vantor_Open_PID(nullptr, 1, 2), -19);
    EXPECT_EQ(Vantor_Close(nullptr), 0);
    EXPECT_EQ(Vantor_SetBpPort(nullptr, '1'), 0);
    EXPECT_EQ(Vantor_Reset(nullptr, 10), -19);
    EXPECT_EQ(Vantor_ChangeMode(nullptr, 2), 0);
    EXPECT_EQ(Vantor_ReadData(nullptr, 10), -19);
}

TEST(VantorOpenPid, TakesTheGivenPairAndSendsNoPassThrough)
{
    LineHost host(kNoTerminal, "");
    g_Bp = 1;
    EXPECT_EQ(Vantor_Open_PID(&host.device, 0xFFFE, 0xFFFD), -2);
    EXPECT_STREQ(DC_GetInterfaceType(&host.device), "hid");
    ASSERT_EQ(DC_GetUsbListSize(&host.device), 1);
    EXPECT_EQ(DC_GetUsbVid(&host.device, 0), 0xFFFE);
    EXPECT_EQ(DC_GetUsbPid(&host.device, 0), 0xFFFD);
    EXPECT_EQ(g_Bp, 1);
}

TEST(VantorSetBpPort, CharactersOneToYSelect)
{
    GoldenLine line{{ESC "%1", ""}, {ESC "%9", ""}, {ESC "%A", ""}, {ESC "%Y", ""}};
    LineHost host(line, "");
    ASSERT_EQ(COMM_Open(&host.device), 0);
    for (unsigned char port : {'1', '9', 'A', 'Y'})
    {
        g_Bp = 0;
        EXPECT_EQ(Vantor_SetBpPort(&host.device, port), 0);
        EXPECT_EQ(g_Bp, 1) << port;
    }
    COMM_Close(&host.device);
}

TEST(VantorSetBpPort, OtherCharactersSendNothingAndClearTheSelection)
{
    GoldenLine line{};
    LineHost host(line, "");
    ASSERT_EQ(COMM_Open(&host.device), 0);
    for (int port : {0, 48, 90, 97, 255})
    {
        g_Bp = 1;
        EXPECT_EQ(Vantor_SetBpPort(&host.device, static_cast<unsigned char>(port)), 0);
        EXPECT_EQ(g_Bp, 0) << port;
    }
    COMM_Close(&host.device);
}

TEST(VantorSetBpPort, WritesOnlyOnAnOpenContext)
{
    GoldenLine line{};
    LineHost host(line, "");
    ASSERT_EQ(COMM_Open(&host.device), 0);
    COMM_Close(&host.device); // leaves its stale handle behind
    EXPECT_EQ(Vantor_SetBpPort(&host.device, '1'), 0);
    EXPECT_EQ(g_Bp, 1);
}

TEST(VantorClose, DeselectsThePassThroughPortOnce)
{
    GoldenLine line{{ESC "%A", ""}};
    LineHost host(line, "");
    ASSERT_EQ(Vantor_Open(&host.device, kPort, 9600, 0), 0);
    g_Bp = 1;
    EXPECT_EQ(Vantor_Close(&host.device), 0);
    EXPECT_EQ(g_Bp, 1); // stays
    EXPECT_EQ(DC_IsOpen(&host.device), 0U);
    EXPECT_EQ(Vantor_Close(&host.device), 0); // closed: nothing is written
}

TEST(VantorClose, WithoutAPassThroughPortNothingIsSent)
{
    GoldenLine line{};
    LineHost host(line, "");
    ASSERT_EQ(Vantor_Open(&host.device, kPort, 9600, 0), 0);
    g_Bp = 2; // only 1 counts
    EXPECT_EQ(Vantor_Close(&host.device), 0);
    EXPECT_EQ(DC_IsOpen(&host.device), 0U);
}

TEST(VantorClose, DropsOneReference)
{
    GoldenLine line{};
    LineHost host(line, "");
    g_Bp = 0;
    ASSERT_EQ(Vantor_Open(&host.device, kPort, 9600, 0), 0);
    ASSERT_EQ(COMM_Open(&host.device), 0);
    EXPECT_EQ(Vantor_Close(&host.device), 0);
    EXPECT_EQ(DC_IsOpen(&host.device), 1U);
    EXPECT_EQ(Vantor_Close(&host.device), 0);
    EXPECT_EQ(DC_IsOpen(&host.device), 0U);
}

TEST(VantorReset, SendsItsSequenceAndAwaitsNothing)
{
    GoldenLine line{{"", "unread"}, {ESC "S", ""}};
    LineHost host(line, "");
    EXPECT_EQ(Vantor_Reset(&host.device, 10), 0);
    EXPECT_EQ(host.device.refCnt, 0U);
}

TEST(VantorReset, OpenFailureIsReturned)
{
    LineHost host(kNoTerminal, "");
    EXPECT_EQ(Vantor_Reset(&host.device, 10), -2);
}

TEST(VantorChangeMode, SequenceFollowsModeAndConfiguredRate)
{
    const struct
    {
        unsigned char mode;
        std::string settings;
        std::string sequence;
    } rows[] = {
        {0, "IcBaud=9600\nIdBaud=115200\n", ESC "$B0"},
        {0, "IcBaud=115200\nIdBaud=9600\n", ESC "$B4"},
        {0, "IcBaud=19200\n", ESC "$B4"}, // every other rate
        {0, "", ESC "$B0"},
        {1, "IcBaud=9600\nIdBaud=115200\n", ESC "$I0"},
        {1, "IcBaud=115200\nIdBaud=9600\n", ESC "$I4"},
        {1, "", ESC "$I0"},
        {2, "IcBaud=115200\nIdBaud=9600\n", ESC "$S0"},
        {2, "IcBaud=9600\nIdBaud=115200\n", ESC "$S4"},
        {2, "IcBaud=115200\n", ESC "$S0"}, // 9600 on a serial line
        {2, "IdBaud=0\n", ESC "$S4"},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.sequence + " with " + row.settings);
        GoldenLine line{{"", "OK"}, {row.sequence, ""}};
        LineHost host(line, row.settings);
        EXPECT_EQ(Vantor_ChangeMode(&host.device, row.mode), 0);
        EXPECT_EQ(host.device.refCnt, 0U);
    }
}

TEST(VantorChangeMode, TakesTheTwoAnswerBytesOffTheLine)
{
    GoldenLine line{{"", "OK!"}, {ESC "$B0", ""}};
    LineHost host(line, "");
    host.LogAt(2);
    EXPECT_EQ(Vantor_ChangeMode(&host.device, 0), 0);
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=2): 4F4B\r\n"));
}

TEST(VantorChangeMode, FailuresAreNotReported)
{
    GoldenLine line{{ESC "$B0", ""}};
    LineHost host(line, "");
    EXPECT_EQ(Vantor_ChangeMode(&host.device, 0), 0); // no answer
    GSetComName(kPort, kNoTerminal);
    EXPECT_EQ(Vantor_ChangeMode(&host.device, 0), 0);
}

TEST(VantorChangeMode, OtherModesSendNothing)
{
    GoldenLine line{};
    LineHost host(line, "");
    EXPECT_EQ(Vantor_ChangeMode(&host.device, 3), 0);
    EXPECT_EQ(Vantor_ChangeMode(&host.device, 255), 0);
}

TEST(VantorCancel, SetsTheFlagAndGivesTheWaitingReadTime)
{
    COMM_notcancle();
    const uint64_t start = GetTickCount();
    EXPECT_EQ(Vantor_Cancel(), 0);
    EXPECT_GE(GetTickCount() - start, 199U);
    EXPECT_EQ(flag_cancle, 1);
    COMM_notcancle();
}

TEST(VantorReadData, LogsWhatTheReaderSendsUnasked)
{
    GoldenLine line{{"", "\x1Bxyz"}};
    LineHost host(line, "");
    host.LogAt(2);
    EXPECT_EQ(Vantor_ReadData(&host.device, 10), 4);
    EXPECT_EQ(host.device.refCnt, 0U);
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=4): 1B78797A\r\n"));
}

TEST(VantorReadData, LogsALongReadInFull)
{
    GoldenLine line{{"", std::string(4000, 'x')}};
    LineHost host(line, "");
    host.LogAt(2);
    EXPECT_EQ(Vantor_ReadData(&host.device, 10), 4000);
    std::string hex;
    for (int i = 0; i < 4000; i++)
        hex += "78";
    EXPECT_THAT(host.Log(), HasSubstr("):Read Pack(len=4000): " + hex + "\r\n"));
}

TEST(VantorReadData, NothingGivesTimeoutAndNoLine)
{
    GoldenLine line{};
    LineHost host(line, "");
    host.LogAt(2);
    testing_support::WriteFile(host.directory.path + "/wire.log", "");
    EXPECT_EQ(Vantor_ReadData(&host.device, 10), -62);
    EXPECT_EQ(host.Log(), "");
    EXPECT_EQ(host.device.refCnt, 0U);
}

TEST(VantorReadData, OpenFailureIsReturned)
{
    LineHost host(kNoTerminal, "");
    EXPECT_EQ(Vantor_ReadData(&host.device, 10), -2);
}

// How long the calls for stripes, identity cards and memory cards let the reader take, and how much
// room its answer has: the links' exchanges are this test's own.
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "support/golden_line.h"
#include "support/log_capture.h"
#include "support/pboc_data.h"
#include "support/scratch.h"
#include "vantor/identity_cards.h"
#include "vantor/link.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/memory_cards.h"
#include "vantor/support.h"

using testing_support::FromHex;
using testing_support::HexOf;
using testing_support::LogCapture;
using testing_support::Scratch;
using testing_support::WriteFile;

namespace
{

std::string g_asked; // a line for each exchange: the command's bytes, the room, the milliseconds

void Note(const unsigned char *command, int length, int room, uint32_t timeoutMs)
{
    g_asked += HexOf(command, static_cast<size_t>(length)) + " " + std::to_string(room) + " " +
               std::to_string(timeoutMs) + "\n";
}

int Answer(const std::string &hex, unsigned char *response)
{
    const std::string bytes = FromHex(hex);
    memcpy(response, bytes.data(), bytes.size());
    return static_cast<int>(bytes.size());
}

} // namespace

// Every step succeeds but the read with fingerprint. 8 bytes more are received: the frame.
extern "C" int __wrap_ID_SendCmd(DEVCONTEXT *, const unsigned char *payload, int length,
                                 unsigned char *response, int room, uint32_t timeoutMs)
{
    Note(payload, length, room, timeoutMs);
    const bool isFind = payload[0] == 0x20 && payload[1] == 0x01;
    const bool withFingerprint = payload[0] == 0x30 && payload[1] == 0x10;
    return Answer(isFind ? "00009F" : withFingerprint ? "000041" : "000090", response) + 8;
}

// Success; to an authentication a challenge, and to the host's proof nothing that would be one.
extern "C" int __wrap_KrelIc_SendCmd(DEVCONTEXT *, const unsigned char *command, int length,
                                     unsigned char *response, int room, uint32_t timeoutMs)
{
    Note(command, length, room, timeoutMs);
    return Answer(command[0] == 0x56 ? "00 AF 577293FD2F34CA51" : "00", response);
}

extern "C" int __wrap_Union_SendCmd(DEVCONTEXT *, const unsigned char *command, int length,
                                    unsigned char *response, int room, uint32_t timeoutMs)
{
    Note(command, length, room, timeoutMs);
    return Answer("0000", response);
}

extern "C" int __wrap_RAWC_SendCmd(DEVCONTEXT *, const unsigned char *command, int length,
                                   unsigned char *response, int room, const char *endKind,
                                   uint32_t timeoutMs)
{
    Note(command, length, room, timeoutMs);
    return Answer(strcmp(endKind, "rp/q") == 0 ? "1B7270" : "1B73 313233343D35 3F1C", response);
}

extern "C" int __wrap_RAWL_SendCmd(DEVCONTEXT *, const unsigned char *command, int length,
                                   unsigned char *, int room, int expectedLength,
                                   uint32_t timeoutMs)
{
    EXPECT_EQ(0, expectedLength);
    Note(command, length, room, timeoutMs);
    return length;
}

namespace
{

// The reader is switched by nobody here: "IdChange" is 0.
struct GivenTimeouts : testing::Test
{
    Scratch directory;
    LogCapture log{0};

    GivenTimeouts()
    {
        Framing('0');
        g_asked.clear();
    }

    void Framing(char number)
    {
        WriteFile(directory.path + "/config.ini",
                  std::string("[devcfg]\nIdChange=0\nIccmd=") + number + "\n");
        GSetConfigFilePath((directory.path + "/config.ini").c_str());
    }

    // What was asked since the last look.
    static std::string Asked()
    {
        std::string asked;
        asked.swap(g_asked);
        return asked;
    }
};

} // namespace

TEST_F(GivenTimeouts, AnIdentityCardHasOneSecondAStepAndThreeToBeRead)
{
    const std::string whole = "11FF 256 1000\n"
                              "2001 256 1000\n"
                              "2002 256 1000\n"
                              "3010 4096 3000\n"
                              "3001 4096 3000\n";
    char info[1024];
    uint32_t length = 0;
    EXPECT_EQ(0, BO_GetIdRawData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 9));
    EXPECT_EQ(whole, Asked());
    EXPECT_EQ(0, BO_ReadIdInfo(nullptr, 0, info, &length, nullptr, 0, nullptr, nullptr, 9));
    EXPECT_EQ(whole, Asked());
    EXPECT_EQ(0, BO_ReadIdInfo_Pic(nullptr, 0, info, &length, 9));
    EXPECT_EQ(whole, Asked());
    EXPECT_EQ(0, BO_ReadIdInfo_Pic_FB(nullptr, nullptr, nullptr, nullptr, info, &length, nullptr,
                                      nullptr, 9));
    EXPECT_EQ(whole, Asked());
    EXPECT_EQ(0, BO_ReadIdInfo_Pic_YC(nullptr, nullptr, nullptr, nullptr, 1024, info, &length, 9));
    EXPECT_EQ(whole, Asked());
}

TEST_F(GivenTimeouts, TheIdentityModuleHasOneSecond)
{
    EXPECT_EQ(0, BO_IdReset());
    EXPECT_EQ("11FF 256 1000\n", Asked());
    EXPECT_EQ(0, BO_SetIdBaud(38400));
    EXPECT_EQ("6002 256 1000\n", Asked());
}

TEST_F(GivenTimeouts, AnM1CardHasOneSecondForPowerAndKeyAndThreeForData)
{
    char text[64];
    int32_t length = 0;
    for (const bool isUnion : {false, true})
    {
        Framing(isUnion ? '1' : '0');
        const std::string head = isUnion ? "32" : "";
        EXPECT_EQ(0, BO_M1Powerup(64, text, &length, 9));
        EXPECT_EQ(isUnion ? "32410000 256 1000\n" : "41 256 1000\n", Asked());
        EXPECT_EQ(0, BO_M1Powerdown());
        EXPECT_EQ(isUnion ? "3225 256 1000\n" : "4B 256 1000\n", Asked());
        EXPECT_EQ(0, BO_M1Verify(1, 1, "A1A2A3A4A5A6"));
        EXPECT_EQ(head + "4201" + (isUnion ? "01" : "61") + "A1A2A3A4A5A6 4096 1000\n", Asked());
        EXPECT_EQ(0, BO_M1ReadBlock(4, 64, text));
        EXPECT_EQ(head + "4304 4096 3000\n", Asked());
        EXPECT_EQ(0, BO_M1WriteBlock(4, "00112233445566778899AABBCCDDEEFF"));
        EXPECT_EQ(head + "440400112233445566778899AABBCCDDEEFF 4096 3000\n", Asked());
        EXPECT_EQ(0, BO_M1Read(4, 64, text));
        EXPECT_EQ(head + "4504 4096 3000\n", Asked());
        EXPECT_EQ(0, BO_M1Write(4, "01020304"));
        EXPECT_EQ(head + "460401020304 4096 3000\n", Asked());
        for (const auto call : {BO_M1Increment, BO_M1Decrement})
        {
            EXPECT_EQ(0, call(4, "01020304"));
            const std::string letter = call == BO_M1Increment ? "47" : "48";
            EXPECT_EQ(head + letter + "0401020304 4096 3000\n", Asked());
        }
        for (const auto call : {BO_M1IncreaseValue, BO_M1DecreaseValue})
        {
            EXPECT_EQ(0, call(4, 1));
            const std::string letter = call == BO_M1IncreaseValue ? "47" : "48";
            EXPECT_EQ(head + letter + "0401000000 4096 3000\n", Asked());
        }
    }
}

TEST_F(GivenTimeouts, AnM0CardHasOneSecondForPowerAndThreeForAllElse)
{
    char text[64];
    int32_t length = 0;
    EXPECT_EQ(0, BO_M0PowerOn(64, text, &length, 9));
    EXPECT_EQ("51 256 1000\n", Asked());
    EXPECT_EQ(0, BO_M0PowerOff());
    EXPECT_EQ("55 256 1000\n", Asked());
    EXPECT_EQ(0, BO_M0Read(4, 16, 64, text));
    EXPECT_EQ("570410 4096 3000\n", Asked());
    EXPECT_EQ(0, BO_M0Write(4, "01020304"));
    EXPECT_EQ("540401020304 4096 3000\n", Asked());

    EXPECT_EQ(-5103, BO_M0VerifyKey(32, "49454D4B41455242214E4143554F5946"));
    const std::string asked = Asked();
    EXPECT_EQ("56021A00 4096 3000\n5611AF", asked.substr(0, 25));
    EXPECT_EQ(" 4096 3000\n55 256 1000\n", asked.substr(25 + 32)) << "two blocks of a random proof";

    EXPECT_EQ(0, BO_M0DownKey(32, "000102030405060708090A0B0C0D0E0F"));
    const std::string rest = std::string(26, '0') + " 4096 3000\n";
    EXPECT_EQ("542D03020100" + rest + "542C07060504" + rest + "542F0B0A0908" + rest +
                  "542E0F0E0D0C" + rest,
              Asked());
}

TEST_F(GivenTimeouts, ASwipeHasTheHostsSecondsAndTheResetATenth)
{
    const struct
    {
        int seconds;
        const char *milliseconds;
    } rows[] = {{7, "7000"},
                {0, "0"},
                {2147483, "2147483000"},
                {2147484, "2147483647"}, // the longest there is
                {INT_MAX, "2147483647"}};
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.seconds);
        const std::string end = std::string(" 256 ") + row.milliseconds + "\n1B30 256 100\n";
        char track[256] = {};
        uint32_t length = 0;
        EXPECT_EQ(0, BO_ReadMagCard(0, 2, 0, nullptr, nullptr, 256, track, &length, 0, nullptr,
                                    nullptr, row.seconds));
        EXPECT_EQ("1B5D" + end, Asked());
        EXPECT_EQ(0, BO_GetMagCardNo(0, 2, 0, track, &length, row.seconds));
        EXPECT_EQ("1B5D" + end, Asked());
        EXPECT_EQ(0, BO_WriteMagCard(0, 0, 0, "12", 2, nullptr, 0, row.seconds));
        EXPECT_EQ("1B7431321D1B5C1B6A" + end, Asked());
    }
    EXPECT_EQ(0, BO_ResetMsr());
    EXPECT_EQ("1B30 256 100\n", Asked());
}

// The stripe module's commands, as rows of command, reply, result.
#include "vantor/magnetic_stripe_operations.h"

#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>

#include "wire/line_host.h"

using testing_support::FromHex;
using testing_support::GoldenLine;
using wire_testing::kNoTerminal;
using wire_testing::LineHost;

namespace
{

#define END "?\x1C"

const uint32_t kEnoughMs = 5000;
const uint32_t kShortMs = 200; // time for a reader on a busy machine

struct Tracks
{
    uint32_t capacity[3] = {300, 300, 300};
    char text[3][300] = {};
};

struct ReadResult
{
    int result;
    std::string one;
    std::string two;
    std::string three;
    bool operator==(const ReadResult &other) const
    {
        return result == other.result && one == other.one && two == other.two &&
               three == other.three;
    }
};

void PrintTo(const ReadResult &read, std::ostream *stream)
{
    *stream << read.result << " [" << read.one << "] [" << read.two << "] [" << read.three << "]";
}

ReadResult Read(uint32_t mode, const std::string &command, const std::string &reply,
                Tracks tracks = {}, uint32_t timeoutMs = kEnoughMs)
{
    GoldenLine line{{command, reply}};
    LineHost host(line, "");
    const int result = MSR_ReadTrack(&host.device, 99, mode, tracks.capacity[0], tracks.text[0],
                                     tracks.capacity[1], tracks.text[1], tracks.capacity[2],
                                     tracks.text[2], timeoutMs);
    return {result, tracks.text[0], tracks.text[1], tracks.text[2]};
}

int Write(uint32_t mode, const char *track2, const char *track3, const std::string &command,
          const std::string &reply, uint32_t timeoutMs = kEnoughMs)
{
    GoldenLine line{{command, reply}};
    LineHost host(line, "");
    return MSR_WriteTrack(&host.device, 99, mode, track2, track3, timeoutMs);
}

// Track 2 "12", track 3 "34", both.
const std::string kWrite2 = FromHex("1B74 3132 1D1B5C 1B6A");
const std::string kWrite3 = FromHex("1B74 41 3334 1D1B5C 1B6A");
const std::string kWriteBoth = FromHex("1B74 3132 41 3334 1D1B5C 1B6A");

} // namespace

TEST(StripeReset, SendsEscapeZeroAndAlwaysGives0)
{
    GoldenLine line{{FromHex("1B30"), ""}};
    LineHost host(line, "");
    EXPECT_EQ(MSR_Reset(&host.device, 100), 0);
    LineHost closed(kNoTerminal, "");
    EXPECT_EQ(MSR_Reset(&closed.device, 100), 0);
    EXPECT_EQ(MSR_Reset(nullptr, 100), 0);
}

TEST(StripeRead, EveryModeHasItsCommandAndItsTracks)
{
    const std::string reply = ESC "s12A34%56" END;
    EXPECT_EQ(Read(1, FromHex("1B415D"), reply), (ReadResult{0, "56", "12", "34"}));
    EXPECT_EQ(Read(12, FromHex("1B445D"), reply), (ReadResult{0, "56", "12", "34"}));
    EXPECT_EQ(Read(13, FromHex("1B455D"), reply), (ReadResult{0, "56", "12", "34"}));
    EXPECT_EQ(Read(123, FromHex("1B465D"), reply), (ReadResult{0, "56", "12", "34"}));
    EXPECT_EQ(Read(2, FromHex("1B5D"), reply), (ReadResult{0, "", "12", "34%56"}));
    EXPECT_EQ(Read(3, FromHex("1B545D"), reply), (ReadResult{0, "", "12", "34%56"}));
    EXPECT_EQ(Read(23, FromHex("1B425D"), reply), (ReadResult{0, "", "12", "34%56"}));
}

TEST(StripeRead, TheLetterAInTrack1IsData)
{
    EXPECT_EQ(Read(1, FromHex("1B415D"), ESC "s%BA12" END), (ReadResult{0, "BA12", "", ""}));
}

TEST(StripeRead, Modes2And3CutTheLastTwoBytesWhateverTheyAre)
{
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s1234=5678" END), (ReadResult{0, "", "1234=5678", ""}));
    EXPECT_EQ(Read(3, FromHex("1B545D"), ESC "sA1234" END), (ReadResult{0, "", "", "1234"}));
    // The time runs out before the end mark comes.
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s1234", {}, kShortMs), (ReadResult{0, "", "12", ""}));
    EXPECT_EQ(Read(3, FromHex("1B545D"), ESC "sA1234", {}, kShortMs),
              (ReadResult{0, "", "", "12"}));
    EXPECT_EQ(Read(23, FromHex("1B425D"), ESC "s1234", {}, kShortMs),
              (ReadResult{0, "", "1234", ""}));
    // What follows the end mark in the same read is what is cut.
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s1234" END "XY"), (ReadResult{0, "", "1234", ""}));
}

TEST(StripeRead, AReplyTooShortForItsCutHasNoBody)
{
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s", {}, kShortMs), (ReadResult{0, "", "", ""}));
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s1", {}, kShortMs), (ReadResult{0, "", "", ""}));
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s12", {}, kShortMs), (ReadResult{0, "", "", ""}));
    EXPECT_EQ(Read(3, FromHex("1B545D"), ESC "s", {}, kShortMs), (ReadResult{0, "", "", ""}));
    EXPECT_EQ(Read(1, FromHex("1B415D"), ESC "s", {}, kShortMs), (ReadResult{0, "", "", ""}));
}

TEST(StripeRead, AnotherBeginningGivesTheModesCode)
{
    const struct
    {
        uint32_t mode;
        const char *command;
        int code;
    } kModes[] = {{1, "1B415D", -2001},  {2, "1B5D", -2002},    {3, "1B545D", -2003},
                  {12, "1B445D", -2106}, {13, "1B455D", -2107}, {23, "1B425D", -2004},
                  {123, "1B465D", -2000}};
    for (const auto &mode : kModes)
        for (const char *reply : {"xs1" END, ESC "S1" END, "1" END, "s" ESC END, END})
            EXPECT_EQ(Read(mode.mode, FromHex(mode.command), reply),
                      (ReadResult{mode.code, "", "", ""}))
                << mode.mode << " " << reply;
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC, {}, kShortMs).result, -2002);
}

TEST(StripeRead, TheLinksFailureIsGivenAsItIs)
{
    EXPECT_EQ(Read(2, FromHex("1B5D"), "", {}, kShortMs).result, -62);
    EXPECT_EQ(Read(1, FromHex("1B415D"), ESC "s" + std::string(253, '1') + END).result, -22);
    Tracks tracks;
    EXPECT_EQ(MSR_ReadTrack(nullptr, 0, 2, 300, tracks.text[0], 300, tracks.text[1], 300,
                            tracks.text[2], kShortMs),
              -19);
}

TEST(StripeRead, ACancelStaysACancel)
{
    GoldenLine line{{FromHex("1B5D"), ""}};
    LineHost host(line, "");
    Tracks tracks;
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
    EXPECT_EQ(MSR_ReadTrack(&host.device, 0, 2, 0, nullptr, 300, tracks.text[1], 0, nullptr, 60000),
              -125);
    done = true;
    canceller.join();
}

TEST(StripeRead, AReplyOf256BytesIsTooLongForMode2Only)
{
    const std::string digits(252, '1');
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s" + digits + END).result, -2002);
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s" + digits.substr(1) + END).two, digits.substr(1));
    EXPECT_EQ(Read(3, FromHex("1B545D"), ESC "sA" + digits.substr(1) + END).three,
              digits.substr(1));
    EXPECT_EQ(Read(23, FromHex("1B425D"), ESC "s" + digits + END).two, digits);
    EXPECT_EQ(Read(1, FromHex("1B415D"), ESC "s%" + digits.substr(1) + END).one, digits.substr(1));
}

TEST(StripeRead, Mode23HoldsTrack3ToTheRoomOfTrack2)
{
    Tracks narrow;
    narrow.capacity[1] = 4;
    EXPECT_EQ(Read(23, FromHex("1B425D"), ESC "s12A3456789" END, narrow),
              (ReadResult{0, "", "12", "3456"}));
    Tracks wide;
    wide.capacity[2] = 2;
    EXPECT_EQ(Read(23, FromHex("1B425D"), ESC "s12A3456789" END, wide),
              (ReadResult{0, "", "12", "3456789"}));
    EXPECT_EQ(Read(2, FromHex("1B5D"), ESC "s12A3456789" END, wide),
              (ReadResult{0, "", "12", "34"}));
}

TEST(StripeRead, AFullTrackLeavesBothOpen)
{
    GoldenLine line{{FromHex("1B425D"), ESC "s1234A56" END}};
    LineHost host(line, "");
    char two[8];
    char three[8];
    memset(two, '#', sizeof two);
    memset(three, '#', sizeof three);
    EXPECT_EQ(MSR_ReadTrack(&host.device, 0, 23, 0, nullptr, 4, two, 4, three, kEnoughMs), 0);
    EXPECT_EQ(std::string(two, 8), "1234####");
    EXPECT_EQ(std::string(three, 8), "56######");
}

TEST(StripeRead, ATrackWithoutABufferIsNotWritten)
{
    GoldenLine line{{FromHex("1B465D"), ESC "s12A34%56" END}};
    LineHost host(line, "");
    char two[8] = "#######";
    EXPECT_EQ(MSR_ReadTrack(&host.device, 0, 123, 0, nullptr, 8, two, 0, nullptr, kEnoughMs), 0);
    EXPECT_STREQ(two, "12");
}

TEST(StripeRead, AZeroByteEndsTheBody)
{
    EXPECT_EQ(Read(23, FromHex("1B425D"), std::string(ESC "s12\0", 5) + "34" END),
              (ReadResult{0, "", "12", ""}));
}

TEST(StripeRead, AnotherModeSendsNothing)
{
    LineHost host(kNoTerminal, "");
    Tracks tracks;
    for (uint32_t mode : {0u, 4u, 7u, 21u, 32u, 124u, 0xFFFFFFFFu})
        EXPECT_EQ(MSR_ReadTrack(&host.device, 0, mode, 300, tracks.text[0], 300, tracks.text[1],
                                300, tracks.text[2], kShortMs),
                  0);
    EXPECT_EQ(MSR_ReadTrack(&host.device, 0, 2, 300, tracks.text[0], 300, tracks.text[1], 300,
                            tracks.text[2], kShortMs),
              -2);
}

TEST(StripeWrite, Track2)
{
    EXPECT_EQ(Write(2, "12", "34", kWrite2, FromHex("1B7270")), 0);
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, FromHex("1B7270")), 0);
    for (const char *reply : {"1B7271", "1B547270", "1B427270", "7270", "001B7270"})
        EXPECT_EQ(Write(2, "12", nullptr, kWrite2, FromHex(reply)), -2102) << reply;
}

TEST(StripeWrite, Track3)
{
    EXPECT_EQ(Write(3, "12", "34", kWrite3, FromHex("1B547270")), 0);
    EXPECT_EQ(Write(3, nullptr, "34", kWrite3, FromHex("1B547270")), 0);
    for (const char *reply : {"1B547271", "1B7270", "1B427270", "7270"})
        EXPECT_EQ(Write(3, nullptr, "34", kWrite3, FromHex(reply)), -2103) << reply;
}

TEST(StripeWrite, BothTracksInEitherMode)
{
    for (uint32_t mode : {1u, 23u})
    {
        EXPECT_EQ(Write(mode, "12", "34", kWriteBoth, FromHex("1B427270")), 0);
        EXPECT_EQ(Write(mode, "12", "34", kWriteBoth, FromHex("1B7271")), -2102);
        EXPECT_EQ(Write(mode, "12", "34", kWriteBoth, FromHex("1B547271")), -2103);
        for (const char *reply : {"1B7270", "1B547270", "1B427271", "7271"})
            EXPECT_EQ(Write(mode, "12", "34", kWriteBoth, FromHex(reply)), -2104) << reply;
    }
}

TEST(StripeWrite, TheReplyIsJudgedAsAWholeText)
{
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, FromHex("1B727041")), -2102);
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, FromHex("1B72700041")), 0);
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, ESC, kShortMs), -2102); // the time ran out
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, std::string(254, 'x') + "rp"), -2102);
}

TEST(StripeWrite, TheLinksFailureIsGivenAsItIs)
{
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, "", kShortMs), -62);
    EXPECT_EQ(Write(2, "12", nullptr, kWrite2, std::string(255, 'x') + "rp"), -22);
    EXPECT_EQ(MSR_WriteTrack(nullptr, 0, 2, "12", nullptr, kShortMs), -19);
}

TEST(StripeWrite, AnotherModeSendsNothing)
{
    LineHost host(kNoTerminal, "");
    for (uint32_t mode : {0u, 7u, 12u, 13u, 123u})
        EXPECT_EQ(MSR_WriteTrack(&host.device, 0, mode, "12", "34", kShortMs), 0);
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 2, "12", "34", kShortMs), -2);
}

TEST(StripeWrite, HoldsWhatItsRoomHolds)
{
    const std::string longest(1016, '1'); // with the 7 bytes around it 1023
    EXPECT_EQ(Write(2, longest.c_str(), nullptr, ESC "t" + longest + FromHex("1D1B5C1B6A"),
                    FromHex("1B7270")),
              0);
    LineHost host(kNoTerminal, "");
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 2, (longest + "1").c_str(), nullptr, kShortMs), -22);
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 23, longest.c_str(), "", kShortMs), -22);
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 2, nullptr, "34", kShortMs), -22);
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 3, "12", nullptr, kShortMs), -22);
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 1, "12", nullptr, kShortMs), -22);
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 1, nullptr, "34", kShortMs), -22);
}

TEST(StripeLink, UsesReportMode1)
{
    LineHost host(kNoTerminal, "");
    DC_Init(&host.device);
    DC_SetInterfaceType(&host.device, "hid");
    EXPECT_EQ(MSR_WriteTrack(&host.device, 0, 2, "12", nullptr, kShortMs), -19);
    EXPECT_EQ(DC_GetModeId(&host.device), 1);
}

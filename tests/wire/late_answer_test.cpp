// Answers that come late: what an exchange that ended without its answer left on the line is
// dropped before the next command, and nothing else ever is.
#include <atomic>
#include <chrono>
#include <ctime>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <string>
#include <sys/select.h>
#include <thread>

#include "support/pty_line.h"
#include "vantor/link.h"
#include "wire/line_host.h"
#include "wire/room.h"

using testing_support::PtyLine;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

uint64_t g_laterMs = 0; // how far the monotonic clock has been put forward
// A pause of 20 ms that the test's other thread makes against its will is no end of an answer.
bool g_busyMachine = false;

template <typename Function>
Function *Real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    static const auto real = Real<int(clockid_t, timespec *)>("clock_gettime");
    const int result = real(clock, now);
    if (clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_COARSE)
        now->tv_sec += static_cast<time_t>(g_laterMs / 1000);
    return result;
}

extern "C" int select(int count, fd_set *readable, fd_set *writable, fd_set *failed, timeval *limit)
{
    static const auto real = Real<int(int, fd_set *, fd_set *, fd_set *, timeval *)>("select");
    if (g_busyMachine && limit->tv_usec == 20000)
        limit->tv_usec = 400000;
    return real(count, readable, writable, failed, limit);
}

namespace
{

// Answers of the reader to the device information command: status 00 and "first", "second".
const std::string kFirst = "6006"
                           "00"
                           "6669727374"
                           "00" ETX;
const std::string kSecond = "6007"
                            "00"
                            "7365636F6E64"
                            "00" ETX;

struct LateAnswer : testing::Test
{
    PtyLine line;
    LineHost host{line.name, "Iccmd=0\n"};

    void SetUp() override
    {
        ASSERT_EQ(COMM_Open(&host.device), 0);
    }
    void TearDown() override
    {
        COMM_Close(&host.device);
        g_laterMs = 0;
        g_busyMachine = false;
    }

    void Arrives(const std::string &bytes) const
    {
        line.Write({bytes.begin(), bytes.end()});
    }
    // The payload behind the status of a KrelIc exchange, or its code.
    std::string Ask(uint32_t timeoutMs = 20000)
    {
        const unsigned char command[] = {0x81, 0x00};
        Room room;
        const int result =
            KrelIc_SendCmd(&host.device, command, sizeof command, room.Data(), 256, timeoutMs);
        return result > 0 ? room.Text(static_cast<size_t>(result)).substr(1)
                          : std::to_string(result);
    }
    // The same, answered by the line once the command has reached it.
    std::string AskAnsweredWith(const std::string &answer)
    {
        line.Read(4096, 0); // the commands before it
        std::thread reader(
            [&]
            {
                line.Read(11); // the command: "60028100E3", ETX
                Arrives(answer);
            });
        const std::string given = Ask();
        reader.join();
        return given;
    }
};

TEST_F(LateAnswer, AnAnswerThatWaitsBeforeAnOrdinaryExchangeIsItsAnswer)
{
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
    Arrives(kSecond); // also behind an exchange that was answered
    EXPECT_EQ(Ask(), "second");
}

TEST_F(LateAnswer, OneThatComesAfterATimeOutIsDroppedBeforeTheNextCommand)
{
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, OneThatComesAfterACancelIsDropped)
{
    std::atomic<bool> ended{false};
    std::thread other(
        [&]
        {
            line.Read(11);
            for (; !ended; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
                COMM_cancle(); // one that comes before the read listens is lost
        });
    const uint64_t start = GetTickCount();
    EXPECT_EQ(Ask(20000), "-74");
    EXPECT_LT(GetTickCount() - start, 15000U);
    ended = true;
    other.join();
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, OnceItIsDroppedAWaitingAnswerIsTakenAgain)
{
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

// Without a number in the frame the first answer behind the command is its answer. But the lag ends
// with the next command that finds an answer there already.
TEST_F(LateAnswer, OneThatComesBehindTheNextCommandIsTakenOnceAndNotForEver)
{
    EXPECT_EQ(Ask(5), "-74");
    EXPECT_EQ(AskAnsweredWith(kFirst), "first"); // the late one
    Arrives(kFirst);                             // what that command was answered
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, EachMissingAnswerIsExpected)
{
    EXPECT_EQ(Ask(5), "-74");
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

TEST_F(LateAnswer, AnAnswerThatStoppedHalfWayLeavesItsRestToBeDropped)
{
    Arrives(kFirst.substr(0, 6));
    EXPECT_EQ(Ask(20), "-74");
    Arrives(kFirst.substr(6)); // holds no start, but an end
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, WhatIsStillComingInIsAwaitedToItsEnd)
{
    g_busyMachine = true;
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst.substr(0, 6));
    line.Read(4096, 0);
    std::thread reader(
        [&]
        {
            for (size_t i = 6; i < kFirst.size(); i++)
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(1)); // 9600 bits per second
                Arrives(kFirst.substr(i, 1));
            }
            line.Read(11);
            Arrives(kSecond);
        });
    EXPECT_EQ(Ask(), "second");
    reader.join();
}

TEST_F(LateAnswer, AReaderThatNeverStopsHoldsUpTheNextCommandOnlySoLong)
{
    g_busyMachine = true;
    EXPECT_EQ(Ask(5), "-74");
    Arrives(std::string(64, '\xAA'));
    std::atomic<bool> ends{false};
    std::thread reader(
        [&]
        {
            while (!ends)
            {
                Arrives(std::string(64, '\xAA'));
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        });
    const uint64_t start = GetTickCount();
    EXPECT_EQ(Ask(5), "-74");
    const uint64_t took = GetTickCount() - start;
    ends = true;
    reader.join();
    EXPECT_GE(took, 680U); // 700, by a coarse clock
    EXPECT_LT(took, 3000U);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, AnAnswerThatBelongsToAnotherLinkCountsAsNone)
{
    EXPECT_EQ(AskAnsweredWith("\x02"
                              "0001000000" ETX),
              "-74"); // Union_
    Arrives(kFirst);  // the command's own
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, ItIsDroppedAlsoWhenTheLineWasClosedMeanwhile)
{
    EXPECT_EQ(Ask(50), "-74");
    EXPECT_EQ(COMM_Close(&host.device), 0);
    EXPECT_EQ(COMM_Open(&host.device), 0);
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, AnotherLineOwesNothing)
{
    EXPECT_EQ(Ask(5), "-74");
    COMM_Close(&host.device);
    PtyLine other;
    GSetComName(3, other.name.c_str());
    EXPECT_EQ(COMM_Open(&host.device), 0);
    other.Write({kFirst.begin(), kFirst.end()});
    EXPECT_EQ(Ask(), "first");
}

// Its number is given again at once, and its times may be those of the one before.
TEST_F(LateAnswer, APseudoTerminalThatWasMadeAnewOwesNothing)
{
    COMM_Close(&host.device);
    for (int round = 0; round < 50; round++)
    {
        {
            PtyLine before;
            GSetComName(3, before.name.c_str());
            ASSERT_EQ(COMM_Open(&host.device), 0);
            before.Write({0x02, '0', '0', '0', '1', '0', '0', '0', '0', '0', '0', 0x03}); // Union_
            EXPECT_EQ(Ask(), "-74");
            COMM_Close(&host.device);
        }
        PtyLine anew;
        GSetComName(3, anew.name.c_str());
        ASSERT_EQ(COMM_Open(&host.device), 0);
        anew.Write({kFirst.begin(), kFirst.end()});
        ASSERT_EQ(Ask(1000), "first") << round;
        COMM_Close(&host.device);
    }
    GSetComName(3, line.name.c_str());
    EXPECT_EQ(COMM_Open(&host.device), 0);
}

TEST_F(LateAnswer, ALineThatWasLeftAloneForTenSecondsOwesNothing)
{
    EXPECT_EQ(Ask(5), "-74");
    g_laterMs = 11000;
    EXPECT_EQ(AskAnsweredWith(kFirst), "first");
    Arrives(kSecond);
    EXPECT_EQ(Ask(), "second");
}

TEST_F(LateAnswer, AfterTenSecondsWhatWaitsIsStillDropped)
{
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    g_laterMs = 11000;
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, ARefusedCommandDropsNothing)
{
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    unsigned char answer[8];
    const unsigned char tooLong[256] = {};
    EXPECT_EQ(KrelIc_SendCmd(&host.device, tooLong, 256, answer, sizeof answer, 5), -22);
    unsigned char waiting[64];
    EXPECT_EQ(COMM_Read(&host.device, waiting, sizeof waiting, 1000, nullptr),
              static_cast<int>(kFirst.size()));
}

TEST_F(LateAnswer, TheLogSaysHowMuchWasDropped)
{
    host.LogAt(2);
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    EXPECT_THAT(host.Log(), testing::HasSubstr("Late answer dropped, len = 19\r\n"));
}

// ---- The other links ----

TEST_F(LateAnswer, AnIdentityReplyThatComesLateIsDropped)
{
    const unsigned char find[] = {0x20, 0x01};
    const std::string found = std::string("\xAA\xAA\xAA\x96\x69\x00\x08\x00\x00\x9F", 10) +
                              std::string("\x00\x00\x00\x00\x97", 5);
    Room room;
    EXPECT_EQ(ID_SendCmd(&host.device, find, sizeof find, room.Data(), 256, 5), -62);
    Arrives(found);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(found.substr(0, 9)); // half of one
    EXPECT_EQ(ID_SendCmd(&host.device, find, sizeof find, room.Data(), 256, 20), 9);
    Arrives(found.substr(9));
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, TracksThatComeLateAreDropped)
{
    const unsigned char read[] = {0x1B, ']'};
    const std::string tracks = "\x1Bs6225880000000000=4912?\x1C";
    Room room;
    EXPECT_EQ(RAWC_SendCmd(&host.device, read, sizeof read, room.Data(), 256, "?\x1C", 5), -62);
    Arrives(tracks);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(tracks.substr(0, 9));
    EXPECT_EQ(RAWC_SendCmd(&host.device, read, sizeof read, room.Data(), 256, "?\x1C", 20), 9);
    Arrives(tracks.substr(9));
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, ThatOfAFixedLengthIsDroppedAndIsWholeAtThatLength)
{
    const unsigned char mode[] = {0x1B, '$', 'B', '0'};
    Room room;
    EXPECT_EQ(RAWL_SendCmd(&host.device, mode, sizeof mode, room.Data(), 256, 2, 100), -62);
    Arrives("OK");
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives("O");
    EXPECT_EQ(RAWL_SendCmd(&host.device, mode, sizeof mode, room.Data(), 256, 2, 100), 1);
    Arrives("K");
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives("OK");
    EXPECT_EQ(RAWL_SendCmd(&host.device, mode, sizeof mode, room.Data(), 256, 2, 100), 2);
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

// A reader on a terminal answers no mode sequence, so that this is the usual end of one.
TEST_F(LateAnswer, ThatOfAModeSequenceIsDroppedBeforeTheNextCommandOnly)
{
    const unsigned char mode[] = {0x1B, '$', 'B', '0'};
    Room room;
    EXPECT_EQ(RAWL_SendCmd(&host.device, mode, sizeof mode, room.Data(), 256, 2, 100), -62);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

TEST_F(LateAnswer, ThatOfAModeSequencePaysForNoOtherAnswer)
{
    EXPECT_EQ(Ask(5), "-74");
    const unsigned char mode[] = {0x1B, '$', 'B', '0'};
    Room room;
    EXPECT_EQ(RAWL_SendCmd(&host.device, mode, sizeof mode, room.Data(), 256, 2, 100), -62);
    Arrives("OK");
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(kFirst); // of the first command
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateAnswer, ACommandWithoutAnAnswerLeavesNoneMissing)
{
    const unsigned char reset[] = {0x1B, 'S'};
    Room room;
    EXPECT_EQ(RAWL_SendCmd(&host.device, reset, sizeof reset, room.Data(), 256, 0, 100), 2);
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

TEST_F(LateAnswer, AReadOfUnaskedDataIsNoExchange)
{
    EXPECT_EQ(Vantor_ReadData(&host.device, 100), -62);
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
    EXPECT_EQ(Ask(5), "-74");
    Arrives(kFirst);
    EXPECT_EQ(Vantor_ReadData(&host.device, 100), static_cast<int>(kFirst.size()));
}

// ---- The clock ----

// Milliseconds of more than 32 bits: a machine that slept, or a very long limit.
TEST_F(LateAnswer, AWaitThatTheClockPassesInOneLeapIsOver)
{
    static int s_asked;
    s_asked = 0;
    const auto leap = [](const unsigned char *, uint32_t)
    {
        g_laterMs = uint64_t{1} << 32;
        if (++s_asked == 1000)
            COMM_cancle();
        return 0;
    };
    unsigned char answer[8];
    EXPECT_EQ(COMM_Read(&host.device, answer, sizeof answer, 0xFFFFFFFF, leap), -62);
}

// ---- A second thread ----

TEST_F(LateAnswer, ACommandBesideAnotherOneLeavesItItsAnswer)
{
    EXPECT_EQ(Ask(5), "-74"); // an answer is owed
    line.Read(4096, 0);
    std::thread second(
        [&]
        {
            line.Read(11); // the first thread waits for its answer
            Arrives(kFirst);
            const unsigned char reset[] = {0x1B, 'S'};
            unsigned char answer[8];
            RAWL_SendCmd(&host.device, reset, sizeof reset, answer, sizeof answer, 0, 100);
        });
    EXPECT_EQ(Ask(2000), "first");
    second.join();
}

} // namespace

// Magnetic cards through the public calls, on the virtual reader: swiped while a call waits,
// written, refused, cancelled; and a counter's day of all kinds of card.
#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "host/counter.h"

using namespace testing_support;
using testing::HasSubstr;

static const std::string kTrack1 = "B6200000000000005^SAMPLE/CARD^3012101000000000000";
static const std::string kTrack2 = "6200000000000005=30121010000000000000";
static const std::string kTrack3 =
    "996200000000000005=1561560000000000000003000000000000000000000=000000000000=000000000000="
    "00000000";

TEST(StripeRound, EveryModeReadsItsTracks)
{
    const struct
    {
        uint32_t mode;
        std::string one, two, three;
    } kModes[] = {
        {1, kTrack1, "", ""},
        {2, "", kTrack2, ""},
        {3, "", "", kTrack3},
        {12, kTrack1, kTrack2, ""},
        {13, kTrack1, "", kTrack3},
        {23, "", kTrack2, kTrack3},
        {123, kTrack1, kTrack2, kTrack3},
    };
    Counter counter("magnetic-cards");
    for (const auto &row : kModes)
    {
        counter.Control("swipe next all-tracks");
        const StripeResult read = counter.Swipe(row.mode);
        EXPECT_EQ(read.result, 0) << row.mode;
        EXPECT_EQ(read.one, row.one) << row.mode;
        // What the library gives for the tracks that were not asked for is not the host's business.
        EXPECT_EQ(row.two.empty() ? "" : read.two, row.two) << row.mode;
        EXPECT_EQ(row.three.empty() ? "" : read.three, row.three) << row.mode;
    }
}

TEST(StripeRound, ASwipeDuringTheWaitIsRead)
{
    Counter counter("magnetic-cards");
    std::thread hand(
        [&]
        {
            counter.Control("wait swipe");
            counter.Control("swipe all-tracks");
        });
    const StripeResult read = counter.Swipe(23, 60);
    hand.join();
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.two, kTrack2);
    EXPECT_EQ(read.three, kTrack3);
    EXPECT_EQ(read.lengths, "7 37 97"); // that of track 1 is left alone
}

TEST(StripeRound, TracksThatCannotBeReadHaveCodes)
{
    const struct
    {
        const char *card;
        uint32_t mode;
        int code;
    } kCards[] = {
        {"track-2-only", 2, 0},         {"track-2-only", 1, -2001},
        {"track-2-only", 3, -2003},     {"track-2-only", 12, -2001},
        {"track-2-only", 13, -2107},    {"track-2-only", 23, -2003},
        {"track-2-only", 123, -2107},   {"track-1-only", 23, -2004},
        {"track-1-only", 12, -2002},    {"track-1-only", 123, -2004},
        {"track-3-only", 123, -2106},   {"track-3-only", 12, -2106},
        {"empty", 123, -2000},          {"zeros", 123, -2000},
        {"zeros", 23, -2004},           {"mixed-empty", 12, -2001},
        {"mixed-empty", 123, -2001},    {"mixed-empty", 23, -2002},
        {"damaged-track-1", 12, -2001}, {"damaged-track-2", 2, -2002},
        {"damaged-track-3", 3, -2003},  {"unreadable", 12, -2106},
        {"unreadable", 13, -2107},      {"unreadable", 123, -2000},
    };
    Counter counter("magnetic-cards");
    for (const auto &row : kCards)
    {
        counter.Control(std::string("swipe next ") + row.card);
        EXPECT_EQ(counter.Swipe(row.mode).result, row.code) << row.card << " " << row.mode;
    }
}

TEST(StripeRound, WhatIsWrittenIsOnTheCardAfterwards)
{
    Counter counter("magnetic-cards");
    counter.Control("swipe next empty");
    EXPECT_EQ(counter.Write("6212345678901234=2512", "010000='@#:"), 0);
    EXPECT_EQ(counter.Control("tracks empty"),
              R"(ok {"1":null,"2":"6212345678901234=2512","3":"010000='@#:"})");
    counter.Control("swipe next empty");
    EXPECT_EQ(counter.Write("5=5", nullptr), 0);
    counter.Control("swipe next empty");
    EXPECT_EQ(counter.Write("5x5", "6=6"), 0); // the bad one is left out
    counter.Control("swipe next empty");
    const StripeResult read = counter.Swipe(23);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.two, "5=5");
    EXPECT_EQ(read.three, "6=6");
}

TEST(StripeRound, ARefusedWriteTellsTheTrack)
{
    const struct
    {
        const char *card, *two, *three;
        int code;
    } kWrites[] = {
        {"refuses-track-2", "1=1", "2=2", -2102},   {"refuses-track-2", "1=1", nullptr, -2102},
        {"refuses-track-2", nullptr, "2=2", 0},     {"refuses-track-3", "1=1", "2=2", -2103},
        {"refuses-track-3", nullptr, "2=2", -2103}, {"refuses-track-3", "1=1", nullptr, 0},
        {"refuses-writes", "1=1", "2=2", -2102},
    };
    Counter counter("magnetic-cards");
    for (const auto &row : kWrites)
    {
        counter.Control(std::string("swipe next ") + row.card);
        EXPECT_EQ(counter.Write(row.two, row.three), row.code)
            << row.card << " " << (row.two != nullptr) << (row.three != nullptr);
    }
}

TEST(StripeRound, TheAccountNumber)
{
    const struct
    {
        const char *card;
        uint32_t mode;
        int kind, code;
        const char *number;
    } kNumbers[] = {
        {"all-tracks", 2, 0, 0, "6200000000000005"},
        {"all-tracks", 23, 2, 0, "6200000000000005"},
        {"all-tracks", 3, 0, 0, "996200000000000005"},
        {"all-tracks", 123, 0, 0, "6200000000000005"},
        {"apostrophe", 2, 1, 0, "6200000000000005"},
        {"apostrophe", 2, 0, -2105, "6200000000000005'3012101"},
        {"track-2-only", 23, 0, 0, "6200000000000005"},
        {"track-3-only", 23, 0, 0, "010000000000000005"},
        {"empty", 23, 0, -2004, ""},
    };
    Counter counter("magnetic-cards");
    for (const auto &row : kNumbers)
    {
        counter.Control(std::string("swipe next ") + row.card);
        char number[256] = {};
        uint32_t length = 0;
        EXPECT_EQ(CALL(counter.library, BO_GetMagCardNo)(0, row.mode, row.kind, number, &length, 5),
                  row.code)
            << row.card << row.mode;
        EXPECT_STREQ(number, row.number) << row.card << row.mode;
    }
}

TEST(StripeRound, WithoutASwipeTheTimeEndsTheWait)
{
    Counter counter("magnetic-cards");
    EXPECT_EQ(counter.Swipe(23, 1).result, -1004);
    EXPECT_THAT(counter.Control("info"), HasSubstr(R"("waits":"")")); // the module was reset
    counter.Control("swipe next all-tracks");
    EXPECT_EQ(counter.Swipe(23).result, 0);
}

// A cancel that comes before the read has begun to listen is lost: a host repeats it.
static int Cancelled(Counter *counter, const std::function<int()> &call)
{
    std::atomic<bool> isOver{false};
    std::thread second(
        [&]
        {
            counter->Control("wait swipe");
            while (!isOver)
                CALL(counter->library, BO_Cancel)();
        });
    const int result = call();
    isOver = true;
    second.join();
    return result;
}

TEST(StripeRound, ASecondThreadEndsTheWait)
{
    Counter counter("magnetic-cards");
    EXPECT_EQ(Cancelled(&counter, [&] { return counter.Swipe(123, 0).result; }), -1006);
    EXPECT_EQ(Cancelled(&counter, [&] { return counter.Write("1=1", nullptr, 0); }), -1006);
    counter.Control("swipe next all-tracks");
    EXPECT_EQ(counter.Swipe(123).result, 0);
}

TEST(StripeRound, SwipesThatComeByThemselves)
{
    Counter counter("magnetic-swipes");
    EXPECT_EQ(counter.Swipe(123).result, -2002);
    EXPECT_EQ(counter.Swipe(123).result, 0);
    EXPECT_EQ(counter.Write("1=1", "2=2"), 0);
    EXPECT_EQ(counter.Swipe(23).two, "1=1");
}

// ---- All together ----

TEST(CounterRound, ChipStripeAndIdentityInTurn)
{
    Counter counter("");
    for (int i = 0; i < 2; i++)
    {
        char info[4409] = {};
        EXPECT_EQ(CALL(counter.library, BO_ICGetInfo)(0, "A", 0, info, 5), 0);
        EXPECT_STREQ(info, "A0166210948000000011");
        EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, 0);
        EXPECT_EQ(counter.Swipe(23).two, kTrack2);
        EXPECT_TRUE(counter.AnswersAt9600());
    }
}

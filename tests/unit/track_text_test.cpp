// Reply text of the stripe module taken apart, account numbers, and what may be written.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "support/log_capture.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/magnetic_stripe_operations.h"

using testing_support::LogCapture;

namespace
{

#define END "?\x1C"

// A track's room as it was before the call: '#' everywhere.
struct Room
{
    char bytes[300];
    Room()
    {
        memset(bytes, '#', sizeof bytes);
    }
    // What was written, a NUL shown as '0'.
    std::string Written() const
    {
        std::string text;
        for (char byte : bytes)
        {
            if (byte == '#')
                break;
            text += byte == '\0' ? '$' : byte;
        }
        return text;
    }
};

struct Split
{
    std::string one;
    std::string two;
    std::string three;
    bool operator==(const Split &other) const
    {
        return one == other.one && two == other.two && three == other.three;
    }
};

void PrintTo(const Split &split, std::ostream *stream)
{
    *stream << "[" << split.one << "] [" << split.two << "] [" << split.three << "]";
}

Split SplitTwo(const std::string &reply, uint32_t capacity2 = 300, uint32_t capacity3 = 300)
{
    Room two;
    Room three;
    EXPECT_EQ(GetMsrTrackData(reply.c_str(), capacity2, two.bytes, capacity3, three.bytes), 0);
    return {"", two.Written(), three.Written()};
}

Split SplitThree(const std::string &reply, uint32_t capacity1 = 300, uint32_t capacity2 = 300,
                 uint32_t capacity3 = 300)
{
    Room one;
    Room two;
    Room three;
    EXPECT_EQ(GetMsrTrackData123(reply.c_str(), capacity1, one.bytes, capacity2, two.bytes,
                                 capacity3, three.bytes),
              0);
    return {one.Written(), two.Written(), three.Written()};
}

std::string CardNumber(int kind, const char *text, int *result)
{
    Room room;
    *result = MSR_GetCardNo(kind, text, room.bytes);
    return room.Written();
}

} // namespace

// Below, '$' is the NUL that was written; nothing follows it.

TEST(TwoTracks, TheTextIsTrack2UntilAnALeadsToTrack3)
{
    EXPECT_EQ(SplitTwo("1234=5678A99=1" END), (Split{"", "1234=5678$", "99=1$"}));
    EXPECT_EQ(SplitTwo("1234" END), (Split{"", "1234$", "$"}));
    EXPECT_EQ(SplitTwo("A99" END), (Split{"", "$", "99$"}));
    EXPECT_EQ(SplitTwo(""), (Split{"", "$", "$"}));
}

TEST(TwoTracks, EveryAIsDropped)
{
    EXPECT_EQ(SplitTwo("1A2A3AA4" END), (Split{"", "1$", "234$"}));
}

TEST(TwoTracks, OnlyAQuestionMarkBeforeFsEnds)
{
    EXPECT_EQ(SplitTwo("1?2" END "3"), (Split{"", "1?2$", "$"}));
    EXPECT_EQ(SplitTwo("1\x1C?2?"), (Split{"", "1\x1C?2?$", "$"}));
    EXPECT_EQ(SplitTwo("1??\x1C"
                       "2"),
              (Split{"", "1?$", "$"}));
    EXPECT_EQ(SplitTwo("1%2" END), (Split{"", "1%2$", "$"}));
    EXPECT_EQ(SplitTwo("12"), (Split{"", "12$", "$"})); // the text's own end
}

TEST(TwoTracks, WhatExceedsTheRoomIsDroppedAndNeitherIsTerminated)
{
    EXPECT_EQ(SplitTwo("12345A99" END, 4, 300), (Split{"", "1234", "99"}));
    EXPECT_EQ(SplitTwo("1234A99" END, 4, 300), (Split{"", "1234", "99"})); // full is enough
    EXPECT_EQ(SplitTwo("123A99" END, 4, 300), (Split{"", "123$", "99$"}));
    EXPECT_EQ(SplitTwo("123A99" END, 300, 2), (Split{"", "123", "99"}));
    EXPECT_EQ(SplitTwo("12" END, 300, 0), (Split{"", "12", ""}));
}

TEST(TwoTracks, ATrackWithoutABufferIsNeverWritten)
{
    Room room;
    EXPECT_EQ(GetMsrTrackData("12A34" END, 300, room.bytes, 0, nullptr), 0);
    EXPECT_EQ(room.Written(), "12$");
    Room other;
    EXPECT_EQ(GetMsrTrackData("12A34" END, 5, nullptr, 300, other.bytes), 0);
    EXPECT_EQ(other.Written(), "34$");
    EXPECT_EQ(GetMsrTrackData("12A34" END, 300, nullptr, 300, nullptr), 0);
    EXPECT_EQ(GetMsrTrackData(nullptr, 300, room.bytes, 300, other.bytes), -22);
}

TEST(ThreeTracks, APercentSignLeadsToTrack1)
{
    EXPECT_EQ(SplitThree("12A34%BA12" END), (Split{"BA12", "12$", "34$"}));
    EXPECT_EQ(SplitThree("%BA12" END), (Split{"BA12", "$", "$"}));
    EXPECT_EQ(SplitThree("12%X" END), (Split{"X", "12$", "$"}));
}

TEST(ThreeTracks, NothingLeadsOutOfTrack1)
{
    EXPECT_EQ(SplitThree("%AB%CA%" END), (Split{"ABCA", "$", "$"}));
}

TEST(ThreeTracks, OnlyTheFirstALeadsToTrack3)
{
    EXPECT_EQ(SplitThree("1A2A3" END), (Split{"", "1$", "2A3$"}));
    EXPECT_EQ(SplitThree("AA3" END), (Split{"", "$", "A3$"}));
}

TEST(ThreeTracks, Track1IsNeverTerminated)
{
    EXPECT_EQ(SplitThree("%1" END), (Split{"1", "$", "$"}));
    EXPECT_EQ(SplitThree("%1234" END, 2), (Split{"12", "$", "$"}));
    EXPECT_EQ(SplitThree("12A34%56" END, 300, 2), (Split{"56", "12", "34"}));
    EXPECT_EQ(SplitThree("12A34%56" END, 300, 3, 2), (Split{"56", "12", "34"}));
}

TEST(ThreeTracks, OnlyAQuestionMarkBeforeFsEnds)
{
    EXPECT_EQ(SplitThree("1?A2?%3?4" END "5"), (Split{"3?4", "1?$", "2?$"}));
}

TEST(ThreeTracks, ATrackWithoutABufferIsNeverWritten)
{
    Room room;
    EXPECT_EQ(GetMsrTrackData123("12A34%56" END, 0, nullptr, 300, room.bytes, 0, nullptr), 0);
    EXPECT_EQ(room.Written(), "12$");
    Room one;
    EXPECT_EQ(GetMsrTrackData123("12A34%56" END, 300, one.bytes, 0, nullptr, 0, nullptr), 0);
    EXPECT_EQ(one.Written(), "56");
    EXPECT_EQ(GetMsrTrackData123("12A34%56" END, 300, nullptr, 300, nullptr, 300, nullptr), 0);
    EXPECT_EQ(GetMsrTrackData123(nullptr, 300, room.bytes, 300, room.bytes, 300, room.bytes), -22);
}

TEST(Tracks, EveryByteValueIsTakenAsItIs)
{
    std::string all;
    for (int byte = 1; byte < 256; byte++)
        if (byte != 'A' && byte != '%' && byte != '#')
            all += static_cast<char>(byte);
    EXPECT_EQ(SplitTwo(all).two, all + "$");
    EXPECT_EQ(SplitThree(all).two, all + "$");
}

TEST(CardNumber, EndsAtTheSeparatorOfItsKind)
{
    int result = 0;
    EXPECT_EQ(CardNumber(0, "x|6222=1", &result), "6222$");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(CardNumber(0, "6222'7=1", &result), "6222'7$");
    EXPECT_EQ(CardNumber(1, "6222=7'1", &result), "6222=7$");
    EXPECT_EQ(CardNumber(2, "6222=7'1", &result), "6222$");
    EXPECT_EQ(CardNumber(2, "6222'7=1", &result), "6222$");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(CardNumber(0, "=1", &result), "$");
    EXPECT_EQ(result, 0);
}

TEST(CardNumber, ABarBeginsAnew)
{
    int result = 0;
    EXPECT_EQ(CardNumber(0, "ABCD|12|6222=1|3=4", &result), "6222$");
    EXPECT_EQ(CardNumber(0, "|||1=2", &result), "1$");
}

TEST(CardNumber, WithoutTheSeparatorThereIsNoTerminatorAndACode)
{
    int result = 0;
    EXPECT_EQ(CardNumber(1, "6222=1", &result), "6222=1");
    EXPECT_EQ(result, -2105);
    EXPECT_EQ(CardNumber(0, "ABC|D", &result), "DBC"); // what was copied before the bar stays
    EXPECT_EQ(result, -2105);
    EXPECT_EQ(CardNumber(0, "", &result), "");
    EXPECT_EQ(result, -2105);
}

TEST(CardNumber, OnlyThreeKindsAreKnown)
{
    int result = 0;
    for (int kind : {-1, 3, 100})
    {
        CardNumber(kind, "6222=1", &result);
        EXPECT_EQ(result, -2105) << kind;
    }
    char out[8];
    EXPECT_EQ(MSR_GetCardNo(0, nullptr, out), -2105);
    EXPECT_EQ(MSR_GetCardNo(0, "1=2", nullptr), -2105);
}

TEST(IsTrackDataValue, TakesDigitsAndFiveMarks)
{
    LogCapture log;
    EXPECT_EQ(IsTrackDataValue("0123456789='@#:"), 1);
    EXPECT_EQ(IsTrackDataValue(""), 1);
    EXPECT_EQ(log.Lines(), "");
}

TEST(IsTrackDataValue, TellsTheFirstBadCharacter)
{
    LogCapture log(1);
    EXPECT_EQ(IsTrackDataValue("12X4Y"), 0);
    EXPECT_EQ(IsTrackDataValue("\xFF"), 0);
    EXPECT_EQ(IsTrackDataValue("1234 "), 0);
    EXPECT_EQ(log.Lines(), "Error:szTrackData[2] = 58\r\n"
                           "Error:szTrackData[0] = FF\r\n"
                           "Error:szTrackData[4] = 20\r\n");
}

TEST(IsTrackDataValue, RefusesEveryOtherByte)
{
    for (int byte = 1; byte < 256; byte++)
    {
        const char text[] = {static_cast<char>(byte), '\0'};
        const bool good = strchr("0123456789='@#:", byte) != nullptr;
        EXPECT_EQ(IsTrackDataValue(text), good ? 1 : 0) << byte;
    }
    EXPECT_EQ(IsTrackDataValue(nullptr), 0);
}

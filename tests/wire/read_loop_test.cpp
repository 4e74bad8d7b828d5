// The serial adapter and its read loop over a pseudo-terminal: end test, time-outs, cancellation, a
// line that vanishes, a reader that floods, and what a late answer costs.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <thread>

#include "support/pty_line.h"
#include "support/system_calls.h"
#include "vantor/transport.h"

using testing_support::Bytes;
using testing_support::PtyLine;
using testing_support::SystemCallsOf;

namespace
{

std::vector<timeval> *g_waits = nullptr; // where the waits of select are noted, when it is set

} // namespace

extern "C" int select(int count, fd_set *readable, fd_set *writable, fd_set *failed, timeval *limit)
{
    static const auto real = reinterpret_cast<decltype(&select)>(dlsym(RTLD_NEXT, "select"));
    if (g_waits != nullptr)
        g_waits->push_back(*limit);
    return real(count, readable, writable, failed, limit);
}

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// What the end test was asked, and what it answers.
struct Asked
{
    const unsigned char *bytes;
    uint32_t count;
};

std::vector<Asked> g_asked;
std::function<int(const unsigned char *, uint32_t)> g_answer;

int EndTest(const unsigned char *bytes, uint32_t count)
{
    g_asked.push_back({bytes, count});
    return g_answer ? g_answer(bytes, count) : 0;
}

int EndsWith03(const unsigned char *bytes, uint32_t count)
{
    return count > 0 && bytes[count - 1] == 0x03;
}

int NeverEnds(const unsigned char *, uint32_t)
{
    return 0;
}

struct ReadLoop : testing::Test
{
    PtyLine line;
    DEVCONTEXT record;
    Bytes buffer = Bytes(64, 0xEE);

    void SetUp() override
    {
        g_asked.clear();
        g_answer = nullptr;
        ASSERT_EQ(GSetComName(3, line.name.c_str()), 0);
        DC_Init(&record);
        DC_SetInterfaceType(&record, "com");
        DC_SetCOMParams(&record, 3, 9600);
        ASSERT_EQ(COMM_Open(&record), 0);
    }

    void TearDown() override
    {
        COMM_Close(&record);
    }

    int Read(uint32_t capacity, uint32_t timeoutMs, COMM_END_TEST endTest)
    {
        return COMM_Read(&record, buffer.data(), capacity, timeoutMs, endTest);
    }
};

int SlackNow()
{
    return prctl(PR_GET_TIMERSLACK);
}

} // namespace

TEST_F(ReadLoop, OpeningASerialContextSetsItsState)
{
    EXPECT_EQ(record.isOpen, 1u);
    EXPECT_EQ(record.refCnt, 1u);
    EXPECT_EQ(record.outputBufSize, 266);
    EXPECT_EQ(record.inputBufSize, 0);
    EXPECT_EQ(record.ops, _COMM_FindAdapter("com"));
    ASSERT_NE(record.device, nullptr);
}

TEST_F(ReadLoop, OpeningASerialContextLeavesTheModeIdAlone)
{
    g_mode_id = 2;
    EXPECT_EQ(COMM_Open(&record), 0);
    EXPECT_EQ(g_mode_id, 2);
    EXPECT_EQ(COMM_Close(&record), 1);
}

TEST_F(ReadLoop, AClosedContextOpensAgainWithItsStoredParameters)
{
    EXPECT_EQ(COMM_Close(&record), 0);
    EXPECT_EQ(record.isOpen, 0u);
    EXPECT_NE(record.device, nullptr); // stale
    EXPECT_EQ(COMM_Close(&record), 0);
    EXPECT_EQ(COMM_Open(&record), 0);
    line.Write({0x42});
    EXPECT_EQ(Read(1, 1000, NeverEnds), 1);
}

TEST_F(ReadLoop, PortZeroOpensToo)
{
    PtyLine zero;
    GSetComName(0, zero.name.c_str());
    DEVCONTEXT other;
    DC_Init(&other);
    DC_SetInterfaceType(&other, "com");
    EXPECT_EQ(COMM_Open(&other), 0);
    EXPECT_EQ(COMM_Close(&other), 0);
}

TEST_F(ReadLoop, AFailedReopenNeverTouchesTheStaleHandle)
{
    EXPECT_EQ(COMM_Close(&record), 0);
    GSetComName(3, "/dev/no-such-terminal");
    EXPECT_EQ(COMM_Open(&record), -2);
    EXPECT_EQ(record.refCnt, 0u);
    record.refCnt = 1; // as a caller does that must really close
    EXPECT_EQ(COMM_Close(&record), 0);
    EXPECT_EQ(record.isOpen, 0u);
}

TEST_F(ReadLoop, WritesGoOutAsOneMessage)
{
    const unsigned char command[] = "60028100E3\x03";
    EXPECT_EQ(COMM_Write(&record, command, 11, 1000), 11);
    EXPECT_EQ(line.Read(11), Bytes(command, command + 11));
    EXPECT_EQ(COMM_Write(&record, command, 2, 0), 2); // time-out 0 is no limit
    EXPECT_EQ(COMM_Write(&record, command, 0, 1000), -62);
    EXPECT_EQ(SystemCallsOf([&] { COMM_Write(&record, command, 11, 1000); }),
              std::vector<long>{SYS_write});
}

TEST_F(ReadLoop, AWaitingAnswerIsReadWithOneSelectAndOneRead)
{
    line.Write({0x36, 0x30, 0x03});
    DEVCONTEXT *const open = &record;
    unsigned char *const bytes = buffer.data();
    const std::vector<long> calls =
        SystemCallsOf([=] { COMM_Read(open, bytes, 64, 1000, EndsWith03); });
    ASSERT_EQ(calls.size(), 2u);
#ifdef SYS_select
    EXPECT_TRUE(calls[0] == SYS_select || calls[0] == SYS_pselect6) << calls[0];
#else
    EXPECT_EQ(calls[0], SYS_pselect6);
#endif
    EXPECT_EQ(calls[1], SYS_read);
}

TEST_F(ReadLoop, EachStepWaitsTenMicrosecondsAlsoWhenTheAnswerIsLate)
{
    std::vector<timeval> waits;
    waits.reserve(100000);
    g_waits = &waits;
    EXPECT_EQ(Read(64, 20, NeverEnds), -62);
    EXPECT_EQ(Read(64, 777, nullptr), -62); // without an end test the one step has it all
    g_waits = nullptr;
    ASSERT_GE(waits.size(), 2u);
    EXPECT_EQ(waits.back().tv_usec, 777);
    waits.pop_back();
    for (const timeval &wait : waits)
    {
        EXPECT_EQ(wait.tv_sec, 0);
        EXPECT_EQ(wait.tv_usec, 10);
    }
}

TEST_F(ReadLoop, TheEndTestIsAskedTwiceAfterEachStep)
{
    line.Write({0x31, 0x32, 0x03});
    g_answer = [](const unsigned char *, uint32_t count) { return count == 3 ? 7 : 0; };
    EXPECT_EQ(Read(64, 1000, EndTest), 3);
    ASSERT_EQ(g_asked.size(), 2u);
    for (const Asked &asked : g_asked)
    {
        EXPECT_EQ(asked.bytes, buffer.data());
        EXPECT_EQ(asked.count, 3u);
    }
}

TEST_F(ReadLoop, TheEndTestIsAskedAfterEmptyStepsToo)
{
    g_answer = [](const unsigned char *, uint32_t) { return g_asked.size() >= 6 ? 1 : 0; };
    EXPECT_EQ(Read(64, 1000, EndTest), -62); // three steps, ended by the test, nothing came
    EXPECT_EQ(g_asked.size(), 6u);
    EXPECT_EQ(g_asked.front().count, 0u);
}

TEST_F(ReadLoop, PiecesAreGatheredUntilTheEndTestIsMet)
{
    line.Write({0x31});
    g_answer = [&](const unsigned char *bytes, uint32_t count)
    {
        if (count == 1 && g_asked.size() == 2)
            line.Write({0x32, 0x33});
        if (count == 3 && bytes[2] == 0x33 && g_asked.back().count == 3 && g_asked.size() % 2 == 0)
            line.Write({0x03});
        return EndsWith03(bytes, count);
    };
    EXPECT_EQ(Read(64, 5000, EndTest), 4);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 5), (Bytes{0x31, 0x32, 0x33, 0x03, 0xEE}));
}

TEST_F(ReadLoop, AFullBufferEndsTheReadAndTheRestStaysInTheLine)
{
    line.Write(Bytes(100, 0x55)); // a reader that floods
    EXPECT_EQ(Read(40, 1000, NeverEnds), 40);
    EXPECT_EQ(buffer[39], 0x55);
    EXPECT_EQ(buffer[40], 0xEE);
    EXPECT_EQ(Read(60, 1000, NeverEnds), 60);
}

TEST_F(ReadLoop, ACapacityOfZeroTimesOutAtOnce)
{
    line.Write({0x03});
    EXPECT_EQ(Read(0, 0, EndTest), -62);
    EXPECT_TRUE(g_asked.empty());
    EXPECT_EQ(buffer[0], 0xEE);
}

TEST_F(ReadLoop, NothingWithinTheTimeOutIsMinus62)
{
    const auto start = steady_clock::now();
    EXPECT_EQ(Read(64, 30, NeverEnds), -62);
    const auto took = steady_clock::now() - start;
    EXPECT_GE(took, milliseconds(29)); // the clock counts whole milliseconds
    EXPECT_LT(took, milliseconds(1000));
    EXPECT_EQ(buffer[0], 0xEE);
}

TEST_F(ReadLoop, APartialAnswerAtTheTimeOutIsNoError)
{
    line.Write({0x36, 0x30});
    EXPECT_EQ(Read(64, 30, EndsWith03), 2);
    EXPECT_EQ(buffer[1], 0x30);
    EXPECT_EQ(buffer[2], 0xEE);
}

TEST_F(ReadLoop, ATimeOutOfZeroDoesNotEndTheWait)
{
    // Longer than any step, in which an expired time-out would have ended the read.
    const auto start = steady_clock::now();
    bool sent = false;
    g_answer = [&](const unsigned char *bytes, uint32_t count)
    {
        if (!sent && steady_clock::now() - start > milliseconds(30))
        {
            line.Write({0x03});
            sent = true;
        }
        return EndsWith03(bytes, count);
    };
    EXPECT_EQ(Read(64, 0, EndTest), 1);
}

TEST_F(ReadLoop, ACancelStopsTheReadAndIsForgotten)
{
    line.Write({0x31}); // what came before does not matter
    g_answer = [](const unsigned char *, uint32_t)
    {
        COMM_cancle();
        return 0;
    };
    EXPECT_EQ(Read(64, 5000, EndTest), -125);
    EXPECT_EQ(g_asked.size(), 2u);
    EXPECT_EQ(flag_cancle, 0);
}

TEST_F(ReadLoop, ACancelFromAnotherThreadStopsTheRead)
{
    std::atomic<bool> reading{false};
    g_answer = [&](const unsigned char *, uint32_t)
    {
        reading = true;
        return 0;
    };
    std::thread other(
        [&]
        {
            while (!reading)
                std::this_thread::yield();
            COMM_cancle();
        });
    EXPECT_EQ(Read(64, 20000, EndTest), -125);
    other.join();
}

TEST_F(ReadLoop, ACancelBeforeTheReadIsLost)
{
    line.Write({0x03});
    COMM_cancle();
    EXPECT_EQ(Read(64, 1000, EndsWith03), 1);
    COMM_cancle();
    EXPECT_EQ(Read(64, 20, EndsWith03), -62);
    EXPECT_EQ(flag_cancle, 0);
    COMM_cancle();
    EXPECT_EQ(Read(64, 20, nullptr), -62);
    EXPECT_EQ(flag_cancle, 0);
}

TEST_F(ReadLoop, OnlyTheValueOneCancels)
{
    g_answer = [](const unsigned char *, uint32_t)
    {
        flag_cancle = 2;
        return 0;
    };
    EXPECT_EQ(Read(64, 20, EndTest), -62);
}

TEST_F(ReadLoop, AnEndMetTogetherWithACancelIsAnAnswer)
{
    line.Write({0x03});
    g_answer = [](const unsigned char *, uint32_t)
    {
        COMM_cancle();
        return 1;
    };
    EXPECT_EQ(Read(64, 1000, EndTest), 1);
}

TEST_F(ReadLoop, WithoutAnEndTestTheTimeOutCountsAsMicroseconds)
{
    const auto start = steady_clock::now();
    EXPECT_EQ(Read(64, 30000, nullptr), -62);
    const auto took = steady_clock::now() - start;
    EXPECT_GE(took, milliseconds(30));
    EXPECT_LT(took, milliseconds(10000)); // as milliseconds it would be thirty seconds
}

TEST_F(ReadLoop, WithoutAnEndTestOneStepReadsWhatIsThere)
{
    line.Write({1, 2, 3});
    EXPECT_EQ(Read(2, 1000, nullptr), 2);
    EXPECT_EQ(Read(64, 1000, nullptr), 1);
    EXPECT_EQ(buffer[0], 3);
}

TEST_F(ReadLoop, WithoutAnEndTestALongTimeOutFails)
{
    line.Write({1});
    EXPECT_EQ(Read(64, 1000000, nullptr), -1);
    EXPECT_EQ(Read(64, 0xFFFFFFFF, nullptr), -1);
    EXPECT_EQ(Read(64, 0, nullptr), -1); // without limit: 2147483647
    EXPECT_EQ(Read(64, 999999, nullptr), 1);
}

TEST_F(ReadLoop, ALineThatVanishesDuringAReadFailsAtOnceAndTheNextOpenWorks)
{
    line.Write({0x31});
    g_answer = [&](const unsigned char *, uint32_t count)
    {
        if (count == 1)
            line.Close();
        return 0;
    };
    const auto start = steady_clock::now();
    EXPECT_EQ(Read(64, 20000, EndTest), -1); // whatever had come before
    EXPECT_LT(steady_clock::now() - start, milliseconds(5000));
    EXPECT_EQ(Read(64, 20000, nullptr), -1);
    const unsigned char byte = 0;
    EXPECT_EQ(COMM_Write(&record, &byte, 1, 1000), -1);
    EXPECT_EQ(COMM_Close(&record), 0);

    PtyLine next;
    GSetComName(3, next.name.c_str());
    ASSERT_EQ(COMM_Open(&record), 0);
    next.Write({0x03});
    EXPECT_EQ(Read(64, 1000, EndsWith03), 1);
}

TEST_F(ReadLoop, TheTimerSlackIsRaisedOnlyWhenTheAnswerIsLateAndPutBack)
{
    const int before = 50000;
    ASSERT_EQ(prctl(PR_SET_TIMERSLACK, before), 0);
    std::vector<int> slacks;
    g_answer = [&](const unsigned char *, uint32_t)
    {
        slacks.push_back(SlackNow());
        return 0;
    };
    EXPECT_EQ(Read(64, 40, EndTest), -62);
    ASSERT_FALSE(slacks.empty());
    EXPECT_EQ(slacks.front(), before);
    EXPECT_EQ(slacks.back(), 2000000);
    EXPECT_EQ(SlackNow(), before);
}

TEST_F(ReadLoop, TheTimerSlackIsPutBackOnEveryWayOut)
{
    const int before = 50000;
    ASSERT_EQ(prctl(PR_SET_TIMERSLACK, before), 0);
    bool wasRaised = false;
    const auto whenLate = [&](const std::function<int()> &action)
    {
        return [&wasRaised, action](const unsigned char *, uint32_t)
        {
            wasRaised = SlackNow() == 2000000;
            return wasRaised ? action() : 0;
        };
    };
    const struct
    {
        const char *way;
        uint32_t capacity;
        int result;
        std::function<int()> action;
    } ways[] = {
        {"the end test is met", 64, -62, [] { return 1; }},
        {"the buffer is full", 1, 1, [&] { return line.Write({1}), 0; }},
        {"cancelled", 64, -125, [] { return COMM_cancle(), 0; }},
        {"the line vanishes", 64, -1, [&] { return line.Close(), 0; }},
    };
    for (const auto &way : ways)
    {
        wasRaised = false;
        bool done = false;
        int answer = 0;
        g_answer = whenLate(
            [&]
            {
                if (!done)
                    answer = way.action();
                done = true;
                return answer;
            });
        EXPECT_EQ(Read(way.capacity, 20000, EndTest), way.result) << way.way;
        EXPECT_TRUE(wasRaised) << way.way;
        EXPECT_EQ(SlackNow(), before) << way.way;
    }
}

TEST_F(ReadLoop, AThreadWithAWiderSlackKeepsIt)
{
    ASSERT_EQ(prctl(PR_SET_TIMERSLACK, 3000000), 0);
    std::vector<int> slacks;
    g_answer = [&](const unsigned char *, uint32_t)
    {
        slacks.push_back(SlackNow());
        return 0;
    };
    EXPECT_EQ(Read(64, 30, EndTest), -62);
    for (const int slack : slacks)
        EXPECT_EQ(slack, 3000000);
    EXPECT_EQ(SlackNow(), 3000000);
}

TEST_F(ReadLoop, ALateAnswerAsksForTheTimerSlackOnce)
{
    const auto prctlCalls = [&](int slack)
    {
        prctl(PR_SET_TIMERSLACK, slack);
        DEVCONTEXT *const open = &record;
        unsigned char *const bytes = buffer.data();
        const std::vector<long> calls =
            SystemCallsOf([=] { COMM_Read(open, bytes, 64, 30, NeverEnds); });
        return std::count(calls.begin(), calls.end(), SYS_prctl);
    };
    EXPECT_EQ(prctlCalls(50000), 3);   // looked up, raised, put back
    EXPECT_EQ(prctlCalls(3000000), 1); // looked up and left alone
}

TEST_F(ReadLoop, ALateAnswerCostsLittleProcessorTime)
{
    timespec before;
    timespec after;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
    EXPECT_EQ(Read(64, 300, NeverEnds), -62);
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
    const double seconds = static_cast<double>(after.tv_sec - before.tv_sec) +
                           static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9;
    // Without the coarse polling it is about 0.1 s; the benchmark holds the exact aim.
    EXPECT_LT(seconds, 0.03);
}

// A cancel that races the time-out: the read ends as cancelled or as timed out and in no other way,
// and a cancel that comes while there is still time is never lost. Ten thousand times in a time of
// the test's own, where a wait takes no time but moves the clock; and VANTOR_RACE_ROUNDS times
// (100) in real time, where a round takes as long as it says.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <random>
#include <semaphore.h>
#include <sys/select.h>
#include <thread>
#include <vector>

#include "standins/usb/usb_standin.h"
#include "support/pty_line.h"
#include "support/scratch.h"
#include "vantor/link.h"
#include "vantor/support.h"
#include "vantor/transport.h"

using testing_support::PtyLine;

namespace
{

constexpr int64_t kMillisecond = 1000000;
constexpr int64_t kSerialStep = kMillisecond / 10;
constexpr int64_t kUsbStep = 10 * kMillisecond;

std::atomic<bool> g_ownTime{false};
std::atomic<int64_t> g_now{0}; // nanoseconds
// Own time: asked after each wait of the read.
void (*g_afterWait)() = nullptr;

template <typename Function>
Function *Real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// A wait in which nothing comes.
void PassTime(int64_t nanoseconds)
{
    g_now += nanoseconds;
    if (g_afterWait != nullptr)
        g_afterWait();
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    static const auto real = Real<decltype(clock_gettime)>("clock_gettime");
    if (!g_ownTime || clock != CLOCK_MONOTONIC)
        return real(clock, now);
    const int64_t nanoseconds = g_now;
    *now = {nanoseconds / 1000000000, nanoseconds % 1000000000};
    return 0;
}

extern "C" int select(int count, fd_set *readable, fd_set *writable, fd_set *failed, timeval *limit)
{
    static const auto real = Real<decltype(select)>("select");
    if (!g_ownTime)
        return real(count, readable, writable, failed, limit);
    PassTime(kSerialStep);
    return 0;
}

extern "C" int pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                      const timespec *deadline)
{
    static const auto real = Real<decltype(pthread_cond_timedwait)>("pthread_cond_timedwait");
    if (!g_ownTime)
        return real(condition, mutex, deadline);
    pthread_mutex_unlock(mutex);
    PassTime(kUsbStep);
    pthread_mutex_lock(mutex);
    return ETIMEDOUT;
}

namespace
{

int64_t Now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

std::vector<int64_t> g_steps; // when each step of a read was done

int NeverEnds(const unsigned char *, uint32_t)
{
    g_steps.push_back(Now());
    return 0;
}

// ---- The two lines, open ----

struct Bench
{
    testing_support::Scratch settings;
    DEVCONTEXT record{};
    int64_t step = 0;
    int64_t realSpan = 0; // around the time-out, in real time: more than a step takes then

    Bench()
    {
        testing_support::WriteFile(settings.path + "/config.ini", "[devcfg]\ndevtype=0\n");
        GSetConfigFilePath((settings.path + "/config.ini").c_str());
    }
    virtual ~Bench()
    {
        g_ownTime = false;
        COMM_Close(&record);
    }
    virtual void TakeCommand() = 0; // off the line, so that the next one has room
};

struct SerialBench : Bench
{
    PtyLine line;

    SerialBench()
    {
        step = kSerialStep;
        realSpan = 3 * kMillisecond; // a late line is looked at every two milliseconds
        GSetComName(3, line.name.c_str());
        DC_SetInterfaceType(&record, "com");
        DC_SetCOMParams(&record, 3, 9600);
        EXPECT_EQ(COMM_Open(&record), 0);
    }
    void TakeCommand() override
    {
        line.Read(512, 0);
    }
};

struct UsbBenchTop : Bench
{
    UsbBenchTop()
    {
        step = kUsbStep;
        realSpan = 12 * kMillisecond;
        usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
        DC_SetInterfaceType(&record, "hid");
        DC_AddUsbParams(&record, 0x1BC3, 0x0151);
        EXPECT_EQ(COMM_Open(&record), 0);
    }
    void TakeCommand() override
    {
    }
};

// ---- What is cancelled ----

int ReadOnly(DEVCONTEXT *record, uint32_t timeoutMs)
{
    unsigned char answer[64];
    return COMM_Read(record, answer, sizeof answer, timeoutMs, NeverEnds);
}

int StripeExchange(DEVCONTEXT *record, uint32_t timeoutMs)
{
    const unsigned char command[] = {0x1B, ']'};
    unsigned char answer[256];
    return RAWC_SendCmd(record, command, sizeof command, answer, sizeof answer, "?\x1C", timeoutMs);
}

int IdentityExchange(DEVCONTEXT *record, uint32_t timeoutMs)
{
    const unsigned char command[] = {0x20, 0x01};
    unsigned char answer[256];
    return ID_SendCmd(record, command, sizeof command, answer, sizeof answer, timeoutMs);
}

// An IC exchange tells no time-out from a cancel: it is -74 either way.
int IcExchange(DEVCONTEXT *record, uint32_t timeoutMs)
{
    const unsigned char command[] = {0x81, 0x00};
    unsigned char answer[256];
    const int result =
        KrelIc_SendCmd(record, command, sizeof command, answer, sizeof answer, timeoutMs);
    return result == -74 ? -62 : result;
}

// ---- The race ----

struct Counts
{
    int cancelled = 0;
    int timedOut = 0;
    int other = 0;
    int early = 0; // cancels that came in time
    int lost = 0;  // of these
};

struct Signal
{
    sem_t semaphore;

    Signal()
    {
        sem_init(&semaphore, 0, 0);
    }
    ~Signal()
    {
        sem_destroy(&semaphore);
    }
    void Give()
    {
        sem_post(&semaphore);
    }
    void Await()
    {
        while (sem_wait(&semaphore) != 0)
            ;
    }
};

// The other thread: one cancel a round, in real time at the moment it is told.
struct Canceller
{
    Signal go;
    Signal done;
    std::atomic<bool> ends{false};
    std::atomic<bool> cancelled{false};
    std::atomic<int64_t> moment{0};
    std::atomic<int64_t> cancelledAt{0};
    std::thread thread{&Canceller::Run, this};

    ~Canceller()
    {
        ends = true;
        go.Give();
        thread.join();
    }
    void Run()
    {
        for (go.Await(); !ends; go.Await())
        {
            const int64_t at = moment;
            const timespec until = {at / 1000000000, at % 1000000000};
            while (!g_ownTime &&
                   clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR)
                ;
            COMM_cancle();
            cancelledAt = Now();
            cancelled = true;
            done.Give();
        }
    }
};

// How the cancel of a round in own time comes.
enum class Coming
{
    kInTime, // the read waits for it, in one of its waits but the last
    kRacing, // from one of its last waits on, whenever the other thread gets to it
    kLate    // when the read has ended
};

struct Round
{
    Canceller *canceller;
    Coming coming;
    int64_t from;
    bool given;
} g_round;

void AfterWait()
{
    if (g_round.coming == Coming::kLate || g_now < g_round.from)
        return;
    if (!g_round.given)
        g_round.canceller->go.Give();
    if (!g_round.given && g_round.coming == Coming::kInTime)
    {
        g_round.canceller->done.Await();
        g_round.canceller->done.Give(); // for the end of the round
    }
    g_round.given = true;
    // Some microseconds, so that the cancel falls before, into and behind the last step.
    for (volatile int turn = 0; g_round.coming == Coming::kRacing && turn < 4000; turn++)
        ;
}

void Count(int result, bool inTime, Counts *counts)
{
    counts->cancelled += result == -125;
    counts->timedOut += result == -62;
    counts->other += result != -125 && result != -62;
    counts->early += inTime;
    counts->lost += inTime && result != -125;
}

// The clock of a read counts whole milliseconds.
int64_t DeadlineOf(uint32_t timeoutMs)
{
    return (Now() / kMillisecond + timeoutMs) * kMillisecond;
}

Counts RaceInOwnTime(Bench *bench, int (*call)(DEVCONTEXT *, uint32_t), uint32_t timeoutMs,
                     int rounds)
{
    std::mt19937 random(20240307);
    std::uniform_int_distribution<int> anyOf4(0, 3);
    std::uniform_int_distribution<int64_t> waitsInTime(2, 8);
    std::uniform_int_distribution<int64_t> waitsRacing(1, 3);
    Canceller canceller;
    Counts counts;
    g_now = 0;
    g_ownTime = true;
    for (int round = 0; round < rounds; round++)
    {
        const int kind = anyOf4(random);
        const int64_t waits = kind == 0 ? waitsInTime(random) : waitsRacing(random);
        g_round = {&canceller,
                   kind == 0   ? Coming::kInTime
                   : kind == 1 ? Coming::kLate
                               : Coming::kRacing,
                   DeadlineOf(timeoutMs) - waits * bench->step, false};
        g_afterWait = AfterWait;
        const int result = call(&bench->record, timeoutMs);
        g_afterWait = nullptr;
        if (!g_round.given)
            canceller.go.Give();
        canceller.done.Await();
        bench->TakeCommand();
        Count(result, g_round.coming == Coming::kInTime, &counts);
    }
    return counts;
}

// On a busy machine the read may begin after its cancel, which is then lost by rights, or take a
// wait for longer than it is: a cancel counts as in time when a step of the read was done before it
// and another one could be behind it.
Counts RaceInRealTime(Bench *bench, int (*call)(DEVCONTEXT *, uint32_t), uint32_t timeoutMs,
                      int rounds)
{
    std::mt19937 random(20240307);
    std::uniform_int_distribution<int64_t> offset(-bench->realSpan, bench->realSpan / 2);
    Canceller canceller;
    Counts counts;
    for (int round = 0; round < rounds; round++)
    {
        const int64_t deadline = DeadlineOf(timeoutMs);
        g_steps.clear();
        canceller.moment = deadline + offset(random);
        canceller.cancelled = false;
        canceller.go.Give();
        const int result = call(&bench->record, timeoutMs);
        canceller.done.Await();
        bench->TakeCommand();
        int64_t lastLook = 0; // before the last step that began in time
        for (const int64_t step : g_steps)
            if (step < deadline)
                lastLook = step;
        const bool begun = !g_steps.empty() && g_steps.front() < canceller.cancelledAt;
        Count(result, begun && canceller.cancelledAt < lastLook, &counts);
    }
    return counts;
}

int RealRounds()
{
    const char *rounds = getenv("VANTOR_RACE_ROUNDS");
    return rounds != nullptr ? atoi(rounds) : 100;
}

struct Contest
{
    const char *name;
    int (*call)(DEVCONTEXT *, uint32_t);
    bool namesCancels;
};

const Contest kContests[] = {
    {"Read", ReadOnly, true},
    {"StripeExchange", StripeExchange, true},
    {"IdentityExchange", IdentityExchange, true},
    {"IcExchange", IcExchange, false},
};

struct CancelRace : testing::TestWithParam<Contest>
{
    void Judge(const Counts &counts, int rounds)
    {
        printf("%s: %d cancelled, %d timed out, %d otherwise", GetParam().name, counts.cancelled,
               counts.timedOut, counts.other);
        if (GetParam().namesCancels)
            printf("; %d came in time, %d of them lost", counts.early, counts.lost);
        printf("\n");
        EXPECT_EQ(counts.other, 0);
        EXPECT_EQ(counts.cancelled + counts.timedOut, rounds);
        if (GetParam().namesCancels)
        {
            EXPECT_EQ(counts.lost, 0);
        }
    }
    void InOwnTime(Bench *bench, uint32_t timeoutMs)
    {
        const Counts counts = RaceInOwnTime(bench, GetParam().call, timeoutMs, 10000);
        Judge(counts, 10000);
        EXPECT_GT(counts.early, 2000);
        EXPECT_GT(counts.timedOut, 2000);
    }
    void InRealTime(Bench *bench, uint32_t timeoutMs)
    {
        Judge(RaceInRealTime(bench, GetParam().call, timeoutMs, RealRounds()), RealRounds());
    }
};

TEST_P(CancelRace, TenThousandTimesOverSerial)
{
    SerialBench bench;
    InOwnTime(&bench, 3);
}

TEST_P(CancelRace, TenThousandTimesOverUsb)
{
    UsbBenchTop bench;
    InOwnTime(&bench, 100);
}

TEST_P(CancelRace, OverSerialInRealTime)
{
    SerialBench bench;
    InRealTime(&bench, 6);
}

TEST_P(CancelRace, OverUsbInRealTime)
{
    UsbBenchTop bench;
    InRealTime(&bench, 25);
}

INSTANTIATE_TEST_SUITE_P(Cancels, CancelRace, testing::ValuesIn(kContests),
                         [](const auto &contest) { return contest.param.name; });

} // namespace

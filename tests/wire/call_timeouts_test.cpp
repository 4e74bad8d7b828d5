// How long each call waits for a reader that says nothing: the clock is this test's own.
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/log_capture.h"
#include "support/pty_line.h"
#include "support/scratch.h"
#include "vantor/business.h"
#include "vantor/link.h"
#include "vantor/pboc.h"
#include "vantor/support.h"
#include "vantor/transport.h"

using testing_support::LogCapture;
using testing_support::PtyLine;
using testing_support::Scratch;
using testing_support::WriteFile;

namespace
{

struct Clock
{
    bool runs = false; // else it is the kernel's
    int64_t now = 0;   // milliseconds
    int64_t first = -1;
};

Clock g_clock;

} // namespace

// In place of the C library's, for the code under test that is linked into this program: at each
// look 20 ms have passed, so a wait of three seconds is over after 150 looks.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (!g_clock.runs || clock != CLOCK_MONOTONIC)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    g_clock.now += 20;
    if (g_clock.first < 0)
        g_clock.first = g_clock.now;
    time->tv_sec = static_cast<time_t>(g_clock.now / 1000);
    time->tv_nsec = static_cast<long>(g_clock.now % 1000 * 1000000);
    return 0;
}

namespace
{

struct SilentReader : testing::Test
{
    Scratch directory;
    LogCapture log{0};
    PtyLine line;
    unsigned char bytes[VANTOR_PBOC_AREA_SIZE] = {};
    char text[2048] = {};
    uint32_t length = 0;
    int32_t textLength = 0;
    int32_t number = 0;

    SilentReader()
    {
        WriteFile(directory.path + "/config.ini", "[devcfg]\nIccmd=1\n");
        GSetConfigFilePath((directory.path + "/config.ini").c_str());
        GSetComName(3, line.name.c_str());
    }
    ~SilentReader() override
    {
        Vantor_Close(&context);
    }

    // Milliseconds from the first look at the clock to the last.
    static int64_t WaitOf(const std::function<int()> &call, int expectedResult)
    {
        g_clock = Clock();
        g_clock.runs = true;
        EXPECT_EQ(expectedResult, call());
        g_clock.runs = false;
        return g_clock.now - g_clock.first;
    }
};

} // namespace

TEST_F(SilentReader, IsGivenHalfASecondByTheConnectionTest)
{
    EXPECT_EQ(500, WaitOf([&] { return BO_InitConnect(3, 9600, 0, 0, 0, bytes, &length); }, -1001));
}

TEST_F(SilentReader, IsGivenASecondByTheDeviceCalls)
{
    ASSERT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
    EXPECT_EQ(1000, WaitOf([&] { return BO_GetDevInfo(0, bytes, &length); }, -1013));
    EXPECT_EQ(1000, WaitOf([&] { return BO_Beep(10, 1, 1); }, -1013));
    EXPECT_EQ(1000, WaitOf([&] { return BO_GetDevSn(text, &length); }, -74));
    EXPECT_EQ(1000, WaitOf([&] { return BO_SetDevSn(bytes, 4); }, -74));
    EXPECT_EQ(1000, WaitOf([&] { return BO_CardDetect(&number); }, -74));
}

TEST_F(SilentReader, IsGivenASecondToPowerACardOnOrOff)
{
    ASSERT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
    for (int mode : {0, 1})
    {
        EXPECT_EQ(
            1000,
            WaitOf([&] { return BO_IcPowerOn(mode, 64, text, &textLength, &number, 5); }, -1013));
        EXPECT_EQ(1000, WaitOf([&] { return BO_IcPowerOff(mode); }, -1013));
    }
}

TEST_F(SilentReader, IsGivenThreeSecondsForAnApdu)
{
    ASSERT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
    unsigned char command[] = {0x00, 0x84, 0x00, 0x00, 0x08};
    for (int kind : {0, 1})
    {
        EXPECT_EQ(
            3000,
            WaitOf([&] { return BO_IcAPDU(kind, "0084000008", 10, 0, text, &textLength); }, -1013));
        EXPECT_EQ(3000,
                  WaitOf([&]
                         { return PBOC_IcAPDU(&context, kind, command, 5, bytes, &textLength); },
                         -74));
    }
}

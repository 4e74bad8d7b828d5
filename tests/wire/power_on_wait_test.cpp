// The wait for a card, step by step: the clock and the pauses are this test's own.
#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/reader_script.h"
#include "support/scratch.h"
#include "vantor/business.h"
#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/support.h"
#include "wire/own_clock.h"

using testing_support::GoldenLine;
using testing_support::LogCapture;
using testing_support::ReaderScript;
using testing_support::Scratch;
using testing_support::WriteFile;
using wire_testing::Clock;
using wire_testing::g_clock;

namespace
{

struct Wait : testing::Test
{
    Scratch directory;
    LogCapture log{0};
    ReaderScript script;
    int32_t length = -7;
    int32_t type = -7;

    Wait()
    {
        g_clock = Clock();
        WriteFile(directory.path + "/config.ini", "[devcfg]\nIccmd=0\n");
        GSetConfigFilePath((directory.path + "/config.ini").c_str());
    }

    int PowerOn(int mode, int timeoutSeconds)
    {
        GoldenLine line(script.rows);
        GSetComName(3, line.path.c_str());
        EXPECT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
        char atr[64];
        const int result = BO_IcPowerOn(mode, sizeof atr, atr, &length, &type, timeoutSeconds);
        line.Finish();
        Vantor_Close(&context);
        EXPECT_TRUE(g_clock.onlyTenths);
        return result;
    }

    void NoCard(int attempts, const char *status = "FB")
    {
        for (int i = 0; i < attempts; i++)
            script.PowerOnFails(status);
    }
};

} // namespace

TEST_F(Wait, SuccessNeedsNoPause)
{
    script.PowerOn("3B00");
    EXPECT_EQ(0, PowerOn(0, 30));
    EXPECT_EQ(0, g_clock.pauses);
}

TEST_F(Wait, ARealFailureNeedsNoPause)
{
    script.PowerOnFails("551122");
    EXPECT_EQ(3, PowerOn(0, 30));
    EXPECT_EQ(0, g_clock.pauses);
}

TEST_F(Wait, NineTenthsPassBetweenTwoAttemptsOnOneInterface)
{
    NoCard(1);
    script.PowerOn("3B00");
    EXPECT_EQ(0, PowerOn(0, 30));
    EXPECT_EQ(9, g_clock.pauses);

    g_clock = Clock();
    script.rows.clear();
    script.contactless = true;
    NoCard(1, "A2");
    script.PowerOn("3B00");
    EXPECT_EQ(0, PowerOn(1, 30));
    EXPECT_EQ(9, g_clock.pauses);
}

TEST_F(Wait, EightTenthsPassInTheAutomaticMode)
{
    NoCard(1);
    script.contactless = true;
    NoCard(1);
    script.contactless = false;
    script.PowerOn("3B00");
    EXPECT_EQ(0, PowerOn(2, 30));
    EXPECT_EQ(8, g_clock.pauses);
}

TEST_F(Wait, InTheAutomaticModeTheContactlessResultDecides)
{
    script.PowerOnFails("551122");
    script.contactless = true;
    NoCard(1);
    script.contactless = false;
    NoCard(1);
    script.contactless = true;
    script.PowerOnFails("55112233");
    EXPECT_EQ(4, PowerOn(2, 30));
    EXPECT_EQ(8, g_clock.pauses);
}

TEST_F(Wait, TheTimeIsTheDifferenceOfTwoWholeSeconds)
{
    NoCard(4); // at 0.0, 0.9, 1.8 and 2.7 s; after the pause at 3.6 s it ends
    EXPECT_EQ(-4005, PowerOn(0, 3));
    EXPECT_EQ(36, g_clock.pauses);
    EXPECT_EQ(0, length);
    EXPECT_EQ(-7, type) << "written on success only";

    g_clock = Clock();
    g_clock.microseconds = 500000;
    script.rows.clear();
    NoCard(3); // at 0.5, 1.4 and 2.3 s; at 3.2 s three seconds have begun
    EXPECT_EQ(-4005, PowerOn(0, 3));
    EXPECT_EQ(27, g_clock.pauses);
}

TEST_F(Wait, ItEndsWithTheLastResultOfTheCard)
{
    NoCard(1);
    NoCard(1, "A2");
    EXPECT_EQ(-4000, PowerOn(0, 1));
}

TEST_F(Wait, WithoutALimitItGoesOn)
{
    NoCard(100);
    script.PowerOn("3B00");
    EXPECT_EQ(0, PowerOn(0, 0));
    EXPECT_EQ(900, g_clock.pauses);
}

TEST_F(Wait, ACancelIsSeenAfterTheNextTenth)
{
    NoCard(2);
    g_clock.onPause = [](int pause)
    {
        if (pause == 14)
            BO_CancelWait();
    };
    EXPECT_EQ(-1006, PowerOn(0, 30));
    EXPECT_EQ(14, g_clock.pauses);
    EXPECT_EQ(-7, length);
}

TEST_F(Wait, ACancelFromBeforeCountsForNothing)
{
    BO_CancelWait();
    NoCard(1);
    script.PowerOn("3B00");
    EXPECT_EQ(0, PowerOn(0, 30));
    EXPECT_EQ(0, g_IsCancelWait);
}

TEST_F(Wait, OnlyTheValueOneCancels)
{
    NoCard(1);
    script.PowerOn("3B00");
    g_clock.onPause = [](int) { g_IsCancelWait = 2; };
    EXPECT_EQ(0, PowerOn(0, 30));
}

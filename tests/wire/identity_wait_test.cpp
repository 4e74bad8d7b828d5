// The wait for an identity card, step by step: the clock and the pauses are this test's own.
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/golden_line.h"
#include "support/identity_card.h"
#include "support/log_capture.h"
#include "support/scratch.h"
#include "vantor/business.h"
#include "vantor/identity_cards.h"
#include "vantor/link.h"
#include "vantor/support.h"

using testing_support::FromHex;
using testing_support::GoldenExchange;
using testing_support::GoldenLine;
using testing_support::IdentityFrame;
using testing_support::LogCapture;
using testing_support::Scratch;
using testing_support::WriteFile;

namespace
{

struct Clock
{
    int64_t microseconds = 0;
    int pauses = 0;
    bool onlyTenths = true; // every pause was one of 100 ms
    std::function<void(int pause)> onPause;
    std::function<void()> onReset; // behind the module's reset
};

Clock g_clock;

} // namespace

// In place of the C library's, for the code under test that is linked into this program.
extern "C" int usleep(useconds_t microseconds)
{
    g_clock.microseconds += microseconds;
    g_clock.pauses++;
    g_clock.onlyTenths = g_clock.onlyTenths && microseconds == 100000;
    if (g_clock.onPause)
        g_clock.onPause(g_clock.pauses);
    return 0;
}

extern "C" time_t time(time_t *result) noexcept
{
    const time_t now = static_cast<time_t>(g_clock.microseconds / 1000000);
    if (result != nullptr)
        *result = now;
    return now;
}

// The linker wraps it for this program.
extern "C" int __real_ID_ResetCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs);
extern "C" int __wrap_ID_ResetCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    const int result = __real_ID_ResetCard(deviceContext, timeoutMs);
    if (g_clock.onReset)
        g_clock.onReset();
    return result;
}

namespace
{

// The reader is switched by nobody here: "IdChange" is 0.
struct IdentityWait : testing::Test
{
    Scratch directory;
    LogCapture log{1};
    std::vector<GoldenExchange> rows;

    IdentityWait()
    {
        g_clock = Clock();
        WriteFile(directory.path + "/config.ini", "[devcfg]\nIdChange=0\n");
        GSetConfigFilePath((directory.path + "/config.ini").c_str());
        Row("11FF", "000090");
    }

    void Row(const char *command, const char *status)
    {
        rows.push_back({IdentityFrame(FromHex(command)), IdentityFrame(FromHex(status))});
    }
    void Find(int count, const char *status)
    {
        for (int i = 0; i < count; i++)
            Row("2001", status);
    }
    void NoCard(int count)
    {
        Find(count, "000080");
    }
    void FoundAndRead()
    {
        Row("2001", "00009F");
        Row("2002", "000090");
        rows.push_back({IdentityFrame(FromHex("3010")),
                        IdentityFrame(testing_support::ResidentCard().PayloadWithFingerprint())});
    }

    int Read(int timeoutSeconds)
    {
        GoldenLine line(rows);
        GSetComName(3, line.path.c_str());
        EXPECT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
        const int result =
            BO_GetIdRawData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, timeoutSeconds);
        line.Finish();
        Vantor_Close(&context);
        EXPECT_TRUE(g_clock.onlyTenths);
        return result;
    }
};

} // namespace

TEST_F(IdentityWait, ACardThatLiesThereNeedsNoPause)
{
    FoundAndRead();
    EXPECT_EQ(0, Read(30));
    EXPECT_EQ(0, g_clock.pauses);
    EXPECT_EQ("", log.Lines());
}

TEST_F(IdentityWait, NineTenthsPassBetweenTwoSearches)
{
    NoCard(1);
    Find(1, "000041"); // any other status of the module
    FoundAndRead();
    EXPECT_EQ(0, Read(30));
    EXPECT_EQ(18, g_clock.pauses);
}

TEST_F(IdentityWait, WhenTheTimeHasPassedTheSelectionIsTriedAndFails)
{
    NoCard(4); // at 0.0, 0.9, 1.8 and 2.7 s; after the pause at 3.6 s it ends
    Row("2002", "000081");
    EXPECT_EQ(-3001, Read(3));
    EXPECT_EQ(36, g_clock.pauses);
    EXPECT_EQ("Error:ID_SelectCard Error!\r\nError:iErrorCode = -3001\r\n", log.Lines());
}

TEST_F(IdentityWait, TheTimeIsTheDifferenceOfTwoWholeSeconds)
{
    g_clock.microseconds = 500000;
    NoCard(3); // at 0.5, 1.4 and 2.3 s; at 3.2 s three seconds have begun
    Row("2002", "000082");
    EXPECT_EQ(-3002, Read(3));
    EXPECT_EQ(27, g_clock.pauses);
}

TEST_F(IdentityWait, ASelectionThatSucceedsAllTheSameIsReadOn)
{
    NoCard(2);
    Row("2002", "000090");
    Row("3010", "000041");
    Row("3001", "000041");
    EXPECT_EQ(-3001, Read(1));
    EXPECT_EQ("Error:ID_ReadCard Error!\r\nError:iErrorCode = -3001\r\n", log.Lines());
}

TEST_F(IdentityWait, WithoutALimitItGoesOn)
{
    NoCard(50);
    FoundAndRead();
    EXPECT_EQ(0, Read(0));
    EXPECT_EQ(450, g_clock.pauses);
}

TEST_F(IdentityWait, WithoutALimitAnotherFailureOfTheSearchIsATimeoutWithNoCard)
{
    NoCard(1);
    // A reply that does not fit: a failure of the link, which ends the wait at once.
    rows.push_back({IdentityFrame(FromHex("2001")), IdentityFrame(std::string(300, 'x'))});
    EXPECT_EQ(-3001, Read(0));
    EXPECT_EQ(9, g_clock.pauses);
    EXPECT_EQ("Error:Timeout!\r\nError:iErrorCode = -3001\r\n", log.Lines());
}

TEST_F(IdentityWait, WithALimitAnotherFailureOfTheSearchGoesOnToTheSelection)
{
    rows.push_back({IdentityFrame(FromHex("2001")), IdentityFrame(std::string(300, 'x'))});
    Row("2002", "000081");
    EXPECT_EQ(-3001, Read(30));
    EXPECT_EQ(0, g_clock.pauses);
    EXPECT_EQ("Error:ID_SelectCard Error!\r\nError:iErrorCode = -3001\r\n", log.Lines());
}

TEST_F(IdentityWait, ACancelIsSeenAfterTheNextTenth)
{
    NoCard(2);
    g_clock.onPause = [](int pause)
    {
        if (pause == 14)
            BO_CancelWait();
    };
    EXPECT_EQ(-1006, Read(30));
    EXPECT_EQ(14, g_clock.pauses);
    EXPECT_EQ("Error:Canceled!\r\nError:iErrorCode = -1006\r\n", log.Lines());
}

TEST_F(IdentityWait, ACancelOfTheVeryLastTenthCountsBeforeTheTime)
{
    NoCard(2);
    g_clock.onPause = [](int pause)
    {
        if (pause == 18)
            BO_CancelWait();
    };
    EXPECT_EQ(-1006, Read(1));
}

TEST_F(IdentityWait, ACancelFromBeforeCountsForNothing)
{
    BO_CancelWait();
    NoCard(1);
    FoundAndRead();
    EXPECT_EQ(0, Read(30));
    EXPECT_EQ(0, g_IsCancelWait);
}

TEST_F(IdentityWait, BeginsBehindTheReset)
{
    g_clock.onReset = []
    {
        BO_CancelWait();
        g_clock.microseconds += 60000000;
    };
    NoCard(1);
    FoundAndRead(); // at 0.9 s of the one
    EXPECT_EQ(0, Read(1));
    EXPECT_EQ(9, g_clock.pauses);
}

TEST_F(IdentityWait, OnlyTheValueOneCancels)
{
    NoCard(1);
    FoundAndRead();
    g_clock.onPause = [](int) { g_IsCancelWait = 2; };
    EXPECT_EQ(0, Read(30));
}

#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <regex>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <thread>
#include <vector>

#include "support/scratch.h"
#include "support/system_calls.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using namespace testing_support;
namespace fs = std::filesystem;

extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace
{

// A log file of its own for the test; the level is the default when it starts.
struct GLogTest : testing::Test
{
    Scratch scratch;
    std::string path = scratch.path + "/today.log";

    GLogTest()
    {
        GSetLogFilePath(path.c_str());
        GSetLogLevel(1);
    }

    std::string Log() const
    {
        return fs::exists(path) ? ReadFile(path) : "";
    }
};

using GLogAppend = GLogTest;
using GLogLock = GLogTest;

bool LockIsFree()
{
    if (pthread_mutex_trylock(&fileMutex) != 0)
        return false;
    pthread_mutex_unlock(&fileMutex);
    return true;
}

testing::Matcher<std::string> IsLine(const std::string &kind, const std::string &text)
{
    return testing::MatchesRegex(
        kind + R"(\([0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\):)" + text);
}

int FormatInto(char **text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = _Safe_vasprintf(text, format, arguments);
    va_end(arguments);
    return result;
}

size_t AllocatedBytes()
{
    if (__sanitizer_get_current_allocated_bytes != nullptr)
        return __sanitizer_get_current_allocated_bytes();
    return mallinfo2().uordblks;
}

} // namespace

TEST_F(GLogTest, LevelOneWritesErrorsOnly)
{
    EXPECT_EQ(-22, GLogI("information\r\n"));
    EXPECT_EQ("", Log());
    EXPECT_EQ(0, GLogE("failed with %d in %s\r\n", -4000, "step"));
    EXPECT_THAT(Log(), IsLine("Error", "failed with -4000 in step\r\n"));
}

TEST_F(GLogTest, LevelZeroAndBelowWriteNothing)
{
    for (const int level : {0, -1, INT_MIN})
    {
        EXPECT_EQ(0, GSetLogLevel(level));
        EXPECT_EQ(-22, GLogI("information\r\n"));
        EXPECT_EQ(-22, GLogE("error\r\n"));
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(GLogTest, LevelTwoAndAboveWriteBoth)
{
    for (const int level : {2, 3, INT_MAX})
    {
        fs::remove(path);
        EXPECT_EQ(0, GSetLogLevel(level));
        EXPECT_EQ(level, g_nGDbgLevel);
        EXPECT_EQ(0, GLogI("one %s\r\n", "line"));
        EXPECT_THAT(Log(), IsLine("Info", "one line\r\n"));
        EXPECT_EQ(0, GLogE("another\r\n"));
        EXPECT_THAT(Log(), testing::HasSubstr("one line\r\nError("));
    }
}

TEST_F(GLogTest, NullFormatIsRefusedAtEveryLevel)
{
    int (*const calls[])(const char *, ...) = {GLogI, GLogE};
    for (const int level : {0, 1, 2})
    {
        GSetLogLevel(level);
        for (const auto call : calls)
            EXPECT_EQ(-22, call(nullptr, 0));
    }
    EXPECT_EQ("", Log());
}

TEST_F(GLogTest, EmptyTextCountsAsNoTextAndKeepsNoLock)
{
    GSetLogLevel(2);
    EXPECT_EQ(-99, GLogI("%s", ""));
    EXPECT_EQ(-99, GLogE("%s", ""));
    EXPECT_EQ("", Log());
    EXPECT_TRUE(LockIsFree());
}

TEST_F(GLogTest, TextThatCannotBeFormattedGivesMinus99)
{
    const wchar_t unprintable[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
    EXPECT_EQ(-99, GLogE("%ls", unprintable));
    EXPECT_EQ("", Log());
    EXPECT_TRUE(LockIsFree());
}

TEST_F(GLogTest, NoLineEndIsAdded)
{
    GLogE("first");
    GLogE("second");
    EXPECT_THAT(Log(), testing::MatchesRegex(R"(Error\([^)]*\):firstError\([^)]*\):second)"));
}

TEST_F(GLogTest, LongTextIsWrittenInFull)
{
    const std::string text(100000, 'x');
    EXPECT_EQ(0, GLogE("%s\r\n", text.c_str()));
    EXPECT_THAT(Log(), testing::EndsWith(":" + text + "\r\n"));
}

TEST_F(GLogTest, OnlyKindOneIsAnError)
{
    for (const int kind : {0, 2, -1, 7, INT_MIN})
    {
        fs::remove(path);
        EXPECT_EQ(0, GDbgPrintStr(kind, "text"));
        EXPECT_THAT(Log(), IsLine("Info", "text"));
    }
    fs::remove(path);
    EXPECT_EQ(0, GDbgPrintStr(1, "text"));
    EXPECT_THAT(Log(), IsLine("Error", "text"));
}

TEST_F(GLogTest, PrintStrKnowsNoLevel)
{
    GSetLogLevel(0);
    EXPECT_EQ(0, GDbgPrintStr(2, "text"));
    EXPECT_THAT(Log(), IsLine("Info", "text"));
}

TEST_F(GLogTest, PrintStrTakesTheTextAsItIs)
{
    EXPECT_EQ(0, GDbgPrintStr(1, "100%s %n"));
    EXPECT_THAT(Log(), testing::EndsWith("):100%s %n"));
}

TEST_F(GLogTest, PrintStrRefusesNullText)
{
    EXPECT_EQ(-22, GDbgPrintStr(1, nullptr));
    EXPECT_EQ("", Log());
    EXPECT_TRUE(LockIsFree());
}

TEST_F(GLogTest, PrefixHoldsTheLocalTimeOfTheWrite)
{
    const int result = ResultInChild(
        [&]
        {
            setenv("TZ", "FAR-13:45", 1); // 13 hours and 45 minutes ahead of UTC
            tzset();
            const time_t before = time(nullptr);
            GDbgPrintStr(1, "text");
            const time_t after = time(nullptr);
            for (time_t moment = before; moment <= after; moment++)
            {
                const time_t shifted = moment + (13 * 60 + 45) * 60;
                struct tm expected;
                char line[64];
                gmtime_r(&shifted, &expected);
                strftime(line, sizeof(line), "Error(%Y-%m-%d %H:%M:%S):text", &expected);
                if (Log() == line)
                    return 0;
            }
            return 1;
        });
    EXPECT_EQ(0, result);
}

TEST_F(GLogTest, PrefixThatCannotBeWrittenGivesMinus99)
{
    GSetLogFilePath("/dev/full");
    EXPECT_EQ(-99, GDbgPrintStr(1, "text"));
    EXPECT_EQ(-99, GLogE("text"));
    EXPECT_TRUE(LockIsFree());
}

TEST_F(GLogTest, EachLineIsTwoAppendsEachForcedToStorage)
{
    GDbgPrintStr(1, "the time zone is read"); // once in the process, not at every line
    const std::vector<long> expected = {SYS_openat, SYS_write, SYS_fsync, SYS_close,
                                        SYS_openat, SYS_write, SYS_fsync, SYS_close};
    EXPECT_EQ(expected, SystemCallsOf([] { GDbgPrintStr(1, "text"); }));
}

TEST_F(GLogTest, LinesOfThreadsKeepTheirPieces)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; number++)
        threads.emplace_back(
            []
            {
                for (int line = 0; line < 25; line++)
                    GLogE("%s\r\n", "ABCDEFGHIJ");
            });
    for (std::thread &thread : threads)
        thread.join();
    std::string log = Log();
    size_t prefixes = 0;
    const std::regex prefix(R"(Error\([^)]*\):)");
    for (auto at = std::sregex_iterator(log.begin(), log.end(), prefix);
         at != std::sregex_iterator(); ++at)
        prefixes++;
    EXPECT_EQ(100U, prefixes);
    std::string texts = std::regex_replace(log, prefix, "");
    std::string expected;
    for (int line = 0; line < 100; line++)
        expected += "ABCDEFGHIJ\r\n";
    EXPECT_EQ(expected, texts);
}

TEST_F(GLogTest, FormattedTextIsNotReleased)
{
    const std::string text(10000, 'x');
    GLogE("%s\r\n", text.c_str());
    const size_t before = AllocatedBytes();
    for (int line = 0; line < 10; line++)
        GLogE("%s\r\n", text.c_str());
    EXPECT_GE(AllocatedBytes() - before, 10 * text.size());
}

TEST_F(GLogTest, LogPathIsCutAt259Characters)
{
    EXPECT_EQ(-22, GSetLogFilePath(nullptr));
    std::string longPath = scratch.path;
    while (longPath.size() < 300)
        longPath += "/.";
    longPath.replace(longPath.size() - 60, 60, "/" + std::string(59, 'f'));
    EXPECT_EQ(0, GSetLogFilePath(longPath.c_str()));
    EXPECT_EQ(0, GDbgPrintStr(1, "text"));
    EXPECT_TRUE(fs::exists(longPath.substr(0, 259)));
    EXPECT_FALSE(fs::exists(longPath));
}

TEST_F(GLogTest, FormatsIntoATextOfTheCallers)
{
    char *text = nullptr;
    ASSERT_EQ(7, FormatInto(&text, "%s %03d", "tag", 7));
    EXPECT_STREQ("tag 007", text);
    free(text);
    for (const size_t length : {510U, 511U, 512U, 513U, 70000U})
    {
        const std::string expected(length, 'x');
        ASSERT_EQ(static_cast<int>(length), FormatInto(&text, "%s%s", "", expected.c_str()));
        EXPECT_EQ(expected, text);
        free(text);
    }
    EXPECT_LT(FormatInto(nullptr, "%d", 1), 0);
    const wchar_t unprintable[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
    char stale = 'x';
    text = &stale;
    EXPECT_LT(FormatInto(&text, "%ls", unprintable), 0);
    EXPECT_EQ(nullptr, text);
}

TEST_F(GLogAppend, MakesTheFileAndAppendsBytes)
{
    const mode_t before = umask(0027);
    EXPECT_EQ(0, _GAppendDataToLogFile(path.c_str(), "one\0two", 7));
    umask(before);
    EXPECT_EQ(0, _GAppendDataToLogFile(path.c_str(), "three", 2));
    EXPECT_EQ(std::string("one\0twoth", 9), Log());
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 0777U);
    EXPECT_TRUE(LockIsFree());
}

TEST_F(GLogAppend, ShortWriteGivesMinus5AndFreesTheLock)
{
    EXPECT_EQ(-5, _GAppendDataToLogFile("/dev/full", "text", 4));
    EXPECT_TRUE(LockIsFree());
    const int result = ResultInChild(
        [&]
        {
            const struct rlimit limit = {10, 10};
            signal(SIGXFSZ, SIG_IGN);
            setrlimit(RLIMIT_FSIZE, &limit);
            return -_GAppendDataToLogFile(path.c_str(), "0123456789ABCDEF", 16);
        });
    EXPECT_EQ(5, result);
    EXPECT_EQ("0123456789", Log());
}

TEST_F(GLogAppend, FileMustBeReadableToo)
{
    WriteFile(path, "");
    fs::permissions(scratch.path, fs::perms(0777));
    fs::permissions(path, fs::perms(0222));
    const auto append = [&] { return -_GAppendDataToLogFile(path.c_str(), "text", 4); };
    EXPECT_EQ(2, ResultWithoutRights(append));
    fs::permissions(path, fs::perms(0666));
    EXPECT_EQ(0, ResultWithoutRights(append));
}

TEST_F(GLogLock, StaysHeldAfterAFileThatCannotBeOpened)
{
    const int result = ResultInChild(
        [&]
        {
            if (_GAppendDataToLogFile((scratch.path + "/missing/file").c_str(), "text", 4) != -2)
                return 1;
            return LockIsFree() ? 2 : 0;
        });
    EXPECT_EQ(0, result);
}

TEST_F(GLogLock, StaysHeldAfterBadArguments)
{
    const std::vector<std::function<int()>> calls = {
        [] { return _GAppendDataToLogFile(nullptr, "text", 4); },
        [&] { return _GAppendDataToLogFile(path.c_str(), nullptr, 4); },
        [&] { return _GAppendDataToLogFile(path.c_str(), "text", 0); },
        [] { return GDbgPrintStr(1, ""); }, // after its prefix
    };
    for (const std::function<int()> &call : calls)
        EXPECT_EQ(0, ResultInChild(
                         [&call]
                         {
                             if (call() != -22)
                                 return 1;
                             return LockIsFree() ? 2 : 0;
                         }));
}

TEST_F(GLogLock, LaterWriteWaitsForEverAfterAFailedOpen)
{
    const int status = StatusOfChild(
        [&]
        {
            GSetLogFilePath((scratch.path + "/missing/file").c_str());
            if (GLogE("text") != -99)
                return 1;
            GSetLogFilePath(path.c_str());
            const struct itimerval soon = {{0, 0}, {0, 100000}};
            setitimer(ITIMER_REAL, &soon, nullptr);
            GLogE("never written");
            return 2;
        });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(SIGALRM, WTERMSIG(status));
    EXPECT_EQ("", Log());
}

TEST_F(GLogLock, WritersTakeTurns)
{
    ASSERT_EQ(0, pthread_mutex_lock(&fileMutex));
    std::thread writer([] { GLogE("text"); });
    EXPECT_EQ("", Log());
    pthread_mutex_unlock(&fileMutex);
    writer.join();
    EXPECT_THAT(Log(), IsLine("Error", "text"));
}

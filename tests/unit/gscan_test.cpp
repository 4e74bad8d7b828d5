#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "support/scratch.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace
{

bool listingTellsNoKinds = false; // as some file systems do

} // namespace

extern "C" struct dirent *readdir(DIR *directory)
{
    using Function = struct dirent *(DIR *);
    static Function *const real = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "readdir"));
    struct dirent *entry = real(directory);
    if (entry != nullptr && listingTellsNoKinds)
        entry->d_type = DT_UNKNOWN;
    return entry;
}

namespace
{

struct Entry
{
    std::string name;
    std::string path;
    uint64_t value;
};

std::vector<Entry> seen;
size_t endsAt = 0; // the entry, counted from 1, at which the callback gives -7

int Remember(const char *name, const char *path, uint64_t value)
{
    seen.push_back({name, path, value});
    return seen.size() == endsAt ? -7 : 0;
}

struct GScanDirectoryTest : testing::Test
{
    Scratch scratch;

    GScanDirectoryTest()
    {
        seen.clear();
        endsAt = 0;
    }

    int Scan(uint64_t value = 0)
    {
        return GScanDirectory(scratch.path.c_str(), Remember, value);
    }
};

// A directory of log files, and a clock set to local noon so that midnight is far away.
struct LogPurge : testing::Test
{
    Scratch scratch;
    std::string logs = scratch.path + "/log";

    LogPurge()
    {
        fs::create_directory(logs);
        GSetConfigFilePath((scratch.path + "/config.ini").c_str());
        const long hour = time(nullptr) / 3600 % 24;
        setenv("TZ", ("NOON" + std::to_string(hour - 12)).c_str(), 1);
        tzset();
    }

    ~LogPurge() override
    {
        unsetenv("TZ");
        tzset();
    }

    void SetSaveDays(const std::string &days)
    {
        WriteFile(scratch.path + "/config.ini", "[log]\nsaveday=" + days + "\n");
    }

    // The name of the log file of that many days ago.
    static std::string NameOf(int daysAgo)
    {
        const time_t then = time(nullptr) - daysAgo * 86400L;
        struct tm local;
        char name[32];
        localtime_r(&then, &local);
        strftime(name, sizeof(name), "qz_%Y%m%d.log", &local);
        return name;
    }

    void Put(const std::string &name)
    {
        WriteFile(logs + "/" + name, "a line");
    }

    bool Has(const std::string &name) const
    {
        return fs::exists(logs + "/" + name);
    }

    bool IsKept(int daysAgo)
    {
        Put(NameOf(daysAgo));
        EXPECT_EQ(0, GScanDirectory(logs.c_str(), ScanDirCallback, 0));
        return Has(NameOf(daysAgo));
    }
};

} // namespace

TEST_F(GScanDirectoryTest, RefusesNullArguments)
{
    EXPECT_EQ(-22, GScanDirectory(nullptr, Remember, 0));
    EXPECT_EQ(-22, GScanDirectory(scratch.path.c_str(), nullptr, 0));
}

TEST_F(GScanDirectoryTest, DirectoryThatCannotBeOpenedGivesMinus99)
{
    EXPECT_EQ(-99, GScanDirectory((scratch.path + "/missing").c_str(), Remember, 0));
    WriteFile(scratch.path + "/file", "");
    EXPECT_EQ(-99, GScanDirectory((scratch.path + "/file").c_str(), Remember, 0));
}

TEST_F(GScanDirectoryTest, EmptyDirectoryGivesZero)
{
    EXPECT_EQ(0, Scan());
    EXPECT_TRUE(seen.empty());
}

TEST_F(GScanDirectoryTest, CallbackTakesNamePathAndValueOfEveryFile)
{
    for (const char *name : {"one", ".two", "..three", "four five"})
        WriteFile(scratch.path + "/" + name, "");
    EXPECT_EQ(0, Scan(0xFEDCBA9876543210U));
    std::vector<std::string> names;
    for (const Entry &entry : seen)
    {
        names.push_back(entry.name);
        EXPECT_EQ(scratch.path + "/" + entry.name, entry.path);
        EXPECT_EQ(0xFEDCBA9876543210U, entry.value);
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("one", ".two", "..three", "four five"));
}

TEST_F(GScanDirectoryTest, OrderIsTheSystemsOwn)
{
    for (int number = 0; number < 20; number++)
        WriteFile(scratch.path + "/" + std::to_string(number), "");
    Scan();
    std::vector<std::string> expected;
    for (const fs::directory_entry &entry : fs::directory_iterator(scratch.path))
        expected.push_back(entry.path().filename());
    std::vector<std::string> names;
    for (const Entry &entry : seen)
        names.push_back(entry.name);
    EXPECT_EQ(expected, names);
}

TEST_F(GScanDirectoryTest, NonZeroResultEndsTheScanAndIsReturned)
{
    for (const char *name : {"one", "two", "three"})
        WriteFile(scratch.path + "/" + name, "");
    endsAt = 2;
    EXPECT_EQ(-7, Scan());
    EXPECT_EQ(2U, seen.size());
}

TEST_F(GScanDirectoryTest, EntryThatIsNoRegularFileKeepsThePathBefore)
{
    for (int number = 0; number < 8; number++)
    {
        const std::string name = scratch.path + "/" + std::to_string(number);
        WriteFile(name + "file", "");
        fs::create_directory(name + "directory");
        fs::create_symlink(name + "file", name + "link");
    }
    for (const bool withoutKinds : {false, true})
    {
        seen.clear();
        listingTellsNoKinds = withoutKinds;
        Scan();
        listingTellsNoKinds = false;
        ASSERT_EQ(24U, seen.size());
        std::string path; // empty until the first regular file
        for (const Entry &entry : seen)
        {
            if (entry.name.find("file") != std::string::npos)
                path = scratch.path + "/" + entry.name;
            EXPECT_EQ(path, entry.path);
        }
    }
}

TEST_F(GScanDirectoryTest, PathIsCutAt1023Characters)
{
    WriteFile(scratch.path + "/file", "");
    std::string directory = scratch.path;
    while (directory.size() < 1020)
        directory += "/.";
    EXPECT_EQ(0, GScanDirectory(directory.c_str(), Remember, 0));
    ASSERT_EQ(1U, seen.size());
    EXPECT_EQ((directory + "/file").substr(0, 1023), seen[0].path);
}

TEST_F(LogPurge, OldFileGoesAndYesterdaysStays)
{
    SetSaveDays("15");
    Put("qz_20200101.log");
    Put(NameOf(1));
    Put(NameOf(0));
    EXPECT_EQ(0, GScanDirectory(logs.c_str(), ScanDirCallback, 0));
    EXPECT_FALSE(Has("qz_20200101.log"));
    EXPECT_TRUE(Has(NameOf(1)));
    EXPECT_TRUE(Has(NameOf(0)));
}

TEST_F(LogPurge, AgeCountsFromTheBeginningOfTheDay)
{
    SetSaveDays("3");
    EXPECT_TRUE(IsKept(2));
    EXPECT_FALSE(IsKept(3)); // at noon it is three days and a half old
}

TEST_F(LogPurge, FifteenDaysWithoutASetting)
{
    EXPECT_TRUE(IsKept(14));
    EXPECT_FALSE(IsKept(15));
}

TEST_F(LogPurge, MoreThan365DaysCountAs365)
{
    for (const char *days : {"366", "1000", "2147483647"})
    {
        SetSaveDays(days);
        EXPECT_TRUE(IsKept(364));
        EXPECT_FALSE(IsKept(365));
    }
}

TEST_F(LogPurge, ZeroDaysDeletesTodaysFileToo)
{
    SetSaveDays("0");
    EXPECT_FALSE(IsKept(0));
    EXPECT_TRUE(IsKept(-1));
}

// Local midnight is now, to the second; another attempt when the second ends meanwhile.
TEST_F(LogPurge, FileOfExactlyThatAgeStays)
{
    SetSaveDays("0");
    bool kept = false;
    time_t began;
    do
    {
        began = time(nullptr);
        const long past = began % 86400; // what UTC is ahead of a zone where the day begins now
        char zone[32];
        snprintf(zone, sizeof(zone), "NOW%ld:%ld:%ld", past / 3600, past / 60 % 60, past % 60);
        setenv("TZ", zone, 1);
        tzset();
        kept = IsKept(0);
    } while (time(nullptr) != began);
    EXPECT_TRUE(kept);
}

TEST_F(LogPurge, NegativeDaysReachIntoTheFuture)
{
    SetSaveDays("-2");
    EXPECT_FALSE(IsKept(-2)); // begins in a day and a half
    EXPECT_TRUE(IsKept(-3));
    SetSaveDays("-2147483648");
    EXPECT_FALSE(IsKept(-3));
}

TEST_F(LogPurge, DayOutsideTheCalendarCountsOn)
{
    SetSaveDays("15");
    for (const char *name : {"qz_20201399.log", "qz_00000000.log", "qz_99991231.log"})
        Put(name);
    GScanDirectory(logs.c_str(), ScanDirCallback, 0);
    EXPECT_FALSE(Has("qz_20201399.log"));
    EXPECT_FALSE(Has("qz_00000000.log"));
    EXPECT_TRUE(Has("qz_99991231.log"));
}

TEST_F(LogPurge, NameThatDoesNotFollowThePatternIsSkipped)
{
    SetSaveDays("0");
    const std::vector<std::string> names = {
        "qz_20200101.txt", "qz_20200101.log.old", "qz_2020011.log",  "qz_020200101.log",
        "QZ_20200101.log", "qz-20200101.log",     "qz_2020O101.log", "qz_+2020101.log",
        "20200101.log",    "qz_ 2020101.log",     "qz_.log",         "a",
        "important.txt",   "qz_20200101.LOG"};
    for (const std::string &name : names)
        Put(name);
    EXPECT_EQ(0, GScanDirectory(logs.c_str(), ScanDirCallback, 0));
    for (const std::string &name : names)
        EXPECT_TRUE(Has(name)) << name;
}

TEST_F(LogPurge, DirectoryNamedLikeAnOldLogDeletesNothing)
{
    SetSaveDays("0");
    for (int number = 0; number < 8; number++)
    {
        Put("important" + std::to_string(number));
        fs::create_directory(logs + "/qz_2020010" + std::to_string(number) + ".log");
    }
    GScanDirectory(logs.c_str(), ScanDirCallback, 0);
    EXPECT_EQ(16, std::distance(fs::directory_iterator(logs), fs::directory_iterator()));
}

TEST_F(LogPurge, PathMustEndInTheEntrysOwnName)
{
    SetSaveDays("0");
    Put("important.txt");
    Put("xqz_20200101.log");
    Put("qz_20200101.log");
    const auto call = [this](const std::string &name)
    { return ScanDirCallback("qz_20200101.log", (logs + "/" + name).c_str(), 0); };
    EXPECT_EQ(0, call("important.txt"));
    EXPECT_EQ(0, call("xqz_20200101.log"));
    EXPECT_EQ(0, ScanDirCallback("qz_20200101.log", "", 0));
    EXPECT_TRUE(Has("important.txt"));
    EXPECT_TRUE(Has("xqz_20200101.log"));
    EXPECT_TRUE(Has("qz_20200101.log"));
    EXPECT_EQ(0, call("qz_20200101.log"));
    EXPECT_FALSE(Has("qz_20200101.log"));
}

TEST_F(LogPurge, PathWithoutADirectoryIsTheNameItself)
{
    SetSaveDays("0");
    Put("qz_20200101.log");
    EXPECT_EQ(0, ResultInChild(
                     [&]
                     {
                         fs::current_path(logs);
                         return ScanDirCallback("qz_20200101.log", "qz_20200101.log", 0);
                     }));
    EXPECT_FALSE(Has("qz_20200101.log"));
}

TEST_F(LogPurge, NullNamesAreSkipped)
{
    EXPECT_EQ(0, ScanDirCallback(nullptr, "path", 0));
    EXPECT_EQ(0, ScanDirCallback("qz_20200101.log", nullptr, 0));
}

TEST_F(LogPurge, FileThatCannotBeDeletedDoesNotEndTheScan)
{
    SetSaveDays("0");
    EXPECT_EQ(0, ScanDirCallback("qz_20200101.log", "/nowhere/qz_20200101.log", 0));
}

// Daylight saving time all the year round, and half an hour past midnight by it: in standard time,
// which counts, the day has not yet begun.
TEST_F(LogPurge, DaysBeginInStandardTime)
{
    const long minute = time(nullptr) / 60 % 1440;
    const long offset = (minute - (23 * 60 + 30) + 1440) % 1440; // UTC minus local, in minutes
    char zone[64];
    snprintf(zone, sizeof(zone), "STD%ld:%02ldDST,0/0,J365/25", offset / 60, offset % 60);
    setenv("TZ", zone, 1);
    tzset();
    const time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    ASSERT_GT(local.tm_isdst, 0);
    ASSERT_EQ(0, local.tm_hour);
    SetSaveDays("3");
    EXPECT_TRUE(IsKept(3));
    EXPECT_FALSE(IsKept(4));
}

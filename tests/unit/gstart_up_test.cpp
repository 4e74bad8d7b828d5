#include <ctime>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/fixed_text.h"
#include "support/scratch.h"
#include "support/start_up.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace
{

std::string DirectoryOf(const char *libraryPath)
{
    char directory[1024];
    LibraryDirectory(libraryPath, directory, sizeof(directory));
    return directory;
}

std::string StoredDirectory()
{
    char directory[1024] = {};
    GGetDllPath(nullptr, directory);
    return directory;
}

std::string TodaysName()
{
    const time_t now = time(nullptr);
    struct tm local;
    char name[32];
    localtime_r(&now, &local);
    strftime(name, sizeof(name), "qz_%Y%m%d.log", &local);
    return name;
}

struct StartUp : testing::Test
{
    Scratch scratch;
    std::string library = scratch.path + "/libvantor.so";
    std::string logs = scratch.path + "/log";

    void Configure(const std::string &text)
    {
        WriteFile(scratch.path + "/config.ini", text);
    }
};

} // namespace

TEST(LibraryDirectory, EndsBeforeTheLastSlash)
{
    EXPECT_EQ("/usr/lib/vantor", DirectoryOf("/usr/lib/vantor/libvantor.so"));
    EXPECT_EQ("./some", DirectoryOf("./some/libvantor.so"));
    EXPECT_EQ("/usr/lib", DirectoryOf("/usr/lib/"));
    EXPECT_EQ("", DirectoryOf("/libvantor.so"));
}

TEST(LibraryDirectory, PathWithoutSlashStaysWhole)
{
    EXPECT_EQ("libvantor.so", DirectoryOf("libvantor.so"));
    EXPECT_EQ("", DirectoryOf(""));
}

TEST(LibraryDirectory, UnknownPathIsTheWorkingDirectory)
{
    EXPECT_EQ(".", DirectoryOf(nullptr));
}

TEST(LibraryDirectory, IsCutToItsBuffer)
{
    char directory[8];
    memset(directory, 'x', sizeof(directory));
    LibraryDirectory("/usr/lib/libvantor.so", directory, 6);
    EXPECT_STREQ("/usr/", directory);
    EXPECT_EQ('x', directory[6]);
    LibraryDirectory("/usr/lib/libvantor.so", directory, sizeof(directory));
    EXPECT_STREQ("/usr/li", directory);
}

TEST_F(StartUp, SettingsComeFromBesideTheLibrary)
{
    Configure("[log]\nloglevel=2\n[devcfg]\nIccmd=1\n");
    PrepareSupport(library.c_str());
    EXPECT_EQ(2, g_nGDbgLevel);
    int value = 0;
    GGetConfigInt("devcfg", "Iccmd", 0, &value);
    EXPECT_EQ(1, value);
    EXPECT_EQ(scratch.path, StoredDirectory());
}

TEST_F(StartUp, MissingSettingsGiveTheDefaults)
{
    GSetLogLevel(5);
    PrepareSupport(library.c_str());
    EXPECT_EQ(1, g_nGDbgLevel);
}

TEST_F(StartUp, LogGoesIntoTodaysFileOfTheLogDirectory)
{
    Configure("[log]\nloglevel=2\n");
    const std::string before = TodaysName();
    PrepareSupport(library.c_str());
    const std::string after = TodaysName(); // the day may have ended meanwhile
    EXPECT_FALSE(fs::exists(logs + "/" + before));
    EXPECT_EQ(0, GLogI("a line\r\n"));
    EXPECT_TRUE(fs::exists(logs + "/" + before) || fs::exists(logs + "/" + after));
}

TEST_F(StartUp, LogFileKeepsTheDayOfTheLoading)
{
    Configure("[log]\nloglevel=2\n");
    EXPECT_EQ(0, ResultInChild(
                     [&]
                     {
                         setenv("TZ", "EARLY12", 1);
                         tzset();
                         const std::string day = TodaysName();
                         PrepareSupport(library.c_str());
                         if (TodaysName() != day) // midnight, of all moments
                             return 0;
                         setenv("TZ", "LATE-12", 1); // a day later
                         tzset();
                         if (TodaysName() == day || GLogI("past midnight\r\n") != 0)
                             return 1;
                         const fs::directory_iterator first(logs);
                         return first->path().filename() == day &&
                                        std::distance(first, fs::directory_iterator()) == 1
                                    ? 0
                                    : 2;
                     }));
}

TEST_F(StartUp, LogDirectoryIsMadeForEverybody)
{
    const mode_t before = umask(0);
    PrepareSupport(library.c_str());
    umask(before);
    struct stat status;
    ASSERT_EQ(0, stat(logs.c_str(), &status));
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(0777U, status.st_mode & 07777U);
}

TEST_F(StartUp, LogDirectoryThatIsThereStaysAsItIs)
{
    fs::create_directory(logs);
    fs::permissions(logs, fs::perms(0750));
    WriteFile(logs + "/notes.txt", "kept");
    PrepareSupport(library.c_str());
    EXPECT_EQ("kept", ReadFile(logs + "/notes.txt"));
    EXPECT_EQ(fs::perms(0750), fs::status(logs).permissions());
}

TEST_F(StartUp, OldLogsArePurgedByTheSettingOfThisLibrary)
{
    Configure("[log]\nsaveday=0\n");
    fs::create_directory(logs);
    WriteFile(logs + "/qz_20200101.log", "");
    const std::string today = TodaysName(); // before midnight; gone either way
    WriteFile(logs + "/" + today, "");
    PrepareSupport(library.c_str());
    EXPECT_FALSE(fs::exists(logs + "/qz_20200101.log"));
    EXPECT_FALSE(fs::exists(logs + "/" + today));
}

TEST_F(StartUp, LibraryPathWithoutSlashIsTakenWholeAsTheDirectory)
{
    fs::create_directory(scratch.path + "/lib");
    WriteFile(scratch.path + "/lib/config.ini", "[log]\nloglevel=3\n");
    EXPECT_EQ(0, ResultInChild(
                     [&]
                     {
                         fs::current_path(scratch.path);
                         PrepareSupport("lib");
                         return g_nGDbgLevel == 3 && StoredDirectory() == "lib" ? 0 : 1;
                     }));
    EXPECT_TRUE(fs::is_directory(scratch.path + "/lib/log"));
}

TEST_F(StartUp, UnknownLibraryPathMeansTheWorkingDirectory)
{
    Configure("[log]\nloglevel=3\n");
    EXPECT_EQ(0, ResultInChild(
                     [&]
                     {
                         fs::current_path(scratch.path);
                         PrepareSupport(nullptr);
                         return g_nGDbgLevel == 3 && StoredDirectory() == "." ? 0 : 1;
                     }));
    EXPECT_TRUE(fs::is_directory(logs));
}

TEST_F(StartUp, DirectoryThatCannotBeWrittenIsNoFailure)
{
    PrepareSupport((scratch.path + "/missing/libvantor.so").c_str());
    EXPECT_EQ(scratch.path + "/missing", StoredDirectory());
    EXPECT_FALSE(fs::exists(scratch.path + "/missing"));
}

TEST_F(StartUp, OverlongPathIsCut)
{
    const std::string path(5000, 'd');
    PrepareSupport(("/" + path + "/libvantor.so").c_str());
    EXPECT_EQ("/" + path.substr(0, 1022), StoredDirectory());
}

TEST(FixedText, IsCutWithItsNul)
{
    char text[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    CopyText(text, 5, "ab");
    EXPECT_STREQ("ab", text);
    CopyText(text, 5, "abcdefgh");
    EXPECT_STREQ("abcd", text);
    EXPECT_EQ('x', text[5]);
    CopyText(text, 5, text + 2);
    EXPECT_STREQ("cd", text);
}

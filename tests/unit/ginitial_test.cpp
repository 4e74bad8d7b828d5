// What the support library holds before anything is set. No case of this file sets anything in its
// own process.
#include <filesystem>
#include <gtest/gtest.h>

#include "support/scratch.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using namespace testing_support;
namespace fs = std::filesystem;

TEST(SupportBeforeStart, LogLevelIsErrorsOnly)
{
    EXPECT_EQ(1, g_nGDbgLevel);
}

TEST(SupportBeforeStart, FileLockIsFree)
{
    ASSERT_EQ(0, pthread_mutex_trylock(&fileMutex));
    EXPECT_EQ(0, pthread_mutex_unlock(&fileMutex));
}

TEST(SupportBeforeStart, LogPathIsThePlaceholder)
{
    const Scratch scratch;
    ASSERT_EQ(0, ResultInChild(
                     [&]
                     {
                         fs::current_path(scratch.path);
                         return GLogE("first\r\n");
                     }));
    EXPECT_TRUE(fs::exists(scratch.path + "/\\tmp\\g.log"));
}

TEST(SupportBeforeStart, ConfigPathIsThePlaceholder)
{
    const Scratch scratch;
    WriteFile(scratch.path + "/c:\\tmp\\config.ini", "[log]\nsaveday=77\n");
    EXPECT_EQ(77, ResultInChild(
                      [&]
                      {
                          int value = 0;
                          fs::current_path(scratch.path);
                          GGetConfigInt("log", "saveday", 15, &value);
                          return value;
                      }));
}

TEST(SupportBeforeStart, LibraryDirectoryIsThePlaceholder)
{
    char directory[1024] = {};
    EXPECT_EQ(0, GGetDllPath(nullptr, directory));
    EXPECT_STREQ("c:\\tmp\\", directory);
}

// What loading and unloading the library does, as a host application sees it.
#include <cstdio>
#include <ctime>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/host_library.h"
#include "support/log_messages.h"

using testing_support::HostLibrary;
using testing_support::LogMessages;
using testing_support::ReadFile;
using testing_support::Scratch;
using testing_support::ShippedConfig;
using testing_support::UnnamedLeaks;
using testing_support::WithSetting;
using testing_support::WriteFile;

namespace
{

namespace fs = std::filesystem;

const char kLoaded[] = "Info:LoadLibrary, version = V2.1.56.1\r\n";
const char kUnloaded[] = "Info:FreeLibrary\r\n";

std::string LogName(time_t day)
{
    struct tm local = {};
    localtime_r(&day, &local);
    char name[32];
    strftime(name, sizeof name, "qz_%Y%m%d.log", &local);
    return name;
}

// A copy of the library that the test loads itself, after laying out its directory.
struct Unloaded : testing::Test
{
    Scratch directory;
    void *handle = nullptr;

    Unloaded()
    {
        fs::copy_file(VANTOR_LIBRARY, directory.path + "/libvantor.so");
    }
    ~Unloaded() override
    {
        if (handle != nullptr)
            dlclose(handle);
    }
    std::string LogPath(const std::string &name) const
    {
        return directory.path + "/log/" + name;
    }
    void LayLog(const std::string &name) const
    {
        fs::create_directory(directory.path + "/log");
        WriteFile(LogPath(name), "old\r\n");
    }
    void Load(const std::string &configIni)
    {
        if (!configIni.empty())
            WriteFile(directory.path + "/config.ini", configIni);
        handle = dlopen((directory.path + "/libvantor.so").c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, handle) << dlerror();
    }
};

} // namespace

TEST(StartUp, LogsTheVersionAtLoadAndTheEndAtUnload)
{
    const UnnamedLeaks unnamed;
    HostLibrary library(WithSetting(ShippedConfig(), "loglevel", "2"));
    EXPECT_EQ(kLoaded, LogMessages(library.Log()));
    library.Unload();
    EXPECT_EQ(std::string(kLoaded) + kUnloaded, LogMessages(library.Log()));
}

TEST(StartUp, WritesNeitherLineAtTheDefaultLevel)
{
    HostLibrary library;
    library.Unload();
    EXPECT_EQ("", library.Log());
}

TEST(StartUp, KeepsTheLogBesideTheLibraryUnderTodaysName)
{
    const time_t before = time(nullptr);
    HostLibrary library(WithSetting(ShippedConfig(), "loglevel", "2"));
    const time_t after = time(nullptr);
    EXPECT_TRUE(fs::exists(library.directory.path + "/log/" + LogName(before)) ||
                fs::exists(library.directory.path + "/log/" + LogName(after)));
}

TEST(StartUp, TakesTheLogLevelFromTheConfiguration)
{
    for (const char *level : {"0", "1", "2", "7"})
    {
        HostLibrary library(WithSetting(ShippedConfig(), "loglevel", level));
        EXPECT_EQ(level, std::to_string(VARIABLE(library, g_nGDbgLevel)));
    }
}

TEST(StartUp, SetsConfigurationAndLibraryDirectory)
{
    HostLibrary library(WithSetting(ShippedConfig(), "DevBaud", "57600"));
    char directory[1024] = {};
    EXPECT_EQ(0, CALL(library, GGetDllPath)(nullptr, directory));
    EXPECT_EQ(library.directory.path, directory);
    int baud = 0;
    CALL(library, GGetConfigInt)("devcfg", "DevBaud", 9600, &baud);
    EXPECT_EQ(57600, baud);
}

TEST(StartUp, NamesSerialPort1)
{
    HostLibrary library;
    EXPECT_STREQ("/dev/ttyAMA0", VARIABLE(library, g_szComName)[1]);
    EXPECT_STREQ("/dev/ttyS0", VARIABLE(library, g_szComName)[0]);
}

TEST(StartUp, StandsAtItsInitialValues)
{
    HostLibrary library;
    EXPECT_EQ(9600, VARIABLE(library, g_DevBaud));
    EXPECT_EQ(0, VARIABLE(library, g_IsCancelWait));
    EXPECT_EQ(0u, VARIABLE(library, context).isOpen);
}

TEST(StartUp, RunningAgainIsHarmless)
{
    const UnnamedLeaks unnamed;
    HostLibrary library(WithSetting(ShippedConfig(), "loglevel", "2"));
    CALL(library, my_init)();
    CALL(library, my_init)();
    EXPECT_EQ(std::string(kLoaded) + kLoaded + kLoaded, LogMessages(library.Log()));
    CALL(library, my_fini)();
    library.Unload();
    EXPECT_EQ(std::string(kLoaded) + kLoaded + kLoaded + kUnloaded + kUnloaded,
              LogMessages(library.Log()));
}

TEST_F(Unloaded, WithoutAConfigurationTheDefaultsHold)
{
    LayLog("qz_20200101.log");
    Load("");
    EXPECT_EQ(1, *static_cast<int32_t *>(dlsym(handle, "g_nGDbgLevel")));
    EXPECT_FALSE(fs::exists(LogPath("qz_20200101.log"))) << "15 days";
}

TEST_F(Unloaded, MakesTheLogDirectoryForEveryone)
{
    const mode_t mask = umask(0);
    Load(ShippedConfig());
    umask(mask);
    struct stat log = {};
    ASSERT_EQ(0, stat((directory.path + "/log").c_str(), &log));
    EXPECT_EQ(static_cast<mode_t>(S_IFDIR | 0777), log.st_mode);
}

TEST_F(Unloaded, OldLogFilesAreDeletedAtLoadAndOthersKept)
{
    const time_t now = time(nullptr);
    const std::string kept = LogName(now - 86400);
    LayLog("qz_20200101.log");
    LayLog(kept);
    LayLog("notes.txt");
    Load(WithSetting(ShippedConfig(), "saveday", "15"));
    EXPECT_FALSE(fs::exists(LogPath("qz_20200101.log")));
    EXPECT_TRUE(fs::exists(LogPath(kept)));
    EXPECT_TRUE(fs::exists(LogPath("notes.txt")));
}

TEST_F(Unloaded, ALogDirectoryThatCannotBeMadeDoesNotStopTheLoad)
{
    const UnnamedLeaks unnamed;
    WriteFile(directory.path + "/log", "a file in its place");
    Load(ShippedConfig());
    EXPECT_NE(nullptr, dlsym(handle, "BO_Open"));
    const auto errorCode = reinterpret_cast<int (*)(int)>(dlsym(handle, "BO_GetErrorCode"));
    EXPECT_EQ(-1000, errorCode(-2));
}

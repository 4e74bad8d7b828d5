#include <atomic>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "support/scratch.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace
{

// Calls of the system that fail, and with what; the calls below stand in front of the system's own.
struct Failure
{
    const char *call;
    int error;
};
Failure failing[2] = {};
int interruptions = 0; // reads that are interrupted before one goes through

bool Fails(const char *call)
{
    for (const Failure &failure : failing)
        if (failure.call != nullptr && strcmp(failure.call, call) == 0)
        {
            errno = failure.error;
            return true;
        }
    return false;
}

void Fail(const Failure &first, const Failure &second = {})
{
    failing[0] = first;
    failing[1] = second;
}

void NothingFails()
{
    Fail({});
}

template <typename Function>
Function *Real(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int rename(const char *from, const char *to) noexcept
{
    return Fails("rename") ? -1 : renameat(AT_FDCWD, from, AT_FDCWD, to);
}

extern "C" int fchown(int file, uid_t owner, gid_t group) noexcept
{
    return Fails("fchown") ? -1 : Real(&fchown, "fchown")(file, owner, group);
}

extern "C" int mkostemp(char *pattern, int flags)
{
    return Fails("mkostemp") ? -1 : Real(&mkostemp, "mkostemp")(pattern, flags);
}

extern "C" int posix_fallocate(int file, off_t offset, off_t length)
{
    return Fails("posix_fallocate")
               ? errno
               : Real(&posix_fallocate, "posix_fallocate")(file, offset, length);
}

extern "C" ssize_t write(int file, const void *bytes, size_t count)
{
    return Fails("write") ? -1 : Real(&write, "write")(file, bytes, count);
}

extern "C" ssize_t read(int file, void *bytes, size_t count)
{
    if (interruptions > 0)
    {
        interruptions--;
        errno = EINTR;
        return -1;
    }
    return Fails("read") ? -1 : Real(&read, "read")(file, bytes, count);
}

namespace
{

struct GConfigWrite : testing::Test
{
    Scratch scratch;
    std::string path = scratch.path + "/config.ini";

    GConfigWrite()
    {
        GSetConfigFilePath(path.c_str());
    }

    ~GConfigWrite() override
    {
        NothingFails();
        interruptions = 0;
    }

    // The content after the write of Iccmd in [devcfg].
    std::string Write(const std::string &before, const char *value)
    {
        WriteFile(path, before);
        EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", value));
        return ReadFile(path);
    }

    // Nothing but the file itself may lie in the directory.
    bool IsAlone() const
    {
        return std::distance(fs::directory_iterator(scratch.path), fs::directory_iterator()) == 1;
    }
};

using GConfigWriteInPlace = GConfigWrite;

const char kSettings[] = "; first\n\n[other]\nIccmd=7\n[devcfg]\n; about it\nDevBaud=9600\n"
                         "Iccmd=0\n\n;Iccmd\nIccmd=3\n[log]\r\nloglevel=1";

const char kSettingsWithOne[] = "; first\n\n[other]\nIccmd=7\n[devcfg]\n; about it\nDevBaud=9600\n"
                                "Iccmd=1\n\n;Iccmd\nIccmd=3\n[log]\r\nloglevel=1";

} // namespace

TEST_F(GConfigWrite, ReplacesTheFirstLineOfTheKeyAndNothingElse)
{
    EXPECT_EQ(kSettingsWithOne, Write(kSettings, "1"));
    EXPECT_TRUE(IsAlone());
}

TEST_F(GConfigWrite, SecondLineOfTheKeyStaysAndStillWins)
{
    EXPECT_EQ("[devcfg]\nIccmd=5\nIccmd=1\n", Write("[devcfg]\nIccmd=0\nIccmd=1\n", "5"));
    int value = 0;
    GGetConfigInt("devcfg", "Iccmd", 0, &value);
    EXPECT_EQ(1, value);
}

TEST_F(GConfigWrite, MissingKeyOrSectionLeavesTheFileAsItIs)
{
    for (const char *text : {"[devcfg]\nDevBaud=9600\n", "[devcfg]\n[log]\nIccmd=1\n",
                             "[log]\nIccmd=1\n", "", ";[devcfg]\nIccmd=1\n", "[devcfg]",
                             "[devcfg]\n Iccmd=1\n", "[devcfg]\nx=1\n[log]\n[devcfg]\nIccmd=1\n"})
        EXPECT_EQ(text, Write(text, "5"));
}

TEST_F(GConfigWrite, LineIsReplacedWhole)
{
    EXPECT_EQ("[devcfg]\nIccmd=5\n", Write("[devcfg]\nIccmd = 0 ; comment\r\n", "5"));
    EXPECT_EQ("[devcfg]\nIccmd=5\nx", Write("[devcfg]\nIccmd\nx", "5"));
    EXPECT_EQ("[devcfg]\nIccmd=5\n", Write("[devcfg]\nIccmd=0", "5"));
    EXPECT_EQ("[devcfg]\nIccmd=\n", Write("[devcfg]\nIccmd=0\n", ""));
}

TEST_F(GConfigWrite, KeyMatchesByItsBeginning)
{
    WriteFile(path, "[devcfg]\nIcBaud=9600\nIccmd=0\n");
    GSetConfigString("devcfg", "Ic", "1");
    EXPECT_EQ("[devcfg]\nIc=1\nIccmd=0\n", ReadFile(path));
}

TEST_F(GConfigWrite, LongerLineLosesItsFirst255Characters)
{
    EXPECT_EQ("[devcfg]\nIccmd=5\nrest\n",
              Write("[devcfg]\nIccmd=" + std::string(249, 'v') + "rest\n", "5"));
    const std::string head = "x=" + std::string(253, 'v');
    EXPECT_EQ("[devcfg]\n" + head + "Iccmd=5\n", Write("[devcfg]\n" + head + "Iccmd=0\n", "5"));
}

TEST_F(GConfigWrite, OverlongValueIsCutAt255Characters)
{
    EXPECT_EQ("[devcfg]\nIccmd=" + std::string(255, 'v') + "\nx=1\n",
              Write("[devcfg]\nIccmd=0\nx=1\n", std::string(300, 'v').c_str()));
}

TEST_F(GConfigWrite, BytesOfEveryKindAreCopiedThrough)
{
    std::string bytes;
    for (int i = 0; i < 3000; i++)
        bytes += static_cast<char>(i * 7 + i / 256);
    const std::string front = "x" + bytes + "\n";
    EXPECT_EQ(front + "[devcfg]\nIccmd=5\n" + bytes,
              Write(front + "[devcfg]\nIccmd=0\n" + bytes, "5"));
}

TEST_F(GConfigWrite, FileOfAnyLengthIsCopiedThrough)
{
    std::string lines;
    for (int i = 0; i < 25; i++)
        lines += "; line " + std::to_string(i) + "\n";
    EXPECT_EQ(lines + "[devcfg]\n" + lines + "Iccmd=5\n" + lines,
              Write(lines + "[devcfg]\n" + lines + "Iccmd=0\n" + lines, "5"));
    while (lines.size() < 5 * 1024 * 1024)
        lines += lines;
    EXPECT_TRUE(lines + "[devcfg]\n" + lines + "Iccmd=5\n" + lines ==
                Write(lines + "[devcfg]\n" + lines + "Iccmd=0\n" + lines, "5"));
}

TEST_F(GConfigWrite, NullArgumentsDoNothing)
{
    WriteFile(path, kSettings);
    EXPECT_EQ(0, GSetConfigString(nullptr, "Iccmd", "1"));
    EXPECT_EQ(0, GSetConfigString("devcfg", nullptr, "1"));
    EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", nullptr));
    EXPECT_EQ(-22, _IniWriteValue(nullptr, "Iccmd", "1", path.c_str()));
    EXPECT_EQ(-22, _IniWriteValue("devcfg", nullptr, "1", path.c_str()));
    EXPECT_EQ(-22, _IniWriteValue("devcfg", "Iccmd", nullptr, path.c_str()));
    EXPECT_EQ(-22, _IniWriteValue("devcfg", "Iccmd", "1", nullptr));
    EXPECT_EQ(kSettings, ReadFile(path));
}

TEST_F(GConfigWrite, FileThatCannotBeUpdatedIsLeftAlone)
{
    EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", "1"));
    EXPECT_FALSE(fs::exists(path));
    WriteFile(path, kSettings);
    fs::permissions(scratch.path, fs::perms(0777));
    fs::permissions(path, fs::perms(0444));
    EXPECT_EQ(0, ResultWithoutRights([] { return GSetConfigString("devcfg", "Iccmd", "1"); }));
    EXPECT_EQ(kSettings, ReadFile(path));
}

TEST_F(GConfigWrite, WhatIsNoFileIsLeftAlone)
{
    fs::create_directory(path);
    EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", "1"));
    EXPECT_EQ(0, _IniWriteValue("devcfg", "Iccmd", "1", "/dev/null"));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    fs::remove(path);
    ASSERT_EQ(0, mkfifo(path.c_str(), 0666));
    const int pipe = open(path.c_str(), O_RDWR);
    const std::string text = "[devcfg]\nIccmd=0\n";
    ASSERT_EQ(static_cast<ssize_t>(text.size()), write(pipe, text.data(), text.size()));
    EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", "1"));
    char bytes[64] = {};
    EXPECT_EQ(static_cast<ssize_t>(text.size()), read(pipe, bytes, sizeof(bytes)));
    EXPECT_EQ(text, bytes);
    close(pipe);
}

TEST_F(GConfigWrite, ModeStays)
{
    for (const unsigned mode : {0666U, 0640U, 0755U})
    {
        WriteFile(path, kSettings);
        fs::permissions(path, fs::perms(mode));
        GSetConfigString("devcfg", "Iccmd", "1");
        EXPECT_EQ(kSettingsWithOne, ReadFile(path));
        EXPECT_EQ(fs::perms(mode), fs::status(path).permissions());
    }
}

TEST_F(GConfigWrite, OwnerStays)
{
    WriteFile(path, kSettings);
    const bool mayGiveAway = geteuid() == 0;
    const uid_t owner = mayGiveAway ? 12345 : geteuid();
    const gid_t group = mayGiveAway ? 23456 : getegid();
    ASSERT_EQ(0, chown(path.c_str(), owner, group));
    GSetConfigString("devcfg", "Iccmd", "1");
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(owner, status.st_uid);
    EXPECT_EQ(group, status.st_gid);
    EXPECT_EQ(kSettingsWithOne, ReadFile(path));
}

TEST_F(GConfigWrite, LinkStaysALink)
{
    const std::string place = scratch.path + "/elsewhere";
    fs::create_directory(place);
    WriteFile(place + "/real.ini", kSettings);
    fs::create_symlink(place + "/real.ini", path);
    GSetConfigString("devcfg", "Iccmd", "1");
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(kSettingsWithOne, ReadFile(place + "/real.ini"));
}

TEST_F(GConfigWrite, NewFileTakesThePlaceOfTheOldOne)
{
    WriteFile(path, kSettings);
    const std::string old = scratch.path + "/old";
    fs::create_hard_link(path, old);
    GSetConfigString("devcfg", "Iccmd", "1");
    EXPECT_EQ(kSettings, ReadFile(old)); // no byte of the old file was touched
    EXPECT_EQ(kSettingsWithOne, ReadFile(path));
}

TEST_F(GConfigWrite, ReaderBesideAWriterNeverSeesTheFileMissing)
{
    WriteFile(path, kSettings);
    std::atomic<bool> ended{false};
    std::thread writer(
        [&]
        {
            for (int i = 0; i < 300; i++)
                GSetConfigString("other", "Iccmd", i % 2 == 0 ? "8" : "7");
            ended = true;
        });
    int reads = 0;
    int wrong = 0;
    do
    {
        int value = 0;
        GGetConfigInt("other", "Iccmd", -1, &value);
        wrong += value != 7 && value != 8;
        reads++;
    } while (!ended);
    writer.join();
    EXPECT_EQ(0, wrong) << "of " << reads;
    EXPECT_TRUE(IsAlone());
}

TEST_F(GConfigWriteInPlace, WhenTheNewFileCannotTakeThePlace)
{
    for (const Failure &failure : {Failure{"mkostemp", EACCES}, Failure{"rename", EBUSY}})
        for (const char *value : {"1", "", "a longer value"})
        {
            WriteFile(path, kSettings);
            Fail(failure);
            EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", value));
            NothingFails();
            std::string expected = kSettingsWithOne;
            expected.replace(expected.find("Iccmd=1"), 7, std::string("Iccmd=") + value);
            EXPECT_EQ(expected, ReadFile(path)) << failure.call;
            EXPECT_TRUE(IsAlone());
        }
}

TEST_F(GConfigWriteInPlace, WhenTheOwnerCannotBeKept)
{
    WriteFile(path, kSettings);
    const bool mayGiveAway = geteuid() == 0;
    const uid_t owner = mayGiveAway ? 12345 : geteuid();
    ASSERT_EQ(0, chown(path.c_str(), owner, static_cast<gid_t>(-1)));
    Fail({"fchown", EPERM});
    EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", "1"));
    NothingFails();
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(owner, status.st_uid);
    EXPECT_EQ(kSettingsWithOne, ReadFile(path));
    EXPECT_TRUE(IsAlone());
}

TEST_F(GConfigWriteInPlace, WhenTheDirectoryMayNotBeWritten)
{
    WriteFile(path, kSettings);
    fs::permissions(path, fs::perms(0666));
    fs::permissions(scratch.path, fs::perms(0555));
    EXPECT_EQ(0, ResultWithoutRights([] { return GSetConfigString("devcfg", "Iccmd", "1"); }));
    fs::permissions(scratch.path, fs::perms(0755));
    EXPECT_EQ(kSettingsWithOne, ReadFile(path));
}

TEST_F(GConfigWriteInPlace, FullDiskCostsNoByte)
{
    WriteFile(path, kSettings);
    for (const char *call : {"write", "mkostemp"})
    {
        Fail({call, ENOSPC}, {"posix_fallocate", ENOSPC});
        EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", "a longer value"));
        NothingFails();
        EXPECT_EQ(kSettings, ReadFile(path)) << call;
        EXPECT_TRUE(IsAlone());
    }
}

TEST_F(GConfigWriteInPlace, InterruptedReadIsRepeated)
{
    WriteFile(path, kSettings);
    interruptions = 2;
    int value = 0;
    GGetConfigInt("other", "Iccmd", -1, &value);
    EXPECT_EQ(7, value);
    EXPECT_EQ(0, interruptions);
}

TEST_F(GConfigWriteInPlace, FailingReadIsTheEndOfTheFile)
{
    WriteFile(path, kSettings);
    Fail({"read", EIO});
    int value = 0;
    GGetConfigInt("other", "Iccmd", -1, &value);
    EXPECT_EQ(-1, value);
    EXPECT_EQ(0, GSetConfigString("devcfg", "Iccmd", "1"));
    NothingFails();
    EXPECT_EQ(kSettings, ReadFile(path));
}

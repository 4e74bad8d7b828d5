// The file helpers and the digest of a file, on files of every awkward kind.
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support/scratch.h"
#include "unit/in_child.h"
#include "vantor/ciphers.h"

using testing_support::ReadFile;
using testing_support::ResultWithoutRights;
using testing_support::Scratch;
using testing_support::WriteFile;
namespace fs = std::filesystem;

// The library's stream calls come by here: the linker wraps them for this program.
extern "C" FILE *__real_fopen(const char *path, const char *mode);
extern "C" size_t __real_fread(void *bytes, size_t size, size_t count, FILE *file);
extern "C" size_t __real_fwrite(const void *bytes, size_t size, size_t count, FILE *file);

namespace
{

// Never destroyed: what a process writes at its very end, coverage counts for one, comes by here too.
std::string &g_mode = *new std::string;
std::vector<size_t> &g_pieces = *new std::vector<size_t>; // the sizes that were asked to be moved
size_t g_readsUntilFailure = SIZE_MAX;                    // then the disk gives nothing more
std::function<void()> &g_onRead = *new std::function<void()>;

} // namespace

extern "C" FILE *__wrap_fopen(const char *path, const char *mode)
{
    g_mode = mode;
    return __real_fopen(path, mode);
}

extern "C" size_t __wrap_fread(void *bytes, size_t size, size_t count, FILE *file)
{
    g_pieces.push_back(size * count);
    if (g_pieces.size() > g_readsUntilFailure)
        return 0;
    if (g_onRead)
        g_onRead();
    return __real_fread(bytes, size, count, file);
}

extern "C" size_t __wrap_fwrite(const void *bytes, size_t size, size_t count, FILE *file)
{
    g_pieces.push_back(size * count);
    return __real_fwrite(bytes, size, count, file);
}

namespace
{

const char kDigestOfNothing[] = "D41D8CD98F00B204E9800998ECF8427E";
constexpr int64_t kFourGib = 4294967296;

struct File : testing::Test
{
    Scratch scratch;
    std::string path = scratch.path + "/file";
    FILE *file = nullptr;

    File()
    {
        g_pieces.clear();
        g_readsUntilFailure = SIZE_MAX;
        g_onRead = nullptr;
    }
    ~File() override
    {
        g_onRead = nullptr;
        g_readsUntilFailure = SIZE_MAX;
        if (file != nullptr)
            GCloseFile(file);
    }

    void Open(int mode)
    {
        file = GOpenFile(path.c_str(), mode);
        ASSERT_NE(nullptr, file);
        g_pieces.clear();
    }

    std::string Md5() const
    {
        char text[33] = "";
        const int result = GGetFileMd5(path.c_str(), text, sizeof text);
        return result == 0 ? text : std::to_string(result);
    }

    // No block of it is on the disk.
    void Sparse(int64_t size) const
    {
        WriteFile(path, "");
        fs::resize_file(path, static_cast<uintmax_t>(size));
    }
};

std::string NameOf(const char *path, int capacity = 64)
{
    char name[64];
    memset(name, '#', sizeof name);
    EXPECT_EQ(0, GGetFileName(path, name, capacity));
    EXPECT_EQ('#', capacity < 64 ? name[capacity] : '#');
    return name;
}

} // namespace

TEST_F(File, ModeNumbersStandForTheStandardModes)
{
    const struct
    {
        int number;
        const char *mode;
    } rows[] = {{1, "rb"}, {3, "a+b"}, {4, "w+b"}, {5, "r"},   {6, "r+"},   {7, "a+"},
                {8, "w+"}, {0, "r+b"}, {2, "r+b"}, {9, "r+b"}, {-1, "r+b"}, {2147483647, "r+b"}};
    for (const auto &row : rows)
    {
        WriteFile(path, "x");
        FILE *opened = GOpenFile(path.c_str(), row.number);
        ASSERT_NE(nullptr, opened) << row.number;
        EXPECT_EQ(row.mode, g_mode) << row.number;
        EXPECT_EQ(0, GCloseFile(opened));
    }
}

TEST_F(File, WhatCannotBeOpenedGivesNull)
{
    EXPECT_EQ(nullptr, GOpenFile(nullptr, 1));
    EXPECT_EQ(nullptr, GOpenFile(path.c_str(), 1));
    EXPECT_EQ(nullptr, GOpenFile(path.c_str(), 2)) << "r+b makes no file";
    EXPECT_EQ(nullptr, GOpenFile(scratch.path.c_str(), 4)) << "a directory";
    EXPECT_EQ(-22, GCloseFile(nullptr));
}

TEST_F(File, ReadingGivesWhatThereIs)
{
    WriteFile(path, "0123456789");
    Open(1);
    char buffer[20];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(4, GReadFile(file, buffer, 4));
    EXPECT_EQ("0123####", std::string(buffer, 8));
    EXPECT_EQ(6, GReadFile(file, buffer, 16));
    EXPECT_EQ("456789##", std::string(buffer, 8));
    EXPECT_EQ(-99, GReadFile(file, buffer, 16)) << "nothing is left";
}

TEST_F(File, ReadingMovesPiecesOf65536Bytes)
{
    std::string text;
    for (int i = 0; text.size() < 150000; i++)
        text += std::to_string(i);
    text.resize(150000);
    WriteFile(path, text);
    Open(1);
    std::string buffer(200000, '#');
    EXPECT_EQ(150000, GReadFile(file, buffer.data(), 200000));
    EXPECT_EQ(text + std::string(50000, '#'), buffer);
    EXPECT_EQ((std::vector<size_t>{65536, 65536, 65536}), g_pieces) << "the third came short";
}

TEST_F(File, ReadingRefusesBadArguments)
{
    WriteFile(path, "0123456789");
    Open(1);
    char buffer[4];
    EXPECT_EQ(-22, GReadFile(nullptr, buffer, 4));
    EXPECT_EQ(-22, GReadFile(file, nullptr, 4));
    EXPECT_EQ(-22, GReadFile(file, buffer, -1));
    EXPECT_EQ(-99, GReadFile(file, buffer, 0));
    EXPECT_EQ(-99, GReadFile(file, buffer, -2));
    EXPECT_EQ(4, GReadFile(file, buffer, 4)) << "nothing was read before";
}

TEST_F(File, EmptyFilesAndDirectoriesGiveNothingToRead)
{
    char buffer[4];
    WriteFile(path, "");
    Open(1);
    EXPECT_EQ(-99, GReadFile(file, buffer, 4));
    FILE *directory = GOpenFile(scratch.path.c_str(), 1);
    ASSERT_NE(nullptr, directory);
    EXPECT_EQ(-99, GReadFile(directory, buffer, 4));
    EXPECT_EQ(0, GCloseFile(directory));
}

TEST_F(File, WritingIsFlushedBeforeTheCallReturns)
{
    Open(4);
    EXPECT_EQ(5, GWriteFile(file, "abcde", 5));
    EXPECT_EQ("abcde", ReadFile(path));
    EXPECT_EQ(3, GWriteFile(file, "fgh", 3));
    EXPECT_EQ("abcdefgh", ReadFile(path));
}

TEST_F(File, WritingMovesPiecesOf65536Bytes)
{
    std::string text;
    for (int i = 0; text.size() < 150000; i++)
        text += std::to_string(i);
    text.resize(150000);
    Open(4);
    EXPECT_EQ(150000, GWriteFile(file, text.data(), 150000));
    EXPECT_EQ(text, ReadFile(path));
    EXPECT_EQ((std::vector<size_t>{65536, 65536, 18928}), g_pieces);
}

TEST_F(File, WritingRefusesBadArguments)
{
    Open(4);
    EXPECT_EQ(-22, GWriteFile(nullptr, "abc", 3));
    EXPECT_EQ(-22, GWriteFile(file, nullptr, 3));
    EXPECT_EQ(-22, GWriteFile(file, "abc", -1));
    EXPECT_EQ(-99, GWriteFile(file, "abc", 0));
    EXPECT_EQ(-99, GWriteFile(file, "abc", -2));
    EXPECT_EQ("", ReadFile(path));
}

TEST_F(File, WhatCannotBeWrittenIsNoSuccess)
{
    WriteFile(path, "old");
    Open(1); // for reading only
    EXPECT_EQ(-99, GWriteFile(file, "abc", 3));
    EXPECT_EQ("old", ReadFile(path));
    FILE *full = GOpenFile("/dev/full", 4);
    ASSERT_NE(nullptr, full);
    EXPECT_EQ(-99, GWriteFile(full, "abc", 3)) << "it stays in the stream's buffer";
    fclose(full);
}

TEST_F(File, SizesAreExactAlsoAbove4Gib)
{
    EXPECT_EQ(0, GGetFileSize(path.c_str())) << "missing";
    EXPECT_EQ(-22, GGetFileSize(nullptr));
    WriteFile(path, "");
    EXPECT_EQ(0, GGetFileSize(path.c_str()));
    WriteFile(path, "abc");
    EXPECT_EQ(3, GGetFileSize(path.c_str()));
    for (int64_t size : {kFourGib / 2, kFourGib - 1, kFourGib, kFourGib + 1, 5 * kFourGib + 12345})
    {
        Sparse(size);
        EXPECT_EQ(size, GGetFileSize(path.c_str()));
    }
    struct stat status;
    ASSERT_EQ(0, stat(scratch.path.c_str(), &status));
    EXPECT_EQ(status.st_size, GGetFileSize(scratch.path.c_str())) << "a directory";
}

TEST(FileName, IsWhatFollowsTheLastSeparator)
{
    EXPECT_EQ("photo.bmp", NameOf("/tmp/photo.bmp"));
    EXPECT_EQ("photo.bmp", NameOf("C:\\cards\\photo.bmp"));
    EXPECT_EQ("photo.bmp", NameOf("/tmp\\cards/photo.bmp"));
    EXPECT_EQ("photo.bmp", NameOf("/tmp/cards\\photo.bmp"));
    EXPECT_EQ("photo.bmp", NameOf("photo.bmp"));
    EXPECT_EQ("", NameOf("/tmp/"));
    EXPECT_EQ("", NameOf("C:\\"));
    EXPECT_EQ("", NameOf(""));
}

TEST(FileName, IsCutAtTheCapacity)
{
    EXPECT_EQ("photo.bm", NameOf("/tmp/photo.bmp", 9));
    EXPECT_EQ("photo.bmp", NameOf("/tmp/photo.bmp", 10));
    EXPECT_EQ("", NameOf("/tmp/photo.bmp", 1));
}

TEST(FileName, BadArgumentsAreRefused)
{
    char name[8] = "#";
    EXPECT_EQ(-22, GGetFileName(nullptr, name, 8));
    EXPECT_EQ(-22, GGetFileName("/tmp/a", nullptr, 8));
    EXPECT_EQ(-22, GGetFileName("/tmp/a", name, 0));
    EXPECT_EQ(-22, GGetFileName("/tmp/a", name, -1));
    EXPECT_STREQ("#", name);
}

TEST(LocalFilePath, IsNeverGiven)
{
    char out[8] = "#";
    EXPECT_EQ(-22, GGetLocalFilePath(nullptr, 8, "a"));
    EXPECT_EQ(-22, GGetLocalFilePath(out, 0, "a"));
    EXPECT_EQ(-22, GGetLocalFilePath(out, -1, "a"));
    EXPECT_EQ(-99, GGetLocalFilePath(out, 8, "a"));
    EXPECT_EQ(-99, GGetLocalFilePath(out, 8, nullptr));
    EXPECT_STREQ("#", out);
}

TEST_F(File, DigestOfItsContents)
{
    WriteFile(path, "abc");
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", Md5());
    WriteFile(path, std::string(10000, 'a'));
    g_pieces.clear();
    EXPECT_EQ("0D0C9C4DB6953FEE9E03F528CAFD7D3E", Md5());
    EXPECT_EQ((std::vector<size_t>{4096, 4096, 4096}), g_pieces);
    WriteFile(path, std::string(4096, 'a'));
    g_pieces.clear();
    EXPECT_EQ("21A199C53F422A380E20B162FB6EBE9C", Md5());
    EXPECT_EQ((std::vector<size_t>{4096}), g_pieces) << "the size is reached: no further read";
    EXPECT_EQ("rb", g_mode);
}

TEST_F(File, DigestOfNothing)
{
    WriteFile(path, "");
    EXPECT_EQ(kDigestOfNothing, Md5());
    fs::remove(path);
    fs::create_directory(path);
    EXPECT_EQ(kDigestOfNothing, Md5()) << "a directory opens, and gives nothing";
}

TEST_F(File, DigestOfWhatCannotBeOpenedIsMinus99)
{
    EXPECT_EQ("-99", Md5()) << "missing";
    WriteFile(path, "abc");
    fs::permissions(scratch.path, fs::perms(0755));
    fs::permissions(path, fs::perms(0));
    EXPECT_EQ(99, ResultWithoutRights([this] { return Md5() == "-99" ? 99 : 1; }));
}

TEST_F(File, DigestGoesByTheWholeSizeAbove4Gib)
{
    // By the low 32 bits of its size the first piece would be all of it. The disk fails after
    // three, so that nobody waits for a million.
    Sparse(kFourGib + 1);
    g_pieces.clear();
    g_readsUntilFailure = 3;
    EXPECT_EQ("4072783B8EFB99A9E5817067D68F61C6", Md5()) << "of 12288 zero bytes";
}

TEST_F(File, DigestOfAFileThatGrowsEndsAtTheSizeItHad)
{
    WriteFile(path, std::string(4096, 'a'));
    g_onRead = [this]
    {
        const int more = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        EXPECT_EQ(4, write(more, "more", 4));
        close(more);
    };
    EXPECT_EQ("21A199C53F422A380E20B162FB6EBE9C", Md5());
}

TEST_F(File, DigestRefusesBadArguments)
{
    WriteFile(path, "abc");
    char text[40];
    memset(text, '#', sizeof text);
    EXPECT_EQ(-22, GGetFileMd5(nullptr, text, 33));
    EXPECT_EQ(-22, GGetFileMd5(path.c_str(), nullptr, 33));
    for (int capacity : {31, 0, -1})
        EXPECT_EQ(-22, GGetFileMd5(path.c_str(), text, capacity));
    EXPECT_EQ('#', text[0]);
    EXPECT_EQ(0, GGetFileMd5(path.c_str(), text, 32));
    EXPECT_STREQ("900150983CD24FB0D6963F7D28E17F72", text);
}

#include <climits>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <vector>

#include "support/scratch.h"
#include "support/system_calls.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace
{

struct GConfigTest : testing::Test
{
    Scratch scratch;
    std::string path = scratch.path + "/config.ini";

    GConfigTest()
    {
        GSetConfigFilePath(path.c_str());
    }

    // The text of a key of [devcfg] in a file of that content, "(default)" when it is not there.
    std::string Read(const std::string &file, const char *key)
    {
        WriteFile(path, file);
        return ReadAgain("devcfg", key);
    }

    static std::string ReadAgain(const char *section, const char *key)
    {
        char value[256] = {};
        EXPECT_EQ(0, GGetConfigString(section, key, "(default)", value, 256));
        return value;
    }

    static int Number(const char *section, const char *key, int defaultValue)
    {
        int value = 987654;
        EXPECT_EQ(0, GGetConfigInt(section, key, defaultValue, &value));
        return value;
    }
};

using GConfigInt = GConfigTest;
using GConfigString = GConfigTest;
using GConfigSearch = GConfigTest;
using GConfigFile = GConfigTest;

} // namespace

TEST_F(GConfigInt, ConvertsAsAtoiDoes)
{
    const struct
    {
        const char *text;
        int number;
    } rows[] = {{"5", 5},    {" 5", 5},           {"\t 12 ", 12}, {"-3", -3},
                {"+4", 4},   {"115200x", 115200}, {"x1", 0},      {"", 0},
                {"0x10", 0}, {"007", 7},          {"1.9", 1},     {"2147483647", INT_MAX}};
    for (const auto &row : rows)
    {
        WriteFile(path, std::string("[devcfg]\nIccmd=") + row.text + "\n");
        EXPECT_EQ(row.number, Number("devcfg", "Iccmd", 42)) << row.text;
    }
}

TEST_F(GConfigInt, BlanksAroundTheEqualsSignStayAndAtoiSkipsThem)
{
    EXPECT_EQ(" 5", Read("[devcfg]\nIccmd = 5\n", "Iccmd"));
    EXPECT_EQ(5, Number("devcfg", "Iccmd", 42));
}

TEST_F(GConfigInt, MissingSectionOrKeyGivesTheDefault)
{
    WriteFile(path, "[devcfg]\nDevBaud=9600\n[log]\nIccmd=1\n");
    for (const int defaultValue : {0, 1, -7, INT_MIN, INT_MAX})
    {
        EXPECT_EQ(defaultValue, Number("devcfg", "Iccmd", defaultValue));
        EXPECT_EQ(defaultValue, Number("other", "DevBaud", defaultValue));
    }
}

TEST_F(GConfigInt, NullSectionOrKeyGivesTheDefaultWithoutTouchingTheFile)
{
    WriteFile(path, "[devcfg]\nIccmd=1\n");
    EXPECT_EQ(7, Number(nullptr, "Iccmd", 7));
    EXPECT_EQ(7, Number("devcfg", nullptr, 7));
    int value = 0;
    EXPECT_TRUE(SystemCallsOf([&] { GGetConfigInt(nullptr, "Iccmd", 7, &value); }).empty());
}

TEST_F(GConfigInt, NullValueIsRefused)
{
    EXPECT_EQ(-22, GGetConfigInt("devcfg", "Iccmd", 7, nullptr));
}

TEST_F(GConfigInt, KeyLineWithoutEqualsSignGivesZeroNotTheDefault)
{
    WriteFile(path, "[devcfg]\nIccmd\n");
    EXPECT_EQ(0, Number("devcfg", "Iccmd", 42));
}

TEST_F(GConfigInt, CostsThreeSystemCalls)
{
    WriteFile(path, ReadFile(VANTOR_SOURCE_DIR "/config/config.ini"));
    const std::vector<long> expected = {SYS_openat, SYS_read, SYS_close};
    int value = 0;
    EXPECT_EQ(expected, SystemCallsOf([&] { GGetConfigInt("devcfg", "Iccmd", 7, &value); }));
    EXPECT_EQ(expected, SystemCallsOf([&] { GGetConfigInt("log", "saveday", 7, &value); }));
    EXPECT_EQ(expected, SystemCallsOf([&] { GGetConfigInt("none", "saveday", 7, &value); }));
}

TEST_F(GConfigString, NullArgumentsGiveTheDefault)
{
    WriteFile(path, "[devcfg]\nIccmd=1\n");
    char value[256] = {};
    EXPECT_EQ(0, GGetConfigString(nullptr, "Iccmd", "first", value, 256));
    EXPECT_STREQ("first", value);
    EXPECT_EQ(0, GGetConfigString("devcfg", nullptr, "second", value, 256));
    EXPECT_STREQ("second", value);
    EXPECT_EQ(0, GGetConfigString("devcfg", "Iccmd", nullptr, value, 256));
    EXPECT_STREQ("second", value);
    EXPECT_EQ(0, GGetConfigString("devcfg", "Iccmd", "third", nullptr, 256));
}

TEST_F(GConfigString, SizeIsNotConsulted)
{
    WriteFile(path, "[devcfg]\nIccmd=12345\n");
    char value[256] = {};
    for (const int size : {0, 1, -1})
    {
        EXPECT_EQ(0, GGetConfigString("devcfg", "Iccmd", "x", value, size));
        EXPECT_STREQ("12345", value);
    }
}

TEST_F(GConfigString, OverlongDefaultIsCutAt255Characters)
{
    char value[257];
    for (const char *section : {static_cast<const char *>(nullptr), "devcfg"})
    {
        memset(value, 'x', sizeof(value));
        GGetConfigString(section, "Iccmd", std::string(300, 'd').c_str(), value, 256);
        EXPECT_EQ(std::string(255, 'd'), value);
        EXPECT_EQ('x', value[256]);
    }
}

TEST_F(GConfigString, LongestValueFitsItsBuffer)
{
    char value[257];
    memset(value, 'x', sizeof(value));
    WriteFile(path, "[devcfg]\nk=" + std::string(253, 'v'));
    GGetConfigString("devcfg", "k", "", value, 256);
    EXPECT_EQ(std::string(253, 'v'), value);
    GGetConfigString("devcfg", "", "", value, 256); // the empty key, the longest value of all
    EXPECT_EQ(std::string(253, 'v'), value);
    WriteFile(path, "[devcfg]\n=" + std::string(300, 'v'));
    GGetConfigString("devcfg", "", "", value, 256);
    EXPECT_EQ(std::string(254, 'v'), value);
    EXPECT_EQ('x', value[256]);
}

TEST_F(GConfigString, LineWithoutEqualsSignLeavesTheValueAsItWas)
{
    WriteFile(path, "[devcfg]\nIccmd\nIccmd=2\n");
    char value[256] = "before";
    EXPECT_EQ(0, GGetConfigString("devcfg", "Iccmd", "default", value, 256));
    EXPECT_STREQ("before", value); // and the search ended there
    WriteFile(path, "[devcfg]\nIccmd=1\nIccmd\nIccmd=2\n");
    EXPECT_EQ(0, GGetConfigString("devcfg", "Iccmd", "default", value, 256));
    EXPECT_STREQ("1", value);
}

TEST_F(GConfigSearch, EverythingBehindTheEqualsSignIsTheValue)
{
    EXPECT_EQ("1=2; 3 ", Read("[devcfg]\nIccmd=1=2; 3 \n", "Iccmd"));
    EXPECT_EQ("", Read("[devcfg]\nIccmd=\n", "Iccmd"));
    EXPECT_EQ("1", Read("[devcfg]\nIccmd behind the key=1\n", "Iccmd"));
}

TEST_F(GConfigSearch, LastLineOfTheSectionWins)
{
    EXPECT_EQ("1", Read("[devcfg]\nIccmd=0\nother=5\nIccmd=1\n[log]\nIccmd=9\n", "Iccmd"));
}

TEST_F(GConfigSearch, KeyMatchesByItsBeginning)
{
    const char *file = "[devcfg]\nIcBaud=9600\n";
    EXPECT_EQ("9600", Read(file, "Ic"));
    EXPECT_EQ("9600", Read(file, "IcBaud"));
    EXPECT_EQ("(default)", Read(file, "IcBaud9"));
    EXPECT_EQ("(default)", Read(file, "icbaud"));
    EXPECT_EQ("(default)", Read(file, "Baud"));
    EXPECT_EQ("1", Read("[devcfg]\nIcBaud=9600\nIccmd=1\n", "Ic"));
}

TEST_F(GConfigSearch, KeyStartsInTheFirstColumn)
{
    EXPECT_EQ("(default)", Read("[devcfg]\n Iccmd=1\n\tIccmd=2\n", "Iccmd"));
}

TEST_F(GConfigSearch, EqualsSignCountsOnlyBehindTheKey)
{
    EXPECT_EQ("2", Read("[devcfg]\na=b=2\n", "a=b"));
    EXPECT_EQ("(default)", Read("[devcfg]\na=1\n", "a=b"));
}

TEST_F(GConfigSearch, EmptyKeyMatchesEveryLine)
{
    EXPECT_EQ("2", Read("[devcfg]\na=1\nb=2\n[log]\nc=3\n", ""));
}

TEST_F(GConfigSearch, SectionMatchesByItsBeginningInItsCase)
{
    EXPECT_EQ("1", Read("[devcfg] and more\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("(default)", Read("[DEVCFG]\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("(default)", Read(" [devcfg]\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("(default)", Read("[devcfg2]\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("(default)", Read("[dev", "Iccmd"));
    WriteFile(path, "[]\nIccmd=3\n");
    EXPECT_EQ("3", ReadAgain("", "Iccmd"));
}

TEST_F(GConfigSearch, OnlyTheFirstSectionOfTheNameIsSearched)
{
    EXPECT_EQ("(default)", Read("[devcfg]\n[log]\n[devcfg]\nIccmd=1\n", "Iccmd"));
}

TEST_F(GConfigSearch, AnyBracketInTheFirstColumnEndsTheSection)
{
    EXPECT_EQ("(default)", Read("[devcfg]\n[\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("1", Read("[devcfg]\n [log]\nIccmd=1\n", "Iccmd"));
}

TEST_F(GConfigSearch, CommentsAreSkippedOnlyWhileTheSectionIsSought)
{
    EXPECT_EQ("1", Read(";[devcfg]\nIccmd=9\n\n\r\n[devcfg]\n;Iccmd=8\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("8", Read("[devcfg]\n;Iccmd=8\n", ";Iccmd"));
}

TEST_F(GConfigSearch, KeyInFrontOfEverySectionIsNotFound)
{
    EXPECT_EQ("(default)", Read("Iccmd=1\n[devcfg]\n", "Iccmd"));
}

TEST_F(GConfigFile, LastLineNeedsNoLineFeed)
{
    EXPECT_EQ("115200", Read("[devcfg]\nIccmd=115200", "Iccmd"));
}

TEST_F(GConfigFile, CarriageReturnEndsTheValue)
{
    EXPECT_EQ("1", Read("[devcfg]\r\nIccmd=1\r\n[log]\r\n", "Iccmd"));
    EXPECT_EQ("1", Read("[devcfg]\nIccmd=1\r2\n", "Iccmd"));
}

TEST_F(GConfigFile, NulEndsTheTextOfALineButNotTheLine)
{
    const auto text = [](const char *bytes, size_t size) { return std::string(bytes, size); };
    EXPECT_EQ("1", Read(text("[devcfg]\nIccmd=1\0002\n", 19), "Iccmd"));
    EXPECT_EQ("2", Read(text("[devcfg]\n\0Iccmd=1\nIccmd=2\n", 26), "Iccmd"));
    EXPECT_EQ("", Read(text("[devcfg]\nIccmd\0=1\nIccmd=2\n", 26), "Iccmd")); // no "=" to be seen
    EXPECT_EQ("3", Read(text("\0[devcfg]\nIccmd=2\n[devcfg]\nIccmd=3\n", 35), "Iccmd"));
}

TEST_F(GConfigFile, LineOf255CharactersIsOneLine)
{
    const std::string line = "Iccmd=" + std::string(249, 'v');
    EXPECT_EQ(std::string(249, 'v'), Read("[devcfg]\n" + line + "\n", "Iccmd"));
    // Its line feed is read as a line of its own and does no harm.
    EXPECT_EQ("1", Read("[devcfg]\n" + line + "\nIccmd=1\n", "Iccmd"));
}

TEST_F(GConfigFile, LongerLineIsSeenAsSeveralLines)
{
    const std::string head = "x=" + std::string(253, 'v');
    EXPECT_EQ("7", Read("[devcfg]\n" + head + "Iccmd=7\n", "Iccmd"));
    EXPECT_EQ("(default)", Read("[devcfg]\n" + head + "vIccmd=7\n", "Iccmd"));
    EXPECT_EQ("7", Read("[devcfg]\n" + head + head + "Iccmd=7\n", "Iccmd"));
    EXPECT_EQ("8", Read(";" + std::string(254, 'c') + "[devcfg]\nIccmd=8\n", "Iccmd"));
    EXPECT_EQ("(default)", Read("[devcfg]\n" + head + "[no section]\nIccmd=9\n", "Iccmd"));
    EXPECT_EQ(std::string(249, 'v'),
              Read("[devcfg]\nIccmd=" + std::string(600, 'v') + "\n", "Iccmd"));
}

TEST_F(GConfigFile, OverlongNamesAreNotFound)
{
    const std::string name(300, 'n');
    WriteFile(path, "[" + name + "]\n" + name + "=1\n[s]\n" + name + "=1\n");
    EXPECT_EQ("(default)", ReadAgain(name.c_str(), "n"));
    EXPECT_EQ("(default)", ReadAgain("s", name.c_str()));
    EXPECT_EQ(0, GSetConfigString("s", name.c_str(), "2"));
    EXPECT_EQ("[" + name + "]\n" + name + "=1\n[s]\n" + name + "=1\n", ReadFile(path));
}

// Files whose lines lie across the borders of the pieces in which the file is read.
TEST_F(GConfigFile, LengthOfWhatStandsInFrontDoesNotMatter)
{
    for (size_t length = 4000; length < 4110; length++)
    {
        std::string front(length, 'x');
        for (size_t at = 49; at < length; at += 50)
            front[at] = '\n';
        front.back() = '\n';
        ASSERT_EQ("12345", Read(front + "[devcfg]\nother=1\nIccmd=12345\n[log]\n", "Iccmd"))
            << length;
        ASSERT_EQ("12345", Read("[devcfg]\n" + front + "Iccmd=12345", "Iccmd")) << length;
    }
}

TEST_F(GConfigFile, TenMegabytesAreSearchedToTheEnd)
{
    std::string text = "[log]\nsaveday=3\n[devcfg]\nIccmd=0\n";
    while (text.size() < 10 * 1024 * 1024)
        text += "; a comment that stands here again and again\n";
    EXPECT_EQ("1", Read(text + "Iccmd=1\n", "Iccmd"));
    EXPECT_EQ("0", Read(text + "[x]\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ(std::string(249, 'v'),
              Read("[devcfg]\nIccmd=" + std::string(10000000, 'v'), "Iccmd"));
}

TEST_F(GConfigFile, BinaryFileGivesTheDefault)
{
    std::string bytes;
    unsigned state = 1;
    for (int i = 0; i < 100000; i++)
    {
        state = state * 1103515245 + 12345;
        bytes += static_cast<char>(state >> 16);
    }
    EXPECT_EQ("(default)", Read(bytes, "Iccmd"));
    EXPECT_EQ("(default)", Read("", "Iccmd"));
    EXPECT_EQ("(default)", Read(std::string(5000, '\0'), "Iccmd"));
}

TEST_F(GConfigFile, MissingFileGivesTheDefaultAndIsNotMade)
{
    EXPECT_EQ("(default)", ReadAgain("devcfg", "Iccmd"));
    EXPECT_EQ(5, Number("devcfg", "Iccmd", 5));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(GConfigFile, DirectoryInItsPlaceGivesTheDefault)
{
    fs::create_directory(path);
    EXPECT_EQ("(default)", ReadAgain("devcfg", "Iccmd"));
}

TEST_F(GConfigFile, MustBeReadableAndWritable)
{
    WriteFile(path, "[devcfg]\nIccmd=1\n");
    fs::permissions(scratch.path, fs::perms(0755));
    const auto read = [] { return Number("devcfg", "Iccmd", 99); };
    const struct
    {
        unsigned mode;
        int value;
    } rows[] = {{0666, 1}, {0444, 99}, {0222, 99}, {0, 99}};
    for (const auto &row : rows)
    {
        fs::permissions(path, fs::perms(row.mode));
        EXPECT_EQ(row.value, ResultWithoutRights(read)) << std::oct << row.mode;
    }
}

TEST_F(GConfigFile, EditCountsFromTheNextCallOn)
{
    EXPECT_EQ("1", Read("[devcfg]\nIccmd=1\n", "Iccmd"));
    EXPECT_EQ("2", Read("[devcfg]\nIccmd=2\n", "Iccmd"));
}

TEST_F(GConfigFile, ShippedSettingsHaveTheirDefaults)
{
    WriteFile(path, ReadFile(VANTOR_SOURCE_DIR "/config/config.ini"));
    EXPECT_EQ("9600", ReadAgain("devcfg", "DevBaud"));
    EXPECT_EQ("9600", ReadAgain("devcfg", "IdBaud"));
    EXPECT_EQ("9600", ReadAgain("devcfg", "IcBaud"));
    EXPECT_EQ("0", ReadAgain("devcfg", "Iccmd"));
    EXPECT_EQ("0", ReadAgain("devcfg", "devtype"));
    EXPECT_EQ("1", ReadAgain("devcfg", "IdChange"));
    EXPECT_EQ("1", ReadAgain("log", "loglevel"));
    EXPECT_EQ("15", ReadAgain("log", "saveday"));
}

TEST(GConfigPath, IsCutAt1023Characters)
{
    EXPECT_EQ(-22, GSetConfigFilePath(nullptr));
    const Scratch scratch;
    std::string directory = scratch.path;
    while (directory.size() < 1012)
        directory += "/.";
    directory.resize(1012); // a slash at its end or not: both name the scratch directory
    const std::string path = (directory + "/config.ini").substr(0, 1023);
    ASSERT_EQ(1023U, path.size());
    WriteFile(path, "[devcfg]\nIccmd=1\n");
    int value = 0;
    GSetConfigFilePath((path + ".cut").c_str());
    GGetConfigInt("devcfg", "Iccmd", 0, &value);
    EXPECT_EQ(1, value);
}

TEST(GDllPath, KeepsTheDirectory)
{
    char directory[1025];
    EXPECT_EQ(-22, GSetDllPath(nullptr));
    EXPECT_EQ(-22, GGetDllPath("", nullptr));
    EXPECT_EQ(0, GSetDllPath("/usr/lib/vantor"));
    EXPECT_EQ(0, GGetDllPath("not consulted", directory));
    EXPECT_STREQ("/usr/lib/vantor", directory);
    memset(directory, 'x', sizeof(directory));
    EXPECT_EQ(0, GSetDllPath(std::string(2000, 'd').c_str()));
    EXPECT_EQ(0, GGetDllPath(nullptr, directory));
    EXPECT_EQ(std::string(1023, 'd'), directory);
    EXPECT_EQ('x', directory[1024]);
}

TEST(IniReadValue, TakesAPathOfTheCallers)
{
    const Scratch scratch;
    const std::string path = scratch.path + "/other.ini";
    WriteFile(path, "[devcfg]\nIccmd=1\n");
    char value[256] = {};
    EXPECT_EQ(0, _IniReadValue("devcfg", "Iccmd", "x", value, path.c_str()));
    EXPECT_STREQ("1", value);
    EXPECT_EQ(0, _IniReadValue("devcfg", "none", "x", value, path.c_str()));
    EXPECT_STREQ("x", value);
}

TEST(IniReadValue, RefusesNullArguments)
{
    char value[256] = {};
    EXPECT_EQ(-22, _IniReadValue(nullptr, "k", "x", value, "p"));
    EXPECT_EQ(-22, _IniReadValue("s", nullptr, "x", value, "p"));
    EXPECT_EQ(-22, _IniReadValue("s", "k", nullptr, value, "p"));
    EXPECT_EQ(-22, _IniReadValue("s", "k", "x", nullptr, "p"));
    EXPECT_EQ(-22, _IniReadValue("s", "k", "x", value, nullptr));
    EXPECT_STREQ("", value);
}

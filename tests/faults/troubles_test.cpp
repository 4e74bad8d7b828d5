// A full disk, a directory that may not be written, a log directory that vanishes, settings that
// are replaced or cut while the host runs; and what single faults once did.
#include <cstring>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

#include "faults/fault_bench.h"
#include "standins/photo/photo_room.h"
#include "vantor/business.h"
#include "vantor/ciphers.h"
#include "vantor/identity_cards.h"
#include "vantor/identity_operations.h"
#include "vantor/support.h"

using namespace faults;
using library_calls::AllWell;
using library_calls::Always;
using testing_support::ReadFile;
using testing_support::ShippedConfig;
using testing_support::WithSetting;
using testing_support::WriteFile;

namespace
{

namespace fs = std::filesystem;

std::string WithLevel(const char *level)
{
    return WithSetting(ShippedConfig(), "loglevel", level);
}

// A host whose reader is open. What was denied is granted again in the end.
struct OpenHost : Host
{
    explicit OpenHost(const std::string &configIni = ShippedConfig(),
                      const std::string &profile = "default")
        : Host(Line::Serial, configIni, profile, "")
    {
        EXPECT_EQ(0, Open());
    }
    ~OpenHost()
    {
        AllWell();
        if (!library_calls::LocksHeld().empty())
            library_calls::LetGo(library_calls::LocksHeld()[0]);
        CALL(library, GSetLogLevel)(0);
        CALL(library, BO_Close)();
    }

    int Info() const
    {
        unsigned char info[256];
        uint32_t length = 0;
        return CALL(library, BO_GetDevInfo)(0, info, &length);
    }
    int Number(const char *key, int defaultValue) const
    {
        int value = -1;
        CALL(library, GGetConfigInt)("devcfg", key, defaultValue, &value);
        return value;
    }
    void Set(const char *key, const char *value) const
    {
        CALL(library, GSetConfigString)("devcfg", key, value);
    }
    // The log's lock is documented to stay taken behind a file that could not be opened.
    bool LogLockIsHeld() const
    {
        const std::vector<void *> held = library_calls::LocksHeld();
        return held == std::vector<void *>{&VARIABLE(library, fileMutex)};
    }
    std::vector<std::string> FilesBesideTheLibrary() const
    {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(library.directory.path))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
};

const std::vector<std::string> kOwnFiles = {"config.ini", "libvantor.so", "log"};

// Nothing more can be written, anywhere.
void FillTheDisk()
{
    for (const char *call : {"write", "mkostemp", "posix_fallocate", "fwrite", "fflush"})
        Always(call, "ENOSPC");
    library_calls::NoNewFiles("ENOSPC");
}

// No file comes or goes in any directory.
void ForbidDirectories()
{
    for (const char *call : {"mkostemp", "rename", "unlink", "mkdir", "remove"})
        Always(call, "EACCES");
    library_calls::NoNewFiles("ENOSPC");
}

} // namespace

// ---- A full disk ----

TEST(FullDisk, SettingsStayAsTheyWere)
{
    const OpenHost host;
    FillTheDisk();
    host.Set("DevBaud", "115200");
    host.Set("IdBaud", "1");
    AllWell();
    EXPECT_EQ(ShippedConfig(), host.library.Config());
    EXPECT_EQ(kOwnFiles, host.FilesBesideTheLibrary());
    host.Set("DevBaud", "115200");
    EXPECT_EQ(WithSetting(ShippedConfig(), "DevBaud", "115200"), host.library.Config());
}

// Whichever call meets the full disk: the copy, its flush, the room in place, the copy's new name.
TEST(FullDisk, SettingsAreOldOrNewWhereverItBegins)
{
    const std::string changed = WithSetting(ShippedConfig(), "DevBaud", "115200");
    for (const char *call : {"write", "fsync", "posix_fallocate", "mkostemp", "rename"})
    {
        const OpenHost host;
        Always(call, strcmp(call, "fsync") == 0 ? "EIO" : "ENOSPC");
        host.Set("DevBaud", "115200");
        AllWell();
        const std::string config = host.library.Config();
        EXPECT_TRUE(config == ShippedConfig() || config == changed) << call << "\n" << config;
        EXPECT_EQ(kOwnFiles, host.FilesBesideTheLibrary()) << call;
    }
}

TEST(FullDisk, CallsGiveTheirResultsWithoutALog)
{
    const OpenHost host(WithLevel("2"));
    const std::string log = host.library.Log();
    FillTheDisk();
    // The log's file is there already: only its lines are lost, and no lock is kept.
    EXPECT_EQ(0, host.Info());
    EXPECT_EQ(-99, CALL(host.library, GLogE)("text\r\n"));
    EXPECT_TRUE(library_calls::LocksHeld().empty());
    EXPECT_EQ(log, host.library.Log());
    AllWell();
    EXPECT_EQ(0, CALL(host.library, GLogE)("text\r\n"));
    EXPECT_NE(log, host.library.Log());
}

TEST(FullDisk, APhotoIsReportedAsNotWritten)
{
    const testing_support::PhotoRoom room;
    room.Decoder();
    const OpenHost host;
    const unsigned char photo[1024] = {1};
    Always("fwrite", "ENOSPC");
    EXPECT_EQ(-3, CALL(host.library, ID_GetBmpFile)(photo, "photo.bmp"));
    AllWell();
    Always("fclose", "ENOSPC behind it"); // what the stream held back
    EXPECT_EQ(-3, CALL(host.library, ID_GetBmpFile)(photo, "photo.bmp"));
    AllWell();
    EXPECT_EQ(0, CALL(host.library, ID_GetBmpFile)(photo, "photo.bmp"));
    EXPECT_EQ(38862u, fs::file_size("photo.bmp"));
}

// ---- A directory that may not be written ----

TEST(ReadOnlyDirectory, SettingsAreRewrittenInPlace)
{
    const OpenHost host;
    struct stat before = {};
    stat(host.library.ConfigPath().c_str(), &before);
    ForbidDirectories();
    host.Set("DevBaud", "115200");
    EXPECT_EQ(WithSetting(ShippedConfig(), "DevBaud", "115200"), host.library.Config());
    host.Set("DevBaud", "9600");
    AllWell();
    EXPECT_EQ(ShippedConfig(), host.library.Config());
    struct stat after = {};
    stat(host.library.ConfigPath().c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST(ReadOnlyDirectory, InPlaceNothingIsLeftOfAWriteThatCannotBegin)
{
    const OpenHost host;
    ForbidDirectories();
    Always("write", "EIO");
    host.Set("DevBaud", "115200");
    AllWell();
    EXPECT_EQ(ShippedConfig(), host.library.Config()) << "not even the room that was reserved";
}

TEST(ReadOnlyDirectory, TheLibraryLoadsAndWorksWithoutALog)
{
    const OpenHost host(WithLevel("0"));
    fs::remove_all(host.library.directory.path + "/log");
    ForbidDirectories();
    CALL(host.library, my_init)();
    EXPECT_EQ(0, host.Info());
    EXPECT_EQ(9600, host.Number("DevBaud", 1));
}

// ---- A log directory that vanishes ----

TEST(VanishedLogDirectory, IsNoticedByTheFirstLineAndKeepsTheLock)
{
    const OpenHost host(WithLevel("2"));
    fs::remove_all(host.library.directory.path + "/log");
    EXPECT_EQ(-99, CALL(host.library, GLogE)("text\r\n")) << "its prefix could not be written";
    EXPECT_TRUE(host.LogLockIsHeld()) << "documented: the next line of the process waits for ever";
}

TEST(VanishedLogDirectory, ConcernsNoCallAtLevel0)
{
    const OpenHost host(WithLevel("2"));
    EXPECT_EQ(0, CALL(host.library, GSetLogLevel)(0));
    fs::remove_all(host.library.directory.path + "/log");
    EXPECT_EQ(0, host.Info());
    EXPECT_EQ(-1004, CALL(host.library, BO_GetErrorCode)(-62));
    EXPECT_TRUE(library_calls::LocksHeld().empty());
}

TEST(VanishedLogDirectory, IsMadeAnewByTheNextLoad)
{
    const OpenHost host(WithLevel("2"));
    fs::remove_all(host.library.directory.path + "/log");
    CALL(host.library, my_init)();
    EXPECT_EQ(0, CALL(host.library, GLogE)("text\r\n"));
    EXPECT_NE(std::string::npos, host.library.Log().find("text\r\n"));
}

// ---- Settings that change while the host runs ----

TEST(ChangingSettings, AFileThatIsCutGivesDefaultsAndNoHalfValues)
{
    const OpenHost host;
    const std::string text = "[devcfg]\nDevBaud=115200\nIcBaud=19200\n";
    for (size_t length = 0; length <= text.size(); length++)
    {
        WriteFile(host.library.ConfigPath(), text.substr(0, length));
        const int baud = host.Number("DevBaud", 9600);
        // A last line without a line feed is a line: what is cut within its value is its value.
        const std::string value =
            length > 17 ? text.substr(17, std::min<size_t>(length - 17, 6)) : "";
        const int expected = length < 16 ? 9600 : length == 16 ? 0 : atoi(value.c_str());
        EXPECT_EQ(expected, baud) << text.substr(0, length);
        EXPECT_EQ(0, host.Info()) << length;
    }
}

TEST(ChangingSettings, WithoutTheFileTheDefaultsHoldAndItsReturnIsSeen)
{
    const OpenHost host(WithSetting(ShippedConfig(), "IdBaud", "57600"));
    EXPECT_EQ(57600, host.Number("IdBaud", 1));
    fs::remove(host.library.ConfigPath());
    EXPECT_EQ(1, host.Number("IdBaud", 1));
    EXPECT_EQ(0, host.Info());
    host.Set("IdBaud", "2"); // a file is never made
    EXPECT_FALSE(fs::exists(host.library.ConfigPath()));
    fs::create_directory(host.library.ConfigPath());
    EXPECT_EQ(1, host.Number("IdBaud", 1));
    EXPECT_EQ(0, host.Info());
    fs::remove(host.library.ConfigPath());
    WriteFile(host.library.ConfigPath(), ShippedConfig());
    EXPECT_EQ(9600, host.Number("IdBaud", 1));
}

// One that is filled with a pipe, or a device that never ends a line, is another matter: whoever
// can put such a thing there can also put another library there.
TEST(ChangingSettings, AFileThatIsReplacedAgainAndAgainIsReadWhole)
{
    const OpenHost host;
    const std::string other = WithSetting(ShippedConfig(), "IdBaud", "115200");
    const std::string path = host.library.ConfigPath();
    std::atomic<bool> done{false};
    std::thread operatorsHand(
        [&]
        {
            for (int i = 0; !done; i++)
            {
                WriteFile(path + ".new", i % 2 == 0 ? other : ShippedConfig());
                fs::rename(path + ".new", path);
            }
        });
    for (int i = 0; i < 3000; i++)
    {
        const int baud = host.Number("IdBaud", 1);
        ASSERT_TRUE(baud == 9600 || baud == 115200) << baud;
    }
    for (int i = 0; i < 100; i++)
        ASSERT_EQ(0, host.Info());
    done = true;
    operatorsHand.join();
}

TEST(ChangingSettings, AFileThatIsCutDuringAWriteIsNotTakenForTheWhole)
{
    const OpenHost host;
    // The copy of what stands before the line ends early.
    int cuts = 0;
    for (uint64_t call = 1; call < 40; call++)
    {
        WriteFile(host.library.ConfigPath(), ShippedConfig());
        library_calls::Begin({library_calls::Who::Host, call, 2, false});
        host.Set("IdBaud", "115200");
        const std::string met = library_calls::End().met;
        if (met != "pread: end of file")
            continue;
        ++cuts;
        const std::string config = host.library.Config();
        EXPECT_TRUE(config == ShippedConfig() ||
                    config == WithSetting(ShippedConfig(), "IdBaud", "115200"))
            << call << ": " << config;
    }
    EXPECT_GT(cuts, 0);
}

// ---- What single faults once did ----

TEST(Settings, ALineThatComesInTwoHalvesIsOneLine)
{
    const OpenHost host;
    WriteFile(host.library.ConfigPath(), "[devcfg]\nDevBaud=115200\n");
    library_calls::Begin({library_calls::Who::Host, 2, 4, false}); // seven bytes at first
    const int baud = host.Number("DevBaud", 9600);
    EXPECT_EQ("read: short", library_calls::End().met);
    EXPECT_EQ(115200, baud);
}

TEST(Settings, ALineWhoseRestCannotBeReadDoesNotCount)
{
    const OpenHost host;
    // The first 4096 bytes end within the value.
    std::string text = "[devcfg]\n";
    while (text.size() < 4096 - 11)
        text += ";\n";
    text += std::string(4096 - 11 - text.size(), '\n') + "DevBaud=115200\n";
    WriteFile(host.library.ConfigPath(), text);
    EXPECT_EQ(115200, host.Number("DevBaud", 9600));
    library_calls::Begin({library_calls::Who::Host, 3, 0, false});
    const int baud = host.Number("DevBaud", 9600);
    EXPECT_EQ("read: EIO", library_calls::End().met);
    EXPECT_EQ(9600, baud) << "not 115";
}

TEST(Digest, AFileThatCannotBeReadToItsEndHasNone)
{
    const OpenHost host;
    const std::string path = host.library.directory.path + "/digest";
    WriteFile(path, std::string(10000, 'a'));
    char text[33];
    const auto digest = CPP_CALL(host.library, GGetFileMd5, "_Z11GGetFileMd5PKcPci");
    EXPECT_EQ(0, digest(path.c_str(), text, sizeof text));
    for (const uint64_t call : {3, 4, 5}) // behind stat and fopen
    {
        library_calls::Begin({library_calls::Who::Host, call, 0, false});
        const int result = digest(path.c_str(), text, sizeof text);
        EXPECT_EQ("fread: EIO", library_calls::End().met);
        EXPECT_EQ(-99, result) << call;
    }
    EXPECT_EQ(0, digest("/tmp", text, sizeof text)) << "a directory has the digest of no data";
}

TEST(Line, ByteThatAnotherReaderTookIsNoFailure)
{
    const OpenHost host;
    library_calls::Say({0x41});
    unsigned char answer[8];
    Always("read", "EAGAIN");
    EXPECT_EQ(0, CALL(host.library, GReadCom)(host.Device()->device, answer, sizeof answer, 100));
    AllWell();
    EXPECT_EQ(1, CALL(host.library, GReadCom)(host.Device()->device, answer, sizeof answer, 100));
}

TEST(Log, ASignalAtTheOpeningKeepsNoLock)
{
    const OpenHost host(WithLevel("1"));
    library_calls::Begin({library_calls::Who::Host, 4, 2, false}); // behind the making of the line
    EXPECT_EQ(0, CALL(host.library, GLogE)("text\r\n"));
    EXPECT_EQ("open: EINTR", library_calls::End().met);
    EXPECT_TRUE(library_calls::LocksHeld().empty());
}

TEST(Log, ALineThatCannotBeFormattedIntoItsRoomIsNotWritten)
{
    const OpenHost host(WithLevel("1"));
    const std::string longText(2000, 'x'); // formatted once for its length, and once more
    const size_t live = library_calls::Live().size();
    library_calls::Begin({library_calls::Who::Host, 3, 0, false});
    EXPECT_EQ(-99, CALL(host.library, GLogE)("%s\r\n", longText.c_str()));
    EXPECT_EQ("vsnprintf: ENOMEM", library_calls::End().met);
    EXPECT_EQ(live, library_calls::Live().size());
}

TEST(PhotoNames, AreMadeWithoutMemoryAlsoInTheRoomOfTheirPath)
{
    const OpenHost host;
    const auto name = CPP_CALL(host.library, BO_ModifyIdPath_YC, "_Z18BO_ModifyIdPath_YCiPKcS0_Pc");
    char out[300];
    library_calls::Begin({});
    name(1, "110101", "C:\\photos\\x.jpg", out);
    EXPECT_TRUE(library_calls::End().noted.empty());
    EXPECT_STREQ("C:\\photos\\110101_1.jpg", out);

    strcpy(out, "C:\\photos\\x.png");
    name(0, "110101", out, out);
    EXPECT_STREQ("C:\\photos\\110101.png", out);
    strcpy(out, "110101");
    name(2, out, "C:\\photos", out);
    EXPECT_STREQ("C:\\photos\\110101_2.bmp", out);
    name(3, nullptr, "C:\\photos", out);
    EXPECT_STREQ("C:\\photos\\_3.bmp", out);
}

// A host with more than a thousand files open has no room in a descriptor set for the line.
TEST(HighDescriptor, EveryCallOfAnExchangeFailsAsDocumented)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    Scenario scenario = Make("BO_GetDevInfo", Line::Serial,
                             [](Host &host)
                             {
                                 unsigned char info[256];
                                 uint32_t length = 0;
                                 return CALL(host.library, BO_GetDevInfo)(0, info, &length);
                             },
                             {-1013});
    scenario.prepare = [](Host &host)
    {
        library_calls::NumberLine(1100);
        CALL(host.library, BO_Close)();
        host.Open();
        EXPECT_EQ(1100, *static_cast<int32_t *>(host.Device()->device));
    };
    TryEveryFault(scenario);
}

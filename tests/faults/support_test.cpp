// Log, settings, files and the load of the library: every call that they make fails in turn.
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

#include "faults/fault_bench.h"
#include "standins/photo/photo_room.h"
#include "vantor/business.h"
#include "vantor/ciphers.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/support.h"

using namespace faults;
using testing_support::ReadFile;
using testing_support::WriteFile;

namespace
{

namespace fs = std::filesystem;

Scenario Support(const char *name, const std::function<int(Host &)> &call,
                 const std::set<int> &failures = {})
{
    return Make(name, Line::None, call, failures);
}

std::string LogPath(Host &host)
{
    return host.library.directory.path + "/log/other.log";
}

int Format(Host &host, const char *format, ...)
{
    char *text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = CALL(host.library, _Safe_vasprintf)(&text, format, arguments);
    va_end(arguments);
    library_calls::Release({text, ""}); // it is the caller's
    return length;
}

void AddLog(std::vector<Scenario> *list)
{
    const std::set<int> codes = {-99, -2, -5};
    static const std::string longText(2000, 'x');
    list->insert(
        list->end(),
        {
            WithLog(Support(
                "GLogI",
                [](Host &host) { return CALL(host.library, GLogI)("%d of %s\r\n", 1, "two"); },
                codes)),
            WithLog(Support(
                "GLogI of a long line",
                [](Host &host) { return CALL(host.library, GLogI)("%s\r\n", longText.c_str()); },
                codes)),
            WithLog(Support(
                "GLogE", [](Host &host) { return CALL(host.library, GLogE)("text\r\n"); }, codes)),
            Support(
                "GDbgPrintStr",
                [](Host &host) { return CALL(host.library, GDbgPrintStr)(1, "text\r\n"); }, codes),
            Support("_GAppendDataToLogFile",
                    [](Host &host) {
                        return CALL(host.library, _GAppendDataToLogFile)(LogPath(host).c_str(),
                                                                         "text", 4);
                    },
                    {-2, -5}),
            Expecting(Support("_Safe_vasprintf",
                              [](Host &host) { return Format(host, "%s", longText.c_str()); },
                              {-1}),
                      2000),
        });
}

void AddLinesOfOthers(std::vector<Scenario> *list)
{
    const auto checks = [list](const char *name, const std::function<int(Host &)> &call)
    { list->push_back(WithLog(Support(name, call))); };
    checks("IsHexDataValue", [](Host &host) { return CALL(host.library, IsHexDataValue)("0G"); });
    checks("IsNumDataValue", [](Host &host) { return CALL(host.library, IsNumDataValue)("0A"); });
    checks("IsPbocDataValue", [](Host &host) { return CALL(host.library, IsPbocDataValue)("0a"); });
    checks("IsTagListValue", [](Host &host) { return CALL(host.library, IsTagListValue)("a"); });
    checks("IsTrackDataValue",
           [](Host &host) { return CALL(host.library, IsTrackDataValue)("1A"); });
    list->push_back(WithLog(Expecting(Support("BO_GetErrorCode", [](Host &host)
                                              { return CALL(host.library, BO_GetErrorCode)(-62); }),
                                      -1004)));
    list->push_back(WithLog(Support("my_fini",
                                    [](Host &host)
                                    {
                                        CALL(host.library, my_fini)();
                                        return 0;
                                    })));
}

// ---- Settings ----

const char kSettings[] = "[other]\nDevBaud=1\n[devcfg]\n; speeds\nDevBaud=19200\nIdBaud=9600\n";
const char kChanged[] = "[other]\nDevBaud=1\n[devcfg]\n; speeds\nDevBaud=115200\nIdBaud=9600\n";
const char kShorter[] = "[other]\nDevBaud=1\n[devcfg]\n; speeds\nDevBaud=1\nIdBaud=9600\n";

void LayFile(Host &host)
{
    WriteFile(host.path, kSettings);
}

void LaySettings(Host &host)
{
    LayFile(host);
    CALL(host.library, GSetConfigFilePath)(host.path.c_str());
}

// The number itself: a half of it is never given.
int Number(Host &host)
{
    int value = -1;
    CALL(host.library, GGetConfigInt)("devcfg", "DevBaud", 9600, &value);
    return value;
}

// 0 for the file's text, 1 for the default, -1 for anything else.
int Judge(const char *value)
{
    return strcmp(value, "19200") == 0 ? 0 : strcmp(value, "none") == 0 ? 1 : -1;
}

int Text(Host &host)
{
    char value[256] = {};
    CALL(host.library, GGetConfigString)("devcfg", "DevBaud", "none", value, sizeof value);
    return Judge(value);
}

int TextOfFile(Host &host)
{
    char value[256] = {};
    CALL(host.library, _IniReadValue)("devcfg", "DevBaud", "none", value, host.path.c_str());
    return Judge(value);
}

// What became of the file, every byte of it.
constexpr int kDone = 0;
constexpr int kAsItWas = 1;
constexpr int kEndNotCutOff = 2; // in place: behind the new text stands the end of the old one
constexpr int kBroken = 4;
constexpr int kCopyIsLeft = 8; // added

int JudgeText(const std::string &text, const std::string &changed)
{
    if (text == changed)
        return kDone;
    if (text == kSettings)
        return kAsItWas;
    return text.size() == strlen(kSettings) && text.rfind(changed, 0) == 0 ? kEndNotCutOff
                                                                           : kBroken;
}

int JudgeFile(Host &host, const char *changed)
{
    int result = JudgeText(ReadFile(host.path), changed);
    for (const fs::directory_entry &entry : fs::directory_iterator(host.library.directory.path))
        if (entry.path().string().rfind(host.path + ".", 0) == 0)
        {
            result += kCopyIsLeft;
            fs::remove(entry.path());
        }
    return result;
}

int Change(Host &host)
{
    CALL(host.library, GSetConfigString)("devcfg", "DevBaud", "115200");
    return JudgeFile(host, kChanged);
}

int Shorten(Host &host)
{
    CALL(host.library, GSetConfigString)("devcfg", "DevBaud", "1");
    return JudgeFile(host, kShorter);
}

int ChangeFile(Host &host)
{
    CALL(host.library, _IniWriteValue)("devcfg", "DevBaud", "115200", host.path.c_str());
    return JudgeFile(host, kChanged);
}

// As a superuser's host finds them; for any other one they stay its own.
void LayForeignSettings(Host &host)
{
    LaySettings(host);
    (void)!chown(host.path.c_str(), 1, 1);
}

void AddSettings(std::vector<Scenario> *list)
{
    const auto inPlace = [](const char *name, int (*call)(Host &), const std::set<int> &failures)
    { return Denying(After(Support(name, call, failures), LaySettings), "mkostemp", "EACCES"); };
    list->insert(
        list->end(),
        {
            Expecting(After(Support("GGetConfigInt", Number, {9600}), LaySettings), 19200),
            After(Support("GGetConfigString", Text, {1}), LaySettings),
            After(Support("_IniReadValue", TextOfFile, {1}), LayFile),
            After(Support("GSetConfigString", Change, {kAsItWas}), LaySettings),
            After(Support("GSetConfigString of another owner", Change, {kAsItWas}),
                  LayForeignSettings),
            After(Support("_IniWriteValue", ChangeFile, {kAsItWas}), LayFile),
            inPlace("GSetConfigString in place", Change, {kAsItWas}),
            inPlace("GSetConfigString in place and shorter", Shorten, {kAsItWas, kEndNotCutOff}),
            Denying(After(Support("GSetConfigString behind a vain copy", Change,
                                  {kAsItWas, kCopyIsLeft}),
                          LaySettings),
                    "rename", "EACCES"),
        });
}

// ---- Files ----

int WriteStream(Host &host)
{
    FILE *file = CALL(host.library, GOpenFile)(host.path.c_str(), 4);
    if (file == nullptr)
        return -1;
    const int written = CALL(host.library, GWriteFile)(file, "0123456789", 10);
    const int closed = CALL(host.library, GCloseFile)(file);
    return closed != 0 ? -2 : written;
}

int ReadStream(Host &host)
{
    FILE *file = CALL(host.library, GOpenFile)(host.path.c_str(), 1);
    if (file == nullptr)
        return -1;
    char bytes[8];
    const int read = CALL(host.library, GReadFile)(file, bytes, 8);
    const int closed = CALL(host.library, GCloseFile)(file);
    return closed != 0 ? -2 : read;
}

int Digest(Host &host)
{
    char text[64] = {};
    const int result = CPP_CALL(host.library, GGetFileMd5,
                                "_Z11GGetFileMd5PKcPci")(host.path.c_str(), text, sizeof text);
    // With a result of 0 the digest is that of the file.
    return result == 0 && strcmp(text, "781E5E245D69B566979B86E28D23F2C7") != 0 ? -1 : result;
}

int CountEntry(const char *, const char *, uint64_t)
{
    return 0;
}

void AddFiles(std::vector<Scenario> *list)
{
    const Step digits = [](Host &host) { WriteFile(host.path, "0123456789"); };
    list->insert(
        list->end(),
        {
            Expecting(Support("GWriteFile", WriteStream, {-1, -2, -99, 5}), 10),
            Expecting(After(Support("GReadFile", ReadStream, {-1, -2, -99, 4}), digits), 8),
            Expecting(After(Support("GGetFileSize",
                                    [](Host &host) {
                                        return static_cast<int>(
                                            CALL(host.library, GGetFileSize)(host.path.c_str()));
                                    },
                                    {0}),
                            digits),
                      10),
            After(Support("GGetFileMd5", Digest, {-99}), digits),
            Support("GScanDirectory",
                    [](Host &host) {
                        return CALL(host.library, GScanDirectory)(
                            host.library.directory.path.c_str(), CountEntry, 0);
                    },
                    {-99}),
            Denying(Support("GScanDirectory without the kinds of its entries",
                            [](Host &host) {
                                return CALL(host.library, GScanDirectory)(
                                    host.library.directory.path.c_str(), CountEntry, 0);
                            },
                            {-99}),
                    "readdir", "of unknown kind"),
            Support("ScanDirCallback",
                    [](Host &host)
                    {
                        const std::string path = host.library.directory.path + "/qz_20200101.log";
                        WriteFile(path, "old");
                        return CALL(host.library, ScanDirCallback)("qz_20200101.log", path.c_str(),
                                                                   0);
                    }),
        });
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> list;
    AddLog(&list);
    AddLinesOfOthers(&list);
    AddSettings(&list);
    AddFiles(&list);
    return list;
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Support, EveryCall, testing::ValuesIn(Scenarios()), ParameterName);

// What the load prepares: whatever fails, the load goes on and the next one mends it.
TEST(Load, NothingThatFailsStopsIt)
{
    const testing_support::PhotoRoom room; // a library that does not know its place takes this one
    TryEveryFault(
        WithLog(Support("my_init",
                        [](Host &host)
                        {
                            WriteFile(host.library.directory.path + "/log/qz_20200101.log", "old");
                            CALL(host.library, my_init)();
                            return 0;
                        })));
}

// Documented: a host that encodes has no use for a failure.
TEST(Base64, WithoutMemoryTheProcessEndsWithStatus0)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const Host host(Line::None, testing_support::ShippedConfig(), "default", "");
    std::atexit([] { library_calls::AllWell(); }); // for what the process writes at its end
    library_calls::Always("malloc", "ENOMEM");
    EXPECT_EXIT((CALL(host.library, base64_encode)(reinterpret_cast<const unsigned char *>("a"), 1),
                 _exit(1)),
                testing::ExitedWithCode(0), "");
    int length = 0;
    EXPECT_EXIT((CALL(host.library, base64_decode)("YQ==", 4, &length), _exit(1)),
                testing::ExitedWithCode(0), "");
    library_calls::AllWell();
}

} // namespace

// The daily log file: lines with a time in front, each on storage before the call goes on; and the
// purge of old files.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "support/file_io.h"
#include "support/fixed_text.h"
#include "vantor/support.h"

int32_t g_nGDbgLevel = 1;
pthread_mutex_t fileMutex = PTHREAD_MUTEX_INITIALIZER;

// For the compiler's sake: these take a format that a caller has checked.
extern "C" int _Safe_vasprintf(char **text, const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

namespace
{

constexpr int kBadArgument = -22;
constexpr int kCannotOpen = -2;
constexpr int kShortWrite = -5;
constexpr int kFailure = -99;

constexpr int kErrorLevel = 1;
constexpr int kInformationLevel = 2;

constexpr int kDefaultSaveDays = 15;
constexpr int kMostSaveDays = 365;
constexpr int64_t kSecondsPerDay = 86400;

char logPath[260] = "\\tmp\\g.log"; // a placeholder that the start-up replaces

int LogFormatted(int kind, const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

// The formatted text is not released afterwards. Deliberate.
int LogFormatted(int kind, const char *format, va_list arguments)
{
    char *text = nullptr;
    if (_Safe_vasprintf(&text, format, arguments) <= 0)
        return kFailure; // an empty text counts as none: appending it would keep the lock
    return GDbgPrintStr(kind, text);
}

// What stands in the name of a log file, "qz_20240307.log"; false for any other name.
bool ParseLogName(std::string_view name, struct tm *date)
{
    constexpr std::string_view prefix = "qz_";
    constexpr std::string_view suffix = ".log";
    constexpr size_t digits = 8;
    if (name.size() != prefix.size() + digits + suffix.size() ||
        name.substr(0, prefix.size()) != prefix || name.substr(prefix.size() + digits) != suffix)
        return false;
    int number = 0;
    for (const char digit : name.substr(prefix.size(), digits))
    {
        if (digit < '0' || digit > '9')
            return false;
        number = number * 10 + (digit - '0');
    }
    *date = {};
    date->tm_year = number / 10000 - 1900;
    date->tm_mon = number / 100 % 100 - 1;
    date->tm_mday = number % 100;
    return true;
}

// The scan passes the path of the file before when an entry is no regular file: a directory named
// like an old log must not delete that one.
bool PathNamesEntry(std::string_view path, std::string_view name)
{
    if (path.size() < name.size() || path.substr(path.size() - name.size()) != name)
        return false;
    return path.size() == name.size() || path[path.size() - name.size() - 1] == '/';
}

bool IsRegularFile(DIR *directory, const struct dirent *entry)
{
    if (entry->d_type != DT_UNKNOWN)
        return entry->d_type == DT_REG;
    struct stat status; // a file system that does not tell the kind in its listing
    return fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(status.st_mode);
}

} // namespace

int GLogI(const char *format, ...)
{
    if (g_nGDbgLevel < kInformationLevel || format == nullptr)
        return kBadArgument;
    va_list arguments;
    va_start(arguments, format);
    const int result = LogFormatted(kInformationLevel, format, arguments);
    va_end(arguments);
    return result;
}

int GLogE(const char *format, ...)
{
    if (g_nGDbgLevel < kErrorLevel || format == nullptr)
        return kBadArgument;
    va_list arguments;
    va_start(arguments, format);
    const int result = LogFormatted(kErrorLevel, format, arguments);
    va_end(arguments);
    return result;
}

// Two appends: the lines of two threads may mix between a prefix and its text.
int GDbgPrintStr(int kind, const char *text)
{
    if (text == nullptr)
        return kBadArgument;
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char prefix[64];
    const int length =
        snprintf(prefix, sizeof(prefix),
                 "%s(%.4d-%.2d-%.2d %.2d:%.2d:%.2d):", kind == kErrorLevel ? "Error" : "Info",
                 local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                 local.tm_sec);
    if (_GAppendDataToLogFile(logPath, prefix, static_cast<uint32_t>(length)) != 0)
        return kFailure;
    return _GAppendDataToLogFile(logPath, text, static_cast<uint32_t>(strlen(text)));
}

// The two early returns keep the lock: after a log file that could not be opened every later log
// write of the process waits for ever. Deliberate.
int _GAppendDataToLogFile(const char *path, const char *text, uint32_t length)
{
    pthread_mutex_lock(&fileMutex);
    if (path == nullptr || text == nullptr || length == 0)
        return kBadArgument;
    const int file =
        Uninterrupted([=] { return open(path, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666); });
    if (file < 0)
        return kCannotOpen;
    const size_t written = WriteFully(file, text, length);
    fsync(file);
    close(file);
    pthread_mutex_unlock(&fileMutex);
    return written < length ? kShortWrite : 0;
}

// vasprintf, written out: the allocation then bears the name of this function, by which the leak
// checker knows it.
int _Safe_vasprintf(char **text, const char *format, va_list arguments)
{
    if (text == nullptr || format == nullptr)
        return -1;
    *text = nullptr;
    char brief[512]; // most lines fit and are formatted once
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(brief, sizeof(brief), format, arguments);
    const size_t size = static_cast<size_t>(length) + 1;
    char *formatted = length < 0 ? nullptr : static_cast<char *>(malloc(size));
    if (formatted != nullptr && size <= sizeof(brief))
        memcpy(formatted, brief, size);
    else if (formatted != nullptr && vsnprintf(formatted, size, format, again) != length)
    {
        free(formatted); // a host that changes a text meanwhile, or no memory for a wide number
        formatted = nullptr;
    }
    va_end(again);
    *text = formatted;
    return formatted == nullptr ? -1 : length;
}

int GSetLogFilePath(const char *path)
{
    if (path == nullptr)
        return kBadArgument;
    CopyText(logPath, sizeof(logPath), path);
    return 0;
}

int GSetLogLevel(int level)
{
    g_nGDbgLevel = level;
    return 0;
}

int GScanDirectory(const char *directory, GScanDirectoryCallback callback, uint64_t value)
{
    if (directory == nullptr || callback == nullptr)
        return kBadArgument;
    DIR *listing = opendir(directory);
    if (listing == nullptr)
        return kFailure;
    char path[1024] = ""; // deliberate: an entry that is no regular file leaves it as it was
    int result = 0;
    while (const struct dirent *entry = readdir(listing))
    {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        // A path longer than the buffer is cut, and the purge then leaves the file alone.
        if (IsRegularFile(listing, entry) &&
            snprintf(path, sizeof(path), "%s/%s", directory, entry->d_name) < 0)
            path[0] = '\0';
        result = callback(entry->d_name, path, value);
        if (result != 0)
            break;
    }
    closedir(listing);
    return result;
}

int ScanDirCallback(const char *name, const char *path, uint64_t value)
{
    (void)value;
    struct tm date;
    if (name == nullptr || path == nullptr || !ParseLogName(name, &date) ||
        !PathNamesEntry(path, name))
        return 0;
    int saveDays = kDefaultSaveDays;
    GGetConfigInt("log", "saveday", kDefaultSaveDays, &saveDays);
    if (saveDays > kMostSaveDays)
        saveDays = kMostSaveDays;
    const int64_t age = time(nullptr) - mktime(&date);
    if (age > saveDays * kSecondsPerDay)
        remove(path);
    return 0;
}

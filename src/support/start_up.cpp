#include "support/start_up.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/stat.h>

#include "support/fixed_text.h"
#include "vantor/support.h"

namespace
{

constexpr size_t kPathSize = 1024;

// "directory/name", cut at the end of the buffer.
void JoinPath(char (&path)[kPathSize], const char *directory, const char *name)
{
    if (snprintf(path, sizeof(path), "%s/%s", directory, name) < 0)
        path[0] = '\0';
}

// One file a day, named once: a process that runs past midnight stays with the day of its loading.
void SetDailyLogFile(const char *logDirectory)
{
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char name[64];
    char path[kPathSize];
    snprintf(name, sizeof(name), "qz_%.4d%.2d%.2d.log", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday);
    JoinPath(path, logDirectory, name);
    GSetLogFilePath(path);
}

} // namespace

void LibraryDirectory(const char *libraryPath, char *directory, size_t size)
{
    if (libraryPath == nullptr)
        libraryPath = ".";
    const char *slash = strrchr(libraryPath, '/');
    const size_t length =
        slash != nullptr ? static_cast<size_t>(slash - libraryPath) : strlen(libraryPath);
    CopyText(directory, length < size ? length + 1 : size, libraryPath);
}

void PrepareSupport(const char *libraryPath)
{
    char directory[kPathSize];
    char path[kPathSize];
    LibraryDirectory(libraryPath, directory, sizeof(directory));

    JoinPath(path, directory, "config.ini");
    GSetConfigFilePath(path);

    int level = 1;
    GGetConfigInt("log", "loglevel", 1, &level);
    GSetLogLevel(level);

    JoinPath(path, directory, "log");
    mkdir(path, 0777);
    GScanDirectory(path, ScanDirCallback, 0);
    SetDailyLogFile(path);

    GSetDllPath(directory);
}

// Thin helpers over the standard file streams.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

#include "support/fixed_text.h"
#include "vantor/ciphers.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr int kFailure = -99;
constexpr int kPiece = 65536; // bytes moved at once

const struct
{
    int number;
    const char *mode;
} kModes[] = {
    {1, "rb"}, {3, "a+b"}, {4, "w+b"}, {5, "r"}, {6, "r+"}, {7, "a+"}, {8, "w+"},
};

const char kOtherMode[] = "r+b";

const char *ModeOf(int number)
{
    for (const auto &row : kModes)
        if (row.number == number)
            return row.mode;
    return kOtherMode;
}

// Moves the bytes piece by piece until one comes short; how many went.
template <typename MovePiece>
int MoveInPieces(int length, MovePiece movePiece)
{
    int done = 0;
    while (done < length)
    {
        const int wanted = std::min(length - done, kPiece);
        const int moved = static_cast<int>(movePiece(done, static_cast<size_t>(wanted)));
        done += moved;
        if (moved < wanted)
            break;
    }
    return done;
}

} // namespace

FILE *GOpenFile(const char *path, int mode)
{
    return path == nullptr ? nullptr : fopen(path, ModeOf(mode));
}

int GCloseFile(FILE *file)
{
    return file == nullptr ? kBadArgument : fclose(file);
}

int GReadFile(FILE *file, void *buffer, int length)
{
    if (file == nullptr || buffer == nullptr || length == -1)
        return kBadArgument;
    auto *const bytes = static_cast<unsigned char *>(buffer);
    const int done = MoveInPieces(length, [&](int at, size_t count)
                                  { return fread(bytes + at, 1, count, file); });
    return done > 0 ? done : kFailure;
}

int GWriteFile(FILE *file, const void *buffer, int length)
{
    if (file == nullptr || buffer == nullptr || length == -1)
        return kBadArgument;
    const auto *const bytes = static_cast<const unsigned char *>(buffer);
    const int done = MoveInPieces(length, [&](int at, size_t count)
                                  { return fwrite(bytes + at, 1, count, file); });
    // What does not get through the stream's buffer, on a full disk for example, is not written.
    return fflush(file) == 0 && done > 0 ? done : kFailure;
}

int64_t GGetFileSize(const char *path)
{
    if (path == nullptr)
        return kBadArgument;
    struct stat status;
    return stat(path, &status) == 0 ? status.st_size : 0;
}

int GGetFileName(const char *path, char *name, int capacity)
{
    if (path == nullptr || name == nullptr || capacity <= 0)
        return kBadArgument;
    const char *begin = path;
    for (const char *at = path; *at != '\0'; at++)
        if (*at == '/' || *at == '\\')
            begin = at + 1;
    CopyText(name, static_cast<size_t>(capacity), begin);
    return 0;
}

// The library's own path has no source here. Deliberate: hosts know it as a call that fails.
int GGetLocalFilePath(char *out, int capacity, const char * /*fileName*/)
{
    return out == nullptr || capacity <= 0 ? kBadArgument : kFailure;
}

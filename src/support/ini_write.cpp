// Replacing one entry of the settings file. The file is never lost on the way: the new text is
// written beside the old one and renamed over it.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "support/file_io.h"
#include "support/ini_file.h"
#include "vantor/support.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr size_t kEntrySize = kIniLineLength + 1 + kIniLineLength + 2; // key, "=", value, LF, NUL

constexpr off_t kToTheEnd = std::numeric_limits<off_t>::max();

// The bytes from begin to end of the open file give way to text.
struct Replacement
{
    off_t begin;
    off_t end;
    char text[kEntrySize];
    size_t length;
};

// Finds the first line that begins with the key in the first section of that name.
bool FindEntry(int file, const IniQuery &query, Replacement *replacement)
{
    IniReader reader;
    reader.file = file;
    if (!FindIniSection(&reader, query))
        return false;
    IniLine line;
    while (NextIniLine(&reader, &line))
    {
        if (IsIniEntry(line, query))
        {
            replacement->end = reader.offset;
            replacement->begin = reader.offset - static_cast<off_t>(line.size);
            return true;
        }
        if (line.text[0] == '[')
            return false;
    }
    return false;
}

// Copies the bytes from begin to end, or to the end of the file when that comes first; how far it
// came, -1 when something failed.
off_t CopyRange(int from, off_t begin, off_t end, int to)
{
    char piece[4096];
    while (begin < end)
    {
        const off_t left = end - begin;
        const size_t wanted =
            left < static_cast<off_t>(sizeof(piece)) ? static_cast<size_t>(left) : sizeof(piece);
        const ssize_t got = Uninterrupted([&] { return pread(from, piece, wanted, begin); });
        if (got == 0)
            break;
        if (got < 0 || WriteFully(to, piece, static_cast<size_t>(got)) != static_cast<size_t>(got))
            return -1;
        begin += got;
    }
    return begin;
}

bool TakeOwnerAndMode(int file, const struct stat &original)
{
    struct stat own;
    if (fstat(file, &own) != 0)
        return false;
    if ((own.st_uid != original.st_uid || own.st_gid != original.st_gid) &&
        fchown(file, original.st_uid, original.st_gid) != 0)
        return false;
    return fchmod(file, original.st_mode & 07777) == 0;
}

// False when the directory, the owner or the disk does not allow it; the file is then untouched.
bool ReplaceByRename(int file, const char *path, const struct stat &original,
                     const Replacement &replacement)
{
    const std::unique_ptr<char, decltype(&free)> target(realpath(path, nullptr), free);
    char temporary[PATH_MAX]; // beside the file itself, not beside a link to it
    if (target == nullptr)
        return false;
    const int length = snprintf(temporary, sizeof(temporary), "%s.XXXXXX", target.get());
    if (length < 0 || static_cast<size_t>(length) >= sizeof(temporary))
        return false;
    const int copy = mkostemp(temporary, O_CLOEXEC);
    if (copy < 0)
        return false;
    // A file that somebody has cut in the meantime is no file to copy.
    bool done = TakeOwnerAndMode(copy, original) &&
                CopyRange(file, 0, replacement.begin, copy) == replacement.begin &&
                WriteFully(copy, replacement.text, replacement.length) == replacement.length &&
                CopyRange(file, replacement.end, kToTheEnd, copy) >= original.st_size &&
                fsync(copy) == 0;
    done = close(copy) == 0 && done;
    done = done && rename(temporary, target.get()) == 0;
    if (!done)
        unlink(temporary);
    return done;
}

// Room for a file that grows.
bool ReserveTo(int file, off_t size, off_t newSize)
{
    int trouble = 0;
    do
        trouble = newSize > size ? posix_fallocate(file, size, newSize - size) : 0;
    while (trouble == EINTR);
    return trouble == 0;
}

// The way that is left when no second file can take the place of the first: a directory that may
// not be written, a file that is a mount point of its own. Room is reserved before the first byte
// moves, and the file is never removed, so it keeps its owner and a full disk costs nothing.
void ReplaceInPlace(int file, const struct stat &original, const Replacement &replacement)
{
    if (original.st_size < replacement.end)
        return;
    const size_t tail = static_cast<size_t>(original.st_size - replacement.end);
    const size_t count = replacement.length + tail;
    const off_t newSize = replacement.begin + static_cast<off_t>(count);
    const std::unique_ptr<char, decltype(&free)> text(static_cast<char *>(malloc(count)), free);
    if (text == nullptr)
        return;
    memcpy(text.get(), replacement.text, replacement.length);
    char *const rest = text.get() + replacement.length;
    if (Uninterrupted([&] { return pread(file, rest, tail, replacement.end); }) !=
        static_cast<ssize_t>(tail))
        return;
    if (!ReserveTo(file, original.st_size, newSize))
        return;
    const bool placed = lseek(file, replacement.begin, SEEK_SET) == replacement.begin;
    const size_t written = placed ? WriteFully(file, text.get(), count) : 0;
    // Of what could not be begun nothing stays, the reserved room neither.
    const off_t end = written == 0 ? original.st_size : newSize;
    if (written == count || written == 0)
        (void)Uninterrupted([=] { return ftruncate(file, end); });
    fsync(file);
}

} // namespace

// A missing section or key is never added, and no failure is told. Deliberate.
int _IniWriteValue(const char *section, const char *key, const char *value, const char *path)
{
    if (section == nullptr || key == nullptr || value == nullptr || path == nullptr)
        return kBadArgument;
    const int file = Uninterrupted([=] { return open(path, O_RDWR | O_CLOEXEC); });
    if (file < 0)
        return 0;
    struct stat original;
    Replacement replacement;
    if (fstat(file, &original) == 0 && S_ISREG(original.st_mode) &&
        FindEntry(file, MakeIniQuery(section, key), &replacement))
    {
        // A key that was found is no longer than a line.
        replacement.length =
            static_cast<size_t>(snprintf(replacement.text, sizeof(replacement.text), "%s=%.*s\n",
                                         key, static_cast<int>(kIniLineLength), value));
        if (!ReplaceByRename(file, path, original, replacement))
            ReplaceInPlace(file, original, replacement);
    }
    close(file);
    return 0;
}

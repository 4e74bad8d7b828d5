#include "support/ini_file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{

// The text of a line ends at its first NUL: what stands behind it in the file is never seen.
size_t TextLength(const IniLine &line)
{
    return strnlen(line.text, line.size);
}

enum class Taken
{
    kValue,
    kNoEqualsSign
};

Taken TakeValue(const IniLine &line, const IniQuery &query, char *value)
{
    const size_t length = TextLength(line);
    const void *equals = memchr(line.text + query.keyLength, '=', length - query.keyLength);
    if (equals == nullptr)
        return Taken::kNoEqualsSign;
    const char *begin = static_cast<const char *>(equals) + 1;
    const char *end = line.text + length;
    const char *cut = begin;
    while (cut < end && *cut != '\r' && *cut != '\n')
        cut++;
    const size_t count = static_cast<size_t>(cut - begin);
    memcpy(value, begin, count);
    value[count] = '\0';
    return Taken::kValue;
}

// The last line of the section that begins with the key wins.
bool ReadEntryOfSection(IniReader *reader, const IniQuery &query, char *value)
{
    bool found = false;
    IniLine line;
    while (NextIniLine(reader, &line))
    {
        if (IsIniEntry(line, query))
        {
            found = true;
            if (TakeValue(line, query, value) == Taken::kNoEqualsSign)
                break; // deliberate: the value stays as it was, and no default takes its place
        }
        else if (line.text[0] == '[')
            break;
    }
    return found;
}

} // namespace

// Keeps what is unread and reads on behind it. A short read of a regular file is its end: asking
// again would cost every settings read a system call.
void RefillIniReader(IniReader *reader)
{
    const size_t kept = reader->end - reader->begin;
    memmove(reader->buffer, reader->buffer + reader->begin, kept);
    reader->begin = 0;
    reader->end = kept;
    const size_t room = sizeof(reader->buffer) - kept;
    ssize_t got;
    do
        got = read(reader->file, reader->buffer + kept, room);
    while (got < 0 && errno == EINTR);
    if (got > 0)
        reader->end += static_cast<size_t>(got);
    reader->atEnd = got < static_cast<ssize_t>(room);
}

// Update mode although nothing is written: a file that may not be written counts as missing.
// Deliberate.
bool ReadIniEntry(const IniQuery &query, char *value, const char *path)
{
    IniReader reader;
    reader.file = open(path, O_RDWR | O_CLOEXEC);
    if (reader.file < 0)
        return false;
    const bool found = FindIniSection(&reader, query) && ReadEntryOfSection(&reader, query, value);
    close(reader.file);
    return found;
}

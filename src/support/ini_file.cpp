#include "support/ini_file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "support/file_io.h"

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

// Keeps what is unread and reads on behind it. A short read that ends with a line is the end of the
// file: asking again would cost every settings read a system call. One that ends in the middle of a
// line may be no end; and when the rest of a line cannot be read, its beginning does not count.
void RefillIniReader(IniReader *reader)
{
    const size_t kept = reader->end - reader->begin;
    memmove(reader->buffer, reader->buffer + reader->begin, kept);
    reader->begin = 0;
    reader->end = kept;
    const size_t room = sizeof(reader->buffer) - kept;
    const ssize_t got =
        Uninterrupted([=] { return read(reader->file, reader->buffer + kept, room); });
    reader->end = got < 0 ? 0 : kept + static_cast<size_t>(got);
    reader->atEnd =
        got <= 0 || (static_cast<size_t>(got) < room && reader->buffer[reader->end - 1] == '\n');
}

// Update mode although nothing is written: a file that may not be written counts as missing.
// Deliberate.
bool ReadIniEntry(const IniQuery &query, char *value, const char *path)
{
    IniReader reader;
    reader.file = Uninterrupted([=] { return open(path, O_RDWR | O_CLOEXEC); });
    if (reader.file < 0)
        return false;
    const bool found = FindIniSection(&reader, query) && ReadEntryOfSection(&reader, query, value);
    close(reader.file);
    return found;
}

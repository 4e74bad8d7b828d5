// The settings file, read line by line and searched for one entry. The file lies in pieces of at
// most 4096 bytes on the stack, so it may have any length.
#pragma once

#include <cstddef>
#include <cstring>
#include <sys/types.h>

// A line holds at most 255 characters; a longer one is seen as several lines.
constexpr size_t kIniLineLength = 255;
// Room for a value and its NUL.
constexpr size_t kIniValueSize = 256;

struct IniLine
{
    const char *text; // no NUL ends it
    size_t size;      // in bytes, the line feed included
};

struct IniReader
{
    int file;
    bool atEnd = false;
    size_t begin = 0;
    size_t end = 0;
    off_t offset = 0;  // of buffer[begin] in the file
    char buffer[4096]; // left as it is until it is filled: a settings read clears nothing
};

// What is looked for. Both match from the first column on, and by their beginning: the key "Ic" is
// found in "IcBaud=9600". Deliberate.
struct IniQuery
{
    const char *section;
    size_t sectionLength;
    const char *key;
    size_t keyLength;
};

// Reads on behind what is not yet taken.
void RefillIniReader(IniReader *reader);

// False at the end of the file.
inline bool NextIniLine(IniReader *reader, IniLine *line)
{
    for (;;)
    {
        const char *text = reader->buffer + reader->begin;
        const size_t available = reader->end - reader->begin;
        const size_t limit = available < kIniLineLength ? available : kIniLineLength;
        size_t size = limit;
        if (const void *feed = memchr(text, '\n', limit))
            size = static_cast<size_t>(static_cast<const char *>(feed) - text) + 1;
        else if (limit < kIniLineLength && !reader->atEnd)
        {
            RefillIniReader(reader);
            continue;
        }
        *line = {text, size};
        reader->begin += size;
        reader->offset += static_cast<off_t>(size);
        return size > 0;
    }
}

inline IniQuery MakeIniQuery(const char *section, const char *key)
{
    return {section, strlen(section), key, strlen(key)};
}

inline bool IsIniHeader(const IniLine &line, const IniQuery &query)
{
    return line.size >= query.sectionLength + 2 && line.text[0] == '[' &&
           line.text[query.sectionLength + 1] == ']' &&
           memcmp(line.text + 1, query.section, query.sectionLength) == 0;
}

inline bool IsIniEntry(const IniLine &line, const IniQuery &query)
{
    return query.keyLength == 0 || (line.text[0] == query.key[0] && line.size >= query.keyLength &&
                                    memcmp(line.text, query.key, query.keyLength) == 0);
}

// Reads on behind the section's header; false at the end of the file. Comments and blank lines
// need no test of their own: none of them begins with "[".
inline bool FindIniSection(IniReader *reader, const IniQuery &query)
{
    IniLine line;
    while (NextIniLine(reader, &line))
        if (IsIniHeader(line, query))
            return true;
    return false;
}

// Puts the value (at most 255 characters and a NUL) into value and returns true when the file holds
// the section and the key; a line of the key without "=" leaves value as it was.
bool ReadIniEntry(const IniQuery &query, char *value, const char *path);

// Texts in buffers of a fixed size: whatever is too long is cut, and a NUL always ends the copy.
#pragma once

#include <cstddef>
#include <cstring>

inline void CopyText(char *to, size_t size, const char *from)
{
    const size_t length = strnlen(from, size - 1);
    memmove(to, from, length); // a caller may hand a buffer back to itself
    to[length] = '\0';
}

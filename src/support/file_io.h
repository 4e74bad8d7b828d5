// System calls that a signal does not end, and writing to an open file.
#pragma once

#include <cerrno>
#include <cstddef>
#include <unistd.h>

// The host's signals are its own business: a call that one of them interrupts is made again.
template <typename Call>
auto Uninterrupted(const Call &call)
{
    decltype(call()) result;
    do
        result = call();
    while (result < 0 && errno == EINTR);
    return result;
}

// Writes everything, in one system call where the system takes it in one; returns how much was
// written.
inline size_t WriteFully(int file, const char *bytes, size_t count)
{
    size_t done = 0;
    while (done < count)
    {
        const ssize_t written = write(file, bytes + done, count - done);
        if (written > 0)
            done += static_cast<size_t>(written);
        else if (written == 0 || errno != EINTR)
            break;
    }
    return done;
}

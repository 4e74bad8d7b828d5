// The serial line, which is played, and the calls on descriptors of whatever kind.
#include <algorithm>
#include <cstdarg>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "standins/calls/rows.h"

namespace library_calls
{

namespace
{

// A step of the library's read loop waits 10 microseconds; here so much passes when there is
// nothing to come, so that a limit of seconds takes a hundred steps.
constexpr int64_t kStep = 20000000;

bool IsLine(int descriptor)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    return watch.line.descriptors.count(descriptor) != 0;
}

bool SaysSomething()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    return !watch.line.said.empty();
}

ssize_t TakeSaid(void *buffer, size_t count)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    std::deque<uint8_t> &said = watch.line.said;
    count = std::min(count, said.size());
    std::copy_n(said.begin(), count, static_cast<uint8_t *>(buffer));
    said.erase(said.begin(), said.begin() + static_cast<std::ptrdiff_t>(count));
    return static_cast<ssize_t>(count);
}

void Hear(const void *bytes, size_t count)
{
    std::function<void(const Bytes &)> hear;
    {
        Watch &watch = TheWatch();
        const std::lock_guard<std::mutex> guard(watch.mutex);
        hear = watch.line.hear;
    }
    const auto *first = static_cast<const uint8_t *>(bytes);
    if (hear)
        hear(Bytes(first, first + count));
}

// ---- Files and descriptors ----

Row s_open;

int Open(const char *path, int flags, mode_t mode)
{
    const bool appends = (flags & O_APPEND) != 0;
    const Fault *fault = Enter(s_open);
    Watch &watch = TheWatch();
    {
        const std::lock_guard<std::mutex> guard(watch.mutex);
        if (fault == nullptr && (flags & O_CREAT) != 0 && access(path, F_OK) != 0)
            fault = watch.noNewFiles;
    }
    int descriptor = fault != nullptr ? Spoiled<int>(*fault) : open(path, flags, mode);
    if (descriptor < 0 && appends && errno != EINTR)
        NoteLogTrouble();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    if (descriptor >= 0 && !watch.line.path.empty() && watch.line.path == path)
    {
        if (watch.line.number != 0)
        {
            const int high = fcntl(descriptor, F_DUPFD_CLOEXEC, watch.line.number);
            close(descriptor);
            descriptor = high;
        }
        watch.line.descriptors.insert(descriptor);
    }
    return descriptor;
}

int OpenVariadic(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return Open(path, flags, mode);
}

int OpenWithoutMode(const char *path, int flags)
{
    return Open(path, flags, 0);
}

Row s_close;

int Close(int descriptor)
{
    const Fault *fault = Enter(s_close);
    {
        Watch &watch = TheWatch();
        const std::lock_guard<std::mutex> guard(watch.mutex);
        watch.line.descriptors.erase(descriptor);
    }
    const int result = close(descriptor);
    return fault != nullptr ? Spoiled<int>(*fault) : result;
}

Row s_read;

ssize_t Read(int descriptor, void *buffer, size_t count)
{
    const Fault *fault = Enter(s_read);
    if (fault != nullptr && fault->manner == Manner::Instead)
        return Spoiled<ssize_t>(*fault);
    if (fault != nullptr)
        count = std::min<size_t>(count, 7);
    return IsLine(descriptor) ? TakeSaid(buffer, count) : read(descriptor, buffer, count);
}

ssize_t ReadChecked(int descriptor, void *buffer, size_t count, size_t /*room*/)
{
    return Read(descriptor, buffer, count);
}

Row s_pread;

ssize_t Pread(int descriptor, void *buffer, size_t count, off_t offset)
{
    const Fault *fault = Enter(s_pread);
    if (fault != nullptr && fault->manner == Manner::Instead)
        return Spoiled<ssize_t>(*fault);
    return pread(descriptor, buffer, fault != nullptr ? std::min<size_t>(count, 7) : count, offset);
}

ssize_t PreadChecked(int descriptor, void *buffer, size_t count, off_t offset, size_t /*room*/)
{
    return Pread(descriptor, buffer, count, offset);
}

Row s_write;

// A full disk is no matter of the line.
bool DiskIsFull()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    const auto found = watch.always.find("write");
    return found != watch.always.end() && found->second->errorNumber == ENOSPC;
}

ssize_t Write(int descriptor, const void *bytes, size_t count)
{
    const Fault *fault = IsLine(descriptor) && DiskIsFull() ? nullptr : Enter(s_write);
    if (fault != nullptr && fault->manner == Manner::Instead)
        return Spoiled<ssize_t>(*fault);
    if (fault != nullptr)
        count = count / 2;
    if (!IsLine(descriptor))
        return write(descriptor, bytes, count);
    Hear(bytes, count);
    return static_cast<ssize_t>(count);
}

Row s_select;

int Select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *limit)
{
    if (const Fault *fault = Enter(s_select))
        return Spoiled<int>(*fault);
    if (!IsLine(count - 1))
        return select(count, readable, writable, exceptional, limit);
    if (SaysSomething())
        return 1;
    PassTime(std::max(kStep, limit->tv_sec * kSecond + limit->tv_usec * 1000));
    FD_ZERO(readable);
    return 0;
}

Row s_ppoll;

int Ppoll(pollfd *lines, nfds_t count, const timespec *limit, const sigset_t *mask)
{
    if (const Fault *fault = Enter(s_ppoll))
        return Spoiled<int>(*fault);
    if (count != 1 || !IsLine(lines[0].fd))
        return ppoll(lines, count, limit, mask);
    lines[0].revents = SaysSomething() ? POLLIN : 0;
    if (lines[0].revents == 0)
        PassTime(std::max(kStep, limit->tv_sec * kSecond + limit->tv_nsec));
    return lines[0].revents != 0 ? 1 : 0;
}

int PpollChecked(pollfd *lines, nfds_t count, const timespec *limit, const sigset_t *mask,
                 size_t /*room*/)
{
    return Ppoll(lines, count, limit, mask);
}

Row s_poll;

int Poll(pollfd *lines, nfds_t count, int milliseconds)
{
    const Fault *fault = Enter(s_poll);
    return fault != nullptr ? Spoiled<int>(*fault) : poll(lines, count, milliseconds);
}

int PollChecked(pollfd *lines, nfds_t count, int milliseconds, size_t /*room*/)
{
    return Poll(lines, count, milliseconds);
}

Row s_ioctl;

int Ioctl(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (const Fault *fault = Enter(s_ioctl))
        return Spoiled<int>(*fault);
    if (IsLine(descriptor) && request == TCFLSH)
        Silence();
    if (IsLine(descriptor) && request == FIONREAD)
    {
        Watch &watch = TheWatch();
        const std::lock_guard<std::mutex> guard(watch.mutex);
        *static_cast<int *>(argument) = static_cast<int>(watch.line.said.size());
        return 0;
    }
    return ioctl(descriptor, request, argument);
}

int Tcflush(int descriptor, int queue)
{
    if (IsLine(descriptor))
        Silence();
    return tcflush(descriptor, queue);
}

Row s_fsync;

// Nothing is forced to the disk: it only takes time.
int Fsync(int descriptor)
{
    if (const Fault *fault = Enter(s_fsync))
        return Spoiled<int>(*fault);
    return fcntl(descriptor, F_GETFD) < 0 ? -1 : 0;
}

Row s_prctl;

int Prctl(int option, ...)
{
    va_list arguments;
    va_start(arguments, option);
    const unsigned long argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    const Fault *fault = Enter(s_prctl);
    return fault != nullptr ? Spoiled<int>(*fault) : prctl(option, argument, 0, 0, 0);
}

} // namespace

void AddLineAndFiles(RowList *rows)
{
    rows->insert(
        rows->end(),
        {
            Special(&s_open, "open", Address(&OpenVariadic),
                    {Fails(-1, EMFILE), Fails(-1, ENOSPC), Fails(-1, EINTR)}),
            Alias("__open_2", Address(&OpenWithoutMode)),
            Special(&s_close, "close", Address(&Close), {FailsAfter(-1, EIO)}),
            Special(&s_read, "read", Address(&Read),
                    {Fails(-1, EIO), Fails(-1, EINTR), Fails(-1, EAGAIN), GivesZero("end of file"),
                     Short()}),
            Alias("__read_chk", Address(&ReadChecked)),
            Special(&s_pread, "pread", Address(&Pread),
                    {Fails(-1, EIO), Fails(-1, EINTR), GivesZero("end of file"), Short()}),
            Alias("__pread_chk", Address(&PreadChecked)),
            Special(&s_write, "write", Address(&Write),
                    {Fails(-1, ENOSPC), Fails(-1, EIO), Fails(-1, EINTR), Fails(-1, EAGAIN),
                     GivesZero("nothing taken"), Short()}),
            Special(&s_select, "select", Address(&Select), {Fails(-1, ENOMEM), Fails(-1, EINTR)}),
            Special(&s_poll, "poll", Address(&Poll), {Fails(-1, ENOMEM), Fails(-1, EINTR)}),
            Alias("__poll_chk", Address(&PollChecked)),
            Special(&s_ppoll, "ppoll", Address(&Ppoll), {Fails(-1, ENOMEM), Fails(-1, EINTR)}),
            Alias("__ppoll_chk", Address(&PpollChecked)),
            Special(&s_ioctl, "ioctl", Address(&Ioctl), {Fails(-1, EIO), Fails(-1, EINTR)}),
            Alias("tcflush", Address(&Tcflush)),
            Special(&s_fsync, "fsync", Address(&Fsync), {Fails(-1, EIO), Fails(-1, EINTR)}),
            Special(&s_prctl, "prctl", Address(&Prctl), {Fails(-1, EINVAL)}),
        });
}

} // namespace library_calls

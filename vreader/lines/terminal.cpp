#include "vreader/lines/terminal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace vreader
{

namespace
{

bool Fail(Terminal *terminal, const char *what, std::string *error)
{
    *error = std::string(what) + ": " + std::strerror(errno);
    CloseTerminal(terminal);
    return false;
}

void CloseDescriptor(int *descriptor)
{
    if (*descriptor >= 0)
        close(*descriptor);
    *descriptor = -1;
}

struct Rate
{
    speed_t code;
    unsigned bitsPerSecond;
};

constexpr Rate kRates[] = {
    {B1200, 1200},   {B2400, 2400},   {B4800, 4800},   {B9600, 9600},
    {B19200, 19200}, {B38400, 38400}, {B57600, 57600}, {B115200, 115200},
};

} // namespace

bool OpenTerminal(Terminal *terminal, std::string *error)
{
    *terminal = {};
    terminal->master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    char name[64];
    if (terminal->master < 0 || grantpt(terminal->master) != 0 || unlockpt(terminal->master) != 0 ||
        ptsname_r(terminal->master, name, sizeof name) != 0)
        return Fail(terminal, "no pseudo-terminal", error);
    terminal->name = name;
    terminal->slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    termios settings = {};
    if (terminal->slave < 0 || tcgetattr(terminal->slave, &settings) != 0)
        return Fail(terminal, name, error);
    cfmakeraw(&settings);
    cfsetspeed(&settings, B9600);
    settings.c_cflag |= CLOCAL | CREAD;
    if (tcsetattr(terminal->slave, TCSANOW, &settings) != 0)
        return Fail(terminal, name, error);
    terminal->watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (terminal->watch >= 0 &&
        inotify_add_watch(terminal->watch, name, IN_OPEN | IN_CLOSE_WRITE | IN_CLOSE_NOWRITE) < 0)
        CloseDescriptor(&terminal->watch);
    return true;
}

void CloseTerminal(Terminal *terminal)
{
    CloseDescriptor(&terminal->watch);
    CloseDescriptor(&terminal->slave);
    CloseDescriptor(&terminal->master);
    *terminal = {};
}

size_t ReadTerminal(const Terminal &terminal, uint8_t *bytes, size_t capacity)
{
    const ssize_t count = read(terminal.master, bytes, capacity);
    return count > 0 ? static_cast<size_t>(count) : 0;
}

size_t WriteTerminal(const Terminal &terminal, const uint8_t *bytes, size_t count)
{
    const ssize_t written = write(terminal.master, bytes, count);
    return written > 0 ? static_cast<size_t>(written) : 0;
}

bool LastHostLeft(Terminal *terminal)
{
    if (terminal->watch < 0)
        return false;
    bool left = false;
    bool changedHands = false;
    alignas(inotify_event) char buffer[4096];
    for (;;)
    {
        const ssize_t count = read(terminal->watch, buffer, sizeof buffer);
        if (count <= 0)
            break;
        for (const char *at = buffer; at < buffer + count;)
        {
            const auto *event = reinterpret_cast<const inotify_event *>(at);
            at += sizeof *event + event->len;
            if ((event->mask & IN_OPEN) != 0)
                changedHands |= terminal->hosts++ <= 0;
            else if ((event->mask & (IN_CLOSE_WRITE | IN_CLOSE_NOWRITE)) != 0)
                left |= --terminal->hosts <= 0;
        }
    }
    // At the opening once more: the system may still have been on its way with the last bytes.
    if (left || changedHands)
        tcflush(terminal->slave, TCIFLUSH);
    return left;
}

bool HostTookAll(const Terminal &terminal)
{
    int waiting = 0;
    return ioctl(terminal.slave, FIONREAD, &waiting) != 0 || waiting == 0;
}

unsigned HostRate(const Terminal &terminal)
{
    termios settings = {};
    if (tcgetattr(terminal.slave, &settings) != 0)
        return 0;
    for (const Rate &rate : kRates)
        if (rate.code == cfgetospeed(&settings))
            return rate.bitsPerSecond;
    return 0;
}

} // namespace vreader

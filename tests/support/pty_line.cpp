#include "support/pty_line.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace testing_support
{

PtyLine::PtyLine()
{
    master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char path[64];
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, path, sizeof(path)) != 0)
        throw std::runtime_error("no pseudo-terminal");
    name = path;

    termios settings;
    if (tcgetattr(master, &settings) != 0)
        throw std::runtime_error("no settings of " + name);
    cfmakeraw(&settings);
    tcsetattr(master, TCSANOW, &settings);
}

PtyLine::~PtyLine()
{
    Close();
}

void PtyLine::Write(const Bytes &bytes) const
{
    if (write(master, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("cannot write to " + name);
}

Bytes PtyLine::Read(size_t count, int timeoutMs) const
{
    using namespace std::chrono;
    const steady_clock::time_point deadline = steady_clock::now() + milliseconds(timeoutMs);
    Bytes bytes(count);
    size_t got = 0;
    while (got < count)
    {
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        pollfd line{master, POLLIN, 0};
        if (left < 0 || poll(&line, 1, static_cast<int>(left)) <= 0)
            break;
        const ssize_t step = read(master, bytes.data() + got, count - got);
        if (step <= 0)
            break;
        got += static_cast<size_t>(step);
    }
    bytes.resize(got);
    return bytes;
}

void PtyLine::Close()
{
    if (master >= 0)
        close(master);
    master = -1;
}

} // namespace testing_support

// The serial line: the port table, raw mode through the System V terminal interface, reads that
// wait in select, plain writes, and the line's settings put back on close.
#include "vantor/transport.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <unistd.h>

#include "support/file_io.h"
#include "support/fixed_text.h"
#include "transport/serial_lines.h"

namespace
{

const int kComNames = 16;
const int kLongestWaitUs = 1000000; // this and more is no valid microseconds field

// The kernel's own 16-bit words, not the C library's constants: newer C libraries give the B...
// names other values than TCSETAW understands.
struct BaudBits
{
    int baud;
    uint16_t bits;
};

const BaudBits s_BaudBits[] = {
    {1200, 0x0009},  {2400, 0x000B},  {4800, 0x000C},   {19200, 0x000E},
    {38400, 0x000F}, {57600, 0x1001}, {115200, 0x1002},
};
const uint16_t kBits9600 = 0x000D;

const unsigned kLocalModes = 0x008B;  // ISIG ICANON ECHO NOFLSH
const unsigned kInputModes = 0x05E0;  // ISTRIP INLCR IGNCR ICRNL IXON
const unsigned kPostProcess = 0x0001; // OPOST
const unsigned kBaudMask = 0x100F;
const unsigned kSizeMask = 0x0030;          // CSIZE
const unsigned kEightBits = 0x0030;         // CS8
const unsigned kReceiverNoModem = 0x0880;   // CREAD CLOCAL
const unsigned kParityStopLowBaud = 0x0141; // PARENB CSTOPB and the lowest baud bit

const int kQuit = 1; // places in c_cc
const int kTime = 5;
const int kMinimum = 6;

uint16_t Without(uint16_t word, unsigned mask)
{
    return static_cast<uint16_t>(word & ~mask);
}

uint16_t With(uint16_t word, unsigned mask)
{
    return static_cast<uint16_t>(word | mask);
}

uint16_t BitsOfBaud(int baud)
{
    for (const BaudBits &row : s_BaudBits)
        if (row.baud == baud)
            return row.bits;
    return kBits9600;
}

int Control(int fd, unsigned long request, struct termio *settings)
{
    return Uninterrupted([=] { return ioctl(fd, request, settings); });
}

int Descriptor(const void *handle)
{
    return handle == nullptr ? -1 : *static_cast<const int32_t *>(handle);
}

int64_t MonotonicUs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000) + now.tv_nsec / 1000;
}

// For a descriptor that has no room in a set: hosts with more than 1024 open files.
int PollReadable(int fd, int timeoutUs)
{
    pollfd line{fd, POLLIN, 0};
    const int64_t end = MonotonicUs() + timeoutUs;
    int64_t left = timeoutUs;
    int ready;
    do
    {
        const timespec limit{left / 1000000, left % 1000000 * 1000};
        ready = ppoll(&line, 1, &limit, nullptr);
        left = std::max(end - MonotonicUs(), INT64_C(0));
    } while (ready < 0 && errno == EINTR);
    return ready;
}

// 1 when the descriptor is readable, 0 when the time passed, -1 when the wait failed. A signal
// that the host handles is no failure: Linux leaves the rest of the time in the argument.
int WaitReadable(int fd, int timeoutUs)
{
    if (fd >= FD_SETSIZE)
        return PollReadable(fd, timeoutUs);
    fd_set readable;
    timeval limit{0, timeoutUs};
    int ready;
    do
    {
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        ready = select(fd + 1, &readable, nullptr, nullptr, &limit);
    } while (ready < 0 && errno == EINTR);
    return ready;
}

// An unplugged adapter reads as an endless row of empty reads; only its hang-up mark tells it from
// a line on which nothing arrived.
bool IsGone(int fd)
{
    pollfd line{fd, POLLIN, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

} // namespace

char g_szComName[16][64] = {"/dev/ttyS0", "/dev/ttyS1", "/dev/ttyS2", "/dev/ttyS3"};
struct termio oterm_attr;
struct termio term_attr;

int GSetComName(int index, const char *path)
{
    if (index < 0 || index >= kComNames || path == nullptr)
        return -99;
    CopyText(g_szComName[index], sizeof(g_szComName[index]), path);
    return 0;
}

int GSetTerm_Linux(int fd, int baud)
{
    if (fd < 0)
        return -1;
    if (Control(fd, TCGETA, &oterm_attr) < 0)
        return -2;
    if (Control(fd, TCGETA, &term_attr) < 0)
        return -3;

    term_attr.c_lflag = Without(term_attr.c_lflag, kLocalModes);
    term_attr.c_iflag = Without(term_attr.c_iflag, kInputModes);
    term_attr.c_oflag = Without(term_attr.c_oflag, kPostProcess);
    term_attr.c_cc[kMinimum] = 0;
    term_attr.c_cc[kTime] = 1; // tenths of a second
    term_attr.c_cc[kQuit] = 127;

    uint16_t control = Without(term_attr.c_cflag, kBaudMask);
    control = With(Without(control, kSizeMask), kEightBits);
    control = With(control, kReceiverNoModem);
    control = Without(control, kParityStopLowBaud);
    term_attr.c_cflag = With(control, BitsOfBaud(baud));

    return Control(fd, TCSETAW, &term_attr) < 0 ? -4 : 0;
}

int GReSetTerm_Linux(int fd)
{
    if (fd < 0)
        return -1;
    if (Control(fd, TCSETAW, &oterm_attr) < 0)
        return -99;
    if (fd != 0)
        close(fd);
    return 0;
}

void *GOpenCom(int index, int baud)
{
    if (index < 0 || index >= kComNames)
        return nullptr;
    int32_t *handle = static_cast<int32_t *>(std::malloc(sizeof(int32_t)));
    if (handle == nullptr)
        return nullptr;
    *handle = Uninterrupted([=] { return open(g_szComName[index], O_RDWR); });
    // On failure neither the cell nor the descriptor is released. Deliberate.
    if (GSetTerm_Linux(*handle, baud) != 0)
        return nullptr;            // NOLINT(clang-analyzer-unix.Malloc)
    return KeepSerialLine(handle); // the adapter's calls take it too
}

int GCloseCom(void *handle)
{
    ForgetSerialLine(handle);
    const int fd = Descriptor(handle);
    const int result = GReSetTerm_Linux(fd);
    // The settings of a line that vanished cannot be put back. Its descriptor goes all the same:
    // as long as it is held, the kernel keeps the device name and a replugged adapter gets another.
    if (result == -99 && fd != 0)
        close(fd);
    std::free(handle);
    return result;
}

int GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs)
{
    (void)timeoutMs; // the line has no time limit on writes
    if (count < 0)
        return -1;
    return static_cast<int>(Uninterrupted(
        [=] { return write(Descriptor(handle), bytes, static_cast<size_t>(count)); }));
}

int GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs)
{
    const int fd = Descriptor(handle);
    if (fd < 0 || capacity < 0)
        return -1;
    // Today's kernels would take a microseconds field of a second and more, and wait. The rule is
    // a failed wait: it is what a read without an end test and with a long time-out comes to.
    if (timeoutUs < 0 || timeoutUs >= kLongestWaitUs)
        return -1;
    const int ready = WaitReadable(fd, timeoutUs);
    if (ready <= 0)
        return ready;
    const int got = static_cast<int>(
        Uninterrupted([=] { return read(fd, buffer, static_cast<size_t>(capacity)); }));
    if (got < 0 && errno == EAGAIN)
        return 0; // another reader of the line was faster
    if (got == 0 && capacity > 0 && IsGone(fd))
        return -1;
    return got;
}

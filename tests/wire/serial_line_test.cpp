// The serial line over a pseudo-terminal.
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include "support/pty_line.h"
#include "vantor/transport.h"

using testing_support::Bytes;
using testing_support::PtyLine;

namespace
{

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

termio SettingsOf(const PtyLine &line)
{
    const int fd = open(line.name.c_str(), O_RDWR | O_NOCTTY);
    termio settings;
    std::memset(&settings, 0, sizeof(settings));
    EXPECT_EQ(ioctl(fd, TCGETA, &settings), 0);
    close(fd);
    return settings;
}

void *OpenPort(const PtyLine &line, int baud)
{
    EXPECT_EQ(GSetComName(2, line.name.c_str()), 0);
    return GOpenCom(2, baud);
}

void IgnoreSignal(int)
{
}

} // namespace

TEST(SerialPorts, TheTableStartsWithFourNames)
{
    EXPECT_STREQ(g_szComName[0], "/dev/ttyS0");
    EXPECT_STREQ(g_szComName[1], "/dev/ttyS1");
    EXPECT_STREQ(g_szComName[2], "/dev/ttyS2");
    EXPECT_STREQ(g_szComName[3], "/dev/ttyS3");
    for (int index = 4; index < 16; ++index)
        EXPECT_STREQ(g_szComName[index], "") << index;
    static_assert(sizeof(g_szComName) == 16 * 64);
}

TEST(SerialPorts, IndexFifteenIsNamedAndSixteenIsRefused)
{
    EXPECT_EQ(GSetComName(15, "/dev/ttyUSB0"), 0);
    EXPECT_STREQ(g_szComName[15], "/dev/ttyUSB0");
    char before[16][64];
    std::memcpy(before, g_szComName, sizeof(before));
    EXPECT_EQ(GSetComName(16, "/dev/ttyUSB1"), -99);
    EXPECT_EQ(GSetComName(-1, "/dev/ttyUSB1"), -99);
    EXPECT_EQ(GSetComName(-2147483647 - 1, "/dev/ttyUSB1"), -99);
    EXPECT_EQ(GSetComName(3, nullptr), -99);
    EXPECT_EQ(std::memcmp(before, g_szComName, sizeof(before)), 0);
}

TEST(SerialPorts, APathOfSixtyThreeCharactersFitsAndALongerOneIsCut)
{
    const std::string fits(63, 'a');
    EXPECT_EQ(GSetComName(4, fits.c_str()), 0);
    EXPECT_EQ(std::string(g_szComName[4]), fits);
    EXPECT_EQ(GSetComName(5, "next"), 0);
    EXPECT_EQ(GSetComName(4, std::string(200, 'b').c_str()), 0);
    EXPECT_EQ(std::string(g_szComName[4]), std::string(63, 'b'));
    EXPECT_EQ(g_szComName[4][63], '\0');
    EXPECT_STREQ(g_szComName[5], "next");
}

TEST(SerialPorts, APathMayComeFromTheTableItself)
{
    EXPECT_EQ(GSetComName(4, "/dev/ttyUSB0"), 0);
    EXPECT_EQ(GSetComName(4, g_szComName[4]), 0);
    EXPECT_STREQ(g_szComName[4], "/dev/ttyUSB0");
    EXPECT_EQ(GSetComName(4, g_szComName[4] + 5), 0);
    EXPECT_STREQ(g_szComName[4], "ttyUSB0");
}

TEST(SerialPorts, IndexesOutsideTheTableAreRefused)
{
    for (const int index : {-1, 16, 17, 255, 2147483647, -2147483647 - 1})
        EXPECT_EQ(GOpenCom(index, 9600), nullptr) << index;
}

TEST(SerialOpen, AMissingPortGivesNoHandle)
{
    GSetComName(2, "/dev/no-such-terminal");
    EXPECT_EQ(GOpenCom(2, 9600), nullptr);
    EXPECT_EQ(GOpenCom(15, 9600), nullptr); // no name
}

TEST(SerialOpen, AFileThatIsNoTerminalGivesNoHandle)
{
    const int fd = open("/dev/null", O_RDWR);
    EXPECT_EQ(GSetTerm_Linux(fd, 9600), -2);
    close(fd);
    GSetComName(2, "/dev/null");
    EXPECT_EQ(GOpenCom(2, 9600), nullptr);
}

TEST(SerialOpen, TheHandleIsACellWithTheDescriptor)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    const int fd = *static_cast<int32_t *>(handle);
    char name[64];
    ASSERT_EQ(ttyname_r(fd, name, sizeof(name)), 0);
    EXPECT_EQ(line.name, name);
    const int flags = fcntl(fd, F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
    EXPECT_EQ(GCloseCom(handle), 0);
}

TEST(SerialOpen, ALineInCookedModeIsMadeRawAndPutBackOnClose)
{
    PtyLine line;
    termios cooked;
    tcgetattr(line.master, &cooked);
    cooked.c_iflag |= ISTRIP | INLCR | IGNCR | ICRNL | IXON;
    cooked.c_oflag |= OPOST | ONLCR;
    cooked.c_lflag |= ISIG | ICANON | ECHO | NOFLSH | IEXTEN;
    cooked.c_cflag |= CSTOPB;
    cooked.c_cflag &= ~static_cast<tcflag_t>(CLOCAL);
    cooked.c_cc[VQUIT] = 28;
    tcsetattr(line.master, TCSANOW, &cooked);
    const termio before = SettingsOf(line);

    void *handle = OpenPort(line, 115200);
    ASSERT_NE(handle, nullptr);
    const termio open = SettingsOf(line);
    EXPECT_EQ(open.c_lflag, before.c_lflag & ~0x008B);
    EXPECT_EQ(open.c_iflag, before.c_iflag & ~0x05E0);
    EXPECT_EQ(open.c_oflag, before.c_oflag & ~0x0001);
    EXPECT_EQ(open.c_cflag & 0x1FFF, 0x18B2 | (before.c_cflag & 0x0600));
    EXPECT_EQ(open.c_cc[1], 127); // VQUIT
    EXPECT_EQ(open.c_cc[5], 1);   // VTIME
    EXPECT_EQ(open.c_cc[6], 0);   // VMIN

    EXPECT_EQ(GCloseCom(handle), 0);
    const termio after = SettingsOf(line);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_cflag, before.c_cflag);
    EXPECT_EQ(std::memcmp(after.c_cc, before.c_cc, sizeof(after.c_cc)), 0);
}

TEST(SerialOpen, TheLineRunsAtTheRateThatWasAskedFor)
{
    const struct
    {
        int baud;
        speed_t speed;
    } rows[] = {{1200, B1200},   {2400, B2400},   {4800, B4800},   {9600, B9600},
                {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200},
                {14400, B9600},  {0, B9600}};
    PtyLine line;
    for (const auto &row : rows)
    {
        void *handle = OpenPort(line, row.baud);
        ASSERT_NE(handle, nullptr);
        termios settings;
        ASSERT_EQ(tcgetattr(*static_cast<int32_t *>(handle), &settings), 0);
        EXPECT_EQ(cfgetospeed(&settings), row.speed) << row.baud;
        EXPECT_EQ(GCloseCom(handle), 0);
    }
}

TEST(SerialOpen, ASecondPortOverwritesTheSavedSettingsOfTheFirst)
{
    PtyLine first;
    PtyLine second;
    termios settings;
    tcgetattr(second.master, &settings);
    settings.c_cflag |= CSTOPB;
    tcsetattr(second.master, TCSANOW, &settings);
    void *one = OpenPort(first, 9600);
    void *two = OpenPort(second, 9600);
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(GCloseCom(two), 0);
    EXPECT_EQ(GCloseCom(one), 0);
    EXPECT_NE(SettingsOf(first).c_cflag & 0x0040, 0); // the second's two stop bits
}

TEST(SerialTransfer, EveryByteValuePassesUnchangedInBothDirections)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    Bytes all(256);
    for (size_t value = 0; value < all.size(); ++value)
        all[value] = static_cast<uint8_t>(value);

    EXPECT_EQ(GWriteCom(handle, all.data(), 256, 0), 256);
    EXPECT_EQ(line.Read(256), all);

    line.Write(all);
    Bytes received(512);
    EXPECT_EQ(GReadCom(handle, received.data(), 512, 999999), 256);
    received.resize(256);
    EXPECT_EQ(received, all);
    GCloseCom(handle);
}

TEST(SerialTransfer, AReadTakesAtMostTheCapacity)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    line.Write({1, 2, 3, 4, 5});
    unsigned char buffer[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(GReadCom(handle, buffer, 3, 10), 3);
    EXPECT_EQ(buffer[2], 3);
    EXPECT_EQ(buffer[3], 0xEE);
    EXPECT_EQ(GReadCom(handle, buffer, 3, 10), 2);
    EXPECT_EQ(buffer[0], 4);
    EXPECT_EQ(GReadCom(handle, buffer, 0, 10), 0);
    EXPECT_EQ(GReadCom(handle, buffer, -1, 10), -1);
    EXPECT_EQ(GWriteCom(handle, buffer, -1, 10), -1);
    EXPECT_EQ(GWriteCom(handle, buffer, 0, 10), 0);
    GCloseCom(handle);
}

TEST(SerialRead, NothingPendingGivesZeroAfterTheWaitInMicroseconds)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    unsigned char byte;
    auto start = steady_clock::now();
    EXPECT_EQ(GReadCom(handle, &byte, 1, 30000), 0);
    EXPECT_GE(steady_clock::now() - start, microseconds(30000));
    start = steady_clock::now();
    for (int read = 0; read < 200; ++read)
        EXPECT_EQ(GReadCom(handle, &byte, 1, 10), 0);
    EXPECT_LT(steady_clock::now() - start, milliseconds(2000)); // milliseconds would take this long
    GCloseCom(handle);
}

TEST(SerialRead, AWaitOfASecondAndMoreOrBelowZeroFailsAtOnce)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    line.Write({0x42}); // not even a waiting byte is read
    unsigned char byte = 0;
    for (const int wait : {1000000, 1000001, 2147483647, -1, -2147483647 - 1})
        EXPECT_EQ(GReadCom(handle, &byte, 1, wait), -1) << wait;
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(GReadCom(handle, &byte, 1, 999999), 1);
    EXPECT_EQ(byte, 0x42);
    GCloseCom(handle);
}

TEST(SerialRead, AVanishedLineFailsAndClosesCleanly)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    const int fd = *static_cast<int32_t *>(handle);
    line.Close();
    unsigned char byte;
    EXPECT_EQ(GReadCom(handle, &byte, 1, 999999), -1);
    EXPECT_EQ(GWriteCom(handle, &byte, 1, 0), -1);
    EXPECT_EQ(GCloseCom(handle), -99);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1); // a held descriptor would keep the device's name taken

    PtyLine next;
    handle = OpenPort(next, 9600);
    ASSERT_NE(handle, nullptr);
    next.Write({0x01});
    EXPECT_EQ(GReadCom(handle, &byte, 1, 10), 1);
    EXPECT_EQ(GCloseCom(handle), 0);
}

// A read of 30 ms on a line that is silent, with a signal every millisecond.
void ExpectWholeWaitBesideSignals(void *handle)
{
    struct sigaction action = {};
    action.sa_handler = IgnoreSignal;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    unsigned char byte;
    const auto start = steady_clock::now();
    EXPECT_EQ(GReadCom(handle, &byte, 1, 30000), 0);
    EXPECT_GE(steady_clock::now() - start, microseconds(29000));
    const itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
}

TEST(SerialRead, ASignalDoesNotEndTheWait)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    ExpectWholeWaitBesideSignals(handle);
    GCloseCom(handle);
}

TEST(SerialRead, ADescriptorBeyondADescriptorSetWorks)
{
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    int32_t *cell = static_cast<int32_t *>(handle);
    const int high = fcntl(*cell, F_DUPFD, 1024);
    ASSERT_GE(high, 1024);
    close(*cell);
    *cell = high;
    unsigned char byte = 0;
    EXPECT_EQ(GReadCom(handle, &byte, 1, 10), 0);
    line.Write({0x42});
    EXPECT_EQ(GReadCom(handle, &byte, 1, 10), 1);
    EXPECT_EQ(byte, 0x42);
    ExpectWholeWaitBesideSignals(handle);
    EXPECT_EQ(GCloseCom(handle), 0);
}

TEST(SerialPorts, ThePortOpenedWithoutAContextIsTakenByTheAdaptersCalls)
{
    PtyLine line;
    void *handle = OpenPort(line, 9600);
    ASSERT_NE(handle, nullptr);
    line.Write({'a', 'b'});
    unsigned char bytes[2] = {};
    EXPECT_EQ(COM_read(handle, bytes, 2, 10000, [](const unsigned char *, uint32_t) { return 0; }),
              2);
    EXPECT_EQ(COM_write(handle, bytes, 2, 10), 2);
    EXPECT_EQ(line.Read(2), (testing_support::Bytes{'a', 'b'}));
    EXPECT_EQ(COM_close(handle), 0);
    EXPECT_EQ(COM_close(handle), -1); // closed already
    EXPECT_EQ(COM_read(handle, bytes, 2, 10, nullptr), -1);
}

// The next one has the same cell, most likely.
TEST(SerialPorts, APortThatIsClosedAndOpenedAgainIsTakenToo)
{
    PtyLine line;
    for (int round = 0; round < 3; round++)
    {
        void *handle = OpenPort(line, 9600);
        unsigned char byte = 'a';
        EXPECT_EQ(COM_write(handle, &byte, 1, 10), 1);
        EXPECT_EQ(GCloseCom(handle), 0);
        EXPECT_EQ(COM_write(handle, &byte, 1, 10), -1);
    }
}

TEST(SerialHandle, ANullHandleFails)
{
    unsigned char byte = 0;
    EXPECT_EQ(GCloseCom(nullptr), -1);
    EXPECT_EQ(GReadCom(nullptr, &byte, 1, 10), -1);
    EXPECT_EQ(GWriteCom(nullptr, &byte, 1, 10), -1);
}

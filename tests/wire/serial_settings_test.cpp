// The words written to the terminal, over a stand-in for ioctl: it shows settings that no
// pseudo-terminal takes (parity, 5 data bits) and fails at a chosen call.
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

#include "vantor/transport.h"

namespace
{

struct Terminal
{
    termio settings;
    std::vector<unsigned long> requests;
    int failingCall; // counted from 1; 0: none
    int fd;
};

Terminal g_terminal;

termio Filled(uint16_t word, unsigned char character)
{
    termio settings;
    settings.c_iflag = settings.c_oflag = settings.c_cflag = settings.c_lflag = word;
    settings.c_line = character;
    std::memset(settings.c_cc, character, sizeof(settings.c_cc));
    return settings;
}

void Prepare(const termio &settings, int failingCall = 0)
{
    g_terminal = {settings, {}, failingCall, -1};
}

int OpenNull()
{
    return open("/dev/null", O_RDWR);
}

bool IsOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

} // namespace

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    termio *settings = va_arg(arguments, termio *);
    va_end(arguments);
    g_terminal.requests.push_back(request);
    g_terminal.fd = fd;
    if (static_cast<int>(g_terminal.requests.size()) == g_terminal.failingCall)
    {
        errno = EIO;
        return -1;
    }
    if (request == 0x5405) // TCGETA
        *settings = g_terminal.settings;
    if (request == 0x5407) // TCSETAW: once the output has drained
        g_terminal.settings = *settings;
    return 0;
}

TEST(SerialSettings, ClearedBitsAreClearedAndOthersStay)
{
    Prepare(Filled(0xFFFF, 0xAA));
    EXPECT_EQ(GSetTerm_Linux(5, 9600), 0);
    EXPECT_EQ(g_terminal.fd, 5);
    EXPECT_EQ(g_terminal.settings.c_lflag, 0xFF74); // ISIG ICANON ECHO NOFLSH
    EXPECT_EQ(g_terminal.settings.c_iflag, 0xFA1F); // ISTRIP INLCR IGNCR ICRNL IXON
    EXPECT_EQ(g_terminal.settings.c_oflag, 0xFFFE); // OPOST
    EXPECT_EQ(g_terminal.settings.c_cflag, 0xEEBD);
    EXPECT_EQ(static_cast<unsigned char>(g_terminal.settings.c_line), 0xAA);
}

TEST(SerialSettings, SetBitsAreSetOnAnEmptyWord)
{
    Prepare(Filled(0x0000, 0x00));
    EXPECT_EQ(GSetTerm_Linux(5, 9600), 0);
    EXPECT_EQ(g_terminal.settings.c_lflag, 0x0000);
    EXPECT_EQ(g_terminal.settings.c_iflag, 0x0000);
    EXPECT_EQ(g_terminal.settings.c_oflag, 0x0000);
    EXPECT_EQ(g_terminal.settings.c_cflag, 0x08BD); // B9600 CS8 CREAD CLOCAL
}

TEST(SerialSettings, ControlCharactersAreThreeAndTheRestStays)
{
    Prepare(Filled(0x0000, 0xAA));
    EXPECT_EQ(GSetTerm_Linux(5, 9600), 0);
    const unsigned char expected[8] = {0xAA, 127, 0xAA, 0xAA, 0xAA, 1, 0, 0xAA};
    EXPECT_EQ(std::memcmp(g_terminal.settings.c_cc, expected, sizeof(expected)), 0);
}

TEST(SerialSettings, EachRateHasItsBaudBits)
{
    const struct
    {
        int baud;
        uint16_t control;
    } rows[] = {
        {1200, 0x08B9},  {2400, 0x08BB},  {4800, 0x08BC},   {9600, 0x08BD},
        {19200, 0x08BE}, {38400, 0x08BF}, {57600, 0x18B1},  {115200, 0x18B2},
        {14400, 0x08BD}, {0, 0x08BD},     {-9600, 0x08BD},  {300, 0x08BD},
        {1201, 0x08BD},  {9601, 0x08BD},  {230400, 0x08BD}, {2147483647, 0x08BD},
    };
    for (const auto &row : rows)
    {
        Prepare(Filled(0x0000, 0x00));
        EXPECT_EQ(GSetTerm_Linux(5, row.baud), 0);
        EXPECT_EQ(g_terminal.settings.c_cflag, row.control) << row.baud;
        Prepare(Filled(0xFFFF, 0x00)); // no bit of the old rate survives
        EXPECT_EQ(GSetTerm_Linux(5, row.baud), 0);
        EXPECT_EQ(g_terminal.settings.c_cflag & 0x100F, row.control & 0x100F) << row.baud;
    }
}

TEST(SerialSettings, SavedCopyAndWorkingCopyAreReadThenOneIsWritten)
{
    Prepare(Filled(0x1234, 0x11));
    EXPECT_EQ(GSetTerm_Linux(5, 9600), 0);
    EXPECT_EQ(g_terminal.requests, (std::vector<unsigned long>{0x5405, 0x5405, 0x5407}));
    EXPECT_EQ(oterm_attr.c_cflag, 0x1234);
    EXPECT_EQ(oterm_attr.c_iflag, 0x1234);
    EXPECT_EQ(std::memcmp(&term_attr, &g_terminal.settings, sizeof(term_attr)), 0);
}

TEST(SerialSettings, NegativeDescriptorIsRefusedWithoutACall)
{
    Prepare(Filled(0, 0));
    EXPECT_EQ(GSetTerm_Linux(-1, 9600), -1);
    EXPECT_EQ(GReSetTerm_Linux(-1), -1);
    EXPECT_TRUE(g_terminal.requests.empty());
}

TEST(SerialSettings, EachFailingCallHasItsCode)
{
    Prepare(Filled(0, 0), 1);
    EXPECT_EQ(GSetTerm_Linux(5, 9600), -2);
    EXPECT_EQ(g_terminal.requests.size(), 1u);
    Prepare(Filled(0, 0), 2);
    EXPECT_EQ(GSetTerm_Linux(5, 9600), -3);
    EXPECT_EQ(g_terminal.requests.size(), 2u);
    Prepare(Filled(0, 0), 3);
    EXPECT_EQ(GSetTerm_Linux(5, 9600), -4);
}

TEST(SerialSettings, RestoringWritesTheSavedCopyAndCloses)
{
    const int fd = OpenNull();
    Prepare(Filled(0x1234, 0x11));
    EXPECT_EQ(GSetTerm_Linux(fd, 9600), 0);
    EXPECT_EQ(GReSetTerm_Linux(fd), 0);
    EXPECT_EQ(g_terminal.requests.back(), 0x5407u);
    const termio expected = Filled(0x1234, 0x11);
    EXPECT_EQ(g_terminal.settings.c_cflag, expected.c_cflag);
    EXPECT_EQ(g_terminal.settings.c_lflag, expected.c_lflag);
    EXPECT_EQ(std::memcmp(g_terminal.settings.c_cc, expected.c_cc, sizeof(expected.c_cc)), 0);
    EXPECT_FALSE(IsOpen(fd));
}

TEST(SerialSettings, DescriptorZeroIsRestoredButNotClosed)
{
    const int fd = OpenNull();
    ASSERT_EQ(dup2(fd, 0), 0);
    Prepare(Filled(0, 0));
    EXPECT_EQ(GReSetTerm_Linux(0), 0);
    EXPECT_EQ(g_terminal.fd, 0);
    EXPECT_TRUE(IsOpen(0));
    close(fd);
}

TEST(SerialSettings, FailedRestoringLeavesTheDescriptorOpen)
{
    const int fd = OpenNull();
    Prepare(Filled(0, 0), 1);
    EXPECT_EQ(GReSetTerm_Linux(fd), -99);
    EXPECT_TRUE(IsOpen(fd));
    close(fd);
}

TEST(SerialSettings, ClosingAHandleGivesTheRestoringsResultAndFreesTheDescriptor)
{
    GSetComName(0, "/dev/null");
    Prepare(Filled(0, 0));
    void *handle = GOpenCom(0, 9600);
    ASSERT_NE(handle, nullptr);
    const int fd = *static_cast<int32_t *>(handle);
    EXPECT_EQ(GCloseCom(handle), 0);
    EXPECT_FALSE(IsOpen(fd));

    Prepare(Filled(0, 0), 4);
    handle = GOpenCom(0, 9600);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(GCloseCom(handle), -99); // the line vanished: nothing to put back, nothing kept
    EXPECT_FALSE(IsOpen(fd));
}

TEST(SerialSettings, FailedOpenKeepsItsDescriptor)
{
    const int fd = OpenNull(); // the descriptor that the next open gets
    close(fd);
    GSetComName(0, "/dev/null");
    Prepare(Filled(0, 0), 3);
    EXPECT_EQ(GOpenCom(0, 9600), nullptr);
    EXPECT_TRUE(IsOpen(fd));
    close(fd);
}

// What a second thread does to the line of the first one.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <thread>

#include "support/pty_line.h"
#include "vantor/link.h"
#include "vantor/transport.h"
#include "wire/line_host.h"

using testing_support::PtyLine;
using wire_testing::LineHost;

namespace
{

std::atomic<bool> g_waitIsHeld{false}; // a wait for bytes ends when this does
std::atomic<bool> g_isWaiting{false};
std::atomic<int> g_signals{0}; // each ends one setting of the line before it is done
std::function<void()> g_beforePort;

template <typename Function>
Function *Real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int select(int count, fd_set *readable, fd_set *writable, fd_set *failed, timeval *limit)
{
    static const auto real = Real<int(int, fd_set *, fd_set *, fd_set *, timeval *)>("select");
    if (!g_waitIsHeld)
        return real(count, readable, writable, failed, limit);
    g_isWaiting = true;
    while (g_waitIsHeld)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 0;
}

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    static const auto real = Real<int(int, unsigned long, void *)>("ioctl");
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == TCSETAW && g_signals > 0)
    {
        --g_signals;
        errno = EINTR;
        return -1;
    }
    return real(fd, request, argument);
}

extern "C" void __real_DC_SetCOMParams(DEVCONTEXT *deviceContext, uint32_t port, uint32_t baud);

extern "C" void __wrap_DC_SetCOMParams(DEVCONTEXT *deviceContext, uint32_t port, uint32_t baud)
{
    if (g_beforePort != nullptr)
        g_beforePort();
    __real_DC_SetCOMParams(deviceContext, port, baud);
}

namespace
{

struct SecondThread : testing::Test
{
    PtyLine line;
    LineHost host{line.name, "Iccmd=0\n"};
    std::thread reader;
    int result = 0;

    // A read of the first thread that is in the middle of a step.
    void BeginRead(COMM_END_TEST endTest = nullptr)
    {
        ASSERT_EQ(COMM_Open(&host.device), 0);
        g_isWaiting = false;
        g_waitIsHeld = true;
        reader = std::thread(
            [this, endTest]
            {
                unsigned char byte;
                result = COMM_Read(&host.device, &byte, 1, 10000, endTest);
            });
        while (!g_isWaiting)
            std::this_thread::yield();
    }
    void EndRead()
    {
        g_waitIsHeld = false;
        if (reader.joinable())
            reader.join();
    }
    void TearDown() override
    {
        EndRead();
        g_signals = 0;
        g_beforePort = nullptr;
        COMM_Close(&host.device);
    }
    // The time a read waits on the line, which the library sets to a tenth of a second.
    int ReadTime() const
    {
        termios settings{};
        EXPECT_EQ(tcgetattr(line.master, &settings), 0);
        return settings.c_cc[VTIME];
    }
};

TEST_F(SecondThread, ALineThatIsClosedDuringAReadStaysWholeUntilTheReadHasLeftIt)
{
    BeginRead();
    const int descriptor = *static_cast<int32_t *>(host.device.device);
    EXPECT_EQ(COMM_Close(&host.device), 0);
    EXPECT_GE(fcntl(descriptor, F_GETFD), 0); // no other file can become it
    unsigned char byte = 0;
    EXPECT_EQ(COMM_Read(&host.device, &byte, 1, 10, nullptr), -1); // closed for everybody else
    EXPECT_EQ(COMM_Write(&host.device, &byte, 1, 10), -1);
    EndRead();
    EXPECT_EQ(result, -62);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(SecondThread, AReadOfALineThatIsClosedEndsAtItsNextStep)
{
    BeginRead([](const unsigned char *, uint32_t) { return 0; });
    EXPECT_EQ(COMM_Close(&host.device), 0);
    EndRead();
    EXPECT_EQ(result, -1);
}

TEST_F(SecondThread, TheSettingsOfALineThatIsClosedDuringAReadGoBackAtOnce)
{
    const int before = ReadTime();
    BeginRead();
    EXPECT_NE(ReadTime(), before);
    EXPECT_EQ(COM_close(host.device.device), 0);
    EXPECT_EQ(ReadTime(), before);
    EXPECT_EQ(COM_close(host.device.device), -1); // closed already
    host.device.isOpen = 0;
    host.device.refCnt = 0;
}

TEST_F(SecondThread, ASignalDoesNotKeepTheSettingsFromGoingBack)
{
    const int before = ReadTime();
    BeginRead();
    g_signals = 2;
    EXPECT_EQ(COMM_Close(&host.device), 0);
    EXPECT_EQ(g_signals, 0);
    EXPECT_EQ(ReadTime(), before);
}

// Between "it is a serial line" and "it is port 3" the record says port 0.
TEST_F(SecondThread, ACommandBesideAnOpenDoesNotOpenAnotherPort)
{
    PtyLine port0;
    GSetComName(0, port0.name.c_str());
    std::future<int> other;
    DEVCONTEXT record{};
    g_beforePort = [&]
    {
        other = std::async(std::launch::async, [&] { return COMM_Open(&record); });
        EXPECT_EQ(other.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    };
    EXPECT_EQ(Vantor_Open(&record, 3, 9600, 0), 0);
    EXPECT_EQ(other.get(), 0);
    EXPECT_EQ(record.refCnt, 2U);
    EXPECT_EQ(DC_GetCOMPort(&record), 3U);
    line.Write({'x'});
    unsigned char byte = 0;
    EXPECT_EQ(COMM_Read(&record, &byte, 1, 10000, nullptr), 1);
    COMM_Close(&record);
    COMM_Close(&record);
}

} // namespace

// A reader that is unplugged in the middle of things, and plugged in again.
#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <thread>

#include "support/host_library.h"
#include "target/usb_reader.h"
#include "vantor.h"

using target::IsRealTime;
using target::SharedReader;
using target::UsbReader;
using testing_support::HostLibrary;

namespace
{

struct Unplug : testing::Test
{
    UsbReader &reader = SharedReader();

    Unplug()
    {
        reader.Refresh();
    }

    hid_device *Open() const
    {
        hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
        EXPECT_NE(device, nullptr);
        // Its read is on the bus.
        EXPECT_TRUE(reader.AwaitCount("reading", 1));
        return device;
    }

    static int Write(hid_device *device)
    {
        const unsigned char report[65] = {0x00, 0x02, 0x01, 0x55};
        return hid_write(device, report, sizeof report);
    }
};

long EntriesOf(const char *directory)
{
    return std::distance(std::filesystem::directory_iterator(directory),
                         std::filesystem::directory_iterator());
}

int NeverEnds(const unsigned char *, uint32_t)
{
    return 0;
}

} // namespace

TEST_F(Unplug, EndsAReadThatWaitsWithoutALimit)
{
    hid_device *device = Open();
    unsigned char data[64];
    std::thread puller([this] { reader.Control("unplug"); });
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    puller.join();
    EXPECT_STREQ(hid_error(device), L"the device is gone");
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 1000), -1); // and every later one
    hid_close(device);
}

TEST_F(Unplug, ReportsThatHadArrivedCanStillBeRead)
{
    hid_device *device = Open();
    reader.Control("usb report 51");
    ASSERT_TRUE(reader.AwaitCount("in", 1));
    ASSERT_TRUE(reader.AwaitCount("reading", 1)); // taken, and the next read is on the bus
    reader.Control("unplug");
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 5000), 1);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 5000), -1);
    hid_close(device);
}

TEST_F(Unplug, EndsAnAnswersWaitLongBeforeItsTimeOut)
{
    DC_Init(&context);
    DC_SetInterfaceType(&context, "hid");
    DC_AddUsbParams(&context, 0x1BC3, 0x0151);
    ASSERT_EQ(COMM_Open(&context), 0);
    std::thread puller([this] { reader.Control("unplug"); });
    unsigned char answer[64];
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(COMM_Read(&context, answer, sizeof answer, 60000, NeverEnds), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    puller.join();
    EXPECT_EQ(COMM_Close(&context), 0);
}

TEST_F(Unplug, InTheMiddleOfAWriteFailsTheWrite)
{
    hid_device *device = Open();
    reader.Control("usb out unplug"); // before it accepts the report
    EXPECT_EQ(Write(device), -1);
    EXPECT_EQ(Write(device), -1); // and every later one
    const unsigned char bytes[70] = {};
    EXPECT_EQ(hid_write_modeid(device, bytes, 70, 2), 62); // the answer's read will tell
    unsigned char data[64];
    EXPECT_EQ(hid_read_modeid(device, data, 62, 1000), -1);
    wchar_t text[32];
    EXPECT_EQ(hid_get_serial_number_string(device, text, 32), -1);
    hid_close(device);
}

TEST_F(Unplug, EndsAWriteThatTheReaderDoesNotAccept)
{
    hid_device *device = Open();
    reader.Control("usb out hold");
    const auto start = std::chrono::steady_clock::now();
    std::thread puller(
        [this]
        {
            EXPECT_TRUE(reader.AwaitCount("held", 1));
            reader.Control("unplug");
        });
    EXPECT_EQ(Write(device), -1);
    if (!IsRealTime())
    {
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    }
    puller.join();
    hid_close(device);
}

TEST_F(Unplug, CloseAfterwardsAndTwiceIsHarmless)
{
    hid_device *device = Open();
    reader.Control("unplug");
    hid_close(device);
    hid_close(device);
}

TEST_F(Unplug, FailsACallThatWaitsForItsAnswer)
{
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    reader.Control("fault unplug"); // instead of the answer
    unsigned char info[256];
    uint32_t length = 0;
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), -1013);
    EXPECT_EQ(CALL(library, BO_DisConnect)(), 0);
    EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), -1000);
    reader.Refresh();
    EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0);
    EXPECT_EQ(CALL(library, BO_Close)(), 0);
}

TEST_F(Unplug, HundredTimesReplugAndReopenLeaveNothingBehind)
{
    HostLibrary library;
    // Some to begin with: libusb and the C library keep what they need once.
    long descriptors = 0;
    long threads = 0;
    const int rounds = IsRealTime() ? 5 : 100;
    for (int i = 0; i < rounds; ++i)
    {
        ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0) << i;
        unsigned char info[256];
        uint32_t length = 0;
        ASSERT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0) << i;
        ASSERT_EQ(std::string(info, info + length), "Virtual reader V1.0");
        reader.Control("unplug");
        // By turns closed and forgotten: the next open lets go of what was forgotten.
        if (i % 2 == 0)
            CALL(library, BO_Close)();
        else
            CALL(library, BO_DisConnect)();
        reader.Plug();
        if (i == 1)
        {
            descriptors = EntriesOf("/proc/self/fd");
            threads = EntriesOf("/proc/self/task");
        }
        if (i % 2 == 1 && i > 1)
        {
            ASSERT_LE(EntriesOf("/proc/self/fd"), descriptors) << i;
            ASSERT_LE(EntriesOf("/proc/self/task"), threads) << i;
        }
    }
}

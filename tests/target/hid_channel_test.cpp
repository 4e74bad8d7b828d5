// The HID channel over the real libusb and the kernel's USB stack.
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>
#include <thread>

#include "target/usb_reader.h"
#include "vantor.h"
#include "vreader/virtual_reader.h"

using target::IsRealTime;
using target::SharedReader;
using target::UsbReader;

namespace
{

struct HidChannel : testing::Test
{
    UsbReader &reader = SharedReader();
    hid_device *device;

    HidChannel()
    {
        reader.Refresh();
        device = hid_open(0x1BC3, 0x0151, nullptr);
        EXPECT_NE(device, nullptr);
    }
    ~HidChannel() override
    {
        hid_close(device);
    }

    std::string Read(int milliseconds = 2000) const
    {
        unsigned char data[65];
        const int count = hid_read_timeout(device, data, sizeof data, milliseconds);
        if (count < 0)
            return "failed";
        return {data, data + count};
    }

    int Write() const
    {
        const unsigned char report[65] = {0x00, 0x02, 0x01, 0x55};
        return hid_write(device, report, sizeof report);
    }

    // Everything sent has been fetched by the read thread.
    void AwaitFetched(long count) const
    {
        ASSERT_TRUE(reader.AwaitCount("in", count));
    }
};

struct Stopwatch
{
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

    double Milliseconds() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count();
    }
};

// On the virtual clock a limit is met to the millisecond; in real time only not too early.
void ExpectTook(const Stopwatch &stopwatch, double milliseconds)
{
    EXPECT_GE(stopwatch.Milliseconds(), milliseconds - 0.5);
    if (!IsRealTime())
    {
        EXPECT_LT(stopwatch.Milliseconds(), milliseconds + 3);
    }
}

} // namespace

// ---- Finding and texts ----

TEST_F(HidChannel, EnumerationNamesTheReader)
{
    hid_device_info *info = hid_enumerate(0x1BC3, 0x0151);
    ASSERT_NE(info, nullptr);
    EXPECT_THAT(info->path, testing::MatchesRegex("0001:00[0-9a-f][0-9a-f]:00"));
    EXPECT_STREQ(info->manufacturer_string, L"Vantor");
    EXPECT_STREQ(info->product_string, L"Virtual reader");
    EXPECT_STREQ(info->serial_number, L"VIRTUAL-01");
    EXPECT_EQ(info->release_number, 0x0100);
    EXPECT_EQ(info->interface_number, 0);
    EXPECT_EQ(info->next, nullptr);
    hid_free_enumeration(info);
    EXPECT_EQ(hid_enumerate(0x1BC3, 0x0152), nullptr);
}

TEST_F(HidChannel, OpensByItsSerialNumberToo)
{
    EXPECT_EQ(hid_open(0x1BC3, 0x0151, L"VIRTUAL-02"), nullptr);
    hid_close(device);
    device = hid_open(0x1BC3, 0x0151, L"VIRTUAL-01");
    EXPECT_NE(device, nullptr);
}

TEST_F(HidChannel, GivesTheTextsOfAnOpenDevice)
{
    wchar_t text[64];
    EXPECT_EQ(hid_get_manufacturer_string(device, text, 64), 0);
    EXPECT_STREQ(text, L"Vantor");
    EXPECT_EQ(hid_get_product_string(device, text, 8), 0);
    EXPECT_STREQ(text, L"Virtual"); // cut
    EXPECT_EQ(hid_get_serial_number_string(device, text, 64), 0);
    EXPECT_STREQ(text, L"VIRTUAL-01");
    EXPECT_EQ(hid_get_indexed_string(device, 2, text, 64), 0);
    EXPECT_STREQ(text, L"Virtual reader");
    EXPECT_EQ(hid_get_indexed_string(device, 9, text, 64), -1);
    EXPECT_STREQ(hid_error(device), L"the device has no such text");
}

TEST_F(HidChannel, FeatureReportsGoBothWays)
{
    unsigned char feature[65] = {0x00, 0xA5, 0x5A};
    EXPECT_EQ(hid_send_feature_report(device, feature, sizeof feature), 65);
    unsigned char back[65] = {0x00};
    EXPECT_EQ(hid_get_feature_report(device, back, sizeof back), 65);
    EXPECT_EQ(std::string(back, back + 65), std::string(feature, feature + 65));
    feature[0] = 0x07; // no report of this number
    EXPECT_EQ(hid_send_feature_report(device, feature, sizeof feature), -1);
    EXPECT_STREQ(hid_error(device), L"the device refused the request");
}

// ---- Input reports ----

TEST_F(HidChannel, ReportsAreHandedOnAsReceived)
{
    reader.Control("usb report 0201550000000000000000");
    EXPECT_EQ(Read(), std::string("\x02\x01\x55\0\0\0\0\0\0\0\0", 11));
    reader.Control("usb report " + std::string(128, 'A'));
    EXPECT_EQ(Read(), std::string(64, '\xAA'));
    reader.Control("usb report 42");
    EXPECT_EQ(Read(), "\x42");
    EXPECT_EQ(Read(0), "");
}

TEST_F(HidChannel, TheReadersHeaderIsCutOffAndTwoBytesAreNoReport)
{
    unsigned char payload[62];
    reader.Control("usb report 0201");
    EXPECT_EQ(hid_read_modeid(device, payload, sizeof payload, 2000), -1);
    reader.Control("usb report 020155");
    EXPECT_EQ(hid_read_modeid(device, payload, sizeof payload, 2000), 1);
    EXPECT_EQ(payload[0], 0x55);
    reader.Control("usb report " + std::string(128, 'B'));
    EXPECT_EQ(hid_read_modeid(device, payload, sizeof payload, 2000), 62);
}

TEST_F(HidChannel, ThirtyReportsAreKeptAndTheOldestGoFirst)
{
    for (int i = 0; i < 40; ++i)
    {
        char line[32];
        snprintf(line, sizeof line, "usb report %02X", i);
        reader.Control(line);
    }
    AwaitFetched(40);
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the last one reaches the queue
    for (int i = 10; i < 40; ++i)
        EXPECT_EQ(Read(0), std::string(1, static_cast<char>(i)));
    EXPECT_EQ(Read(0), "");
}

TEST_F(HidChannel, AnEmptyReportIsNone)
{
    reader.Control("usb report -");
    reader.Control("usb report 43");
    EXPECT_EQ(Read(), "\x43");
}

TEST_F(HidChannel, AReadWithoutReportsEndsAtItsLimit)
{
    unsigned char payload[62];
    const Stopwatch stopwatch;
    EXPECT_EQ(hid_read_modeid(device, payload, sizeof payload, 10), 0);
    ExpectTook(stopwatch, 10);
    const Stopwatch longer;
    EXPECT_EQ(Read(250), "");
    ExpectTook(longer, 250);
}

TEST_F(HidChannel, ALateReportIsWaitedFor)
{
    reader.Control("usb in delay 150");
    const Stopwatch stopwatch;
    reader.Control("usb report 44");
    EXPECT_EQ(Read(), "\x44");
    EXPECT_GE(stopwatch.Milliseconds(), 149);
}

TEST_F(HidChannel, ReportsStillComeAfterTheReadThreadsOwnTimeLimit)
{
    // Its transfers end after 5 s and are submitted again: on the virtual clock that costs nothing.
    EXPECT_EQ(Read(IsRealTime() ? 100 : 5500), "");
    reader.Control("usb report 45");
    EXPECT_EQ(Read(), "\x45");
    if (!IsRealTime())
    {
        reader.Control("usb in delay 12000");
        reader.Control("usb report 46");
        EXPECT_EQ(Read(13000), "\x46");
    }
}

TEST_F(HidChannel, ReadsWithoutALimitAndNonBlockingOnes)
{
    unsigned char data[64];
    EXPECT_EQ(hid_set_nonblocking(device, 1), 0);
    EXPECT_EQ(hid_read(device, data, sizeof data), 0);
    EXPECT_EQ(hid_set_nonblocking(device, 0), 0);
    reader.Control("usb in delay 50");
    reader.Control("usb report 47");
    EXPECT_EQ(hid_read(device, data, sizeof data), 1);
}

// ---- Trouble on the way in ----

TEST_F(HidChannel, AStalledEndpointIsClearedAndItsReportArrives)
{
    reader.Control("usb in stall");
    reader.Control("usb report 48");
    EXPECT_EQ(Read(), "\x48");
}

TEST_F(HidChannel, AFailedTransferIsRepeated)
{
    reader.Control("usb in error count 5");
    reader.Control("usb report 49");
    EXPECT_EQ(Read(), "\x49");
}

TEST_F(HidChannel, AnOverLongPacketIsDroppedAndTheNextReportArrives)
{
    reader.Control("usb report " + std::string(130, 'C')); // 65 bytes for a 64-byte endpoint
    reader.Control("usb in babble");
    reader.Control("usb report 4A");
    reader.Control("usb report 4B");
    EXPECT_EQ(Read(), "\x4B");
}

TEST_F(HidChannel, ACutReportIsAShortOneAndALostOneIsNone)
{
    reader.Control("usb in cut 3");
    reader.Control("usb report 0102030405");
    reader.Control("usb in drop");
    reader.Control("usb report 4C");
    reader.Control("usb report 4D");
    EXPECT_EQ(Read(), "\x01\x02\x03");
    EXPECT_EQ(Read(), "\x4D");
}

// ---- Output reports ----

TEST_F(HidChannel, AReportLeavesWithoutItsNumber)
{
    EXPECT_EQ(Write(), 65);
    EXPECT_EQ(reader.Control("usb reports"), "ok 0201");
    EXPECT_EQ(reader.Control("received clear").substr(0, 5), "ok 55");
}

TEST_F(HidChannel, AMessageOf150BytesIsThreeReports)
{
    hid_close(device);
    device = nullptr;
    DC_Init(&context);
    DC_SetInterfaceType(&context, "hid");
    DC_SetModeId(&context, 2);
    DC_AddUsbParams(&context, 0x1BC3, 0x0151);
    ASSERT_EQ(COMM_Open(&context), 0);
    const unsigned char message[150] = {};
    EXPECT_EQ(COMM_Write(&context, message, sizeof message, 1000), 150);
    EXPECT_EQ(reader.Control("usb reports"), "ok 023E 023E 021A");
    EXPECT_EQ(COMM_Close(&context), 0);
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidChannel, AStalledOutputFailsOnceAndIsClearedForTheNextReport)
{
    reader.Control("usb out stall");
    EXPECT_EQ(Write(), -1);
    EXPECT_STREQ(hid_error(device), L"the device refused the request");
    EXPECT_EQ(Write(), 65);
}

TEST_F(HidChannel, AnOutputThatFailsOnTheBusIsReported)
{
    reader.Control("usb out error");
    EXPECT_EQ(Write(), -1);
    EXPECT_EQ(Write(), 65);
}

TEST_F(HidChannel, AnOutputThatIsNotAcceptedEndsAfterASecond)
{
    reader.Control("usb out hold");
    const Stopwatch stopwatch;
    EXPECT_EQ(Write(), -1);
    ExpectTook(stopwatch, 1000);
    EXPECT_STREQ(hid_error(device), L"the device did not take the report in time");
    EXPECT_EQ(reader.Count("held"), 0); // taken back
    EXPECT_EQ(Write(), 65);
}

TEST_F(HidChannel, ModeIdWritesAreNotJudged)
{
    reader.Control("usb out stall");
    const unsigned char bytes[70] = {};
    EXPECT_EQ(hid_write_modeid(device, bytes, 70, 1), 62);
    EXPECT_EQ(hid_write_modeid(device, bytes, 8, 1), 8);
    EXPECT_EQ(reader.Control("usb reports"), "ok 0108");
}

// ---- Both ways ----

TEST(HidExchanges, TenThousandLoseNoReport)
{
    // This reader is a thread of the test's own process: what costs most in the machine is
    // switching from one process to another.
    vreader::UsbOptions options;
    options.attach = true;
    options.vendorId = 0x1234;
    std::string error;
    vreader::RunningReader *own = vreader::StartUsbReader({}, options, &error);
    ASSERT_NE(own, nullptr) << error;
    ASSERT_TRUE(target::AwaitKernelDriver(0x1234, 0x0151));
    ASSERT_EQ(vreader::Control(own, "usb echo on"), "ok");
    hid_device *device = hid_open(0x1234, 0x0151, nullptr);
    ASSERT_NE(device, nullptr);

    // In real time less than that shows what there is to see.
    const int exchanges = IsRealTime() ? 500 : 10000;
    unsigned char report[65] = {};
    unsigned char back[65];
    int right = 0;
    for (int i = 0; i < exchanges; ++i)
    {
        report[1] = static_cast<unsigned char>(i);
        report[64] = static_cast<unsigned char>(i >> 8);
        if (hid_write(device, report, sizeof report) == 65 &&
            hid_read_timeout(device, back, sizeof back, 5000) == 64 &&
            memcmp(back, report + 1, 64) == 0)
            ++right;
    }
    EXPECT_EQ(right, exchanges);
    const std::string count = std::to_string(exchanges);
    EXPECT_THAT(vreader::Control(own, "usb info"),
                testing::AllOf(testing::HasSubstr("\"in\":" + count + ","),
                               testing::HasSubstr("\"out\":" + count + ","),
                               testing::HasSubstr("\"lost\":0,")));
    hid_close(device);
    vreader::StopReader(own);
}

TEST_F(HidChannel, CommandsOfTheReaderAreAnsweredOneReportEach)
{
    const std::string command = "\x02\x0B"
                                "60028100E3\x03";
    unsigned char report[65] = {};
    command.copy(reinterpret_cast<char *>(report) + 1, command.size());
    const std::string answer =
        std::string("\x02\x2F") + "6014005669727475616C207265616465722056312E30";
    for (int i = 0; i < 200; ++i)
    {
        ASSERT_EQ(hid_write(device, report, sizeof report), 65) << i;
        ASSERT_EQ(Read().substr(0, answer.size()), answer) << i;
    }
    EXPECT_EQ(reader.Count("out"), 200);
    EXPECT_EQ(reader.Count("in"), 200);
}

TEST_F(HidChannel, AWriterAndAReaderInTwoThreadsDoNotWaitForEachOther)
{
    const int reports = 200;
    int received = 0;
    std::thread receiver(
        [&]
        {
            while (received < reports && Read(5000).size() == 1)
                ++received;
        });
    std::thread sender(
        [&]
        {
            for (int i = 0; i < reports; ++i)
            {
                // Never so far ahead that the queue of 30 overflows.
                if (i % 20 == 0)
                {
                    EXPECT_TRUE(reader.AwaitCount("in", i));
                }
                reader.Control("usb report 4E");
            }
        });
    int written = 0;
    for (int i = 0; i < reports; ++i)
        written += Write() == 65 ? 1 : 0;
    sender.join();
    receiver.join();
    EXPECT_EQ(written, reports);
    EXPECT_EQ(received, reports);
}

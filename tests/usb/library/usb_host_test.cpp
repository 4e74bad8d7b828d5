// The whole library over USB, as a host application loads and calls it; libusb is the stand-in.
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <gmock/gmock.h>

#include "support/host_library.h"
#include "usb/library/usb_reader.h"
#include "usb/usb_bench.h"

using testing_support::HostLibrary;
using testing_support::ShippedConfig;
using testing_support::WithSetting;
using usb_standin::kNothingHeld;

namespace
{

using UsbHost = UsbBench;

long ThreadCount()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                         std::filesystem::directory_iterator());
}

std::string DeviceInformation(const HostLibrary &library, int *result)
{
    unsigned char info[256];
    uint32_t length = 0;
    *result = CALL(library, BO_GetDevInfo)(0, info, &length);
    return *result == 0 ? std::string(info, info + length) : "";
}

TEST_F(UsbHost, ReadsTheReaderAndABankCardOverUsb)
{
    UsbReader reader("pboc-debit");
    ASSERT_NE(reader.reader, nullptr) << reader.error;
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    int result = 0;
    EXPECT_EQ(DeviceInformation(library, &result), "Virtual reader V1.0");

    char atr[512];
    int32_t atrLength = 0;
    int32_t cardType = -1;
    EXPECT_EQ(CALL(library, BO_IcPowerOn)(0, sizeof atr, atr, &atrLength, &cardType, 5), 0);
    EXPECT_EQ(std::string(atr, static_cast<size_t>(atrLength)), "3B68000056414E544F523031");
    EXPECT_EQ(cardType, 0);

    char info[5000];
    EXPECT_EQ(CALL(library, BO_ICGetInfo)(0, "AB", 0, info, 5), 0);
    EXPECT_STREQ(info, "A0196200000000000000018B009ZHANG SAN");

    EXPECT_EQ(CALL(library, BO_Close)(), 0);
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
}

TEST_F(UsbHost, ReadsTheTransactionLogOfTheRecordedCard)
{
    UsbReader reader;
    ASSERT_NE(reader.reader, nullptr) << reader.error;
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    static char detail[28000];
    EXPECT_EQ(CALL(library, BO_ICGetDetail)(0, 0, detail, 5), 0);
    const std::string text = detail;
    EXPECT_EQ(text.size(), 5u + 3 * 106);
    EXPECT_THAT(text, testing::StartsWith("03106P012"));
    EXPECT_EQ(CALL(library, BO_Close)(), 0);
}

TEST_F(UsbHost, TheTerminalStandardCallsReachTheReaderByThePortNameUsb)
{
    UsbReader reader;
    ASSERT_NE(reader.reader, nullptr) << reader.error;
    HostLibrary library;
    static char detail[28000];
    int32_t icType = 1;
    int32_t length = sizeof detail;
    EXPECT_EQ(CALL(library, IC_GetTranDeta)("USB", nullptr, 9600, 5, &icType, "", &length, detail),
              0);
    EXPECT_THAT(std::string(detail), testing::StartsWith("03106P012"));
    EXPECT_EQ(length, static_cast<int32_t>(strlen(detail)));
    EXPECT_STREQ(VARIABLE(library, g_szComName)[1], "/dev/ttyAMA0");
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
}

TEST_F(UsbHost, TheFirstCommandIsOneReportWithTheModeIdOfItsLink)
{
    UsbReader reader;
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    int result = 0;
    DeviceInformation(library, &result);
    EXPECT_EQ(result, 0);
    const std::vector<usb_standin::OutTransfer> out = usb_standin::OutTransfers(reader.device);
    ASSERT_EQ(out.size(), 1u);
    usb_standin::Bytes report = {
        0x02,                                              // mode id: IC command link, devtype 0
        0x0B,                                              // payload length
        '6',  '0', '0', '2', '8', '1', '0', '0', 'E', '3', // the command's frame
        0x03,                                              // ETX, its end
    };
    report.resize(64);
    EXPECT_EQ(out[0].data, report);
    CALL(library, BO_Close)();
}

TEST_F(UsbHost, AReaderWithoutModeIdsGetsModeIdZero)
{
    UsbReader reader;
    HostLibrary library(WithSetting(ShippedConfig(), "devtype", "1"));
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    int result = 0;
    EXPECT_EQ(DeviceInformation(library, &result), "Virtual reader V1.0");
    EXPECT_EQ(usb_standin::OutTransfers(reader.device).at(0).data[0], 0);
    CALL(library, BO_Close)();
}

TEST_F(UsbHost, TheConnectionTestOpensReadsAndCloses)
{
    UsbReader reader;
    HostLibrary library;
    unsigned char info[256];
    uint32_t length = 0;
    EXPECT_EQ(CALL(library, BO_InitConnect)(0, 9600, 0, 0, 0, info, &length), 0);
    EXPECT_EQ(std::string(info, info + length), "Virtual reader V1.0");
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
    EXPECT_EQ(CALL(library, BO_InitConnect_PID)(0x1BC3, 0x0151, 0, info, &length), 0);
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
}

TEST_F(UsbHost, WithoutAReaderTheOpenFailsAndNothingIsHeld)
{
    HostLibrary library;
    EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), -1000);
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
    UsbReader reader; // plugged in now: found without anything being restarted
    EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    CALL(library, BO_Close)();
}

TEST_F(UsbHost, ADisconnectedReaderIsOpenedAgain)
{
    UsbReader reader;
    HostLibrary library;
    for (int i = 0; i < 3; ++i)
    {
        ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0) << i;
        int result = 0;
        EXPECT_EQ(DeviceInformation(library, &result), "Virtual reader V1.0") << i;
        EXPECT_EQ(CALL(library, BO_DisConnect)(), 0);
        EXPECT_EQ(usb_standin::Count().claims, 1); // it was not closed
    }
    library.Unload();
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
}

TEST_F(UsbHost, AnUnpluggedReaderFailsAtOnceAndOneThatIsThereAgainIsOpened)
{
    HostLibrary library;
    int result = 0;
    {
        UsbReader reader;
        ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
        usb_standin::Unplug(reader.device);
        const Stopwatch stopwatch;
        DeviceInformation(library, &result);
        EXPECT_NE(result, 0);
        EXPECT_LT(stopwatch.Milliseconds(), 900.0); // its time-out is 1000 ms
        EXPECT_EQ(CALL(library, BO_DisConnect)(), 0);
    }
    UsbReader reader("", 3);
    EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    EXPECT_EQ(DeviceInformation(library, &result), "Virtual reader V1.0");
    EXPECT_EQ(usb_standin::Count().contexts, 1); // the one that is gone has been let go
    CALL(library, BO_Close)();
}

TEST_F(UsbHost, UnloadingEndsTheReadThreadOfAnOpenDevice)
{
    UsbReader reader;
    const long threads = ThreadCount();
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    EXPECT_EQ(ThreadCount(), threads + 1);
    library.Unload();
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
}

TEST_F(UsbHost, UnloadingEndsTheReadThreadsOfForgottenDevices)
{
    UsbReader reader;
    UsbReader other("", 3);
    const long threads = ThreadCount();
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    CALL(library, BO_DisConnect)();
    ASSERT_NE(CALL(library, hid_open_path)("0001:0003:00"), nullptr);
    EXPECT_EQ(ThreadCount(), threads + 2);
    library.Unload();
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_EQ(usb_standin::Count(), kNothingHeld);
}

TEST_F(UsbHost, AProcessThatExitsWithTheDeviceOpenEndsCleanly)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            auto *reader = new UsbReader; // both outlive the exit
            auto *library = new HostLibrary;
            alarm(60);
            if (CALL(*library, BO_Open)(0, 9600, 0) != 0 || reader->reader == nullptr)
                _exit(1);
            std::filesystem::remove_all(library->directory.path);
            exit(23);
        },
        testing::ExitedWithCode(23), "");
}

} // namespace

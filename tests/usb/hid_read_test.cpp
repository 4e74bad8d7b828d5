// The read thread, the queue of reports and the waits of a reader.
#include <atomic>
#include <thread>

#include "usb/usb_bench.h"

using usb_standin::Bytes;
using usb_standin::InTransfers;
using usb_standin::SendOutcome;
using usb_standin::SendReport;
using usb_standin::WaitForSubmissions;

namespace
{

using HidRead = OpenReader;

constexpr int kSoonMs = 5000; // far above what a report takes; reached only when a test fails

TEST_F(HidRead, OneInterruptInTransferOfThePacketSizeWithAFiveSecondLimitIsInFlight)
{
    const std::vector<usb_standin::InTransfer> in = InTransfers(reader);
    ASSERT_EQ(in.size(), 1u);
    EXPECT_EQ(in[0].endpoint, 0x81);
    EXPECT_EQ(in[0].length, 64);
    EXPECT_EQ(in[0].timeoutMs, 5000u);
}

TEST_F(HidRead, AReportArrivesByteForByteWithoutAReportNumber)
{
    Bytes report;
    for (int i = 0; i < 64; ++i)
        report.push_back(static_cast<uint8_t>(0xA0 + i));
    SendReport(reader, report);
    Bytes data(65, 0xEE);
    EXPECT_EQ(hid_read_timeout(device, data.data(), data.size(), kSoonMs), 64);
    report.push_back(0xEE); // nothing behind it is touched
    EXPECT_EQ(data, report);
}

TEST_F(HidRead, AShortReportKeepsItsLength)
{
    SendReport(reader, {0x07, 0x08});
    unsigned char data[64] = {};
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 2);
    EXPECT_EQ(data[0], 0x07);
    EXPECT_EQ(data[1], 0x08);
}

TEST_F(HidRead, AReportLongerThanTheBufferIsCutAndItsRestLost)
{
    SendReport(reader, {0x01, 0x02, 0x03, 0x04});
    SendReport(reader, {0x05});
    Bytes data(4, 0xEE);
    EXPECT_EQ(hid_read_timeout(device, data.data(), 2, kSoonMs), 2);
    EXPECT_EQ(data, (Bytes{0x01, 0x02, 0xEE, 0xEE}));
    EXPECT_EQ(hid_read_timeout(device, data.data(), 4, kSoonMs), 1);
    EXPECT_EQ(data[0], 0x05);
}

TEST_F(HidRead, ABufferOfNoBytesTakesAReportAndCopiesNothing)
{
    Queue({0x01});
    Queue({0x02});
    unsigned char data[1] = {0xEE};
    EXPECT_EQ(hid_read_timeout(device, data, 0, kSoonMs), 0);
    EXPECT_EQ(data[0], 0xEE);
    EXPECT_EQ(hid_read_timeout(device, data, 1, 0), 1);
    EXPECT_EQ(data[0], 0x02);
}

TEST_F(HidRead, ANullBufferIsRefusedAndTakesNothing)
{
    Queue({0x01});
    EXPECT_EQ(hid_read_timeout(device, nullptr, 64, kSoonMs), -1);
    EXPECT_EQ(hid_read(device, nullptr, 64), -1);
    unsigned char data[1];
    EXPECT_EQ(hid_read_timeout(device, data, 1, 0), 1);
}

TEST_F(HidRead, ReportsComeInTheOrderTheyWereSent)
{
    for (uint8_t i = 1; i <= 5; ++i)
        Queue({i});
    for (uint8_t i = 1; i <= 5; ++i)
    {
        unsigned char data[64] = {};
        EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), 1);
        EXPECT_EQ(data[0], i);
    }
}

TEST_F(HidRead, ThirtyReportsAreKept)
{
    for (uint8_t i = 1; i <= 30; ++i)
        Queue({i});
    for (uint8_t i = 1; i <= 30; ++i)
    {
        unsigned char data[64] = {};
        EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), 1);
        EXPECT_EQ(data[0], i);
    }
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), 0);
}

TEST_F(HidRead, TheThirtyFirstReportDropsTheOldest)
{
    for (uint8_t i = 1; i <= 31; ++i)
        Queue(Bytes(i, i)); // each of its own length, so that no length stays with a slot
    for (uint8_t i = 2; i <= 31; ++i)
    {
        Bytes data(64);
        ASSERT_EQ(hid_read_timeout(device, data.data(), data.size(), 0), i);
        data.resize(i);
        EXPECT_EQ(data, Bytes(i, i));
    }
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), 0);
}

// ---- Waiting ----

TEST_F(HidRead, WithNothingArrivingALimitOfTenMillisecondsGivesZeroAfterTen)
{
    const Stopwatch stopwatch;
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 10), 0);
    EXPECT_GE(stopwatch.Milliseconds(), 9.0);
    EXPECT_LT(stopwatch.Milliseconds(), 2000.0);
    EXPECT_EQ(hid_error(device), nullptr); // running into the limit is no failure
}

TEST_F(HidRead, ALimitThatCrossesAFullSecondIsKept)
{
    // 999 ms carry into the next second at all but one in a thousand moments.
    const Stopwatch stopwatch;
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 999), 0);
    EXPECT_GE(stopwatch.Milliseconds(), 990.0);
}

TEST_F(HidRead, ALimitOfZeroOrBelowMinusOneDoesNotWait)
{
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), 0);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -2), 0);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -2147483647 - 1), 0);
}

TEST_F(HidRead, WithoutALimitAReadWaitsForItsReport)
{
    std::atomic<int> result{-100};
    std::thread waiting(
        [&]
        {
            unsigned char data[64];
            result = hid_read_timeout(device, data, sizeof data, -1);
        });
    EXPECT_EQ(result, -100);
    SendReport(reader, ReportOf(0x01));
    waiting.join();
    EXPECT_EQ(result, 64);
}

TEST_F(HidRead, TheLongestLimitWaitsForItsReport)
{
    std::thread sender([&] { SendReport(reader, ReportOf(0x01)); });
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 2147483647), 64);
    sender.join();
}

TEST_F(HidRead, PlainReadWaitsUnlessItIsSetNotTo)
{
    unsigned char data[64];
    EXPECT_EQ(hid_set_nonblocking(device, 1), 0);
    EXPECT_EQ(hid_read(device, data, sizeof data), 0);
    Queue({0x01, 0x02});
    EXPECT_EQ(hid_read(device, data, sizeof data), 2);

    EXPECT_EQ(hid_set_nonblocking(device, 0), 0);
    std::thread sender([&] { SendReport(reader, ReportOf(0x01)); });
    EXPECT_EQ(hid_read(device, data, sizeof data), 64);
    sender.join();
}

TEST_F(HidRead, EachReportGoesToOneOfSeveralReadersAndNoneComesBackEmptyHanded)
{
    // A reader that is woken may find that another has taken the report: it goes on waiting.
    constexpr int kReports = 400;
    std::atomic<int> taken{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back(
            [&]
            {
                unsigned char data[64];
                int result;
                while ((result = hid_read_timeout(device, data, sizeof data, -1)) == 64)
                    ++taken;
                wrong += result != -1;
            });
    for (int i = 0; i < kReports; ++i)
    {
        Queue(ReportOf(0x01));
        while (taken < i - 20) // keeps the queue from dropping any
            std::this_thread::yield();
    }
    while (taken < kReports)
        std::this_thread::yield();
    usb_standin::Unplug(reader);
    for (std::thread &thread : readers)
        thread.join();
    EXPECT_EQ(taken, kReports);
    EXPECT_EQ(wrong, 0);
}

// ---- How transfers end ----

TEST_F(HidRead, ADeviceThatIsGoneGivesWhatIsQueuedAndThenMinusOneAtOnce)
{
    Queue({0x01});
    Queue({0x02});
    usb_standin::Unplug(reader);
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), -1);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), -1);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    EXPECT_EQ(hid_read(device, data, sizeof data), -1);
    EXPECT_STREQ(hid_error(device), L"the device is gone");
}

TEST_F(HidRead, AnUnplugWakesEveryWaitingReader)
{
    std::vector<std::thread> readers;
    std::atomic<int> sum{0};
    for (int i = 0; i < 3; ++i)
        readers.emplace_back(
            [&]
            {
                unsigned char data[64];
                sum += hid_read_timeout(device, data, sizeof data, -1);
            });
    usb_standin::Unplug(reader);
    for (std::thread &thread : readers)
        thread.join();
    EXPECT_EQ(sum, -3);
}

TEST_F(HidRead, ACancelledTransferShutsTheDeviceDown)
{
    SendOutcome(reader, LIBUSB_TRANSFER_CANCELLED);
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    EXPECT_EQ(InTransfers(reader).size(), 1u);
}

TEST_F(HidRead, ATransferThatRanIntoItsLimitIsSubmittedAgainAtOnce)
{
    const Stopwatch stopwatch;
    for (int i = 0; i < 100; ++i)
        SendOutcome(reader, LIBUSB_TRANSFER_TIMED_OUT);
    ASSERT_TRUE(WaitForSubmissions(reader, 101));
    EXPECT_LT(stopwatch.Milliseconds(), 2000.0); // pauses would make it 90 s
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 0), 0);
}

TEST_F(HidRead, AReportThatComesInTheMomentOfTheLimitIsKept)
{
    SendOutcome(reader, LIBUSB_TRANSFER_TIMED_OUT, ReportOf(0x55));
    unsigned char data[64] = {};
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 64);
    EXPECT_EQ(data[63], 0x55);
}

TEST_F(HidRead, AnErrorOrOverflowIsSubmittedAgainAndItsBytesAreDropped)
{
    SendOutcome(reader, LIBUSB_TRANSFER_ERROR, {0x01, 0x02, 0x03});
    SendOutcome(reader, LIBUSB_TRANSFER_OVERFLOW, {0x04, 0x05, 0x06});
    SendReport(reader, Bytes(65, 0x07)); // more than the endpoint's packet: an overflow
    SendReport(reader, {0x08});
    unsigned char data[64] = {};
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    EXPECT_EQ(data[0], 0x08);
}

TEST_F(HidRead, AStalledEndpointIsClearedAndReadOn)
{
    SendOutcome(reader, LIBUSB_TRANSFER_STALL);
    SendReport(reader, {0x09});
    unsigned char data[64] = {};
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    EXPECT_EQ(data[0], 0x09);
    const std::vector<std::string> journal = usb_standin::Journal();
    EXPECT_EQ(std::count(journal.begin(), journal.end(), "clear halt 81"), 1);
}

TEST_F(HidRead, AnEmptyReportIsDropped)
{
    SendReport(reader, {});
    SendReport(reader, {0x0A});
    unsigned char data[64] = {};
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    EXPECT_EQ(data[0], 0x0A);
}

TEST_F(HidRead, AnEndpointThatOnlyFailsIsSubmittedEverMoreSlowly)
{
    const Stopwatch stopwatch;
    for (int i = 0; i < 1000; ++i)
        SendOutcome(reader, LIBUSB_TRANSFER_STALL);
    // At once after the first three, then after 10, 20, 40 and 80 ms.
    ASSERT_TRUE(WaitForSubmissions(reader, 8));
    EXPECT_GE(stopwatch.Milliseconds(), 150.0);
    hid_close(device); // does not wait for the pause
    device = nullptr;
    EXPECT_LT(InTransfers(reader).size(), 20u);
}

TEST_F(HidRead, AReportEndsTheRowOfFailures)
{
    const Stopwatch stopwatch;
    for (int i = 0; i < 50; ++i)
    {
        for (int failure = 0; failure < 3; ++failure)
            SendOutcome(reader, LIBUSB_TRANSFER_ERROR);
        SendReport(reader, {0x01});
    }
    ASSERT_TRUE(WaitForSubmissions(reader, 201));
    EXPECT_LT(stopwatch.Milliseconds(), 2000.0); // as one row it would take minutes
}

TEST_F(HidRead, ASubmissionThatFailsOnceIsMadeAgain)
{
    for (const libusb_error error : {LIBUSB_ERROR_IO, LIBUSB_ERROR_NO_MEM})
    {
        usb_standin::Fail(usb_standin::Call::Submit, error, 2);
        SendReport(reader, {0x0B});
        SendReport(reader, {0x0C});
        unsigned char data[64];
        EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
        EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    }
}

TEST_F(HidRead, ASubmissionToADeviceThatIsGoneShutsItDownAtOnce)
{
    usb_standin::Fail(usb_standin::Call::Submit, LIBUSB_ERROR_NO_DEVICE);
    SendReport(reader, {0x0B});
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), 1); // what came is kept
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    EXPECT_STREQ(hid_error(device), L"the device is gone");
}

TEST_F(HidRead, SubmissionsThatFailForGoodShutTheDeviceDown)
{
    usb_standin::Fail(usb_standin::Call::Submit, LIBUSB_ERROR_IO, 1000);
    SendReport(reader, {0x0B});
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), 1); // what came is kept
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    EXPECT_STREQ(hid_error(device), L"the transfer failed on the bus");
}

TEST_F(HidRead, ACompletionHandledByAWritingThreadIsReceived)
{
    SendReport(reader, {0x0C}, usb_standin::HandledBy::Writer);
    const unsigned char report[65] = {};
    EXPECT_EQ(hid_write(device, report, sizeof report), 65);
    unsigned char data[64] = {};
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 1);
    EXPECT_EQ(data[0], 0x0C);
}

TEST_F(HidRead, ReadersAndWritersWorkSideBySide)
{
    usb_standin::OnOutReport(reader, [this](const Bytes &report) { SendReport(reader, report); });
    std::thread writer(
        [&]
        {
            unsigned char report[65] = {};
            for (int i = 0; i < 30; ++i)
            {
                report[1] = static_cast<unsigned char>(i);
                EXPECT_EQ(hid_write(device, report, sizeof report), 65);
            }
        });
    for (int i = 0; i < 30; ++i)
    {
        unsigned char data[64] = {};
        ASSERT_EQ(hid_read_timeout(device, data, sizeof data, kSoonMs), 64);
        EXPECT_EQ(data[0], i);
    }
    writer.join();
}

} // namespace

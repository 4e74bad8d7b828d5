// Opening, closing, and the devices that are left behind.
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "usb/usb_bench.h"

using usb_standin::Call;
using usb_standin::Fail;
using usb_standin::Journal;
using usb_standin::Plug;
using usb_standin::ReaderModel;

namespace
{

using HidLifecycle = UsbBench;
using List = std::vector<std::string>;

hid_device *Open()
{
    return hid_open(0x1BC3, 0x0151, nullptr);
}

int ReadNow(hid_device *device)
{
    unsigned char data[64];
    return hid_read_timeout(device, data, sizeof data, 0);
}

TEST_F(HidLifecycle, OpenDetachesTheKernelDriverClaimsAndStartsReading)
{
    Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(Journal(), (List{"exit", "open", "detach 0", "claim 0", "submit 81"}));
    hid_close(device);
}

TEST_F(HidLifecycle, WithoutAKernelDriverNothingIsDetached)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.kernelDrivers.clear();
    Plug(model, 1, 2);
    hid_device *device = Open();
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(Journal(), (List{"exit", "open", "claim 0", "submit 81"}));
    hid_close(device);
}

TEST_F(HidLifecycle, CloseCancelsTheTransferThenReleasesThenGivesBackThenClosesTheHandle)
{
    Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    const size_t before = Journal().size();
    hid_close(device);
    const List journal = Journal();
    EXPECT_EQ(List(journal.begin() + static_cast<long>(before), journal.end()),
              (List{"cancel 81", "release 0", "attach 0", "close", "exit"}));
}

TEST_F(HidLifecycle, WhatNoKernelDriverHeldIsGivenToNone)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.kernelDrivers.clear();
    Plug(model, 1, 2);
    hid_close(Open());
    EXPECT_EQ(Journal(), (List{"exit", "open", "claim 0", "submit 81", "cancel 81", "release 0",
                               "close", "exit"}));
}

TEST_F(HidLifecycle, AnOpenThatFailsAfterTheDetachGivesTheInterfaceBack)
{
    Plug(ReaderModel(), 1, 2);
    Fail(Call::Claim, LIBUSB_ERROR_OTHER);
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(Journal(), (List{"exit", "open", "detach 0", "attach 0", "close", "exit"}));
}

TEST_F(HidLifecycle, AReaderCanBeOpenedAgainAfterItsClose)
{
    Plug(ReaderModel(), 1, 2);
    for (int i = 0; i < 20; ++i)
    {
        hid_device *device = Open();
        ASSERT_NE(device, nullptr);
        hid_close(device);
    }
}

TEST_F(HidLifecycle, AReaderPluggedInLaterIsFound)
{
    EXPECT_EQ(hid_init(), 0);
    EXPECT_EQ(Open(), nullptr);
    Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    EXPECT_NE(device, nullptr);
    hid_close(device);
    hid_exit();
}

TEST_F(HidLifecycle, InitAndExitMayBeCalledAnyNumberOfTimes)
{
    EXPECT_EQ(hid_exit(), 0);
    EXPECT_EQ(hid_init(), 0);
    EXPECT_EQ(hid_init(), 0);
    EXPECT_EQ(hid_exit(), 0);
    EXPECT_EQ(hid_exit(), 0);
    EXPECT_EQ(hid_init(), 0);
    EXPECT_EQ(usb_standin::Count(), usb_standin::kNothingHeld);
}

TEST_F(HidLifecycle, InitReportsThatLibusbCannotStart)
{
    Fail(Call::Init, LIBUSB_ERROR_OTHER);
    EXPECT_EQ(hid_init(), -1);
    EXPECT_EQ(hid_init(), 0);
}

TEST_F(HidLifecycle, OpenWorksWithoutInitAndAfterExit)
{
    Plug(ReaderModel(), 1, 2);
    hid_exit();
    hid_device *device = Open();
    EXPECT_NE(device, nullptr);
    hid_close(device);
}

// Each step of an open that can fail: the open gives null and holds nothing (see UsbBench).
struct FailingStep
{
    const char *name;
    Call call;
    int error;
    int after;
};

void PrintTo(const FailingStep &step, std::ostream *out)
{
    *out << step.name;
}

struct HidFailingOpen : UsbBench, testing::WithParamInterface<FailingStep>
{
};

TEST_P(HidFailingOpen, GivesNullAndHoldsNothing)
{
    Plug(ReaderModel(), 1, 2);
    Fail(GetParam().call, GetParam().error, 1, GetParam().after);
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(usb_standin::Count(), usb_standin::kNothingHeld);
    hid_device *device = Open(); // the next one succeeds
    EXPECT_NE(device, nullptr);
    hid_close(device);
}

INSTANTIATE_TEST_SUITE_P(
    , HidFailingOpen,
    testing::Values(FailingStep{"InitOfTheListing", Call::Init, LIBUSB_ERROR_NO_MEM, 0},
                    FailingStep{"InitOfTheDevice", Call::Init, LIBUSB_ERROR_NO_MEM, 1},
                    FailingStep{"DeviceListOfTheListing", Call::DeviceList, LIBUSB_ERROR_NO_MEM, 0},
                    FailingStep{"DeviceListOfTheDevice", Call::DeviceList, LIBUSB_ERROR_NO_MEM, 1},
                    FailingStep{"DescriptorOfTheDevice", Call::DeviceDescriptor, LIBUSB_ERROR_IO,
                                1},
                    FailingStep{"Configuration", Call::Configuration, LIBUSB_ERROR_IO, 1},
                    FailingStep{"Open", Call::Open, LIBUSB_ERROR_ACCESS, 0},
                    FailingStep{"Detach", Call::DetachKernelDriver, LIBUSB_ERROR_OTHER, 0},
                    FailingStep{"Claim", Call::Claim, LIBUSB_ERROR_BUSY, 0},
                    FailingStep{"AllocTransfer", Call::AllocTransfer, 0, 0},
                    FailingStep{"FirstSubmit", Call::Submit, LIBUSB_ERROR_IO, 0}),
    [](const testing::TestParamInfo<FailingStep> &step) { return step.param.name; });

TEST_F(HidLifecycle, OpenOfAnInterfaceThatAnotherProcessHoldsGivesNull)
{
    Plug(ReaderModel(), 1, 2);
    Fail(Call::Claim, LIBUSB_ERROR_BUSY, 2);
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(Open(), nullptr);
    hid_device *device = Open();
    EXPECT_NE(device, nullptr);
    hid_close(device);
}

// ---- Handles that are no longer, or not yet, good ----

TEST_F(HidLifecycle, EveryCallRefusesAHandleThatWasClosed)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    hid_close(device);
    const size_t requests = usb_standin::ControlTransfers(reader).size();

    unsigned char data[65] = {};
    wchar_t text[8] = L"before";
    EXPECT_EQ(hid_write(device, data, sizeof data), -1);
    EXPECT_EQ(hid_read(device, data, sizeof data), -1);
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    EXPECT_EQ(hid_set_nonblocking(device, 1), -1);
    EXPECT_EQ(hid_send_feature_report(device, data, sizeof data), -1);
    EXPECT_EQ(hid_get_feature_report(device, data, sizeof data), -1);
    EXPECT_EQ(hid_get_manufacturer_string(device, text, 8), -1);
    EXPECT_STREQ(text, L"");
    EXPECT_EQ(hid_get_product_string(device, text, 8), -1);
    EXPECT_EQ(hid_get_serial_number_string(device, text, 8), -1);
    EXPECT_EQ(hid_get_indexed_string(device, 1, text, 8), -1);
    EXPECT_EQ(hid_error(device), nullptr);
    EXPECT_EQ(hid_read_modeid(device, data, 62, 10), -1);
    EXPECT_EQ(hid_write_modeid(device, data, 5, 2), 5); // its send is not judged
    hid_close(device);
    EXPECT_EQ(usb_standin::OutTransfers(reader).size(), 0u);
    EXPECT_EQ(usb_standin::ControlTransfers(reader).size(), requests);
}

TEST_F(HidLifecycle, EveryCallRefusesNull)
{
    unsigned char data[65] = {};
    wchar_t text[8];
    EXPECT_EQ(hid_write(nullptr, data, sizeof data), -1);
    EXPECT_EQ(hid_read(nullptr, data, sizeof data), -1);
    EXPECT_EQ(hid_read_timeout(nullptr, data, sizeof data, 10), -1);
    EXPECT_EQ(hid_set_nonblocking(nullptr, 1), -1);
    EXPECT_EQ(hid_send_feature_report(nullptr, data, sizeof data), -1);
    EXPECT_EQ(hid_get_feature_report(nullptr, data, sizeof data), -1);
    EXPECT_EQ(hid_get_serial_number_string(nullptr, text, 8), -1);
    EXPECT_EQ(hid_get_indexed_string(nullptr, 1, text, 8), -1);
    EXPECT_EQ(hid_error(nullptr), nullptr);
    hid_close(nullptr);
}

// ---- Devices that were left behind ----

TEST_F(HidLifecycle, OpeningAnInterfaceWeStillHoldRetiresTheOlderHandle)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *older = Open();
    ASSERT_NE(older, nullptr);
    hid_device *newer = Open();
    ASSERT_NE(newer, nullptr);
    EXPECT_EQ(usb_standin::Count().claims, 1);

    usb_standin::SendReport(reader, ReportOf(0x11));
    unsigned char data[65] = {};
    EXPECT_EQ(hid_read_timeout(newer, data, sizeof data, 5000), 64);
    EXPECT_EQ(hid_read_timeout(older, data, sizeof data, 5000), -1);
    EXPECT_EQ(hid_write(older, data, sizeof data), -1);
    EXPECT_EQ(hid_write(newer, data, sizeof data), 65);
    hid_close(older);
    EXPECT_EQ(hid_write(newer, data, sizeof data), 65);
    hid_close(newer);
}

TEST_F(HidLifecycle, ARetiredHandleStillGivesWhatItHadQueued)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *older = Open();
    usb_standin::SendReport(reader, ReportOf(0x22));
    ASSERT_TRUE(usb_standin::WaitForSubmissions(reader, 2));
    hid_device *newer = Open();
    EXPECT_EQ(ReadNow(newer), 0);
    EXPECT_EQ(ReadNow(older), 64);
    EXPECT_EQ(ReadNow(older), -1);
    hid_close(newer);
    hid_close(older);
}

TEST_F(HidLifecycle, TheOlderHandleStaysWhenTheDeviceCannotBeOpenedAgain)
{
    Plug(ReaderModel(), 1, 2);
    hid_device *older = Open();
    Fail(Call::Open, LIBUSB_ERROR_ACCESS);
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(ReadNow(older), 0);
    hid_close(older);
}

TEST_F(HidLifecycle, AnotherReaderOfTheSameIdsIsLeftAlone)
{
    Plug(ReaderModel(), 1, 2);
    Plug(ReaderModel(), 1, 3);
    hid_device *first = hid_open_path("0001:0002:00");
    hid_device *second = hid_open_path("0001:0003:00");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(ReadNow(first), 0);
    EXPECT_EQ(ReadNow(second), 0);
    hid_close(first);
    hid_close(second);
}

TEST_F(HidLifecycle, AnAbandonedDeviceThatIsGoneIsLetGoAtTheNextOpen)
{
    const int gone = Plug(ReaderModel(), 1, 2);
    hid_device *abandoned = Open();
    usb_standin::Unplug(gone);
    unsigned char data[64];
    ASSERT_EQ(hid_read_timeout(abandoned, data, sizeof data, -1), -1); // it has noticed

    Plug(ReaderModel(), 1, 3); // plugged in again: a new address
    hid_device *device = Open();
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(usb_standin::Count().handles, 1);
    EXPECT_EQ(usb_standin::Count().contexts, 1);
    EXPECT_EQ(usb_standin::Count().transfers, 1);
    hid_close(device);
    hid_close(abandoned);
}

TEST_F(HidLifecycle, ExitRetiresWhatIsOpenAndLeavesTheHandleToItsClose)
{
    Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    EXPECT_EQ(hid_exit(), 0);
    EXPECT_EQ(usb_standin::Count(), usb_standin::kNothingHeld);
    EXPECT_EQ(ReadNow(device), -1);
    hid_device *again = Open();
    EXPECT_NE(again, nullptr);
    hid_close(device);
    hid_close(again);
}

TEST_F(HidLifecycle, CloseOfADeviceThatIsGoneEnds)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    usb_standin::Unplug(reader);
    hid_close(device);
}

TEST_F(HidLifecycle, CloseEndsAWaitingRead)
{
    Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    int result = 0;
    std::thread waiting(
        [&]
        {
            unsigned char data[64];
            result = hid_read_timeout(device, data, sizeof data, -1);
        });
    hid_close(device);
    waiting.join();
    EXPECT_EQ(result, -1);
}

TEST_F(HidLifecycle, CloseWaitsForAWriteUnderWay)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    usb_standin::HoldWrites(reader, true);
    int written = 0;
    std::thread writer(
        [&]
        {
            const unsigned char report[65] = {};
            written = hid_write(device, report, sizeof report);
        });
    ASSERT_TRUE(usb_standin::WaitForHeldWrite(reader));
    std::thread closer([&] { hid_close(device); });
    EXPECT_TRUE(usb_standin::WaitForJournal("cancel 81"));
    EXPECT_FALSE(usb_standin::WaitForJournal("close", 50));
    usb_standin::HoldWrites(reader, false);
    writer.join();
    closer.join();
    EXPECT_EQ(written, 65);
}

TEST_F(HidLifecycle, CloseRacingWithReportsLosesNoCancel)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    for (int i = 0; i < 200; ++i)
    {
        hid_device *device = Open();
        ASSERT_NE(device, nullptr);
        std::thread sender([&] { usb_standin::SendReport(reader, ReportOf(0x33)); });
        hid_close(device); // would wait for the transfer's 5 s, or for ever
        sender.join();
    }
}

TEST_F(HidLifecycle, CloseEndsWithTheTransferWhenTheCancelFails)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    Fail(Call::Cancel, LIBUSB_ERROR_OTHER);
    std::thread closer([&] { hid_close(device); });
    EXPECT_TRUE(usb_standin::WaitForJournal("cancel 81"));
    usb_standin::SendOutcome(reader, LIBUSB_TRANSFER_TIMED_OUT);
    closer.join();
}

TEST_F(HidLifecycle, EventsThatFailForGoodShutTheDeviceDown)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    Fail(Call::HandleEvents, LIBUSB_ERROR_IO, 1000);
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, -1), -1);
    hid_close(device); // with the transfer still in flight: closing the handle takes it back
    EXPECT_EQ(usb_standin::InTransfers(reader).size(), 1u);
    const List journal = Journal();
    EXPECT_EQ(List(journal.end() - 4, journal.end()),
              (List{"attach 0", "close takes back 81", "close", "exit"}));
}

TEST_F(HidLifecycle, EventsThatFailOnceOrAreInterruptedAreHandledAgain)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    Fail(Call::HandleEvents, LIBUSB_ERROR_INTERRUPTED, 100);
    usb_standin::SendReport(reader, ReportOf(0x44));
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 5000), 64);
    Fail(Call::HandleEvents, LIBUSB_ERROR_IO, 2);
    usb_standin::SendReport(reader, ReportOf(0x44));
    EXPECT_EQ(hid_read_timeout(device, data, sizeof data, 5000), 64);
    hid_close(device);
}

TEST_F(HidLifecycle, AForkedChildLeavesTheParentsDeviceAlone)
{
    Plug(ReaderModel(), 1, 2);
    hid_device *device = Open();
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(10);
        const List before = Journal();
        hid_exit();
        hid_close(device);
        _exit(Journal() == before ? 7 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(ReadNow(device), 0);
    hid_close(device);
}

} // namespace
